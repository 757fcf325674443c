/**
 * @file vctFields.h
 * @brief What a model does not hold of a virtual channel table (A/65 6.3) comes from the table that the model was made
 * of.
 */
#ifndef PSITOOL_VCT_FIELDS_H
#define PSITOOL_VCT_FIELDS_H

#include "make/keptTables.h"
#include "make/makeSections.h"

namespace psitool {

/**
 * @brief Give generated VCTs, and the MGT, what those that came had and a model has not.
 *
 * These are table_id (cable or terrestrial), carrier_frequency, ETM_location, access_controlled, hidden, path_select,
 * out_of_band and hide_guide of the channels.
 *
 * @return lines for people: channels that the PAT does not have, and tables, which are left out
 */
std::vector<std::string> restoreVctFields(std::vector<MadeSection> &sections, const KeptTables &kept);

} // namespace psitool

#endif
