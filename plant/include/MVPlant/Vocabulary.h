/*
 * Vocabulary.h: the numbers a plant and every client of it agree on: the
 * point id ranges, the routings that pick a point's record by its id, and
 * the object types of the name-index records.
 *
 * Each number is written here once; the plant loader, the operator library
 * (MVShared) and the tools take them from here. Everything is constexpr, so
 * using the vocabulary needs this header only, not the library.
 */
#ifndef MVPLANT_VOCABULARY_H
#define MVPLANT_VOCABULARY_H

#include <cstdint>
#include <limits>

namespace MVPlant {

/* ---- Point ids ---------------------------------------------------------------
 *
 * A point's kind is told by its id alone, in every record name and on every
 * operator station: 100001..200000 status points, 200001..3000000 analog
 * points, above 3000000 text points. */
constexpr std::int32_t kStatusFirst = 100001;
constexpr std::int32_t kStatusLast = 200000;
constexpr std::int32_t kAnalogFirst = kStatusLast + 1;
constexpr std::int32_t kAnalogLast = 3000000;
constexpr std::int32_t kTextFirst = kAnalogLast + 1;
constexpr std::int32_t kTextLast = std::numeric_limits<std::int32_t>::max();

enum class PointKind { Status, Analog, Text };

/* The classifiers: exactly the ranges above. */
constexpr bool isStatusId(std::int64_t id)
{
    return id >= kStatusFirst && id <= kStatusLast;
}

constexpr bool isAnalogId(std::int64_t id)
{
    return id >= kAnalogFirst && id <= kAnalogLast;
}

constexpr bool isTextId(std::int64_t id)
{
    return id >= kTextFirst;
}

/* The read routing of the operator library: one below the classifiers'
 * bounds, so 200000 is read as an analog record and 3000000 as a text
 * record. Stations of every release read so, and it stays. */
constexpr PointKind readKindOf(std::int64_t id)
{
    if (id >= kAnalogFirst - 1 && id <= kAnalogLast - 1)
        return PointKind::Analog;
    if (id < kAnalogFirst - 1)
        return PointKind::Status;
    return PointKind::Text;
}

/* The write routing of the operator library: analog from the classifier's
 * first analog id to one below its last, status below the last status id,
 * and text for the rest, 200000 itself included ("TEXT200000"). It differs
 * from the read routing on purpose: stations of every release write so. */
constexpr PointKind writeKindOf(std::int64_t id)
{
    if (id >= kAnalogFirst && id <= kAnalogLast - 1)
        return PointKind::Analog;
    if (id < kStatusLast)
        return PointKind::Status;
    return PointKind::Text;
}

/* ---- Object types of the name-index records ----------------------------------
 *
 * A name-index record ("<point name>", "@R::<device>", "@C::<channel>",
 * "@::<object>") carries the object's id and one of these. */
constexpr std::int32_t kStatusObject = 0;
constexpr std::int32_t kAnalogObject = 1;
constexpr std::int32_t kRemoteUnitObject = 2;
constexpr std::int32_t kChannelObject = 3;
constexpr std::int32_t kTextObject = 5;
constexpr std::int32_t kCalculatedObject = 6;   /* a point the server computes */
constexpr std::int32_t kOtherObject = 7;        /* stations and every other "@::" object */

} // namespace MVPlant

#endif
