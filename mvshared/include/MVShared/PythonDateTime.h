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

/* A naive datetime of dt to the second; the caller receives two references
 * to it. Null when Python fails to create it. */
MVSHARED_EXPORT PyObject* makePythonDateTime(const QDateTime& dt);
/* The date of a Python date or datetime (or subclass); a null QDate otherwise. */
MVSHARED_EXPORT QDate makeQDate(PyObject* object);
/* The date (at midnight) of a date, the date and time to the second of a
 * datetime (or subclasses); a null QDateTime otherwise. */
MVSHARED_EXPORT QDateTime makeQDateTime(PyObject* object);

} // namespace Morvane

#endif
