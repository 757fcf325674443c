// Reassembly of a section from transport packets.
#include "support/faultInjection.h"
#include "support/guardedBuffer.h"
#include "support/libraryFixture.h"
#include "support/packetBuilder.h"

#include "psiInternal.h"
#include "psiRun.h"

#include <optional>
#include <thread>

using namespace psi::core;

namespace psitest {
namespace {

/* Lines of a call at info level. */

LogLine started(unsigned tsNum)
{
    return info("psiFun", format("tsGetTable tsNum = %u", tsNum));
}

LogLine done(std::size_t len)
{
    return info("psiFun", format("psiTsToSection: OK! tableInfo->section_len is %zu, done", len));
}

LogLine continued(std::size_t len, std::size_t have)
{
    return info("psiFun", format("psiTsToSection: tableInfo->section_len is %zu, dataLen is %zu, continue", len, have));
}

LogLine badLength(std::size_t len)
{
    return error("psiFun", format("psiTsToSection: ERROR! section_len is %zu!", len));
}

const LogLine badSync = warning("psiFun", "psiTsToSection: tsData[0] != 0x47");
const LogLine missingStart = warning("psiFun", "psiTsToSection: payload_unit_start_indicator is 1, ERROR");
const LogLine unexpectedStart = warning("psiFun", "psiTsToSection: payload_unit_start_indicator is 0, ERROR");
const LogLine noPayload = warning("psiFun", "psiTsToSection: adaptation_field_control is 0, continue");
const LogLine badCounter = error("psiFun", "psiTsToSection: con_counter ERROR");
const LogLine dataLost = info("psiFun", "psiTsToSection: data lost!");

using Reassembler = i32 (*)(const u8 *, u8, u8 *, u16 *);

class Reassembly : public LibraryTest {
protected:
    static constexpr u16 untouched = 0xBEEF;

    /** @brief Reassemble from and into page-guarded memory. @return the section, nothing on failure */
    std::optional<Bytes> run(const Bytes &packets, Reassembler reassemble = psiTsToSection)
    {
        const std::size_t limit = reassemble == psiTsToSection ? 1024 : 4096;
        u8 *out = output.room(limit);
        u16 len = untouched;
        const i32 result = reassemble(input.place(packets), static_cast<u8>(packets.size() / packetSize), out, &len);
        if (result == 0)
            return bytesAt(out, len);
        EXPECT_EQ(-1, result);
        EXPECT_EQ(untouched, len) << "a failure leaves the length alone";
        EXPECT_EQ(repeated(limit, 0xA5), bytesAt(out, limit)) << "a failure leaves the output alone";
        return {};
    }
    std::optional<Bytes> runLong(const Bytes &packets) { return run(packets, psiTsToLongSection); }

    GuardedBuffer input;
    GuardedBuffer output;
};

/** @brief A packet with a payload and, when @p pointer is given, a start. */
Packet packetWith(u8 cc, const Bytes &payload, std::optional<u8> pointer = {})
{
    Packet packet;
    packet.cc = cc;
    packet.payload = payload;
    packet.pointer = pointer;
    packet.pusi = pointer.has_value();
    return packet;
}

Bytes slice(const Bytes &bytes, std::size_t from, std::size_t to = ~std::size_t{0})
{
    return {bytes.begin() + static_cast<std::ptrdiff_t>(from),
            bytes.begin() + static_cast<std::ptrdiff_t>(std::min(to, bytes.size()))};
}

/* ------------------------------------------------------------------------------------------------------------------
 * Good runs
 * ---------------------------------------------------------------------------------------------------------------- */

class ReassemblySizes : public Reassembly, public testing::WithParamInterface<std::size_t> {};

TEST_P(ReassemblySizes, AnySizeComesBackByteForByte)
{
    const Bytes section = sectionOfSize(GetParam());
    EXPECT_EQ(section, runLong(packetsOf(section)));
    EXPECT_EQ(section, runLong(packetsOf(section, 0x1FFF, 15)));
    if (section.size() <= 1024) {
        EXPECT_EQ(section, run(packetsOf(section)));
    }
    EXPECT_NO_LOG(log);
}

INSTANTIATE_TEST_SUITE_P(EdgeSizes, ReassemblySizes,
                         testing::Values(12, 100, 182, 183, 184, 185, 366, 367, 368, 551, 1021, 1024, 1025, 2000, 4095,
                                         4096),
                         testing::PrintToStringParamName());

TEST_F(Reassembly, ReportsAOnePacketSection)
{
    setPsiSchRPTLevel(3);
    const Bytes section = sectionOfSize(183);
    EXPECT_EQ(section, run(packetsOf(section)));
    EXPECT_LOG(log, started(1), done(183));
}

TEST_F(Reassembly, ReportsEveryPacketOfALongerSection)
{
    setPsiSchRPTLevel(3);
    const Bytes section = sectionOfSize(400);
    EXPECT_EQ(section, run(packetsOf(section)));
    EXPECT_LOG(log, started(3), continued(400, 183), continued(400, 367), done(400));
}

TEST_F(Reassembly, DoesNotReadPacketsBehindTheSection)
{
    const Bytes section = sectionOfSize(183);
    EXPECT_EQ(section, run(packetsOf(section) + repeated(5 * packetSize, 0x00)));
    EXPECT_NO_LOG(log);
}

TEST_F(Reassembly, DropsTheBytesThatThePointerFieldSkips)
{
    const Bytes section = sectionOfSize(150);
    EXPECT_EQ(section, run(PacketStream().section(section, counting(10)).bytes()));
    EXPECT_NO_LOG(log);
}

TEST_F(Reassembly, CrossesTheWrapOfTheCounter)
{
    const Bytes section = sectionOfSize(500);
    EXPECT_EQ(section, run(packetsOf(section, 0x100, 14)));
    EXPECT_NO_LOG(log);
}

TEST_F(Reassembly, SkipsPacketsWithoutPayload)
{
    const Bytes section = sectionOfSize(300);
    const Bytes whole = packetsOf(section, 0x100, 5);
    for (const u8 cc : {u8{0}, u8{5}, u8{6}, u8{15}}) {
        EXPECT_EQ(section,
                  run(slice(whole, 0, packetSize) + adaptationOnly(0x100, cc).bytes() + slice(whole, packetSize)));
        EXPECT_LOG(log, noPayload);
    }
}

TEST_F(Reassembly, SkipsAPacketWithoutPayloadWhateverLengthItGives)
{
    const Bytes section = sectionOfSize(300);
    const Bytes whole = packetsOf(section);
    for (const u8 length : {u8{0}, u8{184}, u8{255}}) {
        Packet filling = adaptationOnly(0x100, 9);
        filling.adaptationLength = length;
        EXPECT_EQ(section, run(slice(whole, 0, packetSize) + filling.bytes() + slice(whole, packetSize)));
        EXPECT_LOG(log, noPayload);
    }
}

TEST_F(Reassembly, EndsWithAStartThatHasNoPlaceForItsPointerField)
{
    const Bytes whole = packetsOf(sectionOfSize(300));
    Packet start = adaptationOnly(0x100, 9);
    start.pusi = true;
    start.adaptationLength = u8{184};
    EXPECT_EQ(std::nullopt, run(start.bytes() + whole));
    EXPECT_EQ(std::nullopt, run(slice(whole, 0, packetSize) + start.bytes() + slice(whole, packetSize)));
    EXPECT_NO_LOG(log);
}

TEST_F(Reassembly, SkipsTheReservedAdaptationFieldControl)
{
    const Bytes section = sectionOfSize(300);
    const Bytes whole = packetsOf(section);
    Packet reserved = packetWith(7, {});
    reserved.adaptationFieldControl = u8{0};
    EXPECT_EQ(section, run(slice(whole, 0, packetSize) + reserved.bytes() + slice(whole, packetSize)));
    EXPECT_LOG(log, noPayload);
}

TEST_F(Reassembly, WaitsForThePayloadOfTheOpeningPacket)
{
    const Bytes section = sectionOfSize(100);
    Packet opening = adaptationOnly(0x100, 3);
    opening.adaptationLength = u8{100};
    opening.pusi = true;
    EXPECT_EQ(section, run(opening.bytes() + packetsOf(section)));
    EXPECT_LOG(log, noPayload);
}

TEST_F(Reassembly, IgnoresPidErrorAndScramblingBits)
{
    const Bytes section = sectionOfSize(183 + 184 + 1);
    PacketStream stream;
    stream.section(section);
    stream.packets()[1][1] |= 0xA0; // transport_error_indicator, transport_priority
    stream.packets()[1][2] = 0x77;
    stream.packets()[2][3] |= 0xC0; // transport_scrambling_control
    EXPECT_EQ(section, run(stream.bytes()));
}

TEST_F(Reassembly, TakesTheFirstOfSeveralSections)
{
    const Bytes first = sectionOfSize(100);
    EXPECT_EQ(first, run(PacketStream().backToBack({first, sectionOfSize(60), sectionOfSize(30)}).bytes()));
    const Bytes longer = sectionOfSize(250);
    EXPECT_EQ(longer, run(PacketStream().backToBack({longer, sectionOfSize(100)}).bytes()));
    EXPECT_NO_LOG(log);
}

TEST_F(Reassembly, TakesAsManyBytesAsThePointerFieldOfTheNextSectionSays)
{
    const Bytes section = sectionOfSize(190);
    const Bytes opening = packetWith(0, slice(section, 0, 183), u8{0}).bytes();
    EXPECT_EQ(section, run(opening + packetWith(1, slice(section, 183) + sectionOfSize(50), u8{7}).bytes()));
    EXPECT_NO_LOG(log);
    setPsiSchRPTLevel(3);
    EXPECT_EQ(std::nullopt, run(opening + packetWith(1, slice(section, 183) + sectionOfSize(50), u8{6}).bytes()));
    EXPECT_LOG(log, started(2), continued(190, 183), continued(190, 189), dataLost);
}

TEST_F(Reassembly, GoesOnBehindAShortPointerField)
{
    // The new section of the middle packet is ignored; the run may still go on.
    const Bytes section = sectionOfSize(183 + 20 + 100);
    const Bytes run3 = packetWith(0, slice(section, 0, 183), u8{0}).bytes() +
                       packetWith(1, slice(section, 183, 203) + repeated(150, 0x11), u8{20}).bytes() +
                       packetWith(2, slice(section, 203)).bytes();
    EXPECT_EQ(section, run(run3));
}

TEST_F(Reassembly, WorksTheLengthOutWhenTheThirdByteArrives)
{
    const Bytes section = sectionOfSize(150);
    for (std::size_t inFirst = 0; inFirst <= 4; ++inFirst) {
        const std::size_t skipped = 183 - inFirst;
        EXPECT_EQ(section, run(PacketStream().section(section, repeated(skipped, 0x22)).bytes())) << inFirst;
    }
    EXPECT_NO_LOG(log);
    setPsiSchRPTLevel(3);
    EXPECT_EQ(section, run(PacketStream().section(section, repeated(182, 0x22)).bytes()));
    EXPECT_LOG(log, started(2), done(150));
    EXPECT_EQ(section, run(PacketStream().section(section, repeated(180, 0x22)).bytes()));
    EXPECT_LOG(log, started(2), continued(150, 3), done(150));
}

TEST_F(Reassembly, WorksTheLengthOutAcrossThreePackets)
{
    const Bytes section = sectionOfSize(120);
    const Bytes packets = packetWith(0, repeated(182, 0) + slice(section, 0, 1), u8{182}).bytes() +
                          packetWith(1, slice(section, 1, 2) + repeated(100, 0), u8{1}).bytes() +
                          packetWith(2, slice(section, 2)).bytes();
    EXPECT_EQ(section, run(packets));
}

TEST_F(Reassembly, HasAdaptationFieldsInEveryPacket)
{
    const Bytes section = sectionOfSize(300);
    Bytes packets;
    u8 cc = 0;
    for (std::size_t at = 0; at < section.size(); ++cc) {
        Packet packet = packetWith(cc, {}, cc == 0 ? std::optional<u8>(u8{0}) : std::nullopt);
        packet.adaptationLength = u8{120};
        packet.payload = slice(section, at, at + (cc == 0 ? 62 : 63));
        at += packet.payload.size();
        packets = packets + packet.bytes();
    }
    EXPECT_EQ(section, run(packets));
    EXPECT_NO_LOG(log);
}

TEST_F(Reassembly, TakesRunsOfOneToTwentyFourPackets)
{
    for (std::size_t count = 1; count <= 24; ++count) {
        const std::size_t size = std::min<std::size_t>(4096, 183 + 184 * (count - 1));
        const Bytes section = sectionOfSize(size);
        Bytes packets = packetsOf(section);
        packets.resize(count * packetSize, 0);
        EXPECT_EQ(section, runLong(packets)) << count;
    }
    EXPECT_NO_LOG(log);
}

TEST_F(Reassembly, KeepsNoStateBetweenCalls)
{
    const Bytes section = sectionOfSize(300);
    const Bytes packets = packetsOf(section);
    EXPECT_EQ(std::nullopt, run(slice(packets, 0, packetSize)));
    EXPECT_EQ(std::nullopt, run(slice(packets, packetSize)));
    EXPECT_LOG(log, missingStart);
    EXPECT_EQ(section, run(packets));
    EXPECT_EQ(0U, liveBlocks());
}

TEST_F(Reassembly, DoesNotCheckTheCrc)
{
    Bytes section = sectionOfSize(60);
    section.back() ^= 0xFF;
    EXPECT_EQ(section, run(packetsOf(section)));
}

/* ------------------------------------------------------------------------------------------------------------------
 * Arguments
 * ---------------------------------------------------------------------------------------------------------------- */

TEST_F(Reassembly, RefusesNullArgumentsInTheirOrder)
{
    const Bytes packets = packetsOf(sectionOfSize(20));
    u8 out[1024];
    u16 len = 0;
    for (const Reassembler reassemble : {&psiTsToSection, &psiTsToLongSection}) {
        EXPECT_EQ(-1, reassemble(nullptr, 0, nullptr, nullptr));
        EXPECT_LOG(log, error("psiFun", "psiTsToSection: tsData is NULL!"));
        EXPECT_EQ(-1, reassemble(packets.data(), 0, nullptr, nullptr));
        EXPECT_LOG(log, error("psiFun", "psiTsToSection: sectionData is NULL!"));
        EXPECT_EQ(-1, reassemble(packets.data(), 0, out, nullptr));
        EXPECT_LOG(log, error("psiFun", "psiTsToSection: sectionLen is NULL!"));
        EXPECT_EQ(-1, reassemble(packets.data(), 0, out, &len));
        EXPECT_LOG(log, error("psiFun", "psiTsToSection: tsNum=0, ERROR!"));
        for (const u8 count : {u8{25}, u8{255}}) {
            EXPECT_EQ(-1, reassemble(packets.data(), count, out, &len));
            EXPECT_LOG(log, error("psiFun", format("psiTsToSection: tsNum=%u, ERROR!", count)));
        }
    }
}

TEST_F(Reassembly, FailsWhereThePoolHasNoRoomForAWorkRecord)
{
    setPsiSchRPTLevel(4);
    const FaultPlan plan(Call::Malloc, 1);
    EXPECT_EQ(std::nullopt, run(packetsOf(sectionOfSize(20))));
    EXPECT_EQ(1U, plan.calls());
    EXPECT_NO_LOG(log);
}

TEST_F(Reassembly, FailsInAnExhaustedPoolAndWorksAgainAfterwards)
{
    const Bytes section = sectionOfSize(300);
    std::vector<void *> blocks;
    for (u32 size = 1U << 20; size >= 16; size /= 2)
        while (void *block = psi_buddy_malloc(size))
            blocks.push_back(block);
    EXPECT_EQ(std::nullopt, run(packetsOf(section)));
    for (void *block : blocks)
        psi_buddy_free(block);
    EXPECT_EQ(section, run(packetsOf(section)));
    EXPECT_NO_LOG(log);
}

TEST_F(Reassembly, LeavesThePoolAlone)
{
    const Bytes packets = packetsOf(sectionOfSize(1000));
    const u32 usedBefore = poolStat().used;
    const AllocationWatch watch;
    run(packets);
    EXPECT_TRUE(watch.blocks().empty());
    EXPECT_EQ(usedBefore, poolStat().used);
}

/* ------------------------------------------------------------------------------------------------------------------
 * Broken runs
 * ---------------------------------------------------------------------------------------------------------------- */

TEST_F(Reassembly, NeedsTheSyncByteInEveryPacketThatItReads)
{
    for (const std::size_t bad : {0U, 1U, 2U}) {
        PacketStream stream;
        stream.section(sectionOfSize(400));
        stream.packets()[bad][0] = 0x46;
        EXPECT_EQ(std::nullopt, run(stream.bytes()));
        EXPECT_LOG(log, badSync);
    }
}

TEST_F(Reassembly, NeedsAStartInTheFirstPacket)
{
    EXPECT_EQ(std::nullopt, run(packetWith(0, counting(184)).bytes() + packetsOf(sectionOfSize(50), 0x100, 1)));
    EXPECT_LOG(log, missingStart);
}

TEST_F(Reassembly, LooksForTheSyncByteBeforeTheStart)
{
    EXPECT_EQ(std::nullopt, run(repeated(packetSize, 0)));
    EXPECT_LOG(log, badSync);
}

class ReassemblyCounters : public Reassembly, public testing::WithParamInterface<std::pair<int, int>> {};

TEST_P(ReassemblyCounters, ABreakEndsTheRun)
{
    PacketStream stream;
    stream.section(sectionOfSize(300));
    for (std::size_t i = 0; i < 2; ++i) {
        u8 &flags = stream.packets()[i][3];
        flags = static_cast<u8>((flags & 0xF0U) | static_cast<u8>(i == 0 ? GetParam().first : GetParam().second));
    }
    EXPECT_EQ(std::nullopt, run(stream.bytes()));
    EXPECT_LOG(log, badCounter);
}

INSTANTIATE_TEST_SUITE_P(Jumps, ReassemblyCounters,
                         testing::Values(std::pair{3, 3}, std::pair{3, 5}, std::pair{3, 2}, std::pair{15, 15},
                                         std::pair{15, 1}, std::pair{0, 15}));

TEST_F(Reassembly, DoesNotTolerateADuplicate)
{
    PacketStream stream;
    stream.section(sectionOfSize(183)); // whole after its first packet
    EXPECT_NE(std::nullopt, run(stream.duplicateLast().bytes()));
    const Bytes whole = packetsOf(sectionOfSize(300));
    EXPECT_EQ(std::nullopt, run(slice(whole, 0, packetSize) + whole));
    EXPECT_LOG(log, unexpectedStart);
    const Bytes three = packetsOf(sectionOfSize(500));
    EXPECT_EQ(std::nullopt, run(slice(three, 0, 2 * packetSize) + slice(three, packetSize)));
    EXPECT_LOG(log, badCounter);
}

TEST_F(Reassembly, RefusesAStartRightAtThePayloadOfAContinuation)
{
    const Bytes section = sectionOfSize(300);
    const Bytes opening = packetWith(0, slice(section, 0, 183), u8{0}).bytes();
    EXPECT_EQ(std::nullopt, run(opening + packetWith(1, slice(section, 183), u8{0}).bytes()));
    EXPECT_LOG(log, unexpectedStart);
    EXPECT_EQ(std::nullopt, run(opening + packetWith(9, slice(section, 183), u8{0}).bytes()));
    EXPECT_LOG(log, unexpectedStart);
}

TEST_F(Reassembly, LooksForAStartBeforeItLooksForAPayload)
{
    // Without payload, but the byte where the pointer_field would be is 0.
    const Bytes section = sectionOfSize(300);
    const Bytes whole = packetsOf(section);
    for (const u8 control : {u8{0}, u8{2}}) {
        Packet empty = packetWith(1, {}, u8{0});
        empty.adaptationFieldControl = control;
        if (control == 2)
            empty.adaptationLength = u8{100};
        EXPECT_EQ(std::nullopt, run(slice(whole, 0, packetSize) + empty.bytes() + slice(whole, packetSize)));
        EXPECT_LOG(log, unexpectedStart);
    }
}

TEST_F(Reassembly, EndsWithDataLostAtInfoLevel)
{
    const Bytes packets = packetsOf(sectionOfSize(500));
    EXPECT_EQ(std::nullopt, run(slice(packets, 0, 2 * packetSize)));
    EXPECT_NO_LOG(log);
    setPsiSchRPTLevel(3);
    EXPECT_EQ(std::nullopt, run(slice(packets, 0, 2 * packetSize)));
    EXPECT_LOG(log, started(2), continued(500, 183), continued(500, 367), dataLost);
}

TEST_F(Reassembly, EndsWithoutALengthWhenNoThreeBytesCame)
{
    EXPECT_EQ(std::nullopt, run(packetWith(0, repeated(183, 0), u8{182}).bytes()));
    EXPECT_LOG(log, badLength(0));
    EXPECT_EQ(std::nullopt,
              run(packetWith(0, repeated(183, 0), u8{182}).bytes() + packetWith(1, repeated(183, 0), u8{1}).bytes()));
    EXPECT_LOG(log, badLength(0));
    Packet opening = adaptationOnly(0x100, 0);
    opening.pusi = true;
    EXPECT_EQ(std::nullopt, run(opening.bytes()));
    EXPECT_LOG(log, noPayload, badLength(0));
}

TEST_F(Reassembly, HoldsTheLimitForTheWholeSection)
{
    const Bytes fits = sectionOfSize(1024);
    const Bytes tooLong = sectionOfSize(1025);
    EXPECT_EQ(fits, run(packetsOf(fits)));
    EXPECT_NO_LOG(log);
    EXPECT_EQ(std::nullopt, run(packetsOf(tooLong)));
    EXPECT_LOG(log, badLength(1025));
    EXPECT_EQ(tooLong, runLong(packetsOf(tooLong)));
    EXPECT_EQ(sectionOfSize(4096), runLong(packetsOf(sectionOfSize(4096))));
    EXPECT_NO_LOG(log);
}

TEST_F(Reassembly, RefusesASectionThatPassesTheLongLimit)
{
    for (const unsigned length : {4094U, 4095U}) {
        Bytes section = sectionOfSize(4096) + repeated(2, 0);
        setSectionLength(section, length);
        EXPECT_EQ(std::nullopt, runLong(packetsOf(section)));
        EXPECT_LOG(log, badLength(length + 3));
    }
}

TEST_F(Reassembly, ReportsALimitBeforeLostData)
{
    EXPECT_EQ(std::nullopt, run(slice(packetsOf(sectionOfSize(1025)), 0, packetSize)));
    EXPECT_LOG(log, badLength(1025));
}

TEST_F(Reassembly, PassesItsLimitOn)
{
    const Bytes section = sectionOfSize(100);
    const Bytes packets = packetsOf(section);
    u8 out[100];
    u16 len = 0;
    EXPECT_EQ(0, _psiTsToSection(packets.data(), 1, out, &len, 100));
    EXPECT_EQ(section, bytesAt(out, len));
    EXPECT_EQ(-1, _psiTsToSection(packets.data(), 1, out, &len, 99));
}

/* ------------------------------------------------------------------------------------------------------------------
 * Fields that point out of their packet
 * ---------------------------------------------------------------------------------------------------------------- */

/** @brief Where the payload of a packet with such an adaptation field ends, seen from its first byte. */
std::size_t payloadRoom(int adaptationLength)
{
    return adaptationLength > 183 ? 0 : static_cast<std::size_t>(183 - adaptationLength);
}

TEST_F(Reassembly, TakesEveryAdaptationFieldLengthOfTheOpeningPacket)
{
    const Bytes section = sectionOfSize(150);
    for (int value = 0; value < 256; ++value) {
        const std::size_t room = payloadRoom(value); // pointer_field included
        const std::size_t inFirst = room == 0 ? 0 : std::min<std::size_t>(room - 1, section.size());
        Packet opening = packetWith(0, slice(section, 0, inFirst), u8{0});
        opening.adaptationLength = static_cast<u8>(value);
        const Bytes rest = packetWith(1, slice(section, inFirst)).bytes();
        const auto got = run(opening.bytes() + rest);
        if (value <= 183) {
            EXPECT_EQ(section, got) << "adaptation_field_length " << value;
        } else {
            EXPECT_EQ(std::nullopt, got) << "adaptation_field_length " << value;
        }
    }
    EXPECT_NO_LOG(log);
}

TEST_F(Reassembly, TakesEveryAdaptationFieldLengthOfAContinuation)
{
    const Bytes section = sectionOfSize(183 + 100);
    for (int value = 0; value < 256; ++value) {
        const std::size_t inSecond = std::min<std::size_t>(payloadRoom(value), 100);
        Packet middle = packetWith(1, slice(section, 183, 183 + inSecond));
        middle.adaptationLength = static_cast<u8>(value);
        const auto got = run(packetWith(0, slice(section, 0, 183), u8{0}).bytes() + middle.bytes() +
                             packetWith(2, slice(section, 183 + inSecond)).bytes());
        if (value <= 183) {
            EXPECT_EQ(section, got) << "adaptation_field_length " << value;
        } else {
            EXPECT_EQ(std::nullopt, got) << "adaptation_field_length " << value;
        }
    }
    EXPECT_NO_LOG(log);
}

TEST_F(Reassembly, TakesEveryPointerFieldOfTheOpeningPacket)
{
    const Bytes section = sectionOfSize(150);
    for (int value = 0; value < 256; ++value) {
        const std::size_t skipped = std::min<std::size_t>(static_cast<std::size_t>(value), 183);
        const std::size_t inFirst = std::min<std::size_t>(183 - skipped, section.size());
        const Bytes opening =
            packetWith(0, repeated(skipped, 0x33) + slice(section, 0, inFirst), static_cast<u8>(value)).bytes();
        const auto got = run(opening + packetWith(1, slice(section, inFirst)).bytes());
        if (value <= 183) {
            EXPECT_EQ(section, got) << "pointer_field " << value;
        } else {
            EXPECT_EQ(std::nullopt, got) << "pointer_field " << value;
        }
    }
    EXPECT_NO_LOG(log);
}

TEST_F(Reassembly, TakesEveryPointerFieldOfAContinuation)
{
    const Bytes section = sectionOfSize(183 + 183);
    for (int value = 1; value < 256; ++value) {
        const auto taken = std::min<std::size_t>(static_cast<std::size_t>(value), 183);
        const Bytes packets = packetWith(0, slice(section, 0, 183), u8{0}).bytes() +
                              packetWith(1, slice(section, 183), static_cast<u8>(value)).bytes() +
                              packetWith(2, slice(section, 183 + taken)).bytes();
        const auto got = run(packets);
        if (value <= 183) {
            EXPECT_EQ(section, got) << "pointer_field " << value;
        } else {
            EXPECT_EQ(std::nullopt, got) << "pointer_field " << value;
        }
    }
    EXPECT_NO_LOG(log);
}

TEST_F(Reassembly, NeverReadsOutsideForAnyPairOfThoseFields)
{
    Packet packet = packetWith(0, {}, u8{0});
    packet.pointer.reset();
    for (const bool second : {false, true}) {
        for (unsigned adaptation = 0; adaptation < 256; ++adaptation) {
            for (const unsigned pointer : {0U, 1U, 2U, 7U, 90U, 181U, 182U, 183U, 184U, 187U, 188U, 254U, 255U}) {
                Bytes last = packet.bytes();
                last[3] = static_cast<u8>(0x30 | (second ? 1 : 0));
                last[4] = static_cast<u8>(adaptation);
                if (5 + adaptation < packetSize)
                    last[5 + adaptation] = static_cast<u8>(pointer);
                const Bytes front = second ? slice(packetsOf(sectionOfSize(1000)), 0, packetSize) : Bytes();
                EXPECT_EQ(std::nullopt, run(front + last)) << adaptation << ", " << pointer;
            }
        }
    }
    EXPECT_EQ(0U, liveBlocks());
}

TEST_F(Reassembly, ThePeekAtAHeaderReadsNothingBehindThePacket)
{
    for (unsigned pointer = 0; pointer < packetSize; ++pointer) {
        SCOPED_TRACE(pointer);
        Bytes packet = {0x47, 0x40, 0x10, 0x10, static_cast<u8>(pointer)};
        while (packet.size() < packetSize)
            packet.push_back(static_cast<u8>(packet.size()));
        Bytes expected = packet.size() > 5 + pointer ? slice(packet, 5 + pointer, packet.size()) : Bytes();
        const LongHeaderBytes none;
        for (std::size_t i = expected.size(); i < longHeaderLen; ++i)
            expected.push_back(none.bytes[i]);
        expected.resize(longHeaderLen);
        EXPECT_EQ(expected, bytesAt(peekHeader(input.place(packet)).bytes, longHeaderLen));
    }
}

TEST_F(Reassembly, MayRunInManyThreadsAtOnce)
{
    std::vector<std::thread> threads;
    std::vector<int> failures(4, 0);
    for (std::size_t t = 0; t < failures.size(); ++t) {
        threads.emplace_back([t, &failures] {
            const Bytes section = sectionOfSize(200 + 200 * t);
            const Bytes packets = packetsOf(section);
            for (int i = 0; i < 100; ++i) {
                u8 out[1024];
                u16 len = 0;
                const u8 count = static_cast<u8>(packets.size() / packetSize);
                if (psiTsToSection(packets.data(), count, out, &len) != 0 || bytesAt(out, len) != section)
                    ++failures[t];
            }
        });
    }
    for (std::thread &thread : threads)
        thread.join();
    EXPECT_EQ(std::vector<int>(4, 0), failures);
}

} // namespace
} // namespace psitest
