/*
 * plantwriter.cpp: the plant file written with rapidjson's streaming writer,
 * member by member in the order Plant.h lists them.
 *
 * Single-precision members (limits, ranges, dead bands) are written in
 * their own shortest form, so 0.1f reads "0.1" and not the digits of the
 * double nearest to it.
 */
#include "plantwriter.h"

#include <rapidjson/filewritestream.h>
#include <rapidjson/writer.h>

#include <cerrno>
#include <charconv>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <memory>

namespace plantgen {

namespace {

struct FileClose {
    void operator()(std::FILE* f) const { std::fclose(f); }
};
using File = std::unique_ptr<std::FILE, FileClose>;

using JsonWriter = rapidjson::Writer<rapidjson::FileWriteStream>;

/* One plant file being written. A number without a JSON form stops the
 * writing; what went wrong is kept for the message. */
class PlantFileWriter
{
public:
    explicit PlantFileWriter(JsonWriter& json) : m_json(json) {}

    bool write(const MVPlant::Plant& plant)
    {
        m_json.StartObject();
        text("plant", plant.name);
        optionalText("description", plant.description);
        list("stations", plant.stations);
        list("channels", plant.channels);
        list("remoteUnits", plant.remoteUnits);
        key("points");
        m_json.StartObject();
        list("status", plant.statusPoints);
        list("analog", plant.analogPoints);
        list("text", plant.textPoints);
        m_json.EndObject();
        m_json.EndObject();
        return m_problem.empty();
    }

    const std::string& problem() const { return m_problem; }

private:
    template <typename List>
    void list(const char* name, const List& objects)
    {
        key(name);
        m_json.StartArray();
        for (const auto& object : objects) {
            m_json.StartObject();
            members(object);
            m_json.EndObject();
        }
        m_json.EndArray();
    }

    void members(const MVPlant::Station& s)
    {
        integer("id", s.id);
        text("name", s.name);
        optionalText("description", s.description);
        optionalInteger("tag", s.tag);
    }

    void members(const MVPlant::Channel& c)
    {
        integer("id", c.id);
        text("name", c.name);
        integer("station", c.stationId);
        integer("driver", c.driverId);
        optionalText("protocol", c.protocol);
        optionalText("primaryAddress", c.primaryAddress);
        optionalText("secondaryAddress", c.secondaryAddress);
        optionalText("description", c.description);
    }

    void members(const MVPlant::RemoteUnit& r)
    {
        integer("id", r.id);
        text("name", r.name);
        integer("channel", r.channelId);
        integer("station", r.stationId);
        integer("address", r.address);
        optionalInteger("tag", r.tag);
        optionalInteger("quality", r.quality);
        if (!r.scanEnable)
            boolean("scanEnable", false);
        optionalText("description", r.description);
    }

    void members(const MVPlant::StatusPoint& p)
    {
        common(p);
        optionalInteger("state", p.state);
        optionalInteger("normalState", p.normalState);
        optionalInteger("alarmPriority", p.alarmPriority);
        commonTail(p);
    }

    void members(const MVPlant::AnalogPoint& p)
    {
        common(p);
        if (p.value != 0.0)
            real("value", p.value);
        optionalText("unit", p.unit);
        single("lowLowLimit", p.lowLowLimit);
        single("lowLimit", p.lowLimit);
        single("highLimit", p.highLimit);
        single("highHighLimit", p.highHighLimit);
        single("rangeLow", p.rangeLow);
        single("rangeHigh", p.rangeHigh);
        single("deadband", p.deadband);
        single("rocLimit", p.rocLimit);
        commonTail(p);
    }

    void members(const MVPlant::TextPoint& p)
    {
        common(p);
        optionalText("value", p.value);
        optionalInteger("dataFormat", p.dataFormat);
        commonTail(p);
    }

    /* What every point begins with; its station and channel are its RTU's
     * and not written. */
    void common(const MVPlant::Point& p)
    {
        integer("id", p.id);
        text("name", p.name);
        integer("rtu", p.rtuId);
        optionalInteger("address", p.address);
    }

    void commonTail(const MVPlant::Point& p)
    {
        optionalText("description", p.description);
        optionalInteger("tag", p.tag);
        optionalInteger("quality", p.quality);
        if (!p.scanEnable)
            boolean("scanEnable", false);
        if (!p.alarmEnable)
            boolean("alarmEnable", false);
    }

    void key(const char* name) { m_json.Key(name); }

    void text(const char* name, const std::string& value)
    {
        key(name);
        m_json.String(value.data(), static_cast<rapidjson::SizeType>(value.size()));
    }

    void optionalText(const char* name, const std::string& value)
    {
        if (!value.empty())
            text(name, value);
    }

    void integer(const char* name, std::int64_t value)
    {
        key(name);
        m_json.Int64(value);
    }

    void optionalInteger(const char* name, std::int64_t value)
    {
        if (value != 0)
            integer(name, value);
    }

    void boolean(const char* name, bool value)
    {
        key(name);
        m_json.Bool(value);
    }

    void real(const char* name, double value)
    {
        if (!std::isfinite(value))
            return notFinite(name);
        key(name);
        m_json.Double(value);
    }

    /* Absent when zero, the reader's default. */
    void single(const char* name, float value)
    {
        if (value == 0.0f)
            return;
        if (!std::isfinite(value))
            return notFinite(name);
        char digits[32];
        const std::to_chars_result end = std::to_chars(digits, digits + sizeof digits, value);
        key(name);
        m_json.RawValue(digits, static_cast<std::size_t>(end.ptr - digits), rapidjson::kNumberType);
    }

    void notFinite(const char* name)
    {
        if (m_problem.empty())
            m_problem = std::string("member '") + name + "' is not a finite number; JSON has no such number";
    }

    JsonWriter& m_json;
    std::string m_problem;
};

} // namespace

bool writePlantFile(const MVPlant::Plant& plant, const std::string& path, std::string* error)
{
    /* A half-written plant file is removed: it would only be refused later. */
    const auto failed = [&](const std::string& why) {
        if (error)
            *error = path + ": " + why;
        std::remove(path.c_str());
        return false;
    };
    File file(std::fopen(path.c_str(), "wb"));
    if (!file) {
        if (error)
            *error = path + ": cannot write the file: " + std::strerror(errno);
        return false;
    }
    char buffer[65536];
    rapidjson::FileWriteStream stream(file.get(), buffer, sizeof buffer);
    JsonWriter json(stream);
    PlantFileWriter writer(json);
    const bool complete = writer.write(plant);
    stream.Flush();
    std::fputc('\n', file.get());
    if (std::ferror(file.get()))
        return failed(std::string("cannot write the file: ") + std::strerror(errno));
    if (std::fclose(file.release()) != 0)
        return failed(std::string("cannot write the file: ") + std::strerror(errno));
    if (!complete)
        return failed(writer.problem());
    return true;
}

} // namespace plantgen
