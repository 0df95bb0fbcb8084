/*
 * systemoptionchangemessage.cpp: the system options an administrator changed,
 * as the JSON texts the stations exchange. A long list is cut into several
 * texts so that no single notification grows large.
 */
#include <MVShared/SystemOptionChangeMessage.h>

#include <MVShared/JsonText.h>

#include <boundedjson.h>

namespace {

const QString kKeyMember = QStringLiteral("key");
const QString kValueMember = QStringLiteral("value");

using OptionList = QList<QPair<QString, QString>>;

/* [{"key":"Mode","value":"Auto"},...] without blanks and without escaping. */
QString chunkText(const OptionList& chunk)
{
    QString objects;
    for (int i = 0; i < chunk.size(); ++i) {
        if (i > 0)
            objects += QLatin1Char(',');
        objects += QLatin1Char('{');
        objects += Morvane::jsKeyStringValue(kKeyMember, chunk.at(i).first, true);
        objects += Morvane::jsKeyStringValue(kValueMember, chunk.at(i).second, false);
        objects += QLatin1Char('}');
    }
    return QStringLiteral("[%1]").arg(objects);
}

/* The text of a member; a missing member reads as a null value. */
QString memberText(const rapidjson::Value& object, const char* name)
{
    const auto member = object.FindMember(name);
    if (member == object.MemberEnd())
        return Morvane::getJsonString(rapidjson::Value());
    return Morvane::getJsonString(member->value);
}

} // namespace

SystemOptionChangeMessage::SystemOptionChangeMessage() = default;

SystemOptionChangeMessage::SystemOptionChangeMessage(const QList<QPair<QString, QString>>& options)
    : m_options(options)
{
}

SystemOptionChangeMessage::SystemOptionChangeMessage(const SystemOptionChangeMessage& other) = default;

SystemOptionChangeMessage& SystemOptionChangeMessage::operator=(const SystemOptionChangeMessage& other) = default;

SystemOptionChangeMessage::~SystemOptionChangeMessage() = default;

const QList<QPair<QString, QString>>& SystemOptionChangeMessage::options() const
{
    return m_options;
}

void SystemOptionChangeMessage::addOption(const QString& key, const QString& value)
{
    m_options.append(qMakePair(key, value));
}

QStringList SystemOptionChangeMessage::toJson(int count) const
{
    // A negative count takes everything to the end, as QList::mid does.
    QStringList texts;
    int position = 0;
    OptionList chunk = m_options.mid(position, count);
    while (!chunk.isEmpty()) {
        texts.append(chunkText(chunk));
        position += chunk.size();
        chunk = m_options.mid(position, count);
    }
    return texts;
}

SystemOptionChangeMessage SystemOptionChangeMessage::fromJson(const QString& text)
{
    SystemOptionChangeMessage message;
    const QByteArray utf8 = text.toUtf8();
    rapidjson::Document document;
    if (!boundedjson::parse(document, utf8.constData(), static_cast<size_t>(utf8.size())).ok() || !document.IsArray())
        return message;
    for (const rapidjson::Value& element : document.GetArray()) {
        // Only objects carry options; anything else in the array is ignored.
        if (!element.IsObject())
            continue;
        const QString value = memberText(element, "value");
        const QString key = memberText(element, "key");
        message.addOption(key, value);
    }
    return message;
}
