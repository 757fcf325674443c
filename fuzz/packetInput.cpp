#include "packetInput.h"

#include "support/packetBuilder.h"

namespace psifuzz {

Bytes takePacket(Input &input, u16 pid, u8 &counter)
{
    const u8 form = input.byte();
    psitest::Packet packet;
    packet.pid = static_cast<u16>(pid ^ (form & 1));
    packet.cc = form & 0x08 ? input.byte() & 0x0F : counter;
    counter = static_cast<u8>((packet.cc + 1) & 0x0F);
    packet.pusi = (form & 0x10) != 0;
    if (packet.pusi)
        packet.pointer = input.byte();
    if (form & 0x20)
        packet.adaptationLength = static_cast<u8>(std::min<u32>(input.byte(), 183));
    if (form & 0x40)
        packet.adaptationFieldControl = input.byte() & 3;
    packet.payload = input.bytes(input.byte());
    Bytes bytes = packet.bytes();
    if (form & 0x80)
        bytes[input.below(psitest::packetSize)] = input.byte();
    return bytes;
}

} // namespace psifuzz
