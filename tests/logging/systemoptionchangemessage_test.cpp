/*
 * systemoptionchangemessage_test.cpp: the JSON texts of changed system
 * options, their cutting into chunks, and reading them back from whatever a
 * station receives.
 */
#include <MVShared/SystemOptionChangeMessage.h>

#include <gtest/gtest.h>

#include <rapidjson/document.h>

#include <random>

namespace {

using Options = QList<QPair<QString, QString>>;

SystemOptionChangeMessage numberedOptions(int count)
{
    SystemOptionChangeMessage message;
    for (int i = 0; i < count; ++i)
        message.addOption(QStringLiteral("Option%1").arg(i), QString::number(i * 10));
    return message;
}

/* The number of objects in a text, or -1 when rapidjson rejects it. */
int objectCount(const QString& text)
{
    rapidjson::Document document;
    document.Parse(text.toUtf8().constData());
    if (document.HasParseError() || !document.IsArray())
        return -1;
    return static_cast<int>(document.Size());
}

} // namespace

TEST(SystemOptionChangeMessage, ToJsonWritesCompactArrayOfKeyAndValue)
{
    SystemOptionChangeMessage message;
    message.addOption(QStringLiteral("Mode"), QStringLiteral("Auto"));
    message.addOption(QStringLiteral("Limit"), QStringLiteral("5"));
    EXPECT_EQ(message.toJson(10),
              QStringList{QStringLiteral("[{\"key\":\"Mode\",\"value\":\"Auto\"},{\"key\":\"Limit\",\"value\":\"5\"}]")});
}

TEST(SystemOptionChangeMessage, TwentyThreeOptionsInChunksOfTenGiveTenTenAndThree)
{
    const SystemOptionChangeMessage message = numberedOptions(23);
    const QStringList texts = message.toJson(10);
    ASSERT_EQ(texts.size(), 3);
    EXPECT_EQ(objectCount(texts.at(0)), 10);
    EXPECT_EQ(objectCount(texts.at(1)), 10);
    EXPECT_EQ(objectCount(texts.at(2)), 3);
    EXPECT_EQ(SystemOptionChangeMessage::fromJson(texts.at(1)).options(), message.options().mid(10, 10));
    EXPECT_EQ(SystemOptionChangeMessage::fromJson(texts.at(2)).options(), message.options().mid(20));
}

TEST(SystemOptionChangeMessage, ToJsonOnEmptyMessageGivesNoTexts)
{
    EXPECT_TRUE(SystemOptionChangeMessage().toJson(10).isEmpty());
    EXPECT_TRUE(SystemOptionChangeMessage().toJson(-1).isEmpty());
}

TEST(SystemOptionChangeMessage, ToJsonWithZeroCountGivesNoTexts)
{
    EXPECT_TRUE(numberedOptions(5).toJson(0).isEmpty());
}

TEST(SystemOptionChangeMessage, ToJsonWithNegativeCountGivesAllOptionsInOneText)
{
    const QStringList texts = numberedOptions(23).toJson(-1);
    ASSERT_EQ(texts.size(), 1);
    EXPECT_EQ(objectCount(texts.at(0)), 23);
}

TEST(SystemOptionChangeMessage, ToJsonWithCountOfOneGivesOneTextPerOption)
{
    const QStringList texts = numberedOptions(3).toJson(1);
    ASSERT_EQ(texts.size(), 3);
    EXPECT_EQ(texts.at(2), QStringLiteral("[{\"key\":\"Option2\",\"value\":\"20\"}]"));
}

TEST(SystemOptionChangeMessage, EmptyValueIsWrittenAsEmptyString)
{
    SystemOptionChangeMessage message;
    message.addOption(QStringLiteral("Banner"), QString());
    EXPECT_EQ(message.toJson(10), QStringList{QStringLiteral("[{\"key\":\"Banner\",\"value\":\"\"}]")});
}

TEST(SystemOptionChangeMessage, ToJsonTextsParseBackWithRapidjson)
{
    const QStringList texts = numberedOptions(7).toJson(4);
    ASSERT_EQ(texts.size(), 2);
    for (const QString& text : texts) {
        rapidjson::Document document;
        document.Parse(text.toUtf8().constData());
        ASSERT_FALSE(document.HasParseError()) << text.toStdString();
        ASSERT_TRUE(document.IsArray());
        for (const rapidjson::Value& object : document.GetArray()) {
            ASSERT_TRUE(object.IsObject());
            EXPECT_EQ(object.MemberCount(), 2u);
            EXPECT_STREQ(object.MemberBegin()->name.GetString(), "key");
            EXPECT_STREQ((object.MemberBegin() + 1)->name.GetString(), "value");
        }
    }
}

TEST(SystemOptionChangeMessage, FromJsonOfOneChunkGivesBackItsPairsInOrder)
{
    SystemOptionChangeMessage message;
    message.addOption(QStringLiteral("Zeta"), QStringLiteral("1"));
    message.addOption(QStringLiteral("Alpha"), QStringLiteral("Gr\u00FC\u00DFe"));
    message.addOption(QStringLiteral("Mid"), QString());
    const QStringList texts = message.toJson(10);
    ASSERT_EQ(texts.size(), 1);
    EXPECT_EQ(SystemOptionChangeMessage::fromJson(texts.at(0)).options(), message.options());
}

TEST(SystemOptionChangeMessage, DuplicateKeysAreKeptInOrder)
{
    SystemOptionChangeMessage message;
    message.addOption(QStringLiteral("Mode"), QStringLiteral("Auto"));
    message.addOption(QStringLiteral("Mode"), QStringLiteral("Manual"));
    const Options expected{qMakePair(QStringLiteral("Mode"), QStringLiteral("Auto")),
                           qMakePair(QStringLiteral("Mode"), QStringLiteral("Manual"))};
    EXPECT_EQ(message.options(), expected);
    EXPECT_EQ(SystemOptionChangeMessage::fromJson(message.toJson(10).at(0)).options(), expected);
}

TEST(SystemOptionChangeMessage, ConstructorCopyAndAssignmentKeepTheOptions)
{
    const Options options{qMakePair(QStringLiteral("A"), QStringLiteral("1"))};
    const SystemOptionChangeMessage original(options);
    SystemOptionChangeMessage copy(original);
    SystemOptionChangeMessage assigned;
    assigned = original;
    EXPECT_EQ(original.options(), options);
    EXPECT_EQ(copy.options(), options);
    EXPECT_EQ(assigned.options(), options);
}

// Values are not escaped: a double quote in a value makes the text invalid,
// and such a text reads back as an empty message.
TEST(SystemOptionChangeMessage, QuoteInValueIsWrittenUnescaped)
{
    SystemOptionChangeMessage message;
    message.addOption(QStringLiteral("Title"), QStringLiteral("say \"hi\""));
    const QString text = message.toJson(10).at(0);
    EXPECT_EQ(text, QStringLiteral("[{\"key\":\"Title\",\"value\":\"say \"hi\"\"}]"));
    EXPECT_TRUE(SystemOptionChangeMessage::fromJson(text).options().isEmpty());
}

TEST(SystemOptionChangeMessage, FromJsonOfTextThatIsNotJsonGivesEmptyMessage)
{
    EXPECT_TRUE(SystemOptionChangeMessage::fromJson(QStringLiteral("Mode=Auto")).options().isEmpty());
    EXPECT_TRUE(SystemOptionChangeMessage::fromJson(QString()).options().isEmpty());
    EXPECT_TRUE(SystemOptionChangeMessage::fromJson(QStringLiteral("[{\"key\":\"A\",\"value\":\"1\"}")).options().isEmpty());
    EXPECT_TRUE(SystemOptionChangeMessage::fromJson(QStringLiteral("[{\"key\":\"A\"}] trailing")).options().isEmpty());
}

TEST(SystemOptionChangeMessage, FromJsonOfNonArrayGivesEmptyMessage)
{
    for (const char* text : {"{\"key\":\"A\",\"value\":\"1\"}", "\"A\"", "5", "null", "true"})
        EXPECT_TRUE(SystemOptionChangeMessage::fromJson(QString::fromUtf8(text)).options().isEmpty()) << text;
}

TEST(SystemOptionChangeMessage, FromJsonSkipsElementsThatAreNotObjects)
{
    const SystemOptionChangeMessage message = SystemOptionChangeMessage::fromJson(
        QStringLiteral("[1,\"x\",null,[{\"key\":\"In\",\"value\":\"0\"}],{\"key\":\"A\",\"value\":\"1\"},true]"));
    EXPECT_EQ(message.options(), (Options{qMakePair(QStringLiteral("A"), QStringLiteral("1"))}));
}

TEST(SystemOptionChangeMessage, FromJsonReadsMissingMembersAsEmptyText)
{
    const SystemOptionChangeMessage message = SystemOptionChangeMessage::fromJson(
        QStringLiteral("[{\"key\":\"OnlyKey\"},{\"value\":\"OnlyValue\"},{}]"));
    const Options expected{qMakePair(QStringLiteral("OnlyKey"), QString()),
                           qMakePair(QString(), QStringLiteral("OnlyValue")),
                           qMakePair(QString(), QString())};
    EXPECT_EQ(message.options(), expected);
}

TEST(SystemOptionChangeMessage, FromJsonReadsOtherMemberTypesAsTheirJsonText)
{
    const SystemOptionChangeMessage message = SystemOptionChangeMessage::fromJson(
        QStringLiteral("[{\"key\":\"N\",\"value\":5},{\"key\":\"O\",\"value\":{ \"a\" : [1, 2] }},"
                       "{\"key\":null,\"value\":[\"x\"]}]"));
    const Options expected{qMakePair(QStringLiteral("N"), QString()),
                           qMakePair(QStringLiteral("O"), QStringLiteral("{\"a\":[1,2]}")),
                           qMakePair(QString(), QString())};
    EXPECT_EQ(message.options(), expected);
}

TEST(SystemOptionChangeMessage, FromJsonOfRandomBytesNeverCrashes)
{
    std::mt19937 generator(20240229);
    std::uniform_int_distribution<int> byte(0, 255);
    std::uniform_int_distribution<int> length(0, 200);
    for (int round = 0; round < 2000; ++round) {
        QByteArray bytes;
        const int size = length(generator);
        for (int i = 0; i < size; ++i)
            bytes.append(static_cast<char>(byte(generator)));
        const SystemOptionChangeMessage message = SystemOptionChangeMessage::fromJson(QString::fromLatin1(bytes));
        EXPECT_LE(message.options().size(), bytes.count('{'));
    }
}

TEST(SystemOptionChangeMessage, FromJsonOfDamagedTextsNeverCrashes)
{
    const QByteArray valid = numberedOptions(4).toJson(10).at(0).toUtf8();
    std::mt19937 generator(7);
    std::uniform_int_distribution<int> position(0, valid.size() - 1);
    std::uniform_int_distribution<int> byte(0, 127);
    for (int round = 0; round < 2000; ++round) {
        QByteArray damaged = valid;
        damaged[position(generator)] = static_cast<char>(byte(generator));
        const SystemOptionChangeMessage message = SystemOptionChangeMessage::fromJson(QString::fromUtf8(damaged));
        EXPECT_LE(message.options().size(), 4);
    }
}

TEST(SystemOptionChangeMessage, FromJsonOfDeeplyNestedTextGivesEmptyMessage)
{
    EXPECT_TRUE(SystemOptionChangeMessage::fromJson(QString(1000000, QLatin1Char('['))).options().isEmpty());
    EXPECT_TRUE(SystemOptionChangeMessage::fromJson(QString(1000000, QLatin1Char('{'))).options().isEmpty());
    QString members;
    while (members.size() < 1000000)
        members += QStringLiteral("{\"a\":");
    EXPECT_TRUE(SystemOptionChangeMessage::fromJson(members).options().isEmpty());
}

// The top-level array and an element nested to 128 levels in all still
// parse (the element is no option and is skipped); one level more is
// refused whole.
TEST(SystemOptionChangeMessage, NestingUpToTheLimitStillParses)
{
    const auto withDeepElement = [](int levels) {
        return QStringLiteral("[{\"key\":\"A\",\"value\":\"1\"},%1%2]")
            .arg(QString(levels - 1, QLatin1Char('[')), QString(levels - 1, QLatin1Char(']')));
    };
    EXPECT_EQ(SystemOptionChangeMessage::fromJson(withDeepElement(128)).options(),
              (Options{qMakePair(QStringLiteral("A"), QStringLiteral("1"))}));
    EXPECT_TRUE(SystemOptionChangeMessage::fromJson(withDeepElement(129)).options().isEmpty());
}
