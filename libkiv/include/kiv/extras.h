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

/* What ends the reply of a session (kiv/kiv_interact_exec.h). */
enum kiv_interact_reply_end {
    KIV_INTERACT_END_QUIET = 0, /* 30 milliseconds without data; the default */
    KIV_INTERACT_END_MARKER = 1 /* its marker word; no waiting */
};

/* Sets what ends the replies from now on (any other value aborts), and a deadline in
 * milliseconds for each whole exchange, 0 for none. When it expires, the call fails
 * and the session is unusable: every exchange fails until it is closed, so that no
 * reply is taken for that of another command. May be called at any time; turning to
 * markers reads away what the shell has said unasked by then.
 *
 * With markers, a reply ends when the bytes that have arrived end with a marker and
 * the pipe is empty. A command of several lines is sent line by line, each when the
 * one before has been answered, however it was; its reply is that of all lines, and
 * the status in a result record is that of the last one. The shell that this
 * needs answers each line but an empty one, exactly once; it writes no more than
 * PIPE_BUF (POSIX) bytes at a time, and only the last write of an answer ends with a
 * marker. Then no line of output is taken for a marker, whatever it says: in result
 * records too, only the marker at the end counts. */
KIV_API void kiv_interact_reply_end_set(int32_t end, uint32_t deadline_milliseconds) KIV_NOEXCEPT;

KIV_EXTERN_C_END

#endif
