/*
 * main.cpp: the runtime tests run inside a QCoreApplication, so that queued
 * signals, translators and QSignalSpy waits behave as in an application.
 */
#include <QtCore/QCoreApplication>

#include <gtest/gtest.h>

int main(int argc, char** argv)
{
    QCoreApplication app(argc, argv);
    ::testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
