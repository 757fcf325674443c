// Paths and values of psitool edit --set, on the tables of a section. Input: how long the section is, the section, then
// the assignment.
#include "fuzzTarget.h"

#include "edit/editFields.h"
#include "edit/editTables.h"
#include "support/libraryFixture.h"

namespace psifuzz {

bool (*const startLibrary)() = initialisePsi;

namespace {

using namespace psitool;

bool isOf(const TableKind &kind, const Bytes &section)
{
    return tableKindOf(view(section), std::nullopt) == &kind && (section[1] & 0x80) == (kind.isShort() ? 0 : 0x80);
}

/** What was written can be read, and written again it is the same. */
void expectWhole(const Sections &sections, const TableContext &context)
{
    for (const Bytes &section : sections) {
        EXPECT_EQ(section.size(), psitest::sectionLength(section) + std::size_t{3});
        EXPECT_LE(section.size(), std::size_t{4096});
        if (!isOf(*context.kind, section)) // its table_id was set
            return;
    }
    try {
        EXPECT_EQ(sections, writeTrees(readTrees(sections, context), context));
    } catch (const EditError &error) { // a number that says how the rest is laid out may be set
        EXPECT_NE(std::string(), error.what());
    }
}

void change(const SetRequest &set, const Sections &sections, const TableContext &context)
{
    Trees trees = readTrees(sections, context);
    std::vector<Fields *> fields;
    for (Fields &tree : trees)
        fields.push_back(&tree);
    PathMatch match;
    changeFields(fields, set.path, set.change, match);
    EXPECT_TRUE(match.hits != 0 || !match.miss.empty());
    EXPECT_LE(match.depth, set.path.steps.size());
    expectWhole(writeTrees(std::move(trees), context), context);
}

} // namespace

void fuzzOne(Input input)
{
    const std::size_t length = std::min<std::size_t>(input.word() & 0x0FFF, input.left());
    Bytes section;
    while (section.size() < length)
        section.push_back(input.byte());
    const Bytes rest = input.rest();
    try {
        const SetRequest set = parseSet({rest.begin(), rest.end()});
        const TableKind *kind = tableKindOf(view(section), std::nullopt);
        if (kind)
            change(set, {section}, {kind, kind->pid, Standard::dvb});
    } catch (const EditError &error) {
        EXPECT_NE(std::string(), error.what());
    } catch (const PathError &error) {
        EXPECT_NE(std::string(), error.what());
    }
}

} // namespace psifuzz
