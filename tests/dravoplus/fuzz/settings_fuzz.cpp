/*
 * settings_fuzz.cpp: the libFuzzer entry point for the server settings
 * file and the addresses it holds.
 *
 * The input is the settings file ($DRAVO_SETTINGS points at a file in
 * memory): the default setting, a named one and the setting named by the
 * first line's key are read from it, and each address they give, as well
 * as every line of the file taken as an address, goes through the address
 * parser and the masking tools print. Nothing connects.
 */
#include "redisconnection.h"

#include <DravoPlus/DravoPlus.h>

#include <memoryfile.h>

#include <cstdint>
#include <cstdlib>
#include <sstream>

namespace {

MemoryFile* settingsFile = nullptr;

void readAddress(const std::string& text)
{
    DravoPlus::MaskedAddress(text.c_str());
    dravo::redis::RedisAddress address;
    if (dravo::redis::parseAddress(text, address)) {
        if (address.host.empty() || address.port <= 0 || address.port > 65535 || address.database < 0)
            std::abort();
        address.display();
    }
    dravo::redis::SentinelGroup group;
    if (dravo::redis::parseSentinelAddress(text, group)) {
        if (group.sentinels.empty() || group.name.empty() || group.node.database < 0)
            std::abort();
        for (const dravo::redis::RedisAddress& sentinel : group.sentinels) {
            if (sentinel.host.empty() || sentinel.port <= 0 || sentinel.port > 65535)
                std::abort();
        }
    }
}

void readSetting(const char* name)
{
    ObjectNames names{};
    if (DravoPlus::GetServerAddress(name, names) != DRAVO_OK || names.count > 2)
        std::abort();
    for (int i = 0; i < names.count; ++i)
        readAddress(names.names[i]);
    DravoPlus::DeatoryNameSeq(names);
}

} // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***)
{
    // The process's setting comes from the file alone.
    ::unsetenv("DRAVO_SERVERS");
    settingsFile = new MemoryFile; // kept for the life of the process
    ::setenv("DRAVO_SETTINGS", settingsFile->path().c_str(), 1);
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    settingsFile->assign(data, size);
    const std::string text(reinterpret_cast<const char*>(data), size);
    readSetting(nullptr);
    readSetting("station");
    const std::string firstKey = text.substr(0, text.find_first_of(".\n"));
    readSetting(firstKey.c_str());

    std::istringstream lines(text);
    std::string line;
    while (std::getline(lines, line))
        readAddress(line);
    return 0;
}
