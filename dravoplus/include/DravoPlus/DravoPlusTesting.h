/*
 * DravoPlusTesting.h: what tests, simulators and benchmarks need beyond the
 * middleware's API (DravoPlus.h), installed with it so that applications can
 * test themselves against the embedded server:
 *
 *   - further clients in one process, to play a second task, a standby or a
 *     process that dies;
 *   - the call recorder, which shows the calls a program made, with their
 *     arguments and results;
 *   - the embedded server's simulated outage;
 *   - what large records hold in memory.
 *
 * Production code has no use for any of it.
 */
#ifndef DRAVOPLUS_DRAVOPLUSTESTING_H
#define DRAVOPLUS_DRAVOPLUSTESTING_H

#include <DravoPlus/DravoPlus.h>

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

/* A further client of the same server in this process; see NewClient. */
struct DravoClient;

/* One recorded middleware call (see SetCallRecording). */
struct DravoRecordedCall {
    std::string operation;                      /* "GetDataPoint", "SendEvent", ... */
    std::vector<std::optional<std::string>> args;  /* scalar arguments as text; nullopt for null */
    std::vector<std::string> names;             /* name lists, or the data names of a batch */
    std::vector<DravoData> records;             /* records sent */
    std::vector<DravoPartialData> partials;     /* partial records written */
    int result = 0;
};

/* What large records hold in memory (see LargeRecordMemory). */
struct DravoLargeRecordMemory {
    std::size_t inUse = 0;  /* bytes held by records that exist */
    std::size_t spare = 0;  /* bytes of freed ones kept for reuse */
};

namespace DravoPlus {

/* ---- Clients ------------------------------------------------------------- */

/* A further client of the current server in this process, with its own
 * connection, listeners, boxes, heartbeat entries and packet targets. Calls
 * made on a thread after UseClient(c) act as that client; UseClient(nullptr)
 * returns the thread to the process's own client. FreeClient behaves like the
 * death of a process: its connection drops without any farewell. */
DRAVOPLUS_EXPORT DravoClient* NewClient();
DRAVOPLUS_EXPORT void UseClient(DravoClient* client);
DRAVOPLUS_EXPORT void FreeClient(DravoClient* client);

/* ---- The call recorder --------------------------------------------------- */

/* While on, every call of DravoPlus.h is recorded with its arguments and
 * result, process-wide. */
DRAVOPLUS_EXPORT void SetCallRecording(bool on);
/* The recorded calls so far, oldest first, optionally only those of one
 * operation; the whole record is emptied either way. */
DRAVOPLUS_EXPORT std::vector<DravoRecordedCall> TakeRecordedCalls(const char* operation = nullptr);

/* ---- The embedded server's outage ---------------------------------------- */

/* While it is down every call fails with DRAVO_NOT_CONNECTED, blocked
 * receives and waits return, listeners hear onMidDisconnected, and
 * non-persistent boxes are gone. When it comes back, clients that wanted a
 * connection reconnect and hear onMidConnected. DRAVO_BAD_ARGUMENT when the
 * process does not use the embedded server. */
DRAVOPLUS_EXPORT int SetEmbeddedServerOnline(bool online);

/* ---- The memory of large records ----------------------------------------- */

/* What large records hold now; ReleaseSpareRecordMemory gives the spare
 * bytes back. */
DRAVOPLUS_EXPORT DravoLargeRecordMemory LargeRecordMemory();

} // namespace DravoPlus

#endif
