/*
 * formvalues.cpp: file names, integer lists, flag strings, combo-box
 * selection and password handling of the product's forms (declared in
 * FormValues.h).
 */
#include <MVShared/FormValues.h>

#include <QtCore/QCryptographicHash>
#include <QtCore/QStringList>
#include <QtWidgets/QComboBox>

#include <functional>

namespace {

/* Characters that file systems or the product's path handling refuse. The
 * asterisk is not among them: stored names already contain it. */
const char kFileNameUnsafe[] = "\\/:?|\"<>";

/* Selects, in order, every item whose Qt::UserRole data matches, so the
 * last match is the one left selected. */
void selectMatching(QComboBox* box, const std::function<bool(const QVariant&)>& matches)
{
    if (!box)
        return;
    for (int i = 0; i < box->count(); ++i) {
        if (matches(box->itemData(i, Qt::UserRole)))
            box->setCurrentIndex(i);
    }
}

/* A list part as a decimal number; 0 for anything else. Blanks around the
 * digits make it no number: stored lists never have them, and a part
 * that does is kept as 0 rather than silently read. (QString::toInt alone
 * would skip them.) */
int listNumber(const QString& part)
{
    if (part.trimmed().size() != part.size())
        return 0;
    return part.toInt(nullptr, 10);
}

} // namespace

QString Morvane::filterFileName(const QString& fileName)
{
    QString filtered = fileName;
    for (const char* c = kFileNameUnsafe; *c; ++c)
        filtered.replace(QLatin1Char(*c), QLatin1Char('_'), Qt::CaseSensitive);
    return filtered;
}

QList<int> Morvane::stringToIntList(const QString& text)
{
    QList<int> numbers;
    for (const QString& part : text.split(QLatin1Char(','), Qt::SkipEmptyParts))
        numbers.append(listNumber(part));
    return numbers;
}

QString Morvane::intListToString(const QList<int>& numbers)
{
    QStringList parts;
    for (int number : numbers)
        parts.append(QString::number(number));
    return parts.join(QLatin1Char(','));
}

int Morvane::flagToDigit(const QString& text, const QVector<char>& flags)
{
    quint32 mask = 0;
    for (int i = 0; i < text.size() && i < flags.size(); ++i) {
        const bool zero = text.at(i).digitValue() == 0;
        const bool flagged = flags.at(i) >= 1 && flags.at(i) <= 9;
        if (zero && flagged)
            mask |= 1u << (i % 32);
    }
    return static_cast<int>(mask);
}

QVariant Morvane::currentData(QComboBox* box)
{
    const int value = box ? box->currentData(Qt::UserRole).toInt() : 0;
    return QVariant(value);
}

int Morvane::findDataIndex(QComboBox* box, int value)
{
    if (!box)
        return -1;
    for (int i = 0; i < box->count(); ++i) {
        if (box->itemData(i, Qt::UserRole).toInt() == value)
            return i;
    }
    return -1;
}

void Morvane::setCurrentIndexByData(QComboBox* box, int value)
{
    selectMatching(box, [value](const QVariant& data) { return data.toInt() == value; });
}

void Morvane::setIndexByValue(QComboBox* box, const QVariant& value)
{
    selectMatching(box, [&value](const QVariant& data) { return data == value; });
}

bool Morvane::checkPasswordStrength(const QString& password, QString& message)
{
    /* No strength rule is enforced: every password passes, and the caller's
     * message stays as the caller left it. */
    Q_UNUSED(password)
    Q_UNUSED(message)
    return true;
}

QByteArray Morvane::makeSecurityValue(const QString& first, const QString& second)
{
    return QCryptographicHash::hash(first.toLatin1() + second.toLatin1(), QCryptographicHash::Sha1);
}
