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

/** @brief Seconds above 0, up to ten days: "2", "0.5". @return nothing for any other text */
std::optional<double> secondsFrom(const std::string &text);

/** @brief Bits a second above 0: "38M", "5.1M", "800k", "1500000". @return nothing for any other text */
std::optional<double> rateFrom(const std::string &text);

} // namespace psitool

#endif
