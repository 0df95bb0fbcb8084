/*
 * plantindex.h: what a simulator or a console knows of the plant it serves,
 * read back from the runtime server (so a plant loaded by another process is
 * known the same way as one loaded here).
 */
#ifndef MV_PLANTINDEX_H
#define MV_PLANTINDEX_H

#include <QtCore/QString>
#include <QtCore/QVector>

struct PlantPoint {
    int id = 0;
    QString name;
    int rtuId = 0;
    double value = 0.0;  /* status and analog points: the value when read */
    double low = 0.0;    /* analog points: the range the field moves in */
    double high = 0.0;
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
