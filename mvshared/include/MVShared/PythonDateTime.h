/*
 * PythonDateTime.h: dates between Qt and the Python datetime objects that
 * embedded Python scripts see. The caller holds the interpreter lock of an
 * initialised interpreter whose datetime module is importable.
 */
#ifndef MVSHARED_PYTHONDATETIME_H
#define MVSHARED_PYTHONDATETIME_H

#include <MVShared/MVSharedGlobal.h>

#include <QtCore/QDate>
#include <QtCore/QDateTime>

#ifndef Py_OBJECT_H
struct _object;
typedef _object PyObject;
#endif

namespace Morvane {

/* A naive datetime (tzinfo None) of dt's date and clock time, to the
 * second; the caller receives two references to it. Null when Python fails
 * to create it. dt's offset or time zone is dropped, not applied: 10:00 at
 * +05:00 and 10:00 UTC both give datetime(..., 10, 0), and scripts cannot
 * tell them apart. Callers convert dt to the time base the script expects
 * (toUTC(), toLocalTime()) before calling. */
MVSHARED_EXPORT PyObject* makePythonDateTime(const QDateTime& dt);
/* The date of a Python date or datetime (or subclass); a null QDate otherwise. */
MVSHARED_EXPORT QDate makeQDate(PyObject* object);
/* The date (at midnight) of a date, the date and time to the second of a
 * datetime (or subclasses); a null QDateTime otherwise. */
MVSHARED_EXPORT QDateTime makeQDateTime(PyObject* object);

} // namespace Morvane

#endif
