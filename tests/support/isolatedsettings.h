/*
 * isolatedsettings.h: a test process of its own server setting.
 *
 * Test binaries run on the embedded server whatever the developer's
 * environment says: before the first middleware call they drop
 * $DRAVO_SERVERS and point $DRAVO_SETTINGS at a fresh temporary file, so no
 * user's setting leaks in and the tests' own setting changes go nowhere
 * else. The file is removed at exit.
 */
#ifndef MVTEST_ISOLATEDSETTINGS_H
#define MVTEST_ISOLATEDSETTINGS_H

#include <string>

namespace mvtest {

/* Sets the process up as described; the settings file's path, or "" when
 * no temporary file could be made. Later calls return the same path. */
std::string useIsolatedSettings(const char* filePrefix);

} // namespace mvtest

#endif
