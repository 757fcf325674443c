/**
 * @file aribText.h
 * @brief Texts of ISDB, ARIB STD-B24, read by libaribb24 where it is installed; loaded with the first text.
 */
#ifndef PSITOOL_ARIB_TEXT_H
#define PSITOOL_ARIB_TEXT_H

namespace psitool {

/** @brief Let the library of descriptions read such texts. To be called before there are threads. */
void readAribTexts();

} // namespace psitool

#endif
