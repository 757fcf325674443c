#include "rows.h"
#include "testSections.h"

#include "support/packetBuilder.h"

#include "psiCrc.h"

#include <algorithm>
#include <memory>

#ifdef PSIBENCH_ISAL
#include <isa-l/crc.h>
#endif

namespace psibench {
namespace {

using psitest::packetSize;

using Crc = u32 (*)(const u8 *bytes, u32 length);

u32 portableCrc(const u8 *bytes, u32 length)
{
    return psi::core::crcPortable(psi::core::crcStart, bytes, length);
}

#ifdef PSIBENCH_ISAL
/** @brief The same polynomial in the same order; it inverts the start value and the result. */
u32 isalCrc(const u8 *bytes, u32 length)
{
    return ~crc32_ieee(0, bytes, length);
}
#endif

Row crcRow(const char *name, Crc crc, u32 length, double bar)
{
    Bytes bytes = psitest::counting(length);
    const auto work = [bytes, crc](unsigned times) {
        for (unsigned i = 0; i < times; ++i)
            keep(crc(bytes.data(), static_cast<u32>(bytes.size())));
    };
    return {std::string("crc ") + name + " " + std::to_string(length), bar, work};
}

constexpr u32 crcLengths[] = {64, 188, 1024, 4096};

void addCrcRows(std::vector<Row> &rows, const char *name, Crc crc, const double (&bars)[4])
{
    for (std::size_t i = 0; i < 4; ++i)
        rows.push_back(crcRow(name, crc, crcLengths[i], bars[i]));
}

/**
 * @brief Packets, and room for their section, at addresses that do not end alike.
 *
 * A processor that compares the last twelve bits first takes a byte of the one for that of the other and waits: one run
 * in fifteen took up to twice as long, by where the system had put stack and heap.
 */
struct Reassembled {
    alignas(4096) u8 packets[8192];
    u8 gap[2048];
    u8 section[4512];
};

Row reassemblyRow(u16 length, double bar)
{
    const Bytes packets = psitest::packetsOf(psitest::sectionOfSize(length));
    const auto reassemble = length <= 1024 ? psiTsToSection : psiTsToLongSection;
    const auto buffers = std::make_shared<Reassembled>();
    std::copy(packets.begin(), packets.end(), buffers->packets);
    const auto count = static_cast<u8>(packets.size() / packetSize);
    const auto work = [buffers, count, reassemble](unsigned times) {
        u16 got = 0;
        for (unsigned i = 0; i < times; ++i)
            require(reassemble(buffers->packets, count, buffers->section, &got) == 0);
    };
    return {"reassembly " + std::to_string(length), bar, work};
}

Row packetizationRow(u16 length)
{
    const Bytes section = psitest::sectionOfSize(length);
    const auto work = [section](unsigned times) {
        u8 packets[6 * packetSize];
        u8 count = 0;
        for (unsigned i = 0; i < times; ++i)
            require(psiSectionToTs(0x100, section.data(), static_cast<u16>(section.size()), packets, &count) == 0);
    };
    return {"packetization " + std::to_string(length), 0, work};
}

} // namespace

void addFramingRows(std::vector<Row> &rows)
{
    addCrcRows(rows, "best way here", psiCalculateCrc, {0.0033, 0.0077, 0.020, 0.048});
    addCrcRows(rows, "portable", portableCrc, {0.012, 0.035, 0.20, 0.80});
#ifdef PSIBENCH_ISAL
    for (const u32 length : crcLengths) {
        rows.push_back(crcRow("ISA-L", isalCrc, length, 0));
        rows.back().ours = false;
    }
#endif
    rows.push_back(reassemblyRow(183, 0.009));
    rows.push_back(reassemblyRow(1024, 0.022));
    rows.push_back(reassemblyRow(4096, 0.075));
    rows.push_back(packetizationRow(183));
    rows.push_back(packetizationRow(1024));
}

} // namespace psibench
