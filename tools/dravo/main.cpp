/*
 * main.cpp: dravo, the command-line inspector of the middleware.
 *
 * Looks into a runtime server the way an engineer on site needs to: reads
 * records with every field decoded through the data dictionary, writes a
 * field, watches an event kind or a box, lists boxes and heartbeat holders,
 * sends a request packet to a driver. One command on the command line, or a
 * command per line on standard input (the embedded server lives inside this
 * process, so a session of several commands is how it is inspected).
 *
 * Exit status: 0 when every command succeeded (and for --help), 1 when one failed (the
 * middleware's code and text are printed), 2 for a wrong command line.
 */
#include "commands.h"
#include "options.h"

#include <DravoPlus/DravoPlus.h>

#include <csignal>
#include <cstdlib>
#include <iostream>
#include <string>
#include <vector>

#include <unistd.h>

namespace {

std::atomic<bool> g_interrupted{false};

extern "C" void onInterrupt(int)
{
    g_interrupted.store(true);
}

/* Commands from standard input, one per line; blank lines and lines
 * starting with '#' are skipped. */
inspector::Outcome runScript(inspector::Session& session)
{
    const bool interactive = ::isatty(STDIN_FILENO);
    inspector::Outcome worst = inspector::Done;
    std::string line;
    std::vector<std::string> words;
    while (!g_interrupted.load()) {
        if (interactive)
            std::cout << "dravo> " << std::flush;
        if (!std::getline(std::cin, line))
            break;
        if (!inspector::splitWords(line, words)) {
            session.err << "unbalanced quote in: " << line << '\n';
            worst = inspector::Misused;
            continue;
        }
        if (words.empty() || words[0][0] == '#')
            continue;
        const inspector::Outcome outcome = inspector::runCommand(words, session);
        if (outcome > worst)
            worst = outcome;
        session.out.flush();
    }
    return worst;
}

} // namespace

int main(int argc, char** argv)
{
    inspector::Options options;
    if (!inspector::parseOptions(argc, argv, options)) {
        inspector::printUsage(std::cerr);
        return inspector::Misused;
    }
    if (options.help) {
        inspector::printUsage(std::cout);
        return inspector::Done;
    }
    if (!options.servers.empty())
        ::setenv("DRAVO_SERVERS", options.servers.c_str(), 1);
    std::signal(SIGINT, onInterrupt);
    std::signal(SIGTERM, onInterrupt);

    inspector::Session session{std::cout, std::cerr};
    session.waitSeconds = options.waitSeconds;
    session.interrupted = &g_interrupted;
    const inspector::Outcome outcome = options.command.empty() ? runScript(session)
                                                               : inspector::runCommand(options.command, session);
    if (session.connected)
        DravoPlus::DisConnectMid(nullptr);
    std::cout.flush();
    return outcome;
}
