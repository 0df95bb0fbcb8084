/*
 * alarmrules.cpp: the alarm rules of the console (see alarmrules.h).
 */
#include "alarmrules.h"

#include <MVShared/MorvaneTexts.h>
#include <MVShared/PointIds.h>

#include <QtCore/QCoreApplication>

namespace {

struct PriorityLook {
    int priority;
    const char* text;
    QRgb colour;
};

/* Red, orange and yellow: the colours operators know from the panels. */
const PriorityLook kPriorities[] = {
    {AlarmRules::Urgent, QT_TRANSLATE_NOOP("AlarmRules", "Urgent"), qRgb(0xd3, 0x2f, 0x2f)},
    {AlarmRules::High, QT_TRANSLATE_NOOP("AlarmRules", "High"), qRgb(0xf5, 0x7c, 0x00)},
    {AlarmRules::Low, QT_TRANSLATE_NOOP("AlarmRules", "Low"), qRgb(0xfb, 0xc0, 0x2d)},
};

const PriorityLook& lookOf(int priority)
{
    for (const PriorityLook& look : kPriorities)
        if (look.priority == priority)
            return look;
    return kPriorities[sizeof kPriorities / sizeof kPriorities[0] - 1];
}

AlarmCondition abnormal(int priority, AlarmCondition::Limit limit)
{
    AlarmCondition c;
    c.abnormal = true;
    c.priority = priority;
    c.limit = limit;
    return c;
}

} // namespace

namespace AlarmRules {

AlarmCondition statusCondition(const PlantPoint& point, int state)
{
    if (!point.alarmEnable || point.alarmPriority <= 0 || state == point.normalState)
        return AlarmCondition();
    return abnormal(point.alarmPriority, AlarmCondition::NoLimit);
}

AlarmCondition analogCondition(const PlantPoint& point, double value)
{
    const PlantLimits& l = point.limits;
    if (!point.alarmEnable || !l.isSet())
        return AlarmCondition();
    if (value > l.highHigh)
        return abnormal(Urgent, AlarmCondition::HighHighLimit);
    if (value < l.lowLow)
        return abnormal(Urgent, AlarmCondition::LowLowLimit);
    if (value > l.high)
        return abnormal(High, AlarmCondition::HighLimit);
    if (value < l.low)
        return abnormal(High, AlarmCondition::LowLimit);
    return AlarmCondition();
}

AlarmCondition condition(const PlantPoint& point, double value)
{
    if (Morvane::isStatusPoint(point.id))
        return statusCondition(point, static_cast<int>(value));
    if (Morvane::isAnalogPointPoint(point.id))
        return analogCondition(point, value);
    return AlarmCondition();
}

bool raisesAgain(const AlarmCondition& current, const AlarmCondition& next)
{
    return next.abnormal && current.abnormal && next.priority < current.priority;
}

QString priorityText(int priority)
{
    return QCoreApplication::translate("AlarmRules", lookOf(priority).text);
}

QColor priorityColour(int priority)
{
    return QColor(lookOf(priority).colour);
}

QString conditionText(const PlantPoint& point, const AlarmCondition& condition, double value)
{
    if (condition.limit != AlarmCondition::NoLimit)
        return Morvane::analogAlarmString(condition.limit);
    if (Morvane::isStatusPoint(point.id))
        return QCoreApplication::translate("AlarmRules", "State %1 (normal %2)")
            .arg(static_cast<int>(value))
            .arg(point.normalState);
    return QCoreApplication::translate("AlarmRules", "Normal");
}

} // namespace AlarmRules
