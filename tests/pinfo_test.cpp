// The arguments of a command's handler, and how they are printed.

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <kiv/kiv_exec_lib.h>
#include <kiv/kiv_lib.h>

#include "full_pinfo.h"
#include "golden.h"
#include "observed.h"

namespace {

using kiv_tests::full_pinfo;
using kiv_tests::printed;

// Entries are named by their token ids.
class ArgumentList : public testing::Test {
protected:
    ArgumentList()
    {
        for (int32_t i = 0; i < static_cast<int32_t>(entries.size()); ++i)
            entries[static_cast<size_t>(i)].token_id = i;
    }

    void fill(int count)
    {
        pinfo_delete_all_arg(record.get());
        for (int i = 0; i < count; ++i)
            pinfo_insert_arg(record.get(), &entries[static_cast<size_t>(i)]);
    }

    std::vector<int32_t> ids() const
    {
        std::vector<int32_t> found;
        found.reserve(entries.size());
        for (int i = 0; i < record->parameter_count; ++i)
            found.push_back(record->args[i]->token_id);
        return found;
    }

    std::vector<param_arg> entries = std::vector<param_arg>(300);
    std::unique_ptr<pinfo> record = std::make_unique<pinfo>();
};

using ids_of = std::vector<int32_t>;

TEST_F(ArgumentList, InsertsAndReplacesInsideTheRecord)
{
    fill(3);
    EXPECT_EQ(pinfo_insert_arg_at_index(record.get(), &entries[9], 0), 0);
    EXPECT_EQ(pinfo_insert_arg_at_index(record.get(), &entries[8], 4), 0);
    EXPECT_EQ(ids(), (ids_of{9, 0, 1, 2, 8}));
    EXPECT_EQ(pinfo_set_arg(record.get(), &entries[7], 1), 0);
    for (const int32_t index : {-1, 256, INT32_MAX})
        EXPECT_EQ(pinfo_insert_arg_at_index(record.get(), &entries[6], index), -1) << index;
    for (const int32_t index : {INT32_MIN, 0, 257})
        EXPECT_EQ(pinfo_set_arg(record.get(), &entries[6], index), -1) << index;
    EXPECT_EQ(ids(), (ids_of{7, 0, 1, 2, 8}));

    pinfo_insert_arg_at_index(record.get(), &entries[6], 20);
    EXPECT_EQ(record->parameter_count, 6) << "the count grows, wherever the entry goes";
    EXPECT_EQ(record->args[20], &entries[6]);
    fill(255);
    EXPECT_EQ(record->args[254], &entries[254]);
    EXPECT_EQ(record->sup_state, 0) << "behind the list";
}

TEST_F(ArgumentList, DeletesAlsoPastItsEnd)
{
    const struct {
        int32_t index;
        ids_of left;
    } cases[] = {{1, {1, 2}}, {2, {0, 2}}, {3, {0, 1}}, {INT32_MAX, {0, 1}}};
    for (const auto &row : cases) {
        fill(3);
        EXPECT_EQ(pinfo_delete_arg(record.get(), row.index), 0);
        EXPECT_EQ(ids(), row.left) << row.index;
    }
    fill(0);
    pinfo_delete_arg(record.get(), 1);
    pinfo_delete_arg(record.get(), 1);
    EXPECT_EQ(record->parameter_count, 254) << "moves what is behind the list within the record";
}

TEST_F(ArgumentList, FindsTheMaskOfTheLastInterfaces)
{
    fill(3);
    populate_param_arg(&entries[0], 0, TYPE_INTERFACE, 0x5, nullptr);
    populate_param_arg(&entries[1], 0, TYPE_INT, 0x7, nullptr);
    const auto expect_mask = [this](uint64_t expected) {
        uint64_t mask = 77;
        EXPECT_EQ(pinfo_get_latest_intf_mask(record.get(), &mask), expected == 0 ? -1 : 0);
        EXPECT_EQ(mask, expected);
    };
    expect_mask(0x5);
    populate_param_arg(&entries[2], 0, TYPE_INTERFACE_RANGE, 0x8000000000000009, nullptr);
    expect_mask(0x8000000000000009);
    entries[2].mask = 0;
    expect_mask(0);
    record->args[2] = nullptr;
    expect_mask(0x5);
    fill(0);
    expect_mask(0);
}

TEST_F(ArgumentList, IsLeftOutOfACopyOfTheSession)
{
    fill(3);
    std::memset(record->username, 'u', sizeof record->username);
    std::vector<unsigned char> bytes(sizeof(pinfo), 0xAA);
    const auto copy = std::make_unique<pinfo>();
    EXPECT_EQ(pinfo_basic_copy(copy.get(), record.get()), 0);
    EXPECT_EQ(copy->parameter_count, 0);
    copy->parameter_count = 3;
    EXPECT_TRUE(kiv_tests::bytes_of(*copy) == kiv_tests::bytes_of(*record)) << "all else is copied";
    pinfo_basic_copy(reinterpret_cast<pinfo *>(bytes.data()), nullptr);
    EXPECT_EQ(std::ranges::count(bytes, 0), static_cast<ptrdiff_t>(bytes.size()));
}

TEST(InterfaceValues, FillTheirSlots)
{
    kiv_interface_range ranges{};
    EXPECT_EQ(populate_intf_range(&ranges, 32, 5, 6), 0);
    EXPECT_EQ(ranges.ranges[32].last, 6U);
    const std::string before = kiv_tests::bytes_of(ranges);
    for (const int32_t slot : {33, -1, INT32_MAX})
        EXPECT_EQ(populate_intf_range(&ranges, slot, 1, 2), 0) << slot;
    EXPECT_EQ(kiv_tests::bytes_of(ranges), before);
    param_arg arg{.token_id = 0, .type = 0, .mask = 0, .value = nullptr, .subtype = 3};
    populate_param_arg(&arg, -4, TYPE_INTERFACE_RANGE, 0x9, &ranges);
    EXPECT_EQ(arg.subtype, 3U) << "stays";
}

TEST(PinfoAssertions, NameTheParameterAndTheFile)
{
    pinfo full{};
    full.parameter_count = 32;
    EXPECT_DEATH(pinfo_insert_arg_at_index(&full, nullptr, 0),
                 kiv_tests::failure("kiv_lib", "pinfo_insert_arg_at_index",
                                    "pinfo->parameter_count < 16\\*2"));
    EXPECT_DEATH(pinfo_delete_arg(&full, 0),
                 kiv_tests::failure("kiv_lib", "pinfo_delete_arg", "param_index>0"));
}

void expect_golden(const char *name, const pinfo &record)
{
    golden::expect(std::string(TEST_DATA_DIR "/pinfo/") + name,
                   printed([&record] { print_pinfo(&record); }));
}

TEST(PrintPinfo, ShowsEveryFieldAndEveryTypeOfArgument)
{
    const auto full = std::make_unique<full_pinfo>();
    expect_golden("full.txt", full->record());
    EXPECT_EQ(printed([] { print_pinfo(nullptr); }), "");
    EXPECT_EQ(printed([] { print_pinfo_arg(nullptr); }), "");
    const param_arg nothing{-4, TYPE_STRING, 0, nullptr, 0};
    EXPECT_EQ(printed([&] { print_pinfo_arg(&nothing); }), "Token id: -4NULL");
}

TEST(PrintPinfo, LeavesOutGenerationWhileCommandsAreExecuted)
{
    const auto full = std::make_unique<full_pinfo>();
    pinfo &record = full->record();
    pinfo_delete_all_arg(&record);
    record.ascii_gen = 0;
    record.no_flag = 0;
    record.info_flags = 0x10;
    record.vsan_mask = KIV_BMP_INIT(KIV_VSAN_BITS);
    expect_golden("executed.txt", record);
}

TEST(PrintPinfo, ShowsTheVirtualSansWhereTheirOutputGoes)
{
    const auto full = std::make_unique<full_pinfo>();
    pinfo_delete_all_arg(&full->record());
    const std::string whole = printed([&] { print_pinfo(&full->record()); });
    kiv_set_redir2buf();
    const std::string rest = printed([&] { print_pinfo(&full->record()); });
    const std::unique_ptr<char, decltype(&std::free)> captured(kiv_get_buf(), std::free);
    kiv_reset_redir2buf();
    ASSERT_NE(captured, nullptr);
    EXPECT_STREQ(captured.get(), "Permitted vsans:1-3,7,4093\n");
    std::string expected = whole;
    expected.erase(expected.find(captured.get()), std::string(captured.get()).size());
    EXPECT_EQ(rest, expected);
}

// What is behind a text must not be taken for text, nor what is behind the places for one.
TEST(PrintPinfo, ReadsTextsAndPlacesUpToTheirEnds)
{
    const auto record = std::make_unique<pinfo>();
    record->vsan_mask = KIV_BMP_INIT(KIV_VSAN_BITS);
    record->ascii_gen = 1;
    std::ranges::fill(record->ascii_command, 'a');
    std::ranges::fill(record->vty_id, 'v');
    std::ranges::fill(record->username, 'u');
    std::ranges::fill(record->session_id, 's');
    int32_t value = 5;
    param_arg arg{3, TYPE_INT, 0, &value, 0};
    record->args[254] = &arg;
    record->args[255] = &arg;
    record->parameter_count = 255;
    const std::string text = printed([&] { print_pinfo(record.get()); });
    for (const std::string &part : {"id: " + std::string(32, 's') + ", ",
                                    "Username: " + std::string(32, 'u') + ", Debug_flag: 0",
                                    "Vty ID: " + std::string(32, 'v') + " User Perms Mask:0\n",
                                    "Ascii Cmd: " + std::string(512, 'a') + "\n",
                                    "Ascii command: " + std::string(512, 'a') + " Info flags"})
        EXPECT_EQ(golden::occurrences(text, part), 1U) << part;
    EXPECT_EQ(golden::occurrences(text, "Param Arg ["), 255U);
    EXPECT_TRUE(text.ends_with("\nParam Arg [253].\nParam Arg [254].Token id: 3Integer :5\n"));
}

} // namespace
