/**
 * @file scsu.h
 * @brief The standard compression scheme for Unicode, which A/65 6.10 lets texts be in. Unicode Technical Standard #6.
 */
#ifndef PSI_DESCRIBE_SCSU_H
#define PSI_DESCRIBE_SCSU_H

#include "describe/bytes.h"

#include <string>

namespace psi::describe {

/** @brief The UTF-16 code units, high byte first, of a compressed text. What is no SCSU stands as U+FFFD. */
std::string fromScsu(ByteView text);

} // namespace psi::describe

#endif
