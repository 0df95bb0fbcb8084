/*
 * scadaruntimeinterface_p.h: the runtime interface's middleware status
 * listener. It follows the connection for its owner and keeps the heartbeat
 * entry that failed, so that every later connect notification enters it
 * again.
 */
#ifndef MVSHARED_SCADARUNTIMEINTERFACE_P_H
#define MVSHARED_SCADARUNTIMEINTERFACE_P_H

#include <MVShared/ScadaRuntimeInterface.h>

#include <DravoPlus/DravoPlus.h>

#include <QtCore/QString>

class ScadaRuntimeInterfacePrivate : public DravoStatusListenerBase
{
public:
    explicit ScadaRuntimeInterfacePrivate(ScadaRuntimeInterface* owner);
    ~ScadaRuntimeInterfacePrivate() override;

    void onMidConnected() override;
    void onMidDisconnected() override;

    /* The task's heartbeat record with its display name and location; the
     * caller puts "oid" (by its own rule) and "pid" after them. */
    static DravoData heartbeatRecord(const QString& displayName);

    ScadaRuntimeInterface* q;
    QString aliveTaskName;
    QString aliveDisplayName;
    char aliveOid;
    int alivePid;
    bool aliveRegistered;
};

#endif
