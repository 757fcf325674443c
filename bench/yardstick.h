/**
 * @file yardstick.h
 * @brief The unit of the benchmarks: the plain CRC of 1024 bytes, one look-up, one shift and two XORs a byte.
 *
 * It is a chain of loads that every processor has to go through one by one, so figures in yardsticks of different
 * machines compare, as far as figures of different machines do.
 */
#ifndef PSIBENCH_YARDSTICK_H
#define PSIBENCH_YARDSTICK_H

namespace psibench {

/** @brief Measure the length of a yardstick so many times. */
void yardstickWork(unsigned times);

} // namespace psibench

#endif // PSIBENCH_YARDSTICK_H
