/**
 * @file fullSection.h
 * @brief A small section of every parsed type that has one of everything its table can carry.
 */
#ifndef PSITEST_FULL_SECTION_H
#define PSITEST_FULL_SECTION_H

#include "support/emergencyBuilder.h"

namespace psitest {

/** @param type one of parsedTypes() */
Bytes fullSection(u32 type);

/** @name The tables of the emergency samples, to be changed @{ */
EbitTable fullEbit();
EbctTable fullEbct();
EbcatTable fullEbcat();
EbcctTable fullEbcct();
/** @} */

} // namespace psitest

#endif // PSITEST_FULL_SECTION_H
