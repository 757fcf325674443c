// A stream collected from a file, from a pipe in chunks, and from datagrams: the same is found in it each time. Input:
// options, chunks, then a stream as streamInput.h makes it.
#include "fuzzTarget.h"
#include "streamInput.h"

#include "demux/capture.h"
#include "demux/collector.h"
#include "support/libraryFixture.h"
#include "support/packetBuilder.h"

#include <arpa/inet.h>
#include <cstdlib>
#include <fcntl.h>
#include <netinet/in.h>
#include <sstream>
#include <sys/mman.h>
#include <sys/socket.h>
#include <unistd.h>

namespace psifuzz {

bool (*const startLibrary)() = startDemultiplexer;

namespace {

using namespace psi::demux;
using psitest::packetSize;

constexpr u16 endPid = 0x1F00;
constexpr u8 endTable = 0xFE;

/** @brief A descriptor that is closed again, under the name that an input has. */
class Descriptor {
public:
    explicit Descriptor(int number) : number_(number) { EXPECT_GE(number, 0); }
    ~Descriptor() { close(); }
    Descriptor(const Descriptor &) = delete;
    Descriptor &operator=(const Descriptor &) = delete;

    void close()
    {
        if (number_ >= 0)
            ::close(number_);
        number_ = -1;
    }
    void write(const u8 *bytes, std::size_t size) const
    {
        EXPECT_EQ(static_cast<ssize_t>(size), ::write(number_, bytes, size));
    }
    std::string name() const { return "/proc/self/fd/" + std::to_string(number_); }
    int number() const { return number_; }

private:
    int number_;
};

void show(std::ostream &out, const CollectedSection &one)
{
    out << "  " << unsigned{one.number} << " x" << one.count << " " << one.first.packet << "-" << one.last.packet
        << " ";
    for (const u8 byte : one.bytes)
        out << (byte >> 4) << ',' << (byte & 15) << ' ';
    out << '\n';
}

/** @brief What was found, but for times. */
std::string found(const Collector &collector)
{
    std::ostringstream out;
    for (const CollectedTable *table : collector.tables()) {
        out << table->pid << ' ' << unsigned{table->tableId} << ' ' << table->extension << ' ' << table->further << " x"
            << table->count << ' ' << table->changeCount << '\n';
        for (const TableVersion &version : table->versions) {
            out << " v" << unsigned{version.number} << version.current << ' ' << unsigned{version.lastNumber} << ' '
                << version.changes << '\n';
            for (const CollectedSection &one : version.sections)
                show(out, one);
        }
    }
    for (const PidStatistics &pid : collector.pids())
        out << pid.pid << ": " << pid.packets << ' ' << pid.sections << ' ' << pid.shortFormSections << ' '
            << pid.crcErrors << ' ' << pid.brokenSections << ' ' << pid.continuityErrors << ' ' << pid.pcrCount << ' '
            << pid.pes << '\n';
    for (const MissingTable &one : collector.missing())
        out << "missing " << one.pid << ' ' << unsigned{one.tableId} << ' ' << static_cast<int>(one.reason) << ' '
            << one.have << '/' << one.wanted << '\n';
    const Statistics all = collector.statistics();
    out << all.packets << ' ' << all.sections << ' ' << all.distinctSections << ' ' << all.sectionsNotStored << ' '
        << all.malformedPackets << ' ' << all.transportErrors << '\n';
    return out.str();
}

void expectSound(const Collector &collector)
{
    for (const CollectedTable *table : collector.tables()) {
        EXPECT_LT(table->active, table->versions.size());
        EXPECT_LE(table->changes.size(), CollectedTable::kKeptChanges);
        for (const TableVersion &version : table->versions)
            for (const CollectedSection &one : version.sections) {
                EXPECT_EQ(one.bytes.size(), psitest::sectionLength(one.bytes) + std::size_t{3});
                EXPECT_LE(one.first.packet, one.last.packet);
                EXPECT_EQ(one.bytes[0], table->tableId);
            }
    }
    for (const Section &one : collector.validSections())
        EXPECT_EQ(0, psiCheckCrc(one.bytes.data(), static_cast<u32>(one.bytes.size())));
}

/** @brief Collect what can be read under a name. */
std::string collect(const std::string &name)
{
    Collector collector(name);
    try {
        collector.run();
    } catch (const InputError &error) {
        const std::string text = error.what();
        EXPECT_EQ(text.rfind(name, 0), 0u);
        return text.substr(name.size());
    }
    expectSound(collector);
    return found(collector);
}

std::string collectFile(const Bytes &stream)
{
    const Descriptor file(memfd_create("stream", MFD_CLOEXEC));
    file.write(stream.data(), stream.size());
    return collect(file.name());
}

/** @brief Through a pipe that keeps writes apart: each is one read. */
std::string collectPipe(const Bytes &stream, std::size_t chunk)
{
    int ends[2] = {-1, -1};
    EXPECT_EQ(0, pipe2(ends, O_CLOEXEC | O_DIRECT));
    const Descriptor from(ends[0]);
    Descriptor to(ends[1]);
    constexpr int room = 1 << 20; // 256 writes
    EXPECT_GE(fcntl(to.number(), F_SETPIPE_SZ, room), room);
    for (std::size_t at = 0; at < stream.size(); at += chunk)
        to.write(stream.data() + at, std::min(chunk, stream.size() - at));
    const std::string input = from.name();
    const Descriptor reader(open(input.c_str(), O_RDONLY | O_CLOEXEC));
    to.close();
    return collect(reader.name());
}

/** @brief A collector on a free port of the loopback interface, and that port. */
std::unique_ptr<Collector> listen(const CollectorOptions &options, u16 &port)
{
    static u16 next = static_cast<u16>(20000 + getpid() % 20000);
    for (int tries = 0; tries < 1000; ++tries) {
        port = next = static_cast<u16>(next < 40000 ? next + 1 : 20000);
        try {
            return std::make_unique<Collector>("udp://127.0.0.1:" + std::to_string(port), options);
        } catch (const InputError &) {
            continue; // somebody else's
        }
    }
    std::abort();
}

/** @brief In datagrams of so many packets; the section at the end ends the listening. */
std::string collectDatagrams(const Bytes &stream, std::size_t packets)
{
    CollectorOptions options;
    options.untilTimeout = true;
    options.timeout = 2; // should that section be damaged
    std::unique_ptr<Collector> collector;
    options.onSection = [&collector](const ArrivedSection &one) {
        if (one.pid == endPid && one.bytes[0] == endTable)
            collector->stop();
    };
    u16 port = 0;
    collector = listen(options, port);
    static const Descriptor sender(socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0));
    sockaddr_in to = {};
    to.sin_family = AF_INET;
    to.sin_port = htons(port);
    to.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    for (std::size_t at = 0; at < stream.size(); at += packets * packetSize) {
        const std::size_t size = std::min(packets * packetSize, stream.size() - at);
        EXPECT_EQ(static_cast<ssize_t>(size), sendto(sender.number(), stream.data() + at, size, 0,
                                                     reinterpret_cast<const sockaddr *>(&to), sizeof to));
    }
    collector->run();
    expectSound(*collector);
    return found(*collector);
}

/** @brief Whole packets, with what ends the listening behind them. Sync bytes stand nowhere else: a file has no other
 * sign of where its packets begin. */
Bytes wholePackets(Bytes stream)
{
    stream.resize(stream.size() / packetSize * packetSize);
    std::replace(stream.begin(), stream.end(), u8{0x47}, u8{0x46});
    for (std::size_t at = 0; at < stream.size(); at += packetSize)
        stream[at] = 0x47;
    return psitest::operator+(stream,
                              psitest::packetsOf(psitest::LongSectionBuilder(endTable).idExt(1).build(), endPid));
}

} // namespace

void fuzzOne(Input input)
{
    const u8 options = input.byte();
    const std::size_t chunk = 250 + input.word() % 3800;
    if ((options & 0x40) == 0) {
        const Bytes stream = takeStream(input, options);
        if (stream.size() >= 4 && beginsLikeCapture(stream.data()))
            return; // of network packets: another target's
        EXPECT_EQ(collectFile(stream), collectPipe(stream, chunk));
        return;
    }
    const Bytes packets = wholePackets(takeStream(input, 0));
    EXPECT_EQ(collectFile(packets), collectDatagrams(packets, 1 + chunk % 7));
}

} // namespace psifuzz
