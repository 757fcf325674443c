#include "demux/demux.h"

#include "support/libraryFixture.h"
#include "support/packetBuilder.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <thread>

using namespace psi::demux;
using psitest::Bytes;
using psitest::PacketStream;

namespace {

using psitest::operator+;

class HostSearch : public testing::Test {
protected:
    void SetUp() override
    {
        ASSERT_TRUE(initLibrary());
        setPsiSchRPTLevel(0);
    }
    void TearDown() override { setPsiSchRPTLevel(2); }
};

std::unique_ptr<Host> hostOn(const Bytes &stream)
{
    return Host::openMemory(stream.data(), stream.size());
}

Bytes pat(std::initializer_list<std::pair<u16, u16>> programs, u8 number = 0, u8 last = 0, u8 version = 0)
{
    psitest::PatBuilder builder;
    builder.tsId(7).number(number, last).version(version);
    for (const auto &[program, pid] : programs)
        builder.program(program, pid);
    return builder.build();
}

Bytes bat(u16 bouquet, u8 number = 0, u8 last = 0, u8 version = 0)
{
    return psitest::BatBuilder().bouquetId(bouquet).number(number, last).version(version).build();
}

Bytes onPid(u16 pid, const Bytes &section)
{
    return PacketStream(pid).section(section).bytes();
}

/** Sections of a type on the object's list, as (table_id_extension, section_number). */
std::vector<std::pair<int, int>> acquired(const Host &host, u32 type)
{
    std::vector<std::pair<int, int>> all;
    for (const sectionData *node : psitest::nodesOf(getSchObjDataInfo(host.object())->sectionList))
        if (node->psiType == type)
            all.emplace_back(node->idExt, node->sectionNo);
    return all;
}

using Pairs = std::vector<std::pair<int, int>>;

/** A search on a recording takes no real time; this is what no test may reach. */
class Stopwatch {
public:
    ~Stopwatch() { EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(1)); }

private:
    std::chrono::steady_clock::time_point start = std::chrono::steady_clock::now();
};

} // namespace

TEST_F(HostSearch, AcquiresPatAndPmt)
{
    const auto host =
        hostOn(onPid(0, pat({{1, 0x100}, {2, 0x101}})) + onPid(0x100, psitest::PmtBuilder(1).stream(2, 0x200).build()) +
               onPid(0x101, psitest::PmtBuilder(2).stream(4, 0x201).build()));
    EXPECT_EQ(0, host->searchAll(0));
    const auto programs = psitest::nodesOf(getSchObjDataInfo(host->object())->progList);
    ASSERT_EQ(2u, programs.size());
    EXPECT_EQ(1, programs[0]->pmtValid);
    EXPECT_EQ(1, programs[1]->pmtValid);
    EXPECT_EQ(0x201, programs[1]->esList->esPid);
}

TEST_F(HostSearch, FindsPmtsOfTwoProgramsOnOnePid)
{
    const auto host = hostOn(
        onPid(0, pat({{1, 0x100}, {2, 0x100}})) +
        PacketStream(0x100).section(psitest::PmtBuilder(2).build()).section(psitest::PmtBuilder(1).build()).bytes());
    EXPECT_EQ(1u, host->search(PSI_PAT));
    EXPECT_EQ(2u, host->search(PSI_PMT));
}

TEST_F(HostSearch, AProgramWithoutPmtDoesNotHinderTheOthers)
{
    const Stopwatch quick;
    const auto host =
        hostOn(onPid(0, pat({{1, 0x100}, {2, 0x101}, {3, 0x102}})) + onPid(0x101, psitest::PmtBuilder(9).build()) +
               onPid(0x102, psitest::PmtBuilder(3).build()));
    host->search(PSI_PAT);
    EXPECT_EQ(1u, host->search(PSI_PMT));
}

TEST_F(HostSearch, TheSameSearchSucceedsTwice)
{
    const auto host = hostOn(onPid(0, pat({{1, 0x100}})) + onPid(0x10, psitest::NitBuilder().networkId(3).build()));
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(1u, host->search(PSI_PAT));
        EXPECT_EQ(1u, host->search(PSI_NIT_ACTUAL));
        EXPECT_EQ(1u, host->search(PSI_NIT_ACTUAL));
        EXPECT_EQ(1u, host->searchAgain(PSI_NIT_ACTUAL, 0));
    }
}

TEST_F(HostSearch, AutoSearchOfTheLibraryItselfSucceedsTwice)
{
    const auto host =
        hostOn(onPid(0, pat({{1, 0x100}})) + onPid(0x100, psitest::PmtBuilder(1).build()) + onPid(0x11, bat(1)));
    for (int i = 0; i < 2; ++i) {
        clearTableInfo(host->object());
        EXPECT_EQ(0, autoSchTable(host->object(), 0));
        EXPECT_EQ((Pairs{{1, 0}}), acquired(*host, PSI_BAT));
        EXPECT_EQ((Pairs{{1, 0}}), acquired(*host, PSI_PMT));
    }
    EXPECT_EQ(1u, re_SchTable(host->object(), PSI_BAT, 0));
    EXPECT_EQ(1u, re_SchTable(host->object(), PSI_BAT, 0));
}

TEST_F(HostSearch, AbsentTablesCostNoTime)
{
    const Stopwatch quick;
    const auto host = hostOn(onPid(0, pat({})));
    for (u32 type = PSI_PMT; type <= PSI_EBCCT; ++type)
        EXPECT_EQ(0u, host->search(type)) << showPsiTypeStr(type);
}

TEST_F(HostSearch, CollectsEverySubTable)
{
    Bytes stream = onPid(0, pat({}));
    PacketStream bouquets(0x11);
    Pairs expected;
    for (u16 id = 1; id <= 40; ++id)
        for (u8 number = 0; number <= 2; ++number) {
            bouquets.section(bat(id, number, 2));
            expected.emplace_back(id, number);
        }
    const auto host = hostOn(stream + bouquets.bytes());
    EXPECT_EQ(120u, host->search(PSI_BAT));
    EXPECT_EQ(expected, acquired(*host, PSI_BAT));
}

TEST_F(HostSearch, CollectsSubTablesWhoseSectionsComeInAnyOrder)
{
    const auto host = hostOn(PacketStream(0x11)
                                 .section(bat(1, 1, 1))
                                 .section(bat(2, 0, 1))
                                 .section(bat(1, 0, 1))
                                 .section(bat(2, 1, 1))
                                 .section(bat(1, 1, 1))
                                 .section(bat(2, 0, 1))
                                 .bytes());
    EXPECT_EQ(4u, host->search(PSI_BAT));
}

TEST_F(HostSearch, AMissingSectionInTheMiddleCostsOnlyItself)
{
    const Stopwatch quick;
    const auto host = hostOn(PacketStream(0x11).section(bat(1, 0, 2)).section(bat(1, 2, 2)).section(bat(2)).bytes());
    EXPECT_EQ(3u, host->search(PSI_BAT));
    EXPECT_EQ((Pairs{{1, 0}, {1, 2}, {2, 0}}), acquired(*host, PSI_BAT));
}

TEST_F(HostSearch, AMissingLastSectionCostsNoOtherSubTable)
{
    const Stopwatch quick;
    const auto host = hostOn(PacketStream(0x11).section(bat(1, 0, 3)).section(bat(2, 0, 1)).section(bat(3)).bytes());
    EXPECT_EQ(3u, host->search(PSI_BAT));
}

TEST_F(HostSearch, APatWithoutItsMiddleSectionIsTakenAllTheSame)
{
    const Stopwatch quick;
    const auto host = hostOn(PacketStream(0).section(pat({{1, 0x100}}, 0, 2)).section(pat({{3, 0x102}}, 2, 2)).bytes());
    EXPECT_EQ(2u, host->search(PSI_PAT));
    EXPECT_EQ(2u, psitest::nodesOf(getSchObjDataInfo(host->object())->progList).size());
}

TEST_F(HostSearch, APatWithoutItsLastSectionIsTakenAllTheSame)
{
    const Stopwatch quick;
    const auto host = hostOn(onPid(0, pat({{1, 0x100}}, 0, 1)));
    EXPECT_EQ(1u, host->search(PSI_PAT));
}

TEST_F(HostSearch, ASectionThatTheLibraryRejectsDoesNotLoop)
{
    const Stopwatch quick;
    // program_info_length leads beyond the section.
    const auto host =
        hostOn(onPid(0, pat({{1, 0x100}})) + onPid(0x100, psitest::PmtBuilder(1).forcedProgramInfoLength(500).build()));
    host->search(PSI_PAT);
    EXPECT_EQ(0u, host->search(PSI_PMT));
}

TEST_F(HostSearch, AVersionThatTheLibraryRejectsIsFollowedByTheNext)
{
    const auto host = hostOn(onPid(0, pat({{1, 0x100}})) +
                             PacketStream(0x100)
                                 .section(psitest::PmtBuilder(1).version(1).forcedProgramInfoLength(500).build())
                                 .section(psitest::PmtBuilder(1).version(2).build())
                                 .bytes());
    host->search(PSI_PAT);
    EXPECT_EQ(1u, host->search(PSI_PMT));
    EXPECT_EQ(2, getSchObjDataInfo(host->object())->progList->pmtHead.version_number);
}

TEST_F(HostSearch, ANewVersionInTheFileCostsNoSubTable)
{
    const auto host =
        hostOn(PacketStream(0x11).section(bat(1, 0, 0, 1)).section(bat(1, 0, 0, 2)).section(bat(2)).bytes());
    EXPECT_EQ(2u, host->search(PSI_BAT));
}

TEST_F(HostSearch, DeliversEmergencySectionsOfAllSizes)
{
    for (const size_t size : std::vector<size_t>{1024, 1025, 4096}) {
        const auto host = hostOn(onPid(0x21, psitest::sectionOfSize(size, 0xFD)));
        EXPECT_EQ(1u, host->search(PSI_EBIT)) << size;
    }
}

TEST_F(HostSearch, ASectionOver1024BytesDoesNotPassAnOrdinaryFilter)
{
    const Stopwatch quick;
    const auto host = hostOn(onPid(0x11, psitest::sectionOfSize(1025, 0x4A)));
    EXPECT_EQ(0u, host->search(PSI_BAT));
    EXPECT_EQ(1u, host->statistics().distinctSections);
}

TEST_F(HostSearch, StopEndsThisAndLaterSearchesUntilResume)
{
    const auto host = hostOn(onPid(0, pat({{1, 0x100}})));
    host->stop();
    EXPECT_TRUE(host->stopped());
    EXPECT_EQ(0u, host->search(PSI_PAT));
    EXPECT_EQ(-1, host->searchAll(0));
    EXPECT_EQ(0u, schTable(host->object(), PSI_PAT)) << "a PAT search alone would clear the library's flag";
    host->resume();
    EXPECT_EQ(1u, host->search(PSI_PAT));
}

TEST_F(HostSearch, ManyHostsShareAnInputInParallel)
{
    PacketStream bouquets(0x11);
    for (u16 id = 1; id <= 20; ++id)
        bouquets.section(bat(id, 0, 1)).section(bat(id, 1, 1));
    const auto first = hostOn(onPid(0, pat({{1, 0x100}})) + bouquets.bytes());
    std::atomic<int> right{0};
    std::vector<std::thread> threads;
    for (int i = 0; i < 8; ++i)
        threads.emplace_back([&] {
            const auto host = first->another();
            for (int turn = 0; turn < 5; ++turn) {
                clearTableInfo(host->object());
                right += host->search(PSI_PAT) == 1 && host->search(PSI_BAT) == 40;
            }
        });
    for (std::thread &thread : threads)
        thread.join();
    EXPECT_EQ(40, right);
}

TEST_F(HostSearch, HostsWithInputsOfTheirOwnRunInParallel)
{
    std::atomic<int> right{0};
    std::vector<std::thread> threads;
    for (u16 i = 1; i <= 8; ++i)
        threads.emplace_back([i, &right] {
            PacketStream bouquets(0x11);
            for (u16 id = 0; id < i; ++id)
                bouquets.section(bat(id));
            for (int turn = 0; turn < 5; ++turn)
                right += hostOn(bouquets.bytes())->search(PSI_BAT) == i;
        });
    for (std::thread &thread : threads)
        thread.join();
    EXPECT_EQ(40, right);
}

TEST_F(HostSearch, SectionsListsEveryDistinctSection)
{
    const auto host = hostOn(onPid(0, pat({})) + onPid(0x1234, psitest::sectionOfSize(2000, 0x90)) +
                             PacketStream(0, 1).section(pat({})).bytes());
    const auto sections = host->sections();
    ASSERT_EQ(2u, sections.size());
    EXPECT_EQ(pat({}), sections[0].bytes);
    EXPECT_EQ(2u, sections[0].count);
    EXPECT_EQ(0u, sections[0].firstPacket);
    EXPECT_EQ(host->statistics().packets - 1, sections[0].lastPacket);
    EXPECT_EQ(0x1234, sections[1].pid);
    EXPECT_EQ(psitest::sectionOfSize(2000, 0x90), sections[1].bytes);
}

TEST_F(HostSearch, RandomInputNeverBreaksASearch)
{
    u32 seed = 99;
    const auto random = [&seed] { return seed = seed * 1664525 + 1013904223, seed >> 8; };
    const Bytes good = onPid(0, pat({{1, 0x100}})) + onPid(0x100, psitest::PmtBuilder(1).stream(2, 0x101).build()) +
                       PacketStream(0x11).backToBack({bat(1, 0, 2), bat(1, 1, 2), bat(2), bat(3, 0, 255)}).bytes() +
                       onPid(0x21, psitest::sectionOfSize(4000, 0xFD)) +
                       onPid(0x10, psitest::NitBuilder().networkId(3).build());
    for (int turn = 0; turn < 150; ++turn) {
        Bytes stream = good + good;
        for (int change = 0; change < 6; ++change) {
            const auto at = static_cast<std::ptrdiff_t>(random() % stream.size());
            switch (random() % 4) {
            case 0:
                stream.erase(stream.begin() + at);
                break;
            case 1:
                stream.insert(stream.begin() + at, static_cast<u8>(random()));
                break;
            default:
                stream[static_cast<size_t>(at)] = static_cast<u8>(random());
            }
        }
        try {
            const auto host = hostOn(stream);
            host->searchAll(0);
            host->searchAll(1);
            EXPECT_LE(host->statistics().packets, stream.size() / 188 + 6);
        } catch (const InputError &) {
        }
    }
}
