/*
 * formvalues_test.cpp: file-name filtering, integer lists, flag strings and
 * password handling of the product's forms. The combo-box functions need
 * widgets and are tested in formvalues_combobox_test.cpp.
 */
#include <MVShared/FormValues.h>

#include <gtest/gtest.h>

using namespace Morvane;

TEST(FormValuesTest, FilterFileNameReplacesUnsafeCharactersButKeepsTheAsterisk)
{
    EXPECT_EQ(filterFileName(QStringLiteral("a:b*c?d")), QStringLiteral("a_b*c_d"));
}

TEST(FormValuesTest, FilterFileNameReplacesEveryUnsafeCharacterEverywhere)
{
    EXPECT_EQ(filterFileName(QStringLiteral("\\/:?|\"<>")), QStringLiteral("________"));
    EXPECT_EQ(filterFileName(QStringLiteral("x//y??z")), QStringLiteral("x__y__z"));
    EXPECT_EQ(filterFileName(QStringLiteral("Plant 1 - Trend (A).xml")), QStringLiteral("Plant 1 - Trend (A).xml"));
    EXPECT_EQ(filterFileName(QString()), QString());
}

TEST(FormValuesTest, IntegerListsSkipEmptyPartsAndKeepNonNumbersAsZero)
{
    EXPECT_EQ(stringToIntList(QStringLiteral("1,,2,x")), (QList<int>{1, 2, 0}));
    EXPECT_EQ(intListToString({1, 2, 0}), QStringLiteral("1,2,0"));
}

TEST(FormValuesTest, IntegerListPartsWithBlanksBecomeZero)
{
    EXPECT_EQ(stringToIntList(QStringLiteral("1, 2,3 ")), (QList<int>{1, 0, 0}));
    EXPECT_EQ(stringToIntList(QStringLiteral("-4,+5,0x10")), (QList<int>{-4, 5, 0}));
    EXPECT_EQ(stringToIntList(QStringLiteral("99999999999")), (QList<int>{0}));
}

TEST(FormValuesTest, EmptyListsAndTexts)
{
    EXPECT_TRUE(stringToIntList(QString()).isEmpty());
    EXPECT_TRUE(stringToIntList(QStringLiteral(",,,")).isEmpty());
    EXPECT_EQ(intListToString({}), QString());
    EXPECT_EQ(intListToString({-3}), QStringLiteral("-3"));
}

TEST(FormValuesTest, FlagToDigitSetsBitsWhereZeroMeetsAFlagFromOneToNine)
{
    const QVector<char> flags = {1, 9, 5, 2};
    EXPECT_EQ(flagToDigit(QStringLiteral("0000"), flags), 0b1111);
    EXPECT_EQ(flagToDigit(QStringLiteral("0101"), flags), 0b0101);
    EXPECT_EQ(flagToDigit(QStringLiteral("1111"), flags), 0);
    /* Flags 0, 10 and negative ones do not count; neither do characters
     * other than "0". */
    EXPECT_EQ(flagToDigit(QStringLiteral("0000"), QVector<char>{0, 10, -1, 3}), 0b1000);
    EXPECT_EQ(flagToDigit(QStringLiteral("a 0O"), QVector<char>{1, 1, 1, 1}), 0b0100);
}

TEST(FormValuesTest, FlagToDigitTreatsPositionsBeyondTheFlagsAsUnset)
{
    EXPECT_EQ(flagToDigit(QStringLiteral("0000"), QVector<char>{1, 1}), 0b0011);
    EXPECT_EQ(flagToDigit(QStringLiteral("00"), QVector<char>()), 0);
    EXPECT_EQ(flagToDigit(QString(), QVector<char>{1}), 0);
}

TEST(FormValuesTest, FlagToDigitFoldsPositionsFromThirtyTwoOn)
{
    const QString text(33, QLatin1Char('1'));
    QVector<char> flags(33, 1);
    QString zeroAt31 = text;
    zeroAt31[31] = QLatin1Char('0');
    EXPECT_EQ(flagToDigit(zeroAt31, flags), int(0x80000000u));
    QString zeroAt32 = text;
    zeroAt32[32] = QLatin1Char('0');
    EXPECT_EQ(flagToDigit(zeroAt32, flags), 1);
}

TEST(FormValuesTest, EveryPasswordIsStrongEnoughAndTheMessageIsLeftAlone)
{
    QString message = QStringLiteral("unchanged");
    EXPECT_TRUE(checkPasswordStrength(QString(), message));
    EXPECT_TRUE(checkPasswordStrength(QStringLiteral("a"), message));
    EXPECT_EQ(message, QStringLiteral("unchanged"));
}

TEST(FormValuesTest, SecurityValueIsTheRawShaOneOfBothTexts)
{
    /* SHA-1 of "abc", the standard test vector. */
    const QByteArray abc = QByteArray::fromHex("a9993e364706816aba3e25717850c26c9cd0d89d");
    EXPECT_EQ(makeSecurityValue(QStringLiteral("ab"), QStringLiteral("c")), abc);
    EXPECT_EQ(makeSecurityValue(QStringLiteral("abc"), QString()), abc);
    EXPECT_EQ(makeSecurityValue(QString(), QStringLiteral("abc")).size(), 20);
    /* SHA-1 of the empty input. */
    EXPECT_EQ(makeSecurityValue(QString(), QString()),
              QByteArray::fromHex("da39a3ee5e6b4b0d3255bfef95601890afd80709"));
}

TEST(FormValuesTest, SecurityValueHashesLatinOneBytes)
{
    /* "é" is the one byte E9 in Latin-1, not C3 A9 as in UTF-8; characters
     * outside Latin-1 become "?". */
    EXPECT_EQ(makeSecurityValue(QStringLiteral("caf\u00e9"), QString()),
              makeSecurityValue(QString::fromLatin1("caf\xe9"), QString()));
    EXPECT_NE(makeSecurityValue(QStringLiteral("caf\u00e9"), QString()),
              makeSecurityValue(QString::fromLatin1("caf\xc3\xa9"), QString()));
    EXPECT_EQ(makeSecurityValue(QStringLiteral("\u4e2d"), QString()), makeSecurityValue(QStringLiteral("?"), QString()));
}
