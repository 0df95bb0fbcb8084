/*
 * main.cpp: the common utility tests run inside a QCoreApplication and an
 * embedded CPython interpreter, as in the operator runtime that hands dates
 * to its Python scripts. The main thread keeps the interpreter lock
 * throughout.
 */
#include <Python.h>

#include <QtCore/QCoreApplication>

#include <gtest/gtest.h>

int main(int argc, char** argv)
{
    QCoreApplication app(argc, argv);
    Py_Initialize();
    ::testing::InitGoogleTest(&argc, argv);
    const int result = RUN_ALL_TESTS();
    if (Py_FinalizeEx() < 0 && result == 0)
        return 1;
    return result;
}
