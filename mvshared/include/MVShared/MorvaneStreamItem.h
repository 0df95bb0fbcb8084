/*
 * MorvaneStreamItem.h: the exchange record of one item of an operator
 * display (a widget or a plain graphic item) with everything hung below it:
 * nested items, tag and event actions and a free dynamic property bag.
 *
 * Applications write and read whole item trees with the two stream
 * operators. The document's format version is not part of the record: set
 * it on the root item before reading an older document, and the reader
 * hands it down to every nested item and action, whose readers skip what
 * older releases did not write.
 *
 * Copies share their nested items and actions with their source (the lists
 * hold shared handles); a tree is released with the last handle to it.
 *
 * Reading a corrupt or truncated stream stops at the first failure: the
 * stream's status tells it, and the item keeps what was read. Items nested
 * more than 256 levels deep (far deeper than any real display) are refused
 * as corrupt data.
 *
 * Reading never needs a GUI: in a process without a QGuiApplication,
 * pixmap and bitmap properties arrive as QImage values and cursors (and
 * brushes and pens carrying a pixmap texture) as their encoded bytes; see
 * ScadaActionStream.h.
 */
#ifndef MVSHARED_MORVANESTREAMITEM_H
#define MVSHARED_MORVANESTREAMITEM_H

#include <MVShared/MVSharedGlobal.h>
#include <MVShared/ScadaActionStream.h>

#include <QtCore/QByteArray>
#include <QtCore/QDataStream>
#include <QtCore/QList>
#include <QtCore/QMap>
#include <QtCore/QSharedPointer>
#include <QtCore/QString>
#include <QtCore/QStringList>
#include <QtCore/QVariant>
#include <QtGui/QTransform>

#include <utility>

class MorvaneStreamItem;
typedef QSharedPointer<MorvaneStreamItem> MorvaneStreamItemPtr;
typedef QSharedPointer<ScadaTagActionStream> ScadaTagActionStreamPtr;
typedef QSharedPointer<ScadaEventActionStream> ScadaEventActionStreamPtr;

class MVSHARED_EXPORT MorvaneStreamItem
{
public:
    MorvaneStreamItem() = default;
    MorvaneStreamItem(const MorvaneStreamItem&) = default;
    const MorvaneStreamItem& operator=(const MorvaneStreamItem& other);
    virtual ~MorvaneStreamItem();

    QString className() const { return m_className; }
    void className(const QString& name) { m_className = name; }
    QString widgetName() const { return m_widgetName; }
    void setWidgetName(const QString& name) { m_widgetName = name; }
    QString description() const { return m_description; }
    void setDescription(QString description) { m_description = std::move(description); }
    QString faceText() const { return m_faceText; }
    void faceText(const QString& text) { m_faceText = text; }
    bool isWidget() const { return m_isWidget; }
    void setWidget(bool isWidget) { m_isWidget = isWidget; }
    int version() const { return m_version; }
    void setVersion(int version) { m_version = version; }

    /* The value stored under name, or an invalid QVariant. */
    QVariant property(const QString& name) const;
    /* Inserts or replaces; an invalid QVariant is stored like any value. */
    void setProperty(const QString& name, const QVariant& value);
    /* True when the name (taken through Latin-1, as keys travel) holds a
     * value other than an invalid QVariant: storing an invalid value is how
     * editors blank a property without forgetting its name. */
    bool existProperty(const QString& name) const;
    /* The property names in ascending order. */
    QStringList dynamicPropertyNames() const;

    QList<MorvaneStreamItemPtr> childItems;
    /* A second list of nested items, streamed exactly like the first. */
    QList<MorvaneStreamItemPtr> auxiliaryItems;
    QList<ScadaTagActionStreamPtr> tagActions;
    QList<ScadaEventActionStreamPtr> eventActions;
    /* Opaque payload, interpreted by the applications. */
    QByteArray extraData;
    QTransform transform;
    QMap<QString, QVariant> properties;

private:
    friend MVSHARED_EXPORT QDataStream& operator<<(QDataStream&, const MorvaneStreamItem&);
    friend MVSHARED_EXPORT QDataStream& operator>>(QDataStream&, MorvaneStreamItem&);

    qint32 m_version = ScadaStreamCurrentVersion;
    QString m_className;
    QString m_widgetName;
    QString m_description;
    bool m_isWidget = false;
    QString m_faceText;
};

MVSHARED_EXPORT QDataStream& operator<<(QDataStream& stream, const MorvaneStreamItem& item);
MVSHARED_EXPORT QDataStream& operator>>(QDataStream& stream, MorvaneStreamItem& item);

#endif
