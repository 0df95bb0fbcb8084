/*
 * trendmodel.cpp: series, samples and the time window.
 */
#include "trendmodel.h"

#include <MVShared/PointIds.h>

#include <QtCore/QCoreApplication>
#include <QtCore/QDateTime>

#include <algorithm>

namespace {

struct WindowChoice {
    TrendModel::Window window;
    qint64 ms;
    const char* text;
};

const WindowChoice kWindows[] = {
    {TrendModel::OneMinute, 60 * 1000, QT_TRANSLATE_NOOP("TrendModel", "1 min")},
    {TrendModel::TenMinutes, 10 * 60 * 1000, QT_TRANSLATE_NOOP("TrendModel", "10 min")},
    {TrendModel::OneHour, 60 * 60 * 1000, QT_TRANSLATE_NOOP("TrendModel", "1 h")},
};

const WindowChoice& choiceOf(TrendModel::Window window)
{
    for (const WindowChoice& c : kWindows)
        if (c.window == window)
            return c;
    return kWindows[1];
}

} // namespace

TrendModel::TrendModel(QObject* parent)
    : QObject(parent)
{
}

qint64 TrendModel::windowMs(Window window)
{
    return choiceOf(window).ms;
}

QString TrendModel::windowText(Window window)
{
    return tr(choiceOf(window).text);
}

void TrendModel::setWindow(Window window)
{
    if (window == m_window)
        return;
    m_window = window;
    emit windowChanged();
}

bool TrendModel::addSeries(const PlantPoint& point, qint64 nowMs)
{
    if (!Morvane::isAnalogPointPoint(point.id) || indexOf(point.id) >= 0)
        return false;
    m_series.append({point, {QPointF(static_cast<qreal>(nowMs), point.value)}});
    emit seriesChanged();
    return true;
}

bool TrendModel::removeSeries(int id)
{
    const int i = indexOf(id);
    if (i < 0)
        return false;
    m_series.remove(i);
    emit seriesChanged();
    return true;
}

void TrendModel::clear()
{
    m_series.clear();
    emit seriesChanged();
}

void TrendModel::updatePoint(const PlantPoint& point)
{
    const int i = indexOf(point.id);
    if (i < 0)
        return;
    m_series[i].point = point;
    emit seriesChanged();
}

void TrendModel::addSample(int id, qint64 timeMs, double value)
{
    const int i = indexOf(id);
    if (i < 0)
        return;
    QVector<QPointF>& samples = m_series[i].samples;
    samples.append(QPointF(static_cast<qreal>(timeMs), value));
    if (samples.size() > MaximumSamples)
        samples.remove(0, samples.size() - MaximumSamples);
}

void TrendModel::trim(qint64 nowMs)
{
    const qreal start = static_cast<qreal>(nowMs - windowMs(m_window));
    for (Series& s : m_series) {
        // The first sample inside the window; the one before it stays.
        const auto inside = std::lower_bound(s.samples.cbegin(), s.samples.cend(), start,
                                             [](const QPointF& p, qreal t) { return p.x() < t; });
        const int drop = static_cast<int>(inside - s.samples.cbegin()) - 1;
        if (drop > 0)
            s.samples.remove(0, drop);
    }
}

int TrendModel::indexOf(int id) const
{
    for (int i = 0; i < m_series.size(); ++i)
        if (m_series[i].point.id == id)
            return i;
    return -1;
}

QStringList TrendModel::units() const
{
    QStringList units;
    for (const Series& s : m_series)
        if (!units.contains(s.point.unit))
            units << s.point.unit;
    return units;
}

QString TrendModel::label(const Series& series)
{
    return series.point.unit.isEmpty() ? series.point.name
                                       : QStringLiteral("%1 [%2]").arg(series.point.name, series.point.unit);
}

void TrendModel::applyChanges(const mapEvent& changes)
{
    if (m_series.isEmpty())
        return;
    const qint64 now = QDateTime::currentMSecsSinceEpoch();
    for (int i = 0; i < m_series.size(); ++i) {
        const int id = m_series[i].point.id;
        const auto it = changes.constFind(id);
        if (it != changes.cend())
            addSample(id, now, it->GetDoubleValue("lastvalue"));
    }
}
