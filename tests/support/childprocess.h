/*
 * childprocess.h: programs a test runs as child processes of its own
 * (redis-server, stunnel, openssl): output to a log file, started and
 * stopped by their process id, and told to end with the test process should
 * it die first.
 */
#ifndef MVTEST_CHILDPROCESS_H
#define MVTEST_CHILDPROCESS_H

#include <chrono>
#include <string>
#include <sys/types.h>
#include <vector>

namespace mvtest {

/* Starts args[0] (looked up in PATH) with its standard output and error in
 * logPath; -1, and why in error, when it cannot be started. */
pid_t startChild(const std::vector<std::string>& args, const std::string& logPath, std::string& error);
/* Whether the child has ended (it is then reaped). */
bool childEnded(pid_t pid);
/* Signals the child and waits for it: SIGKILL once limit has passed. pid is
 * -1 afterwards. */
void stopChild(pid_t& pid, int signal, std::chrono::milliseconds limit);
/* Runs a program to its end within limit (then kills it); its exit status,
 * -1 when it did not end on its own or could not start. */
int runChild(const std::vector<std::string>& args, const std::string& logPath, std::chrono::milliseconds limit);

/* A file's contents ("" when it cannot be read). */
std::string fileText(const std::string& path);
/* A new private directory under $TMPDIR (or /tmp) named after prefix; "" on
 * failure. */
std::string makeTemporaryDirectory(const std::string& prefix);
/* Whether a loopback port takes connections now. */
bool loopbackPortAccepts(int port);

} // namespace mvtest

#endif
