/* The smallest module: serves what has arrived, once. */
#include <poll.h>
#include <stdio.h>

#include <kiv/kiv_exec_lib.h>
#include <kiv/module.h>

static int show_hello(struct pinfo *info)
{
    kiv_buf_printf("Hello, %s.\n", info->username);
    return 0;
}

static const kiv_module_command commands[] = {{"show_hello", show_hello, 0, 0}, {0}};

int main(void)
{
    const kiv_module_description hello = {"hello", 700, commands, 0, 0};
    kiv_module *module = kiv_module_open(&hello);
    if (module == NULL) {
        perror("hello");
        return 1;
    }
    struct pollfd ready = {kiv_module_descriptor(module), POLLIN, 0};
    const int status = poll(&ready, 1, 0) < 0 || kiv_module_serve(module) != 0;
    kiv_module_close(module);
    puts(status == 0 ? "served" : "failed");
    return status;
}
