/**
 * @file numbers.h
 * @brief Numbers as they stand on a command line.
 */
#ifndef PSITOOL_NUMBERS_H
#define PSITOOL_NUMBERS_H

#include <cstdint>
#include <optional>
#include <string>

namespace psitool {

/** @brief A number in decimal or, behind 0x, in hexadecimal digits. @return nothing for any other text */
std::optional<std::uint32_t> numberFrom(const std::string &text);

} // namespace psitool

#endif
