/*
 * capacities.h: how many bytes the data dictionary gives each text field of
 * a plant's records, so that a plant file is checked against the real
 * record layouts rather than copied numbers.
 */
#ifndef MVPLANT_CAPACITIES_H
#define MVPLANT_CAPACITIES_H

#include <cstddef>
#include <map>
#include <string>

namespace MVPlant::detail {

class Capacities
{
public:
    /* Bytes a zero-terminated text field holds, its terminator excluded. */
    std::size_t text(const char* type, const char* field) { return size(type, field) - 1; }
    /* Bytes a raw field holds. */
    std::size_t bytes(const char* type, const char* field) { return size(type, field); }

private:
    /* Throws a PlantError when the dictionary lacks the type or field. */
    std::size_t size(const char* type, const char* field);

    std::map<std::string, std::size_t> m_sizes;
};

} // namespace MVPlant::detail

#endif
