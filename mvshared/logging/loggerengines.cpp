/*
 * loggerengines.cpp: the logging destinations of the library. The file
 * engine keeps one log per application and day, the callback engine hands
 * each message to a live log view as a signal, the std engine drops them.
 */
#include <MVShared/LoggerEngines.h>

#include <QtCore/QCoreApplication>
#include <QtCore/QDir>
#include <QtCore/QFileInfo>
#include <QtCore/QList>
#include <QtCore/QLocale>
#include <QtCore/QMutexLocker>
#include <QtCore/QTextCodec>
#include <QtCore/QThread>

#include <atomic>
#include <utility>

#if defined(Q_OS_WIN)
#  include <windows.h>
#else
#  include <dlfcn.h>
#  include <sys/syscall.h>
#  include <unistd.h>
#endif

namespace {

/* The operating system's id of the calling thread. */
quint64 osThreadId()
{
#if defined(Q_OS_WIN)
    return static_cast<quint64>(::GetCurrentThreadId());
#elif defined(Q_OS_LINUX)
    return static_cast<quint64>(::syscall(SYS_gettid));
#else
    return static_cast<quint64>(reinterpret_cast<quintptr>(QThread::currentThreadId()));
#endif
}

/* The file name under which this library is loaded; the log directory is
 * the application's own when this file lies beside the executable. */
QString libraryFileName()
{
#if defined(Q_OS_WIN)
    return QStringLiteral("MVShared.dll");
#else
    Dl_info info{};
    if (::dladdr(reinterpret_cast<void*>(&libraryFileName), &info) != 0 && info.dli_fname) {
        const QString name = QFileInfo(QFile::decodeName(info.dli_fname)).fileName();
        if (!name.isEmpty())
            return name;
    }
    return QStringLiteral("libMVShared.so");
#endif
}

void registerLogBlockTypes()
{
    static std::atomic<bool> registered{false};
    if (registered.exchange(true))
        return;
    qRegisterMetaType<LogBlock>("LogBlock");
    qRegisterMetaType<LogBlock>("LogBlock&");
    qRegisterMetaType<LogBlock*>("LogBlock*");
    qRegisterMetaType<QList<LogBlock>>("QList<LogBlock>");
    qRegisterMetaType<QList<LogBlock>>("QList<LogBlock>&");
    qRegisterMetaType<QList<LogBlock*>>("QList<LogBlock*>");
}

} // namespace

// ---------------------------------------------------------------------------
// BasicFileLoggerEngine

BasicFileLoggerEngine::BasicFileLoggerEngine(bool closeAfterWrite)
    : BasicFileLoggerEngine(closeAfterWrite, Clock())
{
}

BasicFileLoggerEngine::BasicFileLoggerEngine(bool closeAfterWrite, Clock clock)
    : m_closeAfterWrite(closeAfterWrite)
    , m_clock(std::move(clock))
{
    if (!m_clock)
        m_clock = &QDateTime::currentDateTime;
    m_openedAt = m_clock();
}

BasicFileLoggerEngine::~BasicFileLoggerEngine()
{
    m_stream.setDevice(nullptr);
    m_file.close();
}

void BasicFileLoggerEngine::setClock(Clock clock)
{
    m_clock = clock ? std::move(clock) : Clock(&QDateTime::currentDateTime);
}

QString BasicFileLoggerEngine::logDirectory()
{
    const QString appDir = QCoreApplication::applicationDirPath();
    QString base;
    if (!appDir.isEmpty() && QFileInfo::exists(appDir + QDir::separator() + libraryFileName()))
        base = QDir::toNativeSeparators(appDir);
    else
        base = QString::fromLocal8Bit(qgetenv("MRN_ROOT"));
    return base + QDir::separator() + QStringLiteral("log");
}

QString BasicFileLoggerEngine::logFileName(const QDate& date)
{
    return QStringLiteral("%1%2%4_%5.log")
        .arg(logDirectory(), QString(QDir::separator()), QCoreApplication::applicationName(),
             date.toString(Qt::ISODate));
}

QString BasicFileLoggerEngine::levelName(int level)
{
    switch (level) {
    case QsLogging::TraceLevel: return QStringLiteral("TRACE");
    case QsLogging::DebugLevel: return QStringLiteral("DEBUG");
    case QsLogging::WarnLevel: return QStringLiteral("WARN");
    case QsLogging::ErrorLevel: return QStringLiteral("ERROR");
    case QsLogging::FatalLevel: return QStringLiteral("FATAL");
    case QsLogging::OffLevel: return QString();
    default: return QStringLiteral("INFO");
    }
}

void BasicFileLoggerEngine::write(const QString& message, QsLogging::Level level)
{
    // Debug messages are kept out of the file on purpose.
    if (level == QsLogging::DebugLevel || message.isEmpty())
        return;

    const QDateTime now = m_clock();
    if (!m_file.isOpen() || m_openedAt.date() != now.date()) {
        m_stream.setDevice(nullptr);
        m_file.close();
        const QString dir = logDirectory();
        if (!QDir(dir).exists())
            QDir().mkpath(dir);
        m_file.setFileName(logFileName(now.date()));
        m_file.open(QIODevice::Append | QIODevice::Text | QIODevice::WriteOnly);
        m_stream.setDevice(&m_file);
        m_stream.setCodec("UTF-8");
        m_openedAt = now;
    }

    const QString line = QStringLiteral("%2\t%5   %4   %1         %3")
        .arg(QStringLiteral("%1").arg(levelName(level), 10),
             now.time().toString(QStringLiteral("hh:mm:ss.zzz")),
             message,
             QString::number(osThreadId()),
             QString::number(QCoreApplication::applicationPid()));
    m_stream << line << Qt::endl;
    m_stream.flush();

    if (m_closeAfterWrite) {
        m_stream.setDevice(nullptr);
        m_file.close();
    }
}

bool BasicFileLoggerEngine::isValid()
{
    return true;
}

// ---------------------------------------------------------------------------
// CallBackLoggerEngine

CallBackLoggerEngine::CallBackLoggerEngine()
    : m_initialized(true)
{
    registerLogBlockTypes();
}

CallBackLoggerEngine::~CallBackLoggerEngine() = default;

void CallBackLoggerEngine::write(const QString& message, QsLogging::Level level)
{
    QMutexLocker locker(&m_mutex);
    const QDateTime now = QDateTime::currentDateTime();
    LogBlock block;
    block.time = QLocale().toString(now.date(), QLocale::ShortFormat) + QLatin1Char(' ')
        + QLocale::c().toString(now.time(), QStringLiteral("HH:mm:ss.zzz"));
    block.message = message;
    block.level = static_cast<int>(level);
    // Emitted under the lock so that blocks leave one at a time, in order.
    emit notifyBlock(block);
}

bool CallBackLoggerEngine::isValid()
{
    return true;
}

void CallBackLoggerEngine::initLoggerEngine()
{
    m_initialized = true;
}

void CallBackLoggerEngine::killLoggerEngine()
{
    m_initialized = false;
}

bool CallBackLoggerEngine::isInitialized() const
{
    return m_initialized;
}

// ---------------------------------------------------------------------------
// StdLoggerEngine

StdLoggerEngine::StdLoggerEngine() = default;

StdLoggerEngine::~StdLoggerEngine() = default;

void StdLoggerEngine::write(const QString& message, QsLogging::Level level)
{
    Q_UNUSED(message)
    Q_UNUSED(level)
}

bool StdLoggerEngine::isValid()
{
    return true;
}
