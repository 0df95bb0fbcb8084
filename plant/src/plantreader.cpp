/*
 * plantreader.cpp: checking a plant file object by object and taking it into
 * a Plant (ReadPlant).
 *
 * Every reference must point at an object listed before it (a channel at its
 * station, an RTU at its channel, a point at its RTU), ids and names are
 * unique per kind of object (point names across all three point kinds, since
 * they share one name index), and no point name may take the form of another
 * record's name.
 */
#include "plantreader.h"

#include "capacities.h"
#include "jsonmembers.h"
#include "planterror.h"
#include "plantfile.h"
#include "pointkinds.h"

#include <cstring>
#include <limits>
#include <unordered_map>
#include <utility>

namespace MVPlant::detail {

namespace {

constexpr std::int64_t kInt32Max = std::numeric_limits<std::int32_t>::max();
constexpr std::int64_t kInt32Min = std::numeric_limits<std::int32_t>::min();
constexpr std::int64_t kUInt32Max = std::numeric_limits<std::uint32_t>::max();
/* A point record keeps its RTU in a 16-bit "rtuId". */
constexpr std::int64_t kRemoteUnitLast = 32767;
/* Status states: single points use 0 and 1, double points 0..3. */
constexpr std::int64_t kStatusStateLast = 3;
/* The plant's name and description as the file may give them. */
constexpr std::size_t kPlantNameBytes = 255;
constexpr std::size_t kPlantDescriptionBytes = 1u << 20;

/* Remembers which object of one kind took an id or a name first. */
template <typename Key>
class Registry
{
public:
    void claim(const Key& key, const std::string& what, const Where& where)
    {
        const auto inserted = m_owners.emplace(key, where.path());
        if (!inserted.second)
            fail(where.text() + ": duplicate " + what + " (already used by " + inserted.first->second + ")");
    }
    bool has(const Key& key) const { return m_owners.count(key) != 0; }

private:
    std::unordered_map<Key, std::string> m_owners;
};

/* The id and name registries of one kind of object. */
struct Claims {
    Registry<std::int32_t> ids;
    Registry<std::string> names;

    void claim(std::int32_t id, const std::string& name, const Where& where)
    {
        ids.claim(id, "id " + std::to_string(id), where);
        names.claim(name, "name " + inQuotes(name), where);
    }
};

/* True for names of the form of a record's data name ("ANALOG<digits>"): such a
 * point name would overwrite another object's record. */
bool looksLikeDataName(const std::string& name)
{
    static const char* const kPrefixes[] = {"STATUS", "ANALOG", "TEXT", "REMOTEUNIT", "STATION", "COMMLINK"};
    for (const char* prefix : kPrefixes) {
        const std::size_t n = std::strlen(prefix);
        if (name.size() > n && name.compare(0, n, prefix) == 0
            && name.find_first_not_of("0123456789", n) == std::string::npos)
            return true;
    }
    return false;
}

std::string itemPath(const std::string& list, rapidjson::SizeType i)
{
    return list + "[" + std::to_string(i) + "]";
}

std::int32_t int32(std::int64_t n)
{
    return static_cast<std::int32_t>(n);
}

/* The members a point of each kind may carry. */
Members pointMembers(const Json& value, const Where& where, const StatusPoint&)
{
    return Members(value, where,
                   {"id", "name", "rtu", "address", "description", "tag", "quality", "scanEnable", "alarmEnable",
                    "state", "normalState", "alarmPriority"});
}

Members pointMembers(const Json& value, const Where& where, const AnalogPoint&)
{
    return Members(value, where,
                   {"id", "name", "rtu", "address", "description", "tag", "quality", "scanEnable", "alarmEnable",
                    "value", "unit", "lowLimit", "highLimit", "lowLowLimit", "highHighLimit", "rangeLow",
                    "rangeHigh", "deadband", "rocLimit"});
}

Members pointMembers(const Json& value, const Where& where, const TextPoint&)
{
    return Members(value, where,
                   {"id", "name", "rtu", "address", "description", "tag", "quality", "scanEnable", "alarmEnable",
                    "value", "dataFormat"});
}

/* The limits given must rise in the order listed; absent ones are skipped. */
void checkOrder(const Members& m, std::initializer_list<const char*> keys)
{
    const char* previous = nullptr;
    double previousValue = 0.0;
    for (const char* key : keys) {
        if (!m.find(key))
            continue;
        const double v = m.real(key, 0.0);
        if (previous && v < previousValue)
            fail(m.where().text() + ": " + key + " " + numberText(*m.find(key)) + " is below " + previous + " "
                 + numberText(*m.find(previous)));
        previous = key;
        previousValue = v;
    }
}

class PlantReader
{
public:
    Plant read(const rapidjson::Document& doc)
    {
        const Members top(doc, Where("", "top level"),
                          {"plant", "description", "stations", "channels", "remoteUnits", "points"});
        m_plant.name = top.plainText("plant", true, kPlantNameBytes);
        if (m_plant.name.empty())
            fail("top level: member 'plant' (the plant's name) is empty");
        m_plant.description = top.text("description", false, kPlantDescriptionBytes);

        readList(top.array("stations"), "station", "stations", &PlantReader::readStation);
        readList(top.array("channels"), "channel", "channels", &PlantReader::readChannel);
        readList(top.array("remoteUnits"), "remote unit", "remoteUnits", &PlantReader::readRemoteUnit);
        const Members points(*top.require("points"), Where("", "points"), {"status", "analog", "text"});
        readPoints(points, m_plant.statusPoints);
        readPoints(points, m_plant.analogPoints);
        readPoints(points, m_plant.textPoints);
        return std::move(m_plant);
    }

private:
    using ObjectStep = void (PlantReader::*)(const Json&, const Where&);

    void readList(const Json& list, const char* kind, const char* member, ObjectStep step)
    {
        for (rapidjson::SizeType i = 0; i < list.Size(); ++i)
            (this->*step)(list[i], Where(kind, itemPath(member, i)));
    }

    void readStation(const Json& value, const Where& where)
    {
        Members m(value, where, {"id", "name", "description", "tag"});
        Station s;
        s.name = m.name(m_capacity.text("STATION", "fullname"));
        m.setName(s.name);
        s.id = int32(m.integer("id", true, 1, kInt32Max, 0));
        s.description = m.plainText("description", false, m_capacity.text("STATION", "description"));
        s.tag = static_cast<std::uint32_t>(m.integer("tag", false, 0, kUInt32Max, 0));
        m_stations.claim(s.id, s.name, m.where());
        m_plant.stations.push_back(std::move(s));
    }

    void readChannel(const Json& value, const Where& where)
    {
        Members m(value, where,
                  {"id", "name", "station", "driver", "protocol", "primaryAddress", "secondaryAddress",
                   "description"});
        Channel c;
        c.name = m.name(m_capacity.text("COMMLINK", "fullname"));
        m.setName(c.name);
        c.id = int32(m.integer("id", true, 1, kInt32Max, 0));
        c.stationId = int32(m.integer("station", true, 1, kInt32Max, 0));
        c.driverId = int32(m.integer("driver", true, 1, kInt32Max, 0));
        c.protocol = m.plainText("protocol", false, m_capacity.text("COMMLINK", "protocol"));
        c.primaryAddress = m.plainText("primaryAddress", false, m_capacity.text("COMMLINK", "primaryAddress"));
        c.secondaryAddress = m.plainText("secondaryAddress", false, m_capacity.text("COMMLINK", "secondaryAddress"));
        c.description = m.plainText("description", false, m_capacity.text("COMMLINK", "description"));
        if (!m_stations.ids.has(c.stationId))
            fail(m.where().text() + ": refers to unknown station " + std::to_string(c.stationId));
        m_channels.claim(c.id, c.name, m.where());
        m_channelStation.emplace(c.id, c.stationId);
        m_plant.channels.push_back(std::move(c));
    }

    void readRemoteUnit(const Json& value, const Where& where)
    {
        Members m(value, where,
                  {"id", "name", "channel", "station", "address", "tag", "quality", "scanEnable", "description"});
        RemoteUnit r;
        r.name = m.name(m_capacity.text("REMOTEUNIT", "fullname"));
        m.setName(r.name);
        r.id = int32(m.integer("id", true, 1, kRemoteUnitLast, 0));
        r.channelId = int32(m.integer("channel", true, 1, kInt32Max, 0));
        if (!m_channels.ids.has(r.channelId))
            fail(m.where().text() + ": refers to unknown channel " + std::to_string(r.channelId));
        /* An RTU sits at its channel's station unless the file says otherwise
         * (a channel of a control centre may poll RTUs of several stations). */
        r.stationId = int32(m.integer("station", false, 1, kInt32Max, m_channelStation.at(r.channelId)));
        if (!m_stations.ids.has(r.stationId))
            fail(m.where().text() + ": refers to unknown station " + std::to_string(r.stationId));
        r.address = int32(m.integer("address", true, 0, kInt32Max, 0));
        r.tag = static_cast<std::uint32_t>(m.integer("tag", false, 0, kUInt32Max, 0));
        r.quality = int32(m.integer("quality", false, kInt32Min, kInt32Max, 0));
        r.scanEnable = m.boolean("scanEnable", true);
        r.description = m.plainText("description", false, m_capacity.text("REMOTEUNIT", "description"));
        m_remoteUnits.claim(r.id, r.name, m.where());
        m_remoteUnitIndex.emplace(r.id, m_plant.remoteUnits.size());
        m_plant.remoteUnits.push_back(std::move(r));
    }

    template <typename P>
    void readPoints(const Members& points, std::vector<P>& out)
    {
        const PointKindInfo& kind = kindOf(P());
        const Json* list = points.optionalArray(kind.member);
        if (!list)
            return;
        const std::string listName = std::string("points.") + kind.member;
        for (rapidjson::SizeType i = 0; i < list->Size(); ++i) {
            P p;
            Members m = pointMembers((*list)[i], Where(kind.label, itemPath(listName, i)), p);
            readCommon(m, kind, p);
            readOwn(m, p);
            out.push_back(std::move(p));
        }
    }

    /* The members every point has, the id and name checks and the RTU. */
    void readCommon(Members& m, const PointKindInfo& kind, Point& p)
    {
        p.name = m.name(m_capacity.text(kind.recordType, "fullname"));
        m.setName(p.name);
        if (p.name[0] == '@' || p.name[0] == ':')
            fail(m.where().text() + ": a point name must not begin with '@' or ':' (kept for channels, "
                 "devices and the server's own records)");
        if (looksLikeDataName(p.name))
            fail(m.where().text() + ": name " + inQuotes(p.name)
                 + " has the form of a record's data name and would overwrite that record");
        p.id = int32(m.integer("id", true, kind.first, kind.last, 0, kind.rangeLabel));
        p.rtuId = int32(m.integer("rtu", true, 1, kRemoteUnitLast, 0));
        const auto rtu = m_remoteUnitIndex.find(p.rtuId);
        if (rtu == m_remoteUnitIndex.end())
            fail(m.where().text() + ": refers to unknown remote unit " + std::to_string(p.rtuId));
        p.stationId = m_plant.remoteUnits[rtu->second].stationId;
        p.channelId = m_plant.remoteUnits[rtu->second].channelId;
        p.address = int32(m.integer("address", false, 0, kInt32Max, 0));
        p.description = m.plainText("description", false, m_capacity.text(kind.recordType, "description"));
        p.tag = static_cast<std::uint32_t>(m.integer("tag", false, 0, kUInt32Max, 0));
        p.quality = int32(m.integer("quality", false, kInt32Min, kInt32Max, 0));
        p.scanEnable = m.boolean("scanEnable", true);
        p.alarmEnable = m.boolean("alarmEnable", true);
        /* Ids are unique per kind (the kinds' ranges do not overlap); names
         * share one index across the kinds, so they are unique across them. */
        m_points.claim(p.id, p.name, m.where());
    }

    void readOwn(const Members& m, StatusPoint& p)
    {
        p.state = static_cast<std::int8_t>(m.integer("state", false, 0, kStatusStateLast, 0));
        p.normalState = static_cast<std::int8_t>(m.integer("normalState", false, 0, kStatusStateLast, 0));
        p.alarmPriority = static_cast<std::uint8_t>(m.integer("alarmPriority", false, 0, 255, 0));
    }

    void readOwn(const Members& m, AnalogPoint& p)
    {
        p.value = m.real("value", 0.0);
        p.unit = m.plainText("unit", false, m_capacity.text("ANALOG", "unit"));
        p.lowLowLimit = m.single("lowLowLimit", 0.0f);
        p.lowLimit = m.single("lowLimit", 0.0f);
        p.highLimit = m.single("highLimit", 0.0f);
        p.highHighLimit = m.single("highHighLimit", 0.0f);
        p.rangeLow = m.single("rangeLow", 0.0f);
        p.rangeHigh = m.single("rangeHigh", 0.0f);
        p.deadband = m.single("deadband", 0.0f);
        p.rocLimit = m.single("rocLimit", 0.0f);
        checkOrder(m, {"lowLowLimit", "lowLimit", "highLimit", "highHighLimit"});
        checkOrder(m, {"rangeLow", "rangeHigh"});
        if (p.deadband < 0)
            fail(m.where().text() + ": deadband must not be negative");
        if (p.rocLimit < 0)
            fail(m.where().text() + ": rocLimit must not be negative");
    }

    void readOwn(const Members& m, TextPoint& p)
    {
        std::size_t capacity = m_capacity.bytes("TEXT", "lastvalue");
        if (capacity > 65535)
            capacity = 65535;   /* "bytesize" is 16 bits */
        p.value = m.text("value", false, capacity);
        p.dataFormat = static_cast<std::uint8_t>(m.integer("dataFormat", false, 0, 255, 0));
    }

    Plant m_plant;
    Capacities m_capacity;
    Claims m_stations, m_channels, m_remoteUnits, m_points;
    std::unordered_map<std::int32_t, std::int32_t> m_channelStation;   /* channel id -> station id */
    std::unordered_map<std::int32_t, std::size_t> m_remoteUnitIndex;   /* RTU id -> index */
};

} // namespace

Plant readPlantFile(const std::string& path)
{
    rapidjson::Document doc;
    parsePlantFile(path, doc);
    return PlantReader().read(doc);
}

} // namespace MVPlant::detail

int MVPlant::ReadPlant(const char* path, Plant& plant, std::string* error)
{
    plant = Plant();
    return detail::runGuarded(path, error, [&](const std::string& file) { plant = detail::readPlantFile(file); });
}
