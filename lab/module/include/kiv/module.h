/*
 * module.h - what a process needs that contributes commands to the shell.
 *
 * A module has a tree, NAME.par in /ubex/etc/par, whose commands name functions
 * ("run" in its grammar) and the module's service access point ("message-type").
 * It registers the tree and its types of interfaces with the daemon; the shell
 * then sends each of its commands here, as a pinfo with the arguments, and the
 * parts of the running configuration that the tree names ("generator").
 *
 *   static int show_hello(struct pinfo *info)
 *   {
 *       kiv_buf_printf("Hello, %s.\n", info->username);
 *       return 0;
 *   }
 *
 *   static const kiv_module_command commands[] = {{"show_hello", show_hello, 0, 0}, {0}};
 *
 *   int main(void)
 *   {
 *       kiv_module_description hello = {"hello", 700, commands, 0, 0};
 *       return kiv_module_run(&hello);
 *   }
 *
 * Handlers run one after the other on the thread that serves. What a handler
 * prints with kiv_buf_printf (kiv/kiv_exec_lib.h) goes to the user, whether it
 * returns 0 for done or anything else for failed; standard output stays the
 * process's own.
 *
 * The record that a handler gets is valid until it returns. Arguments of the
 * commands that entered the current modes come first, submode_context of them,
 * from the outermost mode on; those of the command itself follow, in the order
 * of the line. Their values have the layouts of kiv/kiv_lib.h and the sizes that
 * belong to their types, their strings end: a request that does not keep to this
 * is refused before a handler sees it. no_flag is set for a line that begins with
 * "no", ascii_gen for a generator. Who the user is does not come from the
 * request: username is that of the process that sent it, as the kernel knows it;
 * is_admin and vsan_mask are what the daemon says of this user.
 */
#ifndef KIV_MODULE_H
#define KIV_MODULE_H

#include <kiv/kiv_lib.h>
#include <kiv/kiv_process_api.h>

KIV_EXTERN_C_BEGIN

/* The function changes the configuration: it is refused unless a role of the user permits to change
 * the feature and the process that asks holds the configuration lock as this user, and the system
 * is told of the change when it has returned 0 (kiv_api_notify_cfg_change). vsan_mask is of the
 * roles that permit it. */
#define KIV_MODULE_CHANGES 1U

typedef struct kiv_module_command {
    const char *function; /* as in the tree; null ends the table */
    int (*run)(struct pinfo *info);
    uint32_t flags;
    const char *feature; /* for changes, the word of configuration mode that the rules of roles
                          * name, such as vsan; null: any */
} kiv_module_command;

/* What a module is. Whatever it points to stays the caller's, and as it is, until the module is
 * closed. */
typedef struct kiv_module_description {
    const char *name; /* of the module and its tree, at most 23 characters */
    uint32_t service; /* its service access point: 256 to 65535 */
    const kiv_module_command *commands;
    uint64_t interface_mask; /* the type of interfaces that it has; 0: none */
    const intf_reg_info *interface_type;
} kiv_module_description;

typedef struct kiv_module kiv_module;

/* Opens the service access point, and registers with the daemon; where there is none, or it is
 * started again later, as soon as it serves. Returns the module, which the caller closes, or null
 * with errno: EINVAL for a description that is none, EADDRINUSE when another process has the
 * service access point, or as ovra_open (kiv/platform/ovra.h). A tree that the daemon refuses is
 * reported on standard error. */
KIV_API kiv_module *kiv_module_open(const kiv_module_description *description) KIV_NOEXCEPT;

/* A descriptor that polls readable (POLLIN) while kiv_module_serve has something to do. */
KIV_API int kiv_module_descriptor(const kiv_module *module) KIV_NOEXCEPT;

/* Serves what has arrived, without waiting. Returns 0, or -1 with errno when the module can serve
 * no more. */
KIV_API int kiv_module_serve(kiv_module *module) KIV_NOEXCEPT;

/* Withdraws what the module has registered, and closes it; nothing for null. The system does
 * without the module from then on. A process that just ends and may be started again does not close
 * it: the daemon sees its end, and the running configuration names the module as missing meanwhile.
 */
KIV_API void kiv_module_close(kiv_module *module) KIV_NOEXCEPT;

/* All of this but withdrawing, until SIGTERM or SIGINT; SIGPIPE and SIGXFSZ are ignored. Returns
 * the exit status of the process: 0, or 1 after a message on standard error. */
KIV_API int kiv_module_run(const kiv_module_description *description) KIV_NOEXCEPT;

/* Interface names as indices: the bit of the type in masks, and the numbers of the name, of which
 * a type with one leaves the second 0. fc2/11 is KIV_IFINDEX(0, 2, 11). */
#define KIV_IFINDEX(type, first, second)                                                           \
    ((uint32_t)(type) << 28 | ((uint32_t)(first)&0x3FFFU) << 14 | ((uint32_t)(second)&0x3FFFU))
#define KIV_IFINDEX_TYPE(index) ((uint32_t)(index) >> 28)
#define KIV_IFINDEX_FIRST(index) ((uint32_t)(index) >> 14 & 0x3FFFU)
#define KIV_IFINDEX_SECOND(index) ((uint32_t)(index)&0x3FFFU)

KIV_EXTERN_C_END

#endif
