// Tests of the logger: delivery to destinations, level filtering, the QLOG_*
// macros and their formatting, removal, and logging from several threads.
#include <QsLog/QsLog.h>

#include <gtest/gtest.h>

#include <QString>
#include <QStringList>
#include <QVector>

#include <atomic>
#include <thread>
#include <vector>

using namespace QsLogging;

namespace {

struct Entry
{
    QString destination;
    QString message;
    Level level;
};

bool operator==(const Entry& a, const Entry& b)
{
    return a.destination == b.destination && a.message == b.message && a.level == b.level;
}

void PrintTo(const Entry& e, std::ostream* os)
{
    *os << "{" << e.destination.toStdString() << ", \"" << e.message.toStdString()
        << "\", " << static_cast<int>(e.level) << "}";
}

// Records what it receives, in a journal it may share with other destinations
// so that the order of delivery across destinations can be checked.
class RecordingDestination : public Destination
{
public:
    RecordingDestination(QString name, QVector<Entry>* journal, bool valid = true)
        : m_name(std::move(name)), m_journal(journal), m_valid(valid)
    {
    }

    void write(const QString& message, Level level) override
    {
        m_journal->append({m_name, message, level});
    }

    bool isValid() override { return m_valid; }
    void setValid(bool valid) { m_valid = valid; }

private:
    QString m_name;
    QVector<Entry>* m_journal;
    bool m_valid;
};

class LoggerTest : public ::testing::Test
{
protected:
    static Logger& logger() { return Logger::instance(); }

    void SetUp() override { m_savedLevel = logger().loggingLevel(); }

    void TearDown() override
    {
        for (const DestinationPtr& destination : m_added)
            logger().removeDestination(destination);
        logger().setLoggingLevel(m_savedLevel);
    }

    // Adds a destination to the logger and removes it again in TearDown.
    template <typename T, typename... Args>
    QSharedPointer<T> addDestination(Args&&... args)
    {
        QSharedPointer<T> destination = QSharedPointer<T>::create(std::forward<Args>(args)...);
        logger().addDestination(destination);
        m_added.append(destination);
        return destination;
    }

    QSharedPointer<RecordingDestination> addRecorder(const QString& name, bool valid = true)
    {
        return addDestination<RecordingDestination>(name, &m_journal, valid);
    }

    QStringList messages() const
    {
        QStringList out;
        for (const Entry& e : m_journal)
            out << e.message;
        return out;
    }

    QVector<Entry> m_journal;

private:
    Level m_savedLevel = InfoLevel;
    QVector<DestinationPtr> m_added;
};

int g_evaluations = 0;

int countedValue()
{
    ++g_evaluations;
    return 42;
}

} // namespace

// Every test restores the level it found, so this holds whatever the order.
TEST_F(LoggerTest, DefaultLevelIsInfo)
{
    EXPECT_EQ(logger().loggingLevel(), InfoLevel);

    addRecorder("A");
    QLOG_DEBUG() << "dropped";
    QLOG_INFO() << "kept";
    EXPECT_EQ(messages(), QStringList{"kept"});
}

TEST_F(LoggerTest, MessageReachesEveryValidDestinationInOrderUnchanged)
{
    addRecorder("A");
    addRecorder("B");
    addRecorder("C");

    const QString text = QStringLiteral("  raw \"text\" 100% {x}\twith\nlines ");
    logger().write(text, WarnLevel);
    logger().write(QStringLiteral("second"), ErrorLevel);

    const QVector<Entry> expected{
        {"A", text, WarnLevel},
        {"B", text, WarnLevel},
        {"C", text, WarnLevel},
        {"A", "second", ErrorLevel},
        {"B", "second", ErrorLevel},
        {"C", "second", ErrorLevel},
    };
    EXPECT_EQ(m_journal, expected);
}

TEST_F(LoggerTest, InvalidDestinationsAreSkipped)
{
    addRecorder("A");
    auto invalid = addRecorder("B", false);
    addRecorder("C");

    logger().write("first", InfoLevel);
    EXPECT_EQ(m_journal, (QVector<Entry>{{"A", "first", InfoLevel}, {"C", "first", InfoLevel}}));

    // Validity is asked for every message, not only when the destination is added.
    m_journal.clear();
    invalid->setValid(true);
    logger().write("second", InfoLevel);
    EXPECT_EQ(m_journal, (QVector<Entry>{{"A", "second", InfoLevel},
                                         {"B", "second", InfoLevel},
                                         {"C", "second", InfoLevel}}));
}

TEST_F(LoggerTest, MessagesBelowTheLevelAreDroppedAndTheLevelItselfPasses)
{
    addRecorder("A");
    logger().setLoggingLevel(WarnLevel);
    EXPECT_EQ(logger().loggingLevel(), WarnLevel);

    logger().write("trace", TraceLevel);
    logger().write("debug", DebugLevel);
    logger().write("info", InfoLevel);
    logger().write("warn", WarnLevel);
    logger().write("error", ErrorLevel);
    logger().write("fatal", FatalLevel);

    EXPECT_EQ(messages(), (QStringList{"warn", "error", "fatal"}));
}

TEST_F(LoggerTest, OffLevelMessagesAreNeverWritten)
{
    addRecorder("A");
    logger().setLoggingLevel(TraceLevel);

    logger().write("off", OffLevel);
    logger().write("past off", static_cast<Level>(9));
    logger().write("trace", TraceLevel);

    EXPECT_EQ(messages(), QStringList{"trace"});
}

TEST_F(LoggerTest, OffLevelSilencesEverything)
{
    addRecorder("A");

    for (Level threshold : {OffLevel, static_cast<Level>(9)}) {
        logger().setLoggingLevel(threshold);
        EXPECT_EQ(static_cast<int>(logger().loggingLevel()), static_cast<int>(threshold));
        for (int level = TraceLevel; level <= OffLevel; ++level)
            logger().write("direct", static_cast<Level>(level));
        QLOG_TRACE() << "trace";
        QLOG_DEBUG() << "debug";
        QLOG_INFO() << "info";
        QLOG_WARN() << "warn";
        QLOG_ERROR() << "error";
        QLOG_FATAL() << "fatal";
    }

    EXPECT_TRUE(m_journal.isEmpty()) << messages().join('|').toStdString();
}

TEST_F(LoggerTest, MacrosDoNotEvaluateFilteredMessages)
{
    addRecorder("A");
    logger().setLoggingLevel(ErrorLevel);
    g_evaluations = 0;

    QLOG_TRACE() << countedValue();
    QLOG_DEBUG() << countedValue();
    QLOG_INFO() << countedValue();
    QLOG_WARN() << countedValue();
    EXPECT_EQ(g_evaluations, 0);
    EXPECT_TRUE(m_journal.isEmpty());

    QLOG_ERROR() << countedValue();
    QLOG_FATAL() << countedValue();
    EXPECT_EQ(g_evaluations, 2);
    EXPECT_EQ(messages(), (QStringList{"42", "42"}));
}

TEST_F(LoggerTest, MacrosWriteAtTheirOwnLevel)
{
    addRecorder("A");
    logger().setLoggingLevel(TraceLevel);

    QLOG_TRACE() << "t";
    QLOG_DEBUG() << "d";
    QLOG_INFO() << "i";
    QLOG_WARN() << "w";
    QLOG_ERROR() << "e";
    QLOG_FATAL() << "f";

    const QVector<Entry> expected{
        {"A", "t", TraceLevel}, {"A", "d", DebugLevel}, {"A", "i", InfoLevel},
        {"A", "w", WarnLevel},  {"A", "e", ErrorLevel}, {"A", "f", FatalLevel},
    };
    EXPECT_EQ(m_journal, expected);
}

TEST_F(LoggerTest, StreamingSeparatesItemsWithSpacesAndLeavesStringsUnquoted)
{
    addRecorder("A");
    logger().setLoggingLevel(TraceLevel);

    QLOG_INFO() << "a" << 5;
    QLOG_INFO() << QStringLiteral("pump \"P1\"") << 1.5 << true << -3 << 'x';
    QLOG_INFO() << "value:";
    QLOG_INFO() << "trailing " << 7;
    QLOG_INFO();
    QLOG_INFO().nospace() << "a" << 5 << "b ";

    EXPECT_EQ(messages(), (QStringList{"a 5", "pump \"P1\" 1.5 true -3 x", "value:",
                                       "trailing  7", "", "a5b "}));
}

TEST_F(LoggerTest, MacrosAreSafeInUnbracedIfElse)
{
    addRecorder("A");
    for (bool condition : {true, false}) {
        if (condition)
            QLOG_INFO() << "then";
        else
            QLOG_INFO() << "else";
    }
    for (bool condition : {true, false}) {
        if (condition)
            QLOG_INFO() << "only then";
    }
    EXPECT_EQ(messages(), (QStringList{"then", "else", "only then"}));
}

TEST_F(LoggerTest, RemovedDestinationIsNotCalledAgain)
{
    auto a = addRecorder("A");
    auto b = addRecorder("B");

    logger().write("before", InfoLevel);
    logger().removeDestination(a);
    logger().write("after", InfoLevel);

    EXPECT_EQ(m_journal, (QVector<Entry>{{"A", "before", InfoLevel},
                                         {"B", "before", InfoLevel},
                                         {"B", "after", InfoLevel}}));

    // Removing what is not registered, or a null pointer, is harmless.
    m_journal.clear();
    logger().removeDestination(a);
    logger().removeDestination(DestinationPtr());
    logger().write("again", InfoLevel);
    EXPECT_EQ(m_journal, (QVector<Entry>{{"B", "again", InfoLevel}}));
}

TEST_F(LoggerTest, AddingTheSameDestinationTwiceDeliversOnce)
{
    auto a = addRecorder("A");
    logger().addDestination(a);
    logger().addDestination(DestinationPtr());

    logger().write("once", InfoLevel);
    EXPECT_EQ(messages(), QStringList{"once"});

    logger().removeDestination(a);
    logger().write("gone", InfoLevel);
    EXPECT_EQ(messages(), QStringList{"once"});
}

namespace {

// Fails the test if two threads are ever inside write() at the same time.
// Its bookkeeping is deliberately unsynchronised: it relies on the logger.
class ExclusiveDestination : public Destination
{
public:
    explicit ExclusiveDestination(int threads) : perThread(threads, 0), outOfOrder(0) {}

    void write(const QString& message, Level) override
    {
        if (m_inside.fetch_add(1) != 0)
            overlaps.fetch_add(1);
        std::this_thread::yield();  // Widen the window for a second thread.

        // Messages are "<thread> <sequence>"; each thread's messages must
        // arrive complete and in the order that thread logged them.
        const QStringList parts = message.split(' ');
        const int thread = parts.value(0).toInt();
        const int sequence = parts.value(1).toInt();
        if (thread >= 0 && thread < static_cast<int>(perThread.size())) {
            if (perThread[thread] != sequence)
                ++outOfOrder;
            ++perThread[thread];
        }
        ++total;

        m_inside.fetch_sub(1);
    }

    bool isValid() override { return true; }

    std::vector<int> perThread;
    int outOfOrder;
    int total = 0;
    std::atomic<int> overlaps{0};

private:
    std::atomic<int> m_inside{0};
};

// Records any call made after the test marked it as removed.
class ProbeDestination : public Destination
{
public:
    void write(const QString&, Level) override
    {
        ++calls;
        if (removed.load())
            lateCalls.fetch_add(1);
    }
    bool isValid() override { return true; }

    std::atomic<bool> removed{false};
    std::atomic<int> calls{0};
    std::atomic<int> lateCalls{0};
};

} // namespace

TEST_F(LoggerTest, ConcurrentLoggingIsSerialisedAndLosesNothing)
{
    constexpr int threadCount = 6;
    constexpr int perThreadCount = 2000;
    auto destination = addDestination<ExclusiveDestination>(threadCount);

    std::vector<std::thread> threads;
    for (int t = 0; t < threadCount; ++t) {
        threads.emplace_back([t] {
            for (int i = 0; i < perThreadCount; ++i)
                QLOG_INFO() << t << i;
        });
    }
    for (std::thread& thread : threads)
        thread.join();

    EXPECT_EQ(destination->overlaps.load(), 0);
    EXPECT_EQ(destination->outOfOrder, 0);
    EXPECT_EQ(destination->total, threadCount * perThreadCount);
    for (int t = 0; t < threadCount; ++t)
        EXPECT_EQ(destination->perThread[t], perThreadCount) << "thread " << t;
}

TEST_F(LoggerTest, DestinationsCanBeAddedAndRemovedWhileOtherThreadsLog)
{
    constexpr int threadCount = 4;
    constexpr int perThreadCount = 3000;
    auto steady = addDestination<ExclusiveDestination>(threadCount);
    auto probe = QSharedPointer<ProbeDestination>::create();

    std::atomic<bool> done{false};
    std::vector<std::thread> threads;
    for (int t = 0; t < threadCount; ++t) {
        threads.emplace_back([t] {
            for (int i = 0; i < perThreadCount; ++i)
                Logger::instance().write(QStringLiteral("%1 %2").arg(t).arg(i), WarnLevel);
        });
    }

    int cycles = 0;
    std::thread churn([&] {
        while (!done.load()) {
            probe->removed.store(false);
            logger().addDestination(probe);
            std::this_thread::yield();
            logger().removeDestination(probe);
            probe->removed.store(true);
            ++cycles;
        }
    });

    for (std::thread& thread : threads)
        thread.join();
    done.store(true);
    churn.join();

    EXPECT_GT(cycles, 0);
    EXPECT_EQ(probe->lateCalls.load(), 0);
    EXPECT_EQ(steady->overlaps.load(), 0);
    EXPECT_EQ(steady->outOfOrder, 0);
    EXPECT_EQ(steady->total, threadCount * perThreadCount);
}

namespace {

// Logs from inside its own write(), as a destination reporting its own
// trouble through the logger would.
class ChattyDestination : public Destination
{
public:
    void write(const QString& message, Level) override
    {
        received << message;
        QLOG_ERROR() << "trouble while writing" << message;
    }
    bool isValid() override { return true; }

    QStringList received;
};

// Takes itself off the logger on the first message it receives.
class OneShotDestination : public Destination
{
public:
    void write(const QString& message, Level) override
    {
        received << message;
        Logger::instance().removeDestination(self.toStrongRef());
    }
    bool isValid() override { return true; }

    QWeakPointer<Destination> self;
    QStringList received;
};

} // namespace

TEST_F(LoggerTest, LoggingFromInsideADestinationIsDroppedInsteadOfRecursing)
{
    auto chatty = addDestination<ChattyDestination>();
    addRecorder("B");

    QLOG_INFO() << "hello";

    EXPECT_EQ(chatty->received, QStringList{"hello"});
    EXPECT_EQ(messages(), QStringList{"hello"});
}

TEST_F(LoggerTest, DestinationCanRemoveItselfWhileWriting)
{
    auto oneShot = addDestination<OneShotDestination>();
    oneShot->self = oneShot.template staticCast<Destination>().toWeakRef();
    addRecorder("B");

    logger().write("first", InfoLevel);
    logger().write("second", InfoLevel);

    EXPECT_EQ(oneShot->received, QStringList{"first"});
    EXPECT_EQ(messages(), (QStringList{"first", "second"}));
}
