/*
 * main.cpp: the format tests of processes without a GUI. They run under a
 * QCoreApplication, as a server task does, or with --no-application under
 * no application at all, as a small report tool may.
 */
#include <QtCore/QCoreApplication>

#include <gtest/gtest.h>

#include <cstring>
#include <memory>

int main(int argc, char** argv)
{
    ::testing::InitGoogleTest(&argc, argv);
    bool withApplication = true;
    int kept = 1;
    for (int i = 1; i < argc; ++i) {
        if (std::strcmp(argv[i], "--no-application") == 0)
            withApplication = false;
        else
            argv[kept++] = argv[i];
    }
    argc = kept;
    std::unique_ptr<QCoreApplication> app;
    if (withApplication)
        app = std::make_unique<QCoreApplication>(argc, argv);
    return RUN_ALL_TESTS();
}
