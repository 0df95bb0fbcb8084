/*
 * pythondatetime_test.cpp: the date bridge inside the real embedded
 * interpreter that main.cpp starts, with the date and datetime objects (and
 * script-defined subclasses) that operator scripts pass around.
 */
#include <Python.h>

#include <MVShared/PythonDateTime.h>

#include <gtest/gtest.h>

#include <memory>

using namespace Morvane;

namespace {

struct PyRelease
{
    void operator()(PyObject* object) const { Py_XDECREF(object); }
};
using PyRef = std::unique_ptr<PyObject, PyRelease>;

class PythonDateTimeTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        m_globals.reset(PyDict_New());
        ASSERT_TRUE(m_globals);
        PyDict_SetItemString(m_globals.get(), "__builtins__", PyEval_GetBuiltins());
        PyRef done(PyRun_String("import datetime\n"
                                "class ShiftDate(datetime.date):\n"
                                "    pass\n"
                                "class ShiftDateTime(datetime.datetime):\n"
                                "    pass\n",
                                Py_file_input, m_globals.get(), m_globals.get()));
        ASSERT_TRUE(done) << "the script module did not run";
    }

    /* A new reference to the value of a Python expression. */
    PyRef eval(const char* expression)
    {
        PyRef result(PyRun_String(expression, Py_eval_input, m_globals.get(), m_globals.get()));
        if (!result)
            PyErr_Print();
        EXPECT_TRUE(result) << expression;
        return result;
    }

    static long intAttribute(PyObject* object, const char* name)
    {
        PyRef value(PyObject_GetAttrString(object, name));
        return value ? PyLong_AsLong(value.get()) : -1;
    }

    PyRef m_globals;
};

} // namespace

TEST_F(PythonDateTimeTest, MakePythonDateTimeGivesNaiveDateTimeToTheSecond)
{
    PyObject* made = makePythonDateTime(QDateTime(QDate(2023, 11, 5), QTime(7, 8, 9, 987)));
    ASSERT_NE(made, nullptr);
    PyDict_SetItemString(m_globals.get(), "made", made); // the dict holds its own reference
    PyRef isDateTime = eval("type(made) is datetime.datetime and made.tzinfo is None");
    EXPECT_EQ(isDateTime.get(), Py_True);
    EXPECT_EQ(intAttribute(made, "year"), 2023);
    EXPECT_EQ(intAttribute(made, "month"), 11);
    EXPECT_EQ(intAttribute(made, "day"), 5);
    EXPECT_EQ(intAttribute(made, "hour"), 7);
    EXPECT_EQ(intAttribute(made, "minute"), 8);
    EXPECT_EQ(intAttribute(made, "second"), 9);
    EXPECT_EQ(intAttribute(made, "microsecond"), 0);
    PyDict_DelItemString(m_globals.get(), "made");
    Py_DECREF(made);
    Py_DECREF(made);
}

// Scripts that receive the object release one reference themselves; the
// second is the caller's.
TEST_F(PythonDateTimeTest, MakePythonDateTimeHandsOverTwoReferences)
{
    PyObject* made = makePythonDateTime(QDateTime(QDate(2024, 1, 2), QTime(3, 4, 5)));
    ASSERT_NE(made, nullptr);
    EXPECT_EQ(Py_REFCNT(made), 2);
    Py_DECREF(made);
    EXPECT_EQ(Py_REFCNT(made), 1);
    Py_DECREF(made);
}

TEST_F(PythonDateTimeTest, MakePythonDateTimeRoundTripsThroughMakeQDateTime)
{
    const QDateTime dt(QDate(1999, 12, 31), QTime(23, 59, 58, 500));
    PyObject* made = makePythonDateTime(dt);
    ASSERT_NE(made, nullptr);
    EXPECT_EQ(makeQDateTime(made), QDateTime(QDate(1999, 12, 31), QTime(23, 59, 58)));
    Py_DECREF(made);
    Py_DECREF(made);
}

// The datetime is naive: the date and clock time are taken as they stand
// in the QDateTime's own offset or zone, and the offset itself is dropped,
// not applied. Callers convert first when the moment matters.
TEST_F(PythonDateTimeTest, MakePythonDateTimeDropsTheOffsetWithoutApplyingIt)
{
    const QDate date(2024, 3, 1);
    const QTime time(10, 20, 30);
    const QDateTime atPlusFive(date, time, Qt::OffsetFromUTC, 5 * 3600);
    const QDateTime atUtc(date, time, Qt::UTC);
    ASSERT_NE(atPlusFive.toMSecsSinceEpoch(), atUtc.toMSecsSinceEpoch());
    for (const QDateTime& dt : { atPlusFive, atUtc }) {
        PyObject* made = makePythonDateTime(dt);
        ASSERT_NE(made, nullptr);
        PyDict_SetItemString(m_globals.get(), "made", made);
        PyRef same = eval("made == datetime.datetime(2024, 3, 1, 10, 20, 30) and made.tzinfo is None");
        EXPECT_EQ(same.get(), Py_True) << dt.toString(Qt::ISODate).toStdString();
        PyDict_DelItemString(m_globals.get(), "made");
        Py_DECREF(made);
        Py_DECREF(made);
    }
}

TEST_F(PythonDateTimeTest, MakeQDateOfDate)
{
    PyRef date = eval("datetime.date(2024, 2, 29)");
    EXPECT_EQ(makeQDate(date.get()), QDate(2024, 2, 29));
}

TEST_F(PythonDateTimeTest, MakeQDateOfDateTimeKeepsTheDate)
{
    PyRef dt = eval("datetime.datetime(2021, 6, 30, 23, 59, 59, 999999)");
    EXPECT_EQ(makeQDate(dt.get()), QDate(2021, 6, 30));
}

TEST_F(PythonDateTimeTest, MakeQDateOfSubclasses)
{
    PyRef date = eval("ShiftDate(2020, 1, 15)");
    PyRef dt = eval("ShiftDateTime(2019, 8, 7, 6, 5, 4)");
    EXPECT_EQ(makeQDate(date.get()), QDate(2020, 1, 15));
    EXPECT_EQ(makeQDate(dt.get()), QDate(2019, 8, 7));
}

TEST_F(PythonDateTimeTest, MakeQDateOfNonDatesIsNull)
{
    PyRef number = eval("20240229");
    PyRef text = eval("'2024-02-29'");
    PyRef time = eval("datetime.time(12, 0)");
    EXPECT_TRUE(makeQDate(number.get()).isNull());
    EXPECT_TRUE(makeQDate(text.get()).isNull());
    EXPECT_TRUE(makeQDate(time.get()).isNull());
    EXPECT_TRUE(makeQDate(Py_None).isNull());
    EXPECT_TRUE(makeQDate(nullptr).isNull());
}

TEST_F(PythonDateTimeTest, MakeQDateTimeOfDateIsMidnight)
{
    PyRef date = eval("datetime.date(2024, 2, 29)");
    const QDateTime result = makeQDateTime(date.get());
    EXPECT_TRUE(result.isValid());
    EXPECT_EQ(result, QDateTime(QDate(2024, 2, 29), QTime(0, 0, 0)));
}

TEST_F(PythonDateTimeTest, MakeQDateTimeDropsMicroseconds)
{
    PyRef dt = eval("datetime.datetime(2024, 3, 1, 10, 20, 30, 123456)");
    const QDateTime result = makeQDateTime(dt.get());
    EXPECT_EQ(result, QDateTime(QDate(2024, 3, 1), QTime(10, 20, 30)));
    EXPECT_EQ(result.time().msec(), 0);
}

TEST_F(PythonDateTimeTest, MakeQDateTimeTakesAwareFieldsAsTheyStand)
{
    PyRef dt = eval("datetime.datetime(2024, 3, 1, 10, 20, 30, "
                    "tzinfo=datetime.timezone(datetime.timedelta(hours=5)))");
    EXPECT_EQ(makeQDateTime(dt.get()), QDateTime(QDate(2024, 3, 1), QTime(10, 20, 30)));
}

TEST_F(PythonDateTimeTest, MakeQDateTimeOfSubclasses)
{
    PyRef date = eval("ShiftDate(2020, 1, 15)");
    PyRef dt = eval("ShiftDateTime(2019, 8, 7, 6, 5, 4, 321)");
    EXPECT_EQ(makeQDateTime(date.get()), QDateTime(QDate(2020, 1, 15), QTime(0, 0)));
    EXPECT_EQ(makeQDateTime(dt.get()), QDateTime(QDate(2019, 8, 7), QTime(6, 5, 4)));
}

TEST_F(PythonDateTimeTest, MakeQDateTimeOfNonDatesIsNull)
{
    PyRef number = eval("1709200000");
    PyRef text = eval("'2024-02-29 00:00:00'");
    PyRef delta = eval("datetime.timedelta(days=1)");
    EXPECT_TRUE(makeQDateTime(number.get()).isNull());
    EXPECT_TRUE(makeQDateTime(text.get()).isNull());
    EXPECT_TRUE(makeQDateTime(delta.get()).isNull());
    EXPECT_TRUE(makeQDateTime(Py_None).isNull());
    EXPECT_TRUE(makeQDateTime(nullptr).isNull());
}
