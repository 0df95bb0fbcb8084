/*
 * statisticsreset.cpp: the runtime interface's statistics resets of analog
 * and status points, communication links and RTUs.
 *
 * A reset is one partial record per object, all built first and sent in a
 * single middleware batch, whatever the number of objects. Each record
 * starts with its own time stamp and then sets the fields of its table, in
 * the table's order. The field names are the server's, misspellings
 * included ("totayPollings").
 */
#include <MVShared/ScadaRuntimeInterface.h>

#include <QtCore/QByteArray>
#include <QtCore/QDateTime>

#include <cstddef>
#include <cstdint>
#include <vector>

namespace {

struct ResetField {
    const char* name;
    std::int32_t value;
};

/* Analog points: value, tags and state cleared, then the eight statistics
 * of each period (time, day, month, total, week, year). */
const ResetField kAnalogReset[] = {
    {"savingTime", 0}, {"lastvalue", 0}, {"tag", 0}, {"limit", 0}, {"quality", 0}, {"isDirty", 1},
    {"timeNow", 0}, {"timeMax", 0}, {"timeMaxTime", 0}, {"timeMin", 0},
    {"timeMinTime", 0}, {"timeAvg", 0}, {"timeDelta", 0}, {"timeAcc", 0},
    {"dayNow", 0}, {"dayMax", 0}, {"dayMaxTime", 0}, {"dayMin", 0},
    {"dayMinTime", 0}, {"dayAvg", 0}, {"dayDelta", 0}, {"dayAcc", 0},
    {"monthNow", 0}, {"monthMax", 0}, {"monthMaxTime", 0}, {"monthMin", 0},
    {"monthMinTime", 0}, {"monthAvg", 0}, {"monthDelta", 0}, {"monthAcc", 0},
    {"totalNow", 0}, {"totalMax", 0}, {"totalMaxTime", 0}, {"totalMin", 0},
    {"totalMinTime", 0}, {"totalAvg", 0}, {"totalDelta", 0}, {"totalAcc", 0},
    {"weekNow", 0}, {"weekMax", 0}, {"weekMaxTime", 0}, {"weekMin", 0},
    {"weekMinTime", 0}, {"weekAvg", 0}, {"weekDelta", 0}, {"weekAcc", 0},
    {"yearNow", 0}, {"yearMax", 0}, {"yearMaxTime", 0}, {"yearMin", 0},
    {"yearMinTime", 0}, {"yearAvg", 0}, {"yearDelta", 0}, {"yearAcc", 0},
};

/* Status points: value, tags and state cleared, then the on/off counts and
 * durations. */
const ResetField kStatusReset[] = {
    {"savingTime", 0}, {"tag", 0}, {"limit", 0}, {"quality", 0}, {"lastvalue", 0}, {"isDirty", 1},
    {"onTime", 0}, {"offTime", 0},
    {"totalOnDuration", 0}, {"totalOffDuration", 0},
    {"todayOnDuration", 0}, {"todayOffDuration", 0},
    {"monthOnDuration", 0}, {"monthOffDuration", 0},
    {"todayOnCount", 0}, {"todayOffCount", 0},
    {"totalOnCount", 0}, {"totalOffCount", 0},
    {"monthOnCount", 0}, {"monthOffCount", 0},
    {"timeOnDuration", 0}, {"timeOffDuration", 0},
    {"timeOnCount", 0}, {"timeOffCount", 0},
    {"yearOnDuration", 0}, {"yearOffDuration", 0},
    {"yearOnCount", 0}, {"yearOffCount", 0},
};

/* Communication links. */
const ResetField kCommReset[] = {
    {"commsavingTime", 0}, {"todayFailDuration", 0}, {"todayFailCount", 0},
    {"totalFailDuration", 0}, {"totalFailCount", 0}, {"status", 0},
    {"goodTime", 0}, {"badTime", 0},
};

/* RTUs: the poll statistics, then tags (control inhibit included), limit,
 * quality and status. */
const ResetField kRtuReset[] = {
    {"commsavingTime", 0}, {"goodTime", 0}, {"badTime", 0},
    {"totalCommRatio", 0}, {"totalFailDuration", 0}, {"totalSuccessPolls", 0},
    {"totalNoResponseTimes", 0}, {"totalFails", 0}, {"totalPollings", 0},
    {"todayCommRatio", 0}, {"todayFailDuration", 0}, {"todaySuccessPolls", 0},
    {"todayNoResponseTimes", 0}, {"todayFails", 0}, {"totayPollings", 0},
    {"tag", 0}, {"limit", 0}, {"quality", 0}, {"status", 0},
};

enum class Batch { Published, Unpublished };

/* One record per id under "<type><id>", then one batch call. The results
 * of the single puts are not looked at; the batch call decides. */
template <std::size_t N>
int resetBatch(const QSet<int>& ids, const char* type, const char* stampField,
               const ResetField (&fields)[N], Batch batch)
{
    const QSet<int> walk = ids;
    std::vector<DravoPartialData> records;
    records.reserve(static_cast<std::size_t>(walk.size()));
    for (const int id : walk) {
        DravoPartialData record(type);
        record.PutValue(stampField,
                        static_cast<std::uint32_t>(QDateTime::currentDateTimeUtc().toSecsSinceEpoch()));
        for (const ResetField& field : fields)
            record.PutValue(field.name, field.value);
        record.SetFullName((QByteArray(type) + QByteArray::number(id)).constData());
        records.push_back(std::move(record));
    }
    return batch == Batch::Published
               ? DravoPlus::PutPartialDataPoints(records, nullptr, nullptr)
               : DravoPlus::PutPartialDataPointsWithNoPublish(records, nullptr, nullptr);
}

} // namespace

/* Every id is named "ANALOG<id>" / "STATUS<id>" here, without the range
 * choice of the point writes. */
int ScadaRuntimeInterface::resetAnalogData(const QSet<int>& ids)
{
    return resetBatch(ids, "ANALOG", "changedTime", kAnalogReset, Batch::Published);
}

int ScadaRuntimeInterface::resetStatusData(const QSet<int>& ids)
{
    return resetBatch(ids, "STATUS", "changedTime", kStatusReset, Batch::Published);
}

int ScadaRuntimeInterface::resetCommData(QSet<int> ids)
{
    return resetBatch(ids, "COMMLINK", "updateTime", kCommReset, Batch::Unpublished);
}

int ScadaRuntimeInterface::resetRtuData(QSet<int> ids)
{
    return resetBatch(ids, "REMOTEUNIT", "updateTime", kRtuReset, Batch::Unpublished);
}
