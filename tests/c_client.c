/* A client in C: the records, the inline functions and one launch, without any C++. */
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include <kiv/common.h>
#include <kiv/extras.h>
#include <kiv/kiv_exec_lib.h>

#define EXPECT(condition)                                                                          \
    do {                                                                                           \
        if (!(condition)) {                                                                        \
            fprintf(stderr, "%s:%d: %s\n", __FILE__, __LINE__, #condition);                        \
            failures++;                                                                            \
        }                                                                                          \
    } while (0)

static int failures;

static void expect_records(void)
{
    kiv_array_tree_node node;
    kiv_tree_check_result result;
    memset(&node, 0, sizeof node);
    node.child_count = kiv_be16_make(0x0102);
    EXPECT(((unsigned char *)&node)[566] == 1 && ((unsigned char *)&node)[567] == 2);
    EXPECT(kiv_be16_get(node.child_count) == 0x0102);
    EXPECT(kiv_tree_check(&node, sizeof node, &result) == -1);
    EXPECT(result.fault == KIV_TREE_CHILD_COUNT);
    node.child_count = kiv_be16_make(0);
    hton_array_tree(&node, 0, 0);
    EXPECT(kiv_tree_check(&node, sizeof node, NULL) == 0);
}

static void expect_masks(void)
{
    bmask128 mask = KIV_BMP_INIT(KIV_PERMISSIONS_BITS);
    EXPECT(bmask128_uint32_copy(&mask, 5) == 0);
    EXPECT(mask.bytes[0] == 5);
}

static void expect_strings(void)
{
    char *trimmed = NULL;
    EXPECT(strtrim("  a  ", &trimmed) == 1);
    EXPECT(trimmed != NULL && strcmp(trimmed, "a") == 0);
    free(trimmed);
}

static void expect_launches(void)
{
    kiv_system_info info;
    memset(&info, 0, sizeof info);
    strcpy(info.cmd_str, "no such command");
    strcpy(info.out_file, "/dev/null");
    EXPECT(kiv_system("show version > /dev/null") == 0);
    EXPECT(kiv_system2(&info) == KIV_ERROR_COMMAND_FAILED);
    EXPECT(strcmp(syserr2str(kiv_system2(&info)), "Command failed") == 0);
}

int main(void)
{
    expect_records();
    expect_masks();
    expect_strings();
    expect_launches();
    return failures == 0 ? 0 : 1;
}
