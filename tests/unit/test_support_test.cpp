// The tools of the tests themselves: what they build is right, what they report is true.
#include "support/faultInjection.h"
#include "support/guardedBuffer.h"
#include "support/libraryFixture.h"
#include "support/mutation.h"
#include "support/packetBuilder.h"
#include "support/safeUtf8.h"
#include "support/scriptedHost.h"

#include <gtest/gtest-spi.h>

#include <cstdio>
#include <set>
#include <thread>

using namespace psi::core;

namespace psitest {
namespace {

/* ------------------------------------------------------------------------------------------------------------------
 * Builders
 * ---------------------------------------------------------------------------------------------------------------- */

TEST(BitWriter, PacksFieldsAndBytesAcrossTheByteLimits)
{
    BitWriter out;
    out.put(3, 5).put(13, 0x1234).put(4, 0x1F).append({0xAB, 0xCD}).put(4, 6).append({0xEF});
    EXPECT_EQ((Bytes{0xB2, 0x34, 0xFA, 0xBC, 0xD6, 0xEF}), out.bytes());
    EXPECT_EQ((Bytes{0x12, 0x34, 0x56, 0x78}), BitWriter().put(32, 0x12345678).bytes());
}

TEST(SectionBuilder, WritesAPatByTheBook)
{
    const Bytes expected = {0x00, 0xB0, 0x0D, 0x00, 0x01, 0xC1, 0x00, 0x00,
                            0x00, 0x01, 0xF0, 0x00, 0x2A, 0xB1, 0x04, 0xB2};
    EXPECT_EQ(expected, PatBuilder().tsId(1).program(1, 0x1000).build());
}

TEST(SectionBuilder, CountsTheLengthsOfEveryLoop)
{
    const Bytes desc = descriptor(0x40, {1, 2, 3});
    EXPECT_EQ((Bytes{0x40, 3, 1, 2, 3}), desc);
    const Bytes nit = NitBuilder().networkId(7).desc(desc).transportStream(1, 2, desc).build();
    ASSERT_EQ(8U + 2 + 5 + 2 + 6 + 5 + 4, nit.size());
    EXPECT_EQ(nit.size() - 3, sectionLength(nit));
    EXPECT_EQ(5, nit[9]);
    EXPECT_EQ(11, nit[16]);
    EXPECT_EQ(5, nit[22]);
}

TEST(SectionBuilder, WritesThirtyTwoFixedBytesPerVctChannel)
{
    VctChannel channel;
    channel.shortName = "KPSI";
    channel.major = 0x155;
    channel.minor = 0x2AA;
    channel.programNumber = 0x1234;
    channel.serviceType = 0x3F;
    channel.sourceId = 0xABCD;
    const Bytes vct = VctBuilder().channel(channel).build();
    ASSERT_EQ(8U + 2 + 32 + 2 + 4, vct.size());
    EXPECT_EQ(1, vct[9]);
    const Bytes fixed(vct.begin() + 10, vct.begin() + 42);
    EXPECT_EQ((Bytes{0, 'K', 0, 'P'}), Bytes(fixed.begin(), fixed.begin() + 4));
    EXPECT_EQ((Bytes{0xF5, 0x56, 0xAA}), Bytes(fixed.begin() + 14, fixed.begin() + 17));
    EXPECT_EQ((Bytes{0x12, 0x34}), Bytes(fixed.begin() + 24, fixed.begin() + 26));
    EXPECT_EQ(0x3F, fixed[27] & 0x3F);
    EXPECT_EQ((Bytes{0xAB, 0xCD}), Bytes(fixed.begin() + 28, fixed.begin() + 30));
}

TEST(SectionBuilder, SealsWhatWasChanged)
{
    Bytes section = sectionOfSize(50);
    EXPECT_EQ(section, withRightCrc(section));
    section[20] ^= 0xFF;
    EXPECT_NE(section, withRightCrc(section));
    setSectionLength(section, 0xFFF);
    EXPECT_EQ(section, withRightCrc(section)) << "a CRC outside of the bytes is not written";
}

TEST(PacketBuilder, FillsPacketsWithStuffing)
{
    const Bytes packets = packetsOf(counting(184), 0x1ABC, 15);
    ASSERT_EQ(2 * packetSize, packets.size());
    EXPECT_EQ((Bytes{0x47, 0x5A, 0xBC, 0x1F, 0x00, 0x00, 0x01}), Bytes(packets.begin(), packets.begin() + 7));
    EXPECT_EQ((Bytes{0x47, 0x1A, 0xBC, 0x10, 183, 0xFF, 0xFF}), Bytes(packets.begin() + 188, packets.begin() + 195));
    EXPECT_EQ(0xFF, packets.back());
}

TEST(PacketBuilder, PutsSectionsBackToBack)
{
    PacketStream stream;
    stream.backToBack({counting(100, 1), counting(100, 101), counting(20, 201)});
    ASSERT_EQ(2U, stream.count());
    const Bytes &first = stream.packets()[0];
    const Bytes &second = stream.packets()[1];
    EXPECT_EQ(0, first[4]) << "pointer_field";
    EXPECT_EQ(101, first[5 + 100]) << "the second section follows at once";
    EXPECT_EQ(0x40, second[1] & 0x40);
    EXPECT_EQ(17, second[4]) << "what is left of the second section";
    EXPECT_EQ(201, second[5 + 17]);
    EXPECT_EQ(0xFF, second[5 + 37]);
}

TEST(Mutation, TouchesEveryByteInFrontOfTheCrc)
{
    const Bytes section = PatBuilder().program(1, 0x100).build();
    std::set<Bytes> variants;
    forEachByteChange(section, [&](const Bytes &changed, const std::string &) { variants.insert(changed); });
    EXPECT_EQ(12U * 255U, variants.size());
    EXPECT_EQ(0U, variants.count(section));
    unsigned cuts = 0;
    forEachTruncation(section, Truncated::Resealed, [&](const Bytes &cut, const std::string &) {
        EXPECT_EQ(cut, withRightCrc(cut));
        ++cuts;
    });
    EXPECT_EQ(9U, cuts);
}

TEST(GuardedBufferDeathTest, EndsTheProcessAtTheFirstByteOutside)
{
    GuardedBuffer buffer;
    volatile u8 *bytes = buffer.place(counting(10));
    EXPECT_EQ(9, bytes[9]);
    EXPECT_DEATH(static_cast<void>(bytes[10]), "");
    bytes = buffer.placeAtStart(counting(10));
    EXPECT_DEATH(static_cast<void>(bytes[-1]), "");
}

/* ------------------------------------------------------------------------------------------------------------------
 * Log capture
 * ---------------------------------------------------------------------------------------------------------------- */

TEST(LogCaptureTest, TellsTheKindsApart)
{
    const LogLines lines =
        parseLog("[../../psiMem.cpp]line12 error: a: b\r\n[../../psiSch.cpp]line1 debug: \r\nplain\r\nend");
    ASSERT_EQ(4U, lines.size());
    EXPECT_EQ(error("psiMem", "a: b"), lines[0]);
    EXPECT_EQ(12U, lines[0].line);
    EXPECT_EQ(debug("psiSch", ""), lines[1]);
    EXPECT_EQ(plain("plain"), lines[2]);
    EXPECT_EQ(plain("end"), lines[3]);
    EXPECT_NE(error("psiMem", "a: b"), error("psiData", "a: b"));
    EXPECT_NE(error("psiMem", "a: b"), warning("psiMem", "a: b"));
    EXPECT_NE(error("psiMem", "a: b"), error("psiMem", "a: b "));
}

TEST(LogCaptureTest, LooksAtThePathWhole)
{
    const LogLines lines = parseLog("[psiMem.cpp]line12 error: a\r\n[../../psiMem.c]line12 error: a\r\n");
    for (const LogLine &line : lines)
        EXPECT_NE(error("psiMem", "a"), line);
}

TEST(LogCaptureTest, TakesWhatWasPrintedSinceTheLastLook)
{
    LogCapture log;
    std::printf("one\r\n");
    EXPECT_EQ(LogLines{plain("one")}, log.take());
    EXPECT_NO_LOG(log);
    std::thread([] { std::printf("two\r\n"); }).join();
    EXPECT_LOG_CONTAINS(log, plain("two"));
}

TEST(LogCaptureTest, NoticesAWrongLine)
{
    static LogCapture *log = nullptr;
    LogCapture capture;
    log = &capture;
    std::printf("[../../psiMem.cpp]line12 error: right\r\n");
    EXPECT_NONFATAL_FAILURE(EXPECT_LOG(*log, error("psiMem", "wrong")), "right");
    std::printf("something\r\n");
    EXPECT_NONFATAL_FAILURE(EXPECT_NO_LOG(*log), "something");
}

/* ------------------------------------------------------------------------------------------------------------------
 * Failing calls and the scripted host
 * ---------------------------------------------------------------------------------------------------------------- */

class FaultInjection : public LibraryTest {};

TEST_F(FaultInjection, FailsOnceOrFromThenOnOrAgainAndAgain)
{
    const auto pattern = [](Fail mode) {
        std::string seen;
        const FaultPlan plan(Call::Malloc, 2, mode);
        for (int i = 0; i < 4; ++i) {
            void *block = psi_buddy_malloc(8);
            seen += block != nullptr ? '+' : '-';
            psi_buddy_free(block);
        }
        return seen + static_cast<char>('0' + plan.injected());
    };
    EXPECT_EQ("+-++1", pattern(Fail::Once));
    EXPECT_EQ("+---3", pattern(Fail::FromThenOn));
    EXPECT_EQ("+-+-2", pattern(Fail::Every));
}

TEST_F(FaultInjection, SweepsUntilTheOperationCompletes)
{
    int prepared = 0;
    int failed = 0;
    std::vector<void *> blocks;
    const unsigned runs = sweepFailures(
        Call::Malloc, Fail::Once, [&] { ++prepared; },
        [&] {
            for (int i = 0; i < 3; ++i)
                blocks.push_back(psi_buddy_malloc(8));
        },
        [&](bool injected) {
            failed += injected ? 1 : 0;
            for (void *block : blocks)
                psi_buddy_free(block);
            blocks.clear();
        });
    EXPECT_EQ(3U, runs);
    EXPECT_EQ(3, failed);
    EXPECT_EQ(4, prepared);
}

TEST_F(FaultInjection, SeesAHeldMutex)
{
    ScriptedHost host;
    const psiSemId mutex = host.object()->semId;
    EXPECT_TRUE(mutexIsFree(mutex));
    osMutexTake(mutex);
    EXPECT_FALSE(mutexIsFree(mutex));
    osMutexGive(mutex);
}

class Scripted : public LibraryTest {};

TEST_F(Scripted, RecordsArmsReadsAndSleeps)
{
    ScriptedHost host;
    host.play({answer::notReady(), answer::section(CatBuilder().desc(caDescriptor(1, 2)).build())});
    EXPECT_EQ(1U, schTable(host.id(), PSI_CAT));
    const psiSchInfo filter = filterRecord(host.id(), 0x0001, 0x01);
    const auto calls = host.takeCalls();
    ASSERT_EQ(4U, calls.size());
    EXPECT_EQ(HostCall::Kind::Arm, calls[0].kind);
    EXPECT_EQ(filter, calls[0].info);
    EXPECT_EQ(HostCall::Kind::Read, calls[1].kind);
    EXPECT_EQ(HostCall::Kind::Sleep, calls[2].kind);
    EXPECT_EQ(20U, calls[2].ms);
    EXPECT_EQ(HostCall::Kind::Read, calls[3].kind);
    EXPECT_EQ(calls[1].tick + 20, calls[3].tick);
    EXPECT_EQ(0U, host.unplayed());
    EXPECT_EQ(std::vector<u32>{20}, fakeClock::takeSleeps());
}

TEST_F(Scripted, LetsTheSearchTimeOutAtTheEndOfTheScript)
{
    ScriptedHost host;
    const u32 start = fakeClock::now();
    EXPECT_EQ(0U, schTable(host.id(), PSI_CAT));
    EXPECT_EQ(4000U, fakeClock::now() - start);
}

TEST_F(Scripted, KeepsObjectsOfSeveralThreadsApart)
{
    constexpr u16 count = 4;
    std::array<ScriptedHost, count> hosts;
    std::vector<std::thread> threads;
    for (u16 i = 0; i < count; ++i) {
        hosts[i].setFallback([i](const psiSchInfo &) {
            return answer::section(PatBuilder().tsId(i).program(static_cast<u16>(i + 1), 0x100).build());
        });
        threads.emplace_back([&host = hosts[i]] { EXPECT_EQ(1U, schTable(host.id(), PSI_PAT)); });
    }
    for (std::thread &thread : threads)
        thread.join();
    for (u16 i = 0; i < count; ++i) {
        EXPECT_EQ(i, hosts[i].model()->tsId);
        EXPECT_EQ(2U, hosts[i].takeCalls().size());
    }
}

/* ------------------------------------------------------------------------------------------------------------------
 * The checker of texts
 * ---------------------------------------------------------------------------------------------------------------- */

TEST(SafeUtf8, HasCharactersOfOneToFourBytes)
{
    for (const char *text : {"", " ~", "\u00A0\u07FF", "\u0800\uD7FF\uE000\uFFFF", "\U00010000\U0010FFFF"})
        EXPECT_TRUE(isSafeUtf8(text)) << text;
}

TEST(SafeUtf8, HasNoControlCharacters)
{
    for (const char *text : {"\x1F", "a\n", "\x7F", "\u0080", "\u009F"})
        EXPECT_FALSE(isSafeUtf8(text)) << testing::PrintToString(text);
    EXPECT_FALSE(isSafeUtf8({"\0", 1}));
}

TEST(SafeUtf8, HasNothingThatRfc3629Forbids)
{
    EXPECT_FALSE(isSafeUtf8("\x80")) << "starts in the middle";
    EXPECT_FALSE(isSafeUtf8("\xC2")) << "ends in the middle";
    EXPECT_FALSE(isSafeUtf8("\xE2\x82")) << "ends in the middle";
    EXPECT_FALSE(isSafeUtf8("\xC3(")) << "breaks off";
    EXPECT_FALSE(isSafeUtf8("\xC1\xBF")) << "longer than it needs";
    EXPECT_FALSE(isSafeUtf8("\xE0\x9F\xBF")) << "longer than it needs";
    EXPECT_FALSE(isSafeUtf8("\xF0\x8F\xBF\xBF")) << "longer than it needs";
    EXPECT_FALSE(isSafeUtf8("\xED\xA0\x80")) << "surrogate";
    EXPECT_FALSE(isSafeUtf8("\xF4\x90\x80\x80")) << "above U+10FFFF";
    EXPECT_FALSE(isSafeUtf8("\xF8\x88\x80\x80\x80")) << "five bytes";
}

} // namespace
} // namespace psitest
