// The dump of a tree beside one with a printf for each field.

#include <cstdio>
#include <thread>

#include <fcntl.h>
#include <unistd.h>

#include <kiv/common.h>

#include "rounds.h"
#include "trees.h"

namespace {

void printf_string(const char *label, const char *text)
{
    if (text[0] != '\0')
        std::printf("%s:%s ", label, text);
}

void printf_number(const char *label, long long value)
{
    if (value != 0)
        std::printf("%s:%lld ", label, value);
}

void printf_parameter(const kiv_parameter &parameter)
{
    std::printf("<Parameter ");
    std::printf("TYPE_INT:%d to %d", static_cast<int>(kiv_be32_get(parameter.minimum)),
                static_cast<int>(kiv_be32_get(parameter.maximum)));
    printf_string(" help", parameter.help);
    std::printf("{%d}", static_cast<int>(kiv_be32_get(parameter.type)) & 0x00FFC000);
    std::printf(">");
}

void printf_node(const kiv_array_tree_node &node)
{
    bmask128 permissions = KIV_BMP_INIT(KIV_PERMISSIONS_BITS);
    bmask256 links = KIV_BMP_INIT(KIV_CHILDLIST_BITS);
    std::printf("<NODE> ");
    printf_string("NodeName", node.node_name);
    printf_string("Token", node.token);
    printf_string("Help", node.help);
    printf_number("SubMode", node.action & KIV_ACTION_SUBMODE);
    printf_string("SubMode_Help", node.submode_help);
    printf_string("SubMode_Prompt", node.submode_prompt);
    printf_string("subtree_config_generator", node.subtree_config_generator);
    printf_number("Terminal", node.action & KIV_ACTION_TERMINAL);
    printf_string("Func_ID", node.func_id);
    printf_string("module_id", node.module_id);
    std::printf("permissions_mask:");
    bmask128_from_bitarray(&permissions, node.permissions_mask);
    bmask128_printf_hex(&permissions);
    printf_number("token_id", node.token_id);
    printf_number("command_id", node.command_id);
    printf_number("action", node.action);
    if (node.action != 0) {
        std::printf("action:0x");
        for (size_t i = sizeof node.action; i-- > 0;)
            std::printf("%02hhx", node.action.bytes[i]);
        std::printf(" ");
    }
    printf_number("internal_func_id", node.internal_func_id);
    printf_number("optional", node.optional);
    printf_number("cmi_msg_type", node.cmi_msg_type);
    printf_number("asciigen_priority", node.asciigen_priority);
    printf_number(" Interface Mask", static_cast<long long>(kiv_be64_get(node.interface_mask)));
    std::printf("childlist_mask:");
    bmask256_from_bitarray(&links, node.childlist_mask);
    bmask256_printf_hex(&links);
    for (uint32_t i = 0; i < node.parameter_count; ++i)
        printf_parameter(node.parameters[i]);
    std::printf("\n");
}

void printf_tree(const trees::tree &tree, uint32_t index, int depth)
{
    for (int i = 0; i < depth; ++i)
        std::printf("   ");
    printf_node(tree[index]);
    for (uint32_t i = 0; i < tree[index].child_count; ++i)
        printf_tree(tree, tree[index].children[i], depth + 1);
}

// Standard output leads elsewhere for a while.
class redirection {
public:
    explicit redirection(int target) : saved_(dup(STDOUT_FILENO))
    {
        std::fflush(stdout);
        dup2(target, STDOUT_FILENO);
    }
    ~redirection()
    {
        std::fflush(stdout);
        dup2(saved_, STDOUT_FILENO);
        close(saved_);
    }

private:
    int saved_;
};

void drain(int descriptor)
{
    static char room[1 << 16];
    while (read(descriptor, room, sizeof room) > 0) {
    }
}

void dump_to(benchmark::State &state, int target)
{
    const trees::tree tree = trees::of_size(static_cast<size_t>(state.range(0)));
    const auto into_target = [target](auto print) {
        return [=] {
            const redirection redirected(target);
            print();
        };
    };
    rounds::measure(
        state, {{"display_array_tree", into_target([&] { display_array_tree(tree.data(), 0, 0); })},
                {"printf_per_field", into_target([&] { printf_tree(tree, 0, 0); })}});
}

void dump_to_null(benchmark::State &state)
{
    const int target = open("/dev/null", O_WRONLY | O_CLOEXEC);
    dump_to(state, target);
    close(target);
}

void dump_to_pipe(benchmark::State &state)
{
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) != 0) {
        state.SkipWithError("no pipe");
        return;
    }
    std::thread reader(drain, ends[0]);
    dump_to(state, ends[1]);
    close(ends[1]);
    reader.join();
    close(ends[0]);
}

BENCHMARK(dump_to_null)
    ->Name("dump/null/nodes")
    ->Arg(20000)
    ->Iterations(30)
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond);

BENCHMARK(dump_to_pipe)
    ->Name("dump/pipe/nodes")
    ->Arg(20000)
    ->Iterations(30)
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond);

} // namespace
