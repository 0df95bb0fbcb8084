/*
 * hidpi_noapplication_test.cpp: a process without a QApplication (this
 * binary runs a QCoreApplication) has no desktop to ask, so layouts keep
 * the sizes they were drawn with.
 */
#include <MVShared/HiDPI.h>

#include <QtCore/QCoreApplication>
#include <QtWidgets/QApplication>

#include <gtest/gtest.h>

TEST(HiDPINoApplicationTest, FactorIsOneAndSuffixIsOneX)
{
    ASSERT_EQ(qobject_cast<QApplication*>(QCoreApplication::instance()), nullptr);
    EXPECT_EQ(HiDPI::dpiScaleFactor(), 1.0);
    EXPECT_EQ(HiDPI::dpiScaledPixmapString(QStringLiteral("icons/run")), QStringLiteral("icons/run_1x.png"));
}

TEST(HiDPINoApplicationTest, ValuesComeBackUnscaled)
{
    EXPECT_EQ(HiDPI::dpiScaled(7), 7);
    EXPECT_EQ(HiDPI::dpiScaled(-7), -7);
    EXPECT_EQ(HiDPI::dpiScaledRound(7), 7);
    EXPECT_EQ(HiDPI::dpiScaled(QSize(301, 143)), QSize(301, 143));
    EXPECT_EQ(HiDPI::dpiScaled(QMargins(1, 2, 3, 4)), QMargins(1, 2, 3, 4));
    EXPECT_EQ(HiDPI::dpiScaled(QRect(1, 2, 30, 40)), QRect(1, 2, 30, 40));
    EXPECT_EQ(HiDPI::dpiScaled(QPointF(1.5, -2.25)), QPointF(1.5, -2.25));
}
