/*
 * kiv_interact_exec.h - one shell child, many commands.
 *
 * A session holds the shell's wrapper script over three pipes: command lines go
 * in, replies come out. There is one session per process, driven by one thread.
 *
 * A reply is the output of a command and behind it a marker word. The markers
 * stay in the text of a reply; the result records are without them. NUL bytes
 * of a reply are left out. Where a reply ends is decided by 30 milliseconds
 * without data, or by its marker: kiv_interact_reply_end_set (kiv/extras.h).
 *
 * Errors are printed on standard output, as "error: SOURCE:FUNCTION:LINE: TEXT"
 * and a newline. A signal that interrupts a call changes nothing, and SIGPIPE
 * does not reach the caller. What the shell writes to its standard error stays
 * in its pipe for the caller to read. When the pipe is full while the library
 * waits for the shell, what is in it and what follows during that wait is
 * discarded, so that the shell goes on; not so where the caller has closed an end.
 */
#ifndef KIV_KIV_INTERACT_EXEC_H
#define KIV_KIV_INTERACT_EXEC_H

#include <kiv/kiv.h>

KIV_EXTERN_C_BEGIN

#define KIV_INTERACT_SUCCESS_MARKER "KIV_CALLBACK_SUCCESS"
#define KIV_INTERACT_ERROR_MARKER "KIV_CALLBACK_ERROR"
#define KIV_INTERACT_PARSE_MARKER "KIV_PARSE_ERROR"

#define KIV_INTERACT_BUFFER_SIZE 50000
#define KIV_INTERACT_HEAD_SIZE 25

/* kiv_interact_ret_info.status */
enum kiv_interact_status {
    KIV_INTERACT_SUCCESS = 1,
    KIV_INTERACT_CALLBACK_ERROR = 2, /* also for a reply without any marker */
    KIV_INTERACT_PARSE_ERROR = 3     /* configuration batches only */
};

/* What came of a command or a batch. Made here, freed with
 * kiv_interact_ret_info_free. */
typedef struct kiv_interact_ret_info {
    int32_t status;   /* enum kiv_interact_status */
    char *output;     /* the reply before its marker, or null */
    char *failed_cmd; /* the line of a batch that failed, or null */
} kiv_interact_ret_info;

/* The pipes, read end first; -1 for an end that is not open here. The session has
 * the write end of the first and the read end of the second one; of the third,
 * which brings the shell's standard error, both ends stay open. */
extern KIV_API int kiv_agent_to_kiv_pipe[2];
extern KIV_API int kiv_to_kiv_agent_pipe[2];
extern KIV_API int kiv_to_kiv_agent_stderr_pipe[2];

/* Where a reply is read into, piece by piece, and the first bytes of the last
 * piece before the output fell quiet. */
extern KIV_API char buffer[KIV_INTERACT_BUFFER_SIZE];
extern KIV_API char retBuf[KIV_INTERACT_HEAD_SIZE];

/* -- The session ------------------------------------------------------------ */

/* Starts /sbin/kivScript.sh, with `arg0` as its argument zero (null: without any
 * argument), sends it an empty line and reads away what it says within 30
 * milliseconds; silence is fine. Standard output and standard error are flushed
 * first. Returns 0, or -1 with nothing left behind.
 *
 * The child is a copy of the caller. Where the script cannot be executed, this
 * function returns -1 in the child as well: a caller that is not the process it
 * was exits. The session then ends with the child.
 *
 * While a session is open, this one takes its place: its descriptors are lost,
 * not closed. All descriptors are close-on-exec and none of them is 0, 1 or 2. */
KIV_API int kiv_interact_session_init(const char *arg0) KIV_NOEXCEPT;

/* The child's part: puts the ends of the pipes in the place of the three streams,
 * closes the ends of the first two pipes and executes the script. The ends of the
 * third stay open in it. Returns -1, and only on failure. */
KIV_API int kiv_interact_session_create(int *to_child_pipe, int *from_child_pipe, int *stderr_pipe,
                                        const char *arg0) KIV_NOEXCEPT;

/* The caller's part, on the exported pipes: closes the child's ends, sends an
 * empty line and reads away the greeting. Returns 0 or -1. */
KIV_API int kiv_interact_session_init_comm(void) KIV_NOEXCEPT;

/* Waits until `fd` can be read: 30 milliseconds and, if `retry` is not 0, ten
 * times more, 1, 2, ... 10 seconds, about 55 seconds in all. Returns 1, also at the
 * end of a pipe; 0 when nothing came; -1 on an error. Any descriptor will do. */
KIV_API int read_time_out_check(int fd, int retry) KIV_NOEXCEPT;

/* Sends "exit" and "END_KIV", closes the pipes and waits for the child. Returns 0;
 * -1 when "exit" found no working shell, or the pipe could not be closed. The
 * session is gone in any case: a child that does not end by itself is killed, after
 * a second where the session failed and after the deadline where there is one.
 * Descriptors that are not of its pipes any more stay open, but the exported numbers
 * are -1 after it. Pipes and a child that the caller has made itself, without
 * kiv_interact_session_init, stay with the caller, but for the write end of the first
 * pipe. */
KIV_API int kiv_interact_session_close(void) KIV_NOEXCEPT;

/* Null does nothing. */
KIV_API void kiv_interact_ret_info_free(kiv_interact_ret_info *rec) KIV_NOEXCEPT;
KIV_API void kiv_interact_buff_free(char *buf) KIV_NOEXCEPT;

/* -- Commands --------------------------------------------------------------- */

/* Sends `cmd` and a newline and returns the reply, for the caller to free with
 * kiv_interact_buff_free; "" for exactly "\n", with nothing sent. The first bytes are
 * waited for without a limit; then the reply goes on until nothing comes for 30
 * milliseconds. No shell answers empty lines: for a `cmd` of nothing else, as "" and
 * "\n\n", the first bytes are waited for no longer than that either.
 *
 * A command that begins with "show " may pause: unless the last piece that was read
 * begins with KIV_INTERACT_SUCCESS_MARKER, pieces are waited for as with
 * read_time_out_check and a retry, until one begins with it. Pieces that begin with
 * `cmd` are its echo and dropped. With N pieces before the first pause, such a reply
 * is cut to (N + 1) * 50003 characters. A marker or an echo that is split over
 * pieces counts as one piece.
 *
 * A shell that ends or closes its output ends the reply; what came stays, and it gets
 * no further command. Returns null, after an error, when the shell does not take the
 * command ("write failed"), for want of memory, or for a null `cmd`. */
KIV_API char *kiv_interact_exec_single_cmd(const char *cmd) KIV_NOEXCEPT;

/* Sends a command as above and returns its result: success for a reply with
 * KIV_INTERACT_SUCCESS_MARKER in it, with the text before it as output, but a
 * callback error for one to "show ..." that has nothing else; a callback error for all
 * other replies, with the text before KIV_INTERACT_ERROR_MARKER, if there is any.
 * Null, after an error, where the exchange failed. */
KIV_API kiv_interact_ret_info *kiv_interact_exec_scrpt_cmd(const char *cmd) KIV_NOEXCEPT;

/* Sends "conf t", each line of `cmds` that is not empty, and "end"; stops at the first
 * line whose reply has no KIV_INTERACT_SUCCESS_MARKER. That line is `failed_cmd`, and
 * the text before the error marker is the output; a parse error wins over a callback
 * error. When "conf t" fails, `failed_cmd` is "configure terminal". Null, after an
 * error, where an exchange failed: what was sent before has happened. */
KIV_API kiv_interact_ret_info *kiv_interact_exec_conf_cmds(const char *cmds) KIV_NOEXCEPT;

/* Have the shell show things as XML, or as text again. Return 0, or -1 where the
 * exchange failed. */
KIV_API int kiv_interact_xml_show_on(void) KIV_NOEXCEPT;
KIV_API int kiv_interact_xml_show_off(void) KIV_NOEXCEPT;

KIV_EXTERN_C_END

#endif
