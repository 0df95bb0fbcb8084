/*
 * systemoptionchange_fuzz.cpp: the libFuzzer entry point for the system
 * option change message as another station announces it (its JSON text,
 * read by SystemOptionChangeMessage::fromJson, whose member texts come from
 * Morvane::getJsonString). The options read are then written back in
 * chunks of every size up to their count, which gives one text per chunk.
 */
#include <MVShared/SystemOptionChangeMessage.h>

#include <cstdint>
#include <cstdlib>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    const QString text = QString::fromUtf8(reinterpret_cast<const char*>(data), int(size));
    const SystemOptionChangeMessage message = SystemOptionChangeMessage::fromJson(text);
    const int count = message.options().size();
    for (int chunk = 1; chunk <= qMin(count, 4); ++chunk)
        if (message.toJson(chunk).size() != (count + chunk - 1) / chunk)
            std::abort();
    return 0;
}
