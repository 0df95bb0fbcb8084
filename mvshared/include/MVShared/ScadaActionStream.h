/*
 * ScadaActionStream.h: the small records that travel inside item streams or
 * on their own: an action fired by a widget's event, an action bound to a
 * tag, and a bare named property bag.
 *
 * The two action records carry the format version of the document they come
 * from. It is never streamed: a reader sets it before reading so that fields
 * an older release did not write are skipped (tag actions: legacy fields
 * below 262, property block from 848; event actions: property block from
 * 864). Writers always write the newest layout, whatever the version holds,
 * because a document is always saved in the newest form.
 *
 * Every value uses Qt's own QDataStream encoding; the stream's version and
 * byte order are the caller's. A short or corrupt stream shows in the
 * stream's status, and the record keeps what was read.
 *
 * Property values in a process without a QGuiApplication (a report tool, a
 * server task; a QCoreApplication or none at all). Qt can hold pixmaps,
 * bitmaps and cursors only in a GUI process and would abort this one, so
 * the readers of these records and of MorvaneStreamItem never hand such
 * values to Qt there, and the rest of the document reads as anywhere else:
 *  - a QPixmap or QBitmap is read as the QImage it travels as: the same
 *    pixels and format, nothing lost (a bitmap's image is monochrome).
 *    QVariant::value<QPixmap>() turns it back into a pixmap in a GUI
 *    process; written again, it goes out as a QImage;
 *  - a QCursor and a QIcon, and a QBrush, QPen or QPalette whose texture
 *    travels as a pixmap (streams older than Qt 5.5; newer ones carry an
 *    image and are read as usual), is kept as the bytes of its encoding, a
 *    QByteArray, in the stream's version and byte order: a GUI process
 *    reads them back with the type's own stream operator.
 * QImage, QFont, QRegion and every other value read the same with or
 * without a GUI.
 *
 * Every value type Qt streams is read, in every stream version Qt 5.15
 * reads (Qt 1.0 on) and from files, buffers and sequential devices (pipes,
 * sockets, processes) alike; a corrupt value is refused as corrupt data
 * (see README.md, "Limits of the document readers").
 */
#ifndef MVSHARED_SCADAACTIONSTREAM_H
#define MVSHARED_SCADAACTIONSTREAM_H

#include <MVShared/MVSharedGlobal.h>

#include <QtCore/QByteArray>
#include <QtCore/QDataStream>
#include <QtCore/QMap>
#include <QtCore/QString>
#include <QtCore/QVariant>

/* The format version of documents written by this release. */
constexpr int ScadaStreamCurrentVersion = 896;

/* An action fired by an event of a widget. */
class MVSHARED_EXPORT ScadaEventActionStream
{
public:
    ScadaEventActionStream() = default;
    ScadaEventActionStream(const ScadaEventActionStream&) = default;
    ScadaEventActionStream& operator=(const ScadaEventActionStream&) = default;
    virtual ~ScadaEventActionStream();

    int trigger() const { return m_trigger; }
    void setTrigger(int trigger) { m_trigger = trigger; }
    int version() const { return m_version; }
    void setVersion(int version) { m_version = version; }
    const QByteArray& data() const { return m_data; }
    void setData(const QByteArray& data) { m_data = data; }

    /* The value stored under name, or an invalid QVariant. */
    QVariant getProperty(const QString& name) const;
    void setProperty(const QString& name, const QVariant& value);

    /* Kind of action, interpreted by the applications. */
    qint32 actionType = 0;
    QMap<QString, QVariant> properties;

private:
    friend MVSHARED_EXPORT QDataStream& operator<<(QDataStream&, const ScadaEventActionStream&);
    friend MVSHARED_EXPORT QDataStream& operator>>(QDataStream&, ScadaEventActionStream&);

    qint32 m_version = ScadaStreamCurrentVersion;
    qint32 m_trigger = 0;
    QByteArray m_data;
};

/* An action bound to a tag. */
class MVSHARED_EXPORT ScadaTagActionStream
{
public:
    ScadaTagActionStream() = default;
    ScadaTagActionStream(const ScadaTagActionStream&) = default;
    ScadaTagActionStream& operator=(const ScadaTagActionStream&) = default;
    virtual ~ScadaTagActionStream();

    int version() { return m_version; }
    int version() const { return m_version; }
    void setVersion(int version) { m_version = version; }
    const QByteArray& data() const { return m_data; }
    void setData(const QByteArray& data) { m_data = data; }

    QVariant getProperty(const QString& name) const;
    void setProperty(const QString& name, const QVariant& value);

    qint32 actionType = 0;
    /* Read only from documents older than version 262; never written. */
    QString legacyText;
    /* The action's text, interpreted by the applications. */
    QString text;
    /* Read only from documents older than version 262; never written. */
    qint32 legacyValue = 0;
    /* Carried by copies only; never streamed. */
    qint64 runtimeValue = 0;
    QMap<QString, QVariant> properties;

private:
    friend MVSHARED_EXPORT QDataStream& operator<<(QDataStream&, const ScadaTagActionStream&);
    friend MVSHARED_EXPORT QDataStream& operator>>(QDataStream&, ScadaTagActionStream&);

    qint32 m_version = ScadaStreamCurrentVersion;
    QByteArray m_data;
};

/* A bare named property bag. */
class MVSHARED_EXPORT ScadaNamedStream
{
public:
    void toStream(QDataStream& stream) const;
    /* Adds the entries read to those already held. */
    void fromStream(QDataStream& stream);

    QVariant getProperty(const QString& name) const;
    void setProperty(const QString& name, const QVariant& value);

    QMap<QString, QVariant> properties;
};

MVSHARED_EXPORT QDataStream& operator<<(QDataStream& stream, const ScadaEventActionStream& action);
MVSHARED_EXPORT QDataStream& operator>>(QDataStream& stream, ScadaEventActionStream& action);
MVSHARED_EXPORT QDataStream& operator<<(QDataStream& stream, const ScadaTagActionStream& action);
MVSHARED_EXPORT QDataStream& operator>>(QDataStream& stream, ScadaTagActionStream& action);

#endif
