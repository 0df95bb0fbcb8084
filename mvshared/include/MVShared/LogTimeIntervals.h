/*
 * LogTimeIntervals.h: the time arithmetic of the historical report and trend
 * screens: record counts between two times, aligned timestamps, the next
 * sampling time, stepping, report pages, and the translation between the
 * interval and data-kind numbers of today and those older documents stored.
 *
 * All date arithmetic is QDateTime's calendar arithmetic; every timestamp
 * built from a date and a time is in local time. Minute, hour and day
 * sampling steps count epoch seconds, calendar steps count local dates, so
 * across a daylight-saving change the two kinds part as QDateTime makes them.
 */
#ifndef MVSHARED_LOGTIMEINTERVALS_H
#define MVSHARED_LOGTIMEINTERVALS_H

#include <MVShared/MVSharedGlobal.h>
#include <MVShared/MorvaneTypes.h>

#include <QtCore/QDateTime>
#include <QtCore/QPair>

namespace Morvane {

/* The interval between two log records. 7 is not used. */
enum LogDataIntervalType : qint32 {
    Minute = 0,
    Hour = 1,
    Day = 2,
    Month = 3,   /* one calendar month */
    Year = 4,    /* one calendar year */
    AllYears = 5, /* from the first log year (YearLogStartDate) to the end of this year */
    Second = 6,
    Week = 8     /* starting on Monday */
};

/* The period one report page shows. */
enum class DisplayPeriodType : qint32 {
    Hour = 0,
    Day,
    Month,
    Year,
    AllYears
};

/* The interval numbers older documents stored. */
enum class DeprecatedLogDateType : qint32 {
    Hour = 0,
    Day = 1,
    Month = 2,
    Year = 3,
    Minute = 5,
    Week = 6
};

/* The analog data-kind numbers older documents stored. */
enum class DeprecatedAnalogValueType : qint32 {
    Moment = 0,
    Average = 1,
    Maximum = 2,
    Minimum = 3,
    Delta = 4,
    Last = 5
};

/* Length in milliseconds of Second, Minute, Hour and Day; 1 for every other
 * interval (callers ask only for the fixed-length ones). */
MVSHARED_EXPORT int getLogIntervalMSecond(LogDataIntervalType interval);

/* The page a report of this interval opens with: Day -> Month,
 * Month -> Year, Year -> AllYears, anything else -> Day. */
MVSHARED_EXPORT LogDataIntervalType getLogReportDefaultPeriodType(LogDataIntervalType interval);

/*
 * Records of the interval between start and end. Minutes and hours round
 * down (whole seconds as a signed 32-bit number, divided with truncation, so
 * negative when end is before start); days count calendar dates; months and
 * years count calendar steps from start until end is reached, so a partial
 * one counts in full, and 0 when end is not after start. Every other
 * interval, and an invalid time, gives 0.
 */
MVSHARED_EXPORT int getDataCountBetweenRange(const QDateTime& start, const QDateTime& end,
                                             LogDataIntervalType interval);

/* Same date, hour and minute; seconds and milliseconds zero. Cut from the
 * instant, so a time in the repeated hour of an autumn change keeps its
 * pass (as do the minute and hour alignments and the hour page below). */
MVSHARED_EXPORT QDateTime alignTimeByMinute(const QDateTime& time);

/*
 * The start of the period the time lies in: Minute to a multiple of count
 * minutes (count 0 taken as 1), Hour to the full hour, Day to midnight,
 * Month to midnight of the first, Year to midnight of 1 January. Other
 * intervals return the time unchanged.
 */
MVSHARED_EXPORT QDateTime makeDateTimeAlign(LogDataIntervalType interval, const QDateTime& time, int count);

/*
 * The next sampling time strictly after time (milliseconds dropped), count
 * below 1 taken as 1. Month: the first of the next month whose number is a
 * multiple of count (count 3: January, April, July, October). Minute and
 * Hour: the next multiple of count minutes or hours counted in seconds from
 * midnight; Day: of count days counted from midnight of the first of the
 * month. Every other interval just advances by count seconds.
 */
MVSHARED_EXPORT QDateTime getNextIntervalTime(const QDateTime& time, LogDataIntervalType interval, int count);

/* time moved by count intervals (zero and negative counts allowed); Week,
 * AllYears and unknown intervals return it unchanged. */
MVSHARED_EXPORT QDateTime nextDateInterval(const QDateTime& time, LogDataIntervalType interval, int count);

/*
 * The report page [start, end) that contains time: its hour, day, week
 * (Monday to Monday), month or year; AllYears runs from 1 January of the
 * YearLogStartDate year to 1 January after the current year (today's, not
 * time's). Other intervals give two null times.
 */
MVSHARED_EXPORT QPair<QDateTime, QDateTime> makeLogReportDateInterval(LogDataIntervalType interval,
                                                                      const QDateTime& time);
/* The same by display period (there is no week page); an unknown period
 * gives two null times. */
MVSHARED_EXPORT QPair<QDateTime, QDateTime> makeLogReportDateInterval2(DisplayPeriodType period,
                                                                       const QDateTime& time);

/* An older document's interval number; Hour for an unknown one. */
MVSHARED_EXPORT LogDataIntervalType toLogDataInterval(int deprecated);
/* The number older documents use; DeprecatedLogDateType::Hour (0) for
 * intervals they did not have. */
MVSHARED_EXPORT DeprecatedLogDateType toDeprecatedInterval(LogDataIntervalType interval);
/* An older document's analog data kind; -1 for an unknown one. */
MVSHARED_EXPORT DataKindType toDataKindType(int deprecated);
/* The number older documents use; Moment (0) for kinds they did not have. */
MVSHARED_EXPORT DeprecatedAnalogValueType toDeprecatedAnalogValueType(DataKindType kind);

} // namespace Morvane

#endif
