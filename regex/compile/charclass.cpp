// Named classes, ranges, case variants and named characters, for both character types.

#include "regex/compile/charclass.h"

#include "regex/data/class_data.h"
#include "regex/uni_data.h"

#include <algorithm>
#include <bitset>
#include <cctype>
#include <clocale>
#include <cstring>
#include <span>
#include <string_view>

namespace Quil::IMPL::engine {

namespace {

// The lists that no category gives. All are ASCII but for the wide cntrl and space.
constexpr ClassRange ASCII_RANGES[] = {{0, 0x7F}};
constexpr ClassRange LETTER_RANGES[] = {{'A', 'Z'}, {'a', 'z'}};
constexpr ClassRange LOWER_RANGES[] = {{'a', 'z'}};
constexpr ClassRange UPPER_RANGES[] = {{'A', 'Z'}};
constexpr ClassRange FIGURE_RANGES[] = {{'0', '9'}};
constexpr ClassRange XDIGIT_RANGES[] = {{'0', '9'}, {'a', 'f'}, {'A', 'F'}};
constexpr ClassRange PUNCT_RANGES[] = {{'!', '/'}, {':', '@'}, {'[', '`'}, {'{', '~'}};
constexpr ClassRange GRAPH_RANGES[] = {{'!', '~'}};
constexpr ClassRange PRINT_RANGES[] = {{' ', '~'}};
constexpr std::uint16_t BLANK_SINGLES[] = {'\t', ' '};
constexpr std::uint16_t SPACE_SINGLES[] = {' '};
constexpr ClassRange SPACE_RANGES[] = {{'\t', '\r'}};
constexpr std::uint16_t CNTRL_SINGLES[] = {0x7F};
constexpr ClassRange CNTRL_RANGES[] = {{1, 0x1F}};
constexpr std::uint16_t WIDE_SPACE_SINGLES[] = {0x20, 0xA0, 0x1680, 0x2028, 0x2029, 0x202F, 0x3000};
constexpr ClassRange WIDE_SPACE_RANGES[] = {{9, 0xD}, {0x2000, 0x200B}};
constexpr ClassRange WIDE_CNTRL_RANGES[] = {{0, 0x1F}, {0x7F, 0x9F}};

constexpr ClassList ASCII_LIST = {{}, ASCII_RANGES};
constexpr ClassList LETTER_LIST = {{}, LETTER_RANGES};
constexpr ClassList ASCII_LOWER_LIST = {{}, LOWER_RANGES};
constexpr ClassList ASCII_UPPER_LIST = {{}, UPPER_RANGES};
constexpr ClassList FIGURE_LIST = {{}, FIGURE_RANGES};
constexpr ClassList XDIGIT_LIST = {{}, XDIGIT_RANGES};
constexpr ClassList ASCII_PUNCT_LIST = {{}, PUNCT_RANGES};
constexpr ClassList ASCII_GRAPH_LIST = {{}, GRAPH_RANGES};
constexpr ClassList ASCII_PRINT_LIST = {{}, PRINT_RANGES};
constexpr ClassList BLANK_LIST = {BLANK_SINGLES, {}};
constexpr ClassList SPACE_LIST = {SPACE_SINGLES, SPACE_RANGES};
constexpr ClassList CNTRL_LIST = {CNTRL_SINGLES, CNTRL_RANGES};
constexpr ClassList WIDE_SPACE_LIST = {WIDE_SPACE_SINGLES, WIDE_SPACE_RANGES};
constexpr ClassList WIDE_CNTRL_LIST = {{}, WIDE_CNTRL_RANGES};

/// A class: the union of its lists, or in a locale that has characters of its own those which pass
/// the test of the C library.
struct classrow {
    std::string_view name;
    const ClassList* members[2]; // the second may be null
    int (*test)(int);

    std::span<const ClassList* const> lists() const { return {members, members[1] ? 2U : 1U}; }
};

// print has neither punctuation nor blanks: programs rely on its being alnum.
const classrow wideClasses[] = {
    {"alnum", {&alphaList, &digitList}, nullptr},
    {"alpha", {&alphaList}, nullptr},
    {"ascii", {&ASCII_LIST}, nullptr},
    {"blank", {&BLANK_LIST}, nullptr},
    {"cntrl", {&WIDE_CNTRL_LIST}, nullptr},
    {"digit", {&digitList}, nullptr},
    {"graph", {&graphList}, nullptr},
    {"lower", {&lowerList}, nullptr},
    {"print", {&alphaList, &digitList}, nullptr},
    {"punct", {&punctList}, nullptr},
    {"space", {&WIDE_SPACE_LIST}, nullptr},
    {"upper", {&upperList}, nullptr},
    {"xdigit", {&XDIGIT_LIST}, nullptr},
};

const classrow narrowClasses[] = {
    {"alnum", {&LETTER_LIST, &FIGURE_LIST}, std::isalnum},
    {"alpha", {&LETTER_LIST}, std::isalpha},
    {"blank", {&BLANK_LIST}, nullptr},
    {"cntrl", {&CNTRL_LIST}, std::iscntrl},
    {"digit", {&FIGURE_LIST}, std::isdigit},
    {"graph", {&ASCII_GRAPH_LIST}, std::isgraph},
    {"lower", {&ASCII_LOWER_LIST}, std::islower},
    {"print", {&ASCII_PRINT_LIST}, std::isprint},
    {"punct", {&ASCII_PUNCT_LIST}, std::ispunct},
    {"space", {&SPACE_LIST}, std::isspace},
    {"upper", {&ASCII_UPPER_LIST}, std::isupper},
    {"xdigit", {&XDIGIT_LIST}, std::isxdigit},
};

std::span<const classrow> classtable(wchar_t) {
    return wideClasses;
}
std::span<const classrow> classtable(char) {
    return narrowClasses;
}

struct charname {
    std::string_view name;
    char code;
};

// clang-format off
constexpr charname CHARNAMES[] = {
    {"NUL", 0}, {"SOH", 1}, {"STX", 2}, {"ETX", 3}, {"EOT", 4}, {"ENQ", 5}, {"ACK", 6}, {"BEL", 7},
    {"alert", 7}, {"BS", 8}, {"backspace", 8}, {"HT", 9}, {"tab", 9}, {"LF", 10}, {"newline", 10},
    {"VT", 11}, {"vertical-tab", 11}, {"FF", 12}, {"form-feed", 12}, {"CR", 13},
    {"carriage-return", 13}, {"SO", 14}, {"SI", 15}, {"DLE", 16}, {"DC1", 17}, {"DC2", 18},
    {"DC3", 19}, {"DC4", 20}, {"NAK", 21}, {"SYN", 22}, {"ETB", 23}, {"CAN", 24}, {"EM", 25},
    {"SUB", 26}, {"ESC", 27}, {"IS4", 28}, {"FS", 28}, {"IS3", 29}, {"GS", 29}, {"IS2", 30},
    {"RS", 30}, {"IS1", 31}, {"US", 31}, {"space", ' '}, {"exclamation-mark", '!'},
    {"quotation-mark", '"'}, {"number-sign", '#'}, {"dollar-sign", '$'}, {"percent-sign", '%'},
    {"ampersand", '&'}, {"apostrophe", '\''}, {"left-parenthesis", '('}, {"right-parenthesis", ')'},
    {"asterisk", '*'}, {"plus-sign", '+'}, {"comma", ','}, {"hyphen", '-'}, {"hyphen-minus", '-'},
    {"period", '.'}, {"full-stop", '.'}, {"slash", '/'}, {"solidus", '/'}, {"zero", '0'},
    {"one", '1'}, {"two", '2'}, {"three", '3'}, {"four", '4'}, {"five", '5'}, {"six", '6'},
    {"seven", '7'}, {"eight", '8'}, {"nine", '9'}, {"colon", ':'}, {"semicolon", ';'},
    {"less-than-sign", '<'}, {"equals-sign", '='}, {"greater-than-sign", '>'},
    {"question-mark", '?'}, {"commercial-at", '@'}, {"left-square-bracket", '['},
    {"backslash", '\\'}, {"reverse-solidus", '\\'}, {"right-square-bracket", ']'},
    {"circumflex", '^'}, {"circumflex-accent", '^'}, {"underscore", '_'}, {"low-line", '_'},
    {"grave-accent", '`'}, {"left-brace", '{'}, {"left-curly-bracket", '{'},
    {"vertical-line", '|'}, {"right-brace", '}'}, {"right-curly-bracket", '}'}, {"tilde", '~'},
    {"DEL", 127},
};
// clang-format on

template <class chr>
bool named(std::string_view name, const chr* start, const chr* end) {
    return static_cast<std::size_t>(end - start) == name.size() &&
           std::equal(start, end, name.begin());
}

template <class chr>
void addlist(cvec<chr>& cv, const ClassList& list) {
    for (const std::uint16_t c : list.singles) {
        cv.add(static_cast<chr>(c));
    }
    for (const ClassRange& r : list.ranges) {
        cv.add(static_cast<chr>(r.first), static_cast<chr>(r.last));
    }
}

/// A set of cells of the color map.
template <class chr>
class cellset {
public:
    void add(chr c) { __cells[chrtraits<chr>::index(c)] = true; }

    /// Calls `found` for each maximal run of cells that are in the set, as a range.
    template <class Found>
    void eachrun(Found found) const {
        constexpr std::size_t NCHRS = chrtraits<chr>::NCHRS;
        for (std::size_t i = 0; i < NCHRS; ++i) {
            if (!__cells[i]) {
                continue;
            }
            const std::size_t first = i;
            while (i + 1 < NCHRS && __cells[i + 1]) {
                ++i;
            }
            found(first, i);
        }
    }

private:
    std::bitset<chrtraits<chr>::NCHRS> __cells;
};

/// The characters from `first` to `last` with all case variants of each. They are many, but lie
/// side by side: as runs the color map takes them by whole blocks.
template <class chr>
const cvec<chr>* foldedrange(vars<chr>* v, chr first, chr last) {
    using traits = chrtraits<chr>;
    cellset<chr> cells;
    for (chr c = first;; ++c) {
        cells.add(c);
        cells.add(traits::tolower(c));
        cells.add(traits::toupper(c));
        cells.add(traits::totitle(c));
        if (c == last) {
            break;
        }
    }
    std::size_t runs = 0;
    cells.eachrun([&](std::size_t, std::size_t) { ++runs; });
    cvec<chr>* const cv = getcvec(v, 0, runs);
    if (!cv) {
        return nullptr;
    }
    cells.eachrun([&](std::size_t from, std::size_t to) {
        cv->add(static_cast<chr>(from), static_cast<chr>(to));
    });
    return cv;
}

/// Whether the C library speaks for more than ASCII.
bool haslocale() {
    const char* const locale = std::setlocale(LC_CTYPE, nullptr);
    return locale && std::strcmp(locale, "C") != 0;
}

/// The characters that pass a test of the C library.
template <class chr>
const cvec<chr>* tested(vars<chr>* v, int (*test)(int)) {
    constexpr int CHARACTERS = 256;
    cvec<chr>* const cv = getcvec(v, CHARACTERS, 0);
    if (cv) {
        for (int i = 0; i < CHARACTERS; ++i) {
            if (test(i)) {
                cv->add(static_cast<chr>(i));
            }
        }
    }
    return cv;
}

} // namespace

template <class chr>
cvec<chr>* getcvec(vars<chr>* v, std::size_t nchrs, std::size_t nranges) {
    constexpr std::size_t LEASTCHRS = 100;
    constexpr std::size_t LEASTRANGES = 20;
    if (!v->cv || v->cv->chrspace < nchrs || v->cv->rangespace < nranges) {
        auto* const cv = v->mem.template array<cvec<chr>>(1);
        nchrs = std::max({nchrs, LEASTCHRS, v->cv ? v->cv->chrspace * 2 : 0});
        nranges = std::max({nranges, LEASTRANGES, v->cv ? v->cv->rangespace * 2 : 0});
        if (cv) {
            cv->chrs = v->mem.template array<chr>(cv->chrspace = nchrs);
            cv->ranges = v->mem.template array<crange<chr>>(cv->rangespace = nranges);
        }
        if (!cv || !cv->chrs || !cv->ranges) {
            seterr(v, REG_ESPACE);
            return nullptr;
        }
        v->cv = cv;
    }
    v->cv->nchrs = v->cv->nranges = 0;
    return v->cv;
}

template <class chr>
const cvec<chr>* cclass(vars<chr>* v, const chr* start, const chr* end, bool cases) {
    const std::span<const classrow> table = classtable(chr());
    const bool folded = cases && (named("lower", start, end) || named("upper", start, end));
    const auto row = std::find_if(table.begin(), table.end(), [&](const classrow& candidate) {
        return folded ? candidate.name == "alpha" : named(candidate.name, start, end);
    });
    if (row == table.end()) {
        seterr(v, REG_ECTYPE);
        return nullptr;
    }
    if (row->test && haslocale()) {
        return tested<chr>(v, row->test);
    }
    const std::span<const ClassList* const> lists = row->lists();
    std::size_t singles = 0, ranges = 0;
    for (const ClassList* list : lists) {
        singles += list->singles.size();
        ranges += list->ranges.size();
    }
    cvec<chr>* const cv = getcvec(v, singles, ranges);
    if (cv) {
        for (const ClassList* list : lists) {
            addlist(*cv, *list);
        }
    }
    return cv;
}

template <class chr>
const cvec<chr>* eclass(vars<chr>* v, chr c, bool cases) {
    constexpr std::size_t FAKEMEMBERS = 4;
    const bool faked = (v->cflags & REG_FAKE) && c == 'x';
    if (cases && !faked) {
        return allcases(v, c);
    }
    cvec<chr>* const cv = getcvec(v, FAKEMEMBERS, 0);
    if (!cv) {
        return nullptr;
    }
    cv->add(c);
    if (faked) {
        cv->add('y');
    }
    if (faked && cases) {
        cv->add('X');
        cv->add('Y');
    }
    return cv;
}

template <class chr>
const cvec<chr>* range(vars<chr>* v, chr first, chr last, bool cases) {
    const celt from = chrtraits<chr>::order(first);
    const celt to = chrtraits<chr>::order(last);
    if (from > to) {
        seterr(v, REG_ERANGE);
        return nullptr;
    }
    // A range as long as the map is the whole map, whatever the case of its members.
    const bool whole = std::int64_t{to} - from >= std::int64_t{chrtraits<chr>::NCHRS} - 1;
    if (cases && !whole) {
        return foldedrange(v, first, last);
    }
    cvec<chr>* const cv = getcvec(v, 0, 1);
    if (cv) {
        cv->add(first, last);
    }
    return cv;
}

template <class chr>
const cvec<chr>* allcases(vars<chr>* v, chr c) {
    constexpr std::size_t CASES = 3;
    cvec<chr>* const cv = getcvec(v, CASES, 0);
    if (!cv) {
        return nullptr;
    }
    const chr lower = chrtraits<chr>::tolower(c);
    const chr upper = chrtraits<chr>::toupper(c);
    const chr title = chrtraits<chr>::totitle(c);
    if (title != upper) {
        cv->add(title);
    }
    cv->add(lower);
    if (upper != lower) {
        cv->add(upper);
    }
    return cv;
}

template <class chr>
chr element(vars<chr>* v, const chr* start, const chr* end) {
    if (end - start == 1) {
        return *start;
    }
    note(v, REG_ULOCALE);
    for (const charname& row : CHARNAMES) {
        if (named(row.name, start, end)) {
            return static_cast<chr>(row.code);
        }
    }
    seterr(v, REG_ECOLLATE);
    return 0;
}

template <class chr>
int cmp(const chr* a, const chr* b, std::size_t length) {
    return length == 0 ? 0 : std::memcmp(a, b, length * sizeof(chr));
}

template <class chr>
int casecmp(const chr* a, const chr* b, std::size_t length) {
    for (std::size_t i = 0; i < length; ++i) {
        if (a[i] != b[i] && chrtraits<chr>::tolower(a[i]) != chrtraits<chr>::tolower(b[i])) {
            return 1;
        }
    }
    return 0;
}

template cvec<char>* getcvec(vars<char>*, std::size_t, std::size_t);
template const cvec<char>* cclass(vars<char>*, const char*, const char*, bool);
template const cvec<char>* eclass(vars<char>*, char, bool);
template const cvec<char>* range(vars<char>*, char, char, bool);
template const cvec<char>* allcases(vars<char>*, char);
template char element(vars<char>*, const char*, const char*);
template int cmp(const char*, const char*, std::size_t);
template int casecmp(const char*, const char*, std::size_t);

template cvec<wchar_t>* getcvec(vars<wchar_t>*, std::size_t, std::size_t);
template const cvec<wchar_t>* cclass(vars<wchar_t>*, const wchar_t*, const wchar_t*, bool);
template const cvec<wchar_t>* eclass(vars<wchar_t>*, wchar_t, bool);
template const cvec<wchar_t>* range(vars<wchar_t>*, wchar_t, wchar_t, bool);
template const cvec<wchar_t>* allcases(vars<wchar_t>*, wchar_t);
template wchar_t element(vars<wchar_t>*, const wchar_t*, const wchar_t*);
template int cmp(const wchar_t*, const wchar_t*, std::size_t);
template int casecmp(const wchar_t*, const wchar_t*, std::size_t);
template int cmp(const unsigned char*, const unsigned char*, std::size_t);
template int casecmp(const unsigned char*, const unsigned char*, std::size_t);

} // namespace Quil::IMPL::engine
