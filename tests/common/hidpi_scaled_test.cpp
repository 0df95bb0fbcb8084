/*
 * hidpi_scaled_test.cpp: a desktop at 120 DPI (widgetmain.cpp sets the
 * font DPI as a 125 % desktop scaling does), end to end: the factor every
 * operation takes from the desktop when given no widget, the pixmap file
 * it picks, and the server address dialog sized for it.
 */
#include "isolatedsettings.h"
#include "pixmapfiles.h"

#include <MVShared/HiDPI.h>
#include <MVShared/MorvaneRTServerSetting.h>

#include <QtWidgets/QWidget>

#include <gtest/gtest.h>

TEST(HiDPIScaledDesktopTest, DesktopFactorIsOnePointTwoFive)
{
    EXPECT_EQ(HiDPI::dpiScaleFactor(), MV_TEST_LOGICAL_DPI / 96.0);
    EXPECT_EQ(HiDPI::dpiScaleFactor(), 1.25);
    QWidget widget;
    EXPECT_EQ(HiDPI::dpiScaleFactor(&widget), 1.25);
}

TEST(HiDPIScaledDesktopTest, ValuesScaleByTheDesktopFactor)
{
    EXPECT_EQ(HiDPI::dpiScaled(7), 8);
    EXPECT_EQ(HiDPI::dpiScaledRound(7), 9);
    EXPECT_EQ(HiDPI::dpiScaled(-7), -9);
    EXPECT_EQ(HiDPI::dpiScaled(QMargins(11, 11, 11, 11)), QMargins(14, 14, 14, 14));
    EXPECT_EQ(HiDPI::dpiScaled(QSize(16, 16)), QSize(20, 20));
    EXPECT_EQ(HiDPI::dpiScaled(QPointF(2, 2)), QPointF(2.5, 2.5));
    EXPECT_EQ(HiDPI::dpiScaled(QRect(0, 0, 16, 16)), QRect(QPoint(0, 0), QPoint(19, 19)));
}

TEST(HiDPIScaledDesktopTest, PixmapsOfTheDesktopFactor)
{
    mvtest::PixmapFiles files;
    ASSERT_TRUE(files.isValid());
    ASSERT_TRUE(files.write(QStringLiteral("run_1x.png"), 16));
    ASSERT_TRUE(files.write(QStringLiteral("run_1.25x.png"), 20));
    ASSERT_TRUE(files.write(QStringLiteral("run_20.png"), 21));
    const QString base = files.path(QStringLiteral("run"));
    EXPECT_EQ(HiDPI::dpiScaledPixmapString(base), base + QStringLiteral("_1.25x.png"));
    EXPECT_EQ(HiDPI::dpiScaledPixmap(base).size(), QSize(20, 20));
    EXPECT_EQ(HiDPI::dpiScaledPixmapFromSize(base, 16).size(), QSize(21, 21));
}

TEST(HiDPIScaledDesktopTest, ServerSettingDialogIsSizedForTheDesktop)
{
    ASSERT_FALSE(mvtest::useIsolatedSettings("mvcommon-widgets").empty());
    MorvaneRTServerSetting dialog;
    /* 301 x 1.25 = 376.25 and 143 x 1.25 = 178.75. */
    EXPECT_EQ(dialog.size(), QSize(376, 179));
    MorvaneRTServerSetting second;
    EXPECT_EQ(second.size(), QSize(376, 179));
}
