#include "model.h"
#include "rows.h"
#include "testSections.h"

#include <memory>

namespace psibench {
namespace {

Row parseRow(const char *name, u32 type, const Bytes &section, double bar)
{
    const auto work = [type, section](unsigned times) {
        for (unsigned i = 0; i < times; ++i) {
            void *tree = nullptr;
            require(syntaxAnalysePsi(type, &tree, section.data(), static_cast<u32>(section.size())) == 0 &&
                    syntaxDestroyPsiSection(type, tree) == 0);
        }
    };
    return {std::string("parse ") + name, bar, work};
}

/** @brief Sections from a model that was filled from `sections`. */
Row makeRow(const char *name, u32 type, const std::vector<StoredSection> &sections, double bar)
{
    const auto model = std::make_shared<Model>();
    model->analyse(sections);
    const auto work = [type, model](unsigned times) {
        for (unsigned i = 0; i < times; ++i)
            require(psiMakeSection(model->info(), type) == 0);
    };
    return {std::string("make ") + name, bar, work};
}

/** @brief Sections from a syntax tree. */
Row remakeRow(const char *name, u32 type, const Bytes &section, double bar)
{
    const auto model = std::make_shared<Model>();
    void *tree = nullptr;
    require(syntaxAnalysePsi(type, &tree, section.data(), static_cast<u32>(section.size())) == 0);
    const std::shared_ptr<void> owned(tree, [type](void *gone) { syntaxDestroyPsiSection(type, gone); });
    const auto work = [type, model, owned](unsigned times) {
        for (unsigned i = 0; i < times; ++i)
            require(syntaxSIMakeSeciton(model->info(), owned.get(), 1, type) == 0);
    };
    return {std::string("make ") + name, bar, work};
}

/** @brief A section into an empty model and out of it again, as a search and clearTableInfo() do. */
Row analyseRow(const char *name, const std::vector<StoredSection> &sections)
{
    const auto model = std::make_shared<Model>(Model::Payloads::inSections);
    const auto stored = std::make_shared<std::vector<StoredSection>>(sections);
    const auto work = [model, stored](unsigned times) {
        for (unsigned i = 0; i < times; ++i) {
            model->analyse(*stored);
            model->clear();
        }
    };
    return {std::string("analyse ") + name, 0, work};
}

/** @brief A PAT and the PMTs that it announces, in its order. */
std::vector<StoredSection> pmtsBehindTheirPat(const Bytes &pat, u16 programs)
{
    std::vector<StoredSection> sections = {{PSI_PAT, pat}};
    for (u16 program = 1; program <= programs; ++program)
        sections.push_back({PSI_PMT, pmtSection(program, 1)});
    return sections;
}

} // namespace

void addTableRows(std::vector<Row> &rows)
{
    const Bytes pat = patSection(1, 253);
    rows.push_back(parseRow("PAT 253", PSI_PAT, pat, 0.50));
    rows.push_back(parseRow("PMT 10x3", PSI_PMT, pmtSection(1), 0.11));
    rows.push_back(parseRow("SDT 12x4", PSI_SDT_ACTUAL, sdtSection(), 0.24));
    rows.push_back(parseRow("NIT 20x2", PSI_NIT_ACTUAL, nitSection(), 0.29));
    rows.push_back(parseRow("BAT 20x2", PSI_BAT, batSection(), 0.29));
    rows.push_back(parseRow("MGT 8", PSI_MGT, mgtSection(), 0.065));

    const StoredSection onePat = {PSI_PAT, patSection(1, 1)};
    const StoredSection pat12 = {PSI_PAT, patSection(1, 12)};
    rows.push_back(makeRow("PAT 253", PSI_PAT, {{PSI_PAT, pat}}, 0.25));
    rows.push_back(makeRow("PMT 10x3", PSI_PMT, {onePat, {PSI_PMT, pmtSection(1)}}, 0.10));
    rows.push_back(makeRow("SDT 12", PSI_SDT_ACTUAL, {pat12, {PSI_SDT_ACTUAL, sdtSection()}}, 0.16));
    rows.push_back(remakeRow("SDT 12x4 from its tree", PSI_SDT_ACTUAL, sdtSection(), 0.16));
    rows.push_back(remakeRow("NIT 20x2 from its tree", PSI_NIT_ACTUAL, nitSection(), 0.16));
    rows.push_back(remakeRow("BAT 20x2 from its tree", PSI_BAT, batSection(), 0.16));

    rows.push_back(analyseRow("PAT 253", {{PSI_PAT, pat}}));
    rows.push_back(analyseRow("PMT 10x3", {onePat, {PSI_PMT, pmtSection(1)}}));
    rows.push_back(analyseRow("SDT 12x4", {pat12, {PSI_SDT_ACTUAL, sdtSection()}}));
    rows.push_back(analyseRow("PMTs of 253 programs", pmtsBehindTheirPat(pat, 253)));
    rows.push_back(analyseRow("NIT 20x2", {{PSI_NIT_ACTUAL, nitSection()}}));
}

} // namespace psibench
