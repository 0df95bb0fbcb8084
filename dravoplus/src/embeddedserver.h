/*
 * embeddedserver.h: the runtime server inside this process.
 *
 * One EmbeddedServer per process holds the point database, the event boxes,
 * the packet routing and the heartbeat entries in memory. Each client of the
 * process reaches it through its own EmbeddedBackend, made here.
 */
#ifndef DRAVOPLUS_EMBEDDEDSERVER_H
#define DRAVOPLUS_EMBEDDEDSERVER_H

#include "backend.h"

#include <memory>
#include <string>

namespace dravo {

/* A backend for one client (clientId names it in heartbeat listings). */
std::unique_ptr<Backend> makeEmbeddedBackend(const std::string& clientId, BackendSink& sink);

/* The simulated outage of the embedded server (DravoPlus::SetEmbeddedServerOnline). */
void setEmbeddedServerOnline(bool online);
bool embeddedServerOnline();

} // namespace dravo

#endif
