/*
 * JsonText.h: small JSON texts built by string formatting, as the product
 * writes them wherever it composes JSON by hand (data links, system option
 * messages), and the text of a parsed JSON value. Nothing is escaped: keys
 * and values are names and plain values.
 */
#ifndef MVSHARED_JSONTEXT_H
#define MVSHARED_JSONTEXT_H

#include <MVShared/MVSharedGlobal.h>

#include <QtCore/QString>

#include <rapidjson/document.h>

namespace Morvane {

/* "s" between double quotes. */
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
