// Numbers, times and their texts, from any text: the parsers against the C library's, and what was
// written read again.
#include "fuzz/FuzzInput.h"
#include "util/file/longlong.h"
#include "util/sys/errhdl.h"
#include "util/sys/time.h"
#include "util/text/ConvStr.h"
#include "util/text/byteEx.h"

#include <cerrno>
#include <cmath>

using namespace Quil;

namespace {

constexpr int BASES[] = {10, 16, 2, 8, 36, 3};

bool HasAny(const std::string& text, const char* of) {
    return text.find_first_of(of) != std::string::npos;
}

std::size_t Consumed(const std::string& text, const char* end) {
    return static_cast<std::size_t>(end - text.c_str());
}

void CheckIntegers(const std::string& text, int base) {
    // The C library takes a prefix with its base, and a form feed for white space.
    if (text.empty() || HasAny(text, base == 16 ? "xX\f" : base == 2 ? "bB\f" : "\f")) {
        return;
    }
    char* end = nullptr;
    errno = 0;
    const long long expected = std::strtoll(text.c_str(), &end, base);
    const auto clamped = static_cast<long>(std::clamp<long long>(expected, INT32_MIN, INT32_MAX));
    const bool isOutside = errno == ERANGE || clamped != expected;

    const stringEx narrow(text.data(), static_cast<unsigned int>(text.size()));
    const wstringEx wide = ConvStrSToW(narrow);
    unsigned int used = 0;
    errno = 0;
    FUZZ::Require(narrow.to_long(0, stringEx::npos, base, &used) == clamped, "the number");
    FUZZ::Require(used == Consumed(text, end), "where it ends");
    FUZZ::Require((errno == ERANGE) == isOutside, "whether it is too large");
    // Other control characters are white space in wide text, and not in narrow one.
    if (std::all_of(text.begin(), text.end(),
                    [](char c) { return (c >= ' ' && c <= '~') || c == '\n'; })) {
        FUZZ::Require(wide.to_long(0, wstringEx::npos, base) == clamped, "the number in wide text");
    }
    CLongLongNative large;
    large.FromString(narrow, base, &used);
    FUZZ::Require(large.Value() == expected && used == Consumed(text, end),
                  "the number of 64 bits");
    FUZZ::Require(CLongLongNative().FromString(large.ToString(base), base) == large || base != 10,
                  "it comes back");
}

void CheckFloat(const std::string& text) {
    if (text.empty() || HasAny(text, "xXnNiI\f")) { // the C library knows more forms
        return;
    }
    char* end = nullptr;
    errno = 0;
    const double expected = std::strtod(text.c_str(), &end);
    unsigned int used = 0;
    const double number = stringEx(text.data(), static_cast<unsigned int>(text.size()))
                              .to_double(0, stringEx::npos, &used);
    const bool isNear =
        number == expected || std::abs(number - expected) <= 1e-14 * std::abs(expected) + 1e-320;
    FUZZ::Require(isNear && std::signbit(number) == std::signbit(expected), "the fraction");
    FUZZ::Require(used == Consumed(text, end), "where the fraction ends");
}

void CheckTime(std::uint64_t count, const std::string& format, short tz) {
    const CTime time(static_cast<long long>(count));
    const stringEx narrow(format.data(), static_cast<unsigned int>(format.size()));
    const stringEx text = time.Format(narrow, tz);
    const CTimeSpan span(static_cast<long long>(count));
    const stringEx spanText = span.Format(narrow);
    if (std::all_of(format.begin(), format.end(), [](char c) { return c > 0; })) {
        wstringEx wide;
        time.Format(wide, ConvStrSToW(narrow), tz);
        FUZZ::Require(ConvStrSToT(wide) == text, "a time in wide text");
        span.Format(wide, ConvStrSToW(narrow));
        FUZZ::Require(ConvStrSToT(wide) == spanText, "a span in wide text");
    }
    if (!time.IsValid()) {
        return;
    }
    CTime::TIME fields;
    time.GetTime(fields, tz);
    CTime again;
    if (fields.year <= CTime::GetMinYear() || fields.year >= CTime::GetMaxYear()) {
        return;
    }
    again.Set(fields.year, fields.month, fields.dayOfMonth, fields.hour, fields.minute,
              fields.second, fields.microsecond, tz);
    FUZZ::Require(again == time, "a time from its parts");
    FUZZ::Require(CTime::StrToTz(CTime::TzToStr(tz)) == tz, "a zone from its text");
}

template <class Function>
void TryText(Function function) {
    try {
        function();
    } catch (const timeExp&) { // a text that says no such thing
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    FUZZ::CFuzzInput input(data, size);
    const int base = input.OneOf(BASES);
    const auto tz = static_cast<short>(static_cast<int>(input.Below(240)) * 15 - 1800);
    const std::uint64_t count = input.Number();
    std::string text = input.Rest();
    CheckTime(count, text, tz);
    const stringEx name(text.data(), static_cast<unsigned int>(text.size()));
    TryText([&] { CTime::StrToTz(name); });
    TryText([&] { CTime::StrToMonth(name); });
    TryText([&] { CTime::StrToWeekDay(name); });
    byteEx bytes;
    bytes.from_hex_code(name);
    FUZZ::Require(byteEx().from_hex_code(bytes.to_hex_encode()) == bytes, "hex digits come back");
    text.resize(std::min(text.find('\0'), text.size()));
    CheckIntegers(text, base);
    CheckFloat(text);
    return 0;
}
