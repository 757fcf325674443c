// What the parsers log, step by step: progress lines, and the lines of every allocation and push that fails.
#include "support/emergencyBuilder.h"
#include "support/faultInjection.h"
#include "support/fullSection.h"
#include "support/libraryFixture.h"
#include "support/syntaxTree.h"

#include <ostream>

namespace psitest {
namespace {

LogLines infos(const std::vector<std::string> &texts)
{
    LogLines lines;
    for (const std::string &text : texts)
        lines.push_back(info("psiAnalyse", text));
    return lines;
}

/* ------------------------------------------------------------------------------------------------------------------
 * Progress
 * ---------------------------------------------------------------------------------------------------------------- */

struct Progress {
    u32 type;
    std::vector<std::string> texts;
};

void PrintTo(const Progress &progress, std::ostream *os)
{
    *os << "type " << progress.type;
}

class SyntaxProgress : public LibraryTest, public testing::WithParamInterface<Progress> {};

TEST_P(SyntaxProgress, IsLoggedAtLevelThree)
{
    const Bytes section = fullSection(GetParam().type);
    {
        const ParsedTree atTwo(GetParam().type, section);
        EXPECT_NO_LOG(log);
    }
    setPsiSchRPTLevel(3);
    const ParsedTree tree(GetParam().type, section);
    EXPECT_EQ(0, tree.result());
    EXPECT_EQ(infos(GetParam().texts), log.take());
}

const std::vector<std::string> sdtProgress = {
    "syntaxAnalyseSdt: tsId = 0x405, orNetId = 0x607",
    "syntaxAnalyseSdt: service_id = 769",
    "syntaxAnalyseSdt: EIT_flag = 0",
    "syntaxAnalyseSdt: EIT_pre_flag = 1",
    "syntaxAnalyseSdt: run_stat = 4",
    "syntaxAnalyseSdt: ca_mode = 1",
    "syntaxAnalyseSdt: OK!",
};
const std::vector<std::string> nitProgress = {
    "syntaxAnalyseNit: network_id = 0xa0b",
    "syntaxAnalyseNit: tsId = 0xc0d, orNetId = 0xe0f",
    "syntaxAnalyseNit: OK!",
};

const Progress progress[] = {
    {PSI_PAT,
     {"syntaxAnalysePat: section_length = 17", "syntaxAnalysePat: ts_id = 4660", "syntaxAnalysePat: version_number = 5",
      "syntaxAnalysePat: prognumber = 0 ", "syntaxAnalysePat: pmtpid = 16 ", "syntaxAnalysePat: prognumber = 258 ",
      "syntaxAnalysePat: pmtpid = 256 ", "syntaxAnalysePat: OK!"}},
    {PSI_PMT,
     {"syntaxAnalysePmt: prog_no = 0x102", "syntaxAnalysePmt: pcr_pid = 0x111",
      "syntaxAnalysePmt: estype = 27, espid = 0x112", "syntaxAnalysePmt: OK!"}},
    {PSI_CAT, {"syntaxAnalyseCat: OK!"}},
    {PSI_SDT_ACTUAL, sdtProgress},
    {PSI_SDT_OTHER, sdtProgress},
    {PSI_NIT_ACTUAL, nitProgress},
    {PSI_NIT_OTHER, nitProgress},
    {PSI_BAT,
     {"syntaxAnalyseBat: bouquet_id = 0xa0b", "syntaxAnalyseBat: ts_id = 0xc0d", "syntaxAnalyseBat: or_net_id = 0xe0f",
      "syntaxAnalyseBat: OK!"}},
    {PSI_MGT, {"syntaxAnalyseMgt: OK!"}},
    {PSI_EBIT, {"syntaxAnalyseEbit: OK!"}},
    {PSI_EBCT, {"syntaxAnalyseEbct: OK!"}},
    {PSI_EBCAT, {"syntaxAnalyseEbcat: OK!"}},
    {PSI_EBCCT, {"syntaxAnalyseEbcct: OK!"}},
};

INSTANTIATE_TEST_SUITE_P(Types, SyntaxProgress, testing::ValuesIn(progress));

/* ------------------------------------------------------------------------------------------------------------------
 * Allocations and pushes that fail
 * ---------------------------------------------------------------------------------------------------------------- */

/** @brief One allocation of a parse: what the creator says about it, and the parser. */
struct Step {
    std::string creator; /**< text of psiMem, empty for a payload */
    std::string parser;  /**< text of psiAnalyse, empty for the record */
    std::string push;    /**< text of psiMem when the node cannot be pushed; empty when nothing is pushed */
};

Step record(const std::string &creator)
{
    return {creator, "", ""};
}

Step payload(const std::string &parser)
{
    return {"", parser, ""};
}

/** @param noun what the creator calls the node when it has no memory, and when it cannot push it */
Step node(const std::string &creator, const std::string &noun, const std::string &pushed, const std::string &parser)
{
    return {creator + ": buddy_malloc " + noun + " node failed", parser,
            creator + ": " + pushed + " zlst_push failed!"};
}

Step descriptorNode(const std::string &parser)
{
    return node("descInfoCreat", "descInfo", "descInfo", parser);
}

/** @brief All allocations that the parse of a sample makes, in their order. */
struct Steps {
    u32 type;
    std::vector<Step> steps;
};

void PrintTo(const Steps &steps, std::ostream *os)
{
    *os << "type " << steps.type;
}

LogLines linesOf(const std::string &creator, const std::string &parser)
{
    LogLines lines;
    if (!creator.empty())
        lines.push_back(error("psiMem", creator));
    if (!parser.empty())
        lines.push_back(error("psiAnalyse", parser));
    return lines;
}

class SyntaxMemory : public LibraryTest, public testing::WithParamInterface<Steps> {
protected:
    /** @brief Parse while a call fails, and expect these lines and nothing else. */
    void expectFailure(Call call, unsigned nth, const LogLines &lines)
    {
        SCOPED_TRACE(testing::Message() << "failing call " << nth);
        int before = 0;
        void *tree = &before;
        {
            const FaultPlan plan(call, nth);
            EXPECT_EQ(-1, syntaxAnalysePsi(GetParam().type, &tree, section.data(), static_cast<u32>(section.size())));
        }
        EXPECT_EQ(&before, tree);
        EXPECT_EQ(lines, log.take());
        EXPECT_EQ(0U, liveBlocks());
    }
    unsigned callsOf(Call call)
    {
        return countCalls(call, [this] { const ParsedTree tree(GetParam().type, section); });
    }

    const Bytes section = fullSection(GetParam().type);
};

TEST_P(SyntaxMemory, EveryFailingAllocationIsReported)
{
    unsigned nth = 0;
    for (const Step &step : GetParam().steps)
        expectFailure(Call::Malloc, ++nth, linesOf(step.creator, step.parser));
    EXPECT_EQ(nth, callsOf(Call::Malloc));
}

TEST_P(SyntaxMemory, EveryFailingPushIsReported)
{
    unsigned nth = 0;
    for (const Step &step : GetParam().steps)
        if (!step.push.empty())
            expectFailure(Call::Push, ++nth, linesOf(step.push, step.parser));
    EXPECT_EQ(nth, callsOf(Call::Push));
}

const Steps sdtSteps = {
    PSI_SDT_ACTUAL,
    {record("psiSdtSectionCreat: buddy_malloc sdtSection  failed"),
     node("psiSdtServiceCreat", "service", "serviceInfo", "syntaxAnalyseSdt: serviceInfo creat failed! "),
     descriptorNode("syntaxAnalyseSdt: service_descriptor creat failed! "),
     payload("syntaxAnalyseSdt: descriptor->descData buddy_malloc failed!")}};

/** @param streamParser name in front of the stream descriptors' text, which the BAT writes without a colon */
Steps networkSteps(u32 type, const std::string &recordText, const std::string &parser, const std::string &descriptors,
                   const std::string &streamDescriptors)
{
    const std::string data = parser + ": descriptor->descData buddy_malloc failed!";
    return {type,
            {record(recordText), descriptorNode(parser + descriptors), payload(data),
             node("psiStreamInfoCreat", "stream", "streamInfo", parser + ": streamInfo creat failed! "),
             descriptorNode(parser + streamDescriptors), payload(data)}};
}

const Steps allSteps[] = {
    {PSI_PAT,
     {record("psiPatSectionCreat: buddy_malloc patSection  failed"),
      node("psiPatProgCreat", "prog", "progInfo", "syntaxAnalysePat progInfo creat failed !"),
      node("psiPatProgCreat", "prog", "progInfo", "syntaxAnalysePat progInfo creat failed !")}},
    {PSI_PMT,
     {record("psiPmtSectionCreat: buddy_malloc pmtSection  failed"),
      descriptorNode("syntaxAnalysePmt: prog_descriptor creat failed! "),
      payload("syntaxAnalysePmt: descriptor->descData buddy_malloc failed!"),
      node("psiPmtEsCreat", "pid", "esInfo", "syntaxAnalysePmt: esInfo creat failed! "),
      descriptorNode("syntaxAnalysePmt: es_descriptor creat failed! "),
      payload("syntaxAnalysePmt: descriptor->descData buddy_malloc failed!"),
      descriptorNode("syntaxAnalysePmt: es_descriptor creat failed! ")}},
    {PSI_CAT,
     {record("psiCatSectionCreat: buddy_malloc catSection  failed"),
      descriptorNode("syntaxAnalyseCat: descriptor creat failed! "),
      payload("syntaxAnalyseCat: descriptor->descData buddy_malloc failed!"),
      descriptorNode("syntaxAnalyseCat: descriptor creat failed! ")}},
    sdtSteps,
    {PSI_SDT_OTHER, sdtSteps.steps},
    networkSteps(PSI_NIT_ACTUAL, "psiNitSectionCreat: buddy_malloc nitSection  failed", "syntaxAnalyseNit",
                 ": net_descriptor creat failed! ", ": stream_descriptor creat failed! "),
    networkSteps(PSI_NIT_OTHER, "psiNitSectionCreat: buddy_malloc nitSection  failed", "syntaxAnalyseNit",
                 ": net_descriptor creat failed! ", ": stream_descriptor creat failed! "),
    networkSteps(PSI_BAT, "psiBatSectionCreat: buddy_malloc batSection  failed", "syntaxAnalyseBat",
                 ": bouquet_descriptor creat failed! ", " stream_descriptor creat failed! "),
    {PSI_MGT,
     {record("psipMgtSectionCreat: buddy_malloc mgtSection  failed"),
      node("mgtTableInfoCreat", "stream", "mgtTableInfo", "syntaxAnalyseMgt: mgtTableInfoCreat creat failed! "),
      descriptorNode("syntaxAnalyseMgt: mgtTableInfo->table_desc_info creat failed! "),
      payload("syntaxAnalyseMgt: descriptor->descData buddy_malloc failed!"),
      descriptorNode("syntaxAnalyseMgt: mgtSection->mgt_desc_info creat failed! "),
      payload("syntaxAnalyseMgt: descriptor->descData buddy_malloc failed!")}},
    {PSI_EBIT,
     {record("psiEbitSectionCreat: buddy_malloc ebitSection  failed"),
      node("ebitMessageCreat", "ebm", "ebm", "syntaxAnalyseEbit: ebm buddy_malloc failed!"),
      node("ebitResourceCreat", "resource", "resource", "syntaxAnalyseEbit: resource create failed"),
      {"ebitDetailsChannelCreat: buddy_malloc channel node failed", "syntaxAnalyseEbit: channel create failed", ""},
      descriptorNode("syntaxAnalyseEbit: channel->descriptor creat failed! "),
      payload("syntaxAnalyseEbit: descriptor->descData buddy_malloc failed!"),
      node("ebitStreamCreat", "stream", "stream", "syntaxAnalyseEbit: streamInfo buddy_malloc failed"),
      descriptorNode("syntaxAnalyseEbit: streamInfo->descriptor creat failed! "),
      payload("syntaxAnalyseEbit: descriptor->descData buddy_malloc failed!"),
      payload("syntaxAnalyseEbit: signature buddy_malloc failed")}},
    {PSI_EBCT,
     {record("psiEbctSectionCreat: buddy_malloc ebctSection  failed"),
      node("ebctContentCreat", "content", "content", "syntaxAnalyseEbct: content buddy_malloc failed!"),
      payload("syntaxAnalyseEbct: message_text buddy_malloc failed"),
      payload("syntaxAnalyseEbct: agency_name buddy_malloc failed"),
      node("ebctAuxiliaryDataCreat", "data", "data", "syntaxAnalyseEbct: auxiliaryData buddy_malloc failed"),
      payload("syntaxAnalyseEbct: signature buddy_malloc failed")}},
    {PSI_EBCAT,
     {record("psiEbcatSectionCreat: buddy_malloc ebcatSection  failed"),
      node("ebcatCalistCreat", "caList", "caList", "syntaxAnalyseEbcat: calist buddy_malloc failed"),
      payload("syntaxAnalyseEbcat: ca_data buddy_malloc failed"),
      node("ebcatCtCreat", "ct", "ct", "syntaxAnalyseEbcat: ct buddy_malloc failed"),
      payload("syntaxAnalyseEbcat: ct_data buddy_malloc failed"),
      payload("syntaxAnalyseEbcat: signature buddy_malloc failed")}},
    {PSI_EBCCT,
     {record("psiEbcctSectionCreat: buddy_malloc ebcctSection  failed"),
      node("ebcctCmdCreat", "cmd", "cmd", "syntaxAnalyseEbcct: cmd buddy_malloc failed"),
      payload("syntaxAnalyseEbcct: cmd_data buddy_malloc failed"),
      payload("syntaxAnalyseEbcct: signature buddy_malloc failed")}},
};

INSTANTIATE_TEST_SUITE_P(Types, SyntaxMemory, testing::ValuesIn(allSteps));

/** @brief What a failed parse made is destroyed before the error is returned, which level 3 shows. */
TEST_F(LibraryTest, AFailedEbitMessageGoesAsAWholeAndAtOnce)
{
    const Bytes section = fullSection(PSI_EBIT);
    setPsiSchRPTLevel(3);
    const FaultPlan plan(Call::Malloc, 7); // the stream of the channel
    const ParsedTree tree(PSI_EBIT, section);
    EXPECT_EQ(-1, tree.result());
    EXPECT_LOG(
        log, error("psiMem", "ebitStreamCreat: buddy_malloc stream node failed"),
        error("psiAnalyse", "syntaxAnalyseEbit: streamInfo buddy_malloc failed"),
        info("psiMem", "ebitResourceDestroy: free resource OK!"), info("psiMem", "descInfoDestroy: free descInfo OK!"),
        info("psiMem", "ebitDetailsChannlDestroy: free channel OK!"), info("psiMem", "ebitMessgeDestroy: free ebm OK!"),
        info("psiMem", "psiEbitSectionDestroy: free ebitSection OK!"));
}

TEST_F(LibraryTest, AFailedEbitMessageGoesBeforeThoseThatWereComplete)
{
    EbitMessage complete;
    complete.resources = {counting(12)};
    const Bytes section = ebitOf({{complete, EbitMessage()}, {}}).build();
    setPsiSchRPTLevel(3);
    Bytes cut = section;
    cut.erase(cut.end() - 7, cut.end() - 4); // the flag of the second message and the signature's length
    setSectionLength(cut, sectionLength(section) - 3U);
    const ParsedTree tree(PSI_EBIT, withRightCrc(cut));
    EXPECT_EQ(-1, tree.result());
    EXPECT_LOG(log, error("psiAnalyse", "syntaxAnalyseEbit: section length ERROR "),
               info("psiMem", "ebitMessgeDestroy: free ebm OK!"),
               info("psiMem", "ebitResourceDestroy: free resource OK!"),
               info("psiMem", "ebitMessgeDestroy: free ebm OK!"),
               info("psiMem", "psiEbitSectionDestroy: free ebitSection OK!"));
}

TEST_F(LibraryTest, ADescriptorWithoutItsBytesIsRemovedFirst)
{
    const Bytes section = fullSection(PSI_CAT);
    setPsiSchRPTLevel(3);
    const FaultPlan plan(Call::Malloc, 3);
    const ParsedTree tree(PSI_CAT, section);
    EXPECT_EQ(-1, tree.result());
    EXPECT_LOG(log, error("psiAnalyse", "syntaxAnalyseCat: descriptor->descData buddy_malloc failed!"),
               info("psiMem", "descInfoDestroy: free descInfo OK!"),
               info("psiMem", "psiCatSectionDestroy: free catSection OK!"));
}

TEST_F(LibraryTest, ADescriptorWithoutItsBytesIsRemovedWhenNothingIsPrintedToo)
{
    setPsiSchRPTLevel(0);
    const FaultPlan plan(Call::Malloc, 3);
    const ParsedTree tree(PSI_CAT, fullSection(PSI_CAT));
    EXPECT_EQ(-1, tree.result());
    EXPECT_EQ(0U, liveBlocks());
    EXPECT_NO_LOG(log);
}

/* ------------------------------------------------------------------------------------------------------------------
 * Work is linear in the section's length
 * ---------------------------------------------------------------------------------------------------------------- */

/** @brief The sections with the most nodes for their length. */
std::vector<std::pair<u32, Bytes>> crowdedSections()
{
    Bytes emptyDescriptors;
    for (int i = 0; i < 2000; ++i)
        emptyDescriptors.insert(emptyDescriptors.end(), {0x80, 0x00});
    PatBuilder pat;
    for (u16 i = 0; i < 1000; ++i)
        pat.program(i, i);
    PmtBuilder pmt(1);
    SdtBuilder sdt;
    NitBuilder nit;
    MgtBuilder mgt;
    EbitTable ebit;
    ebit.messages.resize(100);
    for (u16 i = 0; i < 300; ++i) {
        pmt.stream(1, i);
        sdt.service(i);
        nit.transportStream(i, i);
        mgt.table(i, i, 0, i);
    }
    EbctContent content;
    content.auxiliary.resize(15);
    return {{PSI_PAT, pat.build()},
            {PSI_CAT, CatBuilder().desc(emptyDescriptors).build()},
            {PSI_PMT, pmt.build()},
            {PSI_SDT_ACTUAL, sdt.build()},
            {PSI_NIT_ACTUAL, nit.build()},
            {PSI_MGT, mgt.build()},
            {PSI_EBIT, ebitOf(ebit).build()},
            {PSI_EBCT, ebctOf({counting(18), std::vector<EbctContent>(15, content), {}, {0}}).build()},
            {PSI_EBCAT, ebcatOf({std::vector<Bytes>(255), std::vector<Bytes>(255), {}}).build()},
            {PSI_EBCCT, ebcctOf({std::vector<EbcctCommand>(255), {}}).build()},
            {PSI_MGT, MgtBuilder().forcedTables(0xFFFF).desc(repeated(2000, 0)).build()}};
}

TEST_F(LibraryTest, AParseNeedsAtMostOneOperationPerByte)
{
    setPsiSchRPTLevel(0);
    for (const auto &[type, section] : crowdedSections()) {
        SCOPED_TRACE(testing::Message() << "type " << type << ", " << section.size() << " bytes");
        const auto parse = [type = type, &bytes = section] { const ParsedTree tree(type, bytes); };
        for (const Call call : {Call::Malloc, Call::Push, Call::Delete})
            EXPECT_LE(countCalls(call, parse), section.size());
        EXPECT_GE(countCalls(Call::Malloc, parse), 50U) << "the section is refused before its contents are read";
    }
}

} // namespace
} // namespace psitest
