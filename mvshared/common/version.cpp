/*
 * version.cpp: the library's version, as the build stamped it.
 */
#include <MVShared/MVSharedVersion.h>

QString Morvane::libraryVersion()
{
    return QStringLiteral(MVSHARED_VERSION_STR);
}
