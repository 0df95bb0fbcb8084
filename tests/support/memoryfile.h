/*
 * memoryfile.h: a file that lives in memory only, for fuzzers of readers
 * that take a path (the plant file, the server settings). Its path,
 * /proc/self/fd/N, opens like any file; nothing is left on disk, whatever
 * way the process ends.
 */
#ifndef MVTEST_MEMORYFILE_H
#define MVTEST_MEMORYFILE_H

#include <sys/mman.h>
#include <unistd.h>

#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <string>

class MemoryFile
{
public:
    MemoryFile()
        : m_fd(::memfd_create("mvtest-input", MFD_CLOEXEC))
    {
        if (m_fd < 0) {
            std::perror("memfd_create");
            std::abort();
        }
        m_path = "/proc/self/fd/" + std::to_string(m_fd);
    }
    MemoryFile(const MemoryFile&) = delete;
    MemoryFile& operator=(const MemoryFile&) = delete;
    ~MemoryFile() { ::close(m_fd); }

    const std::string& path() const { return m_path; }

    /* Makes the file hold exactly these bytes. */
    void assign(const void* data, std::size_t size)
    {
        if (::ftruncate(m_fd, 0) != 0 || ::pwrite(m_fd, data, size, 0) != static_cast<ssize_t>(size)) {
            std::perror("memory file");
            std::abort();
        }
    }

private:
    int m_fd;
    std::string m_path;
};

#endif
