/*
 * notification.h: the notifications the applications of a domain send each
 * other through the runtime server ("NOTIFY_MESSAGE" records under event
 * 20004), as the console reads and lists them.
 */
#ifndef MVCONSOLE_NOTIFICATION_H
#define MVCONSOLE_NOTIFICATION_H

#include "plantindex.h"

#include <DravoPlus/DravoData.h>

#include <QtCore/QList>
#include <QtCore/QMetaType>
#include <QtCore/QString>

struct ConsoleNotification {
    /* The command codes the console acts on; the others are only listed. */
    enum Command { DataChanged = 0, AlarmsAcknowledged = 1, ServerRestarted = 2, PointUpdate = 3,
                   UserLogOnOff = 4, ReportCreation = 5, OpenCanvas = 7, PointReset = 8,
                   AnalogLimitChanged = 9, CloseCanvas = 10, RunScript = 11, SystemOptions = 12 };
    /* The data-change target of a changed alarm priority (with a point id). */
    enum { AlarmPriorityTarget = 12 };

    int cmdCode = -1;
    int target = -1;          /* data-change family */
    int pid = 0;
    bool hasPid = false;
    QString ackedBy;          /* alarms acknowledged */
    QList<int> alarmIds;
    QString user;             /* user logged on or off */
    int state = 0;
    QString prefix;           /* report creation */
    int reportId = 0;
};
Q_DECLARE_METATYPE(ConsoleNotification)

/* Reads a "NOTIFY_MESSAGE" record; false for a record of another type or
 * without a command code. A damaged body leaves its fields empty. */
bool decodeNotification(const DravoData& record, ConsoleNotification& out);

/* The notification as the event list shows it; points are named from the
 * plant when it knows them. */
QString notificationText(const ConsoleNotification& n, const PlantIndex& plant);

#endif
