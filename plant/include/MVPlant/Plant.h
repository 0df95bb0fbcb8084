/*
 * Plant.h: a plant, as its file describes it, and loading it into the point
 * database.
 *
 * A plant file is the JSON description of one plant: its stations, its
 * communication channels, the remote units (RTUs) polled over them and the
 * status, analog and text points those RTUs report. Loading it writes every
 * object's record ("STATION<id>", "COMMLINK<id>", "REMOTEUNIT<id>",
 * "STATUS<id>", "ANALOG<id>", "TEXT<id>"), the name-index record that lets
 * clients find the object by name (the point's own name, "@C::<channel>",
 * "@R::<device>", "@::<station>") and the ":marker" probe record.
 *
 * The whole file is read and checked before anything reaches the server, and
 * the records then go out in a single PutDataPoints batch: a typo in the
 * ten-thousandth point must not leave half a plant behind, and commissioning
 * engineers get one clear message naming the file, the object and the
 * problem instead of a database that is quietly wrong.
 *
 * The format, member by member:
 *
 *   plant        string, required       the plant's name
 *   description  string                 free text
 *   stations     array, required        {id, name, description, tag}
 *   channels     array, required        {id, name, station, driver, protocol,
 *                                        primaryAddress, secondaryAddress,
 *                                        description}
 *   remoteUnits  array, required        {id, name, channel, station, address,
 *                                        tag, quality, scanEnable, description}
 *   points       object, required       {status: [...], analog: [...], text: [...]}
 *     every point                       {id, name, rtu, address, description,
 *                                        tag, quality, scanEnable, alarmEnable}
 *     status                            + state, normalState, alarmPriority
 *     analog                            + value, unit, lowLimit, highLimit,
 *                                          lowLowLimit, highHighLimit, rangeLow,
 *                                          rangeHigh, deadband, rocLimit
 *     text                              + value (text), dataFormat
 *
 * Every object also takes a "comment" string that is not loaded. Unknown
 * members are refused, so that a misspelt limit does not silently vanish.
 * Point ids lie in their kind's range (Vocabulary.h); texts must fit the
 * fields the data dictionary gives them.
 *
 * Results are the middleware's codes (DRAVO_OK, DRAVO_CONFIG_ERROR for a bad
 * file, DRAVO_BAD_ARGUMENT for no path, the dictionary's and the server's
 * own codes); error texts begin with the file's path, then name the object
 * and the problem.
 */
#ifndef MVPLANT_PLANT_H
#define MVPLANT_PLANT_H

#include <MVPlant/Vocabulary.h>

#include <DravoPlus/DravoData.h>

#include <cstdint>
#include <string>
#include <vector>

#define MVPLANT_EXPORT __attribute__((visibility("default")))

namespace MVPlant {

/* ---- The plant's objects ------------------------------------------------------
 *
 * Members absent from the file hold the defaults below. */

struct Station {
    std::int32_t id = 0;
    std::string name;
    std::string description;
    std::uint32_t tag = 0;
};

struct Channel {
    std::int32_t id = 0;
    std::string name;
    std::int32_t stationId = 0;     /* "station" */
    std::int32_t driverId = 0;      /* "driver": the field driver serving it */
    std::string protocol;
    std::string primaryAddress;
    std::string secondaryAddress;
    std::string description;
};

struct RemoteUnit {
    std::int32_t id = 0;
    std::string name;
    std::int32_t channelId = 0;     /* "channel" */
    std::int32_t stationId = 0;     /* "station", else its channel's station */
    std::int32_t address = 0;
    std::uint32_t tag = 0;
    std::int32_t quality = 0;
    bool scanEnable = true;
    std::string description;
};

/* What every point has. */
struct Point {
    std::int32_t id = 0;
    std::string name;
    std::int32_t rtuId = 0;         /* "rtu" */
    std::int32_t stationId = 0;     /* its RTU's station */
    std::int32_t channelId = 0;     /* its RTU's channel */
    std::int32_t address = 0;
    std::string description;
    std::uint32_t tag = 0;
    std::int32_t quality = 0;
    bool scanEnable = true;
    bool alarmEnable = true;
};

struct StatusPoint : Point {
    std::int8_t state = 0;          /* single points 0 and 1, double points 0..3 */
    std::int8_t normalState = 0;
    std::uint8_t alarmPriority = 0;
};

struct AnalogPoint : Point {
    double value = 0.0;
    std::string unit;
    float lowLowLimit = 0.0f;
    float lowLimit = 0.0f;
    float highLimit = 0.0f;
    float highHighLimit = 0.0f;
    float rangeLow = 0.0f;
    float rangeHigh = 0.0f;
    float deadband = 0.0f;
    float rocLimit = 0.0f;
};

struct TextPoint : Point {
    std::string value;              /* bytes, kept as the file gives them */
    std::uint8_t dataFormat = 0;
};

/* A plant file, read and checked. The lists keep the file's order. */
struct Plant {
    std::string name;               /* "plant" */
    std::string description;
    std::vector<Station> stations;
    std::vector<Channel> channels;
    std::vector<RemoteUnit> remoteUnits;
    std::vector<StatusPoint> statusPoints;
    std::vector<AnalogPoint> analogPoints;
    std::vector<TextPoint> textPoints;
};

/* ---- Reading ----------------------------------------------------------------- */

/* Reads and checks the plant file at path into plant. Nothing reaches the
 * server; the data dictionary gives the sizes the texts are checked
 * against. On failure plant is empty and error says why. */
MVPLANT_EXPORT int ReadPlant(const char* path, Plant& plant, std::string* error);

/* ---- The records a plant writes ---------------------------------------------- */

/* Fills records with what loading the plant writes, in the order written:
 * stations, channels, remote units, status, analog and text points, each
 * followed by its name-index record, then ":marker". loadTime (seconds since
 * the epoch) stamps the update, scan and change times. On failure records
 * is empty and error names the object and the problem. */
MVPLANT_EXPORT int PlantRecords(const Plant& plant, std::uint32_t loadTime, std::vector<DravoData>& records,
                                std::string* error);

/* ---- Loading ----------------------------------------------------------------- */

/* What LoadPlant wrote. */
struct PlantSummary {
    int stations = 0;
    int channels = 0;
    int remoteUnits = 0;
    int statusPoints = 0;
    int analogPoints = 0;
    int textPoints = 0;
    int records = 0;          /* records written, name-index records included */
};

/* Reads the plant file at path and writes its records into the connected
 * server, in the order PlantRecords gives them, in batches of 10,000 (one
 * PutDataPoints each: a Redis server answers nobody else while it stores a
 * batch). The whole file is checked first: a malformed or inconsistent file
 * writes nothing. On any failure the summary is all zero and error names
 * the file and the problem; a batch the server refuses after others were
 * written says how many records were, the ":marker" record not among them. */
MVPLANT_EXPORT int LoadPlant(const char* path, PlantSummary* summary, std::string* error);

} // namespace MVPlant

#endif
