/*
 * loggerengines_test.cpp: the logging destinations of the library. The daily
 * log files (line layout, level names, which messages reach the file, day
 * change, close-after-write, log directory), the callback engine's LogBlocks
 * across threads, and the silent std engine.
 */
#include <MVShared/LoggerEngines.h>

#include <QtCore/QCoreApplication>
#include <QtCore/QDir>
#include <QtCore/QFile>
#include <QtCore/QLocale>
#include <QtCore/QMetaType>
#include <QtCore/QMutex>
#include <QtCore/QMutexLocker>
#include <QtCore/QRegularExpression>
#include <QtCore/QTemporaryDir>
#include <QtCore/QTextStream>
#include <QtCore/QThread>
#include <QtTest/QTest>

#include <gtest/gtest.h>

#include <atomic>
#include <memory>
#include <thread>
#include <vector>

#if defined(Q_OS_LINUX)
#  include <sys/syscall.h>
#  include <unistd.h>
#endif

namespace {

const QDate kDay(2024, 3, 14);

/* A clock the test moves by hand. */
struct ManualClock
{
    std::shared_ptr<QDateTime> now = std::make_shared<QDateTime>(kDay, QTime(10, 20, 30, 456));
    BasicFileLoggerEngine::Clock function() const
    {
        auto shared = now;
        return [shared] { return *shared; };
    }
};

QStringList readLines(const QString& fileName)
{
    QFile file(fileName);
    if (!file.open(QIODevice::ReadOnly | QIODevice::Text))
        return {};
    QTextStream in(&file);
    in.setCodec("UTF-8");
    QStringList lines;
    while (!in.atEnd())
        lines << in.readLine();
    return lines;
}

/* Points MRN_ROOT at a fresh temporary directory for one test and restores
 * the previous value afterwards. */
class FileLoggerEngineTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        m_hadRoot = qEnvironmentVariableIsSet("MRN_ROOT");
        m_oldRoot = qgetenv("MRN_ROOT");
        ASSERT_TRUE(m_root.isValid());
        qputenv("MRN_ROOT", QFile::encodeName(m_root.path()));
    }
    void TearDown() override
    {
        if (m_hadRoot)
            qputenv("MRN_ROOT", m_oldRoot);
        else
            qunsetenv("MRN_ROOT");
    }

    QString logDir() const { return m_root.path() + QDir::separator() + QStringLiteral("log"); }
    QString fileFor(const QDate& date) const
    {
        return logDir() + QDir::separator() + QCoreApplication::applicationName() + QLatin1Char('_')
            + date.toString(QStringLiteral("yyyy-MM-dd")) + QStringLiteral(".log");
    }

    QTemporaryDir m_root;
    QByteArray m_oldRoot;
    bool m_hadRoot = false;
    ManualClock m_clock;
};

const QString kLinePattern = QStringLiteral(
    "^(\\d{2}:\\d{2}:\\d{2}\\.\\d{3})\\t(\\d+)   (\\d+)   (.{10})         (.*)$");

} // namespace

// --- BasicFileLoggerEngine ---------------------------------------------------

TEST_F(FileLoggerEngineTest, LogDirectoryFollowsMrnRootWhenLibraryIsNotBesideApplication)
{
    EXPECT_EQ(BasicFileLoggerEngine::logDirectory(), logDir());
    EXPECT_EQ(BasicFileLoggerEngine::logFileName(kDay), fileFor(kDay));
}

TEST_F(FileLoggerEngineTest, MrnRootFallbackCreatesLogDirectory)
{
    ASSERT_FALSE(QDir(logDir()).exists());
    BasicFileLoggerEngine engine(false, m_clock.function());
    engine.write(QStringLiteral("started"), QsLogging::InfoLevel);
    EXPECT_TRUE(QDir(logDir()).exists());
    EXPECT_EQ(readLines(fileFor(kDay)).size(), 1);
}

TEST_F(FileLoggerEngineTest, MissingParentsOfLogDirectoryAreCreated)
{
    const QString nested = m_root.path() + QStringLiteral("/a/b");
    qputenv("MRN_ROOT", QFile::encodeName(nested));
    BasicFileLoggerEngine engine(false, m_clock.function());
    engine.write(QStringLiteral("deep"), QsLogging::InfoLevel);
    EXPECT_TRUE(QDir(nested + QStringLiteral("/log")).exists());
}

TEST_F(FileLoggerEngineTest, UnsetMrnRootGivesSeparatorFollowedByLog)
{
    // Only the path is checked: nothing is written to the machine's /log.
    qunsetenv("MRN_ROOT");
    EXPECT_EQ(BasicFileLoggerEngine::logDirectory(), QString(QDir::separator()) + QStringLiteral("log"));
    qputenv("MRN_ROOT", QByteArray());
    EXPECT_EQ(BasicFileLoggerEngine::logDirectory(), QString(QDir::separator()) + QStringLiteral("log"));
}

TEST_F(FileLoggerEngineTest, LineFormatIsExact)
{
    BasicFileLoggerEngine engine(false, m_clock.function());
    engine.write(QStringLiteral("pump 3 started"), QsLogging::InfoLevel);

    const QStringList lines = readLines(fileFor(kDay));
    ASSERT_EQ(lines.size(), 1);
    const QRegularExpressionMatch match = QRegularExpression(kLinePattern).match(lines.first());
    ASSERT_TRUE(match.hasMatch()) << lines.first().toStdString();
    EXPECT_EQ(match.captured(1), QStringLiteral("10:20:30.456"));
    EXPECT_EQ(match.captured(2), QString::number(QCoreApplication::applicationPid()));
#if defined(Q_OS_LINUX)
    EXPECT_EQ(match.captured(3), QString::number(static_cast<qint64>(::syscall(SYS_gettid))));
#endif
    EXPECT_EQ(match.captured(4), QStringLiteral("      INFO"));
    EXPECT_EQ(match.captured(5), QStringLiteral("pump 3 started"));

    const QString expected = QStringLiteral("10:20:30.456\t%1   %2   %3         pump 3 started")
        .arg(match.captured(2), match.captured(3), QStringLiteral("      INFO"));
    EXPECT_EQ(lines.first(), expected);
}

TEST_F(FileLoggerEngineTest, MessageWithPercentSignsIsWrittenUnchanged)
{
    BasicFileLoggerEngine engine(false, m_clock.function());
    engine.write(QStringLiteral("100% of %1 and %2 ä"), QsLogging::WarnLevel);
    const QStringList lines = readLines(fileFor(kDay));
    ASSERT_EQ(lines.size(), 1);
    EXPECT_TRUE(lines.first().endsWith(QStringLiteral("      WARN         100% of %1 and %2 ä")));
}

TEST_F(FileLoggerEngineTest, EveryLevelNameIsWrittenRightAligned)
{
    BasicFileLoggerEngine engine(false, m_clock.function());
    const QList<QPair<int, QString>> cases = {
        {QsLogging::TraceLevel, QStringLiteral("     TRACE")},
        {QsLogging::InfoLevel, QStringLiteral("      INFO")},
        {QsLogging::WarnLevel, QStringLiteral("      WARN")},
        {QsLogging::ErrorLevel, QStringLiteral("     ERROR")},
        {QsLogging::FatalLevel, QStringLiteral("     FATAL")},
        {QsLogging::OffLevel, QStringLiteral("          ")},
    };
    for (const auto& c : cases)
        engine.write(QStringLiteral("m%1").arg(c.first), static_cast<QsLogging::Level>(c.first));

    const QStringList lines = readLines(fileFor(kDay));
    ASSERT_EQ(lines.size(), cases.size());
    const QRegularExpression pattern(kLinePattern);
    for (int i = 0; i < cases.size(); ++i) {
        const QRegularExpressionMatch match = pattern.match(lines.at(i));
        ASSERT_TRUE(match.hasMatch()) << lines.at(i).toStdString();
        EXPECT_EQ(match.captured(4), cases.at(i).second);
        EXPECT_EQ(match.captured(5), QStringLiteral("m%1").arg(cases.at(i).first));
    }

    EXPECT_EQ(BasicFileLoggerEngine::levelName(QsLogging::DebugLevel), QStringLiteral("DEBUG"));
    EXPECT_EQ(BasicFileLoggerEngine::levelName(-1), QStringLiteral("INFO"));
}

TEST_F(FileLoggerEngineTest, LevelNineIsInfoAndOffLevelIsTenBlanks)
{
    BasicFileLoggerEngine engine(false, m_clock.function());
    engine.write(QStringLiteral("nine"), static_cast<QsLogging::Level>(9));
    engine.write(QStringLiteral("off"), QsLogging::OffLevel);
    const QStringList lines = readLines(fileFor(kDay));
    ASSERT_EQ(lines.size(), 2);
    EXPECT_TRUE(lines.at(0).endsWith(QStringLiteral("   ") + QStringLiteral("      INFO")
                                     + QStringLiteral("         nine")));
    EXPECT_TRUE(lines.at(1).endsWith(QStringLiteral("   ") + QString(10, QLatin1Char(' '))
                                     + QStringLiteral("         off")));
}

TEST_F(FileLoggerEngineTest, TraceMessageReachesFile)
{
    BasicFileLoggerEngine engine(false, m_clock.function());
    engine.write(QStringLiteral("trace"), QsLogging::TraceLevel);
    const QStringList lines = readLines(fileFor(kDay));
    ASSERT_EQ(lines.size(), 1);
    EXPECT_TRUE(lines.first().endsWith(QStringLiteral("     TRACE         trace")));
}

TEST_F(FileLoggerEngineTest, DebugAndEmptyMessagesWriteNothing)
{
    BasicFileLoggerEngine engine(false, m_clock.function());
    engine.write(QStringLiteral("debug"), QsLogging::DebugLevel);
    engine.write(QString(), QsLogging::InfoLevel);
    engine.write(QString(), QsLogging::FatalLevel);
    EXPECT_FALSE(QFile::exists(fileFor(kDay)));

    engine.write(QStringLiteral("kept"), QsLogging::ErrorLevel);
    engine.write(QStringLiteral("debug again"), QsLogging::DebugLevel);
    const QStringList lines = readLines(fileFor(kDay));
    ASSERT_EQ(lines.size(), 1);
    EXPECT_TRUE(lines.first().endsWith(QStringLiteral("kept")));
}

TEST_F(FileLoggerEngineTest, FirstMessageAfterMidnightGoesToNewFile)
{
    BasicFileLoggerEngine engine(false, m_clock.function());
    *m_clock.now = QDateTime(kDay, QTime(23, 59, 59, 999));
    engine.write(QStringLiteral("before midnight"), QsLogging::InfoLevel);
    *m_clock.now = QDateTime(kDay.addDays(1), QTime(0, 0, 0, 1));
    engine.write(QStringLiteral("after midnight"), QsLogging::InfoLevel);
    engine.write(QStringLiteral("later"), QsLogging::InfoLevel);

    const QStringList first = readLines(fileFor(kDay));
    const QStringList second = readLines(fileFor(kDay.addDays(1)));
    ASSERT_EQ(first.size(), 1);
    ASSERT_EQ(second.size(), 2);
    EXPECT_TRUE(first.at(0).startsWith(QStringLiteral("23:59:59.999\t")));
    EXPECT_TRUE(first.at(0).endsWith(QStringLiteral("before midnight")));
    EXPECT_TRUE(second.at(0).startsWith(QStringLiteral("00:00:00.001\t")));
    EXPECT_TRUE(second.at(0).endsWith(QStringLiteral("after midnight")));
    EXPECT_TRUE(second.at(1).endsWith(QStringLiteral("later")));
}

TEST_F(FileLoggerEngineTest, ExistingFileIsAppendedTo)
{
    {
        BasicFileLoggerEngine engine(false, m_clock.function());
        engine.write(QStringLiteral("one"), QsLogging::InfoLevel);
    }
    BasicFileLoggerEngine engine(false, m_clock.function());
    engine.write(QStringLiteral("two"), QsLogging::InfoLevel);
    const QStringList lines = readLines(fileFor(kDay));
    ASSERT_EQ(lines.size(), 2);
    EXPECT_TRUE(lines.at(0).endsWith(QStringLiteral("one")));
    EXPECT_TRUE(lines.at(1).endsWith(QStringLiteral("two")));
}

TEST_F(FileLoggerEngineTest, CloseAfterWriteReopensAndClosesFileForEveryMessage)
{
    BasicFileLoggerEngine engine(true, m_clock.function());
    const QString name = fileFor(kDay);
    engine.write(QStringLiteral("first"), QsLogging::InfoLevel);
    ASSERT_TRUE(QFile::rename(name, name + QStringLiteral(".1")));
    engine.write(QStringLiteral("second"), QsLogging::InfoLevel);
    ASSERT_TRUE(QFile::remove(name));
    engine.write(QStringLiteral("third"), QsLogging::InfoLevel);

    // Each message opened the file by name again: the renamed and the
    // removed file got nothing more.
    const QStringList renamed = readLines(name + QStringLiteral(".1"));
    ASSERT_EQ(renamed.size(), 1);
    EXPECT_TRUE(renamed.first().endsWith(QStringLiteral("first")));
    const QStringList current = readLines(name);
    ASSERT_EQ(current.size(), 1);
    EXPECT_TRUE(current.first().endsWith(QStringLiteral("third")));
}

TEST_F(FileLoggerEngineTest, WithoutCloseAfterWriteTheOpenFileIsKept)
{
    BasicFileLoggerEngine engine(false, m_clock.function());
    const QString name = fileFor(kDay);
    engine.write(QStringLiteral("first"), QsLogging::InfoLevel);
    ASSERT_TRUE(QFile::rename(name, name + QStringLiteral(".1")));
    engine.write(QStringLiteral("second"), QsLogging::InfoLevel);

    EXPECT_FALSE(QFile::exists(name));
    EXPECT_EQ(readLines(name + QStringLiteral(".1")).size(), 2);
}

TEST_F(FileLoggerEngineTest, SetClockReplacesAndRestoresTheClock)
{
    BasicFileLoggerEngine engine(false);
    engine.setClock(m_clock.function());
    engine.write(QStringLiteral("simulated"), QsLogging::InfoLevel);
    EXPECT_EQ(readLines(fileFor(kDay)).size(), 1);

    engine.setClock(BasicFileLoggerEngine::Clock());
    const QDate today = QDate::currentDate();
    engine.write(QStringLiteral("real"), QsLogging::InfoLevel);
    const QStringList lines = readLines(fileFor(today)) + readLines(fileFor(today.addDays(1)));
    EXPECT_EQ(lines.size(), 1);
}

TEST_F(FileLoggerEngineTest, IsValid)
{
    BasicFileLoggerEngine engine(true);
    EXPECT_TRUE(engine.isValid());
}

// --- CallBackLoggerEngine ----------------------------------------------------

namespace {

/* Collects the blocks it receives and the threads it received them on. */
class BlockCollector : public QObject
{
public:
    void take(const LogBlock& block)
    {
        QMutexLocker locker(&mutex);
        blocks << block;
        threads << QThread::currentThread();
    }
    int count()
    {
        QMutexLocker locker(&mutex);
        return blocks.size();
    }

    QMutex mutex;
    QList<LogBlock> blocks;
    QList<QThread*> threads;
};

} // namespace

TEST(CallBackLoggerEngine, RegistersLogBlockUnderEveryName)
{
    CallBackLoggerEngine engine;
    for (const char* name : {"LogBlock", "LogBlock&", "LogBlock*", "QList<LogBlock>",
                             "QList<LogBlock>&", "QList<LogBlock*>"})
        EXPECT_NE(QMetaType::type(name), static_cast<int>(QMetaType::UnknownType)) << name;
    EXPECT_EQ(QMetaType::type("LogBlock"), qMetaTypeId<LogBlock>());

    CallBackLoggerEngine second;  // registering again is harmless
    EXPECT_EQ(QMetaType::type("LogBlock"), qMetaTypeId<LogBlock>());
}

TEST(CallBackLoggerEngine, InitializedFlagIsBookkeepingOnly)
{
    CallBackLoggerEngine engine;
    EXPECT_TRUE(engine.isInitialized());
    engine.killLoggerEngine();
    EXPECT_FALSE(engine.isInitialized());

    int received = 0;
    QObject::connect(&engine, &CallBackLoggerEngine::notifyBlock, [&](const LogBlock&) { ++received; });
    engine.write(QStringLiteral("still delivered"), QsLogging::InfoLevel);
    EXPECT_EQ(received, 1);

    engine.initLoggerEngine();
    EXPECT_TRUE(engine.isInitialized());
}

TEST(CallBackLoggerEngine, AllLevelsPassIncludingDebug)
{
    CallBackLoggerEngine engine;
    QList<LogBlock> blocks;
    QObject::connect(&engine, &CallBackLoggerEngine::notifyBlock,
                     [&](const LogBlock& block) { blocks << block; });
    for (int level = QsLogging::TraceLevel; level <= QsLogging::OffLevel; ++level)
        engine.write(QStringLiteral("level %1").arg(level), static_cast<QsLogging::Level>(level));
    engine.write(QStringLiteral("nine"), static_cast<QsLogging::Level>(9));
    engine.write(QString(), QsLogging::DebugLevel);

    ASSERT_EQ(blocks.size(), 9);
    for (int level = QsLogging::TraceLevel; level <= QsLogging::OffLevel; ++level) {
        EXPECT_EQ(blocks.at(level).level, level);
        EXPECT_EQ(blocks.at(level).message, QStringLiteral("level %1").arg(level));
        EXPECT_TRUE(blocks.at(level).note.isEmpty());
    }
    EXPECT_EQ(blocks.at(7).level, 9);
    EXPECT_EQ(blocks.at(8).level, static_cast<int>(QsLogging::DebugLevel));
    EXPECT_TRUE(blocks.at(8).message.isEmpty());
}

TEST(CallBackLoggerEngine, DeliversBlocksQueuedToReceiverInAnotherThread)
{
    const QLocale previous;
    QLocale::setDefault(QLocale(QLocale::German, QLocale::Germany));

    QThread worker;
    BlockCollector collector;
    collector.moveToThread(&worker);
    worker.start();

    CallBackLoggerEngine engine;
    QObject::connect(&engine, &CallBackLoggerEngine::notifyBlock, &collector,
                     [&collector](const LogBlock& block) { collector.take(block); },
                     Qt::QueuedConnection);

    const QDate before = QDate::currentDate();
    engine.write(QStringLiteral("queued äöü"), QsLogging::WarnLevel);
    engine.write(QStringLiteral("debug too"), QsLogging::DebugLevel);
    const QDate after = QDate::currentDate();

    EXPECT_TRUE(QTest::qWaitFor([&] { return collector.count() == 2; }, 5000));
    worker.quit();
    worker.wait();

    ASSERT_EQ(collector.blocks.size(), 2);
    EXPECT_EQ(collector.threads.at(0), &worker);
    EXPECT_EQ(collector.threads.at(1), &worker);

    const LogBlock& block = collector.blocks.at(0);
    EXPECT_EQ(block.message, QStringLiteral("queued äöü"));
    EXPECT_EQ(block.level, static_cast<int>(QsLogging::WarnLevel));
    EXPECT_TRUE(block.note.isEmpty());
    EXPECT_EQ(collector.blocks.at(1).level, static_cast<int>(QsLogging::DebugLevel));

    // "<short date of the default locale> HH:mm:ss.zzz"
    const QLocale german(QLocale::German, QLocale::Germany);
    const QString dateBefore = german.toString(before, QLocale::ShortFormat) + QLatin1Char(' ');
    const QString dateAfter = german.toString(after, QLocale::ShortFormat) + QLatin1Char(' ');
    EXPECT_TRUE(block.time.startsWith(dateBefore) || block.time.startsWith(dateAfter))
        << block.time.toStdString();
    EXPECT_TRUE(QRegularExpression(QStringLiteral("^\\d{2}\\.\\d{2}\\.\\d{2} \\d{2}:\\d{2}:\\d{2}\\.\\d{3}$"))
                    .match(block.time)
                    .hasMatch())
        << block.time.toStdString();

    QLocale::setDefault(previous);
}

TEST(CallBackLoggerEngine, ConcurrentWritersAreSerialisedAndNoBlockIsLost)
{
    constexpr int kThreads = 4;
    constexpr int kPerThread = 300;

    CallBackLoggerEngine engine;
    std::atomic<int> inside{0};
    std::atomic<int> overlaps{0};
    std::vector<int> perWriter(kThreads, 0);  // touched only under the engine's lock
    int total = 0;
    QObject::connect(&engine, &CallBackLoggerEngine::notifyBlock, [&](const LogBlock& block) {
        if (inside.fetch_add(1) != 0)
            overlaps.fetch_add(1);
        ++total;
        const int writer = block.message.section(QLatin1Char(' '), 0, 0).toInt();
        if (writer >= 0 && writer < kThreads)
            ++perWriter[static_cast<size_t>(writer)];
        std::this_thread::yield();
        inside.fetch_sub(1);
    });

    std::vector<std::thread> writers;
    for (int w = 0; w < kThreads; ++w) {
        writers.emplace_back([&engine, w] {
            for (int i = 0; i < kPerThread; ++i)
                engine.write(QStringLiteral("%1 %2").arg(w).arg(i),
                             static_cast<QsLogging::Level>(i % 7));
        });
    }
    for (auto& t : writers)
        t.join();

    EXPECT_EQ(overlaps.load(), 0);
    EXPECT_EQ(total, kThreads * kPerThread);
    for (int w = 0; w < kThreads; ++w)
        EXPECT_EQ(perWriter[static_cast<size_t>(w)], kPerThread);
}

TEST(CallBackLoggerEngine, ConcurrentWritersReachQueuedReceiverCompletely)
{
    constexpr int kThreads = 3;
    constexpr int kPerThread = 200;

    QThread worker;
    BlockCollector collector;
    collector.moveToThread(&worker);
    worker.start();

    CallBackLoggerEngine engine;
    QObject::connect(&engine, &CallBackLoggerEngine::notifyBlock, &collector,
                     [&collector](const LogBlock& block) { collector.take(block); },
                     Qt::QueuedConnection);

    std::vector<std::thread> writers;
    for (int w = 0; w < kThreads; ++w) {
        writers.emplace_back([&engine, w] {
            for (int i = 0; i < kPerThread; ++i)
                engine.write(QStringLiteral("%1 %2").arg(w).arg(i), QsLogging::InfoLevel);
        });
    }
    for (auto& t : writers)
        t.join();

    EXPECT_TRUE(QTest::qWaitFor([&] { return collector.count() == kThreads * kPerThread; }, 10000));
    worker.quit();
    worker.wait();

    // Per writer, the blocks arrive complete and in the order written.
    std::vector<int> next(kThreads, 0);
    for (const LogBlock& block : collector.blocks) {
        const int w = block.message.section(QLatin1Char(' '), 0, 0).toInt();
        const int i = block.message.section(QLatin1Char(' '), 1, 1).toInt();
        ASSERT_TRUE(w >= 0 && w < kThreads);
        EXPECT_EQ(i, next[static_cast<size_t>(w)]);
        next[static_cast<size_t>(w)] = i + 1;
    }
    for (int w = 0; w < kThreads; ++w)
        EXPECT_EQ(next[static_cast<size_t>(w)], kPerThread);
}

TEST(CallBackLoggerEngine, IsValid)
{
    CallBackLoggerEngine engine;
    EXPECT_TRUE(engine.isValid());
    engine.killLoggerEngine();
    EXPECT_TRUE(engine.isValid());
}

// --- StdLoggerEngine ---------------------------------------------------------

TEST_F(FileLoggerEngineTest, StdLoggerEngineWritesNothing)
{
    StdLoggerEngine engine;
    EXPECT_TRUE(engine.isValid());
    for (int level = QsLogging::TraceLevel; level <= QsLogging::OffLevel; ++level)
        engine.write(QStringLiteral("dropped"), static_cast<QsLogging::Level>(level));
    EXPECT_FALSE(QDir(logDir()).exists());
    EXPECT_TRUE(QDir(m_root.path()).entryList(QDir::AllEntries | QDir::NoDotAndDotDot).isEmpty());
}

TEST(StdLoggerEngine, IsValid)
{
    StdLoggerEngine engine;
    EXPECT_TRUE(engine.isValid());
}
