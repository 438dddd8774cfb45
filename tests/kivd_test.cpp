// The daemon as its clients know it: what it keeps, whom it lets, and what it survives.

#include <algorithm>
#include <array>
#include <filesystem>
#include <random>
#include <regex>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include <sys/inotify.h>
#include <sys/stat.h>

#include <gmock/gmock.h>

#include <kiv/extras.h>
#include <kiv/kiv_process_api.h>
#include <kiv/kivd_lib.h>
#include <kiv/platform/syserr.h>

#include "daemon_process.h"
#include "lab/roles/decision.h"
#include "switch_root.h"
#include "temporary_directory.h"
#include "trees.h"

namespace {

using daemon_process::answer;
using daemon_process::ask;
using daemon_process::living;
using daemon_process::running;
using daemon_process::serving;
using daemon_process::status;
using daemon_process::tree_directory;
using daemon_process::write_commands;
using testing::ElementsAre;
using testing::HasSubstr;

constexpr const char *state_directory = "/ubex/etc/kivd/";
constexpr intf_reg_info fc{"fc", 1, 2, "verify", "list", "lib", nullptr, 0};

std::vector<std::string> tree_names()
{
    std::vector<std::string> names;
    kiv_tree_table *table = nullptr;
    if (kivd_tree_table_get(0, &table) != 0)
        return {"no answer"};
    for (int32_t i = 0; i <= table->last_index; ++i)
        names.emplace_back(table->entries[i].module_id);
    free(table);
    return names;
}

// The keywords of the root of the tree in force.
std::set<std::string> keywords()
{
    char name[KIVD_PARFILE_NAME_SIZE];
    if (kivd_kiv_dynamic_parfile_name_get(0, name) != 0)
        return {"no tree"};
    const std::string bytes = switch_root::read_file(std::string(tree_directory) + name);
    if (kiv_tree_check(bytes.data(), bytes.size(), nullptr) != 0)
        return {"no sound tree"};
    const auto *nodes = reinterpret_cast<const kiv_array_tree_node *>(bytes.data());
    std::set<std::string> found;
    for (size_t i = 0; i < nodes[0].child_count; ++i)
        found.insert(nodes[nodes[0].children[i]].token);
    return found;
}

kivd_perm_group_conf_cli_wrapper change_of(const std::string &role)
{
    kivd_perm_group_conf_cli_wrapper change{};
    kivd_perm_group_conf_cli_wrapper_init(&change);
    robust_strncpy(change.role_name, role.c_str(), sizeof change.role_name);
    return change;
}

uint32_t send(uint32_t opcode, const kivd_perm_group_conf_cli_wrapper &change)
{
    return static_cast<uint32_t>(ask(opcode, &change, sizeof change).status);
}

std::string switchname()
{
    kiv_cfg_info *info = nullptr;
    if (kivd_kiv_configuration_get(0, &info) != 0)
        return "no answer";
    std::string name = info->switchname;
    free(info);
    return name;
}

std::string text_of(uint32_t question)
{
    const answer given = ask(question);
    return given.status == 0 && given.payload != nullptr
               ? static_cast<const char *>(given.payload.get())
               : "no answer";
}

std::string missing()
{
    return text_of(kivd::message_missing);
}

using Kivd = daemon_process::test;

// The messages of the interface, with the sizes of their payloads.
struct known_message {
    uint32_t opcode;
    uint32_t size;
    uint32_t service;
};

constexpr known_message known_messages[] = {
    {900, 608, 37}, {901, 8, 37},   {905, 0, 37},   {911, 880, 37}, {912, 0, 37},   {913, 880, 37},
    {914, 880, 37}, {916, 0, 37},   {917, 128, 0},  {919, 880, 37}, {935, 128, 37}, {936, 128, 37},
    {937, 0, 37},   {938, 0, 37},   {940, 8, 37},   {944, 0, 0},    {946, 0, 37},   {947, 12, 37},
    {948, 0, 37},   {7655, 88, 37}, {7656, 88, 37}, {7658, 0, 37},  {7661, 128, 37}};

TEST_F(Kivd, KnowsEveryMessageAndAnswersThoseOfAnotherSizeWithAnError)
{
    serving daemon;
    const std::string zeros(1000, '\0');
    for (const known_message &known : known_messages) {
        const answer right = ask(known.opcode, zeros.data(), known.size, known.service);
        EXPECT_NE(right.status, -1) << known.opcode;
        for (const uint32_t size : {0U, known.size - 1, known.size + 1}) {
            if (size == known.size || size > zeros.size())
                continue;
            const answer given = ask(known.opcode, zeros.data(), size, known.service);
            EXPECT_EQ(static_cast<uint32_t>(given.status), KIV_ERROR_BAD_MESSAGE)
                << known.opcode << " with " << size;
        }
    }
    for (const uint32_t unknown : {0U, 943U, UINT32_MAX})
        EXPECT_EQ(static_cast<uint32_t>(ask(unknown).status), KIV_ERROR_BAD_MESSAGE) << unknown;
    EXPECT_GT(status().bad_messages, 40U);
}

TEST_F(Kivd, KeepsWhatIsRegisteredUpToItsCapacityAndRefusesTheRest)
{
    const kiv_tests::temporary_directory state;
    serving daemon({"--state", state.path()});
    for (int i = 0; i < KIV_TREE_TABLE_CAPACITY; ++i)
        ASSERT_EQ(kiv_register_parse_tree(0, ("t" + std::to_string(i)).c_str()), 0) << i;
    EXPECT_EQ(kiv_register_parse_tree(0, "one-more"), static_cast<int>(KIV_ERROR_TABLE_FULL));
    EXPECT_EQ(kiv_register_parse_tree(0, "t7"), 0) << "its own once more";
    for (const char *name : {"", "../up", "a b"})
        EXPECT_EQ(kiv_register_parse_tree(0, name), static_cast<int>(KIV_ERROR_BAD_MESSAGE))
            << name;
    living other([] { return kiv_register_parse_tree(0, "t7"); });
    EXPECT_EQ(static_cast<uint32_t>(other.result()), KIV_ERROR_EXISTS);
    EXPECT_EQ(kiv_deregister_parse_tree(0, "t0"), 0);
    EXPECT_EQ(kiv_deregister_parse_tree(0, "t0"), static_cast<int>(KIV_ERROR_NOT_FOUND));
    const std::vector<std::string> names = tree_names();
    ASSERT_EQ(names.size(), 511U);
    EXPECT_EQ(names.front(), "t1");
    living([] { return kiv_register_parse_tree(0, "back"); }).end();
    daemon.wait_for("withdrawn");
    EXPECT_EQ(kiv_register_parse_tree(0, "other"), static_cast<int>(KIV_ERROR_TABLE_FULL))
        << "the place of one that is expected back";
    EXPECT_EQ(kiv_register_parse_tree(0, "back"), 0);

    const int queue = ovra_open(OVRA_ADDRESS_NONE, 0);
    ASSERT_GE(queue, 0);
    for (unsigned bit = 0; bit <= KIV_INTERFACE_TABLE_CAPACITY; ++bit)
        ASSERT_EQ(kiv_register_interface(queue, uint64_t{1} << bit, &fc), 0);
    kiv_deregister_interface(queue, 1);
    kiv_interface_table_entry *entries = nullptr;
    ASSERT_EQ(kivd_interface_table_get(queue, &entries), KIV_INTERFACE_TABLE_CAPACITY - 1);
    EXPECT_EQ(entries[0].intf_mask, 2U);
    EXPECT_STREQ(entries[22].verify_func, "verify");
    free(entries);
    ovra_close(queue);
}

TEST_F(Kivd, MergesWhatIsRegisteredAndLeavesOutWhatCannotBeUsed)
{
    serving daemon;
    const std::set<std::string> own = keywords();
    EXPECT_EQ(own.count("show"), 1U);
    write_commands("alpha", {"alpha"}, "run_alpha");
    write_commands("beta", {"beta"}, "run_beta");
    write_commands("against", {"alpha"}, "another");
    switch_root::write_file(std::string(tree_directory) + "damaged.par", std::string(999, 'x'));
    ASSERT_EQ(symlink("alpha.par", (std::string(tree_directory) + "linked.par").c_str()), 0);
    ASSERT_EQ(mkfifo((std::string(tree_directory) + "pipe.par").c_str(), 0600), 0);
    for (const char *name : {"missing", "damaged", "linked", "pipe", "alpha", "against", "beta"})
        ASSERT_EQ(kiv_register_parse_tree(0, name), 0);
    EXPECT_EQ(keywords(), own) << "not merged yet";
    EXPECT_EQ(missing(), "against\nalpha\nbeta\ndamaged\nlinked\nmissing\npipe\n");
    EXPECT_EQ(static_cast<uint32_t>(kivd_generate_main_tree(0)), KIV_ERROR_TREE_UNUSABLE);
    std::set<std::string> all = own;
    all.insert({"alpha", "beta"});
    EXPECT_EQ(keywords(), all);
    const std::string text = text_of(kivd::message_merge_report);
    for (const char *line : {"missing: missing.par: No such file or directory\n",
                             "damaged: damaged.par: ", "linked: linked.par: is no regular file\n",
                             "pipe: pipe.par: is no regular file\n", "against: node 1: "})
        EXPECT_THAT(text, HasSubstr(line));
    EXPECT_EQ(std::count(text.begin(), text.end(), '\n'), 5);
    EXPECT_EQ(status().tree_number, 3U);
    EXPECT_EQ(missing(), "against\ndamaged\nlinked\nmissing\npipe\n");

    // Of the numbered files, the one in force and the one before it are there.
    for (int i = 0; i < 5; ++i)
        kivd_generate_main_tree(0);
    const std::regex numbered("main_tree[0-9]+\\.par");
    const auto is_numbered = [&](const auto &file) {
        return std::regex_match(file.path().filename().string(), numbered);
    };
    EXPECT_EQ(std::count_if(std::filesystem::directory_iterator(tree_directory), {}, is_numbered),
              2);
}

TEST_F(Kivd, WithdrawsAtOnceWhatADeadProcessHadRegistered)
{
    serving daemon;
    const std::set<std::string> own = keywords();
    write_commands("alpha", {"alpha"}, "run_alpha");
    write_commands("beta", {"beta"}, "run_beta");
    ASSERT_EQ(kiv_register_parse_tree(0, "beta"), 0);
    living module([] {
        const int queue = ovra_open(OVRA_ADDRESS_NONE, 0);
        kiv_register_interface(queue, 1, &fc);
        kivd_cli_lock(0, 5);
        return kiv_register_parse_tree(0, "alpha") + kivd_generate_main_tree(0);
    });
    ASSERT_EQ(module.result(), 0);
    EXPECT_EQ(keywords().count("alpha"), 1U);
    EXPECT_EQ(missing(), "");
    EXPECT_EQ(static_cast<uint32_t>(kivd_cli_lock(0, 6)), KIV_ERROR_LOCKED);
    module.end();
    daemon.wait_for("lock released");
    daemon.wait_for("withdrawn");
    daemon.wait_for("nodes of 2 trees");
    EXPECT_THAT(tree_names(), ElementsAre("beta"));
    EXPECT_EQ(keywords().count("alpha"), 0U);
    EXPECT_EQ(keywords().count("beta"), 1U);
    const int queue = ovra_open(OVRA_ADDRESS_NONE, 0);
    kiv_interface_table_entry *entries = nullptr;
    EXPECT_EQ(kivd_interface_table_get(queue, &entries), 0);
    free(entries);
    ovra_close(queue);
    EXPECT_EQ(kivd_cli_lock(0, 6), 0);

    EXPECT_EQ(missing(), "alpha\n");
    EXPECT_EQ(kiv_register_parse_tree(0, "alpha"), 0);
    EXPECT_EQ(missing(), "alpha\n") << "no shell finds it yet";
    EXPECT_EQ(kivd_generate_main_tree(0), 0);
    EXPECT_EQ(missing(), "");
}

TEST_F(Kivd, TellsWhichModulesThePublishedTreeDoesNotHaveWhenItCannotPublish)
{
    const kiv_tests::temporary_directory state;
    serving daemon({"--state", state.path()});
    const std::string folder(tree_directory, strlen(tree_directory) - 1);
    write_commands("kept", {"kept"}, "run_kept");
    living ending(
        [] { return kiv_register_parse_tree(0, "ending") + kiv_register_parse_tree(0, "again"); });
    ASSERT_EQ(kiv_register_parse_tree(0, "kept"), 0);
    for (const char *name : {"ending", "again"})
        write_commands(name, {name}, "");
    ASSERT_EQ(kivd_generate_main_tree(0), 0);
    ASSERT_EQ(rename(folder.c_str(), "/ubex/elsewhere"), 0);
    EXPECT_EQ(kiv_register_parse_tree(0, "late"), 0);
    ending.end();
    daemon.wait_for("cannot publish the tree");
    EXPECT_EQ(kiv_register_parse_tree(0, "again"), 0);
    EXPECT_EQ(missing(), "again\nending\nlate\n") << "of those, the tree has what was before";
    ASSERT_EQ(rename("/ubex/elsewhere", folder.c_str()), 0);
    write_commands("late", {"late"}, "");
    EXPECT_EQ(kivd_generate_main_tree(0), 0);
    EXPECT_EQ(missing(), "ending\n");
}

TEST_F(Kivd, IsAsItWasAfterItIsKilled)
{
    auto rule = change_of("operators");
    rule.rule_num = 3;
    kivd_perm_group_conf_entry_populate(&rule.rule, KIVD_RULE_PERMIT, KIVD_COMMAND_SHOW, "zone", 0);
    {
        serving daemon;
        EXPECT_EQ(kivd_switchname_set(0, "edge-7"), 0);
        EXPECT_EQ(send(919, change_of("operators")), 0U);
        EXPECT_EQ(send(911, rule), 0U);
        write_commands("kept", {"kept"}, "run_kept");
        write_commands("lost", {"lost"}, "run_lost");
        EXPECT_EQ(kiv_register_parse_tree(0, "kept"), 0);
        living module([] { return kiv_register_parse_tree(0, "lost"); });
        daemon.end(SIGKILL);
    }
    serving().end(SIGKILL); // which has stored that a module has ended
    serving again;
    EXPECT_EQ(switchname(), "edge-7");
    EXPECT_THAT(tree_names(), ElementsAre("kept")) << "the other module has ended meanwhile";
    EXPECT_EQ(keywords().count("kept"), 1U);
    EXPECT_EQ(missing(), "lost\n");
    EXPECT_EQ(kiv_deregister_parse_tree(0, "lost"), 0) << "not expected back";
    EXPECT_EQ(missing(), "");
    EXPECT_EQ(kiv_deregister_parse_tree(0, "lost"), static_cast<int>(KIV_ERROR_NOT_FOUND));
    rule.no_flag = 1;
    EXPECT_EQ(send(911, rule), 0U) << "the rule was there";
}

TEST_F(Kivd, SetsADamagedStateAsideAndTakesTheOneBefore)
{
    const std::string state = std::string(state_directory) + "state";
    {
        serving daemon;
        EXPECT_EQ(kivd_switchname_set(0, "first"), 0);
        EXPECT_EQ(kivd_switchname_set(0, "second"), 0);
    }
    std::string bytes = switch_root::read_file(state);
    bytes[bytes.size() / 2] = static_cast<char>(bytes[bytes.size() / 2] ^ 1);
    switch_root::write_file(state, bytes);
    {
        running daemon;
        EXPECT_THAT(daemon.wait_for("set aside"), HasSubstr("wrong checksum"));
        daemon.serves();
        EXPECT_EQ(switchname(), "first");
        EXPECT_TRUE(std::filesystem::exists(state + ".damaged"));
    }
    for (const char *suffix : {"", ".previous"})
        switch_root::write_file(state + suffix, "kivdsta\nshort");
    running daemon;
    daemon.wait_for("starting with the settings of a new switch");
    daemon.serves();
    EXPECT_EQ(switchname(), "switch");
}

// Ends the daemon in the middle of writing: when so many steps have been seen in the folder.
void kill_after_steps(int watch, int steps, pid_t daemon)
{
    alignas(inotify_event) char events[4096];
    while (steps > 0) {
        const ssize_t size = read(watch, events, sizeof events);
        for (ssize_t at = 0; at < size; --steps) {
            inotify_event event;
            std::memcpy(&event, events + at, sizeof event);
            at += static_cast<ssize_t>(sizeof event + event.len);
        }
    }
    kill(daemon, SIGKILL);
}

TEST_F(Kivd, LosesNoChangeThatItHasConfirmedWheneverItIsKilled)
{
    std::mt19937 random(7);
    int confirmed = 0;
    const kiv_tests::temporary_directory state;
    for (int round = 0; round < 25; ++round) {
        serving daemon({"--state", state.path()});
        int next = confirmed;
        if (const std::string name = switchname(); confirmed > 0 || name != "switch") {
            next = std::stoi(name);
            ASSERT_THAT(next, testing::AnyOf(confirmed, confirmed + 1));
        }
        const kiv::support::unique_fd watch(inotify_init1(IN_CLOEXEC));
        ASSERT_GE(inotify_add_watch(watch.get(), state.path().c_str(), IN_ALL_EVENTS), 0);
        std::thread killer(kill_after_steps, watch.get(), static_cast<int>(random() % 60) + 1,
                           daemon.pid());
        while (kivd_switchname_set(0, std::to_string(next + 1).c_str()) == 0)
            ++next;
        confirmed = next;
        killer.join();
    }
    EXPECT_GT(confirmed, 25);
}

TEST_F(Kivd, RefusesAChangeThatItCannotStore)
{
    running daemon({}, RLIMIT_FSIZE, 20'000);
    daemon.wait_for("cannot publish the tree: File too large");
    daemon.serves();
    EXPECT_EQ(kivd_switchname_set(0, "edge"), -1);
    daemon.wait_for("cannot store the state: File too large");
    EXPECT_EQ(switchname(), "switch");
    EXPECT_EQ(keywords(), std::set<std::string>{"no tree"});
}

TEST_F(Kivd, LetsOnlyThoseWhoMayChangeAnything)
{
    const daemon_process::stranger stranger;
    if (!stranger.is_possible)
        GTEST_SKIP() << "no other user reaches the files here";
    std::filesystem::create_directories(state_directory);
    serving daemon(stranger.options);
    const auto as_stranger = [&](const std::function<int()> &work) {
        return static_cast<uint32_t>(stranger.result_of(work));
    };
    const std::string zeros(1000, '\0');
    constexpr std::array changes{900, 901, 911, 913, 917,  919,  935,
                                 936, 937, 940, 947, 7655, 7656, 7661};
    for (const known_message &known : known_messages) {
        const uint32_t given = as_stranger(
            [&] { return ask(known.opcode, zeros.data(), known.size, known.service).status; });
        const bool is_change = std::ranges::find(changes, known.opcode) != changes.end();
        EXPECT_EQ(given == KIV_ERROR_DENIED, is_change) << known.opcode;
    }
    if (geteuid() != 0)
        return;
    EXPECT_EQ(send(919, change_of("naming")), 0U);
    auto rule = change_of("naming");
    rule.rule_num = 1;
    kivd_perm_group_conf_entry_populate(&rule.rule, KIVD_RULE_PERMIT, KIVD_COMMAND_CONFIG,
                                        "switchname", 0);
    EXPECT_EQ(send(911, rule), 0U);
    const std::string user = kiv::roles::user_name(stranger.user);
    switch_root::write_file(kiv::roles::users_file, "# who may do what\n" + user + " naming\n");
    EXPECT_EQ(as_stranger([] { return kivd_switchname_set(0, "theirs"); }), 0U);
    EXPECT_EQ(switchname(), "theirs");
    EXPECT_EQ(as_stranger([] { return kivd_session_timeout_set(0, 1, 1); }), UINT32_MAX);
    daemon.wait_for("no rule of role naming matches (configuration of session)");
}

TEST_F(Kivd, KeepsRolesWithinTheirLimits)
{
    const kiv_tests::temporary_directory state;
    serving daemon({"--state", state.path()});
    EXPECT_EQ(send(919, change_of("network-admin")), KIV_ERROR_ROLE_FIXED);
    EXPECT_EQ(send(911, change_of("nobody")), KIV_ERROR_ROLE_UNKNOWN);
    for (int i = 0; i < 64; ++i)
        ASSERT_EQ(send(919, change_of("role" + std::to_string(i))), 0U);
    EXPECT_EQ(send(919, change_of("one-more")), KIV_ERROR_TABLE_FULL);
    EXPECT_EQ(send(919, change_of("role5")), KIV_ERROR_EXISTS);
    auto rule = change_of("role63");
    kivd_perm_group_conf_entry_populate(&rule.rule, KIVD_RULE_DENY, KIVD_COMMAND_EXEC, "", 1);
    constexpr uint32_t bad = KIV_ERROR_BAD_MESSAGE;
    for (const auto &[number, expected] : {std::pair{0, bad}, {17, bad}, {1, 0U}, {16, 0U}}) {
        rule.rule_num = number;
        EXPECT_EQ(send(911, rule), expected) << number;
    }
    rule.no_flag = 1;
    EXPECT_EQ(send(911, rule), 0U);
    EXPECT_EQ(send(911, rule), KIV_ERROR_NOT_FOUND);
    auto remove = change_of("role5");
    remove.no_flag = 1;
    EXPECT_EQ(send(919, remove), 0U);
    EXPECT_EQ(kivd_perm_group_role_name_verify(0, "role5"), -1);
    EXPECT_EQ(send(919, change_of("one-more")), 0U) << "there is room again";
}

TEST_F(Kivd, IsThereOnce)
{
    serving first;
    running second;
    second.wait_for("cannot open the daemon's address: Address already in use");
    EXPECT_EQ(second.end(0), 1 << 8);
    EXPECT_EQ(switchname(), "switch");
    EXPECT_EQ(keywords().count("show"), 1U) << "the tree of the first one is still there";
    EXPECT_EQ(first.end(SIGTERM), 0);
    serving third;
}

} // namespace
