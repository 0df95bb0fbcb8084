// dictionary_test.cpp: the data dictionary against what the product relies on.
//
// Three things are pinned here. The change packet copies fixed byte positions
// out of STATUS, ANALOG and TEXT records; the tables below are the
// independent statement of those positions, and the dictionary must have a
// real field of exactly that width at each of them. The SCADA library puts and
// gets fields by name; every one of those names must exist with a kind that
// takes the library's value. And a broken dictionary file must be refused
// with an error naming the file and the problem, leaving the dictionary in
// force untouched.
#include "middlewarefixture.h"

#include <DravoPlus/DravoPlus.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>
#include <cstdio>
#include <initializer_list>
#include <string>
#include <vector>

namespace {

using conformance::dictionaryWithTypes;
using conformance::makeTempFile;
using conformance::readFile;
using conformance::writeFile;

// ---- The change-compression tables -----------------------------------------

// One copied span: bytes [source, source + width) of the point record land at
// [target, target + width) of the changed-event record.
struct Cut {
    int target;
    int source;
    int width;
};

const std::vector<Cut> kChangedStatusCuts = {
    {0, 0, 4},     {4, 20, 4},    {8, 24, 4},    {12, 28, 4},   {16, 556, 4},  {20, 560, 4},
    {24, 568, 8},  {32, 576, 8},  {40, 584, 8},  {48, 592, 8},  {56, 600, 8},  {64, 608, 8},
    {72, 616, 4},  {76, 620, 4},  {80, 624, 4},  {84, 628, 4},  {88, 632, 4},  {92, 636, 4},
    {96, 640, 4},  {100, 644, 4}, {104, 648, 4}, {108, 652, 4}, {112, 553, 1}, {120, 656, 8},
    {128, 664, 8}, {136, 672, 4}, {140, 676, 4}, {144, 8, 4},   {148, 12, 4},  {152, 680, 1},
};

const std::vector<Cut> kChangedAnalogCuts = {
    {0, 0, 4},     {8, 8, 8},     {16, 28, 4},   {20, 32, 4},   {24, 36, 4},
    {28, 564, 4},  {32, 568, 4},  {36, 572, 4},  {40, 576, 4},  {44, 580, 4},  {48, 584, 4},  {52, 588, 4},
    {56, 596, 4},
    {60, 600, 4},  {64, 604, 4},  {68, 608, 4},  {72, 612, 4},  {76, 616, 4},  {80, 620, 4},
    {84, 628, 4},  {88, 632, 4},  {92, 636, 4},  {96, 640, 4},  {100, 644, 4}, {104, 648, 4}, {108, 652, 4},
    {112, 660, 4}, {116, 664, 4}, {120, 668, 4}, {124, 672, 4}, {128, 676, 4}, {132, 680, 4}, {136, 684, 4},
    {140, 692, 4}, {144, 696, 4}, {148, 700, 4}, {152, 704, 4}, {156, 708, 4}, {160, 712, 4}, {164, 716, 4},
    {172, 728, 4}, {176, 732, 4}, {180, 736, 4}, {184, 740, 4}, {188, 744, 4}, {192, 748, 4},
    {196, 16, 4},  {200, 20, 4},  {208, 760, 8},
};

const std::vector<Cut> kChangedTextCuts = {
    {0, 0, 4}, {4, 8, 4}, {8, 12, 4}, {12, 16, 4}, {16, 36, 2}, {18, 38, 1},
    {19, 556, 14800}, {14820, 20, 4}, {14824, 24, 4},
};

const DravoFieldInfo* fixedFieldAt(const DravoTypeInfo& type, int offset)
{
    for (const DravoFieldInfo& field : type.fields) {
        if (field.offset == offset)
            return &field;
    }
    return nullptr;
}

const DravoFieldInfo* fieldNamed(const DravoTypeInfo& type, const std::string& name)
{
    for (const DravoFieldInfo& field : type.fields) {
        if (field.name == name)
            return &field;
    }
    return nullptr;
}

void expectCuts(const char* changedType, int changedSize, const char* sourceType, const std::vector<Cut>& cuts)
{
    DravoTypeInfo changed;
    DravoTypeInfo source;
    ASSERT_EQ(DravoPlus::GetTypeInfo(changedType, changed), DRAVO_OK) << changedType;
    ASSERT_EQ(DravoPlus::GetTypeInfo(sourceType, source), DRAVO_OK) << sourceType;
    EXPECT_EQ(changed.size, changedSize);
    EXPECT_EQ(changed.sourceType, sourceType);

    for (const Cut& cut : cuts) {
        const DravoFieldInfo* from = fixedFieldAt(source, cut.source);
        const DravoFieldInfo* to = fixedFieldAt(changed, cut.target);
        if (!from) {
            ADD_FAILURE() << sourceType << " has no field at " << cut.source;
        } else {
            EXPECT_EQ(from->size, cut.width) << sourceType << "." << from->name << " at " << cut.source;
        }
        if (!to) {
            ADD_FAILURE() << changedType << " has no field at " << cut.target << " (from " << cut.source << ")";
            continue;
        }
        EXPECT_EQ(to->size, cut.width) << changedType << "." << to->name << " at " << cut.target;
        EXPECT_EQ(to->source, cut.source) << changedType << "." << to->name << " at " << cut.target;
        if (from) {
            EXPECT_EQ(int(to->kind), int(from->kind)) << changedType << "." << to->name << " keeps the meaning of its bytes";
        }
    }
    // Nothing beyond the table is cut from the point record.
    const auto cutFields = std::count_if(changed.fields.begin(), changed.fields.end(),
                                         [](const DravoFieldInfo& f) { return f.source >= 0; });
    EXPECT_EQ(static_cast<std::size_t>(cutFields), cuts.size()) << changedType;
}

TEST(DictionaryTest, ChangedStatusCutsRealStatusFields)
{
    expectCuts("CHANGED_STATUS", 160, "STATUS", kChangedStatusCuts);
}

TEST(DictionaryTest, ChangedAnalogCutsRealAnalogFields)
{
    expectCuts("CHANGED_ANALOG", 216, "ANALOG", kChangedAnalogCuts);
}

TEST(DictionaryTest, ChangedTextCutsRealTextFields)
{
    expectCuts("CHANGED_TEXT", 14828, "TEXT", kChangedTextCuts);
}

void expectFixedField(const char* type, const char* name, DravoFieldKind kind, int offset, int size)
{
    DravoTypeInfo info;
    ASSERT_EQ(DravoPlus::GetTypeInfo(type, info), DRAVO_OK) << type;
    const DravoFieldInfo* field = fieldNamed(info, name);
    ASSERT_NE(field, nullptr) << type << "." << name;
    EXPECT_EQ(int(field->kind), int(kind)) << type << "." << name;
    EXPECT_EQ(field->offset, offset) << type << "." << name;
    EXPECT_EQ(field->size, size) << type << "." << name;
}

TEST(DictionaryTest, PointLayoutsKeepTheProductsPositions)
{
    for (const char* point : {"STATUS", "ANALOG", "TEXT"})
        expectFixedField(point, "pid", DravoKindInt32, 0, 4);
    expectFixedField("STATUS", "lastvalue", DravoKindInt8, 553, 1);
    expectFixedField("ANALOG", "lastvalue", DravoKindDouble, 8, 8);
    expectFixedField("TEXT", "bytesize", DravoKindUInt16, 36, 2);
    expectFixedField("TEXT", "dataFormat", DravoKindUInt8, 38, 1);
    expectFixedField("TEXT", "lastvalue", DravoKindBytes, 556, 14800);

    DravoTypeInfo response;
    ASSERT_EQ(DravoPlus::GetTypeInfo("CMD_RESPONSE", response), DRAVO_OK);
    EXPECT_EQ(response.size, 520);
    EXPECT_EQ(DravoData("CMD_RESPONSE").GetBufferSize(), 520);
}

// ---- The fields the SCADA library uses -------------------------------------

// How the library uses a field, which decides the kinds that serve it and the
// value a probe puts.
enum class Use {
    Integer,       // any integer width; the library puts an int32
    TakesUInt8,    // an integer that also takes an unsigned 8-bit value of 200
    Bits16,        // a 16-bit integer, signed or not
    Int16,
    UInt8,
    UInt16,
    Int32,
    UInt32,
    Int64,
    Number,        // a statistic: integer or floating, reset with int32 0
    Double,
    Text,
    Utf16,
    Bytes,
    Record         // a nested record
};

struct UsedField {
    const char* type;
    const char* field;
    Use use;
};

const char* const kPointTypes[] = {"STATUS", "ANALOG", "TEXT"};

// Read, commanded and written on every kind of point.
const UsedField kPointFields[] = {
    {"", "pid", Use::Integer},         {"", "fullname", Use::Text},       {"", "rtuId", Use::Bits16},
    {"", "tag", Use::UInt32},          {"", "quality", Use::Integer},     {"", "limit", Use::Integer},
    {"", "isDirty", Use::Integer},     {"", "scanTime", Use::Integer},    {"", "changedTime", Use::Integer},
    {"", "savingTime", Use::Integer},
};

const char* const kAnalogPeriods[] = {"time", "day", "month", "total", "week", "year"};
const char* const kAnalogSlots[] = {"Now", "Max", "MaxTime", "Min", "MinTime", "Avg", "Delta", "Acc"};

const char* const kStatusStatistics[] = {
    "onTime", "offTime", "totalOnDuration", "totalOffDuration", "todayOnDuration", "todayOffDuration",
    "monthOnDuration", "monthOffDuration", "todayOnCount", "todayOffCount", "totalOnCount", "totalOffCount",
    "monthOnCount", "monthOffCount", "timeOnDuration", "timeOffDuration", "timeOnCount", "timeOffCount",
    "yearOnDuration", "yearOffDuration", "yearOnCount", "yearOffCount",
};

const UsedField kMessageAndUnitFields[] = {
    {"TASK_USER_DATA", "displayname", Use::Utf16},
    {"TASK_USER_DATA", "location", Use::Utf16},
    {"TASK_USER_DATA", "oid", Use::TakesUInt8},
    {"TASK_USER_DATA", "pid", Use::Int32},
    {"STATUS", "lastvalue", Use::Integer},
    {"ANALOG", "lastvalue", Use::Double},
    {"TEXT", "lastvalue", Use::Bytes},
    {"TEXT", "bytesize", Use::UInt16},
    {"TEXT", "dataFormat", Use::UInt8},
    {"COMMLINK", "updateTime", Use::Integer},
    {"COMMLINK", "commsavingTime", Use::Integer},
    {"COMMLINK", "todayFailDuration", Use::Integer},
    {"COMMLINK", "todayFailCount", Use::Integer},
    {"COMMLINK", "totalFailDuration", Use::Integer},
    {"COMMLINK", "totalFailCount", Use::Integer},
    {"COMMLINK", "status", Use::Integer},
    {"COMMLINK", "goodTime", Use::Integer},
    {"COMMLINK", "badTime", Use::Integer},
    {"REMOTEUNIT", "pid", Use::Integer},
    {"REMOTEUNIT", "tag", Use::UInt32},
    {"REMOTEUNIT", "updateTime", Use::Integer},
    {"REMOTEUNIT", "commsavingTime", Use::Integer},
    {"REMOTEUNIT", "goodTime", Use::Integer},
    {"REMOTEUNIT", "badTime", Use::Integer},
    {"REMOTEUNIT", "totalCommRatio", Use::Integer},
    {"REMOTEUNIT", "totalFailDuration", Use::Integer},
    {"REMOTEUNIT", "totalSuccessPolls", Use::Integer},
    {"REMOTEUNIT", "totalNoResponseTimes", Use::Integer},
    {"REMOTEUNIT", "totalFails", Use::Integer},
    {"REMOTEUNIT", "totalPollings", Use::Integer},
    {"REMOTEUNIT", "todayCommRatio", Use::Integer},
    {"REMOTEUNIT", "todayFailDuration", Use::Integer},
    {"REMOTEUNIT", "todaySuccessPolls", Use::Integer},
    {"REMOTEUNIT", "todayNoResponseTimes", Use::Integer},
    {"REMOTEUNIT", "todayFails", Use::Integer},
    {"REMOTEUNIT", "totayPollings", Use::Integer},   // the runtime server's own spelling
    {"REMOTEUNIT", "limit", Use::Integer},
    {"REMOTEUNIT", "quality", Use::Integer},
    {"REMOTEUNIT", "status", Use::Integer},
    {"NOTIFY_MESSAGE", "cmdCode", Use::Integer},
    {"NOTIFY_MESSAGE", "param", Use::Record},
    {"DATA_CHANGE_MESSAGE", "target", Use::Integer},
    {"DATA_CHANGE_MESSAGE", "pid", Use::Integer},
    {"ACKED_DATA_MESSAGE", "ackedBy", Use::Utf16},
    {"ACKED_DATA_MESSAGE", "alarmIds", Use::Bytes},
    {"USER_LOGONOFF_MESSAGE", "user", Use::Utf16},
    {"USER_LOGONOFF_MESSAGE", "state", Use::Integer},
    {"USER_LOGONOFF_MESSAGE", "eqid", Use::Utf16},
    {"REPORT_CREATION_MESSAGE", "prefix", Use::Utf16},
    {"REPORT_CREATION_MESSAGE", "reportid", Use::Integer},
    {"REMOTE_COMMAND2", "isUnConfirmed", Use::TakesUInt8},
    {"REMOTE_COMMAND2", "cmdCode", Use::Integer},
    {"REMOTE_COMMAND2", "param", Use::Record},
    {"REMOTE_COMMAND2", "commid", Use::Integer},
    {"REMOTE_AO_COMMAND", "pid", Use::Integer},
    {"REMOTE_AO_COMMAND", "value", Use::Double},
    {"REMOTE_AO_SEQUENCE_COMMAND", "cnt", Use::Integer},
    {"REMOTE_AO_SEQUENCE_COMMAND", "device", Use::Integer},
    {"REMOTE_AO_SEQUENCE_COMMAND", "values[]", Use::Record},
    {"ANALOG_ID_VALUE", "pid", Use::Integer},
    {"ANALOG_ID_VALUE", "value", Use::Double},
    {"REMOTE_RTU_COMMAND", "pid", Use::Integer},
    {"REMOTE_RTU_COMMAND", "cmd", Use::Integer},
    {"REMOTE_GENERIC_CMD", "pid", Use::Integer},
    {"REMOTE_GENERIC_CMD", "par1", Use::Text},
    {"REMOTE_GENERIC_CMD", "sizeBuffer", Use::Integer},
    {"REMOTE_GENERIC_CMD", "par2", Use::Bytes},
    {"CMD_RESPONSE", "failwhy", Use::Int16},
    {"CMD_RESPONSE", "failMessage", Use::Utf16},
    {"CMD_RESPONSE", "addSize", Use::Int32},
    {"STATUS_CHANGE", "pid", Use::Integer},
    {"STATUS_CHANGE", "oid", Use::Integer},
    {"STATUS_CHANGE", "oldvalue", Use::Integer},
    {"STATUS_CHANGE", "newvalue", Use::Integer},
    {"STATUS_CHANGE", "quality", Use::Integer},
    {"STATUS_CHANGE", "soe", Use::Integer},
    {"STATUS_CHANGE", "timestamp", Use::Int64},
    {"ANALOG_CHANGE", "pid", Use::Integer},
    {"ANALOG_CHANGE", "oldvalue", Use::Double},
    {"ANALOG_CHANGE", "newvalue", Use::Double},
    {"ANALOG_CHANGE", "quality", Use::Integer},
    {"ANALOG_CHANGE", "soe", Use::Integer},
    {"ANALOG_CHANGE", "isabnormal", Use::Integer},
    {"ANALOG_CHANGE", "timestamp", Use::Int64},
    {"ANALOG_CHANGE", "low_high_lowlow_highhigh", Use::Integer},
    {"ANALOG_CHANGE", "flag", Use::Integer},
};

// Every (type, field, use) of the library, the tables above expanded.
std::vector<std::pair<std::string, std::pair<std::string, Use>>> usedFields()
{
    std::vector<std::pair<std::string, std::pair<std::string, Use>>> all;
    for (const char* type : kPointTypes) {
        for (const UsedField& f : kPointFields)
            all.push_back({type, {f.field, f.use}});
    }
    for (const char* period : kAnalogPeriods) {
        for (const char* slot : kAnalogSlots)
            all.push_back({"ANALOG", {std::string(period) + slot, Use::Number}});
    }
    for (const char* statistic : kStatusStatistics)
        all.push_back({"STATUS", {statistic, Use::Number}});
    for (const UsedField& f : kMessageAndUnitFields)
        all.push_back({f.type, {f.field, f.use}});
    return all;
}

bool isInteger(DravoFieldKind kind)
{
    return kind >= DravoKindInt8 && kind <= DravoKindUInt64;
}

bool kindServes(Use use, DravoFieldKind kind)
{
    switch (use) {
    case Use::Integer:
    case Use::TakesUInt8: return isInteger(kind);
    case Use::Bits16: return kind == DravoKindInt16 || kind == DravoKindUInt16;
    case Use::Int16: return kind == DravoKindInt16;
    case Use::UInt8: return kind == DravoKindUInt8;
    case Use::UInt16: return kind == DravoKindUInt16;
    case Use::Int32: return kind == DravoKindInt32;
    case Use::UInt32: return kind == DravoKindUInt32;
    case Use::Int64: return kind == DravoKindInt64;
    case Use::Number: return isInteger(kind) || kind == DravoKindFloat || kind == DravoKindDouble;
    case Use::Double: return kind == DravoKindDouble;
    case Use::Text: return kind == DravoKindText;
    case Use::Utf16: return kind == DravoKindUtf16;
    case Use::Bytes: return kind == DravoKindBytes || kind == DravoKindAny;
    case Use::Record: return kind == DravoKindRecord || kind == DravoKindAny;
    }
    return false;
}

// The name to put: an indexed field is put at an index.
std::string putName(const std::string& field)
{
    const std::size_t bracket = field.find("[]");
    return bracket == std::string::npos ? field : field.substr(0, bracket) + "[0]";
}

// Puts the value the library puts for this use; a partial takes no nested
// records (they are variable).
template <typename Target>
std::vector<int> putLibraryValues(Target& target, Use use, const std::string& name, const DravoFieldInfo& info)
{
    const char* field = name.c_str();
    switch (use) {
    case Use::Integer:
    case Use::Number: return {target.PutValue(field, std::int32_t(0))};
    case Use::TakesUInt8: return {target.PutValue(field, std::int32_t(0)), target.PutValue(field, std::uint8_t(200))};
    case Use::Bits16:
    case Use::Int16: return {target.PutValue(field, std::int16_t(1))};
    case Use::UInt8: return {target.PutValue(field, std::uint8_t(7))};
    case Use::UInt16: return {target.PutValue(field, std::uint16_t(7))};
    case Use::Int32: return {target.PutValue(field, std::int32_t(-7))};
    case Use::UInt32: return {target.PutValue(field, std::uint32_t(4000000000u))};
    case Use::Int64: return {target.PutValue(field, -(std::int64_t(1) << 40))};
    case Use::Double: return {target.PutValue(field, 1.5)};
    case Use::Text: return {target.PutValue(field, "x")};
    case Use::Utf16: return {target.PutValueUtf16(field, u"x", 1)};
    case Use::Bytes: return {target.PutValue(field, "\x01\x02\x03", 3)};
    case Use::Record:
        if constexpr (std::is_same_v<Target, DravoData>) {
            DravoData nested(info.recordType.empty() ? "REMOTE_AO_COMMAND" : info.recordType.c_str());
            nested.PutValue("pid", 1);
            return {target.PutValue(field, nested)};
        } else {
            return {};
        }
    }
    return {};
}

TEST(DictionaryTest, EveryFieldTheLibraryUsesExistsWithAKindThatServes)
{
    int checked = 0;
    for (const auto& [type, use] : usedFields()) {
        const std::string& field = use.first;
        DravoTypeInfo info;
        ASSERT_EQ(DravoPlus::GetTypeInfo(type.c_str(), info), DRAVO_OK) << type;
        const DravoFieldInfo* found = fieldNamed(info, field);
        if (!found) {
            ADD_FAILURE() << type << " has no field " << field;
            continue;
        }
        EXPECT_TRUE(kindServes(use.second, found->kind))
            << type << "." << field << " has kind " << int(found->kind) << ", which does not serve the library's use";
        ++checked;
    }
    EXPECT_EQ(checked, 3 * 10 + 48 + 22 + static_cast<int>(std::size(kMessageAndUnitFields)));
}

TEST(DictionaryTest, EveryFieldTheLibraryUsesTakesTheLibrarysValue)
{
    for (const auto& [type, use] : usedFields()) {
        const std::string& field = use.first;
        const DravoFieldInfo info = conformance::fieldInfo(type.c_str(), field.c_str());
        const std::string name = putName(field);

        DravoData record(type.c_str());
        ASSERT_TRUE(record.IsGood()) << type;
        for (int rc : putLibraryValues(record, use.second, name, info))
            EXPECT_EQ(rc, DRAVO_OK) << "putting into " << type << "." << name;

        if (info.offset < 0)
            continue;   // variable fields are not written partially
        DravoPartialData partial(type.c_str());
        ASSERT_TRUE(partial.IsGood()) << type;
        for (int rc : putLibraryValues(partial, use.second, name, info))
            EXPECT_EQ(rc, DRAVO_OK) << "putting into a partial " << type << "." << name;
    }
}

// ---- Broken dictionaries ----------------------------------------------------

// Puts the product dictionary back in force when a test ends, whatever a
// test's loads did.
class DictionaryFileTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        DravoTypeInfo status;
        ASSERT_EQ(DravoPlus::GetTypeInfo("STATUS", status), DRAVO_OK) << DravoPlus::DictionaryError();
        m_statusSize = status.size;
        m_original = DravoPlus::DictionaryPath();
        ASSERT_FALSE(m_original.empty());
        m_productText = readFile(m_original);
        ASSERT_FALSE(m_productText.empty());
    }

    void TearDown() override
    {
        restoreProductDictionary();
        for (const std::string& file : m_files)
            std::remove(file.c_str());
    }

    int restoreProductDictionary() { return DravoPlus::LoadDictionary(m_original.c_str(), nullptr); }

    std::string writeDictionary(const std::string& text)
    {
        const std::string path = makeTempFile("dravo-dictionary");
        EXPECT_TRUE(writeFile(path, text)) << path;
        m_files.push_back(path);
        return path;
    }

    // The product dictionary with one more type, as a plant project adds one.
    std::string withType(const std::string& definition)
    {
        const std::string text = dictionaryWithTypes(m_productText, definition);
        EXPECT_FALSE(text.empty());
        return text;
    }

    // Loading the file fails with an error that names the file, mentions the
    // problem with one of the words given (and the culprit, when given), and
    // the dictionary in force stays as it was.
    void expectRefused(const std::string& path, std::initializer_list<const char*> problemWords,
                       const char* culprit = nullptr)
    {
        std::string error;
        EXPECT_EQ(DravoPlus::LoadDictionary(path.c_str(), &error), DRAVO_DICTIONARY_ERROR);
        EXPECT_NE(error.find(path), std::string::npos) << "the error does not name the file: " << error;
        std::string lower = error;
        std::transform(lower.begin(), lower.end(), lower.begin(),
                       [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
        const bool named = std::any_of(problemWords.begin(), problemWords.end(),
                                       [&](const char* word) { return lower.find(word) != std::string::npos; });
        EXPECT_TRUE(named) << "the error does not say what is wrong: " << error;
        if (culprit) {
            EXPECT_NE(error.find(culprit), std::string::npos) << "the error does not name " << culprit << ": " << error;
        }

        DravoTypeInfo status;
        EXPECT_EQ(DravoPlus::GetTypeInfo("STATUS", status), DRAVO_OK) << "the previous dictionary is gone";
        EXPECT_EQ(status.size, m_statusSize);
        EXPECT_TRUE(DravoData("STATUS").IsGood());
        EXPECT_TRUE(DravoData("CHANGED_ANALOG").IsGood());
    }

    std::string m_productText;

private:
    std::string m_original;
    int m_statusSize = 0;
    std::vector<std::string> m_files;
};

TEST_F(DictionaryFileTest, ExtendedDictionaryLoadsAndProductOneComesBack)
{
    std::string error;
    const std::string path = writeDictionary(withType(
        R"({"name": "PLANT_EXTRA", "size": 8, "fields": [{"name": "a", "kind": "int32", "offset": 0}]})"));
    ASSERT_EQ(DravoPlus::LoadDictionary(path.c_str(), &error), DRAVO_OK) << error;
    DravoTypeInfo extra;
    EXPECT_EQ(DravoPlus::GetTypeInfo("PLANT_EXTRA", extra), DRAVO_OK);
    EXPECT_EQ(extra.size, 8);
    EXPECT_TRUE(DravoData("STATUS").IsGood());
    EXPECT_TRUE(DravoData("PLANT_EXTRA").IsGood());

    ASSERT_EQ(restoreProductDictionary(), DRAVO_OK);
    EXPECT_NE(DravoPlus::GetTypeInfo("PLANT_EXTRA", extra), DRAVO_OK);
    EXPECT_FALSE(DravoData("PLANT_EXTRA").IsGood());
}

TEST_F(DictionaryFileTest, TextThatIsNotJsonIsRefused)
{
    expectRefused(writeDictionary("this is { not json"), {"json", "parse", "syntax", "invalid"});
}

TEST_F(DictionaryFileTest, TruncatedFileIsRefused)
{
    expectRefused(writeDictionary(m_productText.substr(0, m_productText.size() / 2)),
                  {"json", "parse", "syntax", "invalid", "end"});
}

TEST_F(DictionaryFileTest, FileWithoutTypesIsRefused)
{
    std::string text = m_productText;
    const std::size_t at = text.find("\"types\"");
    ASSERT_NE(at, std::string::npos);
    text.replace(at, 7, "\"typez\"");
    expectRefused(writeDictionary(text), {"types"});
}

TEST_F(DictionaryFileTest, FieldPastTheTypesSizeIsRefused)
{
    expectRefused(writeDictionary(withType(
                      R"({"name": "PROBE_PAST", "size": 8, "fields": [{"name": "tail", "kind": "int32", "offset": 6}]})")),
                  {"size", "past", "beyond", "exceed", "outside", "end", "overflow", "fit"}, "PROBE_PAST");
}

TEST_F(DictionaryFileTest, OverlappingFieldsAreRefused)
{
    expectRefused(writeDictionary(withType(R"({"name": "PROBE_OVERLAP", "size": 8, "fields": [
                      {"name": "a", "kind": "int32", "offset": 0},
                      {"name": "b", "kind": "int32", "offset": 2}]})")),
                  {"overlap"}, "PROBE_OVERLAP");
}

TEST_F(DictionaryFileTest, DuplicateTypeIsRefused)
{
    expectRefused(writeDictionary(withType(
                      R"({"name": "STATUS", "size": 8, "fields": [{"name": "a", "kind": "int32", "offset": 0}]})")),
                  {"duplicate", "twice", "more than once", "already", "again"}, "STATUS");
}

TEST_F(DictionaryFileTest, DuplicateFieldIsRefused)
{
    expectRefused(writeDictionary(withType(R"({"name": "PROBE_DUPLICATE", "size": 8, "fields": [
                      {"name": "a", "kind": "int32", "offset": 0},
                      {"name": "a", "kind": "int32", "offset": 4}]})")),
                  {"duplicate", "twice", "more than once", "already", "again"}, "PROBE_DUPLICATE");
}

TEST_F(DictionaryFileTest, UnknownKindIsRefused)
{
    expectRefused(writeDictionary(withType(
                      R"({"name": "PROBE_KIND", "size": 8, "fields": [{"name": "a", "kind": "int33", "offset": 0}]})")),
                  {"kind"}, "int33");
}

TEST_F(DictionaryFileTest, ChangedEventSourceOffFieldStartIsRefused)
{
    // STATUS has no field starting at byte 2.
    expectRefused(writeDictionary(withType(R"({"name": "CHANGED_PROBE", "size": 8, "from": "STATUS", "fields": [
                      {"name": "pid", "kind": "int32", "offset": 0, "source": 2}]})")),
                  {"source"}, "CHANGED_PROBE");
}

TEST_F(DictionaryFileTest, ChangedEventSourceOfOtherWidthIsRefused)
{
    // The status state byte at 553 is one byte wide, not four.
    expectRefused(writeDictionary(withType(R"({"name": "CHANGED_PROBE", "size": 8, "from": "STATUS", "fields": [
                      {"name": "lastvalue", "kind": "int32", "offset": 0, "source": 553}]})")),
                  {"source"}, "CHANGED_PROBE");
}

// Offsets and sizes near the top of the int range: computed in int, the
// field's end wraps negative and the field would pass as inside the type.
TEST_F(DictionaryFileTest, FieldWhoseEndOverflowsAnIntIsRefused)
{
    for (const char* field : {R"({"name": "tail", "kind": "bytes", "offset": 2147483000, "size": 1000})",
                              R"({"name": "tail", "kind": "bytes", "offset": 4, "size": 2147483647})",
                              R"({"name": "tail", "kind": "int64", "offset": 2147483645})",
                              R"({"name": "tail", "kind": "utf16", "offset": 2147483646, "size": 2})"}) {
        SCOPED_TRACE(field);
        expectRefused(writeDictionary(withType(std::string(R"({"name": "PROBE_WRAP", "size": 8, "fields": [)") + field
                                               + "]}")),
                      {"size", "past", "beyond", "exceed", "outside", "end", "overflow", "fit"}, "PROBE_WRAP");
    }
}

TEST_F(DictionaryFileTest, NegativeOrOutOfRangeNumbersAreRefused)
{
    for (const char* type : {R"({"name": "PROBE_NEGATIVE", "size": -8, "fields": []})",
                             R"({"name": "PROBE_NEGATIVE", "size": 8, "fields": [{"name": "a", "kind": "int32", "offset": -4}]})",
                             R"({"name": "PROBE_NEGATIVE", "size": 8, "fields": [{"name": "a", "kind": "bytes", "offset": 0, "size": -2}]})",
                             R"({"name": "PROBE_NEGATIVE", "size": 4294967304, "fields": []})",
                             R"({"name": "PROBE_NEGATIVE", "size": 8, "fields": [{"name": "a", "kind": "int32", "offset": 4294967296}]})"}) {
        SCOPED_TRACE(type);
        expectRefused(writeDictionary(withType(type)), {"non-negative", "negative", "integer", "range"},
                      "PROBE_NEGATIVE");
    }
}

TEST_F(DictionaryFileTest, ChangedEventSourcePastTheSourceTypeIsRefused)
{
    // The source position lies far beyond STATUS; near the int limit it
    // would wrap if added narrowly.
    for (const char* source : {"100000", "2147483000"}) {
        SCOPED_TRACE(source);
        expectRefused(writeDictionary(withType(std::string(R"({"name": "CHANGED_PROBE", "size": 8, "from": "STATUS", "fields": [
                      {"name": "pid", "kind": "int32", "offset": 0, "source": )") + source + "}]}")),
                      {"source"}, "CHANGED_PROBE");
    }
}

// A megabyte of openings, as a damaged or hostile file may hold: refused
// with a clear error, where a recursive parse would exhaust the stack.
TEST_F(DictionaryFileTest, DeeplyNestedFileIsRefusedWithoutExhaustingTheStack)
{
    for (const std::string unit : {"[", "{\"a\":"}) {
        SCOPED_TRACE(unit);
        std::string text;
        while (text.size() < 1000000)
            text += unit;
        expectRefused(writeDictionary(text), {"nesting deeper than 128"});
    }
}

// The root object is the first level; a member nested to 128 levels in all
// is ignored like any member the loader does not know, one more is refused.
TEST_F(DictionaryFileTest, NestingUpToTheLimitStillLoads)
{
    const auto withDeepMember = [this](int levels) {
        std::string text = m_productText;
        text.insert(text.find('{') + 1, "\"comment\": " + std::string(levels - 1, '[') + std::string(levels - 1, ']') + ",");
        return writeDictionary(text);
    };
    std::string error;
    EXPECT_EQ(DravoPlus::LoadDictionary(withDeepMember(128).c_str(), &error), DRAVO_OK) << error;
    expectRefused(withDeepMember(129), {"nesting deeper than 128"});
}

TEST_F(DictionaryFileTest, MissingFileIsRefused)
{
    const std::string path = makeTempFile("dravo-dictionary");
    std::remove(path.c_str());
    expectRefused(path + "-absent.json", {"open", "exist", "found", "read", "no such", "cannot", "missing"});
}

} // namespace
