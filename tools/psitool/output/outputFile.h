/**
 * @file outputFile.h
 * @brief A file that is there when it is whole, and not before.
 */
#ifndef PSITOOL_OUTPUT_FILE_H
#define PSITOOL_OUTPUT_FILE_H

#include "output/console.h"
#include "output/descriptor.h"

#include "psi.h"

#include <chrono>
#include <cstddef>
#include <cstdint>
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
 * written directly, and so is what stands behind /dev/stdout, /dev/stderr and /dev/fd/N, whatever it is. One at a time.
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

    /** @brief Add bytes; none once the reader has gone. @throw OutputError they cannot be written, or a signal came
     * while the reader took nothing */
    void write(const std::string &bytes);
    void write(const char *bytes, std::size_t size);
    /** @brief From then on what its reader takes nothing of for a second is dropped, and all that comes behind it. */
    void dropFrom(std::chrono::steady_clock::time_point end) { waitEnd_ = end; }
    std::uint64_t bytesLost() const { return lost_; }
    /** @brief Add what takes no waiting. @return number of bytes @throw OutputError */
    std::size_t writeSome(const u8 *bytes, std::size_t size);
    /** @brief Put the file into its place. @throw OutputError */
    void commit();

    const std::string &name() const { return name_; }
    /** @brief True once the reader of a pipe has gone: nobody wants more. */
    bool readerGone() const;

private:
    [[noreturn]] void fail(const char *operation) const;
    void openDirectly(const std::string &path);
    void openBeside();
    void take(Written written);

    std::string name_; // as the user gave it
    std::string target_;
    std::string temporary_; // empty: written directly
    int fd_ = -1;
    bool own_ = true; // not standard output's
    bool readerGone_ = false;
    std::chrono::steady_clock::time_point waitEnd_ = std::chrono::steady_clock::time_point::max();
    std::uint64_t lost_ = 0;
};

} // namespace psitool

#endif
