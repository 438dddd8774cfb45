// Modules as the shell and the daemon know them: rights, output, registration, and the sample one.

#include <chrono>
#include <cstring>
#include <string>
#include <vector>

#include <poll.h>
#include <sys/stat.h>

#include <gmock/gmock.h>

#include <kiv/kiv_exec_lib.h>
#include <kiv/kivd_lib.h>
#include <kiv/module.h>
#include <kiv/platform/syserr.h>

#include "daemon_process.h"
#include "lab/module/output.h"
#include "lab/roles/decision.h"
#include "module_process.h"
#include "switch_root.h"

namespace {

using namespace module_process;
using daemon_process::living;
using testing::AllOf;
using testing::HasSubstr;
using testing::Not;

constexpr uint32_t test_service = 700;
constexpr uint32_t vsan_service = 610;
constexpr uid_t storage_user = 12345;
constexpr const char *state_file = "/ubex/vsan-state";

// -- A module of the test's own

// More than two pieces, of lines that differ.
std::string much_text()
{
    std::string text;
    for (int line = 0; line < 20'000; ++line)
        text.append("line ").append(std::to_string(line)).append(" of a long output\n");
    return text;
}

int print_much(pinfo *)
{
    kiv_buf_printf("%s", much_text().c_str());
    return 0;
}

int who_am_i(pinfo *info)
{
    kiv_buf_printf("%s %s vsan 10 %d vsan 30 %d", info->username,
                   info->is_admin != 0 ? "administrator" : "user",
                   kiv_is_vsan_allowed(&info->vsan_mask, 10),
                   kiv_is_vsan_allowed(&info->vsan_mask, 30));
    return 0;
}

int do_nothing(pinfo *info)
{
    return info->no_flag != 0 ? 7 : 0;
}

constexpr kiv_module_command test_commands[] = {
    {"print_much", print_much, 0, nullptr},
    {"who_am_i", who_am_i, 0, nullptr},
    {"do_nothing", do_nothing, 0, nullptr},
    {"change", do_nothing, KIV_MODULE_CHANGES, nullptr},
    {"change_other", do_nothing, KIV_MODULE_CHANGES, "other"},
    {nullptr, nullptr, 0, nullptr},
};

struct test_module : running {
    test_module()
        : running(test_service, [] {
              const kiv_module_description test{"test", test_service, test_commands, 0, nullptr};
              return kiv_module_run(&test);
          })
    {
    }
};

struct vsan_module : running {
    vsan_module()
        : running(vsan_service, [] {
              return execl(VSAN_MODULE_PATH, VSAN_MODULE_PATH, "--state", state_file, nullptr);
          })
    {
    }
};

std::string running_configuration()
{
    return run(vsan_service, "vsan_running_config").output +
           run(vsan_service, "fc_running_config").output;
}

class Module : public daemon_process::test {
protected:
    void SetUp() override
    {
        test::SetUp();
        unlink(state_file);
        switch_root::run("cp " TREES_DIR "/vsan.par /ubex/etc/par/vsan.par");
    }
};

TEST_F(Module, RefusesDescriptionsThatAreNoneAndAnAddressThatIsTaken)
{
    const intf_reg_info nameless{};
    const std::string long_name(kiv::module::function_size, 'f');
    const kiv_module_command without_function[] = {{"f", nullptr, 0, nullptr}, {}};
    const kiv_module_command too_long[] = {{long_name.c_str(), do_nothing, 0, nullptr}, {}};
    const test_module other;
    const struct {
        kiv_module_description description;
        int error;
    } wrong[] = {
        {{"a-name-of-24-characters-", 701, test_commands, 0, nullptr}, EINVAL},
        {{"m", 255, test_commands, 0, nullptr}, EINVAL},
        {{"m", 65536, test_commands, 0, nullptr}, EINVAL},
        {{"m", 701, without_function, 0, nullptr}, EINVAL},
        {{"m", 701, too_long, 0, nullptr}, EINVAL},
        {{"m", 701, test_commands, 1, &nameless}, EINVAL},
        {{"second", test_service, test_commands, 0, nullptr}, EADDRINUSE},
    };
    for (const auto &row : wrong) {
        EXPECT_EQ(kiv_module_open(&row.description), nullptr);
        EXPECT_EQ(errno, row.error) << &row - wrong;
    }
    EXPECT_EQ(kiv_module_open(nullptr), nullptr);
    kiv_module_close(nullptr);
}

class ModuleAlone : public Module {
protected:
    void SetUp() override
    {
        Module::SetUp();
        if (geteuid() != 0)
            GTEST_SKIP() << "without a daemon only root is served";
    }
};

TEST_F(ModuleAlone, AnswersWithResultAndRefusesWhatIsNoRequest)
{
    const test_module served;
    EXPECT_EQ(run(test_service, "no do_nothing").result, 7);
    for (const std::string &garbage : {std::string(), std::string("x"), std::string(70'000, 'x')})
        EXPECT_EQ(fetch(test_service, garbage).status, KIV_ERROR_BAD_MESSAGE);
    response other;
    exchange(test_service, 4711, "", other);
    EXPECT_EQ(other.status, KIV_ERROR_BAD_MESSAGE);
    EXPECT_EQ(run(test_service, "who_am_i").output, "root administrator vsan 10 1 vsan 30 1");
}

uint32_t begin_much(response &into)
{
    return exchange(test_service, kiv::module::message_run,
                    kiv::module::write_request("print_much", pinfo{}, {}), into);
}

TEST_F(ModuleAlone, SendsLongOutputInPiecesToWhoeverFetchesThem)
{
    const test_module served;
    // Another request gives up what is left of the one before.
    response begun;
    EXPECT_EQ(begin_much(begun), much_text().size() - kiv::module::piece_size);
    EXPECT_EQ(begun.output.size(), kiv::module::piece_size);
    run(test_service, "do_nothing");
    response late;
    EXPECT_EQ(exchange(test_service, kiv::module::message_rest, "", late), 0U);
    EXPECT_EQ(late.status, KIV_ERROR_NOT_FOUND);

    EXPECT_EQ(run(test_service, "print_much").output, much_text());
}

// Which of the connections 1 to 9 have something, where each takes 10 bytes of user 1 in turn, but
// connection 5 of user 2.
std::string kept_by(const kiv::module::output_limits &limits)
{
    kiv::module::kept_outputs kept(limits);
    std::string left;
    for (uint32_t connection = 1; connection < 10; ++connection) {
        kept.keep(connection, connection == 5 ? 2 : 1, {0, strdup("0123456789"), 10});
        kept.find(2);
    }
    for (uint32_t connection = 1; connection < 10; ++connection)
        left += kept.find(connection) == nullptr ? "" : std::to_string(connection);
    return left;
}

TEST(KeptOutputs, AreBoundedAndMakeRoomForThoseOfTheSameUser)
{
    constexpr auto at_once = std::chrono::seconds(0);
    constexpr auto never = std::chrono::hours(1);
    EXPECT_EQ(kept_by({}), "123456789");
    EXPECT_EQ(kept_by({30, 1000, 100, at_once, never}), "2589") << "the user's bytes";
    EXPECT_EQ(kept_by({30, 1000, 100, never, never}), "1235") << "all have just been asked for";
    EXPECT_EQ(kept_by({1, 1000, 100, never, never}), "15") << "one may have more than the share";
    EXPECT_EQ(kept_by({1000, 30, 100, at_once, never}), "289") << "nothing of user 1 goes for 2";
    EXPECT_EQ(kept_by({1000, 1000, 3, at_once, never}), "289") << "places";
    EXPECT_EQ(kept_by({1000, 1000, 100, never, at_once}), "9") << "nobody has come back";
}

class ModuleWithDaemon : public Module {
protected:
    void SetUp() override
    {
        Module::SetUp();
        daemon.serves();
    }

    daemon_process::running daemon;
};

TEST_F(ModuleWithDaemon, MakesChangesForTheHolderOfTheLock)
{
    const test_module served;
    EXPECT_EQ(run(test_service, "change").status, KIV_ERROR_LOCKED);
    {
        const living other([] { return kivd_cli_lock(0, 1); });
        EXPECT_EQ(other.result(), 0);
        EXPECT_EQ(run(test_service, "change").status, KIV_ERROR_LOCKED);
        EXPECT_EQ(run(test_service, "do_nothing").status, 0U);
    }
    ASSERT_EQ(kivd_cli_lock(0, 1), 0);
    EXPECT_EQ(run(test_service, "change").status, 0U);
    ASSERT_EQ(kivd_cli_unlock(0, 1), 0);
    EXPECT_EQ(run(test_service, "change").status, KIV_ERROR_LOCKED);
}

// Of a process that lives on, the daemon does not see the end.
TEST_F(ModuleWithDaemon, WithdrawsItsTreeWhenItIsClosed)
{
    const kiv_module_description description{"vsan", test_service, test_commands, 0, nullptr};
    kiv_module *module = kiv_module_open(&description);
    ASSERT_NE(module, nullptr);
    pollfd ready{kiv_module_descriptor(module), POLLIN, 0};
    while (daemon_process::status().merges < 2 && poll(&ready, 1, 60'000) == 1)
        ASSERT_EQ(kiv_module_serve(module), 0);
    daemon.wait_for("nodes of 2 trees");
    kiv_module_close(module);
    daemon.wait_for("nodes of 1 trees");
}

TEST_F(ModuleWithDaemon, IsNotHeldUpByADaemonThatIsStopped)
{
    if (!daemon_process::is_stopping_possible())
        GTEST_SKIP() << "a traced process is not stopped at once";
    kill(daemon.pid(), SIGSTOP);
    const test_module served;
    if (geteuid() == 0) {
        EXPECT_EQ(run(test_service, "do_nothing").status, 0U);
    }
    EXPECT_EQ(run(test_service, "change").status, KIV_ERROR_DENIED);
    const auto begun = std::chrono::steady_clock::now();
    EXPECT_EQ(run(test_service, "change").status, KIV_ERROR_DENIED);
    EXPECT_LT(std::chrono::steady_clock::now() - begun, std::chrono::seconds(1)) << "known by then";
    kill(daemon.pid(), SIGCONT);
}

TEST_F(ModuleWithDaemon, RegistersAgainWhenTheDaemonCouldNotStoreIt)
{
    const char *folder = "/ubex/etc/kivd";
    const char *elsewhere = "/ubex/etc/elsewhere";
    ASSERT_EQ(rename(folder, elsewhere), 0);
    switch_root::write_file(folder, "no folder");
    const vsan_module served;
    daemon.wait_for("cannot store the state");
    ASSERT_EQ(unlink(folder), 0);
    ASSERT_EQ(rename(elsewhere, folder), 0);
    daemon.wait_for("nodes of 2 trees");
}

class ModuleForUsers : public ModuleWithDaemon {
protected:
    void SetUp() override
    {
        ModuleWithDaemon::SetUp();
        if (!daemon_process::is_other_user_possible())
            GTEST_SKIP() << "needs root, and bubblewrap";
        for (const char *job :
             {"add storage", "vsans storage 10-20", "rule storage 1 permit config vsan",
              "rule storage 2 permit config interface"})
            ASSERT_EQ(switch_root::run(std::string(KIVCTL_PATH " roles ") + job).status, 0) << job;
        switch_root::write_file(kiv::roles::users_file, "12345 storage\n");
    }

    // By the user, who has the lock meanwhile.
    static response do_as_user(uint32_t service, const std::string &function,
                               const std::vector<argument> &mode = {},
                               const std::vector<argument> &own = {})
    {
        return as_user(storage_user, [&] {
            if (kivd_cli_lock(0, 1) != 0)
                return response{1, 0, "no lock"};
            response got = run(service, function, mode, own);
            kivd_cli_unlock(0, 1);
            return got;
        });
    }
};

TEST_F(ModuleForUsers, TakesNoLockFromAConnectionThatTheProcessMadeAsAnotherUser)
{
    const test_module served;
    const living process([] {
        if (seteuid(storage_user) != 0 || run(test_service, "do_nothing").status != 0 ||
            seteuid(0) != 0 || kivd_cli_lock(0, 1) != 0)
            return -1;
        return static_cast<int>(run(test_service, "change").status);
    });
    EXPECT_EQ(static_cast<uint32_t>(process.result()), KIV_ERROR_LOCKED);
}

TEST_F(ModuleForUsers, KeepsTheRestOfAnOutputWhateverOtherUsersFetch)
{
    const test_module served;
    response own;
    uint32_t left = begin_much(own);
    for (int i = 0; i < 20; ++i) {
        const auto begin = [] {
            response got;
            begin_much(got);
            return got;
        };
        EXPECT_EQ(as_user(storage_user, begin).status, 0U);
    }
    while (left > 0 && own.status == 0)
        left = exchange(test_service, kiv::module::message_rest, "", own);
    EXPECT_TRUE(own.output == much_text());
}

TEST_F(ModuleForUsers, ShowsAndChangesTheVirtualSansOfTheirRoles)
{
    const test_module plain;
    EXPECT_EQ(do_as_user(test_service, "who_am_i").output, "12345 user vsan 10 1 vsan 30 0");
    EXPECT_THAT(do_as_user(test_service, "change_other").output, HasSubstr("No role of yours"));
    const vsan_module served;
    ASSERT_EQ(kivd_cli_lock(0, 1), 0);
    const argument range = argument_of(TYPE_VSAN_RANGE, kiv_int_range{9, 12});
    EXPECT_EQ(run(vsan_service, "vsan", {}, {range}).result, 0);
    EXPECT_EQ(run(vsan_service, "fc_vsan", {interface_name(2, 1)}, {vsan_number(12)}).result, 0);
    ASSERT_EQ(kivd_cli_unlock(0, 1), 0);

    const struct {
        const char *function;
        std::vector<argument> mode;
        std::vector<argument> own;
        const char *refusal; // empty where it is done
    } cases[] = {
        {"vsan_suspend", {vsan_number(10)}, {}, ""},
        {"vsan_suspend", {vsan_number(9)}, {}, "may not"},
        {"vsan", {}, {vsan_number(30)}, "may not"},
        {"no vsan", {}, {vsan_number(9)}, "may not"},
        {"no vsan", {}, {vsan_number(12)}, "may not move"},
        {"no vsan", {}, {vsan_number(11)}, ""},
        {"fc", {}, {interface_name(1, 1)}, "may not"}, // in vsan 1
        {"show_vsan", {}, {vsan_number(9)}, "that you may see"},
    };
    for (const auto &row : cases) {
        const response got = do_as_user(vsan_service, row.function, row.mode, row.own);
        EXPECT_EQ(got.result == 0, *row.refusal == '\0') << row.function << ": " << got.output;
        EXPECT_THAT(got.output, HasSubstr(row.refusal)) << row.function;
    }
    EXPECT_THAT(do_as_user(vsan_service, "show_vsan").output,
                AllOf(HasSubstr("\n10 "), HasSubstr("\n12 "), Not(HasSubstr("\n9 "))));
    EXPECT_EQ(do_as_user(vsan_service, "vsan_running_config").output,
              "! Left out: virtual SANs that no role of yours permits.\n"
              "vsan 10\n  suspend\nvsan 12\n");
    EXPECT_THAT(do_as_user(vsan_service, "show_interface").output, Not(HasSubstr("fc1/1")));

    daemon.end(SIGKILL);
    EXPECT_EQ(as_user(storage_user, [] { return run(vsan_service, "show_vsan"); }).status,
              KIV_ERROR_DENIED);
}

// -- The sample module's configuration

class VsanModule : public ModuleWithDaemon {
protected:
    // One that the shell knows.
    struct known_module : vsan_module {
        explicit known_module(daemon_process::running &daemon)
        {
            daemon.wait_for("nodes of 2 trees");
        }
    };

    static void configure(const std::string &lines)
    {
        switch_root::write_file("/ubex/lines", lines);
        const switch_root::outcome done = switch_root::run("/usr/sbin/kiv.bin -r /ubex/lines");
        EXPECT_EQ(done.status, 0) << done.error;
    }
};

const std::string configured_vsan = "vsan 10\n"
                                    "  name storage\n"
                                    "  domain-controller 0xfffc01\n"
                                    "  suspend\n";
const std::string configured_interface = "interface fc9/32\n"
                                         "  description to the array, 2nd\n"
                                         "  switchport speed 32\n"
                                         "  switchport wwn 20:00:00:11:22:33:44:55\n"
                                         "  switchport vsan 10\n"
                                         "  shutdown\n";
const std::string configured = configured_vsan + configured_interface;

TEST_F(VsanModule, HasWhatItConfirmedAfterItWasKilledAndReturnsToItsDefaults)
{
    known_module first(daemon);
    configure(configured);
    EXPECT_EQ(first.end(SIGKILL), SIGKILL);
    const known_module second(daemon);
    EXPECT_EQ(running_configuration(), configured);
    configure("vsan ranges 11-12,4093\ninterface fc9/32\nno description\nno shutdown\n"
              "no switchport speed\nno switchport wwn\n");
    EXPECT_THAT(run(vsan_service, "show_vsan").output,
                AllOf(HasSubstr("\n1     active     287 "), HasSubstr("\n10    suspended  1 "),
                      HasSubstr("\n12 "), HasSubstr("\n4093 ")));
    configure("no vsan ranges 11-12,4093\nvsan 10\nno name\nno suspend\nno domain-controller\n");
    EXPECT_EQ(running_configuration(), "vsan 10\ninterface fc9/32\n  switchport vsan 10\n");
    configure("no vsan 10\n");
    EXPECT_EQ(running_configuration(), "");
}

TEST_F(VsanModule, RefusesWhatCannotBe)
{
    const vsan_module served;
    ASSERT_EQ(kivd_cli_lock(0, 1), 0);
    const auto port = interface_name(1, 1);
    const struct {
        const char *function;
        std::vector<argument> mode;
        std::vector<argument> own;
        const char *why;
    } wrong[] = {
        {"no vsan", {}, {vsan_number(1)}, "always there"},
        {"no vsan", {}, {vsan_number(7)}, "no virtual SAN 7"},
        {"vsan", {}, {vsan_number(0)}, "from 1 to"},
        {"vsan", {}, {argument_of(TYPE_VSAN_RANGE, kiv_int_range{1, INT32_MAX})}, "from 1 to"},
        {"vsan_name", {}, {text_argument(TYPE_STRING, "x")}, "other arguments"},
        {"vsan_name", {vsan_number(1)}, {text_argument(TYPE_STRING, "a b")}, "letters"},
        {"fc", {}, {argument_of(TYPE_INTERFACE, KIV_IFINDEX(2, 1, 1))}, "no interface"},
        {"fc_speed", {port}, {argument_of(TYPE_INT, int32_t{300})}, "Speeds"},
        {"fc_description", {port}, {text_argument(TYPE_LINE, "a\nb")}, "printable"},
        {"fc_description", {port}, {text_argument(TYPE_LINE, "a\x7F")}, "printable"},
        {"fc_description", {port}, {text_argument(TYPE_LINE, "\xC2\x9Bm")}, "printable"},
        {"fc_description", {port}, {text_argument(TYPE_LINE, "\xC0\xAF")}, "printable"},
        {"fc_description", {port}, {text_argument(TYPE_LINE, "\xED\xA0\x80")}, "printable"},
        {"fc_description", {port}, {text_argument(TYPE_LINE, "\xE2\x82")}, "printable"},
        {"fc_description", {port}, {text_argument(TYPE_LINE, "\xF4\x90\x80\x80")}, "printable"},
    };
    for (const auto &row : wrong) {
        const response got = run(vsan_service, row.function, row.mode, row.own);
        EXPECT_NE(got.result, 0) << row.function << " " << row.why;
        EXPECT_THAT(got.output, HasSubstr(row.why)) << row.function;
    }
    EXPECT_EQ(running_configuration(), "");
}

TEST_F(VsanModule, SetsAFileAsideThatItCannotUse)
{
    {
        const known_module first(daemon);
        configure(configured);
    }
    const std::string whole = switch_root::read_file(state_file);
    std::string damaged = whole;
    damaged[64 + 64 * 10 + 20] ^= 1; // within the name of vsan 10
    const struct {
        std::string file;
        std::string left;
    } cases[] = {
        {damaged, "vsan 10\n" + configured_interface},
        {whole.substr(0, 5000), ""},
        {"other", ""},
    };
    int number = 0;
    for (const auto &row : cases) {
        switch_root::write_file(state_file, row.file);
        const std::string kept = state_file + (".damaged." + std::to_string(++number));
        unlink(kept.c_str());
        const vsan_module next;
        EXPECT_EQ(running_configuration(), row.left);
        EXPECT_TRUE(switch_root::read_file(kept) == row.file) << number;
    }
}

TEST_F(VsanModule, WritesItsFileAnewWhereItIsNotThereOrNotWhole)
{
    const std::string file = state_file;
    for (const std::string &harm : {"rm " + file, "truncate -s 5000 " + file,
                                    "echo other >/ubex/other; mv /ubex/other " + file}) {
        {
            const known_module first(daemon);
            configure(configured + "vsan 10\nno suspend\n");
            ASSERT_EQ(switch_root::run(harm).status, 0) << harm;
            configure("vsan 10\nsuspend\n");
            struct stat status {};
            EXPECT_EQ(stat(state_file, &status), 0);
            EXPECT_EQ(status.st_mode & 0777U, 0600U) << harm;
        }
        const known_module second(daemon);
        EXPECT_EQ(running_configuration(), configured) << harm;
    }
}

} // namespace
