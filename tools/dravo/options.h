/*
 * options.h: the inspector's command line, read before anything else runs.
 */
#ifndef DRAVO_OPTIONS_H
#define DRAVO_OPTIONS_H

#include <string>
#include <vector>

namespace inspector {

struct Options {
    std::string servers;
    int waitSeconds = 0;
    bool help = false;
    std::vector<std::string> command;
};

/* Options come before the command; everything from the first other word on
 * is the command and its arguments. False for an unknown option or a wait
 * that is not a number of seconds up to a day. */
bool parseOptions(int argc, char** argv, Options& options);

} // namespace inspector

#endif
