// Acquire, make, acquire: what goes in comes out.
#include "support/makeFixture.h"
#include "support/randomModel.h"
#include "support/scriptedHost.h"

#include <array>

namespace psitest {
namespace {

constexpr unsigned modelsPerStandard = 5000;

std::vector<PlainProgram> threeHundredPrograms()
{
    std::vector<PlainProgram> programs(300);
    for (u16 i = 0; i < 300; ++i) {
        programs[i].progNo = static_cast<u16>(1 + i);
        programs[i].pmtPid = static_cast<u16>(0x100 + i);
        programs[i].name = counting(10, static_cast<u8>(i));
    }
    return programs;
}

class RoundTrip : public MakeTest {
protected:
    void SetUp() override
    {
        MakeTest::SetUp();
        againId = psiMakeCreate();
        again = getMakeObjDataInfo(againId);
        ASSERT_NE(nullptr, again);
    }
    void TearDown() override
    {
        EXPECT_EQ(0, psiMakeDestroy(againId));
        MakeTest::TearDown();
    }
    /** @brief Empty an object and fold sections into its model. */
    static void analyse(psiObjId into, const std::vector<std::pair<u8, Bytes>> &all)
    {
        ASSERT_EQ(0, clearMakeTableInfo(into));
        tsInfo *to = getMakeObjDataInfo(into);
        to->tableMask = 1U << PSI_CAT;
        for (const auto &[type, bytes] : all) {
            Bytes copy = bytes;
            sectionData node = sectionNode(type, copy.data(), copy.size());
            ASSERT_EQ(0, analysePsi(to, &node, 1)) << "type " << int{type};
        }
    }
    void expectRoundTrip(const PlainModel &plain, Standard standard)
    {
        const auto original = expectedSections(plain, standard);
        analyse(id, original);
        ASSERT_EQ(0, AutoMakeSection(id, standard));
        ASSERT_EQ(original, madeSections(model)) << "make gives the sections that were acquired";
        analyse(againId, madeSections(model));
        ASSERT_EQ(textOf(*model), textOf(*again)) << "and those give the same model";
        ASSERT_EQ(0, AutoMakeSection(id, standard));
        ASSERT_EQ(original, madeSections(model)) << "generating twice gives the same bytes";
    }
    void expectRandomRoundTrips(Standard standard, u32 seed)
    {
        RandomModels models(seed);
        for (unsigned i = 0; i < modelsPerStandard && !HasFatalFailure(); ++i) {
            SCOPED_TRACE(testing::Message() << "seed " << seed << ", model " << i);
            expectRoundTrip(models.next(standard), standard);
        }
        EXPECT_NO_LOG(log);
    }
    /** @brief Models of which the count of sections leaves nothing out, but whose tables take several. */
    void expectLargeRoundTrips(Standard standard, u32 seed)
    {
        ModelLimits limits;
        limits.programs = 120;
        limits.streams = 2;
        RandomModels models(seed, limits);
        unsigned complete = 0;
        for (unsigned i = 0; i < 60 && !HasFatalFailure(); ++i) {
            SCOPED_TRACE(testing::Message() << "seed " << seed << ", model " << i);
            const PlainModel plain = models.next(standard);
            const std::vector<Bytes> services = standard == dvb ? expectedSdt(plain) : expectedVct(plain);
            if (services.size() > 2 && everyService(plain, services, standard)) {
                ++complete;
                expectRoundTrip(plain, standard);
            }
        }
        EXPECT_LE(10U, complete);
        EXPECT_NO_LOG(log);
    }
    static bool everyService(const PlainModel &plain, const std::vector<Bytes> &sections, Standard standard)
    {
        std::size_t missing = loopOf(plain.vctDescriptors).size();
        for (const PlainProgram &program : plain.programs) {
            missing += loopOf(program.sdtDescriptors).size();
            missing += standard == dvb ? 10 + program.provider.size() + program.name.size()
                                       : 32 + 5 + 6 * program.streams.size();
        }
        for (const Bytes &section : sections)
            missing -= section.size() - (standard == dvb ? 15 : 16);
        return missing == 0;
    }

    psiObjId againId = 0;
    tsInfo *again = nullptr;
};

TEST_F(RoundTrip, FiveThousandRandomDvbModels)
{
    expectRandomRoundTrips(dvb, 20231);
}

TEST_F(RoundTrip, FiveThousandRandomAtscModels)
{
    expectRandomRoundTrips(atsc, 20232);
}

TEST_F(RoundTrip, DvbModelsWithAnSdtOfManySections)
{
    expectLargeRoundTrips(dvb, 3);
}

TEST_F(RoundTrip, AtscModelsWithAVctOfManySections)
{
    expectLargeRoundTrips(atsc, 4);
}

TEST_F(RoundTrip, AModelFilledByTheHostGivesTheSameSections)
{
    RandomModels models(7);
    for (const Standard standard : {dvb, atsc}) {
        for (unsigned i = 0; i < 500; ++i) {
            const PlainModel plain = models.next(standard);
            ASSERT_EQ(0, clearMakeTableInfo(id));
            fillModel(model, plain);
            ASSERT_EQ(0, AutoMakeSection(id, standard));
            ASSERT_EQ(expectedSections(plain, standard), madeSections(model));
        }
    }
}

TEST_F(RoundTrip, ThreeHundredServicesOverManySections)
{
    PlainModel plain;
    plain.netFlag = 1;
    plain.netPid = 0x10;
    plain.tsId = 9;
    plain.tableMask = 1U << PSI_CAT;
    plain.catDescriptors = fillerDescriptors(2500);
    plain.programs = threeHundredPrograms();
    expectRoundTrip(plain, dvb);
}

TEST_F(RoundTrip, CaDescriptorsMoveInFrontOfTheOthersAndStayThere)
{
    const Bytes mixed = descriptor(0x52, {1}) + caDescriptor(0x100, 0x200) + descriptor(0x0A, bytesOf("eng"));
    const Bytes sorted = caDescriptor(0x100, 0x200) + descriptor(0x52, {1}) + descriptor(0x0A, bytesOf("eng"));
    const auto pmt = [](const Bytes &loop) {
        return PmtBuilder(1).programDescriptor(loop).stream(2, 0x101, loop).build();
    };
    analyse(id, {{u8{PSI_PAT}, PatBuilder().program(1, 0x100).build()}, {u8{PSI_PMT}, pmt(mixed)}});
    EXPECT_EQ(0, pmtMakeSection(model));
    EXPECT_EQ(std::vector<Bytes>{pmt(sorted)}, sections(PSI_PMT));
}

TEST_F(RoundTrip, ReservedBitsComeOutInTheirFixedForm)
{
    const auto sdt = [](u8 privateBit, u8 reserved) {
        SdtService service;
        service.serviceId = 1;
        service.descriptors = serviceDescriptor(1, "p", "s");
        service.reservedFutureUse = reserved;
        return SdtBuilder().privateIndicator(privateBit).service(service).build();
    };
    analyse(id, {{u8{PSI_PAT}, PatBuilder().program(1, 0x100).build()}, {u8{PSI_SDT_ACTUAL}, sdt(1, 0x3F)}});
    EXPECT_EQ(0, sdtaMakeSection(model));
    EXPECT_EQ(std::vector<Bytes>{sdt(0, 0)}, sections(PSI_SDT_ACTUAL));
}

/** @brief A host that plays the output of a make object back through a demultiplexer. */
class LoopBack {
public:
    explicit LoopBack(const tsInfo *output) : output_(output)
    {
        host_.setFallback([this](const psiSchInfo &filter) { return answerTo(filter); });
    }
    psiObjId id() const { return host_.id(); }
    const tsInfo &model() const { return *host_.model(); }

private:
    Answer answerTo(const psiSchInfo &filter) const
    {
        for (const sectionData *node : nodesOf(output_->sectionList)) {
            const bool fits = node->buf[0] == filter.tableId && node->sectionNo == filter.sectionNo &&
                              (filter.useIdExt != 1 || node->idExt == filter.tableIdExt);
            if (fits)
                return packetsOfNode(*node, filter.pid);
        }
        return answer::noTable();
    }
    static Answer packetsOfNode(const sectionData &node, u16 pid)
    {
        std::array<u8, 6 *packetSize> packets = {};
        u8 count = 0;
        EXPECT_EQ(0, psiSectionToTs(pid, node.buf, node.len, packets.data(), &count));
        return answer::packets(bytesAt(packets.data(), count * packetSize), count);
    }

    const tsInfo *output_;
    ScriptedHost host_;
};

class LoopBackTrip : public RoundTrip {
protected:
    /** @brief What acquisition sets besides the sections' content. */
    static std::string comparable(const tsInfo &info)
    {
        tsInfo copy = info;
        copy.tableMask = 0;
        return textOf(copy);
    }
    /** @brief A bit for every table that was found but the PMT, which never has one. */
    static u32 acquiredMask(Standard standard)
    {
        const u32 both = 1U << PSI_PAT | 1U << PSI_CAT;
        return both | (standard == dvb ? 1U << PSI_SDT_ACTUAL : 1U << PSI_VCT | 1U << PSI_MGT);
    }
    void expectLoopBack(const PlainModel &plain, Standard standard)
    {
        analyse(id, expectedSections(plain, standard));
        ASSERT_EQ(0, AutoMakeSection(id, standard));
        const LoopBack demultiplexer(model);
        ASSERT_EQ(0, autoSchTable(demultiplexer.id(), standard));
        ASSERT_EQ(comparable(*model), comparable(demultiplexer.model()));
        EXPECT_EQ(acquiredMask(standard), demultiplexer.model().tableMask);
    }
};

TEST_F(LoopBackTrip, WhatIsSentIsAcquiredAgainInBothStandards)
{
    RandomModels models(99);
    for (const Standard standard : {dvb, atsc}) {
        for (unsigned i = 0; i < 100 && !HasFatalFailure(); ++i) {
            SCOPED_TRACE(testing::Message() << "standard " << standard << ", model " << i);
            expectLoopBack(models.next(standard), standard);
        }
    }
}

TEST_F(LoopBackTrip, TablesOfManySectionsAreAcquiredAgain)
{
    PlainModel plain;
    plain.tsId = 9;
    plain.tableMask = 1U << PSI_CAT;
    plain.catCa.resize(300, {1, 2, counting(5)});
    plain.programs = threeHundredPrograms();
    expectLoopBack(plain, dvb);
}

} // namespace
} // namespace psitest
