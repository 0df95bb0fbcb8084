/*
 * recorder.cpp: the call recorder, which lets tests observe the real
 * middleware: which operations the library called, with which arguments.
 */
#include "clientstate.h"

#include <atomic>
#include <cstring>
#include <mutex>

namespace {

/* A forgotten recorder must not eat the machine: beyond this many calls the
 * oldest are dropped. */
constexpr std::size_t kMaxRecorded = 500000;

struct Recorder {
    std::atomic<bool> on{false};
    std::mutex mutex;
    std::vector<DravoRecordedCall> calls;
};

Recorder& recorder()
{
    static Recorder* r = new Recorder; // used by threads until exit
    return *r;
}

} // namespace

bool dravo::recording()
{
    return recorder().on.load(std::memory_order_relaxed);
}

void dravo::recordCall(DravoRecordedCall call)
{
    Recorder& r = recorder();
    std::lock_guard<std::mutex> lock(r.mutex);
    if (r.calls.size() >= kMaxRecorded)
        r.calls.erase(r.calls.begin(), r.calls.begin() + static_cast<long>(kMaxRecorded / 10));
    r.calls.push_back(std::move(call));
}

void DravoPlus::SetCallRecording(bool on)
{
    recorder().on.store(on);
}

std::vector<DravoRecordedCall> DravoPlus::TakeRecordedCalls(const char* operation)
{
    Recorder& r = recorder();
    std::vector<DravoRecordedCall> all;
    {
        std::lock_guard<std::mutex> lock(r.mutex);
        all.swap(r.calls);
    }
    if (!operation)
        return all;
    std::vector<DravoRecordedCall> matching;
    for (DravoRecordedCall& c : all)
        if (c.operation == operation)
            matching.push_back(std::move(c));
    return matching;
}
