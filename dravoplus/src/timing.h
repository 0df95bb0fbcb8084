/*
 * timing.h: the middleware's clock and its wait scale.
 *
 * Every wait, lease and expiry the middleware applies is given in seconds and
 * multiplied by the process's wait scale (DravoPlus::SetWaitScale, or
 * $DRAVO_WAIT_SCALE), so that tests and simulations can run the product's
 * 15, 30 and 60-second waits in milliseconds.
 */
#ifndef DRAVOPLUS_TIMING_H
#define DRAVOPLUS_TIMING_H

#include <chrono>

namespace dravo {

using Clock = std::chrono::steady_clock;

/* seconds * wait scale, in whole milliseconds (never negative). */
long scaledMs(double seconds);

/* Built-in durations, in unscaled seconds. */
constexpr double kHeartbeatLeaseSeconds = 10.0;
constexpr double kPacketHandleLifeSeconds = 300.0;
constexpr double kConnectTimeoutSeconds = 5.0;
/* How long a client that is out of touch (a server restart, a failover, a
 * password change, a network blip) keeps its transient event boxes: they go
 * on collecting what is published meanwhile, so that an outage shorter than
 * this loses nothing. */
constexpr double kBoxGraceSeconds = 60.0;

} // namespace dravo

#endif
