/*
 * MVSharedVersion.h: which MVShared a program runs against. Applications
 * print it in their about boxes and logs; tools compare it with the version
 * they were built with.
 */
#ifndef MVSHARED_VERSION_H
#define MVSHARED_VERSION_H

#include <MVShared/MVSharedGlobal.h>

#include <QtCore/QString>

#define MVSHARED_VERSION_STR "@PROJECT_VERSION@"

namespace Morvane {

/* The version of the loaded library, "major.minor.patch". */
MVSHARED_EXPORT QString libraryVersion();

} // namespace Morvane

#endif
