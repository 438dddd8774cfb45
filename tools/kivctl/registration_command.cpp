// Registrations and the lock: they belong to a process, so kivctl keeps them while a command runs,
// or until it is interrupted.

#include <algorithm>
#include <array>
#include <charconv>
#include <csignal>
#include <cstring>
#include <string>
#include <string_view>
#include <vector>

#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <kiv/kiv_process_api.h>
#include <kiv/kivd_lib.h>

#include "commands.h"
#include "daemon_client.h"
#include "listing.h"
#include "options.h"
#include "report.h"

namespace kivctl {

namespace {

constexpr const char *register_usage =
    "usage: kivctl register [--json] [--merge] [--interface NAME=MASK]... [TREE]...\n"
    "                       [-- COMMAND...]\n"
    "\n"
    "Registers command trees, by the names of their files TREE.par in /ubex/etc/par, and types of\n"
    "interfaces. They stay registered while COMMAND runs, or until kivctl is interrupted.\n"
    "\n"
    "  --merge                 have the daemon merge the trees, then and at the end\n"
    "  --interface NAME=MASK   a type of interfaces, with its bits\n";

constexpr const char *deregister_usage =
    "usage: kivctl deregister [--json] [--merge] [--interface MASK]... [TREE]...\n"
    "\n"
    "Withdraws what others have registered, and trees whose processes have ended and that are\n"
    "expected back. The commands of a tree stay in the shell until the next merge.\n"
    "\n"
    "  --merge            have the daemon merge the trees that are left\n"
    "  --interface MASK   a type of interfaces, by its bits\n";

constexpr const char *lock_usage =
    "usage: kivctl lock [--json] [--session N] [-- COMMAND...]\n"
    "\n"
    "Holds the configuration lock while COMMAND runs, or until kivctl is interrupted.\n"
    "Behind --, all options are COMMAND's.\n";

constexpr const char *unlock_usage = "usage: kivctl unlock [--json] [--session N]\n"
                                     "\n"
                                     "Ends the lock of a session.\n";

enum option_code : int { merge_code = json_code + 1, interface_code, session_code };

constexpr std::array registration_options{
    json_options.front(), option{"merge", no_argument, nullptr, merge_code},
    option{"interface", required_argument, nullptr, interface_code}, help_option, no_more_options};
constexpr std::array session_options{json_options.front(),
                                     option{"session", required_argument, nullptr, session_code},
                                     help_option, no_more_options};

struct interface_type {
    std::string name;
    uint64_t mask = 0;
};

struct registration {
    bool json = false;
    bool merge = false;
    std::vector<interface_type> interfaces;
    std::vector<const char *> trees;
    char **command = nullptr; // null: until interrupted
};

bool read_mask(std::string_view text, uint64_t &mask)
{
    const bool hexadecimal = text.starts_with("0x");
    text.remove_prefix(hexadecimal ? 2 : 0);
    const auto [rest, error] =
        std::from_chars(text.data(), text.data() + text.size(), mask, hexadecimal ? 16 : 10);
    return error == std::errc() && rest == text.data() + text.size() && mask != 0;
}

std::string take_interface(registration &into, std::string_view text, bool with_name)
{
    const size_t equals = with_name ? text.find('=') : text.npos;
    interface_type type;
    if (with_name && (equals == text.npos || equals == 0))
        return "an interface type is NAME=MASK";
    if (with_name)
        type.name = text.substr(0, equals);
    if (!read_mask(with_name ? text.substr(equals + 1) : text, type.mask))
        return "not a mask: " + std::string(text);
    into.interfaces.push_back(std::move(type));
    return {};
}

std::optional<int> read_registration(int argc, char **argv, const char *usage, bool with_names,
                                     registration &into)
{
    const auto take = [&](int code) -> std::string {
        if (code == interface_code)
            return take_interface(into, optarg, with_names);
        (code == json_code ? into.json : into.merge) = true;
        return {};
    };
    // Behind "--" is the command with options of its own, which getopt is not to see.
    char **end = argv + argc;
    char **separator = std::find(argv + 1, end, std::string_view("--"));
    if (const auto status = read_options(static_cast<int>(separator - argv), argv,
                                         {"", registration_options, usage}, take))
        return status;
    into.trees.assign(argv + optind, separator);
    into.command = end - separator > 1 ? separator + 1 : nullptr;
    if (into.trees.empty() && into.interfaces.empty())
        return refuse_usage(usage, argv[0], "no TREE and no --interface");
    return {};
}

// Waits for one of the signals that end a program, or runs the command. Returns the exit status:
// that of the command.
int hold(char **command)
{
    sigset_t ending;
    sigset_t before;
    sigemptyset(&ending);
    for (const int signal : {SIGINT, SIGTERM, SIGHUP})
        sigaddset(&ending, signal);
    sigprocmask(SIG_BLOCK, &ending, &before);
    if (command == nullptr) {
        int signal = 0;
        sigwait(&ending, &signal);
        return done;
    }
    posix_spawnattr_t attributes;
    posix_spawnattr_init(&attributes);
    posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGMASK);
    posix_spawnattr_setsigmask(&attributes, &before);
    pid_t child = -1;
    const int error = posix_spawnp(&child, command[0], nullptr, &attributes, command, environ);
    posix_spawnattr_destroy(&attributes);
    if (error != 0)
        return fail(command[0], std::strerror(error));
    int status = 0;
    while (waitpid(child, &status, 0) < 0 && errno == EINTR) {
    }
    return WIFEXITED(status) ? WEXITSTATUS(status) : static_cast<int>(failed);
}

int request_merge()
{
    const merge_outcome made = send_merge();
    return made.result == 0 && made.word == 0
               ? static_cast<int>(done)
               : fail_request("merge", made.result != 0 ? made.result : made.word);
}

// Where it fails, only those are left in `wanted` that have been registered.
int register_trees(registration &wanted)
{
    for (size_t i = 0; i < wanted.trees.size(); ++i) {
        const char *tree = wanted.trees[i];
        if (const int result = kiv_register_parse_tree(no_client, tree); result != 0) {
            wanted.trees.resize(i);
            return fail_request(tree, result);
        }
    }
    return done;
}

// Returns the first failure, and goes on after it.
int deregister_trees(const registration &wanted)
{
    int status = done;
    for (const char *tree : wanted.trees) {
        const int result = kiv_deregister_parse_tree(no_client, tree);
        if (result != 0 && status == done)
            status = fail_request(tree, result);
    }
    return status == done && wanted.merge ? request_merge() : status;
}

// Interface types are announced one way: whether they are there is asked afterwards.
int verify_interfaces(const message_queue &queue, const registration &wanted, bool expected)
{
    if (wanted.interfaces.empty())
        return done;
    kiv_interface_table_entry *received = nullptr;
    const int32_t count = kivd_interface_table_get(queue.number(), &received);
    if (count < 0)
        return failed;
    const owned<kiv_interface_table_entry> entries(received);
    for (const interface_type &type : wanted.interfaces) {
        const bool there = std::any_of(received, received + count, [&](const auto &entry) {
            return entry.intf_mask == type.mask && (type.name.empty() || entry.name == type.name);
        });
        if (there != expected)
            return fail(type.name.empty() ? "interface type" : type.name,
                        "the daemon has refused it");
    }
    return done;
}

int register_interfaces(const message_queue &queue, const registration &wanted)
{
    for (const interface_type &type : wanted.interfaces) {
        intf_reg_info info{};
        kiv_set_intf_reg_info(&info, type.name.c_str(), 1, 0, "", "", "", nullptr);
        if (kiv_register_interface(queue.number(), type.mask, &info) < 0)
            return failed;
    }
    return verify_interfaces(queue, wanted, true);
}

int deregister_interfaces(const message_queue &queue, const registration &wanted)
{
    for (const interface_type &type : wanted.interfaces) {
        if (kiv_deregister_interface(queue.number(), type.mask) < 0)
            return failed;
    }
    return verify_interfaces(queue, wanted, false);
}

int withdraw(const message_queue &queue, const registration &wanted)
{
    const int interfaces = deregister_interfaces(queue, wanted);
    const int trees = deregister_trees(wanted);
    return interfaces != done ? interfaces : trees;
}

int announce(const message_queue &queue, registration &wanted)
{
    if (const int status = register_trees(wanted); status != done)
        return status;
    if (const int status = register_interfaces(queue, wanted); status != done)
        return status;
    return wanted.merge ? request_merge() : static_cast<int>(done);
}

struct lock_request {
    bool json = false;
    int32_t session = 0;
};

std::optional<int> read_session(int argc, char **argv, const known_options &known,
                                lock_request &into)
{
    return read_options(argc, argv, known, [&](int code) {
        into.json = into.json || code == json_code;
        return code == json_code || read_number(optarg, into.session)
                   ? std::string()
                   : "not a number: " + std::string(optarg);
    });
}

// What is in force from now on, before it is held.
int announce_state(const char *state, bool json)
{
    if (!json)
        return print(std::string(state) + " by process " + std::to_string(getpid()) + "\n");
    summary all;
    all.add("state", state);
    return all.print(true);
}

} // namespace

int register_command(int argc, char **argv)
{
    registration wanted;
    if (const auto status = read_registration(argc, argv, register_usage, true, wanted))
        return *status;
    const message_queue queue;
    if (queue.number() < 0)
        return fail_request("message queue", -1);
    int announced = announce(queue, wanted);
    if (announced == done)
        announced = announce_state("registered", wanted.json);
    if (announced != done) {
        // Trees would be expected back; types of interfaces go with the process.
        deregister_trees(wanted);
        return announced;
    }
    const int held = hold(wanted.command);
    const int status = withdraw(queue, wanted);
    return held != done ? held : status;
}

int deregister_command(int argc, char **argv)
{
    registration wanted;
    if (const auto status = read_registration(argc, argv, deregister_usage, false, wanted))
        return *status;
    if (wanted.command != nullptr)
        return refuse_usage(deregister_usage, argv[0], "it takes no COMMAND");
    const message_queue queue;
    if (queue.number() < 0)
        return fail_request("message queue", -1);
    const int status = withdraw(queue, wanted);
    return status == done && wanted.json ? announce_state("deregistered", true) : status;
}

int lock_command(int argc, char **argv)
{
    lock_request wanted;
    if (const auto status = read_session(argc, argv, {"+", session_options, lock_usage}, wanted))
        return *status;
    if (asks_for_help_behind_operand(argc, argv))
        return show_usage(lock_usage);
    if (const int result = kivd_cli_lock(no_client, wanted.session); result != 0)
        return fail_request("lock", result);
    if (const int status = announce_state("locked", wanted.json); status != done)
        return status;
    const int held = hold(optind < argc ? argv + optind : nullptr);
    const int result = kivd_cli_unlock(no_client, wanted.session);
    return result != 0 ? fail_request("unlock", result) : held;
}

int unlock_command(int argc, char **argv)
{
    lock_request wanted;
    if (const auto status = read_session(argc, argv, {"", session_options, unlock_usage}, wanted))
        return *status;
    if (optind != argc)
        return refuse_operands(unlock_usage, argv[0], operands_of(argc, argv), 0);
    if (const int result = kivd_cli_unlock(no_client, wanted.session); result != 0)
        return fail_request("unlock", result);
    return wanted.json ? announce_state("unlocked", true) : static_cast<int>(done);
}

} // namespace kivctl
