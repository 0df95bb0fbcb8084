/*
 * main.cpp: mvbench runs the benchmarks with Google Benchmark's console
 * output, then prints each measurement beside its baseline from the same
 * run with their ratio. Google Benchmark's own flags apply
 * (--benchmark_filter=..., --benchmark_min_time=...), and --servers=<address>
 * runs them against another runtime server than the embedded one (a
 * redis:// address also enables the Redis baselines), all but the rows of
 * the change distribution's own work, which stay on the embedded server.
 */
#include "benchcontext.h"

#include <DravoPlus/DravoPlus.h>
#include <MVPlant/Plant.h>

#include <QtCore/QCoreApplication>
#include <QtCore/QFile>
#include <QtCore/QTemporaryDir>

#include <benchmark/benchmark.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <map>
#include <set>
#include <string>
#include <vector>

namespace {

struct Pair {
    std::string measured;
    std::string baseline;
    std::string meaning;
    std::string per;
};

std::vector<Pair>& pairs()
{
    static std::vector<Pair> p;
    return p;
}

struct Result {
    double realNs = 0;
    std::map<std::string, double> counters;
};

/* The console output as usual, and every run kept for the summary. */
class SummaryReporter : public benchmark::ConsoleReporter
{
public:
    void ReportRuns(const std::vector<Run>& runs) override
    {
        ConsoleReporter::ReportRuns(runs);
        for (const Run& run : runs) {
            if (run.error_occurred || run.run_type != Run::RT_Iteration)
                continue;
            Result r;
            r.realNs = run.GetAdjustedRealTime() * benchmark::GetTimeUnitMultiplier(benchmark::kNanosecond)
                       / benchmark::GetTimeUnitMultiplier(run.time_unit);
            for (const auto& [name, counter] : run.counters)
                r.counters[name] = counter.value;
            m_results[run.run_name.function_name] = r;
        }
    }

    void printSummary() const
    {
        std::printf("\n%-40s %14s %14s %9s  %s\n", "measurement", "time", "baseline", "ratio", "meaning");
        for (const Pair& p : pairs()) {
            const auto m = m_results.find(p.measured);
            const auto b = m_results.find(p.baseline);
            if (m == m_results.end() || b == m_results.end())
                continue;
            const double measuredNs = m->second.realNs / divisor(m->second, p.per);
            const double baselineNs = b->second.realNs / divisor(b->second, p.per);
            std::printf("%-40s %11.*f us %11.*f us %9.2f  %s\n", p.measured.c_str(), p.per.empty() ? 1 : 3,
                        measuredNs / 1000.0, p.per.empty() ? 1 : 3, baselineNs / 1000.0, measuredNs / baselineNs,
                        p.meaning.c_str());
            for (const auto& [name, value] : m->second.counters) {
                const auto other = b->second.counters.find(name);
                if (other != b->second.counters.end())
                    std::printf("%-40s %14.0f %14.0f %9.2f  %s of the measurement / of the baseline\n",
                                ("  " + name).c_str(), value, other->second, value / other->second, name.c_str());
            }
        }
    }

private:
    /* The value of the counter that per names; 1 without one. */
    static double divisor(const Result& r, const std::string& per)
    {
        const auto counter = r.counters.find(per);
        return per.empty() || counter == r.counters.end() || counter->second <= 0 ? 1.0 : counter->second;
    }

    std::map<std::string, Result> m_results;
};

} // namespace

void mvbench::pairWithBaseline(const std::string& measured, const std::string& baseline, const std::string& meaning,
                               const std::string& per)
{
    pairs().push_back({measured, baseline, meaning, per});
}

namespace {

/* The addresses --servers gave ("embedded" by default). */
std::string& givenServers()
{
    static std::string servers = "embedded";
    return servers;
}

/* Moves the process to the server of those addresses, if it is on another,
 * and loads the sample plant there the first time. The setting is the
 * process's own (a settings file in a temporary folder, see main), so a
 * switch leaves the user's settings alone. */
void ensurePlantOn(const std::string& servers)
{
    static std::string current;
    static std::set<std::string> withPlant;
    if (current != servers) {
        if (!current.empty())
            DravoPlus::DisConnectMid(nullptr);
        const std::vector<std::string> addresses = DravoPlus::SplitServerList(servers.c_str());
        if (addresses.empty()
            || DravoPlus::updateServerSetting(nullptr, addresses[0].c_str(),
                                              addresses.size() > 1 ? addresses[1].c_str() : nullptr)
                   != DRAVO_OK) {
            std::fprintf(stderr, "mvbench: cannot use the server setting '%s'\n", servers.c_str());
            std::exit(1);
        }
        current = servers;
    }
    if (DravoPlus::IsConnect(nullptr) != DRAVO_OK && DravoPlus::ConnectMid(nullptr) != DRAVO_OK) {
        std::fprintf(stderr, "mvbench: cannot connect to the runtime server\n");
        std::exit(1);
    }
    if (withPlant.insert(servers).second)
        mvbench::reloadPlant();
}

} // namespace

void mvbench::ensurePlant()
{
    ensurePlantOn(givenServers());
}

void mvbench::ensureEmbeddedPlant()
{
    ensurePlantOn("embedded");
}

/* The sample plant: the copy installed beside this program
 * (bin/../share/dravoplus/examples, as the packages lay it out), else the
 * source tree's, which a build tree runs with. */
static std::string samplePlantPath()
{
    std::error_code ec;
    const std::filesystem::path program = std::filesystem::read_symlink("/proc/self/exe", ec);
    if (!ec) {
        const std::filesystem::path installed =
            program.parent_path().parent_path() / "share/dravoplus/examples/plant.json";
        if (std::filesystem::exists(installed, ec))
            return installed.string();
    }
    return MV_SAMPLE_PLANT;
}

void mvbench::reloadPlant()
{
    std::string error;
    if (MVPlant::LoadPlant(samplePlantPath().c_str(), nullptr, &error) != DRAVO_OK) {
        std::fprintf(stderr, "mvbench: cannot load the sample plant: %s\n", error.c_str());
        std::exit(1);
    }
}

double mvbench::residentMb(const char* field)
{
    QFile status(QStringLiteral("/proc/self/status"));
    if (!status.open(QIODevice::ReadOnly))
        return -1;
    const QByteArray key = QByteArray(field) + ':';
    for (QByteArray line = status.readLine(); !line.isEmpty(); line = status.readLine()) {
        if (line.startsWith(key))
            return line.mid(key.size()).trimmed().split(' ').value(0).toDouble() / 1024.0;
    }
    return -1;
}

mvbench::NewBoxes::NewBoxes()
{
    std::vector<DravoEventBoxInfo> boxes;
    DravoPlus::ListEventBoxes(boxes, nullptr);
    for (const DravoEventBoxInfo& box : boxes)
        m_before.insert(box.name);
}

mvbench::NewBoxes::~NewBoxes()
{
    std::vector<DravoEventBoxInfo> boxes;
    DravoPlus::ListEventBoxes(boxes, nullptr);
    for (const DravoEventBoxInfo& box : boxes) {
        if (m_before.count(box.name) == 0)
            DravoPlus::DeleteEventBox(box.name.c_str(), nullptr, nullptr);
    }
}

long mvbench::NewBoxes::queued(int kind) const
{
    std::vector<DravoEventBoxInfo> boxes;
    DravoPlus::ListEventBoxes(boxes, nullptr);
    long queued = 0;
    for (const DravoEventBoxInfo& box : boxes) {
        if (box.kind == kind && m_before.count(box.name) == 0)
            queued += box.queued;
    }
    return queued;
}

/* Takes "--servers=<addresses>" out of the arguments (Google Benchmark
 * refuses flags it does not know); the embedded server when it is absent. */
std::string takeServers(int& argc, char** argv)
{
    const std::string flag = "--servers=";
    std::string servers = "embedded";
    int kept = 0;
    for (int i = 0; i < argc; ++i) {
        if (std::string(argv[i]).compare(0, flag.size(), flag) == 0)
            servers = argv[i] + flag.size();
        else
            argv[kept++] = argv[i];
    }
    argc = kept;
    return servers;
}

int main(int argc, char** argv)
{
    /* The benchmarks run on the server of --servers whatever the user's
     * setting, the embedded one by default. */
    givenServers() = takeServers(argc, argv);
    setenv("DRAVO_SERVERS", givenServers().c_str(), 1);
    /* Rows move the process between the embedded server and the given one;
     * the setting that says which lives in a settings file of its own. */
    QTemporaryDir settingsFolder;
    if (!settingsFolder.isValid()) {
        std::fprintf(stderr, "mvbench: no temporary folder for the server setting\n");
        return 1;
    }
    setenv("DRAVO_SETTINGS", settingsFolder.filePath(QStringLiteral("servers.conf")).toLocal8Bit().constData(), 1);
    QCoreApplication app(argc, argv);
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv))
        return 2;
    mvbench::registerPlantBenchmarks();
    SummaryReporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    mvbench::removePlantBenchmarkData();
    reporter.printSummary();
    benchmark::Shutdown();
    return 0;
}
