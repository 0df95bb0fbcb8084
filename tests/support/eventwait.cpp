/*
 * eventwait.cpp: the event loop sleeps until something is posted; a timer
 * bounds each sleep so that the condition is asked again soon.
 */
#include "eventwait.h"

#include <QtCore/QCoreApplication>
#include <QtCore/QEventLoop>
#include <QtCore/QTimer>

bool mvtest::waitUntil(const std::function<bool()>& done, std::chrono::milliseconds limit)
{
    using Clock = std::chrono::steady_clock;
    QTimer tick;
    tick.start(10);
    const auto deadline = Clock::now() + limit;
    for (;;) {
        if (done())
            return true;
        if (Clock::now() >= deadline)
            return false;
        QCoreApplication::processEvents(QEventLoop::AllEvents | QEventLoop::WaitForMoreEvents);
    }
}

void mvtest::settle(std::chrono::milliseconds period)
{
    using Clock = std::chrono::steady_clock;
    const auto until = Clock::now() + period;
    waitUntil([until] { return Clock::now() >= until; }, period + std::chrono::milliseconds(100));
}
