#include "demux/searchClock.h"

#include <ctime>

namespace psi::demux {

namespace {

uint64_t monotonic()
{
    timespec now = {};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<uint64_t>(now.tv_sec) * 1000 + static_cast<uint64_t>(now.tv_nsec) / 1000000;
}

} // namespace

SearchClock &SearchClock::ofThread()
{
    thread_local SearchClock clock;
    return clock;
}

void SearchClock::run()
{
    if (mode == Mode::frozen)
        offset -= monotonic();
    mode = Mode::running;
}

void SearchClock::runBusy()
{
    run();
    mode = Mode::busy;
}

void SearchClock::freeze()
{
    if (mode != Mode::frozen)
        offset += monotonic();
    mode = Mode::frozen;
}

uint64_t SearchClock::milliseconds() const
{
    return mode == Mode::frozen ? offset : offset + monotonic();
}

/** A signal ends a real sleep early: the search then sees at once what its handler did. */
void SearchClock::sleep(u32 ms)
{
    if (mode == Mode::frozen) {
        advance(ms);
    } else if (mode == Mode::running) {
        const timespec duration = {static_cast<time_t>(ms / 1000), static_cast<long>(ms % 1000) * 1000000};
        nanosleep(&duration, nullptr);
    }
}

} // namespace psi::demux
