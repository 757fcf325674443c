/**
 * @file descriptor.h
 * @brief Writing to files, pipes and devices without being stuck behind a reader.
 */
#ifndef PSITOOL_DESCRIPTOR_H
#define PSITOOL_DESCRIPTOR_H

#include <chrono>
#include <cstddef>

namespace psitool {

/** @brief How a writing ended. */
enum class Written {
    all,
    readerGone, /**< of a pipe, which is no failure */
    stopped,    /**< a signal came while the reader took nothing */
    late,       /**< the time was over, and the reader took nothing */
    failed,     /**< errno says why */
};

/**
 * @brief Write all of it; of a pipe or a terminal, wait for a slow reader.
 * @param done gets the number of bytes written
 * @param until from then on a reader that takes nothing for a second is not waited for
 */
Written writeAll(int fd, const char *bytes, std::size_t size, std::size_t &done,
                 std::chrono::steady_clock::time_point until = std::chrono::steady_clock::time_point::max());

/**
 * @brief Write so much as takes no waiting.
 * @param done gets the number of bytes written, fewer than `size` when the reader is slow
 */
Written writeSome(int fd, const char *bytes, std::size_t size, std::size_t &done);

/** @brief True for a file, which nobody reads while it is written. */
bool isRegular(int fd);

/** @brief True when whoever read a pipe has left it. */
bool isReaderGone(int fd);
/** @brief Wait until that is so. */
void waitUntilReaderGone(int fd);

} // namespace psitool

#endif
