/*
 * recordtext.cpp: decoding records for display and encoding typed values.
 *
 * Everything goes through the data dictionary: a field's kind decides how its
 * bytes read and how a typed value is converted, so a new record type in the
 * dictionary is shown and written without a change here.
 */
#include "recordtext.h"

#include <QtCore/QString>

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <iomanip>
#include <sstream>
#include <type_traits>

namespace inspector {

namespace {

template <typename T>
std::string numberText(const char* bytes, std::size_t size)
{
    if (size < sizeof(T))
        return "<short field>";
    T value;
    std::memcpy(&value, bytes, sizeof value);
    std::ostringstream text;
    if constexpr (std::is_floating_point_v<T>)
        text << std::setprecision(std::is_same_v<T, float> ? 9 : 17) << value;
    else if constexpr (sizeof(T) == 1)
        text << static_cast<int>(value);
    else
        text << value;
    return text.str();
}

/* One byte as it may reach a terminal: a backslash doubled, a control
 * character as \xNN (an escape sequence from the server would otherwise
 * retitle or reprogram the operator's terminal), any other byte as it is. */
void appendPrintable(std::string& out, char ch)
{
    const unsigned char c = static_cast<unsigned char>(ch);
    if (c == '\\') {
        out += "\\\\";
    } else if (c < 0x20 || c == 0x7F) {
        char escape[8];
        std::snprintf(escape, sizeof escape, "\\x%02x", c);
        out += escape;
    } else {
        out += ch;
    }
}

/* Length of the UTF-8 sequence a lead byte starts, 0 for a byte that cannot
 * start one. */
int sequenceLength(unsigned char lead)
{
    if (lead < 0x80)
        return 1;
    if ((lead & 0xE0) == 0xC0)
        return 2;
    if ((lead & 0xF0) == 0xE0)
        return 3;
    if ((lead & 0xF8) == 0xF0)
        return 4;
    return 0;
}

/* Malformed sequences become U+FFFD, one per offending byte. */
std::u16string utf8ToUtf16(const std::string& text)
{
    std::u16string out;
    for (std::size_t i = 0; i < text.size();) {
        const unsigned char lead = static_cast<unsigned char>(text[i]);
        const int length = sequenceLength(lead);
        bool valid = length > 0 && i + static_cast<std::size_t>(length) <= text.size();
        char32_t c = length == 1 ? lead : lead & (0x7F >> length);
        for (int k = 1; valid && k < length; ++k) {
            const unsigned char next = static_cast<unsigned char>(text[i + static_cast<std::size_t>(k)]);
            valid = (next & 0xC0) == 0x80;
            c = (c << 6) | (next & 0x3F);
        }
        if (!valid) {
            out += u'\xFFFD';
            ++i;
            continue;
        }
        if (c >= 0x10000) {
            c -= 0x10000;
            out += static_cast<char16_t>(0xD800 + (c >> 10));
            out += static_cast<char16_t>(0xDC00 + (c & 0x3FF));
        } else {
            out += static_cast<char16_t>(c);
        }
        i += static_cast<std::size_t>(length);
    }
    return out;
}

/* Double quotes around the text, quotes escaped as well, so that every byte
 * of the value is visible. */
std::string quoted(const std::string& text)
{
    std::string out = "\"";
    for (const char ch : text) {
        if (ch == '"')
            out += "\\\"";
        else
            appendPrintable(out, ch);
    }
    return out + "\"";
}

std::string hexText(const char* bytes, std::size_t size)
{
    static const char digits[] = "0123456789abcdef";
    std::string out;
    for (std::size_t i = 0; i < size; ++i) {
        const unsigned char c = static_cast<unsigned char>(bytes[i]);
        out += digits[c >> 4];
        out += digits[c & 0x0F];
    }
    return out;
}

/* Fixed byte fields are mostly zero padding: the padding is counted, not
 * printed. */
std::string bytesText(const char* bytes, std::size_t size)
{
    std::size_t used = size;
    while (used > 0 && bytes[used - 1] == 0)
        --used;
    std::string text = used ? hexText(bytes, used) : std::string("(empty)");
    if (used < size)
        text += " +" + std::to_string(size - used) + " zero bytes";
    return text;
}

std::string textUpToZero(const char* bytes, std::size_t size)
{
    const char* end = static_cast<const char*>(std::memchr(bytes, 0, size));
    return std::string(bytes, end ? static_cast<std::size_t>(end - bytes) : size);
}

std::u16string utf16UpToZero(const char* bytes, std::size_t size)
{
    std::u16string text;
    for (std::size_t i = 0; i + 1 < size; i += 2) {
        char16_t unit;
        std::memcpy(&unit, bytes + i, sizeof unit);
        if (unit == 0)
            break;
        text += unit;
    }
    return text;
}

bool lookUpField(const char* type, const std::string& field, DravoFieldInfo& out)
{
    DravoTypeInfo info;
    if (DravoPlus::GetTypeInfo(type, info) != DRAVO_OK)
        return false;
    /* "values[3]" is an element of the indexed field "values[]". */
    const std::size_t bracket = field.find('[');
    const std::string indexed = bracket == std::string::npos ? std::string() : field.substr(0, bracket) + "[]";
    for (const DravoFieldInfo& f : info.fields) {
        if (f.name == field || (!indexed.empty() && f.name == indexed)) {
            out = f;
            return true;
        }
    }
    return false;
}

bool parseHex(const std::string& text, std::string& out)
{
    std::string digits = text.rfind("0x", 0) == 0 ? text.substr(2) : text;
    if (digits.size() % 2 != 0)
        return false;
    out.clear();
    for (std::size_t i = 0; i < digits.size(); i += 2) {
        char* end = nullptr;
        const std::string pair = digits.substr(i, 2);
        const long byte = std::strtol(pair.c_str(), &end, 16);
        if (*end != '\0' || !std::isxdigit(static_cast<unsigned char>(pair[0])))
            return false;
        out += static_cast<char>(byte);
    }
    return true;
}

bool isIntegerKind(DravoFieldKind kind)
{
    return kind >= DravoKindInt8 && kind <= DravoKindUInt64;
}

/* Integers go in as the widest signed or unsigned type that holds them; the
 * middleware decides whether the field's width takes the value. */
template <typename Record>
int putInteger(Record& record, const FieldAssignment& a, std::string& problem)
{
    const char* text = a.value.c_str();
    char* end = nullptr;
    errno = 0;
    const long long value = std::strtoll(text, &end, 0);
    if (errno == 0 && end != text && *end == '\0')
        return record.PutValue(a.field.c_str(), value);
    errno = 0;
    const unsigned long long big = std::strtoull(text, &end, 0);
    if (errno == 0 && end != text && *end == '\0' && a.value[0] != '-')
        return record.PutValue(a.field.c_str(), big);
    problem = "\"" + a.value + "\" is not an integer";
    return DRAVO_WRONG_KIND;
}

template <typename Record>
int putFloating(Record& record, const FieldAssignment& a, std::string& problem)
{
    const char* text = a.value.c_str();
    char* end = nullptr;
    const double value = std::strtod(text, &end);
    if (end == text || *end != '\0') {
        problem = "\"" + a.value + "\" is not a number";
        return DRAVO_WRONG_KIND;
    }
    return record.PutValue(a.field.c_str(), value);
}

template <typename Record>
int putBytes(Record& record, const FieldAssignment& a, std::string& problem)
{
    std::string bytes;
    if (!parseHex(a.value, bytes)) {
        problem = "\"" + a.value + "\" is not an even number of hex digits";
        return DRAVO_WRONG_KIND;
    }
    return record.PutValue(a.field.c_str(), bytes.data(), static_cast<int>(bytes.size()));
}

template <typename Record>
int putTyped(Record& record, const FieldAssignment& a, std::string& problem)
{
    DravoFieldInfo field;
    if (!lookUpField(record.GetTypeName(), a.field, field)) {
        problem = std::string(record.GetTypeName()) + " has no field " + a.field;
        return DRAVO_UNKNOWN_FIELD;
    }
    if (isIntegerKind(field.kind))
        return putInteger(record, a, problem);
    switch (field.kind) {
    case DravoKindFloat:
    case DravoKindDouble:
        return putFloating(record, a, problem);
    case DravoKindText:
    case DravoKindAny:
        return record.PutValue(a.field.c_str(), a.value);
    case DravoKindUtf16: {
        const std::u16string text = utf8ToUtf16(a.value);
        return record.PutValueUtf16(a.field.c_str(), text.data(), static_cast<int>(text.size()));
    }
    case DravoKindBytes:
        return putBytes(record, a, problem);
    default:
        problem = "field " + a.field + " holds a nested record, which cannot be typed as one value";
        return DRAVO_WRONG_KIND;
    }
}

void printLine(std::ostream& out, int indent, const std::string& name, std::size_t width, const std::string& value)
{
    out << std::string(static_cast<std::size_t>(indent) + 2, ' ') << std::left
        << std::setw(static_cast<int>(width)) << name << " = " << value << '\n';
}

void printNested(std::ostream& out, int indent, const std::string& name, std::size_t width, const std::string& bytes)
{
    DravoData nested;
    if (DravoPlus::DeserializeRecord(bytes.data(), bytes.size(), nested) != DRAVO_OK) {
        printLine(out, indent, name, width, "<damaged record, " + std::to_string(bytes.size()) + " bytes>");
        return;
    }
    printLine(out, indent, name, width, "");
    printRecord(out, nested, indent + 4);
}

std::size_t nameWidth(const DravoTypeInfo& info, const DravoData& record)
{
    std::size_t width = 0;
    for (const DravoFieldInfo& f : info.fields)
        if (f.offset >= 0)
            width = std::max(width, f.name.size());
    for (const DravoData::VariableField& v : record.variableFields())
        width = std::max(width, v.name.size());
    return width;
}

void printFixedFields(std::ostream& out, const DravoData& record, const DravoTypeInfo& info, int indent,
                      std::size_t width)
{
    const std::size_t buffer = static_cast<std::size_t>(record.GetBufferSize());
    for (const DravoFieldInfo& f : info.fields) {
        if (f.offset < 0)
            continue;
        const std::size_t offset = static_cast<std::size_t>(f.offset);
        const std::size_t size = static_cast<std::size_t>(f.size);
        if (offset + size > buffer)
            printLine(out, indent, f.name, width, "<outside the record>");
        else
            printLine(out, indent, f.name, width, valueText(f.kind, record.GetRawValue() + offset, size));
    }
    if (buffer > static_cast<std::size_t>(info.size)) {
        const std::size_t extra = buffer - static_cast<std::size_t>(info.size);
        printLine(out, indent, "(appended)", width,
                  std::to_string(extra) + " bytes " + hexText(record.GetRawValue() + info.size, extra));
    }
}

void printVariableFields(std::ostream& out, const DravoData& record, int indent, std::size_t width)
{
    for (const DravoData::VariableField& v : record.variableFields()) {
        if (v.kind == DravoKindRecord)
            printNested(out, indent, printable(v.name), width, v.bytes);
        else
            printLine(out, indent, printable(v.name), width, valueText(v.kind, v.bytes.data(), v.bytes.size()));
    }
}

} // namespace

std::string printable(const std::string& text)
{
    std::string out;
    for (const char ch : text)
        appendPrintable(out, ch);
    return out;
}

std::string utf8(const std::u16string& text)
{
    return QString::fromUtf16(text.data(), static_cast<int>(text.size())).toStdString();
}

std::string valueText(DravoFieldKind kind, const char* bytes, std::size_t size)
{
    switch (kind) {
    case DravoKindInt8: return numberText<std::int8_t>(bytes, size);
    case DravoKindUInt8: return numberText<std::uint8_t>(bytes, size);
    case DravoKindInt16: return numberText<std::int16_t>(bytes, size);
    case DravoKindUInt16: return numberText<std::uint16_t>(bytes, size);
    case DravoKindInt32: return numberText<std::int32_t>(bytes, size);
    case DravoKindUInt32: return numberText<std::uint32_t>(bytes, size);
    case DravoKindInt64: return numberText<std::int64_t>(bytes, size);
    case DravoKindUInt64: return numberText<std::uint64_t>(bytes, size);
    case DravoKindFloat: return numberText<float>(bytes, size);
    case DravoKindDouble: return numberText<double>(bytes, size);
    case DravoKindText: return quoted(textUpToZero(bytes, size));
    case DravoKindUtf16: return quoted(utf8(utf16UpToZero(bytes, size)));
    default: return bytesText(bytes, size);
    }
}

void printRecord(std::ostream& out, const DravoData& record, int indent)
{
    const std::string pad(static_cast<std::size_t>(indent), ' ');
    const std::string name = *record.GetDataName() ? printable(record.GetDataName()) : "(no name)";
    const std::string type = record.GetTypeName();
    if (type.empty()) {
        out << pad << name << " (untyped, " << record.GetBufferSize() << " bytes) "
            << bytesText(record.GetRawValue(), static_cast<std::size_t>(record.GetBufferSize())) << '\n';
        return;
    }
    DravoTypeInfo info;
    if (DravoPlus::GetTypeInfo(type.c_str(), info) != DRAVO_OK) {
        out << pad << name << " (" << printable(type) << ": not in the dictionary)\n";
        return;
    }
    out << pad << name << " (" << type << ", " << record.GetBufferSize() << " bytes)\n";
    const std::size_t width = nameWidth(info, record);
    printFixedFields(out, record, info, indent, width);
    printVariableFields(out, record, indent, width);
}

bool splitAssignment(const std::string& argument, FieldAssignment& out)
{
    const std::size_t equals = argument.find('=');
    if (equals == std::string::npos || equals == 0)
        return false;
    out.field = argument.substr(0, equals);
    out.value = argument.substr(equals + 1);
    return true;
}

int putField(DravoData& record, const FieldAssignment& assignment, std::string& problem)
{
    return putTyped(record, assignment, problem);
}

int putField(DravoPartialData& partial, const FieldAssignment& assignment, std::string& problem)
{
    return putTyped(partial, assignment, problem);
}

} // namespace inspector
