/*
 * pointpayload.cpp: reading a dropped point.
 */
#include "pointpayload.h"

#include <MVShared/PointMimeData.h>
#include <MVShared/ScadaRuntimeInterface.h>

namespace PointPayload {

bool carriesPoint(const QMimeData* payload)
{
    return payload && payload->hasFormat(Morvane::scadaPointMimeFormat());
}

int pointOf(const QMimeData* payload, ScadaRuntimeInterface* runtime)
{
    if (const auto* point = qobject_cast<const MorvaneScadaPointMimeData*>(payload))
        return static_cast<int>(point->pointPid());
    if (!carriesPoint(payload))
        return 0;
    const QByteArray bytes = payload->data(Morvane::scadaPointMimeFormat());
    bool isNumber = false;
    const int id = bytes.toInt(&isNumber);
    if (isNumber)
        return id;
    const int resolved = runtime ? runtime->pointIdWithName(QString::fromUtf8(bytes)) : 0;
    return resolved > 0 ? resolved : 0;
}

} // namespace PointPayload
