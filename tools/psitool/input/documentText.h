/**
 * @file documentText.h
 * @brief Documents of sections as JSON or YAML.
 */
#ifndef PSITOOL_DOCUMENT_TEXT_H
#define PSITOOL_DOCUMENT_TEXT_H

#include <string>

namespace psitool {

/** @brief This program reads and writes YAML. */
bool knowsYaml();

/** @brief The file is called ".yaml" or ".yml". */
bool namesYaml(const std::string &path);

/**
 * @brief A file's JSON; of a file whose name ends in ".yaml" or ".yml" its YAML as JSON.
 *
 * Of YAML the first document is taken, without aliases. What stands in quotation marks is a text, null, true, false
 * and numbers are what they are in JSON, a number may stand behind 0x, and everything else is a text.
 *
 * @param path "-" for standard input, which is JSON
 * @throw TextFileError it cannot be read
 * @throw psi::describe::FieldError it is no YAML, with line and column; or this program reads none
 */
std::string readDocument(const std::string &path);

/** @brief JSON as YAML with the same values: texts stand in quotation marks. @param json valid, of at most 64 levels */
std::string yamlOf(const std::string &json);

} // namespace psitool

#endif
