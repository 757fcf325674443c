// Report level 0: every refusal is silent and otherwise the same.
#include "support/fullSection.h"
#include "support/makeFixture.h"
#include "support/searchTest.h"
#include "support/syntaxTree.h"

#include "psiInternal.h"

#include <functional>
#include <memory>
#include <optional>

using namespace psi::core;

namespace psitest {
namespace {

/** @brief A handle of nothing. */
constexpr psiObjId nobody = 0x1230;
constexpr u32 noType = 99;

/** @brief A call that the library refuses with a line of level 1 or 2. */
struct RefusedCall {
    const char *name;
    std::function<long()> call;
};

long created(const psiSchRegisterInfo *info)
{
    return psiSchCreate(info) == 0 ? 0 : 1;
}

long createdWithout(bool search, bool read)
{
    psiSchRegisterInfo info = {};
    if (search)
        info.psiSearchHandle = [](psiSchInfo *) -> i32 { return 0; };
    if (read)
        info.readPsiHandle = [](psiSchInfo *, u8 *, u8 *) -> i32 { return PSI_NO_TABLE; };
    return created(&info);
}

long createdWithFailing(Call call)
{
    const FaultPlan plan(call, 1);
    return createdWithout(true, true);
}

/** @brief Reassemble two packets, the second of which starts a section where the first one's goes on. */
long reassembledAcrossAStart()
{
    Bytes run(2 * tsPacketLen, 0xFF);
    const Bytes first = {0x47, 0x40, 0, 0x10, 0, 0x42, 0xB1, 0x00};
    const Bytes second = {0x47, 0x40, 0, 0x11, 0};
    std::copy(first.begin(), first.end(), run.begin());
    std::copy(second.begin(), second.end(), run.begin() + tsPacketLen);
    Bytes section(maxSectionLen);
    u16 length = 0;
    return psiTsToSection(run.data(), 2, section.data(), &length);
}

Bytes bytes(2 * maxSectionLen);
u16 sectionLen = 0;
u8 madePackets = 0;

const RefusedCall framing[] = {
    {"ReassembleNothing", [] { return psiTsToSection(nullptr, 1, bytes.data(), &sectionLen); }},
    {"ReassembleToNowhere", [] { return psiTsToSection(bytes.data(), 1, nullptr, &sectionLen); }},
    {"ReassembleWithoutLength", [] { return psiTsToSection(bytes.data(), 1, bytes.data(), nullptr); }},
    {"ReassembleNoPacket", [] { return psiTsToSection(bytes.data(), 0, bytes.data(), &sectionLen); }},
    {"ReassembleAcrossAStart", reassembledAcrossAStart},
    {"PacketizeNothing", [] { return psiSectionToTs(0, nullptr, 8, bytes.data(), &madePackets); }},
    {"PacketizeToNowhere", [] { return psiSectionToTs(0, bytes.data(), 8, nullptr, &madePackets); }},
    {"PacketizeWithoutCount", [] { return psiSectionToTs(0, bytes.data(), 8, bytes.data(), nullptr); }},
    {"PacketizeTooMuch", [] { return psiSectionToTs(0, bytes.data(), 1025, bytes.data(), &madePackets); }},
    {"CheckCrcOfNothing", [] { return psiCheckCrc(bytes.data(), 2); }},
};

const RefusedCall handles[] = {
    {"LookUp", [] { return getTableObj(nobody) != nullptr; }},
    {"PrivateValue", [] { return static_cast<long>(getSchPrivateValue(nobody)); }},
    {"DataInfo", [] { return getSchObjDataInfo(nobody) != nullptr; }},
    {"TimeOutSet", [] { return psiSchTimeOutSet(nobody, PSI_PAT, 1); }},
    {"TimeOutGet", [] { return psiSchTimeOutGet(nobody, PSI_PAT); }},
    {"Destroy", [] { return psiSchDestroy(nobody); }},
    {"ClearTableInfo", [] { return clearTableInfo(nobody); }},
    {"ClearTsInfo", [] { return clearTsInfo(nobody); }},
    {"Search", [] { return static_cast<long>(schTable(nobody, PSI_PAT)); }},
    {"AutoSearch", [] { return autoSchTable(nobody, 0); }},
    {"SearchAgain", [] { return static_cast<long>(re_SchTable(nobody, PSI_PAT, 0)); }},
};

const RefusedCall arguments[] = {
    {"CreateWithoutRecord", [] { return created(nullptr); }},
    {"CreateWithoutSearch", [] { return createdWithout(false, true); }},
    {"CreateWithoutRead", [] { return createdWithout(true, false); }},
    {"CreateWithoutMemory", [] { return createdWithFailing(Call::Malloc); }},
    {"CreateWithoutList", [] { return createdWithFailing(Call::Push); }},
    {"ProgramOfNoModel", [] { return getProgInfo(nullptr, 1) != nullptr; }},
    {"SectionsOfNoList", [] { return singleTypeSectionDataDestroy(nullptr, PSI_PAT); }},
    {"AnalyseWithoutModel", [] { return analysePsi(nullptr, nullptr, 0); }},
    {"ParseWithoutBytes",
     [] {
         void *tree = nullptr;
         return syntaxAnalysePsi(PSI_PAT, &tree, nullptr, 1);
     }},
    {"FilterOfNoObject",
     [] {
         psiSchInfo info = {};
         initPsiSchItem(0, &info, PSI_PAT);
         return info.objId;
     }},
    {"FilterToNowhere",
     [] {
         initPsiSchItem(nobody, nullptr, PSI_PAT);
         return 0;
     }},
    {"FilterOfNoType",
     [] {
         psiSchInfo info = {};
         initPsiSchItem(nobody, &info, noType);
         return info.pid;
     }},
    {"WorkRecordToNowhere",
     [] {
         initTmpTable(nullptr, PSI_PAT);
         return 0;
     }},
    {"WorkRecordOfNoType",
     [] {
         tableInfo work = {};
         initTmpTable(&work, noType);
         return work.tableId;
     }},
    {"SingleLoopWithoutObject", [] { return static_cast<long>(schNormalPsi(nullptr, PSI_PAT)); }},
    {"SingleLoopWithoutObjectAndSleep",
     [] {
         const Replaced<void (*)(u32)> none(psiMsSleep, nullptr);
         return static_cast<long>(schNormalPsi(nullptr, PSI_PAT));
     }},
    {"PmtLoopWithoutObject", [] { return static_cast<long>(schPmt(nullptr)); }},
};

using Silence = LibraryTest;

template <std::size_t n> void expectSilenceAtZero(LogCapture &log, const RefusedCall (&calls)[n])
{
    for (const RefusedCall &refused : calls) {
        SCOPED_TRACE(refused.name);
        setPsiSchRPTLevel(2);
        setPsiMakeRPTLevel(2);
        const long result = refused.call();
        EXPECT_NE("", log.takeRaw());
        setPsiSchRPTLevel(0);
        setPsiMakeRPTLevel(0);
        EXPECT_EQ(result, refused.call());
        EXPECT_NO_LOG(log);
    }
}

TEST_F(Silence, OfFraming)
{
    expectSilenceAtZero(log, framing);
}

TEST_F(Silence, OfWrongHandles)
{
    expectSilenceAtZero(log, handles);
}

TEST_F(Silence, OfMissingArguments)
{
    expectSilenceAtZero(log, arguments);
}

class SilentObject : public SearchTest {};

TEST_F(SilentObject, OfTypesWithoutTable)
{
    const psiObjId id = host->id();
    const RefusedCall calls[] = {
        {"TimeOutSet", [=] { return psiSchTimeOutSet(id, noType, 1); }},
        {"TimeOutGet", [=] { return psiSchTimeOutGet(id, noType); }},
        {"Search", [=] { return static_cast<long>(schTable(id, noType)); }},
        {"AutoSearch", [=] { return autoSchTable(id, 2); }},
        {"SearchAgain", [=] { return static_cast<long>(re_SchTable(id, noType, 0)); }},
    };
    expectSilenceAtZero(log, calls);
}

TEST_F(SilentObject, OfAnalysis)
{
    tsInfo *model = &this->model();
    sectionData section = {};
    const RefusedCall calls[] = {
        {"NoSection", [=] { return analysePsi(model, nullptr, 0); }},
        {"WrongFlag", [=, &section] { return analysePsi(model, &section, 2); }},
    };
    expectSilenceAtZero(log, calls);
}

TEST_F(SilentObject, OfStoringASection)
{
    tableObj *object = host->object();
    const auto work = std::make_unique<tableInfo>();
    tableInfo *record = work.get();
    const RefusedCall calls[] = {
        {"NoObject", [=] { return ts2Section(nullptr, record, bytes.data(), 1); }},
        {"NoRecord", [=] { return ts2Section(object, nullptr, bytes.data(), 1); }},
        {"NoPackets", [=] { return ts2Section(object, record, nullptr, 1); }},
        {"NoNumber", [=] { return ts2Section(object, record, bytes.data(), 0); }},
    };
    expectSilenceAtZero(log, calls);
}

TEST_F(SilentObject, OfADestroyThatFails)
{
    const psiObjId id = host->id();
    addProgram(5, 0x100);
    const auto destroyFailing = [=](unsigned nth) {
        const FaultPlan plan(Call::Delete, nth);
        return psiSchDestroy(id);
    };
    const RefusedCall notCleared[] = {{"NotCleared", [=] { return destroyFailing(1); }}};
    expectSilenceAtZero(log, notCleared);
    EXPECT_EQ(0, clearTableInfo(id));
    const RefusedCall notUnlinked[] = {{"NotUnlinked", [=] { return destroyFailing(1); }}};
    expectSilenceAtZero(log, notUnlinked);
}

/* ---- Generation, which has a level of its own ---- */

class SilentMake : public MakeTest {
protected:
    /** @brief A program whose descriptors do not fit one PMT section. */
    void addLargeProgram()
    {
        PlainProgram program;
        program.progNo = 5;
        program.pmtDescriptors = fillerDescriptors(1100);
        addProgram(model, program);
    }
};

TEST_F(SilentMake, OfMissingArguments)
{
    const RefusedCall calls[] = {
        {"PmtOfNoModel", [] { return pmtMakeSection(nullptr); }},
        {"OnePmtOfNoModel", [] { return pmtMakeOneSection(nullptr, 5); }},
        {"SectionOfNoModel", [] { return psiMakeSection(nullptr, PSI_PAT); }},
        {"NoType", [=] { return psiMakeSection(model, noType); }},
        {"NoStandard", [=] { return AutoMakeSection(id, 2); }},
        {"NoObject", [] { return AutoMakeSection(nobody, 0); }},
        {"NoTree", [=] { return syntaxSIMakeSeciton(model, nullptr, 0, PSI_BAT); }},
        {"NoModel",
         [] {
             batSection tree = {};
             return syntaxSIMakeSeciton(nullptr, &tree, 0, PSI_BAT);
         }},
    };
    expectSilenceAtZero(log, calls);
}

TEST_F(SilentMake, OfAProgramThatDoesNotFit)
{
    addLargeProgram();
    const RefusedCall calls[] = {
        {"One", [=] { return pmtMakeOneSection(model, 5); }},
        {"All", [=] { return pmtMakeSection(model); }},
    };
    expectSilenceAtZero(log, calls);
}

TEST_F(SilentMake, OfSectionsThatCannotBeReplaced)
{
    PlainProgram program;
    program.progNo = 5;
    addProgram(model, program);
    ASSERT_EQ(0, pmtMakeSection(model));
    const auto failing = [](Call call, const std::function<long()> &operate) {
        const FaultPlan plan(call, 1);
        return operate();
    };
    const RefusedCall calls[] = {
        {"One", [=] { return failing(Call::Delete, [=] { return pmtMakeOneSection(model, 5); }); }},
        {"All", [=] { return failing(Call::Delete, [=] { return pmtMakeSection(model); }); }},
        {"CreateWithoutMemory",
         [=] { return failing(Call::Malloc, [] { return static_cast<long>(psiMakeCreate()); }); }},
        {"CreateWithoutList", [=] { return failing(Call::Push, [] { return static_cast<long>(psiMakeCreate()); }); }},
    };
    expectSilenceAtZero(log, calls);
}

TEST_F(SilentMake, OfADestroyThatFails)
{
    addDescriptors(&model->catDescList, {{1, {}}});
    descInfo *lost = model->catDescList;
    setPsiMakeRPTLevel(0);
    {
        const FaultPlan plan(Call::Delete, 1, Fail::FromThenOn);
        EXPECT_EQ(-1, psiMakeDestroy(id));
    }
    EXPECT_NO_LOG(log);
    psi_buddy_free(lost);
    headMakeTableObj = nullptr;
    id = 0;
}

/* ---- Every allocation and every list call that can fail, at level 0 ---- */

template <typename Prepare, typename Operate>
unsigned sweepSilently(LogCapture &log, Call call, Prepare prepare, Operate operate)
{
    setPsiSchRPTLevel(0);
    i32 result = 0;
    return sweepFailures(
        call, Fail::Once, prepare, [&] { result = operate(); },
        [&](bool injected) {
            EXPECT_EQ(injected ? -1 : 0, result);
            EXPECT_NO_LOG(log);
        });
}

constexpr Call growingCalls[] = {Call::Malloc, Call::Push};

TEST_F(Silence, OfFailingParses)
{
    for (const Call call : growingCalls) {
        for (const u32 type : parsedTypes()) {
            SCOPED_TRACE(type);
            const Bytes section = fullSection(type);
            EXPECT_LT(0U, sweepSilently(
                              log, call, [] {}, [&] { return ParsedTree(type, section).result(); }));
        }
    }
}

TEST_F(Silence, OfFailingAnalyses)
{
    for (const u8 type : {PSI_PAT, PSI_PMT, PSI_CAT, PSI_SDT_ACTUAL, PSI_NIT_ACTUAL, PSI_VCT}) {
        SCOPED_TRACE(type);
        Bytes section = sampleSection(type);
        sectionData node = sectionNode(type, section.data(), section.size());
        std::optional<LooseModel> model;
        const auto prepare = [&] {
            model.emplace(1);
            progInfoCreat(&(*model)->progList)->progNo = 5;
        };
        const auto analyse = [&] { return analysePsi(model->get(), &node, 1); };
        EXPECT_LT(0U, sweepSilently(log, Call::Malloc, prepare, analyse));
        sweepSilently(log, Call::Push, prepare, analyse);
    }
}

TEST_F(Silence, OfAProgramThatThePatDoesNotName)
{
    setPsiSchRPTLevel(0);
    Bytes section = sampleSection(PSI_PMT);
    sectionData node = sectionNode(PSI_PMT, section.data(), section.size());
    LooseModel model;
    EXPECT_EQ(-1, analysePsi(model.get(), &node, 0));
    EXPECT_NO_LOG(log);
}

TEST_F(Silence, OfAnotherTableId)
{
    for (const u8 type : {PSI_PAT, PSI_CAT, PSI_SDT_ACTUAL}) {
        Bytes section = LongSectionBuilder(0x77).body(counting(20)).build();
        sectionData node = sectionNode(type, section.data(), section.size());
        LooseModel model;
        const RefusedCall calls[] = {{"Analyse", [&] { return analysePsi(model.get(), &node, 0); }}};
        expectSilenceAtZero(log, calls);
    }
}

TEST_F(Silence, OfTreesThatCannotBeDestroyed)
{
    setPsiSchRPTLevel(0);
    ebitMessage *list = nullptr;
    ebitMessage *message = ebitMessageCreat(&list);
    ASSERT_NE(nullptr, message);
    message->channel = ebitDetailsChannelCreat();
    ASSERT_NE(nullptr, message->channel);
    ASSERT_NE(nullptr, descInfoCreat(&message->channel->descriptor));
    {
        const FaultPlan plan(Call::Delete, 2); // the first is the message's own
        EXPECT_EQ(-1, ebitMessageDestroy(&list, message));
        EXPECT_EQ(1U, plan.injected());
    }
    EXPECT_NO_LOG(log);
    EXPECT_EQ(0, ebitDetailsChannlDestroy(message->channel));
    psi_buddy_free(message);
}

} // namespace
} // namespace psitest
