// An edited SDT, NIT or BAT tree written back as sections.
#include "support/makeFixture.h"
#include "support/plainTree.h"

namespace psitest {
namespace {

constexpr u16 tableExt = sampleTableExt;

/** @brief The lines of one write-back, told with the NIT's words; the other tables replace them. */
template <typename Table> std::string worded(std::string text)
{
    const auto replace = [&](const std::string &from, const std::string &to) {
        for (std::size_t at = text.find(from); at != std::string::npos; at = text.find(from, at + to.size()))
            text.replace(at, from.size(), to);
    };
    if (Table::name == std::string("Bat")) {
        replace("Nit", "Bat");
        replace("nitSection", "batSection");
        replace("net_desc_info", "bouquet_desc_info");
        replace("netId", "bouquetId");
    } else if (Table::name == std::string("Sdt")) {
        replace("(Nit ", "(sdt ");
        replace("Nit", "Sdt");
        replace("nitSection", "sdtSection");
        replace("psiStreamInfoCreat newStreamInfo", "psiSdtServiceCreat newProgInfo");
        replace("descInfoCreat stream_desc_info", "descInfoCreat newProgInfo");
        replace("netId", "tsId");
    }
    return text;
}

template <typename Table> class Remake : public MakeTest, protected SampleTrees<Table> {
protected:
    static LogLine wError(const std::string &text) { return error("psiMake", worded<Table>(text)); }
    static LogLine wInfo(const std::string &text) { return info("psiMake", worded<Table>(text)); }

    /** @brief As an acquisition or a former write-back filed it. */
    sectionData *file(const PlainTree &plain, u8 type = Table::actualType)
    {
        return storeSection(&model->sectionList, type, Table::section(plain));
    }
    i32 writeBack(const PlainTree &plain)
    {
        const TreeGuard<Table> guard(plain);
        const std::string before = textOfTree<Table>(*guard.get());
        const i32 result = Table::writeBack(model, guard.get(), tableExt);
        EXPECT_EQ(before, textOfTree<Table>(*guard.get())) << "the caller's tree is only read";
        return result;
    }
    std::vector<Bytes> made() const { return sections(Table::actualType); }
    void expectNumbering() const
    {
        const std::vector<sectionData *> all = nodes(Table::actualType);
        for (std::size_t i = 0; i < all.size(); ++i) {
            EXPECT_EQ(i, all[i]->sectionNo);
            EXPECT_EQ(i, all[i]->buf[6]);
            EXPECT_EQ(all.size() - 1, all[i]->buf[7]);
            EXPECT_EQ(tableExt, all[i]->idExt);
            EXPECT_EQ(0, all[i]->pid);
        }
    }
};

using Tables = testing::Types<SdtTable, NitTable, BatTable>;
struct TableNames {
    template <typename Table> static std::string GetName(int) { return Table::name; }
};
TYPED_TEST_SUITE(Remake, Tables, TableNames);

/* ------------------------------------------------------------------------------------------------------------------
 * Arguments
 * ---------------------------------------------------------------------------------------------------------------- */

TYPED_TEST(Remake, RefusesNullTheTreeFirst)
{
    EXPECT_EQ(-1, TypeParam::writeBack(nullptr, nullptr, 0));
    EXPECT_LOG(this->log, this->wError("syntaxNitMakeSeciton: nitSection is NULL!"));
    const TreeGuard<TypeParam> guard(this->tree());
    EXPECT_EQ(-1, TypeParam::writeBack(nullptr, guard.get(), 0));
    EXPECT_LOG(this->log, this->wError("syntaxNitMakeSeciton: objDataInfo is NULL!"));
}

TYPED_TEST(Remake, IsReachedThroughTheDispatchByType)
{
    for (const u8 type : Bytes{TypeParam::actualType, TypeParam::otherType}) {
        const TreeGuard<TypeParam> guard(this->treeOf({50}));
        EXPECT_EQ(0, syntaxSIMakeSeciton(this->model, guard.get(), tableExt, type));
        EXPECT_EQ(std::vector<Bytes>{TypeParam::section(this->treeOf({50}))}, this->made());
    }
}

/* ------------------------------------------------------------------------------------------------------------------
 * One section is replaced
 * ---------------------------------------------------------------------------------------------------------------- */

TYPED_TEST(Remake, AFittingTreeReplacesTheSectionOfItsNumberAndKeepsItsNumbering)
{
    const PlainTree first = this->treeOf({100}, 0, 2);
    const PlainTree last = this->treeOf({300}, 2, 2);
    this->file(first);
    this->file(this->treeOf({200}, 1, 2));
    this->file(last);
    const PlainTree edited = this->treeOf({40, 50}, 1, 2);
    EXPECT_EQ(0, this->writeBack(edited));
    EXPECT_EQ((std::vector<Bytes>{TypeParam::section(first), TypeParam::section(last), TypeParam::section(edited)}),
              this->made());
    EXPECT_NO_LOG(this->log);
}

TYPED_TEST(Remake, ATreeWithoutStoredSectionIsAdded)
{
    const PlainTree edited = this->treeOf({40}, 3, 9);
    EXPECT_EQ(0, this->writeBack(edited));
    EXPECT_EQ(std::vector<Bytes>{TypeParam::section(edited)}, this->made());
    const sectionData *node = this->nodes(TypeParam::actualType)[0];
    EXPECT_EQ(3, node->sectionNo);
    EXPECT_EQ(tableExt, node->idExt);
    EXPECT_EQ(0, node->pid);
}

TYPED_TEST(Remake, AnEmptyTreeGivesAnEmptySection)
{
    EXPECT_EQ(0, this->writeBack(this->tree()));
    EXPECT_EQ(std::vector<Bytes>{TypeParam::section(this->tree())}, this->made());
}

TYPED_TEST(Remake, OnlyTheFirstMatchIsReplaced)
{
    const PlainTree twin = this->treeOf({60});
    this->file(this->treeOf({50}));
    this->file(twin);
    EXPECT_EQ(0, this->writeBack(this->treeOf({70})));
    EXPECT_EQ((std::vector<Bytes>{TypeParam::section(twin), TypeParam::section(this->treeOf({70}))}), this->made());
}

TYPED_TEST(Remake, SectionsOfOtherIdsTypesAndNumbersStay)
{
    PlainTree otherId = this->treeOf({50});
    otherId.id = tableExt + 1;
    this->file(otherId);
    this->file(this->treeOf({50}, 1, 1));
    for (u8 type = 0; type < 16; ++type) {
        if (type != TypeParam::actualType)
            this->file(this->treeOf({50}), type);
    }
    const std::vector<sectionData *> before = nodesOf(this->model->sectionList);
    EXPECT_EQ(0, this->writeBack(this->treeOf({70})));
    std::vector<sectionData *> after = nodesOf(this->model->sectionList);
    after.pop_back();
    EXPECT_EQ(before, after);

    EXPECT_EQ(0, this->writeBack(this->treeOf({600, 600}))) << "rebuilt: number 1 of the table goes, the others stay";
    after = nodesOf(this->model->sectionList);
    std::vector<sectionData *> kept = before;
    kept.erase(kept.begin() + 1);
    EXPECT_EQ(kept, std::vector<sectionData *>(after.begin(), after.end() - 2));
}

TYPED_TEST(Remake, TheIdOfTheArgumentFindsAndTheIdOfTheTreeFiles)
{
    PlainTree filed = this->treeOf({50});
    filed.id = 0x0999;
    this->file(filed);
    const TreeGuard<TypeParam> guard(this->treeOf({60}));
    EXPECT_EQ(0, TypeParam::writeBack(this->model, guard.get(), 0x0999));
    ASSERT_EQ(1U, this->nodes(TypeParam::actualType).size());
    EXPECT_EQ(tableExt, this->nodes(TypeParam::actualType)[0]->idExt);
}

TYPED_TEST(Remake, OneByteBelowTheBudgetIsReplaced)
{
    PlainTree kept = this->treeOf({50}, 0, 1);
    this->file(kept);
    const PlainTree edited = this->treeOf({500, TypeParam::budget - 501}, 1, 1);
    EXPECT_EQ(0, this->writeBack(edited));
    EXPECT_EQ((std::vector<Bytes>{TypeParam::section(kept), TypeParam::section(edited)}), this->made());
    EXPECT_EQ(1023U, this->made()[1].size());
}

TYPED_TEST(Remake, ATreeWithANumberAboveTheLastIsReplacedLikeAnyOther)
{
    const PlainTree edited = this->treeOf({50}, 7, 2);
    this->file(this->treeOf({60}, 7, 2));
    EXPECT_EQ(0, this->writeBack(edited));
    EXPECT_EQ(std::vector<Bytes>{TypeParam::section(edited)}, this->made());
}

TYPED_TEST(Remake, TheVersionIsMaskedAndTheLengthsOfTheTreeAreNotUsed)
{
    PlainTree plain = this->treeOf({50});
    plain.version = 0xFF;
    const TreeGuard<TypeParam> guard(plain);
    guard->section_length = 4000;
    guard->section_syntax_indicator = 0;
    guard->current_next_indicator = 0;
    EXPECT_EQ(0, TypeParam::writeBack(this->model, guard.get(), tableExt));
    plain.version = 31;
    EXPECT_EQ(std::vector<Bytes>{TypeParam::section(plain)}, this->made());
}

TYPED_TEST(Remake, EveryOtherTableIdIsWrittenAsItStands)
{
    PlainTree plain = this->treeOf({50});
    plain.tableId = TypeParam::otherId;
    EXPECT_EQ(0, this->writeBack(plain));
    EXPECT_EQ(std::vector<Bytes>{TypeParam::section(plain)}, this->sections(TypeParam::otherType));
    plain.tableId = 0x99;
    plain.number = 1;
    EXPECT_EQ(0, this->writeBack(plain));
    EXPECT_EQ(TypeParam::section(plain), this->sections(TypeParam::otherType).back());
}

TYPED_TEST(Remake, ANullPayloadWithALengthIsWrittenAsZerosOnBothPaths)
{
    for (const u8 last : Bytes{0, 1}) {
        ASSERT_EQ(0, clearMakeTableInfo(this->id));
        PlainTree plain = this->treeOf({257 + TypeParam::entryFixed, 800}, 0, last);
        plain.entries[0].descriptors[0].payload = repeated(255, 0);
        const TreeGuard<TypeParam> guard(plain);
        descInfo *first = nullptr;
        if constexpr (TypeParam::entryFixed == 5)
            first = guard->service_info->service_descriptor;
        else
            first = guard->stream_info->descriptor;
        psi_buddy_free(first->descData);
        first->descData = nullptr;
        EXPECT_EQ(0, TypeParam::writeBack(this->model, guard.get(), tableExt));
        EXPECT_EQ(expectedRebuild<TypeParam>(plain), this->made());
    }
}

/* ------------------------------------------------------------------------------------------------------------------
 * The table is rebuilt
 * ---------------------------------------------------------------------------------------------------------------- */

TYPED_TEST(Remake, ExactlyTheBudgetIsRebuiltAsASingleSection)
{
    this->file(this->treeOf({50}, 5, 0));
    const PlainTree edited = this->treeOf({500, TypeParam::budget - 500}, 5, 0);
    EXPECT_EQ(0, this->writeBack(edited));
    PlainTree expected = edited;
    expected.number = 0;
    EXPECT_EQ(std::vector<Bytes>{TypeParam::section(expected)}, this->made());
    EXPECT_EQ(1024U, this->made()[0].size());
}

TYPED_TEST(Remake, OneByteOverTheBudgetTakesTwoSections)
{
    const PlainTree edited = this->treeOf({500, TypeParam::budget - 499});
    EXPECT_EQ(0, this->writeBack(edited));
    EXPECT_EQ(expectedRebuild<TypeParam>(edited), this->made());
    EXPECT_EQ(2U, this->made().size());
    this->expectNumbering();
}

TYPED_TEST(Remake, AGrownSingleSectionTableIsSplitAndItsOldSectionDropped)
{
    this->file(this->treeOf({50}));
    this->file(this->treeOf({60}, 3, 3));
    const PlainTree edited = this->treeOf({500, 500, 500});
    EXPECT_EQ(0, this->writeBack(edited));
    EXPECT_EQ(expectedRebuild<TypeParam>(edited), this->made());
    EXPECT_EQ(2U, this->made().size());
    this->expectNumbering();
}

TYPED_TEST(Remake, AMiddleSectionThatOverflowsIsGatheredWithItsNeighboursInOrder)
{
    const PlainTree first = this->treeOf({300, 301}, 0, 2);
    const PlainTree last = this->treeOf({302, 303}, 2, 2);
    this->file(last);
    this->file(this->treeOf({20}, 1, 2));
    this->file(first);
    const PlainTree edited = this->treeOf({700, 701}, 1, 2);
    EXPECT_EQ(0, this->writeBack(edited));
    PlainTree whole = edited;
    whole.entries.insert(whole.entries.begin(), first.entries.begin(), first.entries.end());
    whole.entries.insert(whole.entries.end(), last.entries.begin(), last.entries.end());
    EXPECT_EQ(expectedRebuild<TypeParam>(whole), this->made());
    this->expectNumbering();
}

TYPED_TEST(Remake, AMissingSectionContributesNothingAndIsNoFailure)
{
    const PlainTree edited = this->treeOf({700, 701}, 1, 5);
    const PlainTree stored = this->treeOf({70}, 4, 5);
    this->file(stored);
    EXPECT_EQ(0, this->writeBack(edited));
    PlainTree whole = edited;
    whole.entries.push_back(stored.entries[0]);
    EXPECT_EQ(expectedRebuild<TypeParam>(whole), this->made());
    EXPECT_NO_LOG(this->log);
}

TYPED_TEST(Remake, ASectionThatCannotBeParsedIsReportedAndLeftOut)
{
    const PlainTree edited = this->treeOf({700, 701}, 0, 2);
    const PlainTree stored = this->treeOf({70}, 2, 2);
    this->file(this->treeOf({60}, 1, 2))->buf[12] ^= 0x40;
    this->file(stored);
    EXPECT_EQ(0, this->writeBack(edited));
    EXPECT_LOG(this->log, this->wError("syntaxNitMakeSeciton: syntaxAnalysePsi(Nit sectionNo is 1)  failed"));
    PlainTree whole = edited;
    whole.entries.push_back(stored.entries[0]);
    EXPECT_EQ(expectedRebuild<TypeParam>(whole), this->made());
}

TYPED_TEST(Remake, OfARepeatedSectionTheFirstCountsAndAllAreDropped)
{
    const PlainTree edited = this->treeOf({700, 701}, 0, 1);
    PlainTree first = this->treeOf({70}, 1, 1);
    this->file(first);
    this->file(this->treeOf({80}, 1, 1));
    EXPECT_EQ(0, this->writeBack(edited));
    PlainTree whole = edited;
    whole.entries.push_back(first.entries[0]);
    EXPECT_EQ(expectedRebuild<TypeParam>(whole), this->made());
}

TYPED_TEST(Remake, TheHeaderOfTheTreeIsWrittenIntoEverySection)
{
    PlainTree stored = this->treeOf({70}, 1, 1);
    stored.version = 3;
    stored.originalNetworkId = 9;
    this->file(stored);
    PlainTree whole = this->treeOf({700, 701}, 0, 1);
    EXPECT_EQ(0, this->writeBack(whole));
    whole.entries.push_back(stored.entries[0]);
    EXPECT_EQ(expectedRebuild<TypeParam>(whole), this->made());
}

TYPED_TEST(Remake, OnTheRebuildPathATreeWithANumberAboveTheLastLosesItsOwnContent)
{
    const PlainTree stored = this->treeOf({70}, 1, 2);
    this->file(stored);
    PlainTree edited = this->treeOf({700, 701}, 3, 2);
    EXPECT_EQ(0, this->writeBack(edited));
    edited.entries = stored.entries;
    EXPECT_EQ(expectedRebuild<TypeParam>(edited), this->made());
}

TYPED_TEST(Remake, ATableOf256SectionsIsGathered)
{
    PlainTree whole = this->treeOf({600, 601}, 255, 255);
    const PlainTree edited = whole;
    std::vector<PlainEntry> entries;
    for (unsigned number = 0; number < 255; ++number) {
        const PlainTree stored = this->treeOf({20}, static_cast<u8>(number), 255);
        this->file(stored);
        entries.push_back(stored.entries[0]);
    }
    EXPECT_EQ(0, this->writeBack(edited));
    whole.entries.insert(whole.entries.begin(), entries.begin(), entries.end());
    EXPECT_EQ(expectedRebuild<TypeParam>(whole), this->made());
}

TYPED_TEST(Remake, AnEntryThatNeverFitsLeavesEverySectionBehindItWithoutEntries)
{
    const PlainTree edited = this->treeOf({TypeParam::budget + 1, 40});
    EXPECT_EQ(0, this->writeBack(edited));
    // The count goes on as if it fitted: one section for it, one for the next.
    PlainTree empty = edited;
    empty.entries.clear();
    empty.last = 2;
    std::vector<Bytes> expected;
    for (empty.number = 0; empty.number <= 2; ++empty.number)
        expected.push_back(TypeParam::section(empty));
    EXPECT_EQ(expected, this->made());
}

TYPED_TEST(Remake, EntriesInFrontOfOneThatNeverFitsAreWritten)
{
    const PlainTree edited = this->treeOf({30, TypeParam::budget + 1, 40});
    EXPECT_EQ(0, this->writeBack(edited));
    const std::vector<Bytes> sections = this->made();
    ASSERT_EQ(3U, sections.size());
    PlainTree first = edited;
    first.entries.resize(1);
    first.last = 2;
    EXPECT_EQ(TypeParam::section(first), sections[0]);
    first.entries.clear();
    first.number = 2;
    EXPECT_EQ(TypeParam::section(first), sections[2]);
}

TYPED_TEST(Remake, OfTheContentSizeOnly16BitsDecide)
{
    // 65536 + 100 bytes count as 100, so one section is replaced, and takes what fits.
    PlainTree edited = this->tree(1, 1);
    for (unsigned i = 0; i < 64; ++i)
        edited.entries.push_back(this->entry(1000));
    edited.entries.push_back(this->entry(65536 + 100 - 64000 - 800));
    edited.entries.push_back(this->entry(800));
    EXPECT_EQ(0, this->writeBack(edited));
    edited.entries.resize(1);
    EXPECT_EQ(std::vector<Bytes>{TypeParam::section(edited)}, this->made());
}

TYPED_TEST(Remake, DescriptorsOfLength0And255GoThroughTheDeepCopy)
{
    PlainTree whole = this->treeOf({900}, 0, 1);
    PlainEntry one = this->entry(TypeParam::entryFixed);
    one.descriptors = {{1, {}}, {2, counting(255)}, {3, {}}, {4, {9}}};
    whole.entries.push_back(one);
    EXPECT_EQ(0, this->writeBack(whole));
    EXPECT_EQ(expectedRebuild<TypeParam>(whole), this->made());
}

TYPED_TEST(Remake, WritingTheSameTreeTwiceGivesTheSameSections)
{
    const PlainTree edited = this->treeOf({500, 500, 500});
    EXPECT_EQ(0, this->writeBack(edited));
    const std::vector<Bytes> first = this->made();
    EXPECT_EQ(0, this->writeBack(edited));
    EXPECT_EQ(first, this->made());
}

/* ------------------------------------------------------------------------------------------------------------------
 * What is said
 * ---------------------------------------------------------------------------------------------------------------- */

TYPED_TEST(Remake, SaysWhatItReplaces)
{
    setPsiMakeRPTLevel(3);
    EXPECT_EQ(0, this->writeBack(this->treeOf({50}, 1, 4)));
    LogLines expected;
    if (this->isSdt)
        expected.push_back(info("psiMake", "syntaxSdtMakeSeciton: sdta make section!"));
    else if (TypeParam::actualType == PSI_NIT_ACTUAL)
        expected.push_back(info("psiMake", "syntaxNitMakeSeciton: nita make section!"));
    expected.push_back(this->wInfo("syntaxNitMakeSeciton: sectionLen = 50"));
    if (TypeParam::actualType == PSI_NIT_ACTUAL)
        expected.push_back(info("psiMake", "syntaxNitMakeSeciton: lastSectionNumber = 4!"));
    const std::size_t size = 50 + (this->isSdt ? 15U : 16U);
    expected.push_back(this->wInfo(
        format("syntaxNitMakeSeciton: section make OK! netId=%u, sectionNo=1, sectionLen=%zu", tableExt, size)));
    EXPECT_EQ(expected, this->log.take());
}

TYPED_TEST(Remake, SaysHowItGathersAndRebuildsAnOtherTable)
{
    PlainTree stored = this->treeOf({70}, 1, 1);
    stored.tableId = TypeParam::otherId;
    this->file(stored, TypeParam::otherType);
    PlainTree edited = this->treeOf({700, 701}, 0, 1);
    edited.tableId = TypeParam::otherId;
    setPsiMakeRPTLevel(3);
    EXPECT_EQ(0, this->writeBack(edited));
    LogLines expected;
    if (this->isSdt)
        expected.push_back(info("psiMake", "syntaxSdtMakeSeciton: sdto make section!"));
    else if (TypeParam::actualType == PSI_NIT_ACTUAL)
        expected.push_back(info("psiMake", "syntaxNitMakeSeciton: nito make section!"));
    const char *const fixed[] = {
        "syntaxNitMakeSeciton: sectionLen = 1401", "syntaxNitMakeSeciton: make TotalNitSection, sectionNo = 0",
        "syntaxNitMakeSeciton: make TotalNitSection, sectionNo = 1", "syntaxNitMakeSeciton: lastSectionNumber = 1"};
    for (const char *text : fixed)
        expected.push_back(this->wInfo(text));
    if (TypeParam::actualType == PSI_NIT_ACTUAL)
        expected.push_back(info("psiMake", "syntaxNitMakeSeciton: lastSectionNumber = 1!"));
    const unsigned more = this->isSdt ? 15 : 16;
    expected.push_back(this->wInfo(
        format("syntaxNitMakeSeciton: section make OK! netId=%u, sectionNo=0, sectionLen=%u", tableExt, 700 + more)));
    expected.push_back(this->wInfo(
        format("syntaxNitMakeSeciton: section make OK! netId=%u, sectionNo=1, sectionLen=%u", tableExt, 771 + more)));
    EXPECT_EQ(expected, this->log.take());
}

TYPED_TEST(Remake, OnlyTheSdtSaysThatASingleSectionIsSplit)
{
    setPsiMakeRPTLevel(3);
    EXPECT_EQ(0, this->writeBack(this->treeOf({700, 701})));
    EXPECT_EQ(this->isSdt, contains(this->log.take(), info("psiMake", "syntaxSdtMakeSeciton: sectionnum 1 -> 2!")));
}

TYPED_TEST(Remake, LevelZeroSilencesEverything)
{
    setPsiMakeRPTLevel(0);
    EXPECT_EQ(-1, TypeParam::writeBack(nullptr, nullptr, 0));
    EXPECT_EQ(0, this->writeBack(this->treeOf({700, 701}, 1, 1)));
    EXPECT_NO_LOG(this->log);
}

/* ------------------------------------------------------------------------------------------------------------------
 * Failures
 * ---------------------------------------------------------------------------------------------------------------- */

TYPED_TEST(Remake, ReportsThatTheOldSectionCannotBeDestroyed)
{
    const LogLine line = this->wError("syntaxNitMakeSeciton: sectionDataDestroy failed");
    this->file(this->treeOf({50}));
    const std::vector<Bytes> before = this->made();
    for (const PlainTree &edited : {this->treeOf({60}), this->treeOf({600, 600})}) {
        const FaultPlan plan(Call::Delete, 1);
        EXPECT_EQ(-1, this->writeBack(edited));
        EXPECT_LOG(this->log, line);
        EXPECT_EQ(before, this->made());
    }
}

TYPED_TEST(Remake, ReportsThatASectionCannotBeStored)
{
    this->file(this->treeOf({50}));
    const TreeGuard<TypeParam> guard(this->treeOf({60}));
    {
        const FaultPlan plan(Call::Malloc, 1);
        EXPECT_EQ(-1, TypeParam::writeBack(this->model, guard.get(), tableExt));
        EXPECT_LOG(this->log, this->wError("syntaxNitMakeSeciton: sectionData creat failed!"));
    }
    {
        const FaultPlan plan(Call::Push, 1);
        EXPECT_EQ(-1, TypeParam::writeBack(this->model, guard.get(), tableExt));
        EXPECT_LOG(this->log, this->wError("syntaxNitMakeSeciton: sectionData creat failed!"));
    }
    {
        const FaultPlan plan(Call::Malloc, 2);
        EXPECT_EQ(-1, TypeParam::writeBack(this->model, guard.get(), tableExt));
        EXPECT_LOG(this->log, this->wError("syntaxNitMakeSeciton: sectionData->buf buddy_malloc failed!"));
    }
    EXPECT_TRUE(this->made().empty()) << "there is no rollback";
}

TYPED_TEST(Remake, AFailureWhileStoringKeepsTheSectionsStoredSoFar)
{
    const PlainTree edited = this->treeOf({600, 600});
    const TreeGuard<TypeParam> guard(edited);
    const FaultPlan plan(Call::Malloc, 3);
    EXPECT_EQ(-1, TypeParam::writeBack(this->model, guard.get(), tableExt));
    EXPECT_EQ(expectedRebuild<TypeParam>(edited)[0], this->made().at(0));
    EXPECT_EQ(1U, this->made().size());
}

TYPED_TEST(Remake, EachStepOfTheDeepCopyReportsInItsOwnWords)
{
    PlainTree edited = this->treeOf({TypeParam::entryFixed + 257, 800}, 0, 1);
    if (!this->isSdt)
        edited.descriptors = {{0x40, bytesOf("net")}};
    const TreeGuard<TypeParam> guard(edited);
    std::vector<std::string> steps = {"buddy_malloc TotalNitSection  failed", "buddy_malloc tempNitSection  failed"};
    if (!this->isSdt) {
        steps.push_back("descInfoCreat net_desc_info failed");
        steps.push_back("descInfo->descData buddy_malloc failed!");
    }
    steps.insert(steps.end(), {"psiStreamInfoCreat newStreamInfo failed", "descInfoCreat stream_desc_info failed",
                               "descInfo->descData buddy_malloc failed!"});
    const u32 before = this->liveBlocks();
    for (std::size_t i = 0; i < steps.size(); ++i) {
        const FaultPlan plan(Call::Malloc, static_cast<unsigned>(i + 1));
        EXPECT_EQ(-1, TypeParam::writeBack(this->model, guard.get(), tableExt));
        EXPECT_LOG(this->log, this->wError("syntaxNitMakeSeciton: " + steps[i]));
        EXPECT_EQ(before, this->liveBlocks());
    }
}

TYPED_TEST(Remake, NoFailingRemovalOfAStoredSectionLeaksABlock)
{
    const TreeGuard<TypeParam> guard(this->treeOf({300, 400, 800}, 1, 2));
    const u32 blocksBefore = this->liveBlocks();
    for (unsigned nth = 1; nth <= 3; ++nth) {
        for (u8 number = 0; number <= 2; ++number)
            this->file(this->treeOf({300, 500}, number, 2));
        {
            const FaultPlan plan(Call::Delete, nth);
            EXPECT_EQ(-1, TypeParam::writeBack(this->model, guard.get(), tableExt));
        }
        EXPECT_LOG(this->log, this->wError("syntaxNitMakeSeciton: sectionDataDestroy failed"));
        EXPECT_EQ(4U - nth, this->made().size());
        EXPECT_EQ(0, clearMakeTableInfo(this->id));
        EXPECT_EQ(blocksBefore, this->liveBlocks());
    }
}

/* ------------------------------------------------------------------------------------------------------------------
 * What only one table has
 * ---------------------------------------------------------------------------------------------------------------- */

class RemakeDispatch : public MakeTest {};

TEST_F(RemakeDispatch, RefusesNullTheTreeFirst)
{
    EXPECT_EQ(-1, syntaxSIMakeSeciton(nullptr, nullptr, 0, 99));
    EXPECT_LOG(log, error("psiMake", "syntaxSIMakeSeciton: pointer is NULL!"));
    u8 anything = 0;
    EXPECT_EQ(-1, syntaxSIMakeSeciton(nullptr, &anything, 0, 99));
    EXPECT_LOG(log, error("psiMake", "syntaxSIMakeSeciton: objDataInfo is NULL!"));
}

TEST_F(RemakeDispatch, WarnsOfEveryOtherType)
{
    u8 anything = 0;
    for (const u32 type : {0U, 1U, 7U, 8U, 9U, 10U, 11U, 12U, 15U, 16U, 258U, 0xFFFFFFFFU}) {
        EXPECT_EQ(-1, syntaxSIMakeSeciton(model, &anything, 0, type));
        EXPECT_LOG(log, warning("psiMake", format("syntaxSIMakeSeciton psiType = %u, not support!", type)));
    }
    setPsiMakeRPTLevel(1);
    EXPECT_EQ(-1, syntaxSIMakeSeciton(model, &anything, 0, 0));
    EXPECT_NO_LOG(log);
}

TEST_F(RemakeDispatch, ReturnsTheRegeneratorsResult)
{
    const TreeGuard<SdtTable> guard(PlainTree{});
    const FaultPlan plan(Call::Malloc, 1);
    EXPECT_EQ(-1, syntaxSIMakeSeciton(model, guard.get(), 0, PSI_SDT_ACTUAL));
}

class RemakeSdt : public Remake<SdtTable> {};

TEST_F(RemakeSdt, TheFieldsOfAServiceAreNotMasked)
{
    const TreeGuard<SdtTable> guard(treeOf({5}));
    psiSdtService &service = *guard->service_info;
    service.EIT_schedule_flag = 0x81;
    service.EIT_present_following_flag = 0x10;
    service.running_status = 9;
    service.free_CA_mode = 3;
    EXPECT_EQ(0, syntaxSdtMakeSeciton(model, guard.get(), tableExt));
    const Bytes sdt = made().at(0);
    EXPECT_EQ(0x12, sdt[13]);
    EXPECT_EQ(0x30, sdt[14]);
}

TEST_F(RemakeSdt, ReservedBitsAreZeroAndTheTopOfByte1IsB)
{
    EXPECT_EQ(0, writeBack(treeOf({5})));
    const Bytes sdt = made().at(0);
    EXPECT_EQ(sealed({0x42, 0xB0, 17, 0x12, 0x34, 0xE7, 0, 0, 0x23, 0x3A, 0xFF, 0x00, 0x01, 0x03, 0x90, 0x00}), sdt);
}

template <typename Table> class RemakeNetwork : public Remake<Table> {
};
using NetworkTables = testing::Types<NitTable, BatTable>;
TYPED_TEST_SUITE(RemakeNetwork, NetworkTables, TableNames);

TYPED_TEST(RemakeNetwork, DescriptorsComeBeforeTheStreams)
{
    PlainTree plain = this->treeOf({30, 40});
    plain.descriptors = {{0x40, bytesOf("network")}, {0x4A, {}}};
    EXPECT_EQ(0, this->writeBack(plain));
    EXPECT_EQ(std::vector<Bytes>{TypeParam::section(plain)}, this->made());
}

TYPED_TEST(RemakeNetwork, BothLoopsTogetherDecideAtTheBudget)
{
    PlainTree plain = this->treeOf({500}, 3, 0);
    plain.descriptors = fillerDescriptors(507);
    EXPECT_EQ(0, this->writeBack(plain));
    EXPECT_EQ(3, this->made().at(0)[6]) << "1007 bytes are replaced";
    plain.descriptors = fillerDescriptors(508);
    EXPECT_EQ(0, this->writeBack(plain));
    EXPECT_EQ(1U, this->made().size());
    EXPECT_EQ(0, this->made().at(0)[6]) << "1008 bytes are rebuilt";
    plain.descriptors = fillerDescriptors(509);
    EXPECT_EQ(0, this->writeBack(plain));
    EXPECT_EQ(expectedRebuild<TypeParam>(plain), this->made());
    EXPECT_EQ(2U, this->made().size());
}

TYPED_TEST(RemakeNetwork, ASectionFullOfDescriptorsHasNoStreams)
{
    PlainTree plain = this->treeOf({30, 40});
    plain.descriptors = fillerDescriptors(257 * 5);
    EXPECT_EQ(0, this->writeBack(plain));
    EXPECT_EQ(expectedRebuild<TypeParam>(plain), this->made());
    ASSERT_EQ(2U, this->made().size());
    const Bytes first = this->made()[0];
    EXPECT_EQ(13 + 3 * 257, sectionLength(first));
    EXPECT_EQ((Bytes{0xF0, 0x00}), Bytes(first.end() - 6, first.end() - 4));
    EXPECT_EQ(0xB3, first[1]);
}

TYPED_TEST(RemakeNetwork, DescriptorsOfAllSectionsComeBeforeAllStreams)
{
    PlainTree stored = this->treeOf({70}, 0, 1);
    stored.descriptors = {{0x40, bytesOf("first")}};
    this->file(stored);
    PlainTree edited = this->treeOf({700, 701}, 1, 1);
    edited.descriptors = {{0x41, bytesOf("second")}};
    EXPECT_EQ(0, this->writeBack(edited));
    PlainTree whole = edited;
    whole.descriptors.insert(whole.descriptors.begin(), stored.descriptors[0]);
    whole.entries.insert(whole.entries.begin(), stored.entries[0]);
    EXPECT_EQ(expectedRebuild<TypeParam>(whole), this->made());
}

TYPED_TEST(RemakeNetwork, TheLayoutIsThatOfTheStandard)
{
    PlainTree plain = this->treeOf({6 + 3});
    plain.descriptors = {{0x40, {'n'}}};
    EXPECT_EQ(0, this->writeBack(plain));
    EXPECT_EQ(sealed({TypeParam::actualId,
                      0xB0,
                      25,
                      0x12,
                      0x34,
                      0xE7,
                      0,
                      0,
                      0xF0,
                      3,
                      0x40,
                      1,
                      'n',
                      0xF0,
                      9,
                      0,
                      1,
                      0x20,
                      0xFA,
                      0xF0,
                      3,
                      0x80,
                      1,
                      0}),
              this->made().at(0));
}

/* ------------------------------------------------------------------------------------------------------------------
 * A tree that cannot be destroyed
 * ---------------------------------------------------------------------------------------------------------------- */

TYPED_TEST(Remake, APartThatCannotBeDestroyedFailsTheCallAndTheStoredSectionsStay)
{
    for (unsigned nth = 1; nth <= 2; ++nth) {
        ASSERT_EQ(0, clearMakeTableInfo(this->id));
        this->file(this->treeOf({60}, 0, 1));
        const std::vector<sectionData *> before = nodesOf(this->model->sectionList);
        const TreeGuard<TypeParam> guard(this->treeOf({700, 701}, 1, 1));
        const std::string treeBefore = textOfTree<TypeParam>(*guard.get());
        const u32 blocks = this->liveBlocks();
        {
            const FaultPlan plan(Call::DestroyTree, nth);
            EXPECT_EQ(-1, TypeParam::writeBack(this->model, guard.get(), tableExt));
            EXPECT_EQ(1U, plan.injected());
        }
        EXPECT_LOG(this->log, this->wError("syntaxNitMakeSeciton: syntaxDestroyPsiSection  failed"));
        EXPECT_EQ(before, nodesOf(this->model->sectionList));
        EXPECT_EQ(treeBefore, textOfTree<TypeParam>(*guard.get()));
        EXPECT_EQ(blocks + 1, this->liveBlocks()) << "the emptied record, which nobody could destroy";
        psi_buddy_free(lastTreeNotDestroyed());
    }
}

/** @brief For failures that cost blocks by their nature: the count of live blocks is not looked at. */
template <typename Table> class RemakeLossy : public Remake<Table> {
protected:
    void TearDown() override
    {
        EXPECT_EQ(0, psiMakeDestroy(this->id));
        setPsiSchRPTLevel(2);
        setPsiMakeRPTLevel(2);
    }
};
TYPED_TEST_SUITE(RemakeLossy, Tables, TableNames);

TYPED_TEST(RemakeLossy, TheGatheredTreeThatCannotBeDestroyedIsNoFailure)
{
    const PlainTree edited = this->treeOf({700, 701}, 0, 1);
    const TreeGuard<TypeParam> guard(edited);
    const FaultPlan plan(Call::Delete, 1, Fail::FromThenOn);
    EXPECT_EQ(0, TypeParam::writeBack(this->model, guard.get(), tableExt));
    EXPECT_EQ(expectedRebuild<TypeParam>(edited), this->made());
}

} // namespace
} // namespace psitest
