/*
 * dictionary.h: the data dictionary, the one place where record types live.
 *
 * A dictionary is read from a JSON file: for each type its name, its fixed
 * size and its fields (name, kind, offset for fixed fields, size of fixed
 * texts and byte fields, nested type of record fields, and for changed-event
 * types the position each field is cut from in its source record), plus a
 * table of named event kinds. A loaded dictionary is never freed while the
 * process runs: records keep pointers to their types, and a reload only puts
 * a new dictionary in force for records made afterwards.
 */
#ifndef DRAVOPLUS_DICTIONARY_H
#define DRAVOPLUS_DICTIONARY_H

#include <DravoPlus/DravoData.h>

#include "autotest.h"

#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

struct DravoFieldDef {
    std::string name;          /* "values[]" for an indexed field */
    DravoFieldKind kind = DravoKindNone;
    int offset = -1;           /* -1: variable */
    int size = 0;              /* fixed fields: bytes at offset */
    int source = -1;           /* changed-event types: position in the source record */
    std::string recordType;    /* record fields: the nested type, when fixed */

    bool isFixed() const { return offset >= 0; }
};

struct DravoRecordType {
    std::string name;
    int size = 0;
    std::string sourceType;
    std::vector<DravoFieldDef> fields;
    std::unordered_map<std::string, std::size_t> byName;

    /* The field of that name; "values[7]" finds the indexed field "values[]". */
    DRAVO_AUTOTEST_EXPORT const DravoFieldDef* find(const char* field) const;
};

namespace dravo {

struct Dictionary {
    std::string path;
    std::map<std::string, std::unique_ptr<DravoRecordType>> types;
    /* The same types by name, for type(): every record made looks its type
     * up, a burst of changes thousands of times. The names are the types'
     * own. */
    std::unordered_map<std::string_view, const DravoRecordType*> byName;
    std::map<std::string, int> events;

    DRAVO_AUTOTEST_EXPORT const DravoRecordType* type(std::string_view name) const;
};

/* Parses a dictionary text; on failure error says what and where, prefixed
 * with path. */
DRAVO_AUTOTEST_EXPORT std::unique_ptr<Dictionary> parseDictionary(const std::string& text, const std::string& path, std::string& error);

/* The dictionary in force, loaded from the default place on first use.
 * Never null: a process whose dictionary could not be loaded has an empty
 * one and dictionaryError() says why. */
const Dictionary& dictionary();
DRAVO_AUTOTEST_EXPORT const DravoRecordType* findType(const char* name);
std::string dictionaryError();
/* Puts the dictionary of path in force; the previous one stays on failure. */
int loadDictionary(const std::string& path, std::string& error);

/* Byte size of a scalar kind, 0 for the others. */
int scalarSize(DravoFieldKind kind);
const char* kindName(DravoFieldKind kind);

} // namespace dravo

#endif
