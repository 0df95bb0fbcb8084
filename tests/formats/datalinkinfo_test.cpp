/*
 * datalinkinfo_test.cpp: the data link descriptor (names, JSON text and its
 * parsing) and the data kinds of statistic data fields.
 */
#include <MVShared/DataLinkInfo.h>

#include <gtest/gtest.h>

using Morvane::DataCode;
using Morvane::DataLinkInfo;

namespace {

DataLinkInfo link(Morvane::ScadaObjectType type, int id, const QString& name, const QString& attribute)
{
    DataLinkInfo info(type, id, name);
    info.attribute = attribute;
    return info;
}

void expectInvalid(const DataLinkInfo& info)
{
    EXPECT_EQ(info.objectType, Morvane::InvalidObject);
    EXPECT_EQ(info.id, 0);
    EXPECT_TRUE(info.dataName.isEmpty());
    EXPECT_TRUE(info.attribute.isEmpty());
}

} // namespace

TEST(DataLinkInfo, DefaultIsTheInvalidDescriptor)
{
    const DataLinkInfo info;
    expectInvalid(info);
    EXPECT_TRUE(info.isEmpty());
}

TEST(DataLinkInfo, ConstructorLeavesTheAttributeEmpty)
{
    const DataLinkInfo info(Morvane::AnalogPointObject, 200001, QStringLiteral("P1"));
    EXPECT_EQ(info.objectType, Morvane::AnalogPointObject);
    EXPECT_EQ(info.id, 200001);
    EXPECT_EQ(info.dataName, QStringLiteral("P1"));
    EXPECT_TRUE(info.attribute.isEmpty());
}

TEST(DataLinkInfo, ParsingAnEmptyTextOrALoneBraceGivesTheInvalidDescriptor)
{
    expectInvalid(DataLinkInfo::fromJsonStream(QString()));
    expectInvalid(DataLinkInfo::fromJsonStream(QStringLiteral("{")));
}

TEST(DataLinkInfo, ParsingOnlyAPidOfFiveGivesTypeMinusOneAndIdFive)
{
    const DataLinkInfo info = DataLinkInfo::fromJsonStream(QStringLiteral("{\"PID\":5}"));
    EXPECT_EQ(info.objectType, Morvane::InvalidObject);
    EXPECT_EQ(info.id, 5);
    EXPECT_TRUE(info.dataName.isEmpty());
}

TEST(DataLinkInfo, TextWrittenForOrdinaryNamesParsesBackEqual)
{
    DataLinkInfo info = link(Morvane::ChannelObject, 17, QStringLiteral("Kanal Süd"), QStringLiteral("State"));
    EXPECT_EQ(DataLinkInfo::fromJsonStream(info.toJsonStream()), info);
}

TEST(DataLinkInfo, JsonTextIsCompactInTheFixedKeyOrder)
{
    DataLinkInfo info = link(Morvane::StatusPointObject, 100001, QStringLiteral("P1"), QStringLiteral("Value"));
    EXPECT_EQ(info.toJsonStream(),
              QStringLiteral("{\"ObjectType\":0,\"PID\":100001,\"DataName\":\"P1\",\"Attribute\":\"Value\"}"));
}

TEST(DataLinkInfo, NamesAreNotEscapedSoAQuoteDoesNotParseBack)
{
    DataLinkInfo info = link(Morvane::StatusPointObject, 1, QStringLiteral("a\"b"), QString());
    EXPECT_EQ(info.toJsonStream(),
              QStringLiteral("{\"ObjectType\":0,\"PID\":1,\"DataName\":\"a\"b\",\"Attribute\":\"\"}"));
    expectInvalid(DataLinkInfo::fromJsonStream(info.toJsonStream()));
}

TEST(DataLinkInfo, MembersOfTheWrongKindAreTakenAsAbsentAndOthersIgnored)
{
    const DataLinkInfo info = DataLinkInfo::fromJsonStream(
        QStringLiteral("{\"ObjectType\":\"1\",\"PID\":2.5,\"DataName\":7,\"Attribute\":\"Max\",\"Other\":1}"));
    EXPECT_EQ(info.objectType, Morvane::InvalidObject);
    EXPECT_EQ(info.id, 0);
    EXPECT_TRUE(info.dataName.isEmpty());
    EXPECT_EQ(info.attribute, QStringLiteral("Max"));
    expectInvalid(DataLinkInfo::fromJsonStream(QStringLiteral("[1,2]")));
}

TEST(DataLinkInfo, DeeplyNestedTextGivesTheInvalidDescriptorWithoutExhaustingTheStack)
{
    for (const QString& unit : {QStringLiteral("["), QStringLiteral("{\"a\":")}) {
        SCOPED_TRACE(unit.toStdString());
        QString text;
        while (text.size() < 1000000)
            text += unit;
        expectInvalid(DataLinkInfo::fromJsonStream(text));
    }
}

// The root object and a member nested to 128 levels in all still parse;
// one level more is refused whole.
TEST(DataLinkInfo, NestingUpToTheLimitStillParses)
{
    const auto withDeepMember = [](int levels) {
        return QStringLiteral("{\"PID\":5,\"Extra\":%1%2}")
            .arg(QString(levels - 1, QLatin1Char('[')), QString(levels - 1, QLatin1Char(']')));
    };
    EXPECT_EQ(DataLinkInfo::fromJsonStream(withDeepMember(128)).id, 5);
    expectInvalid(DataLinkInfo::fromJsonStream(withDeepMember(129)));
}

TEST(DataLinkInfo, PointOfType1WithLastValueHasAbsoluteNameEqualToItsCodeName)
{
    const DataLinkInfo info = link(Morvane::AnalogPointObject, 200001, QStringLiteral("P1"), QStringLiteral("LastValue"));
    EXPECT_EQ(info.absoluteName(), info.dataCodeName());
    EXPECT_EQ(info.absoluteName(), QStringLiteral("P1"));
}

TEST(DataLinkInfo, AbsoluteNamesOfPointsAndOtherObjects)
{
    EXPECT_EQ(link(Morvane::StatusPointObject, 1, QStringLiteral("P1"), QStringLiteral("Value")).absoluteName(),
              QStringLiteral("P1"));
    EXPECT_EQ(link(Morvane::CalculatedPointObject, 1, QStringLiteral("P1"), QStringLiteral("Max")).absoluteName(),
              QStringLiteral("P1:Max"));
    EXPECT_EQ(link(Morvane::TextPointObject, 1, QStringLiteral("P1"), QStringLiteral("value")).absoluteName(),
              QStringLiteral("P1:value"));
    EXPECT_EQ(link(Morvane::ChannelObject, 1, QStringLiteral("C1"), QStringLiteral("State")).absoluteName(),
              QStringLiteral("@C::C1:State"));
    EXPECT_EQ(link(Morvane::RemoteUnitObject, 1, QStringLiteral("R1"), QStringLiteral("Value")).absoluteName(),
              QStringLiteral("@R::R1:Value"));
    EXPECT_EQ(link(Morvane::OtherObject, 1, QStringLiteral("S1"), QString()).absoluteName(),
              QStringLiteral("@::S1"));
    EXPECT_EQ(link(Morvane::InvalidObject, 1, QStringLiteral("X"), QString()).dataCodeName(), QStringLiteral("X"));
}

TEST(DataLinkInfo, MakeInvalidOnANamedDescriptorKeepsItNonEmpty)
{
    DataLinkInfo info = link(Morvane::AnalogPointObject, 200001, QStringLiteral("P1"), QStringLiteral("Max"));
    info.makeInvalid();
    EXPECT_EQ(info.objectType, Morvane::InvalidObject);
    EXPECT_EQ(info.id, 0);
    EXPECT_FALSE(info.isEmpty());
    EXPECT_EQ(info.attribute, QStringLiteral("Max"));
}

TEST(DataLinkInfo, EqualityComparesAllFourFields)
{
    const DataLinkInfo a = link(Morvane::StatusPointObject, 1, QStringLiteral("P"), QStringLiteral("V"));
    EXPECT_TRUE(a == link(Morvane::StatusPointObject, 1, QStringLiteral("P"), QStringLiteral("V")));
    EXPECT_FALSE(a == link(Morvane::AnalogPointObject, 1, QStringLiteral("P"), QStringLiteral("V")));
    EXPECT_FALSE(a == link(Morvane::StatusPointObject, 2, QStringLiteral("P"), QStringLiteral("V")));
    EXPECT_FALSE(a == link(Morvane::StatusPointObject, 1, QStringLiteral("Q"), QStringLiteral("V")));
    EXPECT_FALSE(a == link(Morvane::StatusPointObject, 1, QStringLiteral("P"), QStringLiteral("v")));
}

TEST(DataCode, StatisticFieldsMapToTheirDataKinds)
{
    EXPECT_EQ(DataCode::convertToDataKindCode(DataCode::MaximumValueField), Morvane::MaximumValue);
    EXPECT_EQ(DataCode::convertToDataKindCode(DataCode::MinimumValueField), Morvane::MinimumValue);
    EXPECT_EQ(DataCode::convertToDataKindCode(DataCode::AverageValueField), Morvane::AverageValue);
    EXPECT_EQ(DataCode::convertToDataKindCode(DataCode::DeltaValueField), Morvane::DeltaValue);
    EXPECT_EQ(DataCode::convertToDataKindCode(DataCode::MomentValueField), Morvane::MomentValue);
    EXPECT_EQ(int(DataCode::convertToDataKindCode(DataCode::DataField(100005))), -1);
    EXPECT_EQ(int(DataCode::MaximumValueField), 100001);
    EXPECT_EQ(int(DataCode::MomentValueField), 100007);
}
