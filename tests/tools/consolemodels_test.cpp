// consolemodels_test.cpp: the operator console's models without a window or
// a server: the alarm rules and list (raise, acknowledge, clear, limits
// crossed both ways, priorities), the trend's series and window, reading
// notifications, and how quality and tags look in the point table.
#include "consolefixture.h"
#include "alarmmodel.h"
#include "alarmrules.h"
#include "eventlistmodel.h"
#include "notification.h"
#include "pointappearance.h"
#include "pointtablemodel.h"
#include "trendmodel.h"

#include <MVShared/MorvaneTypes.h>

#include <DravoPlus/DravoPlus.h>

#include <QtCore/QDataStream>
#include <QtGui/QBrush>
#include <QtGui/QImage>
#include <QtWidgets/QApplication>

#include <gtest/gtest.h>

namespace {

const QDateTime kT0 = QDateTime::fromSecsSinceEpoch(1700000000);

PlantPoint breaker(int id = 100091, int normal = 1, int priority = 1)
{
    PlantPoint p;
    p.id = id;
    p.name = QStringLiteral("KestrelHill.33kV.Feeder01.CB.Position");
    p.value = normal;
    p.normalState = normal;
    p.alarmPriority = priority;
    return p;
}

PlantPoint flow(int id = 200912)
{
    PlantPoint p;
    p.id = id;
    p.name = QStringLiteral("Millbrook.PumpHall.Pump1.Flow");
    p.unit = QStringLiteral("m3/h");
    p.value = 700;
    p.limits.lowLow = 50;
    p.limits.low = 100;
    p.limits.high = 1500;
    p.limits.highHigh = 1800;
    return p;
}

PlantIndex plantOf(const QVector<PlantPoint>& status, const QVector<PlantPoint>& analog)
{
    PlantIndex plant;
    plant.status = status;
    plant.analog = analog;
    return plant;
}

QString cell(const AlarmModel& model, int row, int column)
{
    return model.index(row, column).data().toString();
}

// ---- Alarm rules ------------------------------------------------------------

TEST(AlarmRulesTest, StatusPointIsInAlarmAwayFromItsNormalStateWithItsPriority)
{
    const PlantPoint p = breaker(100091, 1, 2);
    EXPECT_FALSE(AlarmRules::condition(p, 1).abnormal);
    const AlarmCondition c = AlarmRules::condition(p, 0);
    EXPECT_TRUE(c.abnormal);
    EXPECT_EQ(c.priority, 2);
    EXPECT_EQ(c.limit, AlarmCondition::NoLimit);
    EXPECT_EQ(AlarmRules::conditionText(p, c, 0), QStringLiteral("State 0 (normal 1)"));
}

TEST(AlarmRulesTest, StatusPointOfPriorityZeroIsAnIndicationNotAnAlarm)
{
    EXPECT_FALSE(AlarmRules::condition(breaker(101271, 0, 0), 1).abnormal);
}

TEST(AlarmRulesTest, PointWithAlarmsDisabledRaisesNone)
{
    PlantPoint p = breaker();
    p.alarmEnable = false;
    EXPECT_FALSE(AlarmRules::condition(p, 0).abnormal);
    PlantPoint f = flow();
    f.alarmEnable = false;
    EXPECT_FALSE(AlarmRules::condition(f, 5000).abnormal);
}

TEST(AlarmRulesTest, AnalogLimitsAreStrictAndTheOuterOnesAreUrgent)
{
    const PlantPoint p = flow();
    EXPECT_FALSE(AlarmRules::condition(p, 1500).abnormal);
    EXPECT_FALSE(AlarmRules::condition(p, 100).abnormal);
    const AlarmCondition high = AlarmRules::condition(p, 1500.5);
    EXPECT_EQ(high.limit, AlarmCondition::HighLimit);
    EXPECT_EQ(high.priority, AlarmRules::High);
    EXPECT_EQ(AlarmRules::conditionText(p, high, 1500.5), QStringLiteral("Hi Limit"));
    const AlarmCondition highHigh = AlarmRules::condition(p, 1801);
    EXPECT_EQ(highHigh.limit, AlarmCondition::HighHighLimit);
    EXPECT_EQ(highHigh.priority, AlarmRules::Urgent);
    EXPECT_EQ(AlarmRules::conditionText(p, highHigh, 1801), QStringLiteral("HiHi Limit"));
    EXPECT_EQ(AlarmRules::condition(p, 99).limit, AlarmCondition::LowLimit);
    EXPECT_EQ(AlarmRules::condition(p, 49).limit, AlarmCondition::LowLowLimit);
    EXPECT_EQ(AlarmRules::conditionText(p, AlarmRules::condition(p, 49), 49), QStringLiteral("LoLow Limit"));
}

TEST(AlarmRulesTest, PointWithoutLimitsIsNeverInAlarm)
{
    PlantPoint p = flow();
    p.limits = PlantLimits();
    EXPECT_FALSE(AlarmRules::condition(p, -1e9).abnormal);
    EXPECT_FALSE(AlarmRules::condition(p, 1e9).abnormal);
}

TEST(AlarmRulesTest, EachPriorityHasItsOwnColourAndText)
{
    EXPECT_EQ(AlarmRules::priorityText(1), QStringLiteral("Urgent"));
    EXPECT_EQ(AlarmRules::priorityText(2), QStringLiteral("High"));
    EXPECT_EQ(AlarmRules::priorityText(3), QStringLiteral("Low"));
    EXPECT_EQ(AlarmRules::priorityText(7), QStringLiteral("Low"));
    EXPECT_NE(AlarmRules::priorityColour(1), AlarmRules::priorityColour(2));
    EXPECT_NE(AlarmRules::priorityColour(2), AlarmRules::priorityColour(3));
}

// ---- Alarm list -------------------------------------------------------------

TEST(AlarmModelTest, StandingAlarmsAreRaisedWhenThePlantIsLearnt)
{
    PlantPoint open = breaker(100091);
    open.value = 0;
    PlantPoint high = flow();
    high.value = 1600;
    AlarmModel model;
    model.setPoints(plantOf({open, breaker(100092)}, {high, flow(200913)}), kT0);
    ASSERT_EQ(model.rowCount(), 2);
    EXPECT_GE(model.rowOfAlarm(100091), 0);
    EXPECT_GE(model.rowOfAlarm(200912), 0);
    EXPECT_EQ(model.rowOfAlarm(100092), -1);
    EXPECT_EQ(model.unacknowledgedCount(), 2);
}

TEST(AlarmModelTest, StatusPointLeavingItsNormalStateRaisesAnAlarmOnTop)
{
    AlarmModel model;
    model.setPoints(plantOf({breaker(100091), breaker(100092, 0, 3)}, {}), kT0);
    EXPECT_EQ(model.rowCount(), 0);
    model.applyValue(100091, 0, kT0.addSecs(1));
    model.applyValue(100092, 1, kT0.addSecs(2));
    ASSERT_EQ(model.rowCount(), 2);
    EXPECT_EQ(model.alarm(0)->id, 100092);  // newest first
    EXPECT_EQ(model.alarm(1)->id, 100091);
    EXPECT_EQ(cell(model, 1, AlarmModel::PointColumn), QStringLiteral("KestrelHill.33kV.Feeder01.CB.Position"));
    EXPECT_EQ(cell(model, 1, AlarmModel::ConditionColumn), QStringLiteral("State 0 (normal 1)"));
    EXPECT_EQ(cell(model, 1, AlarmModel::ValueColumn), QStringLiteral("0"));
    EXPECT_EQ(cell(model, 1, AlarmModel::PriorityColumn), QStringLiteral("Urgent"));
    EXPECT_EQ(cell(model, 1, AlarmModel::StateColumn), QStringLiteral("Unacknowledged"));
    EXPECT_EQ(cell(model, 1, AlarmModel::TimeColumn), kT0.addSecs(1).toString(QStringLiteral("yyyy-MM-dd HH:mm:ss")));
    EXPECT_EQ(cell(model, 0, AlarmModel::PriorityColumn), QStringLiteral("Low"));
}

TEST(AlarmModelTest, UnacknowledgedAlarmsShowTheirPriorityColourOnTheWholeRow)
{
    AlarmModel model;
    model.setPoints(plantOf({breaker(100091, 1, 1), breaker(100092, 1, 2)}, {}), kT0);
    model.applyValue(100091, 0, kT0);
    model.applyValue(100092, 0, kT0);
    const auto background = [&](int id, int column) {
        return model.index(model.rowOfAlarm(id), column).data(Qt::BackgroundRole).value<QBrush>().color();
    };
    EXPECT_EQ(background(100091, AlarmModel::PointColumn), AlarmRules::priorityColour(1));
    EXPECT_EQ(background(100092, AlarmModel::PointColumn), AlarmRules::priorityColour(2));
    model.acknowledge({100091}, QStringLiteral("ann"));
    EXPECT_FALSE(model.index(model.rowOfAlarm(100091), AlarmModel::PointColumn).data(Qt::BackgroundRole).isValid());
    EXPECT_EQ(background(100091, AlarmModel::PriorityColumn), AlarmRules::priorityColour(1));
}

TEST(AlarmModelTest, AcknowledgedAlarmLeavesTheListWhenItsPointReturnsToNormal)
{
    AlarmModel model;
    model.setPoints(plantOf({breaker()}, {}), kT0);
    model.applyValue(100091, 0, kT0);
    EXPECT_EQ(model.acknowledge({100091, 4242}, QStringLiteral("ann")), QList<int>{100091});
    EXPECT_EQ(cell(model, 0, AlarmModel::StateColumn), QStringLiteral("Acknowledged by ann"));
    EXPECT_EQ(model.unacknowledgedCount(), 0);
    // A second acknowledgement (another station's, say) changes nothing.
    EXPECT_TRUE(model.acknowledge({100091}, QStringLiteral("bob")).isEmpty());
    EXPECT_EQ(cell(model, 0, AlarmModel::StateColumn), QStringLiteral("Acknowledged by ann"));
    model.applyValue(100091, 1, kT0.addSecs(5));
    EXPECT_EQ(model.rowCount(), 0);
}

TEST(AlarmModelTest, UnacknowledgedAlarmThatReturnsStaysMarkedUntilAcknowledged)
{
    AlarmModel model;
    model.setPoints(plantOf({breaker()}, {}), kT0);
    model.applyValue(100091, 0, kT0);
    model.applyValue(100091, 1, kT0.addSecs(2));
    ASSERT_EQ(model.rowCount(), 1);
    EXPECT_TRUE(model.alarm(0)->returned);
    EXPECT_EQ(cell(model, 0, AlarmModel::StateColumn), QStringLiteral("Returned to normal, unacknowledged"));
    EXPECT_EQ(cell(model, 0, AlarmModel::ValueColumn), QStringLiteral("1"));
    EXPECT_EQ(model.unacknowledgedCount(), 1);
    EXPECT_EQ(model.acknowledge({100091}, QStringLiteral("ann")), QList<int>{100091});
    EXPECT_EQ(model.rowCount(), 0);
    EXPECT_EQ(model.unacknowledgedCount(), 0);
}

TEST(AlarmModelTest, ReturnedAlarmGoingAbnormalAgainIsRaisedAnew)
{
    AlarmModel model;
    model.setPoints(plantOf({breaker(), breaker(100092, 1, 3)}, {}), kT0);
    model.applyValue(100091, 0, kT0);
    model.applyValue(100092, 0, kT0.addSecs(1));
    model.applyValue(100091, 1, kT0.addSecs(2));
    model.applyValue(100091, 0, kT0.addSecs(3));
    ASSERT_EQ(model.rowCount(), 2);
    EXPECT_EQ(model.alarm(0)->id, 100091);
    EXPECT_FALSE(model.alarm(0)->returned);
    EXPECT_EQ(model.alarm(0)->raised, kT0.addSecs(3));
    EXPECT_EQ(model.unacknowledgedCount(), 2);
}

TEST(AlarmModelTest, AnalogLimitsCrossedUpAndDownRaiseEscalateAndClear)
{
    AlarmModel model;
    model.setPoints(plantOf({}, {flow()}), kT0);
    model.applyValue(200912, 1499, kT0);
    EXPECT_EQ(model.rowCount(), 0);
    model.applyValue(200912, 1600, kT0.addSecs(1));   // over high
    ASSERT_EQ(model.rowCount(), 1);
    EXPECT_EQ(cell(model, 0, AlarmModel::ConditionColumn), QStringLiteral("Hi Limit"));
    EXPECT_EQ(cell(model, 0, AlarmModel::ValueColumn), QStringLiteral("1600.000 m3/h"));
    EXPECT_EQ(cell(model, 0, AlarmModel::PriorityColumn), QStringLiteral("High"));
    model.acknowledge({200912}, QStringLiteral("ann"));
    model.applyValue(200912, 1900, kT0.addSecs(2));   // over high-high: more urgent, raised again
    ASSERT_EQ(model.rowCount(), 1);
    EXPECT_EQ(cell(model, 0, AlarmModel::ConditionColumn), QStringLiteral("HiHi Limit"));
    EXPECT_EQ(cell(model, 0, AlarmModel::PriorityColumn), QStringLiteral("Urgent"));
    EXPECT_FALSE(model.alarm(0)->acknowledged);
    EXPECT_EQ(model.alarm(0)->raised, kT0.addSecs(2));
    model.acknowledge({200912}, QStringLiteral("ann"));
    model.applyValue(200912, 1600, kT0.addSecs(3));   // back under high-high: less urgent, stays acknowledged
    EXPECT_TRUE(model.alarm(0)->acknowledged);
    EXPECT_EQ(cell(model, 0, AlarmModel::ConditionColumn), QStringLiteral("Hi Limit"));
    model.applyValue(200912, 1200, kT0.addSecs(4));   // back under high: cleared
    EXPECT_EQ(model.rowCount(), 0);

    model.applyValue(200912, 80, kT0.addSecs(5));     // under low
    ASSERT_EQ(model.rowCount(), 1);
    EXPECT_EQ(cell(model, 0, AlarmModel::ConditionColumn), QStringLiteral("Low Limit"));
    model.applyValue(200912, 20, kT0.addSecs(6));     // under low-low
    EXPECT_EQ(cell(model, 0, AlarmModel::ConditionColumn), QStringLiteral("LoLow Limit"));
    EXPECT_EQ(cell(model, 0, AlarmModel::PriorityColumn), QStringLiteral("Urgent"));
    model.applyValue(200912, 700, kT0.addSecs(7));    // back in range, unacknowledged: stays, marked
    ASSERT_EQ(model.rowCount(), 1);
    EXPECT_TRUE(model.alarm(0)->returned);
}

TEST(AlarmModelTest, ChangedLimitsTakeEffectAtOnce)
{
    AlarmModel model;
    PlantPoint p = flow();
    model.setPoints(plantOf({}, {p}), kT0);
    model.applyValue(200912, 1400, kT0);
    EXPECT_EQ(model.rowCount(), 0);
    p.limits.high = 1300;
    p.value = 1400;
    model.updatePoint(p, kT0.addSecs(1));
    ASSERT_EQ(model.rowCount(), 1);
    EXPECT_EQ(cell(model, 0, AlarmModel::ConditionColumn), QStringLiteral("Hi Limit"));
}

TEST(AlarmModelTest, ChangesOfUnknownOrTextPointsAreIgnored)
{
    AlarmModel model;
    model.setPoints(plantOf({breaker()}, {}), kT0);
    model.applyValue(100555, 0, kT0);
    mapEvent changes;
    DravoData text("TEXT");
    changes.insert(3000001, text);
    model.applyChanges(changes);
    EXPECT_EQ(model.rowCount(), 0);
}

TEST(AlarmModelTest, ChangeRecordsOfAPacketRaiseAlarms)
{
    AlarmModel model;
    model.setPoints(plantOf({breaker()}, {flow()}), kT0);
    DravoData status("CHANGED_STATUS");
    ASSERT_EQ(status.PutValue("pid", std::int32_t(100091)), 0);
    ASSERT_EQ(status.PutValue("lastvalue", std::int8_t(0)), 0);
    DravoData analog("CHANGED_ANALOG");
    ASSERT_EQ(analog.PutValue("pid", std::int32_t(200912)), 0);
    ASSERT_EQ(analog.PutValue("lastvalue", 1900.0), 0);
    mapEvent changes;
    changes.insert(100091, status);
    changes.insert(200912, analog);
    model.applyChanges(changes);
    EXPECT_EQ(model.rowCount(), 2);
    EXPECT_EQ(model.alarm(model.rowOfAlarm(200912))->condition.limit, AlarmCondition::HighHighLimit);
}

// ---- Trend ------------------------------------------------------------------

TEST(TrendModelTest, OnlyAnalogPointsAreTrendedAndEachOnce)
{
    TrendModel model;
    EXPECT_TRUE(model.addSeries(flow(), 1000));
    EXPECT_FALSE(model.addSeries(flow(), 2000));
    EXPECT_FALSE(model.addSeries(breaker(), 2000));
    ASSERT_EQ(model.series().size(), 1);
    EXPECT_EQ(model.series()[0].samples, QVector<QPointF>{QPointF(1000, 700)});
}

TEST(TrendModelTest, SeveralSeriesKeepTheirOwnSamplesUnitsAndLimits)
{
    TrendModel model;
    PlantPoint pressure = flow(200913);
    pressure.name = QStringLiteral("Millbrook.PumpHall.Pump1.Suction.Pressure");
    pressure.unit = QStringLiteral("bar");
    pressure.value = 0.8;
    pressure.limits = {0.1, 0.3, 3, 4};
    PlantPoint flow2 = flow(200930);
    ASSERT_TRUE(model.addSeries(flow(), 0));
    ASSERT_TRUE(model.addSeries(pressure, 0));
    ASSERT_TRUE(model.addSeries(flow2, 0));
    model.addSample(200912, 10, 710);
    model.addSample(200913, 20, 0.9);
    model.addSample(200913, 30, 1.0);
    model.addSample(4242, 30, 1.0);  // not shown: ignored
    EXPECT_EQ(model.series()[0].samples.size(), 2);
    EXPECT_EQ(model.series()[1].samples.size(), 3);
    EXPECT_EQ(model.series()[1].samples.last(), QPointF(30, 1.0));
    EXPECT_EQ(model.units(), (QStringList{QStringLiteral("m3/h"), QStringLiteral("bar")}));
    EXPECT_EQ(TrendModel::label(model.series()[1]), QStringLiteral("Millbrook.PumpHall.Pump1.Suction.Pressure [bar]"));
    EXPECT_EQ(model.series()[1].point.limits.high, 3);
    EXPECT_EQ(model.series()[1].point.limits.lowLow, 0.1);
    EXPECT_TRUE(model.removeSeries(200912));
    EXPECT_EQ(model.units(), (QStringList{QStringLiteral("bar"), QStringLiteral("m3/h")}));
}

TEST(TrendModelTest, WindowTrimsOlderSamplesButKeepsTheOneBeforeIt)
{
    TrendModel model;
    model.setWindow(TrendModel::OneMinute);
    ASSERT_TRUE(model.addSeries(flow(), 0));
    for (qint64 t = 10000; t <= 120000; t += 10000)
        model.addSample(200912, t, static_cast<double>(t));
    model.trim(120000);  // the window starts at 60000
    const QVector<QPointF>& samples = model.series()[0].samples;
    ASSERT_FALSE(samples.isEmpty());
    EXPECT_EQ(samples.first(), QPointF(50000, 50000));  // the one entering the window
    EXPECT_EQ(samples[1], QPointF(60000, 60000));
    EXPECT_EQ(samples.last(), QPointF(120000, 120000));
    EXPECT_EQ(samples.size(), 8);
    // A wider window keeps what is left; trimming again drops nothing more.
    model.setWindow(TrendModel::OneHour);
    model.trim(120000);
    EXPECT_EQ(model.series()[0].samples.size(), 8);
}

TEST(TrendModelTest, WindowsAreOneMinuteTenMinutesAndOneHour)
{
    EXPECT_EQ(TrendModel::windowMs(TrendModel::OneMinute), 60000);
    EXPECT_EQ(TrendModel::windowMs(TrendModel::TenMinutes), 600000);
    EXPECT_EQ(TrendModel::windowMs(TrendModel::OneHour), 3600000);
    EXPECT_EQ(TrendModel::windowText(TrendModel::OneMinute), QStringLiteral("1 min"));
    EXPECT_EQ(TrendModel::windowText(TrendModel::TenMinutes), QStringLiteral("10 min"));
    EXPECT_EQ(TrendModel::windowText(TrendModel::OneHour), QStringLiteral("1 h"));
}

TEST(TrendModelTest, ASeriesKeepsABoundedNumberOfSamples)
{
    TrendModel model;
    ASSERT_TRUE(model.addSeries(flow(), 0));
    for (int i = 1; i <= TrendModel::MaximumSamples + 10; ++i)
        model.addSample(200912, i, i);
    EXPECT_EQ(model.series()[0].samples.size(), TrendModel::MaximumSamples);
    EXPECT_EQ(model.series()[0].samples.last().x(), TrendModel::MaximumSamples + 10);
}

TEST(TrendModelTest, NewLimitsOfAShownPointReplaceTheOldAndKeepTheSamples)
{
    TrendModel model;
    ASSERT_TRUE(model.addSeries(flow(), 0));
    model.addSample(200912, 5, 720);
    PlantPoint changed = flow();
    changed.limits.high = 1200;
    model.updatePoint(changed);
    EXPECT_EQ(model.series()[0].point.limits.high, 1200);
    EXPECT_EQ(model.series()[0].samples.size(), 2);
}

// ---- Notifications and events ---------------------------------------------

DravoData ackMessage(const QString& by, const QList<qint32>& ids)
{
    QByteArray bytes;
    QDataStream stream(&bytes, QIODevice::WriteOnly);
    stream << quint32(ids.size());
    for (const qint32 id : ids)
        stream << id;
    DravoData acked("ACKED_DATA_MESSAGE");
    acked.PutValueUtf16("ackedBy", reinterpret_cast<const char16_t*>(by.utf16()), by.size());
    acked.PutValue("alarmIds", bytes.constData(), bytes.size());
    DravoData message("NOTIFY_MESSAGE");
    message.PutValue("cmdCode", std::int32_t(1));
    message.PutValue("param", acked);
    return message;
}

TEST(NotificationTest, AcknowledgementIsReadWithItsUserAndAlarmIds)
{
    ConsoleNotification n;
    ASSERT_TRUE(decodeNotification(ackMessage(QStringLiteral("bob"), {100091, 200912}), n));
    EXPECT_EQ(n.cmdCode, ConsoleNotification::AlarmsAcknowledged);
    EXPECT_EQ(n.ackedBy, QStringLiteral("bob"));
    EXPECT_EQ(n.alarmIds, (QList<int>{100091, 200912}));
    PlantIndex plant = plantOf({breaker()}, {});
    EXPECT_EQ(notificationText(n, plant),
              QStringLiteral("Alarms acknowledged by bob: KestrelHill.33kV.Feeder01.CB.Position, 200912"));
}

TEST(NotificationTest, LimitChangeNamesThePoint)
{
    DravoData change("DATA_CHANGE_MESSAGE");
    change.PutValue("target", std::int32_t(1));
    change.PutValue("pid", std::int32_t(200912));
    DravoData message("NOTIFY_MESSAGE");
    message.PutValue("cmdCode", std::int32_t(9));
    message.PutValue("param", change);
    ConsoleNotification n;
    ASSERT_TRUE(decodeNotification(message, n));
    EXPECT_EQ(n.cmdCode, ConsoleNotification::AnalogLimitChanged);
    EXPECT_TRUE(n.hasPid);
    EXPECT_EQ(n.pid, 200912);
    EXPECT_EQ(notificationText(n, plantOf({}, {flow()})),
              QStringLiteral("Limits changed: Millbrook.PumpHall.Pump1.Flow"));
}

TEST(NotificationTest, MessageWithoutBodyAndOtherRecordsAreToldApart)
{
    DravoData restarted("NOTIFY_MESSAGE");
    restarted.PutValue("cmdCode", std::int32_t(2));
    ConsoleNotification n;
    ASSERT_TRUE(decodeNotification(restarted, n));
    EXPECT_EQ(notificationText(n, PlantIndex()), QStringLiteral("Runtime server restarted"));
    EXPECT_FALSE(decodeNotification(DravoData("STATUS"), n));
    EXPECT_FALSE(decodeNotification(DravoData(), n));
}

TEST(NotificationTest, DamagedAlarmIdsAreNotBelieved)
{
    QByteArray bytes;
    QDataStream stream(&bytes, QIODevice::WriteOnly);
    stream << quint32(1000000) << qint32(7);
    DravoData acked("ACKED_DATA_MESSAGE");
    acked.PutValue("alarmIds", bytes.constData(), bytes.size());
    DravoData message("NOTIFY_MESSAGE");
    message.PutValue("cmdCode", std::int32_t(1));
    message.PutValue("param", acked);
    ConsoleNotification n;
    ASSERT_TRUE(decodeNotification(message, n));
    EXPECT_EQ(n.alarmIds, QList<int>{7});
}

TEST(EventListModelTest, NewestEventFirstAndBounded)
{
    EventListModel model;
    for (int i = 0; i < EventListModel::MaximumEvents + 5; ++i)
        model.addEvent(kT0.addSecs(i), QStringLiteral("event %1").arg(i));
    EXPECT_EQ(model.rowCount(), EventListModel::MaximumEvents);
    EXPECT_EQ(model.text(0), QStringLiteral("event %1").arg(EventListModel::MaximumEvents + 4));
    EXPECT_EQ(model.text(EventListModel::MaximumEvents - 1), QStringLiteral("event 5"));
}

// ---- Quality and tags -------------------------------------------------------

TEST(PointAppearanceTest, QualityAndOutOfServiceColourTheRowBadQualityFirst)
{
    EXPECT_FALSE(PointAppearance::rowColour(0, 0).isValid());
    EXPECT_FALSE(PointAppearance::rowColour(0, Morvane::ControlInhibitTag).isValid());
    EXPECT_EQ(PointAppearance::rowColour(4, 0), PointAppearance::replacedColour());
    EXPECT_EQ(PointAppearance::rowColour(1, 0), PointAppearance::badQualityColour());
    EXPECT_EQ(PointAppearance::rowColour(5, Morvane::OutOfServiceTag), PointAppearance::badQualityColour());
    EXPECT_EQ(PointAppearance::rowColour(0, Morvane::OutOfServiceTag), PointAppearance::outOfServiceColour());
    EXPECT_EQ(PointTableModel::qualityText(0), QStringLiteral("Good"));
    EXPECT_EQ(PointTableModel::qualityText(4), QStringLiteral("Replaced by hand"));
    EXPECT_EQ(PointTableModel::qualityText(2), QStringLiteral("Bad quality"));
    EXPECT_EQ(PointTableModel::qualityText(6), QStringLiteral("Replaced by hand, Bad quality"));
}

TEST(PointAppearanceTest, BadgesAreDrawnOnePerTag)
{
    EXPECT_TRUE(PointAppearance::tagIcon(0).isNull());
    EXPECT_TRUE(PointAppearance::qualityIcon(0).isNull());
    const QSize one = PointAppearance::tagIcon(Morvane::ControlInhibitTag).availableSizes().value(0);
    const QSize three = PointAppearance::tagIcon(Morvane::ControlInhibitTag | Morvane::OutOfServiceTag
                                                 | Morvane::MaintenanceTag)
                            .availableSizes()
                            .value(0);
    EXPECT_GT(one.width(), 0);
    EXPECT_GT(three.width(), 2 * one.width());
    // The inhibit badge is red where it is drawn.
    const QImage badge = PointAppearance::tagIcon(Morvane::ControlInhibitTag).pixmap(one).toImage();
    const QColor centre = badge.pixelColor(2, one.height() / 2);
    EXPECT_GT(centre.red(), 150);
    EXPECT_LT(centre.green(), 100);
}

} // namespace

int main(int argc, char* argv[])
{
    return mvtest::runConsoleTests(argc, argv);
}
