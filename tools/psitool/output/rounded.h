/**
 * @file rounded.h
 * @brief Whole numbers.
 */
#ifndef PSITOOL_ROUNDED_H
#define PSITOOL_ROUNDED_H

#include <cmath>

namespace psitool {

/** @brief To the nearest whole number. For std::round() alone the program would load the library of mathematics. */
inline double rounded(double value)
{
    return std::floor(value + 0.5);
}

} // namespace psitool

#endif
