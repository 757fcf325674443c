/**
 * @file editFields.h
 * @brief What --set, --table and --insert ask for.
 */
#ifndef PSITOOL_EDIT_FIELDS_H
#define PSITOOL_EDIT_FIELDS_H

#include "edit/editRequest.h"

namespace psitool {

/** @brief Understand "PATH=VALUE". Throws EditError (wrong use). */
SetRequest parseSet(const std::string &text);

/** @brief The sections of a JSON document. Throws EditError with the place of what cannot be used. */
std::vector<GivenSection> readGiven(const std::string &file);

/** @brief Add what the words ask for to a request. Throws EditError. */
void parseFieldRequests(const EditWords &words, EditRequest &request);

} // namespace psitool

#endif
