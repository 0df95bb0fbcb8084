/*
 * propertyblock.cpp: the property block of the item, action and named-stream
 * records: a qint32 count, then key/value pairs in ascending key order.
 */
#include "propertyblock.h"

#include <QtCore/QByteArray>

namespace MorvaneFormats {

namespace {

void writeKey(QDataStream& stream, const QString& key, PropertyKeyForm form)
{
    if (form == PropertyKeyForm::Latin1Bytes)
        stream << key.toLatin1();
    else
        stream << key;
}

/* Byte-array keys become text the way Qt turns a QByteArray into a QString:
 * UTF-8, up to the first zero byte. */
QString readKey(QDataStream& stream, PropertyKeyForm form)
{
    if (form == PropertyKeyForm::Text) {
        QString key;
        stream >> key;
        return key;
    }
    QByteArray bytes;
    stream >> bytes;
    return QString::fromUtf8(bytes.constData(), int(qstrnlen(bytes.constData(), uint(bytes.size()))));
}

} // namespace

void writePropertyBlock(QDataStream& stream, const PropertyMap& properties, PropertyKeyForm form)
{
    stream << qint32(properties.size());
    for (auto it = properties.cbegin(); it != properties.cend(); ++it) {
        writeKey(stream, it.key(), form);
        stream << it.value();
    }
}

void readPropertyBlock(QDataStream& stream, PropertyMap& properties, PropertyKeyForm form)
{
    qint32 count = 0;
    readFields(stream, count);
    for (qint32 i = 0; i < count && readable(stream); ++i) {
        const QString key = readKey(stream, form);
        if (!readable(stream))
            return;
        QVariant value;
        readPropertyValue(stream, value);
        if (!readable(stream))
            return;
        properties.insert(key, value);
    }
}

} // namespace MorvaneFormats
