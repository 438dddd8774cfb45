#include <algorithm>
#include <cstdlib>
#include <iterator>
#include <memory>
#include <string>

#include <gtest/gtest.h>

#include <kiv/kiv_exec_lib.h>
#include <kiv/kiv_lib.h>

#include "full_pinfo.h"
#include "golden.h"
#include "observed.h"

namespace {

using kiv_tests::full_pinfo;
using kiv_tests::printed;

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

TEST(PrintPinfoArg, ShowsTheTokenAndTheLabelledValue)
{
    param_arg arg{-4, TYPE_STRING, 0, nullptr, 0};
    const auto text = [&arg] { return printed([&arg] { print_pinfo_arg(&arg); }); };
    EXPECT_EQ(text(), "Token id: -4NULL");
    kiv_inet_addr address{KIV_INET_IPV4, {10, 0, 0, 1}};
    arg.value = &address;
    const struct {
        uint32_t type;
        uint32_t subtype;
        const char *value;
    } cases[] = {
        {TYPE_NONE, 0, "None :"},
        {TYPE_IPV4_OR_V6, TYPE_IPV4, "IPv4 OR v6[IPv4]:10.0.0.1"},
        {TYPE_IPV4_OR_V6, 0, "IPv4 OR v6[IPv6]:a00:1::"},
        {TYPE_IPV6, TYPE_IPV4, "IPv6 address:a00:1::"},
        {UINT32_MAX, 0, "\nUnknown arg"},
    };
    for (const auto &row : cases) {
        arg.type = row.type;
        arg.subtype = row.subtype;
        EXPECT_EQ(text(), std::string("Token id: -4") + row.value);
    }
}

} // namespace
