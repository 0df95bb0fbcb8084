/*
 * notifier.cpp: status listeners and the thread that calls them.
 *
 * Backends report connection changes, box overflows and lost heartbeats
 * while they hold their own locks; the notifications are queued here and
 * delivered in order on one middleware thread, so a listener never runs
 * inside a caller's call or under a caller's lock. RemoveListener waits for
 * a delivery in progress, so after it returns the listener is never called
 * again and its owner may be destroyed.
 *
 * The thread is started by the first notification and owned by the notifier:
 * when the process exits it is stopped (notifications still queued are
 * dropped: their listeners may be gone with the static objects of the
 * program) and joined. A listener that does not return within a grace period
 * must not hold the exit hostage, so the wait for the join is bounded.
 */
#include "clientstate.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <deque>
#include <map>
#include <mutex>
#include <thread>

DravoStatusListenerBase::DravoStatusListenerBase() = default;
DravoStatusListenerBase::~DravoStatusListenerBase() = default;
void DravoStatusListenerBase::onMidConnected() {}
void DravoStatusListenerBase::onMidDisconnected() {}
void DravoStatusListenerBase::onActiveServerChanged(const char*) {}
void DravoStatusListenerBase::onEventBoxOverflow(const char*, int) {}
void DravoStatusListenerBase::onHeartbeatLost(const char*) {}
void DravoStatusListenerBase::onDictionaryReloaded() {}

namespace {

/* How long the exit waits for a delivery in progress to end. */
constexpr std::chrono::seconds kStopGrace{2};

struct Pending {
    const void* client; /* null: every client */
    std::function<void(DravoStatusListenerBase&)> call;
};

class Notifier
{
public:
    void install(const void* client, DravoStatusListenerBase* listener)
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        auto& list = m_listeners[client];
        if (std::find(list.begin(), list.end(), listener) == list.end())
            list.push_back(listener);
    }

    void remove(const void* client, DravoStatusListenerBase* listener)
    {
        {
            std::lock_guard<std::mutex> lock(m_mutex);
            auto it = m_listeners.find(client);
            if (it != m_listeners.end())
                it->second.erase(std::remove(it->second.begin(), it->second.end(), listener), it->second.end());
        }
        waitForDelivery();
    }

    void post(const void* client, std::function<void(DravoStatusListenerBase&)> call)
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        if (m_stopping)
            return;
        startThread();
        m_queue.push_back({client, std::move(call)});
        m_wake.notify_one();
    }

    void forget(const void* client)
    {
        {
            std::lock_guard<std::mutex> lock(m_mutex);
            m_listeners.erase(client);
            m_queue.erase(std::remove_if(m_queue.begin(), m_queue.end(),
                                         [client](const Pending& p) { return p.client == client; }),
                          m_queue.end());
        }
        waitForDelivery();
    }

    /* Ends the thread: it finishes the delivery in progress, if any, and
     * delivers nothing more. Called once, as the process exits. */
    void stop()
    {
        std::thread thread;
        {
            std::unique_lock<std::mutex> lock(m_mutex);
            m_stopping = true;
            m_wake.notify_all();
            if (!m_thread.joinable())
                return;
            const bool fromListener = m_thread.get_id() == std::this_thread::get_id();
            if (fromListener || !m_finishedCv.wait_for(lock, kStopGrace, [this] { return m_finished; })) {
                /* A listener is exiting the process itself, or hangs: the
                 * thread ends with the process. */
                m_thread.detach();
                return;
            }
            thread = std::move(m_thread);
        }
        thread.join();
    }

private:
    void startThread()
    {
        if (m_thread.joinable())
            return;
        m_thread = std::thread([this] { run(); });
    }

    /* A delivery in progress ends before this returns (unless we are it). */
    void waitForDelivery()
    {
        if (std::this_thread::get_id() == m_threadId.load())
            return;
        std::lock_guard<std::recursive_mutex> delivering(m_delivery);
    }

    void run()
    {
        m_threadId = std::this_thread::get_id();
        for (;;) {
            Pending next;
            {
                std::unique_lock<std::mutex> lock(m_mutex);
                m_wake.wait(lock, [this] { return !m_queue.empty() || m_stopping; });
                if (m_stopping)
                    break;
                next = std::move(m_queue.front());
                m_queue.pop_front();
            }
            deliver(next);
        }
        std::lock_guard<std::mutex> lock(m_mutex);
        m_queue.clear();
        m_finished = true;
        m_finishedCv.notify_all();
    }

    void deliver(const Pending& p)
    {
        std::lock_guard<std::recursive_mutex> delivering(m_delivery);
        for (std::size_t i = 0;; ++i) {
            DravoStatusListenerBase* listener = listenerAt(p.client, i);
            if (!listener)
                break;
            p.call(*listener);
        }
    }

    /* The i-th listener still installed, looked up afresh before each call
     * so that one removed by an earlier listener is skipped. For a
     * notification to every client, listeners are counted across clients. */
    DravoStatusListenerBase* listenerAt(const void* client, std::size_t i)
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        if (client) {
            auto it = m_listeners.find(client);
            return it != m_listeners.end() && i < it->second.size() ? it->second[i] : nullptr;
        }
        for (const auto& entry : m_listeners) {
            if (i < entry.second.size())
                return entry.second[i];
            i -= entry.second.size();
        }
        return nullptr;
    }

    std::mutex m_mutex;
    std::condition_variable m_wake;
    std::recursive_mutex m_delivery;
    std::deque<Pending> m_queue;
    std::map<const void*, std::vector<DravoStatusListenerBase*>> m_listeners;
    std::thread m_thread;
    bool m_stopping = false;
    bool m_finished = false;
    std::condition_variable m_finishedCv;
    std::atomic<std::thread::id> m_threadId{};
};

/* Never destroyed: other middleware threads and static destructors of the
 * program may still post while the process ends (and are then ignored). */
Notifier& notifier()
{
    static Notifier* n = new Notifier;
    return *n;
}

/* Stops and joins the notifier thread when the process exits. */
struct NotifierOwner {
    ~NotifierOwner() { notifier().stop(); }
} s_notifierOwner;

} // namespace

void dravo::installListener(const void* client, DravoStatusListenerBase* listener)
{
    notifier().install(client, listener);
}

void dravo::removeListener(const void* client, DravoStatusListenerBase* listener)
{
    notifier().remove(client, listener);
}

void dravo::postNotification(const void* client, std::function<void(DravoStatusListenerBase&)> call)
{
    notifier().post(client, std::move(call));
}

void dravo::forgetClient(const void* client)
{
    notifier().forget(client);
}

void dravo::notifyDictionaryReloaded()
{
    notifier().post(nullptr, [](DravoStatusListenerBase& l) { l.onDictionaryReloaded(); });
}
