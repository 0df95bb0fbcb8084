/*
 * main.cpp: the change event tests run inside a QCoreApplication, so that
 * queued signals from the receiving threads reach the test thread as they
 * reach an application's GUI thread.
 */
#include <QtCore/QCoreApplication>

#include <gtest/gtest.h>

int main(int argc, char** argv)
{
    QCoreApplication app(argc, argv);
    ::testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
