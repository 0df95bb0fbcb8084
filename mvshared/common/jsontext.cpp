/*
 * jsontext.cpp: the hand-made JSON pieces the product writes (data links,
 * system option messages) and the text of a parsed rapidjson value.
 *
 * The pieces are plain QString substitutions without any escaping; callers
 * only pass option names, point names and plain values.
 */
#include <MVShared/JsonText.h>

#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>

namespace {

/* "key":valueText, the key quoted first and the value put into what is left.
 * A key holding %1 therefore receives the value text there; existing JSON
 * texts depend on this exact substitution order, so it is kept. */
QString keyValue(const QString& key, const QString& valueText, bool comma)
{
    QString text = QStringLiteral("%1:%2").arg(Morvane::jsString(key)).arg(valueText);
    if (comma)
        text += QLatin1Char(',');
    return text;
}

} // namespace

QString Morvane::jsString(const QString& s)
{
    return QStringLiteral("\"%1\"").arg(s);
}

QString Morvane::jsKeyValue(const QString& key, int value, bool comma)
{
    return keyValue(key, QString::number(value), comma);
}

QString Morvane::jsKeyInt64Value(const QString& key, qint64 value, bool comma)
{
    return keyValue(key, QString::number(value), comma);
}

QString Morvane::jsKeyDoubleValue(const QString& key, double value, bool comma)
{
    // Six significant digits: readers of these texts never needed more.
    return keyValue(key, QString::number(value, 'g', 6), comma);
}

QString Morvane::jsKeyStringValue(const QString& key, const QString& value, bool comma)
{
    return keyValue(key, jsString(value), comma);
}

QString Morvane::jsKeyObjectValue(const QString& key, const QString& objectText, bool comma)
{
    return keyValue(key, objectText, comma);
}

QString Morvane::getJsonString(const rapidjson::Value& value)
{
    if (value.IsString())
        return QString::fromUtf8(value.GetString(), static_cast<int>(value.GetStringLength()));
    if (value.IsObject()) {
        rapidjson::StringBuffer buffer;
        rapidjson::Writer<rapidjson::StringBuffer> writer(buffer);
        value.Accept(writer);
        return QString::fromUtf8(buffer.GetString(), static_cast<int>(buffer.GetSize()));
    }
    return QString();
}
