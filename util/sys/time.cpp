// The calendar rests on one pair of functions, from a date to a day number and back; everything
// else is days and microseconds within the day. Counts are split into those two before a zone is
// added, so that no step overflows near the ends of the range.
#include "util/sys/time.h"

#include "util/sys/errhdl.h"

#include <atomic>
#include <cstdlib>

namespace Quil {

namespace {

constexpr long long SECOND = 1000000;
constexpr long long MINUTE = 60 * SECOND;
constexpr long long HOUR = 60 * MINUTE;
constexpr long long DAY = 24 * HOUR;
constexpr long long DAYS_TO_1970 = 719528; ///< from 0000-01-01
constexpr long long DAYS_OF_400_YEARS = 146097;
constexpr long long MICROSECONDS_1601_TO_1970 = 11644473600000000;
constexpr int ZONE_UNKNOWN = 0x7FFFFFFF;

std::atomic<int> localZone{ZONE_UNKNOWN};

long long FloorDiv(long long a, long long b) {
    return a / b - (a % b < 0 ? 1 : 0);
}

long long FloorMod(long long a, long long b) {
    return a % b + (a % b < 0 ? b : 0);
}

/// Wide enough for the exact value of every sum and product here.
__extension__ using WIDE = __int128;

/// The nearest count. What saturates is a whole result, never one of its parts.
long long Saturated(WIDE value, long long least = std::numeric_limits<long long>::min()) {
    constexpr long long LARGEST = std::numeric_limits<long long>::max();
    return value > LARGEST ? LARGEST : value < least ? least : static_cast<long long>(value);
}

/// The count of the system's forms.
long long FromSeconds(long long seconds, long long microseconds) {
    return Saturated(WIDE{seconds} * SECOND + microseconds);
}

/// A valid time stays one, however far it is moved.
CTime Moved(const CTime& time, WIDE distance) {
    return time.IsValid()
               ? CTime(Saturated(time.GetMicroseconds() + distance, tmMIN.GetMicroseconds()))
               : tmINV;
}

bool IsLeap(long long year) {
    return year % 4 == 0 && (year % 100 != 0 || year % 400 == 0);
}

/// Days of the year in front of each month of a common year.
constexpr unsigned short DAYS_BEFORE[13] = {0,   31,  59,  90,  120, 151, 181,
                                            212, 243, 273, 304, 334, 365};

unsigned int DaysBefore(long long year, unsigned int month) {
    return DAYS_BEFORE[month] + (month > 1 && IsLeap(year) ? 1U : 0U);
}

unsigned int DaysOfMonth(long long year, unsigned int month) {
    return DaysBefore(year, month) - DaysBefore(year, month - 1);
}

/// Days from 0000-01-01 to the first day of `year`.
long long DayOfYearStart(long long year) {
    // The leap days of all years before this one, of which year 0 is the first.
    const long long last = year - 1;
    return 365 * year + FloorDiv(last, 4) - FloorDiv(last, 100) + FloorDiv(last, 400) + 1;
}

/// The year that day number `day`, counted from 0000-01-01, falls in.
long long YearOfDay(long long day) {
    const long long cycle = FloorDiv(day, DAYS_OF_400_YEARS);
    const long long rest = FloorMod(day, DAYS_OF_400_YEARS);
    long long year = rest / 366; // never too late, and at most one too early in 400 years
    while (DayOfYearStart(year + 1) <= rest) {
        ++year;
    }
    return cycle * 400 + year;
}

/// The zone itself for the word that means the machine's. Whoever asks twice may get two answers.
short Resolved(short tz) {
    return tz == CTime::LOCAL_ZONE ? CTime::GetLocalTimeZone() : tz;
}

const char* const MONTHS[12] = {"january",   "february", "march",    "april",
                                "may",       "june",     "july",     "august",
                                "september", "october",  "november", "december"};
const char* const WEEKDAYS[7] = {"sunday",   "monday", "tuesday", "wednesday",
                                 "thursday", "friday", "saturday"};

/// The first three letters, the first in upper case.
stringEx ShortName(const char* name) {
    stringEx result(name, 3);
    result.make_upper(0, 1);
    return result;
}

/// The index of a three-letter or whole name, or `count`.
unsigned short FindName(const stringEx& name, const char* const* names, unsigned short count) {
    unsigned short i = 0;
    while (i < count && !name.equal_no_case(names[i]) &&
           !name.equal_no_case(stringEx(names[i], 3))) {
        ++i;
    }
    return i;
}

[[noreturn]] void ThrowUnknown(const char* what, const stringEx& value) {
    throw timeExp(0, stringEx(what) + value);
}

stringEx Number(unsigned long value) {
    stringEx text;
    text.append_ulong(value, 10);
    return text;
}

} // namespace

// --- CTimeSpan -----------------------------------------------------------------------------------

void CTimeSpan::Set(const CLongLongNative& days, const CLongLongNative& hours,
                    const CLongLongNative& minutes, const CLongLongNative& seconds,
                    const CLongLongNative& milliseconds, const CLongLongNative& microseconds) {
    const struct {
        const CLongLongNative& count;
        long long unit;
    } parts[] = {{days, DAY},       {hours, HOUR},        {minutes, MINUTE},
                 {seconds, SECOND}, {milliseconds, 1000}, {microseconds, 1}};
    WIDE sum = 0;
    for (const auto& part : parts) {
        sum += WIDE{static_cast<long long>(part.count)} * part.unit;
    }
    __count = Saturated(sum);
}

unsigned short CTimeSpan::GetHoursPart() const {
    return static_cast<unsigned short>(std::llabs(__count % DAY / HOUR));
}

unsigned short CTimeSpan::GetMinutesPart() const {
    return static_cast<unsigned short>(std::llabs(__count % HOUR / MINUTE));
}

unsigned short CTimeSpan::GetSecondsPart() const {
    return static_cast<unsigned short>(std::llabs(__count % MINUTE / SECOND));
}

void CTimeSpan::ToTimespec(timespec& out) const {
    out.tv_sec = FloorDiv(__count, SECOND);
    out.tv_nsec = static_cast<long>(FloorMod(__count, SECOND) * 1000);
}

void CTimeSpan::FromTimespec(const timespec& in) {
    __count = FromSeconds(in.tv_sec, in.tv_nsec / 1000);
}

void CTimeSpan::ToTimeval(timeval& out) const {
    out.tv_sec = FloorDiv(__count, SECOND);
    out.tv_usec = static_cast<suseconds_t>(FloorMod(__count, SECOND));
}

void CTimeSpan::FromTimeval(const timeval& in) {
    __count = FromSeconds(in.tv_sec, in.tv_usec);
}

CTimeSpan CTimeSpan::operator+(const CTimeSpan& other) const {
    return CTimeSpan(Saturated(WIDE{__count} + other.__count));
}

CTimeSpan CTimeSpan::operator-(const CTimeSpan& other) const {
    return CTimeSpan(Saturated(WIDE{__count} - other.__count));
}

// --- CTime: reading ------------------------------------------------------------------------------

CTime CTime::Now() {
    timeval now;
    if (gettimeofday(&now, nullptr) != 0) {
        return tmINV;
    }
    return CTime(now.tv_sec * SECOND + now.tv_usec);
}

bool CTime::IsValid() const {
    return *this != tmINV;
}

time_t CTime::GetTime_T() const {
    if (!IsValid()) {
        throw timeExp(0, "CTime::GetTime_T - out of range when converting to time_t\n");
    }
    return FloorDiv(__count, SECOND);
}

void CTime::GetTime(TIME& out, short tz) const {
    if (!IsValid()) {
        out = TIME();
        return;
    }
    const short zone = Resolved(tz);
    const long long local = FloorMod(__count, DAY) + zone * MINUTE;
    const long long day = FloorDiv(__count, DAY) + FloorDiv(local, DAY) + DAYS_TO_1970;
    const long long rest = FloorMod(local, DAY);
    const long long year = YearOfDay(day);
    const auto dayOfYear = static_cast<unsigned int>(day - DayOfYearStart(year));
    unsigned int month = dayOfYear / 32 + 1;
    while (month < DECEMBER && DaysBefore(year, month) <= dayOfYear) {
        ++month;
    }
    out.year = static_cast<long>(year);
    out.month = static_cast<MONTH>(month);
    out.dayOfYear = static_cast<unsigned short>(dayOfYear + 1);
    out.dayOfMonth = static_cast<unsigned short>(dayOfYear - DaysBefore(year, month - 1) + 1);
    out.weekday = static_cast<WEEKDAY>(FloorMod(day + SATURDAY, 7)); // 0000-01-01 was a Saturday
    out.hour = static_cast<unsigned short>(rest / HOUR);
    out.minute = static_cast<unsigned short>(rest % HOUR / MINUTE);
    out.second = static_cast<unsigned short>(rest % MINUTE / SECOND);
    out.microsecond = static_cast<unsigned int>(rest % SECOND);
    out.timeZone = zone;
}

void CTime::GetTm(tm& out, short tz) const {
    out = tm();
    if (!IsValid()) {
        return;
    }
    TIME time;
    GetTime(time, tz);
    out.tm_year = static_cast<int>(time.year - 1900);
    out.tm_mon = time.month - 1;
    out.tm_mday = time.dayOfMonth;
    out.tm_yday = time.dayOfYear - 1;
    out.tm_wday = time.weekday;
    out.tm_hour = time.hour;
    out.tm_min = time.minute;
    out.tm_sec = time.second;
    out.tm_gmtoff = time.timeZone * 60L;
}

namespace {

CTime::TIME Broken(const CTime& time, short tz) {
    CTime::TIME out;
    time.GetTime(out, tz);
    return out;
}

} // namespace

long CTime::GetYear(short tz) const {
    return Broken(*this, tz).year;
}

CTime::MONTH CTime::GetMonth(short tz) const {
    return Broken(*this, tz).month;
}

unsigned short CTime::GetDayOfMonth(short tz) const {
    return Broken(*this, tz).dayOfMonth;
}

unsigned short CTime::GetDayOfYear(short tz) const {
    return Broken(*this, tz).dayOfYear;
}

CTime::WEEKDAY CTime::GetWeekDay(short tz) const {
    return Broken(*this, tz).weekday;
}

unsigned short CTime::GetHour(short tz) const {
    return Broken(*this, tz).hour;
}

unsigned short CTime::GetMinute(short tz) const {
    return Broken(*this, tz).minute;
}

unsigned short CTime::GetSecond(short tz) const {
    return Broken(*this, tz).second;
}

unsigned int CTime::GetMicrosec() const {
    return IsValid() ? static_cast<unsigned int>(FloorMod(__count, SECOND)) : 0;
}

unsigned short CTime::GetQuarter(short tz) const {
    return static_cast<unsigned short>((GetMonth(tz) + 2) / 3);
}

short CTime::GetCentury(short tz) const {
    if (!IsValid()) {
        return 0;
    }
    const long year = GetYear(tz);
    return static_cast<short>(year / 100 + (year < 0 ? -1 : 1));
}

unsigned short CTime::GetWeekOfYear(WEEKDAY first, short tz) const {
    if (!IsValid()) {
        return 0;
    }
    const TIME time = Broken(*this, tz);
    const int sinceFirst = (time.weekday - first + 7) % 7;
    return static_cast<unsigned short>((time.dayOfYear + 6 - sinceFirst) / 7);
}

// --- CTime: changing -----------------------------------------------------------------------------

void CTime::__Set(const TIME& time) {
    if (time.year < GetMinYear() || time.year > GetMaxYear() || time.month < JANUARY ||
        time.month > DECEMBER || time.dayOfMonth == 0 || time.hour > 23 || time.minute > 59 ||
        time.second > 59 || time.microsecond >= SECOND) {
        *this = tmINV;
        return;
    }
    const unsigned int day =
        std::min<unsigned int>(time.dayOfMonth, DaysOfMonth(time.year, time.month));
    const long long days =
        DayOfYearStart(time.year) + DaysBefore(time.year, time.month - 1U) + day - 1 - DAYS_TO_1970;
    __count = days * DAY + time.hour * HOUR + time.minute * MINUTE + time.second * SECOND +
              time.microsecond - Resolved(time.timeZone) * MINUTE;
}

void CTime::Set(long year, MONTH month, unsigned short day, unsigned short hour,
                unsigned short minute, unsigned short second, unsigned int microsecond, short tz) {
    __Set({year, month, 1, day, NO_WEEKDAY, hour, minute, second, microsecond, tz});
}

/// An invalid time has no parts to keep, so it stays as it is.
template <class Change>
void CTime::__Change(short tz, Change change) {
    if (IsValid()) {
        TIME time = Broken(*this, tz);
        change(time);
        __Set(time);
    }
}

void CTime::SetYear(long year, short tz) {
    __Change(tz, [&](TIME& time) { time.year = year; });
}

void CTime::SetMonth(MONTH month, short tz) {
    __Change(tz, [&](TIME& time) { time.month = month; });
}

void CTime::SetDayOfMonth(unsigned short day, short tz) {
    __Change(tz, [&](TIME& time) { time.dayOfMonth = day; });
}

void CTime::SetHour(unsigned short hour, short tz) {
    __Change(tz, [&](TIME& time) { time.hour = hour; });
}

void CTime::SetMinute(unsigned short minute, short tz) {
    __Change(tz, [&](TIME& time) { time.minute = minute; });
}

void CTime::SetSecond(unsigned short second, short tz) {
    __Change(tz, [&](TIME& time) { time.second = second; });
}

void CTime::SetMicrosec(unsigned int microsecond) {
    __Change(0, [&](TIME& time) { time.microsecond = microsecond; });
}

void CTime::SetDatePart(long year, MONTH month, unsigned short day, short tz) {
    __Change(tz, [&](TIME& time) {
        time.year = year;
        time.month = month;
        time.dayOfMonth = day;
    });
}

void CTime::SetTimePart(unsigned short hour, unsigned short minute, unsigned short second,
                        unsigned int microsecond, short tz) {
    __Change(tz, [&](TIME& time) {
        time.hour = hour;
        time.minute = minute;
        time.second = second;
        time.microsecond = microsecond;
    });
}

void CTime::SetDayOfYear(unsigned short day, short tz) {
    if (!IsValid()) {
        return;
    }
    const TIME time = Broken(*this, tz);
    if (day == 0 || day > DaysBefore(time.year, DECEMBER)) {
        stringEx message("CTime::SetDayOfYear - failed set the day of year\n"
                         "             may be out of range\n"
                         "  current obj's year          = ");
        message.append_long(time.year, 10);
        message.append("\n  current timezone in minutes = ").append_long(time.timeZone, 10);
        message.append("\n  the day of year value       = ").append(Number(day));
        throw timeExp(0, message);
    }
    *this = *this + CTimeSpan((day - time.dayOfYear) * DAY);
}

void CTime::AddMonth(long months, short tz) {
    // Beyond this no year is left in the calendar, and the sums below stay far from overflow.
    constexpr long FARTHEST = 12L * 1000000;
    if (months > FARTHEST || months < -FARTHEST) {
        *this = tmINV;
        return;
    }
    __Change(tz, [&](TIME& time) {
        const long long total = time.year * 12LL + (time.month - 1) + months;
        time.year = static_cast<long>(FloorDiv(total, 12));
        time.month = static_cast<MONTH>(FloorMod(total, 12) + 1);
    });
}

void CTime::AddYears(long years, short tz) {
    const bool isFar = years > 1000000 || years < -1000000;
    AddMonth(isFar ? std::numeric_limits<long>::max() : years * 12, tz);
}

CTime CTime::GetBeginOfWeek(WEEKDAY first, short tz) const {
    tz = Resolved(tz);
    CTime result(*this);
    result.SetTimePart(0, 0, 0, 0, tz);
    const int back = (result.GetWeekDay(tz) - first + 7) % 7;
    return result - CTimeSpan(back * DAY);
}

CTime CTime::GetBeginOfMonth(short tz) const {
    TIME time = Broken(*this, tz);
    CTime result;
    result.Set(time.year, time.month, 1, 0, 0, 0, 0, tz);
    return result;
}

CTime CTime::GetNearestWeekDay(WEEKDAY weekday, short tz) const {
    const int ahead = (weekday - GetWeekDay(tz) + 7) % 7;
    return *this + CTimeSpan((ahead > 3 ? ahead - 7 : ahead) * DAY);
}

CTime CTime::GetNthWeekDayInMonth(WEEKDAY weekday, unsigned short nth, short tz) const {
    tz = Resolved(tz);
    CTime first(*this);
    first.SetDayOfMonth(1, tz);
    const int ahead = (weekday - first.GetWeekDay(tz) + 7) % 7;
    const CTime result = first + CTimeSpan((ahead + 7LL * (nth - 1)) * DAY);
    return nth != 0 && result.GetMonth(tz) == GetMonth(tz) && nth < 6 ? result : tmINV;
}

CTime CTime::GetLastWeekDayInMonth(WEEKDAY weekday, short tz) const {
    tz = Resolved(tz);
    const CTime fifth = GetNthWeekDayInMonth(weekday, 5, tz);
    return fifth.IsValid() ? fifth : GetNthWeekDayInMonth(weekday, 4, tz);
}

CTime CTime::operator+(const CTimeSpan& span) const {
    return Moved(*this, span.GetMicroseconds());
}

CTime CTime::operator-(const CTimeSpan& span) const {
    return Moved(*this, -WIDE{span.GetMicroseconds()});
}

CTimeSpan CTime::operator-(const CTime& other) const {
    return IsValid() && other.IsValid() ? CTimeSpan(Saturated(WIDE{__count} - other.__count))
                                        : tsINF;
}

// --- Names, zones, the system's clock ------------------------------------------------------------

bool CTime::IsLeapYear(long year) {
    return IsLeap(year == 0 ? Now().GetYear() : year);
}

stringEx CTime::MonthToStr(MONTH month) {
    if (month < JANUARY || month > DECEMBER) {
        ThrowUnknown("CTime::MonthToStr - Unknown Month : ", Number(month));
    }
    return ShortName(MONTHS[month - 1]);
}

CTime::MONTH CTime::StrToMonth(const stringEx& name) {
    const unsigned short i = FindName(name, MONTHS, 12);
    if (i == 12) {
        ThrowUnknown("CTime::StrToMonth - Unknown Month : ", name);
    }
    return static_cast<MONTH>(i + 1);
}

stringEx CTime::WeekDayToStr(WEEKDAY weekday) {
    if (weekday > SATURDAY) {
        ThrowUnknown("CTime::WeekDayToStr - Unknown Weekday : ", Number(weekday));
    }
    return ShortName(WEEKDAYS[weekday]);
}

CTime::WEEKDAY CTime::StrToWeekDay(const stringEx& name) {
    const unsigned short i = FindName(name, WEEKDAYS, 7);
    if (i == 7) {
        ThrowUnknown("CTime::StrToWeekDay - Unknown Weekday : ", name);
    }
    return static_cast<WEEKDAY>(i);
}

stringEx CTime::TzToStr(short tz) {
    const auto minutes = static_cast<unsigned short>(std::abs(int{tz}));
    stringEx text(tz < 0 ? "-" : "");
    text.append_format("%02hu%02hu", static_cast<unsigned short>(minutes / 60),
                       static_cast<unsigned short>(minutes % 60));
    return text;
}

short CTime::StrToTz(const stringEx& text) {
    stringEx rest(text);
    rest.trim_right();
    rest.trim_left();
    if (rest.equal_no_case("NOTZ")) {
        return LOCAL_ZONE;
    }
    bool isNamed = false;
    for (const char* name : {"UTC", "GMT", "CUT", "TAI"}) {
        if (!isNamed && rest.begin_with_no_case(name)) {
            rest.erase(0, 3);
            isNamed = true;
        }
    }
    if (rest.empty() && isNamed) {
        return 0;
    }
    const bool isNegative = rest.begin_with("-");
    if (isNegative || rest.begin_with("+")) {
        rest.erase(0, 1);
    }
    const bool isNumber = !rest.empty() && rest.length() <= 4 &&
                          rest.find_first_not_of("0123456789", 0) == stringEx::npos;
    const unsigned long value = isNumber ? rest.to_ulong(0, stringEx::npos, 10) : 0;
    // Up to two digits are hours; the last two of three or four are minutes.
    const unsigned long minutes = rest.length() <= 2 ? value * 60 : value / 100 * 60 + value % 100;
    if (!isNumber || (rest.length() > 2 && value % 100 > 59)) {
        ThrowUnknown("CTime::StrToTz - Unknown Time Zone : ", text);
    }
    return static_cast<short>(isNegative ? -static_cast<long>(minutes)
                                         : static_cast<long>(minutes));
}

CLongLongNative CTime::ToWinFILETIME(short tz) const {
    const CTime moved = Moved(*this, MICROSECONDS_1601_TO_1970 + Resolved(tz) * MINUTE);
    return CLongLongNative(moved.__count);
}

CTime CTime::FromWinFILETIME(const CLongLongNative& value, short tz) {
    return Moved(CTime(static_cast<long long>(value)),
                 -(MICROSECONDS_1601_TO_1970 + Resolved(tz) * MINUTE));
}

short CTime::GetLocalTimeZone() {
    if (localZone.load(std::memory_order_relaxed) == ZONE_UNKNOWN) {
        RefreshLocalTimeZone();
    }
    return static_cast<short>(localZone.load(std::memory_order_relaxed));
}

void CTime::RefreshLocalTimeZone() {
    tzset();
    const time_t now = ::time(nullptr);
    tm local{};
    const bool known = localtime_r(&now, &local) != nullptr;
    localZone.exchange(known ? static_cast<int>(local.tm_gmtoff / 60) : 0);
}

void CTime::SetLocalTimeZone_(short tz) {
    if (tz == LOCAL_ZONE) {
        RefreshLocalTimeZone();
    } else {
        localZone.exchange(tz);
    }
}

void CTime::SetSystemTime(const CTime& time) {
    if (!time.IsValid()) {
        stringEx message("SetSysTime - overflow when converting to time_t\n"
                         "  microseconds since 1970-01-01 00:00:00.000: ");
        message << time.__count;
        throw timeExp(0, message);
    }
    timespec value;
    CTimeSpan(time.__count).ToTimespec(value);
    if (clock_settime(CLOCK_REALTIME, &value) != 0) {
        const unsigned long error = GetSysLastError();
        throw timeExp(static_cast<unsigned int>(error),
                      "SetSysTime - system error, failed set system time\n" +
                          GetSysErrString(error));
    }
}

} // namespace Quil
