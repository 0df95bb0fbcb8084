/*
 * trendview.h: the live trend chart of the console.
 *
 * Analog points dragged in (from the browser, the point table or another
 * application: SCADA point payloads) become lines that scroll with the
 * changes arriving; each line's legend entry names the point and its unit,
 * points of different units get axes of their own, and a point's limits
 * are drawn as dashed lines in its colour. The window (1 min, 10 min, 1 h)
 * is chosen above the chart. Other points are refused, with the reason.
 */
#ifndef MVCONSOLE_TRENDVIEW_H
#define MVCONSOLE_TRENDVIEW_H

#include "trendmodel.h"

#include <QtCharts/QChartGlobal>
#include <QtWidgets/QWidget>

QT_CHARTS_BEGIN_NAMESPACE
class QChart;
class QChartView;
class QDateTimeAxis;
class QLineSeries;
class QValueAxis;
QT_CHARTS_END_NAMESPACE

class QComboBox;
class QTimer;
class ScadaRuntimeInterface;

class TrendView : public QWidget
{
    Q_OBJECT

public:
    explicit TrendView(ScadaRuntimeInterface* runtime, QWidget* parent = nullptr);

    TrendModel* model() { return &m_model; }
    QtCharts::QChart* chart() const { return m_chart; }
    QtCharts::QChartView* chartView() const { return m_view; }
    /* The line of a point, null when it is not shown. */
    QtCharts::QLineSeries* lineOf(int id) const;
    /* The limit lines of a point (empty when it has none). */
    QList<QtCharts::QLineSeries*> limitLinesOf(int id) const;
    /* The colour of a point's line. */
    QColor colourOf(int id) const;

public slots:
    /* Reads the point's record and adds its line; false (and pointRefused)
     * for a point that cannot be read or is no analog point. */
    bool addPoint(int id);
    void setWindow(TrendModel::Window window);
    /* Scrolls the chart to now: trims the samples and redraws the lines. */
    void refresh();

signals:
    void pointAdded(int id);
    void pointRefused(int id, const QString& reason);

protected:
    void dragEnterEvent(QDragEnterEvent* event) override;
    void dragMoveEvent(QDragMoveEvent* event) override;
    void dropEvent(QDropEvent* event) override;

private:
    struct Line {
        int id = 0;
        QtCharts::QLineSeries* line = nullptr;
        QList<QtCharts::QLineSeries*> limits;
        QColor colour;
    };

    void rebuild();
    QtCharts::QValueAxis* axisOf(const QString& unit);
    void redraw(qint64 nowMs);

    ScadaRuntimeInterface* m_runtime;
    TrendModel m_model;
    QComboBox* m_windowChoice = nullptr;
    QtCharts::QChart* m_chart = nullptr;
    QtCharts::QChartView* m_view = nullptr;
    QtCharts::QDateTimeAxis* m_time = nullptr;
    QList<QPair<QString, QtCharts::QValueAxis*>> m_axes;
    QVector<Line> m_lines;
    QTimer* m_timer = nullptr;
};

#endif
