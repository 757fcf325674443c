#include "measure.h"

#include "yardstick.h"

#include <sched.h>

#include <algorithm>
#include <chrono>

namespace psibench {
namespace {

double elapsedNs(const std::function<void()> &work)
{
    const auto start = std::chrono::steady_clock::now();
    work();
    return std::chrono::duration<double, std::nano>(std::chrono::steady_clock::now() - start).count();
}

double batchNs(const Work &work, unsigned times)
{
    return elapsedNs([&] { work(times); });
}

/** @brief Calls that take about a fifth of a millisecond: short enough to lie between two interruptions. */
unsigned batchSize(const Work &work)
{
    constexpr double wanted = 2e5;
    constexpr unsigned most = 1U << 20;
    for (unsigned times = 1;; times *= 2)
        if (times >= most || batchNs(work, times) >= wanted)
            return times;
}

class Best {
public:
    explicit Best(const Work &work) : work_(work), times_(batchSize(work)) {}
    void again() { best_ = std::min(best_, batchNs(work_, times_) / times_); }
    double nanoseconds() const { return best_; }

private:
    const Work &work_;
    unsigned times_;
    double best_ = 1e30;
};

} // namespace

void pinToOneCore()
{
    const int core = sched_getcpu();
    cpu_set_t one;
    CPU_ZERO(&one);
    CPU_SET(core < 0 ? 0U : static_cast<unsigned>(core), &one);
    sched_setaffinity(0, sizeof(one), &one);
}

Measured measure(const Work &work, unsigned rounds)
{
    const Work yardstick = yardstickWork;
    Best ours(work);
    Best theirs(yardstick);
    for (unsigned round = 0; round < rounds; ++round) {
        ours.again();
        theirs.again();
    }
    return {ours.nanoseconds(), theirs.nanoseconds()};
}

double bestOf(unsigned rounds, const std::function<void()> &work)
{
    double best = 1e30;
    for (unsigned round = 0; round < rounds; ++round)
        best = std::min(best, elapsedNs(work));
    return best;
}

} // namespace psibench
