// Literal find and replace: both shapes of every form against a plain, obviously right replacement,
// over small alphabets where matches are dense; then the edges that the plain one can't tell.

#include "util/base/sanitizer.h"
#include "util/text/byteEx.h"
#include "util/text/stringEx.h"
#include "util/text/wstringEx.h"

#include <cstdlib>
#include <fstream>
#include <gtest/gtest.h>
#include <new>
#include <random>
#include <string>
#include <sys/resource.h>

namespace Quil {
namespace {

enum class Form { Text, Set, Run };

template <class S>
typename S::value_type fold(typename S::value_type element, bool noCase) {
    if constexpr (std::is_same_v<S, byteEx>) {
        return element;
    } else {
        return noCase ? static_cast<typename S::value_type>(S::to_lower(element)) : element;
    }
}

/// The plain replacement: answers the count, 0 also where nothing may be searched.
template <class S>
unsigned int reference(std::basic_string<typename S::value_type>& text, const S& what, const S& rep,
                       unsigned int start, bool all, Form form, bool noCase) {
    const auto same = [&](auto a, auto b) { return fold<S>(a, noCase) == fold<S>(b, noCase); };
    const auto inSet = [&](auto element) {
        return std::any_of(what.begin(), what.end(), [&](auto e) { return same(e, element); });
    };
    std::basic_string<typename S::value_type> result = text.substr(0, start);
    unsigned int count = 0;
    for (std::size_t at = start; at < text.size();) {
        std::size_t n = 0;
        if (form == Form::Text) {
            n = text.size() - at >= what.length() &&
                        std::equal(what.begin(), what.end(),
                                   text.begin() + static_cast<std::ptrdiff_t>(at), same)
                    ? what.length()
                    : 0;
        } else if (inSet(text[at])) {
            n = 1;
            while (form == Form::Run && at + n < text.size() && inSet(text[at + n])) {
                ++n;
            }
        }
        if (n == 0 || (!all && count > 0)) {
            result += text[at++];
        } else {
            result.append(rep.data(), rep.length());
            at += n;
            ++count;
        }
    }
    text = result;
    return count;
}

#define BY(form)                                                                                   \
    (to == nullptr ? text.form(what, rep, start, all) : text.form##_to(*to, what, rep, start))

/// The library's replacement in place, or of all into `to` if that is given.
template <class S>
unsigned int replaced(S& text, S* to, const S& what, const S& rep, unsigned int start, bool all,
                      Form form, bool noCase) {
    if constexpr (!std::is_same_v<S, byteEx>) {
        if (noCase) {
            return form == Form::Text  ? BY(find_replace_no_case)
                   : form == Form::Set ? BY(find_replace_set_no_case)
                                       : BY(shrink_set_no_case);
        }
        if (form == Form::Run) {
            return BY(shrink_set);
        }
    }
    return form == Form::Text ? BY(find_replace) : BY(find_replace_set);
}

template <class S>
class Replace : public testing::Test {
protected:
    using T = typename S::value_type;

    S Random(unsigned int length) {
        S text;
        for (unsigned int i = 0; i < length; ++i) {
            text += static_cast<T>("abAB"[_random() % 4]);
        }
        return text;
    }
    unsigned int Below(unsigned int n) { return static_cast<unsigned int>(_random() % n); }

    std::mt19937 _random{7};
};
using Classes = testing::Types<stringEx, wstringEx, byteEx>;
TYPED_TEST_SUITE(Replace, Classes);

TYPED_TEST(Replace, AgreesWithPlainReplacement) {
    using S = TypeParam;
    constexpr bool isBytes = std::is_same_v<S, byteEx>;
    for (int round = 0; round < 3000; ++round) {
        const bool isLong = round % 500 == 0; // long enough for the filter of folded wide texts
        S text = this->Random(isLong ? 33000 : 1 + this->Below(200));
        const S what = this->Random(1 + this->Below(4));
        const S rep = this->Random(this->Below(6));
        const unsigned int start = this->Below(4) == 0 ? this->Below(text.length()) : 0;
        const bool all = this->Below(4) != 0;
        const bool noCase = !isBytes && this->Below(2) == 0;
        const Form form = static_cast<Form>(this->Below(isBytes ? 2 : 3));

        std::basic_string<typename S::value_type> expected(text.data(), text.length());
        const unsigned int count = reference(expected, what, rep, start, all, form, noCase);
        S changed(text.data(), text.length());
        const S sharer = changed;
        S shared = changed;
        ASSERT_EQ(replaced<S>(changed, nullptr, what, rep, start, all, form, noCase), count)
            << round;
        ASSERT_TRUE(changed == S(expected.data(), changed.length())) << round;
        ASSERT_EQ(changed.length(), expected.size());
        ASSERT_TRUE(sharer == text);
        if constexpr (!isBytes) {
            ASSERT_EQ(changed.c_str()[changed.length()], 0);
        }
        if (all) {
            S to = this->Random(3);
            ASSERT_EQ(replaced(text, &to, what, rep, start, all, form, noCase), count);
            ASSERT_TRUE(to == changed) << round;
        }
        // Arguments that look into the text itself, or are it.
        const unsigned int pos = this->Below(shared.length());
        const S part = shared.substr_static(pos, 1 + this->Below(3));
        const S copy(part.data(), part.length());
        S owned(text.data(), text.length());
        const S into(owned, pos, part.length(), typename S::NOT_OWNER());
        expected.assign(text.data(), text.length());
        reference(expected, copy, rep, 0, true, form, noCase);
        replaced<S>(owned, nullptr, into, rep, 0, true, form, noCase);
        ASSERT_TRUE(owned == S(expected.data(), owned.length())) << round;
        owned.assign(text.data(), text.length());
        const S intoRep(owned, pos, part.length(), typename S::NOT_OWNER());
        expected.assign(text.data(), text.length());
        reference(expected, what, copy, 0, true, form, noCase);
        replaced<S>(owned, nullptr, what, intoRep, 0, true, form, noCase);
        ASSERT_TRUE(owned == S(expected.data(), owned.length())) << round;
        owned.assign(text.data(), text.length());
        expected.assign(text.data(), text.length());
        const unsigned int once = reference(expected, what, text, 0, false, form, noCase);
        ASSERT_EQ(replaced<S>(owned, nullptr, what, owned, 0, true, form, noCase), once);
        ASSERT_TRUE(owned == S(expected.data(), owned.length())) << round;
    }
}

TYPED_TEST(Replace, LeavesAlone) {
    using S = TypeParam;
    S text = this->Random(20);
    const S copy(text.data(), text.length());
    const S sharer = text;
    const S missing(3, 'z');
    S to = missing;
    EXPECT_EQ(text.find_replace(missing, missing, 0, true), 0U);
    EXPECT_EQ(text.data(), sharer.data()) << "un-shared without a match";
    EXPECT_EQ(text.find_replace_to(to, missing, missing), 0U);
    EXPECT_TRUE(to == copy);
    EXPECT_EQ(text.find_replace(copy, missing, 20, true), 0U);
    EXPECT_EQ(text.find_replace_to(to, copy, missing, 20), 0U);
    EXPECT_TRUE(to.empty()) << "a start at the end leaves nothing";
    EXPECT_EQ(text.find_replace(text + missing, missing, 0, true), 0U);
    to = missing;
    EXPECT_EQ(text.find_replace_to(to, S(), missing), 0U);
    EXPECT_TRUE(to.empty());
    EXPECT_TRUE(text == copy);
    EXPECT_EQ(text.find_replace_to(text, copy, missing), 0U) << "emptied before it is searched";
    EXPECT_TRUE(text.empty());
    EXPECT_EQ(text.find_replace(copy, missing, 0, true), 0U);
}

TYPED_TEST(Replace, ResultLooksAtDestination) {
    using S = TypeParam;
    S to = this->Random(40);
    const S before(to.data(), to.length());
    const S view = to.substr_static(0, 40);
    const S what(1, 'a');
    const S rep = to.substr_static(0, 2);
    std::basic_string<typename S::value_type> expected(before.data(), 40);
    const unsigned int count =
        reference(expected, what, before.substr(0, 2), 0, true, Form::Text, false);
    EXPECT_EQ(view.find_replace_to(to, what, rep), count);
    EXPECT_TRUE(to == S(expected.data(), static_cast<unsigned int>(expected.size())));
}

TEST(ReplaceText, FoldsByTheLowerMapping) {
    wstringEx text(L"Kk\x10041\x10061\xc4\xe4");
    EXPECT_EQ(text.find_replace_no_case(L"k", L"."), 2U);
    EXPECT_EQ(text.find_replace_no_case(L"\x10041", L"-"), 2U);
    EXPECT_EQ(text.find_replace_no_case(L"A", L"!"), 0U);
    EXPECT_EQ(text.shrink_set_no_case(L"\xe4", L"<>"), 1U);
    EXPECT_TRUE(text == L"..--<>");
    stringEx narrow("\xe4\xc4"
                    "X");
    EXPECT_EQ(narrow.find_replace_no_case("\xe4", "a"), 1U)
        << "no case beyond ASCII in the C locale";
}

TEST(ReplaceText, LongRunsShrinkWhileShortOnesGrow) {
    stringEx text(std::string("a b").append(500, ' ').append("c d e").c_str());
    EXPECT_EQ(text.shrink_set(" ", "____"), 4U);
    EXPECT_TRUE(text == "a____b____c____d____e");
    char room[] = "a b    c|";
    stringEx view(room, 8, stringEx::NOT_OWNER());
    EXPECT_EQ(view.shrink_set(" ", "__"), 2U);
    EXPECT_STREQ(room, "a__b__c");
    EXPECT_EQ(room[8], '|') << "written behind the view and its result";
}

// Twice the text is enough for twice the text, and less is an error that can be caught.
TEST(ReplaceText, NeedsMemoryForTheResultAlone) {
    if (QUIL_SANITIZED) {
        GTEST_SKIP() << "the sanitizer takes all addresses";
    }
    constexpr unsigned int LENGTH = 32 << 20;
    const auto replaceWithin = [](unsigned int megabytes) {
        stringEx text(LENGTH, 'a');
        unsigned long pages = 0;
        std::ifstream("/proc/self/statm") >> pages;
        const rlim_t most = pages * 4096 + (rlim_t{megabytes} << 20);
        const rlimit limit{most, most};
        setrlimit(RLIMIT_AS, &limit);
        try {
            std::exit(text.find_replace("a", "bc", 0, true) == LENGTH ? 0 : 1);
        } catch (const std::bad_alloc&) {
            std::exit(text.length() == LENGTH && text.back() == 'a' ? 2 : 1);
        }
    };
    EXPECT_EXIT(replaceWithin(48), testing::ExitedWithCode(0), "");
    EXPECT_EXIT(replaceWithin(16), testing::ExitedWithCode(2), "");
}

// A truth value is no position, and a number says nothing of all.
template <class S, class Third>
constexpr bool takes = requires(S s, Third third) {
    s.find_replace(s, s, third);
};
static_assert(takes<stringEx, int> && takes<wstringEx, unsigned int> && takes<byteEx, bool>);
static_assert(!takes<stringEx, bool> && !takes<wstringEx, bool> && !takes<byteEx, int>);

TEST(ReplaceText, TextThatDefeatsTheFilterStaysLinear) {
    wstringEx text(400000, L'a');
    wstringEx needle(4000, L'a');
    needle[2000] = L'b';
    text.append(needle).append(needle);
    EXPECT_EQ(text.find_replace(needle, L"x"), 2U);
    EXPECT_EQ(text.length(), 400002U);
}

TEST(ReplaceBytes, EmptyNeedleInsertsOnce) {
    byteEx bytes(2, 'b');
    const byteEx rep(3, 'r');
    EXPECT_EQ(bytes.find_replace(byteEx(), rep, true), 1U);
    EXPECT_EQ(bytes.find_replace(byteEx(), rep, 4, true), 1U);
    EXPECT_EQ(bytes.find_replace(byteEx(), byteEx(), true), 0U);
    EXPECT_EQ(bytes.find_replace_set(byteEx(), rep, true), 0U);
    EXPECT_TRUE(stringEx(bytes) == "rrrbrrrb");
    EXPECT_EQ(byteEx().find_replace(byteEx(), rep, true), 0U);
}

} // namespace
} // namespace Quil
