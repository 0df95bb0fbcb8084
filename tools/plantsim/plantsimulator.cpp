/*
 * plantsimulator.cpp: the concentrator, the drivers and the moving field.
 */
#include "plantsimulator.h"

#include "resulttext.h"
#include "simulatedfielddriver.h"

#include <MVPlant/Plant.h>
#include <MVShared/MorvaneChangeEvent.h>
#include <MVShared/MorvaneTypes.h>

#include <QtCore/QDateTime>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <set>
#include <string>
#include <vector>

namespace {

/* How often the field moves, and the most changes one step writes (so a
 * stalled server is not flooded when it comes back). */
constexpr auto kFieldStep = std::chrono::milliseconds(50);
constexpr int kMaxChangesPerStep = 2000;

/* Of every 20 field changes: 9 analog, 9 status, 2 text. */
constexpr int kAnalogShare = 9;
constexpr int kStatusShare = 9;
constexpr int kShareCycle = 20;

/* A measurement moves by up to this share of its range per change. */
constexpr double kAnalogStep = 0.02;

std::uint32_t now()
{
    return static_cast<std::uint32_t>(QDateTime::currentSecsSinceEpoch());
}

bool holdsPoint(const DravoData& record)
{
    return (record.GetSignedIntValue("quality") & Morvane::ManuallyReplacedQuality) != 0
        || (record.GetUnSignedIntValue("tag") & Morvane::OutOfServiceTag) != 0;
}

} // namespace

PlantSimulator::PlantSimulator(const Settings& settings)
    : m_settings(settings)
    , m_rate(settings.changesPerSecond)
    , m_random(settings.seed ? settings.seed : 1)
{
}

PlantSimulator::~PlantSimulator()
{
    stop();
}

bool PlantSimulator::start(QString* error)
{
    if (m_running.load())
        return true;
    if (!m_settings.plantPath.isEmpty()) {
        std::string reason;
        const int rc = MVPlant::LoadPlant(m_settings.plantPath.toLocal8Bit().constData(), nullptr, &reason);
        if (rc != DRAVO_OK) {
            *error = QString::fromStdString(reason.empty() ? std::string() : reason + ": ") + resultText(rc);
            return false;
        }
    }
    const int rc = m_plant.read();
    if (rc != DRAVO_OK || m_plant.isEmpty()) {
        *error = rc != DRAVO_OK ? QStringLiteral("reading the plant back: ") + resultText(rc)
                                : QStringLiteral("the runtime server holds no plant");
        return false;
    }
    if (!startDrivers(error))
        return false;
    startConcentrator();
    for (const PlantPoint& p : m_plant.analog)
        m_analogValues.append(p.value);
    for (const PlantPoint& p : m_plant.status)
        m_statusValues.append(static_cast<int>(p.value));
    m_running.store(true);
    m_field = std::thread([this] { runField(); });
    return true;
}

bool PlantSimulator::startDrivers(QString* error)
{
    std::set<int> numbers;
    for (const PlantChannel& channel : m_plant.channels)
        numbers.insert(channel.driver);
    for (const int number : numbers) {
        auto driver = std::make_unique<SimulatedFieldDriver>(number);
        const int rc = driver->start();
        if (rc != DRAVO_OK) {
            *error = driver->target() + QStringLiteral(": ") + resultText(rc);
            m_drivers.clear();
            return false;
        }
        m_drivers[number] = std::move(driver);
    }
    return true;
}

void PlantSimulator::startConcentrator()
{
    m_concentrator = std::make_unique<MorvaneChangeEvent>();
    m_concentrator->setServerMode();
    // Losses on the way to the plant's one concentrator are counted, which
    // also has its trouble logged and a packet the server could not take
    // sent again. It takes no images: what it packs stays what the field
    // wrote, and each console heals its own table.
    QObject::connect(
        m_concentrator.get(), &MorvaneChangeEvent::changesLost, m_concentrator.get(),
        [this](int, MorvaneChangeEvent::LossReason) { ++m_losses; }, Qt::DirectConnection);
    m_concentrator->connectStatus([this](const QList<DravoData>& records) { noteRawChanges(records); });
    m_concentrator->connectAnalog([this](const QList<DravoData>& records) { noteRawChanges(records); });
    m_concentrator->connectText([this](const QList<DravoData>& records) { m_packed += records.size(); });
    m_concentrator->init();
    m_concentrator->start();
}

void PlantSimulator::stop()
{
    if (m_running.exchange(false) && m_field.joinable())
        m_field.join();
    for (auto& entry : m_drivers)
        entry.second->stop();
    m_drivers.clear();
    if (m_concentrator) {
        m_concentrator->shutDown();
        m_concentrator.reset();
    }
}

PlantSimulator::Counters PlantSimulator::counters() const
{
    Counters c;
    c.changesWritten = m_written.load();
    c.writeFailures = m_failures.load();
    c.changesPacked = m_packed.load();
    c.lossesReported = m_losses.load();
    for (const auto& entry : m_drivers)
        c.commandsAnswered += entry.second->commandsAnswered();
    std::lock_guard<std::mutex> lock(m_heldMutex);
    c.pointsHeld = static_cast<int>(m_held.size());
    return c;
}

SimulatedFieldDriver* PlantSimulator::driver(int number) const
{
    const auto it = m_drivers.find(number);
    return it == m_drivers.end() ? nullptr : it->second.get();
}

bool PlantSimulator::isHeld(int pointId) const
{
    std::lock_guard<std::mutex> lock(m_heldMutex);
    return m_held.count(pointId) != 0;
}

int PlantSimulator::writeFieldValue(int pointId, double value)
{
    const bool status = MVPlant::isStatusId(pointId) && m_plant.findPoint(pointId) != nullptr;
    const bool analog = m_plant.findAnalog(pointId) != nullptr;
    if (!status && !analog)
        return DRAVO_BAD_ARGUMENT;
    const char* type = analog ? "ANALOG" : "STATUS";
    DravoPartialData partial(type, (type + std::to_string(pointId)).c_str());
    partial.PutValue("changedTime", now());
    if (analog)
        partial.PutValue("lastvalue", value);
    else
        partial.PutValue("lastvalue", static_cast<std::int8_t>(value));
    const int rc = DravoPlus::PutPartialDataPoint(nullptr, partial, nullptr, nullptr);
    if (rc == DRAVO_OK)
        ++m_written;
    else
        ++m_failures;
    return rc;
}

void PlantSimulator::noteRawChanges(const QList<DravoData>& records)
{
    m_packed += records.size();
    std::lock_guard<std::mutex> lock(m_heldMutex);
    for (const DravoData& record : records) {
        const int id = record.GetSignedIntValue("pid");
        if (holdsPoint(record))
            m_held.insert(id);
        else
            m_held.erase(id);
    }
}

/* Keeps the field's writes at the set rate on average: what a step could not
 * write (more than its maximum) is carried over to the next ones. */
void PlantSimulator::runField()
{
    long long due = 0;
    auto last = std::chrono::steady_clock::now();
    while (m_running.load()) {
        std::this_thread::sleep_for(kFieldStep);
        const auto current = std::chrono::steady_clock::now();
        const double seconds = std::chrono::duration<double>(current - last).count();
        last = current;
        due += static_cast<long long>(std::llround(seconds * m_rate.load()));
        const int count = static_cast<int>(std::min<long long>(due, kMaxChangesPerStep));
        if (count > 0)
            writeFieldChanges(count);
        due -= count;
    }
}

void PlantSimulator::writeFieldChanges(int count)
{
    std::vector<DravoPartialData> batch;
    batch.reserve(static_cast<std::size_t>(count));
    for (int i = 0; i < count; ++i)
        addFieldChange(batch);
    if (batch.empty())
        return;
    if (DravoPlus::PutPartialDataPoints(batch, nullptr, nullptr) == DRAVO_OK)
        m_written += static_cast<long long>(batch.size());
    else
        m_failures += static_cast<long long>(batch.size());
}

unsigned PlantSimulator::nextRandom()
{
    /* xorshift32: the same field for the same seed. */
    m_random ^= m_random << 13;
    m_random ^= m_random >> 17;
    m_random ^= m_random << 5;
    return m_random;
}

void PlantSimulator::addFieldChange(std::vector<DravoPartialData>& batch)
{
    const int share = static_cast<int>(m_step++ % kShareCycle);
    const FieldKind kind = share < kAnalogShare                  ? FieldKind::Analog
                         : share < kAnalogShare + kStatusShare   ? FieldKind::Status
                                                                 : FieldKind::Text;
    const QVector<PlantPoint>& points = kind == FieldKind::Analog   ? m_plant.analog
                                      : kind == FieldKind::Status ? m_plant.status
                                                                  : m_plant.text;
    if (points.isEmpty())
        return;
    const int index = static_cast<int>(nextRandom() % static_cast<unsigned>(points.size()));
    const PlantPoint& point = points[index];
    if (isHeld(point.id))
        return;
    const char* type = kind == FieldKind::Analog ? "ANALOG" : kind == FieldKind::Status ? "STATUS" : "TEXT";
    DravoPartialData partial(type, (type + std::to_string(point.id)).c_str());
    partial.PutValue("changedTime", now());
    switch (kind) {
    case FieldKind::Analog: {
        const double span = point.high > point.low ? point.high - point.low : std::max(1.0, std::fabs(point.value) * 0.2);
        const double move = (static_cast<double>(nextRandom() % 2001) / 1000.0 - 1.0) * kAnalogStep * span;
        double& value = m_analogValues[index];
        value = point.high > point.low ? std::clamp(value + move, point.low, point.high) : value + move;
        partial.PutValue("lastvalue", value);
        break;
    }
    case FieldKind::Status: {
        int& state = m_statusValues[index];
        state = state ? 0 : 1;
        partial.PutValue("lastvalue", static_cast<std::int8_t>(state));
        break;
    }
    case FieldKind::Text: {
        const std::string text = "field reading " + std::to_string(m_step);
        partial.PutValue("lastvalue", text.data(), static_cast<int>(text.size()));
        partial.PutValue("bytesize", static_cast<std::uint16_t>(text.size()));
        break;
    }
    }
    batch.push_back(std::move(partial));
}
