/*
 * suncalculator.cpp: sunrise and sunset from a low-precision solar position
 * (declared in SunCalculator.h).
 *
 * The constants are kept exactly as they are, pi included with its 12
 * digits: minutes are truncated, so a result near a minute boundary may
 * depend on the last digit, and the times shown must stay the ones the
 * product has always shown.
 */
#include <MVShared/SunCalculator.h>

#include <atomic>
#include <cmath>

namespace {

const double kPi = 3.14159265359;
const double kTwoPi = 2 * kPi;
const double kRadiansPerDegree = kPi / 180;
const double kDegreesPerRadian = 180 / kPi;
/* Apparent diameter of the sun's disc, degrees. */
const double kSunDiameter = 0.53;
/* Refraction at the horizon, degrees. */
const double kAirRefraction = 34.0 / 60.0;

/* Day length in hours of the last calculation. Not part of the interface;
 * kept where a debugger can see it. */
std::atomic<double> g_dayLength{0.0};

/* x reduced to [0, two pi). */
double reduceAngle(double x)
{
    const double b = x / kTwoPi;
    double a = kTwoPi * (b - std::trunc(b));
    if (a < 0)
        a += kTwoPi;
    return a;
}

/* Days from the epoch of the model to noon of the date. The integer part
 * uses truncating division, as the model defines it; it is computed in 64
 * bits so that no year, however absurd, overflows. */
double dayNumber(const QDate& date)
{
    const qint64 y = date.year();
    const qint64 m = date.month();
    const qint64 day = date.day();
    const qint64 d = 367 * y - (7 * (y + (m + 9) / 12)) / 4 + (275 * m) / 9 + day;
    return static_cast<double>(d) - 730531.5 + 0.5;
}

struct SolarPosition {
    double declination;    /* radians */
    double equationOfTime; /* minutes */
};

SolarPosition solarPosition(double d)
{
    const double rad = kRadiansPerDegree;
    const double L = reduceAngle(280.461 * rad + 0.9856474 * rad * d);
    const double g = reduceAngle(357.528 * rad + 0.9856003 * rad * d);
    const double lambda = reduceAngle(L + 1.915 * rad * std::sin(g) + 0.02 * rad * std::sin(2 * g));
    const double obliquity = 23.439 * rad - 0.0000004 * rad * d;
    const double alpha = std::atan2(std::cos(obliquity) * std::sin(lambda), std::cos(lambda));
    const double delta = std::asin(std::sin(obliquity) * std::sin(lambda));
    double LL = L - alpha;
    if (L < kPi)
        LL += kTwoPi;
    return {delta, 1440.0 * (1.0 - LL / kTwoPi)};
}

/* Hour angle of the sun's upper limb at the horizon, radians; pi on polar
 * day, not a number in polar night. */
double horizonHourAngle(double declination, double latitude)
{
    double dfo = kRadiansPerDegree * (0.5 * kSunDiameter + kAirRefraction);
    if (latitude < 0)
        dfo = -dfo;
    double fo = std::tan(declination + dfo) * std::tan(kRadiansPerDegree * latitude);
    if (fo > 0.99999)
        fo = 1.0;
    return std::asin(fo) + kPi / 2;
}

/* -1 (an hour setHMS refuses) for values that are no number or no int. */
int truncatedOrInvalid(double value)
{
    if (!(value > -2147483648.0 && value < 2147483648.0))
        return -1;
    return static_cast<int>(value);
}

/* hours as a clock time: hour and minute truncated. A value setHMS refuses
 * (negative, 24 or more, not a number) leaves the time invalid. */
void setClockTime(QTime& time, double hours)
{
    const int hour = truncatedOrInvalid(hours);
    const int minute = hour < 0 ? -1 : truncatedOrInvalid((hours - hour) * 60);
    time.setHMS(hour, minute, 0, 0);
}

/* Past midnight the time is wrapped once; before it, it is not (a place
 * that far east of its zone's meridian gets an invalid time). */
double wrapPastMidnight(double hours)
{
    return hours > 24 ? hours - 24 : hours;
}

} // namespace

SunCalculator::SunCalculator(QObject* parent)
    : QObject(parent)
{
}

SunCalculator::~SunCalculator() = default;

void SunCalculator::calculation(double longitude, double latitude, double timeZone, QDate date,
                                QTime& sunrise, QTime& sunset)
{
    const SolarPosition sun = solarPosition(dayNumber(date));
    const double ha = horizonHourAngle(sun.declination, latitude);

    const double dayLength = kDegreesPerRadian * ha / 7.5;
    g_dayLength.store(dayLength < 0.0001 ? 0.0 : dayLength, std::memory_order_relaxed);

    const double noonShift = timeZone - longitude / 15 + sun.equationOfTime / 60;
    setClockTime(sunrise, wrapPastMidnight(12 - 12 * ha / kPi + noonShift));
    setClockTime(sunset, wrapPastMidnight(12 + 12 * ha / kPi + noonShift));
}
