/*
 * plantindex.cpp: the plant read back by record type.
 */
#include "plantindex.h"

#include <DravoPlus/DravoPlus.h>

#include <QtCore/QCoreApplication>
#include <QtCore/QDir>
#include <QtCore/QFileInfo>

#include <algorithm>
#include <string>

namespace {

QString textField(const DravoData& record, const char* field)
{
    std::string text;
    record.GetValue(field, text);
    return QString::fromStdString(text);
}

int readPoints(const char* type, QVector<PlantPoint>& out)
{
    DravoDataList list;
    const int rc = DravoPlus::GetDataPointByTypeName(type, list, nullptr, nullptr);
    if (rc != DRAVO_OK)
        return rc;
    for (const DravoData& record : list) {
        const PlantPoint point = PlantIndex::pointOf(record);
        out.append(point);
    }
    std::sort(out.begin(), out.end(), [](const PlantPoint& a, const PlantPoint& b) { return a.id < b.id; });
    return DRAVO_OK;
}

} // namespace

PlantPoint PlantIndex::pointOf(const DravoData& record)
{
    PlantPoint point;
    point.id = record.GetSignedIntValue("pid");
    point.name = textField(record, "fullname");
    point.rtuId = record.GetShortValue("rtuId");
    point.value = record.GetDoubleValue("lastvalue");
    point.tag = record.GetUnSignedIntValue("tag");
    point.quality = record.GetSignedIntValue("quality");
    if (record.HasField("alarmEnable"))
        point.alarmEnable = record.GetUnSignedIntValue("alarmEnable") != 0;
    if (record.HasField("rangeLow")) {
        point.low = record.GetDoubleValue("rangeLow");
        point.high = record.GetDoubleValue("rangeHigh");
        point.unit = textField(record, "unit");
        point.limits.lowLow = record.GetDoubleValue("lowLowLimit");
        point.limits.low = record.GetDoubleValue("lowLimit");
        point.limits.high = record.GetDoubleValue("highLimit");
        point.limits.highHigh = record.GetDoubleValue("highHighLimit");
    }
    if (record.HasField("normalState")) {
        point.normalState = record.GetSignedIntValue("normalState");
        point.alarmPriority = static_cast<int>(record.GetUnSignedIntValue("alarmPriority"));
    }
    return point;
}

int PlantIndex::read()
{
    *this = PlantIndex();
    for (const auto& kind : {std::make_pair("STATUS", &status), std::make_pair("ANALOG", &analog),
                             std::make_pair("TEXT", &text)}) {
        const int rc = readPoints(kind.first, *kind.second);
        if (rc != DRAVO_OK)
            return rc;
    }
    DravoDataList list;
    int rc = DravoPlus::GetDataPointByTypeName("REMOTEUNIT", list, nullptr, nullptr);
    if (rc != DRAVO_OK)
        return rc;
    for (const DravoData& record : list)
        remoteUnits.append({record.GetSignedIntValue("pid"), textField(record, "fullname"),
                            record.GetSignedIntValue("commId")});
    list.clear();
    rc = DravoPlus::GetDataPointByTypeName("COMMLINK", list, nullptr, nullptr);
    if (rc != DRAVO_OK)
        return rc;
    for (const DravoData& record : list)
        channels.append({record.GetSignedIntValue("pid"), textField(record, "fullname"),
                         record.GetSignedIntValue("driverId")});
    return DRAVO_OK;
}

bool PlantIndex::route(int rtuId, int& driver, int& channelId) const
{
    for (const PlantRemoteUnit& unit : remoteUnits) {
        if (unit.id != rtuId)
            continue;
        for (const PlantChannel& channel : channels) {
            if (channel.id == unit.channelId) {
                driver = channel.driver;
                channelId = channel.id;
                return true;
            }
        }
    }
    return false;
}

const PlantPoint* PlantIndex::findPoint(const QString& name) const
{
    for (const QVector<PlantPoint>* points : {&status, &analog, &text})
        for (const PlantPoint& point : *points)
            if (point.name == name)
                return &point;
    return nullptr;
}

const PlantPoint* PlantIndex::findPoint(int id) const
{
    for (const QVector<PlantPoint>* points : {&status, &analog, &text})
        for (const PlantPoint& point : *points)
            if (point.id == id)
                return &point;
    return nullptr;
}

const PlantPoint* PlantIndex::findAnalog(int id) const
{
    for (const PlantPoint& point : analog)
        if (point.id == id)
            return &point;
    return nullptr;
}

QString PlantIndex::samplePlantPath()
{
    // An installed program takes the copy installed beside it; a build tree
    // has none and takes the source tree's.
    const QString installed = QDir::cleanPath(QCoreApplication::applicationDirPath()
                                              + QStringLiteral("/../share/dravoplus/examples/plant.json"));
    if (QFileInfo::exists(installed))
        return installed;
    return QStringLiteral(MV_SAMPLE_PLANT);
}
