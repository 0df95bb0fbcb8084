/*
 * pointaccess.cpp: the runtime interface's read side: point, remote unit,
 * station and channel records by id, and the resolution of point, channel
 * and device names to ids.
 *
 * A name is a record of the point database whose raw value begins with the
 * object's id. Point names are cached per object for its whole life (a
 * cached 0 means the server does not know the name); channel and device
 * names are asked for every time.
 */
#include <MVShared/ScadaRuntimeInterface.h>

#include <MVPlant/Vocabulary.h>

#include <QtCore/QReadLocker>
#include <QtCore/QWriteLocker>
#include <QtCore/QtEndian>

#include <string>
#include <vector>

namespace {

const char* kChannelPrefix = "@C::";
const char* kDevicePrefix = "@R::";

/* The id a name record carries at the start of its raw value. */
int idOfNameRecord(const DravoData& record)
{
    return record.GetBufferSize() >= 4 ? qFromUnaligned<qint32>(record.GetRawValue()) : 0;
}

QString recordName(const QString& nameTemplate, int id)
{
    return nameTemplate.arg(id, 0, 10, QChar(' '));
}

/* Reads route by MVPlant::readKindOf: one lower than the classifiers'
 * bounds, and it stays so. */
using ReadKind = MVPlant::PointKind;
using MVPlant::readKindOf;

/* Names looked up under a prefix ("@C::", "@R::"); nothing is cached. */
QMap<QString, int> prefixedIds(const QString& prefix, const QList<QString>& names)
{
    std::vector<std::string> keys;
    keys.reserve(static_cast<std::size_t>(names.size()));
    for (const QString& name : names)
        keys.push_back((prefix + name).toUtf8().toStdString());
    DravoDataList records;
    QMap<QString, int> ids;
    if (DravoPlus::GetDataPointN(keys, records, nullptr, nullptr) == 0) {
        for (const DravoData& record : records)
            ids[QString::fromUtf8(record.GetDataName()).replace(prefix, QString())] = idOfNameRecord(record);
    }
    DravoPlus::DestoryDravoDataList(records);
    return ids;
}

} // namespace

int ScadaRuntimeInterface::readRecord(const QString& name, DravoData& out, const char* readDomain)
{
    return DravoPlus::GetDataPoint(name.toLatin1().constData(), out, nullptr, readDomain);
}

int ScadaRuntimeInterface::GetAnalogPoint(int id, DravoData& out)
{
    return readRecord(recordName(analogNameTemplate, id), out);
}

int ScadaRuntimeInterface::GetStatusPoint(int id, DravoData& out)
{
    return readRecord(recordName(statusNameTemplate, id), out);
}

int ScadaRuntimeInterface::GetTextPoint(int id, DravoData& out)
{
    return readRecord(recordName(QStringLiteral("TEXT%1"), id), out);
}

int ScadaRuntimeInterface::GetRemoteUnitData(int id, DravoData& out)
{
    return readRecord(recordName(QStringLiteral("REMOTEUNIT%1"), id), out);
}

int ScadaRuntimeInterface::GetStationData(int id, DravoData& out)
{
    return readRecord(recordName(QStringLiteral("STATION%1"), id), out);
}

/* Channels are read with an empty domain, not a null one, as the channel
 * list is. */
int ScadaRuntimeInterface::GetChennelData(int id, DravoData& out)
{
    return readRecord(recordName(QStringLiteral("COMMLINK%1"), id), out, "");
}

int ScadaRuntimeInterface::allChennelData(DravoDataList& out)
{
    return DravoPlus::GetDataPointByTypeName("COMMLINK", out, nullptr, "");
}

int ScadaRuntimeInterface::GetPoint(int id, DravoData& out)
{
    switch (readKindOf(id)) {
    case ReadKind::Analog:
        return GetAnalogPoint(id, out);
    case ReadKind::Status:
        return GetStatusPoint(id, out);
    case ReadKind::Text:
        break;
    }
    return GetTextPoint(id, out);
}

int ScadaRuntimeInterface::GetPoint(const QString& name, DravoData& out)
{
    const int id = pointIdWithName(name);
    if (id < 1)
        return -1;
    return GetPoint(id, out);
}

int ScadaRuntimeInterface::GetPoints(const QList<int>& ids, DravoDataList& out)
{
    if (ids.isEmpty())
        return 0;
    std::vector<std::string> names;
    names.reserve(static_cast<std::size_t>(ids.size()));
    for (int id : ids) {
        const ReadKind kind = readKindOf(id);
        const QString& nameTemplate = kind == ReadKind::Analog ? analogNameTemplate
                                    : kind == ReadKind::Status ? statusNameTemplate
                                                               : textNameTemplate;
        names.push_back(recordName(nameTemplate, id).toLatin1().toStdString());
    }
    return DravoPlus::GetDataPointN(names, out, nullptr, nullptr);
}

/* The lock is never held across a middleware call here. An unknown name is
 * cached as 0 only when ":marker" answers, i.e. when the server's database
 * is really there and really lacks the name. */
int ScadaRuntimeInterface::pointIdWithName(const QString& name)
{
    {
        QReadLocker locker(&nameCacheLock);
        const auto cached = nameCache.constFind(name);
        if (cached != nameCache.constEnd())
            return cached.value();
    }
    if (DravoPlus::IsConnect(nullptr) != 0)
        return -1;
    DravoData record;
    const int rc = DravoPlus::GetDataPoint(name.toUtf8().constData(), record, nullptr, nullptr);
    if (rc == 0) {
        const int id = idOfNameRecord(record);
        QWriteLocker locker(&nameCacheLock);
        nameCache[name] = id;
        return id;
    }
    if (rc == DRAVO_NOT_FOUND) {
        DravoData probe;
        if (DravoPlus::GetDataPoint(":marker", probe, nullptr, nullptr) == 0) {
            QWriteLocker locker(&nameCacheLock);
            nameCache[name] = 0;
        }
    }
    return 0;
}

/* The write lock is held across the middleware request, so other lookups on
 * this object wait for it; the request is made even when every name was
 * cached. Unknown names are not cached here. */
QMap<QString, int> ScadaRuntimeInterface::pointIdsWithName(const QList<QString>& names)
{
    QMap<QString, int> ids;
    std::vector<std::string> request;
    {
        QReadLocker locker(&nameCacheLock);
        for (const QString& name : names) {
            const auto cached = nameCache.constFind(name);
            if (cached != nameCache.constEnd())
                ids[name] = cached.value();
            else
                request.push_back(name.toUtf8().toStdString());
        }
    }
    DravoDataList records;
    {
        QWriteLocker locker(&nameCacheLock);
        if (DravoPlus::GetDataPointN(request, records, nullptr, nullptr) == 0) {
            for (const DravoData& record : records) {
                const QString name = QString::fromUtf8(record.GetDataName());
                const int id = idOfNameRecord(record);
                ids[name] = id;
                nameCache[name] = id;
            }
        }
    }
    DravoPlus::DestoryDravoDataList(records);
    return ids;
}

int ScadaRuntimeInterface::channelIdWithName(const QString& name)
{
    const QMap<QString, int> ids = channelIdsWithName({name});
    return ids.isEmpty() ? -1 : ids.value(name);
}

int ScadaRuntimeInterface::deviceIdWithName(const QString& name)
{
    const QMap<QString, int> ids = deviceIdsWithName({name});
    return ids.isEmpty() ? -1 : ids.value(name);
}

QMap<QString, int> ScadaRuntimeInterface::channelIdsWithName(const QList<QString>& names)
{
    return prefixedIds(QString::fromLatin1(kChannelPrefix), names);
}

QMap<QString, int> ScadaRuntimeInterface::deviceIdsWithName(const QList<QString>& names)
{
    return prefixedIds(QString::fromLatin1(kDevicePrefix), names);
}
