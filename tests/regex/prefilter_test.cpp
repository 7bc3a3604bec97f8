// The search by filters against the plain one, and the vector search against its plain form.
#include "regex/filter/fingerprint.h"
#include "tests/regex/sweep.h"

#include <algorithm>

namespace Quil {
namespace {

using IMPL::engine::MOSTPLACES;
using IMPL::engine::TCellSet;
using IMPL::engine::TFingerprint;

template <class Chr>
class fingerprints : public testing::Test {};
using characters = testing::Types<char, unsigned char, wchar_t>;
TYPED_TEST_SUITE(fingerprints, characters);

/// A set as its cells and as its boxes.
template <class Chr>
struct cellset {
    std::vector<bool> cells = std::vector<bool>(IMPL::engine::chrtraits<Chr>::NCHRS);
    TCellSet<Chr> rows;

    void add(std::size_t cell) {
        cells[cell] = true;
        rows[cell / 256].set(cell % 256);
    }
    bool holds(Chr c) const { return cells[IMPL::engine::chrtraits<Chr>::index(c)]; }
};

template <class Chr>
cellset<Chr> randomset(std::mt19937& seed) {
    cellset<Chr> set;
    const std::size_t count = set.cells.size();
    for (std::size_t ranges = seed() % 3; ranges > 0; --ranges) {
        for (std::size_t first = seed() % count, n = seed() % (count / 4); n > 0; --n) {
            set.add((first + n) % count);
        }
    }
    for (std::size_t singles = 1 + seed() % 3; singles > 0; --singles) {
        set.add(seed() % count);
    }
    return set;
}

template <class Chr>
bool inboxes(const std::vector<typename TCellSet<Chr>::box>& boxes, std::size_t cell) {
    return std::any_of(boxes.begin(), boxes.end(), [cell](const auto& box) {
        for (std::size_t i = 0, rest = cell; i < box.size(); ++i, rest /= 16) {
            if (!(box[i] >> rest % 16 & 1)) {
                return false;
            }
        }
        return true;
    });
}

TYPED_TEST(fingerprints, BoxesHoldTheirSet) {
    std::mt19937 seed(1);
    for (int i = 0; i < 30; ++i) {
        const auto set = randomset<TypeParam>(seed);
        const auto exact = set.rows.boxes(10'000), few = set.rows.boxes(2);
        EXPECT_LE(few.size(), 2u);
        for (std::size_t cell = 0; cell < set.cells.size(); ++cell) {
            ASSERT_EQ(inboxes<TypeParam>(exact, cell), set.cells[cell]);
            ASSERT_TRUE(!set.cells[cell] || inboxes<TypeParam>(few, cell));
        }
    }
}

// No word is missed, and the vectors find what the plain form finds, whatever lies where.
TYPED_TEST(fingerprints, FindsEveryWord) {
    using fingerprint = TFingerprint<TypeParam>;
    using way = typename fingerprint::way;
    std::mt19937 seed(2);
    std::size_t found = 0;
    for (int round = 0; round < 300; ++round) {
        const std::size_t places = 1 + seed() % MOSTPLACES, behind = seed() % 2;
        std::vector<std::vector<cellset<TypeParam>>> words(1 + seed() % 12);
        std::vector<typename fingerprint::word> given;
        for (auto& word : words) {
            given.emplace_back();
            for (std::size_t i = 0; i < places; ++i) {
                word.push_back(randomset<TypeParam>(seed));
                given.back().push_back(word.back().rows.boxes(1 + seed() % 3));
            }
        }
        fingerprint search;
        search.set(given, places, behind);
        std::basic_string<TypeParam> text(seed() % 300, TypeParam{});
        for (TypeParam& c : text) {
            c = static_cast<TypeParam>(seed());
        }
        const TypeParam* const stop = text.data() + text.size();
        for (const TypeParam* from = text.data() + std::min(behind, text.size()); from < stop;) {
            const TypeParam* const limit =
                from + seed() % static_cast<std::size_t>(stop - from + 1);
            const TypeParam* const plain = search.find(from, limit, stop, way::PLAIN);
            for (const TypeParam* p = from; p < plain; ++p) {
                for (const auto& word : words) {
                    std::size_t i = 0;
                    while (i < places && word[i].holds(p[static_cast<std::ptrdiff_t>(i) -
                                                         static_cast<std::ptrdiff_t>(behind)])) {
                        ++i;
                    }
                    ASSERT_LT(i, places) << "missed";
                }
            }
            for (const way vectors : {way::VECTOR16, way::VECTOR32}) {
                ASSERT_TRUE(vectors > fingerprint::best() ||
                            search.find(from, limit, stop, vectors) == plain);
            }
            found += plain < limit ? 1 : 0;
            from = plain + 1;
        }
    }
    EXPECT_GT(found, 1000u);
}

/// All matches of a text, by filters if `fast`. Those are made once there is enough to search, and
/// then serve short texts as well.
template <class Chr>
std::string sweep(const regex_t* re, const std::basic_string<Chr>& text, bool fast,
                  std::size_t slots) {
    static const std::basic_string<Chr> longtext(100'000, Chr('~'));
    TRegexContext<Chr> context(re);
    context.setfastroads(fast);
    if (fast) {
        context.settext(longtext.data(), longtext.size());
        context.exec(0, 0, nullptr, 0);
    }
    return test::sweep(context, text, slots);
}

/// An expression by chance, of the kinds that filters are made for or must keep away from.
std::string randompattern(std::mt19937& seed) {
    const char* const atoms[] = {"a", "b",     "needle", "ed",        "[a-d]", "[^a]",
                                 ".", "[0-9]", "(b|c)",  "(ab|cd|e)", "\\n",   "[[:upper:]]"};
    const char* const counts[] = {"", "", "", "", "+", "*", "?", "+?", "*?", "{2,3}"};
    const char* const edges[] = {"^",     "$",     "\\y",     "\\m",        "\\M",
                                 "(?=a)", "(?!b)", "(?=.*e)", "(?=needle)", "\\A"};
    const char* const sets[] = {"a",           "[a-d]",  "[^a]",  "[0-9]",
                                "[[:alnum:]]", "[^\\n]", "(a|n)", "\\s"};
    if (seed() % 8 == 0) {
        return sets[seed() % std::size(sets)] + std::string(seed() % 4 ? "+" : "+?");
    }
    std::string pattern;
    for (std::size_t n = 1 + seed() % 4; n > 0; --n) {
        if (seed() % 8 == 0) {
            pattern += edges[seed() % std::size(edges)];
        }
        pattern += atoms[seed() % std::size(atoms)];
        pattern += counts[seed() % std::size(counts)];
    }
    if (seed() % 8 == 0) {
        pattern += edges[seed() % std::size(edges)];
    }
    if (seed() % 4 == 0) {
        pattern += (seed() % 2 ? "|" : "|x*") + std::string(atoms[seed() % std::size(atoms)]);
    }
    return pattern;
}

std::string randomtext(std::mt19937& seed) {
    const char* const pieces[] = {"a", "b", "needle", "e", "d", "7", "\n", " ", "abcd", "N", "x"};
    const std::size_t spread = 1 + seed() % std::size(pieces);
    const std::string filling(seed() % 3 ? 0 : seed() % 100, '~');
    std::string text;
    for (const std::size_t length = seed() % (seed() % 4 ? 1000 : 50); text.size() < length;) {
        text += pieces[(seed() % spread + seed() % 2 * spread / 2) % std::size(pieces)] + filling;
    }
    return text;
}

TEST(Prefilter, SameMatchesAsThePlainSearch) {
    std::mt19937 seed(3);
    std::size_t matches = 0;
    for (int i = 0; i < 5000; ++i) {
        const std::string pattern = randompattern(seed), text = randomtext(seed);
        const int flags =
            REG_ADVANCED | (seed() % 2 ? REG_NEWLINE : 0) | (seed() % 4 == 0 ? REG_ICASE : 0);
        test::expression<wchar_t> wide(test::widen<wchar_t>(pattern), flags);
        test::expression<char> narrow(pattern, flags);
        ASSERT_EQ(wide.error(), REG_OKAY) << pattern;
        ASSERT_EQ(narrow.error(), REG_OKAY) << pattern;
        const std::size_t slots = seed() % 3 ? 1 : wide.handle()->re_nsub + 1;
        const std::wstring widetext = test::widen<wchar_t>(text);
        const auto plain = sweep(wide.handle(), widetext, false, slots);
        EXPECT_EQ(sweep(wide.handle(), widetext, true, slots), plain) << pattern << '\n' << text;
        EXPECT_EQ(sweep(wide.handle(), test::widen<unsigned char>(text), true, slots), plain)
            << pattern << '\n'
            << text;
        EXPECT_EQ(sweep(narrow.handle(), text, true, slots), plain) << pattern << '\n' << text;
        matches += static_cast<std::size_t>(std::count(plain.begin(), plain.end(), '\n'));
    }
    EXPECT_GT(matches, 10'000u);
}

} // namespace
// From 500 characters on a literal has a way of its own, which the filter hands over to when its
// places fail too often, as in texts that are nearly the literal everywhere.
TEST(Prefilter, LongLiteralsAreFoundInTextsThatRepeatThem) {
    std::mt19937 seed(5);
    std::size_t matches = 0;
    for (int i = 0; i < 300; ++i) {
        const std::string period = std::string("needle").substr(seed() % 5);
        const auto times = [&](std::size_t size) {
            std::string text;
            while (text.size() < size) {
                text += period;
            }
            return text;
        };
        const std::string pattern = times(500) + (seed() % 2 ? "~" : "");
        std::string text;
        while (text.size() < 6000) {
            text += times(seed() % 3 ? seed() % 1500 : 1) + (seed() % 4 ? "~" : " ");
        }
        test::expression<wchar_t> wide(test::widen<wchar_t>(pattern), REG_ADVANCED);
        test::expression<char> narrow(pattern, REG_ADVANCED);
        const auto plain = sweep(narrow.handle(), text, false, 1);
        EXPECT_EQ(sweep(narrow.handle(), text, true, 1), plain) << pattern << '\n' << text;
        EXPECT_EQ(sweep(wide.handle(), test::widen<wchar_t>(text), true, 1), plain)
            << pattern << '\n'
            << text;
        matches += static_cast<std::size_t>(std::count(plain.begin(), plain.end(), '\n'));
    }
    EXPECT_GT(matches, 500u);
}

} // namespace Quil
