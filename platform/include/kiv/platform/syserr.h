/*
 * syserr.h - library error codes and their texts.
 *
 * A code is 32 bits. 0 is success. Codes of the form 0x4054xxxx are the
 * library's own, one row of the table below for each. A failure of the message
 * transport is 0x80540000 with the low 12 bits of errno (POSIX) put in.
 */
#ifndef KIV_PLATFORM_SYSERR_H
#define KIV_PLATFORM_SYSERR_H

#include <kiv/platform/platform.h>

/* X(name, code, text) */
#define KIV_ERROR_TABLE(X)                                                                         \
    X(KIV_ERROR_COMMAND_FAILED, 0x40540001, "Command failed")                                      \
    X(KIV_ERROR_FILE_MISSING, 0x40540002, "File does not exist")                                   \
    X(KIV_ERROR_COMMAND_STATUS_1, 0x40540003, "Command ended with status 1")                       \
    X(KIV_ERROR_ROLE_UNKNOWN, 0x40540009, "Role does not exist")                                   \
    X(KIV_ERROR_COMMAND_TOO_LONG, 0x4054001E, "Command line is too long")                          \
    X(KIV_ERROR_INTERFACE_UNKNOWN, 0x40540027, "Interface type is not registered")                 \
    X(KIV_ERROR_BAD_MESSAGE, 0x40540030, "Message is not understood")                              \
    X(KIV_ERROR_DENIED, 0x40540031, "Permission denied for the role")                              \
    X(KIV_ERROR_TABLE_FULL, 0x40540032, "Table is full")                                           \
    X(KIV_ERROR_EXISTS, 0x40540033, "Exists already")                                              \
    X(KIV_ERROR_NOT_FOUND, 0x40540034, "Does not exist")                                           \
    X(KIV_ERROR_LOCKED, 0x40540035, "Configuration is locked by another session")                  \
    X(KIV_ERROR_NOT_STORED, 0x40540036, "Change could not be stored")                              \
    X(KIV_ERROR_ROLE_FIXED, 0x40540037, "Predefined role cannot be changed")                       \
    X(KIV_ERROR_TREE_UNUSABLE, 0x40540038, "Command tree cannot be used")

#define KIV_ERROR_ENUMERATOR(name, code, text) name = code,
enum kiv_error { KIV_ERROR_TABLE(KIV_ERROR_ENUMERATOR) };
#undef KIV_ERROR_ENUMERATOR

/* The bits of a code that hold a transport failure. */
#define KIV_ERROR_TRANSPORT 0x80540000U
#define KIV_ERROR_TRANSPORT_ERRNO_MASK 0xFFFU

KIV_PLATFORM_BEGIN

/* Returns the text of a code, without a newline: "Success" for 0, the table's
 * text for a library code, the system's own text of the errno value for a
 * transport failure, and "Unknown error 0x..." with eight digits otherwise.
 * Never null. The text of an unknown code or errno value stays valid until the
 * calling thread's next call; every other text is constant. */
KIV_PLATFORM_API const char *syserr2str(uint32_t code) KIV_PLATFORM_NOEXCEPT;

KIV_PLATFORM_END

#endif
