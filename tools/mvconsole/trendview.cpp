/*
 * trendview.cpp: the chart, its axes, lines and limit lines.
 */
#include "trendview.h"

#include "pointpayload.h"

#include <MVShared/ScadaRuntimeInterface.h>

#include <QtCharts/QChart>
#include <QtCharts/QChartView>
#include <QtCharts/QDateTimeAxis>
#include <QtCharts/QLegendMarker>
#include <QtCharts/QLineSeries>
#include <QtCharts/QValueAxis>
#include <QtCore/QDateTime>
#include <QtCore/QTimer>
#include <QtGui/QDragEnterEvent>
#include <QtGui/QDropEvent>
#include <QtWidgets/QComboBox>
#include <QtWidgets/QGraphicsLayout>
#include <QtWidgets/QHBoxLayout>
#include <QtWidgets/QLabel>
#include <QtWidgets/QPushButton>
#include <QtWidgets/QVBoxLayout>

#include <algorithm>
#include <cmath>
#include <limits>

using namespace QtCharts;

namespace {

/* The chart scrolls once a second. */
constexpr int kRefreshMs = 1000;

/* Line colours, chosen to stay apart from each other and from the alarm
 * colours of the limits' meaning. */
const QRgb kPalette[] = {qRgb(0x1f, 0x77, 0xb4), qRgb(0x2c, 0xa0, 0x2c), qRgb(0x94, 0x67, 0xbd),
                         qRgb(0x8c, 0x56, 0x4b), qRgb(0x17, 0xbe, 0xcf), qRgb(0xe3, 0x77, 0xc2),
                         qRgb(0x7f, 0x7f, 0x7f), qRgb(0xbc, 0xbd, 0x22)};

const TrendModel::Window kWindows[] = {TrendModel::OneMinute, TrendModel::TenMinutes, TrendModel::OneHour};

/* The limits drawn for a point: each configured limit once (a high limit
 * equal to its high-high one is one line), high-high and low-low dotted. */
QVector<QPair<double, Qt::PenStyle>> limitsToDraw(const PlantLimits& l)
{
    QVector<QPair<double, Qt::PenStyle>> lines;
    if (!l.isSet())
        return lines;
    const auto add = [&](double value, Qt::PenStyle style) {
        for (const auto& line : lines)
            if (line.first == value)
                return;
        lines.append({value, style});
    };
    add(l.highHigh, Qt::DotLine);
    add(l.lowLow, Qt::DotLine);
    add(l.high, Qt::DashLine);
    add(l.low, Qt::DashLine);
    return lines;
}

} // namespace

TrendView::TrendView(ScadaRuntimeInterface* runtime, QWidget* parent)
    : QWidget(parent)
    , m_runtime(runtime)
{
    setObjectName(QStringLiteral("trendView"));
    setAcceptDrops(true);

    m_windowChoice = new QComboBox;
    m_windowChoice->setObjectName(QStringLiteral("trendWindow"));
    for (const TrendModel::Window w : kWindows)
        m_windowChoice->addItem(TrendModel::windowText(w), static_cast<int>(w));
    m_windowChoice->setCurrentIndex(m_windowChoice->findData(static_cast<int>(m_model.window())));
    connect(m_windowChoice, qOverload<int>(&QComboBox::activated), this,
            [this](int index) { setWindow(static_cast<TrendModel::Window>(m_windowChoice->itemData(index).toInt())); });
    auto* clear = new QPushButton(tr("Clear"));
    clear->setObjectName(QStringLiteral("trendClear"));
    connect(clear, &QPushButton::clicked, &m_model, &TrendModel::clear);
    auto* hint = new QLabel(tr("Drop analog points here"));
    hint->setObjectName(QStringLiteral("trendHint"));

    m_chart = new QChart;
    m_chart->legend()->setAlignment(Qt::AlignBottom);
    m_chart->setMargins(QMargins(2, 2, 2, 2));
    m_chart->layout()->setContentsMargins(0, 0, 0, 0);
    m_chart->setBackgroundRoundness(0);
    m_time = new QDateTimeAxis;
    m_time->setFormat(QStringLiteral("HH:mm:ss"));
    m_time->setTitleText(tr("Time"));
    m_chart->addAxis(m_time, Qt::AlignBottom);
    m_view = new QChartView(m_chart);
    m_view->setObjectName(QStringLiteral("trendChart"));
    m_view->setRenderHint(QPainter::Antialiasing);
    // Drops land on this widget, not on the chart's scene.
    m_view->setAcceptDrops(false);

    auto* bar = new QHBoxLayout;
    bar->addWidget(new QLabel(tr("Window:")));
    bar->addWidget(m_windowChoice);
    bar->addWidget(clear);
    bar->addStretch(1);
    bar->addWidget(hint);
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->addLayout(bar);
    layout->addWidget(m_view, 1);

    connect(&m_model, &TrendModel::seriesChanged, this, &TrendView::rebuild);
    connect(&m_model, &TrendModel::windowChanged, this, &TrendView::refresh);
    m_timer = new QTimer(this);
    connect(m_timer, &QTimer::timeout, this, &TrendView::refresh);
    m_timer->start(kRefreshMs);
    refresh();
}

bool TrendView::addPoint(int id)
{
    DravoData record;
    if (!m_runtime || m_runtime->GetPoint(id, record) != 0) {
        emit pointRefused(id, tr("the point cannot be read"));
        return false;
    }
    const PlantPoint point = PlantIndex::pointOf(record);
    if (m_model.indexOf(id) >= 0) {
        emit pointRefused(id, tr("the point is in the trend already"));
        return false;
    }
    if (!m_model.addSeries(point, QDateTime::currentMSecsSinceEpoch())) {
        emit pointRefused(id, tr("only analog points have trends"));
        return false;
    }
    emit pointAdded(id);
    return true;
}

void TrendView::setWindow(TrendModel::Window window)
{
    m_windowChoice->setCurrentIndex(m_windowChoice->findData(static_cast<int>(window)));
    m_model.setWindow(window);
}

QLineSeries* TrendView::lineOf(int id) const
{
    for (const Line& l : m_lines)
        if (l.id == id)
            return l.line;
    return nullptr;
}

QList<QLineSeries*> TrendView::limitLinesOf(int id) const
{
    for (const Line& l : m_lines)
        if (l.id == id)
            return l.limits;
    return {};
}

QColor TrendView::colourOf(int id) const
{
    for (const Line& l : m_lines)
        if (l.id == id)
            return l.colour;
    return QColor();
}

QValueAxis* TrendView::axisOf(const QString& unit)
{
    for (const auto& axis : m_axes)
        if (axis.first == unit)
            return axis.second;
    auto* axis = new QValueAxis;
    axis->setTitleText(unit);
    axis->setLabelFormat(QStringLiteral("%.4g"));
    // The first unit's axis on the left, the next on the right, and so on.
    m_chart->addAxis(axis, m_axes.size() % 2 == 0 ? Qt::AlignLeft : Qt::AlignRight);
    m_axes.append({unit, axis});
    return axis;
}

/* The lines are made again whenever a series comes, goes or changes its
 * setup (a rare event); samples only redraw. */
void TrendView::rebuild()
{
    m_chart->removeAllSeries();
    m_lines.clear();
    for (const auto& axis : m_axes) {
        m_chart->removeAxis(axis.second);
        delete axis.second;
    }
    m_axes.clear();
    const QVector<TrendModel::Series>& series = m_model.series();
    for (int i = 0; i < series.size(); ++i) {
        Line l;
        l.id = series[i].point.id;
        l.colour = QColor(kPalette[i % (sizeof kPalette / sizeof kPalette[0])]);
        QValueAxis* axis = axisOf(series[i].point.unit);
        l.line = new QLineSeries;
        l.line->setName(TrendModel::label(series[i]));
        l.line->setPen(QPen(l.colour, 2));
        m_chart->addSeries(l.line);
        l.line->attachAxis(m_time);
        l.line->attachAxis(axis);
        for (const auto& limit : limitsToDraw(series[i].point.limits)) {
            auto* line = new QLineSeries;
            line->setName(tr("%1 limit %2").arg(series[i].point.name).arg(limit.first));
            line->setPen(QPen(l.colour, 2, limit.second));
            m_chart->addSeries(line);
            line->attachAxis(m_time);
            line->attachAxis(axis);
            for (QLegendMarker* marker : m_chart->legend()->markers(line))
                marker->setVisible(false);
            l.limits.append(line);
        }
        m_lines.append(l);
    }
    refresh();
}

void TrendView::refresh()
{
    redraw(QDateTime::currentMSecsSinceEpoch());
}

void TrendView::redraw(qint64 nowMs)
{
    m_model.trim(nowMs);
    const qint64 start = nowMs - TrendModel::windowMs(m_model.window());
    m_time->setRange(QDateTime::fromMSecsSinceEpoch(start), QDateTime::fromMSecsSinceEpoch(nowMs));
    m_time->setFormat(m_model.window() == TrendModel::OneHour ? QStringLiteral("HH:mm") : QStringLiteral("HH:mm:ss"));
    // Each axis spans its points' values and limits, with a margin.
    QHash<QValueAxis*, QPair<double, double>> spans;
    const QVector<TrendModel::Series>& series = m_model.series();
    for (int i = 0; i < series.size() && i < m_lines.size(); ++i) {
        QVector<QPointF> samples = series[i].samples;
        // The line runs on to now at its last value: nothing changed since.
        if (!samples.isEmpty())
            samples.append(QPointF(static_cast<qreal>(nowMs), samples.last().y()));
        m_lines[i].line->replace(samples);
        QValueAxis* axis = axisOf(series[i].point.unit);
        auto span = spans.value(axis, {std::numeric_limits<double>::max(), std::numeric_limits<double>::lowest()});
        for (const QPointF& p : samples) {
            span.first = std::min(span.first, p.y());
            span.second = std::max(span.second, p.y());
        }
        const auto limits = limitsToDraw(series[i].point.limits);
        for (int k = 0; k < limits.size() && k < m_lines[i].limits.size(); ++k) {
            const double y = limits[k].first;
            m_lines[i].limits[k]->replace(
                QVector<QPointF>{QPointF(static_cast<qreal>(start), y), QPointF(static_cast<qreal>(nowMs), y)});
            span.first = std::min(span.first, y);
            span.second = std::max(span.second, y);
        }
        spans.insert(axis, span);
    }
    for (auto it = spans.cbegin(); it != spans.cend(); ++it) {
        const double low = it.value().first;
        const double high = it.value().second;
        const double margin = high > low ? (high - low) * 0.05 : std::max(1.0, std::abs(high) * 0.05);
        it.key()->setRange(low - margin, high + margin);
    }
}

void TrendView::dragEnterEvent(QDragEnterEvent* event)
{
    if (PointPayload::carriesPoint(event->mimeData()))
        event->acceptProposedAction();
    else
        event->ignore();
}

void TrendView::dragMoveEvent(QDragMoveEvent* event)
{
    if (PointPayload::carriesPoint(event->mimeData()))
        event->acceptProposedAction();
    else
        event->ignore();
}

void TrendView::dropEvent(QDropEvent* event)
{
    const int id = PointPayload::pointOf(event->mimeData(), m_runtime);
    if (id <= 0) {
        emit pointRefused(id, tr("the payload names no point the server knows"));
        event->ignore();
        return;
    }
    event->setDropAction(Qt::CopyAction);
    event->accept();
    addPoint(id);
}
