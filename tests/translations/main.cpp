/*
 * main.cpp: the translation tests run in a QApplication on the offscreen
 * platform with a server-setting file of their own (the address dialog
 * reads it). Every test names the locale it installs and goes back to the
 * source language when done, so the process's own locale plays no part.
 */
#include "isolatedsettings.h"

#include <QtWidgets/QApplication>

#include <gtest/gtest.h>

int main(int argc, char** argv)
{
    qputenv("QT_QPA_PLATFORM", "offscreen");
    mvtest::useIsolatedSettings("mvtranslations");
    QApplication app(argc, argv);
    ::testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
