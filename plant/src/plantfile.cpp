/*
 * plantfile.cpp: reading a plant file and parsing its JSON text, with
 * messages that say where in the file the text went wrong.
 */
#include "plantfile.h"

#include "planterror.h"

#include <boundedjson.h>


#include <cerrno>
#include <cstdint>
#include <cstring>
#include <filesystem>
#include <fstream>

namespace MVPlant::detail {

namespace {

/* A real plant file is a few megabytes; anything far beyond is not one. */
constexpr std::uintmax_t kMaxFileBytes = 256u * 1024u * 1024u;

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

void checkIsPlainFile(const std::string& path)
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
}

std::string readFile(const std::string& path)
{
    checkIsPlainFile(path);
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

    /* The project's one bounded parse: deeply nested input neither exhausts
     * the stack nor goes unchecked. */
    const boundedjson::Outcome parsed = boundedjson::parse<rapidjson::kParseValidateEncodingFlag>(
        doc, text.data() + start, text.size() - start);
    if (!parsed.ok())
        fail(position(text, start + parsed.offset) + ": parse error: " + parsed.message());
}

} // namespace

void parsePlantFile(const std::string& path, rapidjson::Document& doc)
{
    parse(readFile(path), doc);
}

} // namespace MVPlant::detail
