/*
 * receiverlog.h: the warnings of a change event receiver, at a rate a log can
 * take.
 *
 * A receiver in trouble meets the same trouble many times a second: a flood
 * of refused packets, a server that stays away, a box that cannot be used.
 * Each kind of trouble is written the first time it comes, then at most once
 * per interval, with the number of times it came in between; nothing is
 * dropped without being counted.
 */
#ifndef MVSHARED_CHANGEEVENT_RECEIVERLOG_H
#define MVSHARED_CHANGEEVENT_RECEIVERLOG_H

#include <QtCore/QHash>
#include <QtCore/QMutex>
#include <QtCore/QString>

class ReceiverLog
{
public:
    /* At most one line per kind of trouble per interval. */
    static constexpr qint64 kIntervalMs = 10000;

    /* The line to write for trouble of the kind key happening at nowMs, or
     * an empty string when one was written less than an interval ago. A line
     * written after others were held back says how many. */
    QString next(const QString& key, const QString& text, qint64 nowMs);
    /* Writes next(key, text, now) as a warning, when there is one. */
    void warn(const QString& key, const QString& text);

private:
    struct Kind {
        qint64 writtenAtMs = 0;
        quint64 heldBack = 0;
    };
    QMutex m_mutex;
    QHash<QString, Kind> m_kinds;
};

#endif
