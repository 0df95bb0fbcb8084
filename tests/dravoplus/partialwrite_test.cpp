// partialwrite_test.cpp: the rules of a partial write and of a batch of them,
// tested on their own (they are shared by both backends), and the Redis
// patch script, which applies the same rules to records stored in their
// transport form, checked byte for byte against SerializeRecord of what the
// rules give.
#include "partialwrite.h"
#include "redisscripts.h"

#include "redisserver.h"

#include <DravoPlus/DravoPlus.h>

#include <gtest/gtest.h>

#include <cstring>
#include <map>
#include <string>
#include <vector>

namespace {

using dravo::AppliedBatch;
using dravo::FieldPatch;

DravoData statusPoint(const std::string& name, int pid)
{
    DravoData record("STATUS", name.c_str());
    record.PutValue("pid", pid);
    record.PutValue("quality", 1);
    return record;
}

DravoPartialData qualityAndTag(const std::string& name, int quality, unsigned tag)
{
    DravoPartialData partial("STATUS", name.c_str());
    partial.PutValue("quality", quality);
    partial.PutValue("tag", tag);
    return partial;
}

// A stored database of records for applyBatch, counting its reads.
struct Store {
    std::map<std::string, DravoData> records;
    std::map<std::string, int> reads;
    int failWith = DRAVO_OK;   // the code a read of "damaged" gives

    dravo::StoredRecord lookup()
    {
        return [this](const std::string& name, DravoData& out) {
            ++reads[name];
            if (name == "damaged")
                return failWith;
            const auto it = records.find(name);
            if (it == records.end())
                return static_cast<int>(DRAVO_NOT_FOUND);
            out = it->second;
            return static_cast<int>(DRAVO_OK);
        };
    }
};

std::vector<const DravoPartialData*> pointers(const std::vector<DravoPartialData>& partials)
{
    std::vector<const DravoPartialData*> out;
    for (const DravoPartialData& p : partials)
        out.push_back(&p);
    return out;
}

const DravoRecordType& recordType(const char* name)
{
    const DravoRecordType* type = dravo::findType(name);
    EXPECT_NE(type, nullptr) << name;
    return *type;
}

const DravoRecordType& statusType()
{
    return recordType("STATUS");
}

// Where the dictionary puts a fixed field (-1 when the type lacks it).
int offsetOf(const char* type, const std::string& field)
{
    DravoTypeInfo info;
    if (DravoPlus::GetTypeInfo(type, info) != DRAVO_OK)
        return -1;
    for (const DravoFieldInfo& f : info.fields)
        if (f.name == field)
            return f.offset;
    return -1;
}

// ---- Field patches -------------------------------------------------------------

TEST(PartialWriteTest, FieldPatchesPutEachFieldAtItsOffsetInPutOrder)
{
    const DravoPartialData partial = qualityAndTag("STATUS1", -7, 0x80000001u);
    std::vector<FieldPatch> patches;
    ASSERT_EQ(dravo::fieldPatches(partial, statusType(), patches), DRAVO_OK);
    ASSERT_EQ(patches.size(), 2u);
    EXPECT_EQ(patches[0].offset, offsetOf("STATUS", "quality"));
    EXPECT_EQ(patches[1].offset, offsetOf("STATUS", "tag"));
    std::int32_t quality = 0;
    std::uint32_t tag = 0;
    ASSERT_EQ(patches[0].bytes.size(), sizeof quality);
    ASSERT_EQ(patches[1].bytes.size(), sizeof tag);
    std::memcpy(&quality, patches[0].bytes.data(), sizeof quality);
    std::memcpy(&tag, patches[1].bytes.data(), sizeof tag);
    EXPECT_EQ(quality, -7);
    EXPECT_EQ(tag, 0x80000001u);
}

TEST(PartialWriteTest, FieldPatchesFindFieldsByNameInTheRecordsOwnType)
{
    // An ANALOG partial's "quality" lands where a STATUS record keeps it.
    DravoPartialData partial("ANALOG", "STATUS1");
    partial.PutValue("quality", 3);
    std::vector<FieldPatch> patches;
    ASSERT_EQ(dravo::fieldPatches(partial, statusType(), patches), DRAVO_OK);
    ASSERT_EQ(patches.size(), 1u);
    EXPECT_EQ(patches[0].offset, offsetOf("STATUS", "quality"));
    EXPECT_NE(patches[0].offset, offsetOf("ANALOG", "quality"));
}

TEST(PartialWriteTest, FieldPatchesRefuseAFieldTheTypeLacks)
{
    DravoPartialData partial("ANALOG", "STATUS1");
    ASSERT_EQ(partial.PutValue("highLimit", 2.5), DRAVO_OK);   // ANALOG has it, STATUS does not
    std::vector<FieldPatch> patches;
    EXPECT_EQ(dravo::fieldPatches(partial, statusType(), patches), DRAVO_UNKNOWN_FIELD);
}

TEST(PartialWriteTest, FieldPatchesRefuseAValueTheFieldDoesNotTake)
{
    // A double fits ANALOG's "lastvalue" but neither TEXT's byte field nor
    // STATUS's 8-bit state of the same name: the record's own field decides.
    DravoPartialData partial("ANALOG", "TEXT1");
    ASSERT_EQ(partial.PutValue("lastvalue", 2.5), DRAVO_OK);
    std::vector<FieldPatch> patches;
    EXPECT_EQ(dravo::fieldPatches(partial, recordType("TEXT"), patches), DRAVO_WRONG_KIND);
    EXPECT_EQ(dravo::fieldPatches(partial, statusType(), patches), DRAVO_WRONG_KIND);
}

TEST(PartialWriteTest, ApplyToWritesExactlyTheFieldPatches)
{
    DravoData record = statusPoint("STATUS7", 7);
    const DravoData before = record;
    const DravoPartialData partial = qualityAndTag("STATUS7", 5, 9u);
    std::vector<FieldPatch> patches;
    ASSERT_EQ(dravo::fieldPatches(partial, statusType(), patches), DRAVO_OK);
    ASSERT_EQ(partial.ApplyTo(record), DRAVO_OK);

    std::string expected(before.GetRawValue(), static_cast<std::size_t>(before.GetBufferSize()));
    for (const FieldPatch& patch : patches)
        expected.replace(static_cast<std::size_t>(patch.offset), patch.bytes.size(), patch.bytes);
    EXPECT_EQ(std::string(record.GetRawValue(), static_cast<std::size_t>(record.GetBufferSize())), expected);
}

// ---- Batches -------------------------------------------------------------------

TEST(PartialWriteTest, BatchEntriesForOneRecordBuildOnEachOther)
{
    Store store;
    store.records["A"] = statusPoint("A", 1);
    DravoPartialData quality("STATUS", "A");
    quality.PutValue("quality", 6);
    DravoPartialData tag("STATUS", "A");
    tag.PutValue("tag", 8u);
    const std::vector<DravoPartialData> partials{quality, tag};

    AppliedBatch batch;
    ASSERT_EQ(dravo::applyBatch({"A", "A"}, pointers(partials), store.lookup(), batch), DRAVO_OK);
    ASSERT_EQ(batch.results.size(), 2u);
    EXPECT_EQ(batch.results[0].GetSignedIntValue("quality"), 6);
    EXPECT_EQ(batch.results[0].GetUnSignedIntValue("tag"), 0u);
    EXPECT_EQ(batch.results[1].GetSignedIntValue("quality"), 6) << "the second entry starts from the first's result";
    EXPECT_EQ(batch.results[1].GetUnSignedIntValue("tag"), 8u);
    ASSERT_EQ(batch.latest.size(), 1u);
    EXPECT_EQ(batch.latest.at("A"), 1u);
    EXPECT_EQ(store.reads["A"], 1) << "a record is read once per batch";
}

TEST(PartialWriteTest, BatchKeepsEntriesInBatchOrderAcrossRecords)
{
    Store store;
    store.records["A"] = statusPoint("A", 1);
    store.records["B"] = statusPoint("B", 2);
    const std::vector<DravoPartialData> partials{qualityAndTag("B", 20, 0), qualityAndTag("A", 10, 0),
                                                 qualityAndTag("B", 21, 0)};
    AppliedBatch batch;
    ASSERT_EQ(dravo::applyBatch({"B", "A", "B"}, pointers(partials), store.lookup(), batch), DRAVO_OK);
    ASSERT_EQ(batch.results.size(), 3u);
    EXPECT_EQ(batch.results[0].GetSignedIntValue("quality"), 20);
    EXPECT_EQ(batch.results[1].GetSignedIntValue("quality"), 10);
    EXPECT_EQ(batch.results[2].GetSignedIntValue("quality"), 21);
    EXPECT_EQ(batch.latest.at("A"), 1u);
    EXPECT_EQ(batch.latest.at("B"), 2u);
}

TEST(PartialWriteTest, BatchWithAMissingRecordFailsWholeAndLeavesNothingToWrite)
{
    Store store;
    store.records["A"] = statusPoint("A", 1);
    const std::vector<DravoPartialData> partials{qualityAndTag("A", 10, 0), qualityAndTag("Gone", 1, 0)};
    AppliedBatch batch;
    EXPECT_EQ(dravo::applyBatch({"A", "Gone"}, pointers(partials), store.lookup(), batch), DRAVO_NOT_FOUND);
    EXPECT_TRUE(batch.results.empty());
    EXPECT_TRUE(batch.latest.empty());
}

TEST(PartialWriteTest, BatchFailsWithTheFirstFailingEntrysCode)
{
    Store store;
    store.records["A"] = statusPoint("A", 1);
    DravoPartialData unknown("ANALOG", "A");
    unknown.PutValue("highLimit", 1.0);
    const std::vector<DravoPartialData> partials{qualityAndTag("A", 10, 0), unknown, qualityAndTag("Gone", 1, 0)};
    AppliedBatch batch;
    EXPECT_EQ(dravo::applyBatch({"A", "A", "Gone"}, pointers(partials), store.lookup(), batch), DRAVO_UNKNOWN_FIELD);
    EXPECT_TRUE(batch.results.empty());
    EXPECT_EQ(store.reads.count("Gone"), 0u) << "entries after the failing one are not looked at";
}

TEST(PartialWriteTest, BatchPassesOnTheCodeOfARecordThatCannotBeRead)
{
    Store store;
    store.failWith = DRAVO_MALFORMED;
    const std::vector<DravoPartialData> partials{qualityAndTag("damaged", 1, 0)};
    AppliedBatch batch;
    EXPECT_EQ(dravo::applyBatch({"damaged"}, pointers(partials), store.lookup(), batch), DRAVO_MALFORMED);
}

TEST(PartialWriteTest, BatchRefusesMissingPartialsNamesAndMismatchedLists)
{
    const DravoPartialData partial = qualityAndTag("A", 1, 0);
    EXPECT_EQ(dravo::checkBatch({"A"}, {&partial}), DRAVO_OK);
    EXPECT_EQ(dravo::checkBatch({}, {}), DRAVO_OK);
    EXPECT_EQ(dravo::checkBatch({"A", "B"}, {&partial}), DRAVO_BAD_ARGUMENT);
    EXPECT_EQ(dravo::checkBatch({"A"}, {nullptr}), DRAVO_BAD_ARGUMENT);
    EXPECT_EQ(dravo::checkBatch({""}, {&partial}), DRAVO_BAD_ARGUMENT);

    Store store;
    AppliedBatch batch;
    EXPECT_EQ(dravo::applyBatch({"A"}, {nullptr}, store.lookup(), batch), DRAVO_BAD_ARGUMENT);
    EXPECT_TRUE(store.reads.empty());
}

// Applying the disjoint spans gives every byte that applying the patches in
// put order gives, later fields winning where they share bytes.
TEST(PartialWriteTest, DisjointPatchesWriteWhatThePatchesWriteInPutOrder)
{
    const std::vector<FieldPatch> patches{
        {40, "AAAA"},      // overlapped at its end by the next
        {42, "bbbbbb"},
        {10, "cc"},        // touches the one after it
        {12, "dd"},
        {30, ""},          // writes nothing
        {60, "eeee"},      // wholly inside the next, which wins
        {58, "FFFFFFFF"},
        {61, "g"},         // and written over again, inside it
        {0, "h"},
    };
    std::string inOrder(80, '.');
    for (const FieldPatch& patch : patches)
        inOrder.replace(static_cast<std::size_t>(patch.offset), patch.bytes.size(), patch.bytes);

    const std::vector<FieldPatch> spans = dravo::disjointPatches(patches);
    std::string bySpans(80, '.');
    int end = -1;
    for (const FieldPatch& span : spans) {
        EXPECT_GT(span.offset, end) << "spans in offset order, neither overlapping nor touching";
        EXPECT_FALSE(span.bytes.empty());
        end = span.offset + static_cast<int>(span.bytes.size());
        bySpans.replace(static_cast<std::size_t>(span.offset), span.bytes.size(), span.bytes);
    }
    EXPECT_EQ(bySpans, inOrder);
    ASSERT_EQ(spans.size(), 4u);
    EXPECT_EQ(spans[0].offset, 0);
    EXPECT_EQ(spans[1].offset, 10);
    EXPECT_EQ(spans[1].bytes, "ccdd");
    EXPECT_EQ(spans[2].bytes, "AAbbbbbb");
    EXPECT_EQ(spans[3].bytes, "FFFgFFFF");
    EXPECT_TRUE(dravo::disjointPatches({}).empty());
}

// ---- The patch script on a real Redis --------------------------------------------

// Runs the patch script with the arguments the backend would give it.
class PatchScriptRedisTest : public ::testing::Test
{
protected:
    void SetUp() override { ASSERT_TRUE(m_server.isRunning()) << m_server.error(); }

    std::string key(const std::string& name) const { return dravo::redis::recordKey(name); }

    void store(const DravoData& record)
    {
        ASSERT_EQ(m_server.command({"SET", key(record.GetDataName()), DravoPlus::SerializeRecord(record)}), "OK");
    }

    std::string stored(const std::string& name) const { return m_server.command({"GET", key(name)}); }

    // The script's reply, one element per line ("0", or "1\n<entry>" ...).
    std::string patch(const std::vector<std::string>& names, const std::vector<DravoPartialData>& partials,
                      bool publish = false)
    {
        dravo::redis::Command args;
        EXPECT_TRUE(dravo::redis::patchScriptArguments(names, pointers(partials), publish, args));
        std::vector<std::string> command{"EVAL", dravo::redis::scriptSource(dravo::redis::Script::Patch), "0"};
        command.insert(command.end(), args.begin(), args.end());
        return m_server.command(command);
    }

    mvtest::RedisServer m_server;
};

TEST_F(PatchScriptRedisTest, PatchedFormEqualsTheSerialisedResultOfTheRules)
{
    // Forms whose lengths use every byte of their length prefixes: a data
    // name over 255 bytes, a raw value over 65535 bytes (bytes appended
    // behind the fixed part), the largest point type, and a plain one.
    DravoData longName = statusPoint(std::string(300, 'n'), 1);
    DravoData longRaw = statusPoint("WithTail", 2);
    std::string raw(longRaw.GetRawValue(), static_cast<std::size_t>(longRaw.GetBufferSize()));
    raw.append(70000, '\x5A');
    ASSERT_EQ(longRaw.SetRawValue(raw.data(), static_cast<int>(raw.size())), DRAVO_OK);
    DravoData text("TEXT", "TEXT3000001");
    text.PutValue("pid", 3000001);
    DravoData plain = statusPoint("Plain", 4);

    for (DravoData record : {longName, longRaw, text, plain}) {
        SCOPED_TRACE(std::string(record.GetTypeName()) + " " + std::to_string(record.GetBufferSize()));
        store(record);
        DravoPartialData partial(record.GetTypeName(), record.GetDataName());
        partial.PutValue("quality", -123456);
        partial.PutValue("tag", 0xFEDCBA98u);
        partial.PutValue("pid", 77);
        EXPECT_EQ(patch({record.GetDataName()}, {partial}), "0");

        DravoData expected = record;
        ASSERT_EQ(partial.ApplyTo(expected), DRAVO_OK);
        EXPECT_EQ(stored(record.GetDataName()), DravoPlus::SerializeRecord(expected));
    }
}

// The script joins each new form in one pass and so takes its patches in
// offset order without overlaps; anything else is refused and writes nothing.
TEST_F(PatchScriptRedisTest, PatchesOutOfOrderOrOverlappingAreRefusedAndWriteNothing)
{
    const DravoData record = statusPoint("Ordered", 1);
    store(record);
    const std::string before = stored("Ordered");
    const std::vector<std::vector<std::string>> refused{
        {"20", "abcd", "8", "wxyz"},     // out of order
        {"8", "abcdef", "12", "wxyz"},   // overlapping
    };
    for (const std::vector<std::string>& patches : refused) {
        std::vector<std::string> command{"EVAL", dravo::redis::scriptSource(dravo::redis::Script::Patch), "0",
                                         "0", std::to_string(DRAVO_EVENT_RAW_CHANGE), "1", "Ordered", "STATUS", "2"};
        command.insert(command.end(), patches.begin(), patches.end());
        EXPECT_EQ(m_server.command(command), "2\n1");
        EXPECT_EQ(stored("Ordered"), before);
    }
}

TEST_F(PatchScriptRedisTest, EntriesForOneRecordBuildOnEachOtherAsInTheRules)
{
    store(statusPoint("Twice", 1));
    DravoPartialData quality("STATUS", "Twice");
    quality.PutValue("quality", 6);
    DravoPartialData tag("STATUS", "Twice");
    tag.PutValue("tag", 8u);
    EXPECT_EQ(patch({"Twice", "Twice"}, {quality, tag}), "0");

    Store rules;
    rules.records["Twice"] = statusPoint("Twice", 1);
    AppliedBatch batch;
    const std::vector<DravoPartialData> partials{quality, tag};
    ASSERT_EQ(dravo::applyBatch({"Twice", "Twice"}, pointers(partials), rules.lookup(), batch), DRAVO_OK);
    EXPECT_EQ(stored("Twice"), DravoPlus::SerializeRecord(batch.results[batch.latest.at("Twice")]));
}

TEST_F(PatchScriptRedisTest, MissingRecordNamesItsEntryAndWritesNothing)
{
    const DravoData first = statusPoint("First", 1);
    store(first);
    EXPECT_EQ(patch({"First", "Nowhere"}, {qualityAndTag("First", 9, 0), qualityAndTag("Nowhere", 9, 0)}), "1\n2");
    EXPECT_EQ(stored("First"), DravoPlus::SerializeRecord(first)) << "all or nothing";
}

TEST_F(PatchScriptRedisTest, StoredRecordOfAnotherTypeIsLeftToTheBackend)
{
    DravoData analog("ANALOG", "Other");
    store(analog);
    DravoPartialData partial("STATUS", "Other");
    partial.PutValue("quality", 1);
    EXPECT_EQ(patch({"Other"}, {partial}), "2\n1");
    EXPECT_EQ(stored("Other"), DravoPlus::SerializeRecord(analog));
}

TEST_F(PatchScriptRedisTest, RecordShorterThanItsTypeIsLeftToTheBackend)
{
    // A form whose raw value is cut short (written by an older dictionary)
    // cannot be patched in place.
    const std::string form = DravoPlus::SerializeRecord(statusPoint("Short", 1));
    // "DRV1", type "STATUS" and name "Short" with their lengths, then a raw
    // value of 8 bytes only and no variable fields.
    const std::string shortForm = form.substr(0, 4 + 2 + 6 + 2 + 5) + std::string("\x08\x00\x00\x00", 4)
                                + std::string(8, '\0') + std::string("\x00\x00", 2);
    ASSERT_EQ(m_server.command({"SET", key("Short"), shortForm}), "OK");
    EXPECT_EQ(patch({"Short"}, {qualityAndTag("Short", 1, 0)}), "2\n1");
    EXPECT_EQ(stored("Short"), shortForm);
}

TEST_F(PatchScriptRedisTest, PublishedChangesAreTheSerialisedResultsInBatchOrder)
{
    // A box subscribed to the raw-change kind, laid out as the backend keeps
    // one, receives one change per entry.
    const std::string kind = std::to_string(DRAVO_EVENT_RAW_CHANGE);
    ASSERT_EQ(m_server.command({"SADD", "dravo:kind:" + kind, "watcher"}), "1");
    ASSERT_EQ(m_server.command({"HSET", "dravo:box:watcher", "kind", kind, "capacity", "100", "domain", "",
                                "owner", "nobody", "port", "41", "persistent", "1", "dropped", "0"}),
              "7");
    store(statusPoint("P1", 1));
    store(statusPoint("P2", 2));
    const std::vector<DravoPartialData> partials{qualityAndTag("P2", 2, 0), qualityAndTag("P1", 1, 0),
                                                 qualityAndTag("P2", 3, 0)};
    EXPECT_EQ(patch({"P2", "P1", "P2"}, partials, true), "0");

    Store rules;
    rules.records["P1"] = statusPoint("P1", 1);
    rules.records["P2"] = statusPoint("P2", 2);
    AppliedBatch batch;
    ASSERT_EQ(dravo::applyBatch({"P2", "P1", "P2"}, pointers(partials), rules.lookup(), batch), DRAVO_OK);
    ASSERT_EQ(m_server.command({"LLEN", "dravo:q:41"}), "3");
    for (std::size_t i = 0; i < 3; ++i)
        EXPECT_EQ(m_server.command({"LINDEX", "dravo:q:41", std::to_string(i)}),
                  DravoPlus::SerializeRecord(batch.results[i]))
            << "change " << i;
}

} // namespace
