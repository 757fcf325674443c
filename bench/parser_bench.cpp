/**
 * @file parser_bench.cpp
 * @brief The syntax parsers on sections of growing length: the time per byte has to stay flat.
 *
 * Every table is filled with small entries, so that a section of twice the length makes twice the nodes.
 */
#include "support/emergencyBuilder.h"

#include <benchmark/benchmark.h>

#include <cstdlib>
#include <string>

namespace {

using namespace psitest;

/** Append entries while they leave the section within `size` bytes. */
template <typename Builder, typename Add> Bytes filled(Builder builder, std::size_t size, Add add)
{
    for (;;) {
        Builder longer = builder;
        add(longer);
        if (longer.build().size() > size)
            return builder.build();
        builder = longer;
    }
}

/** The same for a table that is written at once. */
template <typename Table, typename Section, typename Add>
Bytes filledTable(std::size_t size, Section sectionOf, Add add)
{
    Table table = {};
    for (;;) {
        Table longer = table;
        add(longer);
        if (sectionOf(longer).build().size() > size)
            return sectionOf(table).build();
        table = longer;
    }
}

Bytes pat(std::size_t size)
{
    return filled(PatBuilder(), size, [](PatBuilder &table) { table.program(1, 0x100); });
}

Bytes pmt(std::size_t size)
{
    return filled(PmtBuilder(1), size,
                  [](PmtBuilder &table) { table.stream(0x03, 0x100, descriptor(0x0A, bytesOf("eng") + Bytes{0})); });
}

Bytes cat(std::size_t size)
{
    return filled(CatBuilder(), size, [](CatBuilder &table) { table.desc(caDescriptor(0x0500, 0x100, {1, 2})); });
}

Bytes nit(std::size_t size)
{
    return filled(NitBuilder(), size,
                  [](NitBuilder &table) { table.transportStream(1, 2, descriptor(0x43, counting(11))); });
}

Bytes bat(std::size_t size)
{
    return filled(BatBuilder(), size,
                  [](BatBuilder &table) { table.transportStream(1, 2, descriptor(0x41, counting(9))); });
}

Bytes sdt(std::size_t size)
{
    return filled(SdtBuilder(), size,
                  [](SdtBuilder &table) { table.service(1, serviceDescriptor(1, "Provider", "Service")); });
}

Bytes mgt(std::size_t size)
{
    return filled(MgtBuilder(), size, [](MgtBuilder &table) { table.table(0x100, 0x1D00, 1, 1000); });
}

Bytes ebit(std::size_t size)
{
    return filledTable<EbitTable>(size, ebitOf, [](EbitTable &table) {
        EbitMessage message;
        message.resources = {counting(12)};
        table.messages.push_back(message);
    });
}

Bytes ebct(std::size_t size)
{
    // At most 15 contents: the text of one grows instead.
    return filledTable<EbctTable>(size, ebctOf, [](EbctTable &table) {
        table.contents.resize(1);
        table.contents[0].text.resize(table.contents[0].text.size() + 16);
    });
}

Bytes ebcat(std::size_t size)
{
    return filledTable<EbcatTable>(size, ebcatOf, [](EbcatTable &table) { table.caList.push_back(counting(14)); });
}

Bytes ebcct(std::size_t size)
{
    return filledTable<EbcctTable>(size, ebcctOf, [](EbcctTable &table) {
        table.commands.push_back({1, counting(13)});
    });
}

struct Table {
    const char *name;
    u32 type;
    Bytes (*section)(std::size_t size);
};

constexpr Table tables[] = {
    {"pat", PSI_PAT, pat},        {"pmt", PSI_PMT, pmt},        {"cat", PSI_CAT, cat},
    {"nit", PSI_NIT_ACTUAL, nit}, {"sdt", PSI_SDT_ACTUAL, sdt}, {"bat", PSI_BAT, bat},
    {"mgt", PSI_MGT, mgt},        {"ebit", PSI_EBIT, ebit},     {"ebct", PSI_EBCT, ebct},
    {"ebcat", PSI_EBCAT, ebcat},  {"ebcct", PSI_EBCCT, ebcct},
};

/* ---- measuring ------------------------------------------------------------------------------------------------------
 */

void countBytes(benchmark::State &state, const Bytes &section)
{
    state.SetComplexityN(static_cast<benchmark::IterationCount>(section.size()));
    state.SetBytesProcessed(static_cast<std::int64_t>(section.size()) * state.iterations());
}

/** A tree's whole life; when it takes time in proportion to the bytes, neither parsing nor freeing takes more. */
void parseAndFree(benchmark::State &state, const Table &table)
{
    const Bytes section = table.section(static_cast<std::size_t>(state.range(0)));
    for (auto _ : state) {
        void *tree = nullptr;
        if (syntaxAnalysePsi(table.type, &tree, section.data(), static_cast<u32>(section.size())) != 0 ||
            syntaxDestroyPsiSection(table.type, tree) != 0) {
            state.SkipWithError("the library refused a section or a tree");
            return;
        }
    }
    countBytes(state, section);
}

void crcCheck(benchmark::State &state)
{
    const Bytes section = sdt(static_cast<std::size_t>(state.range(0)));
    for (auto _ : state)
        benchmark::DoNotOptimize(psiCheckCrc(section.data(), static_cast<u32>(section.size())));
    countBytes(state, section);
}

void noSleep(u32) {}
u32 noTick()
{
    return 0;
}

bool initialise()
{
    constexpr u32 poolBytes = 16U << 20;
    const psiInitRegisterInfo info = {0, poolBytes, 0, noSleep, noTick};
    setPsiSchRPTLevel(1);
    return psiSch_Init(&info) == 0;
}

void registerAll()
{
    constexpr std::int64_t shortest = 128;
    constexpr std::int64_t longest = 4096;
    const auto atAllSizes = [](benchmark::internal::Benchmark *registration) {
        registration->RangeMultiplier(2)->Range(shortest, longest)->Complexity(benchmark::oN);
    };
    benchmark::RegisterBenchmark("crcCheck", crcCheck)->Apply(atAllSizes);
    for (const Table &table : tables) {
        const auto ofTable = [&table](benchmark::State &state) { parseAndFree(state, table); };
        benchmark::RegisterBenchmark((std::string("parseAndFree/") + table.name).c_str(), ofTable)->Apply(atAllSizes);
    }
}

} // namespace

int main(int argc, char **argv)
{
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv))
        return EXIT_FAILURE;
    if (!initialise())
        return EXIT_FAILURE;
    registerAll();
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return EXIT_SUCCESS;
}
