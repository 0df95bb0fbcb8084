/*
 * SunCalculator.h: local sunrise and sunset times for a place and a date,
 * from a low-precision solar position (mean longitude and anomaly, equation
 * of centre, obliquity, equation of time), good to a few minutes.
 */
#ifndef MVSHARED_SUNCALCULATOR_H
#define MVSHARED_SUNCALCULATOR_H

#include <MVShared/MVSharedGlobal.h>

#include <QtCore/QDate>
#include <QtCore/QObject>
#include <QtCore/QTime>

class MVSHARED_EXPORT SunCalculator : public QObject
{
    Q_OBJECT

public:
    explicit SunCalculator(QObject* parent = nullptr);
    ~SunCalculator() override;

    /*
     * Writes sunrise and sunset as hour and minute (minutes truncated,
     * seconds zero) in the zone timeZone hours from UTC. longitude and
     * latitude are degrees, east and north positive; date is the local date.
     *
     * Times past 24:00 are wrapped once, so on polar day rise and set come
     * out as the same clock time. No error is reported; a time that cannot
     * be a clock time is left invalid: both of them in polar night, and a
     * rise or set before local midnight, which a place far east of its
     * zone's meridian can see, as that is not wrapped to the day before.
     */
    static void calculation(double longitude, double latitude, double timeZone, QDate date,
                            QTime& sunrise, QTime& sunset);
};

#endif
