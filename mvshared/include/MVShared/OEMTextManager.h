/*
 * OEMTextManager.h: the process-wide table of replacement texts with which a
 * rebranded build shows its own names in place of the product's. The
 * application fills the instance once, before its first lookup, by assigning
 * a populated manager to it; afterwards the table is only read.
 */
#ifndef MVSHARED_OEMTEXTMANAGER_H
#define MVSHARED_OEMTEXTMANAGER_H

#include <MVShared/MVSharedGlobal.h>

#include <QtCore/QMap>
#include <QtCore/QString>

class MVSHARED_EXPORT OEMTextManager
{
public:
    OEMTextManager();
    /* A manager holding texts (key to replacement text), to be assigned to
     * the instance. */
    explicit OEMTextManager(const QMap<QString, QString>& texts);
    OEMTextManager(const OEMTextManager& other);
    OEMTextManager& operator=(const OEMTextManager& other);
    ~OEMTextManager();

    /* The one instance of the process, created empty on first use; safe to
     * call from any thread. */
    static OEMTextManager* instance();

    /* True when the table holds at least one text. */
    bool isLoaded() const;
    /* The replacement text of key; empty when there is none, so the caller
     * shows its own text. A lookup never adds the key. */
    QString value(const QString& key) const;

private:
    QMap<QString, QString> m_texts;
};

namespace Morvane {

/* Whether this build is a rebranded one: never, in this build. */
MVSHARED_EXPORT bool isOEMProduct();

} // namespace Morvane

#endif
