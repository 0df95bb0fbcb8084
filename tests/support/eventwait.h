/*
 * eventwait.h: bounded waits that keep the calling thread's Qt event loop
 * turning, for tests whose results arrive through queued connections.
 */
#ifndef MVTEST_EVENTWAIT_H
#define MVTEST_EVENTWAIT_H

#include <chrono>
#include <functional>

namespace mvtest {

/* Turns the event loop until done() holds or limit has passed; true when it
 * held. done() is asked at least every 10 ms. */
bool waitUntil(const std::function<bool()>& done, std::chrono::milliseconds limit);

/* Turns the event loop for the whole period. */
void settle(std::chrono::milliseconds period);

} // namespace mvtest

#endif
