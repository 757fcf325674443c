// Whole searches of streams: complete, changing, damaged, in any order.
#include "support/mutation.h"
#include "support/searchTest.h"

#include <algorithm>
#include <random>
#include <set>

namespace psitest {
namespace {

class StreamSearch : public SearchTest {
protected:
    void SetUp() override
    {
        SearchTest::SetUp();
        setPsiSchRPTLevel(0);
    }
    std::vector<u16> programs()
    {
        std::vector<u16> numbers;
        for (const progInfo *prog : nodesOf(model().progList))
            numbers.push_back(prog->progNo);
        return numbers;
    }
    std::vector<Stored> storedOf(u32 psiType)
    {
        std::vector<Stored> picked;
        for (const Stored &section : storedSections(model())) {
            if (section.psiType == psiType)
                picked.push_back(section);
        }
        return picked;
    }
    /** @brief Distinct sections of a type, in any order. */
    std::set<Bytes> bytesOfType(u32 psiType)
    {
        std::set<Bytes> all;
        for (const Stored &section : storedOf(psiType))
            all.insert(section.bytes);
        return all;
    }
};

/* ---- Complete streams ---- */

TEST_F(StreamSearch, FindsAllOfADvbStream)
{
    Carousel carousel;
    fillDvb(carousel);
    carousel.drive(*host);
    EXPECT_EQ(0, autoSchTable(host->id(), 0));
    EXPECT_EQ((std::vector<u16>{5, 6}), programs());
    EXPECT_EQ(0xF0FDU, model().tableMask);
    for (const progInfo *prog : nodesOf(model().progList))
        EXPECT_EQ(1, prog->pmtValid);
    const progInfo &prog = *model().progList;
    EXPECT_EQ(bytesOf("service"), bytesAt(prog.sname, prog.snameLen));
    EXPECT_EQ(bytesOf("provider"), bytesAt(prog.pname, prog.pnameLen));
    EXPECT_EQ(bytesOf("network"), bytesAt(model().netname, model().netnameLen));
    EXPECT_EQ(0x10, model().netPid);
    EXPECT_EQ(4U, storedOf(PSI_BAT).size());
    ASSERT_EQ(1U, storedOf(PSI_EBIT).size());
    EXPECT_EQ(3012U, storedOf(PSI_EBIT).front().bytes.size());
    EXPECT_EQ(17U, storedSections(model()).size());
}

TEST_F(StreamSearch, FindsAllOfAnAtscStream)
{
    Carousel carousel;
    fillAtsc(carousel);
    carousel.drive(*host);
    EXPECT_EQ(0, autoSchTable(host->id(), 1));
    EXPECT_EQ(0xE81U, model().tableMask);
    EXPECT_EQ(14, model().progList->snameLen);
    EXPECT_EQ(7, model().progList->major_channel_number);
    EXPECT_EQ(6U, storedSections(model()).size());
}

TEST_F(StreamSearch, FindsTheSameWhenItIsRepeated)
{
    Carousel carousel;
    fillDvb(carousel);
    carousel.drive(*host);
    EXPECT_EQ(0, autoSchTable(host->id(), 0));
    const u32 blocks = liveBlocks();
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(0, clearTableInfo(host->id()));
        EXPECT_EQ(0, autoSchTable(host->id(), 0));
        EXPECT_EQ(blocks, liveBlocks());
        EXPECT_EQ((std::vector<u16>{5, 6}), programs());
    }
}

TEST_F(StreamSearch, FindsTheSameWhenTypesAreSearchedAgain)
{
    Carousel carousel;
    fillDvb(carousel);
    carousel.drive(*host);
    EXPECT_EQ(0, autoSchTable(host->id(), 0));
    const u32 blocks = liveBlocks();
    const u32 mask = model().tableMask;
    for (const u32 type : {PSI_PAT, PSI_NIT_ACTUAL, PSI_BAT, PSI_SDT_ACTUAL, PSI_NIT_OTHER, PSI_CAT, PSI_SDT_OTHER}) {
        EXPECT_NE(0U, re_SchTable(host->id(), type, 0));
        EXPECT_EQ(blocks, liveBlocks());
        EXPECT_EQ(mask, model().tableMask);
        EXPECT_EQ((std::vector<u16>{5, 6}), programs());
    }
}

TEST_F(StreamSearch, HasNoNetworkNameBetweenAPatAndANitSearchedAgain)
{
    Carousel carousel;
    fillDvb(carousel);
    carousel.drive(*host);
    EXPECT_EQ(0, autoSchTable(host->id(), 0));
    EXPECT_EQ(2U, re_SchTable(host->id(), PSI_CAT, 0));
    EXPECT_EQ(nullptr, model().netname);
    EXPECT_EQ(1U, storedOf(PSI_NIT_ACTUAL).size()) << "the section stays";
    EXPECT_EQ(1U, re_SchTable(host->id(), PSI_NIT_ACTUAL, 0));
    EXPECT_EQ(bytesOf("network"), bytesAt(model().netname, model().netnameLen));
}

/* ---- Many sections ---- */

TEST_F(StreamSearch, FindsEverySubTableOfABigBat)
{
    Carousel carousel(1);
    std::set<Bytes> sections;
    for (u16 bouquet = 0; bouquet < 100; ++bouquet) {
        for (const u8 number : Bytes{0, 1}) {
            const Bytes section = BatBuilder().bouquetId(bouquet).number(number, 1).build();
            sections.insert(section);
            carousel.add(0x11, section);
        }
    }
    carousel.drive(*host);
    EXPECT_EQ(200U, schTable(host->id(), PSI_BAT));
    EXPECT_EQ(200U, storedOf(PSI_BAT).size()) << "each of them once";
    EXPECT_EQ(sections, bytesOfType(PSI_BAT));
}

TEST_F(StreamSearch, KeepsTheFirst256SectionsOfAnEvenBiggerBat)
{
    Carousel carousel(1);
    for (u16 bouquet = 0; bouquet < 300; ++bouquet)
        carousel.add(0x11, BatBuilder().bouquetId(bouquet).build());
    carousel.drive(*host);
    EXPECT_EQ(256U, schTable(host->id(), PSI_BAT));
    EXPECT_EQ(256U, storedOf(PSI_BAT).size());
    EXPECT_EQ(256U, bytesOfType(PSI_BAT).size());
    EXPECT_LT(fakeClock::now(), 1000U + 2 * 6000U + 600U) << "a stream of new sub-tables does not hold it for ever";
}

TEST_F(StreamSearch, FindsThePmtOfEveryProgram)
{
    Carousel carousel(1);
    for (u8 number = 0; number < 4; ++number) {
        PatBuilder pat;
        pat.tsId(1).number(number, 3);
        for (u16 i = 0; i < 50; ++i) {
            const u16 program = static_cast<u16>(1 + number * 50 + i);
            const u16 pid = static_cast<u16>(0x100 + program / 4); // four programs share a PID
            pat.program(program, pid);
            carousel.add(pid, PmtBuilder(program).stream(2, static_cast<u16>(0x1000 + program)).build());
        }
        carousel.add(0, pat.build());
    }
    carousel.drive(*host);
    EXPECT_EQ(4U, schTable(host->id(), PSI_PAT));
    EXPECT_EQ(200U, schTable(host->id(), PSI_PMT));
    for (const progInfo *prog : nodesOf(model().progList)) {
        ASSERT_NE(nullptr, prog->esList);
        EXPECT_EQ(0x1000 + prog->progNo, prog->esList->esPid);
    }
}

/* ---- Streams that change ---- */

TEST_F(StreamSearch, TakesAPatThatChangesInMidSearch)
{
    const auto pat = [](u8 version, u8 number, u16 program) {
        return PatBuilder().tsId(1).version(version).number(number, 2).program(program, 0x100).build();
    };
    host->play({answer::section(pat(1, 0, 11)), answer::section(pat(2, 1, 22)), answer::section(pat(2, 2, 23))});
    EXPECT_EQ(3U, schTable(host->id(), PSI_PAT));
    EXPECT_EQ((std::vector<u16>{11, 22, 23}), programs());
    EXPECT_EQ(2, model().patHead.version_number);
    // A re-search sees one version only.
    host->play({answer::section(pat(2, 0, 21)), answer::section(pat(2, 1, 22)), answer::section(pat(2, 2, 23))});
    host->setFallback([](const psiSchInfo &) { return answer::noTable(); });
    EXPECT_EQ(3U, re_SchTable(host->id(), PSI_PAT, 0));
    EXPECT_EQ((std::vector<u16>{21, 22, 23}), programs());
}

TEST_F(StreamSearch, ForgetsProgramsThatAreGone)
{
    Carousel before;
    fillDvb(before);
    before.drive(*host);
    EXPECT_EQ(0, autoSchTable(host->id(), 0));
    Carousel after;
    after.add(0, PatBuilder().tsId(0x2244).program(9, 0x900).build()).add(0x900, PmtBuilder(9).build());
    after.drive(*host);
    EXPECT_EQ(1U, re_SchTable(host->id(), PSI_PMT, 0));
    EXPECT_EQ((std::vector<u16>{9}), programs());
    EXPECT_EQ(0x2244, model().tsId);
    EXPECT_TRUE(storedOf(PSI_SDT_ACTUAL).empty());
    EXPECT_TRUE(storedOf(PSI_CAT).empty());
    EXPECT_EQ(1U, storedOf(PSI_NIT_ACTUAL).size());
}

/* ---- Hostile streams: whatever comes, the search ends and the object stays usable ---- */

/** @brief A seeded source of trouble for one stream. */
class Troublemaker {
public:
    explicit Troublemaker(u32 seed) : random_(seed) {}

    /** @brief An answer that may be the good one, or damaged in one of many ways. */
    Answer spoil(const Answer &good)
    {
        switch (below(12)) {
        case 0:
            return answer::dataError().after(good.advanceMs);
        case 1:
            return answer::result(static_cast<i32>(below(9)) - 2).after(good.advanceMs);
        case 2:
            return noisePackets().after(good.advanceMs);
        case 3:
            return spoiledPackets(good);
        case 4:
        case 5:
            return changed(good, false);
        case 6:
        case 7:
        case 8:
            return changed(good, true);
        default:
            return good;
        }
    }

private:
    u32 below(std::size_t n) { return static_cast<u32>(random_() % n); }
    Bytes noise(std::size_t size)
    {
        Bytes bytes(size);
        for (u8 &byte : bytes)
            byte = static_cast<u8>(random_());
        return bytes;
    }
    /** @brief Noise, and a number of packets that has nothing to do with it. */
    Answer noisePackets()
    {
        const Bytes bytes = noise(packetSize * below(25));
        return answer::packets(bytes, static_cast<u8>(below(256)));
    }
    /** @brief Some bytes of the section changed. */
    Answer changed(const Answer &good, bool rightCrc)
    {
        Answer bad = good;
        for (u32 n = 1 + below(3); n != 0 && !bad.section.empty(); --n)
            bad.section[below(bad.section.size())] = static_cast<u8>(random_());
        if (rightCrc && bad.section.size() > 7)
            bad.section = withRightCrc(bad.section);
        return bad;
    }
    Answer spoiledPackets(const Answer &good)
    {
        if (good.section.empty())
            return good;
        Bytes packets = packetsOf(good.section);
        packets[below(packets.size())] = static_cast<u8>(random_());
        packets[below(std::min<std::size_t>(packets.size(), 8))] = static_cast<u8>(random_());
        return answer::packets(packets).after(good.advanceMs);
    }

    std::mt19937 random_;
};

class HostileStream : public StreamSearch, public testing::WithParamInterface<u32> {};

TEST_P(HostileStream, NeverLeavesTheObjectInABadState)
{
    const u32 standard = GetParam() % 2;
    Carousel carousel(100);
    standard == 0 ? fillDvb(carousel) : fillAtsc(carousel);
    Troublemaker trouble(GetParam());
    host->setFallback([&](const psiSchInfo &filter) { return trouble.spoil(carousel.nextSection(filter)); });
    for (int round = 0; round < 4; ++round) {
        autoSchTable(host->id(), standard);
        expectNoDanglingBytes(model());
        for (const u32 type : {PSI_SDT_ACTUAL, PSI_NIT_ACTUAL, PSI_BAT, PSI_MGT}) {
            re_SchTable(host->id(), type, standard);
            expectNoDanglingBytes(model());
        }
        EXPECT_TRUE(mutexIsFree(host->object()->semId));
    }
    // The stream is good again.
    EXPECT_EQ(0, clearTableInfo(host->id()));
    carousel.drive(*host);
    EXPECT_EQ(0, autoSchTable(host->id(), standard));
    EXPECT_EQ(standard == 0 ? 0xF0FDU : 0xE81U, model().tableMask);
    host->takeCalls();
}

INSTANTIATE_TEST_SUITE_P(Seeds, HostileStream, testing::Range(1U, 25U));

/** @brief Every byte change of every analysed table, delivered as a section that a search takes or refuses. */
TEST_F(StreamSearch, SurvivesEveryNastyByteInEveryTable)
{
    unsigned searches = 0;
    for (const u32 type : {PSI_PAT, PSI_PMT, PSI_SDT_ACTUAL, PSI_NIT_ACTUAL, PSI_CAT, PSI_VCT, PSI_BAT, PSI_EBIT}) {
        const Bytes good = sampleSection(type);
        forEachByteChange(good, nastyValues(), [&](const Bytes &section, const std::string &how) {
            SCOPED_TRACE(how);
            addProgram(5, 0x100);
            host->play({answer::section(section), answer::section(section), answer::noTable()});
            host->setFallback([](const psiSchInfo &) { return answer::noTable(); });
            EXPECT_LE(schTable(host->id(), type), 2U);
            expectNoDanglingBytes(model());
            while (host->unplayed() != 0)
                schTable(host->id(), PSI_MGT);
            EXPECT_EQ(0, clearTableInfo(host->id()));
            host->takeCalls();
            ++searches;
        });
    }
    EXPECT_GT(searches, 4000U);
}

} // namespace
} // namespace psitest
