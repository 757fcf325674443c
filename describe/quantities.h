/**
 * @file quantities.h
 * @brief Numbers as people write them.
 */
#ifndef PSI_DESCRIBE_QUANTITIES_H
#define PSI_DESCRIBE_QUANTITIES_H

#include <cstdint>
#include <string>

namespace psi::describe {

/** @brief Digits in groups of three: "1,234,567". */
std::string grouped(std::uint64_t value);

/** @brief The same of a number in decimal, in front of its point: "30,869.8". */
std::string grouped(std::string number);

/** @brief A bit rate with a digit behind the point where it needs one: "19,392.8 kbit/s", "4,000 kbit/s". */
std::string kbitText(std::uint64_t bitsPerSecond);

} // namespace psi::describe

#endif
