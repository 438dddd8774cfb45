/* What the files of this module share. */
#ifndef VSAN_MODULE_H
#define VSAN_MODULE_H

#include <kiv/kiv_exec_lib.h>
#include <kiv/module.h>

#define VSAN_LAST 4093
#define VSAN_DEFAULT 1 /* always there */
#define FC_TYPE 0U     /* the bit of fc in masks of interface types */
#define FC_SLOTS 9U
#define FC_PORTS 32U

/* -- Records, as they are in the file. All zeros is what nobody has configured. -- */

struct vsan_record {
    uint32_t checksum; /* the store's */
    uint8_t exists;
    uint8_t suspended;
    uint8_t domain_controller[4]; /* zeros: none */
    char name[33];
    uint8_t reserved[21];
};

struct fc_record {
    uint32_t checksum; /* the store's */
    uint16_t vsan;     /* 0: VSAN_DEFAULT */
    uint8_t speed;     /* gigabits per second, 0: auto */
    uint8_t is_shut;
    uint8_t wwn[8]; /* zeros: none */
    char description[81];
    uint8_t reserved[31];
};

/* -- store.c: what survives this process -- */

/* Opens the file, or makes it. Of one with damaged records only those are lost, one that cannot be
 * used is replaced; either is kept under a numbered name. Returns 0, or -1 after a message on
 * standard error. `path` stays as it is while the module runs. */
int store_open(const char *path);

/* The record of a virtual SAN or an interface; null where there is no such number. */
const struct vsan_record *store_vsan(int32_t number);
const struct fc_record *store_fc(uint32_t ifindex);

/* Makes a record what `changed` is, in the file first. Returns 0, or -1 after a message to the
 * user, with nothing changed. */
int store_vsan_change(int32_t number, const struct vsan_record *changed);
int store_fc_change(uint32_t ifindex, const struct fc_record *changed);

/* -- main.c -- */

/* The value of an argument of the command, counted from 0, or of the command that entered the
 * mode; null, after a message to the user, where it is not of this type. */
const void *command_argument(const struct pinfo *info, int32_t index, uint32_t type);
const void *mode_argument(const struct pinfo *info, uint32_t type);

/* Tells the user why the command fails. Returns -1. */
__attribute__((__format__(__printf__, 1, 2))) int refuse(const char *format, ...);

/* -- vsan.c -- */

int vsan(struct pinfo *info);
int vsan_name(struct pinfo *info);
int vsan_suspend(struct pinfo *info);
int vsan_domain_controller(struct pinfo *info);
int vsan_running_config(struct pinfo *info);
int show_vsan(struct pinfo *info);

/* Tells the reader of a running configuration that the user does not see all of it. */
void print_left_out(void);

/* Whether vsan_running_config has told that. */
int is_vsan_left_out(const struct pinfo *info);

/* -- fc.c -- */

int fc(struct pinfo *info);
int fc_default(struct pinfo *info);
int fc_description(struct pinfo *info);
int fc_shutdown(struct pinfo *info);
int fc_speed(struct pinfo *info);
int fc_wwn(struct pinfo *info);
int fc_vsan(struct pinfo *info);
int fc_running_config(struct pinfo *info);
int show_interface(struct pinfo *info);

/* How many interfaces are in the virtual SAN. */
uint32_t fc_count_in(int32_t vsan_number);

/* Moves all of them to VSAN_DEFAULT. Returns 0, or -1 after a message to the user. */
int fc_move_from(int32_t vsan_number);

#endif
