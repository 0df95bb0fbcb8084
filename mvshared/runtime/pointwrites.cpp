/*
 * pointwrites.cpp: the runtime interface's writes into the live database:
 * manual replacement and its release, tags on points and RTUs, and the
 * program writes of analog and status values.
 *
 * Every write is a partial record of the point's type holding only the
 * fields to change. After a write the other stations are told to read the
 * point again, and a manual replacement publishes the same change event a
 * driver would. The record name of a write is chosen by ranges one id off
 * from the reads (200000 itself is written as "TEXT200000"); stations of
 * every release rely on it, so it stays.
 */
#include "middlewaretext_p.h"

#include <MVShared/MorvaneTypes.h>
#include <MVShared/ScadaRuntimeInterface.h>

#include <MVPlant/Vocabulary.h>
#include <QsLog/QsLog.h>

#include <QtCore/QByteArray>
#include <QtCore/QDateTime>

#include <cstdint>
#include <string>

namespace {

const char kStatusType[] = "STATUS";
const char kAnalogType[] = "ANALOG";
const char kTextType[] = "TEXT";
const char kStatusChangeEvent[] = "STATUS_CHANGE";
const char kAnalogChangeEvent[] = "ANALOG_CHANGE";

/* The named events of a manual replacement go out with this argument. */
const int kChangeEventFlags = 1;

/* A text point's value is written only in these formats. */
const unsigned kHighestWritableTextFormat = 3;
/* Fixed parts of an analog change event as the drivers send it. */
const std::int32_t kAnalogChangeLimitState = 5;
const std::int32_t kAnalogChangeFlag = 2;

/* Writes route by MVPlant::writeKindOf, 200000 itself to "TEXT". */
using WriteKind = MVPlant::PointKind;
using MVPlant::writeKindOf;

/* The quality word as the point records and change events hold it. */
std::int32_t qualityWord(Morvane::PointQuality quality)
{
    return static_cast<std::int32_t>(quality);
}

std::uint32_t secondsNow()
{
    return static_cast<std::uint32_t>(QDateTime::currentDateTimeUtc().toSecsSinceEpoch());
}

std::int64_t millisecondsNow()
{
    return static_cast<std::int64_t>(QDateTime::currentMSecsSinceEpoch());
}

QByteArray recordName(const QString& nameTemplate, int id)
{
    return nameTemplate.arg(id).toLatin1();
}

int storeUnder(const QByteArray& name, const DravoPartialData& partial)
{
    return DravoPlus::PutPartialDataPoint(name.constData(), partial, nullptr, nullptr);
}

int publishStatusChange(int id, std::int32_t oldState, qint8 newState)
{
    DravoData event(kStatusChangeEvent);
    event.PutValue("pid", static_cast<std::int32_t>(id));
    event.PutValue("oid", std::int32_t{0});
    event.PutValue("oldvalue", oldState);
    event.PutValue("newvalue", static_cast<std::int32_t>(newState));
    event.PutValue("quality", qualityWord(Morvane::ManuallyReplacedQuality));
    event.PutValue("soe", std::int32_t{0});
    event.PutValue("timestamp", millisecondsNow());
    return DravoPlus::SendEvent(kStatusChangeEvent, event, kChangeEventFlags);
}

int publishAnalogChange(int id, double oldValue, double newValue)
{
    DravoData event(kAnalogChangeEvent);
    event.PutValue("pid", static_cast<std::int32_t>(id));
    event.PutValue("oldvalue", oldValue);
    event.PutValue("newvalue", newValue);
    event.PutValue("quality", qualityWord(Morvane::ManuallyReplacedQuality));
    event.PutValue("soe", std::int32_t{0});
    event.PutValue("isabnormal", std::int32_t{0});
    event.PutValue("timestamp", millisecondsNow());
    event.PutValue("low_high_lowlow_highhigh", kAnalogChangeLimitState);
    event.PutValue("flag", kAnalogChangeFlag);
    return DravoPlus::SendEvent(kAnalogChangeEvent, event, kChangeEventFlags);
}

} // namespace

/* ---- Manual replacement ---------------------------------------------------- */

int ScadaRuntimeInterface::manualReplace(int id, QVariant value)
{
    DravoData point;
    if (const int rc = GetPoint(id, point))
        return rc;

    const std::string type = point.GetTypeName();
    DravoPartialData partial(type.c_str());
    WriteKind kind = WriteKind::Status;
    std::int32_t oldState = 0;
    qint8 newState = 0;
    double oldValue = 0.0;
    double newValue = 0.0;

    if (type == kStatusType) {
        oldState = point.GetSignedIntValue("lastvalue");
        newState = static_cast<qint8>(value.toInt());
        if (const int rc = partial.PutValue("lastvalue", newState))
            return rc;
        if (const int rc = partial.PutValue("isDirty", std::int32_t{1}))
            return rc;
    } else if (type == kAnalogType) {
        kind = WriteKind::Analog;
        point.GetValue("lastvalue", oldValue);
        newValue = value.toDouble();
        if (const int rc = partial.PutValue("lastvalue", newValue))
            return rc;
        if (const int rc = partial.PutValue("isDirty", std::int32_t{1}))
            return rc;
    } else if (type == kTextType) {
        /* Text points publish no change event, so their old value is not
         * needed. Formats above 3 are not written from a station. */
        kind = WriteKind::Text;
        const QByteArray bytes = value.toByteArray();
        if (point.GetUnSignedIntValue("dataFormat") <= kHighestWritableTextFormat) {
            if (const int rc = partial.PutValue("lastvalue", bytes.constData(), bytes.size()))
                return rc;
            if (const int rc = partial.PutValue("bytesize", static_cast<std::uint16_t>(bytes.size())))
                return rc;
        }
        if (const int rc = partial.PutValue("isDirty", std::int32_t{1}))
            return rc;
    } else {
        /* A record of another type gets no value; it is treated as a status
         * point whose old state is 0. */
        newState = static_cast<qint8>(value.toInt());
    }

    if (const int rc = partial.PutValue("quality", qualityWord(Morvane::ManuallyReplacedQuality)))
        return rc;
    if (const int rc = partial.PutValue("limit", std::int32_t{0}))
        return rc;
    /* Stamped into the local copy only: the partial record carries no
     * change time, the server stamps its own. */
    point.PutValue("changedTime", secondsNow());

    if (const int rc = putPartialUpdate(id, partial)) {
        /* The caller gets the code; the middleware's reason goes to the log,
         * where an engineer looking into a refused replacement finds it. */
        const QString reason = MorvaneRuntime::middlewareErrorText(rc);
        QLOG_WARN() << "Manual replacement of point" << id << "was not stored:" << reason;
        return rc;
    }

    switch (kind) {
    case WriteKind::Status:
        if (oldState != newState)
            publishStatusChange(id, oldState, newState);
        needStatusDatapointUpdate(id);
        break;
    case WriteKind::Analog:
        if (oldValue != newValue)
            publishAnalogChange(id, oldValue, newValue);
        needAnalogDatapointUpdate(id);
        break;
    case WriteKind::Text:
        break;
    }
    return 0;
}

/* Returns 0 once the fields are put, whatever the store says. */
int ScadaRuntimeInterface::manualReplaceRelease(int id)
{
    DravoData point;
    if (const int rc = GetPoint(id, point))
        return rc;
    const std::int32_t quality =
        point.GetSignedIntValue("quality") & ~qualityWord(Morvane::ManuallyReplacedQuality);
    DravoPartialData partial(point.GetTypeName());
    if (const int rc = partial.PutValue("quality", quality))
        return rc;
    if (const int rc = partial.PutValue("isDirty", std::int32_t{1}))
        return rc;
    if (putPartialUpdate(id, partial) == 0) {
        if (id <= MVPlant::kStatusLast)
            needStatusDatapointUpdate(id);
        else
            needAnalogDatapointUpdate(id);
    }
    return 0;
}

/* ---- Tags ------------------------------------------------------------------ */

int ScadaRuntimeInterface::applyTagToPoint(int id, Morvane::Tagging tag)
{
    DravoData point;
    if (const int rc = GetPoint(id, point))
        return rc;
    const std::uint32_t newTag = point.GetUnSignedIntValue("tag") | static_cast<std::uint32_t>(tag);
    DravoPartialData partial(point.GetTypeName());
    if (const int rc = partial.PutValue("tag", newTag))
        return rc;
    if (const int rc = partial.PutValue("isDirty", std::int32_t{1}))
        return rc;
    /* Out of service and maintenance also reset quality and limit state. */
    if (newTag & (Morvane::OutOfServiceTag | Morvane::MaintenanceTag)) {
        if (const int rc = partial.PutValue("quality", qualityWord(Morvane::GoodQuality)))
            return rc;
        if (const int rc = partial.PutValue("limit", std::int32_t{0}))
            return rc;
    }
    const int rc = putPartialUpdate(id, partial);
    if (rc == 0) {
        if (writeKindOf(id) == WriteKind::Analog)
            needAnalogDatapointUpdate(id);
        else
            needStatusDatapointUpdate(id);
    }
    return rc;
}

/* Refreshes by a different split than applyTagToPoint and returns 0
 * whatever the store says; receivers have always seen it so. */
int ScadaRuntimeInterface::removeTagToPoint(int id, Morvane::Tagging tag)
{
    DravoData point;
    if (const int rc = GetPoint(id, point))
        return rc;
    const std::uint32_t newTag = point.GetUnSignedIntValue("tag") & ~static_cast<std::uint32_t>(tag);
    DravoPartialData partial(point.GetTypeName());
    if (const int rc = partial.PutValue("tag", newTag))
        return rc;
    if (const int rc = partial.PutValue("isDirty", std::int32_t{1}))
        return rc;
    if (putPartialUpdate(id, partial) == 0) {
        if (id <= MVPlant::kStatusLast)
            needStatusDatapointUpdate(id);
        else
            needAnalogDatapointUpdate(id);
    }
    return 0;
}

namespace {

/* An RTU's tag word, written under the RTU record's own name. */
int storeRtuTag(const DravoData& rtu, std::uint32_t newTag)
{
    DravoPartialData partial(rtu.GetTypeName());
    partial.SetFullName(rtu.GetDataName());
    if (const int rc = partial.PutValue("tag", newTag))
        return rc;
    return DravoPlus::PutPartialDataPoint(rtu.GetDataName(), partial, nullptr, nullptr);
}

} // namespace

int ScadaRuntimeInterface::applyTagToRemoteUnit(int id, Morvane::Tagging tag)
{
    DravoData rtu;
    if (const int rc = GetRemoteUnitData(id, rtu))
        return rc;
    const int rc = storeRtuTag(rtu, rtu.GetUnSignedIntValue("tag") | static_cast<std::uint32_t>(tag));
    needRtuStatusDataUpdate(id);
    return rc;
}

int ScadaRuntimeInterface::removeTagToRemoteUnit(int id, Morvane::Tagging tag)
{
    DravoData rtu;
    if (const int rc = GetRemoteUnitData(id, rtu))
        return rc;
    const int rc = storeRtuTag(rtu, rtu.GetUnSignedIntValue("tag") & ~static_cast<std::uint32_t>(tag));
    needRtuStatusDataUpdate(id);
    return rc;
}

/* ---- Partial updates --------------------------------------------------------- */

int ScadaRuntimeInterface::putPartialAnalogUpdate(int id, DravoPartialData& data)
{
    return storeUnder(recordName(analogNameTemplate, id), data);
}

int ScadaRuntimeInterface::putPartialStatusUpdate(int id, DravoPartialData& data)
{
    return storeUnder(recordName(statusNameTemplate, id), data);
}

int ScadaRuntimeInterface::putPartialBinaryUpdate(int id, DravoPartialData& data)
{
    return storeUnder(recordName(textNameTemplate, id), data);
}

int ScadaRuntimeInterface::putPartialUpdate(int id, DravoPartialData& data)
{
    switch (writeKindOf(id)) {
    case WriteKind::Analog:
        return putPartialAnalogUpdate(id, data);
    case WriteKind::Status:
        return putPartialStatusUpdate(id, data);
    case WriteKind::Text:
        break;
    }
    return putPartialBinaryUpdate(id, data);
}

int ScadaRuntimeInterface::putPartialUpdate(DravoPartialData& data)
{
    return DravoPlus::PutPartialDataPoint(nullptr, data, nullptr, nullptr);
}

/* ---- Program writes ---------------------------------------------------------- */

/* Stored under "ANALOG<id>" whatever the id's range. */
int ScadaRuntimeInterface::setAnalogPoint(int id, double value)
{
    const std::uint32_t now = secondsNow();
    DravoPartialData partial(kAnalogType);
    if (const int rc = partial.PutValue("lastvalue", value))
        return rc;
    if (const int rc = partial.PutValue("isDirty", std::int32_t{1}))
        return rc;
    if (const int rc = partial.PutValue("quality", qualityWord(Morvane::GoodQuality)))
        return rc;
    if (const int rc = partial.PutValue("scanTime", now))
        return rc;
    if (const int rc = partial.PutValue("changedTime", now))
        return rc;
    return putPartialAnalogUpdate(id, partial);
}

int ScadaRuntimeInterface::setStatusValue(int id, qint8 state)
{
    const std::uint32_t now = secondsNow();
    DravoPartialData partial(kStatusType);
    if (const int rc = partial.PutValue("lastvalue", state))
        return rc;
    if (const int rc = partial.PutValue("isDirty", std::int32_t{1}))
        return rc;
    if (const int rc = partial.PutValue("scanTime", now))
        return rc;
    if (const int rc = partial.PutValue("changedTime", now))
        return rc;
    if (const int rc = partial.PutValue("quality", qualityWord(Morvane::GoodQuality)))
        return rc;
    return putPartialStatusUpdate(id, partial);
}
