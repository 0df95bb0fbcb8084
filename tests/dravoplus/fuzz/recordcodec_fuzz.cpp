/*
 * recordcodec_fuzz.cpp: the libFuzzer entry point for a record's transport
 * form as read back from a server (DravoPlus::DeserializeRecord).
 *
 * A form that reads gives a record whose own form reads again to the same
 * bytes, and whose variable fields (nested records among them) all read.
 */
#include <DravoPlus/DravoPlus.h>

#include <cstdint>
#include <cstdlib>

namespace {

void readFields(const DravoData& record)
{
    for (const std::string& name : record.VariableFieldNames()) {
        std::string text;
        record.GetValue(name.c_str(), text);
        DravoData nested;
        if (record.GetValue(name.c_str(), nested) == DRAVO_OK)
            readFields(nested);
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    DravoData record;
    if (DravoPlus::DeserializeRecord(data, size, record) != DRAVO_OK)
        return 0;
    readFields(record);
    const std::string form = DravoPlus::SerializeRecord(record);
    DravoData again;
    if (DravoPlus::DeserializeRecord(form.data(), form.size(), again) != DRAVO_OK
        || DravoPlus::SerializeRecord(again) != form)
        std::abort();
    return 0;
}
