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
 * @param usual what is known so far; gets ARIB as owner of private descriptors and as character table ARIB STD-B24 in
 * Japan, ISO/IEC 8859-15 in Brazil, each where nothing stands
 * @param nit a section; one of another system, or a damaged one, teaches nothing
 */
void learnFromNit(DescriptorContext &usual, ByteView nit);

/**
 * @brief Learn the same from a PMT, where there is no NIT: Brazil's streams can be told by the data components of the
 * programme for handhelds.
 * @param usual what is known so far; gets ARIB as owner of private descriptors where nobody stands
 * @param pid 0 to 0x1FFF, where the section came
 * @param pmt a section; of other systems and on other PIDs it teaches nothing
 */
void learnFromPmt(DescriptorContext &usual, u16 pid, ByteView pmt);

} // namespace psi::describe

#endif
