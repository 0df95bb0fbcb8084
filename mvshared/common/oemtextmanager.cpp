/*
 * oemtextmanager.cpp: the replacement texts of a rebranded build (declared
 * in OEMTextManager.h).
 */
#include <MVShared/OEMTextManager.h>

OEMTextManager::OEMTextManager() = default;

OEMTextManager::OEMTextManager(const QMap<QString, QString>& texts)
    : m_texts(texts)
{
}

OEMTextManager::OEMTextManager(const OEMTextManager& other) = default;
OEMTextManager& OEMTextManager::operator=(const OEMTextManager& other) = default;
OEMTextManager::~OEMTextManager() = default;

OEMTextManager* OEMTextManager::instance()
{
    /* A function-local static: created once, on first use, by whichever
     * thread gets there first. */
    static OEMTextManager manager;
    return &manager;
}

bool OEMTextManager::isLoaded() const
{
    return !m_texts.isEmpty();
}

QString OEMTextManager::value(const QString& key) const
{
    return m_texts.value(key);
}

bool Morvane::isOEMProduct()
{
    return false;
}
