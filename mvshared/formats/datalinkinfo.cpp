/*
 * datalinkinfo.cpp: the data link of a display element (its names and its
 * JSON text) and the data kind of statistic data fields.
 */
#include <MVShared/DataLinkInfo.h>

#include <MVShared/JsonText.h>
#include <MVShared/PointIds.h>

#include <boundedjson.h>

namespace Morvane {

namespace {

/* The JSON keys of a data link. */
const char* const ObjectTypeKey = "ObjectType";
const char* const PidKey = "PID";
const char* const DataNameKey = "DataName";
const char* const AttributeKey = "Attribute";

/* The name prefixes of objects that are not points. */
QString codeNameTemplate(ScadaObjectType type)
{
    switch (type) {
    case OtherObject:
        return QStringLiteral("@::%1");
    case ChannelObject:
        return QStringLiteral("@C::%1");
    case RemoteUnitObject:
        return QStringLiteral("@R::%1");
    default:
        return QStringLiteral("%1");
    }
}

/* A point's value is its default data and is named without an attribute. */
bool isDefaultPointData(const QString& attribute)
{
    return attribute == QLatin1String("LastValue") || attribute == QLatin1String("Value");
}

/* Members of the wrong kind are taken as absent. */
void readInt(const rapidjson::Value& root, const char* key, qint32& field)
{
    const auto member = root.FindMember(key);
    if (member != root.MemberEnd() && member->value.IsInt())
        field = member->value.GetInt();
}

void readString(const rapidjson::Value& root, const char* key, QString& field)
{
    const auto member = root.FindMember(key);
    if (member != root.MemberEnd() && member->value.IsString())
        field = QString::fromUtf8(member->value.GetString(), int(member->value.GetStringLength()));
}

} // namespace

DataLinkInfo::DataLinkInfo(ScadaObjectType objectType, int id, const QString& dataName)
    : objectType(objectType)
    , id(id)
    , dataName(dataName)
{
}

bool DataLinkInfo::isEmpty() const
{
    return dataName.isEmpty();
}

void DataLinkInfo::makeInvalid()
{
    objectType = InvalidObject;
    id = 0;
}

bool DataLinkInfo::operator==(const DataLinkInfo& other) const
{
    return objectType == other.objectType && id == other.id && dataName == other.dataName
        && attribute == other.attribute;
}

QString DataLinkInfo::dataCodeName() const
{
    return codeNameTemplate(objectType).arg(dataName);
}

QString DataLinkInfo::absoluteName() const
{
    const QString codeName = dataCodeName();
    const bool implicitAttribute = isPointObjectType(objectType) && isDefaultPointData(attribute);
    if (attribute.isEmpty() || implicitAttribute)
        return codeName;
    return codeName + QStringLiteral(":%1").arg(attribute);
}

QString DataLinkInfo::toJsonStream()
{
    return QStringLiteral("{%1}").arg(jsKeyInt64Value(QLatin1String(ObjectTypeKey), objectType, true)
                                      + jsKeyInt64Value(QLatin1String(PidKey), id, true)
                                      + jsKeyStringValue(QLatin1String(DataNameKey), dataName, true)
                                      + jsKeyStringValue(QLatin1String(AttributeKey), attribute, false));
}

DataLinkInfo DataLinkInfo::fromJsonStream(const QString& text)
{
    DataLinkInfo link;
    const QByteArray utf8 = text.toUtf8();
    rapidjson::Document document;
    if (!boundedjson::parse(document, utf8.constData(), size_t(utf8.size())).ok() || !document.IsObject())
        return link;
    qint32 objectType = link.objectType;
    readInt(document, ObjectTypeKey, objectType);
    link.objectType = ScadaObjectType(objectType);
    readInt(document, PidKey, link.id);
    readString(document, DataNameKey, link.dataName);
    readString(document, AttributeKey, link.attribute);
    return link;
}

DataKindType DataCode::convertToDataKindCode(DataField field)
{
    switch (field) {
    case MaximumValueField:
        return MaximumValue;
    case MinimumValueField:
        return MinimumValue;
    case AverageValueField:
        return AverageValue;
    case DeltaValueField:
        return DeltaValue;
    case MomentValueField:
        return MomentValue;
    }
    return DataKindType(-1);
}

} // namespace Morvane
