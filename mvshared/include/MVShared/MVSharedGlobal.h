/*
 * MVSharedGlobal.h: symbol export of the MVShared library. The library is
 * built with hidden visibility; what is marked MVSHARED_EXPORT is its
 * interface.
 */
#ifndef MVSHARED_GLOBAL_H
#define MVSHARED_GLOBAL_H

#include <QtCore/qglobal.h>

#if defined(MVSHARED_BUILDING)
#  define MVSHARED_EXPORT Q_DECL_EXPORT
#else
#  define MVSHARED_EXPORT Q_DECL_IMPORT
#endif

#endif
