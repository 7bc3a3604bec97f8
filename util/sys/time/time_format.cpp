// The texts of times and spans. A format is scanned for "%" by the strings' escape operation;
// behind one, the first key of a table that the text begins with decides, and the table's row
// writes it.
#include "util/sys/errhdl.h"
#include "util/sys/time.h"
#include "util/text/IStrMatchCmd.h"

#include <cstdlib>

namespace Quil {

namespace {

/// One key and the text that it stands for, made from the `Source` that is formatted.
template <class Source>
struct KEY {
    const char* key;
    stringEx (*text)(const Source&);
};

/// Answers the escape operation from a table. What rows write is plain ASCII, so the wide form only
/// widens it. An unknown key uses up nothing: the "%" goes and the key stays.
template <class S, class Source>
class CKeyEscapeCmd : public IStrMatchCmd<S> {
public:
    template <std::size_t N>
    CKeyEscapeCmd(const KEY<Source> (&table)[N], const Source& source)
        : __begin(table), __end(table + N), __source(source) {}

    int operator()(const S& text, S& out) override {
        out.clear();
        __used = 0;
        for (const KEY<Source>* row = __begin; row != __end && __used == 0; ++row) {
            __used = __MatchedLength(text, row->key);
            if (__used != 0) {
                out << row->text(__source);
            }
        }
        return 1;
    }

    unsigned int TellReplaceLength() const override { return __used; }

private:
    /// The key's length if `text` begins with it, else 0.
    static unsigned int __MatchedLength(const S& text, const char* key) {
        unsigned int i = 0;
        while (key[i] != '\0') {
            if (i == text.length() || text[i] != key[i]) {
                return 0;
            }
            ++i;
        }
        return i;
    }

    const KEY<Source>* __begin;
    const KEY<Source>* __end;
    const Source& __source;
    unsigned int __used = 0;
};

constexpr unsigned int ROOM = 12; ///< elements that the text of one key may take

template <class... Arguments>
stringEx Formatted(const char* format, Arguments... arguments) {
    stringEx text;
    text.format(ROOM, format, arguments...);
    return text;
}

stringEx Decimal(long long value) {
    return CLongLongNative(value).ToString(10);
}

// --- CTime ---------------------------------------------------------------------------------------

/// A time with its fields in the zone that is asked for.
struct BROKEN_TIME {
    const CTime& time;
    CTime::TIME field;
};

unsigned short SundayIsSeven(CTime::WEEKDAY weekday) {
    return weekday == CTime::SUNDAY ? 7 : weekday;
}

/// Only the years that two digits can't confuse are cut.
long ShortYear(long year) {
    return year >= 1970 && year <= 2038 ? year % 100 : year;
}

unsigned short TwelveHours(unsigned short hour) {
    return static_cast<unsigned short>((hour + 11) % 12 + 1);
}

stringEx ZoneText(short tz) {
    const auto minutes = static_cast<unsigned int>(std::abs(int{tz}));
    return Formatted("%c%02u%02u", tz < 0 ? '-' : '+', minutes / 60, minutes % 60);
}

using TIME_KEY = KEY<BROKEN_TIME>;

// clang-format off
const TIME_KEY TIME_KEYS[] = {
    {"Y", [](const BROKEN_TIME& t) { return Formatted("%li", t.field.year); }},
    {"y", [](const BROKEN_TIME& t) { return Formatted("%02li", ShortYear(t.field.year)); }},
    {"M", [](const BROKEN_TIME& t) { return Formatted("%02hu", static_cast<unsigned short>(t.field.month)); }},
    {"A", [](const BROKEN_TIME& t) { return CTime::MonthToStr(t.field.month); }},
    {"d", [](const BROKEN_TIME& t) { return Formatted("%02hu", t.field.dayOfMonth); }},
    {"D", [](const BROKEN_TIME& t) { return Formatted("%03hu", t.field.dayOfYear); }},
    {"W", [](const BROKEN_TIME& t) { return Formatted("%hu", SundayIsSeven(t.field.weekday)); }},
    {"B", [](const BROKEN_TIME& t) { return CTime::WeekDayToStr(t.field.weekday); }},
    {"wm", [](const BROKEN_TIME& t) { return Formatted("%02hu", t.time.GetWeekOfYear(CTime::MONDAY, t.field.timeZone)); }},
    {"ws", [](const BROKEN_TIME& t) { return Formatted("%02hu", t.time.GetWeekOfYear(CTime::SUNDAY, t.field.timeZone)); }},
    {"H", [](const BROKEN_TIME& t) { return Formatted("%02hu", t.field.hour); }},
    {"h", [](const BROKEN_TIME& t) { return Formatted("%hu", TwelveHours(t.field.hour)); }},
    {"T", [](const BROKEN_TIME& t) { return Formatted("%02hu", t.field.minute); }},
    {"S", [](const BROKEN_TIME& t) { return Formatted("%02hu", t.field.second); }},
    {"ms", [](const BROKEN_TIME& t) { return Formatted("%.3lu", t.field.microsecond / 1000UL); }},
    {"us", [](const BROKEN_TIME& t) { return Formatted("%.6lu", static_cast<unsigned long>(t.field.microsecond)); }},
    {"P", [](const BROKEN_TIME& t) { return stringEx(t.field.hour < 12 ? "AM" : "PM"); }},
    {"p", [](const BROKEN_TIME& t) { return stringEx(t.field.hour < 12 ? "am" : "pm"); }},
    {"Z", [](const BROKEN_TIME& t) { return ZoneText(t.field.timeZone); }},
    {"z", [](const BROKEN_TIME& t) { return Formatted("%hi", t.field.timeZone); }},
    {"C", [](const BROKEN_TIME& t) { return Formatted("%hi", t.time.GetCentury(t.field.timeZone)); }},
};
// clang-format on

template <class S>
void FormatTime(S& out, const S& fmt, const CTime& time, short tz) {
    if (!time.IsValid()) {
        out.clear();
        out << stringEx("invalid time");
        return;
    }
    BROKEN_TIME broken{time, {}};
    time.GetTime(broken.field, tz);
    CKeyEscapeCmd<S, BROKEN_TIME> cmd(TIME_KEYS, broken);
    fmt.escape_restore_op_to(out, '%', cmd, true, false);
}

// --- CTimeSpan -----------------------------------------------------------------------------------

constexpr long long MILLISECOND = 1000;
constexpr long long SECOND = 1000 * MILLISECOND;
constexpr long long MINUTE = 60 * SECOND;
constexpr long long HOUR = 60 * MINUTE;
constexpr long long DAY = 24 * HOUR;
constexpr long long WEEK = 7 * DAY;

/// The whole span in a unit: signed, rounded toward zero.
template <long long UNIT>
stringEx Total(const CTimeSpan& span) {
    return Decimal(span.GetMicroseconds() / UNIT);
}

/// What is left in `UNIT` beside the next larger unit, in three digits.
template <long long UNIT>
stringEx Part(const CTimeSpan& span) {
    const long long rest = span.GetMicroseconds() / UNIT % 1000;
    return Formatted("%03hu", static_cast<unsigned short>(std::llabs(rest)));
}

stringEx TwoDigitHours(const CTimeSpan& span) {
    const stringEx text = Total<HOUR>(span);
    return text.length() < 2 ? "0" + text : text;
}

using SPAN_KEY = KEY<CTimeSpan>;

const SPAN_KEY SPAN_KEYS[] = {
    {"W", Total<WEEK>},
    {"TD", Total<DAY>},
    {"PD", [](const CTimeSpan& s) { return Decimal(std::llabs(s.GetMicroseconds() / DAY % 7)); }},
    {"TH", TwoDigitHours},
    {"sTH", Total<HOUR>},
    {"PH", [](const CTimeSpan& s) { return Formatted("%02hu", s.GetHoursPart()); }},
    {"TM", Total<MINUTE>},
    {"PM", [](const CTimeSpan& s) { return Formatted("%02hu", s.GetMinutesPart()); }},
    {"TS", Total<SECOND>},
    {"PS", [](const CTimeSpan& s) { return Formatted("%02hu", s.GetSecondsPart()); }},
    {"Tms", Total<MILLISECOND>},
    {"Pms", Part<MILLISECOND>},
    {"Tus", Total<1>},
    {"Pus", Part<1>},
};

template <class S>
void FormatSpan(S& out, const S& fmt, const CTimeSpan& span) {
    CKeyEscapeCmd<S, CTimeSpan> cmd(SPAN_KEYS, span);
    fmt.escape_restore_op_to(out, '%', cmd, true, false);
}

} // namespace

void CTime::Format(stringEx& out, const stringEx& fmt, short tz) const {
    FormatTime(out, fmt, *this, tz);
}

void CTime::Format(wstringEx& out, const wstringEx& fmt, short tz) const {
    FormatTime(out, fmt, *this, tz);
}

stringEx CTime::Format(const stringEx& fmt, short tz) const {
    stringEx out;
    Format(out, fmt, tz);
    return out;
}

void CTimeSpan::Format(stringEx& out, const stringEx& fmt) const {
    FormatSpan(out, fmt, *this);
}

void CTimeSpan::Format(wstringEx& out, const wstringEx& fmt) const {
    FormatSpan(out, fmt, *this);
}

stringEx CTimeSpan::Format(const stringEx& fmt) const {
    stringEx out;
    Format(out, fmt);
    return out;
}

} // namespace Quil
