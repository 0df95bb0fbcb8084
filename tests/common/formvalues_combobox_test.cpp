/*
 * formvalues_combobox_test.cpp: choosing combo-box items by the value they
 * carry under Qt::UserRole.
 */
#include <MVShared/FormValues.h>

#include <QtWidgets/QComboBox>

#include <gtest/gtest.h>

using namespace Morvane;

namespace {

/* Items "item 0", "item 1", ... carrying the given values. */
void fill(QComboBox& box, const QList<QVariant>& values)
{
    for (int i = 0; i < values.size(); ++i)
        box.addItem(QStringLiteral("item %1").arg(i), values.at(i));
}

} // namespace

TEST(ComboBoxValuesTest, FindTakesTheFirstMatchWhileSelectTakesTheLast)
{
    QComboBox box;
    fill(box, {1, 7, 3, 7});
    EXPECT_EQ(findDataIndex(&box, 7), 1);
    setCurrentIndexByData(&box, 7);
    EXPECT_EQ(box.currentIndex(), 3);
}

TEST(ComboBoxValuesTest, FindOnAnEmptyBoxOrWithoutMatchIsMinusOne)
{
    QComboBox box;
    EXPECT_EQ(findDataIndex(&box, 0), -1);
    fill(box, {1, 2});
    EXPECT_EQ(findDataIndex(&box, 3), -1);
    EXPECT_EQ(findDataIndex(nullptr, 1), -1);
}

TEST(ComboBoxValuesTest, FindComparesTheDataAsInt)
{
    QComboBox box;
    fill(box, {QStringLiteral("x"), QStringLiteral("12"), 4.9});
    EXPECT_EQ(findDataIndex(&box, 12), 1);
    /* "x" reads as 0. */
    EXPECT_EQ(findDataIndex(&box, 0), 0);
    EXPECT_EQ(findDataIndex(&box, 5), 2);
}

TEST(ComboBoxValuesTest, SelectWithoutMatchKeepsTheCurrentItem)
{
    QComboBox box;
    fill(box, {1, 2, 3});
    box.setCurrentIndex(1);
    setCurrentIndexByData(&box, 9);
    EXPECT_EQ(box.currentIndex(), 1);
    setIndexByValue(&box, QVariant(9));
    EXPECT_EQ(box.currentIndex(), 1);
    setCurrentIndexByData(nullptr, 1);
    setIndexByValue(nullptr, QVariant(1));
}

TEST(ComboBoxValuesTest, SelectByValueUsesVariantEqualityAndTheLastMatch)
{
    QComboBox box;
    fill(box, {QStringLiteral("a"), QStringLiteral("b"), QStringLiteral("a"), 5});
    setIndexByValue(&box, QStringLiteral("a"));
    EXPECT_EQ(box.currentIndex(), 2);
    setIndexByValue(&box, 5);
    EXPECT_EQ(box.currentIndex(), 3);
}

TEST(ComboBoxValuesTest, CurrentDataIsTheCurrentItemsValueAsInt)
{
    QComboBox box;
    EXPECT_EQ(currentData(&box), QVariant(0));
    fill(box, {QStringLiteral("17"), 8});
    box.setCurrentIndex(0);
    const QVariant value = currentData(&box);
    EXPECT_EQ(value.userType(), int(QMetaType::Int));
    EXPECT_EQ(value, QVariant(17));
    box.setCurrentIndex(1);
    EXPECT_EQ(currentData(&box), QVariant(8));
}
