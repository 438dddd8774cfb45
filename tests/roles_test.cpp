// Roles: their rules, their texts, and how they are found.

#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include <kiv/kiv_exec_lib.h>
#include <kiv/kivd_lib.h>

#include "golden.h"
#include "observed.h"
#include "vsans.h"

namespace {

using kiv_tests::bytes_of;
using kiv_tests::every_vsan;
using kiv_tests::printed;
using kiv_tests::vsans;

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
    kiv_set_redir2buf();
    EXPECT_EQ(printed([&] { kivd_perm_group_entry_cli_show(&plain, &none); }), "");
    EXPECT_NE(std::string(kiv_get_buf()).find("Role: empty"), std::string::npos);
    std::free(kiv_get_buf());
    kiv_reset_redir2buf();
}

TEST(RoleTexts, OfARuleWhoseFeatureHasNoEnd)
{
    char text[80];
    kivd_perm_group_conf_entry open = rule(1, 2, "");
    std::memset(open.feature, 'f', sizeof open.feature);
    EXPECT_EQ(kivd_perm_group_conf_entry_cli_str_get(text, &open, INT32_MIN), 0);
    EXPECT_EQ(text, "rule -2147483648 permit config feature " + std::string(32, 'f'));
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

TEST(RoleChange, BeginsWithAnEmptySetAndNothingElse)
{
    kivd_perm_group_conf_cli_wrapper record;
    std::memset(&record, 0xFF, sizeof record);
    kivd_perm_group_conf_cli_wrapper_init(&record);
    EXPECT_EQ(bytes_of(record), std::string(160, '\xFF') + bytes_of(uint32_t{512}) +
                                    std::string(512, '\0') + std::string(204, '\xFF'));
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
    constexpr uint8_t two_of_three[] = {0xDB, 0xB6, 0x6D};
    for (size_t i = 0; i < sizeof record.vsans.bytes; ++i)
        record.vsans.bytes[i] = two_of_three[i % 3];
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
    for (const auto &[start, next] : {std::pair{INT32_MIN, 1}, {0, 1}, {1, 3}, {2, 3}, {3, -1}})
        EXPECT_EQ(kivd_perm_group_next_rule_id_get(&three, start), next) << start;
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
    for (const auto &[start, next] : {std::pair{-3, 1}, {0, 1}, {1, 3}, {3, 4}, {4, -1}})
        EXPECT_EQ(kivd_perm_group_next_role_num_get(table, start, 4), next) << start;
    table[0].valid = 2;
    EXPECT_EQ(kivd_perm_group_next_role_num_get(table, 0, 4), 3);
    const auto locate_static = [](const char *name) {
        return kivd_static_perm_group_locate_entry_by_name(kivd_static_perm_group_table, 4, name);
    };
    EXPECT_EQ(locate_static("svc-operator"), 3);
    EXPECT_EQ(locate_static("Network-Admin"), -1);
}

TEST(Rule, IsCopiedWithoutTheStateOfItsPlace)
{
    const kivd_perm_group_conf_entry source = rule(1, 2, std::string(70, 'n').c_str(), 3, 4);
    EXPECT_EQ(source.feature, std::string(31, 'n'));
    kivd_perm_group_conf_entry copy{};
    copy.slot_state = 9;
    EXPECT_EQ(kivd_perm_group_conf_entry_copy(&copy, &source), 0);
    kivd_perm_group_conf_entry expected = source;
    expected.slot_state = 9;
    EXPECT_EQ(bytes_of(copy), bytes_of(expected));
}

TEST(RoleAssertion, NamesWhatIsWrong)
{
    using kiv_tests::failure;
    char text[KIVD_ROLE_TEXT_SIZE];
    kivd_perm_group_conf_cli_wrapper record = role_change(1, 0);
    EXPECT_DEATH(kivd_perm_group_locate_entry_by_name(nullptr, 1, "one"),
                 failure("kivd_lib", "kivd_perm_group_locate_entry_by_name", "table != nullptr.*"));
    EXPECT_DEATH(kivd_perm_group_command_type_str_get(text, 6),
                 failure("kivd_lib", "kivd_perm_group_command_type_str_get", "0"));
    EXPECT_DEATH(kivd_perm_group_wrapper_cli_str_get(text, 912, &record),
                 failure("kivd_lib", "kivd_perm_group_wrapper_cli_str_get", "0"));
    record.vsans.size = 4;
    EXPECT_DEATH(kivd_perm_group_wrapper_cli_str_get(text, 911, &record),
                 "bmp_template:[0-9]+: .*vsan_bitset_sprintf");
}

} // namespace
