// mvconsole_views_test.cpp: the console's trend, alarm and quality views
// against a plant simulated in this process (embedded server, sample plant),
// offscreen in ctest and once more on a real X server (Xvfb) for the
// screenshots, which are saved beside the test binary and checked pixel by
// pixel where the colours carry meaning.
//
// The field stands still unless a test drives a point (writeFieldValue, the
// way the simulated field writes its own changes), so an alarm comes and goes
// when the test says and no other change of the same point interferes.
#include "consolefixture.h"
#include "alarmmodel.h"
#include "alarmrules.h"
#include "alarmview.h"
#include "consolewindow.h"
#include "eventlistmodel.h"
#include "eventwait.h"
#include "isolatedsettings.h"
#include "notificationreceiver.h"
#include "pointappearance.h"
#include "pointbrowser.h"
#include "pointtablemodel.h"
#include "pointtableview.h"
#include "trendview.h"

#include "plantsimulator.h"

#include <MVShared/MorvaneTypes.h>
#include <MVShared/ScadaRuntimeInterface.h>

#include <DravoPlus/DravoPlus.h>

#include <QtCharts/QAbstractAxis>
#include <QtCharts/QChart>
#include <QtCharts/QChartView>
#include <QtCharts/QDateTimeAxis>
#include <QtCharts/QLegendMarker>
#include <QtCharts/QLineSeries>
#include <QtCharts/QValueAxis>
#include <QtCore/QTimer>
#include <QtGui/QDrag>
#include <QtGui/QDropEvent>
#include <QtTest/QSignalSpy>
#include <QtTest/QTest>
#include <QtWidgets/QApplication>
#include <QtWidgets/QComboBox>
#include <QtWidgets/QDockWidget>
#include <QtWidgets/QLabel>
#include <QtWidgets/QPushButton>
#include <QtWidgets/QSplitter>
#include <QtWidgets/QTableView>

#include <gtest/gtest.h>

#include <functional>
#include <memory>

using namespace QtCharts;

namespace {

const QString kBreaker = QStringLiteral("KestrelHill.33kV.Feeder01.CB.Position");          // normal 1, urgent
const QString kTripCircuit = QStringLiteral("KestrelHill.33kV.Feeder01.CB.TripCircuitFail"); // normal 0, high
const QString kSpring = QStringLiteral("KestrelHill.33kV.Feeder01.CB.SpringCharged");       // normal 1, low
const QString kFlow = QStringLiteral("Millbrook.PumpHall.Pump1.Flow");                      // m3/h, 0/100/1500/1800
const QString kSuction = QStringLiteral("Millbrook.PumpHall.Pump1.Suction.Pressure");       // bar
const QString kCurrent = QStringLiteral("Millbrook.PumpHall.Pump1.Motor.Current");          // A
const QString kSetpoint = QStringLiteral("Millbrook.PumpHall.Pump1.SpeedSetpoint");

bool waitUntil(const std::function<bool()>& done)
{
    return mvtest::waitForConsole(done);
}

QString screenshotPath(const QString& name)
{
    return QStringLiteral(MV_SCREENSHOT_DIR "/mvconsole-%1-%2.png").arg(name, QGuiApplication::platformName());
}

// How many pixels of the rectangle have the colour (within a small distance,
// for antialiased edges).
int pixelsOf(const QImage& image, const QRect& rect, const QColor& colour, int tolerance = 24)
{
    int count = 0;
    const QRect r = rect.intersected(image.rect());
    for (int y = r.top(); y <= r.bottom(); ++y)
        for (int x = r.left(); x <= r.right(); ++x) {
            const QColor c = image.pixelColor(x, y);
            if (std::abs(c.red() - colour.red()) <= tolerance && std::abs(c.green() - colour.green()) <= tolerance
                && std::abs(c.blue() - colour.blue()) <= tolerance)
                ++count;
        }
    return count;
}

class ConsoleViewsTest : public mvtest::ConsoleOnSimulatedPlant
{
protected:
    void SetUp() override
    {
        ASSERT_NO_FATAL_FAILURE(startConsole("mvconsole-views-test-settings", 0));
        ASSERT_TRUE(waitUntil([&] { return m_window->notifications()->isListening(); }));
    }


    // A field change of the point, then the console's alarm list follows.
    void field(const QString& name, double value)
    {
        ASSERT_EQ(m_simulator->writeFieldValue(pointId(name), value), DRAVO_OK) << name.toStdString();
    }

    const AlarmModel::Alarm* alarmOf(const QString& name) const
    {
        return m_window->alarms()->alarm(m_window->alarms()->rowOfAlarm(pointId(name)));
    }

    Qt::DropAction dragFromBrowserToTrend(const QString& name)
    {
        PointBrowser* browser = m_window->browser();
        QTreeWidgetItem* item = browser->itemOfPoint(pointId(name));
        if (!item)
            return Qt::IgnoreAction;
        browser->scrollToItem(item);
        return dragInto(browser, m_window->trend(), [=] { return browser->dragPoint(item); });
    }

    Qt::DropAction dragFromTableToTrend(const QString& name)
    {
        PointTableView* table = m_window->table();
        const int row = m_window->model()->rowOfPoint(pointId(name));
        return dragInto(table, m_window->trend(), [=] { return table->dragRow(row); });
    }

    // The pixel position in the trend view of a value at a time on a line.
    QPoint trendPosition(QLineSeries* line, qreal timeMs, qreal value) const
    {
        QChartView* view = m_window->trend()->chartView();
        const QPointF scene = m_window->trend()->chart()->mapToPosition(QPointF(timeMs, value), line);
        return view->mapTo(m_window->trend(), view->mapFromScene(scene));
    }

    void showAlarmsOnTop()
    {
        // The operator gives the alarms room: a dozen rows.
        auto* dock = m_window->findChild<QDockWidget*>(QStringLiteral("alarmDock"));
        if (dock)
            m_window->resizeDocks({dock}, {420}, Qt::Vertical);
        m_window->alarmView()->alarmTable()->clearSelection();
        m_window->alarmView()->alarmTable()->scrollToTop();
        QApplication::processEvents();
    }

    QRect cellRect(QTableView* table, int row, int column) const
    {
        const QRect r = table->visualRect(table->model()->index(row, column));
        return QRect(table->viewport()->mapTo(table, r.topLeft()), r.size());
    }
};

// ---- Trend ------------------------------------------------------------------

TEST_F(ConsoleViewsTest, TrendScreenshotShowsDroppedPointsWithUnitsLegendAndLimits)
{
    TrendView* trend = m_window->trend();
    trend->setWindow(TrendModel::OneMinute);
    EXPECT_EQ(dragFromBrowserToTrend(kFlow), Qt::CopyAction);
    EXPECT_EQ(dragFromBrowserToTrend(kSuction), Qt::CopyAction);
    // From the table too: a row is dragged out as a point payload.
    ASSERT_TRUE(m_window->watchPoint(kCurrent));
    EXPECT_EQ(dragFromTableToTrend(kCurrent), Qt::CopyAction);
    // A status point has no trend: refused, and the operator is told.
    QSignalSpy refused(trend, &TrendView::pointRefused);
    EXPECT_EQ(dragFromBrowserToTrend(kBreaker), Qt::CopyAction);
    ASSERT_EQ(refused.count(), 1);
    EXPECT_EQ(refused.first().at(1).toString(), QStringLiteral("only analog points have trends"));
    ASSERT_EQ(trend->model()->series().size(), 3);

    // The field moves the flow over its high limit and back, and the
    // pressure, over a few seconds of the minute shown.
    const double flows[] = {800, 950, 1100, 1250, 1400, 1550, 1650, 1700, 1600, 1450, 1300, 900};
    for (const double v : flows) {
        field(kFlow, v);
        field(kSuction, v / 1000.0);
        QTest::qWait(400);
    }
    const int flowId = pointId(kFlow);
    ASSERT_TRUE(waitUntil([&] {
        return trend->model()->series()[trend->model()->indexOf(flowId)].samples.size() >= 13;
    }));
    EXPECT_EQ(trend->model()->series()[trend->model()->indexOf(flowId)].samples.last().y(), 900);
    trend->refresh();
    QApplication::processEvents();

    // Legend: each point by name and unit; the limit lines stay out of it.
    QStringList legend;
    for (QLegendMarker* marker : trend->chart()->legend()->markers())
        if (marker->isVisible())
            legend << marker->label();
    EXPECT_EQ(legend, (QStringList{kFlow + QStringLiteral(" [m3/h]"), kSuction + QStringLiteral(" [bar]"),
                                   kCurrent + QStringLiteral(" [A]")}));
    // An axis per unit, titled with it, besides the time axis.
    QStringList axes;
    for (QAbstractAxis* axis : trend->chart()->axes(Qt::Vertical))
        axes << axis->titleText();
    EXPECT_EQ(axes, (QStringList{QStringLiteral("m3/h"), QStringLiteral("bar"), QStringLiteral("A")}));
    // Flow limits 0/100/1500/1800: four lines; current 0/0/62/70: three.
    EXPECT_EQ(trend->limitLinesOf(flowId).size(), 4);
    EXPECT_EQ(trend->limitLinesOf(pointId(kCurrent)).size(), 3);

    const QImage shot = trend->grab().toImage();
    ASSERT_FALSE(shot.isNull());
    const QString path = screenshotPath(QStringLiteral("trend"));
    EXPECT_TRUE(shot.save(path)) << path.toStdString();
    // Every line is drawn in its own colour inside the plot.
    const QRect plot = trend->chartView()->geometry();
    for (const QString& name : {kFlow, kSuction, kCurrent})
        EXPECT_GT(pixelsOf(shot, plot, trend->colourOf(pointId(name))), 40) << name.toStdString();
    // The flow's high limit lies where the chart puts 1500 m3/h: a dashed
    // run of its colour along that row.
    QLineSeries* flowLine = trend->lineOf(flowId);
    ASSERT_NE(flowLine, nullptr);
    const qint64 now = QDateTime::currentMSecsSinceEpoch();
    const QPoint left = trendPosition(flowLine, static_cast<qreal>(now - 50000), 1500);
    const QPoint right = trendPosition(flowLine, static_cast<qreal>(now - 10000), 1500);
    EXPECT_GT(pixelsOf(shot, QRect(left.x(), left.y() - 2, right.x() - left.x(), 5), trend->colourOf(flowId), 40), 20);
    // Above the high-high limit nothing of the flow is drawn.
    const QPoint above = trendPosition(flowLine, static_cast<qreal>(now - 50000), 1900);
    EXPECT_EQ(pixelsOf(shot, QRect(left.x(), above.y() - 1, right.x() - left.x(), 3), trend->colourOf(flowId), 10), 0);

    // The window is chosen above the chart: one hour.
    auto* window = trend->findChild<QComboBox*>(QStringLiteral("trendWindow"));
    ASSERT_NE(window, nullptr);
    EXPECT_EQ(window->currentText(), QStringLiteral("1 min"));
    window->setCurrentIndex(window->findText(QStringLiteral("1 h")));
    emit window->activated(window->currentIndex());
    EXPECT_EQ(trend->model()->window(), TrendModel::OneHour);
    const auto* time = qobject_cast<QDateTimeAxis*>(trend->chart()->axes(Qt::Horizontal).value(0));
    ASSERT_NE(time, nullptr);
    EXPECT_EQ(time->min().msecsTo(time->max()), 3600000);
}

TEST_F(ConsoleViewsTest, TrendScrollsWithChangesAndFollowsNewLimits)
{
    ASSERT_TRUE(m_window->trend()->addPoint(pointId(kFlow)));
    const int flowId = pointId(kFlow);
    TrendModel* model = m_window->trend()->model();
    field(kFlow, 1234.5);
    ASSERT_TRUE(waitUntil([&] { return model->series()[0].samples.last().y() == 1234.5; }));

    // Another station changes the flow's limits and says so.
    DravoPartialData limits("ANALOG", QStringLiteral("ANALOG%1").arg(flowId).toLatin1().constData());
    limits.PutValue("highLimit", 1200.0f);
    ASSERT_EQ(DravoPlus::PutPartialDataPoint(nullptr, limits, nullptr, nullptr), DRAVO_OK);
    ScadaRuntimeInterface other{QString()};
    other.analogLimitChanged(flowId);
    ASSERT_TRUE(waitUntil([&] { return model->series()[0].point.limits.high == 1200.0; }));
    // The alarm list read the same limits: 1234.5 is now over the high limit.
    ASSERT_TRUE(waitUntil([&] { return alarmOf(kFlow) != nullptr; }));
    EXPECT_EQ(alarmOf(kFlow)->condition.limit, AlarmCondition::HighLimit);
    EXPECT_TRUE(waitUntil([&] {
        return m_window->events()->rowCount() > 0
            && m_window->events()->text(0) == QStringLiteral("Limits changed: ") + kFlow;
    }));
}

// ---- Alarms -----------------------------------------------------------------

TEST_F(ConsoleViewsTest, AlarmRaisedByTheFieldIsAcknowledgedAndClears)
{
    ASSERT_EQ(alarmOf(kBreaker), nullptr);
    field(kBreaker, 0);
    ASSERT_TRUE(waitUntil([&] { return alarmOf(kBreaker) != nullptr; }));
    AlarmModel* alarms = m_window->alarms();
    const int row = alarms->rowOfAlarm(pointId(kBreaker));
    EXPECT_EQ(row, 0);  // newest on top
    EXPECT_EQ(alarms->index(row, AlarmModel::PriorityColumn).data().toString(), QStringLiteral("Urgent"));
    EXPECT_EQ(alarms->index(row, AlarmModel::StateColumn).data().toString(), QStringLiteral("Unacknowledged"));

    // The operator selects it and acknowledges: every station is told.
    QTableView* table = m_window->alarmView()->alarmTable();
    table->selectRow(row);
    m_window->alarmView()->findChild<QPushButton*>(QStringLiteral("acknowledgeSelected"))->click();
    EXPECT_TRUE(alarmOf(kBreaker)->acknowledged);
    EXPECT_EQ(alarmOf(kBreaker)->acknowledgedBy, ConsoleWindow::operatorName());
    const QString told = QStringLiteral("Alarms acknowledged by %1: %2").arg(ConsoleWindow::operatorName(), kBreaker);
    ASSERT_TRUE(waitUntil([&] { return m_window->events()->rowCount() > 0 && m_window->events()->text(0) == told; }))
        << m_window->events()->text(0).toStdString();

    // Back to normal: an acknowledged alarm leaves the list.
    field(kBreaker, 1);
    EXPECT_TRUE(waitUntil([&] { return alarmOf(kBreaker) == nullptr; }));
}

TEST_F(ConsoleViewsTest, UnacknowledgedAlarmThatReturnsStaysUntilAcknowledged)
{
    field(kTripCircuit, 1);
    field(kFlow, 1900);
    ASSERT_TRUE(waitUntil([&] { return alarmOf(kTripCircuit) && alarmOf(kFlow); }));
    EXPECT_EQ(alarmOf(kFlow)->condition.limit, AlarmCondition::HighHighLimit);
    field(kTripCircuit, 0);
    field(kFlow, 700);
    ASSERT_TRUE(waitUntil([&] { return alarmOf(kTripCircuit)->returned && alarmOf(kFlow)->returned; }));
    AlarmModel* alarms = m_window->alarms();
    EXPECT_EQ(alarms->index(alarms->rowOfAlarm(pointId(kFlow)), AlarmModel::StateColumn).data().toString(),
              QStringLiteral("Returned to normal, unacknowledged"));
    m_window->acknowledgeAlarms({pointId(kTripCircuit), pointId(kFlow)});
    EXPECT_EQ(alarmOf(kTripCircuit), nullptr);
    EXPECT_EQ(alarmOf(kFlow), nullptr);
}

TEST_F(ConsoleViewsTest, AcknowledgementOfAnotherStationAcknowledgesHere)
{
    field(kSpring, 0);
    ASSERT_TRUE(waitUntil([&] { return alarmOf(kSpring) != nullptr; }));
    ScadaRuntimeInterface other{QString()};
    other.sendAlarmAcked(QStringLiteral("station2"), {pointId(kSpring)});
    ASSERT_TRUE(waitUntil([&] { return alarmOf(kSpring)->acknowledged; }));
    EXPECT_EQ(alarmOf(kSpring)->acknowledgedBy, QStringLiteral("station2"));
    EXPECT_EQ(m_window->events()->text(0), QStringLiteral("Alarms acknowledged by station2: ") + kSpring);
}

// A running pump is an indication (priority 0); once another station gives
// it a priority and says so, its abnormal state is an alarm here.
TEST_F(ConsoleViewsTest, AlarmPriorityGivenElsewhereTurnsAnIndicationIntoAnAlarm)
{
    const QString running = QStringLiteral("Millbrook.PumpHall.Pump1.Running");  // state 1, normal 0
    ASSERT_EQ(alarmOf(running), nullptr);
    DravoPartialData priority("STATUS", QStringLiteral("STATUS%1").arg(pointId(running)).toLatin1().constData());
    priority.PutValue("alarmPriority", std::uint8_t(2));
    ASSERT_EQ(DravoPlus::PutPartialDataPoint(nullptr, priority, nullptr, nullptr), DRAVO_OK);
    ScadaRuntimeInterface other{QString()};
    other.alarmPriorityDataChanged(pointId(running));
    ASSERT_TRUE(waitUntil([&] { return alarmOf(running) != nullptr; }));
    EXPECT_EQ(alarmOf(running)->condition.priority, 2);
}

TEST_F(ConsoleViewsTest, AlarmScreenshotShowsPriorityColoursAndAcknowledgement)
{
    // Urgent, high and low, raised by the field in that order; the high one
    // is acknowledged.
    field(kBreaker, 0);
    ASSERT_TRUE(waitUntil([&] { return alarmOf(kBreaker) != nullptr; }));
    field(kTripCircuit, 1);
    ASSERT_TRUE(waitUntil([&] { return alarmOf(kTripCircuit) != nullptr; }));
    field(kSpring, 0);
    ASSERT_TRUE(waitUntil([&] { return alarmOf(kSpring) != nullptr; }));
    m_window->acknowledgeAlarms({pointId(kTripCircuit)});
    ASSERT_TRUE(waitUntil([&] { return m_window->events()->rowCount() > 0; }));
    showAlarmsOnTop();

    AlarmView* view = m_window->alarmView();
    QTableView* table = view->alarmTable();
    AlarmModel* alarms = m_window->alarms();
    EXPECT_EQ(alarms->alarm(0)->id, pointId(kSpring));
    EXPECT_EQ(alarms->alarm(1)->id, pointId(kTripCircuit));
    EXPECT_EQ(alarms->alarm(2)->id, pointId(kBreaker));
    ASSERT_TRUE(table->viewport()->rect().contains(table->visualRect(alarms->index(2, AlarmModel::StateColumn))));
    const QImage shot = view->grab().toImage();
    ASSERT_FALSE(shot.isNull());
    const QString path = screenshotPath(QStringLiteral("alarms"));
    EXPECT_TRUE(shot.save(path)) << path.toStdString();

    // The cells' backgrounds: a strip along the top of each cell, above
    // its text.
    const auto strip = [&](int row, int column) {
        const QRect cell = cellRect(table, row, column);
        return QRect(table->mapTo(view, QPoint(cell.left() + 2, cell.top() + 1)), QSize(cell.width() - 6, 2));
    };
    const auto filled = [&](int row, int column, int priority) {
        const QRect r = strip(row, column);
        return pixelsOf(shot, r, AlarmRules::priorityColour(priority), 8) == r.width() * r.height();
    };
    EXPECT_TRUE(filled(0, AlarmModel::PointColumn, 3));     // low, unacknowledged: whole row
    EXPECT_TRUE(filled(0, AlarmModel::ConditionColumn, 3));
    EXPECT_TRUE(filled(2, AlarmModel::PointColumn, 1));     // urgent, unacknowledged
    EXPECT_TRUE(filled(1, AlarmModel::PriorityColumn, 2));  // high, acknowledged: the priority cell only
    EXPECT_FALSE(filled(1, AlarmModel::PointColumn, 2));
    EXPECT_EQ(pixelsOf(shot, strip(1, AlarmModel::PointColumn), AlarmRules::priorityColour(2), 8), 0);

    // The events below the alarms tell of the acknowledgement.
    EXPECT_TRUE(view->eventTable()->isVisible());
    EXPECT_EQ(m_window->events()->text(0),
              QStringLiteral("Alarms acknowledged by %1: %2").arg(ConsoleWindow::operatorName(), kTripCircuit));
    auto* counts = view->findChild<QLabel*>(QStringLiteral("alarmCounts"));
    ASSERT_NE(counts, nullptr);
    EXPECT_EQ(counts->text(), QStringLiteral("%1 alarms, %2 unacknowledged")
                                  .arg(alarms->rowCount())
                                  .arg(alarms->unacknowledgedCount()));
}

// ---- Quality and tags at a glance -------------------------------------------

TEST_F(ConsoleViewsTest, TableScreenshotShowsBadQualityReplacedValuesAndTags)
{
    for (const QString& name : {kFlow, kSuction, kCurrent, kSetpoint})
        ASSERT_TRUE(m_window->watchPoint(name));
    PointTableModel* model = m_window->model();
    // The field reports the pressure's value as bad (quality bit 1).
    DravoPartialData bad("ANALOG", QStringLiteral("ANALOG%1").arg(pointId(kSuction)).toLatin1().constData());
    bad.PutValue("quality", std::int32_t(1));
    ASSERT_EQ(DravoPlus::PutPartialDataPoint(nullptr, bad, nullptr, nullptr), DRAVO_OK);
    // The operator replaces the current by hand and takes the set-point out
    // of service under a control inhibit.
    m_window->table()->selectRow(model->rowOfPoint(pointId(kCurrent)));
    m_window->replaceSelected(40.0);
    m_window->table()->selectRow(model->rowOfPoint(pointId(kSetpoint)));
    m_window->applyTag(Morvane::OutOfServiceTag);
    m_window->applyTag(Morvane::ControlInhibitTag);
    const auto row = [&](const QString& name) { return model->row(model->rowOfPoint(pointId(name))); };
    ASSERT_TRUE(waitUntil([&] {
        return row(kSuction)->quality == 1 && row(kCurrent)->quality == Morvane::ManuallyReplacedQuality
            && row(kSetpoint)->tags == (Morvane::OutOfServiceTag | Morvane::ControlInhibitTag);
    }));
    const auto index = [&](const QString& name, int column) {
        return model->index(model->rowOfPoint(pointId(name)), column);
    };
    EXPECT_EQ(index(kSuction, PointTableModel::QualityColumn).data().toString(), QStringLiteral("Bad quality"));
    EXPECT_EQ(index(kCurrent, PointTableModel::QualityColumn).data().toString(), QStringLiteral("Replaced by hand"));
    EXPECT_EQ(index(kSetpoint, PointTableModel::TagsColumn).data().toString(),
              QStringLiteral("Control inhibit, Out of service"));
    EXPECT_TRUE(index(kSetpoint, PointTableModel::TagsColumn).data(Qt::DecorationRole).isValid());
    EXPECT_FALSE(index(kFlow, PointTableModel::TagsColumn).data(Qt::DecorationRole).isValid());
    EXPECT_TRUE(index(kSuction, PointTableModel::QualityColumn).data(Qt::DecorationRole).isValid());
    const QString tip = index(kSuction, PointTableModel::NameColumn).data(Qt::ToolTipRole).toString();
    EXPECT_TRUE(tip.contains(QStringLiteral("Bad quality"))) << tip.toStdString();

    PointTableView* table = m_window->table();
    table->clearSelection();
    // The operator gives the table room for its four rows.
    if (auto* split = qobject_cast<QSplitter*>(table->parentWidget()))
        split->setSizes({260, 160});
    table->scrollToTop();
    QApplication::processEvents();
    ASSERT_TRUE(table->viewport()->rect().contains(table->visualRect(model->index(3, PointTableModel::KindColumn))));
    const QImage shot = table->grab().toImage();
    ASSERT_FALSE(shot.isNull());
    const QString path = screenshotPath(QStringLiteral("quality"));
    EXPECT_TRUE(shot.save(path)) << path.toStdString();
    const auto background = [&](const QString& name) {
        const QRect cell = cellRect(table, model->rowOfPoint(pointId(name)), PointTableModel::KindColumn);
        const QRect strip(cell.right() - 6, cell.top() + 2, 4, cell.height() - 4);
        return std::make_pair(strip, strip.width() * strip.height());
    };
    const auto has = [&](const QString& name, const QColor& colour) {
        const auto b = background(name);
        return pixelsOf(shot, b.first, colour, 8) == b.second;
    };
    EXPECT_TRUE(has(kSuction, PointAppearance::badQualityColour()));
    EXPECT_TRUE(has(kCurrent, PointAppearance::replacedColour()));
    EXPECT_TRUE(has(kSetpoint, PointAppearance::outOfServiceColour()));
    for (const QColor& c : {PointAppearance::badQualityColour(), PointAppearance::replacedColour(),
                            PointAppearance::outOfServiceColour()})
        EXPECT_FALSE(has(kFlow, c));
    // The badges: the inhibit tag's red disc in the set-point's tags cell.
    const QRect tags = cellRect(table, model->rowOfPoint(pointId(kSetpoint)), PointTableModel::TagsColumn);
    EXPECT_GT(pixelsOf(shot, tags, QColor(0xc6, 0x28, 0x28), 30), 20);
}

} // namespace

int main(int argc, char* argv[])
{
    return mvtest::runConsoleTests(argc, argv);
}
