/**
 * @file heldBytes.h
 * @brief Bytes of a stream that wait before they leave.
 */
#ifndef PSITOOL_HELD_BYTES_H
#define PSITOOL_HELD_BYTES_H

#include "psi.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <memory>

namespace psitool {

/** @brief Takes bytes that are ready to leave. */
using ByteSink = std::function<void(const u8 *data, std::size_t size)>;

/**
 * @brief Bytes in the order in which they came, by their place in the stream.
 *
 * It takes memory for what it holds and two blocks more, and copies every byte once.
 */
class HeldBytes {
public:
    void append(const u8 *data, std::size_t size);
    /** @brief Let all bytes in front of a place leave. */
    void leave(std::uint64_t place, const ByteSink &sink);

    /** @brief Place of the first byte that is held. */
    std::uint64_t begin() const { return begin_; }
    std::uint64_t end() const { return end_; }

    /** @name Some of the bytes, within begin() and end() @{ */
    void get(std::uint64_t place, u8 *to, std::size_t size) const;
    void put(std::uint64_t place, const u8 *from, std::size_t size);
    /** @} */

private:
    static constexpr std::size_t blockBytes = 256U << 10;
    using Block = std::array<u8, blockBytes>;

    u8 *at(std::uint64_t place) const;
    /** Call with each run of bytes that lies in one block. */
    template <class Run> void forRuns(std::uint64_t place, std::size_t size, const Run &run) const;

    std::deque<std::unique_ptr<Block>> blocks_; // the first one holds begin_
    std::unique_ptr<Block> spare_;
    std::uint64_t begin_ = 0;
    std::uint64_t end_ = 0;
};

} // namespace psitool

#endif
