/*
 * FormValues.h: the small conversions the product's forms and settings
 * pages make between what an operator sees and what is stored: file names
 * made safe, integer lists as text, flag strings as bit masks, combo boxes
 * chosen by their item data, and password checks and digests.
 */
#ifndef MVSHARED_FORMVALUES_H
#define MVSHARED_FORMVALUES_H

#include <MVShared/MVSharedGlobal.h>

#include <QtCore/QByteArray>
#include <QtCore/QList>
#include <QtCore/QString>
#include <QtCore/QVariant>
#include <QtCore/QVector>

QT_BEGIN_NAMESPACE
class QComboBox;
QT_END_NAMESPACE

namespace Morvane {

/* Each of \ / : ? | " < > replaced by "_". The asterisk stays: names
 * already stored with it must keep matching. */
MVSHARED_EXPORT QString filterFileName(const QString& fileName);

/* "1,2,0" to 1, 2, 0. Empty parts are skipped; a part that is not a decimal
 * number (also one with blanks around it) becomes 0 and is kept. */
MVSHARED_EXPORT QList<int> stringToIntList(const QString& text);
/* 1, 2, 0 to "1,2,0"; an empty list gives "". */
MVSHARED_EXPORT QString intListToString(const QList<int>& numbers);

/*
 * Bit i is set when character i of text is "0" and flags[i] lies in 1..9.
 * Positions beyond the end of flags count as unset. Positions from 32 on
 * fold onto bit (i mod 32); flag strings are never that long.
 */
MVSHARED_EXPORT int flagToDigit(const QString& text, const QVector<char>& flags);

/*
 * Combo boxes whose items carry their value under Qt::UserRole. A null box
 * is treated as an empty one.
 */
/* The current item's data as an int QVariant (0 for an empty box). */
MVSHARED_EXPORT QVariant currentData(QComboBox* box);
/* The first item whose data as int is value; -1 when none. */
MVSHARED_EXPORT int findDataIndex(QComboBox* box, int value);
/* Selects the item whose data as int is value; when several match, the
 * last one wins (unlike findDataIndex). Nothing changes when none does. */
MVSHARED_EXPORT void setCurrentIndexByData(QComboBox* box, int value);
/* The same by QVariant equality; the last match wins. */
MVSHARED_EXPORT void setIndexByValue(QComboBox* box, const QVariant& value);

/* Every password is accepted: true, and message is left as it was. */
MVSHARED_EXPORT bool checkPasswordStrength(const QString& password, QString& message);
/* The raw 20-byte SHA-1 digest (not hex) of the Latin-1 bytes of first
 * followed by second. */
MVSHARED_EXPORT QByteArray makeSecurityValue(const QString& first, const QString& second);

} // namespace Morvane

#endif
