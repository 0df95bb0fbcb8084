/*
 * hidpi_test.cpp: DPI scaling in a QApplication whose desktop reports 96
 * DPI (widgetmain.cpp). Other factors come from widgets that report their
 * own logical DPI, as a widget on a second, denser screen would.
 */
#include "pixmapfiles.h"

#include <MVShared/HiDPI.h>

#include <QtWidgets/QWidget>

#include <gtest/gtest.h>

namespace {

/* A widget whose logical horizontal DPI is fixed. */
class FixedDpiWidget : public QWidget
{
public:
    explicit FixedDpiWidget(int dpi)
        : m_dpi(dpi)
    {
    }

protected:
    int metric(PaintDeviceMetric metric) const override
    {
        return metric == PdmDpiX ? m_dpi : QWidget::metric(metric);
    }

private:
    int m_dpi;
};

class HiDPITest : public ::testing::Test
{
protected:
    FixedDpiWidget at96{96};
    FixedDpiWidget at115{115};
    FixedDpiWidget at120{120};
    FixedDpiWidget at144{144};
    FixedDpiWidget at168{168};
    FixedDpiWidget at192{192};
};

} // namespace

TEST_F(HiDPITest, DesktopOfThisProcessHasFactorOne)
{
    EXPECT_EQ(HiDPI::dpiScaleFactor(), MV_TEST_LOGICAL_DPI / 96.0);
    EXPECT_EQ(HiDPI::dpiScaleFactor(), 1.0);
    EXPECT_EQ(HiDPI::dpiScaledPixmapString(QStringLiteral("run")), QStringLiteral("run_1x.png"));
}

TEST_F(HiDPITest, WidgetFactorIsItsLogicalDpiOver96)
{
    EXPECT_EQ(HiDPI::dpiScaleFactor(&at96), 1.0);
    EXPECT_EQ(HiDPI::dpiScaleFactor(&at120), 1.25);
    EXPECT_EQ(HiDPI::dpiScaleFactor(&at144), 1.5);
    EXPECT_DOUBLE_EQ(HiDPI::dpiScaleFactor(&at115), 115 / 96.0);
}

TEST_F(HiDPITest, FloorForIntButNearestForRoundAtFactorOnePointFive)
{
    EXPECT_EQ(HiDPI::dpiScaled(3, &at144), 4);
    EXPECT_EQ(HiDPI::dpiScaledRound(3, &at144), 5);
}

TEST_F(HiDPITest, IntScalingFloorsNegativeValuesDownward)
{
    EXPECT_EQ(HiDPI::dpiScaled(7, &at120), 8);   /* 8.75 */
    EXPECT_EQ(HiDPI::dpiScaled(-7, &at120), -9); /* -8.75 */
    EXPECT_EQ(HiDPI::dpiScaledRound(7, &at120), 9);
    EXPECT_EQ(HiDPI::dpiScaledRound(-7, &at120), -9);
    EXPECT_EQ(HiDPI::dpiScaled(-2, &at120), -3); /* -2.5 */
    EXPECT_EQ(HiDPI::dpiScaled(0, &at192), 0);
}

TEST_F(HiDPITest, RoundingTakesHalvesAwayFromZero)
{
    EXPECT_EQ(HiDPI::dpiScaledRound(2, &at120), 3);   /* 2.5 */
    EXPECT_EQ(HiDPI::dpiScaledRound(-2, &at120), -3); /* -2.5 */
    EXPECT_EQ(HiDPI::dpiScaled(2, &at120), 2);
}

TEST_F(HiDPITest, MarginsScaleEachSideRounded)
{
    EXPECT_EQ(HiDPI::dpiScaled(QMargins(2, -2, 6, 1), &at120), QMargins(3, -3, 8, 1));
    EXPECT_EQ(HiDPI::dpiScaled(QMargins(11, 11, 11, 11), &at144), QMargins(17, 17, 17, 17));
}

TEST_F(HiDPITest, PointsScaleUnrounded)
{
    EXPECT_EQ(HiDPI::dpiScaled(QPointF(3, -1.5), &at120), QPointF(3.75, -1.875));
}

TEST_F(HiDPITest, RectanglesScaleTheirEdgesNotTheirSize)
{
    /* Edges 2, 2, 5, 5 become 2.5, 2.5, 6.25, 6.25, rounded 3, 3, 6, 6: a
     * 4x4 rectangle, where scaling its size would have given 5x5. */
    const QRect scaled = HiDPI::dpiScaled(QRect(2, 2, 4, 4), &at120);
    EXPECT_EQ(scaled, QRect(QPoint(3, 3), QPoint(6, 6)));
    EXPECT_EQ(scaled.size(), QSize(4, 4));
    EXPECT_EQ(HiDPI::dpiScaled(QRect(-4, 10, 8, 2), &at144), QRect(QPoint(-6, 15), QPoint(5, 17)));
}

TEST_F(HiDPITest, SizesScaleRounded)
{
    EXPECT_EQ(HiDPI::dpiScaled(QSize(301, 143), &at120), QSize(376, 179));
    EXPECT_EQ(HiDPI::dpiScaled(QSize(301, 143), &at144), QSize(452, 215));
}

TEST_F(HiDPITest, PixmapSuffixOfEachListedFactorAndTwoXForTheRest)
{
    const QString base = QStringLiteral("icons/run");
    EXPECT_EQ(HiDPI::dpiScaledPixmapString(base, &at96), QStringLiteral("icons/run_1x.png"));
    EXPECT_EQ(HiDPI::dpiScaledPixmapString(base, &at120), QStringLiteral("icons/run_1.25x.png"));
    EXPECT_EQ(HiDPI::dpiScaledPixmapString(base, &at144), QStringLiteral("icons/run_1.5x.png"));
    EXPECT_EQ(HiDPI::dpiScaledPixmapString(base, &at168), QStringLiteral("icons/run_1.75x.png"));
    EXPECT_EQ(HiDPI::dpiScaledPixmapString(base, &at192), QStringLiteral("icons/run_2x.png"));
    FixedDpiWidget at106(106);
    FixedDpiWidget at288(288);
    FixedDpiWidget at72(72);
    EXPECT_EQ(HiDPI::dpiScaledPixmapString(base, &at106), QStringLiteral("icons/run_2x.png"));
    EXPECT_EQ(HiDPI::dpiScaledPixmapString(base, &at288), QStringLiteral("icons/run_2x.png"));
    EXPECT_EQ(HiDPI::dpiScaledPixmapString(base, &at72), QStringLiteral("icons/run_2x.png"));
}

TEST_F(HiDPITest, FactorOfAboutOnePointTwoSelectsTwoXNotTheNearest)
{
    EXPECT_EQ(HiDPI::dpiScaledPixmapString(QStringLiteral("run"), &at115), QStringLiteral("run_2x.png"));
}

TEST_F(HiDPITest, ScaledPixmapLoadsTheFileOfTheFactor)
{
    mvtest::PixmapFiles files;
    ASSERT_TRUE(files.isValid());
    ASSERT_TRUE(files.write(QStringLiteral("run_1x.png"), 10));
    ASSERT_TRUE(files.write(QStringLiteral("run_1.5x.png"), 15));
    ASSERT_TRUE(files.write(QStringLiteral("run_2x.png"), 20));
    const QString base = files.path(QStringLiteral("run"));
    EXPECT_EQ(HiDPI::dpiScaledPixmap(base, &at96).size(), QSize(10, 10));
    EXPECT_EQ(HiDPI::dpiScaledPixmap(base, nullptr).size(), QSize(10, 10));
    EXPECT_EQ(HiDPI::dpiScaledPixmap(base, &at144).size(), QSize(15, 15));
    EXPECT_EQ(HiDPI::dpiScaledPixmap(base, &at115).size(), QSize(20, 20));
    /* No 1.25x file: a null pixmap, no fallback. */
    EXPECT_TRUE(HiDPI::dpiScaledPixmap(base, &at120).isNull());
}

TEST_F(HiDPITest, PixmapBySizeLoadsTheTruncatedScaledSize)
{
    mvtest::PixmapFiles files;
    ASSERT_TRUE(files.isValid());
    ASSERT_TRUE(files.write(QStringLiteral("tool_16.png"), 16));
    ASSERT_TRUE(files.write(QStringLiteral("tool_19.png"), 19));
    ASSERT_TRUE(files.write(QStringLiteral("tool_20.png"), 20));
    const QString base = files.path(QStringLiteral("tool"));
    EXPECT_EQ(HiDPI::dpiScaledPixmapStringFromSize(base, 16, &at96).size(), QSize(16, 16));
    EXPECT_EQ(HiDPI::dpiScaledPixmapStringFromSize(base, 16, &at120).size(), QSize(20, 20));
    /* 16 x 115/96 = 19.17: 19, not rounded up. */
    EXPECT_EQ(HiDPI::dpiScaledPixmapStringFromSize(base, 16, &at115).size(), QSize(19, 19));
    EXPECT_EQ(HiDPI::dpiScaledPixmapFromSize(base, 16, &at120).size(), QSize(20, 20));
    EXPECT_EQ(HiDPI::dpiScaledPixmapFromSize(base, 16, nullptr).size(), QSize(16, 16));
    EXPECT_TRUE(HiDPI::dpiScaledPixmapFromSize(base, 16, &at144).isNull());
}

TEST_F(HiDPITest, OriginPixmapIgnoresTheFactor)
{
    mvtest::PixmapFiles files;
    ASSERT_TRUE(files.isValid());
    ASSERT_TRUE(files.write(QStringLiteral("logo.png"), 12));
    const QString base = files.path(QStringLiteral("logo"));
    EXPECT_EQ(HiDPI::dpiScaledPixmapOrigin(base, &at192).size(), QSize(12, 12));
    EXPECT_EQ(HiDPI::dpiScaledPixmapOrigin(base, nullptr).size(), QSize(12, 12));
    EXPECT_TRUE(HiDPI::dpiScaledPixmapOrigin(files.path(QStringLiteral("missing")), nullptr).isNull());
}
