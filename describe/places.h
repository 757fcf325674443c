/**
 * @file places.h
 * @brief Which bits of a section are which field.
 */
#ifndef PSI_DESCRIBE_PLACES_H
#define PSI_DESCRIBE_PLACES_H

#include "describe/fields.h"

namespace psi::describe {

/** @brief A field and its bits, counted from the first of the section. */
struct PlacedField {
    std::string path; /**< "streams[0].descriptors[1].CA_descriptor.CA_PID"; "" for bits that no field shows: lengths
                         and counts without a name, and reserved ones */
    u32 bit = 0;      /**< its first bit */
    u32 bits = 0;     /**< how many it has */
};

/** @brief Every bit of a section, in its order. @param fields all of it @param bits how many bits it has */
std::vector<PlacedField> placesOf(const Fields &fields, u32 bits);

} // namespace psi::describe

#endif
