/*
 * plantindex.h: what a simulator or a console knows of the plant it serves,
 * read back from the runtime server (so a plant loaded by another process is
 * known the same way as one loaded here).
 */
#ifndef MV_PLANTINDEX_H
#define MV_PLANTINDEX_H

#include <DravoPlus/DravoData.h>

#include <QtCore/QString>
#include <QtCore/QVector>

/* An analog point's alarm limits as its record holds them. A point whose
 * four limits are all zero has none configured. */
struct PlantLimits {
    double lowLow = 0.0;
    double low = 0.0;
    double high = 0.0;
    double highHigh = 0.0;

    bool isSet() const { return lowLow != 0.0 || low != 0.0 || high != 0.0 || highHigh != 0.0; }
};

struct PlantPoint {
    int id = 0;
    QString name;
    int rtuId = 0;
    double value = 0.0;  /* status and analog points: the value when read */
    double low = 0.0;    /* analog points: the range the field moves in */
    double high = 0.0;
    QString unit;        /* analog points: the engineering unit ("" for none) */
    PlantLimits limits;  /* analog points */
    int normalState = 0; /* status points: the state that raises no alarm */
    int alarmPriority = 0; /* status points: 0 for an indication that is no alarm */
    bool alarmEnable = true;
    quint32 tag = 0;
    int quality = 0;
};

struct PlantRemoteUnit {
    int id = 0;
    QString name;
    int channelId = 0;
};

struct PlantChannel {
    int id = 0;
    QString name;
    int driver = 0;
};

struct PlantIndex {
    QVector<PlantPoint> status;
    QVector<PlantPoint> analog;
    QVector<PlantPoint> text;
    QVector<PlantRemoteUnit> remoteUnits;
    QVector<PlantChannel> channels;

    /* Reads every point, remote unit and channel from the connected server;
     * the middleware's result code. */
    int read();
    /* What a point's record says of it (a STATUS, ANALOG or TEXT record);
     * fields the record's type lacks keep their defaults. */
    static PlantPoint pointOf(const DravoData& record);
    bool isEmpty() const { return status.isEmpty() && analog.isEmpty() && text.isEmpty(); }
    /* The driver number and channel of a point's or a remote unit's RTU;
     * false when the plant does not say. */
    bool route(int rtuId, int& driver, int& channelId) const;
    const PlantPoint* findPoint(const QString& name) const;
    const PlantPoint* findPoint(int id) const;
    /* The analog point of the id, null when the id is not an analog point. */
    const PlantPoint* findAnalog(int id) const;
    /* The sample plant: the copy installed beside the dictionary when the
     * program runs from an install, else (a build tree) the source tree's. */
    static QString samplePlantPath();
};

#endif
