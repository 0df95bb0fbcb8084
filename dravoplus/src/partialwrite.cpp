/*
 * partialwrite.cpp: the rules of a partial write and of a batch of them
 * (partialwrite.h), shared by the embedded server, the Redis backend and
 * DravoPartialData::ApplyTo.
 */
#include "partialwrite.h"

#include "fieldcodec.h"

namespace dravo {

int fieldPatches(const DravoPartialData& partial, const DravoRecordType& type, std::vector<FieldPatch>& out)
{
    out.clear();
    out.reserve(partial.fields().size());
    for (const DravoPartialData::Field& field : partial.fields()) {
        const DravoFieldDef* def = type.find(field.name.c_str());
        if (!def)
            return DRAVO_UNKNOWN_FIELD;
        if (!def->isFixed())
            return DRAVO_WRONG_KIND;
        FieldPatch patch;
        patch.offset = def->offset;
        DravoFieldKind stored = DravoKindNone;
        if (const int rc = encodeField(*def, field.kind, field.bytes.data(), field.bytes.size(), patch.bytes, stored))
            return rc;
        out.push_back(std::move(patch));
    }
    return DRAVO_OK;
}

int checkBatch(const std::vector<std::string>& names, const std::vector<const DravoPartialData*>& partials)
{
    if (names.size() != partials.size())
        return DRAVO_BAD_ARGUMENT;
    for (std::size_t i = 0; i < names.size(); ++i)
        if (!partials[i] || names[i].empty())
            return DRAVO_BAD_ARGUMENT;
    return DRAVO_OK;
}

int applyBatch(const std::vector<std::string>& names, const std::vector<const DravoPartialData*>& partials,
               const StoredRecord& stored, AppliedBatch& batch)
{
    batch = AppliedBatch();
    if (const int rc = checkBatch(names, partials))
        return rc;
    batch.results.reserve(names.size());
    for (std::size_t i = 0; i < names.size(); ++i) {
        DravoData updated;
        const auto previous = batch.latest.find(names[i]);
        int rc = DRAVO_OK;
        if (previous != batch.latest.end())
            updated = batch.results[previous->second];
        else
            rc = stored(names[i], updated);
        if (rc == DRAVO_OK)
            rc = partials[i]->ApplyTo(updated);
        if (rc != DRAVO_OK) {
            batch = AppliedBatch();
            return rc;
        }
        batch.results.push_back(std::move(updated));
        batch.latest[names[i]] = batch.results.size() - 1;
    }
    return DRAVO_OK;
}

} // namespace dravo
