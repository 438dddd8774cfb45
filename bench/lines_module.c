/*
 * A module with much to tell: 50,000 lines of running configuration, printed line
 * by line.
 *
 * usage: lines_module NAME SERVICE
 */
#include <stdio.h>
#include <stdlib.h>

#include <kiv/kiv_exec_lib.h>
#include <kiv/module.h>

static const char *name;

static int lines_running_config(struct pinfo *info)
{
    (void)info;
    for (int i = 0; i < 50000; ++i)
        kiv_buf_printf("%s route %d through the fabric of building seven\n", name, i);
    return 0;
}

static const kiv_module_command commands[] = {
    {"lines_running_config", lines_running_config, 0, NULL}, {0}};

int main(int argc, char **argv)
{
    if (argc != 3) {
        fputs("usage: lines_module NAME SERVICE\n", stderr);
        return 2;
    }
    name = argv[1];
    const kiv_module_description module = {
        .name = name, .service = (uint32_t)strtoul(argv[2], NULL, 10), .commands = commands};
    return kiv_module_run(&module);
}
