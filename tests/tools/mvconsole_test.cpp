// mvconsole_test.cpp: the operator console against a plant simulated in this
// process (embedded server, sample plant), under the platform the test runs
// on (offscreen in ctest; the same binary runs under Xvfb too).
//
// A point is dragged from the browser and dropped into the live table with
// the platform's own drag loop (mouse moved and released over the table);
// the row then follows the field's changes. Replacing a value, tagging and a
// control (refused for its inhibit tag, and executed) are done the way the
// operator does them, and the window is saved as a screenshot.
#include "consolefixture.h"
#include "consolewindow.h"
#include "controldialog.h"
#include "eventwait.h"
#include "isolatedsettings.h"
#include "logview.h"
#include "pointbrowser.h"
#include "pointtablemodel.h"
#include "pointtableview.h"

#include "plantsimulator.h"
#include "simulatedfielddriver.h"

#include <MVShared/MorvaneTypes.h>
#include <MVShared/PointMimeData.h>

#include <QtCore/QTimer>
#include <QtGui/QDrag>
#include <QtGui/QDropEvent>
#include <QtTest/QTest>
#include <QtWidgets/QApplication>
#include <QtWidgets/QDoubleSpinBox>
#include <QtWidgets/QLabel>
#include <QtWidgets/QProgressBar>
#include <QtWidgets/QPushButton>

#include <gtest/gtest.h>

#include <functional>
#include <memory>

namespace {

const QString kBreaker = QStringLiteral("KestrelHill.33kV.Feeder01.CB.Position");
const QString kFreeSetpoint = QStringLiteral("Millbrook.PumpHall.Pump1.SpeedSetpoint");
const QString kInhibitedSetpoint = QStringLiteral("Millbrook.PumpHall.Pump3.SpeedSetpoint");

// Results come through queued connections: waits keep the event loop turning.
bool waitUntil(const std::function<bool()>& done)
{
    return mvtest::waitForConsole(done);
}

class ConsoleTest : public mvtest::ConsoleOnSimulatedPlant
{
protected:
    void SetUp() override { ASSERT_NO_FATAL_FAILURE(startConsole("mvconsole-test-settings", 2000)); }


    const PointTableModel::Row* rowOf(const QString& name) const
    {
        return m_window->model()->row(m_window->model()->rowOfPoint(pointId(name)));
    }

    void select(const QString& name)
    {
        m_window->table()->selectRow(m_window->model()->rowOfPoint(pointId(name)));
    }

    // The simulated driver that serves the point's remote unit; null if none.
    SimulatedFieldDriver* driverOf(const PlantPoint& point) const
    {
        int driver = 0;
        int channel = 0;
        return m_window->plant().route(point.rtuId, driver, channel) ? m_simulator->driver(driver) : nullptr;
    }

    // Drags the point from the browser and drops it on the table.
    Qt::DropAction dragIntoTable(const QString& name)
    {
        QTreeWidgetItem* item = m_window->browser()->itemOfPoint(pointId(name));
        if (!item)
            return Qt::IgnoreAction;
        PointBrowser* browser = m_window->browser();
        return dragInto(browser, m_window->table()->viewport(), [=] { return browser->dragPoint(item); });
    }

    ControlDialog* openControl(const QString& name)
    {
        select(name);
        m_window->openControl();
        ControlDialog* dialog = m_window->findChild<ControlDialog*>();
        EXPECT_NE(dialog, nullptr);
        return dialog;
    }

    static QString label(QWidget* dialog, const char* name)
    {
        auto* l = dialog->findChild<QLabel*>(QLatin1String(name));
        return l ? l->text() : QStringLiteral("<no label %1>").arg(QLatin1String(name));
    }
};

TEST_F(ConsoleTest, BrowserShowsThePlantByRemoteUnit)
{
    PointBrowser* browser = m_window->browser();
    EXPECT_EQ(browser->topLevelItemCount(), 8);
    QTreeWidgetItem* breaker = browser->itemOfPoint(100091);
    ASSERT_NE(breaker, nullptr);
    EXPECT_EQ(breaker->text(PointBrowser::NameColumn), kBreaker);
    EXPECT_EQ(breaker->text(PointBrowser::KindColumn), QStringLiteral("Status"));
    ASSERT_NE(breaker->parent(), nullptr);
    EXPECT_EQ(breaker->parent()->text(PointBrowser::KindColumn), QStringLiteral("Remote unit"));
}

TEST_F(ConsoleTest, FilterShowsOnlyMatchingPoints)
{
    m_window->browser()->filter(QStringLiteral("feeder01.cb"));
    QTreeWidgetItem* breaker = m_window->browser()->itemOfPoint(100091);
    ASSERT_NE(breaker, nullptr);
    EXPECT_FALSE(breaker->isHidden());
    EXPECT_TRUE(breaker->parent()->isExpanded());
    EXPECT_TRUE(m_window->browser()->itemOfPoint(pointId(kFreeSetpoint))->isHidden());
    m_window->browser()->filter(QString());
    EXPECT_FALSE(m_window->browser()->itemOfPoint(pointId(kFreeSetpoint))->isHidden());
}

TEST_F(ConsoleTest, DraggedPointLandsInTheTableAndFollowsTheField)
{
    const Qt::DropAction action = dragIntoTable(kFreeSetpoint);
    EXPECT_EQ(action, Qt::CopyAction);
    ASSERT_EQ(m_window->model()->rowCount(), 1);
    const PointTableModel::Row* row = rowOf(kFreeSetpoint);
    ASSERT_NE(row, nullptr);
    EXPECT_EQ(row->kind, QStringLiteral("Analog"));
    const QString first = row->value;
    ASSERT_TRUE(waitUntil([&] { return rowOf(kFreeSetpoint)->updates >= 2; }))
        << "no change of the point reached the table";
    EXPECT_NE(rowOf(kFreeSetpoint)->value, first);
    EXPECT_TRUE(rowOf(kFreeSetpoint)->changed.isValid());
    // The value the table shows is the point's value now or a moment ago.
    EXPECT_GT(m_window->changesReceived(), 0);

    const QString shot = QStringLiteral(MV_SCREENSHOT_DIR "/mvconsole-%1.png").arg(QGuiApplication::platformName());
    EXPECT_TRUE(m_window->grab().save(shot)) << shot.toStdString();
}

TEST_F(ConsoleTest, BrowserDragCarriesThePointAsANamedPayload)
{
    m_window->browser()->dragPoint(m_window->browser()->itemOfPoint(100091));
    const QList<QDrag*> drags = m_window->browser()->findChildren<QDrag*>();
    ASSERT_EQ(drags.size(), 1);
    const auto* payload = qobject_cast<const MorvaneScadaPointMimeData*>(drags.first()->mimeData());
    ASSERT_NE(payload, nullptr);
    EXPECT_EQ(payload->pointPid(), 100091u);
    EXPECT_EQ(payload->fullName(), kBreaker);
    EXPECT_EQ(payload->data(Morvane::scadaPointMimeFormat()), kBreaker.toUtf8());
    // A unit is not a point: nothing is dragged.
    EXPECT_EQ(m_window->browser()->dragPoint(m_window->browser()->topLevelItem(0)), Qt::IgnoreAction);
    EXPECT_EQ(m_window->browser()->findChildren<QDrag*>().size(), 1);
}

TEST_F(ConsoleTest, DropOfAPayloadFromAnotherApplicationIsReadFromItsBytes)
{
    QMimeData byName;
    byName.setData(Morvane::scadaPointMimeFormat(), kBreaker.toUtf8());
    EXPECT_EQ(m_window->table()->pointOfPayload(&byName), 100091);
    QMimeData byId;
    byId.setData(Morvane::scadaPointMimeFormat(), QByteArray("100091"));
    EXPECT_EQ(m_window->table()->pointOfPayload(&byId), 100091);
    QMimeData unknown;
    unknown.setData(Morvane::scadaPointMimeFormat(), QByteArray("No.Such.Point"));
    EXPECT_EQ(m_window->table()->pointOfPayload(&unknown), 0);
    QMimeData text;
    text.setText(kBreaker);
    EXPECT_EQ(m_window->table()->pointOfPayload(&text), 0);
}

TEST_F(ConsoleTest, APointIsShownOnce)
{
    EXPECT_TRUE(m_window->watchPoint(kBreaker));
    EXPECT_FALSE(m_window->watchPoint(kBreaker));
    EXPECT_FALSE(m_window->watchPoint(QStringLiteral("No.Such.Point")));
    EXPECT_EQ(m_window->model()->rowCount(), 1);
}

TEST_F(ConsoleTest, ValueReplacedByHandShowsAndIsReleased)
{
    ASSERT_TRUE(m_window->watchPoint(kFreeSetpoint));
    select(kFreeSetpoint);
    m_window->replaceSelected(55.5);
    ASSERT_TRUE(waitUntil([&] { return rowOf(kFreeSetpoint)->value == QStringLiteral("55.500"); }));
    const QModelIndex quality = m_window->model()->index(0, PointTableModel::QualityColumn);
    EXPECT_EQ(quality.data().toString(), QStringLiteral("Replaced by hand"));
    // The field leaves a replaced value alone.
    ASSERT_TRUE(waitUntil([&] { return m_simulator->isHeld(pointId(kFreeSetpoint)); }));
    QTest::qWait(300);
    EXPECT_EQ(rowOf(kFreeSetpoint)->value, QStringLiteral("55.500"));

    m_window->releaseValue();
    ASSERT_TRUE(waitUntil([&] { return quality.data().toString() == QStringLiteral("Good"); }));
    EXPECT_TRUE(m_window->log()->toPlainText().contains(QStringLiteral("releasing the value of point %1 done")
                                                            .arg(pointId(kFreeSetpoint))))
        << m_window->log()->toPlainText().toStdString();
}

TEST_F(ConsoleTest, TagsAppliedAndRemovedShowInTheTagsColumn)
{
    ASSERT_TRUE(m_window->watchPoint(kBreaker));
    select(kBreaker);
    const QModelIndex tags = m_window->model()->index(0, PointTableModel::TagsColumn);
    m_window->applyTag(Morvane::MaintenanceTag);
    ASSERT_TRUE(waitUntil([&] { return tags.data().toString() == QStringLiteral("Maintenance"); }))
        << tags.data().toString().toStdString();
    m_window->applyTag(Morvane::ControlInhibitTag);
    ASSERT_TRUE(waitUntil([&] { return tags.data().toString() == QStringLiteral("Control inhibit, Maintenance"); }))
        << tags.data().toString().toStdString();
    m_window->removeTag(Morvane::MaintenanceTag);
    m_window->removeTag(Morvane::ControlInhibitTag);
    EXPECT_TRUE(waitUntil([&] { return tags.data().toString().isEmpty(); })) << tags.data().toString().toStdString();
}

TEST_F(ConsoleTest, ControlOfAnInhibitedPointIsRefusedAndTheDialogSaysSo)
{
    ASSERT_TRUE(m_window->watchPoint(kInhibitedSetpoint));
    ControlDialog* dialog = openControl(kInhibitedSetpoint);
    ASSERT_NE(dialog, nullptr);
    dialog->findChild<QDoubleSpinBox*>(QStringLiteral("setpointValue"))->setValue(60.0);
    dialog->findChild<QPushButton*>(QStringLiteral("sendSetpoint"))->click();
    ASSERT_TRUE(waitUntil([&] { return label(dialog, "controlState") == QStringLiteral("Done"); }));
    EXPECT_EQ(label(dialog, "resultKind"), QStringLiteral("Refused: control inhibit tag"));
    EXPECT_EQ(label(dialog, "resultCode"), QStringLiteral("2222"));
    EXPECT_EQ(dialog->lastResult().kind, 2);
    EXPECT_EQ(m_simulator->counters().commandsAnswered, 0);
}

TEST_F(ConsoleTest, ControlIsExecutedByTheDriverAndConfirmed)
{
    ASSERT_TRUE(m_window->watchPoint(kFreeSetpoint));
    ControlDialog* dialog = openControl(kFreeSetpoint);
    ASSERT_NE(dialog, nullptr);
    dialog->findChild<QDoubleSpinBox*>(QStringLiteral("setpointValue"))->setValue(61.25);
    dialog->findChild<QPushButton*>(QStringLiteral("sendSetpoint"))->click();
    ASSERT_TRUE(waitUntil([&] { return label(dialog, "controlState") == QStringLiteral("Done"); }));
    EXPECT_EQ(label(dialog, "resultKind"), QStringLiteral("Answered by the driver"));
    EXPECT_EQ(label(dialog, "resultCode"), QStringLiteral("0"));
    EXPECT_EQ(m_simulator->counters().commandsAnswered, 1);

    dialog->findChild<QPushButton*>(QStringLiteral("pollRemoteUnit"))->click();
    EXPECT_TRUE(waitUntil([&] { return m_simulator->counters().commandsAnswered == 2; }));
    EXPECT_TRUE(waitUntil([&] { return m_window->log()->toPlainText().contains(QStringLiteral("Answered by the driver code 0")); }))
        << m_window->log()->toPlainText().toStdString();
}

// The control goes out without holding up the window: while the driver keeps
// silent the dialog goes on handling events, shows the wait for the driver,
// and its Cancel button ends the control with a cancelled result.
TEST_F(ConsoleTest, ControlDialogStaysResponsiveWhileWaitingAndCancelEndsTheControl)
{
    const PlantPoint* setpoint = m_window->plant().findPoint(kFreeSetpoint);
    ASSERT_NE(setpoint, nullptr);
    SimulatedFieldDriver* driver = driverOf(*setpoint);
    ASSERT_NE(driver, nullptr);
    SimulatedFieldDriver::Answer silent;
    silent.silent = true;
    silent.apply = false;
    driver->answerForPoint(setpoint->id, silent);
    // The set-point's wait is the full 30 s: only Cancel ends it here.
    DravoPlus::SetWaitScale(1.0);

    ASSERT_TRUE(m_window->watchPoint(kFreeSetpoint));
    ControlDialog* dialog = openControl(kFreeSetpoint);
    ASSERT_NE(dialog, nullptr);
    auto* send = dialog->findChild<QPushButton*>(QStringLiteral("sendSetpoint"));
    auto* cancel = dialog->findChild<QPushButton*>(QStringLiteral("cancelControl"));
    auto* progress = dialog->findChild<QProgressBar*>(QStringLiteral("controlProgress"));
    ASSERT_TRUE(send && cancel && progress);
    EXPECT_FALSE(cancel->isEnabled());
    send->click();

    // Back at once: the control is on its way and nothing has come back.
    EXPECT_TRUE(dialog->isBusy());
    EXPECT_TRUE(cancel->isEnabled());
    EXPECT_FALSE(send->isEnabled());
    EXPECT_TRUE(label(dialog, "resultKind").isEmpty());
    // The window keeps turning its event loop: a timer fires and the dialog
    // follows the command to its wait for the driver.
    bool timerFired = false;
    QTimer::singleShot(0, dialog, [&timerFired] { timerFired = true; });
    ASSERT_TRUE(waitUntil([&] { return timerFired && label(dialog, "controlState").contains(QStringLiteral("waiting for Driver")); }))
        << label(dialog, "controlState").toStdString();
    EXPECT_TRUE(progress->isVisible());
    EXPECT_EQ(progress->maximum(), 30000);
    EXPECT_TRUE(progress->text().endsWith(QStringLiteral(" s left"))) << progress->text().toStdString();
    EXPECT_TRUE(dialog->isBusy());

    cancel->click();
    ASSERT_TRUE(waitUntil([&] { return label(dialog, "controlState") == QStringLiteral("Cancelled"); }))
        << label(dialog, "controlState").toStdString();
    EXPECT_EQ(label(dialog, "resultKind"), QStringLiteral("Cancelled"));
    EXPECT_EQ(label(dialog, "resultCode"), QStringLiteral("0"));
    EXPECT_EQ(label(dialog, "resultMessage"), QStringLiteral("Command cancelled"));
    EXPECT_EQ(dialog->lastResult().kind, Morvane::CommandCancelled);
    EXPECT_FALSE(dialog->isBusy());
    EXPECT_FALSE(cancel->isEnabled());
    EXPECT_TRUE(send->isEnabled());
    EXPECT_FALSE(progress->isVisible());
    EXPECT_TRUE(waitUntil([&] { return m_window->log()->toPlainText().contains(QStringLiteral("Cancelled code 0")); }))
        << m_window->log()->toPlainText().toStdString();

    // The dialog is ready for the next control: the driver answers again.
    driver->clearAnswers();
    send->click();
    ASSERT_TRUE(waitUntil([&] { return label(dialog, "controlState") == QStringLiteral("Done"); }));
    EXPECT_EQ(label(dialog, "resultKind"), QStringLiteral("Answered by the driver"));
    DravoPlus::SetWaitScale(0.05);
}

// A driver's failure message and a point's name are shown as they stand: the
// labels take no markup from them.
TEST_F(ConsoleTest, ControlDialogShowsDriverAndPointTextLiterally)
{
    const PlantPoint* setpoint = m_window->plant().findPoint(kFreeSetpoint);
    ASSERT_NE(setpoint, nullptr);
    SimulatedFieldDriver* driver = driverOf(*setpoint);
    ASSERT_NE(driver, nullptr);
    SimulatedFieldDriver::Answer refusal;
    refusal.failwhy = Morvane::UndefinedError; // the driver's own message is shown
    refusal.failMessage = QStringLiteral("<b>x</b>");
    driver->answerForPoint(setpoint->id, refusal);

    ASSERT_TRUE(m_window->watchPoint(kFreeSetpoint));
    ControlDialog* dialog = openControl(kFreeSetpoint);
    ASSERT_NE(dialog, nullptr);
    dialog->findChild<QPushButton*>(QStringLiteral("sendSetpoint"))->click();
    ASSERT_TRUE(waitUntil([&] { return label(dialog, "controlState") == QStringLiteral("Done"); }));
    auto* message = dialog->findChild<QLabel*>(QStringLiteral("resultMessage"));
    ASSERT_NE(message, nullptr);
    EXPECT_EQ(message->textFormat(), Qt::PlainText);
    EXPECT_EQ(message->text(), QStringLiteral("<b>x</b>"));

    PlantIndex renamed = m_window->plant();
    for (PlantPoint& point : renamed.analog)
        if (point.id == setpoint->id)
            point.name = QStringLiteral("<b>x</b>");
    ControlDialog named(nullptr, renamed, setpoint->id);
    auto* name = named.findChild<QLabel*>(QStringLiteral("pointName"));
    ASSERT_NE(name, nullptr);
    EXPECT_EQ(name->textFormat(), Qt::PlainText);
    EXPECT_EQ(name->text(), QStringLiteral("<b>x</b>"));
    for (QLabel* shown : {message, name, dialog->findChild<QLabel*>(QStringLiteral("driverName")),
                          dialog->findChild<QLabel*>(QStringLiteral("controlState"))}) {
        ASSERT_NE(shown, nullptr);
        EXPECT_EQ(shown->textFormat(), Qt::PlainText) << shown->objectName().toStdString();
    }
}

TEST_F(ConsoleTest, StatusBarShowsTheConnectionAndTheChangeRate)
{
    auto* state = m_window->findChild<QLabel*>(QStringLiteral("connectionState"));
    auto* server = m_window->findChild<QLabel*>(QStringLiteral("activeServer"));
    auto* rate = m_window->findChild<QLabel*>(QStringLiteral("changeRate"));
    ASSERT_TRUE(state && server && rate);
    EXPECT_EQ(state->text(), QStringLiteral("Connected"));
    EXPECT_EQ(server->text(), QStringLiteral("Server: embedded"));
    EXPECT_TRUE(waitUntil([&] { return rate->text().endsWith(QStringLiteral(" changes/s")) && !rate->text().startsWith(QLatin1Char('0')); }))
        << rate->text().toStdString();
}

TEST_F(ConsoleTest, LogViewShowsWhatTheConsoleDid)
{
    ASSERT_TRUE(m_window->watchPoint(kBreaker));
    EXPECT_TRUE(waitUntil([&] { return m_window->log()->toPlainText().contains(QStringLiteral("watching point 100091 ") + kBreaker); }))
        << m_window->log()->toPlainText().toStdString();
    EXPECT_TRUE(m_window->log()->toPlainText().contains(QStringLiteral("INFO   plant read: 2000 status, 1500 analog, 500 text points")));
}

} // namespace

int main(int argc, char* argv[])
{
    return mvtest::runConsoleTests(argc, argv);
}
