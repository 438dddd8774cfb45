/*
 * extras.h - additions to the switch's own interface.
 *
 * They change nothing in what the other headers describe.
 */
#ifndef KIV_EXTRAS_H
#define KIV_EXTRAS_H

#include <kiv/common.h>
#include <kiv/kiv.h>

/* What can be wrong with an array tree: X(name, text). */
#define KIV_TREE_FAULT_TABLE(X)                                                                    \
    X(KIV_TREE_SOUND, "sound")                                                                     \
    X(KIV_TREE_EMPTY, "no node")                                                                   \
    X(KIV_TREE_CUT_OFF, "size is not a whole number of nodes")                                     \
    X(KIV_TREE_TOO_MANY_NODES, "more nodes than an index can name")                                \
    X(KIV_TREE_STRING_OPEN, "string without an end")                                               \
    X(KIV_TREE_PARAMETER_COUNT, "more parameters than a node holds")                               \
    X(KIV_TREE_CHILD_COUNT, "more children than a node holds")                                     \
    X(KIV_TREE_CHILD_INDEX, "child is not a node of the tree")                                     \
    X(KIV_TREE_CYCLE, "node is its own descendant")                                                \
    X(KIV_TREE_TOO_DEEP, "deeper than a tree may be")

#define KIV_TREE_FAULT_ENUMERATOR(name, text) name,
enum kiv_tree_fault { KIV_TREE_FAULT_TABLE(KIV_TREE_FAULT_ENUMERATOR) };
#undef KIV_TREE_FAULT_ENUMERATOR

/* Indices are 16 bits wide. */
#define KIV_TREE_MAX_NODES 65536

typedef struct kiv_tree_check_result {
    int32_t fault; /* enum kiv_tree_fault */
    uint32_t node; /* the node at fault; 0 where the tree as a whole is */
} kiv_tree_check_result;

KIV_EXTERN_C_BEGIN

/* Is this buffer of `size` bytes a sound array tree, in network byte order? Every
 * string ends, counts are within their limits, children exist, and no node is
 * its own descendant or KIV_TREE_MAX_DEPTH levels down. Links must name a node
 * but may lead anywhere. Returns 0, or -1 with the first fault found in
 * `*result`, which may be null. Linear in `size`, without recursion, and reads
 * nothing outside the buffer, whatever is in it; any address will do. A null
 * buffer has no node. For a tree that is too deep, the node is the last on the
 * way down whose depth had not been measured before; a cycle of more nodes than
 * KIV_TREE_MAX_DEPTH is too deep. Takes about 64 KiB of stack. */
KIV_API int kiv_tree_check(const void *tree, size_t size,
                           kiv_tree_check_result *result) KIV_NOEXCEPT;

/* Returns the text of a fault, "unknown fault" for a value that is none.
 * Constant; never null. */
KIV_API const char *kiv_tree_fault_text(int32_t fault) KIV_NOEXCEPT;

/* Returns what kiv_diff (kiv/kiv_exec_lib.h) prints, as a string from malloc: an
 * empty one where nothing differs. Null, with errno ENOMEM, without memory. */
KIV_API char *kiv_diff_to_str(const char *old_text, const char *new_text) KIV_NOEXCEPT;

KIV_EXTERN_C_END

#endif
