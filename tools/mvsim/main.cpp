/*
 * main.cpp: mvsim, the plant simulator.
 *
 * mvsim plays the runtime server of a plant so that operator applications
 * can be developed and demonstrated without a site. `mvsim --demo` is the
 * main job: it connects to the runtime server (the embedded one unless
 * --servers names another), loads a plant file (the sample plant by default)
 * and then reads the plant back the way an operator client does — by name
 * through the name-index records, several points in one batch read, every
 * channel by type. Then the plant comes alive (the change concentrator, a
 * simulated driver per driver number, a field changing --rate points a
 * second) and an operator session runs through MVShared while the changes
 * stream (operatorsession.cpp), with a progress line every second. It ends
 * with a summary table in which every check says PASSED or FAILED.
 *
 * `mvsim --serve <seconds>` plays the plant for other processes: it loads the
 * plant, runs the change concentrator, the simulated field drivers and a
 * moving field (--rate changes a second) for that long, lets the last
 * changes drain, and prints what it wrote, packed and answered. Operator
 * stations in other processes reach it through a shared server (--servers
 * redis://...).
 *
 * Exit status: 0 when every check passed (or the plant was served), 1 when
 * the plant could not be loaded or a check failed, 2 for a wrong command
 * line.
 */
#include "operatorsession.h"
#include "plantsimulator.h"
#include "resulttext.h"

#include <DravoPlus/DravoPlus.h>
#include <MVPlant/Plant.h>

#include <QCommandLineParser>
#include <QCoreApplication>
#include <QElapsedTimer>
#include <QFile>
#include <QString>
#include <QStringList>
#include <QTextStream>
#include <QVector>

#include <chrono>
#include <cstdio>
#include <cstring>
#include <string>
#include <thread>
#include <vector>

namespace {

/* Points read back by name: this many from the start, middle and end of each
 * kind's list, so that a plant's whole id range is touched. */
constexpr int kPointsPerKind = 3;

QTextStream& out()
{
    static QTextStream stream(stdout);
    return stream;
}

QTextStream& err()
{
    static QTextStream stream(stderr);
    return stream;
}

/* How each kind of object is found by name and read. */
struct ObjectKind {
    const char* label;          /* "status point", "channel", ... */
    const char* indexPrefix;    /* before the name in its name-index record */
    const char* recordPrefix;   /* "STATUS", "COMMLINK", ... */
    int objectType;
};

const ObjectKind kStatusPoint{"status point", "", "STATUS", MVPlant::kStatusObject};
const ObjectKind kAnalogPoint{"analog point", "", "ANALOG", MVPlant::kAnalogObject};
const ObjectKind kTextPoint{"text point", "", "TEXT", MVPlant::kTextObject};
const ObjectKind kChannel{"channel", "@C::", "COMMLINK", MVPlant::kChannelObject};
const ObjectKind kRemoteUnit{"remote unit", "@R::", "REMOTEUNIT", MVPlant::kRemoteUnitObject};

/* One object of the plant that the demo looks up by name, as the plant file
 * gives it. */
struct Lookup {
    const ObjectKind* kind = nullptr;
    int id = 0;
    QString name;

    QString label() const { return QLatin1String(kind->label); }
    QString indexKey() const { return QLatin1String(kind->indexPrefix) + name; }
    std::string dataName() const { return kind->recordPrefix + std::to_string(id); }
};

/* Picks up to kPointsPerKind items spread over a list. */
QVector<int> spreadIndexes(int size)
{
    QVector<int> picked;
    if (size <= 0)
        return picked;
    const int wanted = qMin(size, kPointsPerKind);
    for (int i = 0; i < wanted; ++i) {
        const int index = wanted == 1 ? 0 : static_cast<int>(static_cast<long long>(i) * (size - 1) / (wanted - 1));
        if (picked.isEmpty() || picked.last() != index)
            picked.append(index);
    }
    return picked;
}

template <typename Object>
Lookup lookupOf(const ObjectKind& kind, const Object& o)
{
    return Lookup{&kind, o.id, QString::fromStdString(o.name)};
}

/* The points spread over one kind's list. */
template <typename Point>
void appendSpread(QVector<Lookup>& out, const ObjectKind& kind, const std::vector<Point>& points)
{
    for (int i : spreadIndexes(static_cast<int>(points.size())))
        out.append(lookupOf(kind, points[static_cast<std::size_t>(i)]));
}

template <typename Object>
void appendAll(QVector<Lookup>& out, const ObjectKind& kind, const std::vector<Object>& objects)
{
    for (const Object& o : objects)
        out.append(lookupOf(kind, o));
}

/* The --servers list as it is printed: each address with its password masked. */
QString shownServers(const QString& servers)
{
    QStringList shown;
    for (const std::string& address : DravoPlus::SplitServerList(servers.toUtf8().constData()))
        shown.append(QString::fromStdString(DravoPlus::MaskedAddress(address.c_str())));
    return shown.join(QLatin1Char(','));
}

/* ---- The demo ------------------------------------------------------------- */

using Check = DemoCheck;

class DemoRun
{
public:
    DemoRun(QString plantPath, QString servers, int rate)
        : m_plantPath(std::move(plantPath)), m_shownServers(std::move(servers)), m_rate(rate)
    {
    }

    int run()
    {
        if (!connectToServer() || !loadPlant())
            return 1;
        readPlantFile();
        resolveNames();
        readPointsInOneBatch();
        readAllChannels();
        playOperatorSession();
        printSummary();
        DravoPlus::DisConnectMid(nullptr);
        return allPassed() ? 0 : 1;
    }

private:
    /* Step: reach the runtime server. */
    bool connectToServer()
    {
        const int rc = DravoPlus::ConnectMid(nullptr);
        const char* active = DravoPlus::activeServer(nullptr);
        m_activeServer = active && *active ? QString::fromUtf8(active) : m_shownServers;
        if (rc != 0) {
            err() << "mvsim: cannot connect to the runtime server (" << m_shownServers << "): " << resultText(rc)
                  << Qt::endl;
            return false;
        }
        check(QStringLiteral("connect to the runtime server"), true);
        return true;
    }

    /* Step: load the plant file into the server. */
    bool loadPlant()
    {
        std::string error;
        QElapsedTimer timer;
        timer.start();
        const int rc = MVPlant::LoadPlant(QFile::encodeName(m_plantPath).constData(), &m_summary, &error);
        m_loadMs = static_cast<double>(timer.nsecsElapsed()) / 1.0e6;
        if (rc != 0) {
            err() << "mvsim: the plant cannot be loaded: " << QString::fromStdString(error) << Qt::endl;
            DravoPlus::DisConnectMid(nullptr);
            return false;
        }
        check(QStringLiteral("load the plant"), true);
        return true;
    }

    /* Step: read the plant file itself, for its name and the objects to
     * read back: points from the start, middle and end of each kind, every
     * channel and every remote unit. */
    void readPlantFile()
    {
        std::string error;
        MVPlant::Plant plant;
        const bool ok = MVPlant::ReadPlant(QFile::encodeName(m_plantPath).constData(), plant, &error) == DRAVO_OK;
        check(QStringLiteral("read the plant file's outline"), ok, QString::fromStdString(error));
        m_plantName = QString::fromStdString(plant.name);
        appendSpread(m_points, kStatusPoint, plant.statusPoints);
        appendSpread(m_points, kAnalogPoint, plant.analogPoints);
        appendSpread(m_points, kTextPoint, plant.textPoints);
        appendAll(m_channels, kChannel, plant.channels);
        appendAll(m_remoteUnits, kRemoteUnit, plant.remoteUnits);
    }

    /* Step: find objects by name, as operator clients do: name-index record
     * -> id -> the object's record, whose id and full name must match. */
    void resolveNames()
    {
        for (const QVector<Lookup>* list : {&m_points, &m_channels, &m_remoteUnits}) {
            for (const Lookup& o : *list) {
                ++m_namesTried;
                QString why;
                const bool ok = resolve(o, why);
                if (ok) {
                    ++m_namesResolved;
                    if (list == &m_points)
                        m_resolvedPoints.append(o);
                }
                check(QStringLiteral("resolve %1 '%2' by name").arg(o.label(), o.name), ok, why);
            }
        }
    }

    static bool resolve(const Lookup& o, QString& why)
    {
        DravoData index;
        const QString indexKey = o.indexKey();
        int rc = DravoPlus::GetDataPoint(indexKey.toUtf8().constData(), index, nullptr, nullptr);
        if (rc != 0) {
            why = QStringLiteral("no name-index record '%1': %2").arg(indexKey, resultText(rc));
            return false;
        }
        /* The product reads the id as the raw value's first native int. */
        std::int32_t id = 0;
        if (index.GetBufferSize() < static_cast<int>(sizeof id)) {
            why = QStringLiteral("name-index record '%1' is too short").arg(indexKey);
            return false;
        }
        std::memcpy(&id, index.GetRawValue(), sizeof id);
        const int objectType = index.GetSignedIntValue("objectType");
        if (id != o.id || objectType != o.kind->objectType) {
            why = QStringLiteral("name index gives id %1 type %2, the file says id %3 type %4")
                      .arg(id).arg(objectType).arg(o.id).arg(o.kind->objectType);
            return false;
        }
        DravoData record;
        const std::string name = o.dataName();
        rc = DravoPlus::GetDataPoint(name.c_str(), record, nullptr, nullptr);
        if (rc != 0) {
            why = QStringLiteral("no record %1: %2").arg(QString::fromStdString(name), resultText(rc));
            return false;
        }
        return recordMatches(record, o, why);
    }

    static bool recordMatches(const DravoData& record, const Lookup& o, QString& why)
    {
        std::string fullname;
        record.GetValue("fullname", fullname);
        const int pid = record.GetSignedIntValue("pid");
        if (pid != o.id || QString::fromUtf8(fullname.c_str()) != o.name) {
            why = QStringLiteral("record %1 holds pid %2 '%3'")
                      .arg(QString::fromStdString(o.dataName())).arg(pid).arg(QString::fromUtf8(fullname.c_str()));
            return false;
        }
        return true;
    }

    /* Step: read every resolved point in one GetDataPointN call, with one
     * name that does not exist, which the answer must leave out. */
    void readPointsInOneBatch()
    {
        std::vector<std::string> names;
        for (const Lookup& o : m_resolvedPoints)
            names.push_back(o.dataName());
        const std::size_t absentAt = names.size() / 2;
        names.insert(names.begin() + static_cast<long>(absentAt), "mvsim.no.such.point");

        DravoDataList list;
        const int rc = DravoPlus::GetDataPointN(names, list, nullptr, nullptr);
        QString why;
        bool ok = rc == 0 && list.size() == m_resolvedPoints.size();
        if (rc != 0)
            why = resultText(rc);
        else if (!ok)
            why = QStringLiteral("%1 records came back for %2 existing names").arg(list.size()).arg(m_resolvedPoints.size());
        for (int i = 0; ok && i < list.size(); ++i) {
            const Lookup& o = m_resolvedPoints.at(i);
            ok = list[i].GetDataName() == o.dataName() && recordMatches(list[i], o, why);
            if (!ok && why.isEmpty())
                why = QStringLiteral("record %1 came back as '%2'").arg(i).arg(QString::fromUtf8(list[i].GetDataName()));
        }
        check(QStringLiteral("read %1 points in one GetDataPointN call").arg(m_resolvedPoints.size()), ok, why);
    }

    /* Step: every channel of the file, read by type. */
    void readAllChannels()
    {
        DravoDataList list;
        const int rc = DravoPlus::GetDataPointByTypeName("COMMLINK", list, nullptr, nullptr);
        QString why;
        bool ok = rc == 0;
        if (!ok)
            why = resultText(rc);
        for (const Lookup& o : m_channels) {
            if (!ok)
                break;
            bool found = false;
            for (const DravoData& record : list) {
                QString mismatch;
                if (record.GetDataName() == o.dataName() && recordMatches(record, o, mismatch))
                    found = true;
            }
            if (!found) {
                ok = false;
                why = QStringLiteral("channel '%1' is not among the %2 COMMLINK records").arg(o.name).arg(list.size());
            }
        }
        m_channelsRead = list.size();
        check(QStringLiteral("read every channel with GetDataPointByTypeName(\"COMMLINK\")"), ok, why);
    }

    /* Steps: the plant comes alive (concentrator, drivers, a moving field)
     * and an operator works on it while the changes stream. */
    void playOperatorSession()
    {
        PlantSimulator::Settings settings;
        settings.changesPerSecond = m_rate;
        PlantSimulator simulator(settings);
        QString why;
        const bool started = simulator.start(&why);
        check(QStringLiteral("start the concentrator, %1 drivers and the field").arg(simulator.plant().channels.size()),
              started, why);
        if (!started)
            return;
        out() << "Operator session (the field changes " << m_rate << " points a second)\n";
        OperatorSession session(simulator, out());
        for (const Check& c : session.run())
            m_checks.append(c);
        m_field = simulator.counters();
        m_changesReceived = session.changesReceived();
        m_logFile = session.logFile();
        simulator.stop();
        out() << '\n';
    }

    void check(const QString& name, bool passed, const QString& detail = QString())
    {
        m_checks.append(Check{name, passed, passed ? QString() : detail});
    }

    bool allPassed() const
    {
        for (const Check& c : m_checks) {
            if (!c.passed)
                return false;
        }
        return true;
    }

    void printSummary() const
    {
        const auto row = [](const QString& label, const QString& value) {
            out() << "  " << label.leftJustified(18, QLatin1Char(' ')) << value << '\n';
        };
        out() << "mvsim demo\n";
        row(QStringLiteral("Runtime server"), m_activeServer);
        row(QStringLiteral("Plant"), m_plantName);
        row(QStringLiteral("Plant file"), m_plantPath);
        row(QStringLiteral("Stations"), QString::number(m_summary.stations));
        row(QStringLiteral("Channels"), QString::number(m_summary.channels));
        row(QStringLiteral("Remote units"), QString::number(m_summary.remoteUnits));
        row(QStringLiteral("Status points"), QString::number(m_summary.statusPoints));
        row(QStringLiteral("Analog points"), QString::number(m_summary.analogPoints));
        row(QStringLiteral("Text points"), QString::number(m_summary.textPoints));
        row(QStringLiteral("Records written"), QString::number(m_summary.records));
        row(QStringLiteral("Load time"), QString::number(m_loadMs, 'f', 1) + QStringLiteral(" ms"));
        row(QStringLiteral("Names resolved"), QStringLiteral("%1 of %2").arg(m_namesResolved).arg(m_namesTried));
        row(QStringLiteral("Channels read"), QString::number(m_channelsRead));
        row(QStringLiteral("Field changes"), QString::number(m_field.changesWritten));
        row(QStringLiteral("Changes packed"), QString::number(m_field.changesPacked));
        row(QStringLiteral("Changes received"), QString::number(m_changesReceived));
        row(QStringLiteral("Commands answered"), QString::number(m_field.commandsAnswered));
        row(QStringLiteral("Log file"), m_logFile);
        out() << "\nChecks\n";
        int failed = 0;
        for (const Check& c : m_checks) {
            out() << "  " << (c.passed ? "PASSED  " : "FAILED  ") << c.name;
            if (!c.passed) {
                ++failed;
                out() << ": " << c.detail;
            }
            out() << '\n';
        }
        if (failed == 0)
            out() << "\nAll " << m_checks.size() << " checks PASSED\n";
        else
            out() << '\n' << failed << " of " << m_checks.size() << " checks FAILED\n";
        out().flush();
    }

    QString m_plantPath;
    QString m_shownServers;
    QString m_activeServer;
    MVPlant::PlantSummary m_summary;
    double m_loadMs = 0.0;
    QString m_plantName;
    QVector<Lookup> m_points;        /* spread over each kind */
    QVector<Lookup> m_channels;
    QVector<Lookup> m_remoteUnits;
    QVector<Lookup> m_resolvedPoints;
    int m_namesTried = 0;
    int m_namesResolved = 0;
    int m_channelsRead = 0;
    int m_rate = 0;
    PlantSimulator::Counters m_field;
    long long m_changesReceived = 0;
    QString m_logFile;
    QVector<Check> m_checks;
};

/* Plays the plant for other processes for a while (see the top of the
 * file). */
class ServeRun
{
public:
    ServeRun(QString plantPath, QString servers, int seconds, int rate)
        : m_plantPath(std::move(plantPath)), m_shownServers(std::move(servers)), m_seconds(seconds), m_rate(rate)
    {
    }

    int run()
    {
        const int rc = DravoPlus::ConnectMid(nullptr);
        if (rc != 0) {
            err() << "mvsim: cannot connect to the runtime server (" << m_shownServers << "): " << resultText(rc)
                  << Qt::endl;
            return 1;
        }
        const int status = serve();
        DravoPlus::DisConnectMid(nullptr);
        return status;
    }

private:
    int serve()
    {
        PlantSimulator::Settings settings;
        settings.plantPath = m_plantPath;
        settings.changesPerSecond = m_rate;
        PlantSimulator plant(settings);
        QString why;
        if (!plant.start(&why)) {
            err() << "mvsim: the plant cannot be served: " << why << Qt::endl;
            return 1;
        }
        const char* active = DravoPlus::activeServer(nullptr);
        out() << "Serving " << m_plantPath << " on " << (active ? active : "") << " for " << m_seconds << " s"
              << Qt::endl;
        std::this_thread::sleep_for(std::chrono::seconds(m_seconds));
        plant.setChangesPerSecond(0);
        drain(plant);
        /* Read before stopping: the drivers count their answers. */
        const PlantSimulator::Counters counters = plant.counters();
        plant.stop();
        printCounters(counters);
        return 0;
    }

    /* Waits until the concentrator has packed every change written (by the
     * field and by the drivers' commands), or until it stops moving. */
    static void drain(const PlantSimulator& plant)
    {
        constexpr auto kQuiet = std::chrono::seconds(2);
        long long packed = plant.counters().changesPacked;
        auto lastMove = std::chrono::steady_clock::now();
        while (std::chrono::steady_clock::now() - lastMove < kQuiet) {
            std::this_thread::sleep_for(std::chrono::milliseconds(50));
            const long long now = plant.counters().changesPacked;
            if (now != packed) {
                packed = now;
                lastMove = std::chrono::steady_clock::now();
            }
        }
    }

    static void printCounters(const PlantSimulator::Counters& counters)
    {
        out() << "Changes written   " << counters.changesWritten << '\n'
              << "Write failures    " << counters.writeFailures << '\n'
              << "Changes packed    " << counters.changesPacked << '\n'
              << "Losses reported   " << counters.lossesReported << '\n'
              << "Commands answered " << counters.commandsAnswered << '\n';
        out().flush();
    }

    QString m_plantPath;
    QString m_shownServers;
    int m_seconds;
    int m_rate;
};

void printUsageError(const QCommandLineParser& parser, const QString& message)
{
    err() << "mvsim: " << message << "\n\n" << parser.helpText();
    err().flush();
}

} // namespace

int main(int argc, char* argv[])
{
    QCoreApplication app(argc, argv);
    QCoreApplication::setApplicationName(QStringLiteral("mvsim"));

    QCommandLineParser parser;
    parser.setApplicationDescription(
        QStringLiteral("Plant simulator: plays the runtime server of a plant.\n"
                       "--demo loads a plant and reads it back by name, by batch and by type."));
    const QCommandLineOption helpOption = parser.addHelpOption();
    const QCommandLineOption demoOption(QStringLiteral("demo"),
                                        QStringLiteral("Run the demonstration on the runtime server."));
    const QCommandLineOption plantOption(QStringLiteral("plant"),
                                         QStringLiteral("Plant file to load (default: the sample plant)."),
                                         QStringLiteral("path"));
    const QCommandLineOption serversOption(
        QStringLiteral("servers"),
        QStringLiteral("Runtime server addresses, comma separated (default: embedded, the server inside mvsim)."),
        QStringLiteral("addresses"), QStringLiteral("embedded"));
    const QCommandLineOption serveOption(QStringLiteral("serve"),
                                         QStringLiteral("Serve the plant to other processes for this many seconds."),
                                         QStringLiteral("seconds"));
    const QCommandLineOption rateOption(QStringLiteral("rate"),
                                        QStringLiteral("Field changes a second (default: 100)."),
                                        QStringLiteral("changes"), QStringLiteral("100"));
    parser.addOption(demoOption);
    parser.addOption(serveOption);
    parser.addOption(rateOption);
    parser.addOption(plantOption);
    parser.addOption(serversOption);

    if (!parser.parse(QCoreApplication::arguments())) {
        printUsageError(parser, parser.errorText());
        return 2;
    }
    if (parser.isSet(helpOption) || parser.isSet(QStringLiteral("help-all"))) {
        out() << parser.helpText();
        out().flush();
        return 0;
    }
    if (!parser.positionalArguments().isEmpty()) {
        printUsageError(parser, QStringLiteral("unexpected argument '%1'").arg(parser.positionalArguments().first()));
        return 2;
    }
    if (parser.isSet(demoOption) == parser.isSet(serveOption)) {
        printUsageError(parser, parser.isSet(demoOption) ? QStringLiteral("give either --demo or --serve")
                                                         : QStringLiteral("nothing to do: give --demo"));
        return 2;
    }
    bool secondsOk = true;
    bool rateOk = true;
    const int seconds = parser.value(serveOption).toInt(&secondsOk);
    const int rate = parser.value(rateOption).toInt(&rateOk);
    if ((parser.isSet(serveOption) && (!secondsOk || seconds < 0)) || !rateOk || rate < 0) {
        printUsageError(parser, QStringLiteral("--serve and --rate take a number of 0 or more"));
        return 2;
    }

    /* The address list overrides the settings file for this process only. */
    const QString servers = parser.value(serversOption);
    qputenv("DRAVO_SERVERS", servers.toUtf8());

    const QString plant = parser.isSet(plantOption) ? parser.value(plantOption) : PlantIndex::samplePlantPath();
    if (parser.isSet(serveOption))
        return ServeRun(plant, shownServers(servers), seconds, rate).run();
    return DemoRun(plant, shownServers(servers), rate).run();
}
