// Streams for the tests of psitool edit, made and taken apart packet by packet.
#ifndef PSITOOL_EDIT_FIXTURE_H
#define PSITOOL_EDIT_FIXTURE_H

#include "programFixture.h"

#include "demux/sectionAssembler.h"

#include <algorithm>
#include <map>
#include <set>

namespace editing {

using namespace psitest;
using nlohmann::json;

constexpr u16 nullPid = 0x1FFF;
constexpr u16 sdtPid = 0x11;
constexpr u16 nitPid = 0x10;

inline Bytes bytesOfFile(const std::filesystem::path &path)
{
    const std::string content = contentOf(path);
    return {content.begin(), content.end()};
}

/** A stream taken apart. */
struct Taken {
    explicit Taken(const Bytes &stream, std::size_t step = packetSize, std::size_t offset = 0)
    {
        psi::demux::SectionAssembler assembler([&](u16 pid, const u8 *section, u16 length) {
            sections[pid].emplace_back(section, section + length);
            return crc32Mpeg(section, length) == 0;
        });
        for (std::size_t at = offset; at + packetSize <= stream.size(); at += step) {
            const Bytes packet(stream.begin() + static_cast<std::ptrdiff_t>(at),
                               stream.begin() + static_cast<std::ptrdiff_t>(at + packetSize));
            packets[static_cast<u16>((packet[1] & 0x1F) << 8 | packet[2])].push_back(packet);
            assembler.packet(packet.data());
            ++count;
        }
        continuityErrors = assembler.counters().continuityErrors;
        damaged = assembler.counters().crcErrors;
    }

    /** The sections of a table, repetitions included. */
    std::vector<Bytes> table(u16 pid, u8 tableId) const
    {
        std::vector<Bytes> found;
        const auto here = sections.find(pid);
        if (here != sections.end())
            std::copy_if(here->second.begin(), here->second.end(), std::back_inserter(found),
                         [=](const Bytes &section) { return section[0] == tableId; });
        return found;
    }

    std::size_t count = 0;
    std::map<u16, std::vector<Bytes>> packets;
    std::map<u16, std::vector<Bytes>> sections;
    std::uint64_t continuityErrors = 0;
    std::uint64_t damaged = 0;
};

inline u8 versionOf(const Bytes &section)
{
    return section[5] >> 1 & 0x1F;
}

/** All PIDs but these are the same to the byte, and no counter is broken anywhere. */
inline void expectOnlyChanged(const Taken &before, const Taken &after, const std::set<u16> &changed)
{
    EXPECT_EQ(before.count, after.count);
    EXPECT_EQ(before.continuityErrors, 0u);
    EXPECT_EQ(after.continuityErrors, 0u);
    EXPECT_EQ(after.damaged, 0u);
    for (const auto &[pid, packets] : before.packets) {
        if (changed.count(pid) != 0 || pid == nullPid)
            continue;
        const auto there = after.packets.find(pid);
        ASSERT_NE(there, after.packets.end()) << pid;
        EXPECT_TRUE(packets == there->second) << "PID " << pid << " is not the same";
    }
}

class PsitoolEdit : public PsitoolTest {
protected:
    /** Edit a file that must be possible to edit; the result is out.ts. */
    Bytes edited(const std::string &input, const std::string &arguments) const
    {
        const Result result = shell("psitool edit " + input + " -o out.ts " + arguments);
        EXPECT_EQ(result.status, 0) << result.err;
        EXPECT_EQ(result.err, "");
        EXPECT_EQ(result.out, "");
        return bytesOfFile(folder / "out.ts");
    }

    void expectRefused(const std::string &input, const std::string &arguments, int status,
                       const std::string &line) const
    {
        const Result result = shell("psitool edit " + input + " -o out.ts " + arguments);
        EXPECT_EQ(result.status, status) << result.err;
        EXPECT_TRUE(contains(result.err, line)) << result.err << "\nhas not\n" << line;
        EXPECT_EQ(std::count(result.err.begin(), result.err.end(), '\n'), 1) << result.err;
        EXPECT_FALSE(std::filesystem::exists(folder / "out.ts"));
        for (const auto &entry : std::filesystem::directory_iterator(folder))
            EXPECT_EQ(entry.path().filename().string().find("out.ts"), std::string::npos) << entry.path();
    }
};

/** A multiplex, packet by packet. */
class Mux {
public:
    /** The section in packets of its own. */
    Mux &section(u16 pid, const Bytes &section) { return add(pid, PacketStream(pid, counters_[pid]).section(section)); }
    /** The sections one right behind the other. */
    Mux &together(u16 pid, const std::vector<Bytes> &sections)
    {
        return add(pid, PacketStream(pid, counters_[pid]).backToBack(sections));
    }
    Mux &nulls(std::size_t count)
    {
        for (std::size_t i = 0; i < count; ++i)
            raw(Bytes{0x47, 0x1F, 0xFF, 0x10} + repeated(184, static_cast<u8>(i)));
        return *this;
    }
    /** Packets of a stream that carries no sections. */
    Mux &payload(u16 pid, std::size_t count)
    {
        for (std::size_t i = 0; i < count; ++i) {
            Packet packet;
            packet.pid = pid;
            packet.cc = counters_[pid]++ & 0x0F;
            packet.payload = counting(184, static_cast<u8>(counters_[pid]));
            raw(packet.bytes());
        }
        return *this;
    }
    Mux &raw(const Bytes &bytes)
    {
        stream_.insert(stream_.end(), bytes.begin(), bytes.end());
        return *this;
    }
    /** The counter of the PID's next packet. */
    u8 counter(u16 pid) { return counters_[pid] & 0x0F; }
    void counted(u16 pid, std::size_t packets) { counters_[pid] = static_cast<u8>(counters_[pid] + packets); }
    const Bytes &bytes() const { return stream_; }

private:
    Mux &add(u16 pid, const PacketStream &packets)
    {
        counted(pid, packets.count());
        return raw(packets.bytes());
    }

    std::map<u16, u8> counters_;
    Bytes stream_;
};

inline const Bytes patOfTwo =
    PatBuilder().tsId(5).version(3).network(nitPid).program(1, 0x100).program(2, 0x110).build();
inline const Bytes pmtOfOne = PmtBuilder(1).pcrPid(0x101).stream(0x1B, 0x101).stream(0x0F, 0x102).build();
inline const Bytes pmtOfTwo = PmtBuilder(2)
                                  .version(31)
                                  .pcrPid(0x111)
                                  .programDescriptor(caDescriptor(0x0B00, 0x1F0))
                                  .stream(0x1B, 0x111)
                                  .stream(0x0F, 0x102, descriptor(0x0A, bytesOf("eng") + Bytes{0}))
                                  .build();

/** An SDT as the library writes it: reserved bits as in its writer. */
inline SdtBuilder writtenSdt(u8 version)
{
    return SdtBuilder().privateIndicator(0).tsId(5).originalNetworkId(9).version(version);
}

inline SdtService writtenService(u16 id, const Bytes &descriptors)
{
    SdtService service;
    service.serviceId = id;
    service.descriptors = descriptors;
    service.reservedFutureUse = 0;
    return service;
}

inline Bytes sdtOfTwo(u8 version = 7)
{
    return writtenSdt(version)
        .service(writtenService(1, serviceDescriptor(1, "P", "One") + descriptor(0x5D, {1, 2})))
        .service(writtenService(2, descriptor(0x5D, {3})))
        .build();
}

inline NitBuilder writtenNit(u8 version)
{
    return NitBuilder().privateIndicator(0).networkId(3).version(version);
}

/** PAT, both PMTs, SDT and some payload. */
inline void addPrograms(Mux &mux, const Bytes &sdt = sdtOfTwo())
{
    mux.section(0, patOfTwo).section(0x100, pmtOfOne).section(0x110, pmtOfTwo).section(sdtPid, sdt);
    mux.payload(0x101, 3).payload(0x102, 2).payload(0x111, 2).payload(0x1F0, 1);
}

inline Mux muxOfTwo(int times = 3, std::size_t nulls = 0)
{
    Mux mux;
    for (int i = 0; i < times; ++i) {
        addPrograms(mux);
        mux.nulls(nulls);
    }
    return mux;
}

} // namespace editing

#endif
