// What stands on a command line for an input or an edit, RTP packets out of order, packets of all sizes behind garbage.
// Input: which of them, then its bytes.
#include "fuzzTarget.h"

#include "cli/numbers.h"
#include "demux/liveSocket.h"
#include "demux/packetSync.h"
#include "demux/rtp.h"
#include "edit/editRequest.h"
#include "support/libraryFixture.h"

#include <array>
#include <numeric>

namespace psifuzz {

bool (*const startLibrary)() = initialisePsi;

namespace {

using namespace psi::demux;

/** @brief A word of a command line: without zeros. */
std::string textOf(Bytes bytes)
{
    std::replace(bytes.begin(), bytes.end(), u8{0}, u8{' '});
    return {bytes.begin(), bytes.end()};
}

/* ---- words of a command line ----------------------------------------------------------------------------------------
 */

void takeUrl(Input &input)
{
    const std::string scheme = input.byte() & 1 ? "udp://" : "rtp://";
    const std::string url = scheme + textOf(input.rest());
    try {
        const LiveAddress address = parseLiveUrl(url);
        const unsigned long port = std::stoul(address.port);
        EXPECT_TRUE(port >= 1 && port <= 65535);
        EXPECT_LE(address.ttl, 255u);
        for (const std::string &part : {address.host, address.port, address.source, address.interface})
            EXPECT_NE(url.find(part), std::string::npos);
    } catch (const WrongName &error) {
        EXPECT_EQ(std::string(error.what()).rfind(url + ": ", 0), 0u) << error.what();
    }
}

void takeNumbers(Input &input)
{
    const std::string text = textOf(input.rest());
    constexpr double longest = 10 * 86400.0;
    const auto seconds = psitool::secondsFrom(text);
    EXPECT_TRUE(!seconds || (*seconds > 0 && *seconds <= longest)) << text;
    const auto rate = psitool::rateFrom(text);
    EXPECT_TRUE(!rate || *rate > 0) << text;
    const auto number = psitool::numberFrom(text);
    EXPECT_TRUE(!number || psitool::numberFrom(std::to_string(*number)) == number) << text;
}

/** @brief Options of an edit, a line each: which, and its words. Files are left out: nothing is to be read. */
void takeEdit(Input &input)
{
    using psitool::EditWords;
    static constexpr std::vector<std::string> EditWords::*lists[] = {
        &EditWords::services, &EditWords::removedServices, &EditWords::networkNames, &EditWords::bouquetNames,
        &EditWords::streams,  &EditWords::programs,        &EditWords::pids,         &EditWords::sets,
        &EditWords::intervals};
    EditWords words;
    while (input.left() > 0) {
        auto &list = words.*lists[input.below(static_cast<u32>(std::size(lists)))];
        list.push_back(textOf(input.bytes(input.byte())));
    }
    try {
        EXPECT_FALSE(psitool::parseEditRequest(words).empty());
    } catch (const psitool::EditError &error) {
        EXPECT_NE(std::string(), error.what());
    }
}

void takeArguments(Input &input)
{
    std::vector<std::string> arguments;
    std::size_t bytes = 0;
    while (input.left() > 0) {
        static const std::array<const char *, 6> words = {"--service", "--ts", "--program", "name=x", "10", "edit"};
        const u8 which = input.byte();
        arguments.push_back(which < words.size() ? words[which] : textOf(input.bytes(which & 15)));
        bytes += arguments.back().size() + 1;
    }
    std::size_t joined = 0;
    for (const std::string &one : psitool::joinEditGroups(arguments))
        joined += one.size() + 1;
    EXPECT_EQ(joined, bytes) << "a word was lost";
}

/* ---- packets --------------------------------------------------------------------------------------------------------
 */

/** @brief Packets that changed places with near ones, some of them twice: each leaves once, in order. */
void takeDisorder(Input &input)
{
    constexpr u32 farthest = 8;
    const u16 first = input.word();
    const u32 count = 2 + input.below(60);
    std::vector<std::pair<u32, u32>> order; // when it comes, and which one
    u32 twice = 0;
    for (u32 i = 0; i < count; ++i) {
        const u8 what = input.byte();
        const u32 comes = i == 0 ? 0 : i + what % farthest;
        order.emplace_back(comes, i);
        if (what & 0x80) {
            order.emplace_back(comes + 1, i);
            ++twice;
        }
    }
    std::stable_sort(order.begin(), order.end(), [](const auto &a, const auto &b) { return a.first < b.first; });
    DatagramReader reader;
    std::vector<u32> left;
    const PacketSink sink = [&left](const u8 *packet, std::size_t) { left.push_back(packet[4]); };
    Bytes datagram(kRtpHeaderBytes + kPacketBytes, 0);
    datagram[0] = 0x80;
    datagram[1] = 33;
    datagram[kRtpHeaderBytes] = kSyncByte;
    for (const auto &[comes, which] : order) {
        const u16 number = static_cast<u16>(first + which);
        datagram[2] = static_cast<u8>(number >> 8);
        datagram[3] = static_cast<u8>(number);
        datagram[kRtpHeaderBytes + 4] = static_cast<u8>(which);
        reader.take(datagram.data(), datagram.size(), 0, sink);
    }
    reader.finish(sink);
    std::vector<u32> all(count);
    std::iota(all.begin(), all.end(), 0U);
    EXPECT_EQ(left, all);
    Statistics statistics;
    reader.addTo(statistics);
    EXPECT_EQ(statistics.rtpDuplicates, twice);
    EXPECT_EQ(statistics.rtpGaps + statistics.rtpLate, 0u);
}

/** @brief Packets of one size behind garbage, in chunks: all of them are found, and their size. */
void takeFraming(Input &input)
{
    static constexpr std::array<std::array<std::size_t, 2>, 3> forms = {{{0, 0}, {4, 0}, {0, 16}}};
    const auto &form = forms[input.below(3)];
    const std::size_t chunk = 1 + input.word() % 5000;
    const u32 count = 20 + input.below(200);
    Bytes stream = input.bytes(input.below(300));
    const std::size_t garbage = stream.size();
    std::replace(stream.begin(), stream.end(), kSyncByte, u8{0x46});
    for (u32 i = 0; i < count; ++i) {
        stream.insert(stream.end(), form[0], u8{0x55});
        stream.push_back(kSyncByte);
        for (std::size_t at = 1; at < kPacketBytes; ++at)
            stream.push_back(static_cast<u8>(at == 1 ? i & 0x1F : at == 2 ? 0x80 | (i & 0x3F) : at & 0x3F));
        stream.insert(stream.end(), form[1], u8{0xAA});
    }
    PacketSync sync;
    u32 seen = 0;
    const auto sink = [&seen](const u8 *packet) { EXPECT_EQ(packet[1], seen++ & 0x1F); };
    for (std::size_t at = 0; at < stream.size(); at += chunk)
        sync.feed(stream.data() + at, std::min(chunk, stream.size() - at), sink);
    sync.finish(sink);
    EXPECT_EQ(seen, count);
    EXPECT_EQ(sync.counters().packetSize, form[0] + kPacketBytes + form[1]);
    EXPECT_GE(sync.counters().skippedBytes, garbage);
    EXPECT_LE(sync.counters().skippedBytes, garbage + 4);
}

} // namespace

void fuzzOne(Input input)
{
    static constexpr std::array<void (*)(Input &), 6> all = {takeUrl,       takeNumbers,  takeEdit,
                                                             takeArguments, takeDisorder, takeFraming};
    all[input.below(static_cast<u32>(all.size()))](input);
}

} // namespace psifuzz
