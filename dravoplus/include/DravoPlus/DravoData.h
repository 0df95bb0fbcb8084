/*
 * DravoData.h: the middleware's records.
 *
 * DravoData        one record: a type name from the data dictionary, a data
 *                  name (its key in the point database) and a raw value whose
 *                  size the type fixes. Named fields are positions in the raw
 *                  value; message types also carry variable-length fields
 *                  (nested records, texts, byte strings, indexed fields such
 *                  as "values[3]") that are kept beside the raw value in the
 *                  order they were put.
 * DravoPartialData some fields of one record type, in the order they were put,
 *                  for partial writes into the point database.
 * DravoDataList    a list of records filled by the middleware and released
 *                  with DravoPlus::DestoryDravoDataList (or its destructor).
 *
 * Records are plain values: copying one never shares mutable state. Putters
 * return 0 or an error code (see DravoPlus.h) and change nothing on error;
 * getters of a missing field return 0 or an empty value.
 */
#ifndef DRAVOPLUS_DRAVODATA_H
#define DRAVOPLUS_DRAVODATA_H

#include <DravoPlus/DravoPlusGlobal.h>

#include <cstddef>
#include <cstdint>
#include <string>
#include <type_traits>
#include <vector>

/* How a field's bytes are to be read. The fixed kinds live at an offset in
 * the raw value; the variable kinds (and any field the dictionary declares
 * without an offset) are kept in the record's field list. */
enum DravoFieldKind : std::uint8_t {
    DravoKindNone = 0,
    DravoKindInt8,
    DravoKindUInt8,
    DravoKindInt16,
    DravoKindUInt16,
    DravoKindInt32,
    DravoKindUInt32,
    DravoKindInt64,
    DravoKindUInt64,
    DravoKindFloat,
    DravoKindDouble,
    DravoKindText,    /* Latin-1/UTF-8 text; fixed: zero padded, variable: zero terminated */
    DravoKindUtf16,   /* UTF-16 text in native byte order; fixed: zero padded */
    DravoKindBytes,   /* raw bytes; fixed: zero padded, variable: any length */
    DravoKindRecord,  /* a nested record (variable only) */
    DravoKindAny      /* variable field that takes a record, bytes or a text */
};

class DravoPartialData;
struct DravoRecordType;

class DRAVOPLUS_EXPORT DravoData
{
public:
    /* A nameless record: a plain byte buffer without a type. */
    DravoData();
    /* A record of a dictionary type with a zeroed raw value. The second
     * argument is the initial data name (null for none). An unknown type
     * gives a record that is not IsGood(). */
    explicit DravoData(const char* typeName, const char* dataName = nullptr);
    /* A record of like's type (nothing else of like: no name, no variable
     * fields) whose raw value is size bytes at buffer, made as long as the
     * type when shorter, as SetRawValue would. Made in one step, without
     * looking the type up or sharing anything with like: what a reader of
     * many records of one type (a change packet) makes each of them with.
     * A null buffer gives the type's zeros. */
    DravoData(const DravoData& like, const void* buffer, int size);
    DravoData(const DravoData& other);
    DravoData(DravoData&& other) noexcept;
    DravoData& operator=(const DravoData& other);
    DravoData& operator=(DravoData&& other) noexcept;
    ~DravoData();

    /* True for a nameless record and for a record whose type the loaded
     * dictionary knows; false when the type is unknown (or no dictionary
     * could be loaded, which is how a caller sees a middleware that is not
     * installed). */
    bool IsGood() const;

    const char* GetTypeName() const;      /* "" for a nameless record */
    const char* GetDataName() const;      /* "" until set */
    void SetFullName(const char* dataName);

    /* The raw value. Its size is the type's size, or more when bytes were
     * appended behind the fixed part (a driver's reply does this). */
    const char* GetRawValue() const;
    char* GetRawValue();
    int GetBufferSize() const;
    /* Replaces the raw value by size bytes. A typed record never gets
     * smaller than its type's size: missing bytes are zero. */
    int SetRawValue(const void* buffer, int size);
    /* Sets type and raw value together (null type: nameless). */
    int SetMidType(const char* typeName, const void* buffer, int size);
    /* Reinterprets the record as another type, keeping its bytes. */
    int CastType(const char* typeName);

    /* Putters. Integers go into any integer field whose width holds the
     * value, and into float and double fields; floating values only into
     * float and double fields. */
    template <typename T, std::enable_if_t<std::is_arithmetic_v<T> && !std::is_same_v<T, bool>, int> = 0>
    int PutValue(const char* field, T value)
    {
        return PutValueImpl(field, DravoKindOf<T>(), &value, sizeof value);
    }
    int PutValue(const char* field, bool value);
    /* A zero-terminated Latin-1/UTF-8 text. */
    int PutValue(const char* field, const char* text);
    int PutValue(const char* field, const std::string& text);
    /* Raw bytes with their length. */
    int PutValue(const char* field, const void* bytes, int length);
    /* A nested record. */
    int PutValue(const char* field, const DravoData& record);
    /* length UTF-16 code units of text. */
    int PutValueUtf16(const char* field, const char16_t* text, int length);
    /* The one generic entry the putters share: size bytes of the given kind.
     * Records are passed as their serialised form (DravoPlus::SerializeRecord). */
    int PutValueImpl(const char* field, DravoFieldKind kind, const void* data, std::size_t size);

    /* Getters: 0 on success, DRAVO_UNKNOWN_FIELD or DRAVO_WRONG_KIND
     * otherwise (the out value is then zero or empty). */
    template <typename T, std::enable_if_t<std::is_arithmetic_v<T> && !std::is_same_v<T, bool>, int> = 0>
    int GetValue(const char* field, T& out) const
    {
        return GetValueImpl(field, DravoKindOf<T>(), &out, sizeof out);
    }
    /* A text field's characters up to the first zero, a bytes field's bytes
     * (all of a fixed one), or a zero-terminated variable text. */
    int GetValue(const char* field, std::string& out) const;
    int GetValue(const char* field, std::u16string& out) const;
    int GetValue(const char* field, DravoData& out) const;
    int GetValueImpl(const char* field, DravoFieldKind kind, void* out, std::size_t size) const;

    /* Integer getters: the field converted to the width named, 0 when the
     * field is missing or not a number. */
    std::int32_t GetSignedIntValue(const char* field) const;
    std::uint32_t GetUnSignedIntValue(const char* field) const;
    std::int16_t GetShortValue(const char* field) const;
    double GetDoubleValue(const char* field) const;
    /* A UTF-16 text field up to its first zero; empty when missing. */
    std::u16string GetWStringValue(const char* field) const;

    /* True when the field is in the record: any fixed field of its type, or
     * a variable field that was put. */
    bool HasField(const char* field) const;
    /* The variable fields in the order they were put. */
    std::vector<std::string> VariableFieldNames() const;

    /* For the middleware's own use. */
    const DravoRecordType* recordType() const;

    template <typename T>
    static constexpr DravoFieldKind DravoKindOf()
    {
        if constexpr (std::is_floating_point_v<T>)
            return sizeof(T) == 4 ? DravoKindFloat : DravoKindDouble;
        else if constexpr (std::is_signed_v<T>)
            return sizeof(T) == 1 ? DravoKindInt8 : sizeof(T) == 2 ? DravoKindInt16
                 : sizeof(T) == 4 ? DravoKindInt32 : DravoKindInt64;
        else
            return sizeof(T) == 1 ? DravoKindUInt8 : sizeof(T) == 2 ? DravoKindUInt16
                 : sizeof(T) == 4 ? DravoKindUInt32 : DravoKindUInt64;
    }

    struct VariableField {
        std::string name;
        DravoFieldKind kind;
        std::string bytes;
    };
    const std::vector<VariableField>& variableFields() const;

private:
    friend class DravoPartialData;
    /* What a record holds. Copies of a record share it until one of them is
     * changed, which first gives that copy its own: a burst of changes
     * passes each record through several lists, maps and signals, and a
     * copy then costs a count, not an allocation and the record's bytes. */
    struct Contents;
    const Contents& contents() const;
    /* The contents for changing, this record's own. */
    Contents& edit();
    /* The contents for a raw value of size bytes that replaces the present
     * one (which is then not copied). */
    Contents& editForRaw(std::size_t size);
    Contents& replaceRaw(const DravoRecordType* type, const char* bytes, std::size_t size);

    Contents* m_contents = nullptr;   /* null: an empty nameless record */
};

/* A record is one pointer that may be moved in memory as it is, so Qt's
 * containers hold it in place rather than in a node of its own. Only code
 * built with Qt can hold records in Qt's containers, and all of it sees
 * this. */
#if defined(__has_include)
#if __has_include(<QtCore/qtypeinfo.h>)
#include <QtCore/qtypeinfo.h>
Q_DECLARE_TYPEINFO(DravoData, Q_MOVABLE_TYPE);
#endif
#endif

class DRAVOPLUS_EXPORT DravoPartialData
{
public:
    DravoPartialData();
    /* Some fields of a record of the named type; an unknown type gives a
     * partial record that is not IsGood() and refuses every put. */
    explicit DravoPartialData(const char* typeName, const char* dataName = nullptr);

    bool IsGood() const;
    const char* GetTypeName() const;
    const char* GetDataName() const;
    void SetFullName(const char* dataName);

    template <typename T, std::enable_if_t<std::is_arithmetic_v<T> && !std::is_same_v<T, bool>, int> = 0>
    int PutValue(const char* field, T value)
    {
        return putValue(field, DravoData::DravoKindOf<T>(), &value, sizeof value);
    }
    int PutValue(const char* field, const char* text);
    int PutValue(const char* field, const std::string& text);
    int PutValue(const char* field, const void* bytes, int length);
    int PutValueUtf16(const char* field, const char16_t* text, int length);
    /* The generic entry the putters share. Only fixed fields of the type can
     * be written partially; putting a field again replaces its value. */
    int putValue(const char* field, DravoFieldKind kind, const void* data, std::size_t size);

    struct Field {
        std::string name;
        DravoFieldKind kind;
        std::string bytes;
    };
    /* The fields in the order they were first put. */
    const std::vector<Field>& fields() const { return m_fields; }
    int FieldCount() const { return static_cast<int>(m_fields.size()); }
    /* Applies the fields to a whole record by name (the record's own type
     * decides positions and widths). Nothing changes unless every field
     * fits. */
    int ApplyTo(DravoData& record) const;

private:
    const DravoRecordType* m_type = nullptr;
    std::string m_typeName;
    std::string m_dataName;
    std::vector<Field> m_fields;
};

class DRAVOPLUS_EXPORT DravoDataList
{
public:
    DravoDataList();
    DravoDataList(const DravoDataList&) = delete;
    DravoDataList& operator=(const DravoDataList&) = delete;
    DravoDataList(DravoDataList&&) noexcept;
    DravoDataList& operator=(DravoDataList&&) noexcept;
    ~DravoDataList();

    int size() const { return static_cast<int>(m_records.size()); }
    int count() const { return size(); }
    bool isEmpty() const { return m_records.empty(); }
    DravoData& operator[](int i) { return m_records[static_cast<std::size_t>(i)]; }
    const DravoData& operator[](int i) const { return m_records[static_cast<std::size_t>(i)]; }
    const DravoData& at(int i) const { return m_records.at(static_cast<std::size_t>(i)); }
    std::vector<DravoData>::iterator begin() { return m_records.begin(); }
    std::vector<DravoData>::iterator end() { return m_records.end(); }
    std::vector<DravoData>::const_iterator begin() const { return m_records.begin(); }
    std::vector<DravoData>::const_iterator end() const { return m_records.end(); }

    /* For the middleware and for callers that build a batch. */
    void append(const DravoData& record) { m_records.push_back(record); }
    void append(DravoData&& record) { m_records.push_back(std::move(record)); }
    void clear();
    std::vector<DravoData>& records() { return m_records; }

private:
    std::vector<DravoData> m_records;
};

#endif
