/*
 * fieldcodec.h: turning a put value into a field's bytes and back.
 *
 * One set of conversion rules serves whole records, partial records and the
 * partial writes of the point database, so a value that a record takes is
 * taken the same way everywhere:
 *   - integers go into any integer field whose width holds the value, and
 *     into float and double fields;
 *   - floating values go into float and double fields only;
 *   - texts and bytes go into text and bytes fields that are long enough
 *     (fixed fields are zero padded);
 *   - UTF-16 texts go into UTF-16 fields, nested records into record fields.
 * Fixed fields are stored little-endian, in the machine's own order.
 */
#ifndef DRAVOPLUS_FIELDCODEC_H
#define DRAVOPLUS_FIELDCODEC_H

#include "dictionary.h"

#include <cstddef>
#include <string>

namespace dravo {

bool isNumeric(DravoFieldKind kind);

/* The bytes field def stores for a value of kind given as size bytes at
 * data: def.size bytes for a fixed field, the payload for a variable one.
 * storedKind is the kind the bytes then have (the put kind for "any"). */
int encodeField(const DravoFieldDef& def, DravoFieldKind kind, const void* data, std::size_t size,
                std::string& out, DravoFieldKind& storedKind);

/* Converts the number stored as kind in bytes into the numeric kind wanted,
 * the way a C cast would. DRAVO_WRONG_KIND when the stored value is no number. */
int decodeNumber(DravoFieldKind kind, const char* bytes, std::size_t size, DravoFieldKind wanted, void* out);

} // namespace dravo

#endif
