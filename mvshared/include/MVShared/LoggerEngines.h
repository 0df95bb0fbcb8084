/*
 * LoggerEngines.h: the logging destinations the library offers to the
 * applications: daily log files, a signal carrying each message to a live log
 * view, and a destination that drops everything.
 */
#ifndef MVSHARED_LOGGERENGINES_H
#define MVSHARED_LOGGERENGINES_H

#include <MVShared/MVSharedGlobal.h>

#include <QsLog/QsLogDest.h>
#include <QsLog/QsLogLevel.h>

#include <QtCore/QDateTime>
#include <QtCore/QFile>
#include <QtCore/QMetaType>
#include <QtCore/QMutex>
#include <QtCore/QObject>
#include <QtCore/QString>
#include <QtCore/QTextStream>

#include <functional>

/* One log message as a log view shows it. */
struct MVSHARED_EXPORT LogBlock
{
    /* Local date in the default locale's short format, a blank, and the time
     * as "HH:mm:ss.zzz". */
    QString time;
    QString message;
    /* Always empty from CallBackLoggerEngine. */
    QString note;
    /* The QsLogging level. */
    int level = 0;
};

Q_DECLARE_METATYPE(LogBlock)

/*
 * Writes one log file per application and day:
 * "<dir>/<application>_<yyyy-MM-dd>.log". Debug messages never reach the file
 * (deliberately); trace messages do. Has no lock of its own: the logger calls
 * it from one thread at a time.
 */
class MVSHARED_EXPORT BasicFileLoggerEngine : public QsLogging::Destination
{
public:
    using Clock = std::function<QDateTime()>;

    explicit BasicFileLoggerEngine(bool closeAfterWrite);
    /* For tests and simulations: the engine takes "now" from clock instead of
     * QDateTime::currentDateTime (both for the file date and the line time). */
    BasicFileLoggerEngine(bool closeAfterWrite, Clock clock);
    ~BasicFileLoggerEngine() override;

    BasicFileLoggerEngine(const BasicFileLoggerEngine&) = delete;
    BasicFileLoggerEngine& operator=(const BasicFileLoggerEngine&) = delete;

    void write(const QString& message, QsLogging::Level level) override;
    bool isValid() override;

    /* Replaces the clock; an empty function restores
     * QDateTime::currentDateTime. For tests and simulations. */
    void setClock(Clock clock);

    /* The directory of the log files: the application's directory when the
     * library file lies beside the executable, otherwise $MRN_ROOT, followed
     * by the separator and "log". Does not create it.
     * On Linux the library file looked for is the file name of the loaded
     * MVShared library itself (as dladdr reports it, e.g. "libMVShared.so.1"),
     * falling back to "libMVShared.so"; on Windows it is "MVShared.dll". */
    static QString logDirectory();
    /* The file name of the given day's log (logDirectory() based). */
    static QString logFileName(const QDate& date);
    /* The level field text before padding: "TRACE", "DEBUG", "INFO", "WARN",
     * "ERROR", "FATAL", empty for the off level, "INFO" for anything else. */
    static QString levelName(int level);

private:
    bool m_closeAfterWrite;
    QTextStream m_stream;
    QFile m_file;
    QDateTime m_openedAt;
    Clock m_clock;
};

/*
 * Turns every message, debug included, into a LogBlock and emits it through
 * notifyBlock. One write at a time; the signal is emitted while the lock is
 * held, so blocks leave in the order they were written.
 */
class MVSHARED_EXPORT CallBackLoggerEngine : public QObject, public QsLogging::Destination
{
    Q_OBJECT
public:
    CallBackLoggerEngine();
    ~CallBackLoggerEngine() override;

    void write(const QString& message, QsLogging::Level level) override;
    bool isValid() override;

    /* Bookkeeping flag of the owner; write() does not look at it. */
    void initLoggerEngine();
    void killLoggerEngine();
    bool isInitialized() const;

signals:
    void notifyBlock(const LogBlock& block);

private:
    QMutex m_mutex;
    bool m_initialized;
};

/* A placeholder destination that discards every message. */
class MVSHARED_EXPORT StdLoggerEngine : public QsLogging::Destination
{
public:
    StdLoggerEngine();
    ~StdLoggerEngine() override;

    void write(const QString& message, QsLogging::Level level) override;
    bool isValid() override;
};

#endif
