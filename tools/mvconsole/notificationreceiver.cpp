/*
 * notificationreceiver.cpp: the receiving loop of the notifications.
 */
#include "notificationreceiver.h"

#include <DravoPlus/DravoPlus.h>

#include <QtCore/QUuid>

namespace {

/* Notifications are few; a box of this size rides out a busy minute. */
constexpr int kBoxCapacity = 1000;
constexpr int kBatch = 50;
/* Seconds one receive waits (so a stop is seen within it). */
constexpr int kReceiveWait = 1;
/* A failing receive is tried again after this pause. */
constexpr unsigned long kRetryPauseMs = 500;

const char* domainOf(const QByteArray& domain)
{
    return domain.isEmpty() ? nullptr : domain.constData();
}

} // namespace

NotificationReceiver::NotificationReceiver(const QString& domain, QObject* parent)
    : QThread(parent)
    , m_box("MVCONSOLE_NOTIFY:" + QUuid::createUuid().toByteArray(QUuid::WithoutBraces))
    , m_domain(domain.toLatin1())
{
    qRegisterMetaType<ConsoleNotification>();
}

NotificationReceiver::~NotificationReceiver()
{
    stop();
}

void NotificationReceiver::stop()
{
    m_stop.store(true);
    wait();
    if (m_listening.exchange(false))
        DravoPlus::DeleteEventBox(m_box.constData(), nullptr, domainOf(m_domain));
}

bool NotificationReceiver::openBox(unsigned int& port)
{
    const char* domain = domainOf(m_domain);
    if (DravoPlus::CreateEventBox(m_box.constData(), DRAVO_EVENT_NOTIFY, kBoxCapacity, nullptr, domain) != DRAVO_OK
        || DravoPlus::ConnectPortForRecv(m_box.constData(), port, nullptr, domain) != DRAVO_OK)
        return false;
    m_listening.store(true);
    return true;
}

void NotificationReceiver::run()
{
    unsigned int port = 0;
    bool open = false;
    while (!m_stop.load()) {
        if (!open && !(open = openBox(port))) {
            msleep(kRetryPauseMs);
            continue;
        }
        DravoDataList list;
        const int rc = DravoPlus::ReceiveEventN(port, list, "NOTIFY_MESSAGE", kBatch, kReceiveWait, nullptr,
                                                domainOf(m_domain));
        if (rc == DRAVO_OK) {
            for (const DravoData& record : list) {
                ConsoleNotification n;
                if (decodeNotification(record, n))
                    emit received(n);
            }
        } else if (rc == DRAVO_NOT_FOUND) {
            open = false;
        } else if (rc != DRAVO_TIMEOUT) {
            msleep(kRetryPauseMs);
        }
    }
}
