/**
 * @file poolRun.cpp
 * @brief A long random run over the pool: fragmentation, high-water mark, and the longest that one call holds the
 * mutex.
 *
 * The run repeats exactly. A call's time is the least of several runs, so that what the machine does meanwhile falls
 * out.
 */
#include "platform.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <random>
#include <vector>

using namespace psi::core;

namespace {

using Clock = std::chrono::steady_clock;

constexpr u32 poolSize = 256 * 1024;
constexpr u32 steps = 200000;
constexpr u32 runs = 15;
constexpr u32 sampleEvery = 1000;

/** @brief What one run saw. */
struct Result {
    BuddyStat stat = {};
    u32 highWater = 0;      /**< of the samples */
    double largestFree = 0; /**< mean of the samples, as a share of the free bytes */
    std::vector<float> ns;  /**< of each call */
};

/** @brief Sizes as a multiplex asks for them: nodes, payloads, sections, now and then a work record. */
u32 anySize(std::mt19937 &random)
{
    constexpr std::array<u32, 8> nodes = {48, 56, 64, 72, 88, 104, 120, 136};
    const unsigned kind = static_cast<unsigned>(random() % 100);
    if (kind < 60)
        return nodes[random() % nodes.size()];
    if (kind < 90)
        return 1 + static_cast<u32>(random() % 60);
    return kind < 99 ? 16 + static_cast<u32>(random() % 1008) : 4528;
}

template <class Call> float timeOf(Call call)
{
    const auto start = Clock::now();
    call();
    return std::chrono::duration<float, std::nano>(Clock::now() - start).count();
}

/** @brief A fresh pool whose pages are there already. */
psiPoolId touchedPool()
{
    const psiPoolId pool = buddy_create(poolSize, 0);
    void *all = buddy_malloc(pool, poolSize);
    std::memset(all, 0, poolSize);
    buddy_free(pool, all);
    return pool;
}

/** @brief Allocates and frees at random; the more is live, the more often it frees. */
Result run()
{
    Result result;
    result.ns.reserve(steps);
    std::mt19937 random(1);
    std::vector<void *> live;
    const psiPoolId pool = touchedPool();
    u32 used = 0;
    for (u32 step = 0; step < steps; step++) {
        if (live.empty() || random() % poolSize > used) {
            const u32 size = anySize(random);
            void *block = nullptr;
            result.ns.push_back(timeOf([&] { block = buddy_malloc(pool, size); }));
            used += block != nullptr ? size : 0;
            if (block != nullptr)
                live.push_back(block);
        } else {
            std::swap(live[random() % live.size()], live.back());
            used -= buddy_size(pool, live.back());
            result.ns.push_back(timeOf([&] { buddy_free(pool, live.back()); }));
            live.pop_back();
        }
        if (step % sampleEvery == sampleEvery - 1) {
            buddy_stat(pool, &result.stat);
            result.highWater = std::max(result.highWater, result.stat.used);
            result.largestFree += 1.0 * result.stat.largestFree / result.stat.free / (1.0 * steps / sampleEvery);
        }
    }
    buddy_destroy(pool);
    return result;
}

} // namespace

int main()
{
    Result least = run();
    for (u32 i = 1; i < runs; i++) {
        const Result again = run();
        std::transform(least.ns.begin(), least.ns.end(), again.ns.begin(), least.ns.begin(),
                       [](float a, float b) { return std::min(a, b); });
    }
    std::sort(least.ns.begin(), least.ns.end());
    std::printf("%u calls on a pool of %u bytes\n", unsigned{steps}, unsigned{poolSize});
    std::printf("high-water mark        %lu bytes\n", static_cast<unsigned long>(least.highWater));
    std::printf("failed allocations     %lu\n", static_cast<unsigned long>(least.stat.failedAllocs));
    std::printf("largest free block     %.1f %% of the free bytes, mean\n", 100 * least.largestFree);
    std::printf("a call, median         %.0f ns (with the clock's own)\n", static_cast<double>(least.ns[steps / 2]));
    std::printf("a call, longest        %.0f ns\n", static_cast<double>(least.ns.back()));
    return least.stat.refusedFrees != 0;
}
