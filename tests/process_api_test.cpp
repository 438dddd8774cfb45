// What a contributing process says to the daemon, the table of interface types, and permissions.

#include <cerrno>
#include <cstring>
#include <functional>
#include <memory>
#include <string>

#include <gtest/gtest.h>

#include <kiv/common.h>
#include <kiv/kiv_process_api.h>

#include "fake_seam.h"
#include "golden.h"
#include "observed.h"
#include "vsans.h"

namespace {

using fake_seam::answer;
using fake_seam::calls;
using fake_seam::plan;
using kiv_tests::bytes_of;
using kiv_tests::every_vsan;
using kiv_tests::failure;
using kiv_tests::printed;
using kiv_tests::vsans;

constexpr uint64_t fc_mask = 0x8000000000000005;

const kiv_intf_help_info fc_help = [] {
    kiv_intf_help_info help;
    kiv_intf_help_info_reset(&help, "slot/port");
    kiv_intf_help_info_add(&help, "slot", 1, 9);
    return help;
}();
const intf_reg_info fc_info{"fc", 2, 7, "fc_verify", "fc_list", "libfc.so", &fc_help, 300};
const kiv_interface_table_entry fc_entry{fc_mask,   "fc",       2,       7,   "fc_verify",
                                         "fc_list", "libfc.so", fc_help, 300, {}};
const kiv_interface_table_entry fc_entry_without_help{fc_mask,   "fc",       2,  7, "fc_verify",
                                                      "fc_list", "libfc.so", {}, 0, {}};

kiv_tree_table_entry tree_of(const char *name)
{
    kiv_tree_table_entry entry{};
    std::strcpy(entry.module_id, name);
    return entry;
}

int notify_of_change_by_handler(uint32_t flags)
{
    pinfo info{};
    info.ovra_queue = 6;
    info.info_flags = flags;
    return kiv_api_notify_cfg_change(&info);
}

struct announcement {
    const char *call;
    std::string payload;
    int failure; // for errno 110
    const char *message;
    std::function<int()> run;
};

constexpr int timed_out = static_cast<int>(0x8054006E);
constexpr const char *not_registered = "Not able to send interface registration to kivd\n";
constexpr const char *not_deregistered = "Not able to send interface deregistration to kivd\n";

const announcement announcements[] = {
    {"cmi_req_resp(7655, 3, request, null, 88, \"\", \"\", 37, 4000000000, 20)",
     bytes_of(tree_of("zones.par")), timed_out, "",
     [] { return kiv_register_parse_tree(4000000000, "zones.par"); }},
    {"cmi_req_resp(7656, 3, request, null, 88, \"\", \"\", 37, 9, 20)",
     bytes_of(tree_of("12345678901234567890123")), timed_out, "",
     [] { return kiv_deregister_parse_tree(9, "123456789012345678901234"); }},
    {"ovra_send(5, 0xfe00000000000025, 900, payload, 608, null, 0, {1 0 0 0 0 0 0 0})",
     bytes_of(fc_entry), -1, not_registered,
     [] { return kiv_register_interface(5, fc_mask, &fc_info); }},
    {"ovra_send(5, 0xfe00000000000025, 900, payload, 608, null, 0, {1 0 0 0 0 0 0 0})",
     bytes_of(fc_entry_without_help), -1, not_registered,
     [] {
         return kiv_register_interface2(5, fc_mask, "fc", 2, 7, "fc_verify", "fc_list", "unused",
                                        "libfc.so");
     }},
    {"ovra_send(5, 0xfe00000000000025, 901, payload, 8, null, 0, {1 0 0 0 0 0 0 0})",
     bytes_of(fc_mask), -1, not_deregistered, [] { return kiv_deregister_interface(5, fc_mask); }},
    {"ovra_send(5, 0xfe00000000000000, 943, null, 0, null, 0, null)", "", timed_out, "",
     [] { return kiv_config_change_notify(5); }},
    {"ovra_send(6, 0xfe00000000000000, 943, null, 0, null, 0, null)", "", 0, "",
     [] { return notify_of_change_by_handler(2); }},
};

TEST(Announcement, IsExactlyOneMessageAndTellsThatItFailed)
{
    for (const announcement &row : announcements) {
        plan({});
        EXPECT_EQ(row.run(), 0) << row.call;
        ASSERT_EQ(calls.size(), 1U) << row.call;
        EXPECT_EQ(calls[0].text, row.call);
        EXPECT_EQ(calls[0].payload, row.payload) << row.call;
        plan({{-1, 110}});
        const std::string message = printed([&] { EXPECT_EQ(row.run(), row.failure) << row.call; });
        EXPECT_EQ(message, row.message) << row.call;
        EXPECT_EQ(calls.size(), 1U) << row.call << " again";
    }
    plan({});
    for (const uint32_t flags : {1U, 3U})
        EXPECT_EQ(notify_of_change_by_handler(flags), 0);
    EXPECT_TRUE(calls.empty()) << "a handler that generates for one virtual SAN tells nobody";
}

TEST(Announcement, HasTheResultOfTheOtherSide)
{
    plan({{0x40540027}, {-5}, {3}, {3, 110}, {-2, 0x12345}});
    EXPECT_EQ(kiv_register_parse_tree(1, "x"), 0x40540027);
    EXPECT_EQ(kiv_register_parse_tree(1, nullptr), -5) << "no failure of the transport";
    EXPECT_EQ(printed([] { EXPECT_EQ(kiv_register_interface(5, 1, &fc_info), 3); }), "");
    EXPECT_EQ(kiv_config_change_notify(5), timed_out) << "any result but 0 is a failure";
    EXPECT_EQ(kiv_config_change_notify(5), static_cast<int>(0x80540345));
}

TEST(Records, KeepWhatTheirSettersDoNotStore)
{
    intf_reg_info info{};
    info.ascii_gen_priority = 300;
    kiv_set_intf_reg_info(&info, fc_info.name, 2, 7, fc_info.verify_func, fc_info.listing_func,
                          fc_info.library_name, &fc_help);
    EXPECT_EQ(bytes_of(info), bytes_of(fc_info)) << "the priority is not an argument";
    ovra_send_options options;
    std::memset(&options, 'x', sizeof options);
    populate_ovra_send_options(&options);
    const std::string zeros(16, '\0');
    EXPECT_EQ(bytes_of(options), "xxxx" + zeros + "xxxx" + zeros.substr(8));
}

class InterfaceTable : public testing::Test {
protected:
    InterfaceTable() { table->last_index = -1; }

    void insert(std::initializer_list<uint64_t> masks)
    {
        for (const uint64_t mask : masks) {
            kiv_interface_table_entry entry;
            std::memset(&entry, 'x', sizeof entry);
            set_interface_table_entry(&entry, mask, std::string(100, 'n').c_str(), 0, 0, nullptr,
                                      nullptr, nullptr, nullptr, 0);
            EXPECT_EQ(insert_entry_in_interface_table(table.get(), &entry), 0);
        }
    }

    int32_t index_of(uint64_t mask) const
    {
        return search_entry_in_interface_table(table.get(), mask);
    }

    void remove(int32_t position, int32_t last_index)
    {
        EXPECT_EQ(delete_entry_from_interface_table(table.get(), position), 0);
        EXPECT_EQ(table->last_index, last_index) << "after deleting " << position;
    }

    const std::unique_ptr<kiv_interface_table> table = std::make_unique<kiv_interface_table>();
};

TEST_F(InterfaceTable, FindsTheFirstOfExactlyThisMask)
{
    EXPECT_EQ(index_of(2), -1);
    insert({1, fc_mask, fc_mask});
    EXPECT_EQ(table->entries[1].name, std::string(35, 'n'));
    EXPECT_EQ(index_of(fc_mask), 1);
    EXPECT_EQ(index_of(5), -1);
    int32_t position = 99;
    EXPECT_EQ(kivd_interface_table_search(table.get(), 2, fc_mask, &position), 0);
    EXPECT_EQ(position, 1);
    EXPECT_EQ(kivd_interface_table_search(table.get(), 0, fc_mask, &position), 0x40540027);
    EXPECT_EQ(position, 1);
}

TEST_F(InterfaceTable, DeletesWithinItselfWhateverThePositionAndTheLastIndexSay)
{
    insert({1, 2, 3});
    remove(0, 1);
    EXPECT_EQ(index_of(2), 0);
    EXPECT_EQ(index_of(3), 1);
    remove(-1, 1);
    remove(5, 0);
    EXPECT_EQ(index_of(2), 0);
    remove(0, -1);
    remove(0, -2);
    for (const int32_t last : {24, INT32_MAX}) {
        table->last_index = last;
        int32_t position;
        EXPECT_EQ(index_of(99), -1);
        EXPECT_EQ(kivd_interface_table_search(table.get(), last, 99, &position), 0x40540027);
        remove(0, last - 1);
    }
    table->last_index = INT32_MIN;
    remove(0, INT32_MIN);
}

TEST_F(InterfaceTable, IsShownWithoutWhatIsEmpty)
{
    const kiv_interface_table_entry entries[] = {
        fc_entry, {6, "name", 0, 0, "", "", "", {}, 0, {}}, {}};
    kiv_interface_table_entry open{};
    std::memset(open.name, 'n', sizeof open.name);
    golden::expect(TEST_DATA_DIR "/daemon/interface_table.txt", printed([&] {
                       show_interface_table_entry(nullptr);
                       show_interface_table(nullptr, 0);
                       show_interface_table(entries, 3);
                       show_interface_table_entry(&open);
                   }));
}

class FetchedTable : public InterfaceTable {
protected:
    // The first bytes of what the daemon sends, or one more.
    int fetch(size_t length = 14596)
    {
        return fetch({{}, {0, 0, (bytes_of(*table) + "!").substr(0, length)}});
    }

    int fetch(std::deque<answer> planned)
    {
        plan(std::move(planned));
        kiv_interface_table_entry *fetched = nullptr;
        const int count = kivd_interface_table_get(5, &fetched);
        entries.reset(fetched);
        EXPECT_EQ(fake_seam::messages_held, 0);
        EXPECT_EQ(fetched != nullptr, count >= 0);
        return count;
    }

    std::unique_ptr<kiv_interface_table_entry, decltype(&std::free)> entries{nullptr, std::free};
};

TEST_F(FetchedTable, IsAskedForAndHasWholeEntriesWithStringsThatEnd)
{
    EXPECT_EQ(fetch(), 0);
    for (int i = 0; i < 24; ++i)
        insert({fc_mask});
    table->entries[22] = fc_entry;
    kiv_interface_table_entry &open = table->entries[23];
    std::memset(&open, 'y', sizeof open);
    open.help_info.field_count = 5;
    std::string cut = bytes_of(open).replace(602, 6, 6, '\0');
    for (const size_t end : {43U, 99U, 147U, 171U, 235U, 307U, 379U, 451U, 523U, 595U})
        cut[end] = '\0'; // the last byte of a string
    EXPECT_EQ(fetch(), 24);
    EXPECT_EQ(bytes_of(entries.get()[22]), bytes_of(fc_entry));
    EXPECT_EQ(bytes_of(entries.get()[23]), cut);
    ASSERT_EQ(calls.size(), 2U);
    EXPECT_EQ(calls[0].text,
              "ovra_send(5, 0xfe00000000000025, 905, null, 0, &sent, 0, {1 0 0 0 0 0 0 0})");
    EXPECT_EQ(calls[1].text, "ovra_recv(5, null, {1 0 10 77 0 0 0 0})");
    EXPECT_EQ(calls[1].messages_held, 0) << "keeps the question while it waits";
}

TEST_F(FetchedTable, IsNotTakenFromAReplyThatCannotBe)
{
    insert({1, 2});
    for (const size_t length : {0U, 608U, 14592U, 14595U, 14596U, 14597U})
        EXPECT_EQ(fetch(length), length < 14596 ? -1 : 2) << length;
    for (const int32_t last : {-2, 24, INT32_MIN, INT32_MAX}) {
        table->last_index = last;
        EXPECT_EQ(fetch(), -1) << last;
        EXPECT_EQ(errno, EPROTO);
    }
    table->last_index = 1;
    for (const int32_t fields : {-1, 6}) {
        table->entries[1].help_info.field_count = fields;
        EXPECT_EQ(fetch(), -1) << fields;
        EXPECT_EQ(errno, EPROTO);
    }
    table->last_index = 0;
    EXPECT_EQ(fetch(), 1) << "looks at an entry that is not in use";
    EXPECT_EQ(printed([&] {
                  EXPECT_EQ(fetch({{}, {-1, ETIME}}), -1);
              }),
              "Could not communicate with kivd\n");
    EXPECT_EQ(printed([&] { EXPECT_EQ(fetch({{-1, EPIPE}}), -1); }), "");
    EXPECT_EQ(calls.size(), 1U);
}

TEST(Permission, OnVirtualSansFollowsKindsAndOperation)
{
    const bmask4096 user = vsans({3, 64});
    const bmask4096 everything = every_vsan();
    const struct {
        int32_t kinds[2];
        int32_t operation;
        uint32_t vsan;
        bmask4096 set;
        int allowed;
    } cases[] = {
        {{0, 0}, 0, 3, {}, 1},
        {{9, 12}, 2, 64, {}, 1},
        {{0, 0}, 3, 5, {}, 0},
        {{0, 0}, 3, 4096, {}, 0},
        {{4, 0}, 3, 3, {}, 1},
        {{0, 4}, 3, 5, {}, 0},
        {{4, 0}, 2, 3, {}, 0},
        {{0, 4}, 4, 3, {}, 0},
        {{8, 0}, 3, 5, vsans({64, 4095}), 1},
        {{0, 8}, 3, 3, vsans({0, 65}), 0},
        {{8, 0}, 2, 3, vsans({3}), 0},
        {{4, 8}, 3, 5, vsans({3}), 1},
        {{8, 8}, -1, 3, vsans({3}), 0},
    };
    for (const auto &row : cases) {
        fc_intf_perm_req request{&user,    0,        row.kinds[0], row.kinds[1],
                                 row.vsan, &row.set, row.operation};
        EXPECT_EQ(kiv_fc_intf_perm_check(&request), row.allowed) << &row - cases;
        request.user_vsan_mask = &everything;
        EXPECT_EQ(kiv_fc_intf_perm_check(&request), 1) << &row - cases;
    }
    const std::string size = R"(size == \(\(\(\(4096\)\+31\)>>3\)&~0x3\))";
    vsan_bitset wrong = user;
    wrong.size = 508;
    const fc_intf_perm_req request{&user, 0, 8, 0, 1, &wrong, 3};
    EXPECT_DEATH(kiv_fc_intf_perm_check(&request),
                 failure("bmp_template", "vsan_bitset_intersection", "b->" + size));
    EXPECT_DEATH(vsan_bitset_copy(&wrong, &user),
                 failure("bmp_template", "vsan_bitset_copy",
                         "\\(dst->" + size + "\\) && \\(src->" + size + "\\)"));
}

TEST(Permission, OnTypesFollowsTheLowEightBits)
{
    const bmask4096 everything = every_vsan();
    const bmask4096 user = vsans({0, 3});
    for (uint32_t type = 0; type < 1024; ++type) {
        for (int32_t operation = -1; operation <= 4; ++operation) {
            const bool allowed = operation == 3 || type % 256 == 1 || type % 256 == 8;
            EXPECT_EQ(kiv_intf_type_perm_check(&user, type, operation), allowed ? 1 : 0) << type;
            EXPECT_EQ(kiv_intf_type_perm_check(&everything, type, operation), 1) << type;
        }
    }
}

TEST(Permission, OnAnInterfaceIsNeverARestrictedUsers)
{
    const bmask4096 everything = every_vsan();
    const bmask4096 user = vsans({0, 3});
    const struct {
        int (*run)(const void *, const bmask4096 *, uint32_t) noexcept;
        std::string what;
    } checks[] = {{kiv_is_interface_config_allowed, "config"},
                  {kiv_is_interface_display_allowed, "display"}};
    for (const auto &row : checks) {
        const auto asked = [&](uint32_t filter, const bmask4096 &mask, int expected) {
            kiv_lib_debug_filter_set(filter);
            return printed([&] { EXPECT_EQ(row.run(nullptr, &mask, 0x10A0000), expected); });
        };
        const std::string stub = "kiv_is_interface_" + row.what + "_allowed: modified/stubbed!\n";
        EXPECT_EQ(asked(0x3, user, 0),
                  "Checking if interface " + row.what + " allowed for Ifindex = 10a0000\n" + stub);
        EXPECT_EQ(asked(0x3, everything, 1), "");
        EXPECT_EQ(asked(0x7FFFFFFE, user, 0), stub);
    }
}

} // namespace
