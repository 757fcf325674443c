/**
 * @file modelFromJson.h
 * @brief The way back from the JSON of psitool scan (docs/json.md) to a model.
 */
#ifndef PSITOOL_MODEL_FROM_JSON_H
#define PSITOOL_MODEL_FROM_JSON_H

#include "input/acquire.h"

#include <string>
#include <vector>

namespace psitool {

/** @brief A section that came with the model. */
struct StoredSection {
    u32 psiType = 0;
    u16 pid = 0;
    std::string bytes; /**< table_id to CRC_32, which is right */
};

/** @brief What the JSON says besides what a model holds. */
struct JsonFacts {
    ScanStandard standard = ScanStandard::dvb; /**< never automatic */
    bool sdt = false;                          /**< something in it belongs into an SDT */
    bool networkId = false;                    /**< the key was there */
    bool networkName = false;                  /**< the key was there */
    bool networkPid = false;                   /**< the key was there */
    bool pat = true;                   /**< false: it says that there was none, and there is nothing to put in */
    bool vct = false;                  /**< something in it belongs into a VCT, or it was asked for */
    std::vector<StoredSection> stored; /**< the sections, of all tables of the standard that is wanted */
    std::vector<std::string> warnings; /**< lines for people, each with its place */
};

/**
 * @brief Fill the empty model of a make object.
 * @param model gets programs, CAT and identity, and, on its section list, the tables that are not generated
 * @param json the text
 * @param standard whose tables are wanted; automatic: ATSC when the JSON has channels or ATSC tables, else DVB
 * @throw JsonError the text is no JSON, or not this JSON
 * @throw std::runtime_error the library's pool is exhausted
 */
JsonFacts fillModel(tsInfo &model, const std::string &json, ScanStandard standard);

/** @brief True when the model says anything about a program that belongs into an SDT. */
bool isService(const progInfo &program);

/** @brief The place of a program in the JSON. @param index from 0, in the order of the model's list */
std::string programPointer(std::size_t index);

} // namespace psitool

#endif
