// Configuration files that the shell runs, at the start of the switch and later, and the running
// configuration by way of the peer's shell.

#include <cerrno>
#include <cstring>
#include <string>

#include <fcntl.h>
#include <gmock/gmock.h>
#include <sys/stat.h>
#include <unistd.h>

#include <kiv/kiv_exec_lib.h>

#include "fake_seam.h"
#include "observed.h"
#include "switch_root.h"

namespace {

using kiv_tests::printed;
using switch_root::read_file;
using switch_root::write_file;

constexpr uint32_t box_online = 3225;
constexpr uint32_t failed = 0x40540001;
constexpr uint32_t missing = 0x40540002;
constexpr uint32_t too_long = 0x4054001E;

class BootConfiguration : public switch_root::recorded {
protected:
    void SetUp() override
    {
        recorded::SetUp();
        write_file("/ubex/startup", "");
        std::strcpy(info.file_name, "/ubex/startup");
        info.e_value = 0x11;
        info.q_value = 1;
        info.debug = 1;
    }

    // What the passes print; the result and the request are looked at here.
    std::string run(std::deque<fake_seam::answer> answers, uint32_t expected)
    {
        fake_seam::plan(std::move(answers));
        const kiv_system_info before = info;
        std::string output =
            printed([&] { EXPECT_EQ(kiv_multi_stage_execute_cfg_file(5, &info), expected); });
        EXPECT_EQ(std::memcmp(&before, &info, sizeof info), 0) << "the request changed";
        EXPECT_EQ(fake_seam::messages_held, 0);
        return output;
    }

    static std::string calls()
    {
        std::string texts;
        for (const fake_seam::call &call : fake_seam::calls)
            texts += call.text + '\n';
        return texts;
    }

    static std::string pass(const char *e_value, const char *name, int result)
    {
        // The line of the trace is still in the stream when the shell prints.
        return "recorder output\nCommand str:/usr/sbin/kiv.bin  -r /ubex/startup  -e " +
               std::string(e_value) +
               " -q 1 -o 0 \nkiv exit status = " + (result == 0 ? "0" : "768") + "\n" + name +
               " execution status = " + std::to_string(result) + "\n";
    }

    kiv_system_info info{};
};

TEST_F(BootConfiguration, IsRunAgainWhenTheBoxIsOnline)
{
    fake_seam::before_receive = [] { plan("exit 3"); };
    const std::string output = run({{0x20004}, {}, {}, {0, 0, "", box_online}}, failed);
    EXPECT_EQ(output, pass("32785", "Bootstrap file", 0) + "Received platform box online" +
                          pass("17", "File", static_cast<int>(failed)));
    EXPECT_EQ(calls(), "ovra_options_get(5, 3225)\n"
                       "ovra_options_set(5, 3225, 20)\n"
                       "ovra_send(5, 0xfe00000000000000, 944, null, 0, null, 0, null)\n"
                       "ovra_recv(5, {0 1 0 0 0 0 0 0}, null)\n");
    info.debug = 0;
    plan("exit 0");
    EXPECT_EQ(run({{}, {}, {-1, EPIPE}, {0, 0, "", box_online}}, 0),
              "recorder output\nrecorder output\n");
    EXPECT_THAT(calls(), testing::EndsWith("(5, {0 1 0 0 0 0 0 0}, {1 1 0 0 0 0 0 0})\n"))
        << "waits for an answer, though it could not ask";
    unlink("/ubex/startup");
    EXPECT_EQ(run({{}, {}, {}, {0, 0, "", box_online}}, missing), "") << "asks without a file too";
}

TEST_F(BootConfiguration, IsRunOnceWhereThePlatformIsNotOnline)
{
    plan("exit 3");
    EXPECT_EQ(run({{}, {}, {}, {0, 0, "text", 943}}, failed),
              pass("32785", "Bootstrap file", static_cast<int>(failed)) +
                  "Received Unknown OVRA opcode");
    info.debug = 0;
    plan("exit 0");
    EXPECT_EQ(run({{}, {}, {-1, EPIPE}, {0, 0, "", 943}}, 0), "recorder output\n");
    const std::string no_process =
        "recorder output\nCommunication could not be established with the process\n";
    EXPECT_EQ(run({{}, {}, {}, {-1, EPIPE}}, failed), no_process);
    EXPECT_EQ(run({{-1, EBADF}, {-1, EBADF}, {-1, EPIPE}, {-1, EAGAIN}}, failed), no_process)
        << "of the two errors, the first counts";
    EXPECT_EQ(run({{}, {}, {}, {-1, ETIME}}, failed),
              "recorder output\n"
              "Process did not respond within the expected timeframe\n"
              "Please check if the command was successful using appropriate show commands\n");
}

TEST_F(BootConfiguration, IsAlsoRunAlone)
{
    info.debug = 0;
    EXPECT_EQ(kiv_execute_cfg_file2(&info), 0U);
    EXPECT_EQ(info.type, KIV_EXEC_CONFIG);
    EXPECT_EQ(recording(), "[/usr/sbin/kiv.bin][-r][/ubex/startup][-e][17][-q][1][-o][0]");
    plan("exit 1");
    EXPECT_EQ(kiv_talvek_execute_cfg_file2(&info), failed);
    EXPECT_EQ(recording(), "[/usr/sbin/kiv.bin][-r][/ubex/startup][-L][-e][17][-q][1][-o][0]");
    unlink("/ubex/startup");
    info.type = 9;
    EXPECT_EQ(kiv_execute_cfg_file2(&info), missing);
    EXPECT_EQ(info.type, 9);
    EXPECT_EQ(recording(), "");
}

TEST_F(BootConfiguration, IsRunByACommandOfTheCaller)
{
    const auto run_command = [&](const char *command, uint32_t expected) {
        return printed([&] { EXPECT_EQ(kiv_execute_cmd_file2(&info, command), expected); });
    };
    EXPECT_EQ(run_command("echo $((1 + 1))", 0),
              "2\nExecuting kiv command string:echo $((1 + 1))\nkiv exit status = 0\n")
        << "flushes, so that the trace comes first";
    info.debug = 0;
    EXPECT_EQ(run_command("exit 1", failed), "");
    EXPECT_EQ(run_command("kill -HUP $$", 0x40540003), "");
    EXPECT_EQ(run_command(nullptr, 0x40540003), "");
    unlink("/ubex/startup");
    EXPECT_EQ(run_command("echo ran", missing), "");
}

using RunningConfiguration = switch_root::recorded;

TEST_F(RunningConfiguration, ComesByWayOfThePeersShell)
{
    const std::string longest = "/ubex/" + std::string(121, 'n');
    EXPECT_EQ(talvek_kiv_generate_running_cfg(longest.c_str(), "6.2 (1)"), 0U);
    EXPECT_EQ(recording(),
              "[/usr/sbin/kiv.bin][-V][6.2 (1)][-c][show running-config][-L][-e][0][-q][0][-o][0]");
    EXPECT_EQ(read_file(longest), "recorder output\n");
    const auto said = [](const std::string &file, const char *version, uint32_t result) {
        return printed(
            [&] { EXPECT_EQ(talvek_kiv_generate_running_cfg(file.c_str(), version), result); });
    };
    EXPECT_EQ(said(longest + 'n', "", too_long), "Command line is too long\n");
    EXPECT_EQ(said("/ubex/x", std::string(256, 'v').c_str(), too_long),
              "Command line is too long\n");
    EXPECT_EQ(recording(), "");
    plan("exit 2");
    EXPECT_EQ(said("/ubex/x", "", failed), "Command failed\n");
}

TEST_F(RunningConfiguration, IsWrittenInTheBackground)
{
    ASSERT_EQ(mkfifo("/ubex/release", 0600), 0) << std::strerror(errno);
    plan("wait /ubex/release");
    EXPECT_EQ(talvek_kiv_generate_running_cfg_peer_version_bg("/ubex/peer", "1"), 0U);
    EXPECT_EQ(background_running_flag, 0);
    // Opens once the shell waits at the other end.
    const int release = open("/ubex/release", O_WRONLY | O_CLOEXEC);
    EXPECT_THAT(recording(),
                testing::StartsWith("[/usr/sbin/kiv.bin][-V][1][-c][show running-config peer]"));
    close(release);
}

} // namespace
