// psitool edit of the same stream as a file, a pipe, in UDP and in RTP: the same comes out.
#include "liveEditFixture.h"

#include <chrono>
#include <thread>

namespace {

using namespace editing;

/** How a stream comes to the edit and leaves it. */
enum class Way { pipe, udp, rtp };

void PrintTo(Way way, std::ostream *out)
{
    *out << (way == Way::pipe ? "pipe" : way == Way::udp ? "udp" : "rtp");
}

/** An RTP header in front of each datagram. RFC 3550 5.1. */
void sendInRtp(u16 port, const Bytes &stream, std::chrono::microseconds pause)
{
    const LoopbackSender sender(port);
    constexpr std::ptrdiff_t datagram = 7 * packetSize;
    u16 number = 65000;
    for (auto at = stream.begin(); stream.end() - at >= datagram; at += datagram, ++number) {
        const Bytes header = {0x80, 33, static_cast<u8>(number >> 8), static_cast<u8>(number), 0, 0, 0, 0, 1, 2, 3, 4};
        sender.send(header + Bytes(at, at + datagram));
        std::this_thread::sleep_for(pause);
    }
}

class PsitoolLiveTables : public PsitoolLiveEdit, public testing::WithParamInterface<Way> {
protected:
    /** Send a stream of whole datagrams through an edit. @return what leaves, as much as came */
    Bytes passed(const Bytes &stream, const std::string &arguments,
                 std::chrono::microseconds pause = std::chrono::milliseconds(1)) const
    {
        EXPECT_EQ(stream.size() % (7 * packetSize), 0u);
        return GetParam() == Way::pipe ? piped(stream, arguments) : sent(stream, arguments, pause);
    }

    Bytes piped(const Bytes &stream, const std::string &arguments) const
    {
        write("pipe.ts", stream);
        const Result result = shell("cat pipe.ts | psitool edit - -o piped.ts" + arguments);
        EXPECT_EQ(result.status, 0) << result.err;
        EXPECT_EQ(result.err, "");
        return bytesOfFile(folder / "piped.ts");
    }

    Bytes sent(const Bytes &stream, const std::string &arguments, std::chrono::microseconds pause) const
    {
        const bool rtp = GetParam() == Way::rtp;
        std::filesystem::remove(folder / "enough");
        const LoopbackReceiver receiver;
        const u16 port = freePort();
        const std::string input = (rtp ? "rtp://127.0.0.1:" : "udp://127.0.0.1:") + std::to_string(port);
        Result result;
        std::thread program(
            [&] { result = shell(untilEnough(input + " -o " + receiver.url() + arguments + " --statistics")); });
        waitForListener(port);
        std::thread sender([&] { rtp ? sendInRtp(port, stream, pause) : LoopbackSender(port).send(stream, pause); });
        Bytes received;
        while (received.size() < stream.size()) {
            const Bytes datagram = receiver.receive();
            if (datagram.empty())
                break;
            EXPECT_EQ(datagram.size(), 7 * packetSize);
            received = received + datagram;
        }
        sender.join();
        write("enough", {});
        program.join();
        EXPECT_EQ(result.status, 4) << result.err;
        const std::string packets = std::to_string(stream.size() / packetSize);
        for (const std::string &line :
             {"packets in                      " + packets, "packets out                     " + packets,
              std::string("packets lost                    0"), std::string("packets held at the end         0")})
            EXPECT_TRUE(contains(result.err, line + "\n")) << result.err;
        return received;
    }

    /** It is the same as what an edit makes of the file. */
    Bytes expectLikeFile(const Bytes &stream, const std::string &arguments,
                         std::chrono::microseconds pause = std::chrono::milliseconds(1)) const
    {
        const Bytes expected = edited(write("in.ts", stream), arguments);
        const Bytes received = passed(stream, " " + arguments, pause);
        EXPECT_TRUE(received == expected) << arguments << ": " << received.size() << " bytes of " << expected.size();
        return received;
    }
};

INSTANTIATE_TEST_SUITE_P(Ways, PsitoolLiveTables, testing::Values(Way::pipe, Way::udp, Way::rtp),
                         testing::PrintToStringParamName());

TEST_P(PsitoolLiveTables, ServicesAndPidsAreEditedWithoutLossSevenPacketsInADatagram)
{
    expectLikeFile(muxOfTwo(100, 2).bytes(), "--service 1 name=" + longName + " --pid 0x102=0x202");
}

TEST_P(PsitoolLiveTables, SingleFieldsAreSetAndNothingElseIs)
{
    expectLikeFile(muxOfTwo(50, 2).bytes(),
                   "--set 'sdt.services[service_id=1].service_descriptor.service_name=Another name' "
                   "--set 'pmt[2].streams[1].ISO_639_language_descriptor.languages[0].code=fra' "
                   "--set '/pat/5/programs/0/reserved=5'");
}

TEST_P(PsitoolLiveTables, AWholeTableIsReplaced)
{
    const Bytes stream = muxOfTwo(50, 2).bytes();
    json tables = jsonOf("psitool tables --json --type sdt " + write("in.ts", stream));
    tables["sections"][0]["tree"]["services"][1]["running_status"] = 1;
    const std::string text = tables.dump();
    write("sdt.json", Bytes(text.begin(), text.end()));
    expectLikeFile(stream, "--table sdt.json");
}

TEST_P(PsitoolLiveTables, SectionsAreInsertedAtTheirInterval)
{
    const std::string text = R"({"table_id": 78, "service_id": 1, "transport_stream_id": 5, "original_network_id": 9,
        "segment_last_section_number": 0, "last_table_id": 78, "events": []})";
    write("eit.json", Bytes(text.begin(), text.end()));
    expectLikeFile(muxOfTwo(50, 2).bytes(), "--insert eit.json --interval 50 --bitrate 1M");
}

TEST_P(PsitoolLiveTables, EveryVersionThatComesIsEditedAndCountsOn)
{
    Mux mux;
    for (const u8 version : {u8{30}, u8{31}, u8{0}})
        for (int i = 0; i < 21; ++i) {
            addPrograms(mux, sdtOfTwo(version));
            mux.nulls(2);
        }
    const std::string words = "--set 'sdt.services[service_id=1].service_descriptor.service_name=Two'";
    const std::vector<Bytes> after = Taken(expectLikeFile(mux.bytes(), words)).table(sdtPid, 0x42);
    ASSERT_EQ(after.size(), 63u);
    for (std::size_t i = 0; i < after.size(); ++i)
        EXPECT_EQ(versionOf(after[i]), (31 + i / 21) % 32);
}

TEST_P(PsitoolLiveTables, ATableThatComesLateIsWaitedForAndNothingIsLost)
{
    Mux mux;
    for (int i = 0; i < 140; ++i) {
        mux.section(0, patOfTwo).payload(0x101, 4).nulls(2);
        if (i >= 120)
            mux.section(nitPid, writtenNit(2).desc(networkNameDescriptor("Old")).transportStream(5, 9).build());
        else
            mux.payload(0x101, 1);
        mux.payload(0x102, 6);
    }
    expectLikeFile(mux.bytes(), "--set nit.network_id=77", std::chrono::milliseconds(4));
}

TEST_P(PsitoolLiveTables, WhereThereIsNoRoomRepetitionsAreLeftOutWhenThatIsAllowed)
{
    Mux mux = muxOfTwo(49);
    mux.nulls(49);
    const Bytes stream = mux.bytes();
    const Taken after(passed(stream, " --allow-slower --service 1 name=" + longName));
    expectOnlyChanged(Taken(stream), after, {sdtPid});
    EXPECT_GE(after.table(sdtPid, 0x42).size(), 24u);
    EXPECT_LE(after.table(sdtPid, 0x42).size(), 49u);
    for (const Bytes &section : after.table(sdtPid, 0x42))
        EXPECT_EQ(versionOf(section), 8);
}

} // namespace
