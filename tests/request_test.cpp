// Requests to modules: what the shell writes is what the module reads, and nothing else is read.

#include <algorithm>
#include <cstring>
#include <string>
#include <type_traits>
#include <vector>

#include <gtest/gtest.h>

#include "full_pinfo.h"
#include "lab/module/request.h"

namespace {

using kiv::module::argument;
using kiv::module::argument_head;
using kiv::module::is_value;
using kiv::module::request;
using kiv::module::request_head;
using kiv::module::write_request;

std::span<const std::byte> bytes(const std::string &text)
{
    return std::as_bytes(std::span(text));
}

template <class Value>
std::string value_of(const Value &value)
{
    if constexpr (std::is_same_v<Value, char>)
        return {};
    else if constexpr (std::is_array_v<Value>)
        return std::string(value) + '\0';
    else
        return {reinterpret_cast<const char *>(&value), sizeof value};
}

// One of every type.
std::vector<argument> every_argument()
{
    const kiv_tests::argument_values values;
    std::vector<argument> all;
    const auto add = [&](uint32_t type, std::string value) {
        argument &made = all.emplace_back();
        made.token_id = static_cast<int32_t>(all.size());
        made.type = type;
        made.mask = uint64_t{1} << all.size();
        made.subtype = static_cast<uint32_t>(all.size() * 3);
        made.value = std::move(value);
    };
#define ADD_ARGUMENT(name, code, bounds, label, value) add(code, value_of(values.value));
    KIV_PARAMETER_TYPE_TABLE(ADD_ARGUMENT)
#undef ADD_ARGUMENT
    return all;
}

TEST(Request, CarriesTheSessionAndArgumentsOfEveryType)
{
    kiv_tests::full_pinfo full;
    const std::vector<argument> sent = every_argument();
    request got;
    ASSERT_TRUE(got.read(bytes(write_request("show_all", full.record(), sent))));
    EXPECT_EQ(got.function(), "show_all");
    pinfo &info = got.info();
    EXPECT_STREQ(info.session_id, "10.0.0.1@pts/3");
    EXPECT_EQ(info.submode_context, 3);
    EXPECT_EQ(info.no_flag, 1);
    ASSERT_EQ(info.parameter_count, sent.size());
    for (size_t i = 0; i < sent.size(); ++i) {
        const param_arg &entry = *info.args[i];
        EXPECT_EQ(entry.type, sent[i].type);
        EXPECT_EQ(entry.token_id, sent[i].token_id);
        EXPECT_EQ(entry.mask, sent[i].mask);
        EXPECT_EQ(entry.subtype, sent[i].subtype);
        ASSERT_EQ(entry.value == nullptr, sent[i].value.empty());
        if (entry.value != nullptr) {
            EXPECT_EQ(std::memcmp(entry.value, sent[i].value.data(), sent[i].value.size()), 0)
                << std::hex << entry.type;
        }
    }
    ASSERT_TRUE(got.read(bytes(write_request("next", pinfo{}, {}))));
    EXPECT_EQ(got.function(), "next");
    EXPECT_EQ(got.info().parameter_count, 0);
    EXPECT_EQ(got.info().args[0], nullptr);
}

TEST(Request, TakesNothingFromTheSenderThatSaysWhatItMayDo)
{
    pinfo info{};
    std::memset(&info, 0xFF, sizeof info);
    info.submode_context = 0;
    request got;
    ASSERT_TRUE(got.read(bytes(write_request("a", info, {}))));
    const pinfo &taken = got.info();
    EXPECT_STREQ(taken.username, "");
    EXPECT_EQ(taken.ovra_queue, 0);
    for (const int32_t field : {taken.is_admin, taken.sup_state, taken.user_mode_state,
                                taken.exec_filter_mode, taken.prc_mode})
        EXPECT_EQ(field, 0);
    EXPECT_EQ(taken.user_perms_mask | taken.info_flags | taken.filter, 0U);
    EXPECT_EQ(taken.vsan_mask.size, sizeof taken.vsan_mask.bytes);
    EXPECT_TRUE(std::ranges::all_of(taken.vsan_mask.bytes, [](uint8_t each) { return each == 0; }));
    EXPECT_EQ(taken.script_mode, -1) << "of the session";
    EXPECT_EQ(std::strlen(taken.vty_id), sizeof info.vty_id - 1) << "a text without an end";
    EXPECT_EQ(std::strlen(taken.ascii_command), sizeof info.ascii_command - 1);
}

TEST(Request, TakesNoValuesThatAreNotWhatTheySay)
{
    for (const argument &each : every_argument()) {
        EXPECT_TRUE(is_value(each.type, bytes(each.value))) << std::hex << each.type;
        EXPECT_FALSE(is_value(each.type, bytes(each.value + 'x'))) << std::hex << each.type;
        for (size_t size = 0; size < each.value.size(); ++size)
            ASSERT_FALSE(is_value(each.type, bytes(each.value).first(size)))
                << std::hex << each.type << " with " << std::dec << size;
    }
    const auto ranges = [](int32_t count, size_t pairs) {
        return value_of(count) + std::string(pairs * sizeof(kiv_int_range), '\0');
    };
    uri_info endless{};
    std::memset(endless.password, 'x', sizeof endless.password);
    const struct {
        uint32_t type;
        std::string value;
        const char *what;
    } wrong[] = {
        {TYPE_INT_MULTI_RANGE, ranges(0, 0), "none"},
        {TYPE_VSAN_MULTI_RANGE, ranges(-1, 1), "less than none"},
        {TYPE_HEX_MULTI_RANGE, ranges(0x20000001, 1), "as many as 32 bits make one"},
        {TYPE_INTERFACE_RANGE, value_of(kiv_interface_range{KIV_INTERFACE_RANGES + 1, {}}),
         "more than fit"},
        {TYPE_INTERFACE_RANGE, value_of(kiv_interface_range{}), "no interfaces"},
        {TYPE_URI, value_of(endless), "a field without an end"},
        {TYPE_STRING, std::string("a\0b\0", 4), "two strings"},
        {0x40100020, std::string(4, '\0'), "no known type"},
    };
    for (const auto &row : wrong)
        EXPECT_FALSE(is_value(row.type, bytes(row.value))) << row.what;
}

TEST(Request, RefusesPayloadsThatAreNone)
{
    const std::string whole = write_request("function", pinfo{}, every_argument());
    request got;
    ASSERT_TRUE(got.read(bytes(whole)));
    for (size_t size = 0; size < whole.size(); ++size)
        ASSERT_FALSE(got.read(bytes(whole).first(size))) << "the first " << size << " bytes";
    EXPECT_FALSE(got.read(bytes(whole + std::string(8, '\0')))) << "more behind it";
    EXPECT_FALSE(
        got.read(bytes(std::string(whole).replace(offsetof(request_head, function), 48, 48, 'x'))))
        << "a name without an end";

    constexpr size_t submode = sizeof(request_head) + offsetof(pinfo, submode_context);
    constexpr size_t first_size =
        sizeof(request_head) + (sizeof(pinfo) + 7) / 8 * 8 + offsetof(argument_head, size);
    const struct {
        size_t offset;
        uint32_t value;
        const char *what;
    } wrong[] = {
        {offsetof(request_head, version), 2, "another version"},
        {offsetof(request_head, argument_count), KIV_PINFO_MAX_ARGS + 1, "too many"},
        {offsetof(request_head, pinfo_size), sizeof(pinfo) - 8, "another record"},
        {offsetof(request_head, reserved), 1, "what is reserved"},
        {submode, 29, "more arguments of modes than there are"},
        {submode, UINT32_MAX, "less than none"},
        {first_size, UINT32_MAX - 3, "a size that would wrap"},
    };
    for (const auto &row : wrong) {
        std::string payload = whole;
        std::memcpy(payload.data() + row.offset, &row.value, sizeof row.value);
        EXPECT_FALSE(got.read(bytes(payload))) << row.what;
    }
}

TEST(Request, IsNotWrittenBeyondItsBounds)
{
    argument large;
    large.type = TYPE_LINE;
    large.value.assign(OVRA_MAX_PAYLOAD - 1, 'x').push_back('\0');
    EXPECT_TRUE(write_request(std::string(kiv::module::function_size, 'f'), pinfo{}, {}).empty());
    EXPECT_TRUE(write_request("f", pinfo{}, std::vector<argument>(KIV_PINFO_MAX_ARGS + 1)).empty());
    EXPECT_TRUE(write_request("f", pinfo{}, std::span(&large, 1)).empty());
}

} // namespace
