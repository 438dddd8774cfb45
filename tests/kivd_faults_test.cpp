// What the daemon has to bear from its clients and from the files beside its own.

#include <algorithm>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <sys/resource.h>
#include <sys/wait.h>

#include <kiv/kiv_process_api.h>
#include <kiv/kivd_lib.h>
#include <kiv/platform/syserr.h>

#include "daemon_process.h"
#include "temporary_directory.h"
#include "transport_peer.h"

namespace {

using daemon_process::answer;
using daemon_process::ask;
using daemon_process::living;
using daemon_process::running;
using daemon_process::serving;
using daemon_process::status;
using daemon_process::write_commands;
using testing::EndsWith;
using testing::HasSubstr;
using transport_peer::process;

constexpr uint64_t address = OVRA_ADDRESS(OVRA_NODE_LOCAL, 37);

using KivdFaults = daemon_process::test;

// Asks for long answers and reads none of them: it is cut off again and again, and connects anew.
int never_read()
{
    const int queue = ovra_open(OVRA_ADDRESS_NONE, 0);
    constexpr int enough = 20'000;
    uint32_t token = 0;
    int error = 0;
    for (int i = 0; i < enough && error == 0; ++i)
        error = transport_peer::send(queue, address, 938, "", &token);
    return error;
}

// Nonsense as fast as it goes, for as long as the process lives.
int flood(process &)
{
    const int queue = ovra_open(OVRA_ADDRESS_NONE, 0);
    for (uint32_t opcode = 0;; ++opcode)
        transport_peer::send(queue, address, opcode % 1000, std::string(100, 'x'));
}

TEST_F(KivdFaults, ServesTheOthersWhateverSomeClientsDo)
{
    running daemon({}, RLIMIT_NOFILE, 64); // which it raises
    daemon.serves();
    std::vector<transport_peer::socket_end> silent;
    for (size_t i = 0; i < 300; ++i) {
        silent.push_back(transport_peer::connect(37));
        ASSERT_TRUE(silent.back()) << i;
        if (i < 10)
            transport_peer::send(silent[i], std::string(i * 4, 'x'));
    }
    process flooding(flood);
    const living deaf(never_read);
    EXPECT_EQ(deaf.result(), 0);
    for (int i = 0; i < 500; ++i)
        ASSERT_EQ(ask(938).status, 0) << i;
    EXPECT_EQ(kivd_switchname_set(0, "edge"), 0);
    flooding.kill();
    EXPECT_GT(status().bad_messages, 20U);
    daemon.wait_for("more bad messages");
}

TEST_F(KivdFaults, TellsOfARefusalThatHidesBehindNonsense)
{
    const daemon_process::stranger stranger;
    if (!stranger.is_possible)
        GTEST_SKIP() << "no other user reaches the files here";
    serving daemon(stranger.options);
    const int result = stranger.result_of([] {
        for (int i = 0; i < 1000; ++i)
            ask(12345);
        return kivd_switchname_set(0, "theirs");
    });
    EXPECT_EQ(result, -1);
    EXPECT_THAT(daemon.wait_for("refused to"), HasSubstr("set name of switch"));
}

TEST_F(KivdFaults, MergesOnceWhenManyEndAtOnce)
{
    if (!daemon_process::is_stopping_possible())
        GTEST_SKIP() << "a traced process is not stopped at once";
    serving daemon;
    std::vector<std::unique_ptr<living>> modules;
    for (int i = 0; i < 30; ++i) {
        const std::string name = "m" + std::to_string(i);
        write_commands(name, {name}, "");
        modules.push_back(
            std::make_unique<living>([&] { return kiv_register_parse_tree(0, name.c_str()); }));
        ASSERT_EQ(modules.back()->result(), 0);
    }
    ASSERT_EQ(kivd_generate_main_tree(0), 0);
    EXPECT_EQ(status().tree_number, 31U);
    const uint64_t merges = status().merges;
    kill(daemon.pid(), SIGSTOP);
    ASSERT_EQ(waitpid(daemon.pid(), nullptr, WUNTRACED), daemon.pid());
    modules.clear();
    kill(daemon.pid(), SIGCONT);
    daemon.wait_for("nodes of 1 trees");
    EXPECT_EQ(status().merges, merges + 1);
}

TEST_F(KivdFaults, WritesThroughNoLinkInTheFolderOfTheTrees)
{
    serving daemon;
    switch_root::write_file("/ubex/victim", "untouched");
    for (int number = 1; number < 20; ++number) {
        for (const char *suffix : {".par", ".par_done"}) {
            const std::string link = "/ubex/etc/par/main_tree" + std::to_string(number) + suffix;
            ASSERT_TRUE(symlink("/ubex/victim", link.c_str()) == 0 || errno == EEXIST);
        }
    }
    char before[KIVD_PARFILE_NAME_SIZE];
    char after[KIVD_PARFILE_NAME_SIZE];
    ASSERT_EQ(kivd_kiv_dynamic_parfile_name_get(0, before), 0);
    EXPECT_EQ(kivd_generate_main_tree(0), 0);
    ASSERT_EQ(kivd_kiv_dynamic_parfile_name_get(0, after), 0);
    EXPECT_STRNE(before, after);
    EXPECT_EQ(switch_root::read_file("/ubex/victim"), "untouched");
    EXPECT_EQ(kiv_register_parse_tree(0, "main_tree3"), static_cast<int>(KIV_ERROR_BAD_MESSAGE))
        << "a name of the daemon's own";
}

TEST_F(KivdFaults, TellsAsMuchOfAReportAsAMessageHolds)
{
    const kiv_tests::temporary_directory state;
    serving daemon({"--state", state.path()});
    std::vector<std::string> keywords;
    for (const char letter : {'a', 'b', 'c', 'd', 'e', 'f', 'g', 'h'})
        keywords.emplace_back(30, letter);
    for (int i = 0; i < 300; ++i) {
        const std::string name = "a-rather-long-name-" + std::to_string(i);
        write_commands(name, keywords, "run_" + name);
        ASSERT_EQ(kiv_register_parse_tree(0, name.c_str()), 0);
    }
    // The daemon writes as many lines to its log.
    process merging([](process &) {
        return static_cast<uint32_t>(kivd_generate_main_tree(0)) == KIV_ERROR_TREE_UNUSABLE ? 0 : 1;
    });
    daemon.wait_for("nodes of 2 trees");
    EXPECT_EQ(merging.end(), 0);
    const answer report = ask(kivd::message_merge_report);
    EXPECT_EQ(report.status, 0);
    EXPECT_GT(report.size, OVRA_MAX_PAYLOAD / 2);
    EXPECT_THAT(static_cast<const char *>(report.payload.get()), EndsWith(" more\n"));
}

} // namespace
