/*
 * pointids.cpp: the point-id arithmetic every part of the product uses to
 * tell point kinds apart by id alone.
 */
#include <MVShared/PointIds.h>
#include <MVShared/ScadaRuntimeInterface.h>

namespace {

constexpr int kFirstStatusId = 100001;
constexpr int kLastStatusId = 200000;
constexpr int kLastAnalogId = 3000000;

} // namespace

bool Morvane::isStatusPoint(int id)
{
    return id >= kFirstStatusId && id <= kLastStatusId;
}

bool Morvane::isAnalogPointPoint(int id)
{
    return id > kLastStatusId && id <= kLastAnalogId;
}

bool Morvane::isTextPointPoint(int id)
{
    return id > kLastAnalogId;
}

Morvane::PointTypeCode Morvane::pointTypeById(int id)
{
    if (isStatusPoint(id))
        return StatusPointType;
    if (isAnalogPointPoint(id))
        return AnalogPointType;
    if (isTextPointPoint(id))
        return TextPointType;
    return NoPointType;
}

Morvane::ScadaObjectType Morvane::pointObjectTypeById(int id)
{
    if (isStatusPoint(id))
        return StatusPointObject;
    if (isAnalogPointPoint(id))
        return AnalogPointObject;
    if (isTextPointPoint(id))
        return TextPointObject;
    return InvalidObject;
}

bool Morvane::isPointObjectType(ScadaObjectType type)
{
    return type == StatusPointObject || type == AnalogPointObject || type == TextPointObject
        || type == CalculatedPointObject;
}

Morvane::PointTypeSet Morvane::buildPointSet(ScadaRuntimeInterface* rt, const QList<QString>& names)
{
    PointTypeSet set;
    const QMap<QString, int> ids = rt->pointIdsWithName(names);
    for (int id : ids) {
        if (isStatusPoint(id))
            set.statusPoints.append(id);
        else if (isTextPointPoint(id))
            set.textPoints.append(id);
        else if (isAnalogPointPoint(id))
            set.analogPoints.append(id);
    }
    return set;
}
