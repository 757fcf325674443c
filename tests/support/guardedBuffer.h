/**
 * @file guardedBuffer.h
 * @brief Memory that ends, or begins, at a page that must not be touched.
 */
#ifndef PSITEST_GUARDED_BUFFER_H
#define PSITEST_GUARDED_BUFFER_H

#include "support/sectionBuilder.h"

#include <cstddef>

namespace psitest {

/**
 * @brief A room between two forbidden pages, to be used again and again.
 *
 * A read or write one byte outside what place() returned ends the process.
 */
class GuardedBuffer {
public:
    /** @param capacity most bytes that will be placed */
    explicit GuardedBuffer(std::size_t capacity = 8192);
    ~GuardedBuffer();
    GuardedBuffer(const GuardedBuffer &) = delete;
    GuardedBuffer &operator=(const GuardedBuffer &) = delete;

    /** @brief Copy bytes so that the last one is right in front of the forbidden page. @return the first one */
    u8 *place(const Bytes &bytes);
    /** @brief Room for @p size bytes, filled with 0xA5, in front of the forbidden page. */
    u8 *room(std::size_t size);
    /** @brief Copy bytes so that the first one is right behind the other forbidden page. */
    u8 *placeAtStart(const Bytes &bytes);

private:
    u8 *map_ = nullptr;
    std::size_t page_ = 0;
    std::size_t usable_ = 0;
};

} // namespace psitest

#endif // PSITEST_GUARDED_BUFFER_H
