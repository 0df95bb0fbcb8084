/*
 * waitingrecord.cpp: records kept in boxes without their zero tails.
 */
#include "waitingrecord.h"

#include "dictionary.h"

#include <cstring>

namespace dravo {

namespace {

/* The length of the raw value without its trailing zeros. */
std::size_t headLength(const char* raw, std::size_t size)
{
    std::size_t end = size;
    while (end >= sizeof(std::uint64_t)) {
        std::uint64_t word;
        std::memcpy(&word, raw + end - sizeof word, sizeof word);
        if (word != 0)
            break;
        end -= sizeof word;
    }
    while (end > 0 && raw[end - 1] == 0)
        --end;
    return end;
}

} // namespace

WaitingRecord::WaitingRecord(const DravoData& record)
{
    const DravoRecordType* type = record.recordType();
    const std::size_t size = static_cast<std::size_t>(record.GetBufferSize());
    /* Only a record exactly its type's size is made whole again by padding
     * with zeros; one with bytes appended behind the fixed part, one with
     * variable fields, or one of a type the dictionary does not know waits
     * as it is. */
    if (!type || size < kLargeRecord || size != static_cast<std::size_t>(type->size) ||
        !record.variableFields().empty()) {
        m_whole = record;
        return;
    }
    const std::size_t head = headLength(record.GetRawValue(), size);
    if (head > size / 2) {
        m_whole = record;
        return;
    }
    auto trimmed = std::make_shared<Trimmed>();
    trimmed->typeName = record.GetTypeName();
    trimmed->dataName = record.GetDataName();
    trimmed->rawHead.assign(record.GetRawValue(), head);
    m_trimmed = std::move(trimmed);
}

const char* WaitingRecord::typeName() const
{
    return m_trimmed ? m_trimmed->typeName.c_str() : m_whole.GetTypeName();
}

DravoData WaitingRecord::take()
{
    if (!m_trimmed)
        return std::move(m_whole);
    DravoData record;
    record.SetMidType(m_trimmed->typeName.c_str(), m_trimmed->rawHead.data(),
                      static_cast<int>(m_trimmed->rawHead.size()));
    record.SetFullName(m_trimmed->dataName.c_str());
    return record;
}

} // namespace dravo
