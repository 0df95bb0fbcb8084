/*
 * record.cpp: DravoData, DravoPartialData and DravoDataList.
 *
 * A record is its type (a pointer into a dictionary that outlives it), its
 * data name, its raw value and its variable fields, held in contents that
 * its copies share until one of them changes. Every put goes through
 * PutValueImpl / putValue, which encode the value with the field codec and
 * only then touch the record, so a refused put changes nothing.
 */
#include <DravoPlus/DravoData.h>
#include <DravoPlus/DravoPlus.h>

#include "dictionary.h"
#include "fieldcodec.h"
#include "largeblocks.h"
#include "partialwrite.h"

#include <algorithm>
#include <atomic>
#include <cstddef>
#include <cstring>
#include <functional>
#include <new>
#include <utility>

namespace {

const DravoData::VariableField* findVariable(const std::vector<DravoData::VariableField>& fields, const char* name)
{
    for (const DravoData::VariableField& f : fields)
        if (f.name == name)
            return &f;
    return nullptr;
}

std::size_t textLength(const char* p, std::size_t max)
{
    const void* zero = std::memchr(p, 0, max);
    return zero ? static_cast<std::size_t>(static_cast<const char*>(zero) - p) : max;
}

std::u16string utf16From(const char* p, std::size_t bytes, bool stopAtZero)
{
    std::u16string text(bytes / 2, u'\0');
    if (!text.empty())
        std::memcpy(text.data(), p, text.size() * 2);
    if (stopAtZero) {
        const std::size_t zero = text.find(u'\0');
        if (zero != std::u16string::npos)
            text.resize(zero);
    }
    return text;
}

} // namespace

/* ---- DravoData ----------------------------------------------------------- */

/* A record's raw value. Its bytes live in the same block as the contents
 * that hold it, in the room the block was made with, until they outgrow it;
 * only then on the heap. A burst makes a record for every change, and one
 * allocation per record instead of two is a good part of what that costs. */
class RawBytes
{
public:
    RawBytes(char* room, std::size_t roomSize) : m_data(room), m_capacity(roomSize), m_room(room) {}
    ~RawBytes()
    {
        if (m_data != m_room)
            delete[] m_data;
    }
    RawBytes(const RawBytes&) = delete;
    RawBytes& operator=(const RawBytes&) = delete;

    char* data() { return m_data; }
    const char* data() const { return m_data; }
    std::size_t size() const { return m_size; }
    std::size_t capacity() const { return m_capacity; }

    /* bytes may lie in this value itself. */
    void assign(const char* bytes, std::size_t size)
    {
        if (size > m_capacity) {
            char* grown = new char[size];
            if (size > 0)
                std::memcpy(grown, bytes, size);
            replaceStorage(grown, size);
        } else if (size > 0) {
            std::memmove(m_data, bytes, size);
        }
        m_size = size;
    }
    /* Growing fills with zeros. */
    void resize(std::size_t size)
    {
        if (size > m_capacity) {
            char* grown = new char[size];
            if (m_size > 0)
                std::memcpy(grown, m_data, m_size);
            replaceStorage(grown, size);
        }
        if (size > m_size)
            std::memset(m_data + m_size, 0, size - m_size);
        m_size = size;
    }

private:
    void replaceStorage(char* grown, std::size_t capacity)
    {
        if (m_data != m_room)
            delete[] m_data;
        m_data = grown;
        m_capacity = capacity;
    }

    char* m_data;
    std::size_t m_size = 0;
    std::size_t m_capacity;
    char* const m_room;
};

struct DravoData::Contents {
    std::atomic<int> references{1};
    const DravoRecordType* type = nullptr;
    std::string typeName;       /* kept for records of unknown types */
    std::string dataName;
    RawBytes raw;
    std::vector<VariableField> fields;
    std::size_t blockLength = 0;  /* of a large record's own block; 0: on the heap */

    /* Contents in one block with room for a raw value of that many bytes:
     * a block of its own for a large record (see largeblocks.h), else one
     * from the heap. */
    static Contents* make(std::size_t room)
    {
        static_assert(alignof(Contents) <= alignof(std::max_align_t), "the raw value's room follows the contents");
        const std::size_t bytes = sizeof(Contents) + room;
        if (room >= dravo::kLargeRecord) {
            std::size_t length = 0;
            if (void* block = dravo::takeLargeBlock(bytes, length)) {
                Contents* contents = new (block) Contents(room);
                contents->blockLength = length;
                return contents;
            }
        }
        return new (::operator new(bytes)) Contents(room);
    }
    /* A copy of other's, for a record about to change. */
    static Contents* copyOf(const Contents& other)
    {
        Contents* copy = make(other.raw.size());
        copy->type = other.type;
        copy->typeName = other.typeName;
        copy->dataName = other.dataName;
        copy->raw.assign(other.raw.data(), other.raw.size());
        copy->fields = other.fields;
        return copy;
    }
    static void release(Contents* contents)
    {
        const std::size_t blockLength = contents->blockLength;
        contents->~Contents();
        if (blockLength != 0)
            dravo::giveBackLargeBlock(contents, blockLength);
        else
            ::operator delete(contents);
    }

private:
    explicit Contents(std::size_t room) : raw(reinterpret_cast<char*>(this + 1), room) {}
};

const DravoData::Contents& DravoData::contents() const
{
    static const Contents* const empty = Contents::make(0);   // what an empty nameless record reads as
    return m_contents ? *m_contents : *empty;
}

DravoData::Contents& DravoData::edit()
{
    if (!m_contents) {
        m_contents = Contents::make(0);
    } else if (m_contents->references.load(std::memory_order_acquire) != 1) {
        Contents* own = Contents::copyOf(*m_contents);
        if (m_contents->references.fetch_sub(1, std::memory_order_acq_rel) == 1)
            Contents::release(m_contents);
        m_contents = own;
    }
    return *m_contents;
}

/* Contents of this record's own for a raw value of size bytes that is about
 * to replace the present one: made afresh, without copying the old value,
 * when the record has none of its own or the value would not fit. */
DravoData::Contents& DravoData::editForRaw(std::size_t size)
{
    if (m_contents && m_contents->references.load(std::memory_order_acquire) == 1 && size <= m_contents->raw.capacity())
        return *m_contents;
    Contents* fresh = Contents::make(size);
    if (m_contents) {
        /* A burst's change records have no name and no variable fields:
         * nothing to copy for most of them. */
        fresh->type = m_contents->type;
        if (!m_contents->typeName.empty())
            fresh->typeName = m_contents->typeName;
        if (!m_contents->dataName.empty())
            fresh->dataName = m_contents->dataName;
        if (!m_contents->fields.empty())
            fresh->fields = m_contents->fields;
        if (m_contents->references.fetch_sub(1, std::memory_order_acq_rel) == 1)
            Contents::release(m_contents);
    }
    m_contents = fresh;
    return *fresh;
}

DravoData::DravoData() = default;

DravoData::DravoData(const char* typeName, const char* dataName)
{
    if (typeName && *typeName) {
        const DravoRecordType* type = dravo::findType(typeName);
        Contents& c = editForRaw(type ? static_cast<std::size_t>(type->size) : 0);
        c.type = type;
        if (c.type)
            c.raw.resize(static_cast<std::size_t>(c.type->size));
        else
            c.typeName = typeName;
    }
    if (dataName)
        edit().dataName = dataName;
}

DravoData::DravoData(const DravoData& like, const void* buffer, int size)
{
    const Contents& model = like.contents();
    const std::size_t bytes = (size > 0 && buffer) ? static_cast<std::size_t>(size) : 0;
    const std::size_t typeSize = model.type ? static_cast<std::size_t>(model.type->size) : 0;
    Contents& c = editForRaw(std::max(bytes, typeSize));
    c.type = model.type;
    if (!model.type && !model.typeName.empty())
        c.typeName = model.typeName;
    c.raw.assign(static_cast<const char*>(buffer), bytes);
    c.raw.resize(std::max(bytes, typeSize));
}

DravoData::DravoData(const DravoData& other) : m_contents(other.m_contents)
{
    if (m_contents)
        m_contents->references.fetch_add(1, std::memory_order_relaxed);
}

DravoData::DravoData(DravoData&& other) noexcept : m_contents(other.m_contents)
{
    other.m_contents = nullptr;
}

DravoData& DravoData::operator=(const DravoData& other)
{
    DravoData copy(other);
    std::swap(m_contents, copy.m_contents);
    return *this;
}

/* The moved-from record is left an empty nameless one, as a moved-from
 * copy constructor leaves it. */
DravoData& DravoData::operator=(DravoData&& other) noexcept
{
    DravoData taken(std::move(other));
    std::swap(m_contents, taken.m_contents);
    return *this;
}

DravoData::~DravoData()
{
    if (m_contents && m_contents->references.fetch_sub(1, std::memory_order_acq_rel) == 1)
        Contents::release(m_contents);
}

const DravoRecordType* DravoData::recordType() const
{
    return contents().type;
}

const std::vector<DravoData::VariableField>& DravoData::variableFields() const
{
    return contents().fields;
}

bool DravoData::IsGood() const
{
    const Contents& c = contents();
    return c.type || c.typeName.empty();
}

const char* DravoData::GetTypeName() const
{
    const Contents& c = contents();
    return c.type ? c.type->name.c_str() : c.typeName.c_str();
}

const char* DravoData::GetDataName() const
{
    return contents().dataName.c_str();
}

void DravoData::SetFullName(const char* dataName)
{
    edit().dataName = dataName ? dataName : "";
}

const char* DravoData::GetRawValue() const
{
    return contents().raw.data();
}

char* DravoData::GetRawValue()
{
    return edit().raw.data();
}

int DravoData::GetBufferSize() const
{
    return static_cast<int>(contents().raw.size());
}

int DravoData::SetRawValue(const void* buffer, int size)
{
    if (size < 0 || (!buffer && size > 0))
        return DRAVO_BAD_ARGUMENT;
    const DravoRecordType* type = recordType();
    replaceRaw(type, static_cast<const char*>(buffer), static_cast<std::size_t>(size));
    return DRAVO_OK;
}

int DravoData::SetMidType(const char* typeName, const void* buffer, int size)
{
    if (size < 0 || (!buffer && size > 0))
        return DRAVO_BAD_ARGUMENT;
    const DravoRecordType* type = nullptr;
    if (typeName && *typeName) {
        type = dravo::findType(typeName);
        if (!type)
            return DRAVO_UNKNOWN_TYPE;
    }
    Contents& c = replaceRaw(type, static_cast<const char*>(buffer), static_cast<std::size_t>(size));
    c.type = type;
    c.typeName.clear();
    c.fields.clear();
    return DRAVO_OK;
}

/* The raw value replaced by size bytes, made as long as type when shorter. */
DravoData::Contents& DravoData::replaceRaw(const DravoRecordType* type, const char* bytes, std::size_t size)
{
    const std::size_t typeSize = type ? static_cast<std::size_t>(type->size) : 0;
    const std::size_t whole = std::max(size, typeSize);
    /* bytes may be this record's own, which fresh contents would release */
    const std::less<const char*> before;
    const bool own = m_contents && !before(bytes, m_contents->raw.data()) &&
                     before(bytes, m_contents->raw.data() + m_contents->raw.size());
    Contents& c = own ? edit() : editForRaw(whole);
    c.raw.assign(bytes, size);
    c.raw.resize(whole);
    return c;
}

int DravoData::CastType(const char* typeName)
{
    const DravoRecordType* type = nullptr;
    if (typeName && *typeName) {
        type = dravo::findType(typeName);
        if (!type)
            return DRAVO_UNKNOWN_TYPE;
    }
    Contents& c = edit();
    c.type = type;
    c.typeName.clear();
    if (c.type && c.raw.size() < static_cast<std::size_t>(c.type->size))
        c.raw.resize(static_cast<std::size_t>(c.type->size));
    return DRAVO_OK;
}

int DravoData::PutValue(const char* field, bool value)
{
    const std::uint8_t byte = value ? 1 : 0;
    return PutValueImpl(field, DravoKindUInt8, &byte, 1);
}

int DravoData::PutValue(const char* field, const char* text)
{
    if (!text)
        return DRAVO_BAD_ARGUMENT;
    return PutValueImpl(field, DravoKindText, text, std::strlen(text));
}

int DravoData::PutValue(const char* field, const std::string& text)
{
    return PutValueImpl(field, DravoKindText, text.data(), text.size());
}

int DravoData::PutValue(const char* field, const void* bytes, int length)
{
    if (length < 0)
        return DRAVO_BAD_ARGUMENT;
    return PutValueImpl(field, DravoKindBytes, bytes, static_cast<std::size_t>(length));
}

int DravoData::PutValue(const char* field, const DravoData& record)
{
    const std::string bytes = DravoPlus::SerializeRecord(record);
    return PutValueImpl(field, DravoKindRecord, bytes.data(), bytes.size());
}

int DravoData::PutValueUtf16(const char* field, const char16_t* text, int length)
{
    if (length < 0)
        return DRAVO_BAD_ARGUMENT;
    return PutValueImpl(field, DravoKindUtf16, text, static_cast<std::size_t>(length) * 2);
}

int DravoData::PutValueImpl(const char* field, DravoFieldKind kind, const void* data, std::size_t size)
{
    if (!field)
        return DRAVO_BAD_ARGUMENT;
    const DravoRecordType* type = recordType();
    if (!type)
        return IsGood() ? DRAVO_UNKNOWN_FIELD : DRAVO_UNKNOWN_TYPE;
    const DravoFieldDef* def = type->find(field);
    if (!def)
        return DRAVO_UNKNOWN_FIELD;
    std::string bytes;
    DravoFieldKind stored = DravoKindNone;
    if (int rc = dravo::encodeField(*def, kind, data, size, bytes, stored))
        return rc;
    Contents& c = edit();
    if (def->isFixed()) {
        std::memcpy(c.raw.data() + def->offset, bytes.data(), bytes.size());
        return DRAVO_OK;
    }
    for (VariableField& f : c.fields) {
        if (f.name == field) {
            f.kind = stored;
            f.bytes = std::move(bytes);
            return DRAVO_OK;
        }
    }
    c.fields.push_back({field, stored, std::move(bytes)});
    return DRAVO_OK;
}

int DravoData::GetValueImpl(const char* field, DravoFieldKind kind, void* out, std::size_t size) const
{
    if (!out || size != static_cast<std::size_t>(dravo::scalarSize(kind)) || !dravo::isNumeric(kind))
        return DRAVO_BAD_ARGUMENT;
    std::memset(out, 0, size);
    const Contents& c = contents();
    const DravoFieldDef* def = c.type && field ? c.type->find(field) : nullptr;
    if (!def)
        return DRAVO_UNKNOWN_FIELD;
    if (def->isFixed())
        return dravo::decodeNumber(def->kind, c.raw.data() + def->offset, static_cast<std::size_t>(def->size), kind, out);
    const VariableField* v = findVariable(c.fields, field);
    if (!v)
        return DRAVO_NOT_FOUND;
    return dravo::decodeNumber(v->kind, v->bytes.data(), v->bytes.size(), kind, out);
}

int DravoData::GetValue(const char* field, std::string& out) const
{
    out.clear();
    const Contents& c = contents();
    const DravoFieldDef* def = c.type && field ? c.type->find(field) : nullptr;
    if (!def)
        return DRAVO_UNKNOWN_FIELD;
    if (def->isFixed()) {
        const char* p = c.raw.data() + def->offset;
        if (def->kind == DravoKindText)
            out.assign(p, textLength(p, static_cast<std::size_t>(def->size)));
        else if (def->kind == DravoKindBytes)
            out.assign(p, static_cast<std::size_t>(def->size));
        else
            return DRAVO_WRONG_KIND;
        return DRAVO_OK;
    }
    const VariableField* v = findVariable(c.fields, field);
    if (!v)
        return DRAVO_NOT_FOUND;
    if (v->kind != DravoKindText && v->kind != DravoKindBytes)
        return DRAVO_WRONG_KIND;
    out = v->bytes;
    return DRAVO_OK;
}

int DravoData::GetValue(const char* field, std::u16string& out) const
{
    out.clear();
    const Contents& c = contents();
    const DravoFieldDef* def = c.type && field ? c.type->find(field) : nullptr;
    if (!def)
        return DRAVO_UNKNOWN_FIELD;
    if (def->isFixed()) {
        if (def->kind != DravoKindUtf16)
            return DRAVO_WRONG_KIND;
        out = utf16From(c.raw.data() + def->offset, static_cast<std::size_t>(def->size), true);
        return DRAVO_OK;
    }
    const VariableField* v = findVariable(c.fields, field);
    if (!v)
        return DRAVO_NOT_FOUND;
    if (v->kind != DravoKindUtf16)
        return DRAVO_WRONG_KIND;
    out = utf16From(v->bytes.data(), v->bytes.size(), false);
    return DRAVO_OK;
}

int DravoData::GetValue(const char* field, DravoData& out) const
{
    const Contents& c = contents();
    const DravoFieldDef* def = c.type && field ? c.type->find(field) : nullptr;
    if (!def)
        return DRAVO_UNKNOWN_FIELD;
    const VariableField* v = def->isFixed() ? nullptr : findVariable(c.fields, field);
    if (!v)
        return def->isFixed() ? DRAVO_WRONG_KIND : DRAVO_NOT_FOUND;
    if (v->kind != DravoKindRecord)
        return DRAVO_WRONG_KIND;
    return DravoPlus::DeserializeRecord(v->bytes.data(), v->bytes.size(), out);
}

std::int32_t DravoData::GetSignedIntValue(const char* field) const
{
    std::int32_t v = 0;
    GetValue(field, v);
    return v;
}

std::uint32_t DravoData::GetUnSignedIntValue(const char* field) const
{
    std::uint32_t v = 0;
    GetValue(field, v);
    return v;
}

std::int16_t DravoData::GetShortValue(const char* field) const
{
    std::int16_t v = 0;
    GetValue(field, v);
    return v;
}

double DravoData::GetDoubleValue(const char* field) const
{
    double v = 0;
    GetValue(field, v);
    return v;
}

std::u16string DravoData::GetWStringValue(const char* field) const
{
    std::u16string text;
    GetValue(field, text);
    return text;
}

bool DravoData::HasField(const char* field) const
{
    const Contents& c = contents();
    const DravoFieldDef* def = c.type && field ? c.type->find(field) : nullptr;
    if (!def)
        return false;
    return def->isFixed() || findVariable(c.fields, field) != nullptr;
}

std::vector<std::string> DravoData::VariableFieldNames() const
{
    const std::vector<VariableField>& fields = contents().fields;
    std::vector<std::string> names;
    names.reserve(fields.size());
    for (const VariableField& f : fields)
        names.push_back(f.name);
    return names;
}

/* ---- DravoPartialData ---------------------------------------------------- */

DravoPartialData::DravoPartialData() = default;

DravoPartialData::DravoPartialData(const char* typeName, const char* dataName)
{
    m_type = dravo::findType(typeName);
    if (!m_type && typeName)
        m_typeName = typeName;
    if (dataName)
        m_dataName = dataName;
}

bool DravoPartialData::IsGood() const
{
    return m_type != nullptr;
}

const char* DravoPartialData::GetTypeName() const
{
    return m_type ? m_type->name.c_str() : m_typeName.c_str();
}

const char* DravoPartialData::GetDataName() const
{
    return m_dataName.c_str();
}

void DravoPartialData::SetFullName(const char* dataName)
{
    m_dataName = dataName ? dataName : "";
}

int DravoPartialData::PutValue(const char* field, const char* text)
{
    if (!text)
        return DRAVO_BAD_ARGUMENT;
    return putValue(field, DravoKindText, text, std::strlen(text));
}

int DravoPartialData::PutValue(const char* field, const std::string& text)
{
    return putValue(field, DravoKindText, text.data(), text.size());
}

int DravoPartialData::PutValue(const char* field, const void* bytes, int length)
{
    if (length < 0)
        return DRAVO_BAD_ARGUMENT;
    return putValue(field, DravoKindBytes, bytes, static_cast<std::size_t>(length));
}

int DravoPartialData::PutValueUtf16(const char* field, const char16_t* text, int length)
{
    if (length < 0)
        return DRAVO_BAD_ARGUMENT;
    return putValue(field, DravoKindUtf16, text, static_cast<std::size_t>(length) * 2);
}

int DravoPartialData::putValue(const char* field, DravoFieldKind kind, const void* data, std::size_t size)
{
    if (!field)
        return DRAVO_BAD_ARGUMENT;
    if (!m_type)
        return DRAVO_UNKNOWN_TYPE;
    const DravoFieldDef* def = m_type->find(field);
    if (!def)
        return DRAVO_UNKNOWN_FIELD;
    if (!def->isFixed())
        return DRAVO_WRONG_KIND;
    std::string encoded;
    DravoFieldKind stored = DravoKindNone;
    if (int rc = dravo::encodeField(*def, kind, data, size, encoded, stored))
        return rc;
    /* Numbers keep the width of this type's field; texts and bytes keep
     * their own length, so they can land in any field long enough. */
    Field value{field, stored, std::move(encoded)};
    if (!dravo::isNumeric(def->kind)) {
        value.kind = kind;
        value.bytes.assign(static_cast<const char*>(data), size);
    }
    for (Field& f : m_fields) {
        if (f.name == field) {
            f = std::move(value);
            return DRAVO_OK;
        }
    }
    m_fields.push_back(std::move(value));
    return DRAVO_OK;
}

int DravoPartialData::ApplyTo(DravoData& record) const
{
    const DravoRecordType* type = record.recordType();
    if (!type)
        return record.IsGood() ? DRAVO_UNKNOWN_FIELD : DRAVO_UNKNOWN_TYPE;
    std::vector<dravo::FieldPatch> patches;
    if (const int rc = dravo::fieldPatches(*this, *type, patches))
        return rc;
    char* raw = record.edit().raw.data();
    for (const dravo::FieldPatch& patch : patches)
        std::memcpy(raw + patch.offset, patch.bytes.data(), patch.bytes.size());
    return DRAVO_OK;
}

/* ---- DravoDataList ------------------------------------------------------- */

DravoDataList::DravoDataList() = default;
DravoDataList::DravoDataList(DravoDataList&&) noexcept = default;
DravoDataList& DravoDataList::operator=(DravoDataList&&) noexcept = default;
DravoDataList::~DravoDataList() = default;

void DravoDataList::clear()
{
    m_records.clear();
    m_records.shrink_to_fit();
}

void DravoPlus::DestoryDravoDataList(DravoDataList& list)
{
    list.clear();
}
