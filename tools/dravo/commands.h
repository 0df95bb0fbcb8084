/*
 * commands.h: the inspector's commands.
 *
 * One table lists every command with its arguments and its help text; the
 * usage printed for a wrong command line is built from it.
 */
#ifndef DRAVO_COMMANDS_H
#define DRAVO_COMMANDS_H

#include <DravoPlus/DravoData.h>

#include <atomic>
#include <ostream>
#include <string>
#include <vector>

namespace inspector {

/* How a command ended; a run's exit status is the worst of its commands. */
enum Outcome { Done = 0, Failed = 1, Misused = 2 };

struct Session {
    std::ostream& out;
    std::ostream& err;
    /* Seconds a watch waits for the next record before it ends (0: watch
     * until interrupted) and a request waits for its reply. */
    int waitSeconds = 0;
    /* Set by the interrupt signal: a watch ends at its next wake-up. */
    const std::atomic<bool>* interrupted = nullptr;
    bool connected = false;
};

/* Whether the words name a command with the number of arguments it takes;
 * Misused, said on err, when not. needsServer: whether running it connects. */
Outcome checkCommand(const std::vector<std::string>& words, std::ostream& err, bool& needsServer);

/* A record of the type filled from FIELD=VALUE words (event and send), each
 * value converted by the kind the dictionary gives its field; nothing is
 * asked of the server. */
Outcome buildRecord(Session& session, const std::string& type, const std::vector<std::string>& words,
                    DravoData& record);

/* Runs one command line already split into words. */
Outcome runCommand(const std::vector<std::string>& words, Session& session);

/* The whole usage text: options and every command. */
void printUsage(std::ostream& out);

/* Splits a line into words at blanks; double quotes keep blanks inside a
 * word and a backslash takes the next character as it is. False when a quote
 * is left open. */
bool splitWords(const std::string& line, std::vector<std::string>& words);

} // namespace inspector

#endif
