/*
 * simulatedfielddriver.h: a field driver played in software, for the plant
 * simulator, the operator console and the tests.
 *
 * It serves the packet target "Driver<n>" on the middleware, takes each
 * REMOTE_COMMAND2 request, applies it to the point database the way a real
 * driver would after the field device confirmed it (set-points change the
 * analog point's value, RTU commands touch the RTU record; every change goes
 * out as a publishing partial write), and answers with a CMD_RESPONSE. What
 * it answers can be configured per point id or per command code: any
 * "failwhy", a "failMessage", compressed data appended behind the reply
 * ("addSize"), a delay, or no answer at all.
 */
#ifndef MV_SIMULATEDFIELDDRIVER_H
#define MV_SIMULATEDFIELDDRIVER_H

#include <DravoPlus/DravoPlus.h>

#include <QtCore/QByteArray>
#include <QtCore/QString>

#include <atomic>
#include <map>
#include <memory>
#include <mutex>
#include <thread>

class SimulatedFieldDriver
{
public:
    /* How the driver answers one command. */
    struct Answer {
        int failwhy = 0;            /* 0: success */
        QString failMessage;        /* the reply's "failMessage" */
        QByteArray data;            /* appended behind the reply, compressed, with "addSize" */
        int delayMs = 0;            /* before answering */
        bool silent = false;        /* no answer at all */
        bool apply = true;          /* change the point database (only when failwhy is 0) */
    };

    /* A command as the driver received it, for tests and progress reports. */
    struct Received {
        int cmdCode = -1;
        int commid = 0;
        int isUnConfirmed = -1;     /* -1: not in the envelope */
        DravoData envelope;
        DravoData param;
    };

    explicit SimulatedFieldDriver(int driverNumber);
    ~SimulatedFieldDriver();
    SimulatedFieldDriver(const SimulatedFieldDriver&) = delete;
    SimulatedFieldDriver& operator=(const SimulatedFieldDriver&) = delete;

    /* Registers as the receiver of "Driver<n>" and starts serving; the
     * middleware's result code (DRAVO_TARGET_TAKEN when another driver
     * serves the number). */
    int start();
    /* Stops serving and unregisters; returns within one receive wait. */
    void stop();
    bool isRunning() const;
    QString target() const;

    /* The answer for commands to one point (or RTU) id, for one command code,
     * and for everything else; the point rule wins over the command rule. */
    void answerForPoint(int id, const Answer& answer);
    void answerForCommand(int cmdCode, const Answer& answer);
    void setDefaultAnswer(const Answer& answer);
    void clearAnswers();

    int commandsReceived() const;
    int commandsAnswered() const;
    /* The last command received. */
    Received lastCommand() const;

private:
    void serve();
    void handle(const DravoData& request, DravoHandle handle);
    Answer answerFor(int cmdCode, int id) const;

    const int m_driverNumber;
    std::atomic<bool> m_running{false};
    std::thread m_thread;
    mutable std::mutex m_mutex;
    std::map<int, Answer> m_pointAnswers;
    std::map<int, Answer> m_commandAnswers;
    Answer m_defaultAnswer;
    Received m_last;
    std::atomic<int> m_received{0};
    std::atomic<int> m_answered{0};
};

#endif
