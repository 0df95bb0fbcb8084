/*
 * partialwrite.h: the rules of a partial write, the same on every backend.
 *
 * A partial record names some fields of a record type; writing it puts each
 * field's bytes at the field's position in the stored record's raw value, the
 * stored record's own type deciding positions and widths. A batch of partials
 * is all or nothing: entries are applied in batch order, two entries for one
 * record build on each other, and the first entry that does not fit (no such
 * record, a field the record's type lacks, a value the field does not take)
 * fails the whole batch with its code. Backends differ only in where the
 * stored records come from and how the results are stored and published.
 */
#ifndef DRAVOPLUS_PARTIALWRITE_H
#define DRAVOPLUS_PARTIALWRITE_H

#include "autotest.h"
#include "dictionary.h"

#include <DravoPlus/DravoPlus.h>

#include <cstddef>
#include <functional>
#include <string>
#include <unordered_map>
#include <vector>

namespace dravo {

/* What one field of a partial puts into a record: bytes at an offset of the
 * raw value. */
struct FieldPatch {
    int offset = 0;
    std::string bytes;
};

/* The patches partial makes to a record of type, in put order; the first
 * field that type lacks, or that does not take its value, gives its code. */
DRAVO_AUTOTEST_EXPORT int fieldPatches(const DravoPartialData& partial, const DravoRecordType& type,
                                       std::vector<FieldPatch>& out);

/* The same patches as spans in offset order that neither overlap nor touch:
 * what applying them in put order writes, where a later field wins over an
 * earlier one that shares bytes with it. A server that applies them with
 * one pass over the record relies on this order. */
DRAVO_AUTOTEST_EXPORT std::vector<FieldPatch> disjointPatches(const std::vector<FieldPatch>& patches);

/* DRAVO_BAD_ARGUMENT unless every entry has a partial and a name for it. */
DRAVO_AUTOTEST_EXPORT int checkBatch(const std::vector<std::string>& names,
                                 const std::vector<const DravoPartialData*>& partials);

/* The stored record of a name, copied into out: DRAVO_OK, DRAVO_NOT_FOUND, or
 * the code of a record that cannot be read. */
using StoredRecord = std::function<int(const std::string& name, DravoData& out)>;

/* A batch applied: each entry's updated record in batch order, and for each
 * record written the index of its newest result. */
struct AppliedBatch {
    std::vector<DravoData> results;
    std::unordered_map<std::string, std::size_t> latest;
};

/* Applies names[i] <- partials[i] in order, reading each record from stored
 * once; on failure batch holds nothing that may be written. */
DRAVO_AUTOTEST_EXPORT int applyBatch(const std::vector<std::string>& names, const std::vector<const DravoPartialData*>& partials,
                                     const StoredRecord& stored, AppliedBatch& batch);

} // namespace dravo

#endif
