/*
 * changepacket_fuzz.cpp: the libFuzzer entry point for the change packet
 * reader.
 *
 * The bytes are read twice: as the raw value of a received packet record
 * (compressed, as the middleware delivers it), and compressed first, as a
 * sender would, so that any layout of items reaches the item walk and not
 * only what survives inflation. Whatever a packet holds, the changes it
 * gives are records of the carried types at their full size.
 */
#include "changepacket.h"

#include <cstdint>
#include <cstdlib>

namespace {

void readPacket(const QByteArray& raw)
{
    DravoData packet;
    packet.SetRawValue(raw.constData(), raw.size());
    QList<DravoData> changes;
    const bool accepted = ChangePacket::read(packet, changes);
    if (!accepted && !changes.isEmpty())
        std::abort();
    if (changes.size() > ChangePacket::kMostChanges)
        std::abort();
    for (const DravoData& change : changes) {
        const ChangePacket::Kind kind = ChangePacket::kindOfChange(change.GetTypeName());
        if (kind == ChangePacket::NotCarried || change.GetBufferSize() != ChangePacket::changeRecordSize(kind))
            std::abort();
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    const QByteArray bytes = QByteArray::fromRawData(reinterpret_cast<const char*>(data), int(size));
    readPacket(bytes);
    readPacket(qCompress(bytes));
    return 0;
}
