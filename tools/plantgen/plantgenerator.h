/*
 * plantgenerator.h: a made-up plant of any size up to a million points, for
 * measuring how loading, reading and name resolution scale.
 *
 * The plant is built the way the sample plant is: stations, each with four
 * channels (IEC104 A and B, DNP3, ModbusTCP) polling four RTUs apiece, and
 * every RTU reporting bays of status, analog and text points with their
 * limits, ranges and descriptions. The mix is the same at every size, so
 * that the cost per point of a small plant and of a large one compare:
 * a tenth status points (their id range holds 100,000, a tenth of the
 * largest plant), a twentieth text points, the rest analog.
 *
 * The same number of points always gives the same plant: nothing depends on
 * the time, the machine or a random seed.
 */
#ifndef PLANTGEN_PLANTGENERATOR_H
#define PLANTGEN_PLANTGENERATOR_H

#include <MVPlant/Plant.h>

#include <string>

namespace plantgen {

/* The largest plant: its status points fill the status id range. */
constexpr int kMaxPoints = 1000000;

/* How many points of each kind a plant of points has, and over how many
 * RTUs, channels and stations they are spread. */
struct PlantShape {
    int statusPoints = 0;
    int analogPoints = 0;
    int textPoints = 0;
    int remoteUnits = 0;
    int channels = 0;
    int stations = 0;
};

/* points must lie in 1..kMaxPoints. */
PlantShape shapeOf(int points);

/* The plant of that many points, ready to write. False, with plant empty and
 * error saying why, when points lies outside 1..kMaxPoints. */
bool generatePlant(int points, MVPlant::Plant& plant, std::string* error);

} // namespace plantgen

#endif
