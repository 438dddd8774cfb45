// What the daemon is asked and told.

#include <cerrno>
#include <cstring>
#include <functional>
#include <memory>
#include <string>
#include <tuple>
#include <vector>

#include <gtest/gtest.h>

#include <kiv/kivd_lib.h>

#include "fake_seam.h"
#include "observed.h"

namespace {

using fake_seam::answer;
using fake_seam::calls;
using fake_seam::plan;
using kiv_tests::bytes_of;
using kiv_tests::failure;
using kiv_tests::printed;

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

// A change record as it travels, with a name and an empty set of virtual SANs.
std::string named_role(const std::string &name)
{
    const uint32_t size_of_the_set = 512;
    std::string bytes(880, '\0');
    bytes.replace(60, name.size(), name);
    return bytes.replace(160, sizeof size_of_the_set, bytes_of(size_of_the_set));
}

const std::string long_name(70, 'n');

kiv_cfg_info full_settings()
{
    kiv_cfg_info info;
    std::memset(&info, 's', sizeof info);
    return info;
}

std::string request_call(int opcode, int mode, size_t size, const std::string &texts = R"("", "")",
                         int service = 37)
{
    return "cmi_req_resp(" + std::to_string(opcode) + ", " + std::to_string(mode) + ", " +
           (size == 0 ? "null" : "request") + ", &reply, " + std::to_string(size) + ", " + texts +
           ", " + std::to_string(service) + ", 9, 10)";
}

struct change {
    std::string call;
    std::string payload;
    bool passes_the_result; // or makes -1 of a failure
    std::function<int()> run;
};

const std::string lock_call = R"(cmi_remote_req_resp(940, 3, request, &reply, 8, "", "", 37, )"
                              "0x00000000fe000001, 10, 9, 0)";

const change changes[] = {
    {request_call(7777, 3, 128, R"("one", "two")"), words({-2}) + std::string(124, 's'), true,
     [] {
         const kiv_cfg_info info = full_settings();
         return kivd_kiv_configuration_set(9, &info, 7777, -2, "one", "two");
     }},
    {request_call(917, 3, 128, R"("", "")", 0), settings(0, 4, long_name.substr(0, 63)), false,
     [] { return kivd_switchname_set(9, long_name.c_str()); }},
    {request_call(935, 3, 128), settings(0, 80, words({-30})), false,
     [] { return kivd_session_timeout_set(9, -30, 2); }},
    {request_call(936, 3, 128), settings(0, 84, words({30})), false,
     [] { return kivd_session_timeout_set(9, 30, 0); }},
    {request_call(7661, 3, 128), settings(5, 88, words({32})), false,
     [] { return kivd_max_kiv_sessions_set(9, 32, 5); }},
    {request_call(947, 3, 12), words({1, 2, 3}), true,
     [] {
         const uint32_t pair[] = {2, 3};
         return kivd_param_subtype_register(9, 1, pair);
     }},
    {lock_call, words({1, 4}), true, [] { return kivd_cli_lock(9, 4); }},
    {lock_call, words({0, 4}), true, [] { return kivd_cli_unlock(9, 4); }},
    {lock_call, words({7, -4}), true, [] { return kivd_send_lock_unlock_notification(9, 7, -4); }},
    {request_call(914, 1, 880), named_role("network-admin"), false,
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
            printed([&] { EXPECT_EQ(row.run(), row.passes_the_result ? result : -1) << row.call; });
        }
    }
}

// A question: what is asked, an answer that is just long enough, and a run that stores what it got.
// An answer that is shorter fails, one that is longer does not.
struct question {
    int opcode;
    bool is_table; // whose status counts
    std::string reply;
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
    {916, false, bytes_of(full_settings()).substr(0, 124),
     [](std::string &got) {
         const int result = fetched(kivd_kiv_configuration_get, got);
         EXPECT_TRUE(got.empty() || got.substr(125) == std::string(3, '\0'));
         got.resize(std::min<size_t>(got.size(), 124));
         return result;
     }},
    {937, false, words({1234567}), generated},
    {938, true, table_with<kiv_tree_table>(3),
     [](std::string &got) { return fetched(kivd_tree_table_get, got); }},
    {948, true, table_with<kivd_param_subtype_table>(-1),
     [](std::string &got) { return fetched(kivd_param_subtype_table_get, got); }},
    {7658, false, std::string("main_tree7.par") + '\0', fetched_name},
};

TEST(Question, TakesAnAnswerThatIsLongEnoughAndNoOther)
{
    for (const question &row : questions) {
        const size_t size = row.reply.size();
        for (const size_t length : {size_t{0}, size_t{3}, size / 2, size - 1, size, size + 1}) {
            plan({{0, 0, (row.reply + '!').substr(0, length)}});
            const bool complete = length >= size;
            std::string got;
            errno = 0;
            EXPECT_EQ(row.run(got), complete ? 0 : -1) << row.opcode << ' ' << length;
            EXPECT_EQ(got, complete ? row.reply : "") << row.opcode << ' ' << length;
            EXPECT_EQ(errno, complete ? 0 : EPROTO) << row.opcode << ' ' << length;
            ASSERT_EQ(calls.size(), 1U);
            EXPECT_EQ(calls[0].text, request_call(row.opcode, 1, 0));
        }
        std::string got;
        plan({{-1, ETIME, row.reply}});
        EXPECT_EQ(row.run(got), -1) << row.opcode;
        EXPECT_EQ(errno, ETIME) << row.opcode;
        EXPECT_EQ(got, "") << row.opcode;
        plan({{5, 0, row.reply}});
        EXPECT_EQ(row.run(got), row.is_table ? 5 : 0) << row.opcode << " with a status";
        EXPECT_EQ(got, row.is_table ? "" : row.reply) << row.opcode << " with a status";
    }
}

TEST(Question, DoesNotTrustAnIndexOrAName)
{
    const struct {
        const question &asked;
        std::string reply;
    } rows[] = {
        {questions[2], table_with<kiv_tree_table>(-2)},
        {questions[2], table_with<kiv_tree_table>(512)},
        {questions[3], table_with<kivd_param_subtype_table>(-2)},
        {questions[3], table_with<kivd_param_subtype_table>(128)},
        {questions[4], std::string(128, 'p')},
        {questions[4], std::string(128, 'p') + '\0'},
    };
    for (const auto &row : rows) {
        plan({{0, 0, row.reply}});
        std::string got;
        EXPECT_EQ(row.asked.run(got), -1) << row.asked.opcode << ' ' << row.reply.size();
        EXPECT_EQ(errno, EPROTO);
        EXPECT_EQ(got, "");
    }
    plan({{0, 0, std::string(127, 'p') + '\0'}});
    std::string got;
    EXPECT_EQ(fetched_name(got), 0) << "the longest name";
}

TEST(Settings, ComeOverAQueueTooButForTheirLastWord)
{
    for (const size_t length : {0U, 123U, 124U, 129U}) {
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
    EXPECT_EQ(calls[1].messages_held, 0) << "keeps the question while it waits";
    for (const std::deque<answer> &failure : {std::deque<answer>{{-1, EPIPE}}, {{}, {-1, ETIME}}}) {
        plan(failure);
        kiv_cfg_info info;
        EXPECT_EQ(printed([&] { EXPECT_EQ(kivd_kiv_config_info_get(5, &info), -1); }), "");
        EXPECT_EQ(fake_seam::messages_held, 0);
    }
}

// Result, number of roles, and the length of the second answer.
using fetched_roles = std::tuple<int, int32_t, size_t>;

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

TEST(Roles, ComeInTwoAnswers)
{
    const auto roles = [](size_t bytes) { return answer{0, 0, std::string(bytes, 'r')}; };
    const answer second{0, 0, std::string("two\0", 4)};
    const struct {
        const char *what;
        std::deque<answer> answers;
        fetched_roles got;
    } cases[] = {
        {"three roles", {roles(size_t{3} * 876), second}, {0, 3, 3}},
        {"none", {}, {0, 0, 0}},
        {"a status", {{7, 0, roles(876).payload}}, {7, 0, 0}},
        {"no second answer", {roles(876), {-1, ETIME}}, {51, 0, 0}},
        {"a second status", {roles(876), {-7, 0, second.payload}}, {-7, 0, 0}},
        {"less than a role", {roles(875), second}, {51, 0, 0}},
        {"less than two", {roles(1751), second}, {0, 1, 3}},
    };
    for (const auto &row : cases)
        EXPECT_EQ(fetch_roles(row.answers), row.got) << row.what;
    ASSERT_EQ(calls.size(), 2U);
    EXPECT_EQ(calls[0].text, request_call(912, 3, 0));
    EXPECT_EQ(calls[1].text, request_call(946, 3, 0));
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
    EXPECT_EQ(refused(3), "Error in communicating with process\n");
    EXPECT_EQ(calls[0].payload, named_role("other"));
    plan({});
    EXPECT_EQ(kivd_perm_group_role_name_verify(9, long_name.c_str()), 0);
    EXPECT_EQ(calls[0].payload, named_role(long_name.substr(0, 31)));
    EXPECT_DEATH(kivd_perm_group_role_name_verify(9, nullptr),
                 failure("kivd_lib", "kivd_perm_group_role_name_verify", "role_name"));
}

} // namespace
