/*
 * timing.cpp: the wait scale.
 */
#include "timing.h"

#include <DravoPlus/DravoPlus.h>

#include <atomic>
#include <cmath>
#include <cstdlib>

namespace {

double initialScale()
{
    const char* env = std::getenv("DRAVO_WAIT_SCALE");
    if (!env || !*env)
        return 1.0;
    char* end = nullptr;
    const double v = std::strtod(env, &end);
    return (end && *end == '\0' && std::isfinite(v) && v > 0) ? v : 1.0;
}

std::atomic<double>& scale()
{
    static std::atomic<double> s{initialScale()};
    return s;
}

} // namespace

long dravo::scaledMs(double seconds)
{
    const double ms = seconds * scale().load() * 1000.0;
    if (!(ms > 0))
        return 0;
    return ms > 1e12 ? static_cast<long>(1e12) : std::lround(ms);
}

void DravoPlus::SetWaitScale(double s)
{
    if (std::isfinite(s) && s > 0)
        scale().store(s);
}

double DravoPlus::WaitScale()
{
    return scale().load();
}
