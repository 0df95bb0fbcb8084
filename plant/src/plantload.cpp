/*
 * plantload.cpp: loading a plant file into the connected server (LoadPlant):
 * read and check the whole file, build every record, then write them all in
 * one PutDataPoints batch, so that a bad file writes nothing.
 */
#include "planterror.h"
#include "plantreader.h"
#include "plantrecords.h"

#include <ctime>

namespace {

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
        const int rc = DravoPlus::PutDataPoints(records, nullptr, nullptr);
        if (rc != 0)
            detail::fail("the plant could not be written: " + detail::resultText(rc), rc);
        if (summary)
            *summary = summaryOf(plant, records.size());
    });
}
