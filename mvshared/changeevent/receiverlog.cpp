/*
 * receiverlog.cpp: warnings of a change event receiver, one per kind of
 * trouble per interval.
 */
#include "receiverlog.h"

#include <QsLog/QsLog.h>

#include <QtCore/QDateTime>
#include <QtCore/QMutexLocker>

QString ReceiverLog::next(const QString& key, const QString& text, qint64 nowMs)
{
    QMutexLocker lock(&m_mutex);
    auto it = m_kinds.find(key);
    if (it != m_kinds.end() && nowMs - it->writtenAtMs < kIntervalMs) {
        ++it->heldBack;
        return QString();
    }
    QString line = text;
    if (it != m_kinds.end() && it->heldBack > 0)
        line += QStringLiteral(" (%1 more times since the last report)").arg(it->heldBack);
    m_kinds.insert(key, Kind{nowMs, 0});
    return line;
}

void ReceiverLog::warn(const QString& key, const QString& text)
{
    const QString line = next(key, text, QDateTime::currentMSecsSinceEpoch());
    if (!line.isEmpty())
        QLOG_WARN() << line;
}
