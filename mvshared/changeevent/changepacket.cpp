/*
 * changepacket.cpp: writing and reading the compressed change packet, and
 * cutting raw point records down to their changed-event form.
 *
 * Which bytes of a point record a display needs is data, not code: the data
 * dictionary gives each field of "CHANGED_STATUS", "CHANGED_ANALOG" and
 * "CHANGED_TEXT" its position and its source position in the point record.
 * The first conversion turns that into a copy plan (contiguous fields merged
 * into one copy) that serves the process from then on, so a change costs a
 * few memcpy into a buffer on the stack and nothing else.
 */
#include "changepacket.h"

#include <MVShared/BoundedUncompress.h>

#include <DravoPlus/DravoPlus.h>

#include <QtCore/QtEndian>

#include <algorithm>
#include <array>
#include <cstring>
#include <functional>
#include <iterator>
#include <vector>

namespace {

/* ---- What the packet carries ------------------------------------------------ */

/* One kind of change the packet carries: its item tag (tag 3 is not used),
 * the record type the runtime publishes it as, and the type it is read back
 * as. Status, analog and text changes are cut down to their changed-event
 * form; remote unit and channel records travel whole. */
struct CarriedKind {
    ChangePacket::Kind kind;
    quint8 tag;
    const char* publishedType;
    const char* changeType;
    bool cut;
};

constexpr CarriedKind kCarriedKinds[] = {
    {ChangePacket::Status, 0, "STATUS", "CHANGED_STATUS", true},
    {ChangePacket::Analog, 1, "ANALOG", "CHANGED_ANALOG", true},
    {ChangePacket::Text, 2, "TEXT", "CHANGED_TEXT", true},
    {ChangePacket::RemoteUnit, 4, "REMOTEUNIT", "REMOTEUNIT", false},
    {ChangePacket::CommLink, 5, "COMMLINK", "COMMLINK", false},
};

// The copy plans below are indexed by these three kinds.
static_assert(kCarriedKinds[ChangePacket::Status].kind == ChangePacket::Status
                  && kCarriedKinds[ChangePacket::Analog].kind == ChangePacket::Analog
                  && kCarriedKinds[ChangePacket::Text].kind == ChangePacket::Text,
              "the cut kinds come first, in the order of ChangePacket::Kind");

const CarriedKind* carriedAs(const char* publishedType)
{
    for (const CarriedKind& carried : kCarriedKinds) {
        if (std::strcmp(carried.publishedType, publishedType) == 0)
            return &carried;
    }
    return nullptr;
}

const CarriedKind* carriedWithTag(quint8 tag)
{
    for (const CarriedKind& carried : kCarriedKinds) {
        if (carried.tag == tag)
            return &carried;
    }
    return nullptr;
}

/* ---- Copy plans ------------------------------------------------------------- */

struct CopyRun {
    int target;
    int source;
    int width;
};

struct CopyPlan {
    bool usable = false;
    int targetSize = 0;
    std::vector<CopyRun> runs;   // ascending target positions
    int pointIdAt = -1;          // the 32-bit "pid" in the changed-event record, if it has one
};

/* The dictionary's fields of a changed-event type as copies, in target
 * order. Variable fields and fields outside the record are left out. */
std::vector<CopyRun> fieldCopies(const DravoTypeInfo& info)
{
    std::vector<CopyRun> copies;
    for (const DravoFieldInfo& field : info.fields) {
        if (field.offset >= 0 && field.source >= 0 && field.size > 0 && field.offset + field.size <= info.size)
            copies.push_back({field.offset, field.source, field.size});
    }
    std::sort(copies.begin(), copies.end(),
              [](const CopyRun& a, const CopyRun& b) { return a.target < b.target; });
    return copies;
}

/* Fields that follow each other both in the point record and in the
 * changed-event record become one copy. */
std::vector<CopyRun> mergedRuns(const std::vector<CopyRun>& copies)
{
    std::vector<CopyRun> runs;
    for (const CopyRun& copy : copies) {
        if (!runs.empty()) {
            CopyRun& last = runs.back();
            if (last.target + last.width == copy.target && last.source + last.width == copy.source) {
                last.width += copy.width;
                continue;
            }
        }
        runs.push_back(copy);
    }
    return runs;
}

CopyPlan buildPlan(const CarriedKind& carried)
{
    CopyPlan plan;
    DravoTypeInfo info;
    if (DravoPlus::GetTypeInfo(carried.changeType, info) != DRAVO_OK || info.sourceType != carried.publishedType
        || info.size <= 0 || info.size > ChangePacket::kLargestChangeRecord)
        return plan;
    plan.targetSize = info.size;
    plan.runs = mergedRuns(fieldCopies(info));
    for (const DravoFieldInfo& field : info.fields) {
        if (field.name == "pid" && field.kind == DravoKindInt32 && field.offset >= 0
            && field.offset + 4 <= info.size)
            plan.pointIdAt = field.offset;
    }
    plan.usable = true;
    return plan;
}

/* The plans of the cut kinds, indexed by kind, made on first use. */
const CopyPlan& planFor(ChangePacket::Kind kind)
{
    static const std::array<CopyPlan, 3> plans = {
        buildPlan(kCarriedKinds[ChangePacket::Status]),
        buildPlan(kCarriedKinds[ChangePacket::Analog]),
        buildPlan(kCarriedKinds[ChangePacket::Text]),
    };
    return plans[static_cast<std::size_t>(kind)];
}

/* Writes the changed-event record of source into buffer: every planned field
 * copied, every reserved byte zero. A source shorter than its type (which a
 * record of the middleware never is) leaves the fields it lacks zero. */
void cutInto(const CopyPlan& plan, const DravoData& source, char* buffer)
{
    std::memset(buffer, 0, static_cast<std::size_t>(plan.targetSize));
    const char* raw = source.GetRawValue();
    const int available = source.GetBufferSize();
    for (const CopyRun& run : plan.runs) {
        if (run.source + run.width <= available)
            std::memcpy(buffer + run.target, raw + run.source, static_cast<std::size_t>(run.width));
    }
}

/* ---- Packet body -------------------------------------------------------------- */

/* An item is laid out as QDataStream writes a QByteArray (32-bit big-endian
 * length, then the bytes): its tag byte followed by the record bytes. The
 * item's room is added to the body and its header written; the record bytes
 * are for the caller to fill in place. */
constexpr int kItemHeader = 5;

char* addItem(QByteArray& body, quint8 tag, int size)
{
    const int at = body.size();
    body.resize(at + kItemHeader + size);
    char* item = body.data() + at;
    qToBigEndian<quint32>(static_cast<quint32>(size + 1), item);
    item[4] = static_cast<char>(tag);
    return item + kItemHeader;
}

/* No batch of the runtime comes near this (a batch of 500 changes takes
 * under 8 MB); a packet claiming more than 64 MB uncompressed, or inflating
 * to more than it claims, is not one of ours and is treated as not
 * compressed: it gives no changes. */
constexpr int kLargestPacketBody = 64 * 1024 * 1024;

/* qCompress's form: the body's length (32-bit big-endian), then the zlib
 * stream. Empty when the bytes are not such a packet. */
QByteArray decompressedBody(const DravoData& packed)
{
    return Morvane::boundedUncompress(packed.GetRawValue(), packed.GetBufferSize(), kLargestPacketBody);
}

/* The records a packet's changes are made from, one of each kind carried:
 * their types are looked up in the dictionary once a packet rather than
 * once a change. */
class ChangeRecords
{
public:
    const DravoData& of(const CarriedKind& carried)
    {
        DravoData& prototype = m_prototypes[static_cast<std::size_t>(&carried - kCarriedKinds)];
        if (!*prototype.GetTypeName())
            prototype = DravoData(carried.changeType);
        return prototype;
    }

private:
    DravoData m_prototypes[std::size(kCarriedKinds)];
};

/* One item, into change: a fresh record of the tag's type takes as many of
 * the item's bytes as its buffer holds (a short item leaves the rest zero).
 * An item without a tag or with an unknown one gives nothing: null. */
const CarriedKind* readItem(const char* item, quint32 length, ChangeRecords& records, DravoData& change)
{
    if (length == 0)
        return nullptr;
    const CarriedKind* carried = carriedWithTag(static_cast<quint8>(item[0]));
    if (!carried)
        return nullptr;
    const DravoData& prototype = records.of(*carried);
    if (prototype.recordType()) {
        const auto bytes =
            static_cast<int>(std::min<qint64>(prototype.GetBufferSize(), static_cast<qint64>(length) - 1));
        change = DravoData(prototype, item + 1, bytes);
    } else {
        change = prototype;   // a dictionary without the type: a record that is not good
    }
    return carried;
}

/* Walks the items in place rather than copying each out as a QByteArray,
 * handing each to take. As with QDataStream, a null item (length 0xFFFFFFFF)
 * is skipped, and an item that runs past the end, or a length cut short,
 * ends the body. */
template <typename Take>
void forEachItem(const QByteArray& body, Take take)
{
    constexpr quint32 kNullItem = 0xFFFFFFFFu;
    const char* at = body.constData();
    const char* const end = at + body.size();
    while (end - at >= 4) {
        const quint32 length = qFromBigEndian<quint32>(at);
        at += 4;
        if (length == kNullItem)
            continue;
        if (static_cast<qint64>(length) > end - at)
            return;
        take(at, length);
        at += length;
    }
}

/* Whether the records the body's items would make stay within one packet's
 * share: counted before a single record is made, since a few kilobytes of
 * one-byte text items would otherwise become gigabytes of text records. */
bool withinLimits(const QByteArray& body)
{
    qint64 count = 0;
    qint64 bytes = 0;
    forEachItem(body, [&](const char* item, quint32 length) {
        const CarriedKind* carried = length > 0 ? carriedWithTag(static_cast<quint8>(item[0])) : nullptr;
        if (!carried)
            return;
        ++count;
        bytes += ChangePacket::changeRecordSize(carried->kind);
    });
    return count <= ChangePacket::kMostChanges && bytes <= ChangePacket::kMostChangeBytes;
}

/* Whether a packet claims a body: qCompress's length prefix is not zero. */
bool claimsABody(const DravoData& packed)
{
    return packed.GetBufferSize() >= 4 && qFromBigEndian<quint32>(packed.GetRawValue()) != 0;
}

} // namespace

/* ---- ChangePacket --------------------------------------------------------------- */

ChangePacket::ChangePacket() = default;

/* A changed-event record is cut straight into the body. */
ChangePacket::Kind ChangePacket::append(const DravoData& change)
{
    const CarriedKind* carried = carriedAs(change.GetTypeName());
    if (!carried)
        return NotCarried;
    if (!carried->cut) {
        const int size = change.GetBufferSize();
        std::memcpy(addItem(m_body, carried->tag, size), change.GetRawValue(), static_cast<std::size_t>(size));
        return carried->kind;
    }
    const CopyPlan& plan = planFor(carried->kind);
    if (plan.usable)
        cutInto(plan, change, addItem(m_body, carried->tag, plan.targetSize));
    return carried->kind;
}

void ChangePacket::expect(int changes)
{
    const CopyPlan& status = planFor(Status);
    if (status.usable && changes > 0)
        m_body.reserve(m_body.size() + changes * (kItemHeader + status.targetSize));
}

bool ChangePacket::isEmpty() const
{
    return m_body.isEmpty();
}

DravoData ChangePacket::toRecord() const
{
    const QByteArray compressed = qCompress(m_body);
    DravoData packet;
    packet.SetRawValue(compressed.constData(), compressed.size());
    return packet;
}

bool ChangePacket::readEach(const DravoData& packed, const std::function<void(DravoData&, Kind)>& take)
{
    const QByteArray body = decompressedBody(packed);
    if (body.isEmpty())
        return !claimsABody(packed);
    if (!withinLimits(body))
        return false;
    ChangeRecords records;
    DravoData change;
    forEachItem(body, [&records, &change, &take](const char* item, quint32 length) {
        if (const CarriedKind* carried = readItem(item, length, records, change))
            take(change, carried->kind);
    });
    return true;
}

bool ChangePacket::read(const DravoData& packed, QList<DravoData>& changes)
{
    changes.clear();
    return readEach(packed, [&changes](DravoData& change, Kind) {
        changes.append(DravoData());
        changes.last() = std::move(change);
    });
}

QList<DravoData> ChangePacket::read(const DravoData& packed)
{
    QList<DravoData> changes;
    read(packed, changes);
    return changes;
}

int ChangePacket::changeRecordSize(Kind kind)
{
    static const std::vector<int> sizes = [] {
        std::vector<int> all(NotCarried + 1, 0);
        for (const CarriedKind& carried : kCarriedKinds)
            all[carried.kind] = DravoData(carried.changeType).GetBufferSize();
        return all;
    }();
    return kind >= 0 && kind < NotCarried ? sizes[static_cast<std::size_t>(kind)] : 0;
}

bool ChangePacket::toChangedEvent(const DravoData& source, DravoData& target)
{
    const CarriedKind* carried = carriedAs(source.GetTypeName());
    if (!carried)
        return false;
    if (!carried->cut) {
        target = source;
        return true;
    }
    const CopyPlan& plan = planFor(carried->kind);
    if (!plan.usable)
        return false;
    alignas(8) char record[ChangePacket::kLargestChangeRecord];
    cutInto(plan, source, record);
    target.SetMidType(carried->changeType, record, plan.targetSize);
    return true;
}

const char* ChangePacket::publishedTypeOf(const char* typeName)
{
    for (const CarriedKind& carried : kCarriedKinds) {
        if (std::strcmp(carried.changeType, typeName) == 0 || std::strcmp(carried.publishedType, typeName) == 0)
            return carried.publishedType;
    }
    return nullptr;
}

/* Read where the dictionary puts it, without looking the field up by name
 * for every change of a burst. */
qint32 ChangePacket::pointIdOf(const DravoData& change, Kind kind)
{
    if (kind == Status || kind == Analog || kind == Text) {
        const int at = planFor(kind).pointIdAt;
        if (at >= 0 && at + 4 <= change.GetBufferSize()) {
            qint32 id = 0;   // as the record holds its numbers: in the host's order
            std::memcpy(&id, change.GetRawValue() + at, sizeof id);
            return id;
        }
    }
    return change.GetSignedIntValue("pid");
}

ChangePacket::Kind ChangePacket::kindOfChange(const char* typeName)
{
    for (const CarriedKind& carried : kCarriedKinds) {
        if (std::strcmp(carried.changeType, typeName) == 0)
            return carried.kind;
    }
    return NotCarried;
}
