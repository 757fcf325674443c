/**
 * @file isdb.h
 * @brief Streams of ISDB, whose tables do not say by themselves that their descriptors and texts are ARIB's.
 */
#ifndef PSI_DESCRIBE_ISDB_H
#define PSI_DESCRIBE_ISDB_H

#include "describe/fields.h"

namespace psi::describe {

/** @brief Whether private descriptors are ARIB's. */
bool isIsdb(const DescriptorContext &context);

/**
 * @brief Learn from a NIT of the actual network what the stream's tables leave open.
 * @param usual what is known so far; gets ARIB as owner of private descriptors and, in Japan, ARIB STD-B24 as character
 * table, each where nothing stands
 * @param nit a section; one of another system, or a damaged one, teaches nothing
 */
void learnFromNit(DescriptorContext &usual, ByteView nit);

} // namespace psi::describe

#endif
