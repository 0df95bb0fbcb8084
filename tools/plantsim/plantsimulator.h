/*
 * plantsimulator.h: a whole plant played in software, for mvsim, the
 * operator console and the tests.
 *
 * It plays what a site's runtime server and field give an operator:
 *   - the plant's records (loaded from a plant file, or already on the
 *     server when another process loaded them);
 *   - the change concentrator, the server task that packs every raw point
 *     change into the change packets operator applications receive;
 *   - one simulated field driver per driver number of the plant's channels,
 *     answering controls and polls;
 *   - the field itself: a thread that changes points at a set rate (breakers
 *     open and close, measurements wander within their range, texts change).
 * Points an operator replaced by hand or took out of service are left alone
 * by the field, as a runtime server's scan processing leaves them; the
 * simulator learns which they are from the change stream it concentrates.
 */
#ifndef MV_PLANTSIMULATOR_H
#define MV_PLANTSIMULATOR_H

#include "plantindex.h"

#include <DravoPlus/DravoData.h>

#include <QtCore/QList>
#include <QtCore/QString>
#include <QtCore/QVector>

#include <atomic>
#include <map>
#include <memory>
#include <mutex>
#include <set>
#include <thread>
#include <vector>

class MorvaneChangeEvent;
class SimulatedFieldDriver;

class PlantSimulator
{
public:
    struct Settings {
        QString plantPath;          /* empty: the plant is already on the server */
        int changesPerSecond = 100; /* 0: the field stands still */
        unsigned seed = 1;          /* the field's random sequence */
    };

    struct Counters {
        long long changesWritten = 0;   /* field changes the runtime server took */
        long long writeFailures = 0;    /* field changes it refused */
        long long changesPacked = 0;    /* raw changes the concentrator packed */
        long long lossesReported = 0;   /* times the concentrator was told changes may be lost */
        int commandsAnswered = 0;       /* by every simulated driver */
        int pointsHeld = 0;             /* replaced by hand or out of service */
    };

    explicit PlantSimulator(const Settings& settings);
    ~PlantSimulator();
    PlantSimulator(const PlantSimulator&) = delete;
    PlantSimulator& operator=(const PlantSimulator&) = delete;

    /* Loads the plant (when a file is given), reads it back, starts the
     * concentrator, the drivers and the field. The connection to the runtime
     * server must be up. False with the reason in error. */
    bool start(QString* error);
    /* Stops the field, the drivers and the concentrator; returns within a
     * receive wait. */
    void stop();
    bool isRunning() const { return m_running.load(); }

    const PlantIndex& plant() const { return m_plant; }
    Counters counters() const;
    void setChangesPerSecond(int rate) { m_rate.store(rate); }
    /* The simulated driver of a driver number, null when the plant has none. */
    SimulatedFieldDriver* driver(int number) const;
    /* True when the field leaves the point alone. */
    bool isHeld(int pointId) const;
    /* One field change of a status or analog point now, written as the
     * field writes its own (a scenario or a test drives a point into the
     * condition it needs); the field's random course goes on. The
     * middleware's result, DRAVO_BAD_ARGUMENT for a point of no plant kind. */
    int writeFieldValue(int pointId, double value);

private:
    bool startDrivers(QString* error);
    void startConcentrator();
    void noteRawChanges(const QList<DravoData>& records);
    void runField();
    void writeFieldChanges(int count);
    enum class FieldKind { Analog, Status, Text };
    void addFieldChange(std::vector<DravoPartialData>& batch);
    unsigned nextRandom();

    Settings m_settings;
    PlantIndex m_plant;
    std::atomic<bool> m_running{false};
    std::atomic<int> m_rate{0};
    std::unique_ptr<MorvaneChangeEvent> m_concentrator;
    std::map<int, std::unique_ptr<SimulatedFieldDriver>> m_drivers;
    std::thread m_field;
    mutable std::mutex m_heldMutex;
    std::set<int> m_held;
    std::atomic<long long> m_written{0};
    std::atomic<long long> m_failures{0};
    std::atomic<long long> m_packed{0};
    std::atomic<long long> m_losses{0};
    /* The field's own view of what it set (read only by the field thread). */
    QVector<double> m_analogValues;
    QVector<int> m_statusValues;
    unsigned m_random = 1;
    long long m_step = 0;
};

#endif
