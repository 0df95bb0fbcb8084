// QSLOGGING_EXPORT: the symbol visibility macro of the logging core.
//
// The whole project builds with hidden visibility, so every class or function
// that other libraries and programs use must be marked with this macro. The
// library's own build defines QSLOGGING_BUILDING_LIBRARY (see CMakeLists.txt)
// and exports; everyone else imports.
#pragma once

#include <QtCore/qglobal.h>

#if defined(QSLOGGING_BUILDING_LIBRARY)
#  define QSLOGGING_EXPORT Q_DECL_EXPORT
#else
#  define QSLOGGING_EXPORT Q_DECL_IMPORT
#endif
