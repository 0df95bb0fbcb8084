/*
 * SystemOptionChangeMessage.h: the list of system options an administrator
 * changed, as the stations announce it to each other. It converts to and
 * from a small JSON text, and cuts long lists into several texts so that one
 * notification stays small.
 */
#ifndef MVSHARED_SYSTEMOPTIONCHANGEMESSAGE_H
#define MVSHARED_SYSTEMOPTIONCHANGEMESSAGE_H

#include <MVShared/MVSharedGlobal.h>

#include <QtCore/QList>
#include <QtCore/QPair>
#include <QtCore/QString>
#include <QtCore/QStringList>

class MVSHARED_EXPORT SystemOptionChangeMessage
{
public:
    SystemOptionChangeMessage();
    explicit SystemOptionChangeMessage(const QList<QPair<QString, QString>>& options);
    SystemOptionChangeMessage(const SystemOptionChangeMessage& other);
    SystemOptionChangeMessage& operator=(const SystemOptionChangeMessage& other);
    ~SystemOptionChangeMessage();

    /* The options as (key, value) pairs in the order they were added;
     * duplicate keys are kept. */
    const QList<QPair<QString, QString>>& options() const;
    void addOption(const QString& key, const QString& value);

    /* One JSON text per chunk of count options:
     * [{"key":"Mode","value":"Auto"},{"key":"Limit","value":"5"}] */
    QStringList toJson(int count) const;
    /* The options of one JSON text; an empty message when it is no JSON. */
    static SystemOptionChangeMessage fromJson(const QString& text);

private:
    QList<QPair<QString, QString>> m_options;
};

#endif
