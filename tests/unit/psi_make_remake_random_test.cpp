// Random tables of up to 20 sections, edited at random through their trees and written back.
#include "support/makeFixture.h"
#include "support/treeEdits.h"

#include <algorithm>
#include <random>

namespace psitest {
namespace {

constexpr u16 randomTableExt = 0x4321;
constexpr unsigned tablesPerType = 200;

template <typename Table> class RemakeRandom : public MakeTest {
protected:
    using Section = typename Table::Section;
    using Entry = typename Table::Entry;

    u32 below(u32 bound) { return static_cast<u32>(random() % bound); }

    PlainDescriptors randomDescriptors(std::size_t most, std::size_t &budget)
    {
        PlainDescriptors list;
        for (std::size_t n = below(static_cast<u32>(most) + 1); n > 0 && budget >= 2; --n) {
            const std::size_t room = std::min<std::size_t>(budget - 2, below(4) == 0 ? 255 : 40);
            const u8 tag = static_cast<u8>(random());
            const u8 first = static_cast<u8>(random());
            list.push_back({tag, counting(below(static_cast<u32>(room) + 1), first)});
            budget -= list.back().payload.size() + 2;
        }
        return list;
    }
    /** @brief Each section fits its limit. */
    std::vector<PlainTree> randomTable(std::size_t sections)
    {
        std::vector<PlainTree> table(sections);
        for (std::size_t number = 0; number < table.size(); ++number) {
            PlainTree &tree = table[number];
            tree.tableId = Table::actualId;
            tree.version = static_cast<u8>(below(32));
            tree.number = static_cast<u8>(number);
            tree.last = static_cast<u8>(table.size() - 1);
            tree.id = randomTableExt;
            std::size_t budget = below(Table::budget);
            if (Table::entryFixed == 6)
                tree.descriptors = randomDescriptors(3, budget);
            for (u32 entries = below(24); entries > 0 && budget >= Table::entryFixed; --entries) {
                budget -= Table::entryFixed;
                PlainEntry entry;
                entry.id = static_cast<u16>(random());
                entry.descriptors = randomDescriptors(4, budget);
                tree.entries.push_back(entry);
            }
        }
        return table;
    }
    Section *parse(const sectionData &node)
    {
        void *tree = nullptr;
        EXPECT_EQ(0, syntaxAnalysePsi(Table::actualType, &tree, node.buf, node.len));
        return static_cast<Section *>(tree);
    }
    /** @brief Put a random descriptor at the end of a list whose bytes may grow to @p limit. */
    void growList(descInfo **list, std::size_t limit)
    {
        const std::size_t used = sizeOf(*list);
        if (used + 2 > limit)
            return;
        std::size_t budget = std::min<std::size_t>(257, limit - used);
        addDescriptors(list, randomDescriptors(1, budget));
    }
    static std::size_t contentSize(Section *tree)
    {
        descInfo **descriptors = Table::tableDescriptors(tree);
        std::size_t size = descriptors == nullptr ? 0 : sizeOf(*descriptors);
        for (Entry *entry : nodesOf(*Table::entries(tree)))
            size += Table::entryFixed + sizeOf(*Table::descriptors(entry));
        return size;
    }
    void editEntry(Section *tree)
    {
        const std::vector<Entry *> entries = nodesOf(*Table::entries(tree));
        if (entries.empty())
            return;
        Entry *entry = entries[below(static_cast<u32>(entries.size()))];
        descInfo **list = Table::descriptors(entry);
        switch (below(3)) {
        case 0:
            EXPECT_EQ(0, Table::destroy(Table::entries(tree), entry));
            return;
        case 1:
            if (*list != nullptr) {
                EXPECT_EQ(0, descInfoDestroy(list, *list, 1));
            }
            break;
        default:
            growList(list, Table::budget - Table::entryFixed);
        }
        Table::length(entry) = static_cast<u16>(sizeOf(*list));
    }
    void edit(Section *tree)
    {
        for (u32 edits = below(below(2) == 0 ? 12 : 100); edits > 0; --edits) {
            const u32 kind = below(3);
            if (kind == 0) {
                editEntry(tree);
            } else if (kind == 1 && Table::tableDescriptors(tree) != nullptr) {
                growList(Table::tableDescriptors(tree), 60000);
            } else {
                Entry *entry = Table::creat(Table::entries(tree), static_cast<u16>(random()));
                growList(Table::descriptors(entry), Table::budget - Table::entryFixed);
                growList(Table::descriptors(entry), Table::budget - Table::entryFixed);
                Table::length(entry) = static_cast<u16>(sizeOf(*Table::descriptors(entry)));
            }
        }
    }
    static std::string contentOf(const std::vector<std::string> &descriptors, const std::vector<std::string> &entries)
    {
        std::string text;
        for (const std::string &one : descriptors)
            text += one;
        text += "entries\n";
        for (const std::string &one : entries)
            text += one;
        return text;
    }
    /** @brief Parse all stored sections in the order of their numbers and give their content; check the numbering. */
    std::string storedContent()
    {
        std::vector<std::string> descriptors(256);
        std::vector<std::string> entries(256);
        const std::vector<sectionData *> all = nodes(Table::actualType);
        for (const sectionData *node : all) {
            EXPECT_GE(1024, node->len);
            EXPECT_EQ(node->sectionNo, node->buf[6]);
            EXPECT_EQ(all.size() - 1, node->buf[7]);
            EXPECT_TRUE(entries[node->sectionNo].empty()) << "two sections of one number";
            Section *tree = parse(*node);
            descriptors[node->sectionNo] = Table::descriptorsOf(*tree);
            entries[node->sectionNo] = Table::entriesOf(*tree) + " ";
            EXPECT_EQ(0, syntaxDestroyPsiSection(Table::actualType, tree));
        }
        for (std::size_t number = 0; number < all.size(); ++number)
            EXPECT_FALSE(entries[number].empty()) << "no section " << number;
        for (std::string &one : entries) {
            if (!one.empty())
                one.pop_back();
        }
        return contentOf(descriptors, entries);
    }

    void store(const std::vector<PlainTree> &table)
    {
        for (const PlainTree &tree : table)
            storeSection(&model->sectionList, Table::actualType, Table::section(tree));
    }
    /** @brief Sections of this table's other ids and of every other type, under numbers of the table. */
    std::vector<sectionData *> storeOthers(u32 sections)
    {
        std::vector<sectionData *> others;
        for (u8 type = 0; type < 16; ++type) {
            const Bytes bytes = LongSectionBuilder(type)
                                    .idExt(static_cast<u16>(randomTableExt + (type == Table::actualType ? 1 : 0)))
                                    .number(static_cast<u8>(below(sections)), static_cast<u8>(sections - 1))
                                    .build();
            others.push_back(storeSection(&model->sectionList, type, bytes));
        }
        return others;
    }
    /** @brief Take the sections off the list again, when they are still there and as they were. */
    void expectUntouched(const std::vector<sectionData *> &others)
    {
        for (sectionData *node : others) {
            const std::vector<sectionData *> all = nodesOf(model->sectionList);
            ASSERT_NE(all.end(), std::find(all.begin(), all.end(), node));
            EXPECT_EQ(0, psiCheckCrc(node->buf, node->len));
            EXPECT_EQ(node->buf[6], node->sectionNo);
            EXPECT_EQ(0, sectionDataDestroy(&model->sectionList, node));
        }
    }

    std::mt19937 random{4711};
};

using EditedTables = testing::Types<SdtEdits, NitEdits, BatEdits>;
struct EditedNames {
    template <typename Table> static std::string GetName(int) { return Table::name; }
};
TYPED_TEST_SUITE(RemakeRandom, EditedTables, EditedNames);

TYPED_TEST(RemakeRandom, ParsingAllSectionsAgainGivesTheEditedTable)
{
    unsigned replaced = 0;
    unsigned rebuilt = 0;
    for (unsigned i = 0; i < tablesPerType && !this->HasFailure(); ++i) {
        SCOPED_TRACE(i);
        const std::vector<PlainTree> table = this->randomTable(1 + this->below(20));
        this->store(table);
        const std::size_t chosen = this->below(static_cast<u32>(table.size()));
        auto *edited = this->parse(*this->nodes(TypeParam::actualType)[chosen]);
        this->edit(edited);

        std::vector<std::string> descriptors;
        std::vector<std::string> entries;
        for (std::size_t number = 0; number < table.size(); ++number) {
            auto *tree = number == chosen ? edited : this->parse(*this->nodes(TypeParam::actualType)[number]);
            descriptors.push_back(TypeParam::descriptorsOf(*tree));
            entries.push_back(TypeParam::entriesOf(*tree));
            if (number != chosen) {
                EXPECT_EQ(0, syntaxDestroyPsiSection(TypeParam::actualType, tree));
            }
        }
        const std::string treeBefore = textOfTree<TypeParam>(*edited);
        const std::vector<sectionData *> others = this->storeOthers(static_cast<u32>(table.size()));
        const bool fits = this->contentSize(edited) < TypeParam::budget;
        EXPECT_EQ(0, syntaxSIMakeSeciton(this->model, edited, randomTableExt, TypeParam::actualType));
        EXPECT_EQ(treeBefore, textOfTree<TypeParam>(*edited)) << "the caller's tree is only read";
        EXPECT_EQ(0, syntaxDestroyPsiSection(TypeParam::actualType, edited));
        this->expectUntouched(others);
        EXPECT_EQ(this->contentOf(descriptors, entries), this->storedContent());
        ++(fits ? replaced : rebuilt);

        EXPECT_EQ(0, clearMakeTableInfo(this->id));
        EXPECT_EQ(this->emptyBlocks, this->liveBlocks());
    }
    EXPECT_LT(tablesPerType / 4, replaced);
    EXPECT_LT(tablesPerType / 4, rebuilt);
    EXPECT_NO_LOG(this->log);
}

TYPED_TEST(RemakeRandom, NoFailingCallLeaksABlockOrChangesTheTree)
{
    setPsiMakeRPTLevel(0);
    unsigned failures = 0;
    for (unsigned i = 0; i < 6; ++i) {
        SCOPED_TRACE(i);
        const std::vector<PlainTree> table = this->randomTable(1 + i % 3);
        this->store(table);
        auto *edited = this->parse(*this->nodes(TypeParam::actualType)[i % table.size()]);
        this->edit(edited);
        const std::string treeBefore = textOfTree<TypeParam>(*edited);
        for (const Call call : {Call::Malloc, Call::Push}) {
            failures += sweepFailures(
                call, Fail::Once,
                [&] {
                    ASSERT_EQ(0, clearMakeTableInfo(this->id));
                    this->store(table);
                },
                [&] { TypeParam::writeBack(this->model, edited, randomTableExt); },
                [&](bool) { EXPECT_EQ(treeBefore, textOfTree<TypeParam>(*edited)); });
        }
        EXPECT_EQ(0, syntaxDestroyPsiSection(TypeParam::actualType, edited));
        EXPECT_EQ(0, clearMakeTableInfo(this->id));
        EXPECT_EQ(this->emptyBlocks, this->liveBlocks());
    }
    EXPECT_LT(200U, failures);
}

} // namespace
} // namespace psitest
