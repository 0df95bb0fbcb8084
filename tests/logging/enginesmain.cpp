/*
 * enginesmain.cpp: entry point of the logger engine tests. The engines need a
 * QCoreApplication (application name, directory, process id, and an event
 * loop for queued deliveries), so the tests run inside one.
 */
#include <QtCore/QCoreApplication>

#include <gtest/gtest.h>

int main(int argc, char** argv)
{
    QCoreApplication app(argc, argv);
    QCoreApplication::setApplicationName(QStringLiteral("LoggerEnginesTest"));
    ::testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
