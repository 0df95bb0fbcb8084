/*
 * consolefixture.h: what the operator console's tests share: the console
 * window in this process against a simulated plant on the embedded server,
 * bounded waits that keep the event loop turning, and a point's id by name.
 */
#ifndef TESTS_TOOLS_CONSOLEFIXTURE_H
#define TESTS_TOOLS_CONSOLEFIXTURE_H

#include "consolewindow.h"
#include "plantsimulator.h"

#include <QtCore/QMimeData>
#include <QtCore/QPoint>
#include <QtCore/QString>
#include <QtWidgets/QWidget>

#include <gtest/gtest.h>

#include <functional>
#include <memory>

namespace mvtest {

/* Results come through queued connections: the wait turns the event loop
 * until done() holds, 20 s at most. */
bool waitForConsole(const std::function<bool()>& done);

class ConsoleOnSimulatedPlant : public ::testing::Test
{
protected:
    /* Settings of their own under settingsName, a simulated plant moving its
     * field at changesPerSecond (0: only when a test writes), and the console
     * started and shown. Call from SetUp under ASSERT_NO_FATAL_FAILURE. */
    void startConsole(const char* settingsName, int changesPerSecond);
    void TearDown() override;

    int pointId(const QString& name) const;

    /* Drops a payload on target by a drag that startDrag begins from source.
     * On a real display (Xvfb) the platform's drag loop runs: the mouse moves
     * over the target and is released there, and a guard cancels a drag that
     * never ends. The offscreen platform has no drag loop (its drags end at
     * once without a drop), so there the payload the drag carried is
     * delivered as the drop events a loop would send. */
    Qt::DropAction dragInto(QWidget* source, QWidget* target, const std::function<Qt::DropAction()>& startDrag);
    static Qt::DropAction deliverDrop(QWidget* target, const QPoint& pos, const QMimeData* payload);

    std::unique_ptr<PlantSimulator> m_simulator;
    std::unique_ptr<ConsoleWindow> m_window;
};

/* The main of the console's test binaries: offscreen unless the run names a
 * platform (the Xvfb runs name xcb). */
int runConsoleTests(int argc, char* argv[]);

} // namespace mvtest

#endif
