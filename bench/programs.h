/**
 * @file programs.h
 * @brief What whole programs cost, beside one that only reads the same file.
 */
#ifndef PSIBENCH_PROGRAMS_H
#define PSIBENCH_PROGRAMS_H

#include <string>
#include <vector>

namespace psibench {

/** @brief Processor time, in milliseconds, of a program whose output nobody sees. @throw std::runtime_error it failed
 */
double processMs(const std::vector<std::string> &command);

/** @brief `psitool scan FILE` beside `cat FILE`: a line of a table. @return whether it is at or below `bar` times */
bool checkScan(const std::string &psitool, const std::string &file, double bar);

} // namespace psibench

#endif // PSIBENCH_PROGRAMS_H
