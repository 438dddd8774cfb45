#include <cerrno>
#include <cstring>
#include <string>

#include <gtest/gtest.h>
#include <sys/time.h>
#include <unistd.h>

#include <kiv/kiv_exec_lib.h>
#include <kiv/kiv_lib.h>

#include "golden.h"
#include "libkiv/lib/hour_clock.h"
#include "observed.h"
#include "terminal.h"
#include "vsans.h"

namespace {

using kiv_tests::printed;

TEST(DebugFilter, ReportsWhatIsOn)
{
    const auto report_of = [](uint32_t filter) {
        kiv_lib_debug_filter_set(filter);
        EXPECT_EQ(kiv_lib_debug_filter_get(), filter);
        return printed(kiv_lib_debug_filter_print);
    };
    EXPECT_EQ(report_of(0), "");
    EXPECT_EQ(report_of(0x7FFFFFFF), "Kiv:\nkiv ALL debugs are on\n");
    EXPECT_EQ(report_of(0xFFFFFFFF),
              "Kiv:\nkiv EOL debug is on\nkiv EOL param debug is on\n"
              "kiv EOL invocation debug is on\nkiv PARAM debug is on\n"
              "kiv PARSE brief debug is on\nkiv PARSE full debug is on\nkiv SUBMODE debug is on\n"
              "kiv Interface PARAM debug is on\nkiv FUNC TRACE is on\nkiv HELP debug is on\n"
              "kiv CMD debug is on\nkiv EXEC debug is on\nkiv PARSE TREE debug is on\n"
              "kiv ASCIIGEN debug is on\n");
}

TEST(ShellState, CountsCommandsFromItsStart)
{
    kiv_asciigen_internal_cmd_punch();
    kiv_asciigen_internal_cmd_init();
    EXPECT_EQ(kiv_asciigen_internal_cmd_count_get(), 0);
    kiv_asciigen_internal_cmd_punch();
    EXPECT_EQ(kiv_asciigen_internal_cmd_count_get(), 1);
}

TEST(TransportErrors, HaveTheirMessages)
{
    EXPECT_EQ(printed([] { kiv_print_ovra_error_message(9, EPIPE); }),
              "Communication could not be established with the process\n");
    EXPECT_EQ(printed([] { kiv_print_ovra_error_message(1, ETIME); }),
              "Process did not respond within the expected timeframe, please try again.\n");
    EXPECT_EQ(printed([] { kiv_print_timeout_message(2); }),
              "Process did not respond within the expected timeframe\n"
              "Please check if the command was successful using appropriate show commands\n");
    testing::internal::CaptureStderr();
    errno = ENOMEM;
    EXPECT_EQ(kiv_print_ovra_error_message(1, EACCES), 0);
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "Internal CLI error: Cannot allocate memory\n");
    EXPECT_DEATH(kiv_print_timeout_message(0),
                 kiv_tests::failure("kiv_lib", "kiv_print_timeout_message", "0"));
}

TEST(TerminalNotice, ReachesTheTerminalThatThereIs)
{
    const terminal::pseudo_terminal user;
    ASSERT_TRUE(user);
    const std::string tty = user.name().substr(std::strlen("/dev/"));
    EXPECT_EQ(notify_session(tty.c_str(), "going down"), 0);
    EXPECT_EQ(user.seen(12), "going down\r\n");
    dup2(user.slave(), STDIN_FILENO);
    EXPECT_EQ(display_terminal("now"), 0);
    EXPECT_EQ(user.seen(4), std::string("now\0", 4)) << "with its NUL";

    close(STDIN_FILENO);
    EXPECT_EQ(display_terminal("nobody"), 0);
    EXPECT_NE(notify_session("no/such/terminal", "nobody 2>/dev/null"), 0);
    const std::string message(KIV_NOTICE_COMMAND_SIZE, 'm');
    EXPECT_EQ(notify_session("null", message.c_str()), -1) << "too long";
}

// The message is part of a command line: this one has the rest of that line written to a file.
TEST(TerminalNotice, GoesToTheConsoleAndThenToThirtyTwoTerminals)
{
    const std::string path = testing::TempDir() + "notices." + std::to_string(getpid());
    kiv_notify_cli_sessions((">/dev/null; cat >>" + path + " <<END\n").c_str());
    std::string expected = " > /dev/ttyS0";
    for (int number = 0; number < 32; ++number)
        expected += " > /dev/pts/" + std::to_string(number);
    EXPECT_EQ(golden::content_of(path), expected);
    unlink(path.c_str());
}

TEST(LogFile, GrowsUntilItIsCleared)
{
    const std::string path = testing::TempDir() + "log." + std::to_string(getpid());
    kiv_log_mesg_to_file(path.c_str(), "one ");
    EXPECT_EQ(kiv_log_mesg_to_file(path.c_str(), "two %s\n"), 0);
    EXPECT_EQ(golden::content_of(path), "one two %s\n");
    EXPECT_EQ(kiv_log_file_clear(path.c_str()), 0);
    EXPECT_EQ(kiv_log_file_clear(path.c_str()), -1);
    EXPECT_EQ(kiv_log_mesg_to_file("/no/such/folder/log", "lost"), 0);
}

TEST(Clock, CountsTheMicrosecondsOfTheHourIn32Bits)
{
    constexpr time_t midnight = 1'700'006'400;
    constexpr time_t hour = 3600;
    static_assert(midnight % (24 * hour) == 0);
    EXPECT_EQ(kiv::microseconds_of_hour({midnight + 11 * hour + hour / 4 + 30, 250'000}),
              930250000);
    EXPECT_EQ(kiv::microseconds_of_hour({midnight + 12 * hour - 1, 0}), -695967296);
    constexpr uint64_t whole_hour = 3'600'000'000;
    const auto value = static_cast<uint32_t>(kiv_time());
    timeval now;
    gettimeofday(&now, nullptr);
    const auto later = static_cast<uint32_t>(kiv::microseconds_of_hour(now));
    EXPECT_LT((whole_hour + later - value) % whole_hour, whole_hour / 60) << "the time of day";
}

class VsanMask : public testing::Test {
protected:
    int range(int32_t first, int32_t last) const
    {
        const kiv_int_range asked{first, last};
        return kiv_is_vsan_range_allowed(&mask, &asked);
    }

    bmask4096 mask = KIV_BMP_INIT(KIV_VSAN_BITS);
};

TEST_F(VsanMask, IsAskedForOneAndForRanges)
{
    mask = kiv_tests::every_vsan();
    EXPECT_EQ(kiv_is_user_vsan_restricted(&mask), 0);
    EXPECT_EQ(range(0, 4095), 1);
    EXPECT_EQ(range(0, 4096), 0);
    EXPECT_EQ(range(-1, 3), 0);
    EXPECT_EQ(range(INT32_MIN, INT32_MAX), 0);
    EXPECT_EQ(kiv_is_vsan_allowed(&mask, 4096), 0);
    // Every range around a forbidden number.
    for (const uint32_t forbidden : {0U, 7U, 8U, 63U, 64U, 100U, 4095U}) {
        mask = kiv_tests::every_vsan();
        mask.bytes[forbidden / 8] &= static_cast<uint8_t>(~(1U << forbidden % 8));
        EXPECT_EQ(kiv_is_vsan_allowed(&mask, forbidden), 0);
        EXPECT_EQ(kiv_is_user_vsan_restricted(&mask), 1);
        const auto at = static_cast<int32_t>(forbidden);
        for (int32_t first = 0; first < 140; ++first) {
            for (int32_t last = first - 1; last < 140; ++last)
                ASSERT_EQ(range(first, last), first <= at && at <= last ? 0 : 1)
                    << first << " to " << last << " without " << at;
        }
    }
    mask.size = 4;
    EXPECT_EQ(range(10, 5), 1) << "an empty range, without a look at the mask";
    EXPECT_DEATH(range(5, 5), "bmp_template:[0-9]+: .*Assertion "
                              "`b->size == \\(\\(\\(\\(4096\\)\\+31\\)>>3\\)&~0x3\\)' failed");
}

TEST_F(VsanMask, IsShownAsAListThroughTheCapture)
{
    const auto shown = [this] { return printed([this] { kiv_print_vsan_mask(&mask); }); };
    EXPECT_EQ(shown(), "Permitted vsans:none\n");
    mask = kiv_tests::vsans({0, 1, 3, 4, 4095});
    kiv_set_redir2buf();
    EXPECT_EQ(shown(), "");
    EXPECT_STREQ(kiv_get_buf(), "Permitted vsans:0-1,3-4,4095\n");
    free(kiv_get_buf());
    kiv_reset_redir2buf();
}

TEST(InterfaceTypes, BelongToVirtualSansOrNot)
{
    std::string types;
    for (uint32_t type = 0; type <= 70; ++type)
        types += kiv_is_interface_type_per_vsan(type) == 1 ? std::to_string(type) + ' ' : "";
    EXPECT_EQ(types, "1 4 16 64 ");
    EXPECT_EQ(printed([] { EXPECT_EQ(kiv_is_interface_type_restricted(), 1); }),
              "kiv_is_interface_type_restricted: modified/stubbed!\n");
}

TEST(InterfaceHelp, HoldsFiveFields)
{
    kiv_intf_help_info info;
    EXPECT_EQ(kiv_intf_help_info_reset(&info, "slot/port"), 0);
    EXPECT_EQ(kiv_intf_help_info_add(&info, std::string(99, 'n').c_str(), 1, 9), 0);
    for (int i = 2; i <= 5; ++i)
        EXPECT_EQ(kiv_intf_help_info_add(&info, "port", -i, i), 0);
    EXPECT_EQ(kiv_intf_help_info_add(&info, "sixth", 0, 0), -1);
    kiv_intf_help_info copy;
    EXPECT_EQ(kiv_intf_help_info_copy(&info, &copy), 0);
    EXPECT_EQ(printed([&] { kiv_intf_help_info_show(&copy); }),
              "\n Interface help information:\nIntf help str:slot/port \t " + std::string(63, 'n') +
                  " <1-9>\n\t port <-2-2>\n\t port <-3-3>\n\t port <-4-4>\n\t port <-5-5>\n");
    for (const int32_t count : {-1, INT32_MAX}) {
        info.field_count = count;
        EXPECT_EQ(kiv_intf_help_info_add(&info, "field", 0, 0), -1) << count;
        EXPECT_EQ(kiv_intf_help_info_copy(&info, &copy), 0);
        EXPECT_EQ(copy.field_count, count < 0 ? 0 : 5);
    }
    EXPECT_EQ(kiv_intf_help_info_copy(nullptr, &copy), 0);
    EXPECT_EQ(printed([&] { kiv_intf_help_info_show(&copy); }), "\n Interface help information:\n");
}

} // namespace
