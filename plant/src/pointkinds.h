/*
 * pointkinds.h: what the three point kinds of a plant differ in besides
 * their own members: where the file lists them, how messages name them,
 * their record type, name-index object type and id range.
 */
#ifndef MVPLANT_POINTKINDS_H
#define MVPLANT_POINTKINDS_H

#include <MVPlant/Plant.h>

#include <cstdint>

namespace MVPlant::detail {

struct PointKindInfo {
    const char* member;       /* under "points" */
    const char* label;        /* in messages */
    const char* recordType;
    std::int32_t objectType;  /* in the name-index record */
    std::int64_t first;
    std::int64_t last;
    const char* rangeLabel;
};

inline constexpr PointKindInfo kStatusKind{"status", "status point", "STATUS", kStatusObject,
                                           kStatusFirst, kStatusLast, "the status range"};
inline constexpr PointKindInfo kAnalogKind{"analog", "analog point", "ANALOG", kAnalogObject,
                                           kAnalogFirst, kAnalogLast, "the analog range"};
inline constexpr PointKindInfo kTextKind{"text", "text point", "TEXT", kTextObject,
                                         kTextFirst, kTextLast, "the text range"};

inline const PointKindInfo& kindOf(const StatusPoint&) { return kStatusKind; }
inline const PointKindInfo& kindOf(const AnalogPoint&) { return kAnalogKind; }
inline const PointKindInfo& kindOf(const TextPoint&) { return kTextKind; }

} // namespace MVPlant::detail

#endif
