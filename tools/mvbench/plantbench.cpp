/*
 * plantbench.cpp: how the point database scales with the size of the plant.
 *
 *   batch read       BM_GetDataPointN100k: GetDataPointN of the 100,000
 *                    point records of the 100,000-point plant, with rss_mb
 *                    taken while the records are held;
 *   name cache       BM_PointNameCacheHit100k: ScadaRuntimeInterface's
 *                    pointIdWithName of a name it has resolved before, with
 *                    every name of that plant in its cache; baseline
 *                    BM_PointNameCacheMiss100k: names it has not seen, each
 *                    asked of the server;
 *   load             BM_LoadPlant/<points>: LoadPlant of a generated plant
 *                    file of 10,000, 100,000 and 1,000,000 points into a
 *                    server that holds the sample plant; counters: points,
 *                    us_per_point, rss_mb (the process's resident memory
 *                    after the load), rss_before_mb, and rss_trimmed_mb (after
 *                    the allocator gave its free pages back: what the loaded
 *                    plant itself holds). The largest plant is compared with
 *                    the smallest per point.
 *
 * The read rows run first, before the process has held a larger plant.
 * On a Redis server (--servers=redis://...) the rows are named with
 * "Redis" after the row's name (BM_LoadPlantRedis/<points>, ...), so runs
 * on both servers can be put side by side; rss_mb is then this client's
 * memory, the records living in Redis.
 *
 * Plant files are generated (plantgen) into a temporary folder at first
 * use; the read rows write the generated plant's records in batches
 * instead. A generated plant stays loaded from one row to the next while
 * they want the same size, and is deleted record by record before another is
 * loaded and after the last row, the sample plant being loaded again so
 * that the server holds what it held before. MVBENCH_PLANT_MAX_POINTS caps
 * every plant size (tests use a small one).
 */
#include "benchcontext.h"

#include "plantgenerator.h"
#include "plantwriter.h"

#include <MVShared/FreeMemory.h>
#include <MVShared/ScadaRuntimeInterface.h>

#include <DravoPlus/DravoPlus.h>
#include <MVPlant/Plant.h>

#include <QtCore/QTemporaryDir>

#include <benchmark/benchmark.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <future>
#include <map>
#include <memory>
#include <string>
#include <thread>
#include <vector>

namespace {

const int kLoadSizes[] = {10000, 100000, 1000000};
constexpr int kReadSize = 100000;
/* Records per PutDataPoints when a plant is written for the read rows. */
constexpr std::size_t kWriteBatch = 10000;
/* Threads that delete a generated plant's records at once. */
constexpr std::size_t kDeleters = 4;
/* How long a server that took a plant too long is waited for. */
constexpr auto kServerBack = std::chrono::minutes(10);

/* ---- Generated plants ---------------------------------------------------------- */

/* The generated plant files of this run, and which generated plant the
 * server holds now (0: none, only the sample plant). */
class GeneratedPlants
{
public:
    static GeneratedPlants& instance()
    {
        static GeneratedPlants plants;
        return plants;
    }

    /* The plant file of that many points, written at first use. */
    bool file(int points, std::string& path, std::string& error)
    {
        const auto known = m_files.find(points);
        if (known != m_files.end()) {
            path = known->second;
            return true;
        }
        if (!m_folder) {
            m_folder = std::make_unique<QTemporaryDir>();
            if (!m_folder->isValid()) {
                error = "no temporary folder for the plant files: " + m_folder->errorString().toStdString();
                m_folder.reset();
                return false;
            }
        }
        path = m_folder->filePath(QStringLiteral("plant%1.json").arg(points)).toStdString();
        MVPlant::Plant plant;
        if (!plantgen::generatePlant(points, plant, &error) || !plantgen::writePlantFile(plant, path, &error))
            return false;
        m_files[points] = path;
        return true;
    }

    /* Makes the server hold the generated plant of that many points, for
     * the rows that read it. Its records go out in batches of
     * kWriteBatch: those rows need the plant in the server, not
     * LoadPlant's single batch, which a Redis server does not take in
     * time at this size (see the load rows). */
    bool hold(int points, std::string& error)
    {
        if (m_loaded == points)
            return true;
        if (!remove(error))
            return false;
        MVPlant::Plant plant;
        std::vector<DravoData> records;
        if (!plantgen::generatePlant(points, plant, &error)
            || MVPlant::PlantRecords(plant, static_cast<std::uint32_t>(std::time(nullptr)), records, &error)
                   != DRAVO_OK)
            return false;
        m_loaded = points;
        for (std::size_t first = 0; first < records.size(); first += kWriteBatch) {
            const auto from = records.begin() + static_cast<std::ptrdiff_t>(first);
            const auto to = records.begin() + static_cast<std::ptrdiff_t>(std::min(records.size(), first + kWriteBatch));
            const int rc = DravoPlus::PutDataPoints(std::vector<DravoData>(from, to), nullptr, nullptr);
            if (rc != DRAVO_OK) {
                error = "cannot write the generated plant of " + std::to_string(points) + " points: code "
                        + std::to_string(rc);
                return false;
            }
        }
        return true;
    }

    /* LoadPlant of the file, which the server must not hold yet. A load
     * that failed may still have written (a Redis server finishes a store
     * whose reply came too late), so its records are removed either way. */
    bool loadFile(int points, const std::string& path, std::string& error)
    {
        m_summary = MVPlant::PlantSummary();
        m_loaded = points;
        return MVPlant::LoadPlant(path.c_str(), &m_summary, &error) == DRAVO_OK;
    }

    const MVPlant::PlantSummary& loaded() const { return m_summary; }

    /* Deletes every record of the generated plant the server holds, then
     * loads the sample plant again, whose records it overwrote. */
    bool remove(std::string& error)
    {
        if (m_loaded == 0)
            return true;
        MVPlant::Plant plant;
        std::vector<DravoData> records;
        if (!plantgen::generatePlant(m_loaded, plant, &error)
            || MVPlant::PlantRecords(plant, 0, records, &error) != DRAVO_OK)
            return false;
        plant = MVPlant::Plant();
        std::vector<std::string> names;
        names.reserve(records.size());
        for (const DravoData& record : records)
            names.push_back(record.GetDataName());
        records = std::vector<DravoData>();
        if (!deleteRecords(names, error))
            return false;
        m_loaded = 0;
        mvbench::reloadPlant();
        Morvane::returnFreeMemory();
        return true;
    }

    /* After the last row: the server as it was, the files gone. */
    void clear()
    {
        std::string error;
        if (!remove(error))
            std::fprintf(stderr, "mvbench: %s\n", error.c_str());
        m_folder.reset();
        m_files.clear();
    }

private:
    /* Deletes the records of those names, but the plant's marker, which the
     * sample plant has too: in a few slices at once, since a Redis server
     * takes one deletion per round trip and a million-point plant has two
     * million records. The first error of a slice ends it; error holds one
     * of them. */
    static bool deleteRecords(const std::vector<std::string>& names, std::string& error)
    {
        const std::size_t slice = (names.size() + kDeleters - 1) / kDeleters;
        std::vector<std::future<std::string>> deleters;
        for (std::size_t first = 0; first < names.size(); first += slice) {
            const std::size_t last = std::min(names.size(), first + slice);
            deleters.push_back(std::async(std::launch::async, [&names, first, last] {
                std::string failure;
                for (std::size_t i = first; i < last; ++i) {
                    if (names[i] != ":marker" && !deleteRecord(names[i], failure))
                        break;
                }
                return failure;
            }));
        }
        bool deleted = true;
        for (auto& deleter : deleters) {
            const std::string failure = deleter.get();
            if (!failure.empty()) {
                error = failure;
                deleted = false;
            }
        }
        return deleted;
    }

    /* A record of the generated plant gone, or never written. While a Redis
     * server still stores a plant whose load gave up on it, it answers
     * nobody and the client counts it lost: the deletion waits for the
     * connection to come back, at most kServerBack. */
    static bool deleteRecord(const std::string& name, std::string& error)
    {
        const auto giveUp = std::chrono::steady_clock::now() + kServerBack;
        for (;;) {
            const int rc = DravoPlus::DeleteDataPoint(name.c_str(), nullptr, nullptr);
            if (rc == DRAVO_OK || rc == DRAVO_NOT_FOUND)
                return true;
            if (rc != DRAVO_NOT_CONNECTED || std::chrono::steady_clock::now() > giveUp) {
                error = "cannot delete " + name + " of the generated plant: code " + std::to_string(rc);
                return false;
            }
            std::this_thread::sleep_for(std::chrono::milliseconds(200));
        }
    }

    std::unique_ptr<QTemporaryDir> m_folder;
    std::map<int, std::string> m_files;
    int m_loaded = 0;
    MVPlant::PlantSummary m_summary;
};

/* The record names of the generated plant's points, status, analog and
 * text, as the plant writes them. */
std::vector<std::string> pointRecordNames(int points, std::string& error)
{
    MVPlant::Plant plant;
    std::vector<DravoData> records;
    std::vector<std::string> names;
    if (!plantgen::generatePlant(points, plant, &error)
        || MVPlant::PlantRecords(plant, 0, records, &error) != DRAVO_OK)
        return names;
    for (const DravoData& record : records) {
        const std::string type = record.GetTypeName();
        if (type == "STATUS" || type == "ANALOG" || type == "TEXT")
            names.push_back(record.GetDataName());
    }
    return names;
}

/* The names operators know the generated plant's points by. */
QList<QString> pointNames(int points, std::string& error)
{
    MVPlant::Plant plant;
    QList<QString> names;
    if (!plantgen::generatePlant(points, plant, &error))
        return names;
    names.reserve(points);
    for (const auto& p : plant.statusPoints)
        names.append(QString::fromStdString(p.name));
    for (const auto& p : plant.analogPoints)
        names.append(QString::fromStdString(p.name));
    for (const auto& p : plant.textPoints)
        names.append(QString::fromStdString(p.name));
    return names;
}

/* ---- Sizes ---------------------------------------------------------------------- */

/* MVBENCH_PLANT_MAX_POINTS, or the largest plant; a value that is no
 * plant size ends the run before anything is measured. */
int maxPoints()
{
    static const int points = [] {
        const char* cap = std::getenv("MVBENCH_PLANT_MAX_POINTS");
        if (!cap || !*cap)
            return plantgen::kMaxPoints;
        char* end = nullptr;
        const long value = std::strtol(cap, &end, 10);
        if (*end != '\0' || value < 1 || value > plantgen::kMaxPoints) {
            std::fprintf(stderr, "mvbench: MVBENCH_PLANT_MAX_POINTS must be a whole number from 1 to %d, not '%s'\n",
                         plantgen::kMaxPoints, cap);
            std::exit(2);
        }
        return static_cast<int>(value);
    }();
    return points;
}

std::vector<int> loadSizes()
{
    std::vector<int> sizes;
    for (int points : kLoadSizes) {
        const int capped = std::min(points, maxPoints());
        if (std::find(sizes.begin(), sizes.end(), capped) == sizes.end())
            sizes.push_back(capped);
    }
    return sizes;
}

int readSize()
{
    return std::min(kReadSize, maxPoints());
}

/* ---- The rows ------------------------------------------------------------------ */

double seconds(std::chrono::steady_clock::time_point from)
{
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - from).count();
}

void loadPlant(benchmark::State& state, int points)
{
    mvbench::ensurePlant();
    GeneratedPlants& plants = GeneratedPlants::instance();
    std::string path, error;
    if (!plants.file(points, path, error)) {
        state.SkipWithError(error.c_str());
        return;
    }
    double loadSeconds = 0, before = 0, after = 0, trimmed = 0;
    for (auto _ : state) {
        state.PauseTiming();
        if (!plants.remove(error)) {
            state.SkipWithError(error.c_str());
            break;
        }
        before = mvbench::residentMb();
        state.ResumeTiming();
        const auto start = std::chrono::steady_clock::now();
        const bool loaded = plants.loadFile(points, path, error);
        loadSeconds += seconds(start);
        state.PauseTiming();
        after = mvbench::residentMb();
        Morvane::returnFreeMemory();
        trimmed = mvbench::residentMb();
        const MVPlant::PlantSummary& summary = plants.loaded();
        if (!loaded || summary.statusPoints + summary.analogPoints + summary.textPoints != points) {
            state.SkipWithError(loaded ? "the plant loaded with another number of points" : error.c_str());
            break;
        }
        state.ResumeTiming();
    }
    if (state.iterations() == 0)
        return;
    state.counters["points"] = points;
    state.counters["us_per_point"] = loadSeconds * 1e6 / (static_cast<double>(state.iterations()) * points);
    state.counters["rss_mb"] = after;
    state.counters["rss_before_mb"] = before;
    state.counters["rss_trimmed_mb"] = trimmed;
}

void getDataPointN(benchmark::State& state, int points)
{
    mvbench::ensurePlant();
    std::string error;
    const std::vector<std::string> names = pointRecordNames(points, error);
    if (names.empty() || !GeneratedPlants::instance().hold(points, error)) {
        state.SkipWithError(error.c_str());
        return;
    }
    double rss = 0;
    for (auto _ : state) {
        DravoDataList records;
        if (DravoPlus::GetDataPointN(names, records, nullptr, nullptr) != DRAVO_OK
            || static_cast<std::size_t>(records.size()) != names.size()) {
            state.SkipWithError("the batch read did not give every point record");
            break;
        }
        state.PauseTiming();
        rss = mvbench::residentMb();
        state.ResumeTiming();
    }
    state.counters["names"] = static_cast<double>(names.size());
    state.counters["rss_mb"] = rss;
    state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(names.size()));
}

/* The point names of the generated plant of that size, with that plant on
 * the server; none, and the row skipped with the reason, when either fails. */
QList<QString> namesOfHeldPlant(benchmark::State& state, int points)
{
    mvbench::ensurePlant();
    std::string error;
    const QList<QString> names = pointNames(points, error);
    if (names.isEmpty() || !GeneratedPlants::instance().hold(points, error)) {
        state.SkipWithError(error.c_str());
        return {};
    }
    return names;
}

/* The interface's name cache holding every point name of the plant, and
 * the same one of them asked for again and again. */
void nameCacheHit(benchmark::State& state, int points)
{
    const QList<QString> names = namesOfHeldPlant(state, points);
    if (names.isEmpty())
        return;
    ScadaRuntimeInterface runtime(QString{});
    const QMap<QString, int> ids = runtime.pointIdsWithName(names);
    const QString& name = names.at(names.size() / 2);
    if (ids.size() != names.size() || ids.value(name) < 1) {
        state.SkipWithError("the plant's names did not all resolve");
        return;
    }
    const int id = ids.value(name);
    for (auto _ : state) {
        if (runtime.pointIdWithName(name) != id) {
            state.SkipWithError("a cached name gave another id");
            break;
        }
    }
    state.counters["cached_names"] = static_cast<double>(ids.size());
}

/* Each name asked once, so each is a request to the server; a fresh
 * interface (an empty cache) when every name has been asked. */
void nameCacheMiss(benchmark::State& state, int points)
{
    const QList<QString> names = namesOfHeldPlant(state, points);
    if (names.isEmpty())
        return;
    auto runtime = std::make_unique<ScadaRuntimeInterface>(QString{});
    int next = 0;
    for (auto _ : state) {
        if (next == names.size()) {
            state.PauseTiming();
            runtime = std::make_unique<ScadaRuntimeInterface>(QString{});
            next = 0;
            state.ResumeTiming();
        }
        if (runtime->pointIdWithName(names.at(next++)) < 1) {
            state.SkipWithError("a point name did not resolve");
            break;
        }
    }
}

/* "Redis" after the rows' names when the server is a Redis one. */
std::string serverSuffix()
{
    const char* servers = std::getenv("DRAVO_SERVERS");
    return servers && std::string(servers).rfind("redis://", 0) == 0 ? "Redis" : "";
}

std::string withSize(const std::string& name, int points)
{
    return name + "/" + std::to_string(points);
}

} // namespace

void mvbench::registerPlantBenchmarks()
{
    const std::string suffix = serverSuffix();
    /* The read rows first, while the process has held no larger plant:
     * their resident memory is then theirs. */
    const int points = readSize();
    benchmark::RegisterBenchmark(("BM_GetDataPointN100k" + suffix).c_str(), getDataPointN, points)
        ->Unit(benchmark::kMillisecond);
    const std::string hit = "BM_PointNameCacheHit100k" + suffix;
    const std::string miss = "BM_PointNameCacheMiss100k" + suffix;
    benchmark::RegisterBenchmark(hit.c_str(), nameCacheHit, points);
    benchmark::RegisterBenchmark(miss.c_str(), nameCacheMiss, points);
    pairWithBaseline(hit, miss, "a point name resolved before (cache) / a new one (server)");

    const std::vector<int> sizes = loadSizes();
    for (int size : sizes) {
        benchmark::RegisterBenchmark(withSize("BM_LoadPlant" + suffix, size).c_str(), loadPlant, size)
            ->Unit(benchmark::kMillisecond);
    }
    if (sizes.size() > 1) {
        pairWithBaseline(withSize("BM_LoadPlant" + suffix, sizes.back()), withSize("BM_LoadPlant" + suffix, sizes.front()),
                         "load per point, " + std::to_string(sizes.back()) + " / " + std::to_string(sizes.front())
                             + " points",
                         "points");
    }
}

void mvbench::removePlantBenchmarkData()
{
    GeneratedPlants::instance().clear();
}
