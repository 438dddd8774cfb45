// The default tree, which is kept compressed.

#include <sys/stat.h>

#include <kiv/parfile.h>

#include "common/file_exists.h"
#include "exec/child.h"

#define DEFAULT_TREE "/ubex/etc/par/default/main_tree.par"

int kiv_default_parse_tree_zip() noexcept
{
    return kiv::file_exists(DEFAULT_TREE) ? kiv::run_line("gzip -f " DEFAULT_TREE) : -1;
}

int kiv_default_parse_tree_unzip() noexcept
{
    if (kiv::file_exists(DEFAULT_TREE))
        return 0;
    // What counts is whether there is a tree now.
    kiv::run_line("gzip -df " DEFAULT_TREE ".gz");
    return chmod(DEFAULT_TREE, 0666);
}
