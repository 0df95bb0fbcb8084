/*
 * appicons_test.cpp: the application icon assembled from the numbered
 * image files that exist.
 */
#include "pixmapfiles.h"

#include <MVShared/AppIcons.h>

#include <QtWidgets/QApplication>

#include <gtest/gtest.h>

#include <algorithm>

namespace {

QList<int> iconSides(const QIcon& icon)
{
    QList<int> sides;
    for (const QSize& size : icon.availableSizes(QIcon::Normal, QIcon::Off))
        sides.append(size.width());
    std::sort(sides.begin(), sides.end());
    return sides;
}

} // namespace

TEST(AppIconsTest, IconHoldsThePresentSizesAndSkipsTheMissing)
{
    mvtest::PixmapFiles files;
    ASSERT_TRUE(files.isValid());
    for (int side : {16, 24, 32})
        ASSERT_TRUE(files.write(QStringLiteral("app_%1.png").arg(side), side));
    const QIcon icon = Morvane::getAppIconSet(files.path(QStringLiteral("app")), 16);
    EXPECT_FALSE(icon.isNull());
    EXPECT_EQ(iconSides(icon), (QList<int>{16, 24, 32}));
}

TEST(AppIconsTest, IconSizesAreQuarterStepsTruncated)
{
    /* Size 10: 10, 12.5, 15, 17.5, 20 are looked for as 10, 12, 15, 17, 20. */
    mvtest::PixmapFiles files;
    ASSERT_TRUE(files.isValid());
    for (int side : {10, 12, 13, 15, 17, 18, 20, 40})
        ASSERT_TRUE(files.write(QStringLiteral("app_%1.png").arg(side), side));
    const QIcon icon = Morvane::getAppIconSet(files.path(QStringLiteral("app")), 10);
    EXPECT_EQ(iconSides(icon), (QList<int>{10, 12, 15, 17, 20}));
}

TEST(AppIconsTest, IconWithNoMatchingFilesIsNull)
{
    mvtest::PixmapFiles files;
    ASSERT_TRUE(files.isValid());
    ASSERT_TRUE(files.write(QStringLiteral("other_16.png"), 16));
    EXPECT_TRUE(Morvane::getAppIconSet(files.path(QStringLiteral("app")), 16).isNull());
    EXPECT_TRUE(Morvane::getAppIconSet(files.path(QStringLiteral("other")), 0).isNull());
}

TEST(AppIconsTest, WindowIconIsTheSixteenPixelSet)
{
    mvtest::PixmapFiles files;
    ASSERT_TRUE(files.isValid());
    for (int side : {16, 20, 24, 28, 32, 64})
        ASSERT_TRUE(files.write(QStringLiteral("viewer_%1.png").arg(side), side));
    const QIcon before = QApplication::windowIcon();
    Morvane::setWindowIcon(files.path(QStringLiteral("viewer")));
    EXPECT_EQ(iconSides(QApplication::windowIcon()), (QList<int>{16, 20, 24, 28, 32}));
    QApplication::setWindowIcon(before);
}
