/*
 * jsonmembers.h: the members of one JSON object of a plant file, read and
 * checked one by one.
 *
 * Every object of the file goes through Members: its member names are
 * checked against the ones it may carry, and each value is read with its
 * type and range checked, so that every message about a bad value has the
 * same shape ("remote unit 'X' (remoteUnits[2]): address -1 is outside
 * 0..2147483647").
 */
#ifndef MVPLANT_JSONMEMBERS_H
#define MVPLANT_JSONMEMBERS_H

#include <rapidjson/document.h>

#include <cstdint>
#include <initializer_list>
#include <string>
#include <unordered_map>

namespace MVPlant::detail {

using Json = rapidjson::Value;

/* The shortest text of a JSON number that reads back as the same value. */
std::string numberText(const Json& v);

/* Where in the file an object sits, for messages: "points.analog[3]" until
 * its name is known, then "analog point 'X' (points.analog[3])". */
class Where
{
public:
    Where(std::string kind, std::string path) : m_kind(std::move(kind)), m_path(std::move(path)) {}
    void setName(const std::string& name) { m_name = name; }
    const std::string& path() const { return m_path; }
    std::string text() const;

private:
    std::string m_kind;
    std::string m_path;
    std::string m_name;
};

/* The members of one JSON object, checked against the names it may carry
 * (and "comment", which every object may carry and nobody reads). */
class Members
{
public:
    Members(const Json& value, const Where& where, std::initializer_list<const char*> allowed);

    void setName(const std::string& name) { m_where.setName(name); }
    const Where& where() const { return m_where; }

    const Json* find(const char* key) const;
    const Json* require(const char* key) const;

    /* A string member; absent optional ones give "". */
    std::string text(const char* key, bool required, std::size_t maxBytes) const;
    /* A text stored zero-terminated: it must not hold a NUL itself. */
    std::string plainText(const char* key, bool required, std::size_t maxBytes) const;
    /* A name: not empty, no control characters, no space at either end. */
    std::string name(std::size_t maxBytes) const;
    /* An integer member within [lo, hi]; rangeLabel names the range in
     * messages ("the analog range"). */
    std::int64_t integer(const char* key, bool required, std::int64_t lo, std::int64_t hi,
                         std::int64_t fallback, const char* rangeLabel = nullptr) const;
    double real(const char* key, double fallback) const;
    /* A number kept in a 32-bit float field. */
    float single(const char* key, float fallback) const;
    bool boolean(const char* key, bool fallback) const;
    /* An array member, required. */
    const Json& array(const char* key) const;
    /* An array member that may be absent (null then). */
    const Json* optionalArray(const char* key) const;

private:
    void presetName(const Json& value);
    [[noreturn]] void wrongType(const char* key, const char* wanted, const Json& v) const;

    Where m_where;
    std::unordered_map<std::string, const Json*> m_members;
};

} // namespace MVPlant::detail

#endif
