/*
 * fieldcodec.cpp: the conversion rules between put values and field bytes.
 */
#include "fieldcodec.h"

#include <DravoPlus/DravoPlus.h>

#include <cfloat>
#include <cmath>
#include <cstring>
#include <limits>

namespace dravo {

namespace {

/* A number as read from its bytes, before it is written in another width. */
struct Number {
    bool isFloat = false;
    bool isSigned = false;
    std::int64_t i = 0;
    std::uint64_t u = 0;
    double d = 0;
};

template <typename T>
T load(const char* p)
{
    T v;
    std::memcpy(&v, p, sizeof v);
    return v;
}

bool readNumber(DravoFieldKind kind, const char* p, std::size_t size, Number& n)
{
    if (!isNumeric(kind) || size < static_cast<std::size_t>(scalarSize(kind)))
        return false;
    n = Number();
    switch (kind) {
    case DravoKindInt8: n.isSigned = true; n.i = load<std::int8_t>(p); break;
    case DravoKindInt16: n.isSigned = true; n.i = load<std::int16_t>(p); break;
    case DravoKindInt32: n.isSigned = true; n.i = load<std::int32_t>(p); break;
    case DravoKindInt64: n.isSigned = true; n.i = load<std::int64_t>(p); break;
    case DravoKindUInt8: n.u = load<std::uint8_t>(p); break;
    case DravoKindUInt16: n.u = load<std::uint16_t>(p); break;
    case DravoKindUInt32: n.u = load<std::uint32_t>(p); break;
    case DravoKindUInt64: n.u = load<std::uint64_t>(p); break;
    case DravoKindFloat: n.isFloat = true; n.d = load<float>(p); break;
    case DravoKindDouble: n.isFloat = true; n.d = load<double>(p); break;
    default: return false;
    }
    return true;
}

template <typename T>
void store(char* p, T v)
{
    std::memcpy(p, &v, sizeof v);
}

template <typename T>
bool fitsInteger(const Number& n)
{
    if (n.isSigned) {
        if constexpr (std::is_signed_v<T>)
            return n.i >= std::numeric_limits<T>::min() && n.i <= std::numeric_limits<T>::max();
        else
            return n.i >= 0 && static_cast<std::uint64_t>(n.i) <= std::numeric_limits<T>::max();
    }
    return n.u <= static_cast<std::uint64_t>(std::numeric_limits<T>::max());
}

/* A C-style conversion that never invokes undefined behaviour: floating
 * values outside the target's range saturate, NaN becomes 0. */
template <typename T>
T convert(const Number& n)
{
    if (!n.isFloat)
        return n.isSigned ? static_cast<T>(n.i) : static_cast<T>(n.u);
    if constexpr (std::is_floating_point_v<T>) {
        return static_cast<T>(n.d);
    } else {
        if (std::isnan(n.d))
            return 0;
        if (n.d <= static_cast<double>(std::numeric_limits<T>::min()))
            return std::numeric_limits<T>::min();
        if (n.d >= static_cast<double>(std::numeric_limits<T>::max()))
            return std::numeric_limits<T>::max();
        return static_cast<T>(n.d);
    }
}

template <typename T>
void write(char* out, const Number& n)
{
    store<T>(out, convert<T>(n));
}

void writeNumber(DravoFieldKind kind, const Number& n, char* out)
{
    switch (kind) {
    case DravoKindInt8: write<std::int8_t>(out, n); break;
    case DravoKindInt16: write<std::int16_t>(out, n); break;
    case DravoKindInt32: write<std::int32_t>(out, n); break;
    case DravoKindInt64: write<std::int64_t>(out, n); break;
    case DravoKindUInt8: write<std::uint8_t>(out, n); break;
    case DravoKindUInt16: write<std::uint16_t>(out, n); break;
    case DravoKindUInt32: write<std::uint32_t>(out, n); break;
    case DravoKindUInt64: write<std::uint64_t>(out, n); break;
    case DravoKindFloat: write<float>(out, n); break;
    case DravoKindDouble: write<double>(out, n); break;
    default: break;
    }
}

/* Whether a put value n of a number kind may go into a field of kind target. */
int checkNumber(DravoFieldKind target, const Number& n)
{
    switch (target) {
    case DravoKindFloat:
        if (n.isFloat && std::isfinite(n.d) && std::fabs(n.d) > FLT_MAX)
            return DRAVO_OUT_OF_RANGE;
        return DRAVO_OK;
    case DravoKindDouble:
        return DRAVO_OK;
    default:
        break;
    }
    if (n.isFloat)
        return DRAVO_WRONG_KIND;
    bool fits = false;
    switch (target) {
    case DravoKindInt8: fits = fitsInteger<std::int8_t>(n); break;
    case DravoKindInt16: fits = fitsInteger<std::int16_t>(n); break;
    case DravoKindInt32: fits = fitsInteger<std::int32_t>(n); break;
    case DravoKindInt64: fits = fitsInteger<std::int64_t>(n); break;
    case DravoKindUInt8: fits = fitsInteger<std::uint8_t>(n); break;
    case DravoKindUInt16: fits = fitsInteger<std::uint16_t>(n); break;
    case DravoKindUInt32: fits = fitsInteger<std::uint32_t>(n); break;
    case DravoKindUInt64: fits = fitsInteger<std::uint64_t>(n); break;
    default: return DRAVO_WRONG_KIND;
    }
    return fits ? DRAVO_OK : DRAVO_OUT_OF_RANGE;
}

int encodeNumber(const DravoFieldDef& def, DravoFieldKind kind, const char* data, std::size_t size, std::string& out)
{
    Number n;
    if (!readNumber(kind, data, size, n))
        return DRAVO_WRONG_KIND;
    if (int rc = checkNumber(def.kind, n))
        return rc;
    out.assign(static_cast<std::size_t>(scalarSize(def.kind)), '\0');
    writeNumber(def.kind, n, out.data());
    return DRAVO_OK;
}

bool textual(DravoFieldKind kind)
{
    return kind == DravoKindText || kind == DravoKindBytes;
}

/* Whether a value of kind may be stored in a field of kind target, apart
 * from its size. */
bool compatible(DravoFieldKind target, DravoFieldKind kind)
{
    if (textual(target))
        return textual(kind);
    if (target == DravoKindAny)
        return textual(kind) || kind == DravoKindRecord;
    return target == kind;
}

} // namespace

bool isNumeric(DravoFieldKind kind)
{
    return kind >= DravoKindInt8 && kind <= DravoKindDouble;
}

int encodeField(const DravoFieldDef& def, DravoFieldKind kind, const void* data, std::size_t size,
                std::string& out, DravoFieldKind& storedKind)
{
    if (!data && size > 0)
        return DRAVO_BAD_ARGUMENT;
    const char* bytes = static_cast<const char*>(data);
    if (isNumeric(def.kind)) {
        storedKind = def.kind;
        return isNumeric(kind) ? encodeNumber(def, kind, bytes, size, out) : DRAVO_WRONG_KIND;
    }
    if (!compatible(def.kind, kind))
        return DRAVO_WRONG_KIND;
    if (kind == DravoKindRecord) {
        DravoData nested;
        if (DravoPlus::DeserializeRecord(bytes, size, nested) != DRAVO_OK)
            return DRAVO_MALFORMED;
        if (!def.recordType.empty() && def.recordType != nested.GetTypeName())
            return DRAVO_WRONG_KIND;
    }
    if (kind == DravoKindUtf16 && size % 2 != 0)
        return DRAVO_BAD_ARGUMENT;
    if (def.isFixed()) {
        if (size > static_cast<std::size_t>(def.size))
            return DRAVO_OUT_OF_RANGE;
        out.assign(static_cast<std::size_t>(def.size), '\0');
        if (size > 0)
            std::memcpy(out.data(), bytes, size);
        storedKind = def.kind;
        return DRAVO_OK;
    }
    out.assign(bytes, size);
    storedKind = def.kind == DravoKindAny ? kind : def.kind;
    return DRAVO_OK;
}

int decodeNumber(DravoFieldKind kind, const char* bytes, std::size_t size, DravoFieldKind wanted, void* out)
{
    Number n;
    if (!isNumeric(wanted) || !readNumber(kind, bytes, size, n))
        return DRAVO_WRONG_KIND;
    writeNumber(wanted, n, static_cast<char*>(out));
    return DRAVO_OK;
}

} // namespace dravo
