/**
 * @file rows.h
 * @brief The rows of the benchmark's table.
 */
#ifndef PSIBENCH_ROWS_H
#define PSIBENCH_ROWS_H

#include "measure.h"

#include <string>
#include <vector>

namespace psibench {

/** @brief A piece of work and what it may cost. */
struct Row {
    std::string name;
    double bar; /**< yardsticks; 0: only for comparison */
    Work work;
    bool ours = true; /**< false: another library, for comparison */
};

/** @brief CRC, reassembly, packetization. */
void addFramingRows(std::vector<Row> &rows);
/** @brief Parsers, generators, regeneration, analysers. */
void addTableRows(std::vector<Row> &rows);
/** @brief Whole ways through the library: a search from arming the filter to the model. */
void addSearchRows(std::vector<Row> &rows);

/** @brief Whether cost grows with the number of items only as their number does; prints a table. @return all flat */
bool checkScale(const std::string &filter);

/** @brief Whether a name is asked for. @param filter part of it */
inline bool chosen(const std::string &name, const std::string &filter)
{
    return name.find(filter) != std::string::npos;
}

} // namespace psibench

#endif // PSIBENCH_ROWS_H
