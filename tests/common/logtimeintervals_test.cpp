/*
 * logtimeintervals_test.cpp: the report and trend screens' time arithmetic,
 * in the local time of Europe/Berlin (localtimemain.cpp): record counts,
 * alignment, sampling times, stepping, report pages and the older documents'
 * numbering, across month ends, leap years and both daylight-saving changes
 * of 2024 (31 March, 02:00 CET -> 03:00 CEST; 27 October, 03:00 CEST ->
 * 02:00 CET).
 */
#include <MVShared/LogTimeIntervals.h>
#include <MVShared/SystemEnvironmentVariable.h>

#include <QtCore/QElapsedTimer>

#include <gtest/gtest.h>

using namespace Morvane;

namespace {

const int kCet = 3600;  /* UTC offset of winter time, seconds */
const int kCest = 7200; /* UTC offset of summer time */

QDateTime at(int year, int month, int day, int hour = 0, int minute = 0, int second = 0, int msec = 0)
{
    return QDateTime(QDate(year, month, day), QTime(hour, minute, second, msec));
}

/* 2024-10-27 02:30 in summer time, the first pass of the repeated hour. */
QDateTime firstPassOfRepeatedHour(int minute)
{
    return at(2024, 10, 27).addSecs(2 * 3600 + minute * 60);
}

/* The same wall-clock time an hour later, in winter time. */
QDateTime secondPassOfRepeatedHour(int minute)
{
    return firstPassOfRepeatedHour(minute).addSecs(3600);
}

class LogTimeIntervalsTest : public ::testing::Test
{
protected:
    void SetUp() override { clearFirstLogYear(); }
    void TearDown() override { clearFirstLogYear(); }

    static void clearFirstLogYear()
    {
        SystemEnvironmentVariable::setProperty(SystemEnvironmentVariable::YearLogStartDate, QVariant());
    }
};

using LogTimeZoneTest = LogTimeIntervalsTest;

} // namespace

/* ---- The zone the tests rely on ---- */

TEST_F(LogTimeZoneTest, ProcessRunsInBerlinTimeWithBothChanges)
{
    EXPECT_EQ(at(2024, 1, 15, 12).offsetFromUtc(), kCet);
    EXPECT_EQ(at(2024, 7, 15, 12).offsetFromUtc(), kCest);
    EXPECT_EQ(firstPassOfRepeatedHour(30).offsetFromUtc(), kCest);
    EXPECT_EQ(secondPassOfRepeatedHour(30).offsetFromUtc(), kCet);
    EXPECT_EQ(firstPassOfRepeatedHour(30).time(), QTime(2, 30));
    EXPECT_EQ(secondPassOfRepeatedHour(30).time(), QTime(2, 30));
}

/* ---- Interval lengths and default pages ---- */

TEST_F(LogTimeIntervalsTest, IntervalLengthOfMonthIsOne)
{
    EXPECT_EQ(getLogIntervalMSecond(Month), 1);
}

TEST_F(LogTimeIntervalsTest, IntervalLengthsOfFixedIntervalsInMilliseconds)
{
    EXPECT_EQ(getLogIntervalMSecond(Second), 1000);
    EXPECT_EQ(getLogIntervalMSecond(Minute), 60000);
    EXPECT_EQ(getLogIntervalMSecond(Hour), 3600000);
    EXPECT_EQ(getLogIntervalMSecond(Day), 86400000);
    EXPECT_EQ(getLogIntervalMSecond(Week), 1);
    EXPECT_EQ(getLogIntervalMSecond(Year), 1);
    EXPECT_EQ(getLogIntervalMSecond(AllYears), 1);
    EXPECT_EQ(getLogIntervalMSecond(static_cast<LogDataIntervalType>(7)), 1);
}

TEST_F(LogTimeIntervalsTest, DefaultReportPageIsTheNextLargerPeriodOrDay)
{
    EXPECT_EQ(getLogReportDefaultPeriodType(Day), Month);
    EXPECT_EQ(getLogReportDefaultPeriodType(Month), Year);
    EXPECT_EQ(getLogReportDefaultPeriodType(Year), AllYears);
    EXPECT_EQ(getLogReportDefaultPeriodType(Minute), Day);
    EXPECT_EQ(getLogReportDefaultPeriodType(Hour), Day);
    EXPECT_EQ(getLogReportDefaultPeriodType(Second), Day);
    EXPECT_EQ(getLogReportDefaultPeriodType(Week), Day);
    EXPECT_EQ(getLogReportDefaultPeriodType(AllYears), Day);
}

TEST_F(LogTimeIntervalsTest, EnumeratorsKeepTheirStoredNumbers)
{
    EXPECT_EQ(Minute, 0);
    EXPECT_EQ(Hour, 1);
    EXPECT_EQ(Day, 2);
    EXPECT_EQ(Month, 3);
    EXPECT_EQ(Year, 4);
    EXPECT_EQ(AllYears, 5);
    EXPECT_EQ(Second, 6);
    EXPECT_EQ(Week, 8);
    EXPECT_EQ(static_cast<int>(DisplayPeriodType::Hour), 0);
    EXPECT_EQ(static_cast<int>(DisplayPeriodType::AllYears), 4);
}

/* ---- Record counts ---- */

TEST_F(LogTimeIntervalsTest, CountsRoundMinutesDownAndPartialMonthsUpAndReversedRanges)
{
    EXPECT_EQ(getDataCountBetweenRange(at(2024, 5, 6, 0, 0, 0), at(2024, 5, 6, 0, 1, 59), Minute), 1);
    EXPECT_EQ(getDataCountBetweenRange(at(2024, 1, 1), at(2024, 1, 15), Month), 1);
    EXPECT_EQ(getDataCountBetweenRange(at(2024, 1, 1), at(2024, 2, 1), Month), 1);
    EXPECT_EQ(getDataCountBetweenRange(at(2024, 1, 1), at(2024, 2, 2), Month), 2);
    const QDateTime later = at(2024, 3, 10, 12);
    const QDateTime earlier = at(2024, 3, 8, 6, 30);
    EXPECT_EQ(getDataCountBetweenRange(later, earlier, Month), 0);
    EXPECT_EQ(getDataCountBetweenRange(later, earlier, Year), 0);
    EXPECT_EQ(getDataCountBetweenRange(later, earlier, Minute), -3210);
    EXPECT_EQ(getDataCountBetweenRange(later, earlier, Hour), -53);
    EXPECT_EQ(getDataCountBetweenRange(later, earlier, Day), -2);
}

TEST_F(LogTimeIntervalsTest, HourCountTruncatesTowardZero)
{
    EXPECT_EQ(getDataCountBetweenRange(at(2024, 5, 6, 10), at(2024, 5, 6, 12, 59, 59), Hour), 2);
    EXPECT_EQ(getDataCountBetweenRange(at(2024, 5, 6, 12, 59, 59), at(2024, 5, 6, 10), Hour), -2);
}

TEST_F(LogTimeIntervalsTest, DayCountCountsCalendarDatesNotElapsedTime)
{
    EXPECT_EQ(getDataCountBetweenRange(at(2024, 5, 6, 23, 59), at(2024, 5, 7, 0, 1), Day), 1);
    EXPECT_EQ(getDataCountBetweenRange(at(2024, 2, 28), at(2024, 3, 1), Day), 2);
    EXPECT_EQ(getDataCountBetweenRange(at(2023, 2, 28), at(2023, 3, 1), Day), 1);
}

TEST_F(LogTimeIntervalsTest, EqualTimesCountNothing)
{
    const QDateTime t = at(2024, 5, 6, 10);
    for (LogDataIntervalType interval : {Minute, Hour, Day, Month, Year})
        EXPECT_EQ(getDataCountBetweenRange(t, t, interval), 0) << interval;
}

TEST_F(LogTimeIntervalsTest, SecondWeekAndOtherIntervalsCountNothing)
{
    const QDateTime start = at(2024, 1, 1);
    const QDateTime end = at(2024, 6, 1);
    EXPECT_EQ(getDataCountBetweenRange(start, end, Second), 0);
    EXPECT_EQ(getDataCountBetweenRange(start, end, Week), 0);
    EXPECT_EQ(getDataCountBetweenRange(start, end, AllYears), 0);
    EXPECT_EQ(getDataCountBetweenRange(start, end, static_cast<LogDataIntervalType>(7)), 0);
}

TEST_F(LogTimeIntervalsTest, MonthStepsCarryTheClampedDayOfMonthEnds)
{
    /* 31 January steps to 29 February, then 29 March: still before 31
     * March, so a third step counts. */
    EXPECT_EQ(getDataCountBetweenRange(at(2024, 1, 31), at(2024, 3, 29), Month), 2);
    EXPECT_EQ(getDataCountBetweenRange(at(2024, 1, 31), at(2024, 3, 30), Month), 3);
    EXPECT_EQ(getDataCountBetweenRange(at(2024, 1, 31), at(2024, 3, 31), Month), 3);
    /* In a common year the clamp goes to the 28th. */
    EXPECT_EQ(getDataCountBetweenRange(at(2023, 1, 31), at(2023, 3, 28), Month), 2);
    EXPECT_EQ(getDataCountBetweenRange(at(2023, 1, 31), at(2023, 3, 29), Month), 3);
}

TEST_F(LogTimeIntervalsTest, YearStepsFromLeapDayCarryTheTwentyEighth)
{
    /* 29 February 2024 steps to 28 February 2025, 2026, 2027, 2028. */
    EXPECT_EQ(getDataCountBetweenRange(at(2024, 2, 29), at(2028, 2, 28), Year), 4);
    EXPECT_EQ(getDataCountBetweenRange(at(2024, 2, 29), at(2028, 2, 29), Year), 5);
    EXPECT_EQ(getDataCountBetweenRange(at(2024, 1, 1), at(2024, 12, 31), Year), 1);
}

TEST_F(LogTimeIntervalsTest, InvalidTimesCountNothing)
{
    for (LogDataIntervalType interval : {Minute, Hour, Day, Month, Year}) {
        EXPECT_EQ(getDataCountBetweenRange(QDateTime(), at(2024, 1, 1), interval), 0) << interval;
        EXPECT_EQ(getDataCountBetweenRange(at(2024, 1, 1), QDateTime(), interval), 0) << interval;
    }
}

TEST_F(LogTimeIntervalsTest, LongCalendarRangesCountPromptlyAndExactly)
{
    QElapsedTimer timer;
    timer.start();
    /* A thousand years from a month end: the day settles on the 28th, so
     * the last step from 28 January 2024 still has to be taken. */
    EXPECT_EQ(getDataCountBetweenRange(at(1024, 1, 31), at(2024, 1, 31), Month), 12001);
    EXPECT_EQ(getDataCountBetweenRange(at(1024, 1, 1), at(2024, 1, 1), Month), 12000);
    EXPECT_EQ(getDataCountBetweenRange(at(1, 1, 1), at(200000000, 1, 1), Year), 199999999);
    /* More months than an int holds: saturated, not wrapped. */
    EXPECT_EQ(getDataCountBetweenRange(at(1, 1, 1), at(200000000, 1, 1), Month), 2147483647);
    EXPECT_LT(timer.elapsed(), 5000);
}

/* ---- Alignment ---- */

TEST_F(LogTimeIntervalsTest, MinuteAlignmentUsesMultiplesOfCountAndCountZeroAsOne)
{
    const QDateTime t = at(2024, 5, 6, 10, 37, 45);
    EXPECT_EQ(makeDateTimeAlign(Minute, t, 15), at(2024, 5, 6, 10, 30));
    EXPECT_EQ(makeDateTimeAlign(Minute, t, 0), at(2024, 5, 6, 10, 37));
}

TEST_F(LogTimeIntervalsTest, MinuteAlignmentKeepsNegativeCount)
{
    /* 37 / -15 * -15 is 30 in integer arithmetic. */
    EXPECT_EQ(makeDateTimeAlign(Minute, at(2024, 5, 6, 10, 37, 45), -15), at(2024, 5, 6, 10, 30));
    EXPECT_EQ(makeDateTimeAlign(Minute, at(2024, 5, 6, 10, 37, 45), -1), at(2024, 5, 6, 10, 37));
}

TEST_F(LogTimeIntervalsTest, AlignmentToHourDayMonthAndYearStarts)
{
    const QDateTime t = at(2024, 5, 6, 10, 37, 45, 123);
    EXPECT_EQ(makeDateTimeAlign(Hour, t, 7), at(2024, 5, 6, 10));
    EXPECT_EQ(makeDateTimeAlign(Day, t, 1), at(2024, 5, 6));
    EXPECT_EQ(makeDateTimeAlign(Month, t, 1), at(2024, 5, 1));
    EXPECT_EQ(makeDateTimeAlign(Year, t, 1), at(2024, 1, 1));
}

TEST_F(LogTimeIntervalsTest, AlignmentLeavesOtherIntervalsUnchanged)
{
    const QDateTime t = at(2024, 5, 6, 10, 37, 45, 123);
    EXPECT_EQ(makeDateTimeAlign(Second, t, 1), t);
    EXPECT_EQ(makeDateTimeAlign(Week, t, 1), t);
    EXPECT_EQ(makeDateTimeAlign(AllYears, t, 1), t);
}

TEST_F(LogTimeIntervalsTest, MinuteTruncationDropsSecondsAndMilliseconds)
{
    EXPECT_EQ(alignTimeByMinute(at(2024, 5, 6, 10, 37, 59, 999)), at(2024, 5, 6, 10, 37));
}

/* ---- Next sampling time ---- */

TEST_F(LogTimeIntervalsTest, NextSamplingTimeIsStrictlyLaterAndCalendarAligned)
{
    EXPECT_EQ(getNextIntervalTime(at(2024, 5, 6, 10, 15), Minute, 15), at(2024, 5, 6, 10, 30));
    EXPECT_EQ(getNextIntervalTime(at(2024, 5, 6, 10, 16, 30), Minute, 15), at(2024, 5, 6, 10, 30));
    EXPECT_EQ(getNextIntervalTime(at(2024, 4, 17, 9, 5), Month, 3), at(2024, 7, 1));
    EXPECT_EQ(getNextIntervalTime(at(2024, 3, 17, 9, 5), Month, 3), at(2024, 4, 1));
}

TEST_F(LogTimeIntervalsTest, QuarterlySamplingLandsOnQuarterStartsAfterTheMonth)
{
    const QDate expected[12] = {{2024, 4, 1}, {2024, 4, 1}, {2024, 4, 1}, {2024, 7, 1},
                                {2024, 7, 1}, {2024, 7, 1}, {2024, 10, 1}, {2024, 10, 1},
                                {2024, 10, 1}, {2025, 1, 1}, {2025, 1, 1}, {2025, 1, 1}};
    for (int month = 1; month <= 12; ++month)
        EXPECT_EQ(getNextIntervalTime(at(2024, month, 1), Month, 3), QDateTime(expected[month - 1], QTime(0, 0)))
            << month;
}

TEST_F(LogTimeIntervalsTest, MonthlySamplingCountBelowOneTakenAsOne)
{
    EXPECT_EQ(getNextIntervalTime(at(2024, 12, 31, 23, 59), Month, 1), at(2025, 1, 1));
    EXPECT_EQ(getNextIntervalTime(at(2024, 5, 6), Month, 0), at(2024, 6, 1));
    EXPECT_EQ(getNextIntervalTime(at(2024, 5, 6), Month, -4), at(2024, 6, 1));
}

TEST_F(LogTimeIntervalsTest, SamplingOnABoundaryAdvancesAWholeStep)
{
    EXPECT_EQ(getNextIntervalTime(at(2024, 5, 6, 10), Hour, 1), at(2024, 5, 6, 11));
    EXPECT_EQ(getNextIntervalTime(at(2024, 5, 6), Day, 1), at(2024, 5, 7));
    /* Milliseconds are dropped first: 10:15:00.500 is on the boundary. */
    EXPECT_EQ(getNextIntervalTime(at(2024, 5, 6, 10, 15, 0, 500), Minute, 15), at(2024, 5, 6, 10, 30));
}

TEST_F(LogTimeIntervalsTest, HourSamplingCountsFromMidnight)
{
    EXPECT_EQ(getNextIntervalTime(at(2024, 5, 6, 10, 20), Hour, 4), at(2024, 5, 6, 12));
    EXPECT_EQ(getNextIntervalTime(at(2024, 5, 6, 22, 20), Hour, 5), at(2024, 5, 7, 1));
    EXPECT_EQ(getNextIntervalTime(at(2024, 5, 6, 10, 20), Hour, 0), at(2024, 5, 6, 11));
}

TEST_F(LogTimeIntervalsTest, DaySamplingCountsFromTheFirstOfTheMonthAcrossMonthEnds)
{
    EXPECT_EQ(getNextIntervalTime(at(2024, 1, 31, 12), Day, 1), at(2024, 2, 1));
    /* 30.5 days after 1 January; the next multiple of two days is 32. */
    EXPECT_EQ(getNextIntervalTime(at(2024, 1, 31, 12), Day, 2), at(2024, 2, 2));
    EXPECT_EQ(getNextIntervalTime(at(2024, 2, 28, 12), Day, 3), at(2024, 3, 2));
    EXPECT_EQ(getNextIntervalTime(at(2023, 2, 28, 12), Day, 3), at(2023, 3, 3));
}

TEST_F(LogTimeIntervalsTest, SecondYearAndWeekSamplingAdvanceByCountSeconds)
{
    const QDateTime t = at(2024, 5, 6, 10, 37, 45, 250);
    EXPECT_EQ(getNextIntervalTime(t, Second, 5), at(2024, 5, 6, 10, 37, 50));
    EXPECT_EQ(getNextIntervalTime(t, Year, 3), at(2024, 5, 6, 10, 37, 48));
    EXPECT_EQ(getNextIntervalTime(t, Week, 1), at(2024, 5, 6, 10, 37, 46));
    EXPECT_EQ(getNextIntervalTime(t, AllYears, 0), at(2024, 5, 6, 10, 37, 46));
}

/* ---- Stepping ---- */

TEST_F(LogTimeIntervalsTest, SteppingMovesByCountIntervalsEitherWay)
{
    const QDateTime t = at(2024, 5, 6, 10, 37, 45);
    EXPECT_EQ(nextDateInterval(t, Minute, 3), at(2024, 5, 6, 10, 40, 45));
    EXPECT_EQ(nextDateInterval(t, Hour, -2), at(2024, 5, 6, 8, 37, 45));
    EXPECT_EQ(nextDateInterval(t, Day, 30), at(2024, 6, 5, 10, 37, 45));
    EXPECT_EQ(nextDateInterval(t, Month, -5), at(2023, 12, 6, 10, 37, 45));
    EXPECT_EQ(nextDateInterval(t, Year, 2), at(2026, 5, 6, 10, 37, 45));
    EXPECT_EQ(nextDateInterval(t, Second, 15), at(2024, 5, 6, 10, 38));
    EXPECT_EQ(nextDateInterval(t, Day, 0), t);
}

TEST_F(LogTimeIntervalsTest, SteppingLeavesWeekAndAllYearsUnchanged)
{
    const QDateTime t = at(2024, 5, 6, 10, 37, 45);
    EXPECT_EQ(nextDateInterval(t, Week, 1), t);
    EXPECT_EQ(nextDateInterval(t, AllYears, 1), t);
}

TEST_F(LogTimeIntervalsTest, CalendarStepsClampToMonthEndsAndLeapDays)
{
    EXPECT_EQ(nextDateInterval(at(2024, 1, 31, 8), Month, 1), at(2024, 2, 29, 8));
    EXPECT_EQ(nextDateInterval(at(2023, 1, 31, 8), Month, 1), at(2023, 2, 28, 8));
    EXPECT_EQ(nextDateInterval(at(2024, 2, 29, 8), Year, 1), at(2025, 2, 28, 8));
    EXPECT_EQ(nextDateInterval(at(2024, 2, 29, 8), Year, 4), at(2028, 2, 29, 8));
    EXPECT_EQ(nextDateInterval(at(2024, 2, 28, 8), Day, 1), at(2024, 2, 29, 8));
}

/* ---- Report pages ---- */

TEST_F(LogTimeIntervalsTest, WeekPageOfASundayRunsFromTheMondayBefore)
{
    const auto page = makeLogReportDateInterval(Week, at(2024, 3, 10, 15));
    EXPECT_EQ(page.first, at(2024, 3, 4));
    EXPECT_EQ(page.second, at(2024, 3, 11));
}

TEST_F(LogTimeIntervalsTest, WeekPageOfAMondayStartsThatDayAndCrossesTheYear)
{
    EXPECT_EQ(makeLogReportDateInterval(Week, at(2024, 3, 4, 0, 0, 1)).first, at(2024, 3, 4));
    const auto page = makeLogReportDateInterval(Week, at(2025, 1, 1, 9));
    EXPECT_EQ(page.first, at(2024, 12, 30));
    EXPECT_EQ(page.second, at(2025, 1, 6));
}

TEST_F(LogTimeIntervalsTest, HourDayMonthAndYearPages)
{
    const QDateTime t = at(2024, 2, 10, 15, 42, 7);
    EXPECT_EQ(makeLogReportDateInterval(Hour, t), qMakePair(at(2024, 2, 10, 15), at(2024, 2, 10, 16)));
    EXPECT_EQ(makeLogReportDateInterval(Day, t), qMakePair(at(2024, 2, 10), at(2024, 2, 11)));
    EXPECT_EQ(makeLogReportDateInterval(Month, t), qMakePair(at(2024, 2, 1), at(2024, 3, 1)));
    EXPECT_EQ(makeLogReportDateInterval(Year, t), qMakePair(at(2024, 1, 1), at(2025, 1, 1)));
    EXPECT_EQ(makeLogReportDateInterval(Hour, at(2024, 12, 31, 23, 5)), qMakePair(at(2024, 12, 31, 23), at(2025, 1, 1)));
}

TEST_F(LogTimeIntervalsTest, HourPageOfAUtcOrOffsetTimeIsBuiltInLocalTimeFromItsDateAndHour)
{
    /* Local time here is an hour or two ahead of UTC, so the same wall clock
     * in UTC or at +05:00 is another instant than in local time. */
    const QDateTime utc(QDate(2024, 2, 10), QTime(15, 42, 7), Qt::UTC);
    const auto fromUtc = makeLogReportDateInterval(Hour, utc);
    EXPECT_EQ(fromUtc, qMakePair(at(2024, 2, 10, 15), at(2024, 2, 10, 16)));
    EXPECT_EQ(fromUtc.first.timeSpec(), Qt::LocalTime);
    EXPECT_EQ(fromUtc.second.timeSpec(), Qt::LocalTime);
    EXPECT_EQ(fromUtc.first.offsetFromUtc(), kCet);

    const QDateTime offset(QDate(2024, 7, 15), QTime(23, 5), Qt::OffsetFromUTC, 5 * 3600);
    const auto fromOffset = makeLogReportDateInterval(Hour, offset);
    EXPECT_EQ(fromOffset, qMakePair(at(2024, 7, 15, 23), at(2024, 7, 16)));
    EXPECT_EQ(fromOffset.first.timeSpec(), Qt::LocalTime);
    EXPECT_EQ(fromOffset.first.offsetFromUtc(), kCest);
    EXPECT_EQ(makeLogReportDateInterval2(DisplayPeriodType::Hour, offset), fromOffset);
}

TEST_F(LogTimeIntervalsTest, AllYearsPageStartsAtTheFirstLogYearAndEndsAfterThisYear)
{
    SystemEnvironmentVariable::setProperty(SystemEnvironmentVariable::YearLogStartDate, 2015);
    const auto page = makeLogReportDateInterval(AllYears, at(2019, 6, 1));
    EXPECT_EQ(page.first, at(2015, 1, 1));
    /* From today, not from the time asked about. */
    EXPECT_EQ(page.second, QDateTime(QDate(QDate::currentDate().year() + 1, 1, 1), QTime(0, 0)));
}

TEST_F(LogTimeIntervalsTest, AllYearsPageWithoutFirstLogYearHasInvalidStart)
{
    const auto page = makeLogReportDateInterval(AllYears, at(2019, 6, 1));
    EXPECT_FALSE(page.first.isValid());
    EXPECT_EQ(page.second, QDateTime(QDate(QDate::currentDate().year() + 1, 1, 1), QTime(0, 0)));
}

TEST_F(LogTimeIntervalsTest, PagesOfOtherIntervalsAreNull)
{
    for (LogDataIntervalType interval : {Minute, Second, static_cast<LogDataIntervalType>(7)}) {
        const auto page = makeLogReportDateInterval(interval, at(2024, 2, 10, 15));
        EXPECT_TRUE(page.first.isNull()) << interval;
        EXPECT_TRUE(page.second.isNull()) << interval;
    }
}

TEST_F(LogTimeIntervalsTest, DisplayPeriodPagesMatchTheIntervalPages)
{
    SystemEnvironmentVariable::setProperty(SystemEnvironmentVariable::YearLogStartDate, 2020);
    const QDateTime t = at(2024, 2, 10, 15, 42, 7);
    EXPECT_EQ(makeLogReportDateInterval2(DisplayPeriodType::Hour, t), makeLogReportDateInterval(Hour, t));
    EXPECT_EQ(makeLogReportDateInterval2(DisplayPeriodType::Day, t), makeLogReportDateInterval(Day, t));
    EXPECT_EQ(makeLogReportDateInterval2(DisplayPeriodType::Month, t), makeLogReportDateInterval(Month, t));
    EXPECT_EQ(makeLogReportDateInterval2(DisplayPeriodType::Year, t), makeLogReportDateInterval(Year, t));
    EXPECT_EQ(makeLogReportDateInterval2(DisplayPeriodType::AllYears, t), makeLogReportDateInterval(AllYears, t));
    EXPECT_EQ(makeLogReportDateInterval2(DisplayPeriodType::Day, t).first, at(2024, 2, 10));
}

TEST_F(LogTimeIntervalsTest, UnknownDisplayPeriodGivesNullPage)
{
    const auto page = makeLogReportDateInterval2(static_cast<DisplayPeriodType>(5), at(2024, 2, 10, 15));
    EXPECT_TRUE(page.first.isNull());
    EXPECT_TRUE(page.second.isNull());
}

/* ---- Older documents' numbering ---- */

TEST_F(LogTimeIntervalsTest, DeprecatedIntervalNumbersRoundTrip)
{
    for (LogDataIntervalType interval : {Minute, Hour, Day, Month, Year, Week})
        EXPECT_EQ(toLogDataInterval(static_cast<int>(toDeprecatedInterval(interval))), interval) << interval;
}

TEST_F(LogTimeIntervalsTest, DeprecatedIntervalNumbersReadAsTodaysIntervals)
{
    EXPECT_EQ(toLogDataInterval(0), Hour);
    EXPECT_EQ(toLogDataInterval(1), Day);
    EXPECT_EQ(toLogDataInterval(2), Month);
    EXPECT_EQ(toLogDataInterval(3), Year);
    EXPECT_EQ(toLogDataInterval(5), Minute);
    EXPECT_EQ(toLogDataInterval(6), Week);
    EXPECT_EQ(toLogDataInterval(4), Hour);
    EXPECT_EQ(toLogDataInterval(7), Hour);
    EXPECT_EQ(toLogDataInterval(-1), Hour);
}

TEST_F(LogTimeIntervalsTest, IntervalsWrittenWithDeprecatedNumbers)
{
    EXPECT_EQ(toDeprecatedInterval(Minute), DeprecatedLogDateType::Minute);
    EXPECT_EQ(static_cast<int>(toDeprecatedInterval(Minute)), 5);
    EXPECT_EQ(static_cast<int>(toDeprecatedInterval(Hour)), 0);
    EXPECT_EQ(static_cast<int>(toDeprecatedInterval(Day)), 1);
    EXPECT_EQ(static_cast<int>(toDeprecatedInterval(Month)), 2);
    EXPECT_EQ(static_cast<int>(toDeprecatedInterval(Year)), 3);
    EXPECT_EQ(static_cast<int>(toDeprecatedInterval(Week)), 6);
    EXPECT_EQ(toDeprecatedInterval(Second), DeprecatedLogDateType::Hour);
    EXPECT_EQ(toDeprecatedInterval(AllYears), DeprecatedLogDateType::Hour);
}

TEST_F(LogTimeIntervalsTest, DeprecatedAnalogKindsReadAsTodaysKinds)
{
    EXPECT_EQ(toDataKindType(0), MomentValue);
    EXPECT_EQ(toDataKindType(1), AverageValue);
    EXPECT_EQ(toDataKindType(2), MaximumValue);
    EXPECT_EQ(toDataKindType(3), MinimumValue);
    EXPECT_EQ(toDataKindType(4), DeltaValue);
    EXPECT_EQ(toDataKindType(5), LastValue);
    EXPECT_EQ(static_cast<int>(toDataKindType(6)), -1);
    EXPECT_EQ(static_cast<int>(toDataKindType(-1)), -1);
}

TEST_F(LogTimeIntervalsTest, AnalogKindsWrittenWithDeprecatedNumbers)
{
    EXPECT_EQ(toDeprecatedAnalogValueType(MomentValue), DeprecatedAnalogValueType::Moment);
    EXPECT_EQ(static_cast<int>(toDeprecatedAnalogValueType(AverageValue)), 1);
    EXPECT_EQ(static_cast<int>(toDeprecatedAnalogValueType(MaximumValue)), 2);
    EXPECT_EQ(static_cast<int>(toDeprecatedAnalogValueType(MinimumValue)), 3);
    EXPECT_EQ(static_cast<int>(toDeprecatedAnalogValueType(DeltaValue)), 4);
    EXPECT_EQ(static_cast<int>(toDeprecatedAnalogValueType(LastValue)), 5);
    EXPECT_EQ(toDeprecatedAnalogValueType(OnCount), DeprecatedAnalogValueType::Moment);
    EXPECT_EQ(toDeprecatedAnalogValueType(OffDuration), DeprecatedAnalogValueType::Moment);
}

TEST_F(LogTimeIntervalsTest, DeprecatedAnalogKindsRoundTrip)
{
    for (DataKindType kind : {MomentValue, AverageValue, MaximumValue, MinimumValue, DeltaValue, LastValue})
        EXPECT_EQ(toDataKindType(static_cast<int>(toDeprecatedAnalogValueType(kind))), kind) << kind;
}

/* ---- Spring change: 2024-03-31 02:00 CET becomes 03:00 CEST ---- */

TEST_F(LogTimeIntervalsTest, SpringFixedStepsCountRealTimeAcrossTheGap)
{
    EXPECT_EQ(nextDateInterval(at(2024, 3, 31, 1, 59), Minute, 1), at(2024, 3, 31, 3, 0));
    EXPECT_EQ(nextDateInterval(at(2024, 3, 31, 1, 30), Hour, 1), at(2024, 3, 31, 3, 30));
    EXPECT_EQ(getDataCountBetweenRange(at(2024, 3, 31), at(2024, 4, 1), Hour), 23);
    EXPECT_EQ(getDataCountBetweenRange(at(2024, 3, 31, 1), at(2024, 3, 31, 4), Minute), 120);
}

TEST_F(LogTimeIntervalsTest, SpringCalendarStepsIntoTheGapMoveAnHourOn)
{
    /* 02:30 does not exist on 31 March: day and year steps land at 03:30. */
    const QDateTime day = nextDateInterval(at(2024, 3, 30, 2, 30), Day, 1);
    EXPECT_EQ(day, at(2024, 3, 31, 3, 30));
    EXPECT_EQ(day.offsetFromUtc(), kCest);
    EXPECT_EQ(nextDateInterval(at(2023, 3, 31, 2, 30), Year, 1), at(2024, 3, 31, 3, 30));
    EXPECT_EQ(getDataCountBetweenRange(at(2024, 3, 30, 12), at(2024, 3, 31, 12), Day), 1);
}

TEST_F(LogTimeIntervalsTest, SpringDayPageIsTwentyThreeHoursLong)
{
    const auto page = makeLogReportDateInterval(Day, at(2024, 3, 31, 12));
    EXPECT_EQ(page.first, at(2024, 3, 31));
    EXPECT_EQ(page.first.offsetFromUtc(), kCet);
    EXPECT_EQ(page.second, at(2024, 4, 1));
    EXPECT_EQ(page.first.secsTo(page.second), 23 * 3600);
    const auto hour = makeLogReportDateInterval(Hour, at(2024, 3, 31, 3, 10));
    EXPECT_EQ(hour, qMakePair(at(2024, 3, 31, 3), at(2024, 3, 31, 4)));
}

TEST_F(LogTimeIntervalsTest, SpringSamplingCountsElapsedTimeSinceMidnight)
{
    /* At 03:10 CEST only 2 h 10 min have passed since midnight. */
    EXPECT_EQ(getNextIntervalTime(at(2024, 3, 31, 3, 10), Hour, 1), at(2024, 3, 31, 4));
    EXPECT_EQ(getNextIntervalTime(at(2024, 3, 31, 3, 10), Minute, 15), at(2024, 3, 31, 3, 15));
    /* Steps that do not divide the hour show it: 130 min -> 133 min after
     * midnight is 03:13, where a day without the change gives 03:16. */
    EXPECT_EQ(getNextIntervalTime(at(2024, 3, 31, 3, 10), Minute, 7), at(2024, 3, 31, 3, 13));
    EXPECT_EQ(getNextIntervalTime(at(2024, 3, 30, 3, 10), Minute, 7), at(2024, 3, 30, 3, 16));
}

TEST_F(LogTimeIntervalsTest, SpringDaySamplingLandsAtOneOClockUntilTheMonthEnds)
{
    /* Day steps count 24 h from 1 March 00:00 CET; after the change that
     * is 01:00 CEST. From 1 April the count restarts at local midnight. */
    EXPECT_EQ(getNextIntervalTime(at(2024, 3, 31, 12), Day, 1), at(2024, 4, 1, 1));
    EXPECT_EQ(getNextIntervalTime(at(2024, 3, 31, 0, 30), Day, 1), at(2024, 4, 1, 1));
    EXPECT_EQ(getNextIntervalTime(at(2024, 4, 10, 12), Day, 1), at(2024, 4, 11));
}

/* ---- Autumn change: 2024-10-27 03:00 CEST becomes 02:00 CET ---- */

TEST_F(LogTimeIntervalsTest, AutumnCalendarStepsOntoTheRepeatedHourKeepTheSeasonTheyStartIn)
{
    /* 02:30 on 27 October happens twice; a step from summer time lands on
     * the first pass, a step from winter time on the second. */
    EXPECT_EQ(nextDateInterval(at(2024, 9, 27, 2, 30), Month, 1), firstPassOfRepeatedHour(30));
    EXPECT_EQ(nextDateInterval(at(2024, 10, 26, 2, 30), Day, 1), firstPassOfRepeatedHour(30));
    EXPECT_EQ(nextDateInterval(at(2024, 10, 28, 2, 30), Day, -1), secondPassOfRepeatedHour(30));
    EXPECT_EQ(nextDateInterval(at(2024, 11, 27, 2, 30), Month, -1), secondPassOfRepeatedHour(30));
}

TEST_F(LogTimeIntervalsTest, AutumnFixedStepsRepeatTheHour)
{
    EXPECT_EQ(nextDateInterval(firstPassOfRepeatedHour(59), Minute, 1), secondPassOfRepeatedHour(0));
    EXPECT_EQ(nextDateInterval(firstPassOfRepeatedHour(30), Hour, 1), secondPassOfRepeatedHour(30));
    EXPECT_EQ(getDataCountBetweenRange(at(2024, 10, 27), at(2024, 10, 28), Hour), 25);
    EXPECT_EQ(getDataCountBetweenRange(at(2024, 10, 27), at(2024, 10, 28), Minute), 1500);
    EXPECT_EQ(getDataCountBetweenRange(at(2024, 10, 27), at(2024, 10, 28), Day), 1);
}

TEST_F(LogTimeIntervalsTest, AutumnCalendarStepsKeepTheWallClockTime)
{
    EXPECT_EQ(nextDateInterval(firstPassOfRepeatedHour(30), Day, 1), at(2024, 10, 28, 2, 30));
    EXPECT_EQ(nextDateInterval(secondPassOfRepeatedHour(30), Day, 1), at(2024, 10, 28, 2, 30));
}

TEST_F(LogTimeIntervalsTest, AutumnDayPageIsTwentyFiveHoursLong)
{
    const auto page = makeLogReportDateInterval(Day, at(2024, 10, 27, 12));
    EXPECT_EQ(page.first.offsetFromUtc(), kCest);
    EXPECT_EQ(page.second.offsetFromUtc(), kCet);
    EXPECT_EQ(page.first.secsTo(page.second), 25 * 3600);
}

TEST_F(LogTimeIntervalsTest, AutumnHourPagesOfTheRepeatedHourFollowEachPass)
{
    /* Each pass of 02:xx is a page of its own; the first ends where the
     * clock reads 02:00 again. */
    const auto first = makeLogReportDateInterval(Hour, firstPassOfRepeatedHour(30));
    EXPECT_EQ(first, qMakePair(firstPassOfRepeatedHour(0), secondPassOfRepeatedHour(0)));
    const auto second = makeLogReportDateInterval(Hour, secondPassOfRepeatedHour(30));
    EXPECT_EQ(second, qMakePair(secondPassOfRepeatedHour(0), at(2024, 10, 27, 3)));
    EXPECT_EQ(first.first.time(), QTime(2, 0));
    EXPECT_EQ(first.second.time(), QTime(2, 0));
}

TEST_F(LogTimeIntervalsTest, AutumnSamplingCountsElapsedTimeSinceMidnight)
{
    /* First pass 02:30 is 2 h 30 min after midnight: the next hour mark is
     * 30 min later, the second pass 02:00. */
    EXPECT_EQ(getNextIntervalTime(firstPassOfRepeatedHour(30), Hour, 1), secondPassOfRepeatedHour(0));
    EXPECT_EQ(getNextIntervalTime(secondPassOfRepeatedHour(30), Hour, 1), at(2024, 10, 27, 3));
    EXPECT_EQ(getNextIntervalTime(firstPassOfRepeatedHour(50), Minute, 15), secondPassOfRepeatedHour(0));
    /* Milliseconds dropped without leaving the first pass. */
    EXPECT_EQ(getNextIntervalTime(firstPassOfRepeatedHour(50).addMSecs(700), Second, 1),
              firstPassOfRepeatedHour(50).addSecs(1));
}

TEST_F(LogTimeIntervalsTest, AutumnDaySamplingLandsAtElevenInTheEvening)
{
    /* 24 h steps from 1 October 00:00 CEST are 23:00 CET after the change. */
    EXPECT_EQ(getNextIntervalTime(at(2024, 10, 27, 12), Day, 1), at(2024, 10, 27, 23));
    EXPECT_EQ(getNextIntervalTime(at(2024, 10, 27, 23, 30), Day, 1), at(2024, 10, 28, 23));
    EXPECT_EQ(getNextIntervalTime(at(2024, 11, 2, 12), Day, 1), at(2024, 11, 3));
}

TEST_F(LogTimeIntervalsTest, AutumnAlignmentWithinTheHourKeepsThePass)
{
    EXPECT_EQ(makeDateTimeAlign(Minute, firstPassOfRepeatedHour(37), 15), firstPassOfRepeatedHour(30));
    EXPECT_EQ(makeDateTimeAlign(Minute, secondPassOfRepeatedHour(37), 15), secondPassOfRepeatedHour(30));
    EXPECT_EQ(makeDateTimeAlign(Hour, firstPassOfRepeatedHour(37), 1), firstPassOfRepeatedHour(0));
    EXPECT_EQ(makeDateTimeAlign(Hour, secondPassOfRepeatedHour(37), 1), secondPassOfRepeatedHour(0));
    EXPECT_EQ(alignTimeByMinute(firstPassOfRepeatedHour(37).addSecs(5)), firstPassOfRepeatedHour(37));
    EXPECT_EQ(alignTimeByMinute(secondPassOfRepeatedHour(37).addSecs(5)), secondPassOfRepeatedHour(37));
    /* Midnight of that day is summer time. */
    EXPECT_EQ(makeDateTimeAlign(Day, secondPassOfRepeatedHour(37), 1), at(2024, 10, 27));
    EXPECT_EQ(makeDateTimeAlign(Day, secondPassOfRepeatedHour(37), 1).offsetFromUtc(), kCest);
}
