/*
 * marker.cpp: the probe record every backend keeps in its point database.
 *
 * Tools and operator stations read ":marker" to learn that the database
 * answers and since when its server has been serving; each backend writes it
 * when its server starts serving (the embedded server at start and after an
 * outage, a Redis server when the first client finds it missing).
 */
#include "backend.h"

#include <chrono>
#include <cstdint>

const char* const dravo::kMarkerRecordName = ":marker";

DravoData dravo::makeMarkerRecord()
{
    DravoData marker("MARKER", kMarkerRecordName);
    const auto now = std::chrono::system_clock::now().time_since_epoch();
    marker.PutValue("version", std::int32_t{1});
    marker.PutValue("loadTime",
                    static_cast<std::uint32_t>(std::chrono::duration_cast<std::chrono::seconds>(now).count()));
    return marker;
}
