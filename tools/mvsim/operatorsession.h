/*
 * operatorsession.h: the operator session that `mvsim --demo` plays while
 * the simulated field streams changes.
 *
 * Everything goes through MVShared the way an operator station does it: point
 * names resolved and points read in one request each, the change stream
 * received, a value replaced by hand and released, a tag applied and
 * removed, a control refused for its inhibit tag and another executed and
 * confirmed by the driver, a remote unit polled, statistics reset,
 * notifications broadcast, and log lines written through the logger engines.
 * Each step ends as a check that passed or failed with the reason.
 */
#ifndef MVSIM_OPERATORSESSION_H
#define MVSIM_OPERATORSESSION_H

#include "plantsimulator.h"

#include <MVShared/MorvaneChangeEvent.h>
#include <MVShared/ScadaRuntimeInterface.h>

#include <QtCore/QElapsedTimer>
#include <QtCore/QString>
#include <QtCore/QTextStream>
#include <QtCore/QVector>

#include <functional>

struct DemoCheck {
    QString name;
    bool passed = false;
    QString detail;   /* why it failed */
};

class OperatorSession
{
public:
    /* progress receives a line about once a second while steps wait. */
    OperatorSession(PlantSimulator& simulator, QTextStream& progress);
    ~OperatorSession();

    /* Runs every step; the checks, in order. */
    QVector<DemoCheck> run();

    long long changesReceived() const { return m_changesReceived; }
    QString logFile() const { return m_logFile; }

private:
    struct Choice {
        int freeSetpoint = 0;      /* analog, no tag on it or its RTU */
        int inhibitedSetpoint = 0; /* analog, control-inhibit tagged */
        bool inhibitLent = false;   /* a free point tagged for the refused control */
        int taggedStatus = 0;      /* status point for the tag step */
        int statisticsPoint = 0;   /* analog point for the reset */
    };

    void check(const QString& name, bool passed, const QString& detail = QString());
    bool waitFor(const std::function<bool()>& done, int limitMs);
    void reportProgress();
    double analogValue(int id);
    DravoData readPoint(int id);

    void resolveNames();
    void readPoints();
    void choosePoints();
    void receiveChanges();
    void replaceAndRelease();
    void applyAndRemoveTag();
    void refusedControl();
    void executedControl();
    void pollRemoteUnit();
    void resetStatistics();
    void broadcastNotifications();
    void writeLog();

    PlantSimulator& m_simulator;
    QTextStream& m_progress;
    ScadaRuntimeInterface m_runtime;
    MorvaneChangeEvent m_changes;
    Choice m_choice;
    QVector<DemoCheck> m_checks;
    long long m_changesReceived = 0;
    QElapsedTimer m_clock;
    qint64 m_lastProgress = 0;
    long long m_changesAtLastProgress = 0;
    QString m_logFile;
};

#endif
