// notifier_test.cpp: the thread that calls the status listeners belongs to
// the middleware, which stops and joins it when the process exits: a
// delivery in progress is finished first, and a listener that never returns
// does not keep the process from ending.
//
// Each test runs its scenario in a child process of its own (a death test),
// because what is tested is how that process ends.
#include "isolatedsettings.h"

#include <DravoPlus/DravoPlus.h>

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <thread>

namespace {

using namespace std::chrono_literals;

// A listener whose connect notification takes `busy` to deliver.
class BusyListener : public DravoStatusListenerBase
{
public:
    explicit BusyListener(std::chrono::milliseconds busy) : m_busy(busy) {}

    void onMidConnected() override
    {
        m_entered = true;
        std::this_thread::sleep_for(m_busy);
        std::fprintf(stderr, "delivery finished\n");
        std::fflush(stderr);
    }

    // Waits (boundedly) until the notifier thread is inside the listener.
    bool waitUntilEntered() const
    {
        for (int i = 0; i < 1000 && !m_entered; ++i)
            std::this_thread::sleep_for(10ms);
        return m_entered;
    }

private:
    const std::chrono::milliseconds m_busy;
    std::atomic<bool> m_entered{false};
};

// Connects with the listener installed and calls exit() while the listener
// is still busy with the connect notification.
void exitDuringDelivery(BusyListener& listener)
{
    mvtest::useIsolatedSettings("dravo-notifier");
    DravoPlus::InstallListener(listener);
    if (DravoPlus::ConnectMid(nullptr) != DRAVO_OK || !listener.waitUntilEntered()) {
        std::fprintf(stderr, "no connect notification\n");
        std::_Exit(3);
    }
    std::exit(0);
}

TEST(NotifierTest, ExitFinishesTheDeliveryInProgressAndJoinsTheThread)
{
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_EXIT(
        {
            BusyListener listener(300ms);
            exitDuringDelivery(listener);
        },
        ::testing::ExitedWithCode(0), "delivery finished");
}

TEST(NotifierTest, ExitDoesNotWaitForAListenerThatNeverReturns)
{
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EXIT(
        {
            BusyListener listener(1h);
            exitDuringDelivery(listener);
        },
        ::testing::ExitedWithCode(0), "");
    // The grace for a delivery in progress is two seconds; a loaded machine
    // gets some more to start the child process.
    EXPECT_LT(std::chrono::steady_clock::now() - start, 20s);
}

} // namespace
