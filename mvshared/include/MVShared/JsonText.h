/*
 * JsonText.h: small JSON texts built by string formatting, as the product
 * writes them wherever it composes JSON by hand (data links, system option
 * messages), and the text of a parsed JSON value.
 *
 * Nothing is escaped, and the stations that read these texts expect them
 * as they are, so it stays that way. The caller's text therefore decides
 * the JSON: a double quote in a key or value closes the string early and
 * what follows is read as members of its own (an option value can add or
 * override options), and a backslash at its end escapes the closing quote,
 * so the string runs on and the whole text no longer parses (every option
 * in it is lost). A key holding %1 also receives the value text. Callers
 * that pass anything but names and plain values (text an operator typed,
 * file paths) escape it first, or refuse it.
 */
#ifndef MVSHARED_JSONTEXT_H
#define MVSHARED_JSONTEXT_H

#include <MVShared/MVSharedGlobal.h>

#include <QtCore/QString>

#include <rapidjson/document.h>

namespace Morvane {

/* "s" between double quotes, s as it stands (see above: escape first). */
MVSHARED_EXPORT QString jsString(const QString& s);
/* "key":value, then "," when comma is true. */
MVSHARED_EXPORT QString jsKeyValue(const QString& key, int value, bool comma);
MVSHARED_EXPORT QString jsKeyInt64Value(const QString& key, qint64 value, bool comma);
MVSHARED_EXPORT QString jsKeyDoubleValue(const QString& key, double value, bool comma);
MVSHARED_EXPORT QString jsKeyStringValue(const QString& key, const QString& value, bool comma);
MVSHARED_EXPORT QString jsKeyObjectValue(const QString& key, const QString& objectText, bool comma);
/* A string value's text, an object written compactly; "" for anything else. */
MVSHARED_EXPORT QString getJsonString(const rapidjson::Value& value);

} // namespace Morvane

#endif
