/**
 * @file makeSections.h
 * @brief From a model to the sections of a stream.
 */
#ifndef PSITOOL_MAKE_SECTIONS_H
#define PSITOOL_MAKE_SECTIONS_H

#include "make/modelFromJson.h"

#include <string>
#include <vector>

namespace psitool {

class MakeObject;

/** @brief A section of the stream that is made. */
struct MadeSection {
    u32 psiType;
    u16 pid;
    u32 intervalMs;    /**< the longest time from one transmission to the next */
    std::string bytes; /**< table_id to CRC_32 */
};

/** @brief The sections of a stream, in the order in which a receiver wants them. */
struct MadeStream {
    std::vector<MadeSection> sections;
    std::vector<std::string> lost; /**< what came with the model and could not be kept: lines for people */
};

/**
 * @brief Generate the sections of a model that fillModel() filled; those of tables that nobody edited stay as they
 * came.
 * @throw JsonError a table cannot be made; the place is that of the model's JSON
 */
MadeStream makeSections(MakeObject &object, const JsonFacts &facts);

/** @brief A file name for each section, which says what is in it: pmt-pid0x0100-program10-0.sec */
std::vector<std::string> sectionFileNames(const std::vector<MadeSection> &sections);

} // namespace psitool

#endif
