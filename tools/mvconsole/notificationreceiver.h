/*
 * notificationreceiver.h: the notifications of the console's domain, as they
 * arrive.
 *
 * A thread of its own takes the "NOTIFY_MESSAGE" records from an event box
 * subscribed to event 20004 (the box is the console's: a new name each run,
 * removed when the receiver stops) and hands each one over decoded, through
 * the received signal, queued to the window's thread. A box that went away
 * (a server that lost it) is made again; a receive that fails otherwise is
 * tried again after a pause.
 */
#ifndef MVCONSOLE_NOTIFICATIONRECEIVER_H
#define MVCONSOLE_NOTIFICATIONRECEIVER_H

#include "notification.h"

#include <QtCore/QByteArray>
#include <QtCore/QThread>

#include <atomic>

class NotificationReceiver : public QThread
{
    Q_OBJECT

public:
    /* domain: the runtime interface's domain ("" for none). */
    explicit NotificationReceiver(const QString& domain, QObject* parent = nullptr);
    /* Stops and waits (one receive wait at most). */
    ~NotificationReceiver() override;

    /* Ends the thread within one receive wait and removes the box. */
    void stop();
    QByteArray boxName() const { return m_box; }
    /* True once the box exists and its port is open. */
    bool isListening() const { return m_listening.load(); }

signals:
    void received(const ConsoleNotification& notification);

protected:
    void run() override;

private:
    bool openBox(unsigned int& port);

    QByteArray m_box;
    QByteArray m_domain;
    std::atomic<bool> m_stop{false};
    std::atomic<bool> m_listening{false};
};

#endif
