/**
 * @file textFile.h
 * @brief A text that is read whole.
 */
#ifndef PSITOOL_TEXT_FILE_H
#define PSITOOL_TEXT_FILE_H

#include <stdexcept>
#include <string>

namespace psitool {

/** @brief A file that cannot be read: one line that begins with its name. */
class TextFileError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/** @brief A file's bytes. @param path "-" for standard input @throw TextFileError */
std::string readText(const std::string &path);

} // namespace psitool

#endif
