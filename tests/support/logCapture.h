/**
 * @file logCapture.h
 * @brief Takes what the library prints and compares it line by line.
 */
#ifndef PSITEST_LOG_CAPTURE_H
#define PSITEST_LOG_CAPTURE_H

#include <gtest/gtest.h>

#include <iosfwd>
#include <string>
#include <vector>

namespace psitest {

/** @brief Kind of a line; `Plain` is one without the library's prefix. */
enum class Kind { Error, Warning, Info, Debug, Plain };

/** @brief A printed line, or the expectation of one. */
struct LogLine {
    Kind kind = Kind::Plain;
    std::string path;  /**< source file as printed, "../../psiMem.cpp"; empty for a plain line */
    std::string text;  /**< message without the final "\r\n" */
    unsigned line = 0; /**< source line as printed; not compared */
};

bool operator==(const LogLine &a, const LogLine &b);
bool operator!=(const LogLine &a, const LogLine &b);
std::ostream &operator<<(std::ostream &os, const LogLine &line);

using LogLines = std::vector<LogLine>;

/** @name Expected lines. @p file is the name without folder and extension: "psiMem". @{ */
LogLine error(const std::string &file, const std::string &text);
LogLine warning(const std::string &file, const std::string &text);
LogLine info(const std::string &file, const std::string &text);
LogLine debug(const std::string &file, const std::string &text);
LogLine plain(const std::string &text);
/** @} */

/** @brief printf() into a string. */
std::string format(const char *fmt, ...) __attribute__((format(printf, 1, 2)));

/**
 * @brief Split what was printed into lines.
 * @param raw output of the process
 * @return one record per "\r\n"; what follows the last one is a plain line, its "\n" kept
 */
LogLines parseLog(const std::string &raw);

/** @brief The lines of @p lines that are of @p kind. */
LogLines ofKind(const LogLines &lines, Kind kind);

/** @brief Whether @p line is one of @p lines. */
bool contains(const LogLines &lines, const LogLine &line);

/**
 * @brief Takes the standard output of the process from its construction to its destruction.
 *
 * One at a time. Failures that GoogleTest reports meanwhile still reach the real standard output. Works on the file
 * descriptor, so it sees what any thread and any function prints; lines of several threads may mix.
 */
class LogCapture {
public:
    LogCapture();
    ~LogCapture();
    LogCapture(const LogCapture &) = delete;
    LogCapture &operator=(const LogCapture &) = delete;

    /** @brief What was printed since the last take, and forget it. */
    std::string takeRaw();
    /** @brief takeRaw(), parsed. */
    LogLines take() { return parseLog(takeRaw()); }
    /** @brief Forget what was printed. */
    void clear() { takeRaw(); }

    /** @brief Send output to the real standard output until resume(). */
    void pause();
    void resume();

private:
    int saved_ = -1; /**< the real standard output */
    int file_ = -1;  /**< anonymous file that takes its place */
};

} // namespace psitest

/** @brief Exactly these lines were logged since the last look: EXPECT_LOG(log, error("psiMem", "...")). */
#define EXPECT_LOG(capture, ...) EXPECT_EQ((::psitest::LogLines{__VA_ARGS__}), (capture).take())

/** @brief Nothing was printed since the last look. */
#define EXPECT_NO_LOG(capture) EXPECT_EQ("", (capture).takeRaw())

/** @brief The line is among those printed since the last look, which is then over. */
#define EXPECT_LOG_CONTAINS(capture, ...)                                                                              \
    do {                                                                                                               \
        const ::psitest::LogLines psitestLines = (capture).take();                                                     \
        EXPECT_TRUE(::psitest::contains(psitestLines, (__VA_ARGS__)))                                                  \
            << "not printed: " << (__VA_ARGS__) << "\nprinted: " << ::testing::PrintToString(psitestLines);            \
    } while (false)

#endif // PSITEST_LOG_CAPTURE_H
