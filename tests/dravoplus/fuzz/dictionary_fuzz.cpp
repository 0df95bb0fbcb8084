/*
 * dictionary_fuzz.cpp: the libFuzzer entry point for the data dictionary
 * loader (the text of a dictionary file, as dravo::parseDictionary reads
 * it). A text is either refused with a reason or gives types whose fields
 * are all found by their own names.
 */
#include "dictionary.h"

#include <cstdint>
#include <cstdlib>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    std::string error;
    const std::unique_ptr<dravo::Dictionary> dictionary
        = dravo::parseDictionary(std::string(reinterpret_cast<const char*>(data), size), "fuzz.json", error);
    if (!dictionary) {
        if (error.empty())
            std::abort();
        return 0;
    }
    for (const auto& [name, type] : dictionary->types) {
        if (dictionary->type(name) != type.get())
            std::abort();
        for (const DravoFieldDef& field : type->fields)
            if (!type->find(field.name.c_str()))
                std::abort();
    }
    return 0;
}
