/**
 * @file platform_bench.cpp
 * @brief The list and the pool at 10 to 100,000 nodes: the time per operation has to stay flat.
 *
 * Every benchmark holds a list or pool of so many nodes at that size and measures one pair of opposite operations.
 */
#include "platform.h"

#include <benchmark/benchmark.h>

#include <random>
#include <vector>

using namespace psi::core;

namespace {

struct Node {
    zlstNode link;
    u32 value;
};

using Nodes = std::vector<Node>;

constexpr u32 nodeSize = 48;

Node *pushAll(Nodes &nodes)
{
    Node *head = nullptr;
    for (Node &node : nodes) {
        zlst_push(&head, &node);
    }
    return head;
}

std::size_t countOf(const benchmark::State &state)
{
    return static_cast<std::size_t>(state.range(0));
}

/** Cheap random indices below a bound. */
class AnyIndex {
public:
    explicit AnyIndex(std::size_t bound) : bound_(bound) {}
    std::size_t operator()() { return static_cast<std::size_t>(uint64_t{random_()} * bound_ >> 32); }

private:
    uint64_t bound_;
    std::mt19937 random_{1};
};

/** Write to four nodes at random and do nothing else: what the caches add to the benchmarks that do it too. */
void memoryAny(benchmark::State &state)
{
    Nodes nodes(countOf(state));
    AnyIndex any(nodes.size());
    for (auto _ : state) {
        for (int i = 0; i < 4; i++) {
            nodes[any()].value++;
        }
        benchmark::ClobberMemory();
    }
}

/** Delete the first, push it at the end. */
void listFirstToEnd(benchmark::State &state)
{
    Nodes nodes(countOf(state));
    Node *head = pushAll(nodes);
    for (auto _ : state) {
        Node *first = head;
        zlst_delete(&head, first);
        zlst_push(&head, first);
    }
}

/** Delete the last, push it at the end. */
void listLastToEnd(benchmark::State &state)
{
    Nodes nodes(countOf(state));
    Node *head = pushAll(nodes);
    for (auto _ : state) {
        zlst_delete(&head, &nodes.back());
        zlst_push(&head, &nodes.back());
    }
}

/** Delete any, push it at the end. */
void listAnyToEnd(benchmark::State &state)
{
    Nodes nodes(countOf(state));
    Node *head = pushAll(nodes);
    AnyIndex any(nodes.size());
    for (auto _ : state) {
        Node &node = nodes[any()];
        zlst_delete(&head, &node);
        zlst_push(&head, &node);
    }
}

/** Push nodes until there are so many. The time is that of one push. */
void listPush(benchmark::State &state)
{
    Nodes nodes(countOf(state));
    for (auto _ : state) {
        benchmark::DoNotOptimize(pushAll(nodes));
    }
    state.counters["perNode"] = benchmark::Counter(
        static_cast<double>(nodes.size()), benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
}

/** A pool with so many live blocks. A benchmark that filled it would measure refusals. */
class FilledPool {
public:
    explicit FilledPool(std::size_t count) : blocks(count)
    {
        pool = buddy_create(static_cast<u32>(count) * 8 * nodeSize + 4096, 0);
        for (void *&block : blocks) {
            block = buddy_malloc(pool, nodeSize);
        }
    }
    ~FilledPool() { buddy_destroy(pool); }
    FilledPool(const FilledPool &) = delete;
    FilledPool &operator=(const FilledPool &) = delete;

    void check(benchmark::State &state) const
    {
        BuddyStat stat;
        if (buddy_stat(pool, &stat) != 0 || stat.failedAllocs != 0 || stat.refusedFrees != 0) {
            state.SkipWithError("the pool refused calls");
        }
    }

    psiPoolId pool = 0;
    std::vector<void *> blocks;
};

/** Free the blocks in turn, allocate one instead of each. */
void poolInTurn(benchmark::State &state)
{
    FilledPool filled(countOf(state));
    std::size_t at = 0;
    for (auto _ : state) {
        void *&block = filled.blocks[at];
        at = at + 1 < filled.blocks.size() ? at + 1 : 0;
        buddy_free(filled.pool, block);
        block = buddy_malloc(filled.pool, nodeSize);
    }
    filled.check(state);
}

/** Free any block, allocate one of one to four nodes' size instead. */
void poolAny(benchmark::State &state)
{
    FilledPool filled(countOf(state));
    AnyIndex any(filled.blocks.size());
    u32 size = nodeSize;
    for (auto _ : state) {
        void *&block = filled.blocks[any()];
        buddy_free(filled.pool, block);
        block = buddy_malloc(filled.pool, size);
        size = size < 4 * nodeSize ? size + nodeSize : nodeSize;
    }
    filled.check(state);
}

/** What the library does for a node: allocate it, push it, delete it, free it. */
void nodeLife(benchmark::State &state)
{
    FilledPool filled(countOf(state));
    Node *head = nullptr;
    for (void *block : filled.blocks) {
        zlst_push(&head, block);
    }
    for (auto _ : state) {
        void *node = buddy_malloc(filled.pool, sizeof(Node));
        zlst_push(&head, node);
        zlst_delete(&head, node);
        buddy_free(filled.pool, node);
    }
    filled.check(state);
}

constexpr int fewest = 10;
constexpr int most = 100000;

BENCHMARK(memoryAny)->RangeMultiplier(10)->Range(fewest, most);
BENCHMARK(listFirstToEnd)->RangeMultiplier(10)->Range(fewest, most);
BENCHMARK(listLastToEnd)->RangeMultiplier(10)->Range(fewest, most);
BENCHMARK(listAnyToEnd)->RangeMultiplier(10)->Range(fewest, most);
BENCHMARK(listPush)->RangeMultiplier(10)->Range(fewest, most);
BENCHMARK(poolInTurn)->RangeMultiplier(10)->Range(fewest, most);
BENCHMARK(poolAny)->RangeMultiplier(10)->Range(fewest, most);
BENCHMARK(nodeLife)->RangeMultiplier(10)->Range(fewest, most);

} // namespace
