/*
 * backend.h: the one interface behind which a runtime server lives.
 *
 * The public calls of DravoPlus.h check their arguments, record themselves
 * when asked, pick the calling thread's client and hand the work to that
 * client's Backend. A backend serves exactly one client (one connection
 * identity); several clients of one process may share one server (the
 * embedded server is a process-wide object, a Redis server is shared by
 * everybody who reaches it).
 *
 * Backends report what happens on the server side through BackendSink; the
 * client layer turns that into listener notifications on its notifier thread,
 * so a backend may call the sink while it holds its own locks.
 *
 * Times handed to a backend are already scaled: real milliseconds.
 *
 * A new middleware call is declared in DravoPlus.h, defined in client.cpp,
 * added here, and implemented once per backend (EmbeddedBackend in
 * embeddedstate.h, RedisBackend in redisbackend.h); rules that both backends
 * follow, such as those of partial writes (partialwrite.h), live beside this
 * interface, not in either backend.
 */
#ifndef DRAVOPLUS_BACKEND_H
#define DRAVOPLUS_BACKEND_H

#include <DravoPlus/DravoPlus.h>

#include <string>
#include <vector>

namespace dravo {

/* The probe record ":marker", present whenever a server's point database
 * answers; loadTime says when the server (re)started serving (marker.cpp). */
extern const char* const kMarkerRecordName;
DravoData makeMarkerRecord();

class BackendSink
{
public:
    virtual ~BackendSink() = default;
    virtual void connectionUp() = 0;
    virtual void connectionDown() = 0;
    virtual void activeServerChanged(const std::string& address) = 0;
    virtual void boxOverflow(const std::string& box, int dropped) = 0;
    virtual void heartbeatLost(const std::string& task) = 0;
};

class Backend
{
public:
    virtual ~Backend() = default;

    /* Connection. connect() returns 0 when connected now; a backend that
     * could not connect keeps trying and calls sink.connectionUp() later. */
    virtual int connect() = 0;
    virtual int disconnect() = 0;
    virtual bool isConnected() const = 0;
    virtual std::string activeServer() const = 0;   /* "" when none */
    /* The death of the client: drop everything without farewell. */
    virtual void abandon() = 0;

    /* Heartbeats. */
    virtual int contendHeartbeat(const std::string& task, const DravoData& record) = 0;
    virtual int listHeartbeats(std::vector<DravoHeartbeatInfo>& out) = 0;

    /* Point database. getRecords leaves missing names out and sets each
     * record's data name to the requested one. */
    virtual int getRecord(const std::string& name, DravoData& out) = 0;
    virtual int getRecords(const std::vector<std::string>& names, DravoDataList& out) = 0;
    virtual int getRecordsByType(const std::string& type, DravoDataList& out) = 0;
    virtual int putRecords(const std::vector<DravoData>& records) = 0;
    virtual int deleteRecord(const std::string& name) = 0;
    /* names[i] is where partials[i] goes. All or nothing; with publish, each
     * updated record goes out under DRAVO_EVENT_RAW_CHANGE atomically with
     * the write. */
    virtual int putPartials(const std::vector<std::string>& names,
                            const std::vector<const DravoPartialData*>& partials,
                            bool publish) = 0;

    /* Events. Records arrive as they are to sendEvents; untyped payloads are
     * nameless records. */
    virtual int sendEvents(int kind, const std::vector<const DravoData*>& records,
                           const std::string& source, const std::string& domain) = 0;
    virtual int createBox(const std::string& name, int kind, int capacity, const std::string& domain) = 0;
    virtual int setPersistent(const std::string& name, bool persistent) = 0;
    virtual int deleteBox(const std::string& name) = 0;
    virtual int connectPort(const std::string& name, unsigned int& port) = 0;
    /* typeFilter empty: every record. */
    virtual int receive(unsigned int port, DravoDataList& out, const std::string& typeFilter,
                        int maxRecords, long waitMs) = 0;
    virtual int boxInfo(const std::string& name, DravoEventBoxInfo& out) = 0;
    virtual int listBoxes(std::vector<DravoEventBoxInfo>& out) = 0;

    /* Packets. expiryMs is how long the handle lives when not released. */
    virtual int sendPacket(const std::string& target, const DravoData& request, int mode,
                           long expiryMs, DravoHandle& handle) = 0;
    /* The reply as sent by the receiver, unconverted. */
    virtual int waitReply(DravoHandle handle, DravoData& reply, long waitMs) = 0;
    virtual int releaseHandle(DravoHandle handle) = 0;
    virtual int registerReceiver(const std::string& target) = 0;
    virtual int unregisterReceiver(const std::string& target) = 0;
    virtual int receivePacket(const std::string& target, DravoData& request, DravoHandle& handle,
                              long waitMs) = 0;
    virtual int replyPacket(DravoHandle handle, const DravoData& reply) = 0;
};

} // namespace dravo

#endif
