/* Counts the commands of a tree file. */
#include <stdio.h>
#include <stdlib.h>

#include <kiv/common.h>
#include <kiv/extras.h>

static size_t read_tree(const char *name, kiv_array_tree_node **tree)
{
    FILE *file = fopen(name, "rb");
    if (file == NULL)
        return 0;
    size_t size = 0;
    *tree = malloc((size_t)KIV_TREE_MAX_NODES * sizeof **tree);
    if (*tree != NULL)
        size = fread(*tree, 1, (size_t)KIV_TREE_MAX_NODES * sizeof **tree, file);
    fclose(file);
    return size;
}

int main(int argc, char **argv)
{
    kiv_array_tree_node *tree = NULL;
    kiv_tree_check_result result = {0};
    const size_t size = argc > 1 ? read_tree(argv[1], &tree) : 0;
    if (kiv_tree_check(tree, size, &result) != 0) {
        fprintf(stderr, "%s\n", kiv_tree_fault_text(result.fault));
        return 1;
    }
    size_t commands = 0;
    for (size_t node = 0; node < size / sizeof *tree; ++node)
        commands += (kiv_be32_get(tree[node].action) & KIV_ACTION_TERMINAL) != 0;
    printf("%zu commands\n", commands);
    free(tree);
    return commands > 0 ? 0 : 1;
}
