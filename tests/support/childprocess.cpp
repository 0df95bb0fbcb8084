/*
 * childprocess.cpp: starting, waiting for and stopping a test's child
 * processes.
 */
#include "childprocess.h"

#include <arpa/inet.h>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <fstream>
#include <netinet/in.h>
#include <sstream>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

namespace mvtest {

using namespace std::chrono_literals;

pid_t startChild(const std::vector<std::string>& args, const std::string& logPath, std::string& error)
{
    if (args.empty()) {
        error = "no program to start";
        return -1;
    }
    const pid_t parent = ::getpid();
    const pid_t pid = ::fork();
    if (pid < 0) {
        error = std::string("fork: ") + std::strerror(errno);
        return -1;
    }
    if (pid == 0) {
        /* The child must not outlive a test process that dies. */
        ::prctl(PR_SET_PDEATHSIG, SIGTERM);
        if (::getppid() != parent)
            ::_exit(127);
        const int out = ::open(logPath.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
        if (out >= 0) {
            ::dup2(out, STDOUT_FILENO);
            ::dup2(out, STDERR_FILENO);
        }
        const int nothing = ::open("/dev/null", O_RDONLY);
        if (nothing >= 0)
            ::dup2(nothing, STDIN_FILENO);
        std::vector<char*> argv;
        for (const std::string& a : args)
            argv.push_back(const_cast<char*>(a.c_str()));
        argv.push_back(nullptr);
        ::execvp(argv[0], argv.data());
        ::_exit(127);
    }
    return pid;
}

bool childEnded(pid_t pid)
{
    int status = 0;
    return pid <= 0 || ::waitpid(pid, &status, WNOHANG) == pid;
}

void stopChild(pid_t& pid, int signal, std::chrono::milliseconds limit)
{
    if (pid <= 0)
        return;
    ::kill(pid, signal);
    const auto deadline = std::chrono::steady_clock::now() + limit;
    int status = 0;
    while (::waitpid(pid, &status, WNOHANG) == 0) {
        if (std::chrono::steady_clock::now() >= deadline) {
            ::kill(pid, SIGKILL);
            ::waitpid(pid, &status, 0);
            break;
        }
        std::this_thread::sleep_for(5ms);
    }
    pid = -1;
}

int runChild(const std::vector<std::string>& args, const std::string& logPath, std::chrono::milliseconds limit)
{
    std::string error;
    pid_t pid = startChild(args, logPath, error);
    if (pid < 0)
        return -1;
    const auto deadline = std::chrono::steady_clock::now() + limit;
    int status = 0;
    while (::waitpid(pid, &status, WNOHANG) == 0) {
        if (std::chrono::steady_clock::now() >= deadline) {
            stopChild(pid, SIGKILL, 1s);
            return -1;
        }
        std::this_thread::sleep_for(5ms);
    }
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

std::string fileText(const std::string& path)
{
    std::ifstream in(path);
    std::stringstream text;
    text << in.rdbuf();
    return text.str();
}

std::string makeTemporaryDirectory(const std::string& prefix)
{
    const char* dir = std::getenv("TMPDIR");
    std::string pattern = std::string(dir && *dir ? dir : "/tmp") + "/" + prefix + "-XXXXXX";
    std::vector<char> buffer(pattern.begin(), pattern.end());
    buffer.push_back('\0');
    return ::mkdtemp(buffer.data()) ? std::string(buffer.data()) : std::string();
}

bool loopbackPortAccepts(int port)
{
    const int fd = ::socket(AF_INET, SOCK_STREAM, 0);
    if (fd < 0)
        return false;
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    address.sin_port = htons(static_cast<std::uint16_t>(port));
    const bool accepted = ::connect(fd, reinterpret_cast<sockaddr*>(&address), sizeof address) == 0;
    ::close(fd);
    return accepted;
}

} // namespace mvtest
