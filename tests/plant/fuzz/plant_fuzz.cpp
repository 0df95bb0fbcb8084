/*
 * plant_fuzz.cpp: the libFuzzer entry point for the plant file reader
 * (MVPlant::ReadPlant on a file in memory), and the records a plant that
 * reads would write (MVPlant::PlantRecords). Nothing reaches a server. A
 * file is either read or refused with a reason and an empty plant.
 */
#include <MVPlant/Plant.h>

#include <DravoPlus/DravoPlus.h>

#include <memoryfile.h>

#include <cstdint>
#include <cstdlib>

namespace {

MemoryFile* plantFile = nullptr;

bool isEmpty(const MVPlant::Plant& plant)
{
    return plant.stations.empty() && plant.channels.empty() && plant.remoteUnits.empty()
        && plant.statusPoints.empty() && plant.analogPoints.empty() && plant.textPoints.empty();
}

} // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***)
{
    plantFile = new MemoryFile; // kept for the life of the process
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    plantFile->assign(data, size);
    MVPlant::Plant plant;
    std::string error;
    if (MVPlant::ReadPlant(plantFile->path().c_str(), plant, &error) != DRAVO_OK) {
        if (error.empty() || !isEmpty(plant))
            std::abort();
        return 0;
    }
    std::vector<DravoData> records;
    if (MVPlant::PlantRecords(plant, 1700000000u, records, &error) != DRAVO_OK && !records.empty())
        std::abort();
    return 0;
}
