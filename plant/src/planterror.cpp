/*
 * planterror.cpp: failures of the plant library, the texts they carry and
 * the boundary at which they become result codes.
 */
#include "planterror.h"

#include <exception>
#include <new>

namespace MVPlant::detail {

namespace {

/* The one UTF-16 to UTF-8 encoder of this library: the middleware gives its
 * texts in UTF-16 and this library has no Qt to convert them. */
void appendUtf8(std::string& out, char32_t c)
{
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

std::string utf8(const char16_t* s)
{
    std::string out;
    for (; s && *s; ++s) {
        char32_t c = *s;
        if (c >= 0xD800 && c <= 0xDBFF && s[1] >= 0xDC00 && s[1] <= 0xDFFF) {
            c = 0x10000 + ((c - 0xD800) << 10) + (static_cast<char32_t>(s[1]) - 0xDC00);
            ++s;
        }
        appendUtf8(out, c);
    }
    return out;
}

void setError(std::string* error, const std::string& text)
{
    if (!error)
        return;
    try {
        *error = text;
    } catch (...) {
        error->clear();
    }
}

/* Runs step; on failure returns its code with the text, prefix before it. */
int guarded(std::string* error, const std::string& prefix, const std::function<void()>& step)
{
    try {
        step();
        return DRAVO_OK;
    } catch (const PlantError& e) {
        setError(error, prefix + e.text);
        return e.code;
    } catch (const std::bad_alloc&) {
        setError(error, prefix + "not enough memory to load the plant");
    } catch (const std::exception& e) {
        setError(error, prefix + std::string("cannot load the plant: ") + e.what());
    } catch (...) {
        setError(error, prefix + "cannot load the plant");
    }
    return DRAVO_CONFIG_ERROR;
}

} // namespace

void fail(const std::string& text, int code)
{
    throw PlantError{code, text};
}

std::string resultText(int code)
{
    return utf8(DravoPlus::GetErrorString(code)) + " (code " + std::to_string(code) + ")";
}

std::string inQuotes(const std::string& s)
{
    return "'" + s + "'";
}

int runGuarded(const char* path, std::string* error, const std::function<void(const std::string&)>& step)
{
    if (error)
        error->clear();
    if (!path) {
        setError(error, "(no path): no plant file given");
        return DRAVO_BAD_ARGUMENT;
    }
    std::string file;
    try {
        file = *path ? std::string(path) : std::string("(empty path)");
    } catch (...) {
        return DRAVO_CONFIG_ERROR;
    }
    return guarded(error, file + ": ", [&] { step(path); });
}

int runGuarded(std::string* error, const std::function<void()>& step)
{
    if (error)
        error->clear();
    return guarded(error, std::string(), step);
}

} // namespace MVPlant::detail
