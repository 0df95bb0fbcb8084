/*
 * consolefixture.cpp: the operator console's shared test fixture.
 */
#include "consolefixture.h"

#include "eventwait.h"
#include "isolatedsettings.h"

#include <DravoPlus/DravoPlus.h>

#include <QtCore/QTimer>
#include <QtGui/QDrag>
#include <QtGui/QDropEvent>
#include <QtGui/QGuiApplication>
#include <QtGui/QWindow>
#include <QtTest/QTest>
#include <QtWidgets/QApplication>

#include <chrono>

namespace mvtest {

bool waitForConsole(const std::function<bool()>& done)
{
    return waitUntil(done, std::chrono::seconds(20));
}

void ConsoleOnSimulatedPlant::startConsole(const char* settingsName, int changesPerSecond)
{
    useIsolatedSettings(settingsName);
    DravoPlus::SetWaitScale(0.05);
    ASSERT_EQ(DravoPlus::ConnectMid(nullptr), DRAVO_OK);
    PlantSimulator::Settings settings;
    settings.plantPath = QStringLiteral(MV_SAMPLE_PLANT);
    settings.changesPerSecond = changesPerSecond;
    m_simulator = std::make_unique<PlantSimulator>(settings);
    QString error;
    ASSERT_TRUE(m_simulator->start(&error)) << error.toStdString();
    m_window = std::make_unique<ConsoleWindow>();
    ASSERT_TRUE(m_window->start());
    m_window->show();
    ASSERT_TRUE(QTest::qWaitForWindowExposed(m_window.get()));
}

void ConsoleOnSimulatedPlant::TearDown()
{
    m_window.reset();
    m_simulator.reset();
    DravoPlus::DisConnectMid(nullptr);
}

int ConsoleOnSimulatedPlant::pointId(const QString& name) const
{
    const PlantPoint* point = m_window->plant().findPoint(name);
    return point ? point->id : 0;
}

Qt::DropAction ConsoleOnSimulatedPlant::dragInto(QWidget* source, QWidget* target,
                                                 const std::function<Qt::DropAction()>& startDrag)
{
    const QPoint centre = target->rect().center();
    if (QGuiApplication::platformName() == QLatin1String("offscreen")) {
        startDrag();
        const QList<QDrag*> drags = source->findChildren<QDrag*>();
        return drags.isEmpty() ? Qt::IgnoreAction : deliverDrop(target, centre, drags.last()->mimeData());
    }
    QWindow* window = m_window->windowHandle();
    const QPoint inWindow = target->mapTo(m_window.get(), centre);
    QTimer::singleShot(100, m_window.get(), [=] { QTest::mouseMove(window, inWindow); });
    QTimer::singleShot(200, m_window.get(), [=] { QTest::mouseRelease(window, Qt::LeftButton, Qt::NoModifier, inWindow); });
    QTimer guard;
    guard.setSingleShot(true);
    QObject::connect(&guard, &QTimer::timeout, [] { QDrag::cancel(); });
    guard.start(5000);
    return startDrag();
}

Qt::DropAction ConsoleOnSimulatedPlant::deliverDrop(QWidget* target, const QPoint& pos, const QMimeData* payload)
{
    const Qt::DropActions actions = Qt::CopyAction | Qt::MoveAction;
    QDragEnterEvent enter(pos, actions, payload, Qt::LeftButton, Qt::NoModifier);
    QApplication::sendEvent(target, &enter);
    if (!enter.isAccepted())
        return Qt::IgnoreAction;
    QDragMoveEvent move(pos, actions, payload, Qt::LeftButton, Qt::NoModifier);
    QApplication::sendEvent(target, &move);
    QDropEvent drop(pos, actions, payload, Qt::LeftButton, Qt::NoModifier);
    QApplication::sendEvent(target, &drop);
    return drop.isAccepted() ? drop.dropAction() : Qt::IgnoreAction;
}

int runConsoleTests(int argc, char* argv[])
{
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    QApplication app(argc, argv);
    ::testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}

} // namespace mvtest
