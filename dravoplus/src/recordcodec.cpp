/*
 * recordcodec.cpp: a record's transport form.
 *
 * Nested records are kept in this form inside their parent, and backends
 * that store or send records outside the process use it too:
 *
 *   "DRV1"
 *   u16 type length, type name        ("" for a nameless record)
 *   u16 name length, data name
 *   u32 raw length, raw value
 *   u16 field count, then per variable field:
 *       u16 name length, name, u8 kind, u32 length, bytes
 *
 * All integers little-endian. Reading checks every length against what is
 * left, so a damaged form gives DRAVO_MALFORMED and never reads past its end.
 */
#include <DravoPlus/DravoPlus.h>

#include "dictionary.h"

#include <cstring>

namespace {

constexpr char kMagic[4] = {'D', 'R', 'V', '1'};
/* Nested records are checked by reading them, so nesting is bounded to keep
 * a hostile form from exhausting the stack. */
constexpr int kMaxNesting = 16;
thread_local int t_nesting = 0;

struct NestingGuard {
    NestingGuard() { ++t_nesting; }
    ~NestingGuard() { --t_nesting; }
};

void putU16(std::string& out, std::size_t v)
{
    out.push_back(static_cast<char>(v & 0xFF));
    out.push_back(static_cast<char>((v >> 8) & 0xFF));
}

void putU32(std::string& out, std::size_t v)
{
    for (int i = 0; i < 4; ++i)
        out.push_back(static_cast<char>((v >> (8 * i)) & 0xFF));
}

class Reader
{
public:
    Reader(const unsigned char* p, std::size_t size) : m_p(p), m_left(size) {}
    bool u8(unsigned& v) { return take(1, v); }
    bool u16(unsigned& v) { return take(2, v); }
    bool u32(unsigned& v) { return take(4, v); }
    bool bytes(std::size_t n, std::string& out)
    {
        if (n > m_left)
            return false;
        out.assign(reinterpret_cast<const char*>(m_p), n);
        m_p += n;
        m_left -= n;
        return true;
    }
    bool atEnd() const { return m_left == 0; }

private:
    bool take(std::size_t n, unsigned& v)
    {
        if (n > m_left)
            return false;
        v = 0;
        for (std::size_t i = 0; i < n; ++i)
            v |= static_cast<unsigned>(m_p[i]) << (8 * i);
        m_p += n;
        m_left -= n;
        return true;
    }
    const unsigned char* m_p;
    std::size_t m_left;
};

bool readString16(Reader& in, std::string& out)
{
    unsigned n = 0;
    return in.u16(n) && in.bytes(n, out);
}

} // namespace

std::string DravoPlus::SerializeRecord(const DravoData& record)
{
    const std::string type = record.GetTypeName();
    const std::string name = record.GetDataName();
    std::string out(kMagic, sizeof kMagic);
    putU16(out, type.size());
    out += type;
    putU16(out, name.size());
    out += name;
    putU32(out, static_cast<std::size_t>(record.GetBufferSize()));
    out.append(record.GetRawValue(), static_cast<std::size_t>(record.GetBufferSize()));
    const auto& fields = record.variableFields();
    putU16(out, fields.size());
    for (const DravoData::VariableField& f : fields) {
        putU16(out, f.name.size());
        out += f.name;
        out.push_back(static_cast<char>(f.kind));
        putU32(out, f.bytes.size());
        out += f.bytes;
    }
    return out;
}

int DravoPlus::DeserializeRecord(const void* bytes, std::size_t size, DravoData& out)
{
    if (!bytes || size < sizeof kMagic || std::memcmp(bytes, kMagic, sizeof kMagic) != 0)
        return DRAVO_MALFORMED;
    NestingGuard nesting;
    if (t_nesting > kMaxNesting)
        return DRAVO_MALFORMED;
    Reader in(static_cast<const unsigned char*>(bytes) + sizeof kMagic, size - sizeof kMagic);
    std::string type;
    std::string name;
    std::string raw;
    unsigned rawSize = 0;
    unsigned count = 0;
    if (!readString16(in, type) || !readString16(in, name) || !in.u32(rawSize) || !in.bytes(rawSize, raw) || !in.u16(count))
        return DRAVO_MALFORMED;

    DravoData record(type.c_str(), name.c_str());
    if (record.SetRawValue(raw.data(), static_cast<int>(raw.size())) != DRAVO_OK)
        return DRAVO_MALFORMED;
    for (unsigned i = 0; i < count; ++i) {
        std::string field;
        std::string value;
        unsigned kind = 0;
        unsigned length = 0;
        if (!readString16(in, field) || !in.u8(kind) || !in.u32(length) || !in.bytes(length, value))
            return DRAVO_MALFORMED;
        if (kind < DravoKindInt8 || kind > DravoKindAny)
            return DRAVO_MALFORMED;
        /* A field the dictionary no longer knows is refused here rather than
         * carried unchecked. */
        if (record.PutValueImpl(field.c_str(), static_cast<DravoFieldKind>(kind), value.data(), value.size()) != DRAVO_OK)
            return DRAVO_MALFORMED;
    }
    if (!in.atEnd())
        return DRAVO_MALFORMED;
    out = std::move(record);
    return DRAVO_OK;
}
