// Analysis of CAT, SDT actual, NIT actual and terrestrial VCT sections into the model, by reference and by copy.
#include "support/analyseLines.h"
#include "support/faultInjection.h"
#include "support/guardedBuffer.h"
#include "support/libraryFixture.h"
#include "support/mutation.h"

#include "psiInternal.h"

#include <algorithm>
#include <functional>
#include <string>

using namespace psi::core;

namespace psitest {
namespace {

/** @brief Give a model the programs 0x0101 and 0x0202; a change of one byte does not make one number the other. */
void addPrograms(LooseModel &model)
{
    for (const u16 number : std::vector<u16>{0x0101, 0x0202})
        progInfoCreat(&model->progList)->progNo = number;
}

/** @brief A model with two programs, and sections that live as long as it does. */
class SiAnalysis : public LibraryTest, public testing::WithParamInterface<u32> {
protected:
    void SetUp() override
    {
        LibraryTest::SetUp();
        addPrograms(model);
    }
    void TearDown() override
    {
        model.clear();
        LibraryTest::TearDown();
    }
    bool copies() const { return GetParam() == 1; }
    i32 analyse(u8 psiType, const Bytes &section)
    {
        node = storeSection(&model->sectionList, psiType, section);
        return analysePsi(model.get(), node, GetParam());
    }
    progInfo &first() { return *model->progList; }
    progInfo &second() { return *nodesOf(model->progList).at(1); }
    /** @brief By reference a run lies in the section of the last analysis, by copy in a block of exactly its length. */
    void expectKept(const Bytes &expected, const u8 *data, std::size_t len) const
    {
        EXPECT_EQ(expected, bytesAt(data, len));
        const bool inside = data >= node->buf && data + len <= node->buf + node->len;
        if (!copies())
            EXPECT_TRUE(inside) << "by reference";
        else if (expected.empty())
            EXPECT_EQ(nullptr, data) << "no block for nothing";
        else
            EXPECT_EQ(expected.size(), poolBlockSize(data)) << "by copy";
    }

    LooseModel model{GetParam()};
    sectionData *node = nullptr;
};

std::string modeName(const testing::TestParamInfo<u32> &mode)
{
    return mode.param == 0 ? "reference" : "copy";
}

const auto bothModes = testing::Values(0U, 1U);

/** @brief Tag and payload of the descriptors of a list. */
std::vector<Bytes> descriptorsOf(descInfo *head)
{
    std::vector<Bytes> all;
    for (const descInfo *desc : nodesOf(head))
        all.push_back(Bytes{desc->descTag, desc->descLen} + bytesAt(desc->descData, desc->descLen));
    return all;
}

/* ------------------------------------------------------------------------------------------------------------------
 * What all four do in front of their loops
 * ---------------------------------------------------------------------------------------------------------------- */

struct SiTable {
    u8 psiType;
    u8 tableId;
    Bytes section;
    const char *crcText;
    const char *tableIdText; /**< null: silent */
};

Bytes serviceSection()
{
    return SdtBuilder()
        .tsId(0x1234)
        .originalNetworkId(0x5678)
        .version(9)
        .currentNext(0)
        .number(3, 7)
        .service({0x0101, serviceDescriptor(0x11, "provider", "service"), 1, 0, 4, 1, -1})
        .service({0x0202, descriptor(0x5F, {1, 2, 3, 4}) + descriptor(0x53), 0, 1, 1, 0, -1})
        .build();
}

Bytes channelSection()
{
    VctChannel channel;
    channel.shortName = "WXYZ-1";
    channel.major = 0x2AB;
    channel.minor = 0x315;
    channel.modulationMode = 0x84;
    channel.carrierFrequency = 0xFFFFFFFF;
    channel.channelTsid = 0x4321;
    channel.programNumber = 0x0101;
    channel.etmLocation = 3;
    channel.accessControlled = 1;
    channel.hidden = 1;
    channel.hideGuide = 1;
    channel.serviceType = 0x2A;
    channel.sourceId = 0xBEEF;
    channel.descriptors = descriptor(0xA0, {5, 6, 7}) + descriptor(0x48, {1});
    VctChannel plain;
    plain.shortName = "B";
    plain.programNumber = 0x0202;
    plain.major = 1;
    plain.minor = 2;
    return VctBuilder()
        .tsId(0x1234)
        .version(30)
        .number(1, 2)
        .channel(channel)
        .channel(plain)
        .additionalDescriptor(descriptor(0xA3, {9, 9}))
        .additionalDescriptor(descriptor(0xA4))
        .build();
}

Bytes conditionalAccessSection()
{
    return CatBuilder()
        .version(21)
        .number(2, 5)
        .desc(caDescriptor(0x0B00, 0x1F01, {1, 2, 3}))
        .desc(descriptor(0x80, {4, 5}))
        .desc(caDescriptor(0x0500, 0x0020))
        .desc(descriptor(0x81))
        .build();
}

Bytes networkSection()
{
    return NitBuilder()
        .networkId(0x3001)
        .desc(descriptor(0x4A, counting(5)))
        .desc(networkNameDescriptor("network"))
        .transportStream(1, 2, descriptor(0x5A, counting(11)))
        .build();
}

const SiTable &tableOf(u8 psiType)
{
    static const SiTable tables[] = {
        {PSI_CAT, 0x01, conditionalAccessSection(), "analyseCat: tsCrcPsi ERROR", "analyseCat: tableid ERROR"},
        {PSI_SDT_ACTUAL, 0x42, serviceSection(), "analyseSdta: tsCrcPsi ERROR", "analyseSdta: tableid ERROR"},
        {PSI_NIT_ACTUAL, 0x40, networkSection(), "analyseNita: tsCrcPsi ERROR", nullptr},
        {PSI_VCT, 0xC8, channelSection(), "analyseVct: tsCrcPsi ERROR ", nullptr},
    };
    for (const SiTable &table : tables) {
        if (table.psiType == psiType)
            return table;
    }
    ADD_FAILURE() << "no such table";
    return tables[0];
}

/** @brief Whether an analysis has left the model as it was made. */
bool untouched(const tsInfo &model)
{
    const auto noHead = [](const psiHead &head) {
        return head.syntax_indicator + head.version_number + head.current_next + head.section_number +
                   head.last_section_number ==
               0;
    };
    bool same = noHead(model.sdtHead) && noHead(model.catHead) && model.tsId == 0 && model.orNetId == 0 &&
                model.netId == 0 && model.netname == nullptr && model.netnameLen == 0 && model.catDescList == nullptr &&
                model.vctDescList == nullptr && model.catCaList == nullptr;
    for (const progInfo *prog : nodesOf(model.progList)) {
        same = same && prog->sname == nullptr && prog->pname == nullptr && prog->sdtDescList == nullptr &&
               prog->run_stat == 0 && prog->source_id == 0;
    }
    return same;
}

class SiGate : public LibraryTest, public testing::WithParamInterface<u8> {
protected:
    const SiTable &table = tableOf(GetParam());
    i32 analyse(LooseModel &model, const Bytes &section, u32 ioFlag = 0)
    {
        return analysePsi(model.get(), storeSection(&model->sectionList, table.psiType, section), ioFlag);
    }
};

TEST_P(SiGate, StoresNothingOfASectionWithAWrongCrc)
{
    Bytes section = table.section;
    section.back() ^= 1;
    for (const u32 mode : {0U, 1U}) {
        LooseModel model(mode);
        EXPECT_EQ(-1, analyse(model, section, mode));
        EXPECT_LOG(log, analyseError(table.crcText));
        EXPECT_TRUE(untouched(*model.get()));
    }
}

TEST_P(SiGate, StoresNothingOfASectionLongerThanItsNode)
{
    LooseModel model;
    sectionData *node = storeSection(&model->sectionList, table.psiType, table.section);
    --node->len;
    EXPECT_EQ(-1, analysePsi(model.get(), node, 0));
    EXPECT_LOG(log, error("psiFun", "tsCrcPsi section_length out of buflen"), analyseError(table.crcText));
    EXPECT_TRUE(untouched(*model.get()));
}

TEST_P(SiGate, TakesASectionShorterThanItsNode)
{
    LooseModel model;
    addPrograms(model);
    EXPECT_EQ(0, analyse(model, table.section + Bytes{1, 2, 3}));
    EXPECT_NO_LOG(log);
}

TEST_P(SiGate, RefusesAnotherTableId)
{
    const Bytes ids = {static_cast<u8>(table.tableId ^ 1), static_cast<u8>(table.tableId ^ 4), 0xFF};
    for (const u8 tableId : ids) {
        Bytes section = table.section;
        section[0] = tableId;
        LooseModel model;
        EXPECT_EQ(-1, analyse(model, withRightCrc(section)));
        EXPECT_EQ(table.tableIdText != nullptr ? LogLines{analyseError(table.tableIdText)} : LogLines{}, log.take());
        EXPECT_TRUE(untouched(*model.get()));
    }
}

TEST_P(SiGate, IsSilentAtLevelTwoWhenAllIsWell)
{
    LooseModel model;
    addPrograms(model);
    EXPECT_EQ(0, analyse(model, table.section));
    EXPECT_NO_LOG(log);
}

INSTANTIATE_TEST_SUITE_P(Tables, SiGate, testing::Values(PSI_CAT, PSI_SDT_ACTUAL, PSI_NIT_ACTUAL, PSI_VCT),
                         [](const auto &param) { return "type" + std::to_string(param.param); });

/* ------------------------------------------------------------------------------------------------------------------
 * CAT
 * ---------------------------------------------------------------------------------------------------------------- */

class CatAnalysis : public SiAnalysis {};
INSTANTIATE_TEST_SUITE_P(BothModes, CatAnalysis, bothModes, modeName);

TEST_P(CatAnalysis, PartsCaFromOtherDescriptors)
{
    EXPECT_EQ(0, analyse(PSI_CAT, conditionalAccessSection()));
    const auto cas = nodesOf(model->catCaList);
    ASSERT_EQ(2U, cas.size());
    EXPECT_EQ(0x0B00, cas[0]->caSystemId);
    EXPECT_EQ(0x1F01, cas[0]->caPid);
    expectKept({1, 2, 3}, cas[0]->privateData, cas[0]->privateLen);
    EXPECT_EQ(0x0500, cas[1]->caSystemId);
    EXPECT_EQ(0x0020, cas[1]->caPid);
    expectKept({}, cas[1]->privateData, cas[1]->privateLen);
    const auto descs = nodesOf(model->catDescList);
    ASSERT_EQ(2U, descs.size());
    EXPECT_EQ(0x80, descs[0]->descTag);
    expectKept({4, 5}, descs[0]->descData, descs[0]->descLen);
    EXPECT_EQ(0x81, descs[1]->descTag);
    expectKept({}, descs[1]->descData, descs[1]->descLen);
}

TEST_P(CatAnalysis, StoresTheHeader)
{
    EXPECT_EQ(0, analyse(PSI_CAT, conditionalAccessSection()));
    EXPECT_EQ(1, model->catHead.syntax_indicator);
    EXPECT_EQ(21, model->catHead.version_number);
    EXPECT_EQ(1, model->catHead.current_next);
    EXPECT_EQ(2, model->catHead.section_number);
    EXPECT_EQ(5, model->catHead.last_section_number);
    EXPECT_EQ(0, analyse(PSI_CAT, CatBuilder().syntaxIndicator(0).version(31).currentNext(0).build()));
    EXPECT_EQ(0, model->catHead.syntax_indicator);
    EXPECT_EQ(31, model->catHead.version_number);
    EXPECT_EQ(0, model->catHead.current_next);
    EXPECT_EQ(0, model->catHead.last_section_number);
}

TEST_P(CatAnalysis, MayHaveACaDescriptorWithoutPrivateDataOnly)
{
    EXPECT_EQ(0, analyse(PSI_CAT, CatBuilder().desc(caDescriptor(0x0B00, 0x1FFF)).build()));
    ASSERT_EQ(1U, nodesOf(model->catCaList).size());
    EXPECT_EQ(0x1FFF, model->catCaList->caPid);
    EXPECT_EQ(0, model->catCaList->privateLen);
    // By reference it points just behind the CA_PID.
    EXPECT_EQ(copies() ? nullptr : node->buf + 14, model->catCaList->privateData);
    EXPECT_EQ(nullptr, model->catDescList);
}

TEST_P(CatAnalysis, ReportsItsEndOnly)
{
    setPsiSchRPTLevel(3);
    EXPECT_EQ(0, analyse(PSI_CAT, conditionalAccessSection()));
    EXPECT_LOG(log, analyseInfo("analyseCat: OK!"));
}

TEST_P(CatAnalysis, AppendsAgain)
{
    EXPECT_EQ(0, analyse(PSI_CAT, conditionalAccessSection()));
    EXPECT_EQ(0, analyse(PSI_CAT, conditionalAccessSection()));
    EXPECT_EQ(4U, nodesOf(model->catCaList).size());
    EXPECT_EQ(4U, nodesOf(model->catDescList).size());
}

/* ------------------------------------------------------------------------------------------------------------------
 * SDT actual
 * ---------------------------------------------------------------------------------------------------------------- */

class SdtAnalysis : public SiAnalysis {
protected:
    i32 analyseServices(const Bytes &descriptors)
    {
        return analyse(PSI_SDT_ACTUAL, SdtBuilder().service(0x0101, descriptors).build());
    }
    void expectNames(const std::string &provider, const std::string &name)
    {
        expectKept(bytesOf(provider), first().pname, first().pnameLen);
        expectKept(bytesOf(name), first().sname, first().snameLen);
    }
};
INSTANTIATE_TEST_SUITE_P(BothModes, SdtAnalysis, bothModes, modeName);

TEST_P(SdtAnalysis, FillsTheModelAndItsPrograms)
{
    EXPECT_EQ(0, analyse(PSI_SDT_ACTUAL, serviceSection()));
    EXPECT_EQ(0x1234, model->tsId);
    EXPECT_EQ(0x5678, model->orNetId);
    EXPECT_EQ(1, model->sdtHead.syntax_indicator);
    EXPECT_EQ(9, model->sdtHead.version_number);
    EXPECT_EQ(0, model->sdtHead.current_next);
    EXPECT_EQ(3, model->sdtHead.section_number);
    EXPECT_EQ(7, model->sdtHead.last_section_number);
    EXPECT_EQ(0x11, first().prog_type);
    expectNames("provider", "service");
    EXPECT_EQ(nullptr, first().sdtDescList);
    EXPECT_EQ(0, second().prog_type);
    EXPECT_EQ(nullptr, second().sname);
    const auto descs = nodesOf(second().sdtDescList);
    ASSERT_EQ(2U, descs.size());
    EXPECT_EQ(0x5F, descs[0]->descTag);
    expectKept({1, 2, 3, 4}, descs[0]->descData, descs[0]->descLen);
    EXPECT_EQ(0x53, descs[1]->descTag);
    expectKept({}, descs[1]->descData, descs[1]->descLen);
}

TEST_P(SdtAnalysis, StoresTheFlagsOfAService)
{
    struct Flags {
        u8 schedule, presentFollowing, running, freeCa;
    };
    for (const Flags &flags : {Flags{1, 0, 0, 0}, Flags{0, 1, 0, 0}, Flags{0, 0, 7, 0}, Flags{0, 0, 1, 1},
                               Flags{1, 1, 5, 1}, Flags{0, 0, 0, 0}}) {
        EXPECT_EQ(
            0,
            analyse(PSI_SDT_ACTUAL,
                    SdtBuilder()
                        .service({0x0101, {}, flags.schedule, flags.presentFollowing, flags.running, flags.freeCa, -1})
                        .build()));
        EXPECT_EQ(flags.schedule, first().EIT_flag);
        EXPECT_EQ(flags.presentFollowing, first().EIT_pre_flag);
        EXPECT_EQ(flags.running, first().run_stat);
        EXPECT_EQ(flags.freeCa, first().ca_mode);
    }
}

TEST_P(SdtAnalysis, ReportsItsStepsAtInfoLevel)
{
    setPsiSchRPTLevel(3);
    EXPECT_EQ(0, analyse(PSI_SDT_ACTUAL, serviceSection()));
    EXPECT_LOG(log, analyseInfo("analyseSdta: tsId = 0x1234"), analyseInfo("analyseSdta: orNetId = 0x5678"),
               analyseInfo("analyseSdta: progNo = 257"), analyseInfo("analyseSdta: EIT_flag = 1"),
               analyseInfo("analyseSdta: EIT_pre_flag = 0"), analyseInfo("analyseSdta: run_stat = 4"),
               analyseInfo("analyseSdta: ca_mode = 1"), analyseInfo("analyseSdta: prog_type = 17"),
               analyseInfo("analyseSdta: service name = service"), analyseInfo("analyseSdta: provider name = provider"),
               analyseInfo("analyseSdta: progNo = 514"), analyseInfo("analyseSdta: EIT_flag = 0"),
               analyseInfo("analyseSdta: EIT_pre_flag = 1"), analyseInfo("analyseSdta: run_stat = 1"),
               analyseInfo("analyseSdta: ca_mode = 0"), analyseInfo("analyseSdta: OK!"));
}

TEST_P(SdtAnalysis, SkipsAServiceThatThePatDoesNotName)
{
    const Bytes sdt = SdtBuilder()
                          .service(0x0A0B, serviceDescriptor(1, "x", "y") + descriptor(0x5F, {1}))
                          .service(0x0202, serviceDescriptor(2, "p", "s"))
                          .build();
    EXPECT_EQ(0, analyse(PSI_SDT_ACTUAL, sdt));
    EXPECT_LOG(log, error("psiData", "getProgInfo: Not Found, progNo = 2571!"),
               warning("psiAnalyse", "analyseSdta: progInfo get ERROR, progNo is 0xa0b!"));
    EXPECT_EQ(nullptr, first().sname);
    expectKept(bytesOf("s"), second().sname, second().snameLen);
    EXPECT_EQ(2U, nodesOf(model->progList).size());
}

TEST_P(SdtAnalysis, DoesNotLookIntoTheDescriptorsOfAnUnknownService)
{
    EXPECT_EQ(0, analyse(PSI_SDT_ACTUAL, SdtBuilder().service(0x0A0B, Bytes{0x48, 0x01, 0xFF, 0x50}).build()));
}

TEST_P(SdtAnalysis, MayHaveNoService)
{
    EXPECT_EQ(0, analyse(PSI_SDT_ACTUAL, SdtBuilder().tsId(7).build()));
    EXPECT_EQ(7, model->tsId);
}

TEST_P(SdtAnalysis, TakesEmptyNames)
{
    EXPECT_EQ(0, analyseServices(serviceDescriptor(1, "", "")));
    expectNames("", "");
    EXPECT_EQ(0, analyseServices(serviceDescriptor(1, "", "name")));
    expectNames("", "name");
}

TEST_P(SdtAnalysis, LetsALaterServiceDescriptorOverwriteTheNames)
{
    ASSERT_EQ(0, analyseServices(serviceDescriptor(1, "first", "one")));
    u8 *const names[] = {first().pname, first().sname};
    EXPECT_EQ(0, analyseServices(serviceDescriptor(2, "second", "")));
    EXPECT_EQ(2, first().prog_type);
    expectNames("second", "");
    if (copies()) {
        // Nobody frees the earlier copies but who knows of them.
        for (u8 *name : names)
            EXPECT_EQ(0, psi_buddy_free(name));
    }
}

TEST_P(SdtAnalysis, OverwritesTheIdentityOfTheStream)
{
    model->tsId = 0x9999;
    EXPECT_EQ(0, analyse(PSI_SDT_ACTUAL, SdtBuilder().tsId(0x1111).originalNetworkId(0x2222).build()));
    EXPECT_EQ(0x1111, model->tsId);
    EXPECT_EQ(0, analyse(PSI_VCT, VctBuilder().tsId(0x3333).build()));
    EXPECT_EQ(0x3333, model->tsId);
    EXPECT_EQ(0x2222, model->orNetId);
}

/* Names that do not fit inside their service_descriptor are cut at its end */

struct CutNames {
    const char *name;
    Bytes payload;
    const char *provider;
    const char *service;
};

class SdtCutNames : public LibraryTest, public testing::WithParamInterface<CutNames> {};

TEST_P(SdtCutNames, EndWithTheDescriptor)
{
    const Bytes marker = descriptor(0x5F, bytesOf("XYZ"));
    for (const bool last : {false, true}) {
        for (const u32 mode : {0U, 1U}) {
            LooseModel model(mode);
            progInfo *prog = progInfoCreat(&model->progList);
            prog->progNo = 5;
            const Bytes descriptors =
                last ? marker + descriptor(0x48, GetParam().payload) : descriptor(0x48, GetParam().payload) + marker;
            sectionData *node =
                storeSection(&model->sectionList, PSI_SDT_ACTUAL, SdtBuilder().service(5, descriptors).build());
            EXPECT_EQ(0, analysePsi(model.get(), node, mode));
            EXPECT_NO_LOG(log);
            EXPECT_EQ(0x19, prog->prog_type);
            EXPECT_EQ(bytesOf(GetParam().provider), bytesAt(prog->pname, prog->pnameLen));
            EXPECT_EQ(bytesOf(GetParam().service), bytesAt(prog->sname, prog->snameLen));
            EXPECT_EQ((std::vector<Bytes>{marker}), descriptorsOf(prog->sdtDescList)) << "the loop goes on behind it";
        }
    }
}

const CutNames cutNames[] = {
    {"Fits", {0x19, 2, 'p', 'q', 2, 's', 't'}, "pq", "st"},
    {"BytesBehindTheNames", {0x19, 1, 'p', 1, 's', 'x', 0x48, 9}, "p", "s"},
    {"ServiceOverByOne", {0x19, 2, 'p', 'q', 3, 's', 't'}, "pq", "st"},
    {"ServiceOverByAll", {0x19, 2, 'p', 'q', 255, 's', 't'}, "pq", "st"},
    {"ServiceWithoutBytes", {0x19, 2, 'p', 'q', 1}, "pq", ""},
    {"NoServiceLength", {0x19, 2, 'p', 'q'}, "pq", ""},
    {"ProviderOverByOne", {0x19, 3, 'p', 'q'}, "pq", ""},
    {"ProviderOverByAll", {0x19, 255, 'p'}, "p", ""},
    {"ProviderTakesTheServiceLength", {0x19, 2, 'p', 1}, "p\x01", ""},
};

INSTANTIATE_TEST_SUITE_P(EveryWay, SdtCutNames, testing::ValuesIn(cutNames),
                         [](const auto &param) { return param.param.name; });

/* Names in log lines */

TEST(NamesInLogLines, AreCutTo127Bytes)
{
    char buf[maxPrintedName];
    for (const std::size_t len : {1U, 126U, 127U, 128U, 200U, 255U}) {
        const Bytes name = repeated(len, 'n');
        EXPECT_EQ(std::string(std::min<std::size_t>(len, 127), 'n'),
                  makeStr(name.data(), static_cast<u32>(name.size()), buf));
    }
}

TEST(NamesInLogLines, AreEmptyForNoName)
{
    char buf[maxPrintedName] = "old";
    const u8 byte = 'x';
    EXPECT_STREQ("", makeStr(nullptr, 5, buf));
    EXPECT_STREQ("", makeStr(&byte, 0, buf));
    EXPECT_STREQ("", makeStr(nullptr, 0, buf));
}

TEST(NamesInLogLines, KeepTheirBytesAsTheyAre)
{
    char buf[maxPrintedName];
    const Bytes name = {0x15, 0xC3, 0xA4, 0x00, 'z'};
    const char *text = makeStr(name.data(), 5, buf);
    EXPECT_EQ(std::string("\x15\xC3\xA4\0z\0", 6), std::string(text, 6));
}

TEST_P(SdtAnalysis, LogsLongNamesCut)
{
    setPsiSchRPTLevel(3);
    EXPECT_EQ(0, analyseServices(serviceDescriptor(1, std::string(50, 'p'), std::string(200, 's'))));
    const LogLines lines = log.take();
    EXPECT_TRUE(contains(lines, analyseInfo("analyseSdta: service name = " + std::string(127, 's'))));
    EXPECT_TRUE(contains(lines, analyseInfo("analyseSdta: provider name = " + std::string(50, 'p'))));
    expectNames(std::string(50, 'p'), std::string(200, 's'));
}

/* ------------------------------------------------------------------------------------------------------------------
 * NIT actual
 * ---------------------------------------------------------------------------------------------------------------- */

class NitAnalysis : public SiAnalysis {};
INSTANTIATE_TEST_SUITE_P(BothModes, NitAnalysis, bothModes, modeName);

TEST_P(NitAnalysis, TakesTheNetworkName)
{
    setPsiSchRPTLevel(3);
    EXPECT_EQ(0, analyse(PSI_NIT_ACTUAL, networkSection()));
    EXPECT_EQ(0x3001, model->netId);
    expectKept(bytesOf("network"), model->netname, model->netnameLen);
    EXPECT_LOG(log, analyseInfo("analyseNita: netId = 0x3001"), analyseInfo("analyseNita: network name = network"));
    EXPECT_EQ(0, model->tsId);
    EXPECT_EQ(0, model->orNetId);
}

TEST_P(NitAnalysis, StopsAtTheFirstName)
{
    const Bytes nit =
        NitBuilder().desc(networkNameDescriptor("one") + networkNameDescriptor("two") + Bytes{0x4A, 0x63}).build();
    EXPECT_EQ(0, analyse(PSI_NIT_ACTUAL, nit)) << "what follows the name is not read";
    expectKept(bytesOf("one"), model->netname, model->netnameLen);
}

TEST_P(NitAnalysis, WithoutANameLeavesTheModelsNameAlone)
{
    setPsiSchRPTLevel(3);
    u8 name[] = {'o', 'l', 'd'};
    model->netname = name;
    model->netnameLen = 3;
    EXPECT_EQ(0,
              analyse(PSI_NIT_ACTUAL,
                      NitBuilder().networkId(0xAB).desc(descriptor(0x4A, counting(5))).transportStream(1, 2).build()));
    EXPECT_LOG(log, analyseInfo("analyseNita: netId = 0xab"), analyseInfo("analyseNita: OK!"));
    EXPECT_EQ(name, model->netname);
    EXPECT_EQ(3, model->netnameLen);
    model->netname = nullptr;
}

TEST_P(NitAnalysis, TakesAnEmptyName)
{
    setPsiSchRPTLevel(3);
    EXPECT_EQ(0, analyse(PSI_NIT_ACTUAL, NitBuilder().networkId(0xAB).desc(networkNameDescriptor("")).build()));
    EXPECT_LOG(log, analyseInfo("analyseNita: netId = 0xab"), analyseInfo("analyseNita: network name = "));
    EXPECT_EQ(0, model->netnameLen);
    EXPECT_EQ(nullptr, model->netname);
}

TEST_P(NitAnalysis, TakesAnEmptyNameInPlaceOfAnother)
{
    u8 name[] = {'o', 'l', 'd'};
    model->netname = name;
    model->netnameLen = 3;
    EXPECT_EQ(0, analyse(PSI_NIT_ACTUAL, NitBuilder().desc(networkNameDescriptor("")).build()));
    EXPECT_EQ(0, model->netnameLen);
    model->netname = nullptr;
}

TEST_P(NitAnalysis, StoresNoHeaderGroup)
{
    EXPECT_EQ(0, analyse(PSI_NIT_ACTUAL, NitBuilder().version(9).number(1, 2).build()));
    for (const psiHead &head : {model->patHead, model->sdtHead, model->catHead}) {
        EXPECT_EQ(0, head.syntax_indicator);
        EXPECT_EQ(0, head.version_number);
        EXPECT_EQ(0, head.last_section_number);
    }
}

TEST_P(NitAnalysis, NeverReadsTheTransportStreamLoop)
{
    EXPECT_EQ(0, analyse(PSI_NIT_ACTUAL, NitBuilder().forcedStreamLoopLength(0xFFF).transportStream(1, 2).build()));
}

/* ------------------------------------------------------------------------------------------------------------------
 * Terrestrial VCT
 * ---------------------------------------------------------------------------------------------------------------- */

class VctAnalysis : public SiAnalysis {};
INSTANTIATE_TEST_SUITE_P(BothModes, VctAnalysis, bothModes, modeName);

Bytes utf16(const std::string &text)
{
    Bytes units;
    for (const char letter : text)
        units.insert(units.end(), {0, static_cast<u8>(letter)});
    units.resize(14, 0);
    return units;
}

TEST_P(VctAnalysis, FillsTheModelAndItsPrograms)
{
    EXPECT_EQ(0, analyse(PSI_VCT, channelSection()));
    EXPECT_EQ(0x1234, model->tsId);
    EXPECT_EQ(1, model->sdtHead.syntax_indicator);
    EXPECT_EQ(30, model->sdtHead.version_number);
    EXPECT_EQ(1, model->sdtHead.current_next);
    EXPECT_EQ(1, model->sdtHead.section_number);
    EXPECT_EQ(2, model->sdtHead.last_section_number);
    EXPECT_EQ(14, first().snameLen);
    expectKept(utf16("WXYZ-1"), first().sname, first().snameLen);
    EXPECT_EQ(0x2AB, first().major_channel_number);
    EXPECT_EQ(0x315, first().minor_channel_number);
    EXPECT_EQ(0x84, first().modulation_mode);
    EXPECT_EQ(0x4321, first().channel_TSID);
    EXPECT_EQ(0x2A, first().service_type);
    EXPECT_EQ(0xBEEF, first().source_id);
    EXPECT_EQ(0, first().prog_type);
    EXPECT_EQ(nullptr, first().pname);
    expectKept(utf16("B"), second().sname, second().snameLen);
    EXPECT_EQ(1, second().major_channel_number);
    EXPECT_EQ(2, second().minor_channel_number);
}

TEST_P(VctAnalysis, KeepsEveryDescriptorOfAChannel)
{
    EXPECT_EQ(0, analyse(PSI_VCT, channelSection()));
    EXPECT_EQ((std::vector<Bytes>{descriptor(0xA0, {5, 6, 7}), descriptor(0x48, {1})}),
              descriptorsOf(first().sdtDescList));
    EXPECT_EQ(nullptr, second().sdtDescList);
    const auto additional = nodesOf(model->vctDescList);
    ASSERT_EQ(2U, additional.size());
    EXPECT_EQ(0xA3, additional[0]->descTag);
    expectKept({9, 9}, additional[0]->descData, additional[0]->descLen);
    EXPECT_EQ(0xA4, additional[1]->descTag);
    expectKept({}, additional[1]->descData, additional[1]->descLen);
    for (const descInfo *desc : nodesOf(first().sdtDescList))
        expectKept(bytesAt(desc->descData, desc->descLen), desc->descData, desc->descLen);
}

TEST_P(VctAnalysis, ReportsItsStepsAtInfoLevel)
{
    setPsiSchRPTLevel(3);
    EXPECT_EQ(0, analyse(PSI_VCT, channelSection()));
    EXPECT_LOG(log, analyseInfo("analyseVct: tsId = 0x1234"), analyseInfo("analyseVct: OK!"));
}

TEST_P(VctAnalysis, FailsWithAChannelWhoseProgramIsUnknown)
{
    VctChannel known;
    known.shortName = "KNOWN";
    known.programNumber = 0x0202;
    VctChannel unknown;
    unknown.programNumber = 0x0A0B;
    VctChannel late;
    late.programNumber = 0x0101;
    const Bytes vct = VctBuilder().channel(known).channel(unknown).channel(late).build();
    EXPECT_EQ(-1, analyse(PSI_VCT, vct));
    EXPECT_LOG(log, error("psiData", "getProgInfo: Not Found, progNo = 2571!"),
               analyseError("analyseVct: progInfo get ERROR, progNo is 2571! "));
    expectKept(utf16("KNOWN"), second().sname, second().snameLen);
    EXPECT_EQ(nullptr, first().sname);
}

TEST_P(VctAnalysis, AppendsDescriptorsAgain)
{
    EXPECT_EQ(0, analyse(PSI_VCT, channelSection()));
    u8 *const names[] = {first().sname, second().sname};
    EXPECT_EQ(0, analyse(PSI_VCT, channelSection()));
    EXPECT_EQ(4U, nodesOf(first().sdtDescList).size());
    EXPECT_EQ(4U, nodesOf(model->vctDescList).size());
    if (copies()) {
        for (u8 *name : names)
            EXPECT_EQ(0, psi_buddy_free(name));
    }
}

TEST_P(VctAnalysis, MayHaveNoChannel)
{
    EXPECT_EQ(0, analyse(PSI_VCT, VctBuilder().tsId(9).additionalDescriptor(descriptor(0xA3, {1})).build()));
    EXPECT_EQ(9, model->tsId);
    EXPECT_EQ((std::vector<Bytes>{descriptor(0xA3, {1})}), descriptorsOf(model->vctDescList));
}

/* ------------------------------------------------------------------------------------------------------------------
 * Refused sections: what is logged, and what was stored before
 * ---------------------------------------------------------------------------------------------------------------- */

struct RefusedSi {
    const char *name;
    u8 psiType;
    Bytes section;
    const char *text;
    std::function<void(const tsInfo &)> expectStored;
};

const Bytes goodDesc = descriptor(0x5F, {1, 2});
const Bytes goodCa = caDescriptor(0x1234, 0x200, {1});

/** @brief A section cut so that section_length is @p length. */
Bytes cut(Bytes section, unsigned length)
{
    section.resize(length + 3);
    setSectionLength(section, length);
    return withRightCrc(section);
}

/** @brief So many CA and other descriptors of the CAT. */
std::function<void(const tsInfo &)> catHolds(std::size_t cas, std::size_t descs)
{
    return [=](const tsInfo &model) {
        EXPECT_EQ(cas, nodesOf(model.catCaList).size());
        EXPECT_EQ(descs, nodesOf(model.catDescList).size());
    };
}

/** @brief So many SDT or VCT descriptors of program 0x0101, and whether it has a name. */
std::function<void(const tsInfo &)> programHolds(std::size_t descs, bool named)
{
    return [=](const tsInfo &model) {
        EXPECT_EQ(descs, nodesOf(model.progList->sdtDescList).size());
        EXPECT_EQ(named, model.progList->sname != nullptr);
        EXPECT_EQ(nullptr, model.vctDescList);
    };
}

std::function<void(const tsInfo &)> nothingNamed()
{
    return [](const tsInfo &model) {
        EXPECT_EQ(nullptr, model.netname);
        EXPECT_EQ(0, model.netnameLen);
    };
}

VctChannel channelWith(const Bytes &descriptors)
{
    VctChannel channel;
    channel.programNumber = 0x0101;
    channel.descriptors = descriptors;
    return channel;
}

/** @brief A VCT of one channel whose descriptors_length is @p length. */
Bytes vctWithDescriptorsLength(unsigned length, const Bytes &descriptors)
{
    Bytes vct = VctBuilder().channel(channelWith(descriptors)).build();
    vct[10 + 30] = static_cast<u8>(0xFC | length >> 8);
    vct[10 + 31] = static_cast<u8>(length);
    return withRightCrc(vct);
}

/** @brief A VCT without channels whose additional_descriptors_length is @p length. */
Bytes vctWithAdditionalLength(unsigned length)
{
    Bytes vct = VctBuilder().additionalDescriptor(goodDesc).build();
    vct[10] = static_cast<u8>(0xFC | length >> 8);
    vct[11] = static_cast<u8>(length);
    return withRightCrc(vct);
}

Bytes sdtWith(const Bytes &descriptors)
{
    return SdtBuilder().service(0x0101, descriptors).build();
}

const char *const sdtLoop = "analyseSdta: service descLoopLen ERROR";
const char *const sdtDesc = "analyseSdta: desc_len ERROR";
const char *const nitLoop = "analyseNita network_descriptors_length ERROR";
const char *const nitDesc = "analyseNita net_desc_len ERROR ";
const char *const vctDesc = "analyseVct: desc_len ERROR ";

const RefusedSi refusedSis[] = {
    {"CatNoRoomForTheHeader", PSI_CAT, cut(CatBuilder().build(), 8), "analyseCat: section length ERROR",
     catHolds(0, 0)},
    {"CatCrcOnly", PSI_CAT, cut(CatBuilder().build(), 4), "analyseCat: section length ERROR", catHolds(0, 0)},
    {"CatDescriptorOverByOne", PSI_CAT, CatBuilder().desc(goodCa + goodDesc + Bytes{0x80, 3, 0, 0}).build(),
     "analyseCat: desc_len ERROR", catHolds(1, 1)},
    {"CatDescriptorOverByAll", PSI_CAT, CatBuilder().desc(goodCa + Bytes{0x80, 255}).build(),
     "analyseCat: desc_len ERROR", catHolds(1, 0)},
    {"CatDescriptorReachesIntoTheCrc", PSI_CAT, CatBuilder().desc({0x80, 4}).build(), "analyseCat: desc_len ERROR",
     catHolds(0, 0)},
    {"CatDescriptorWithoutLength", PSI_CAT, CatBuilder().desc(goodDesc + Bytes{0x80}).build(),
     "analyseCat: desc_len ERROR", catHolds(0, 1)},
    {"CatCaOfThree", PSI_CAT, CatBuilder().desc(goodDesc + goodCa + descriptor(0x09, {1, 2, 3}) + goodDesc).build(),
     "analyseCat: caInfo desc_len < 4, ERROR", catHolds(1, 1)},
    {"CatCaOfNone", PSI_CAT, CatBuilder().desc(descriptor(0x09)).build(), "analyseCat: caInfo desc_len < 4, ERROR",
     catHolds(0, 0)},

    {"SdtNoRoomForTheHeader", PSI_SDT_ACTUAL, cut(SdtBuilder().build(), 8), "analyseSdta: section length ERROR",
     programHolds(0, false)},
    {"SdtNoRoomForTheNetwork", PSI_SDT_ACTUAL, cut(SdtBuilder().build(), 10), "analyseSdta: section length ERROR",
     programHolds(0, false)},
    {"SdtNoRoomForTheReservedByte", PSI_SDT_ACTUAL, cut(SdtBuilder().build(), 11), "analyseSdta: section length ERROR",
     programHolds(0, false)},
    {"SdtServiceOverByOne", PSI_SDT_ACTUAL,
     SdtBuilder().service(0x0101, goodDesc).service({0x0202, goodDesc, 0, 0, 4, 0, 5}).build(), sdtLoop,
     programHolds(1, false)},
    {"SdtServiceOverByAll", PSI_SDT_ACTUAL, SdtBuilder().service({0x0101, goodDesc, 0, 0, 4, 0, 0xFFF}).build(),
     sdtLoop, programHolds(0, false)},
    {"SdtUnknownServiceOverByOne", PSI_SDT_ACTUAL, SdtBuilder().service({0x0A0B, {}, 0, 0, 4, 0, 1}).build(), sdtLoop,
     programHolds(0, false)},
    {"SdtFourBytesOfAService", PSI_SDT_ACTUAL,
     cut(SdtBuilder().service(0x0101, goodDesc).service(0x0202).build(), 12 + 5 + 4 + 4), sdtLoop,
     programHolds(1, false)},
    {"SdtOneByteOfAService", PSI_SDT_ACTUAL,
     cut(SdtBuilder().service(0x0101, goodDesc).service(0x0202).build(), 12 + 5 + 4 + 1), sdtLoop,
     programHolds(1, false)},
    {"SdtDescriptorOverByOne", PSI_SDT_ACTUAL, sdtWith(goodDesc + Bytes{0x50, 2, 0}), sdtDesc, programHolds(1, false)},
    {"SdtDescriptorWithoutLength", PSI_SDT_ACTUAL, sdtWith(goodDesc + Bytes{0x50}), sdtDesc, programHolds(1, false)},
    {"SdtDescriptorReachesIntoTheNextService", PSI_SDT_ACTUAL,
     SdtBuilder().service(0x0101, Bytes{0x50, 5}).service(0x0202).build(), sdtDesc, programHolds(0, false)},
    {"SdtServiceDescriptorOverByOne", PSI_SDT_ACTUAL, sdtWith(goodDesc + Bytes{0x48, 4, 1, 0, 0}), sdtDesc,
     programHolds(1, false)},
    {"SdtServiceDescriptorOfTwo", PSI_SDT_ACTUAL,
     sdtWith(serviceDescriptor(1, "p", "s") + goodDesc + descriptor(0x48, {1, 0})),
     "analyseSdta: service desc_len < 3, ERROR", programHolds(1, true)},
    {"SdtServiceDescriptorOfNone", PSI_SDT_ACTUAL, sdtWith(descriptor(0x48)),
     "analyseSdta: service desc_len < 3, ERROR", programHolds(0, false)},

    {"NitNoRoomForTheHeader", PSI_NIT_ACTUAL, cut(NitBuilder().build(), 8), "analyseNita: section length ERROR",
     nothingNamed()},
    {"NitNoRoomForTheLoopLength", PSI_NIT_ACTUAL, cut(NitBuilder().build(), 10), nitLoop, nothingNamed()},
    {"NitNoRoomForTheStreamLoopLength", PSI_NIT_ACTUAL, cut(NitBuilder().build(), 12), nitLoop, nothingNamed()},
    {"NitLoopOverByOne", PSI_NIT_ACTUAL,
     NitBuilder().desc(networkNameDescriptor("net")).forcedDescriptorsLength(6).build(), nitLoop, nothingNamed()},
    {"NitLoopOverByAll", PSI_NIT_ACTUAL, NitBuilder().forcedDescriptorsLength(0xFFF).build(), nitLoop, nothingNamed()},
    {"NitDescriptorOverByOne", PSI_NIT_ACTUAL, NitBuilder().desc(goodDesc + Bytes{0x4A, 3, 0, 0}).build(), nitDesc,
     nothingNamed()},
    {"NitNameOverByOne", PSI_NIT_ACTUAL, NitBuilder().desc(goodDesc + Bytes{0x40, 3, 'n', 'e'}).build(), nitDesc,
     nothingNamed()},
    {"NitNameReachesIntoTheStreams", PSI_NIT_ACTUAL, NitBuilder().desc({0x40, 6}).transportStream(1, 2).build(),
     nitDesc, nothingNamed()},
    {"NitDescriptorWithoutLength", PSI_NIT_ACTUAL, NitBuilder().desc({0x40}).build(), nitDesc, nothingNamed()},

    {"VctNoRoomForTheHeader", PSI_VCT, cut(VctBuilder().build(), 8), vctDesc, programHolds(0, false)},
    {"VctNoRoomForTheChannelCount", PSI_VCT, cut(VctBuilder().build(), 10), vctDesc, programHolds(0, false)},
    {"VctNoRoomForTheAdditionalLength", PSI_VCT, cut(VctBuilder().build(), 12), vctDesc, programHolds(0, false)},
    {"VctChannelCutByOne", PSI_VCT, cut(VctBuilder().channel(channelWith({})).build(), 11 + 31), vctDesc,
     programHolds(0, false)},
    {"VctMoreChannelsThanThereAre", PSI_VCT, VctBuilder().channel(channelWith(goodDesc)).forcedChannels(2).build(),
     vctDesc, programHolds(1, true)},
    {"VctChannelLoopOverByOne", PSI_VCT, vctWithDescriptorsLength(7, goodDesc), vctDesc, programHolds(0, true)},
    {"VctChannelLoopOverByAll", PSI_VCT, vctWithDescriptorsLength(0x3FF, goodDesc), vctDesc, programHolds(0, true)},
    {"VctChannelDescriptorOverByOne", PSI_VCT, VctBuilder().channel(channelWith(goodDesc + Bytes{0xA0, 2, 0})).build(),
     vctDesc, programHolds(1, true)},
    {"VctChannelDescriptorWithoutLength", PSI_VCT, VctBuilder().channel(channelWith(goodDesc + Bytes{0xA0})).build(),
     vctDesc, programHolds(1, true)},
    {"VctAdditionalLoopOverByOne", PSI_VCT, vctWithAdditionalLength(5), vctDesc, programHolds(0, false)},
    {"VctAdditionalLoopOverByAll", PSI_VCT, vctWithAdditionalLength(0x3FF), vctDesc, programHolds(0, false)},
    {"VctAdditionalDescriptorOverByOne", PSI_VCT, VctBuilder().additionalDescriptor(goodDesc + Bytes{0xA3, 1}).build(),
     vctDesc, [](const tsInfo &model) { EXPECT_EQ((std::vector<Bytes>{goodDesc}), descriptorsOf(model.vctDescList)); }},
};

class SiRefusal : public LibraryTest, public testing::WithParamInterface<RefusedSi> {};

TEST_P(SiRefusal, IsReportedAndKeepsWhatCameBefore)
{
    GuardedBuffer buffer;
    for (const u32 mode : {0U, 1U}) {
        LooseModel model(mode);
        addPrograms(model);
        u8 *bytes = buffer.place(GetParam().section);
        sectionData node = sectionNode(GetParam().psiType, bytes, GetParam().section.size());
        EXPECT_EQ(-1, analysePsi(model.get(), &node, mode));
        EXPECT_LOG(log, analyseError(GetParam().text));
        GetParam().expectStored(*model.get());
    }
}

INSTANTIATE_TEST_SUITE_P(EveryCause, SiRefusal, testing::ValuesIn(refusedSis),
                         [](const auto &param) { return param.param.name; });

/** @brief Shortest sections that are good: one byte less is among the refused. */
TEST_F(SiRefusal, HasNothingAgainstTheShortestSections)
{
    const Bytes shortest[] = {CatBuilder().build(), SdtBuilder().build(), NitBuilder().build(), VctBuilder().build()};
    const u8 types[] = {PSI_CAT, PSI_SDT_ACTUAL, PSI_NIT_ACTUAL, PSI_VCT};
    const u16 lengths[] = {9, 12, 13, 13};
    for (std::size_t i = 0; i < 4; ++i) {
        LooseModel model;
        EXPECT_EQ(lengths[i], sectionLength(shortest[i]));
        EXPECT_EQ(0, analysePsi(model.get(), storeSection(&model->sectionList, types[i], shortest[i]), 0));
    }
}

TEST_F(SiRefusal, KeepsTheSyntaxIndicatorOfASectionTooShortForItsHeader)
{
    LooseModel model;
    for (const auto &[psiType, section] : {std::pair<u8, Bytes>{PSI_CAT, cut(CatBuilder().build(), 8)},
                                           std::pair<u8, Bytes>{PSI_SDT_ACTUAL, cut(SdtBuilder().build(), 8)}})
        EXPECT_EQ(-1, analysePsi(model.get(), storeSection(&model->sectionList, psiType, section), 0));
    EXPECT_EQ(1, model->catHead.syntax_indicator);
    EXPECT_EQ(1, model->sdtHead.syntax_indicator);
}

/* ------------------------------------------------------------------------------------------------------------------
 * An exhausted pool
 * ---------------------------------------------------------------------------------------------------------------- */

/** @brief One allocation of an analysis, in the order of the section. */
struct SiAllocation {
    bool payload;         /**< falls away by reference */
    const char *nodeText; /**< of psiMem, null for a payload */
    const char *text;
};

constexpr char noDesc[] = "descInfoCreat: buddy_malloc descInfo node failed";
constexpr char noCa[] = "caInfoCreat: buddy_malloc caInfo node failed";

std::vector<SiAllocation> allocationsOf(u8 psiType)
{
    switch (psiType) {
    case PSI_CAT:
        return {{false, noCa, "analyseCat: stream caInfo creat failed!"},
                {true, nullptr, "analyseCat: caInfo->privateData buddy_malloc failed!"},
                {false, noDesc, "analyseCat: stream descInfo creat failed!"},
                {true, nullptr, "analyseCat: descInfo->descData buddy_malloc failed!"},
                {false, noCa, "analyseCat: stream caInfo creat failed!"},
                {false, noDesc, "analyseCat: stream descInfo creat failed!"}};
    case PSI_SDT_ACTUAL:
        return {{true, nullptr, "analyseSdt: progInfo->pname buddy_malloc failed!"},
                {true, nullptr, "analyseSdt: progInfo->sname buddy_malloc failed!"},
                {false, noDesc, "analyseSdta: descInfo creat failed!"},
                {true, nullptr, "analyseSdta: prog descInfo->descData buddy_malloc failed!"},
                {false, noDesc, "analyseSdta: descInfo creat failed!"}};
    case PSI_NIT_ACTUAL:
        return {{true, nullptr, "analyseNita: tsInfo->netname buddy_malloc failed!"}};
    default:
        return {{true, nullptr, "analyseVct: progInfo->sname buddy_malloc failed!"},
                {false, noDesc, "analyseVct: descInfo creat failed! "},
                {true, nullptr, "analyseVct: prog descInfo->descData buddy_malloc failed!"},
                {false, noDesc, "analyseVct: descInfo creat failed! "},
                {true, nullptr, "analyseVct: prog descInfo->descData buddy_malloc failed!"},
                {true, nullptr, "analyseVct: progInfo->sname buddy_malloc failed!"},
                {false, noDesc, "analyseVct: descInfo creat failed! "},
                {true, nullptr, "analyseVct: descInfo->descData buddy_malloc failed!"},
                {false, noDesc, "analyseVct: descInfo creat failed! "}};
    }
}

/** @brief Number of nodes that analyses of the four tables add. */
std::size_t countNodes(const tsInfo &model)
{
    std::size_t count =
        nodesOf(model.catCaList).size() + nodesOf(model.catDescList).size() + nodesOf(model.vctDescList).size();
    for (const progInfo *prog : nodesOf(model.progList))
        count += nodesOf(prog->sdtDescList).size();
    return count;
}

/** @brief Fails unless every absent run is null with length 0. */
void expectNormalForms(const tsInfo &model)
{
    EXPECT_EQ(model.netname == nullptr, model.netnameLen == 0);
    for (const progInfo *prog : nodesOf(model.progList)) {
        if (prog->sname == nullptr) {
            EXPECT_EQ(0, prog->snameLen);
        }
        if (prog->pname == nullptr) {
            EXPECT_EQ(0, prog->pnameLen);
        }
    }
}

class SiMemory : public SiGate {
protected:
    void make(LooseModel &model)
    {
        addPrograms(model);
        node = storeSection(&model->sectionList, table.psiType, table.section);
    }
    sectionData *node = nullptr;
};

TEST_P(SiMemory, ReportsEveryFailingAllocation)
{
    for (const u32 mode : {0U, 1U}) {
        unsigned nth = 0;
        std::size_t nodesBefore = 0;
        for (const SiAllocation &allocation : allocationsOf(table.psiType)) {
            if (allocation.payload && mode == 0) {
                continue;
            }
            LooseModel model(mode);
            make(model);
            {
                const FaultPlan plan(Call::Malloc, ++nth);
                EXPECT_EQ(-1, analysePsi(model.get(), node, mode));
                EXPECT_EQ(nth, plan.calls()) << "the analysis ends at the failure";
            }
            LogLines expected = {analyseError(allocation.text)};
            if (allocation.nodeText != nullptr)
                expected.insert(expected.begin(), error("psiMem", allocation.nodeText));
            EXPECT_EQ(expected, log.take());
            const bool ofNode = allocation.payload && std::string(allocation.text).find("name") == std::string::npos;
            if (ofNode)
                --nodesBefore; // the node whose payload failed is gone again
            EXPECT_EQ(nodesBefore, countNodes(*model.get())) << "allocation " << nth;
            expectNormalForms(*model.get());
            if (ofNode || !allocation.payload)
                ++nodesBefore;
        }
        LooseModel model(mode);
        make(model);
        EXPECT_EQ(nth, countCalls(Call::Malloc, [&] { EXPECT_EQ(0, analysePsi(model.get(), node, mode)); }))
            << "none was left out";
    }
}

TEST_P(SiMemory, ReportsEveryFailingPush)
{
    for (const u32 mode : {0U, 1U}) {
        unsigned nth = 0;
        for (const SiAllocation &allocation : allocationsOf(table.psiType)) {
            if (allocation.payload)
                continue;
            LooseModel model(mode);
            make(model);
            const FaultPlan plan(Call::Push, ++nth);
            EXPECT_EQ(-1, analysePsi(model.get(), node, mode));
            EXPECT_EQ(analyseError(allocation.text), log.take().back());
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Tables, SiMemory, testing::Values(PSI_CAT, PSI_SDT_ACTUAL, PSI_NIT_ACTUAL, PSI_VCT),
                         [](const auto &param) { return "type" + std::to_string(param.param); });

/* ------------------------------------------------------------------------------------------------------------------
 * Hostile sections: whatever the bytes say, nothing outside them is read and nothing leaks
 * ---------------------------------------------------------------------------------------------------------------- */

class HostileSi : public SiGate {
protected:
    void SetUp() override
    {
        SiGate::SetUp();
        setPsiSchRPTLevel(3); // the lines print names, which must not be read beyond their ends
    }
    void feed(const Bytes &section, const std::string &how)
    {
        for (const u32 mode : {0U, 1U}) {
            LooseModel hostile(mode);
            addPrograms(hostile);
            sectionData node = sectionNode(table.psiType, buffer.place(section), section.size());
            const i32 result = analysePsi(hostile.get(), &node, mode);
            EXPECT_TRUE(result == 0 || result == -1) << how;
            expectInside(*hostile.get(), node, mode, how);
            ++cases;
        }
        if (cases % 512 == 0)
            log.clear();
    }
    static void expectInside(const tsInfo &model, const sectionData &node, u32 mode, const std::string &how);

    GuardedBuffer buffer;
    unsigned cases = 0;
};

void HostileSi::expectInside(const tsInfo &model, const sectionData &node, u32 mode, const std::string &how)
{
    const auto check = [&](const u8 *data, std::size_t len) {
        if (data == nullptr)
            EXPECT_EQ(0U, len) << how;
        else if (mode == 0)
            EXPECT_TRUE(data >= node.buf && data + len <= node.buf + node.len - 4) << how;
        else
            EXPECT_GE(poolBlockSize(data), len) << how;
    };
    const auto checkDescs = [&](descInfo *head) {
        for (const descInfo *desc : nodesOf(head))
            check(desc->descData, desc->descLen);
    };
    check(model.netname, model.netnameLen);
    checkDescs(model.catDescList);
    checkDescs(model.vctDescList);
    for (const caInfo *ca : nodesOf(model.catCaList))
        check(ca->privateData, ca->privateLen);
    for (const progInfo *prog : nodesOf(model.progList)) {
        check(prog->sname, prog->snameLen);
        check(prog->pname, prog->pnameLen);
        checkDescs(prog->sdtDescList);
    }
}

TEST_P(HostileSi, EveryTruncation)
{
    for (const Truncated how : {Truncated::Raw, Truncated::Resealed})
        forEachTruncation(table.section, how,
                          [&](const Bytes &section, const std::string &text) { feed(section, text); });
    EXPECT_GT(cases, 4 * table.section.size() - 20);
}

TEST_P(HostileSi, EveryByteChanged)
{
    forEachByteChange(table.section, [&](const Bytes &section, const std::string &how) { feed(section, how); });
    EXPECT_EQ(2 * 255 * (table.section.size() - 4), cases);
}

INSTANTIATE_TEST_SUITE_P(Tables, HostileSi, testing::Values(PSI_CAT, PSI_SDT_ACTUAL, PSI_NIT_ACTUAL, PSI_VCT),
                         [](const auto &param) { return "type" + std::to_string(param.param); });

} // namespace
} // namespace psitest
