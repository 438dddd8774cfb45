#include <kiv/platform/bitset.h>
#include <kiv/platform/syserr.h>

#include <cerrno>
#include <cstring>
#include <string>
#include <vector>

#include <gmock/gmock.h>

#include <kiv/bmp_template.h>

namespace {

struct vsan_set {
    uint32_t size = 512;
    uint8_t bytes[512] = {};

    bitset *get() { return reinterpret_cast<bitset *>(this); }
};

std::string text_of(vsan_set &set)
{
    std::string text(16384, '\0');
    text.resize(static_cast<size_t>(bitset_sprintf(text.data(), text.size(), set.get())));
    return text;
}

vsan_set set_of(const std::vector<uint32_t> &bits)
{
    vsan_set set;
    for (const uint32_t bit : bits)
        bitset_set_bit(set.get(), bit);
    return set;
}

TEST(Bitset, NumbersBitsFromTheLeastSignificantOfTheFirstByte)
{
    vsan_set set = set_of({0, 9, 4095});
    EXPECT_EQ(set.bytes[0], 0x01);
    EXPECT_EQ(set.bytes[1], 0x02);
    EXPECT_EQ(set.bytes[511], 0x80);
    EXPECT_EQ(bitset_is_bit_set(set.get(), 9), 1);
    EXPECT_EQ(bitset_is_bit_set(set.get(), 8), 0);
}

TEST(Bitset, IgnoresNumbersBeyondItsStorage)
{
    struct {
        uint32_t size = 4;
        uint8_t bytes[4] = {};
        uint8_t behind[4] = {};
    } small;
    auto *set = reinterpret_cast<bitset *>(&small);
    for (const uint32_t bit : {32U, 40U, UINT32_MAX})
        bitset_set_bit(set, bit);
    EXPECT_EQ(std::memcmp(&small.behind, "\0\0\0\0", 4), 0) << "wrote behind the storage";
    small.behind[0] = 0xFF;
    EXPECT_EQ(bitset_first_bit(set), -1);
    EXPECT_EQ(bitset_is_bit_set(set, 32), 0);
}

TEST(Bitset, CopiesAndIntersectsSetsOfDifferentSizes)
{
    vsan_set wide = set_of({1, 100, 127, 128, 4000});
    bmask128 narrow = KIV_BMP_INIT(128);
    auto *narrow_set = reinterpret_cast<bitset *>(&narrow);
    bitset_copy(narrow_set, wide.get());
    EXPECT_EQ(bitset_is_bit_set(narrow_set, 127), 1);

    vsan_set copy = set_of({3, 3000});
    bitset_copy(copy.get(), narrow_set);
    EXPECT_EQ(text_of(copy), "1,100,127");

    bitset_intersection(wide.get(), narrow_set);
    EXPECT_EQ(text_of(wide), "1,100,127");
    bitset_clear(wide.get());
    EXPECT_EQ(text_of(wide), "");
    EXPECT_EQ(wide.size, 512U);
}

TEST(Bitset, PrintsTheHighestByteFirst)
{
    bmask128 mask = KIV_BMP_INIT(128);
    uint8_t array[16] = {0x0C, 0xA0};
    array[15] = 0xFE;
    bmask128_from_bitarray(&mask, array);
    testing::internal::CaptureStdout();
    bmask128_printf_hex(&mask);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "0xfe00000000000000000000000000a00c ");
}

TEST(Bitset, ListsItsMembersAsRanges)
{
    vsan_set set = set_of({1, 2, 3, 4, 5, 7});
    std::memset(set.bytes + 2, 0xFF, sizeof set.bytes - 2);
    EXPECT_EQ(text_of(set), "1-5,7,16-4095");
}

// Sets whose storage ends within a word of the machine, with numbers at each place of it.
TEST(Bitset, FindsWhatAskingForEachNumberFinds)
{
    for (const uint32_t size : {4U, 8U, 12U, 20U, 512U}) {
        for (uint32_t first = 0; first<size * 8; first += size> 20 ? 61 : 1) {
            vsan_set members;
            members.size = size;
            std::memset(members.bytes + size, 0xA5, sizeof members.bytes - size);
            vsan_set others = members;
            for (uint32_t bit = 0; bit < size * 8; ++bit)
                bitset_set_bit((bit < first || bit % 3 == 2 ? others : members).get(), bit);
            const auto lowest = static_cast<int32_t>(first + (first % 3 == 2 ? 1 : 0));
            const bool has_member = lowest < static_cast<int32_t>(size * 8);
            ASSERT_EQ(bitset_first_bit(members.get()), has_member ? lowest : -1) << size;
            ASSERT_EQ(bitset_first_free_bit(others.get()), has_member ? lowest : -1) << size;
            std::string expected;
            for (uint32_t bit = first; bit < size * 8; ++bit) {
                if (bitset_is_bit_set(members.get(), bit) == 0)
                    continue;
                const bool continues =
                    bit > first && bitset_is_bit_set(members.get(), bit - 1) == 1;
                if (!continues && !expected.empty())
                    expected += ',';
                expected += (continues ? "-" : "") + std::to_string(bit);
            }
            ASSERT_EQ(text_of(members), expected) << size;
        }
    }
}

TEST(Bitset, CutsAListThatDoesNotFitAndTellsItsWholeLength)
{
    vsan_set set = set_of({1, 2, 3, 500, 4000, 4001});
    const std::string whole = "1-3,500,4000-4001";
    for (size_t size = 0; size <= whole.size() + 1; ++size) {
        std::vector<char> text(size + 1, '#');
        const int length = bitset_sprintf(text.data(), size, set.get());
        EXPECT_EQ(length, static_cast<int>(whole.size()));
        EXPECT_EQ(text[size], '#') << "wrote behind " << size << " bytes";
        if (size > 0) {
            EXPECT_EQ(std::string(text.data()), whole.substr(0, size - 1));
        }
    }
}

TEST(ErrorTexts, KnowLibraryCodesTransportFailuresAndTheRest)
{
    EXPECT_STREQ(syserr2str(0), "Success");
    EXPECT_STREQ(syserr2str(0x40540001), "Command failed");
    EXPECT_STREQ(syserr2str(0x40540027), "Interface type is not registered");
    EXPECT_STREQ(syserr2str(0x80540000U | EPIPE), std::strerror(EPIPE));
    EXPECT_STREQ(syserr2str(0x4054FFFF), "Unknown error 0x4054FFFF");
}

} // namespace
