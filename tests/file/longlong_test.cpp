// The 64-bit integers: reading and writing text, and arithmetic at the ends of the range.

#include "util/file/longlong.h"
#include "util/text/stringEx.h"

#include <cerrno>
#include <gtest/gtest.h>
#include <limits>

namespace {

using namespace Quil;

constexpr std::int64_t MIN = std::numeric_limits<std::int64_t>::min();
constexpr std::int64_t MAX = std::numeric_limits<std::int64_t>::max();
constexpr std::uint64_t UMAX = std::numeric_limits<std::uint64_t>::max();

TEST(LongLong, ReadsSignedNumbers) {
    const struct {
        const char* text;
        int base;
        std::int64_t value;
        unsigned int used;
        bool overflow;
    } rows[] = {
        {"", 10, 0, 0, false},
        {"0x10", -1, 16, 4, false},
        {"010", -1, 8, 3, false},
        {"0b11", -1, 3, 4, false},
        {"x1f", -1, 31, 3, false},
        {"XfF", -1, 255, 3, false},
        {"0", -1, 0, 1, false},
        {"0x", -1, 0, 0, false},
        {"b11", -1, 0, 0, false},
        {" \t-42z", 10, -42, 5, false},
        {"+7", 10, 7, 2, false},
        {"zZ", 36, 35 * 36 + 35, 2, false},
        {"129", 2, 1, 1, false},
        {"0x10", 16, 0, 1, false},
        {"5", 37, 0, 0, false},
        {"5", 1, 0, 0, false},
        {"9223372036854775807", 10, MAX, 19, false},
        {"9223372036854775808", 10, MAX, 19, true},
        {"-9223372036854775808", 10, MIN, 20, false},
        {"-9223372036854775809", 10, MIN, 20, true},
        {"99999999999999999999999x", 10, MAX, 23, true},
        {"-0xFFFFFFFFFFFFFFFFF", -1, MIN, 20, true},
    };
    for (const auto& row : rows) {
        unsigned int used = 99;
        errno = 0;
        CLongLongNative value(5);
        value.FromString(row.text, row.base, &used);
        EXPECT_EQ(errno, row.overflow ? ERANGE : 0) << row.text;
        EXPECT_EQ(value.Value(), row.value) << row.text;
        EXPECT_EQ(used, row.used) << row.text;
    }
}

TEST(LongLong, ReadsUnsignedNumbers) {
    const struct {
        const char* text;
        std::uint64_t value;
        bool overflow;
    } rows[] = {{"18446744073709551615", UMAX, false},
                {"18446744073709551616", UMAX, true},
                {"-1", UMAX, false},
                {"184467440737095516160", UMAX, true}, // ten times that is 0 in 64 bits
                {"-18446744073709551616", UMAX, true}};
    for (const auto& row : rows) {
        errno = 0;
        CULongLongNative value;
        value.FromString(row.text);
        EXPECT_EQ(errno, row.overflow ? ERANGE : 0) << row.text;
        EXPECT_EQ(value.Value(), row.value) << row.text;
    }
}

TEST(LongLong, WritesInEachRadix) {
    EXPECT_EQ(CLongLongNative(MIN).ToString(10), "-9223372036854775808");
    EXPECT_EQ(CLongLongNative(-255).ToString(16), "-FF");
    EXPECT_EQ(CULongLongNative(UMAX).ToString(36), "3W5E11264SGSF");
    EXPECT_EQ(CULongLongNative(0).ToString(7), "0");
    EXPECT_EQ(CLongLongNative(5).ToString(1), "");
    EXPECT_EQ(CLongLongNative(5).ToString(37), "");
    for (int radix = 2; radix <= 36; ++radix) {
        for (const std::int64_t value : {MIN, MIN + 1, std::int64_t{-1}, MAX}) {
            const stringEx text = CLongLongNative(value).ToString(radix);
            EXPECT_EQ(CLongLongNative().FromString(text, radix).Value(), value) << radix;
        }
    }
}

TEST(LongLong, ArithmeticWrapsInsteadOfBeingUndefined) {
    const CLongLongNative smallest = MIN;
    EXPECT_EQ(smallest - 1, MAX);
    EXPECT_EQ(-smallest, MIN);
    EXPECT_EQ(smallest / -1, MIN);
    EXPECT_EQ(smallest % -1, 0);
    EXPECT_EQ(CLongLongNative(MAX) * 2, -2);
    EXPECT_EQ(CLongLongNative(-7) / 2, -3);
    EXPECT_EQ(CLongLongNative(-7) % 2, -1);
    EXPECT_EQ(CLongLongNative(1) << 64, 0);
    EXPECT_EQ(CLongLongNative(-8) >> 64, -1);
    EXPECT_EQ(CULongLongNative(8) >> 64, 0U);
    EXPECT_LT(CLongLongNative(-1), 0);
    EXPECT_GT(CULongLongNative(-1), 0U);
}

TEST(LongLong, TravelsAsEightBytes) {
    unsigned char bytes[8];
    CLongLongNative(-2).ToArray(bytes);
    EXPECT_EQ(bytes[7], 0xFF);
    EXPECT_EQ(CULongLongNative().FromArray(bytes), UMAX - 1);
}

} // namespace
