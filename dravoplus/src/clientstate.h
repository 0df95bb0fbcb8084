/*
 * clientstate.h: what the parts of the client layer tell each other.
 *
 * The public calls live in client.cpp; settings, the notifier thread, the
 * call recorder and the dictionary are their own files and meet here.
 */
#ifndef DRAVOPLUS_CLIENTSTATE_H
#define DRAVOPLUS_CLIENTSTATE_H

#include <DravoPlus/DravoPlusTesting.h>

#include <functional>
#include <string>
#include <vector>

namespace dravo {

/* Server addresses of the setting name ("" or null: the default one), the
 * process override first. Empty strings are left out. */
std::vector<std::string> serverAddresses(const char* name);
/* Whether a setting selects the embedded server. */
bool isEmbeddedSetting(const std::vector<std::string>& addresses);

/* Listener notifications, delivered in order on the notifier thread. The key
 * is the client the listeners belong to. */
void installListener(const void* client, DravoStatusListenerBase* listener);
void removeListener(const void* client, DravoStatusListenerBase* listener);
void postNotification(const void* client, std::function<void(DravoStatusListenerBase&)> call);
void forgetClient(const void* client);
void notifyDictionaryReloaded();

/* The call recorder. */
bool recording();
void recordCall(DravoRecordedCall call);

} // namespace dravo

#endif
