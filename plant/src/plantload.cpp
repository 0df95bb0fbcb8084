/*
 * plantload.cpp: loading a plant file into the connected server (LoadPlant):
 * read and check the whole file and build every record before the first
 * write, so that a bad file writes nothing; then write them in batches.
 */
#include "planterror.h"
#include "plantreader.h"
#include "plantrecords.h"

#include <algorithm>
#include <ctime>
#include <string>

namespace {

namespace detail = MVPlant::detail;

/* Records per PutDataPoints. A Redis server stores one batch in one script
 * and answers nobody else meanwhile: a whole plant of a million points in
 * one would keep it busy for tens of seconds, and every client, this one
 * included, would take the server for gone. A batch of this size takes it
 * a fraction of a second. */
constexpr std::size_t kRecordsPerBatch = 10000;

/* Writes the records batch by batch, in order, so that the plant's marker,
 * which comes last, is written only with everything before it. */
void writeInBatches(const std::vector<DravoData>& records)
{
    for (std::size_t from = 0; from < records.size(); from += kRecordsPerBatch) {
        const std::size_t to = std::min(records.size(), from + kRecordsPerBatch);
        const auto first = records.begin() + static_cast<std::ptrdiff_t>(from);
        const auto last = records.begin() + static_cast<std::ptrdiff_t>(to);
        const int rc = DravoPlus::PutDataPoints(std::vector<DravoData>(first, last), nullptr, nullptr);
        if (rc == 0)
            continue;
        if (from == 0)
            detail::fail("the plant could not be written: " + detail::resultText(rc), rc);
        detail::fail("the plant was written only in part, " + std::to_string(from) + " of " +
                         std::to_string(records.size()) + " records: " + detail::resultText(rc),
                     rc);
    }
}

MVPlant::PlantSummary summaryOf(const MVPlant::Plant& plant, std::size_t records)
{
    MVPlant::PlantSummary summary;
    summary.stations = static_cast<int>(plant.stations.size());
    summary.channels = static_cast<int>(plant.channels.size());
    summary.remoteUnits = static_cast<int>(plant.remoteUnits.size());
    summary.statusPoints = static_cast<int>(plant.statusPoints.size());
    summary.analogPoints = static_cast<int>(plant.analogPoints.size());
    summary.textPoints = static_cast<int>(plant.textPoints.size());
    summary.records = static_cast<int>(records);
    return summary;
}

} // namespace

int MVPlant::LoadPlant(const char* path, PlantSummary* summary, std::string* error)
{
    if (summary)
        *summary = PlantSummary();
    return detail::runGuarded(path, error, [&](const std::string& file) {
        const Plant plant = detail::readPlantFile(file);
        std::vector<DravoData> records;
        detail::buildRecords(plant, static_cast<std::uint32_t>(std::time(nullptr)), records);
        writeInBatches(records);
        if (summary)
            *summary = summaryOf(plant, records.size());
    });
}
