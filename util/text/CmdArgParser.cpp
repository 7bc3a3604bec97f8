// Sorting is one pass over the raw texts; everything else looks at its result. A flat line is first
// brought to raw texts: white space inside quotes is escaped, the quotes go, the line is cut at
// what white space is left, and each piece is un-escaped.
#include "util/text/CmdArgParser.h"

#include "util/text/ConvStr.h"

namespace Quil {

namespace {

bool EqualExact(const stringEx& a, const stringEx& b) {
    return a == b;
}

bool EqualNoCase(const stringEx& a, const stringEx& b) {
    return a.equal_no_case(b);
}

/// NUL can't stand on a command line, so it is free to mark protected white space.
constexpr char PROTECTED = '\0';

/// White space characters and the codes that stand for them while a flat line is cut.
using PROTECTION_TABLE = const stringEx[6][2];

/// Escapes the white space of each quoted stretch of `line`, the quotes staying where they are.
void ProtectQuoted(stringEx& line, PROTECTION_TABLE& table) {
    std::vector<std::pair<unsigned int, unsigned int>> fields;
    line.get_all_fields(fields, "\"");
    unsigned int shift = 0; // how much longer earlier rewrites made the line
    for (std::size_t i = 1; i < fields.size(); i += 2) {
        const auto [start, length] = fields[i];
        stringEx quoted(line, start + shift, length);
        quoted.escape_translate(PROTECTED, table, true);
        line.replace(start + shift, length, quoted);
        shift += quoted.length() - length;
    }
}

} // namespace

CCmdArgParser::CCmdArgParser(const stringEx& prefix, const stringEx& suffix, unsigned int first)
    : __prefix(prefix), __suffix(suffix), __first(first) {}

template <class Get>
int CCmdArgParser::__ParseEach(std::size_t count, Get get) {
    if (count == 0) {
        return 0;
    }
    __arguments.assign(count, ARG());
    for (std::size_t i = 0; i < count; ++i) {
        ConvStrSToT(__arguments[i].raw, get(i));
    }
    return __ReParse();
}

int CCmdArgParser::Parse(int argc, const char* const* argv) {
    return __ParseEach(static_cast<std::size_t>(argc),
                       [argv](std::size_t i) { return stringEx(argv[i]); });
}

int CCmdArgParser::Parse(int argc, const wchar_t* const* argv) {
    return __ParseEach(static_cast<std::size_t>(argc),
                       [argv](std::size_t i) { return wstringEx(argv[i]); });
}

int CCmdArgParser::Parse(const std::vector<stringEx>& arguments) {
    return __ParseEach(arguments.size(),
                       [&](std::size_t i) -> const stringEx& { return arguments[i]; });
}

int CCmdArgParser::Parse(const std::vector<wstringEx>& arguments) {
    return __ParseEach(arguments.size(),
                       [&](std::size_t i) -> const wstringEx& { return arguments[i]; });
}

int CCmdArgParser::Parse(const stringEx& line) {
    return _Parse(ConvStrSToT(line));
}

int CCmdArgParser::Parse(const wstringEx& line) {
    return _Parse(ConvStrSToT(line));
}

int CCmdArgParser::_Parse(stringEx line) {
    line.detach_if_static();
    line.trim_right();
    line.trim_left();
    if (line.empty()) {
        return 0;
    }
    __arguments.clear();
    PROTECTION_TABLE table = {{"\t", "09"}, {"\n", "0A"}, {"\v", "0B"},
                              {"\r", "0D"}, {" ", "20"},  {"", ""}};
    ProtectQuoted(line, table);
    line.find_replace("\"", stEMPTY, 0, true);
    line.shrink_set("\t\v\n\r ", " ", 0, true);

    std::vector<std::pair<unsigned int, unsigned int>> fields;
    line.get_all_fields(fields, " ");
    __arguments.resize(fields.size());
    for (std::size_t i = 0; i < fields.size(); ++i) {
        stringEx& raw = __arguments[i].raw;
        raw.assign(line, fields[i].first, fields[i].second);
        raw.escape_restore(PROTECTED, table, true, false);
    }
    return __ReParse();
}

int CCmdArgParser::Reset(unsigned int first) {
    __first = first;
    return __arguments.empty() ? 1 : __ReParse();
}

int CCmdArgParser::Reset(const stringEx& prefix, const stringEx& suffix) {
    return Reset(prefix, suffix, __first);
}

int CCmdArgParser::Reset(const stringEx& prefix, const stringEx& suffix, unsigned int first) {
    __prefix = prefix;
    __suffix = suffix;
    return Reset(first);
}

int CCmdArgParser::__ReParse() {
    if (__arguments.empty() || __prefix.empty()) {
        return 0;
    }
    __switchCount = 0;
    for (std::size_t i = 0; i < __arguments.size(); ++i) {
        ARG& argument = __arguments[i];
        argument.name.clear();
        argument.value.clear();
        if (i >= __first && argument.raw.begin_with_set(__prefix)) {
            __Sort(argument, __suffix);
            ++__switchCount;
        }
    }
    return 1;
}

void CCmdArgParser::__Sort(ARG& argument, const stringEx& suffix) {
    const stringEx body = argument.raw.substr(1);
    const unsigned int end = body.find_first_of(suffix, 0);
    argument.name.assign(body, 0, end);
    if (end != stringEx::npos && end + 1 < body.length()) {
        argument.value.assign(body, end + 1, stringEx::npos);
    }
}

unsigned int CCmdArgParser::Merge(const CCmdArgParser& other) {
    const std::size_t end = other.__arguments.size();
    if (other.__first >= end) {
        return 0;
    }
    // By index and after a reservation, so that a parser may be merged into itself.
    const std::size_t count = end - other.__first;
    __arguments.reserve(__arguments.size() + count);
    for (std::size_t i = other.__first; i < end; ++i) {
        __arguments.push_back(other.__arguments[i]);
    }
    return static_cast<unsigned int>(count);
}

bool CCmdArgParser::__IsInRange(unsigned int i) const {
    return i >= __first && i < __arguments.size();
}

bool CCmdArgParser::IsSwitch(unsigned int i) const {
    return __IsInRange(i) && !__arguments[i].name.empty();
}

bool CCmdArgParser::IsNoneSwitch(unsigned int i) const {
    return __IsInRange(i) && __arguments[i].name.empty();
}

stringEx CCmdArgParser::GetSwitchName(unsigned int i) const {
    return __IsInRange(i) ? __arguments[i].name : stEMPTY;
}

stringEx CCmdArgParser::GetSwitchValue(unsigned int i) const {
    return __IsInRange(i) ? __arguments[i].value : stEMPTY;
}

unsigned int CCmdArgParser::__CountSwitch(const stringEx& name, EQUAL equal) const {
    unsigned int count = 0;
    for (std::size_t i = __first; i < __arguments.size() && !name.empty(); ++i) {
        count += equal(__arguments[i].name, name) ? 1 : 0;
    }
    return count;
}

unsigned int CCmdArgParser::__FindSwitch(const stringEx& name, unsigned int nth,
                                         EQUAL equal) const {
    for (std::size_t i = __first; i < __arguments.size() && !name.empty(); ++i) {
        if (equal(__arguments[i].name, name) && nth-- == 0) {
            return static_cast<unsigned int>(i);
        }
    }
    return NOT_FOUND;
}

unsigned int CCmdArgParser::GetSwitchCount(const stringEx& name) const {
    return __CountSwitch(name, EqualExact);
}

unsigned int CCmdArgParser::GetSwitchCountNoCase(const stringEx& name) const {
    return __CountSwitch(name, EqualNoCase);
}

unsigned int CCmdArgParser::GetSwitchPos(const stringEx& name, unsigned int nth) const {
    return __FindSwitch(name, nth, EqualExact);
}

unsigned int CCmdArgParser::GetSwitchPosNoCase(const stringEx& name, unsigned int nth) const {
    return __FindSwitch(name, nth, EqualNoCase);
}

bool CCmdArgParser::IsSwitchExistNoCase(const stringEx& name) const {
    return GetSwitchPosNoCase(name, 0) != NOT_FOUND;
}

stringEx CCmdArgParser::GetSwitch(const stringEx& name, unsigned int nth) const {
    return GetSwitchValue(GetSwitchPos(name, nth));
}

stringEx CCmdArgParser::GetSwitchNoCase(const stringEx& name, unsigned int nth) const {
    return GetSwitchValue(GetSwitchPosNoCase(name, nth));
}

stringEx CCmdArgParser::GetNoneSwitch(unsigned int nth) const {
    if (nth >= GetNoneSwitchCount()) {
        return stEMPTY;
    }
    for (std::size_t i = __first; i < __arguments.size(); ++i) {
        if (__arguments[i].name.empty() && nth-- == 0) {
            return __arguments[i].raw;
        }
    }
    return stEMPTY;
}

std::vector<stringEx> CCmdArgParser::GetNoneSwitches() const {
    const std::size_t count = GetNoneSwitchCount();
    std::vector<stringEx> words;
    for (std::size_t i = __first; i < __arguments.size() && words.size() < count; ++i) {
        if (__arguments[i].name.empty()) {
            words.push_back(__arguments[i].raw);
        }
    }
    return words;
}

unsigned int CCmdArgParser::GetNoneSwitchCount() const {
    const std::size_t taken = std::size_t{__switchCount} + __first;
    return __arguments.size() > taken ? static_cast<unsigned int>(__arguments.size() - taken) : 0;
}

} // namespace Quil
