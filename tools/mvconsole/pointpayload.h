/*
 * pointpayload.h: the point a dropped SCADA point payload names, for every
 * drop target of the console (the point table, the trend). A payload from
 * this process carries the point id in its object; one from another
 * application is read from its bytes (decimal id, or the full name, which is
 * resolved through the runtime server).
 */
#ifndef MVCONSOLE_POINTPAYLOAD_H
#define MVCONSOLE_POINTPAYLOAD_H

class QMimeData;
class ScadaRuntimeInterface;

namespace PointPayload {

/* True when the payload carries a point (what a drop target accepts). */
bool carriesPoint(const QMimeData* payload);
/* The point id a payload names; 0 when it names none the server knows. */
int pointOf(const QMimeData* payload, ScadaRuntimeInterface* runtime);

} // namespace PointPayload

#endif
