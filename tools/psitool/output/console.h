/**
 * @file console.h
 * @brief The program's ways out: results on standard output, everything else on standard error.
 */
#ifndef PSITOOL_CONSOLE_H
#define PSITOOL_CONSOLE_H

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <string>

namespace psitool {

/** @brief How the program ends. */
enum ExitStatus {
    exitFound = 0,       /**< the tables were found */
    exitNotFound = 1,    /**< the input has no PAT, or none of the tables asked for */
    exitWrongUse = 2,    /**< wrong arguments */
    exitInputError = 3,  /**< the input cannot be read, or the results cannot be written */
    exitInterrupted = 4, /**< INT, TERM or HUP ended the work before it was done */
};

/**
 * @brief Keeps standard output for the results.
 *
 * The library logs with printf(): from construction on, what goes to `stdout` lands on standard error, and only
 * write() reaches the real standard output. One object, made first in main().
 */
class Output {
public:
    Output();
    ~Output();
    Output(const Output &) = delete;
    Output &operator=(const Output &) = delete;

    /**
     * @brief Write to standard output.
     * @return false when it failed for another reason than a reader that went away, which is no failure; errno says why
     */
    bool write(const std::string &text) { return write(text.data(), text.size()); }
    bool write(const char *bytes, std::size_t size);
    /** @brief write(), with a line on standard error when it fails. */
    bool writeOrReport(const std::string &text);

    /** @brief Columns of the terminal that standard output is; 0 when it is none. */
    std::size_t terminalWidth() const;

    /** @brief True once the reader of standard output has gone away. */
    bool readerGone() const;
    /**
     * @brief From now on the program ends, quietly, at the moment when the reader of standard output goes away.
     * @param status what it ends with
     *
     * For work that may wait long and has no other result than what is written there. A file has no reader.
     */
    void endWithReader(ExitStatus status) const;
    /** @brief The real standard output, for writing as one likes. */
    int descriptor() const { return fd_; }

private:
    int fd_;
    bool readerGone_ = false;
};

/** @brief One line "psitool: ..." on standard error. */
void reportError(const std::string &message);

/** @brief A progress bar on standard error, only on a terminal, and only when the reading takes a while. */
class ProgressBar {
public:
    explicit ProgressBar(const std::string &name);
    ~ProgressBar();
    ProgressBar(const ProgressBar &) = delete;
    ProgressBar &operator=(const ProgressBar &) = delete;

    /** @brief Show how far it is. @param done bytes @param total bytes, 0 when nobody knows */
    void update(std::uint64_t done, std::uint64_t total);
    /** @brief Show a line in its place. */
    void say(const std::string &state);
    /** @brief Take the bar away, for good. */
    void finish();

private:
    std::string name_;
    std::size_t width_; /**< columns of the terminal; 0: standard error is none */
    bool shown_ = false;
    bool finished_ = false;
    std::chrono::steady_clock::time_point start_;
};

} // namespace psitool

#endif
