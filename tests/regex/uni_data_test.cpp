// The generated character tables: totals over all characters, and samples that a slip of the
// generator or of the packed lookup would change.

#include "regex/data/class_data.h"
#include "regex/uni_data.h"

#include <gtest/gtest.h>

namespace Quil {
namespace {

wchar_t wide(std::uint32_t code) {
    return static_cast<wchar_t>(code);
}

TEST(UniData, CaseMappings) {
    const struct {
        std::uint32_t ch, upper, lower, title;
    } cases[] = {
        {'A', 'A', 'a', 'A'},
        {'a', 'A', 'a', 'A'},
        {'1', '1', '1', '1'},
        {0xDF, 0xDF, 0xDF, 0xDF},
        {0xFF, 0x178, 0xFF, 0x178},
        {0x130, 0x130, 'i', 0x130},
        {0x131, 'I', 0x131, 'I'},
        {0x1C4, 0x1C4, 0x1C6, 0x1C5},
        {0x1C5, 0x1C4, 0x1C6, 0x1C5},
        {0x1C6, 0x1C4, 0x1C6, 0x1C5},
        // The offset has 10 bits only.
        {0xB5, static_cast<std::uint32_t>(-100), 0xB5, static_cast<std::uint32_t>(-100)},
        {0x1FBE, 0x1F99, 0x1FBE, 0x1F99},
        {0x2126, 0x2126, 0x1FC9, 0x2126},
        {0x212A, 0x212A, 0x206B, 0x212A},
        {0x212B, 0x212B, 0x20E5, 0x212B},
        // Only the lookup is by the low 16 bits.
        {0x10041, 0x10041, 0x10061, 0x10041},
        {0xFFFF0061, 0xFFFF0041, 0xFFFF0061, 0xFFFF0041},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(UniCharToUpper(wide(c.ch)), wide(c.upper)) << std::hex << c.ch;
        EXPECT_EQ(UniCharToLower(wide(c.ch)), wide(c.lower)) << std::hex << c.ch;
        EXPECT_EQ(UniCharToTitle(wide(c.ch)), wide(c.title)) << std::hex << c.ch;
    }
}

TEST(UniData, CountsOfCaseTypes) {
    int counts[8] = {};
    for (std::uint32_t ch = 0; ch <= 0xFFFF; ++ch) {
        ++counts[(static_cast<std::uint32_t>(IMPL::UniCharInfo(wide(ch))) >> IMPL::UNI_TITLE_BIT) &
                 7];
    }
    const int expected[8] = {64136, 0, 689, 4, 699, 4, 4, 0};
    for (int type = 0; type < 8; ++type) {
        EXPECT_EQ(counts[type], expected[type]) << type;
    }
}

TEST(UniData, Categories) {
    const struct {
        std::uint32_t ch;
        UniCategory category;
    } cases[] = {
        {0, UniCategory::Cc},      {' ', UniCategory::Zs},     {'A', UniCategory::Lu},
        {'a', UniCategory::Ll},    {'0', UniCategory::Nd},     {'_', UniCategory::Pc},
        {'$', UniCategory::Sc},    {0x1C5, UniCategory::Lt},   {0x4E00, UniCategory::Lo},
        {0xD800, UniCategory::Cs}, {0xE000, UniCategory::Co},  {0x2028, UniCategory::Zl},
        {0x0378, UniCategory::Cn}, {0xFFFE, UniCategory::Lo},  {0xFFFF, UniCategory::No},
        {0xAC00, UniCategory::Lo}, {0x10030, UniCategory::Nd}, {0xFEFF, UniCategory::Cf},
        {0x9FA5, UniCategory::Lo}, {0x9FA6, UniCategory::Cn},  {0xAB, UniCategory::Pi},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(GetUniCharCategory(wide(c.ch)), c.category) << std::hex << c.ch;
    }
}

TEST(UniData, ClassLists) {
    const struct {
        const char* name;
        const IMPL::ClassList& list;
        std::size_t singles, ranges, members;
    } cases[] = {
        {"alpha", IMPL::alphaList, 117, 172, 45446}, {"digit", IMPL::digitList, 0, 20, 198},
        {"graph", IMPL::graphList, 126, 465, 48974}, {"lower", IMPL::lowerList, 356, 32, 805},
        {"punct", IMPL::punctList, 63, 28, 298},     {"upper", IMPL::upperList, 353, 31, 687},
    };
    for (const auto& c : cases) {
        std::size_t members = c.list.singles.size();
        for (const IMPL::ClassRange& range : c.list.ranges) {
            members += range.last - range.first + 1U;
        }
        EXPECT_EQ(c.list.singles.size(), c.singles) << c.name;
        EXPECT_EQ(c.list.ranges.size(), c.ranges) << c.name;
        EXPECT_EQ(members, c.members) << c.name;
    }
}

} // namespace
} // namespace Quil
