// record_test.cpp: records are values. Copies share what they hold until
// one of them changes, and no change to one copy, by any setter, shows in
// another, on any thread.
#include <DravoPlus/DravoPlus.h>

#include <gtest/gtest.h>

#include <atomic>
#include <string>
#include <thread>
#include <vector>

namespace {

DravoData statusRecord(int pid)
{
    DravoData record("STATUS", "STATUS1");
    record.PutValue("pid", pid);
    return record;
}

// Each way of changing a record, applied to the copy of a status record.
const std::vector<std::pair<const char*, void (*)(DravoData&)>> kChanges = {
    {"PutValue", [](DravoData& r) { r.PutValue("pid", 99); }},
    {"SetFullName", [](DravoData& r) { r.SetFullName("renamed"); }},
    {"GetRawValue", [](DravoData& r) { r.GetRawValue()[10] = 'x'; }},
    {"SetRawValue", [](DravoData& r) { r.SetRawValue("abc", 3); }},
    {"SetMidType", [](DravoData& r) { r.SetMidType("ANALOG", "abc", 3); }},
    {"CastType", [](DravoData& r) { r.CastType("ANALOG"); }},
    {"ApplyTo",
     [](DravoData& r) {
         DravoPartialData partial("STATUS");
         partial.PutValue("pid", 77);
         partial.ApplyTo(r);
     }},
    {"assignment", [](DravoData& r) { r = DravoData("ANALOG"); }},
};

TEST(RecordCopyTest, EveryChangeToACopyLeavesTheOriginalAsItWas)
{
    for (const auto& [how, change] : kChanges) {
        SCOPED_TRACE(how);
        const DravoData original = statusRecord(5);
        const std::string before = DravoPlus::SerializeRecord(original);
        DravoData copy(original);
        change(copy);
        EXPECT_NE(DravoPlus::SerializeRecord(copy), before) << "the change did not take";
        EXPECT_EQ(DravoPlus::SerializeRecord(original), before);
    }
}

TEST(RecordCopyTest, EveryChangeToTheOriginalLeavesItsCopiesAsTheyWere)
{
    for (const auto& [how, change] : kChanges) {
        SCOPED_TRACE(how);
        DravoData original = statusRecord(5);
        DravoData assigned;
        assigned = original;
        const DravoData copied(original);
        const std::string before = DravoPlus::SerializeRecord(copied);
        change(original);
        EXPECT_EQ(DravoPlus::SerializeRecord(copied), before);
        EXPECT_EQ(DravoPlus::SerializeRecord(assigned), before);
    }
}

TEST(RecordCopyTest, AMovedFromRecordIsAnEmptyNamelessRecord)
{
    DravoData source = statusRecord(5);
    DravoData constructed(std::move(source));
    EXPECT_EQ(constructed.GetSignedIntValue("pid"), 5);
    EXPECT_STREQ(source.GetTypeName(), "");
    EXPECT_EQ(source.GetBufferSize(), 0);
    EXPECT_TRUE(source.IsGood());

    DravoData target = statusRecord(6);
    DravoData other = statusRecord(7);
    target = std::move(other);
    EXPECT_EQ(target.GetSignedIntValue("pid"), 7);
    EXPECT_STREQ(other.GetTypeName(), "");
    EXPECT_EQ(other.GetBufferSize(), 0);
}

TEST(RecordCopyTest, CopiesMadeAndChangedOnManyThreadsStayTheirOwn)
{
    const DravoData shared = statusRecord(1);
    const std::string before = DravoPlus::SerializeRecord(shared);
    std::atomic<int> wrong{0};
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t) {
        threads.emplace_back([&, t] {
            for (int i = 0; i < 2000; ++i) {
                DravoData copy(shared);
                DravoData again = copy;
                const int pid = t * 10000 + i;
                copy.PutValue("pid", pid);
                if (copy.GetSignedIntValue("pid") != pid || again.GetSignedIntValue("pid") != 1)
                    ++wrong;
            }
        });
    }
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_EQ(wrong.load(), 0);
    EXPECT_EQ(DravoPlus::SerializeRecord(shared), before);
}

} // namespace

// A record made from another's type and some bytes: the type and nothing
// else of the model, the bytes made as long as the type, nothing shared.
TEST(RecordOfATypeTest, TakesTheModelsTypeAndTheBytesAndNothingElse)
{
    DravoData model = statusRecord(5);
    model.PutValue("extra", "variable");
    const std::string modelBefore = DravoPlus::SerializeRecord(model);

    DravoData source = statusRecord(42);
    DravoData made(model, source.GetRawValue(), source.GetBufferSize());
    EXPECT_TRUE(made.IsGood());
    EXPECT_STREQ(made.GetTypeName(), "STATUS");
    EXPECT_STREQ(made.GetDataName(), "");
    EXPECT_TRUE(made.VariableFieldNames().empty());
    EXPECT_EQ(made.GetBufferSize(), source.GetBufferSize());
    EXPECT_EQ(made.GetSignedIntValue("pid"), 42);

    made.PutValue("pid", 7);
    EXPECT_EQ(DravoPlus::SerializeRecord(model), modelBefore);
}

TEST(RecordOfATypeTest, ShortBytesAreMadeAsLongAsTheTypeWithZerosAndLongOnesKept)
{
    const DravoData model("STATUS");
    const int typeSize = model.GetBufferSize();
    ASSERT_GT(typeSize, 8);

    const DravoData shortOne(model, "\x01\x02\x03", 3);
    ASSERT_EQ(shortOne.GetBufferSize(), typeSize);
    EXPECT_EQ(std::string(shortOne.GetRawValue(), 3), "\x01\x02\x03");
    EXPECT_EQ(std::string(shortOne.GetRawValue() + 3, typeSize - 3), std::string(typeSize - 3, '\0'));

    const std::string longer(typeSize + 10, 'x');
    const DravoData longOne(model, longer.data(), static_cast<int>(longer.size()));
    EXPECT_EQ(std::string(longOne.GetRawValue(), longOne.GetBufferSize()), longer);

    const DravoData none(model, nullptr, 0);
    EXPECT_EQ(std::string(none.GetRawValue(), none.GetBufferSize()), std::string(typeSize, '\0'));
}

TEST(RecordOfATypeTest, ANamelessOrUnknownModelGivesItsKindOfRecord)
{
    const DravoData nameless(DravoData(), "abc", 3);
    EXPECT_STREQ(nameless.GetTypeName(), "");
    EXPECT_EQ(std::string(nameless.GetRawValue(), nameless.GetBufferSize()), "abc");

    const DravoData unknownModel("NO_SUCH_TYPE");
    ASSERT_FALSE(unknownModel.IsGood());
    const DravoData unknown(unknownModel, "abc", 3);
    EXPECT_FALSE(unknown.IsGood());
    EXPECT_STREQ(unknown.GetTypeName(), "NO_SUCH_TYPE");
    EXPECT_EQ(std::string(unknown.GetRawValue(), unknown.GetBufferSize()), "abc");
}
