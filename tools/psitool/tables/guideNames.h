/**
 * @file guideNames.h
 * @brief Which event or channel an extended text of ATSC belongs to. A/65 6.6.
 */
#ifndef PSITOOL_GUIDE_NAMES_H
#define PSITOOL_GUIDE_NAMES_H

#include "tables/tables.h"

#include <map>

namespace psitool {

/** @brief The names of channels and events, where the sections hold extended texts that want them. */
class GuideNames {
public:
    explicit GuideNames(const TablesResult &result);

    /** @brief Whose text a section is: `text of event "News" on channel 13.1 "WNET-HD"`. @return "" for others */
    std::string ownerOf(const TableSection &section, const Fields &fields) const;

private:
    std::map<u32, std::string> names_; /**< by ETM_id */
};

} // namespace psitool

#endif
