/**
 * @file measure.h
 * @brief Times of short pieces of work on a machine that does other things too.
 *
 * Another task can only make a piece of work slower, so the best of many short batches is what the work costs. The
 * yardstick is measured in turn with the work, on the same core: what slows the core down slows both.
 */
#ifndef PSIBENCH_MEASURE_H
#define PSIBENCH_MEASURE_H

#include <functional>
#include <stdexcept>

namespace psibench {

/** @brief Work done so many times in a row. */
using Work = std::function<void(unsigned times)>;

/** @brief Stay on one core, where the system lets a process choose. */
void pinToOneCore();

/** @brief A time and the yardstick beside it, both in nanoseconds. */
struct Measured {
    double nanoseconds = 0;
    double yardstick = 0;

    double yardsticks() const { return nanoseconds / yardstick; }
};

/** @brief Best time of one call. @param rounds batches of the work, each beside one of the yardstick */
Measured measure(const Work &work, unsigned rounds = 60);

/** @brief Best time of one call of something that takes long, in nanoseconds. */
double bestOf(unsigned rounds, const std::function<void()> &work);

/** @brief Keep the compiler from leaving out the work that gave `value`. */
template <typename T> void keep(const T &value)
{
    asm volatile("" : : "g"(&value) : "memory");
}

/** @brief A benchmark measures what succeeds. */
inline void require(bool succeeded)
{
    if (!succeeded)
        throw std::runtime_error("the library refused the work");
}

} // namespace psibench

#endif // PSIBENCH_MEASURE_H
