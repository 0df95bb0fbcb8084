// The process-wide logger and the message helper behind the QLOG_* macros.
#include <QsLog/QsLog.h>

#include <QVector>

#include <atomic>
#include <mutex>

namespace QsLogging {

struct Logger::Private
{
    // Serialises writes and guards the destination list. It is recursive so
    // that a destination may add or remove destinations (itself included)
    // from inside its write() without deadlocking.
    std::recursive_mutex mutex;
    QVector<DestinationPtr> destinations;
    // True while a write is delivering a message; only read and changed by
    // the thread holding `mutex`.
    bool writing = false;
    // Read by every QLOG_* macro, so it is kept out of the mutex.
    std::atomic<int> level{InfoLevel};
};

Logger& Logger::instance()
{
    static Logger logger;
    return logger;
}

Logger::Logger()
    : d(new Private)
{
}

Logger::~Logger() = default;

void Logger::addDestination(DestinationPtr destination)
{
    if (!destination)
        return;
    std::lock_guard<std::recursive_mutex> lock(d->mutex);
    if (!d->destinations.contains(destination))
        d->destinations.append(std::move(destination));
}

void Logger::removeDestination(const DestinationPtr& destination)
{
    // Taking the mutex waits for a write in progress on another thread, so
    // the destination cannot be called once we return.
    std::lock_guard<std::recursive_mutex> lock(d->mutex);
    d->destinations.removeAll(destination);
}

void Logger::setLoggingLevel(Level newLevel)
{
    d->level.store(newLevel, std::memory_order_relaxed);
}

Level Logger::loggingLevel() const
{
    return static_cast<Level>(d->level.load(std::memory_order_relaxed));
}

void Logger::write(const QString& message, Level level)
{
    if (level >= OffLevel || level < loggingLevel())
        return;

    std::lock_guard<std::recursive_mutex> lock(d->mutex);

    // A destination that logs while writing (directly, or through a Qt
    // message handler that forwards to this logger) would otherwise be
    // re-entered in the middle of its own write; that message is dropped.
    if (d->writing)
        return;

    struct WritingGuard
    {
        bool& flag;
        explicit WritingGuard(bool& f) : flag(f) { flag = true; }
        ~WritingGuard() { flag = false; }
    } guard(d->writing);

    // Iterate over a copy: a destination may change the list from inside its
    // write(). One removed that way is not called any more, not even for this
    // message. The lists hold a handful of entries, so the lookup is cheap.
    const QVector<DestinationPtr> destinations = d->destinations;
    for (const DestinationPtr& destination : destinations) {
        if (!d->destinations.contains(destination))
            continue;
        if (destination->isValid())
            destination->write(message, level);
    }
}

Logger::Helper::Helper(Level level)
    : m_level(level)
    , m_debug(&m_buffer)
{
    m_debug.noquote();
}

Logger::Helper::~Helper()
{
    // QDebug puts a space after every streamed item; drop the last one, as
    // QDebug itself does for the messages it prints.
    if (m_debug.autoInsertSpaces() && m_buffer.endsWith(QLatin1Char(' ')))
        m_buffer.chop(1);
    Logger::instance().write(m_buffer, m_level);
}

} // namespace QsLogging
