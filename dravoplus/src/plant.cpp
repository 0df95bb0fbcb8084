/*
 * plant.cpp: loading a plant file into the point database (LoadPlant).
 *
 * A plant file is the JSON description of one plant: its stations, its
 * communication channels, the remote units (RTUs) polled over them and the
 * status, analog and text points those RTUs report. Loading it writes every
 * object's record ("STATION<id>", "COMMLINK<id>", "REMOTEUNIT<id>",
 * "STATUS<id>", "ANALOG<id>", "TEXT<id>"), the name-index record that lets
 * clients find the object by name (the point's own name, "@C::<channel>",
 * "@R::<device>", "@::<station>") and the ":marker" probe record.
 *
 * The whole file is read and checked before anything reaches the server, and
 * the records then go out in a single PutDataPoints batch: a typo in the
 * ten-thousandth point must not leave half a plant behind, and commissioning
 * engineers get one clear message naming the file, the object and the
 * problem instead of a database that is quietly wrong.
 *
 * The format, member by member:
 *
 *   plant        string, required       the plant's name
 *   description  string                 free text
 *   stations     array, required        {id, name, description, tag}
 *   channels     array, required        {id, name, station, driver, protocol,
 *                                        primaryAddress, secondaryAddress,
 *                                        description}
 *   remoteUnits  array, required        {id, name, channel, station, address,
 *                                        tag, quality, scanEnable, description}
 *   points       object, required       {status: [...], analog: [...], text: [...]}
 *     every point                       {id, name, rtu, address, description,
 *                                        tag, quality, scanEnable, alarmEnable}
 *     status                            + state, normalState, alarmPriority
 *     analog                            + value, unit, lowLimit, highLimit,
 *                                          lowLowLimit, highHighLimit, rangeLow,
 *                                          rangeHigh, deadband, rocLimit
 *     text                              + value (text), dataFormat
 *
 * Every object also takes a "comment" string that is not loaded. Unknown
 * members are refused, so that a misspelt limit does not silently vanish.
 */
#include <DravoPlus/DravoPlus.h>

#include "clientstate.h"

#include <rapidjson/document.h>
#include <rapidjson/error/en.h>

#include <cerrno>
#include <cfloat>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <exception>
#include <filesystem>
#include <fstream>
#include <initializer_list>
#include <map>
#include <new>
#include <optional>
#include <string>
#include <unordered_map>
#include <unordered_set>
#include <utility>
#include <vector>

namespace {

using Json = rapidjson::Value;

/* Id ranges. The server's record names and the operator side's readers
 * both tell a point's kind by its id alone, so the ranges are hard rules. */
constexpr std::int64_t kStatusFirst = 100001;
constexpr std::int64_t kStatusLast = 200000;
constexpr std::int64_t kAnalogFirst = 200001;
constexpr std::int64_t kAnalogLast = 3000000;
constexpr std::int64_t kTextFirst = 3000001;
constexpr std::int64_t kInt32Max = 2147483647;
constexpr std::int64_t kInt32Min = -2147483647 - 1;
constexpr std::int64_t kUInt32Max = 4294967295;
/* A point record keeps its RTU in a 16-bit "rtuId". */
constexpr std::int64_t kRemoteUnitLast = 32767;

/* A real plant file is a few megabytes; anything far beyond is not one. */
constexpr std::uintmax_t kMaxFileBytes = 256u * 1024u * 1024u;

/* Object types of the name-index records. */
constexpr std::int32_t kObjectStatus = 0;
constexpr std::int32_t kObjectAnalog = 1;
constexpr std::int32_t kObjectRemoteUnit = 2;
constexpr std::int32_t kObjectChannel = 3;
constexpr std::int32_t kObjectText = 5;
constexpr std::int32_t kObjectOther = 7;

/* Status states: single points use 0 and 1, double points 0..3. */
constexpr std::int64_t kStatusStateLast = 3;

/* ---- Failures ------------------------------------------------------------ */

/* A reason the plant cannot be loaded. Thrown inside this file only; LoadPlant
 * turns it into a result code and a message. */
struct PlantError {
    int code;
    std::string text;   /* everything after "<path>: " */
};

[[noreturn]] void fail(const std::string& text, int code = DRAVO_CONFIG_ERROR)
{
    throw PlantError{code, text};
}

/* The middleware's own text of a result code, in UTF-8. */
std::string resultText(int code)
{
    std::string out;
    const char16_t* s = DravoPlus::GetErrorString(code);
    for (; s && *s; ++s) {
        char32_t c = *s;
        if (c >= 0xD800 && c <= 0xDBFF && s[1] >= 0xDC00 && s[1] <= 0xDFFF) {
            c = 0x10000 + ((c - 0xD800) << 10) + (static_cast<char32_t>(s[1]) - 0xDC00);
            ++s;
        }
        if (c < 0x80) {
            out += static_cast<char>(c);
        } else if (c < 0x800) {
            out += static_cast<char>(0xC0 | (c >> 6));
            out += static_cast<char>(0x80 | (c & 0x3F));
        } else if (c < 0x10000) {
            out += static_cast<char>(0xE0 | (c >> 12));
            out += static_cast<char>(0x80 | ((c >> 6) & 0x3F));
            out += static_cast<char>(0x80 | (c & 0x3F));
        } else {
            out += static_cast<char>(0xF0 | (c >> 18));
            out += static_cast<char>(0x80 | ((c >> 12) & 0x3F));
            out += static_cast<char>(0x80 | ((c >> 6) & 0x3F));
            out += static_cast<char>(0x80 | (c & 0x3F));
        }
    }
    return out + " (code " + std::to_string(code) + ")";
}

/* Where in the file an object sits, for messages: "points.analog[3]" until
 * its name is known, then "analog point 'X' (points.analog[3])". */
class Where
{
public:
    Where(std::string kind, std::string path) : m_kind(std::move(kind)), m_path(std::move(path)) {}
    void setName(const std::string& name) { m_name = name; }
    const std::string& path() const { return m_path; }
    std::string text() const
    {
        if (m_name.empty() || m_kind.empty())
            return m_path;
        return m_kind + " '" + m_name + "' (" + m_path + ")";
    }

private:
    std::string m_kind;
    std::string m_path;
    std::string m_name;
};

/* ---- Reading the file ------------------------------------------------------ */

/* Line and column (both from 1, columns in bytes) of a byte offset. */
std::string position(const std::string& text, std::size_t offset)
{
    if (offset > text.size())
        offset = text.size();
    std::size_t line = 1;
    std::size_t lineStart = 0;
    for (std::size_t i = 0; i < offset; ++i) {
        if (text[i] == '\n') {
            ++line;
            lineStart = i + 1;
        }
    }
    return "line " + std::to_string(line) + " column " + std::to_string(offset - lineStart + 1);
}

std::string readFile(const std::string& path)
{
    namespace fs = std::filesystem;
    std::error_code ec;
    const fs::file_status st = fs::status(path, ec);
    if (!fs::exists(st))
        fail("cannot open the file: " + (ec ? ec.message() : std::string("no such file")));
    if (fs::is_directory(st))
        fail("is a directory, not a plant file");
    if (!fs::is_regular_file(st))
        fail("is not a regular file");

    std::ifstream in(path, std::ios::binary);
    if (!in)
        fail(std::string("cannot open the file: ") + std::strerror(errno));
    std::string data;
    char chunk[65536];
    while (in.read(chunk, sizeof chunk) || in.gcount() > 0) {
        data.append(chunk, static_cast<std::size_t>(in.gcount()));
        if (data.size() > kMaxFileBytes)
            fail("the file is larger than " + std::to_string(kMaxFileBytes / (1024 * 1024))
                 + " MiB; that is no plant file");
    }
    if (in.bad())
        fail(std::string("cannot read the file: ") + std::strerror(errno));
    return data;
}

void parse(const std::string& text, rapidjson::Document& doc)
{
    /* A UTF-8 byte order mark, as some editors write it, is not JSON. */
    const std::size_t start = text.compare(0, 3, "\xEF\xBB\xBF") == 0 ? 3 : 0;
    if (text.find_first_not_of(" \t\r\n", start) == std::string::npos)
        fail("the file is empty");
    /* The parser would take a NUL as the end of the text. */
    const std::size_t nul = text.find('\0', start);
    if (nul != std::string::npos)
        fail(position(text, nul) + ": the file holds a NUL byte; a plant file is JSON text");

    /* Iterative parsing: deeply nested input must not exhaust the stack. */
    constexpr unsigned kFlags = rapidjson::kParseIterativeFlag | rapidjson::kParseValidateEncodingFlag;
    doc.Parse<kFlags>(text.data() + start, text.size() - start);
    if (doc.HasParseError())
        fail(position(text, start + doc.GetErrorOffset()) + ": parse error: "
             + rapidjson::GetParseError_En(doc.GetParseError()));
}

/* ---- Reading members ------------------------------------------------------- */

const char* jsonKind(const Json& v)
{
    if (v.IsNull())
        return "null";
    if (v.IsBool())
        return "a boolean";
    if (v.IsObject())
        return "an object";
    if (v.IsArray())
        return "an array";
    if (v.IsString())
        return "a string";
    return "a number";
}

std::string numberText(const Json& v)
{
    if (v.IsInt64())
        return std::to_string(v.GetInt64());
    if (v.IsUint64())
        return std::to_string(v.GetUint64());
    /* The shortest form that reads back as the same double. */
    const double d = v.GetDouble();
    char buf[64];
    std::snprintf(buf, sizeof buf, "%.15g", d);
    if (std::strtod(buf, nullptr) != d)
        std::snprintf(buf, sizeof buf, "%.17g", d);
    return buf;
}

/* The value of a whole number (integers, and doubles such as 1e3); false
 * when the number is whole but beyond 64 bits ("huge" then says so). */
bool wholeNumber(const Json& v, std::int64_t& out, bool& huge)
{
    huge = false;
    if (v.IsInt64()) {
        out = v.GetInt64();
        return true;
    }
    if (v.IsUint64()) {
        huge = true;
        return false;
    }
    const double d = v.GetDouble();
    if (!std::isfinite(d) || std::floor(d) != d)
        return false;
    if (d < -9.0e18 || d > 9.0e18) {
        huge = true;
        return false;
    }
    out = static_cast<std::int64_t>(d);
    return true;
}

std::string inQuotes(const std::string& s)
{
    return "'" + s + "'";
}

/* The members of one JSON object, checked against the names it may carry. */
class Members
{
public:
    Members(const Json& value, const Where& where, std::initializer_list<const char*> allowed)
        : m_where(where)
    {
        if (!value.IsObject())
            fail(m_where.text() + ": must be an object, not " + jsonKind(value));
        presetName(value);
        std::unordered_set<std::string> seen;
        for (auto it = value.MemberBegin(); it != value.MemberEnd(); ++it) {
            const std::string key(it->name.GetString(), it->name.GetStringLength());
            bool known = key == "comment";
            for (const char* a : allowed)
                known = known || key == a;
            if (!known)
                fail(m_where.text() + ": unknown member " + inQuotes(key));
            if (!seen.insert(key).second)
                fail(m_where.text() + ": member " + inQuotes(key) + " appears twice");
            if (key == "comment" && !it->value.IsString())
                fail(m_where.text() + ": member 'comment' must be a string, not " + jsonKind(it->value));
            m_members.emplace(key, &it->value);
        }
    }

    void setName(const std::string& name) { m_where.setName(name); }
    const Where& where() const { return m_where; }

private:
    /* Messages about the other members name the object as soon as it has a
     * usable name; the name itself is checked later. */
    void presetName(const Json& value)
    {
        const auto it = value.FindMember("name");
        if (it == value.MemberEnd() || !it->value.IsString() || it->value.GetStringLength() > 255)
            return;
        const std::string name(it->value.GetString(), it->value.GetStringLength());
        for (unsigned char c : name) {
            if (c < 0x20 || c == 0x7F)
                return;
        }
        m_where.setName(name);
    }

public:

    const Json* find(const char* key) const
    {
        const auto it = m_members.find(key);
        return it == m_members.end() ? nullptr : it->second;
    }

    const Json* require(const char* key) const
    {
        const Json* v = find(key);
        if (!v)
            fail(m_where.text() + ": missing required member " + inQuotes(key));
        return v;
    }

    /* A string member; absent optional ones give "". */
    std::string text(const char* key, bool required, std::size_t maxBytes) const
    {
        const Json* v = required ? require(key) : find(key);
        if (!v)
            return std::string();
        if (!v->IsString())
            fail(m_where.text() + ": member " + inQuotes(key) + " must be a string, not " + jsonKind(*v));
        std::string s(v->GetString(), v->GetStringLength());
        if (s.size() > maxBytes)
            fail(m_where.text() + ": " + key + " longer than " + std::to_string(maxBytes) + " bytes ("
                 + std::to_string(s.size()) + ")");
        return s;
    }

    /* A text stored zero-terminated: it must not hold a NUL itself. */
    std::string plainText(const char* key, bool required, std::size_t maxBytes) const
    {
        std::string s = text(key, required, maxBytes);
        if (s.find('\0') != std::string::npos)
            fail(m_where.text() + ": " + key + " holds a NUL character");
        return s;
    }

    /* A name: not empty, no control characters. */
    std::string name(std::size_t maxBytes) const
    {
        std::string s = text("name", true, maxBytes);
        if (s.empty())
            fail(m_where.text() + ": name is empty");
        for (unsigned char c : s) {
            if (c < 0x20 || c == 0x7F)
                fail(m_where.text() + ": name holds a control character");
        }
        if (s.front() == ' ' || s.back() == ' ')
            fail(m_where.text() + ": name " + inQuotes(s) + " begins or ends with a space");
        return s;
    }

    /* An integer member within [lo, hi]; rangeLabel names the range in
     * messages ("the analog range"). */
    std::int64_t integer(const char* key, bool required, std::int64_t lo, std::int64_t hi,
                         std::int64_t fallback, const char* rangeLabel = nullptr) const
    {
        const Json* v = required ? require(key) : find(key);
        if (!v)
            return fallback;
        if (!v->IsNumber())
            fail(m_where.text() + ": member " + inQuotes(key) + " must be an integer, not " + jsonKind(*v));
        std::int64_t n = 0;
        bool huge = false;
        const bool whole = wholeNumber(*v, n, huge);
        if (whole && n >= lo && n <= hi)
            return n;
        if (!whole && !huge)
            fail(m_where.text() + ": " + key + " " + numberText(*v) + " is not a whole number");
        fail(m_where.text() + ": " + key + " " + numberText(*v) + " is outside "
             + (rangeLabel ? std::string(rangeLabel) + " " : std::string())
             + std::to_string(lo) + ".." + std::to_string(hi));
    }

    double real(const char* key, double fallback) const
    {
        const Json* v = find(key);
        if (!v)
            return fallback;
        if (!v->IsNumber())
            fail(m_where.text() + ": member " + inQuotes(key) + " must be a number, not " + jsonKind(*v));
        return v->GetDouble();
    }

    /* A number kept in a 32-bit float field. */
    float single(const char* key, float fallback) const
    {
        const double d = real(key, fallback);
        if (!(std::fabs(d) <= static_cast<double>(FLT_MAX)))
            fail(m_where.text() + ": " + key + " " + numberText(*find(key)) + " does not fit a 32-bit float");
        return static_cast<float>(d);
    }

    bool boolean(const char* key, bool fallback) const
    {
        const Json* v = find(key);
        if (!v)
            return fallback;
        if (!v->IsBool())
            fail(m_where.text() + ": member " + inQuotes(key) + " must be true or false, not " + jsonKind(*v));
        return v->GetBool();
    }

    /* An array member, required. */
    const Json& array(const char* key) const
    {
        const Json* v = require(key);
        if (!v->IsArray())
            fail(m_where.text() + ": member " + inQuotes(key) + " must be an array, not " + jsonKind(*v));
        return *v;
    }

    const Json* optionalArray(const char* key) const
    {
        const Json* v = find(key);
        if (v && !v->IsArray())
            fail(m_where.text() + ": member " + inQuotes(key) + " must be an array, not " + jsonKind(*v));
        return v;
    }

private:
    Where m_where;
    std::unordered_map<std::string, const Json*> m_members;
};

/* ---- Field capacities from the dictionary ---------------------------------- */

/* How many bytes the dictionary gives each text field, so that the file is
 * checked against the real record layouts rather than copied numbers. */
class Capacities
{
public:
    /* Bytes a zero-terminated text field holds, its terminator excluded. */
    std::size_t text(const char* type, const char* field) { return size(type, field) - 1; }
    /* Bytes a raw field holds. */
    std::size_t bytes(const char* type, const char* field) { return size(type, field); }

private:
    std::size_t size(const char* type, const char* field)
    {
        const std::string key = std::string(type) + "." + field;
        const auto it = m_sizes.find(key);
        if (it != m_sizes.end())
            return it->second;
        DravoTypeInfo info;
        const int rc = DravoPlus::GetTypeInfo(type, info);
        if (rc != 0) {
            const std::string why = DravoPlus::DictionaryError();
            fail(std::string("the data dictionary has no record type ") + type
                     + (why.empty() ? std::string() : " (" + why + ")"),
                 why.empty() ? rc : DRAVO_DICTIONARY_ERROR);
        }
        for (const DravoFieldInfo& f : info.fields) {
            if (f.name == field && f.offset >= 0 && f.size > 1) {
                m_sizes.emplace(key, static_cast<std::size_t>(f.size));
                return static_cast<std::size_t>(f.size);
            }
        }
        fail(std::string("the data dictionary's type ") + type + " has no fixed field " + field,
             DRAVO_DICTIONARY_ERROR);
    }

    std::map<std::string, std::size_t> m_sizes;
};

/* ---- The plant in memory --------------------------------------------------- */

struct Station {
    std::int32_t id = 0;
    std::uint32_t tag = 0;
    std::string name;
    std::string description;
};

struct Channel {
    std::int32_t id = 0;
    std::int32_t stationId = 0;
    std::int32_t driverId = 0;
    std::string name;
    std::string protocol;
    std::string primaryAddress;
    std::string secondaryAddress;
    std::string description;
};

struct RemoteUnit {
    std::int32_t id = 0;
    std::int32_t stationId = 0;
    std::int32_t channelId = 0;
    std::int32_t address = 0;
    std::int32_t quality = 0;
    std::uint32_t tag = 0;
    bool scanEnable = true;
    std::string name;
    std::string description;
};

enum class PointKind { Status, Analog, Text };

/* What the three point kinds differ in besides their own members. */
struct PointKindInfo {
    PointKind kind;
    const char* member;       /* under "points" */
    const char* label;        /* in messages */
    const char* recordType;
    std::int32_t objectType;  /* in the name-index record */
    std::int64_t first;
    std::int64_t last;
    const char* rangeLabel;
};

const PointKindInfo kPointKinds[] = {
    {PointKind::Status, "status", "status point", "STATUS", kObjectStatus, kStatusFirst, kStatusLast,
     "the status range"},
    {PointKind::Analog, "analog", "analog point", "ANALOG", kObjectAnalog, kAnalogFirst, kAnalogLast,
     "the analog range"},
    {PointKind::Text, "text", "text point", "TEXT", kObjectText, kTextFirst, kInt32Max, "the text range"},
};

struct Point {
    const PointKindInfo* kind = nullptr;
    std::int32_t id = 0;
    std::int32_t rtuId = 0;
    std::int32_t stationId = 0;
    std::int32_t channelId = 0;
    std::int32_t address = 0;
    std::int32_t quality = 0;
    std::uint32_t tag = 0;
    bool scanEnable = true;
    bool alarmEnable = true;
    std::string name;
    std::string description;
    /* status */
    std::int8_t state = 0;
    std::int8_t normalState = 0;
    std::uint8_t alarmPriority = 0;
    /* analog */
    double value = 0.0;
    std::string unit;
    float lowLimit = 0, highLimit = 0, lowLowLimit = 0, highHighLimit = 0;
    float rangeLow = 0, rangeHigh = 0, deadband = 0, rocLimit = 0;
    /* text */
    std::string text;
    std::uint8_t dataFormat = 0;
};

struct Plant {
    std::string name;
    std::vector<Station> stations;
    std::vector<Channel> channels;
    std::vector<RemoteUnit> remoteUnits;
    std::vector<Point> points;
    int statusPoints = 0;
    int analogPoints = 0;
    int textPoints = 0;
};

/* ---- Checking and reading the plant ----------------------------------------- */

/* Remembers which object of one kind took an id or a name first. */
template <typename Key>
class Registry
{
public:
    void claim(const Key& key, const std::string& what, const Where& where)
    {
        const auto inserted = m_owners.emplace(key, where.path());
        if (!inserted.second)
            fail(where.text() + ": duplicate " + what + " (already used by " + inserted.first->second + ")");
    }
    bool has(const Key& key) const { return m_owners.count(key) != 0; }

private:
    std::unordered_map<Key, std::string> m_owners;
};

/* True for names of the form of a record's data name ("ANALOG200001"): such a
 * point name would overwrite another object's record. */
bool looksLikeDataName(const std::string& name)
{
    static const char* const kPrefixes[] = {"STATUS", "ANALOG", "TEXT", "REMOTEUNIT", "STATION", "COMMLINK"};
    for (const char* prefix : kPrefixes) {
        const std::size_t n = std::strlen(prefix);
        if (name.size() > n && name.compare(0, n, prefix) == 0
            && name.find_first_not_of("0123456789", n) == std::string::npos)
            return true;
    }
    return false;
}

class PlantReader
{
public:
    Plant read(const rapidjson::Document& doc)
    {
        const Members top(doc, Where("", "top level"),
                          {"plant", "description", "stations", "channels", "remoteUnits", "points"});
        m_plant.name = top.plainText("plant", true, 255);
        if (m_plant.name.empty())
            fail("top level: member 'plant' (the plant's name) is empty");
        top.text("description", false, 1u << 20);

        readStations(top.array("stations"));
        readChannels(top.array("channels"));
        readRemoteUnits(top.array("remoteUnits"));
        const Members points(*top.require("points"), Where("", "points"), {"status", "analog", "text"});
        for (const PointKindInfo& kind : kPointKinds) {
            if (const Json* list = points.optionalArray(kind.member))
                readPoints(kind, *list);
        }
        return std::move(m_plant);
    }

private:
    static std::string itemPath(const char* list, rapidjson::SizeType i)
    {
        return std::string(list) + "[" + std::to_string(i) + "]";
    }

    void readStations(const Json& list)
    {
        for (rapidjson::SizeType i = 0; i < list.Size(); ++i) {
            Members m(list[i], Where("station", itemPath("stations", i)),
                      {"id", "name", "description", "tag"});
            Station s;
            s.name = m.name(m_capacity.text("STATION", "fullname"));
            m.setName(s.name);
            s.id = static_cast<std::int32_t>(m.integer("id", true, 1, kInt32Max, 0));
            s.description = m.plainText("description", false, m_capacity.text("STATION", "description"));
            s.tag = static_cast<std::uint32_t>(m.integer("tag", false, 0, kUInt32Max, 0));
            m_stationIds.claim(s.id, "id " + std::to_string(s.id), m.where());
            m_stationNames.claim(s.name, "name " + inQuotes(s.name), m.where());
            m_plant.stations.push_back(std::move(s));
        }
    }

    void readChannels(const Json& list)
    {
        for (rapidjson::SizeType i = 0; i < list.Size(); ++i) {
            Members m(list[i], Where("channel", itemPath("channels", i)),
                      {"id", "name", "station", "driver", "protocol", "primaryAddress", "secondaryAddress",
                       "description"});
            Channel c;
            c.name = m.name(m_capacity.text("COMMLINK", "fullname"));
            m.setName(c.name);
            c.id = static_cast<std::int32_t>(m.integer("id", true, 1, kInt32Max, 0));
            c.stationId = static_cast<std::int32_t>(m.integer("station", true, 1, kInt32Max, 0));
            c.driverId = static_cast<std::int32_t>(m.integer("driver", true, 1, kInt32Max, 0));
            c.protocol = m.plainText("protocol", false, m_capacity.text("COMMLINK", "protocol"));
            c.primaryAddress = m.plainText("primaryAddress", false, m_capacity.text("COMMLINK", "primaryAddress"));
            c.secondaryAddress =
                m.plainText("secondaryAddress", false, m_capacity.text("COMMLINK", "secondaryAddress"));
            c.description = m.plainText("description", false, m_capacity.text("COMMLINK", "description"));
            if (!m_stationIds.has(c.stationId))
                fail(m.where().text() + ": refers to unknown station " + std::to_string(c.stationId));
            m_channelIds.claim(c.id, "id " + std::to_string(c.id), m.where());
            m_channelNames.claim(c.name, "name " + inQuotes(c.name), m.where());
            m_channelStation.emplace(c.id, c.stationId);
            m_plant.channels.push_back(std::move(c));
        }
    }

    void readRemoteUnits(const Json& list)
    {
        for (rapidjson::SizeType i = 0; i < list.Size(); ++i) {
            Members m(list[i], Where("remote unit", itemPath("remoteUnits", i)),
                      {"id", "name", "channel", "station", "address", "tag", "quality", "scanEnable",
                       "description"});
            RemoteUnit r;
            r.name = m.name(m_capacity.text("REMOTEUNIT", "fullname"));
            m.setName(r.name);
            r.id = static_cast<std::int32_t>(m.integer("id", true, 1, kRemoteUnitLast, 0));
            r.channelId = static_cast<std::int32_t>(m.integer("channel", true, 1, kInt32Max, 0));
            if (!m_channelIds.has(r.channelId))
                fail(m.where().text() + ": refers to unknown channel " + std::to_string(r.channelId));
            /* An RTU sits at its channel's station unless the file says otherwise
             * (a channel of a control centre may poll RTUs of several stations). */
            r.stationId = static_cast<std::int32_t>(
                m.integer("station", false, 1, kInt32Max, m_channelStation.at(r.channelId)));
            if (!m_stationIds.has(r.stationId))
                fail(m.where().text() + ": refers to unknown station " + std::to_string(r.stationId));
            r.address = static_cast<std::int32_t>(m.integer("address", true, 0, kInt32Max, 0));
            r.tag = static_cast<std::uint32_t>(m.integer("tag", false, 0, kUInt32Max, 0));
            r.quality = static_cast<std::int32_t>(m.integer("quality", false, kInt32Min, kInt32Max, 0));
            r.scanEnable = m.boolean("scanEnable", true);
            r.description = m.plainText("description", false, m_capacity.text("REMOTEUNIT", "description"));
            m_remoteUnitIds.claim(r.id, "id " + std::to_string(r.id), m.where());
            m_remoteUnitNames.claim(r.name, "name " + inQuotes(r.name), m.where());
            m_remoteUnits.emplace(r.id, m_plant.remoteUnits.size());
            m_plant.remoteUnits.push_back(std::move(r));
        }
    }

    void readPoints(const PointKindInfo& kind, const Json& list)
    {
        const std::string listName = std::string("points.") + kind.member;
        for (rapidjson::SizeType i = 0; i < list.Size(); ++i) {
            Point p;
            p.kind = &kind;
            Members m = pointMembers(kind, list[i], Where(kind.label, itemPath(listName.c_str(), i)));
            readCommon(m, p);
            switch (kind.kind) {
            case PointKind::Status:
                readStatus(m, p);
                ++m_plant.statusPoints;
                break;
            case PointKind::Analog:
                readAnalog(m, p);
                ++m_plant.analogPoints;
                break;
            case PointKind::Text:
                readText(m, p);
                ++m_plant.textPoints;
                break;
            }
            m_plant.points.push_back(std::move(p));
        }
    }

    static Members pointMembers(const PointKindInfo& kind, const Json& value, const Where& where)
    {
        switch (kind.kind) {
        case PointKind::Status:
            return Members(value, where,
                           {"id", "name", "rtu", "address", "description", "tag", "quality", "scanEnable",
                            "alarmEnable", "state", "normalState", "alarmPriority"});
        case PointKind::Analog:
            return Members(value, where,
                           {"id", "name", "rtu", "address", "description", "tag", "quality", "scanEnable",
                            "alarmEnable", "value", "unit", "lowLimit", "highLimit", "lowLowLimit",
                            "highHighLimit", "rangeLow", "rangeHigh", "deadband", "rocLimit"});
        case PointKind::Text:
            break;
        }
        return Members(value, where,
                       {"id", "name", "rtu", "address", "description", "tag", "quality", "scanEnable",
                        "alarmEnable", "value", "dataFormat"});
    }

    /* The members every point has, the id and name checks and the RTU. */
    void readCommon(Members& m, Point& p)
    {
        const char* type = p.kind->recordType;
        p.name = m.name(m_capacity.text(type, "fullname"));
        m.setName(p.name);
        if (p.name[0] == '@' || p.name[0] == ':')
            fail(m.where().text() + ": a point name must not begin with '@' or ':' (kept for channels, "
                 "devices and the server's own records)");
        if (looksLikeDataName(p.name))
            fail(m.where().text() + ": name " + inQuotes(p.name)
                 + " has the form of a record's data name and would overwrite that record");
        p.id = static_cast<std::int32_t>(m.integer("id", true, p.kind->first, p.kind->last, 0, p.kind->rangeLabel));
        p.rtuId = static_cast<std::int32_t>(m.integer("rtu", true, 1, kRemoteUnitLast, 0));
        const auto rtu = m_remoteUnits.find(p.rtuId);
        if (rtu == m_remoteUnits.end())
            fail(m.where().text() + ": refers to unknown remote unit " + std::to_string(p.rtuId));
        p.stationId = m_plant.remoteUnits[rtu->second].stationId;
        p.channelId = m_plant.remoteUnits[rtu->second].channelId;
        p.address = static_cast<std::int32_t>(m.integer("address", false, 0, kInt32Max, 0));
        p.description = m.plainText("description", false, m_capacity.text(type, "description"));
        p.tag = static_cast<std::uint32_t>(m.integer("tag", false, 0, kUInt32Max, 0));
        p.quality = static_cast<std::int32_t>(m.integer("quality", false, kInt32Min, kInt32Max, 0));
        p.scanEnable = m.boolean("scanEnable", true);
        p.alarmEnable = m.boolean("alarmEnable", true);
        /* Ids are unique per kind (the kinds' ranges do not overlap); names
         * share one index across the kinds, so they are unique across them. */
        m_pointIds.claim(p.id, "id " + std::to_string(p.id), m.where());
        m_pointNames.claim(p.name, "name " + inQuotes(p.name), m.where());
    }

    static void readStatus(const Members& m, Point& p)
    {
        p.state = static_cast<std::int8_t>(m.integer("state", false, 0, kStatusStateLast, 0));
        p.normalState = static_cast<std::int8_t>(m.integer("normalState", false, 0, kStatusStateLast, 0));
        p.alarmPriority = static_cast<std::uint8_t>(m.integer("alarmPriority", false, 0, 255, 0));
    }

    void readAnalog(const Members& m, Point& p)
    {
        p.value = m.real("value", 0.0);
        p.unit = m.plainText("unit", false, m_capacity.text("ANALOG", "unit"));
        p.lowLowLimit = m.single("lowLowLimit", 0.0f);
        p.lowLimit = m.single("lowLimit", 0.0f);
        p.highLimit = m.single("highLimit", 0.0f);
        p.highHighLimit = m.single("highHighLimit", 0.0f);
        p.rangeLow = m.single("rangeLow", 0.0f);
        p.rangeHigh = m.single("rangeHigh", 0.0f);
        p.deadband = m.single("deadband", 0.0f);
        p.rocLimit = m.single("rocLimit", 0.0f);
        checkOrder(m, {"lowLowLimit", "lowLimit", "highLimit", "highHighLimit"});
        checkOrder(m, {"rangeLow", "rangeHigh"});
        if (p.deadband < 0)
            fail(m.where().text() + ": deadband must not be negative");
        if (p.rocLimit < 0)
            fail(m.where().text() + ": rocLimit must not be negative");
    }

    /* The limits given must rise in the order listed; absent ones are skipped. */
    static void checkOrder(const Members& m, std::initializer_list<const char*> keys)
    {
        const char* previous = nullptr;
        double previousValue = 0.0;
        for (const char* key : keys) {
            if (!m.find(key))
                continue;
            const double v = m.real(key, 0.0);
            if (previous && v < previousValue)
                fail(m.where().text() + ": " + key + " " + numberText(*m.find(key)) + " is below " + previous
                     + " " + numberText(*m.find(previous)));
            previous = key;
            previousValue = v;
        }
    }

    void readText(const Members& m, Point& p)
    {
        std::size_t capacity = m_capacity.bytes("TEXT", "lastvalue");
        if (capacity > 65535)
            capacity = 65535;   /* "bytesize" is 16 bits */
        p.text = m.text("value", false, capacity);
        p.dataFormat = static_cast<std::uint8_t>(m.integer("dataFormat", false, 0, 255, 0));
    }

    Plant m_plant;
    Capacities m_capacity;
    Registry<std::int32_t> m_stationIds, m_channelIds, m_remoteUnitIds, m_pointIds;
    Registry<std::string> m_stationNames, m_channelNames, m_remoteUnitNames, m_pointNames;
    std::unordered_map<std::int32_t, std::int32_t> m_channelStation;   /* channel id -> station id */
    std::unordered_map<std::int32_t, std::size_t> m_remoteUnits;       /* RTU id -> index */
};

/* ---- Building the records --------------------------------------------------- */

/* One record being filled; a put that the dictionary refuses ends the load. */
class RecordBuilder
{
public:
    RecordBuilder(const char* type, const std::string& dataName, std::string where)
        : m_record(type, dataName.c_str()), m_where(std::move(where))
    {
        if (!m_record.IsGood()) {
            const std::string why = DravoPlus::DictionaryError();
            fail(m_where + ": the data dictionary has no record type " + type
                     + (why.empty() ? std::string() : " (" + why + ")"),
                 why.empty() ? DRAVO_UNKNOWN_TYPE : DRAVO_DICTIONARY_ERROR);
        }
        m_record.SetFullName(dataName.c_str());
    }

    template <typename T>
    RecordBuilder& put(const char* field, T value)
    {
        return check(field, m_record.PutValue(field, value));
    }

    RecordBuilder& put(const char* field, const std::string& text)
    {
        return check(field, m_record.PutValue(field, text));
    }

    RecordBuilder& putBytes(const char* field, const std::string& bytes)
    {
        return check(field, m_record.PutValue(field, bytes.data(), static_cast<int>(bytes.size())));
    }

    /* Texts left empty stay as the zeroed record has them. */
    RecordBuilder& putText(const char* field, const std::string& text)
    {
        return text.empty() ? *this : put(field, text);
    }

    DravoData take() { return std::move(m_record); }

private:
    RecordBuilder& check(const char* field, int rc)
    {
        if (rc != 0)
            fail(m_where + ": cannot set field '" + field + "' of its " + m_record.GetTypeName()
                     + " record: " + resultText(rc),
                 rc);
        return *this;
    }

    DravoData m_record;
    std::string m_where;
};

class RecordSet
{
public:
    explicit RecordSet(std::uint32_t loadTime) : m_loadTime(loadTime) {}

    void addStation(const Station& s)
    {
        const std::string where = "station " + inQuotes(s.name);
        RecordBuilder b("STATION", "STATION" + std::to_string(s.id), where);
        b.put("pid", s.id).put("tag", s.tag).put("fullname", s.name).putText("description", s.description);
        add(b.take(), where);
        addNameIndex("@::" + s.name, s.id, kObjectOther, where);
    }

    void addChannel(const Channel& c)
    {
        const std::string where = "channel " + inQuotes(c.name);
        RecordBuilder b("COMMLINK", "COMMLINK" + std::to_string(c.id), where);
        b.put("pid", c.id)
            .put("stationId", c.stationId)
            .put("driverId", c.driverId)
            .put("updateTime", m_loadTime)
            .put("fullname", c.name)
            .putText("protocol", c.protocol)
            .putText("primaryAddress", c.primaryAddress)
            .putText("secondaryAddress", c.secondaryAddress)
            .putText("description", c.description);
        add(b.take(), where);
        addNameIndex("@C::" + c.name, c.id, kObjectChannel, where);
    }

    void addRemoteUnit(const RemoteUnit& r)
    {
        const std::string where = "remote unit " + inQuotes(r.name);
        RecordBuilder b("REMOTEUNIT", "REMOTEUNIT" + std::to_string(r.id), where);
        b.put("pid", r.id)
            .put("stationId", r.stationId)
            .put("commId", r.channelId)
            .put("address", r.address)
            .put("tag", r.tag)
            .put("quality", r.quality)
            .put("updateTime", m_loadTime)
            .put("scanEnable", static_cast<std::uint8_t>(r.scanEnable ? 1 : 0))
            .put("fullname", r.name)
            .putText("description", r.description);
        add(b.take(), where);
        addNameIndex("@R::" + r.name, r.id, kObjectRemoteUnit, where);
    }

    void addPoint(const Point& p)
    {
        const std::string where = std::string(p.kind->label) + " " + inQuotes(p.name);
        RecordBuilder b(p.kind->recordType, p.kind->recordType + std::to_string(p.id), where);
        b.put("pid", p.id)
            .put("rtuId", static_cast<std::int16_t>(p.rtuId))
            .put("stationId", p.stationId)
            .put("commId", p.channelId)
            .put("address", p.address)
            .put("tag", p.tag)
            .put("quality", p.quality)
            .put("scanEnable", static_cast<std::uint8_t>(p.scanEnable ? 1 : 0))
            .put("alarmEnable", static_cast<std::uint8_t>(p.alarmEnable ? 1 : 0))
            .put("scanTime", m_loadTime)
            .put("changedTime", m_loadTime)
            .put("fullname", p.name)
            .putText("description", p.description);
        switch (p.kind->kind) {
        case PointKind::Status:
            b.put("lastvalue", p.state).put("normalState", p.normalState).put("alarmPriority", p.alarmPriority);
            break;
        case PointKind::Analog:
            b.put("lastvalue", p.value)
                .put("previousvalue", p.value)
                .putText("unit", p.unit)
                .put("lowLowLimit", p.lowLowLimit)
                .put("lowLimit", p.lowLimit)
                .put("highLimit", p.highLimit)
                .put("highHighLimit", p.highHighLimit)
                .put("rangeLow", p.rangeLow)
                .put("rangeHigh", p.rangeHigh)
                .put("deadband", p.deadband)
                .put("rocLimit", p.rocLimit);
            break;
        case PointKind::Text:
            b.put("bytesize", static_cast<std::uint16_t>(p.text.size())).put("dataFormat", p.dataFormat);
            if (!p.text.empty())
                b.putBytes("lastvalue", p.text);
            break;
        }
        add(b.take(), where);
        addNameIndex(p.name, p.id, p.kind->objectType, where);
    }

    /* The probe record that tells clients the database answers. */
    void addMarker()
    {
        RecordBuilder b("MARKER", ":marker", "the :marker record");
        b.put("version", static_cast<std::int32_t>(1)).put("loadTime", m_loadTime);
        add(b.take(), "the :marker record");
    }

    std::vector<DravoData>& records() { return m_records; }

private:
    void addNameIndex(const std::string& key, std::int32_t id, std::int32_t objectType, const std::string& where)
    {
        RecordBuilder b("NAMEINDEX", key, where + " (name index)");
        b.put("id", id).put("objectType", objectType);
        add(b.take(), where + " (name index)");
    }

    /* Two records under one data name would silently replace each other. */
    void add(DravoData record, const std::string& where)
    {
        if (!m_names.insert(record.GetDataName()).second)
            fail(where + ": a second record would be stored under " + inQuotes(record.GetDataName()));
        m_records.push_back(std::move(record));
    }

    std::uint32_t m_loadTime;
    std::vector<DravoData> m_records;
    std::unordered_set<std::string> m_names;
};

std::vector<DravoData> buildRecords(const Plant& plant)
{
    RecordSet set(static_cast<std::uint32_t>(std::time(nullptr)));
    set.records().reserve(2 * (plant.stations.size() + plant.channels.size() + plant.remoteUnits.size()
                               + plant.points.size()) + 1);
    for (const Station& s : plant.stations)
        set.addStation(s);
    for (const Channel& c : plant.channels)
        set.addChannel(c);
    for (const RemoteUnit& r : plant.remoteUnits)
        set.addRemoteUnit(r);
    for (const Point& p : plant.points)
        set.addPoint(p);
    set.addMarker();
    return std::move(set.records());
}

void setError(std::string* error, const std::string& path, const std::string& text)
{
    if (!error)
        return;
    try {
        *error = path + ": " + text;
    } catch (...) {
        error->clear();
    }
}

/* The load itself; LoadPlant adds the call recording around it. */
int loadPlant(const char* path, DravoPlantSummary* summary, std::string* error)
{
    if (summary)
        *summary = DravoPlantSummary();
    if (error)
        error->clear();
    if (!path) {
        setError(error, "(no path)", "no plant file given");
        return DRAVO_BAD_ARGUMENT;
    }
    const std::string file = *path ? std::string(path) : std::string("(empty path)");
    try {
        rapidjson::Document doc;
        parse(readFile(path), doc);
        const Plant plant = PlantReader().read(doc);
        const std::vector<DravoData> records = buildRecords(plant);

        const int rc = DravoPlus::PutDataPoints(records, nullptr, nullptr);
        if (rc != 0)
            fail("the plant could not be written: " + resultText(rc), rc);

        if (summary) {
            summary->stations = static_cast<int>(plant.stations.size());
            summary->channels = static_cast<int>(plant.channels.size());
            summary->remoteUnits = static_cast<int>(plant.remoteUnits.size());
            summary->statusPoints = plant.statusPoints;
            summary->analogPoints = plant.analogPoints;
            summary->textPoints = plant.textPoints;
            summary->records = static_cast<int>(records.size());
        }
        return DRAVO_OK;
    } catch (const PlantError& e) {
        setError(error, file, e.text);
        return e.code;
    } catch (const std::bad_alloc&) {
        setError(error, file, "not enough memory to load the plant");
        return DRAVO_CONFIG_ERROR;
    } catch (const std::exception& e) {
        setError(error, file, std::string("cannot load the plant: ") + e.what());
        return DRAVO_CONFIG_ERROR;
    } catch (...) {
        setError(error, file, "cannot load the plant");
        return DRAVO_CONFIG_ERROR;
    }
}

} // namespace

int DravoPlus::LoadPlant(const char* path, DravoPlantSummary* summary, std::string* error)
{
    const int rc = loadPlant(path, summary, error);
    if (dravo::recording()) {
        try {
            DravoRecordedCall call;
            call.operation = "LoadPlant";
            call.args.push_back(path ? std::optional<std::string>(path) : std::nullopt);
            call.result = rc;
            dravo::recordCall(std::move(call));
        } catch (...) {
            /* A recording that cannot be kept must not change the result. */
        }
    }
    return rc;
}
