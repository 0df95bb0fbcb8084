/*
 * jsontext_test.cpp: the hand-made JSON pieces, character for character, and
 * the text of parsed rapidjson values.
 */
#include <MVShared/JsonText.h>

#include <gtest/gtest.h>

#include <rapidjson/document.h>

using namespace Morvane;

namespace {

QString textOf(const char* json)
{
    rapidjson::Document document;
    document.Parse(json);
    EXPECT_FALSE(document.HasParseError()) << json;
    return getJsonString(document);
}

} // namespace

TEST(JsonText, JsStringQuotesWithoutEscaping)
{
    EXPECT_EQ(jsString(QStringLiteral("Pump 1")), QStringLiteral("\"Pump 1\""));
    EXPECT_EQ(jsString(QString()), QStringLiteral("\"\""));
    EXPECT_EQ(jsString(QStringLiteral("a\"b\\c")), QStringLiteral("\"a\"b\\c\""));
}

TEST(JsonText, JsKeyValueWithAndWithoutComma)
{
    EXPECT_EQ(jsKeyValue(QStringLiteral("Id"), 42, true), QStringLiteral("\"Id\":42,"));
    EXPECT_EQ(jsKeyValue(QStringLiteral("Id"), -7, false), QStringLiteral("\"Id\":-7"));
}

TEST(JsonText, JsKeyInt64ValueWithAndWithoutComma)
{
    EXPECT_EQ(jsKeyInt64Value(QStringLiteral("PID"), -5, false), QStringLiteral("\"PID\":-5"));
    EXPECT_EQ(jsKeyInt64Value(QStringLiteral("PID"), Q_INT64_C(9007199254740993), true),
              QStringLiteral("\"PID\":9007199254740993,"));
}

TEST(JsonText, JsKeyDoubleValueWithAndWithoutComma)
{
    EXPECT_EQ(jsKeyDoubleValue(QStringLiteral("V"), 0.1, false), QStringLiteral("\"V\":0.1"));
    EXPECT_EQ(jsKeyDoubleValue(QStringLiteral("V"), 0.1, true), QStringLiteral("\"V\":0.1,"));
}

TEST(JsonText, JsKeyDoubleValueKeepsSixSignificantDigits)
{
    EXPECT_EQ(jsKeyDoubleValue(QStringLiteral("V"), 1234567.0, false), QStringLiteral("\"V\":1.23457e+06"));
    EXPECT_EQ(jsKeyDoubleValue(QStringLiteral("V"), 3.14159265, false), QStringLiteral("\"V\":3.14159"));
    EXPECT_EQ(jsKeyDoubleValue(QStringLiteral("V"), 2.0, false), QStringLiteral("\"V\":2"));
}

TEST(JsonText, JsKeyStringValueWithAndWithoutComma)
{
    EXPECT_EQ(jsKeyStringValue(QStringLiteral("Name"), QStringLiteral("A"), true), QStringLiteral("\"Name\":\"A\","));
    EXPECT_EQ(jsKeyStringValue(QStringLiteral("Name"), QStringLiteral("A"), false), QStringLiteral("\"Name\":\"A\""));
}

TEST(JsonText, JsKeyStringValueOfEmptyValueIsEmptyQuotes)
{
    EXPECT_EQ(jsKeyStringValue(QStringLiteral("value"), QString(), false), QStringLiteral("\"value\":\"\""));
}

TEST(JsonText, JsKeyObjectValueWithAndWithoutComma)
{
    const QString object = QStringLiteral("{\"a\":1}");
    EXPECT_EQ(jsKeyObjectValue(QStringLiteral("Link"), object, true), QStringLiteral("\"Link\":{\"a\":1},"));
    EXPECT_EQ(jsKeyObjectValue(QStringLiteral("List"), QStringLiteral("[1,2]"), false),
              QStringLiteral("\"List\":[1,2]"));
}

TEST(JsonText, ConcatenatedPiecesMakeAnObjectThatParses)
{
    const QString text = QStringLiteral("{%1}").arg(jsKeyValue(QStringLiteral("a"), 1, true)
                                                   + jsKeyDoubleValue(QStringLiteral("b"), 0.5, true)
                                                   + jsKeyStringValue(QStringLiteral("c"), QStringLiteral("x"), false));
    EXPECT_EQ(text, QStringLiteral("{\"a\":1,\"b\":0.5,\"c\":\"x\"}"));
    rapidjson::Document document;
    document.Parse(text.toUtf8().constData());
    EXPECT_FALSE(document.HasParseError());
    EXPECT_EQ(getJsonString(document), text);
}

// The key is substituted first, so a %1 inside it takes the value text and
// the value's own placeholder stays behind. Existing texts rely on it.
TEST(JsonText, KeyContainingPlaceholderReceivesTheValueText)
{
    EXPECT_EQ(jsKeyValue(QStringLiteral("a%1"), 5, false), QStringLiteral("\"a5\":%2"));
    EXPECT_EQ(jsKeyStringValue(QStringLiteral("k%1"), QStringLiteral("V"), true), QStringLiteral("\"k\"V\"\":%2,"));
}

// Nothing is escaped, so a caller's text decides the JSON: a double quote in
// a value closes the string and what follows it becomes members of its own.
TEST(JsonText, QuoteInAStringValueInjectsAMemberIntoTheObject)
{
    const QString text = QStringLiteral("{%1}").arg(
        jsKeyStringValue(QStringLiteral("mode"), QStringLiteral("Auto\",\"admin\":\"yes"), true)
        + jsKeyStringValue(QStringLiteral("user"), QStringLiteral("op"), false));
    EXPECT_EQ(text, QStringLiteral("{\"mode\":\"Auto\",\"admin\":\"yes\",\"user\":\"op\"}"));
    rapidjson::Document document;
    document.Parse(text.toUtf8().constData());
    ASSERT_FALSE(document.HasParseError());
    ASSERT_TRUE(document.HasMember("admin"));
    EXPECT_STREQ(document["admin"].GetString(), "yes");
    EXPECT_STREQ(document["mode"].GetString(), "Auto");
}

// A backslash at the end of a value escapes the closing quote: the string
// runs on into the next member and the whole text no longer parses, so
// every piece composed into it is lost to its reader.
TEST(JsonText, BackslashEndingAStringValueBreaksTheObject)
{
    const QString text = QStringLiteral("{%1}").arg(
        jsKeyStringValue(QStringLiteral("path"), QStringLiteral("share\\"), true)
        + jsKeyStringValue(QStringLiteral("user"), QStringLiteral("op"), false));
    EXPECT_EQ(text, QStringLiteral("{\"path\":\"share\\\",\"user\":\"op\"}"));
    rapidjson::Document document;
    document.Parse(text.toUtf8().constData());
    EXPECT_TRUE(document.HasParseError());
}

TEST(JsonText, GetJsonStringOfStringIsDecodedAsUtf8)
{
    EXPECT_EQ(textOf("\"Gr\xC3\xBC\xC3\x9F" "e\""), QStringLiteral("Gr\u00FC\u00DFe"));
    EXPECT_EQ(textOf("\"\""), QString());
}

TEST(JsonText, GetJsonStringOfObjectIsWrittenCompactly)
{
    EXPECT_EQ(textOf("{ \"a\" : 1,\n  \"b\" : [ 1, 2 ], \"c\" : { \"d\" : \"\xC3\xBC\" } }"),
              QStringLiteral("{\"a\":1,\"b\":[1,2],\"c\":{\"d\":\"\u00FC\"}}"));
}

TEST(JsonText, GetJsonStringOfEmptyObjectIsBraces)
{
    EXPECT_EQ(textOf("{}"), QStringLiteral("{}"));
}

TEST(JsonText, GetJsonStringOfNumberIsEmpty)
{
    EXPECT_TRUE(textOf("12").isEmpty());
    EXPECT_TRUE(textOf("-0.5").isEmpty());
}

TEST(JsonText, GetJsonStringOfNullBoolAndArrayIsEmpty)
{
    EXPECT_TRUE(textOf("null").isEmpty());
    EXPECT_TRUE(textOf("true").isEmpty());
    EXPECT_TRUE(textOf("false").isEmpty());
    EXPECT_TRUE(textOf("[\"a\",{}]").isEmpty());
    EXPECT_TRUE(getJsonString(rapidjson::Value()).isEmpty());
}
