/*
 * kiv_exec_lib.h - shell commands, the running configuration and command
 * files, run by the shell program as a child; output that is caught in memory,
 * and the differences of two configurations.
 *
 * Launchers give the shell its arguments directly and return its raw wait
 * status. Executors build one command line from a request record, run it with
 * the system's command interpreter and return 0 or a library error code. The
 * talvek forms address the variant of the shell on the peer platform.
 *
 * Standard output and standard error are flushed when a launcher or executor is
 * called, not by talvek_system and kiv_execute_cmd_file2. The child has the
 * caller's streams, except where a request names files.
 */
#ifndef KIV_KIV_EXEC_LIB_H
#define KIV_KIV_EXEC_LIB_H

#include <kiv/kiv.h>
#include <kiv/platform/syserr.h>

KIV_EXTERN_C_BEGIN

/* How the shell gets its input: kiv_system_info.type and the mode of the
 * launchers. */
enum kiv_exec_mode {
    KIV_EXEC_COMMAND = 1, /* one command: -c, -nRc */
    KIV_EXEC_FILE = 2,    /* a file of commands: -f, -nRf */
    KIV_EXEC_CONFIG = 3   /* a configuration file: -r, -nRr */
};

/* Which shell a launcher starts. Any other value is the boot-time shell. */
enum kiv_exec_target {
    KIV_TARGET_SHELL = 1, /* /usr/sbin/kiv.bin */
    KIV_TARGET_BOOT = 4   /* /lc/ubexboot/bin/kivboot */
};

/* A request to the shell. Fill it with zeros first. The texts become words of
 * a line for the system's command interpreter as they are: the command between
 * double quotes, the version between single quotes, file names and the binary
 * without any. Whoever takes them from elsewhere keeps out what the
 * interpreter would act on: `"`, `$`, backtick and backslash in a command, the
 * quote in a version, blanks and operators in a file name. */
typedef struct kiv_system_info {
    int32_t type;        /* enum kiv_exec_mode; the entry points set it */
    char file_name[128]; /* the file to run: KIV_EXEC_FILE, KIV_EXEC_CONFIG */
    char cmd_str[256];   /* the command: KIV_EXEC_COMMAND */
    char version[256];   /* talvek: software version of the peer; empty: none */
    char out_file[128];  /* standard output; empty: the caller's */
    char err_file[128];  /* standard error, if out_file is set; empty: goes with it */
    char bin_path[128];  /* command that starts the shell; empty: the default */
    int32_t e_value;     /* -e */
    int32_t q_value;     /* -q */
    int32_t o_value;     /* -o */
    int32_t debug;       /* not 0: trace line and status on standard output */
} kiv_system_info;

/* A request for the running configuration. */
typedef struct kiv_running_cfg_info {
    char out_file[128]; /* both streams; empty: the caller's */
    int32_t o_value;    /* -o */
    int32_t debug;      /* not 0: print the status */
} kiv_running_cfg_info;

/* Not 0: talvek_system runs its command in the background. */
KIV_API extern int32_t background_running_flag;

/* -- Launchers ------------------------------------------------------------ */

/* Runs the shell with `arg` as `mode` says (enum kiv_exec_mode; another value
 * aborts before any child exists) and waits for it. Returns the raw wait
 * status; 1 for a null `arg`, with nothing run; -1 when the child could not be
 * started or waited for. A shell that cannot be executed is status 127
 * (raw 32512). The cost does not depend on the caller's memory. */
KIV_API int32_t kiv_system_internal(const char *arg, int mode, int target) KIV_NOEXCEPT;

/* The same; a `version` that is neither null nor empty is passed with -V. */
KIV_API int32_t talvek_kiv_system_internal(const char *arg, int mode, int target,
                                           const char *version) KIV_NOEXCEPT;

/* Run one command in the normal shell; results as above. */
KIV_API int32_t kiv_system(const char *cmd) KIV_NOEXCEPT;
KIV_API int32_t talvek_kiv_system(const char *cmd, const char *version) KIV_NOEXCEPT;

/* Runs a file of commands in the boot-time shell. Returns 0, or -1 when the
 * file does not exist, or is null, or the shell's status is not 0. */
KIV_API int kiv_lc_execute_script_file(const char *file) KIV_NOEXCEPT;

/* -- Command lines ---------------------------------------------------------- */

/* Write the shell's command line for a request into `dst`, cut to its `n`
 * bytes, the NUL among them. Return 0, or KIV_ERROR_COMMAND_TOO_LONG, with
 * nothing written, when a string of the request fills its field without a NUL
 * (talvek: or `version` has more than 127 characters). A type that the form
 * does not know aborts; the talvek form knows no KIV_EXEC_FILE, no `err_file`,
 * and gives -V only with the default binary. */
KIV_API uint32_t kiv_system_cmd_str_create(kiv_system_info *info_p, char *dst,
                                           size_t n) KIV_NOEXCEPT;
KIV_API uint32_t kiv_talvek_system_cmd_str_create(kiv_system_info *info_p, char *dst,
                                                  size_t n) KIV_NOEXCEPT;

/* -- Executors -------------------------------------------------------------- */

/* Run the request's command line: with system (POSIX), or with talvek_system.
 * Return KIV_ERROR_COMMAND_TOO_LONG, with nothing run, when a string is too
 * long or the line has more than 511 characters; KIV_ERROR_COMMAND_STATUS_1
 * when the raw status is 1; KIV_ERROR_COMMAND_FAILED when it is 127 or more,
 * as any exit status but 0 is; else 0. That 0 includes an interpreter ended by
 * another signal than SIGHUP without a core dump, and -1 where no child could
 * be started or waited for. */
KIV_API uint32_t kiv_system_execute(kiv_system_info *info_p) KIV_NOEXCEPT;
KIV_API uint32_t kiv_talvek_system_execute(kiv_system_info *info_p) KIV_NOEXCEPT;

/* Runs `cmd` with /bin/sh and returns its raw wait status; 1 for null; -1
 * when the child could not be started or waited for, or a background command
 * has more than 509 characters. Blocks SIGTSTP, SIGINT and SIGALRM in the
 * calling process and in the child, and leaves them blocked. With
 * background_running_flag set, the interpreter starts the command in the
 * background and the status is the interpreter's. */
KIV_API int32_t talvek_system(const char *cmd) KIV_NOEXCEPT;

/* Set the type of the request and execute it: a command, or a file of commands.
 * The latter returns KIV_ERROR_FILE_MISSING, with the request untouched, when
 * the file does not exist. Otherwise the executor's result. */
KIV_API uint32_t kiv_system2(kiv_system_info *info_p) KIV_NOEXCEPT;
KIV_API uint32_t kiv_talvek_system2(kiv_system_info *info_p) KIV_NOEXCEPT;
KIV_API uint32_t kiv_execute_script_file2(kiv_system_info *info_p) KIV_NOEXCEPT;

/* -- Running configuration and files ---------------------------------------- */

/* Writes the running configuration into `file` and returns the launcher's raw
 * wait status. The shell itself opens the file, so the name is a word of its
 * command line, in quotes where the shell's words need them. Returns -1, with
 * nothing run, for a null name or one of more than 136 characters. */
KIV_API int32_t kiv_generate_running_cfg(const char *file) KIV_NOEXCEPT;

/* Writes the running configuration, and the shell's messages, as the request
 * says; the name is a word for the system's command interpreter. Returns 0
 * whatever happens, also with nothing run where `out_file` has no end. */
KIV_API int kiv_generate_running_cfg2(kiv_running_cfg_info *rec) KIV_NOEXCEPT;

/* Runs a configuration file in the normal shell. Returns 0, or -1 when the
 * file does not exist, or is null, or the shell's status is not 0. */
KIV_API int kiv_execute_cfg_file(const char *file) KIV_NOEXCEPT;

/* The same for a file of commands. Prints the system's error on standard error
 * when the file does not exist ("Bad address" for null). */
KIV_API int kiv_execute_script_file(const char *file) KIV_NOEXCEPT;

/* Write the running configuration, or that of the peer, into `out_file`, by way of
 * kiv_talvek_system2. `version` is the software version of the peer; null or empty: none. A result
 * other than 0 is printed on standard output as its text. Return that result;
 * KIV_ERROR_COMMAND_TOO_LONG for a name or a version that does not fit its field. The last form
 * returns when the command has been started in the background; no other talvek execution may run
 * meanwhile. */
KIV_API uint32_t talvek_kiv_generate_running_cfg(const char *out_file,
                                                 const char *version) KIV_NOEXCEPT;
KIV_API uint32_t talvek_kiv_generate_running_cfg_peer_version(const char *out_file,
                                                              const char *version) KIV_NOEXCEPT;
KIV_API uint32_t talvek_kiv_generate_running_cfg_peer_version_bg(const char *out_file,
                                                                 const char *version) KIV_NOEXCEPT;

/* Runs `command`, which the caller has built, with system (POSIX). As talvek_system, it does not
 * flush: what the caller has printed before may come out behind the command's output. Returns
 * KIV_ERROR_FILE_MISSING when the request's file does not exist, KIV_ERROR_COMMAND_STATUS_1 for a
 * null command, both with nothing run; otherwise as the executors do. */
KIV_API uint32_t kiv_execute_cmd_file2(kiv_system_info *info_p, const char *command) KIV_NOEXCEPT;

/* Set the type of the request to that of a configuration file and execute it. Return
 * KIV_ERROR_FILE_MISSING, with the request untouched, when the file does not exist; otherwise the
 * executor's result. */
KIV_API uint32_t kiv_execute_cfg_file2(kiv_system_info *info_p) KIV_NOEXCEPT;
KIV_API uint32_t kiv_talvek_execute_cfg_file2(kiv_system_info *info_p) KIV_NOEXCEPT;

/* The start-up configuration. Runs the request's configuration file with KIV_BOOTSTRAP_PASS in its
 * -e, asks the platform over the caller's message queue whether the box is online, waits for its
 * answer, and when that says so runs the file again, without the flag. Where the question cannot be
 * sent, it takes a message that is already there and waits for none. The request stays as it is.
 * Returns the result of the last run; KIV_ERROR_COMMAND_FAILED when no answer comes, with a message
 * for the error of sending, or else of receiving. Any other answer means that there is no second
 * run. */
#define KIV_BOOTSTRAP_PASS 0x8000
KIV_API uint32_t kiv_multi_stage_execute_cfg_file(int ovra_queue,
                                                  const kiv_system_info *info) KIV_NOEXCEPT;

/* -- Output capture ---------------------------------------------------------- */

/* What goes through kiv_buf_printf is kept in memory from the first call on
 * until the second one, which forgets the captured text without freeing it: the
 * caller takes it with kiv_get_buf before, and frees it afterwards. */
KIV_API void kiv_set_redir2buf(void) KIV_NOEXCEPT;
KIV_API void kiv_reset_redir2buf(void) KIV_NOEXCEPT;

/* Returns 1 while output is captured, else 0. */
KIV_API int kiv_is_redir2buf(void) KIV_NOEXCEPT;

/* Return the captured text, null where there is none, and its length. Valid
 * until the next kiv_buf_printf. */
KIV_API char *kiv_get_buf(void) KIV_NOEXCEPT;
KIV_API int kiv_get_buf_len(void) KIV_NOEXCEPT;

/* Goes on behind the `len` characters of `buf`, a block from malloc of any size
 * that holds them, in the place of the captured text, which is not freed. A
 * negative `len` is 0. A null `buf` changes nothing. Returns the text in force. */
KIV_API char *kiv_set_buf(char *buf, int len) KIV_NOEXCEPT;

/* Prints as printf (C11 7.21.6.3) does, or appends to the captured text; the
 * arguments may be that text itself. Returns the number of characters, or -1
 * with errno set and what was captured kept: ENOMEM, EOVERFLOW where the text
 * would be longer than INT_MAX, or the error of the conversion. */
__attribute__((__format__(__printf__, 1, 2))) KIV_API int kiv_buf_printf(const char *fmt,
                                                                         ...) KIV_NOEXCEPT;

/* -- Differences --------------------------------------------------------------- */

/* Compare two texts of lines in which blanks at the beginning tell what belongs
 * below what: 0 or 1 blank is the first level, 2 or 3 the second, 4 or more the
 * third. A line belongs to the nearest line above that has a lower level.
 * White lines do not count, nor does what follows the last newline; a null text
 * is empty.
 *
 * On each level, a line of the old text goes with the first equal one of the
 * new text that is below the same line and has not been taken. kiv_diff prints
 * what is left over, each line behind four blanks and a mark: '-' for a line of
 * the old text, with all below it, '+' for one of the new text, ' ' for a line
 * of both texts that has differences below it. On each level, what is new comes
 * last. Linear in the sizes of the texts. Without memory it prints nothing and
 * sets errno to ENOMEM. */
KIV_API void kiv_diff(const char *old_text, const char *new_text) KIV_NOEXCEPT;

/* Returns 1 if kiv_diff would print nothing, else 0; also 0, with errno ENOMEM,
 * without memory to tell. */
KIV_API int kiv_is_diff_same(const char *old_text, const char *new_text) KIV_NOEXCEPT;

KIV_EXTERN_C_END

#endif
