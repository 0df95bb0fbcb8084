/*
 * trendmodel.h: the samples behind the trend chart.
 *
 * One series per analog point the operator dropped on the trend: its name,
 * unit and limits (read from the point's record) and the values that
 * arrived, stamped with their arrival time in milliseconds since the epoch.
 * The chosen window (1 min, 10 min or 1 h) decides how far back samples are
 * kept: older ones are trimmed, except the last one before the window, so
 * that a slow point's line still enters the chart from its left edge.
 */
#ifndef MVCONSOLE_TRENDMODEL_H
#define MVCONSOLE_TRENDMODEL_H

#include "plantindex.h"

#include <MVShared/MorvaneChangeEvent.h>

#include <QtCore/QObject>
#include <QtCore/QPointF>
#include <QtCore/QStringList>
#include <QtCore/QVector>

class TrendModel : public QObject
{
    Q_OBJECT

public:
    enum Window { OneMinute, TenMinutes, OneHour };
    /* A series keeps at most this many samples (the oldest go first). */
    static constexpr int MaximumSamples = 20000;

    struct Series {
        PlantPoint point;            /* name, unit and limits */
        QVector<QPointF> samples;    /* x: ms since the epoch, y: the value */
    };

    explicit TrendModel(QObject* parent = nullptr);

    static qint64 windowMs(Window window);
    static QString windowText(Window window);
    Window window() const { return m_window; }
    void setWindow(Window window);

    /* Adds a series for an analog point, starting with its value at nowMs;
     * false for other points and for points shown already. */
    bool addSeries(const PlantPoint& point, qint64 nowMs);
    bool removeSeries(int id);
    void clear();
    /* New name, unit or limits of a shown point (its samples stay). */
    void updatePoint(const PlantPoint& point);
    /* A value of a shown point; ignored for others. */
    void addSample(int id, qint64 timeMs, double value);
    /* Drops what lies before the window ending at nowMs. */
    void trim(qint64 nowMs);

    const QVector<Series>& series() const { return m_series; }
    int indexOf(int id) const;
    /* The distinct units of the shown points, in the order first shown. */
    QStringList units() const;
    /* The legend's text of a series: its name and unit. */
    static QString label(const Series& series);

public slots:
    /* The analog changes of a change packet, stamped with the time they arrive. */
    void applyChanges(const mapEvent& changes);

signals:
    void seriesChanged();          /* a series came, went or changed its setup */
    void windowChanged();

private:
    Window m_window = TenMinutes;
    QVector<Series> m_series;
};

#endif
