/*
 * plantreader.h: checking a parsed plant file and taking it into a Plant.
 */
#ifndef MVPLANT_PLANTREADER_H
#define MVPLANT_PLANTREADER_H

#include <MVPlant/Plant.h>

#include <string>

namespace MVPlant::detail {

/* Reads, parses and checks the file; throws a PlantError at the first
 * problem. */
Plant readPlantFile(const std::string& path);

} // namespace MVPlant::detail

#endif
