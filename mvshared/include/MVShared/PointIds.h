/*
 * PointIds.h: telling points apart by their ids.
 *
 * A point id's range gives its kind: 100001..200000 status points,
 * 200001..3000000 analog points, above 3000000 text points. These
 * classifiers use exactly those bounds. The record reads and writes of
 * ScadaRuntimeInterface route by bounds one lower (200000 is read as an
 * analog record, 3000000 as a text record); both are kept as they are,
 * because stored documents and server records depend on each side.
 */
#ifndef MVSHARED_POINTIDS_H
#define MVSHARED_POINTIDS_H

#include <MVShared/MVSharedGlobal.h>
#include <MVShared/MorvaneTypes.h>

#include <QtCore/QList>
#include <QtCore/QString>

class ScadaRuntimeInterface;

namespace Morvane {

/* Point ids sorted by kind. */
struct MVSHARED_EXPORT PointTypeSet {
    QList<int> analogPoints;
    QList<int> statusPoints;
    QList<int> textPoints;
};

MVSHARED_EXPORT bool isStatusPoint(int id);
MVSHARED_EXPORT bool isAnalogPointPoint(int id);
MVSHARED_EXPORT bool isTextPointPoint(int id);
MVSHARED_EXPORT PointTypeCode pointTypeById(int id);
MVSHARED_EXPORT ScadaObjectType pointObjectTypeById(int id);
/* 0, 1, 5 and 6 are points. */
MVSHARED_EXPORT bool isPointObjectType(ScadaObjectType type);

/* Resolves the names through rt and sorts the ids found by kind, in
 * ascending name order; names that are no points are dropped. */
MVSHARED_EXPORT PointTypeSet buildPointSet(ScadaRuntimeInterface* rt, const QList<QString>& names);

} // namespace Morvane

#endif
