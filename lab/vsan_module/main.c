/*
 * A module: virtual SANs and Fibre Channel interfaces.
 *
 * usage: kiv_vsan_module [--state FILE]
 */
#include <getopt.h>
#include <stdarg.h>
#include <stdio.h>
#include <string.h>

#include "vsan_module.h"

#define DEFAULT_STATE "/ubex/cfg/vsan"
#define STATUS_USAGE 2

static const kiv_module_command commands[] = {
    {"show_vsan", show_vsan, 0, NULL},
    {"show_interface", show_interface, 0, NULL},
    {"vsan", vsan, KIV_MODULE_CHANGES, "vsan"},
    {"vsan_name", vsan_name, KIV_MODULE_CHANGES, "vsan"},
    {"vsan_suspend", vsan_suspend, KIV_MODULE_CHANGES, "vsan"},
    {"vsan_domain_controller", vsan_domain_controller, KIV_MODULE_CHANGES, "vsan"},
    {"vsan_running_config", vsan_running_config, 0, NULL},
    {"fc", fc, 0, NULL},
    {"fc_default", fc_default, KIV_MODULE_CHANGES, "interface"},
    {"fc_description", fc_description, KIV_MODULE_CHANGES, "interface"},
    {"fc_shutdown", fc_shutdown, KIV_MODULE_CHANGES, "interface"},
    {"fc_speed", fc_speed, KIV_MODULE_CHANGES, "interface"},
    {"fc_wwn", fc_wwn, KIV_MODULE_CHANGES, "interface"},
    {"fc_vsan", fc_vsan, KIV_MODULE_CHANGES, "interface"},
    {"fc_running_config", fc_running_config, 0, NULL},
    {0},
};

const void *command_argument(const struct pinfo *info, int32_t index, uint32_t type)
{
    const int32_t place = info->submode_context + index;
    if (place >= 0 && place < info->parameter_count && info->args[place]->type == type)
        return info->args[place]->value;
    refuse("The command came with other arguments than this module knows.");
    return NULL;
}

const void *mode_argument(const struct pinfo *info, uint32_t type)
{
    return command_argument(info, -1, type);
}

int refuse(const char *format, ...)
{
    char text[160];
    va_list arguments;
    va_start(arguments, format);
    vsnprintf(text, sizeof text, format, arguments);
    va_end(arguments);
    kiv_buf_printf("%s\n", text);
    return -1;
}

static int serve(void)
{
    kiv_intf_help_info help;
    kiv_intf_help_info_reset(&help, "fc<slot 1-9>/<port 1-32>");
    kiv_intf_help_info_add(&help, "slot", 1, (int32_t)FC_SLOTS);
    kiv_intf_help_info_add(&help, "port", 1, (int32_t)FC_PORTS);
    intf_reg_info type = {.ascii_gen_priority = 30};
    kiv_set_intf_reg_info(&type, "fc", 2, 1, "", "", "", &help);
    const kiv_module_description module = {.name = "vsan",
                                           .service = 610,
                                           .commands = commands,
                                           .interface_mask = 1U << FC_TYPE,
                                           .interface_type = &type};
    return kiv_module_run(&module);
}

static void print_usage(FILE *to)
{
    fputs(
        "usage: kiv_vsan_module [--state FILE]\n"
        "\n"
        "Serves the shell's commands of virtual SANs and Fibre Channel interfaces, until SIGTERM.\n"
        "\n"
        "  --state FILE   where the configuration is kept (default: " DEFAULT_STATE ")\n"
        "  --help         this text\n",
        to);
}

int main(int argc, char **argv)
{
    static const struct option options[] = {
        {"help", no_argument, NULL, 'h'}, {"state", required_argument, NULL, 's'}, {0}};
    const char *state = DEFAULT_STATE;
    for (int option; (option = getopt_long(argc, argv, "", options, NULL)) != -1;) {
        if (option != 'h' && option != 's') {
            print_usage(stderr);
            return STATUS_USAGE;
        }
        if (option == 'h') {
            print_usage(stdout);
            return 0;
        }
        state = optarg;
    }
    if (optind != argc) {
        print_usage(stderr);
        return STATUS_USAGE;
    }
    return store_open(state) == 0 ? serve() : 1;
}
