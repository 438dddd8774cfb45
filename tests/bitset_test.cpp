#include <kiv/platform/bitset.h>
#include <kiv/platform/syserr.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <kiv/bmp_template.h>

#include "observed.h"

namespace {

struct vsan_set {
    uint32_t size = 512;
    uint8_t bytes[512] = {};

    bitset *get() { return reinterpret_cast<bitset *>(this); }

    std::string text()
    {
        std::string all(16384, '\0');
        all.resize(static_cast<size_t>(bitset_sprintf(all.data(), all.size(), get())));
        return all;
    }
};

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

TEST(Bitset, IgnoresWhatIsBeyondItsStorage)
{
    vsan_set set;
    set.size = 4;
    for (const uint32_t bit : {32U, 40U, UINT32_MAX})
        bitset_set_bit(set.get(), bit);
    EXPECT_EQ(kiv_tests::bytes_of(set.bytes), std::string(512, '\0'));
    set.bytes[4] = 0xFF;
    EXPECT_EQ(bitset_is_bit_set(set.get(), 32), 0);
    EXPECT_EQ(bitset_first_bit(set.get()), -1);
    std::memset(set.bytes, 0xFF, 4);
    set.bytes[4] = 0;
    EXPECT_EQ(bitset_first_free_bit(set.get()), -1);
}

TEST(Bitset, CopiesAndIntersectsSetsOfDifferentSizes)
{
    vsan_set wide = set_of({1, 100, 127, 128, 4000});
    bmask128 narrow = KIV_BMP_INIT(128);
    auto *narrow_set = reinterpret_cast<bitset *>(&narrow);
    bitset_copy(narrow_set, wide.get());
    vsan_set copy = set_of({3, 3000});
    bitset_copy(copy.get(), narrow_set);
    EXPECT_EQ(copy.text(), "1,100,127");
    bitset_intersection(wide.get(), narrow_set);
    EXPECT_EQ(wide.text(), "1,100,127");
    bitset_clear(wide.get());
    EXPECT_EQ(wide.text(), "");
    EXPECT_EQ(wide.size, 512U);
}

// Storage that ends within a word of the machine, with a run of members at each place of it.
TEST(Bitset, FindsARunWhereverItIs)
{
    for (const uint32_t size : {4U, 12U, 20U, 512U}) {
        for (uint32_t first = 0; first<size * 8; first += size> 20 ? 61 : 1) {
            for (const uint32_t length : {1U, 2U, 70U}) {
                vsan_set run;
                run.size = size;
                std::memset(run.bytes + size, 0xA5, sizeof run.bytes - size);
                vsan_set rest = run;
                const uint32_t end = std::min(first + length, size * 8);
                for (uint32_t bit = 0; bit < size * 8; ++bit)
                    bitset_set_bit((bit < first || bit >= end ? rest : run).get(), bit);
                const std::string last = end > first + 1 ? "-" + std::to_string(end - 1) : "";
                ASSERT_EQ(run.text(), std::to_string(first) + last) << size;
                ASSERT_EQ(bitset_first_bit(run.get()), static_cast<int32_t>(first)) << size;
                ASSERT_EQ(bitset_first_free_bit(rest.get()), static_cast<int32_t>(first)) << size;
            }
        }
    }
}

TEST(Bitset, CutsAListThatDoesNotFitAndTellsItsWholeLength)
{
    vsan_set set = set_of({1, 2, 3, 500, 4000, 4001});
    const std::string whole = "1-3,500,4000-4001";
    for (size_t size = 0; size <= whole.size() + 1; ++size) {
        std::string text(whole.size() + 2, '#');
        EXPECT_EQ(bitset_sprintf(text.data(), size, set.get()), static_cast<int>(whole.size()));
        EXPECT_EQ(text[size], '#') << "wrote behind " << size << " bytes";
        if (size > 0) {
            EXPECT_EQ(text.c_str(), whole.substr(0, size - 1));
        }
    }
}

TEST(ErrorTexts, KnowLibraryCodesTransportFailuresAndTheRest)
{
    EXPECT_STREQ(syserr2str(0x40540001), "Command failed");
    EXPECT_STREQ(syserr2str(0x80540000U | EPIPE), std::strerror(EPIPE));
    EXPECT_STREQ(syserr2str(0x4054FFFF), "Unknown error 0x4054FFFF");
}

} // namespace
