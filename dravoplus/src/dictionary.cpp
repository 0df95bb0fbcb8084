/*
 * dictionary.cpp: reading and checking the data dictionary.
 *
 * Everything a record type promises is checked once, here, when the file is
 * read: fixed fields lie inside the type and do not overlap, kinds are known,
 * nested and source types exist, and every changed-event field is cut from a
 * field of the same width and kind at the position it names; offsets and
 * sizes are summed wide, so that no value near the int limit wraps past a
 * check. Records, and the change packet that copies fields by these
 * positions into buffers of the type's size, then trust their types without
 * checking again.
 */
#include "dictionary.h"

#include "clientstate.h"

#include <DravoPlus/DravoPlus.h>

#include <boundedjson.h>

#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <cstring>
#include <dlfcn.h>
#include <fstream>
#include <mutex>
#include <sstream>

namespace dravo {

namespace {

struct KindName {
    const char* name;
    DravoFieldKind kind;
    int size;
};

/* The kinds a dictionary may name, with the width of the scalar ones. */
const KindName kKinds[] = {
    {"int8", DravoKindInt8, 1},     {"uint8", DravoKindUInt8, 1},
    {"int16", DravoKindInt16, 2},   {"uint16", DravoKindUInt16, 2},
    {"int32", DravoKindInt32, 4},   {"uint32", DravoKindUInt32, 4},
    {"int64", DravoKindInt64, 8},   {"uint64", DravoKindUInt64, 8},
    {"float", DravoKindFloat, 4},   {"double", DravoKindDouble, 8},
    {"text", DravoKindText, 0},     {"utf16", DravoKindUtf16, 0},
    {"bytes", DravoKindBytes, 0},   {"record", DravoKindRecord, 0},
    {"any", DravoKindAny, 0},
};

bool kindFromName(const std::string& name, DravoFieldKind& kind)
{
    for (const KindName& k : kKinds) {
        if (name == k.name) {
            kind = k.kind;
            return true;
        }
    }
    return false;
}

/* Collects the first problem found, with the file and the place. */
class Checker
{
public:
    explicit Checker(std::string path) : m_path(std::move(path)) {}
    bool failed() const { return !m_error.empty(); }
    const std::string& error() const { return m_error; }
    void fail(const std::string& where, const std::string& what)
    {
        if (m_error.empty())
            m_error = m_path + ": " + (where.empty() ? "" : where + ": ") + what;
    }

private:
    std::string m_path;
    std::string m_error;
};

std::string lineAndColumn(const std::string& text, std::size_t offset)
{
    int line = 1;
    int column = 1;
    for (std::size_t i = 0; i < offset && i < text.size(); ++i) {
        if (text[i] == '\n') {
            ++line;
            column = 1;
        } else {
            ++column;
        }
    }
    return "line " + std::to_string(line) + " column " + std::to_string(column);
}

/* Whether bytes [offset, offset + size) lie within limit bytes. Summed in 64
 * bits: an offset and a size that each fit an int can add up past its
 * range, wrap negative and pass a narrow comparison. */
bool liesWithin(int offset, int size, int limit)
{
    return offset >= 0 && size >= 0 && static_cast<long long>(offset) + size <= limit;
}

bool readInt(const rapidjson::Value& object, const char* member, int& out, bool& present, Checker& check,
             const std::string& where)
{
    present = false;
    auto it = object.FindMember(member);
    if (it == object.MemberEnd())
        return true;
    if (!it->value.IsInt() || it->value.GetInt() < 0) {
        check.fail(where, std::string("\"") + member + "\" must be a non-negative integer");
        return false;
    }
    out = it->value.GetInt();
    present = true;
    return true;
}

bool readString(const rapidjson::Value& object, const char* member, std::string& out, bool required,
                Checker& check, const std::string& where)
{
    auto it = object.FindMember(member);
    if (it == object.MemberEnd()) {
        if (required)
            check.fail(where, std::string("missing \"") + member + "\"");
        return !required;
    }
    if (!it->value.IsString() || it->value.GetStringLength() == 0) {
        check.fail(where, std::string("\"") + member + "\" must be a non-empty string");
        return false;
    }
    out = it->value.GetString();
    return true;
}

bool parseField(const rapidjson::Value& json, DravoRecordType& type, Checker& check, const std::string& where)
{
    if (!json.IsObject()) {
        check.fail(where, "a field must be an object");
        return false;
    }
    DravoFieldDef field;
    std::string kind;
    if (!readString(json, "name", field.name, true, check, where) || !readString(json, "kind", kind, true, check, where))
        return false;
    const std::string at = where + " field '" + field.name + "'";
    if (!kindFromName(kind, field.kind)) {
        check.fail(at, "unknown kind '" + kind + "'");
        return false;
    }
    bool hasOffset = false;
    bool hasSize = false;
    bool hasSource = false;
    if (!readInt(json, "offset", field.offset, hasOffset, check, at) || !readInt(json, "size", field.size, hasSize, check, at)
        || !readInt(json, "source", field.source, hasSource, check, at)
        || !readString(json, "record", field.recordType, false, check, at))
        return false;
    if (!hasOffset)
        field.offset = -1;
    if (!hasSource)
        field.source = -1;

    const int natural = scalarSize(field.kind);
    if (field.isFixed()) {
        if (field.kind == DravoKindRecord || field.kind == DravoKindAny) {
            check.fail(at, "a " + kind + " field cannot have an offset");
            return false;
        }
        if (natural > 0) {
            if (hasSize && field.size != natural) {
                check.fail(at, "size " + std::to_string(field.size) + " does not match kind " + kind);
                return false;
            }
            field.size = natural;
        } else if (!hasSize || field.size == 0) {
            check.fail(at, "a fixed " + kind + " field needs a size");
            return false;
        }
        if (field.kind == DravoKindUtf16 && field.size % 2 != 0) {
            check.fail(at, "a utf16 field needs an even size");
            return false;
        }
        if (!liesWithin(field.offset, field.size, type.size)) {
            check.fail(at, "offset " + std::to_string(field.offset) + " + " + std::to_string(field.size)
                               + " bytes is past the type's size " + std::to_string(type.size));
            return false;
        }
    } else {
        field.size = natural;
    }
    if (hasSource && type.sourceType.empty()) {
        check.fail(at, "\"source\" needs the type's \"from\"");
        return false;
    }
    if (type.byName.count(field.name)) {
        check.fail(at, "duplicate field");
        return false;
    }
    type.byName.emplace(field.name, type.fields.size());
    type.fields.push_back(std::move(field));
    return true;
}

bool checkOverlaps(const DravoRecordType& type, Checker& check, const std::string& where)
{
    std::vector<const DravoFieldDef*> fixed;
    for (const DravoFieldDef& f : type.fields)
        if (f.isFixed())
            fixed.push_back(&f);
    std::sort(fixed.begin(), fixed.end(), [](const DravoFieldDef* a, const DravoFieldDef* b) { return a->offset < b->offset; });
    for (std::size_t i = 1; i < fixed.size(); ++i) {
        if (!liesWithin(fixed[i - 1]->offset, fixed[i - 1]->size, fixed[i]->offset)) {
            check.fail(where, "fields '" + fixed[i - 1]->name + "' and '" + fixed[i]->name + "' overlap");
            return false;
        }
    }
    return true;
}

bool parseType(const rapidjson::Value& json, std::size_t index, Dictionary& dict, Checker& check)
{
    std::string where = "types[" + std::to_string(index) + "]";
    if (!json.IsObject()) {
        check.fail(where, "a type must be an object");
        return false;
    }
    auto type = std::make_unique<DravoRecordType>();
    if (!readString(json, "name", type->name, true, check, where))
        return false;
    where = "type '" + type->name + "'";
    bool hasSize = false;
    if (!readInt(json, "size", type->size, hasSize, check, where) || !readString(json, "from", type->sourceType, false, check, where))
        return false;
    auto fields = json.FindMember("fields");
    if (fields == json.MemberEnd() || !fields->value.IsArray()) {
        check.fail(where, "missing \"fields\" array");
        return false;
    }
    for (const rapidjson::Value& f : fields->value.GetArray())
        if (!parseField(f, *type, check, where))
            return false;
    if (!checkOverlaps(*type, check, where))
        return false;
    if (dict.types.count(type->name)) {
        check.fail(where, "duplicate type");
        return false;
    }
    const DravoRecordType* added = dict.types.emplace(type->name, std::move(type)).first->second.get();
    dict.byName.emplace(added->name, added);
    return true;
}

/* Cross-type rules: nested record types exist, and changed-event fields are
 * cut from a field of the same kind and width at their source position. */
bool checkReferences(const Dictionary& dict, Checker& check)
{
    for (const auto& [name, type] : dict.types) {
        const std::string where = "type '" + name + "'";
        const DravoRecordType* source = nullptr;
        if (!type->sourceType.empty()) {
            source = dict.type(type->sourceType);
            if (!source) {
                check.fail(where, "\"from\" names unknown type '" + type->sourceType + "'");
                return false;
            }
        }
        for (const DravoFieldDef& f : type->fields) {
            const std::string at = where + " field '" + f.name + "'";
            if (!f.recordType.empty() && !dict.type(f.recordType)) {
                check.fail(at, "unknown record type '" + f.recordType + "'");
                return false;
            }
            if (f.source < 0 || !source)
                continue;
            if (!liesWithin(f.source, f.size, source->size)) {
                check.fail(at, "source position " + std::to_string(f.source) + " + " + std::to_string(f.size)
                                   + " bytes is past the size " + std::to_string(source->size) + " of '" + source->name
                                   + "'");
                return false;
            }
            auto match = std::find_if(source->fields.begin(), source->fields.end(),
                                      [&](const DravoFieldDef& s) { return s.offset == f.source; });
            if (match == source->fields.end() || match->size != f.size || match->kind != f.kind || !f.isFixed()) {
                check.fail(at, "source position " + std::to_string(f.source) + " is not a " + kindName(f.kind) + " field of "
                                   + std::to_string(f.size) + " bytes in '" + source->name + "'");
                return false;
            }
        }
    }
    return true;
}

bool parseEvents(const rapidjson::Value& root, Dictionary& dict, Checker& check)
{
    auto events = root.FindMember("events");
    if (events == root.MemberEnd())
        return true;
    if (!events->value.IsObject()) {
        check.fail("\"events\"", "must be an object of event names and kinds");
        return false;
    }
    for (const auto& e : events->value.GetObject()) {
        if (!e.value.IsInt() || e.value.GetInt() <= 0) {
            check.fail(std::string("event '") + e.name.GetString() + "'", "kind must be a positive integer");
            return false;
        }
        dict.events[e.name.GetString()] = e.value.GetInt();
    }
    return true;
}

/* The dictionary in force, and every one ever loaded (records point into them). */
struct DictionaryStore {
    std::mutex mutex;
    std::once_flag loaded;
    std::atomic<const Dictionary*> current{nullptr};
    std::vector<std::unique_ptr<Dictionary>> all;
    std::string error;
};

DictionaryStore& store()
{
    static DictionaryStore* s = new DictionaryStore; // lives until exit: records point into it
    return *s;
}

/* $DRAVO_DICTIONARY, else share/dravoplus/dictionary.json beside this library. */
std::string defaultDictionaryPath()
{
    if (const char* env = std::getenv("DRAVO_DICTIONARY"); env && *env)
        return env;
    Dl_info info{};
    if (dladdr(reinterpret_cast<void*>(&defaultDictionaryPath), &info) && info.dli_fname) {
        std::string lib = info.dli_fname;
        const std::size_t slash = lib.rfind('/');
        const std::string dir = slash == std::string::npos ? "." : lib.substr(0, slash);
        return dir + "/" + DRAVO_DICTIONARY_RELATIVE;
    }
    return DRAVO_DICTIONARY_RELATIVE;
}

int readFile(const std::string& path, std::string& text, std::string& error)
{
    std::ifstream in(path, std::ios::binary);
    if (!in) {
        error = path + ": cannot open the data dictionary";
        return DRAVO_DICTIONARY_ERROR;
    }
    std::ostringstream all;
    all << in.rdbuf();
    if (in.bad()) {
        error = path + ": cannot read the data dictionary";
        return DRAVO_DICTIONARY_ERROR;
    }
    text = all.str();
    return DRAVO_OK;
}

/* Reads and parses; the caller puts the result in force. */
std::unique_ptr<Dictionary> readDictionary(const std::string& path, std::string& error)
{
    std::string text;
    if (readFile(path, text, error) != DRAVO_OK)
        return nullptr;
    return parseDictionary(text, path, error);
}

void ensureLoaded()
{
    DictionaryStore& s = store();
    std::call_once(s.loaded, [&s] {
        std::string error;
        std::unique_ptr<Dictionary> dict = readDictionary(defaultDictionaryPath(), error);
        std::lock_guard<std::mutex> lock(s.mutex);
        if (!dict) {
            s.error = error;
            dict = std::make_unique<Dictionary>();
            dict->path = defaultDictionaryPath();
        }
        s.current.store(dict.get());
        s.all.push_back(std::move(dict));
    });
}

} // namespace

std::unique_ptr<Dictionary> parseDictionary(const std::string& text, const std::string& path, std::string& error)
{
    Checker check(path);
    rapidjson::Document doc;
    const boundedjson::Outcome parsed = boundedjson::parse(doc, text.data(), text.size());
    if (parsed.tooDeep) {
        error = path + ": " + lineAndColumn(text, parsed.offset) + ": " + parsed.message();
        return nullptr;
    }
    if (!parsed.ok()) {
        error = path + ": " + lineAndColumn(text, parsed.offset) + ": not valid JSON: " + parsed.message();
        return nullptr;
    }
    auto dict = std::make_unique<Dictionary>();
    dict->path = path;
    if (!doc.IsObject()) {
        check.fail("", "the dictionary must be a JSON object");
    } else {
        auto types = doc.FindMember("types");
        if (types == doc.MemberEnd() || !types->value.IsArray()) {
            check.fail("", "missing \"types\" array");
        } else {
            std::size_t index = 0;
            for (const rapidjson::Value& t : types->value.GetArray())
                if (!parseType(t, index++, *dict, check))
                    break;
        }
        if (!check.failed())
            parseEvents(doc, *dict, check);
        if (!check.failed())
            checkReferences(*dict, check);
    }
    if (check.failed()) {
        error = check.error();
        return nullptr;
    }
    return dict;
}

const DravoRecordType* Dictionary::type(std::string_view name) const
{
    const auto it = byName.find(name);
    return it == byName.end() ? nullptr : it->second;
}

const Dictionary& dictionary()
{
    ensureLoaded();
    return *store().current.load();
}

const DravoRecordType* findType(const char* name)
{
    if (!name || !*name)
        return nullptr;
    return dictionary().type(std::string_view(name));
}

std::string dictionaryError()
{
    ensureLoaded();
    std::lock_guard<std::mutex> lock(store().mutex);
    return store().error;
}

int loadDictionary(const std::string& path, std::string& error)
{
    ensureLoaded();
    std::unique_ptr<Dictionary> dict = readDictionary(path, error);
    if (!dict)
        return DRAVO_DICTIONARY_ERROR;
    DictionaryStore& s = store();
    {
        std::lock_guard<std::mutex> lock(s.mutex);
        s.error.clear();
        s.current.store(dict.get());
        s.all.push_back(std::move(dict));
    }
    notifyDictionaryReloaded();
    return DRAVO_OK;
}

int scalarSize(DravoFieldKind kind)
{
    for (const KindName& k : kKinds)
        if (k.kind == kind)
            return k.size;
    return 0;
}

const char* kindName(DravoFieldKind kind)
{
    for (const KindName& k : kKinds)
        if (k.kind == kind)
            return k.name;
    return "none";
}

} // namespace dravo

const DravoFieldDef* DravoRecordType::find(const char* field) const
{
    if (!field)
        return nullptr;
    std::string name(field);
    auto it = byName.find(name);
    if (it != byName.end())
        return &fields[it->second];
    /* "values[12]" is an instance of the indexed field "values[]". */
    const std::size_t open = name.find('[');
    if (open == std::string::npos || name.size() < open + 3 || name.back() != ']')
        return nullptr;
    for (std::size_t i = open + 1; i + 1 < name.size(); ++i)
        if (name[i] < '0' || name[i] > '9')
            return nullptr;
    it = byName.find(name.substr(0, open) + "[]");
    return it == byName.end() ? nullptr : &fields[it->second];
}

/* ---- The public dictionary calls ---------------------------------------- */

int DravoPlus::LoadDictionary(const char* path, std::string* error)
{
    std::string message;
    if (!path || !*path) {
        message = "no dictionary path given";
        if (error)
            *error = message;
        return DRAVO_BAD_ARGUMENT;
    }
    const int rc = dravo::loadDictionary(path, message);
    if (error)
        *error = message;
    return rc;
}

std::string DravoPlus::DictionaryError()
{
    return dravo::dictionaryError();
}

std::string DravoPlus::DictionaryPath()
{
    return dravo::dictionary().path;
}

int DravoPlus::GetTypeInfo(const char* type, DravoTypeInfo& out)
{
    const DravoRecordType* t = dravo::findType(type);
    if (!t)
        return DRAVO_NOT_FOUND;
    out = DravoTypeInfo();
    out.name = t->name;
    out.size = t->size;
    out.sourceType = t->sourceType;
    for (const DravoFieldDef& f : t->fields)
        out.fields.push_back({f.name, f.kind, f.offset, f.size, f.source, f.recordType});
    return DRAVO_OK;
}

const char* DravoPlus::FieldKindName(DravoFieldKind kind)
{
    return dravo::kindName(kind);
}

std::vector<std::string> DravoPlus::GetTypeNames()
{
    std::vector<std::string> names;
    for (const auto& entry : dravo::dictionary().types)
        names.push_back(entry.first);
    return names;
}

int DravoPlus::GetEventKind(const char* eventName)
{
    if (!eventName)
        return 0;
    const auto& events = dravo::dictionary().events;
    auto it = events.find(eventName);
    return it == events.end() ? 0 : it->second;
}
