/*
 * streamitem.cpp: MorvaneStreamItem, the exchange record of a display item
 * tree, and its stream layout.
 *
 * Layout of one item: className, widgetName, description, isWidget,
 * faceText, the child items, the auxiliary items, transform, extraData, the
 * property block (keys as Latin-1 byte arrays), the tag actions, the event
 * actions. Each list is a qint32 count followed by its elements. The
 * transform comes before the extra data, and the item's keys travel as byte
 * arrays while the actions' travel as strings: documents in the field are
 * laid out so, and both are kept.
 *
 * The reader hands the item's version down to every nested item and action
 * and appends to the lists without clearing them. Untrusted input: every
 * list grows one element at a time and stops at the first failed read (the
 * element being read when the stream failed is kept, holding what was
 * read), so a huge count costs nothing beyond the bytes really present; and
 * nesting is bounded, because a corrupt stream could otherwise nest items
 * thousands deep and overflow the stack through this recursive reader.
 */
#include <MVShared/MorvaneStreamItem.h>

#include "propertyblock.h"

using MorvaneFormats::PropertyKeyForm;
using MorvaneFormats::readable;

namespace {

template <typename Record>
void writeList(QDataStream& stream, const QList<QSharedPointer<Record>>& list)
{
    stream << qint32(list.size());
    for (const QSharedPointer<Record>& record : list)
        stream << *record;
}

void readItem(QDataStream& stream, MorvaneStreamItem& item, int depth);

void readElement(QDataStream& stream, MorvaneStreamItem& item, int depth)
{
    readItem(stream, item, depth + 1);
}

template <typename Action>
void readElement(QDataStream& stream, Action& action, int)
{
    stream >> action;
}

/* Reads a qint32 count and then that many records, each a new record that
 * carries the parent's document version. */
template <typename Record>
void readList(QDataStream& stream, QList<QSharedPointer<Record>>& list, int version, int depth)
{
    qint32 count = 0;
    MorvaneFormats::readFields(stream, count);
    for (qint32 i = 0; i < count && readable(stream); ++i) {
        QSharedPointer<Record> record(new Record);
        record->setVersion(version);
        readElement(stream, *record, depth);
        list.append(record);
    }
}

} // namespace

MorvaneStreamItem::~MorvaneStreamItem() = default;

const MorvaneStreamItem& MorvaneStreamItem::operator=(const MorvaneStreamItem& other)
{
    if (this == &other)
        return *this;
    childItems = other.childItems;
    auxiliaryItems = other.auxiliaryItems;
    tagActions = other.tagActions;
    eventActions = other.eventActions;
    extraData = other.extraData;
    transform = other.transform;
    properties = other.properties;
    m_version = other.m_version;
    m_className = other.m_className;
    m_widgetName = other.m_widgetName;
    m_description = other.m_description;
    m_isWidget = other.m_isWidget;
    m_faceText = other.m_faceText;
    return *this;
}

QVariant MorvaneStreamItem::property(const QString& name) const
{
    return properties.value(name);
}

void MorvaneStreamItem::setProperty(const QString& name, const QVariant& value)
{
    properties.insert(name, value);
}

bool MorvaneStreamItem::existProperty(const QString& name) const
{
    return properties.value(QString::fromLatin1(name.toLatin1())) != QVariant();
}

QStringList MorvaneStreamItem::dynamicPropertyNames() const
{
    return properties.keys();
}

QDataStream& operator<<(QDataStream& stream, const MorvaneStreamItem& item)
{
    stream << item.m_className << item.m_widgetName << item.m_description << item.m_isWidget
           << item.m_faceText;
    writeList(stream, item.childItems);
    writeList(stream, item.auxiliaryItems);
    stream << item.transform << item.extraData;
    MorvaneFormats::writePropertyBlock(stream, item.properties, PropertyKeyForm::Latin1Bytes);
    writeList(stream, item.tagActions);
    writeList(stream, item.eventActions);
    return stream;
}

namespace {

void readItem(QDataStream& stream, MorvaneStreamItem& item, int depth)
{
    if (!readable(stream))
        return;
    if (depth > MorvaneFormats::MaxItemNesting)
        return MorvaneFormats::refuseCorruptData(stream);
    QString className;
    QString widgetName;
    QString description;
    bool isWidget = false;
    QString faceText;
    MorvaneFormats::readFields(stream, className, widgetName, description, isWidget, faceText);
    item.className(className);
    item.setWidgetName(widgetName);
    item.setDescription(description);
    item.setWidget(isWidget);
    item.faceText(faceText);
    readList(stream, item.childItems, item.version(), depth);
    readList(stream, item.auxiliaryItems, item.version(), depth);
    MorvaneFormats::readFields(stream, item.transform, item.extraData);
    if (readable(stream))
        MorvaneFormats::readPropertyBlock(stream, item.properties, PropertyKeyForm::Latin1Bytes);
    readList(stream, item.tagActions, item.version(), depth);
    readList(stream, item.eventActions, item.version(), depth);
}

} // namespace

QDataStream& operator>>(QDataStream& stream, MorvaneStreamItem& item)
{
    readItem(stream, item, 0);
    return stream;
}
