/*
 * plantwriter.h: writing a plant (MVPlant::Plant) as the plant file that
 * MVPlant::ReadPlant and LoadPlant read.
 *
 * Members that hold their default (a zero tag, an empty description, a
 * point that scans and alarms) are left out, as an engineer writing the
 * file by hand would leave them out; reading the file back gives the same
 * plant. The text is compact JSON, written as it is made, so a plant of a
 * million points never sits in memory as text.
 */
#ifndef PLANTGEN_PLANTWRITER_H
#define PLANTGEN_PLANTWRITER_H

#include <MVPlant/Plant.h>

#include <string>

namespace plantgen {

/* Writes the plant to the file at path, replacing it. False, with error
 * naming the file and the problem, when the file cannot be written or a
 * number of the plant has no JSON form (not finite). */
bool writePlantFile(const MVPlant::Plant& plant, const std::string& path, std::string* error);

} // namespace plantgen

#endif
