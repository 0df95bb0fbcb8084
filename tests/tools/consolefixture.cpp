/*
 * consolefixture.cpp: the operator console's shared test fixture.
 */
#include "consolefixture.h"

#include "eventwait.h"
#include "isolatedsettings.h"

#include <DravoPlus/DravoPlus.h>

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

int runConsoleTests(int argc, char* argv[])
{
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    QApplication app(argc, argv);
    ::testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}

} // namespace mvtest
