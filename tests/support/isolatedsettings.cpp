/*
 * isolatedsettings.cpp: the temporary server-setting file of a test process.
 */
#include "isolatedsettings.h"

#include <cstdio>
#include <cstdlib>
#include <unistd.h>
#include <vector>

namespace {

std::string g_settingsFile;

void removeSettingsFile()
{
    if (g_settingsFile.empty())
        return;
    std::remove(g_settingsFile.c_str());
    /* updateServerSetting writes beside the file first. */
    std::remove((g_settingsFile + ".new").c_str());
}

std::string makeSettingsFile(const char* filePrefix)
{
    const char* dir = std::getenv("TMPDIR");
    const std::string pattern = std::string(dir && *dir ? dir : "/tmp") + "/" + filePrefix + "-XXXXXX";
    std::vector<char> buffer(pattern.begin(), pattern.end());
    buffer.push_back('\0');
    const int fd = ::mkstemp(buffer.data());
    if (fd < 0)
        return std::string();
    ::close(fd);
    return std::string(buffer.data());
}

} // namespace

std::string mvtest::useIsolatedSettings(const char* filePrefix)
{
    if (!g_settingsFile.empty())
        return g_settingsFile;
    ::unsetenv("DRAVO_SERVERS");
    g_settingsFile = makeSettingsFile(filePrefix);
    if (g_settingsFile.empty())
        return g_settingsFile;
    ::setenv("DRAVO_SETTINGS", g_settingsFile.c_str(), 1);
    std::atexit(removeSettingsFile);
    return g_settingsFile;
}
