/**
 * @file stream.h
 * @brief A multiplex to be read by programs: a file of any size, always the same.
 */
#ifndef PSIBENCH_STREAM_H
#define PSIBENCH_STREAM_H

#include <cstdint>
#include <string>

namespace psibench {

/** @brief What a stream is made of. */
enum class Content {
    multiplex, /**< ten services at 38 Mbit/s: video, audio, null packets, tables at their usual rates */
    sections   /**< packets of tables and nothing else */
};

/** @brief Write a stream of whole packets of about `bytes`. @throw std::runtime_error the file cannot be written */
void writeStream(const std::string &file, uint64_t bytes, Content content);

} // namespace psibench

#endif // PSIBENCH_STREAM_H
