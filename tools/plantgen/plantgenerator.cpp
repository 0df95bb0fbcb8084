/*
 * plantgenerator.cpp: building the made-up plant of plantgenerator.h.
 *
 * Each kind of point is dealt out to the RTUs in consecutive blocks, so each
 * RTU holds about a tenth status, a twentieth text and the rest analog
 * points. Within an RTU a point's place picks its bay and its signal from
 * the tables below, which gives names like "Station0001.RTU03.Bay012.P".
 * Measured values and firmware versions come from a hash of the point's id,
 * so they vary from point to point and never from run to run.
 */
#include "plantgenerator.h"

#include <MVPlant/Vocabulary.h>

#include <cmath>
#include <cstdint>
#include <cstdio>
#include <string>

namespace plantgen {

namespace {

constexpr int kPointsPerRemoteUnit = 250;
constexpr int kRemoteUnitsPerChannel = 4;
constexpr int kChannelsPerStation = 4;
constexpr int kRemoteUnitsPerStation = kRemoteUnitsPerChannel * kChannelsPerStation;

/* ---- The signals of a bay ---------------------------------------------------- */

struct StatusSignal {
    const char* name;
    const char* description;
    std::int8_t state;
    std::int8_t normalState;
    std::uint8_t alarmPriority;
};

const StatusSignal kStatusSignals[] = {
    {"CB.Position", "circuit breaker closed", 1, 1, 1},
    {"Isolator.Position", "busbar isolator closed", 1, 1, 2},
    {"EarthSwitch.Position", "earth switch closed", 0, 0, 1},
    {"Protection.Trip", "protection trip", 0, 0, 1},
    {"Alarm.Common", "common alarm", 0, 0, 3},
};

/* Limits, ranges and dead bands are exact binary fractions, so the file's
 * text and the loaded single-precision fields say the same. Signals with no
 * alarm limits leave them at zero (absent from the file). */
struct AnalogSignal {
    const char* name;
    const char* description;
    const char* unit;
    float rangeLow;
    float rangeHigh;
    float deadband;
    bool alarmed;
    float lowLowLimit;
    float lowLimit;
    float highLimit;
    float highHighLimit;
};

const AnalogSignal kAnalogSignals[] = {
    {"P", "active power", "MW", -150, 150, 0.5f, true, -130, -110, 110, 130},
    {"Q", "reactive power", "Mvar", -100, 100, 0.5f, false, 0, 0, 0, 0},
    {"I", "phase current", "A", 0, 2000, 5, true, 0, 0, 1600, 1800},
    {"U", "busbar voltage", "kV", 0, 40, 0.125f, true, 30, 31, 35, 36},
    {"F", "frequency", "Hz", 45, 55, 0.0625f, true, 49, 49.5f, 50.5f, 51},
    {"Temp", "transformer oil temperature", "degC", -20, 120, 1, true, -20, -10, 85, 95},
    {"Level", "cable trench sump level", "m", 0, 10, 0.125f, false, 0, 0, 0, 0},
    {"Flow", "cooling water flow", "m3/h", 0, 5000, 10, false, 0, 0, 0, 0},
};

const char* const kRelayModels[] = {"Distance relay DZ-7", "Differential relay TD-3", "Overcurrent relay OC-2"};

enum class TextSignal { RelayModel, Firmware, EventText };

struct TextSignalInfo {
    TextSignal signal;
    const char* name;
    const char* description;
};

const TextSignalInfo kTextSignals[] = {
    {TextSignal::RelayModel, "Relay.Model", "protection relay model"},
    {TextSignal::Firmware, "Firmware", "bay controller firmware"},
    {TextSignal::EventText, "EventText", "last event text"},
};

struct ChannelKind {
    const char* suffix;
    const char* protocol;
    int port;
    bool redundant;    /* a second address on the standby network */
};

const ChannelKind kChannelKinds[kChannelsPerStation] = {
    {"IEC104-A", "IEC104", 2404, true},
    {"IEC104-B", "IEC104", 2404, true},
    {"DNP3", "DNP3", 20000, true},
    {"ModbusTCP", "ModbusTCP", 502, false},
};

template <typename T, std::size_t N>
constexpr int countOf(const T (&)[N])
{
    return static_cast<int>(N);
}

/* ---- Numbers ------------------------------------------------------------------ */

/* A well-mixed 64-bit hash (splitmix64's finaliser). */
std::uint64_t mix(std::uint64_t x)
{
    x += 0x9E3779B97F4A7C15ull;
    x = (x ^ (x >> 30)) * 0xBF58476D1CE4E5B9ull;
    x = (x ^ (x >> 27)) * 0x94D049BB133111EBull;
    return x ^ (x >> 31);
}

/* A fraction in [0, 1) that belongs to the id. */
double fractionOf(std::int32_t id)
{
    return static_cast<double>(mix(static_cast<std::uint64_t>(id)) >> 11) * 0x1.0p-53;
}

int ceilDiv(int a, int b)
{
    return (a + b - 1) / b;
}

std::string format(const char* pattern, const std::string& text, int number)
{
    char buffer[128];
    std::snprintf(buffer, sizeof buffer, pattern, text.c_str(), number);
    return buffer;
}

std::string stationName(int station)
{
    char buffer[32];
    std::snprintf(buffer, sizeof buffer, "Station%04d", station + 1);
    return buffer;
}

/* "10.<a>.<b>.<host>:<port>", a and b telling the station apart. */
std::string ipAddress(int firstOctetBase, int station, int host, int port)
{
    char buffer[48];
    std::snprintf(buffer, sizeof buffer, "10.%d.%d.%d:%d", firstOctetBase + station / 250, station % 250, host, port);
    return buffer;
}

/* ---- The plant ---------------------------------------------------------------- */

class Generator
{
public:
    explicit Generator(int points) : m_shape(shapeOf(points)) {}

    MVPlant::Plant build()
    {
        MVPlant::Plant plant;
        plant.name = "Generated plant of " + std::to_string(pointCount()) + " points";
        plant.description = "Made up by plantgen for measurements: " + std::to_string(m_shape.stations)
                            + " stations, " + std::to_string(m_shape.remoteUnits)
                            + " RTUs, a tenth status, a twentieth text and the rest analog points.";
        addStations(plant);
        addChannels(plant);
        addRemoteUnits(plant);
        addPoints(plant.statusPoints, m_shape.statusPoints, MVPlant::kStatusFirst);
        addPoints(plant.analogPoints, m_shape.analogPoints, MVPlant::kAnalogFirst);
        addPoints(plant.textPoints, m_shape.textPoints, MVPlant::kTextFirst);
        return plant;
    }

private:
    int pointCount() const { return m_shape.statusPoints + m_shape.analogPoints + m_shape.textPoints; }

    void addStations(MVPlant::Plant& plant) const
    {
        plant.stations.reserve(static_cast<std::size_t>(m_shape.stations));
        for (int s = 0; s < m_shape.stations; ++s) {
            MVPlant::Station station;
            station.id = s + 1;
            station.name = stationName(s);
            station.description = "Substation " + std::to_string(s + 1) + ", 132/33 kV";
            plant.stations.push_back(std::move(station));
        }
    }

    void addChannels(MVPlant::Plant& plant) const
    {
        plant.channels.reserve(static_cast<std::size_t>(m_shape.channels));
        for (int c = 0; c < m_shape.channels; ++c) {
            const int s = c / kChannelsPerStation;
            const ChannelKind& kind = kChannelKinds[c % kChannelsPerStation];
            const int host = 11 + c % kChannelsPerStation;
            MVPlant::Channel channel;
            channel.id = c + 1;
            channel.name = stationName(s) + "-" + kind.suffix;
            channel.stationId = s + 1;
            channel.driverId = c + 1;
            channel.protocol = kind.protocol;
            channel.primaryAddress = ipAddress(1, s, host, kind.port);
            if (kind.redundant)
                channel.secondaryAddress = ipAddress(101, s, host, kind.port);
            channel.description = std::string(kind.protocol) + " link of " + stationName(s);
            plant.channels.push_back(std::move(channel));
        }
    }

    void addRemoteUnits(MVPlant::Plant& plant) const
    {
        plant.remoteUnits.reserve(static_cast<std::size_t>(m_shape.remoteUnits));
        for (int r = 0; r < m_shape.remoteUnits; ++r) {
            const int s = r / kRemoteUnitsPerStation;
            const int unit = r % kRemoteUnitsPerStation + 1;
            MVPlant::RemoteUnit rtu;
            rtu.id = r + 1;
            rtu.name = format("%s-RTU%02d", stationName(s), unit);
            rtu.channelId = r / kRemoteUnitsPerChannel + 1;
            rtu.stationId = s + 1;
            rtu.address = unit;
            rtu.description = format("%s bay controller group %d", stationName(s), unit);
            plant.remoteUnits.push_back(std::move(rtu));
        }
    }

    /* count points of one kind, dealt out to the RTUs in consecutive blocks. */
    template <typename P>
    void addPoints(std::vector<P>& points, int count, std::int32_t firstId) const
    {
        points.reserve(static_cast<std::size_t>(count));
        const std::int64_t units = m_shape.remoteUnits;
        for (std::int64_t k = 0; k < count; ++k) {
            const int r = static_cast<int>(k * units / count);
            const int place = static_cast<int>(k - (r * static_cast<std::int64_t>(count) + units - 1) / units);
            P point;
            point.id = firstId + static_cast<std::int32_t>(k);
            point.rtuId = r + 1;
            point.stationId = r / kRemoteUnitsPerStation + 1;
            point.channelId = r / kRemoteUnitsPerChannel + 1;
            fill(point, r, place);
            points.push_back(std::move(point));
        }
    }

    /* "Station0001.RTU03.Bay012.<signal>", and "Bay 12 <what>". */
    static void name(MVPlant::Point& point, int r, int bay, const char* signal, const char* what)
    {
        char buffer[128];
        std::snprintf(buffer, sizeof buffer, "%s.RTU%02d.Bay%03d.%s", stationName(r / kRemoteUnitsPerStation).c_str(),
                      r % kRemoteUnitsPerStation + 1, bay, signal);
        point.name = buffer;
        point.description = "Bay " + std::to_string(bay) + " " + what;
    }

    static void fill(MVPlant::StatusPoint& point, int r, int place)
    {
        const StatusSignal& signal = kStatusSignals[place % countOf(kStatusSignals)];
        name(point, r, place / countOf(kStatusSignals) + 1, signal.name, signal.description);
        point.address = 1001 + place;
        point.state = signal.state;
        point.normalState = signal.normalState;
        point.alarmPriority = signal.alarmPriority;
    }

    static void fill(MVPlant::AnalogPoint& point, int r, int place)
    {
        const AnalogSignal& signal = kAnalogSignals[place % countOf(kAnalogSignals)];
        name(point, r, place / countOf(kAnalogSignals) + 1, signal.name, signal.description);
        point.address = 4001 + place;
        point.unit = signal.unit;
        point.rangeLow = signal.rangeLow;
        point.rangeHigh = signal.rangeHigh;
        point.deadband = signal.deadband;
        if (signal.alarmed) {
            point.lowLowLimit = signal.lowLowLimit;
            point.lowLimit = signal.lowLimit;
            point.highLimit = signal.highLimit;
            point.highHighLimit = signal.highHighLimit;
        }
        /* Somewhere in the middle half of the range, to three decimals. */
        const double span = static_cast<double>(signal.rangeHigh) - signal.rangeLow;
        const double value = signal.rangeLow + span * (0.25 + 0.5 * fractionOf(point.id));
        point.value = std::round(value * 1000.0) / 1000.0;
    }

    static void fill(MVPlant::TextPoint& point, int r, int place)
    {
        const TextSignalInfo& signal = kTextSignals[place % countOf(kTextSignals)];
        name(point, r, place / countOf(kTextSignals) + 1, signal.name, signal.description);
        point.address = 8001 + place;
        const std::uint64_t h = mix(static_cast<std::uint64_t>(point.id));
        switch (signal.signal) {
        case TextSignal::RelayModel:
            point.value = kRelayModels[h % countOf(kRelayModels)];
            break;
        case TextSignal::Firmware:
            point.value = "v2." + std::to_string(h % 10) + "." + std::to_string((h >> 8) % 20);
            break;
        case TextSignal::EventText:
            break;   /* nothing happened yet */
        }
    }

    PlantShape m_shape;
};

} // namespace

PlantShape shapeOf(int points)
{
    PlantShape shape;
    shape.statusPoints = points / 10;
    shape.textPoints = points / 20;
    shape.analogPoints = points - shape.statusPoints - shape.textPoints;
    shape.remoteUnits = ceilDiv(points, kPointsPerRemoteUnit);
    shape.channels = ceilDiv(shape.remoteUnits, kRemoteUnitsPerChannel);
    shape.stations = ceilDiv(shape.remoteUnits, kRemoteUnitsPerStation);
    return shape;
}

bool generatePlant(int points, MVPlant::Plant& plant, std::string* error)
{
    plant = MVPlant::Plant();
    if (points < 1 || points > kMaxPoints) {
        if (error)
            *error = "a generated plant has 1 to " + std::to_string(kMaxPoints) + " points, not "
                     + std::to_string(points);
        return false;
    }
    plant = Generator(points).build();
    return true;
}

} // namespace plantgen
