// The buffer: growth, sharing, views, changes of the three classes against a standard string where
// sources share the receiver's block or look into it, searches at their edges, streams.
#include "util/text/byteEx.h"

#include <cstdlib>
#include <gtest/gtest.h>
#include <iomanip>
#include <limits>
#include <random>
#include <sstream>
#include <string>
#include <tuple>

using namespace Quil;

namespace {

using NOT_OWNER = stringEx::NOT_OWNER;
constexpr unsigned int npos = stringEx::npos;

TEST(Buffer, EmptyState) {
    stringEx s;
    EXPECT_EQ(s.capacity(), 0U);
    EXPECT_EQ(s.ref(), nullptr);
    EXPECT_STREQ(s.c_str(), "");
    EXPECT_TRUE(s.begin() == s.end() && s.rbegin() == s.rend());
    EXPECT_FALSE(s.is_static());
    EXPECT_EQ(hash_value(s), 2166136261U);
    EXPECT_EQ(hash_value(wstringEx()), 2166136261U);
    EXPECT_EQ(hash_value(stringEx("a")), 0xE40C292CU);
    s.pop_back();
    EXPECT_TRUE(s.empty());
    EXPECT_EQ(stringEx(static_cast<const char*>(nullptr), NOT_OWNER()).capacity(), 0U);
}

TEST(Buffer, GrowthPolicy) {
    struct CASE {
        unsigned int from, need, narrow, wide;
    };
    for (const CASE& c : {CASE{0, 1, 31, 7}, CASE{100, 100, 100, 100}, CASE{100, 101, 150, 150},
                          CASE{100, 200, 223, 207}, CASE{31, 32, 63, 46}}) {
        stringEx s;
        s.reserve(c.from);
        s._grow(c.need);
        EXPECT_EQ(s.capacity(), c.narrow) << c.from << " to " << c.need;
        wstringEx w;
        w.reserve(c.from);
        w._grow(c.need);
        EXPECT_EQ(w.capacity(), c.wide) << c.from << " to " << c.need;
    }
    stringEx shared(40, 'x');
    stringEx other = shared;
    other._grow(5);
    EXPECT_EQ(other.capacity(), 63U); // the length counts, and all of it came along
    EXPECT_EQ(other, shared);
    EXPECT_NE(other.ref(), shared.ref());

    // A new block has its terminator, whatever was there before it.
    stringEx(24, 'x');
    stringEx fresh;
    EXPECT_TRUE(fresh.reserve(25).has_tail());
    shared.assign(31, 'x'); // no room for a terminator in the rounded length
    other = shared;
    other._grow(1);
    EXPECT_TRUE(other.has_tail() && other.reserve(99).has_tail());
}

// Big blocks come and move by their pages.
TEST(Buffer, BigBlocksKeepTheirContent) {
    constexpr unsigned int LENGTH = 12'000'000;
    wstringEx grown;
    for (unsigned int i = 0; i < LENGTH; ++i) {
        grown.push_back(static_cast<wchar_t>(i));
    }
    wstringEx copy(grown.data(), LENGTH);
    grown.shrink();
    copy.insert(0, L"ab");
    for (unsigned int i = 0; i < LENGTH; ++i) {
        ASSERT_EQ(grown.data()[i], static_cast<wchar_t>(i));
        ASSERT_EQ(copy.data()[i + 2], static_cast<wchar_t>(i));
    }
}

TEST(Buffer, ImpossibleSizesLeaveTheBufferAsItWas) {
    stringEx s("abc");
    EXPECT_THROW(s.append(npos - 1, 'x'), std::bad_alloc);
    EXPECT_THROW(s.insert(1, npos, 'x'), std::bad_alloc);
    EXPECT_THROW(s.reserve(0x1'0000'0000), std::bad_alloc);
    EXPECT_THROW(wstringEx(0x3FFFFFFF, L'x'), std::bad_alloc);
    EXPECT_EQ(s, "abc");
}

TEST(Buffer, CopiesShareUntilChanged) {
    stringEx a("hello");
    stringEx b = a;
    b[0] = 'J'; // raw access reaches the sharer
    EXPECT_EQ(a, "Jello");
    b.at(0) = 'h';
    EXPECT_EQ(a, "Jello");
    EXPECT_THROW(b.at(5), std::out_of_range);

    b = a;
    b.clear();
    EXPECT_EQ(b.capacity(), 1U);
    EXPECT_EQ(a, "Jello");
    EXPECT_EQ(stringEx(a, 0, 99).ref(), a.ref());
    EXPECT_NE(stringEx(a, 0, 4).ref(), a.ref());

    const char* const block = a.data();
    const stringEx moved = std::move(a);
    EXPECT_EQ(moved.data(), block);
    EXPECT_TRUE(a.empty());
}

TEST(Buffer, BytesShareTheirPrefixes) {
    const unsigned char raw[] = {1, 2, 3, 4};
    byteEx a(raw, 4);
    EXPECT_EQ(a.capacity(), 4U);
    byteEx b(a, 0, 2);
    EXPECT_EQ(b.ref(), a.ref());
    EXPECT_EQ(b.length(), 2U);
    b.erase(1);
    EXPECT_EQ(b.ref(), a.ref());
    b.clear();
    EXPECT_EQ(b.ref(), nullptr);
    EXPECT_EQ(b.append(b).append(0U, 1).length(), 0U);
}

TEST(Buffer, ViewsWriteThrough) {
    char memory[16] = "abcdef";
    stringEx view(memory, NOT_OWNER());
    EXPECT_TRUE(view.is_static() && view.has_tail());
    EXPECT_EQ(view.capacity(), stringEx::max_size());
    view.append("gh");
    EXPECT_STREQ(memory, "abcdefgh");
    EXPECT_TRUE(view.is_static());
    view.assign("xy", 2);
    EXPECT_STREQ(memory, "xy");
    stringEx second = view;
    EXPECT_TRUE(second.is_static());
    view.clear();
    EXPECT_EQ(memory[0], 0);

    second.assign(memory + 2, 3, NOT_OWNER());
    EXPECT_FALSE(second.has_tail());
    second.detach_if_static();
    EXPECT_EQ(second.capacity(), 4U);
    second.append("!");
    EXPECT_EQ(memory[5], 'f');
}

TEST(Buffer, ViewOfItselfKeepsTheBlock) {
    stringEx s("  word  ");
    const stringEx sharer = s;
    s.assign(s.c_str() + 3, 2, NOT_OWNER());
    EXPECT_EQ(s, "or");
    EXPECT_FALSE(s.is_static());
    EXPECT_EQ(sharer, "  word  ");

    // A view at the start of the block takes the count over when the owner is assigned to it.
    stringEx owner("0123456789");
    stringEx view = owner.substr_static(0, 4);
    view = owner;
    owner = stringEx();
    EXPECT_EQ(view, "0123456789");
    EXPECT_FALSE(view.is_static());
}

TEST(Buffer, BlocksGivenUpAndAdopted) {
    stringEx s("text");
    char* const block = s.ref();
    s.assign(block, 4, NOT_OWNER());
    EXPECT_TRUE(s.is_static());
    s.bind_to(block, 4, 5); // and taken back
    EXPECT_FALSE(s.is_static());
    EXPECT_EQ(s, "text");
    wstringEx w;
    w.bind_to(std::calloc(3, sizeof(wchar_t)), 8, 12);
    EXPECT_EQ(w.length(), 2U);
    EXPECT_EQ(w.capacity(), 3U);
    w.bind_to(nullptr, 8, 8);
    EXPECT_TRUE(w.empty() && w.capacity() == 0);
}

TEST(Buffer, CopyShrinkResize) {
    char room[4] = "zzz";
    const stringEx s("hello");
    EXPECT_EQ(s.copy(room, 0), 0U);
    EXPECT_EQ(s.copy(room, 1, 0), 0U);
    EXPECT_STREQ(room, "");
    EXPECT_EQ(s.copy(room, 4, 3), 2U);
    EXPECT_STREQ(room, "lo");
    stringEx t(s);
    t.resize(2).shrink();
    EXPECT_EQ(t.capacity(), 3U);
    stringEx view("lit", NOT_OWNER());
    view.shrink();
    EXPECT_TRUE(view.is_static());
}

/// What a change is given: a range of the receiver, and a source with a range of it. `reach` is the
/// count that goes with a pointer to that range.
template <class S>
struct Given {
    unsigned int pos, n;
    const S& source;
    unsigned int from, many, reach;
    typename S::value_type element;

    auto data() const { return source.data() + from; }
    auto first() const { return source.cbegin() + from; }
    auto last() const { return first() + many; }
};

/// Each is done to a string and to a standard one.
const std::tuple CHANGES{
    [](auto& s, auto& g) -> decltype(auto) { return s.append(g.source); },
    [](auto& s, auto& g) -> decltype(auto) { return s.append(g.source, g.from, g.many); },
    [](auto& s, auto& g) -> decltype(auto) { return s.append(g.data(), g.reach); },
    [](auto& s, auto& g) -> decltype(auto) { return s.append(g.first(), g.last()); },
    [](auto& s, auto& g) -> decltype(auto) { return s += g.source; },
    [](auto& s, auto& g) -> decltype(auto) { return s.insert(g.pos, g.source); },
    [](auto& s, auto& g) -> decltype(auto) { return s.insert(g.pos, g.source, g.from, g.many); },
    [](auto& s, auto& g) -> decltype(auto) { return s.insert(g.pos, g.data(), g.reach); },
    [](auto& s, auto& g) -> decltype(auto) {
        return s.insert(s.cbegin() + g.pos, g.first(), g.last());
    },
    [](auto& s, auto& g) -> decltype(auto) { return s.replace(g.pos, g.n, g.source); },
    [](auto& s, auto& g) -> decltype(auto) {
        return s.replace(g.pos, g.n, g.source, g.from, g.many);
    },
    [](auto& s, auto& g) -> decltype(auto) { return s.replace(g.pos, g.n, g.data(), g.reach); },
    [](auto& s, auto& g) -> decltype(auto) {
        return s.replace(s.cbegin() + g.pos, s.cend(), g.first(), g.last());
    },
    [](auto& s, auto& g) -> decltype(auto) { return s.assign(g.source); },
    [](auto& s, auto& g) -> decltype(auto) { return s.assign(g.source, g.from, g.many); },
    [](auto& s, auto& g) -> decltype(auto) { return s.assign(g.data(), g.reach); },
    [](auto& s, auto& g) -> decltype(auto) { return s = g.source; },
    [](auto& s, auto& g) -> decltype(auto) { return s = std::move(s) + g.source; },
    [](auto& s, auto& g) -> decltype(auto) { return s.replace(g.pos, g.n, 3, g.element); },
    [](auto& s, auto& g) -> decltype(auto) { return s.insert(s.cbegin() + g.pos, 2, g.element); },
    [](auto& s, auto& g) -> decltype(auto) { return s.erase(g.pos, g.n); },
    [](auto& s, auto& g) -> decltype(auto) { return s.resize(g.n, g.element); },
    [](auto& s, auto& g) -> decltype(auto) { return s.push_back(g.element); },
    [](auto& s, auto& g) -> decltype(auto) { return s.reserve(g.n); },
    [](auto& s, auto&) -> decltype(auto) { return s.clear(); },
};

/// Strings that share blocks and look into each other, and what each must be.
template <class S>
class Changes : public testing::Test {
protected:
    using T = typename S::value_type;
    using Model = std::basic_string<T>;

    unsigned int Below(std::size_t n) { return static_cast<unsigned int>(_random() % n); }
    static Model Of(const S& s) { return {s.data(), s.length()}; }

    /// A random change of `s`, of which the answer must be `s` itself.
    void Change(S& s, Model& model, const S& source) {
        const Model copy = Of(source);
        const unsigned int pos = Below(s.length() + 1), n = Below(s.length() + 2);
        const unsigned int from = Below(copy.size() + 1);
        const unsigned int many = Below(copy.size() - from + 1);
        const T* const first = source.data() + from;
        const auto left = static_cast<unsigned int>(s.data() + s.length() - first);
        const unsigned int reach = s._is_inside(first) ? std::min(many, left) : many;
        const T element = static_cast<T>('a' + Below(26));
        const Given<S> given{pos, n, source, from, many, many, element};
        const Given<Model> modelled{pos, n, copy, from, many, reach, element};
        _change = Below(std::tuple_size_v<decltype(CHANGES)>);
        std::size_t i = 0;
        const auto apply = [&](const auto& change) {
            if (i++ == _change) {
                change(model, modelled);
                S& answer = change(s, given);
                EXPECT_EQ(&answer, &s);
            }
        };
        std::apply([&](const auto&... change) { (apply(change), ...); }, CHANGES);
    }

    std::mt19937 _random{7};
    std::size_t _change = 0;
};
using Classes = testing::Types<stringEx, wstringEx, byteEx>;
TYPED_TEST_SUITE(Changes, Classes);

TYPED_TEST(Changes, AgreeWithAStandardString) {
    using S = TypeParam;
    S strings[3];
    typename TestFixture::Model models[3];
    for (int round = 0; round < 40000; ++round) {
        for (unsigned int i = 0; i < 3; ++i) {
            if (strings[i].length() > 60) {
                strings[i].erase(20), models[i].erase(20);
            }
        }
        const unsigned int i = this->Below(3), other = this->Below(3);
        S& s = strings[i];
        if (this->Below(3) == 0) { // a common block, and perhaps the shorter one's
            const unsigned int n = this->Below(2) == 0 ? npos : this->Below(60);
            s = strings[other].substr(0, n), models[i] = models[other].substr(0, n);
        }
        const S view = strings[other].substr_static(this->Below(9), this->Below(60));
        const S sharer = strings[other].substr(0, this->Below(60));
        const bool isCut = this->Below(4) == 0;
        if (isCut) { // the view may now look behind the end
            s.set_length(this->Below(s.length() + 1)), models[i].resize(s.length());
        }
        const unsigned int kind = this->Below(3);
        this->Change(s, models[i], kind == 0 ? strings[other] : kind == 1 ? view : sharer);
        s.detach_if_static();
        if (isCut) {
            s.detach();
        }
        for (unsigned int k = 0; k < 3; ++k) {
            ASSERT_EQ(this->Of(strings[k]), models[k]) << round << " change " << this->_change;
        }
        ASSERT_TRUE(S::sm_tail == 0 || s.ref() == nullptr || s.has_tail()) << this->_change;
    }
}

TYPED_TEST(Changes, AgreeThroughAView) {
    using S = TypeParam;
    using T = typename S::value_type;
    for (int round = 0; round < 10000; ++round) {
        T room[512];
        std::generate(std::begin(room), std::end(room),
                      [&] { return static_cast<T>('a' + this->Below(26)); });
        S view(room + 64, this->Below(60), typename S::NOT_OWNER());
        const S source(room + this->Below(128), this->Below(60), typename S::NOT_OWNER());
        typename TestFixture::Model model = this->Of(view);
        this->Change(view, model, source);
        ASSERT_EQ(this->Of(view), model) << round << " change " << this->_change;
    }
}

TEST(Buffer, SearchesAgreeWithAStandardString) {
    std::mt19937 random(11);
    const auto word = [&](unsigned int limit) {
        std::string s(random() % limit, ' ');
        std::generate(s.begin(), s.end(), [&] { return static_cast<char>('a' + random() % 3); });
        return s;
    };
    const auto same = [](std::size_t expected, unsigned int found) {
        return expected == std::string::npos ? found == npos : expected == found;
    };
    for (int round = 0; round < 5000; ++round) {
        const std::string text = word(20), what = word(4);
        const std::size_t at = random() % 22 == 0 ? std::string::npos : random() % 22;
        const auto pos = static_cast<unsigned int>(at);
        const stringEx s(text.c_str()), t(what.c_str());
        wstringEx w, v;
        w << s, v << t;
        const std::string note = text + " " + what + " " + std::to_string(pos);
        ASSERT_TRUE(same(text.find(what, at), s.find(t, pos))) << note;
        ASSERT_TRUE(same(text.rfind(what, at), s.rfind(t, pos))) << note;
        ASSERT_TRUE(same(text.find_first_of(what, at), s.find_first_of(t, pos))) << note;
        ASSERT_TRUE(same(text.find_first_not_of(what, at), s.find_first_not_of(t, pos))) << note;
        ASSERT_TRUE(same(text.find_last_of(what, at), s.find_last_of(t, pos))) << note;
        ASSERT_TRUE(same(text.find_last_not_of(what, at), s.find_last_not_of(t, pos))) << note;
        ASSERT_EQ(w.find(v, pos), s.find(t, pos)) << note;
        ASSERT_EQ(w.rfind(v, pos), s.rfind(t, pos)) << note;
        ASSERT_EQ(text.compare(what) < 0, s < t) << note;
        ASSERT_EQ(text.compare(what) < 0, w < v) << note;
    }
}

TEST(Buffer, ComparesByUnsignedValue) {
    const wchar_t negative[] = {static_cast<wchar_t>(-1), 0};
    EXPECT_GT(wstringEx(negative), wstringEx(L"z"));
    EXPECT_GT(stringEx("\xE9"), "z");
    stringEx a("same");
    stringEx b = a;
    b.set_length(2);
    EXPECT_EQ(a.compare(b), 1);
    EXPECT_EQ(a.compare(1, 2, "am"), 0);
    EXPECT_EQ(stringEx("ab") + "cd" + 'e', "abcde");
    EXPECT_EQ((stringEx("ab") + stringEx("c")).capacity(), 4U);
    const stringEx part = a.substr_static(1, 2);
    EXPECT_EQ(std::move(a) + part, "sameam");
}

TEST(Buffer, Streams) {
    std::ostringstream out;
    const stringEx s("ab\0c", 4);
    out << std::setw(6) << std::setfill('*') << s << '|' << std::left << std::setw(6) << s << '|'
        << s;
    EXPECT_EQ(out.str(), std::string("**ab\0c|ab\0c**|ab\0c", 18));

    std::istringstream in("  one two\n\nlast");
    stringEx word;
    in >> std::setw(2) >> word;
    EXPECT_EQ(word, "on");
    in >> word;
    EXPECT_EQ(word, "e");
    getline(in, word);
    EXPECT_EQ(word, " two");
    getline(in, word);
    EXPECT_TRUE(word.empty() && in.good());
    getline(in, word);
    EXPECT_TRUE(word == "last" && in.eof() && !in.fail());
    in >> word;
    EXPECT_TRUE(in.fail());

    std::wistringstream wide(L"x;y");
    wstringEx field;
    getline(wide, field, L';');
    EXPECT_EQ(field, L"x");
}

} // namespace
