/*
 * A process that contributes commands to the shell, as far as the daemon is
 * concerned: it registers its command tree and a type of interfaces, asks for the
 * table of all types, shows a role with the accounting lines of its changes, and
 * runs the start-up configuration in its two stages.
 *
 * usage: kiv_contributor TREE CONFIGURATION-FILE
 */
#include <stdio.h>
#include <stdlib.h>

#include <kiv/kiv_exec_lib.h>
#include <kiv/kiv_process_api.h>
#include <kiv/kivd_lib.h>
#include <kiv/platform/ovra.h>

#define OWN_ACCESS_POINT 500U
#define FC_MASK 0x1U

static int register_interface_type(int queue)
{
    kiv_intf_help_info help;
    kiv_intf_help_info_reset(&help, "fc<slot>/<port>");
    kiv_intf_help_info_add(&help, "slot", 1, 9);
    kiv_intf_help_info_add(&help, "port", 1, 32);
    intf_reg_info info = {.ascii_gen_priority = 30};
    kiv_set_intf_reg_info(&info, "fc", 2, 1, "fc_verify", "fc_list", "libfc.so", &help);
    return kiv_register_interface(queue, FC_MASK, &info);
}

static int show_interface_types(int queue)
{
    kiv_interface_table_entry *entries = NULL;
    const int count = kivd_interface_table_get(queue, &entries);
    if (count < 0)
        return -1;
    show_interface_table(entries, count);
    free(entries);
    return count > 0 ? 0 : -1;
}

/* A change of the role, and the line that accounts for it. */
static void account(int32_t message, kivd_perm_group_conf_cli_wrapper *change)
{
    static char line[KIVD_ROLE_TEXT_SIZE];
    kivd_perm_group_wrapper_cli_str_get(line, message, change);
    printf("accounting: %s\n", line);
}

static void show_role(void)
{
    kivd_perm_group role = {.name = "san-operator", .description = "Looks after zones", .valid = 1};
    kivd_perm_group_conf_cli_wrapper change = {.kind = KIVD_ROLE_CHANGE_RULE, .rule_num = 1};
    kivd_perm_group_conf_cli_wrapper_init(&change);
    robust_strcpy(change.role_name, role.name);
    account(KIVD_ROLE_MESSAGE_NAME, &change);
    kivd_perm_group_conf_entry_populate(&change.rule, KIVD_RULE_PERMIT, KIVD_COMMAND_SHOW, "zone",
                                        0);
    account(KIVD_ROLE_MESSAGE_RULE, &change);
    kivd_perm_group_conf_entry_copy(&role.rules[0], &change.rule);
    role.rule_count = 1;
    change.kind = KIVD_ROLE_CHANGE_VSAN_LIST;
    for (uint32_t vsan = 10; vsan <= 20; ++vsan)
        bmask4096_set_bit(&change.vsans, vsan);
    account(KIVD_ROLE_MESSAGE_RULE, &change);
    kivd_perm_group_entry_cli_show(&role, &change.vsans);
}

static uint32_t run_startup(int queue, const char *file)
{
    kiv_system_info info = {.debug = 1};
    robust_strncpy(info.file_name, file, sizeof info.file_name);
    return kiv_multi_stage_execute_cfg_file(queue, &info);
}

static int report(const char *what, int result)
{
    if (result != 0)
        fprintf(stderr, "%s: %s\n", what, syserr2str((uint32_t)result));
    return result;
}

static int run_registered(int queue, const char *file)
{
    if (register_interface_type(queue) != 0 || show_interface_types(queue) != 0)
        return -1;
    show_role();
    const int result = report("start-up configuration", (int)run_startup(queue, file));
    kiv_deregister_interface(queue, FC_MASK);
    return result;
}

/* The tree of a process that just ends is expected back. */
static int contribute(int queue, const char *tree, const char *file)
{
    if (report("tree", kiv_register_parse_tree(OWN_ACCESS_POINT, tree)) != 0)
        return -1;
    const int result = run_registered(queue, file);
    const int withdrawn = report("tree", kiv_deregister_parse_tree(OWN_ACCESS_POINT, tree));
    return result != 0 ? result : withdrawn;
}

int main(int argc, char **argv)
{
    if (argc != 3) {
        fprintf(stderr, "usage: kiv_contributor TREE CONFIGURATION-FILE\n");
        return 2;
    }
    setvbuf(stdout, NULL, _IOLBF, 0);
    const int queue = ovra_open(OVRA_ADDRESS(OVRA_NODE_LOCAL, OWN_ACCESS_POINT), 0666);
    if (queue < 0) {
        perror("message queue");
        return EXIT_FAILURE;
    }
    const int result = contribute(queue, argv[1], argv[2]);
    ovra_close(queue);
    return result == 0 ? EXIT_SUCCESS : EXIT_FAILURE;
}
