// Edited trees back to sections. Input: table, failing call, number of edits, the edits, then the table's sections, of
// which the first one is parsed, edited and written back.
#include "fuzzTarget.h"

#include "support/makeFixture.h"
#include "support/treeEdits.h"

#include <algorithm>

namespace psifuzz {

bool (*const startLibrary)() = initialisePsi;

namespace {

using psitest::nodesOf;

constexpr u16 tableExt = 0x4321;
constexpr u32 mostSections = 64;
constexpr u32 mostEdits = 220; // 16 bits count the bytes of a tree

/** @brief Descriptors and entries of sections, one after the other. */
struct Content {
    std::string descriptors;
    std::string entries;
    std::size_t bytes = 0;
    bool tooLarge = false; /**< an entry fits no section: it ends the table */
};

template <typename Table> class Remaking {
    using Section = typename Table::Section;
    using Entry = typename Table::Entry;

public:
    explicit Remaking(Input &input) : input_(input), id_(psiMakeCreate()), model_(getMakeObjDataInfo(id_)) {}
    ~Remaking() { EXPECT_EQ(0, psiMakeDestroy(id_)); }
    Remaking(const Remaking &) = delete;
    Remaking &operator=(const Remaking &) = delete;

    void run(u8 options, u8 failingCall)
    {
        const Bytes edits = input_.bytes(std::min<std::size_t>(input_.byte(), mostEdits) * 3);
        storeSections(options);
        const std::vector<sectionData *> stored = nodesOf(model_->sectionList);
        Section *tree = stored.empty() ? nullptr : parse(*stored.front());
        if (tree == nullptr)
            return;
        edit(tree, edits);
        writeBack(tree, failingCall);
        EXPECT_EQ(0, syntaxDestroyPsiSection(Table::actualType, tree));
    }

private:
    static constexpr u8 anyNumber = 0x40; // option: section numbers as they stand in the input

    /** @brief The table's sections, numbered, but for what the options and the records leave. */
    void storeSections(u8 options)
    {
        std::vector<SectionRecord> records;
        while (records.size() < mostSections && input_.left() > recordHeader) {
            SectionRecord record = takeSection(input_);
            if (record.bytes.size() >= 12)
                records.push_back(std::move(record));
        }
        for (std::size_t number = 0; number < records.size(); ++number) {
            Bytes &bytes = records[number].bytes;
            bytes[0] = Table::actualId;
            bytes[3] = tableExt >> 8;
            bytes[4] = tableExt & 0xFF;
            if (!(options & anyNumber)) {
                bytes[6] = static_cast<u8>(number);
                bytes[7] = static_cast<u8>(records.size() - 1);
            }
            seal(bytes);
            psitest::storeSection(&model_->sectionList, Table::actualType, bytes);
        }
    }
    static Section *parse(const sectionData &node)
    {
        void *tree = nullptr;
        return syntaxAnalysePsi(Table::actualType, &tree, node.buf, node.len) == 0 ? static_cast<Section *>(tree)
                                                                                   : nullptr;
    }

    /* ---- edits, of three bytes each ---- */

    static void grow(descInfo **list, u8 tag, u8 length)
    {
        psitest::addDescriptors(list, {{tag, psitest::counting(length, tag)}});
    }
    static void editEntry(Section *tree, u32 what, u8 tag, u8 length)
    {
        const std::vector<Entry *> entries = nodesOf(*Table::entries(tree));
        if (entries.empty())
            return;
        Entry *entry = entries[tag % entries.size()];
        descInfo **list = Table::descriptors(entry);
        if (what == 0) {
            EXPECT_EQ(0, Table::destroy(Table::entries(tree), entry));
            return;
        }
        if (what == 1)
            grow(list, tag, length);
        else if (*list != nullptr)
            descInfoDestroy(list, *list, 1);
        Table::length(entry) = static_cast<u16>(psitest::sizeOf(*list));
    }
    static void editOnce(Section *tree, u8 what, u8 tag, u8 length)
    {
        switch (what & 7) {
        case 0:
        case 1:
        case 2:
            return editEntry(tree, what & 7U, tag, length);
        case 3:
            if (Table::tableDescriptors(tree) != nullptr)
                grow(Table::tableDescriptors(tree), tag, length);
            return;
        case 4:
            tree->section_number = tag;
            tree->last_section_number = length;
            return;
        default:
            Entry *entry = Table::creat(Table::entries(tree), tag);
            if (what & 0x80)
                grow(Table::descriptors(entry), tag, length);
            Table::length(entry) = static_cast<u16>(psitest::sizeOf(*Table::descriptors(entry)));
        }
    }
    static void edit(Section *tree, const Bytes &edits)
    {
        for (std::size_t at = 0; at + 3 <= edits.size(); at += 3)
            editOnce(tree, edits[at], edits[at + 1], edits[at + 2]);
    }

    /* ---- what has to come out ---- */

    static Content contentOf(Section *tree)
    {
        Content content = {Table::descriptorsOf(*tree), Table::entriesOf(*tree), 0, false};
        if (Table::tableDescriptors(tree) != nullptr)
            content.bytes += psitest::sizeOf(*Table::tableDescriptors(tree));
        for (Entry *entry : nodesOf(*Table::entries(tree))) {
            const std::size_t size = Table::entryFixed + psitest::sizeOf(*Table::descriptors(entry));
            content.bytes += size;
            content.tooLarge = content.tooLarge || size > Table::budget;
        }
        return content;
    }
    static void append(Content &to, const Content &more)
    {
        to.descriptors += more.descriptors;
        to.entries += more.entries;
        to.bytes += more.bytes;
        to.tooLarge = to.tooLarge || more.tooLarge;
    }
    /** @brief The first stored section of a number, or null. */
    sectionData *storedOf(u32 number) const
    {
        for (sectionData *node : nodesOf(model_->sectionList)) {
            if (node->sectionNo == number)
                return node;
        }
        return nullptr;
    }
    Content contentOfStored(u32 number) const
    {
        const sectionData *node = storedOf(number);
        Section *tree = node == nullptr ? nullptr : parse(*node);
        if (tree == nullptr)
            return {};
        Content content = contentOf(tree);
        EXPECT_EQ(0, syntaxDestroyPsiSection(Table::actualType, tree));
        return content;
    }
    Content expectedRebuild(Section *tree) const
    {
        Content all;
        if (tree->last_section_number == 0)
            return contentOf(tree);
        for (u32 number = 0; number <= tree->last_section_number; ++number)
            append(all, number == tree->section_number ? contentOf(tree) : contentOfStored(number));
        return all;
    }
    /** @brief All sections, numbered from 0, have all of the table, or what stands in front of an entry too large. */
    void expectRebuilt(const Content &expected) const
    {
        Content all;
        const std::vector<sectionData *> nodes = nodesOf(model_->sectionList);
        for (u32 number = 0; number < nodes.size(); ++number) {
            const sectionData *node = storedOf(number);
            ASSERT_NE(nullptr, node) << "no section " << number;
            EXPECT_EQ(nodes.size() - 1, node->buf[7]);
            append(all, contentOfStored(number));
        }
        EXPECT_EQ(expected.descriptors, all.descriptors);
        if (!expected.tooLarge) {
            EXPECT_EQ(expected.entries, all.entries);
        }
        EXPECT_EQ(0, expected.entries.compare(0, all.entries.size(), all.entries));
    }
    /** @brief The tree stands where a section of its number was, and the others stand as they did. */
    void expectReplaced(Section *tree, std::size_t sectionsBefore, bool hadOne) const
    {
        const std::vector<sectionData *> nodes = nodesOf(model_->sectionList);
        EXPECT_EQ(sectionsBefore + (hadOne ? 0 : 1), nodes.size());
        Section *written = parse(*nodes.back());
        ASSERT_NE(nullptr, written);
        EXPECT_EQ(tree->section_number, written->section_number);
        EXPECT_EQ(tree->last_section_number, written->last_section_number);
        EXPECT_EQ(tree->version_number, written->version_number);
        EXPECT_EQ(Table::descriptorsOf(*tree), Table::descriptorsOf(*written));
        EXPECT_EQ(Table::entriesOf(*tree), Table::entriesOf(*written));
        EXPECT_EQ(0, syntaxDestroyPsiSection(Table::actualType, written));
    }
    void writeBack(Section *tree, u8 failingCall)
    {
        const std::string treeBefore = psitest::textOfTree<Table>(*tree);
        const std::size_t sectionsBefore = nodesOf(model_->sectionList).size();
        const bool replaces = contentOf(tree).bytes < Table::budget;
        const bool hadOne = storedOf(tree->section_number) != nullptr;
        const Content expected = replaces ? Content() : expectedRebuild(tree);
        bool failed = false;
        {
            const Faults faults(failingCall);
            const i32 result = syntaxSIMakeSeciton(model_, tree, tableExt, Table::actualType);
            EXPECT_TRUE(result == 0 || faults.injected());
            failed = faults.injected();
        }
        EXPECT_EQ(treeBefore, psitest::textOfTree<Table>(*tree)) << "the caller's tree is only read";
        if (failed)
            return;
        if (replaces)
            expectReplaced(tree, sectionsBefore, hadOne);
        else
            expectRebuilt(expected);
    }

    Input &input_;
    psiObjId id_;
    tsInfo *model_;
};

} // namespace

void fuzzOne(Input input)
{
    const u8 options = input.byte();
    const u8 failingCall = input.byte();
    switch (options & 3) {
    case 0:
        return Remaking<psitest::SdtEdits>(input).run(options, failingCall);
    case 1:
        return Remaking<psitest::NitEdits>(input).run(options, failingCall);
    default:
        return Remaking<psitest::BatEdits>(input).run(options, failingCall);
    }
}

} // namespace psifuzz
