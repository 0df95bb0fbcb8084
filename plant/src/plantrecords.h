/*
 * plantrecords.h: building the records a plant writes.
 */
#ifndef MVPLANT_PLANTRECORDS_H
#define MVPLANT_PLANTRECORDS_H

#include <MVPlant/Plant.h>

namespace MVPlant::detail {

/* Fills records (emptied first) in the order they are written; throws a
 * PlantError at the first record that cannot be built. */
void buildRecords(const Plant& plant, std::uint32_t loadTime, std::vector<DravoData>& records);

} // namespace MVPlant::detail

#endif
