// vocabulary_test.cpp: the SCADA vocabulary of MVPlant/Vocabulary.h.
//
// The classifiers take the id ranges exactly (100001..200000 status,
// 200001..3000000 analog, above text); the read routing is one below them
// (200000 reads as analog, 3000000 as text); the write routing takes
// 200001..2999999 as analog, below 200000 as status and the rest, 200000
// itself included, as text. The name-index object types keep their numbers.
#include <MVPlant/Vocabulary.h>

#include <gtest/gtest.h>

#include <cstdint>
#include <limits>

namespace {

using MVPlant::PointKind;

constexpr std::int32_t kInt32Max = std::numeric_limits<std::int32_t>::max();

TEST(VocabularyTest, IdRangesAreTheKnownNumbers)
{
    EXPECT_EQ(MVPlant::kStatusFirst, 100001);
    EXPECT_EQ(MVPlant::kStatusLast, 200000);
    EXPECT_EQ(MVPlant::kAnalogFirst, 200001);
    EXPECT_EQ(MVPlant::kAnalogLast, 3000000);
    EXPECT_EQ(MVPlant::kTextFirst, 3000001);
    EXPECT_EQ(MVPlant::kTextLast, kInt32Max);
}

TEST(VocabularyTest, StatusClassifierTakes100001To200000)
{
    EXPECT_FALSE(MVPlant::isStatusId(0));
    EXPECT_FALSE(MVPlant::isStatusId(100000));
    EXPECT_TRUE(MVPlant::isStatusId(100001));
    EXPECT_TRUE(MVPlant::isStatusId(200000));
    EXPECT_FALSE(MVPlant::isStatusId(200001));
}

TEST(VocabularyTest, AnalogClassifierTakes200001To3000000)
{
    EXPECT_FALSE(MVPlant::isAnalogId(200000));
    EXPECT_TRUE(MVPlant::isAnalogId(200001));
    EXPECT_TRUE(MVPlant::isAnalogId(2999999));
    EXPECT_TRUE(MVPlant::isAnalogId(3000000));
    EXPECT_FALSE(MVPlant::isAnalogId(3000001));
}

TEST(VocabularyTest, TextClassifierTakesEverythingAbove3000000)
{
    EXPECT_FALSE(MVPlant::isTextId(3000000));
    EXPECT_TRUE(MVPlant::isTextId(3000001));
    EXPECT_TRUE(MVPlant::isTextId(kInt32Max));
    EXPECT_FALSE(MVPlant::isTextId(-1));
}

TEST(VocabularyTest, ReadRoutingIsOneBelowTheClassifiers)
{
    EXPECT_EQ(MVPlant::readKindOf(0), PointKind::Status);
    EXPECT_EQ(MVPlant::readKindOf(100001), PointKind::Status);
    EXPECT_EQ(MVPlant::readKindOf(199999), PointKind::Status);
    // 200000 is a status id to the classifier but reads as an analog record.
    EXPECT_EQ(MVPlant::readKindOf(200000), PointKind::Analog);
    EXPECT_EQ(MVPlant::readKindOf(200001), PointKind::Analog);
    EXPECT_EQ(MVPlant::readKindOf(2999999), PointKind::Analog);
    // 3000000 is an analog id to the classifier but reads as a text record.
    EXPECT_EQ(MVPlant::readKindOf(3000000), PointKind::Text);
    EXPECT_EQ(MVPlant::readKindOf(3000001), PointKind::Text);
    EXPECT_EQ(MVPlant::readKindOf(kInt32Max), PointKind::Text);
}

TEST(VocabularyTest, WriteRoutingSends200000ToText)
{
    EXPECT_EQ(MVPlant::writeKindOf(0), PointKind::Status);
    EXPECT_EQ(MVPlant::writeKindOf(100001), PointKind::Status);
    EXPECT_EQ(MVPlant::writeKindOf(199999), PointKind::Status);
    // Neither status nor analog for the writes: "TEXT200000".
    EXPECT_EQ(MVPlant::writeKindOf(200000), PointKind::Text);
    EXPECT_EQ(MVPlant::writeKindOf(200001), PointKind::Analog);
    EXPECT_EQ(MVPlant::writeKindOf(2999999), PointKind::Analog);
    EXPECT_EQ(MVPlant::writeKindOf(3000000), PointKind::Text);
    EXPECT_EQ(MVPlant::writeKindOf(3000001), PointKind::Text);
}

TEST(VocabularyTest, RoutingsAndClassifiersAreConstantExpressions)
{
    static_assert(MVPlant::isStatusId(MVPlant::kStatusLast));
    static_assert(MVPlant::readKindOf(MVPlant::kStatusLast) == PointKind::Analog);
    static_assert(MVPlant::writeKindOf(MVPlant::kStatusLast) == PointKind::Text);
    constexpr bool lastAnalogReadsAsText = MVPlant::readKindOf(MVPlant::kAnalogLast) == PointKind::Text;
    EXPECT_TRUE(lastAnalogReadsAsText);
}

TEST(VocabularyTest, NameIndexObjectTypesKeepTheirNumbers)
{
    EXPECT_EQ(MVPlant::kStatusObject, 0);
    EXPECT_EQ(MVPlant::kAnalogObject, 1);
    EXPECT_EQ(MVPlant::kRemoteUnitObject, 2);
    EXPECT_EQ(MVPlant::kChannelObject, 3);
    EXPECT_EQ(MVPlant::kTextObject, 5);
    EXPECT_EQ(MVPlant::kCalculatedObject, 6);
    EXPECT_EQ(MVPlant::kOtherObject, 7);
}

} // namespace
