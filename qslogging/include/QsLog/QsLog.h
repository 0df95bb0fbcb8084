// QsLogging::Logger: the process-wide logger, its message helper and the
// QLOG_* macros that application code uses.
//
//     QLOG_INFO() << "connected to" << host << "in" << ms << "ms";
//
// The macros stream like QDebug (items separated by spaces, strings
// unquoted) and cost a single level comparison when the message's level is
// filtered out: the streamed expressions are then not evaluated at all.
#pragma once

#include <QsLog/QsLogDest.h>
#include <QsLog/QsLogExport.h>
#include <QsLog/QsLogLevel.h>

#include <QDebug>
#include <QString>

#include <memory>

namespace QsLogging {

class QSLOGGING_EXPORT Logger
{
public:
    // The one logger of the process, created on first use.
    static Logger& instance();

    Logger(const Logger&) = delete;
    Logger& operator=(const Logger&) = delete;

    // Destinations receive messages in the order they were added. Adding a
    // null pointer or a destination that is already registered does nothing.
    void addDestination(DestinationPtr destination);

    // Once this returns, the destination is not called again (a write in
    // progress on another thread is waited for).
    void removeDestination(const DestinationPtr& destination);

    // Messages below this level are dropped. Defaults to InfoLevel; OffLevel
    // (or anything above it) silences the logger.
    void setLoggingLevel(Level newLevel);
    Level loggingLevel() const;

    // Hands `message`, unchanged, to every valid destination, unless `level`
    // is below the logging level or is not a message level (OffLevel and
    // above). Safe to call from any thread; writes are serialised so that
    // each destination is entered by one thread at a time. A message logged
    // from inside a destination's write() (on the same thread) is dropped
    // rather than fed back into the destinations.
    void write(const QString& message, Level level);

    // Collects one message through QDebug streaming and writes it to the
    // logger when it goes out of scope, i.e. at the end of the statement that
    // uses one of the QLOG_* macros.
    class QSLOGGING_EXPORT Helper
    {
    public:
        explicit Helper(Level level);
        ~Helper();

        Helper(const Helper&) = delete;
        Helper& operator=(const Helper&) = delete;

        QDebug& stream() { return m_debug; }

    private:
        Level m_level;
        QString m_buffer;
        QDebug m_debug;  // Writes into m_buffer, so it is declared after it.
    };

private:
    Logger();
    ~Logger();

    struct Private;
    std::unique_ptr<Private> d;
};

} // namespace QsLogging

// The message is only built when its level passes: the loop body runs once or
// not at all, so the streamed expressions are not evaluated when the level is
// filtered out. A loop rather than "if (filtered) {} else ..." because it is a
// complete statement: "if (x) QLOG_INFO() << y;" in calling code then neither
// captures the caller's else nor draws -Wdangling-else warnings.
#define QLOG_AT_LEVEL_(lvl)                                                   \
    for (bool qsLogEnabled_ =                                                 \
             QsLogging::Logger::instance().loggingLevel() <= (lvl);           \
         qsLogEnabled_; qsLogEnabled_ = false)                                \
        QsLogging::Logger::Helper(lvl).stream()

#define QLOG_TRACE() QLOG_AT_LEVEL_(QsLogging::TraceLevel)
#define QLOG_DEBUG() QLOG_AT_LEVEL_(QsLogging::DebugLevel)
#define QLOG_INFO() QLOG_AT_LEVEL_(QsLogging::InfoLevel)
#define QLOG_WARN() QLOG_AT_LEVEL_(QsLogging::WarnLevel)
#define QLOG_ERROR() QLOG_AT_LEVEL_(QsLogging::ErrorLevel)
#define QLOG_FATAL() QLOG_AT_LEVEL_(QsLogging::FatalLevel)
