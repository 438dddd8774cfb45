// The same counts, from every header of the library.
#include <cstdint>
#include <fstream>
#include <iostream>
#include <iterator>
#include <vector>

#include <kiv/common.h>
#include <kiv/extras.h>
#include <kiv/kiv_exec_lib.h>
#include <kiv/kiv_interact_exec.h>
#include <kiv/kiv_lib.h>
#include <kiv/kiv_process_api.h>
#include <kiv/kivd_lib.h>
#include <kiv/parfile.h>

int main(int argc, char **argv)
{
    std::ifstream file(argc > 1 ? argv[1] : "", std::ios::binary);
    const std::vector<char> bytes{std::istreambuf_iterator<char>(file), {}};
    if (kiv_tree_check(bytes.data(), bytes.size(), nullptr) != 0)
        return 1;
    const auto *nodes = reinterpret_cast<const kiv_array_tree_node *>(bytes.data());
    size_t commands = 0;
    for (size_t i = 0; i < bytes.size() / sizeof *nodes; ++i)
        commands += (std::uint32_t{nodes[i].action} & KIV_ACTION_TERMINAL) != 0;
    std::cout << commands << " commands\n";
    return commands > 0 && kiv_is_diff_same("a\n", "a\n") == 1 ? 0 : 1;
}
