/*
 * plantrecords.cpp: the records a plant writes (PlantRecords): one record
 * per object, filled field by field through the data dictionary, each
 * followed by the name-index record that finds it by name, then ":marker".
 *
 * A field the dictionary refuses, or two records under one data name, end
 * the build with a message naming the object; nothing is half built.
 */
#include "plantrecords.h"

#include "planterror.h"
#include "pointkinds.h"

#include <unordered_set>
#include <utility>

namespace MVPlant::detail {

namespace {

/* One record being filled; a put that the dictionary refuses ends the build. */
class RecordBuilder
{
public:
    RecordBuilder(const char* type, const std::string& dataName, std::string where)
        : m_record(type, dataName.c_str()), m_where(std::move(where))
    {
        if (!m_record.IsGood()) {
            const std::string why = DravoPlus::DictionaryError();
            fail(m_where + ": the data dictionary has no record type " + type
                     + (why.empty() ? std::string() : " (" + why + ")"),
                 why.empty() ? DRAVO_UNKNOWN_TYPE : DRAVO_DICTIONARY_ERROR);
        }
        m_record.SetFullName(dataName.c_str());
    }

    template <typename T>
    RecordBuilder& put(const char* field, T value)
    {
        return check(field, m_record.PutValue(field, value));
    }

    RecordBuilder& put(const char* field, const std::string& text)
    {
        return check(field, m_record.PutValue(field, text));
    }

    RecordBuilder& putBytes(const char* field, const std::string& bytes)
    {
        return check(field, m_record.PutValue(field, bytes.data(), static_cast<int>(bytes.size())));
    }

    /* Texts left empty stay as the zeroed record has them. */
    RecordBuilder& putText(const char* field, const std::string& text)
    {
        return text.empty() ? *this : put(field, text);
    }

    DravoData take() { return std::move(m_record); }

private:
    RecordBuilder& check(const char* field, int rc)
    {
        if (rc != 0)
            fail(m_where + ": cannot set field '" + field + "' of its " + m_record.GetTypeName()
                     + " record: " + resultText(rc),
                 rc);
        return *this;
    }

    DravoData m_record;
    std::string m_where;
};

std::uint8_t flag(bool on)
{
    return static_cast<std::uint8_t>(on ? 1 : 0);
}

class RecordSet
{
public:
    RecordSet(std::uint32_t loadTime, std::vector<DravoData>& records) : m_loadTime(loadTime), m_records(records)
    {
    }

    void add(const Station& s)
    {
        const std::string where = "station " + inQuotes(s.name);
        RecordBuilder b("STATION", "STATION" + std::to_string(s.id), where);
        b.put("pid", s.id).put("tag", s.tag).put("fullname", s.name).putText("description", s.description);
        store(b.take(), where);
        addNameIndex("@::" + s.name, s.id, kOtherObject, where);
    }

    void add(const Channel& c)
    {
        const std::string where = "channel " + inQuotes(c.name);
        RecordBuilder b("COMMLINK", "COMMLINK" + std::to_string(c.id), where);
        b.put("pid", c.id)
            .put("stationId", c.stationId)
            .put("driverId", c.driverId)
            .put("updateTime", m_loadTime)
            .put("fullname", c.name)
            .putText("protocol", c.protocol)
            .putText("primaryAddress", c.primaryAddress)
            .putText("secondaryAddress", c.secondaryAddress)
            .putText("description", c.description);
        store(b.take(), where);
        addNameIndex("@C::" + c.name, c.id, kChannelObject, where);
    }

    void add(const RemoteUnit& r)
    {
        const std::string where = "remote unit " + inQuotes(r.name);
        RecordBuilder b("REMOTEUNIT", "REMOTEUNIT" + std::to_string(r.id), where);
        b.put("pid", r.id)
            .put("stationId", r.stationId)
            .put("commId", r.channelId)
            .put("address", r.address)
            .put("tag", r.tag)
            .put("quality", r.quality)
            .put("updateTime", m_loadTime)
            .put("scanEnable", flag(r.scanEnable))
            .put("fullname", r.name)
            .putText("description", r.description);
        store(b.take(), where);
        addNameIndex("@R::" + r.name, r.id, kRemoteUnitObject, where);
    }

    template <typename P>
    void add(const P& p)
    {
        const PointKindInfo& kind = kindOf(p);
        const std::string where = std::string(kind.label) + " " + inQuotes(p.name);
        RecordBuilder b(kind.recordType, kind.recordType + std::to_string(p.id), where);
        putCommon(b, p);
        putOwn(b, p);
        store(b.take(), where);
        addNameIndex(p.name, p.id, kind.objectType, where);
    }

    /* The probe record that tells clients the database answers. */
    void addMarker()
    {
        RecordBuilder b("MARKER", ":marker", "the :marker record");
        b.put("version", static_cast<std::int32_t>(1)).put("loadTime", m_loadTime);
        store(b.take(), "the :marker record");
    }

private:
    void putCommon(RecordBuilder& b, const Point& p) const
    {
        b.put("pid", p.id)
            .put("rtuId", static_cast<std::int16_t>(p.rtuId))
            .put("stationId", p.stationId)
            .put("commId", p.channelId)
            .put("address", p.address)
            .put("tag", p.tag)
            .put("quality", p.quality)
            .put("scanEnable", flag(p.scanEnable))
            .put("alarmEnable", flag(p.alarmEnable))
            .put("scanTime", m_loadTime)
            .put("changedTime", m_loadTime)
            .put("fullname", p.name)
            .putText("description", p.description);
    }

    static void putOwn(RecordBuilder& b, const StatusPoint& p)
    {
        b.put("lastvalue", p.state).put("normalState", p.normalState).put("alarmPriority", p.alarmPriority);
    }

    static void putOwn(RecordBuilder& b, const AnalogPoint& p)
    {
        b.put("lastvalue", p.value)
            .put("previousvalue", p.value)
            .putText("unit", p.unit)
            .put("lowLowLimit", p.lowLowLimit)
            .put("lowLimit", p.lowLimit)
            .put("highLimit", p.highLimit)
            .put("highHighLimit", p.highHighLimit)
            .put("rangeLow", p.rangeLow)
            .put("rangeHigh", p.rangeHigh)
            .put("deadband", p.deadband)
            .put("rocLimit", p.rocLimit);
    }

    static void putOwn(RecordBuilder& b, const TextPoint& p)
    {
        b.put("bytesize", static_cast<std::uint16_t>(p.value.size())).put("dataFormat", p.dataFormat);
        if (!p.value.empty())
            b.putBytes("lastvalue", p.value);
    }

    void addNameIndex(const std::string& key, std::int32_t id, std::int32_t objectType, const std::string& where)
    {
        RecordBuilder b("NAMEINDEX", key, where + " (name index)");
        b.put("id", id).put("objectType", objectType);
        store(b.take(), where + " (name index)");
    }

    /* Two records under one data name would silently replace each other. */
    void store(DravoData record, const std::string& where)
    {
        if (!m_names.insert(record.GetDataName()).second)
            fail(where + ": a second record would be stored under " + inQuotes(record.GetDataName()));
        m_records.push_back(std::move(record));
    }

    std::uint32_t m_loadTime;
    std::vector<DravoData>& m_records;
    std::unordered_set<std::string> m_names;
};

template <typename List>
void addAll(RecordSet& set, const List& objects)
{
    for (const auto& object : objects)
        set.add(object);
}

} // namespace

void buildRecords(const Plant& plant, std::uint32_t loadTime, std::vector<DravoData>& records)
{
    records.clear();
    records.reserve(2 * (plant.stations.size() + plant.channels.size() + plant.remoteUnits.size()
                         + plant.statusPoints.size() + plant.analogPoints.size() + plant.textPoints.size())
                    + 1);
    RecordSet set(loadTime, records);
    addAll(set, plant.stations);
    addAll(set, plant.channels);
    addAll(set, plant.remoteUnits);
    addAll(set, plant.statusPoints);
    addAll(set, plant.analogPoints);
    addAll(set, plant.textPoints);
    set.addMarker();
}

} // namespace MVPlant::detail

int MVPlant::PlantRecords(const Plant& plant, std::uint32_t loadTime, std::vector<DravoData>& records,
                          std::string* error)
{
    const int rc = detail::runGuarded(error, [&] { detail::buildRecords(plant, loadTime, records); });
    if (rc != DRAVO_OK)
        records.clear();
    return rc;
}
