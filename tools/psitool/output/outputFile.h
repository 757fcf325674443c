/**
 * @file outputFile.h
 * @brief A file that is there when it is whole, and not before.
 */
#ifndef PSITOOL_OUTPUT_FILE_H
#define PSITOOL_OUTPUT_FILE_H

#include "output/console.h"

#include <cstddef>
#include <stdexcept>
#include <string>

namespace psitool {

/** @brief An output that cannot be written: one line that begins with its name. */
class OutputError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/** @brief True when the input, "-" for standard input, is the file that is to be written. */
bool sameFile(const std::string &input, const std::string &output);

/**
 * @brief Writes to a temporary file beside the output, which commit() puts into its place.
 *
 * Without a commit nothing is left, also when a signal ends the program. "-" is standard output; a device or a FIFO is
 * written directly. One at a time.
 */
class OutputFile {
public:
    /**
     * @brief Open the output.
     * @param path a file, which may exist, or "-"
     * @param output standard output, outlives this object
     * @throw OutputError it cannot be opened
     */
    OutputFile(const std::string &path, Output &output);
    ~OutputFile();
    OutputFile(const OutputFile &) = delete;
    OutputFile &operator=(const OutputFile &) = delete;

    /** @brief Add bytes. @throw OutputError they cannot be written */
    void write(const std::string &bytes);
    void write(const char *bytes, std::size_t size);
    /** @brief Put the file into its place. @throw OutputError */
    void commit();

private:
    [[noreturn]] void fail(const char *operation) const;
    void openBeside();

    std::string name_; // as the user gave it
    std::string target_;
    std::string temporary_; // empty: written directly
    Output &output_;
    int fd_ = -1;
};

} // namespace psitool

#endif
