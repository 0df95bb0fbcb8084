/*
 * logtimeintervals.cpp: the report and trend screens' time arithmetic
 * (declared in LogTimeIntervals.h).
 *
 * Fixed-length steps (second, minute, hour, day when sampling) are counted in
 * epoch seconds, calendar steps (day when paging, month, year) in local
 * dates, exactly as QDateTime does them; across a daylight-saving change the
 * two kinds part, and the screens rely on each behaving as it does.
 */
#include <MVShared/LogTimeIntervals.h>
#include <MVShared/SystemEnvironmentVariable.h>

#include <QtCore/QDate>
#include <QtCore/QTime>

#include <algorithm>
#include <limits>

namespace Morvane {
namespace {

const qint64 kSecondsPerMinute = 60;
const qint64 kSecondsPerHour = 3600;
const qint64 kSecondsPerDay = 86400;

/* Older documents' interval numbers beside today's, read in both
 * directions. */
const struct {
    int deprecated;
    LogDataIntervalType interval;
} kDeprecatedIntervals[] = {
    {0, Hour}, {1, Day}, {2, Month}, {3, Year}, {5, Minute}, {6, Week},
};

/* Older documents' analog data-kind numbers beside today's, read in both
 * directions. */
const struct {
    int deprecated;
    DataKindType kind;
} kDeprecatedAnalogKinds[] = {
    {0, MomentValue}, {1, AverageValue}, {2, MaximumValue},
    {3, MinimumValue}, {4, DeltaValue}, {5, LastValue},
};

/* The same instant with the clock cut back to keptMinute of its hour, seconds
 * and milliseconds zero. Cut from the instant rather than rebuilt from the
 * wall clock, so that a time in the hour that repeats when clocks go back
 * stays in its own pass instead of whichever the C library guesses. */
QDateTime cutToMinute(const QDateTime& time, int keptMinute)
{
    const QTime clock = time.time();
    const qint64 cut = (clock.minute() - keptMinute) * qint64(60000) + clock.second() * 1000 + clock.msec();
    return time.addMSecs(-cut);
}

/* Midnight (local time) of a date. */
QDateTime midnight(const QDate& date)
{
    return QDateTime(date, QTime(0, 0));
}

QDate firstOfMonth(const QDate& date)
{
    return QDate(date.year(), date.month(), 1);
}

/* One kind of calendar step for counting: the step itself and the number of
 * whole calendar units between the dates of two times. */
struct CalendarStep {
    QDateTime (QDateTime::*add)(int) const;
    qint64 (*unitsBetween)(const QDate& from, const QDate& to);
};

qint64 monthsBetween(const QDate& from, const QDate& to)
{
    return (qint64(to.year()) - from.year()) * 12 + (to.month() - from.month());
}

qint64 yearsBetween(const QDate& from, const QDate& to)
{
    return qint64(to.year()) - from.year();
}

const CalendarStep kMonthStep = {&QDateTime::addMonths, &monthsBetween};
const CalendarStep kYearStep = {&QDateTime::addYears, &yearsBetween};

/* Steps taken one at a time before a long range is crossed in one jump. A
 * month or year step clamps the day at month ends (31 January steps to 29
 * February and carries the 29th on until a common year's February cuts it
 * to the 28th), so it is the first steps that depend on the path; a century
 * of them settles every clamp, and a jump from there lands where single
 * steps would, but for the hour a daylight-saving gap may have moved a time
 * in. Only spans no report ever shows take the jump. */
const qint64 kSingleSteps = 1200;

/*
 * Calendar steps from start until end is reached; a partial step counts in
 * full. Ranges of any length finish promptly; counts beyond int saturate.
 */
int countCalendarSteps(const QDateTime& start, const QDateTime& end, const CalendarStep& step)
{
    if (!start.isValid() || !end.isValid() || !(start < end))
        return 0;
    const qint64 maxCount = std::numeric_limits<int>::max();
    qint64 count = 0;
    QDateTime at = start;
    while (at < end && count < maxCount) {
        const qint64 gap = step.unitsBetween(at.date(), end.date());
        const qint64 units = (count >= kSingleSteps && gap > 2) ? std::min(gap - 1, maxCount - count) : 1;
        const QDateTime next = (at.*step.add)(static_cast<int>(units));
        if (!next.isValid())
            break;
        at = next;
        count += units;
    }
    return static_cast<int>(count);
}

/* Whole seconds from start to end, taken as a signed 32-bit number as the
 * record counts always have been. */
qint32 secondsBetween(const QDateTime& start, const QDateTime& end)
{
    return static_cast<qint32>(start.secsTo(end));
}

/* The next multiple of step seconds after base that is strictly later than
 * now; the elapsed time is taken as an unsigned 32-bit number. */
QDateTime nextStepAfter(const QDateTime& now, const QDateTime& base, qint64 step)
{
    const quint32 elapsed = static_cast<quint32>(now.toSecsSinceEpoch() - base.toSecsSinceEpoch());
    return now.addSecs(step - static_cast<qint64>(elapsed % static_cast<quint64>(step)));
}

QDateTime nextMonthInterval(const QDateTime& time, int count)
{
    const int remainder = time.date().month() % count;
    const int months = (remainder == 0 ? 0 : count - remainder) + 1;
    return midnight(firstOfMonth(time.date())).addMonths(months);
}

/* A local time's hour is cut on the instant, so each pass of the hour that
 * repeats when clocks go back keeps its own page; a time in UTC or with an
 * offset gives its date and hour, and the page is built from them in local
 * time like every other page. */
QPair<QDateTime, QDateTime> hourPage(const QDateTime& time)
{
    const QDateTime start = time.timeSpec() == Qt::LocalTime
        ? cutToMinute(time, 0)
        : QDateTime(time.date(), QTime(time.time().hour(), 0));
    return {start, start.addSecs(kSecondsPerHour)};
}

QPair<QDateTime, QDateTime> dayPage(const QDateTime& time)
{
    const QDateTime start = midnight(time.date());
    return {start, start.addDays(1)};
}

QPair<QDateTime, QDateTime> weekPage(const QDateTime& time)
{
    const QDate date = time.date();
    const QDateTime start = midnight(date.addDays(1 - date.dayOfWeek()));
    return {start, midnight(start.date().addDays(7))};
}

QPair<QDateTime, QDateTime> monthPage(const QDateTime& time)
{
    const QDateTime start = midnight(firstOfMonth(time.date()));
    return {start, start.addMonths(1)};
}

QPair<QDateTime, QDateTime> yearPage(const QDateTime& time)
{
    const QDateTime start = midnight(QDate(time.date().year(), 1, 1));
    return {start, start.addYears(1)};
}

/* From the first log year the applications configured to the end of the
 * current year; year 0 (nothing configured) gives an invalid start. */
QPair<QDateTime, QDateTime> allYearsPage()
{
    const int firstYear = SystemEnvironmentVariable::getIntProperty(SystemEnvironmentVariable::YearLogStartDate);
    const int nextYear = QDate::currentDate().year() + 1;
    return {midnight(QDate(firstYear, 1, 1)), midnight(QDate(nextYear, 1, 1))};
}

} // namespace

int getLogIntervalMSecond(LogDataIntervalType interval)
{
    switch (interval) {
    case Second: return 1000;
    case Minute: return static_cast<int>(kSecondsPerMinute * 1000);
    case Hour: return static_cast<int>(kSecondsPerHour * 1000);
    case Day: return static_cast<int>(kSecondsPerDay * 1000);
    default: return 1;
    }
}

LogDataIntervalType getLogReportDefaultPeriodType(LogDataIntervalType interval)
{
    switch (interval) {
    case Day: return Month;
    case Month: return Year;
    case Year: return AllYears;
    default: return Day;
    }
}

int getDataCountBetweenRange(const QDateTime& start, const QDateTime& end, LogDataIntervalType interval)
{
    if (!start.isValid() || !end.isValid())
        return 0;
    switch (interval) {
    case Minute: return static_cast<int>(secondsBetween(start, end) / kSecondsPerMinute);
    case Hour: return static_cast<int>(secondsBetween(start, end) / kSecondsPerHour);
    case Day: return static_cast<int>(start.date().daysTo(end.date()));
    case Month: return countCalendarSteps(start, end, kMonthStep);
    case Year: return countCalendarSteps(start, end, kYearStep);
    default: return 0;
    }
}

QDateTime alignTimeByMinute(const QDateTime& time)
{
    return cutToMinute(time, time.time().minute());
}

QDateTime makeDateTimeAlign(LogDataIntervalType interval, const QDateTime& time, int count)
{
    if (count == 0)
        count = 1;
    QDateTime aligned = time;
    switch (interval) {
    case Minute:
        aligned = cutToMinute(time, time.time().minute() / count * count);
        break;
    case Hour:
        aligned = cutToMinute(time, 0);
        break;
    case Day:
        aligned.setTime(QTime(0, 0));
        break;
    case Month:
        aligned.setDate(firstOfMonth(time.date()));
        aligned.setTime(QTime(0, 0));
        break;
    case Year:
        aligned.setDate(QDate(time.date().year(), 1, 1));
        aligned.setTime(QTime(0, 0));
        break;
    default:
        break;
    }
    return aligned;
}

QDateTime getNextIntervalTime(const QDateTime& time, LogDataIntervalType interval, int count)
{
    count = std::max(count, 1);
    if (interval == Month)
        return nextMonthInterval(time, count);
    /* Dropped by moving the instant, so a time in the hour that repeats when
     * clocks go back keeps its offset. */
    const QDateTime now = time.addMSecs(-time.time().msec());
    switch (interval) {
    case Minute: return nextStepAfter(now, midnight(time.date()), count * kSecondsPerMinute);
    case Hour: return nextStepAfter(now, midnight(time.date()), count * kSecondsPerHour);
    case Day: return nextStepAfter(now, midnight(firstOfMonth(time.date())), count * kSecondsPerDay);
    default: return nextStepAfter(now, time, count);
    }
}

QDateTime nextDateInterval(const QDateTime& time, LogDataIntervalType interval, int count)
{
    switch (interval) {
    case Minute: return time.addSecs(count * kSecondsPerMinute);
    case Hour: return time.addSecs(count * kSecondsPerHour);
    case Day: return time.addDays(count);
    case Month: return time.addMonths(count);
    case Year: return time.addYears(count);
    case Second: return time.addSecs(count);
    default: return time;
    }
}

QPair<QDateTime, QDateTime> makeLogReportDateInterval(LogDataIntervalType interval, const QDateTime& time)
{
    switch (interval) {
    case Hour: return hourPage(time);
    case Day: return dayPage(time);
    case Week: return weekPage(time);
    case Month: return monthPage(time);
    case Year: return yearPage(time);
    case AllYears: return allYearsPage();
    default: return {QDateTime(), QDateTime()};
    }
}

QPair<QDateTime, QDateTime> makeLogReportDateInterval2(DisplayPeriodType period, const QDateTime& time)
{
    switch (period) {
    case DisplayPeriodType::Hour: return hourPage(time);
    case DisplayPeriodType::Day: return dayPage(time);
    case DisplayPeriodType::Month: return monthPage(time);
    case DisplayPeriodType::Year: return yearPage(time);
    case DisplayPeriodType::AllYears: return allYearsPage();
    }
    return {QDateTime(), QDateTime()};
}

LogDataIntervalType toLogDataInterval(int deprecated)
{
    for (const auto& entry : kDeprecatedIntervals) {
        if (entry.deprecated == deprecated)
            return entry.interval;
    }
    return Hour;
}

DeprecatedLogDateType toDeprecatedInterval(LogDataIntervalType interval)
{
    for (const auto& entry : kDeprecatedIntervals) {
        if (entry.interval == interval)
            return static_cast<DeprecatedLogDateType>(entry.deprecated);
    }
    return DeprecatedLogDateType::Hour;
}

DataKindType toDataKindType(int deprecated)
{
    for (const auto& entry : kDeprecatedAnalogKinds) {
        if (entry.deprecated == deprecated)
            return entry.kind;
    }
    return static_cast<DataKindType>(-1);
}

DeprecatedAnalogValueType toDeprecatedAnalogValueType(DataKindType kind)
{
    for (const auto& entry : kDeprecatedAnalogKinds) {
        if (entry.kind == kind)
            return static_cast<DeprecatedAnalogValueType>(entry.deprecated);
    }
    return DeprecatedAnalogValueType::Moment;
}

} // namespace Morvane
