// Sections to what psitool prints of them and of their model. Input: options, then sections.
#include "fuzzTarget.h"

#include "scan/scan.h"
#include "support/libraryFixture.h"
#include "support/safeUtf8.h"
#include "tables/tables.h"

#include <nlohmann/json.hpp>

#include <sstream>

namespace psifuzz {

bool (*const startLibrary)() = initialisePsi;

namespace {

constexpr u8 atsc = 1; // option: private numbers are ATSC's
constexpr u32 mostSections = 16;

void expectSafeLines(const std::string &text)
{
    std::istringstream lines(text);
    for (std::string line; std::getline(lines, line);)
        EXPECT_TRUE(psitest::isSafeUtf8(line)) << line;
}

void expectJson(const std::string &text)
{
    EXPECT_FALSE(nlohmann::json::parse(text, nullptr, false).is_discarded()) << text;
}

psitool::TableSection shown(const Bytes &bytes)
{
    psitool::TableSection section;
    section.bytes.assign(bytes.begin(), bytes.end());
    section.kind = psitool::tableKindOf(bytes[0]);
    section.file = "section";
    return section;
}

void show(const psitool::TablesResult &result, const tsInfo &model)
{
    std::string text;
    const auto append = [&text](const std::string &part) {
        text += part;
        return true;
    };
    psitool::writeTablesText(result, psitool::Branches::unicode, append);
    expectSafeLines(text);
    text.clear();
    psitool::writeTablesJson(result, append);
    expectJson(text);
    psitool::ScanInput input;
    input.name = "sections";
    const psitool::ModelView view(model);
    expectSafeLines(psitool::scanText({input, view, nullptr}, psitool::Branches::ascii));
    expectJson(psitool::scanJson({input, view, nullptr}));
}

/** @brief What every input of psitool has been found to be: a whole section by its section_length. */
bool isWhole(const Bytes &bytes)
{
    return bytes.size() >= 3 && bytes.size() == psitest::sectionLength(bytes) + std::size_t{3};
}

} // namespace

void fuzzOne(Input input)
{
    psitool::TablesResult result;
    result.hex = true;
    result.usual.standard = input.byte() & atsc ? psitool::Standard::atsc : psitool::Standard::dvb;
    input.byte();
    psitest::LooseModel model;
    for (u32 i = 0; i < mostSections && input.left() > recordHeader; ++i) {
        const SectionRecord record = takeSection(input);
        if (!isWhole(record.bytes))
            continue;
        analysePsi(model.get(), psitest::storeSection(&model->sectionList, record.psiType, record.bytes), 0);
        model->tableMask |= 1U << record.psiType;
        result.sections.push_back(shown(record.bytes));
    }
    show(result, *model.get());
}

} // namespace psifuzz
