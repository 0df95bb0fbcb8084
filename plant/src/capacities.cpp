/*
 * capacities.cpp: field sizes looked up in the data dictionary, once per
 * field.
 */
#include "capacities.h"

#include "planterror.h"

namespace MVPlant::detail {

std::size_t Capacities::size(const char* type, const char* field)
{
    const std::string key = std::string(type) + "." + field;
    const auto it = m_sizes.find(key);
    if (it != m_sizes.end())
        return it->second;
    DravoTypeInfo info;
    const int rc = DravoPlus::GetTypeInfo(type, info);
    if (rc != 0) {
        const std::string why = DravoPlus::DictionaryError();
        fail(std::string("the data dictionary has no record type ") + type
                 + (why.empty() ? std::string() : " (" + why + ")"),
             why.empty() ? rc : DRAVO_DICTIONARY_ERROR);
    }
    for (const DravoFieldInfo& f : info.fields) {
        if (f.name == field && f.offset >= 0 && f.size > 1) {
            m_sizes.emplace(key, static_cast<std::size_t>(f.size));
            return static_cast<std::size_t>(f.size);
        }
    }
    fail(std::string("the data dictionary's type ") + type + " has no fixed field " + field,
         DRAVO_DICTIONARY_ERROR);
}

} // namespace MVPlant::detail
