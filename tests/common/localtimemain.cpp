/*
 * localtimemain.cpp: the report time arithmetic runs in the local time of
 * Europe/Berlin, set before any date is made: a zone whose daylight-saving
 * changes (last Sunday of March, 02:00 -> 03:00; last Sunday of October,
 * 03:00 -> 02:00) the tests step across.
 */
#include <gtest/gtest.h>

#include <cstdlib>
#include <ctime>

int main(int argc, char** argv)
{
    ::setenv("TZ", "Europe/Berlin", 1);
    ::tzset();
    ::testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
