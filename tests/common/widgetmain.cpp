/*
 * widgetmain.cpp: the widget tests run in a QApplication on the offscreen
 * platform whose screen reports MV_TEST_LOGICAL_DPI (set per binary), with
 * a server-setting file of their own, so the address dialog neither reads
 * nor changes the developer's setting.
 */
#include "isolatedsettings.h"

#include <QtCore/QByteArray>
#include <QtWidgets/QApplication>

#include <gtest/gtest.h>

int main(int argc, char** argv)
{
    qputenv("QT_QPA_PLATFORM", "offscreen");
    /* The offscreen screen reports 100 DPI of its own; the font DPI
     * override is what a desktop's scaling setting sets. */
    qputenv("QT_FONT_DPI", QByteArray::number(MV_TEST_LOGICAL_DPI));
    mvtest::useIsolatedSettings("mvcommon-widgets");
    QApplication app(argc, argv);
    ::testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
