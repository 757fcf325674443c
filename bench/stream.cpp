#include "stream.h"

#include "testSections.h"

#include "support/packetBuilder.h"

#include <array>
#include <fstream>
#include <random>
#include <stdexcept>

namespace psibench {
namespace {

using namespace psitest;

constexpr u16 services = 10;
constexpr u16 nullPid = 0x1FFF;
constexpr u16 eitPid = 0x0012;

/** @brief A table with its PID and how often it comes. */
struct Carried {
    u16 pid;
    Bytes section;
    unsigned everyPackets;
};

/** @brief Schedule sections of EPG: the bulk of all sections of a real stream. */
Bytes eitSection(u16 service, u8 number)
{
    Bytes body = {0, 1, 0, 1, number, 0x50};
    for (u8 event = 0; event < 8; ++event)
        body = body + Bytes{0, event, 0xE3, 0x1F, 0x12, 0x34, 0x56, 0x01, 0x30, 0x00, 0x80, 100} +
               descriptor(0x4D, counting(98, service & 0x7F)); // short_event
    return LongSectionBuilder(0x50).idExt(service).number(number, 7).body(body).build();
}

/** @brief The tables at 25 packets a millisecond. */
std::vector<Carried> tables()
{
    constexpr unsigned second = 25000;
    std::vector<Carried> all = {{0x0000, patSection(1, services), second / 10},
                                {0x0011, sdtSection(1, services), second},
                                {0x0010, nitSection(), second * 2},
                                {0x0011, batSection(), second * 5}};
    for (u16 service = 1; service <= services; ++service) {
        all.push_back({pmtPidOf(service), pmtSection(service, 4), second / 10});
        for (u8 number = 0; number < 8; ++number)
            all.push_back({eitPid, eitSection(service, number), second * 2});
    }
    return all;
}

class Multiplexer {
public:
    explicit Multiplexer(const std::string &file) : out_(file, std::ios::binary)
    {
        for (std::size_t i = 0; i < packetSize; ++i)
            payload_[i] = static_cast<char>(noise_());
    }

    void section(u16 pid, const Bytes &section)
    {
        PacketStream packets(pid, counter(pid));
        for (const Bytes &packet : packets.section(section).packets()) {
            write(reinterpret_cast<const char *>(packet.data()));
            ++counters_[pid];
        }
    }

    /** @brief A packet of a video or audio stream, or a null packet, as it comes. */
    void other()
    {
        const unsigned lot = static_cast<unsigned>(noise_() % 100);
        const u16 pid = lot < 8 ? nullPid : static_cast<u16>(0x1000 + lot % (services * 2));
        payload_[0] = 0x47;
        payload_[1] = static_cast<char>(pid >> 8);
        payload_[2] = static_cast<char>(pid);
        payload_[3] = static_cast<char>(0x10 | counter(pid));
        ++counters_[pid];
        write(payload_.data());
    }

    uint64_t packets() const { return packets_; }
    void finish()
    {
        out_.close();
        if (!out_)
            throw std::runtime_error("the stream cannot be written");
    }

private:
    u8 counter(u16 pid) const { return counters_[pid] & 0x0F; }
    void write(const char *packet)
    {
        out_.write(packet, packetSize);
        ++packets_;
    }

    std::ofstream out_;
    std::mt19937 noise_{1};
    std::array<char, packetSize> payload_ = {};
    std::array<u8, 0x2000> counters_ = {};
    uint64_t packets_ = 0;
};

} // namespace

void writeStream(const std::string &file, uint64_t bytes, Content content)
{
    Multiplexer out(file);
    std::vector<Carried> carried = tables();
    std::vector<uint64_t> due(carried.size());
    for (std::size_t i = 0; i < due.size(); ++i)
        due[i] = i * 40; // not all at once
    const uint64_t end = bytes / packetSize;
    while (out.packets() < end) {
        for (std::size_t i = 0; i < carried.size(); ++i) {
            if (content == Content::multiplex && out.packets() < due[i])
                continue;
            due[i] += carried[i].everyPackets;
            out.section(carried[i].pid, carried[i].section);
        }
        if (content == Content::multiplex)
            out.other();
    }
    out.finish();
}

} // namespace psibench
