/*
 * pythondatetime.cpp: dates between Qt and the datetime objects of the
 * embedded Python scripts.
 *
 * Python's datetime C interface comes as a capsule that is imported once per
 * process and cached here. The cache has no lock: only the thread holding the
 * interpreter lock comes here. A failed import leaves the cache loaded but
 * empty; the functions then give their null results rather than touch it.
 */
#include <Python.h>
#include <datetime.h>

#include <MVShared/PythonDateTime.h>

namespace {

// PyDateTimeAPI (from datetime.h) is the cached interface pointer itself.
bool s_dateTimeApiLoaded = false;

const PyDateTime_CAPI* dateTimeApi()
{
    if (!s_dateTimeApiLoaded) {
        PyDateTime_IMPORT;
        if (!PyDateTimeAPI)
            PyErr_Clear(); // nothing is reported; callers see null results
        s_dateTimeApiLoaded = true;
    }
    return PyDateTimeAPI;
}

bool isDate(const PyDateTime_CAPI* api, PyObject* object)
{
    return object && PyObject_TypeCheck(object, api->DateType);
}

bool isDateTime(const PyDateTime_CAPI* api, PyObject* object)
{
    return object && PyObject_TypeCheck(object, api->DateTimeType);
}

QDate dateOf(PyObject* object)
{
    return QDate(PyDateTime_GET_YEAR(object), PyDateTime_GET_MONTH(object),
                 PyDateTime_GET_DAY(object));
}

} // namespace

PyObject* Morvane::makePythonDateTime(const QDateTime& dt)
{
    const PyDateTime_CAPI* api = dateTimeApi();
    if (!api)
        return nullptr;
    const QDate date = dt.date();
    const QTime time = dt.time();
    PyObject* object = api->DateTime_FromDateAndTime(date.year(), date.month(), date.day(),
                                                     time.hour(), time.minute(), time.second(),
                                                     0, Py_None, api->DateTimeType);
    // The embedding scripts release one reference themselves and the caller
    // the other: the extra reference is what they expect.
    Py_XINCREF(object);
    return object;
}

QDate Morvane::makeQDate(PyObject* object)
{
    const PyDateTime_CAPI* api = dateTimeApi();
    if (!api || !isDate(api, object))
        return QDate();
    return dateOf(object);
}

QDateTime Morvane::makeQDateTime(PyObject* object)
{
    QDateTime result;
    const PyDateTime_CAPI* api = dateTimeApi();
    if (!api || !isDate(api, object))
        return result;
    result.setDate(dateOf(object));
    result.setTime(QTime(0, 0));
    if (isDateTime(api, object)) {
        // Microseconds are dropped: the product works to the second.
        result.setTime(QTime(PyDateTime_DATE_GET_HOUR(object), PyDateTime_DATE_GET_MINUTE(object),
                             PyDateTime_DATE_GET_SECOND(object)));
    }
    return result;
}
