// Calendar, arithmetic and texts of times and spans, against worked values and the C library.
#include "tests/sys/message_of.h"
#include "util/sys/errhdl.h"
#include "util/sys/time.h"

#include <gtest/gtest.h>
#include <limits>
#include <random>
#include <string>
#include <vector>

namespace {

using namespace Quil;
using TEST::MessageOf;

CTime At(long year, int month, int day, int hour = 0, int minute = 0, int second = 0,
         unsigned int microsecond = 0, short tz = 0) {
    CTime time;
    time.Set(year, static_cast<CTime::MONTH>(month), static_cast<unsigned short>(day),
             static_cast<unsigned short>(hour), static_cast<unsigned short>(minute),
             static_cast<unsigned short>(second), microsecond, tz);
    return time;
}

const char* const FULL = "%Y-%M-%d %H:%T:%S.%us %B %D UTC%Z";

TEST(Time, CalendarToTheEndsOfTheRange) {
    const struct {
        long long count;
        short tz;
        const char* text;
    } rows[] = {
        {1260664205000123, 480, "2009-12-13 08:30:05.000123 Sun 347 UTC+0800"},
        {-1, 480, "1970-01-01 07:59:59.999999 Thu 001 UTC+0800"},
        {-1, 0, "1969-12-31 23:59:59.999999 Wed 365 UTC+0000"},
        {-62167219200000000, 0, "0-01-01 00:00:00.000000 Sat 001 UTC+0000"},
        {tmMIN.GetMicroseconds(), 0, "-290308-12-21 19:59:05.224193 Sun 356 UTC+0000"},
        {tmMAX.GetMicroseconds(), 0, "294247-01-10 04:00:54.775807 Sun 010 UTC+0000"},
        {tmMAX.GetMicroseconds(), 840, "294247-01-10 18:00:54.775807 Sun 010 UTC+1400"},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(CTime(row.count).Format(FULL, row.tz), row.text);
    }
    EXPECT_EQ(At(0, 2, 29).Format("%B %D", 0), "Tue 060");
    EXPECT_EQ(At(-4, 2, 29).Format("%B", 0), "Thu");
    EXPECT_EQ(At(1600, 12, 31).Format("%B %D", 0), "Sun 366");
    EXPECT_EQ(At(2009, 12, 13, 8, 30, 5, 123, 480).GetMicroseconds(), 1260664205000123);
    EXPECT_EQ(At(-1, 12, 31).GetMicroseconds(), -62167219200000000 - 86400000000);
}

TEST(Time, AgreesWithTheCLibrary) {
    std::mt19937_64 random(7);
    for (int round = 0; round < 10000; ++round) {
        const auto count = static_cast<long long>(random()) / 4;
        const CTime time(count);
        tm mine;
        tm theirs;
        time.GetTm(mine, 0);
        const time_t seconds = time.GetTime_T();
        ASSERT_NE(gmtime_r(&seconds, &theirs), nullptr);
        const auto parts = [](const tm& t) {
            return std::vector{t.tm_year, t.tm_yday, t.tm_mon, t.tm_mday,
                               t.tm_wday, t.tm_hour, t.tm_min, t.tm_sec};
        };
        ASSERT_EQ(parts(mine), parts(theirs)) << count;
        CTime::TIME f;
        time.GetTime(f, 345);
        ASSERT_EQ(At(f.year, f.month, f.dayOfMonth, f.hour, f.minute, f.second, f.microsecond, 345),
                  time);
    }
}

TEST(Time, FormatKeys) {
    const struct {
        CTime time;
        short tz;
        const char* format;
        const char* text;
    } rows[] = {
        {At(1969, 1, 1), 0, "%y", "1969"},
        {At(1970, 1, 1), 0, "%y", "70"},
        {At(2005, 1, 1), 0, "%y", "05"},
        {At(2038, 1, 1), 0, "%y", "38"},
        {At(2039, 1, 1), 0, "%y", "2039"},
        {At(2000, 1, 1), 0, "%C", "21"},
        {At(1999, 1, 1), 0, "%C", "20"},
        {At(0, 1, 1), 0, "%C", "1"},
        {At(-1, 1, 1), 0, "%C", "-1"},
        {At(-100, 1, 1), 0, "%C", "-2"},
        {At(2009, 12, 13), 0, "%W %B", "7 Sun"},
        {At(2009, 12, 13), 0, "%wm/%ws", "49/50"},
        {At(2024, 12, 30), 0, "%wm/%ws", "53/52"},
        {At(2023, 1, 1), 0, "%wm/%ws", "00/01"},
        {At(2023, 1, 1, 0), 0, "%h%P", "12AM"},
        {At(2023, 1, 1, 12), 0, "%h%p", "12pm"},
        {At(2023, 1, 1, 13), 0, "%h %A", "1 Jan"},
        {tmZERO, -300, "%Z %z", "-0500 -300"},
        {tmZERO, 0, "100%% %Q%", "100% Q"},
        {CTime(1234567), 0, "%ms %us", "234 234567"},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(row.time.Format(row.format, row.tz), row.text);
        wstringEx wide;
        row.time.Format(wide, stringEx(row.format).to_wstr(), row.tz);
        EXPECT_EQ(wide.to_str(), row.text);
    }
}

TEST(Time, SpanKeys) {
    const struct {
        long long count;
        const char* format;
        const char* text;
    } rows[] = {
        {694861002003, "%W %TD %PD %TH %PH %TM %TS %Tms %Pms %Pus",
         "1 8 1 193 01 11581 694861 694861002 002 003"},
        {90LL * 60000000, "%TH %sTH %PM %TM", "01 1 30 90"},
        {-90LL * 60000000, "%TH %TM %PM", "-1 -90 30"},
        {-8LL * 86400000000, "%W %PD %TD", "-1 1 -8"},
        {tsINF.GetMicroseconds(), "%Tus", "9223372036854775807"},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(CTimeSpan(row.count).Format(row.format), row.text);
    }
}

TEST(Time, MonthsKeepAValidDay) {
    const struct {
        CTime time;
        long months;
        CTime result;
    } rows[] = {
        {At(2024, 1, 31, 5), 1, At(2024, 2, 29, 5)},
        {At(2023, 1, 31), 1, At(2023, 2, 28)},
        {At(2024, 3, 31), -1, At(2024, 2, 29)},
        {At(2024, 1, 31), -13, At(2022, 12, 31)},
        {At(0, 1, 31), -1, At(-1, 12, 31)},
        {At(293640, 12, 1), 1, tmINV},
        {tmZERO, std::numeric_limits<long>::min(), tmINV},
    };
    for (const auto& row : rows) {
        CTime time(row.time);
        time.AddMonth(row.months, 0);
        EXPECT_EQ(time, row.result) << row.months;
    }
    CTime leap = At(2024, 2, 29);
    leap.AddYears(1, 0);
    EXPECT_EQ(leap, At(2025, 2, 28));
    leap.AddYears(std::numeric_limits<long>::max(), 0);
    EXPECT_EQ(leap, tmINV);
    EXPECT_EQ(At(2024, 13, 1), tmINV);
    EXPECT_EQ(At(293641, 1, 1), tmINV);
}

TEST(Time, SettersChangeOnePart) {
    const CTime start = At(2024, 2, 29, 10, 20, 30, 400);
    const struct {
        const char* name;
        void (*set)(CTime& time);
        CTime result;
    } rows[] = {
        {"year", [](CTime& t) { t.SetYear(2023, 0); }, At(2023, 2, 28, 10, 20, 30, 400)},
        {"month", [](CTime& t) { t.SetMonth(CTime::APRIL, 0); }, At(2024, 4, 29, 10, 20, 30, 400)},
        {"day", [](CTime& t) { t.SetDayOfMonth(31, 0); }, start},
        {"day in a zone", [](CTime& t) { t.SetDayOfMonth(2, 840); },
         At(2024, 3, 1, 10, 20, 30, 400)},
        {"day 0", [](CTime& t) { t.SetDayOfMonth(0, 0); }, tmINV},
        {"hour", [](CTime& t) { t.SetHour(23, 0); }, At(2024, 2, 29, 23, 20, 30, 400)},
        {"hour 24", [](CTime& t) { t.SetHour(24, 0); }, tmINV},
        {"minute", [](CTime& t) { t.SetMinute(0, 0); }, At(2024, 2, 29, 10, 0, 30, 400)},
        {"minute 60", [](CTime& t) { t.SetMinute(60, 0); }, tmINV},
        {"second", [](CTime& t) { t.SetSecond(59, 0); }, At(2024, 2, 29, 10, 20, 59, 400)},
        {"second 60", [](CTime& t) { t.SetSecond(60, 0); }, tmINV},
        {"microsecond", [](CTime& t) { t.SetMicrosec(999999); },
         At(2024, 2, 29, 10, 20, 30, 999999)},
        {"a whole second", [](CTime& t) { t.SetMicrosec(1000000); }, tmINV},
        {"date", [](CTime& t) { t.SetDatePart(1, CTime::JUNE, 31, 0); },
         At(1, 6, 30, 10, 20, 30, 400)},
        {"time", [](CTime& t) { t.SetTimePart(1, 2, 3, 4, 0); }, At(2024, 2, 29, 1, 2, 3, 4)},
    };
    for (const auto& row : rows) {
        CTime time(start);
        row.set(time);
        EXPECT_EQ(time, row.result) << row.name;
    }
    EXPECT_EQ(start.GetQuarter(0), 1);
    EXPECT_EQ(At(2024, 12, 1).GetQuarter(0), 4);
    EXPECT_EQ(start.GetBeginOfMonth(0), At(2024, 2, 1));
    EXPECT_EQ(start.GetMicrosec(), 400U);
    EXPECT_EQ(CTime(-1).GetMicrosec(), 999999U);
    EXPECT_EQ(start.GetDayOfYear(840), 61); // already the first of March there
}

TEST(Time, WeekHelpers) {
    const CTime sunday = At(2009, 12, 13, 7);
    EXPECT_EQ(sunday.GetBeginOfWeek(CTime::MONDAY, 0), At(2009, 12, 7));
    EXPECT_EQ(sunday.GetBeginOfWeek(CTime::SUNDAY, 0), At(2009, 12, 13));
    EXPECT_EQ(sunday.GetNearestWeekDay(CTime::WEDNESDAY, 0), At(2009, 12, 16, 7));
    EXPECT_EQ(sunday.GetNearestWeekDay(CTime::THURSDAY, 0), At(2009, 12, 10, 7));
    EXPECT_EQ(sunday.GetNthWeekDayInMonth(CTime::TUESDAY, 5, 0), At(2009, 12, 29, 7));
    EXPECT_EQ(sunday.GetNthWeekDayInMonth(CTime::FRIDAY, 5, 0), tmINV);
    EXPECT_EQ(sunday.GetLastWeekDayInMonth(CTime::FRIDAY, 0), At(2009, 12, 25, 7));
    EXPECT_TRUE(CTime::IsLeapYear(2000) && CTime::IsLeapYear(2008) && !CTime::IsLeapYear(1900));
}

TEST(Time, NamesAndZonesReadBack) {
    for (unsigned short month = 1; month <= 12; ++month) {
        const auto value = static_cast<CTime::MONTH>(month);
        EXPECT_EQ(CTime::StrToMonth(CTime::MonthToStr(value)), value);
    }
    EXPECT_EQ(CTime::StrToMonth("september"), CTime::SEPTEMBER);
    EXPECT_EQ(CTime::StrToWeekDay("WEDNESDAY"), CTime::WEDNESDAY);
    EXPECT_EQ(CTime::StrToWeekDay("sun"), CTime::SUNDAY);
    EXPECT_EQ(MessageOf<timeExp>([] { CTime::StrToMonth("sept"); }),
              "CTime::StrToMonth - Unknown Month : sept");
    EXPECT_EQ(MessageOf<timeExp>([] { CTime::StrToWeekDay(""); }),
              "CTime::StrToWeekDay - Unknown Weekday : ");
    for (const int wrong : {0, 13, 65535}) {
        EXPECT_EQ(MessageOf<timeExp>([&] { CTime::MonthToStr(static_cast<CTime::MONTH>(wrong)); }),
                  "CTime::MonthToStr - Unknown Month : " + std::to_string(wrong));
    }
    EXPECT_THROW(CTime::WeekDayToStr(CTime::NO_WEEKDAY), timeExp);
    const struct {
        const char* text;
        short zone;
    } rows[] = {{"UTC", 0},    {"UTC+0800", 480},           {"-0330", -210}, {"5", 300},
                {"-11", -660}, {"notz", CTime::LOCAL_ZONE}, {"gmt-1", -60}};
    for (const auto& row : rows) {
        EXPECT_EQ(CTime::StrToTz(row.text), row.zone) << row.text;
    }
    for (const char* wrong : {"", "+", "0860", "12345", "EST", "UTC+x"}) {
        EXPECT_THROW(CTime::StrToTz(wrong), timeExp) << wrong;
    }
    for (const short tz : {short{345}, short{-300}, short{-1}}) {
        EXPECT_EQ(CTime::StrToTz(CTime::TzToStr(tz)), tz);
    }
}

TEST(Time, ArithmeticSaturatesAndFloors) {
    EXPECT_EQ(tmMAX + CTimeSpan(1), tmMAX);
    EXPECT_EQ(tmMIN - CTimeSpan(5), tmMIN);
    EXPECT_EQ(tmMAX - tmMIN, tsINF);
    timespec spec;
    CTimeSpan(-1500000).ToTimespec(spec);
    EXPECT_EQ(spec.tv_sec, -2);
    EXPECT_EQ(spec.tv_nsec, 500000000);
    CTimeSpan back;
    constexpr long long least = std::numeric_limits<long long>::min();
    for (const long long count :
         {-1500000LL, -1LL, 0LL, 1500000LL, least, tsINF.GetMicroseconds(), least + 7}) {
        timeval value;
        CTimeSpan(count).ToTimespec(spec);
        CTimeSpan(count).ToTimeval(value);
        EXPECT_EQ(spec.tv_nsec, value.tv_usec * 1000L);
        back.FromTimespec(spec);
        EXPECT_EQ(back, CTimeSpan(count));
        back.FromTimeval(value);
        EXPECT_EQ(back, CTimeSpan(count));
    }
    back.FromTimespec({std::numeric_limits<time_t>::min(), 0});
    EXPECT_EQ(back, CTimeSpan(least));
    back.FromTimespec({std::numeric_limits<time_t>::max(), 999999999});
    EXPECT_EQ(back, tsINF);
    const CLongLongNative none(0);
    back.Set(CLongLongNative(200000000), none, none, none, none, none);
    EXPECT_EQ(back, tsINF);
    back.Set(CLongLongNative(200000000), CLongLongNative(-24LL * 200000000), none, none, none,
             CLongLongNative(7));
    EXPECT_EQ(back, CTimeSpan(7)); // only the total counts
    EXPECT_EQ(CTime::FromWinFILETIME(tmMAX.ToWinFILETIME(-32767), -32767),
              CTime::FromWinFILETIME(CLongLongNative(tmMAX.GetMicroseconds()), -32767));
    EXPECT_EQ(CTime::FromWinFILETIME(CTime(77).ToWinFILETIME()), CTime(77));
}

TEST(Time, WhatIsInvalidStaysSo) {
    using CHANGE = CTime (*)(CTime);
    const CHANGE changes[] = {
        [](CTime t) { return t + CTimeSpan(1); },
        [](CTime t) { return t - CTimeSpan(-1); },
        [](CTime t) { return t.SetMonth(CTime::MAY, 0), t; },
        [](CTime t) { return t.SetHour(3, 0), t; },
        [](CTime t) { return t.SetDatePart(2000, CTime::MAY, 1, 0), t; },
        [](CTime t) { return t.SetDayOfYear(1, 0), t; },
        [](CTime t) { return t.AddMonth(1, 0), t; },
        [](CTime t) { return t.GetBeginOfMonth(0); },
        [](CTime t) { return t.GetBeginOfWeek(CTime::MONDAY, 0); },
        [](CTime t) { return t.GetNearestWeekDay(CTime::MONDAY, 0); },
        [](CTime t) { return t.GetLastWeekDayInMonth(CTime::MONDAY, 0); },
        [](CTime t) { return CTime::FromWinFILETIME(t.ToWinFILETIME()); },
    };
    for (std::size_t i = 0; i != std::size(changes); ++i) {
        EXPECT_FALSE(changes[i](tmINV).IsValid()) << i;
        EXPECT_TRUE(changes[i](tmZERO).IsValid()) << i;
    }
    EXPECT_EQ(tmINV - tmZERO, tsINF);
    EXPECT_EQ(tmINV.Format(FULL, 0), "invalid time");
    EXPECT_EQ(tmINV.GetWeekDay(0), CTime::NO_WEEKDAY);
    EXPECT_THROW(tmINV.GetTime_T(), timeExp);
}

TEST(Time, ADayThatTheYearLacksIsRefused) {
    CTime time = At(2023, 3, 1, 6);
    time.SetDayOfYear(365, 0);
    EXPECT_EQ(time, At(2023, 12, 31, 6));
    EXPECT_NE(MessageOf<timeExp>([&] { time.SetDayOfYear(366, 0); })
                  .find("\n             may be out of range\n"
                        "  current obj's year          = 2023\n"
                        "  current timezone in minutes = 0\n"
                        "  the day of year value       = 366"),
              std::string::npos);
    EXPECT_EQ(time, At(2023, 12, 31, 6));
}

TEST(Time, TheLocalZoneIsTheSystems) {
    setenv("TZ", "XYZ-5:30", 1);
    CTime::RefreshLocalTimeZone();
    EXPECT_EQ(CTime::GetLocalTimeZone(), 330);
    EXPECT_EQ(tmZERO.Format("%H:%T %z"), "05:30 330");
    CTime::SetLocalTimeZone_(-60);
    EXPECT_EQ(tmZERO.GetHour(), 23);
    unsetenv("TZ");
    CTime::RefreshLocalTimeZone();
}

} // namespace
