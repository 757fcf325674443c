/**
 * @file mutation.h
 * @brief Hostile variants of a good section.
 */
#ifndef PSITEST_MUTATION_H
#define PSITEST_MUTATION_H

#include "support/sectionBuilder.h"

#include <functional>

namespace psitest {

/** @brief Gets a variant and a few words on how it was made. */
using MutationVisitor = std::function<void(const Bytes &section, const std::string &how)>;

/** @brief What happens to section_length and CRC_32 of a truncated section. */
enum class Truncated {
    Raw,     /**< the bytes are cut, nothing is made right */
    Resealed /**< section_length fits the bytes and the last four are a right CRC_32 */
};

/** @brief Every shorter prefix of a section: of 0 bytes and more for Raw, of 7 bytes and more for Resealed. */
void forEachTruncation(const Bytes &section, Truncated how, const MutationVisitor &visit);

/** @brief All 255 other values of every byte in front of CRC_32, the CRC made right (where section_length puts it). */
void forEachByteChange(const Bytes &section, const MutationVisitor &visit);

/** @brief Byte changes with chosen values only; those that change nothing are left out. */
void forEachByteChange(const Bytes &section, const Bytes &values, const MutationVisitor &visit);

/** @brief Values that length fields do not like. */
const Bytes &nastyValues();

} // namespace psitest

#endif // PSITEST_MUTATION_H
