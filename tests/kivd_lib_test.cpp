// Roles with their texts, and what the daemon is asked and told.

#include <cerrno>
#include <cstring>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <kiv/kiv_exec_lib.h>
#include <kiv/kivd_lib.h>

#include "fake_seam.h"
#include "golden.h"

namespace {

using fake_seam::answer;
using fake_seam::calls;
using fake_seam::plan;

std::string printed(const std::function<void()> &print)
{
    testing::internal::CaptureStdout();
    print();
    return testing::internal::GetCapturedStdout();
}

template <typename Record>
std::string bytes_of(const Record &record)
{
    return {reinterpret_cast<const char *>(&record), sizeof record};
}

std::string words(std::initializer_list<int32_t> values)
{
    std::string bytes;
    for (const int32_t value : values)
        bytes += bytes_of(value);
    return bytes;
}

// A change of settings: the extra word, then a record with one field.
std::string settings(int32_t extra, size_t offset, const std::string &field)
{
    std::string bytes(128, '\0');
    bytes.replace(0, 4, bytes_of(extra));
    return bytes.replace(offset, field.size(), field);
}

std::string named_role(const char *name)
{
    kivd_perm_group_conf_cli_wrapper role{};
    kivd_perm_group_conf_cli_wrapper_init(&role);
    std::strcpy(role.role_name, name);
    return bytes_of(role);
}

const std::string long_name(70, 'n');

kiv_cfg_info full_settings()
{
    kiv_cfg_info info;
    std::memset(&info, 's', sizeof info);
    return info;
}

struct change {
    const char *call;
    std::string payload;
    bool passes_the_result; // or makes -1 of a failure
    std::function<int()> run;
};

const change changes[] = {
    {"cmi_req_resp(7777, 3, request, &reply, 128, \"one\", \"two\", 37, 9, 10)",
     words({-2}) + std::string(124, 's'), true,
     [] {
         const kiv_cfg_info info = full_settings();
         return kivd_kiv_configuration_set(9, &info, 7777, -2, "one", "two");
     }},
    {"cmi_req_resp(917, 3, request, &reply, 128, \"\", \"\", 0, 9, 10)",
     settings(0, 4, long_name.substr(0, 63)), false,
     [] { return kivd_switchname_set(9, long_name.c_str()); }},
    {"cmi_req_resp(935, 3, request, &reply, 128, \"\", \"\", 37, 9, 10)",
     settings(0, 80, words({-30})), false, [] { return kivd_session_timeout_set(9, -30, 2); }},
    {"cmi_req_resp(936, 3, request, &reply, 128, \"\", \"\", 37, 9, 10)",
     settings(0, 84, words({30})), false, [] { return kivd_session_timeout_set(9, 30, 0); }},
    {"cmi_req_resp(7661, 3, request, &reply, 128, \"\", \"\", 37, 9, 10)",
     settings(5, 88, words({32})), false, [] { return kivd_max_kiv_sessions_set(9, 32, 5); }},
    {"cmi_req_resp(947, 3, request, &reply, 12, \"\", \"\", 37, 9, 10)", words({1, 2, 3}), true,
     [] {
         const uint32_t pair[] = {2, 3};
         return kivd_param_subtype_register(9, 1, pair);
     }},
    {"cmi_remote_req_resp(940, 3, request, &reply, 8, \"\", \"\", 37, 0x00000000fe000001, 10, 9, "
     "0)",
     words({1, 4}), true, [] { return kivd_cli_lock(9, 4); }},
    {"cmi_remote_req_resp(940, 3, request, &reply, 8, \"\", \"\", 37, 0x00000000fe000001, 10, 9, "
     "0)",
     words({0, 4}), true, [] { return kivd_cli_unlock(9, 4); }},
    {"cmi_remote_req_resp(940, 3, request, &reply, 8, \"\", \"\", 37, 0x00000000fe000001, 10, 9, "
     "0)",
     words({7, -4}), true, [] { return kivd_send_lock_unlock_notification(9, 7, -4); }},
    {"cmi_req_resp(914, 1, request, &reply, 880, \"\", \"\", 37, 9, 10)",
     named_role("network-admin"), false,
     [] { return kivd_perm_group_role_name_verify(9, "network-admin"); }},
};

TEST(Change, IsExactlyOneRequest)
{
    for (const change &row : changes) {
        plan({{0, 0, "an answer that nobody reads"}});
        EXPECT_EQ(row.run(), 0) << row.call;
        ASSERT_EQ(calls.size(), 1U) << row.call;
        EXPECT_EQ(calls[0].text, row.call);
        EXPECT_EQ(calls[0].payload, row.payload) << row.call;
        for (const int result : {-1, 5, static_cast<int>(0x80540020)}) {
            plan({{result, ETIME, "some"}});
            testing::internal::CaptureStdout();
            EXPECT_EQ(row.run(), row.passes_the_result ? result : -1) << row.call;
            testing::internal::GetCapturedStdout();
        }
    }
}

// A question: what is asked, an answer that is just long enough, and a run that stores what it got.
// An answer that is shorter fails, one that is longer does not.
struct question {
    const char *call;
    std::string reply;
    int failure; // for an answer that is too short, or -1 from the transport
    std::function<int(std::string &got)> run;
};

template <typename Record>
int fetched(int get(uint32_t, Record **) noexcept, std::string &got)
{
    auto *record = reinterpret_cast<Record *>(&got); // no answer may leave it so
    const int result = get(9, &record);
    got = record == nullptr ? "" : bytes_of(*record);
    std::free(record);
    return result;
}

int fetched_name(std::string &got)
{
    std::vector<char> name(KIVD_PARFILE_NAME_SIZE, 'x');
    const int result = kivd_kiv_dynamic_parfile_name_get(9, name.data());
    got =
        result == 0 ? std::string(name.data()) + '\0' : std::string(name[0] == 'x' ? "" : "stored");
    return result;
}

int generated(std::string &got)
{
    const int32_t status = kivd_generate_main_tree(9);
    got = status == -1 ? "" : words({status});
    return status == 1234567 ? 0 : status;
}

template <typename Table>
std::string table_with(int32_t last_index)
{
    const auto table = std::make_unique<Table>();
    std::memset(table.get(), 't', sizeof(Table));
    table->last_index = last_index;
    return bytes_of(*table);
}

const question questions[] = {
    {"cmi_req_resp(916, 1, null, &reply, 0, \"\", \"\", 37, 9, 10)",
     bytes_of(full_settings()).substr(0, 124), -1,
     [](std::string &got) {
         const int result = fetched(kivd_kiv_configuration_get, got);
         EXPECT_TRUE(got.empty() || got.substr(125) == std::string(3, '\0'));
         got.resize(std::min<size_t>(got.size(), 124));
         return result;
     }},
    {"cmi_req_resp(937, 1, null, &reply, 0, \"\", \"\", 37, 9, 10)", words({1234567}), -1,
     generated},
    {"cmi_req_resp(938, 1, null, &reply, 0, \"\", \"\", 37, 9, 10)", table_with<kiv_tree_table>(3),
     -1, [](std::string &got) { return fetched(kivd_tree_table_get, got); }},
    {"cmi_req_resp(948, 1, null, &reply, 0, \"\", \"\", 37, 9, 10)",
     table_with<kivd_param_subtype_table>(-1), -1,
     [](std::string &got) { return fetched(kivd_param_subtype_table_get, got); }},
    {"cmi_req_resp(7658, 1, null, &reply, 0, \"\", \"\", 37, 9, 10)",
     std::string("main_tree7.par") + '\0', -1, fetched_name},
};

TEST(Question, TakesAnAnswerThatIsLongEnoughAndNoOther)
{
    for (const question &row : questions) {
        for (size_t length = 0; length <= row.reply.size() + 1; ++length) {
            plan({{0, 0, (row.reply + '!').substr(0, length)}});
            const bool complete = length >= row.reply.size();
            std::string got;
            errno = 0;
            ASSERT_EQ(row.run(got), complete ? 0 : row.failure) << row.call << ' ' << length;
            ASSERT_EQ(got, complete ? row.reply : "") << row.call << ' ' << length;
            ASSERT_EQ(errno, complete ? 0 : EPROTO) << row.call << ' ' << length;
            ASSERT_EQ(calls.size(), 1U);
            ASSERT_EQ(calls[0].text, row.call);
        }
    }
}

TEST(Question, HasNoAnswerWhenTheTransportFails)
{
    for (const question &row : questions) {
        plan({{-1, ETIME, row.reply}});
        std::string got;
        EXPECT_EQ(row.run(got), -1) << row.call;
        EXPECT_EQ(errno, ETIME) << row.call;
        EXPECT_EQ(got, "") << row.call;
    }
    for (const question &row : {questions[2], questions[3]}) {
        plan({{0x40540001, 0, row.reply}});
        std::string got;
        EXPECT_EQ(row.run(got), 0x40540001) << row.call << " passes the daemon's status on";
        EXPECT_EQ(got, "") << row.call;
    }
}

TEST(Question, DoesNotTrustAnIndexOrAName)
{
    struct refused {
        size_t question;
        std::string reply;
    };
    const refused rows[] = {
        {2, table_with<kiv_tree_table>(-2)},
        {2, table_with<kiv_tree_table>(512)},
        {3, table_with<kivd_param_subtype_table>(-2)},
        {3, table_with<kivd_param_subtype_table>(128)},
        {4, std::string(128, 'p')},
        {4, std::string(128, 'p') + '\0'},
    };
    for (const refused &row : rows) {
        plan({{0, 0, row.reply}});
        std::string got;
        EXPECT_EQ(questions[row.question].run(got), -1) << row.reply.size();
        EXPECT_EQ(errno, EPROTO);
        EXPECT_EQ(got, "");
    }
    plan({{0, 0, std::string(127, 'p') + '\0'}});
    std::string got;
    EXPECT_EQ(fetched_name(got), 0) << "the longest name";
}

TEST(Settings, StayWholeWhenTheDaemonSendsMore)
{
    plan({{0, 0, std::string(200, 'm')}});
    kiv_cfg_info *info = nullptr;
    ASSERT_EQ(kivd_kiv_configuration_get(9, &info), 0);
    EXPECT_EQ(bytes_of(*info), std::string(128, 'm'));
    std::free(info);
}

TEST(Settings, ComeOverAQueueTooButForTheirLastWord)
{
    for (size_t length = 0; length <= 129; ++length) {
        kiv_cfg_info info;
        std::memset(&info, 'o', sizeof info);
        plan({{}, {0, 0, std::string(length, 'n')}});
        const bool complete = length >= 124;
        EXPECT_EQ(kivd_kiv_config_info_get(5, &info), complete ? 0 : -1) << length;
        EXPECT_EQ(bytes_of(info), std::string(124, complete ? 'n' : 'o') + "oooo") << length;
        EXPECT_EQ(fake_seam::messages_held, 0);
    }
    ASSERT_EQ(calls.size(), 2U);
    EXPECT_EQ(calls[0].text,
              "ovra_send(5, 0xfe00000000000025, 916, null, 0, &sent, 0, {1 0 0 0 0 0 0 0})");
    EXPECT_EQ(calls[1].text, "ovra_recv(5, null, {1 0 10 77 0 0 0 0})");
    for (const std::deque<answer> &failure : {std::deque<answer>{{-1, EPIPE}}, {{}, {-1, ETIME}}}) {
        plan(failure);
        kiv_cfg_info info;
        EXPECT_EQ(printed([&] { EXPECT_EQ(kivd_kiv_config_info_get(5, &info), -1); }), "");
        EXPECT_EQ(fake_seam::messages_held, 0);
    }
}

TEST(Settings, KnowNoNumberOfVsans)
{
    int32_t count = 99;
    EXPECT_EQ(printed([&] { EXPECT_EQ(kivd_max_vsan_count_allowed_get(9, &count), 0); }),
              "kivd_max_vsan_count_allowed_get: modified/stubbed!\n");
    EXPECT_EQ(count, 0);
}

struct fetched_roles {
    int result;
    int32_t count;
    size_t second;
};

fetched_roles fetch_roles(std::deque<answer> planned)
{
    plan(std::move(planned));
    int nothing;
    auto *roles = reinterpret_cast<kivd_perm_group *>(&nothing);
    void *second = &nothing;
    int32_t count = 99;
    const int result = kivd_perm_group_table_get(9, 3, &roles, &second, &count);
    for (int32_t i = 0; i < count; ++i)
        EXPECT_EQ(roles[i].valid, 0x72727272);
    EXPECT_EQ(roles == nullptr, count == 0);
    const size_t second_size = second == nullptr ? 0 : std::strlen(static_cast<char *>(second));
    std::free(roles);
    std::free(second);
    return {result, count, second_size};
}

void expect_roles(const fetched_roles &got, const fetched_roles &expected)
{
    EXPECT_EQ(got.result, expected.result);
    EXPECT_EQ(got.count, expected.count);
    EXPECT_EQ(got.second, expected.second);
}

TEST(Roles, ComeInTwoAnswers)
{
    const std::string second("two\0", 4);
    expect_roles(fetch_roles({{0, 0, std::string(size_t{876} * 3, 'r')}, {0, 0, second}}),
                 {0, 3, 3});
    ASSERT_EQ(calls.size(), 2U);
    EXPECT_EQ(calls[0].text, "cmi_req_resp(912, 3, null, &reply, 0, \"\", \"\", 37, 9, 10)");
    EXPECT_EQ(calls[1].text, "cmi_req_resp(946, 3, null, &reply, 0, \"\", \"\", 37, 9, 10)");
    expect_roles(fetch_roles({}), {0, 0, 0});

    const std::string roles(876, 'r');
    expect_roles(fetch_roles({{-1, ETIME}}), {51, 0, 0});
    EXPECT_EQ(calls.size(), 1U);
    expect_roles(fetch_roles({{7, 0, roles}}), {7, 0, 0});
    expect_roles(fetch_roles({{0, 0, roles}, {-1, ETIME}}), {51, 0, 0});
    expect_roles(fetch_roles({{0, 0, roles}, {-7, 0, second}}), {-7, 0, 0});
    for (const size_t length : {1U, 875U, 877U}) {
        expect_roles(fetch_roles({{0, 0, std::string(length, 'r')}, {0, 0, second}}), {51, 0, 0});
        EXPECT_EQ(errno, EPROTO);
    }
}

TEST(Roles, AreAskedForUnlessTheyArePredefined)
{
    plan({});
    for (const char *name : {"network-operator", "svc-admin", "svc-operator"})
        EXPECT_EQ(kivd_perm_group_role_name_verify(9, name), 0);
    EXPECT_TRUE(calls.empty());
    const auto refused = [](int result) {
        plan({{result, EPIPE}});
        return printed([] { EXPECT_EQ(kivd_perm_group_role_name_verify(9, "other"), -1); });
    };
    EXPECT_EQ(refused(0x40540009), "");
    EXPECT_EQ(refused(-1), "Error in communicating with process\n");
    EXPECT_EQ(refused(3), "Error in communicating with process\n");
    EXPECT_EQ(calls[0].payload, named_role("other"));
    plan({});
    EXPECT_EQ(kivd_perm_group_role_name_verify(9, long_name.c_str()), 0);
    EXPECT_EQ(calls[0].payload, named_role(long_name.substr(0, 31).c_str()));
}

kivd_perm_group_conf_entry rule(int32_t type, int32_t command, const char *feature,
                                int32_t all_features = 0, int32_t slot_state = 0)
{
    kivd_perm_group_conf_entry entry{};
    entry.slot_state = slot_state;
    kivd_perm_group_conf_entry_populate(&entry, type, command, feature, all_features);
    return entry;
}

kivd_perm_group role(const char *name, const char *description,
                     const std::vector<kivd_perm_group_conf_entry> &rules = {})
{
    kivd_perm_group record{};
    std::strcpy(record.name, name);
    std::strcpy(record.description, description);
    std::copy(rules.begin(), rules.end(), record.rules);
    record.rule_count = static_cast<int32_t>(rules.size());
    record.valid = 1;
    return record;
}

bmask4096 vsans(std::initializer_list<uint32_t> members)
{
    bmask4096 mask = KIV_BMP_INIT(4096);
    for (const uint32_t member : members)
        bmask4096_set_bit(&mask, member);
    return mask;
}

bmask4096 every_vsan()
{
    bmask4096 mask = KIV_BMP_INIT(4096);
    std::memset(mask.bytes, 0xFF, sizeof mask.bytes);
    return mask;
}

const std::vector<kivd_perm_group_conf_entry> some_rules = {
    rule(1, 4, "zone"), rule(2, 1, "empty place", 0, 1), rule(2, 2, "ignored", 1),
    rule(1, 3, "1234567890123456789012345678901"), rule(2, 5, "")};

TEST(RoleTexts, OfRolesAreTheSameAsEver)
{
    const bmask4096 everything = every_vsan();
    const bmask4096 few = vsans({1, 2, 3, 10});
    const bmask4096 none = vsans({});
    const kivd_perm_group full = role("san-group", "Manages one SAN", some_rules);
    const kivd_perm_group plain = role("empty", "");
    kivd_perm_group many = role("many", "more rules than places", {rule(1, 4, "fspf")});
    many.rule_count = 99;
    kivd_perm_group negative = role("negative", "", {rule(1, 4, "fspf")});
    negative.rule_count = -1;
    golden::expect(TEST_DATA_DIR "/daemon/roles.txt", printed([&] {
                       kivd_perm_group_entry_cli_show(&full, &few);
                       kivd_perm_group_entry_cli_show(&full, &everything);
                       kivd_perm_group_entry_cli_show(&plain, &none);
                       kivd_perm_group_entry_cli_show(&negative, &everything);
                       kivd_perm_group_entry_show(&full, 1, "more");
                       kivd_perm_group_entry_show(&many);
                       for (const kivd_static_perm_group &each : kivd_static_perm_group_table)
                           kivd_static_perm_group_entry_cli_show(&each);
                       const kivd_static_perm_group bare{"bare", "", "", 1};
                       kivd_static_perm_group_entry_cli_show(&bare);
                   }));
}

TEST(RoleTexts, GoThroughTheCapture)
{
    const kivd_perm_group full = role("san-group", "Manages one SAN", some_rules);
    const bmask4096 few = vsans({7});
    const auto show = [&] { kivd_perm_group_entry_cli_show(&full, &few); };
    const std::string shown = printed(show);
    kiv_set_redir2buf();
    EXPECT_EQ(printed(show), "");
    EXPECT_EQ(kiv_get_buf(), shown);
    std::free(kiv_get_buf());
    kiv_reset_redir2buf();
}

TEST(RoleTexts, OfTypesAndRules)
{
    char text[80];
    const auto type = [&](int32_t code) {
        EXPECT_EQ(kivd_perm_group_rule_type_str_get(text, code), 0);
        return std::string(text);
    };
    const auto command = [&](int32_t code) {
        EXPECT_EQ(kivd_perm_group_command_type_str_get(text, code), 0);
        return std::string(text);
    };
    EXPECT_EQ(type(1) + ' ' + type(2), "permit deny");
    EXPECT_EQ(command(1) + ' ' + command(2) + ' ' + command(3) + ' ' + command(4) + ' ' +
                  command(5),
              "clear config debug show exec");
    const auto line = [&](const kivd_perm_group_conf_entry &entry, int32_t number) {
        EXPECT_EQ(kivd_perm_group_conf_entry_cli_str_get(text, &entry, number), 0);
        return std::string(text);
    };
    EXPECT_EQ(line(rule(1, 4, "zone"), 1), "rule 1 permit show feature zone");
    EXPECT_EQ(line(rule(2, 5, "zone", 1), -7), "rule -7 deny exec ");
    EXPECT_EQ(line(rule(1, 2, "zone", 2), 16), "rule 16 permit config feature zone");
    kivd_perm_group_conf_entry open = rule(1, 2, "");
    std::memset(open.feature, 'f', sizeof open.feature);
    EXPECT_EQ(line(open, INT32_MIN),
              "rule -2147483648 permit config feature " + std::string(32, 'f'));
}

kivd_perm_group_conf_cli_wrapper role_change(int32_t kind, int32_t no_flag)
{
    kivd_perm_group_conf_cli_wrapper record{};
    kivd_perm_group_conf_cli_wrapper_init(&record);
    record.kind = kind;
    record.no_flag = no_flag;
    record.rule_num = 3;
    record.rule = rule(2, 2, "fspf");
    std::strcpy(record.role_name, "san-group");
    std::strcpy(record.description, "100% of one SAN: %s");
    record.vsans = vsans({1, 2, 3, 4095});
    return record;
}

std::string accounting_line(int32_t message, const kivd_perm_group_conf_cli_wrapper &record)
{
    std::vector<char> text(KIVD_ROLE_TEXT_SIZE, 'x');
    EXPECT_EQ(kivd_perm_group_wrapper_cli_str_get(text.data(), message, &record), 0);
    return text.data();
}

TEST(RoleTexts, OfChangesAreTheSameAsEver)
{
    std::string lines;
    for (const int32_t message : {911, 919, 913}) {
        for (const int32_t kind : {0, 1, 2}) {
            for (const int32_t no_flag : {1, 0, 2}) {
                const kivd_perm_group_conf_cli_wrapper record = role_change(kind, no_flag);
                lines += accounting_line(message, record) + '\n';
                if (message == 911)
                    lines += printed([&] { kivd_perm_group_conf_cli_wrapper_show(&record); });
            }
        }
    }
    golden::expect(TEST_DATA_DIR "/daemon/role_changes.txt", lines);
}

TEST(RoleTexts, HaveRoomForTheLongestList)
{
    kivd_perm_group_conf_cli_wrapper record = role_change(1, 0);
    std::memset(record.role_name, 'r', sizeof record.role_name);
    for (uint32_t vsan = 0; vsan < 4096; ++vsan) {
        if (vsan % 3 != 2)
            bmask4096_set_bit(&record.vsans, vsan);
        else
            record.vsans.bytes[vsan / 8] &= static_cast<uint8_t>(~(1U << vsan % 8));
    }
    const std::string line = accounting_line(911, record);
    EXPECT_TRUE(line.ends_with(",4092-4093,4095 for role " + std::string(32, 'r')));
    EXPECT_EQ(accounting_line(919, role_change(99, 1)), "Deleted role name san-group")
        << "the kind does not count";
}

// A role as it may come from another process: no text has its end, the counts are anything.
TEST(Role, IsReadWithinItsBounds)
{
    const bmask4096 everything = every_vsan();
    for (const int32_t count : {INT32_MIN, -1, 0, 16, 17, INT32_MAX}) {
        const auto record = std::make_unique<kivd_perm_group>();
        std::memset(record.get(), 'r', sizeof *record);
        for (kivd_perm_group_conf_entry &each : record->rules)
            each.rule_type = each.command_type = 1, each.slot_state = 0;
        record->rule_count = count;
        EXPECT_EQ(kivd_perm_group_max_rule_id_get(record.get()), count > 0 ? 16 : 0);
        EXPECT_EQ(kivd_perm_group_next_rule_id_get(record.get(), 15), count > 0 ? 16 : -1);
        EXPECT_EQ(kivd_perm_group_next_rule_id_get(record.get(), 16), -1);
        EXPECT_EQ(kivd_perm_group_locate_entry_by_name(record.get(), 1, "r"), -1);
        EXPECT_EQ(
            kivd_perm_group_locate_entry_by_name(record.get(), 1, std::string(32, 'r').c_str()), 0);
        const std::string shown = printed([&] {
            kivd_perm_group_entry_cli_show(record.get(), &everything);
            kivd_perm_group_entry_show(record.get());
        });
        EXPECT_TRUE(shown.starts_with("\nRole: " + std::string(32, 'r') +
                                      "\n  Description: " + std::string(65, 'r') + "\n"));
    }
}

TEST(Role, KeepsTheNumbersOfItsRules)
{
    const kivd_perm_group three =
        role("three", "", {rule(1, 1, "a"), rule(1, 1, "b", 0, 1), rule(1, 1, "c")});
    EXPECT_EQ(kivd_perm_group_max_rule_id_get(&three), 3);
    const int32_t next[] = {1, 3, 3, -1, -1};
    for (int32_t start = 0; start < 5; ++start)
        EXPECT_EQ(kivd_perm_group_next_rule_id_get(&three, start), next[start]) << start;
    EXPECT_EQ(kivd_perm_group_next_rule_id_get(&three, INT32_MIN), 1);
    const kivd_perm_group emptied = role("emptied", "", {rule(1, 1, "a", 0, -1)});
    EXPECT_EQ(kivd_perm_group_max_rule_id_get(&emptied), 0);
    EXPECT_EQ(kivd_perm_group_next_rule_id_get(&emptied, 0), -1);
}

TEST(Role, IsFoundByItsExactNameWhereItIsValid)
{
    kivd_perm_group table[] = {role("one", ""), role("two", ""), role("two", ""), role("Two", "")};
    table[1].valid = 0;
    for (const auto locate : {kivd_perm_group_locate_entry_by_name,
                              kivd_perm_group_locate_case_sensitive_entry_by_name}) {
        EXPECT_EQ(locate(table, 4, "two"), 2);
        EXPECT_EQ(locate(table, 4, "Two"), 3);
        EXPECT_EQ(locate(table, 3, "Two"), -1);
        EXPECT_EQ(locate(table, 4, "tw"), -1);
        EXPECT_EQ(locate(nullptr, 0, "one"), -1);
    }
    const int32_t next[] = {1, 3, 3, 4, -1};
    for (int32_t start = 0; start < 5; ++start)
        EXPECT_EQ(kivd_perm_group_next_role_num_get(table, start, 4), next[start]) << start;
    EXPECT_EQ(kivd_perm_group_next_role_num_get(table, -3, 4), 1);
    EXPECT_EQ(kivd_static_perm_group_table_size, 4);
    const auto locate_static = [](const char *name) {
        return kivd_static_perm_group_locate_entry_by_name(kivd_static_perm_group_table, 4, name);
    };
    EXPECT_EQ(locate_static("network-admin"), 0);
    EXPECT_EQ(locate_static("svc-operator"), 3);
    EXPECT_EQ(locate_static("Network-Admin"), -1);
}

TEST(Rule, IsCopiedWithoutTheStateOfItsPlace)
{
    const kivd_perm_group_conf_entry source = rule(1, 2, long_name.c_str(), 3, 4);
    EXPECT_EQ(source.feature, long_name.substr(0, 31));
    kivd_perm_group_conf_entry copy{};
    copy.slot_state = 9;
    EXPECT_EQ(kivd_perm_group_conf_entry_copy(&copy, &source), 0);
    kivd_perm_group_conf_entry expected = source;
    expected.slot_state = 9;
    EXPECT_EQ(bytes_of(copy), bytes_of(expected));
}

TEST(Assertion, NamesWhatIsWrong)
{
    char text[KIVD_ROLE_TEXT_SIZE];
    kivd_perm_group_conf_entry entry = rule(1, 1, "");
    kivd_perm_group_conf_cli_wrapper record = role_change(0, 0);
    const kivd_perm_group_conf_cli_wrapper of_no_kind = role_change(3, 0);
    const bmask4096 everything = every_vsan();
    struct misuse {
        const char *function;
        const char *expression;
        std::function<void()> run;
    };
    const misuse rows[] = {
        {"kivd_perm_group_conf_entry_populate", "entry",
         [] { kivd_perm_group_conf_entry_populate(nullptr, 1, 1, "", 0); }},
        {"kivd_perm_group_conf_entry_copy", "src_entry",
         [] { kivd_perm_group_conf_entry_copy(nullptr, nullptr); }},
        {"kivd_perm_group_conf_entry_copy", "dest_entry",
         [&] { kivd_perm_group_conf_entry_copy(nullptr, &entry); }},
        {"kivd_perm_group_conf_cli_wrapper_init", "wrapper",
         [] { kivd_perm_group_conf_cli_wrapper_init(nullptr); }},
        {"kivd_perm_group_rule_type_str_get", "str",
         [] { kivd_perm_group_rule_type_str_get(nullptr, 1); }},
        {"kivd_perm_group_rule_type_str_get", "0",
         [&] { kivd_perm_group_rule_type_str_get(text, 3); }},
        {"kivd_perm_group_rule_type_str_get", "0",
         [&] { kivd_perm_group_rule_type_str_get(text, 0); }},
        {"kivd_perm_group_command_type_str_get", "str",
         [] { kivd_perm_group_command_type_str_get(nullptr, 1); }},
        {"kivd_perm_group_command_type_str_get", "0",
         [&] { kivd_perm_group_command_type_str_get(text, 0); }},
        {"kivd_perm_group_command_type_str_get", "0",
         [&] { kivd_perm_group_command_type_str_get(text, 6); }},
        {"kivd_perm_group_conf_entry_cli_str_get", "str",
         [&] { kivd_perm_group_conf_entry_cli_str_get(nullptr, &entry, 1); }},
        {"kivd_perm_group_conf_entry_cli_str_get", "entry",
         [&] { kivd_perm_group_conf_entry_cli_str_get(text, nullptr, 1); }},
        {"kivd_perm_group_conf_entry_cli_show", "entry",
         [] { kivd_perm_group_conf_entry_cli_show(nullptr, 1); }},
        {"kivd_perm_group_entry_cli_show", "list_ptr",
         [&] { kivd_perm_group_entry_cli_show(nullptr, &everything); }},
        {"kivd_static_perm_group_entry_cli_show", "entry",
         [] { kivd_static_perm_group_entry_cli_show(nullptr); }},
        {"kivd_perm_group_wrapper_cli_str_get", "0",
         [&] { kivd_perm_group_wrapper_cli_str_get(text, 912, &record); }},
        {"kivd_perm_group_wrapper_cli_str_get", "0",
         [&] { kivd_perm_group_wrapper_cli_str_get(text, 911, &of_no_kind); }},
        {"kivd_perm_group_role_name_verify", "role_name",
         [] { kivd_perm_group_role_name_verify(9, nullptr); }},
        {"kivd_kiv_configuration_set", "kiv_cfg_info",
         [] { kivd_kiv_configuration_set(9, nullptr, 917, 0, "", ""); }},
    };
    for (const misuse &row : rows)
        EXPECT_DEATH(row.run(), std::string("kivd_lib:[0-9]+: .*") + row.function +
                                    ".*Assertion `" + row.expression + "' failed");
    record = role_change(1, 0);
    record.vsans.size = 4;
    EXPECT_DEATH(kivd_perm_group_wrapper_cli_str_get(text, 911, &record),
                 "bmp_template:[0-9]+: .*vsan_bitset_sprintf");
}

} // namespace
