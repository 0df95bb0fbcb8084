/*
 * largeblocks.cpp: blocks of whole pages for large records, mapped from the
 * system, with a bounded store of freed ones for reuse.
 */
#include "largeblocks.h"

#include <DravoPlus/DravoPlus.h>
#include <DravoPlus/DravoPlusTesting.h>

#include <sys/mman.h>
#include <unistd.h>

#include <atomic>
#include <map>
#include <mutex>
#include <utility>
#include <vector>

namespace dravo {

namespace {

class LargeBlocks
{
public:
    void* take(std::size_t bytes, std::size_t& length)
    {
        length = wholePages(bytes);
        {
            std::lock_guard<std::mutex> lock(m_mutex);
            const auto spare = m_spare.find(length);
            if (spare != m_spare.end() && !spare->second.empty()) {
                void* block = spare->second.back();
                spare->second.pop_back();
                m_spareBytes -= length;
                m_inUse += length;
                return block;
            }
        }
        void* block = mmap(nullptr, length, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
        if (block == MAP_FAILED)
            return nullptr;
        m_inUse += length;
        return block;
    }

    void giveBack(void* block, std::size_t length)
    {
        m_inUse -= length;
        {
            std::lock_guard<std::mutex> lock(m_mutex);
            if (m_spareBytes + length <= kSpareLargeBlockBytes) {
                m_spare[length].push_back(block);
                m_spareBytes += length;
                return;
            }
        }
        munmap(block, length);
    }

    std::size_t releaseSpare()
    {
        std::map<std::size_t, std::vector<void*>> spare;
        {
            std::lock_guard<std::mutex> lock(m_mutex);
            spare.swap(m_spare);
            m_spareBytes = 0;
        }
        std::size_t released = 0;
        for (const auto& [length, blocks] : spare) {
            for (void* block : blocks)
                munmap(block, length);
            released += length * blocks.size();
        }
        return released;
    }

    std::size_t inUse() const { return m_inUse.load(); }
    std::size_t spareBytes()
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        return m_spareBytes;
    }

private:
    static std::size_t wholePages(std::size_t bytes)
    {
        static const std::size_t page = static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
        return (bytes + page - 1) / page * page;
    }

    std::mutex m_mutex;
    std::map<std::size_t, std::vector<void*>> m_spare;   /* freed blocks by length */
    std::size_t m_spareBytes = 0;
    std::atomic<std::size_t> m_inUse{0};
};

/* Never destroyed: records in static storage may be freed after it. */
LargeBlocks& blocks()
{
    static LargeBlocks* const theBlocks = new LargeBlocks;
    return *theBlocks;
}

} // namespace

void* takeLargeBlock(std::size_t bytes, std::size_t& length)
{
    return blocks().take(bytes, length);
}

void giveBackLargeBlock(void* block, std::size_t length)
{
    blocks().giveBack(block, length);
}

std::size_t releaseSpareLargeBlocks()
{
    return blocks().releaseSpare();
}

std::size_t largeBlockBytesInUse()
{
    return blocks().inUse();
}

std::size_t spareLargeBlockBytes()
{
    return blocks().spareBytes();
}

} // namespace dravo

std::size_t DravoPlus::ReleaseSpareRecordMemory()
{
    return dravo::releaseSpareLargeBlocks();
}

DravoLargeRecordMemory DravoPlus::LargeRecordMemory()
{
    DravoLargeRecordMemory memory;
    memory.inUse = dravo::largeBlockBytesInUse();
    memory.spare = dravo::spareLargeBlockBytes();
    return memory;
}
