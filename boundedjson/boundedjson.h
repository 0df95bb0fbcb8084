/*
 * boundedjson.h: how this project parses JSON text: into rapidjson's DOM,
 * without recursion, and never deeper than a fixed nesting limit.
 *
 * rapidjson's default parser recurses once per level of nesting, so a text
 * of a million opening brackets (a damaged file, a hostile message) would
 * exhaust the stack, and a document nested that deep would break every
 * recursive walk over it later (writing it back out, comparing it). Every
 * reader of JSON text in the project therefore parses through parse() here:
 * rapidjson's iterative parser (its memory grows with the nesting reached,
 * not with recursion) feeds the document through a handler that counts the
 * nesting and stops the parse at the first level past kMaxNesting, so
 * nothing deeper is ever built either. The limit is documented in README.md
 * ("Limits").
 *
 * Header only, rapidjson and the standard library (no Qt). It is private to
 * the libraries and tools that use it (the BoundedJson CMake target) and is
 * included by no installed header.
 */
#ifndef BOUNDEDJSON_H
#define BOUNDEDJSON_H

#include <rapidjson/document.h>
#include <rapidjson/encodedstream.h>
#include <rapidjson/error/en.h>
#include <rapidjson/memorystream.h>
#include <rapidjson/reader.h>

#include <cstddef>
#include <cstdint>
#include <string>

namespace boundedjson {

/* The deepest nesting of arrays and objects a text may have; the root array
 * or object is the first level. The formats the project reads are a few
 * levels deep; this leaves them room and keeps any later walk shallow. */
constexpr unsigned kMaxNesting = 128;

/* What a parse came to. */
struct Outcome {
    rapidjson::ParseErrorCode code = rapidjson::kParseErrorNone;
    std::size_t offset = 0;   /* where in the text the parse stopped, in bytes */
    bool tooDeep = false;     /* stopped for nesting deeper than kMaxNesting */

    bool ok() const { return code == rapidjson::kParseErrorNone; }
    /* "nesting deeper than 128", rapidjson's text for any other error, ""
     * for none. */
    std::string message() const
    {
        if (tooDeep)
            return "nesting deeper than " + std::to_string(kMaxNesting);
        return ok() ? std::string() : std::string(rapidjson::GetParseError_En(code));
    }
};

namespace detail {

/* Passes every parse event on to the document, and refuses the opening of a
 * level past kMaxNesting, which ends the parse there. */
class DepthLimit
{
public:
    explicit DepthLimit(rapidjson::Document& document) : m_document(document) {}

    bool Null() { return m_document.Null(); }
    bool Bool(bool b) { return m_document.Bool(b); }
    bool Int(int i) { return m_document.Int(i); }
    bool Uint(unsigned u) { return m_document.Uint(u); }
    bool Int64(std::int64_t i) { return m_document.Int64(i); }
    bool Uint64(std::uint64_t u) { return m_document.Uint64(u); }
    bool Double(double d) { return m_document.Double(d); }
    bool RawNumber(const char* text, rapidjson::SizeType length, bool copy)
    {
        return m_document.RawNumber(text, length, copy);
    }
    bool String(const char* text, rapidjson::SizeType length, bool copy)
    {
        return m_document.String(text, length, copy);
    }
    bool Key(const char* text, rapidjson::SizeType length, bool copy) { return m_document.Key(text, length, copy); }
    bool StartObject() { return enter() && m_document.StartObject(); }
    bool EndObject(rapidjson::SizeType members)
    {
        --m_depth;
        return m_document.EndObject(members);
    }
    bool StartArray() { return enter() && m_document.StartArray(); }
    bool EndArray(rapidjson::SizeType elements)
    {
        --m_depth;
        return m_document.EndArray(elements);
    }

    bool tooDeep() const { return m_tooDeep; }

private:
    bool enter()
    {
        m_tooDeep = ++m_depth > kMaxNesting;
        return !m_tooDeep;
    }

    rapidjson::Document& m_document;
    unsigned m_depth = 0;
    bool m_tooDeep = false;
};

} // namespace detail

/* Parses length bytes of UTF-8 text into document with rapidjson's parse
 * flags Flags (the iterative flag is always added). On failure the document
 * is left as it was and the outcome says what went wrong and where. */
template <unsigned Flags = rapidjson::kParseDefaultFlags>
Outcome parse(rapidjson::Document& document, const char* text, std::size_t length)
{
    Outcome outcome;
    auto generate = [&](rapidjson::Document& target) {
        detail::DepthLimit limited(target);
        rapidjson::MemoryStream memory(text, length);
        rapidjson::EncodedInputStream<rapidjson::UTF8<>, rapidjson::MemoryStream> input(memory);
        rapidjson::Reader reader;
        const rapidjson::ParseResult result = reader.Parse<Flags | rapidjson::kParseIterativeFlag>(input, limited);
        outcome.code = result.Code();
        outcome.offset = result.Offset();
        outcome.tooDeep = limited.tooDeep();
        return !result.IsError();
    };
    document.Populate(generate);
    return outcome;
}

} // namespace boundedjson

#endif
