/*
 * partialwrite.cpp: the rules of a partial write and of a batch of them
 * (partialwrite.h), shared by the embedded server, the Redis backend and
 * DravoPartialData::ApplyTo.
 */
#include "partialwrite.h"

#include "fieldcodec.h"

#include <algorithm>

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

std::vector<FieldPatch> disjointPatches(const std::vector<FieldPatch>& patches)
{
    std::vector<const FieldPatch*> byOffset;
    byOffset.reserve(patches.size());
    for (const FieldPatch& patch : patches)
        if (!patch.bytes.empty())
            byOffset.push_back(&patch);
    std::stable_sort(byOffset.begin(), byOffset.end(),
                     [](const FieldPatch* a, const FieldPatch* b) { return a->offset < b->offset; });
    /* The spans the patches cover together... */
    std::vector<FieldPatch> spans;
    std::size_t spanEnd = 0;
    for (const FieldPatch* patch : byOffset) {
        const std::size_t begin = static_cast<std::size_t>(patch->offset);
        const std::size_t end = begin + patch->bytes.size();
        if (spans.empty() || begin > spanEnd) {
            spans.push_back({patch->offset, std::string()});
            spanEnd = end;
        } else {
            spanEnd = std::max(spanEnd, end);
        }
        spans.back().bytes.resize(spanEnd - static_cast<std::size_t>(spans.back().offset));
    }
    /* ...filled by the patches in put order, each span wholly covered. */
    for (const FieldPatch& patch : patches) {
        if (patch.bytes.empty())
            continue;
        auto span = std::upper_bound(spans.begin(), spans.end(), patch.offset,
                                     [](int offset, const FieldPatch& s) { return offset < s.offset; });
        --span;
        patch.bytes.copy(span->bytes.data() + (patch.offset - span->offset), patch.bytes.size());
    }
    return spans;
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
