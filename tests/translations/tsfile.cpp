/*
 * tsfile.cpp: reading a .ts file with QXmlStreamReader (see tsfile.h).
 */
#include "tsfile.h"

#include <QtCore/QFile>
#include <QtCore/QRegularExpression>
#include <QtCore/QXmlStreamReader>

#include <algorithm>

namespace mvtest {
namespace {

void readTranslation(QXmlStreamReader& xml, TsMessage& message)
{
    message.type = xml.attributes().value(QLatin1String("type")).toString();
    if (!message.numerus) {
        message.translation = xml.readElementText(QXmlStreamReader::IncludeChildElements);
        return;
    }
    while (xml.readNextStartElement()) {
        if (xml.name() == QLatin1String("numerusform"))
            message.numerusForms.append(xml.readElementText());
        else
            xml.skipCurrentElement();
    }
}

TsMessage readMessage(QXmlStreamReader& xml, const QString& context)
{
    TsMessage message;
    message.context = context;
    message.numerus = xml.attributes().value(QLatin1String("numerus")) == QLatin1String("yes");
    while (xml.readNextStartElement()) {
        if (xml.name() == QLatin1String("source"))
            message.source = xml.readElementText();
        else if (xml.name() == QLatin1String("translation"))
            readTranslation(xml, message);
        else
            xml.skipCurrentElement();
    }
    return message;
}

void readContext(QXmlStreamReader& xml, TsFile& file)
{
    QString name;
    while (xml.readNextStartElement()) {
        if (xml.name() == QLatin1String("name"))
            name = xml.readElementText();
        else if (xml.name() == QLatin1String("message"))
            file.messages.append(readMessage(xml, name));
        else
            xml.skipCurrentElement();
    }
}

} // namespace

TsFile readTsFile(const QString& path)
{
    TsFile file;
    QFile in(path);
    if (!in.open(QIODevice::ReadOnly)) {
        file.error = QStringLiteral("%1: %2").arg(path, in.errorString());
        return file;
    }
    QXmlStreamReader xml(&in);
    if (!xml.readNextStartElement() || xml.name() != QLatin1String("TS")) {
        file.error = QStringLiteral("%1: not a translation source (no TS element)").arg(path);
        return file;
    }
    file.language = xml.attributes().value(QLatin1String("language")).toString();
    file.sourceLanguage = xml.attributes().value(QLatin1String("sourcelanguage")).toString();
    while (xml.readNextStartElement()) {
        if (xml.name() == QLatin1String("context"))
            readContext(xml, file);
        else
            xml.skipCurrentElement();
    }
    if (xml.hasError())
        file.error = QStringLiteral("%1:%2: %3").arg(path).arg(xml.lineNumber()).arg(xml.errorString());
    return file;
}

QStringList placeholders(const QString& text)
{
    static const QRegularExpression placeholder(QStringLiteral("%L?([1-9][0-9]?|n)"));
    QStringList found;
    QRegularExpressionMatchIterator it = placeholder.globalMatch(text);
    while (it.hasNext())
        found.append(it.next().captured(0));
    std::sort(found.begin(), found.end());
    return found;
}

int acceleratorCount(const QString& text)
{
    QString plain = text;
    plain.remove(QStringLiteral("&&"));
    int count = 0;
    for (int i = 0; i + 1 < plain.size(); ++i)
        if (plain.at(i) == QLatin1Char('&') && !plain.at(i + 1).isSpace())
            ++count;
    return count;
}

} // namespace mvtest
