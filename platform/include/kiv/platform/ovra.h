/*
 * ovra.h - messages between the processes of the switch.
 *
 * An address is 64 bits: the node in the high half, the service access point in
 * the low half. A process opens a queue, at an address of its own or without
 * one. Over its queue it sends messages to addresses, and receives what others
 * send to its address as well as the answers to what it sent.
 *
 *   int queue = ovra_open(OVRA_ADDRESS(OVRA_NODE_LOCAL, 500), 0666);
 *   ovra_message request;
 *   while (ovra_recv(queue, &request, NULL, NULL) == 0) {
 *       ovra_answer(queue, &request, ovra_opc_get(&request), 0,
 *                   ovra_payload_get(&request), ovra_payload_size(&request));
 *       ovra_drop(&request);
 *   }
 *   ovra_close(queue);
 *
 * Results. 0, or a descriptor, is success; -1 is failure with errno (POSIX) set.
 * On every function that sends or waits:
 *   EPIPE      nobody is at the address, or the peer went away or was cut off
 *   ETIME      the time is over
 *   EMSGSIZE   more than OVRA_MAX_PAYLOAD bytes; larger data goes in pieces
 *   EBADF      no queue of this process
 *   EINVAL     a record of another version, or a value out of range
 *   ENOBUFS    OVRA_MAX_BACKLOG messages are waiting to be received
 *   EPROTO     the peer does not speak this protocol; it has been cut off
 *   ENOMEM, EMFILE, ENFILE, EACCES as for the system calls (POSIX)
 *
 * Framing. A message is one record of a Unix-domain SOCK_SEQPACKET connection: a
 * header of 32 bytes in the byte order of the host, two texts, each with its NUL
 * when it is not empty, and the payload. It arrives whole or not at all, and
 * those from one queue to one address arrive in the order in which they were
 * sent. One connection serves each pair of a queue and an address to which it
 * sends; it is made with the first message and kept.
 *
 *   offset  0  uint32  OVRA_FRAME_MAGIC
 *           4  uint32  opcode
 *           8  int32   request: mode; answer: status
 *          12  uint32  token: 0 for one-way messages and their answers
 *          16  uint32  client: as the sender says, not verified
 *          20  uint32  length of the payload
 *          24  uint16  length of the first text without its NUL
 *          26  uint16  length of the second text
 *          28  uint32  1 for an answer, else 0
 *
 * The two lengths of texts and that of the payload add up to OVRA_MAX_PAYLOAD at
 * most, the NULs not counted; a text holds no other NUL. An answer with a token
 * comes over the connection of its request. A peer that sends anything else is
 * cut off. Descriptors that come with a record (SCM_RIGHTS, unix(7)) are closed.
 *
 * Sockets are /run/kiv/NODE-SAP, the node in eight hexadecimal digits, A to F,
 * and the service access point in decimal, as in /run/kiv/FE000000-37. A socket
 * appears under its name when it has its permissions and is listening, not
 * before; the name of a process that died is taken over, that of a living one
 * never. Beside it are NODE-SAP.lock, which its owner holds locked (flock(2)) and
 * which stays, and for a moment NODE-SAP.new.
 *
 * Identity. ovra_recv tells which process sent a message, as the kernel knows
 * it: the process that made the connection, and its user and group at that
 * time; of an answer the process that opened the queue at the address, and its
 * user and group when it did. Nothing in a message can change that.
 *
 * Bounds. OVRA_MAX_PAYLOAD for texts and payload together; the kernel's socket
 * buffers, one set for each connection, for what is on its way; OVRA_MAX_BACKLOG
 * for what has arrived while its receiver waited for something else;
 * OVRA_MAX_CONNECTIONS that others have made to one queue, after which new ones
 * wait, and as many that it has made, after which sending elsewhere is EMFILE.
 * Of those that others have made one user has OVRA_MAX_OF_USER at most, unless it
 * is the superuser or the one that opened the queue; more are closed at once,
 * which their makers see as EPIPE.
 * When the backlog is full, answers to requests whose wait has ended with ETIME
 * make room. A sender waits for room as long as its options say. An answer never
 * waits, so that one client that does not read cannot hold up a server: it is
 * cut off. One answer of any size has room on each connection while nothing else
 * is unread there, so that who has one request under way is never cut off; who
 * asks more before it reads relies on the size of the kernel's buffers.
 * Connections are served in turn. All times are of the monotonic clock, and
 * signals do not lengthen them.
 *
 * A queue belongs to the thread that uses it and to the process that opened it:
 * in a child of fork (POSIX) it is closed. No function raises SIGPIPE. A thread
 * that may be in one of these functions must not be cancelled (pthread_cancel,
 * POSIX).
 */
#ifndef KIV_PLATFORM_OVRA_H
#define KIV_PLATFORM_OVRA_H

#include <kiv/platform/platform.h>

KIV_PLATFORM_BEGIN

#define OVRA_ADDRESS(node, sap) ((uint64_t)(node) << 32 | (uint64_t)(sap))
#define OVRA_ADDRESS_NONE UINT64_MAX

#define OVRA_NODE_LOCAL 0xFE000000U  /* this node */
#define OVRA_NODE_ACTIVE 0xFE000001U /* the node that holds the configuration */

#define OVRA_MAX_PAYLOAD 131072U
#define OVRA_MAX_BACKLOG 64U
#define OVRA_MAX_CONNECTIONS 4096U
#define OVRA_MAX_OF_USER (OVRA_MAX_CONNECTIONS / 4)
#define OVRA_FRAME_MAGIC 0x4F565231U
#define OVRA_SEND_WAIT 10U /* seconds, where the options say nothing */

/* -- Records ---------------------------------------------------------------- */

/* A message that was received, or was sent. Its memory is the caller's, what it
 * holds is the transport's, until ovra_drop. */
typedef struct ovra_message {
    void *block; /* the message as it came; null: none */
    uint32_t connection;
    uint32_t token;
    uint32_t opcode;
    uint32_t reserved;
} ovra_message;

/* How to send: 32 bytes, of which a caller sets the first word and leaves the others 0. */
#define OVRA_OPTIONS_VERSION 1U
typedef struct ovra_send_options {
    uint32_t version;
    uint32_t wait; /* seconds to wait for room; 0: OVRA_SEND_WAIT */
    uint32_t reserved1[3];
    uint8_t priority; /* 0: the only one */
    uint8_t reserved2[3];
    uint32_t reserved3[2];
} ovra_send_options;

/* What to wait for, and how long. */
#define OVRA_RECV_NO_WAIT 1U
typedef struct ovra_recv_options {
    uint32_t version;
    uint32_t flags;
    uint32_t wait;  /* seconds; 0: no limit */
    uint32_t token; /* take only the answer with this token; 0: take any message */
    uint32_t reserved[4];
} ovra_recv_options;

/* Who sent a message. A caller sets the version and leaves the others 0. */
typedef struct ovra_peer {
    uint32_t reserved1;
    uint32_t version; /* OVRA_OPTIONS_VERSION */
    uint32_t pid;     /* these three as the kernel knows them (SO_PEERCRED, unix(7)) */
    uint32_t uid;
    uint32_t gid;
    uint32_t client;     /* as the sender says: not verified */
    uint32_t connection; /* the same for all messages over one connection, not 0; not used again
                            while that is open, nor before 4294967294 more have been made */
    uint32_t reserved2;
} ovra_peer;

/* -- Queues ----------------------------------------------------------------- */

/* Opens a queue at `address`, whose socket has the permissions `mode` (such as 0666: any process
 * may send to it), or without an address for OVRA_ADDRESS_NONE. Makes /run/kiv (mode 0755) where it
 * is missing. Returns the queue: a descriptor, close-on-exec, that polls readable (POLLIN) while
 * ovra_recv without a token would not wait; it may do so, too, when a connection comes or goes, so
 * that a poll loop receives with OVRA_RECV_NO_WAIT. The caller closes it with ovra_close. Returns
 * -1: EADDRINUSE when a living process has the address; EEXIST when what has its name is no socket;
 * EINVAL for other bits than permissions; the error of mkdir, socket, bind, chmod or rename
 * (POSIX). */
KIV_PLATFORM_API int ovra_open(uint64_t address, uint32_t mode) KIV_PLATFORM_NOEXCEPT;

/* Closes the queue, its connections and its address. Messages received over it stay valid until
 * they are dropped, but cannot be answered. Returns 0, or -1 with EBADF. */
KIV_PLATFORM_API int ovra_close(int queue) KIV_PLATFORM_NOEXCEPT;

/* -- Sending ---------------------------------------------------------------- */

/* Sends `length` bytes of `payload`, which may be null for none, to `address`. With a null `sent`
 * the message is one-way. Otherwise it asks for an answer: `sent` gets its token, and the caller
 * drops it. `flags` is 0. Null `options` are the defaults. Returns 0 when the transport has taken
 * the message, whatever its receiver then does; -1: as above. */
KIV_PLATFORM_API int ovra_send(int queue, uint64_t address, uint32_t opcode, const void *payload,
                               uint32_t length, ovra_message *sent, uint32_t flags,
                               const ovra_send_options *options) KIV_PLATFORM_NOEXCEPT;

/* Answers a message that was received over this queue, with its token: the sender of a request
 * gets the answer by it, the sender of a one-way message as a message like any other. `status` is
 * the result of cmi_req_resp, where the request came from there. Never waits: a sender that has no
 * room left for its answers is cut off, and the result is EPIPE. EINVAL for a message that was
 * sent, or is itself an answer with a token. */
KIV_PLATFORM_API int ovra_answer(int queue, const ovra_message *request, uint32_t opcode,
                                 int32_t status, const void *payload,
                                 uint32_t length) KIV_PLATFORM_NOEXCEPT;

/* -- Receiving -------------------------------------------------------------- */

/* Receives the next message into `message`, which the caller drops, and who sent it into `peer`,
 * unless that is null. Null `options` wait without limit for any message. With a token, what
 * arrives meanwhile without it is kept for later calls. Returns 0 or -1: EPIPE when the peer that
 * should answer goes away, without a token that is any peer to which this queue has sent, or
 * when nobody can send to this queue any more; EPROTO in the same way; EAGAIN with
 * OVRA_RECV_NO_WAIT when there is none. After ETIME the same answer can be waited for again. */
KIV_PLATFORM_API int ovra_recv(int queue, ovra_message *message, ovra_peer *peer,
                               const ovra_recv_options *options) KIV_PLATFORM_NOEXCEPT;

/* Releases what the message holds and makes it empty; an empty one stays so. */
KIV_PLATFORM_API void ovra_drop(ovra_message *message) KIV_PLATFORM_NOEXCEPT;

/* What a received message carries. The payload is aligned for any type, valid until the message is
 * dropped, and null for a size of 0. `which` is 0 or 1; a text is never null. Mode and texts are
 * those of cmi_req_resp, 0 and empty for a message of ovra_send; the status is that of an answer.
 * Of a sent message, opcode and token are known. */
KIV_PLATFORM_API uint32_t ovra_opc_get(const ovra_message *message) KIV_PLATFORM_NOEXCEPT;
KIV_PLATFORM_API uint32_t ovra_rr_token_get(const ovra_message *message) KIV_PLATFORM_NOEXCEPT;
KIV_PLATFORM_API void *ovra_payload_get(const ovra_message *message) KIV_PLATFORM_NOEXCEPT;
KIV_PLATFORM_API uint32_t ovra_payload_size(const ovra_message *message) KIV_PLATFORM_NOEXCEPT;
KIV_PLATFORM_API int32_t ovra_mode_get(const ovra_message *message) KIV_PLATFORM_NOEXCEPT;
KIV_PLATFORM_API int32_t ovra_status_get(const ovra_message *message) KIV_PLATFORM_NOEXCEPT;
KIV_PLATFORM_API const char *ovra_text_get(const ovra_message *message,
                                           int which) KIV_PLATFORM_NOEXCEPT;

/* -- Options of an opcode --------------------------------------------------- */

/* Bits that a queue keeps for an opcode, 0 at first. OVRA_OPTION_AWAITED says that the owner waits
 * for this opcode. This transport delivers every message, so it keeps the bits and asks nothing of
 * them. Get returns the bits, 0 to 0xFFFF; set keeps the low 16 and returns 0; both return -1
 * (EBADF, ENOMEM). */
#define OVRA_OPTION_AWAITED 0x10
KIV_PLATFORM_API int32_t ovra_options_get(int queue, uint32_t opcode) KIV_PLATFORM_NOEXCEPT;
KIV_PLATFORM_API int ovra_options_set(int queue, uint32_t opcode,
                                      int32_t options) KIV_PLATFORM_NOEXCEPT;

KIV_PLATFORM_END

#endif
