/*
 * changepacket.h: the compressed change packet that a server task sends to
 * every operator application, and the compact changed-event records it
 * carries.
 *
 * A packet is one batch of point changes: a sequence of items, each a tagged
 * record (a status, analog or text change cut down to what a display needs,
 * or a remote unit or channel record as it stands), compressed as a whole and
 * sent as the raw value of one nameless record. Writer and reader live here
 * together so that the format is stated once.
 */
#ifndef MVSHARED_CHANGEEVENT_CHANGEPACKET_H
#define MVSHARED_CHANGEEVENT_CHANGEPACKET_H

#include <DravoPlus/DravoData.h>

#include <QtCore/QByteArray>
#include <QtCore/QList>

#include <functional>

class ChangePacket
{
public:
    /* What a change is about; the packet carries the first five. */
    enum Kind { Status, Analog, Text, RemoteUnit, CommLink, NotCarried };

    /* An empty packet, open for writing. */
    ChangePacket();
    ChangePacket(const ChangePacket&) = delete;
    ChangePacket& operator=(const ChangePacket&) = delete;

    /* Appends one raw change as published by the runtime ("STATUS",
     * "ANALOG", "TEXT", "REMOTEUNIT", "COMMLINK"); returns its kind.
     * Records of other types are not carried and write nothing. */
    Kind append(const DravoData& change);
    /* Room for that many more changes, as status changes (the most
     * common), so that a batch's body is not copied as it grows. */
    void expect(int changes);
    bool isEmpty() const;
    /* The compressed packet as the nameless record that is published. */
    DravoData toRecord() const;

    /* What one packet may make of a receiver's memory. The runtime's server
     * tasks pack at most 500 changes a packet (under 8 MB of records), so
     * only a packet that is not one of theirs comes near. */
    static constexpr int kMostChanges = 5000;
    /* Room for the largest changed-event record ("CHANGED_TEXT", 14828 bytes). */
    static constexpr int kLargestChangeRecord = 16 * 1024;
    static constexpr qint64 kMostChangeBytes = 64 * 1024 * 1024;

    /* The changes of a received packet record, in packet order, typed as
     * read back ("CHANGED_STATUS", ..., "REMOTEUNIT", "COMMLINK"); items of
     * unknown tags are skipped. False, with no changes, for a packet that
     * is refused: it does not decompress, or its items would make more than
     * kMostChanges records or kMostChangeBytes bytes of them (checked
     * before any record is made). */
    static bool read(const DravoData& packed, QList<DravoData>& changes);
    /* The same, each change handed to take with its kind as it is read,
     * for take to move from, instead of being listed. */
    static bool readEach(const DravoData& packed, const std::function<void(DravoData& change, Kind kind)>& take);
    /* The same, refused packets giving no changes. */
    static QList<DravoData> read(const DravoData& packed);
    /* The byte size of the record a change of that kind is read back as. */
    static int changeRecordSize(Kind kind);

    /* The changed-event form of one raw change; false, and target untouched,
     * for records the packet does not carry. */
    static bool toChangedEvent(const DravoData& source, DravoData& target);

    /* The kind of a change by its type name as read back from a packet. */
    static Kind kindOfChange(const char* typeName);
    /* The point id ("pid") of a change read back from a packet, of the
     * kind kindOfChange gave. */
    static qint32 pointIdOf(const DravoData& change, Kind kind);
    /* The record type a change is published as, by its type name either as
     * published or as read back ("CHANGED_STATUS" gives "STATUS"); null for
     * records the packet does not carry. */
    static const char* publishedTypeOf(const char* typeName);

private:
    QByteArray m_body;
};

#endif
