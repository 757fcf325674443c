/**
 * @file timelessStream.h
 * @brief A search object with a stream of its own, for tests with many objects and threads.
 */
#ifndef PSITEST_TIMELESS_STREAM_H
#define PSITEST_TIMELESS_STREAM_H

#include "support/searchTest.h"

#include <atomic>

namespace psitest {

/**
 * @brief A search object with a stream of its own, whose reads take no time on the clock.
 *
 * So that searches end all the same, the host says that a table is over when it was read often enough.
 */
class TimelessStream {
public:
    /** @param standard 0: a stream with all DVB tables; 1: with all ATSC tables */
    explicit TimelessStream(u32 standard);

    psiObjId id() const { return host_.id(); }
    u32 standard() const { return standard_; }
    ScriptedHost &host() { return host_; }
    /** @brief The types that the stream carries. */
    const std::vector<u32> &types() const { return types_; }

    /** @brief Every n-th read has nothing ready, so that the search sleeps and the clock runs. @param n 0: none */
    void stutter(unsigned n) { stutter_ = n; }

    /** @brief Search everything, one type again, and forget all. @return whether all was found each time */
    bool searchAll();

private:
    Answer next(const psiSchInfo &filter);

    u32 standard_;
    std::vector<u32> types_;
    Carousel carousel_{0};
    ScriptedHost host_;
    std::atomic<unsigned> stutter_{0};
    u8 tableId_ = 0xFF;
    unsigned reads_ = 0;
};

} // namespace psitest

#endif // PSITEST_TIMELESS_STREAM_H
