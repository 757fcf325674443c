/**
 * @file treeRun.cpp
 * @brief A long random run of trees between other blocks: fragmentation, high-water mark, and the longest that parsing
 * or destroying one holds the pool's mutex; and the same while somebody looks at the free blocks now and then.
 *
 * The run repeats exactly. A call's time is the least of several runs, so that what the machine does meanwhile falls
 * out.
 */
#include "memoryHost.h"
#include "testSections.h"

#include "platform.h"
#include "psiNode.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdio>
#include <random>
#include <vector>

namespace psibench {
namespace {

using psi::core::BuddyStat;
using psi::core::psiMp;

using Clock = std::chrono::steady_clock;

constexpr u32 poolSize = 1U << 20;
constexpr u32 steps = 200000;
constexpr u32 runs = 15;
constexpr u32 sampleEvery = 1000;

/** @brief What is live: a tree, or a block without a type. */
struct Live {
    u32 type;
    void *what;
};

constexpr u32 noTree = ~0U;

struct Section {
    u32 type;
    Bytes bytes;
};

/** @brief Sections of all sizes up to those of the rows. */
std::vector<Section> anySections()
{
    std::vector<Section> sections;
    for (u16 n = 1; n <= 12; n++) {
        sections.push_back({PSI_PMT, pmtSection(1, n)});
        sections.push_back({PSI_SDT_ACTUAL, sdtSection(1, n)});
        sections.push_back({PSI_NIT_ACTUAL, nitSection(1, n)});
        sections.push_back({PSI_PAT, patSection(1, static_cast<u16>(n * n))});
    }
    return sections;
}

/** @brief The least times of calls that repeat. */
class Times {
public:
    void begin() { next_ = 0; }
    template <class Call> void time(Call call)
    {
        const auto start = Clock::now();
        call();
        const float ns = std::chrono::duration<float, std::nano>(Clock::now() - start).count();
        if (next_ == least_.size())
            least_.push_back(ns);
        else
            least_[next_] = std::min(least_[next_], ns);
        next_++;
    }
    float median() const { return sorted()[least_.size() / 2]; }
    float longest() const { return sorted().back(); }

private:
    std::vector<float> sorted() const
    {
        std::vector<float> all = least_;
        std::sort(all.begin(), all.end());
        return all;
    }

    std::vector<float> least_;
    std::size_t next_ = 0;
};

struct Result {
    BuddyStat stat = {};
    u32 highWater = 0;      /**< of the samples */
    double largestFree = 0; /**< mean of the samples, as a share of the free bytes */
    u32 refusals = 0;
};

class Run {
public:
    /** @param looks whether each sample brings the free blocks together, as psi_buddy_report() does */
    Run(const std::vector<Section> &sections, bool looks, Times &parse, Times &destroy)
        : sections_(sections), looks_(looks), parse_(parse), destroy_(destroy)
    {
        parse.begin();
        destroy.begin();
    }

    Result go()
    {
        for (u32 step = 0; step < steps; step++) {
            psiBuddyStat now;
            psi_buddy_stat(&now);
            if (live_.empty() || random_() % (poolSize * 3 / 4) > now.used)
                come();
            else
                leave(random_() % live_.size());
            if (step % sampleEvery == sampleEvery - 1)
                sample();
        }
        while (!live_.empty())
            leave(live_.size() - 1);
        return result_;
    }

private:
    void come()
    {
        if (random_() % 2 == 0) {
            const Section &section = sections_[random_() % sections_.size()];
            void *tree = nullptr;
            parse_.time([&] {
                syntaxAnalysePsi(section.type, &tree, section.bytes.data(), static_cast<u32>(section.bytes.size()));
            });
            keep({section.type, tree});
        } else {
            keep({noTree, psi_buddy_malloc(1 + static_cast<u32>(random_() % (random_() % 8 == 0 ? 1024 : 100)))});
        }
    }
    void keep(Live live)
    {
        if (live.what != nullptr)
            live_.push_back(live);
        else
            result_.refusals++;
    }
    void leave(std::size_t which)
    {
        std::swap(live_[which], live_.back());
        const Live gone = live_.back();
        live_.pop_back();
        if (gone.type == noTree)
            psi_buddy_free(gone.what);
        else
            destroy_.time([&] { syntaxDestroyPsiSection(gone.type, gone.what); });
    }
    void sample()
    {
        psi::core::PoolGuard pool(psiMp);
        if (looks_)
            pool.settle();
        pool.stat(&result_.stat);
        result_.highWater = std::max(result_.highWater, result_.stat.used);
        result_.largestFree += 1.0 * result_.stat.largestFree / result_.stat.free / (1.0 * steps / sampleEvery);
    }

    const std::vector<Section> &sections_;
    const bool looks_;
    Times &parse_;
    Times &destroy_;
    std::mt19937 random_{1};
    std::vector<Live> live_;
    Result result_;
};

void report(const std::vector<Section> &sections, bool looks)
{
    Times parse;
    Times destroy;
    Result result;
    for (u32 i = 0; i < runs; i++)
        result = Run(sections, looks, parse, destroy).go();
    std::printf("%u steps on a pool of %u bytes%s\n", unsigned{steps}, unsigned{poolSize},
                looks ? ", with a look at the free blocks every 1,000" : "");
    std::printf("high-water mark        %lu bytes\n", static_cast<unsigned long>(result.highWater));
    std::printf("refused requests       %lu\n", static_cast<unsigned long>(result.refusals));
    std::printf("largest free block     %.1f %% of the free bytes, mean\n", 100 * result.largestFree);
    std::printf("a parse, median        %.0f ns, longest %.0f ns (with the clock's own)\n",
                static_cast<double>(parse.median()), static_cast<double>(parse.longest()));
    std::printf("a destruction, median  %.0f ns, longest %.0f ns\n", static_cast<double>(destroy.median()),
                static_cast<double>(destroy.longest()));
}

} // namespace
} // namespace psibench

int main()
{
    using namespace psibench;
    initialiseLibrary(poolSize);
    const std::vector<Section> sections = anySections();
    report(sections, false);
    report(sections, true);
    return 0;
}
