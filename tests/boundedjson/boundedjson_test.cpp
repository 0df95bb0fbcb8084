// boundedjson_test.cpp: the one JSON parse of the project: documents up to
// the nesting limit parse as rapidjson's DOM parser would, deeper ones are
// refused with a clear error and without exhausting the stack, and syntax
// errors keep rapidjson's own code and position.
#include <boundedjson.h>

#include <gtest/gtest.h>

#include <string>

namespace {

// levels arrays, one inside the other, around a number.
std::string nestedArrays(unsigned levels)
{
    return std::string(levels, '[') + "1" + std::string(levels, ']');
}

// levels objects, each the member "a" of the one around it.
std::string nestedObjects(unsigned levels)
{
    std::string text;
    for (unsigned i = 0; i < levels; ++i)
        text += "{\"a\":";
    text += "1";
    return text + std::string(levels, '}');
}

// Repeats unit to a megabyte: a damaged or hostile text.
std::string megabyteOf(const std::string& unit)
{
    std::string text;
    while (text.size() < 1000000)
        text += unit;
    return text;
}

boundedjson::Outcome parse(rapidjson::Document& document, const std::string& text)
{
    return boundedjson::parse(document, text.data(), text.size());
}

TEST(BoundedJsonTest, OrdinaryDocumentParsesIntoTheDom)
{
    rapidjson::Document document;
    const boundedjson::Outcome outcome = parse(document, R"({"name": "x", "list": [1, 2.5, true, null], "n": -3})");
    ASSERT_TRUE(outcome.ok()) << outcome.message();
    EXPECT_TRUE(outcome.message().empty());
    ASSERT_TRUE(document.IsObject());
    EXPECT_STREQ(document["name"].GetString(), "x");
    ASSERT_EQ(document["list"].Size(), 4u);
    EXPECT_DOUBLE_EQ(document["list"][1].GetDouble(), 2.5);
    EXPECT_TRUE(document["list"][3].IsNull());
    EXPECT_EQ(document["n"].GetInt(), -3);
}

TEST(BoundedJsonTest, NestingUpToTheLimitParses)
{
    ASSERT_EQ(boundedjson::kMaxNesting, 128u);
    rapidjson::Document arrays;
    ASSERT_TRUE(parse(arrays, nestedArrays(boundedjson::kMaxNesting)).ok());
    const rapidjson::Value* inner = &arrays;
    for (unsigned i = 0; i < boundedjson::kMaxNesting; ++i) {
        ASSERT_TRUE(inner->IsArray()) << "level " << i;
        inner = &(*inner)[0];
    }
    EXPECT_EQ(inner->GetInt(), 1);

    rapidjson::Document objects;
    EXPECT_TRUE(parse(objects, nestedObjects(boundedjson::kMaxNesting)).ok());
}

TEST(BoundedJsonTest, OneLevelPastTheLimitIsRefusedWithItsOwnMessage)
{
    for (const std::string& text : {nestedArrays(boundedjson::kMaxNesting + 1), nestedObjects(boundedjson::kMaxNesting + 1)}) {
        rapidjson::Document document;
        const boundedjson::Outcome outcome = parse(document, text);
        EXPECT_FALSE(outcome.ok());
        EXPECT_TRUE(outcome.tooDeep);
        EXPECT_EQ(outcome.message(), "nesting deeper than 128");
        EXPECT_TRUE(document.IsNull()) << "a refused text leaves the document as it was";
    }
}

TEST(BoundedJsonTest, MegabyteOfOpeningsIsRefusedAtTheLimit)
{
    for (const std::string unit : {"[", "{\"a\":"}) {
        SCOPED_TRACE(unit);
        rapidjson::Document document;
        const boundedjson::Outcome outcome = parse(document, megabyteOf(unit));
        EXPECT_TRUE(outcome.tooDeep);
        EXPECT_EQ(outcome.message(), "nesting deeper than 128");
        // The parse stopped where the level past the limit opened.
        EXPECT_EQ(outcome.offset, boundedjson::kMaxNesting * unit.size());
    }
}

TEST(BoundedJsonTest, SyntaxErrorsKeepRapidjsonsCodeAndPosition)
{
    rapidjson::Document document;
    boundedjson::Outcome outcome = parse(document, "[1, 2,");
    EXPECT_FALSE(outcome.ok());
    EXPECT_FALSE(outcome.tooDeep);
    EXPECT_EQ(outcome.code, rapidjson::kParseErrorValueInvalid);
    EXPECT_EQ(outcome.offset, 6u);
    EXPECT_EQ(outcome.message(), rapidjson::GetParseError_En(rapidjson::kParseErrorValueInvalid));

    outcome = parse(document, "");
    EXPECT_EQ(outcome.code, rapidjson::kParseErrorDocumentEmpty);
    outcome = parse(document, "{} x");
    EXPECT_EQ(outcome.code, rapidjson::kParseErrorDocumentRootNotSingular);
}

TEST(BoundedJsonTest, FailedParseLeavesAParsedDocumentAsItWas)
{
    rapidjson::Document document;
    ASSERT_TRUE(parse(document, R"({"kept": 1})").ok());
    EXPECT_FALSE(parse(document, megabyteOf("[")).ok());
    ASSERT_TRUE(document.IsObject());
    EXPECT_EQ(document["kept"].GetInt(), 1);
}

TEST(BoundedJsonTest, ParseFlagsArePassedOn)
{
    // Invalid UTF-8 passes by default and is refused when validation is asked for.
    const std::string text = "[\"\xC3\x28\"]";
    rapidjson::Document plain;
    EXPECT_TRUE(boundedjson::parse(plain, text.data(), text.size()).ok());
    rapidjson::Document validated;
    const boundedjson::Outcome outcome =
        boundedjson::parse<rapidjson::kParseValidateEncodingFlag>(validated, text.data(), text.size());
    EXPECT_EQ(outcome.code, rapidjson::kParseErrorStringInvalidEncoding);
}

TEST(BoundedJsonTest, TextIsReadOnlyToItsLength)
{
    const std::string text = "[1]garbage";
    rapidjson::Document document;
    ASSERT_TRUE(boundedjson::parse(document, text.data(), 3).ok());
    EXPECT_EQ(document[0].GetInt(), 1);
}

} // namespace
