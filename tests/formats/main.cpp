/*
 * main.cpp: the format tests run inside a QApplication (offscreen), as the
 * display editors and operator runtime that drag points and read displays.
 */
#include <QtWidgets/QApplication>

#include <gtest/gtest.h>

int main(int argc, char** argv)
{
    // Test discovery runs the binary without the test environment.
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    QApplication app(argc, argv);
    ::testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
