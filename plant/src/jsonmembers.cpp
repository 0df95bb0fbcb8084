/*
 * jsonmembers.cpp: reading the members of one JSON object of a plant file
 * with their types and ranges checked.
 */
#include "jsonmembers.h"

#include "planterror.h"

#include <cfloat>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <unordered_set>

namespace MVPlant::detail {

namespace {

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

bool hasControlCharacter(const std::string& s)
{
    for (unsigned char c : s) {
        if (c < 0x20 || c == 0x7F)
            return true;
    }
    return false;
}

} // namespace

std::string numberText(const Json& v)
{
    if (v.IsInt64())
        return std::to_string(v.GetInt64());
    if (v.IsUint64())
        return std::to_string(v.GetUint64());
    const double d = v.GetDouble();
    char buf[64];
    std::snprintf(buf, sizeof buf, "%.15g", d);
    if (std::strtod(buf, nullptr) != d)
        std::snprintf(buf, sizeof buf, "%.17g", d);
    return buf;
}

std::string Where::text() const
{
    if (m_name.empty() || m_kind.empty())
        return m_path;
    return m_kind + " '" + m_name + "' (" + m_path + ")";
}

Members::Members(const Json& value, const Where& where, std::initializer_list<const char*> allowed)
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
            wrongType("comment", "a string", it->value);
        m_members.emplace(key, &it->value);
    }
}

/* Messages about the other members name the object as soon as it has a
 * usable name; the name itself is checked later. */
void Members::presetName(const Json& value)
{
    const auto it = value.FindMember("name");
    if (it == value.MemberEnd() || !it->value.IsString() || it->value.GetStringLength() > 255)
        return;
    const std::string name(it->value.GetString(), it->value.GetStringLength());
    if (!hasControlCharacter(name))
        m_where.setName(name);
}

void Members::wrongType(const char* key, const char* wanted, const Json& v) const
{
    fail(m_where.text() + ": member " + inQuotes(key) + " must be " + wanted + ", not " + jsonKind(v));
}

const Json* Members::find(const char* key) const
{
    const auto it = m_members.find(key);
    return it == m_members.end() ? nullptr : it->second;
}

const Json* Members::require(const char* key) const
{
    const Json* v = find(key);
    if (!v)
        fail(m_where.text() + ": missing required member " + inQuotes(key));
    return v;
}

std::string Members::text(const char* key, bool required, std::size_t maxBytes) const
{
    const Json* v = required ? require(key) : find(key);
    if (!v)
        return std::string();
    if (!v->IsString())
        wrongType(key, "a string", *v);
    std::string s(v->GetString(), v->GetStringLength());
    if (s.size() > maxBytes)
        fail(m_where.text() + ": " + key + " longer than " + std::to_string(maxBytes) + " bytes ("
             + std::to_string(s.size()) + ")");
    return s;
}

std::string Members::plainText(const char* key, bool required, std::size_t maxBytes) const
{
    std::string s = text(key, required, maxBytes);
    if (s.find('\0') != std::string::npos)
        fail(m_where.text() + ": " + key + " holds a NUL character");
    return s;
}

std::string Members::name(std::size_t maxBytes) const
{
    std::string s = text("name", true, maxBytes);
    if (s.empty())
        fail(m_where.text() + ": name is empty");
    if (hasControlCharacter(s))
        fail(m_where.text() + ": name holds a control character");
    if (s.front() == ' ' || s.back() == ' ')
        fail(m_where.text() + ": name " + inQuotes(s) + " begins or ends with a space");
    return s;
}

std::int64_t Members::integer(const char* key, bool required, std::int64_t lo, std::int64_t hi,
                              std::int64_t fallback, const char* rangeLabel) const
{
    const Json* v = required ? require(key) : find(key);
    if (!v)
        return fallback;
    if (!v->IsNumber())
        wrongType(key, "an integer", *v);
    std::int64_t n = 0;
    bool huge = false;
    const bool whole = wholeNumber(*v, n, huge);
    if (whole && n >= lo && n <= hi)
        return n;
    if (!whole && !huge)
        fail(m_where.text() + ": " + key + " " + numberText(*v) + " is not a whole number");
    fail(m_where.text() + ": " + key + " " + numberText(*v) + " is outside "
         + (rangeLabel ? std::string(rangeLabel) + " " : std::string()) + std::to_string(lo) + ".."
         + std::to_string(hi));
}

double Members::real(const char* key, double fallback) const
{
    const Json* v = find(key);
    if (!v)
        return fallback;
    if (!v->IsNumber())
        wrongType(key, "a number", *v);
    return v->GetDouble();
}

float Members::single(const char* key, float fallback) const
{
    const double d = real(key, fallback);
    if (!(std::fabs(d) <= static_cast<double>(FLT_MAX)))
        fail(m_where.text() + ": " + key + " " + numberText(*find(key)) + " does not fit a 32-bit float");
    return static_cast<float>(d);
}

bool Members::boolean(const char* key, bool fallback) const
{
    const Json* v = find(key);
    if (!v)
        return fallback;
    if (!v->IsBool())
        wrongType(key, "true or false", *v);
    return v->GetBool();
}

const Json& Members::array(const char* key) const
{
    const Json* v = require(key);
    if (!v->IsArray())
        wrongType(key, "an array", *v);
    return *v;
}

const Json* Members::optionalArray(const char* key) const
{
    const Json* v = find(key);
    if (v && !v->IsArray())
        wrongType(key, "an array", *v);
    return v;
}

} // namespace MVPlant::detail
