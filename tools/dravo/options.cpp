/*
 * options.cpp: reading the inspector's command line.
 */
#include "options.h"

#include <cstdlib>

namespace inspector {

namespace {

bool parseWait(const char* text, int& seconds)
{
    char* end = nullptr;
    const long value = std::strtol(text, &end, 10);
    if (end == text || *end != '\0' || value < 0 || value > 86400)
        return false;
    seconds = static_cast<int>(value);
    return true;
}

} // namespace

bool parseOptions(int argc, char** argv, Options& options)
{
    int i = 1;
    for (; i < argc; ++i) {
        const std::string word = argv[i];
        if (word == "--servers" && i + 1 < argc) {
            options.servers = argv[++i];
        } else if (word == "--wait" && i + 1 < argc) {
            if (!parseWait(argv[++i], options.waitSeconds))
                return false;
        } else if (word == "--help" || word == "-h") {
            options.help = true;
        } else if (word.rfind("--", 0) == 0) {
            return false;
        } else {
            break;
        }
    }
    options.command.assign(argv + i, argv + argc);
    return true;
}

} // namespace inspector
