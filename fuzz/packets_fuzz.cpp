// Packets to reassembly, and sections through packets and back. Input: form, then what the form needs.
#include "fuzzTarget.h"
#include "packetInput.h"

#include "support/packetBuilder.h"

#include <optional>

namespace psifuzz {

bool (*const startLibrary)() = initialisePsi;

namespace {

using Reassemble = i32 (*)(const u8 *, u8, u8 *, u16 *);

constexpr std::size_t mostPackets = 24;

/** @brief What one of the two operations makes of a run; without a value it has failed. */
std::optional<Bytes> reassembled(Reassemble reassemble, const Bytes &run, std::size_t room)
{
    constexpr u8 untouched = 0xA5;
    Bytes section(room, untouched);
    u16 length = 0xA5A5;
    const i32 result =
        reassemble(run.data(), static_cast<u8>(run.size() / psitest::packetSize), section.data(), &length);
    if (result != 0) {
        EXPECT_EQ(-1, result);
        EXPECT_EQ(0xA5A5, length);
        EXPECT_EQ(Bytes(room, untouched), section) << "nothing is written after a failure";
        return {};
    }
    EXPECT_LE(length, room);
    EXPECT_EQ(Bytes(section.begin() + length, section.end()), Bytes(room - length, untouched));
    section.resize(length);
    return section;
}

/** @brief Both operations agree on what fits both, and length and bytes agree. */
void expectConsistent(const Bytes &run)
{
    const std::optional<Bytes> shortOne = reassembled(psiTsToSection, run, 1024);
    const std::optional<Bytes> longOne = reassembled(psiTsToLongSection, run, 4096);
    if (longOne) {
        EXPECT_EQ(longOne->size(), psitest::sectionLength(*longOne) + std::size_t{3});
    }
    EXPECT_EQ(shortOne.has_value(), longOne && longOne->size() <= 1024);
    if (shortOne) {
        EXPECT_EQ(*shortOne, *longOne);
    }
}

void composedRun(Input &input)
{
    Bytes run;
    u8 counter = input.byte() & 0x0F;
    for (std::size_t i = 0; i < mostPackets && input.left() != 0; ++i) {
        const Bytes packet = takePacket(input, 0x100, counter);
        run.insert(run.end(), packet.begin(), packet.end());
    }
    expectConsistent(Bytes(run));
}

void rawRun(Input &input)
{
    const std::size_t packets = std::min(input.left() / psitest::packetSize, mostPackets);
    expectConsistent(input.bytes(packets * psitest::packetSize));
}

/** @brief A section, in packets as the library cuts them, comes back as it was. */
void roundTrip(Input &input)
{
    const u16 pid = input.word() & 0x1FFF;
    Bytes section = input.bytes(1024);
    section.resize(std::max<std::size_t>(section.size(), 3));
    seal(section);
    Bytes packets(6 * psitest::packetSize);
    u8 count = 0;
    EXPECT_EQ(0, psiSectionToTs(pid, section.data(), static_cast<u16>(section.size()), packets.data(), &count));
    EXPECT_EQ((section.size() + 1 + 183) / 184, count);
    packets.resize(count * psitest::packetSize);
    EXPECT_EQ(section, reassembled(psiTsToSection, packets, 1024));
    EXPECT_EQ(packets, psitest::packetsOf(section, pid)) << "as a multiplexer cuts it";
}

/** @brief A long section, cut by a multiplexer, in any packets of a run. */
void longRoundTrip(Input &input)
{
    const u8 counter = input.byte() & 0x0F;
    const Bytes lead = input.bytes(std::min<u32>(input.byte(), 180));
    Bytes section = input.bytes(4096);
    section.resize(std::max<std::size_t>(section.size(), 3));
    seal(section);
    const Bytes packets = psitest::PacketStream(0x100, counter).section(section, lead).bytes();
    EXPECT_EQ(section, reassembled(psiTsToLongSection, packets, 4096));
    expectConsistent(packets);
}

} // namespace

void fuzzOne(Input input)
{
    switch (input.byte() & 3) {
    case 0:
        return composedRun(input);
    case 1:
        return rawRun(input);
    case 2:
        return roundTrip(input);
    default:
        return longRoundTrip(input);
    }
}

} // namespace psifuzz
