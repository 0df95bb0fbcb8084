/*
 * alarmrules.h: when a point is in alarm, and how urgent that is.
 *
 * Every rule the console applies to decide about alarms lives here, so that
 * the alarm list, the trend's limit lines and the tests read the same rules:
 *
 *   - A status point is in alarm while its state differs from its normal
 *     state. Its priority is the record's alarm priority; a status point of
 *     priority 0 is an indication (a pump running, a valve open), never an
 *     alarm.
 *   - An analog point is in alarm while its value lies beyond one of its
 *     limits: above high-high or below low-low (urgent), else above high or
 *     below low (high priority). The limits are strict: a value equal to a
 *     limit is still normal. A point whose four limits are zero has none.
 *   - A point whose alarms are disabled in its record raises none.
 *   - An alarm whose point moves into a more urgent condition (high to
 *     high-high, say) is raised again and wants a new acknowledgement; a move
 *     to an equally or less urgent abnormal condition only updates it.
 */
#ifndef MVCONSOLE_ALARMRULES_H
#define MVCONSOLE_ALARMRULES_H

#include "plantindex.h"

#include <QtGui/QColor>
#include <QtCore/QString>

/* The condition of one point as the alarm rules see it. */
struct AlarmCondition {
    /* The analog limit kinds, numbered as the product's analog alarm texts
     * (Morvane::analogAlarmString); NoLimit for status points and normal
     * values. */
    enum Limit { NoLimit = -1, LowLimit = 0, HighLimit = 1, LowLowLimit = 2, HighHighLimit = 3 };

    bool abnormal = false;
    int priority = 0;      /* 1 most urgent; 0 while normal */
    Limit limit = NoLimit;

    bool operator==(const AlarmCondition& o) const
    {
        return abnormal == o.abnormal && priority == o.priority && limit == o.limit;
    }
    bool operator!=(const AlarmCondition& o) const { return !(*this == o); }
};

namespace AlarmRules {

/* Priorities as the console shows them: 1 urgent, 2 high, 3 low. A status
 * point's priority above 3 shows as low. */
enum Priority { Urgent = 1, High = 2, Low = 3 };

/* The condition of a status point in the given state. */
AlarmCondition statusCondition(const PlantPoint& point, int state);
/* The condition of an analog point at the given value. */
AlarmCondition analogCondition(const PlantPoint& point, double value);
/* The condition of any point at the value of its kind (text points are
 * never in alarm). */
AlarmCondition condition(const PlantPoint& point, double value);

/* True when an alarm in condition `current` must be raised again (and
 * acknowledged again) on moving to `next`. */
bool raisesAgain(const AlarmCondition& current, const AlarmCondition& next);

/* The text and colour of a priority, one table. */
QString priorityText(int priority);
QColor priorityColour(int priority);

/* The condition as an operator reads it: "Hi Limit", "State 0 (normal 1)". */
QString conditionText(const PlantPoint& point, const AlarmCondition& condition, double value);

} // namespace AlarmRules

#endif
