/*
 * A command handler as a module has it: it gets a pinfo with the arguments of a
 * command, here of "show vsan 10 name storage from URI port WWN", and prints
 * through the capture buffer; whoever called it has the text in memory.
 */
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include <kiv/kiv_exec_lib.h>
#include <kiv/kiv_lib.h>

enum argument { ARGUMENT_VSAN, ARGUMENT_NAME, ARGUMENT_LOCATION, ARGUMENT_PORT, ARGUMENTS };

struct command_line {
    int32_t vsan;
    char name[33];
    struct uri_info location;
    uint8_t port[8];
    struct param_arg args[ARGUMENTS];
};

/* What the shell does before it calls a handler. Returns 0, or -1 where the location is none. */
static int parse(struct command_line *line, struct pinfo *info)
{
    static const uint8_t port[] = {0x20, 0x00, 0x00, 0x11, 0x22, 0x33, 0x44, 0x55};
    line->vsan = 10;
    robust_strncpy(line->name, "storage", sizeof line->name);
    memcpy(line->port, port, sizeof port);
    if (kiv_xml_parse_uri(&line->location, "scp://admin@[2001:db8::1]:22/images/boot.bin") != 0)
        return -1;
    populate_param_arg(&line->args[ARGUMENT_VSAN], 100, TYPE_VSAN, 0, &line->vsan);
    populate_param_arg(&line->args[ARGUMENT_NAME], 101, TYPE_STRING, 0, line->name);
    populate_param_arg(&line->args[ARGUMENT_LOCATION], 102, TYPE_URI, 0, &line->location);
    populate_param_arg(&line->args[ARGUMENT_PORT], 103, TYPE_WWN, 0, line->port);
    for (int i = 0; i < ARGUMENTS; ++i)
        pinfo_insert_arg(info, &line->args[i]);
    return 0;
}

static void log_in(struct pinfo *info)
{
    robust_strncpy(info->username, "operator", sizeof info->username);
    robust_strncpy(info->vty_id, "pts/0", sizeof info->vty_id);
    info->vsan_mask.size = sizeof info->vsan_mask.bytes;
    for (uint32_t vsan = 1; vsan <= 100; ++vsan)
        bmask4096_set_bit(&info->vsan_mask, vsan);
}

/* The handler itself. */
static int show_vsan(const struct pinfo *info)
{
    const uint32_t vsan = (uint32_t) * (const int32_t *)info->args[ARGUMENT_VSAN]->value;
    const char *name = info->args[ARGUMENT_NAME]->value;
    char *port = print_hex_to_str(info->args[ARGUMENT_PORT]->value, 8);
    kiv_buf_printf("vsan %u \"%s\", port %s\n", vsan, name, port == NULL ? "" : port);
    free(port);
    kiv_print_vsan_mask(&info->vsan_mask);
    return kiv_is_vsan_allowed(&info->vsan_mask, vsan) ? 0 : -1;
}

int main(void)
{
    static struct pinfo info;
    static struct command_line line;
    pinfo_basic_copy(&info, NULL);
    log_in(&info);
    if (parse(&line, &info) != 0)
        return EXIT_FAILURE;
    print_pinfo(&info);

    kiv_set_redir2buf();
    const int result = show_vsan(&info);
    char *text = kiv_get_buf();
    const int length = kiv_get_buf_len();
    kiv_reset_redir2buf();
    printf("The handler returned %d; its output, %d characters, was captured:\n%s", result, length,
           text == NULL ? "" : text);
    free(text);
    return result == 0 ? EXIT_SUCCESS : EXIT_FAILURE;
}
