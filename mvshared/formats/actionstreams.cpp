/*
 * actionstreams.cpp: the event action, tag action and named-stream records
 * and their stream layouts.
 *
 * Readers honour the document version they were given, because documents
 * saved by older releases lack fields: before 262 a tag action carried a
 * legacy text and value after its text, before 848 it had no property
 * block, and event actions gained theirs in 864. Writers always write the
 * newest layout.
 */
#include <MVShared/ScadaActionStream.h>

#include "propertyblock.h"

using MorvaneFormats::PropertyKeyForm;

namespace {

/* The document versions at which the layouts changed. */
constexpr int TagActionLegacyFieldsDroppedIn = 262;
constexpr int TagActionPropertiesSince = 848;
constexpr int EventActionPropertiesSince = 864;

QVariant propertyOf(const QMap<QString, QVariant>& properties, const QString& name)
{
    return properties.value(name);
}

} // namespace

ScadaEventActionStream::~ScadaEventActionStream() = default;

QVariant ScadaEventActionStream::getProperty(const QString& name) const
{
    return propertyOf(properties, name);
}

void ScadaEventActionStream::setProperty(const QString& name, const QVariant& value)
{
    properties.insert(name, value);
}

ScadaTagActionStream::~ScadaTagActionStream() = default;

QVariant ScadaTagActionStream::getProperty(const QString& name) const
{
    return propertyOf(properties, name);
}

void ScadaTagActionStream::setProperty(const QString& name, const QVariant& value)
{
    properties.insert(name, value);
}

void ScadaNamedStream::toStream(QDataStream& stream) const
{
    MorvaneFormats::writePropertyBlock(stream, properties, PropertyKeyForm::Text);
}

void ScadaNamedStream::fromStream(QDataStream& stream)
{
    MorvaneFormats::readPropertyBlock(stream, properties, PropertyKeyForm::Text);
}

QVariant ScadaNamedStream::getProperty(const QString& name) const
{
    return propertyOf(properties, name);
}

void ScadaNamedStream::setProperty(const QString& name, const QVariant& value)
{
    properties.insert(name, value);
}

QDataStream& operator<<(QDataStream& stream, const ScadaEventActionStream& action)
{
    stream << action.actionType << action.m_trigger << action.m_data;
    MorvaneFormats::writePropertyBlock(stream, action.properties, PropertyKeyForm::Text);
    return stream;
}

QDataStream& operator>>(QDataStream& stream, ScadaEventActionStream& action)
{
    MorvaneFormats::readFields(stream, action.actionType, action.m_trigger, action.m_data);
    if (action.m_version >= EventActionPropertiesSince && MorvaneFormats::readable(stream))
        MorvaneFormats::readPropertyBlock(stream, action.properties, PropertyKeyForm::Text);
    return stream;
}

QDataStream& operator<<(QDataStream& stream, const ScadaTagActionStream& action)
{
    stream << action.actionType << action.m_data << action.text;
    MorvaneFormats::writePropertyBlock(stream, action.properties, PropertyKeyForm::Text);
    return stream;
}

QDataStream& operator>>(QDataStream& stream, ScadaTagActionStream& action)
{
    MorvaneFormats::readFields(stream, action.actionType, action.m_data, action.text);
    if (action.m_version < TagActionLegacyFieldsDroppedIn)
        MorvaneFormats::readFields(stream, action.legacyText, action.legacyValue);
    if (action.m_version >= TagActionPropertiesSince && MorvaneFormats::readable(stream))
        MorvaneFormats::readPropertyBlock(stream, action.properties, PropertyKeyForm::Text);
    return stream;
}
