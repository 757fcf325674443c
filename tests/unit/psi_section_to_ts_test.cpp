// Packetization: the way from a section to transport packets.
#include "support/guardedBuffer.h"
#include "support/libraryFixture.h"
#include "support/packetBuilder.h"

#include <array>

namespace psitest {
namespace {

constexpr std::size_t maxPackets = 6;

/** @brief What psiSectionToTs() made; the buffer ends behind the packets that are allowed. */
struct Packets {
    i32 result = 0;
    u8 count = 0xEE;
    Bytes bytes;
};

/** @brief Cut bytes that end at a forbidden page into room that ends at one. */
Packets cut(u16 pid, const Bytes &section, std::size_t room)
{
    static GuardedBuffer in;
    static GuardedBuffer out;
    Packets packets;
    const u8 *from = in.place(section);
    u8 *to = out.room(room * packetSize);
    packets.result = psiSectionToTs(pid, from, static_cast<u16>(section.size()), to, &packets.count);
    packets.bytes.assign(to, to + room * packetSize);
    return packets;
}

class SectionToTs : public LibraryTest {
protected:
    /** @brief The section comes out as a multiplexer would cut it, and not a byte outside the packets is touched. */
    static void expectPackets(const Bytes &section, std::size_t count)
    {
        const Packets packets = cut(0x1234, section, count);
        EXPECT_EQ(0, packets.result);
        EXPECT_EQ(count, packets.count);
        EXPECT_EQ(packetsOf(section, 0x1234), packets.bytes);
    }
};

TEST_F(SectionToTs, ThreeBytesGiveOnePacketFilledWithStuffing)
{
    const Packets packets = cut(0x0123, {0x70, 0x30, 0x00}, 1);
    EXPECT_EQ(0, packets.result);
    EXPECT_EQ(1, packets.count);
    EXPECT_EQ(Bytes({0x47, 0x41, 0x23, 0x10, 0x00, 0x70, 0x30, 0x00}) + repeated(180, 0xFF), packets.bytes);
    EXPECT_NO_LOG(log);
}

TEST_F(SectionToTs, A183ByteSectionFillsOnePacket)
{
    expectPackets(sectionOfSize(183), 1);
}

TEST_F(SectionToTs, A184ByteSectionPutsItsLastByteIntoASecondPacket)
{
    const Bytes section = sectionOfSize(184);
    expectPackets(section, 2);
    const Bytes packets = cut(0x20, section, 2).bytes;
    EXPECT_EQ(0x10, packets[3]);
    EXPECT_EQ(Bytes({0x47, 0x00, 0x20, 0x11, section[183]}) + repeated(183, 0xFF),
              Bytes(packets.begin() + 188, packets.end()));
}

TEST_F(SectionToTs, A367ByteSectionEndsFlushAndGetsNoEmptyPacket)
{
    expectPackets(sectionOfSize(367), 2);
    expectPackets(sectionOfSize(368), 3);
}

TEST_F(SectionToTs, A1024ByteSectionTakesSixPacketsWith79BytesOfStuffing)
{
    const Bytes section = sectionOfSize(1024);
    expectPackets(section, 6);
    const Bytes packets = cut(0x20, section, 6).bytes;
    for (std::size_t k = 0; k < 6; ++k)
        EXPECT_EQ(0x10 + k, packets[k * packetSize + 3]);
    EXPECT_EQ(section.back(), packets[6 * packetSize - 80]);
    EXPECT_EQ(repeated(79, 0xFF), Bytes(packets.end() - 79, packets.end()));
}

TEST_F(SectionToTs, EveryLengthIsCutAsAMultiplexerWould)
{
    for (std::size_t size = 1; size <= 1024; ++size) {
        SCOPED_TRACE(size);
        expectPackets(counting(size, 3), size <= 183 ? 1 : 1 + size / 184);
    }
}

TEST_F(SectionToTs, EveryLengthComesBackThroughReassembly)
{
    for (std::size_t size = 12; size <= 1024; ++size) {
        SCOPED_TRACE(size);
        const Bytes section = sectionOfSize(size);
        Packets packets = cut(0x11, section, size <= 183 ? 1 : 1 + size / 184);
        std::array<u8, 1024> back = {};
        u16 len = 0;
        ASSERT_EQ(0, psiTsToSection(packets.bytes.data(), packets.count, back.data(), &len));
        ASSERT_EQ(section, bytesAt(back.data(), len));
    }
}

TEST_F(SectionToTs, OnlyTheFirstPacketOpensAPayloadUnit)
{
    const Bytes packets = cut(0x1FFF, sectionOfSize(1021), maxPackets).bytes;
    EXPECT_EQ(0x5F, packets[1]);
    for (std::size_t k = 1; k < maxPackets; ++k)
        EXPECT_EQ(0x1F, packets[k * packetSize + 1]);
}

TEST_F(SectionToTs, ThePidIsNotMasked)
{
    const Bytes packets = cut(0xABCD, sectionOfSize(200), 2).bytes;
    EXPECT_EQ(0xAB | 0x40, packets[1]);
    EXPECT_EQ(0xCD, packets[2]);
    EXPECT_EQ(0xAB, packets[189]);
    EXPECT_EQ(0xCD, packets[190]);
}

TEST_F(SectionToTs, TheContinuityCounterStartsAtZeroInEveryCall)
{
    EXPECT_EQ(cut(0x20, sectionOfSize(500), 3).bytes, cut(0x20, sectionOfSize(500), 3).bytes);
    EXPECT_EQ(0x10, cut(0x20, sectionOfSize(500), 3).bytes[3]);
}

TEST_F(SectionToTs, ALengthOfZeroGivesAPacketOfStuffing)
{
    const Packets packets = cut(0x20, {}, 1);
    EXPECT_EQ(0, packets.result);
    EXPECT_EQ(1, packets.count);
    EXPECT_EQ(Bytes({0x47, 0x40, 0x20, 0x10, 0x00}) + repeated(183, 0xFF), packets.bytes);
}

TEST_F(SectionToTs, A1025ByteSectionIsRefusedAndNothingIsWritten)
{
    const Packets packets = cut(0x20, repeated(1025, 0), 7);
    EXPECT_EQ(-1, packets.result);
    EXPECT_EQ(0xEE, packets.count);
    EXPECT_EQ(repeated(7 * packetSize, 0xA5), packets.bytes);
    EXPECT_LOG(log, error("psiFun", "psiSectionToTs: sectionLen=1025, ERROR!"));
}

TEST_F(SectionToTs, RefusesNullPointersInTheOrderOfTheArguments)
{
    u8 section[3] = {0x70, 0x30, 0x00};
    u8 packet[packetSize] = {};
    u8 count = 0xEE;
    EXPECT_EQ(-1, psiSectionToTs(1, nullptr, 2000, nullptr, nullptr));
    EXPECT_LOG(log, error("psiFun", "psiSectionToTs: sectionData is NULL!"));
    EXPECT_EQ(-1, psiSectionToTs(1, section, 2000, nullptr, nullptr));
    EXPECT_LOG(log, error("psiFun", "psiSectionToTs: tsData is NULL!"));
    EXPECT_EQ(-1, psiSectionToTs(1, section, 2000, packet, nullptr));
    EXPECT_LOG(log, error("psiFun", "psiSectionToTs: tsNum is NULL!"));
    EXPECT_EQ(-1, psiSectionToTs(1, section, 65535, packet, &count));
    EXPECT_LOG(log, error("psiFun", "psiSectionToTs: sectionLen=65535, ERROR!"));
    EXPECT_EQ(0xEE, count);
}

TEST_F(SectionToTs, ReportsUnderTheLevelOfTheSearchSide)
{
    setPsiSchRPTLevel(0);
    setPsiMakeRPTLevel(4);
    EXPECT_EQ(-1, psiSectionToTs(1, nullptr, 0, nullptr, nullptr));
    EXPECT_NO_LOG(log);
    setPsiSchRPTLevel(1);
    EXPECT_EQ(-1, psiSectionToTs(1, nullptr, 0, nullptr, nullptr));
    EXPECT_LOG(log, error("psiFun", "psiSectionToTs: sectionData is NULL!"));
}

} // namespace
} // namespace psitest
