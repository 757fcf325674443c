/**
 * @file scale.cpp
 * @brief What an item costs must not depend on how many there are.
 */
#include "memoryHost.h"
#include "model.h"
#include "rows.h"

#include <algorithm>
#include <cstdio>

namespace psibench {
namespace {

/** @brief Cost of all items, in nanoseconds. */
using Cost = double (*)(u16 items);

constexpr u16 programsInPat = 253;

/** @brief PAT sections of any number of programs. */
std::vector<StoredSection> patOf(u16 programs)
{
    std::vector<StoredSection> sections;
    const u8 last = static_cast<u8>((programs - 1) / programsInPat);
    for (u16 done = 0; done < programs;) {
        const u16 more = static_cast<u16>(std::min<int>(programs - done, programsInPat));
        const u8 number = static_cast<u8>(done / programsInPat);
        sections.push_back({PSI_PAT, patSection(static_cast<u16>(1 + done), more, number, last)});
        done = static_cast<u16>(done + more);
    }
    return sections;
}

double analysePats(u16 programs)
{
    const std::vector<StoredSection> sections = patOf(programs);
    Model model(Model::Payloads::inSections);
    return bestOf(5, [&] {
        model.analyse(sections);
        model.clear();
    });
}

double analysePmts(u16 programs)
{
    Model model(Model::Payloads::inSections);
    model.analyse(patOf(programs));
    std::vector<StoredSection> pmts;
    for (u16 program = 1; program <= programs; ++program)
        pmts.push_back({PSI_PMT, pmtSection(program, 2)});
    return bestOf(1, [&] { model.analyse(pmts); });
}

double searchPmts(u16 programs)
{
    MemoryHost host;
    for (const StoredSection &pat : patOf(programs))
        host.carry(0x0000, pat.bytes);
    for (u16 program = 1; program <= programs; ++program)
        host.carry(pmtPidOf(program), pmtSection(program, 2));
    return bestOf(3, [&] {
        host.clear();
        require(host.search(PSI_PAT) != 0 && host.search(PSI_PMT) == programs);
    });
}

double makePat(u16 programs)
{
    Model model;
    model.analyse(patOf(programs));
    return bestOf(5, [&] { require(patMakeSection(model.info()) == 0); });
}

double makePmts(u16 programs)
{
    Model model;
    model.analyse(patOf(programs));
    return bestOf(3, [&] { require(pmtMakeSection(model.info()) == 0); });
}

double makeSdt(u16 programs)
{
    Model model;
    model.analyse(patOf(programs));
    return bestOf(3, [&] { require(sdtaMakeSection(model.info()) == 0); });
}

/** @brief Sections of a list, put there and taken away again as a whole. */
double storeSections(u16 sections)
{
    sectionData *list = nullptr;
    return bestOf(5, [&] {
        for (u16 i = 0; i < sections; ++i) {
            sectionData *node = sectionDataCreat(&list);
            require(node != nullptr);
            node->psiType = PSI_BAT;
            node->idExt = i;
        }
        require(singleTypeSectionDataDestroy(&list, PSI_BAT) == 0);
    });
}

/** @brief Blocks of the sizes of nodes and sections, all live at once, freed from the first on. */
double fillPool(u16 blocks)
{
    std::vector<void *> live(blocks);
    return bestOf(5, [&] {
        u32 size = 16;
        for (void *&block : live) {
            block = psi_buddy_malloc(size);
            size = size < 1000 ? size * 3 / 2 : 16;
            require(block != nullptr);
        }
        for (void *block : live)
            require(psi_buddy_free(block) == 0);
    });
}

/** @brief The bouquets of a stream, collected by one search. */
double searchBats(u16 bouquets)
{
    MemoryHost host;
    for (u16 id = 0; id < bouquets; ++id)
        host.carry(0x0011, batSection(id, 2));
    return bestOf(5, [&] {
        host.clear();
        require(host.search(PSI_BAT) == bouquets);
    });
}

/** @brief Bouquets written back one after the other. */
double remakeBats(u16 bouquets)
{
    Model model;
    const Bytes section = batSection(1, 2);
    void *tree = nullptr;
    require(syntaxAnalysePsi(PSI_BAT, &tree, section.data(), static_cast<u32>(section.size())) == 0);
    const double cost = bestOf(5, [&] {
        for (u16 id = 0; id < bouquets; ++id)
            require(syntaxSIMakeSeciton(model.info(), tree, id, PSI_BAT) == 0);
    });
    syntaxDestroyPsiSection(PSI_BAT, tree);
    return cost;
}

struct Scale {
    const char *name;
    Cost cost;
    std::vector<u16> items;
};

const std::vector<u16> programs = {10, 100, 1000, 8000};
const std::vector<u16> sections = {1, 10, 100, 1000, 10000};
const std::vector<u16> subTables = {1, 16, 64, 256};

const Scale scales[] = {
    {"analyse PATs, per program", analysePats, programs},
    {"analyse PMTs, per program", analysePmts, programs},
    {"search PMTs, per program", searchPmts, programs},
    {"make the PAT, per program", makePat, programs},
    {"make PMTs, per program", makePmts, programs},
    {"make the SDT, per program", makeSdt, programs},
    {"store sections, per section", storeSections, sections},
    {"fill the pool, per block", fillPool, sections},
    {"search BATs, per sub-table", searchBats, subTables},
    {"make BATs from trees, per sub-table", remakeBats, subTables},
};

/** @brief Caches make large models slower than small ones; a cost that grows with the number is far above this. */
constexpr double mostGrowth = 3;

bool checkOne(const Scale &scale)
{
    printf("%-38s", scale.name);
    double cheapest = 1e30;
    double last = 0;
    for (const u16 items : scale.items) {
        last = scale.cost(items) / items;
        cheapest = std::min(cheapest, last);
        printf(" %7.0f ns at %5u", last, items);
        fflush(stdout);
    }
    const bool flat = last <= cheapest * mostGrowth;
    printf("  %s\n", flat ? "ok" : "GROWS");
    return flat;
}

} // namespace

bool checkScale(const std::string &filter)
{
    bool flat = true;
    for (const Scale &scale : scales)
        if (chosen(scale.name, filter))
            flat = checkOne(scale) && flat;
    return flat;
}

} // namespace psibench
