// Points in time and the spans between them: both are one 64-bit count of microseconds, so
// comparing and subtracting are plain integer operations. The calendar is worked out only when
// somebody asks for a year or a text. It is the Gregorian one, carried back without a break, with a
// year 0.
//
// Arithmetic saturates: a result past either end is the largest or the smallest valid value, and
// only the result counts, not the sums on the way. An invalid time stays invalid whatever is added
// to it or set in it.
#pragma once

#include "util/base/visibility.h"
#include "util/file/longlong.h"
#include "util/text/stringEx.h"
#include "util/text/wstringEx.h"

#include <compare>
#include <ctime>
#include <limits>
#include <sys/time.h>

namespace QUIL_PUBLIC Quil {

/// A distance in time, in microseconds; may be negative. A plain value.
class CTimeSpan {
public:
    constexpr CTimeSpan() = default;
    constexpr explicit CTimeSpan(long long microseconds) : __count(microseconds) {}

    /// The sum of all parts; parts beyond the range may cancel each other.
    void Set(const CLongLongNative& days, const CLongLongNative& hours,
             const CLongLongNative& minutes, const CLongLongNative& seconds,
             const CLongLongNative& milliseconds, const CLongLongNative& microseconds);

    constexpr long long GetMicroseconds() const { return __count; }

    // What is left beside the next larger unit, without a sign.

    unsigned short GetHoursPart() const;
    unsigned short GetMinutesPart() const;
    unsigned short GetSecondsPart() const;

    // The system's forms. The part below a second is never negative: -1.5 s is -2 s and 0.5 s.

    void ToTimespec(timespec& out) const;
    void FromTimespec(const timespec& in);
    void ToTimeval(timeval& out) const;
    void FromTimeval(const timeval& in);

    /// Replaces each key behind a "%": W whole weeks; TD, TH, TM, TS, Tms, Tus the whole span in
    /// that unit (TH filled to two digits, sTH not); PD, PH, PM, PS, Pms, Pus what is left beside
    /// the next larger unit. Totals carry the sign and round toward zero. "%%" is a percent sign,
    /// and of an unknown key only the "%" goes.
    void Format(stringEx& out, const stringEx& fmt) const;
    void Format(wstringEx& out, const wstringEx& fmt) const;
    stringEx Format(const stringEx& fmt) const;

    constexpr auto operator<=>(const CTimeSpan&) const = default;
    CTimeSpan operator+(const CTimeSpan& other) const;
    CTimeSpan operator-(const CTimeSpan& other) const;

private:
    long long __count = 0;
};

/// A point in time: microseconds since 1970-01-01 00:00:00 UTC. A plain value.
///
/// Fields are seen from a time zone, given in minutes east of UTC; `LOCAL_ZONE` stands for the
/// machine's own, which is one offset for all dates, summer time or not.
class CTime {
public:
    static constexpr short LOCAL_ZONE = -32768;

    enum MONTH : unsigned short {
        JANUARY = 1,
        FEBRUARY,
        MARCH,
        APRIL,
        MAY,
        JUNE,
        JULY,
        AUGUST,
        SEPTEMBER,
        OCTOBER,
        NOVEMBER,
        DECEMBER
    };
    enum WEEKDAY : unsigned short {
        SUNDAY,
        MONDAY,
        TUESDAY,
        WEDNESDAY,
        THURSDAY,
        FRIDAY,
        SATURDAY,
        NO_WEEKDAY
    };

    /// The broken-down form.
    struct TIME {
        long year = 0;
        MONTH month = static_cast<MONTH>(0); ///< 1 is January
        unsigned short dayOfYear = 1;
        unsigned short dayOfMonth = 1;
        WEEKDAY weekday = NO_WEEKDAY;
        unsigned short hour = 0;
        unsigned short minute = 0;
        unsigned short second = 0;
        unsigned int microsecond = 0;
        short timeZone = LOCAL_ZONE;
    };

    constexpr CTime() = default;
    constexpr explicit CTime(long long microseconds) : __count(microseconds) {}

    /// The present, or `tmINV` if the clock can't be read.
    static CTime Now();

    constexpr long long GetMicroseconds() const { return __count; }
    /// False for `tmINV`, which has no fields: they are those of an empty `TIME`, and what isn't in
    /// there is 0.
    bool IsValid() const;

    /// Whole seconds since 1970. Microseconds before a second belong to the second before. Throws
    /// `timeExp` for an invalid time.
    time_t GetTime_T() const;

    void GetTime(TIME& out, short tz = LOCAL_ZONE) const;
    void GetTm(tm& out, short tz = LOCAL_ZONE) const;

    long GetYear(short tz = LOCAL_ZONE) const;
    MONTH GetMonth(short tz = LOCAL_ZONE) const;
    unsigned short GetDayOfMonth(short tz = LOCAL_ZONE) const;
    unsigned short GetDayOfYear(short tz = LOCAL_ZONE) const;
    WEEKDAY GetWeekDay(short tz = LOCAL_ZONE) const;
    unsigned short GetHour(short tz = LOCAL_ZONE) const;
    unsigned short GetMinute(short tz = LOCAL_ZONE) const;
    unsigned short GetSecond(short tz = LOCAL_ZONE) const;
    unsigned int GetMicrosec() const;
    unsigned short GetQuarter(short tz = LOCAL_ZONE) const; ///< 1 to 4
    short GetCentury(short tz = LOCAL_ZONE) const;          ///< 2009 is in 21, -1 in -1

    /// Weeks that begin on `first`; days before the year's first such day are in week 0.
    unsigned short GetWeekOfYear(WEEKDAY first, short tz = LOCAL_ZONE) const;

    /// A day that the month lacks becomes its last. Any other field out of its range, or a year
    /// beyond `GetMinYear()` and `GetMaxYear()`, gives `tmINV`.
    void Set(long year, MONTH month, unsigned short day, unsigned short hour, unsigned short minute,
             unsigned short second, unsigned int microsecond, short tz = LOCAL_ZONE);

    // Each changes one part and keeps the others, by the rules of `Set`. An invalid time has no
    // others and stays invalid.

    void SetYear(long year, short tz = LOCAL_ZONE);
    void SetMonth(MONTH month, short tz = LOCAL_ZONE);
    void SetDayOfMonth(unsigned short day, short tz = LOCAL_ZONE);
    void SetHour(unsigned short hour, short tz = LOCAL_ZONE);
    void SetMinute(unsigned short minute, short tz = LOCAL_ZONE);
    void SetSecond(unsigned short second, short tz = LOCAL_ZONE);
    void SetMicrosec(unsigned int microsecond);
    void SetDatePart(long year, MONTH month, unsigned short day, short tz = LOCAL_ZONE);
    void SetTimePart(unsigned short hour, unsigned short minute, unsigned short second,
                     unsigned int microsecond, short tz = LOCAL_ZONE);

    /// 1 is January 1st. Throws `timeExp` for a day that the year lacks.
    void SetDayOfYear(unsigned short day, short tz = LOCAL_ZONE);

    // The time of day stays, and so does the day of the month as far as the new month has it.

    void AddMonth(long months, short tz = LOCAL_ZONE);
    void AddYears(long years, short tz = LOCAL_ZONE);

    // Beginnings are at midnight; the weekday searches keep the time of day.

    CTime GetBeginOfWeek(WEEKDAY first, short tz = LOCAL_ZONE) const;
    CTime GetBeginOfMonth(short tz = LOCAL_ZONE) const;
    CTime GetNearestWeekDay(WEEKDAY weekday, short tz = LOCAL_ZONE) const;
    /// `nth` counts from 1; `tmINV` when the month has fewer.
    CTime GetNthWeekDayInMonth(WEEKDAY weekday, unsigned short nth, short tz = LOCAL_ZONE) const;
    CTime GetLastWeekDayInMonth(WEEKDAY weekday, short tz = LOCAL_ZONE) const;

    /// A year of 0 means the present year.
    static bool IsLeapYear(long year);
    static long GetMaxYear() { return 293640; }
    static long GetMinYear() { return -289700; }

    // Names: three letters out; three letters or the whole English name in, in any case. Throw
    // `timeExp` for a value or name that there isn't.

    static stringEx MonthToStr(MONTH month);
    static MONTH StrToMonth(const stringEx& name);
    static stringEx WeekDayToStr(WEEKDAY weekday);
    static WEEKDAY StrToWeekDay(const stringEx& name);

    /// Hours and minutes, with a "-" in front when west of UTC: "0800", "-0330".
    static stringEx TzToStr(short tz);
    /// What `TzToStr` writes, also with a "+", also behind one of "UTC", "GMT", "CUT", "TAI", which
    /// alone are 0; "NOTZ" is `LOCAL_ZONE`. Throws `timeExp` for anything else.
    static short StrToTz(const stringEx& text);

    /// Replaces each key behind a "%": Y y year (y: two digits from 1970 to 2038), M month, A its
    /// name, d day of month, D of year, W weekday (Sunday is 7), B its name, wm ws week of the year
    /// from Monday or Sunday, H h hour of 24 or 12, T minute, S second, ms us below the second, P p
    /// AM or am, Z zone as +0800, z in minutes, C century. "%%" is a percent sign, and of an
    /// unknown key only the "%" goes. Of an invalid time the whole text is "invalid time".
    void Format(stringEx& out, const stringEx& fmt, short tz = LOCAL_ZONE) const;
    void Format(wstringEx& out, const wstringEx& fmt, short tz = LOCAL_ZONE) const;
    stringEx Format(const stringEx& fmt, short tz = LOCAL_ZONE) const;

    /// Microseconds since 1601 in zone `tz`. (The foreign type counts tenths of these; the factor
    /// is the caller's.)
    CLongLongNative ToWinFILETIME(short tz = 0) const;
    static CTime FromWinFILETIME(const CLongLongNative& value, short tz = 0);

    /// Minutes east of UTC, asked of the system once. Safe from every thread.
    static short GetLocalTimeZone();
    static void RefreshLocalTimeZone();
    /// `LOCAL_ZONE` asks the system again.
    static void SetLocalTimeZone_(short tz);

    /// Sets the machine's clock. Throws `timeExp`.
    static void SetSystemTime(const CTime& time);

    constexpr auto operator<=>(const CTime&) const = default;
    CTime operator+(const CTimeSpan& span) const;
    CTime operator-(const CTimeSpan& span) const;
    /// `tsINF` if either is invalid.
    CTimeSpan operator-(const CTime& other) const;

private:
    template <class Change>
    void __Change(short tz, Change change);
    void __Set(const TIME& time);

    long long __count = 0;
};

inline constexpr CTime tmZERO{0};
inline constexpr CTime tmINV{std::numeric_limits<long long>::min()};
inline constexpr CTime tmMIN{std::numeric_limits<long long>::min() + 1};
inline constexpr CTime tmMAX{std::numeric_limits<long long>::max()};
inline constexpr CTimeSpan tsZERO{0};
inline constexpr CTimeSpan tsINF{std::numeric_limits<long long>::max()};

} // namespace Quil
