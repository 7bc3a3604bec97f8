// The buffer: growth, sharing, views, self-aliasing changes against a standard string, searches at
// their edges, streams.
#include "util/text/byteEx.h"

#include <cstdlib>
#include <gtest/gtest.h>
#include <iomanip>
#include <limits>
#include <random>
#include <sstream>

using namespace Quil;

namespace {

using NOT_OWNER = stringEx::NOT_OWNER;
constexpr unsigned int npos = stringEx::npos;

std::string Text(const stringEx& s) {
    return {s.data(), s.length()};
}

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
    EXPECT_EQ(a.ref(), b.ref());
    b.append("!");
    EXPECT_EQ(a, "hello");
    EXPECT_EQ(b, "hello!");

    b = a;
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
    b.push_back(9);
    EXPECT_EQ(a[1], 2);
    b = a;
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
    const auto fresh = [] { return stringEx("  word  "); };
    stringEx s = fresh();
    s = s.trim_right_static();
    EXPECT_EQ(s, "  word");
    EXPECT_FALSE(s.is_static());
    s = s.substr_static(2, 3);
    EXPECT_EQ(s, "wor");
    s = s.substr_static(3); // the empty end of the own block
    EXPECT_EQ(s.append("x"), "x");
    s = fresh();
    const stringEx sharer = s;
    const stringEx middle = s.substr_static(2, 4);
    s.assign(middle);
    EXPECT_EQ(s, "word");
    EXPECT_EQ(sharer, fresh());
    s.assign(s.c_str() + 1, 2, NOT_OWNER());
    EXPECT_EQ(s, "or");
    EXPECT_FALSE(s.is_static());

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
    t.resize(7, '!');
    EXPECT_EQ(t, "hello!!");
    t.resize(2);
    EXPECT_TRUE(t == "he" && t.has_tail());
    t.shrink();
    EXPECT_EQ(t.capacity(), 3U);
    stringEx view("lit", NOT_OWNER());
    view.shrink();
    EXPECT_TRUE(view.is_static());
}

// Random changes, most of them with a part of the string itself as argument, done to a string and
// to a standard one. Shared and unshared receivers take turns.
TEST(Buffer, ChangesAgreeWithAStandardString) {
    std::mt19937 random(7);
    const auto pick = [&](unsigned int n) { return static_cast<unsigned int>(random() % (n + 1)); };
    stringEx s;
    std::string model;
    for (int round = 0; round < 20000; ++round) {
        if (model.size() > 60) {
            s.erase(20);
            model.erase(20);
        }
        const auto n = static_cast<unsigned int>(model.size());
        const unsigned int pos = pick(n), count = pick(n), from = pick(n), many = pick(n);
        const stringEx sharer = random() % 4 == 0 ? s : stringEx();
        const std::string before = Text(sharer);
        const std::string part = model.substr(from, many);
        const auto partLength = static_cast<unsigned int>(part.size());
        switch (random() % 9) {
        case 0:
            s.append(s, from, many), model.append(part);
            break;
        case 1:
            s.append(s.data() + from, partLength), model.append(part);
            break;
        case 2:
            s.insert(pos, s, from, many), model.insert(pos, part);
            break;
        case 3:
            s.insert(pos, s.data() + from, partLength), model.insert(pos, part);
            break;
        case 4:
            s.replace(pos, count, s, from, many), model.replace(pos, count, part);
            break;
        case 5:
            s.replace(pos, count, s.substr_static(from, many)), model.replace(pos, count, part);
            break;
        case 6:
            s.replace(pos, count, 3, 'x'), model.replace(pos, count, 3, 'x');
            break;
        case 7:
            s.append("abcdefgh", 5).erase(pos, count), model.append("abcde").erase(pos, count);
            break;
        default:
            s.assign(s.data() + from, partLength), model = part;
        }
        ASSERT_EQ(Text(s), model);
        ASSERT_TRUE(s.empty() || s.has_tail());
        ASSERT_EQ(Text(sharer), before);
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
