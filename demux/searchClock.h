/**
 * @file searchClock.h
 * @brief The clock and the sleep that the library gets.
 */
#ifndef PSI_DEMUX_SEARCH_CLOCK_H
#define PSI_DEMUX_SEARCH_CLOCK_H

#include "psi.h"

namespace psi::demux {

/**
 * @brief The clock of one thread.
 *
 * The library's callbacks carry no argument, and a search runs in one thread from beginning to end: so every thread has
 * a clock, which the input of the search sets. It never goes back, whatever follows each other in a thread.
 *
 * Over a recorded input it stands still while there are sections to take, and jumps by every sleep. Were it to run with
 * the stream, sections that lie farther apart in a file than a time-out would be lost.
 */
class SearchClock {
public:
    /** @brief The calling thread's clock. */
    static SearchClock &ofThread();

    /** @brief Go with the monotonic clock; sleeps are real. */
    void run();
    /** @brief Go with the monotonic clock, but do not sleep: there is input to read. */
    void runBusy();
    /** @brief Stand still; sleeps are jumps. */
    void freeze();
    /** @brief Jump. @param ms milliseconds */
    void advance(uint64_t ms) { offset += ms; }
    /** @brief Let every time-out pass: the longest is 65535 ms. */
    void passTimeOut() { advance(0x10000); }

    /** @brief Milliseconds; wraps at 2^32. */
    u32 now() const { return static_cast<u32>(milliseconds()); }
    void sleep(u32 ms);

private:
    uint64_t milliseconds() const;

    enum class Mode { running, busy, frozen } mode = Mode::running;
    uint64_t offset = 0; /**< to be added to the monotonic clock; the whole time while frozen */
};

} // namespace psi::demux

#endif // PSI_DEMUX_SEARCH_CLOCK_H
