/*
 * dravo_fuzz.cpp: the libFuzzer entry point for the inspector's command
 * line.
 *
 * The input is split at NUL bytes into the words of argv. The options are
 * read as the tool reads them; the command line after them, and each word
 * taken as a line of a command script, are checked against the command
 * table. Commands the dictionary alone answers run; the records of event
 * and send are built from their FIELD=VALUE words; nothing connects.
 */
#include "commands.h"
#include "options.h"

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <sstream>

namespace {

void readCommand(const std::vector<std::string>& words)
{
    std::ostringstream out;
    std::ostringstream err;
    inspector::Session session{out, err};
    bool needsServer = false;
    if (inspector::checkCommand(words, err, needsServer) != inspector::Done || words.empty())
        return;
    if (!needsServer) {
        inspector::runCommand(words, session);
        if (session.connected)
            std::abort();
    } else if ((words[0] == "event" || words[0] == "send") && words.size() >= 3) {
        DravoData record;
        inspector::buildRecord(session, words[2], std::vector<std::string>(words.begin() + 3, words.end()), record);
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    std::vector<std::string> words{"dravo"};
    const char* const end = reinterpret_cast<const char*>(data) + size;
    for (const char* at = reinterpret_cast<const char*>(data); at <= end;) {
        const char* const stop = std::find(at, end, '\0');
        words.emplace_back(at, stop);
        at = stop + 1;
    }
    std::vector<char*> argv;
    for (std::string& word : words)
        argv.push_back(word.data());
    argv.push_back(nullptr);

    inspector::Options options;
    if (!inspector::parseOptions(int(words.size()), argv.data(), options))
        return 0;
    if (options.waitSeconds < 0 || options.waitSeconds > 86400)
        std::abort();
    if (options.help) {
        std::ostringstream usage;
        inspector::printUsage(usage);
    }
    readCommand(options.command);
    std::vector<std::string> script;
    for (std::size_t i = 1; i < words.size(); ++i)
        if (inspector::splitWords(words[i], script))
            readCommand(script);
    return 0;
}
