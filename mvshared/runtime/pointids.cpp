/*
 * pointids.cpp: the point-id arithmetic every part of the product uses to
 * tell point kinds apart by id alone.
 */
#include <MVShared/PointIds.h>
#include <MVShared/ScadaRuntimeInterface.h>

#include <MVPlant/Vocabulary.h>

bool Morvane::isStatusPoint(int id)
{
    return MVPlant::isStatusId(id);
}

bool Morvane::isAnalogPointPoint(int id)
{
    return MVPlant::isAnalogId(id);
}

bool Morvane::isTextPointPoint(int id)
{
    return MVPlant::isTextId(id);
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
