// psitool edit of pipes and live streams as a user starts it.
#include "liveEditFixture.h"
#include "support/sanitizers.h"

#include <algorithm>
#include <chrono>
#include <thread>

namespace {

using namespace editing;

/* ---- pipes ----------------------------------------------------------------------------------------------------------
 */

TEST_F(PsitoolLiveEdit, APipeGivesWhatAFileGives)
{
    // Longer than the beginning that is searched for the tables, so that most of it passes in real time.
    const Bytes stream = muxOfTwo(400, 3).bytes();
    ASSERT_GT(stream.size(), 1000000u);
    const std::string arguments = " --service 1 name=" + longName + " --pid 0x101=0x301 --program 2 remove";
    const Bytes plain = edited(write("in.ts", stream), arguments);
    const Result result = shell("cat in.ts | psitool edit - -o -" + arguments + " | cat >piped.ts");
    EXPECT_EQ(result.err, "");
    EXPECT_TRUE(bytesOfFile(folder / "piped.ts") == plain);
    shell("mkfifo fifo; cat in.ts >fifo & psitool edit fifo -o fromFifo.ts" + arguments);
    EXPECT_TRUE(bytesOfFile(folder / "fromFifo.ts") == plain);
}

TEST_F(PsitoolLiveEdit, APipeWithoutTheTableIsRefusedAtItsEnd)
{
    write("in.ts", muxOfTwo().bytes());
    const Result result = shell("cat in.ts | psitool edit - -o - --network-name x");
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.err, "psitool: standard input: no NIT actual found\n");
    EXPECT_EQ(result.out, "");
}

TEST_F(PsitoolLiveEdit, APipeWithoutRoomIsRefusedBeforeAnythingIsWritten)
{
    write("in.ts", muxOfTwo(400).bytes());
    const Result result = shell("cat in.ts | psitool edit - -o - --service 1 name=" + longName);
    EXPECT_EQ(result.status, 1);
    EXPECT_TRUE(contains(result.err, "PID 0x0011 (17): the edited tables need ")) << result.err;
    EXPECT_EQ(result.out, "");
}

TEST_F(PsitoolLiveEdit, WhereNullPacketsRunOutInMidStreamRepetitionsAreLeftOut)
{
    Mux mux = muxOfTwo(100, 3);
    for (int i = 0; i < 100; ++i)
        addPrograms(mux);
    write("in.ts", mux.bytes());
    const Taken before(mux.bytes());
    const Result result = shell("cat in.ts | psitool edit - -o out.ts --statistics --service 1 name=" + longName);
    EXPECT_EQ(result.status, 0) << result.err;
    const Taken after(bytesOfFile(folder / "out.ts"));
    expectOnlyChanged(before, after, {sdtPid});
    EXPECT_GE(after.table(sdtPid, 0x42).size(), 150u); // 100, and then one in two places
    EXPECT_FALSE(contains(result.err, "repetitions left out            0\n")) << result.err;
}

TEST_F(PsitoolLiveEdit, AReaderThatGoesAwayEndsAnEndlessPipe)
{
    write("in.ts", muxOfTwo(400, 3).bytes());
    const Result result = shell("{ while cat in.ts; do :; done 2>/dev/null; } | timeout 20 "
                                "'" PSITOOL_PROGRAM "' edit - -o - --service 1 name=x | head -c 100000 | wc -c");
    EXPECT_EQ(result.out, "100000\n");
    EXPECT_EQ(result.err, "");
}

TEST_F(PsitoolLiveEdit, AReaderThatGoesAwayEndsAPipeThatIsSilent)
{
    write("in.ts", muxOfTwo(400, 3).bytes());
    const Result result = shell("{ cat in.ts; for i in $(seq 100); do sleep 0.1; [ -e status ] && break; done; } | "
                                "{ timeout 9 '" PSITOOL_PROGRAM "' edit - -o - --service 1 name=x; echo $? >status; } "
                                "| head -c 1000 | wc -c");
    EXPECT_EQ(result.out, "1000\n");
    EXPECT_EQ(contentOf(folder / "status"), "0\n");
}

TEST_F(PsitoolLiveEdit, ADurationEndsAnEndlessPipeInOrder)
{
    write("in.ts", muxOfTwo(400, 3).bytes());
    const Result result = shell("{ while cat in.ts; do sleep 0.1; done 2>/dev/null; } | "
                                "timeout 20 '" PSITOOL_PROGRAM "' edit - -o out.ts --service 1 name=x --duration 1.5");
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.err, "");
    const Taken after(bytesOfFile(folder / "out.ts"));
    EXPECT_GE(after.table(sdtPid, 0x42).size(), 400u);
    EXPECT_EQ(versionOf(after.table(sdtPid, 0x42).at(0)), 8);
}

TEST_F(PsitoolLiveEdit, ADurationEndsAPipeWhoseReaderIsStuck)
{
    write("in.ts", muxOfTwo(400, 3).bytes());
    const auto start = std::chrono::steady_clock::now();
    const Result result = shell("mkfifo from to; while cat in.ts; do :; done >from 2>cat.err & "
                                "sleep 60 <to & id=$!; timeout 30 '" PSITOOL_PROGRAM
                                "' edit from -o - --service 1 name=x --duration 0.5 --statistics >to; "
                                "status=$?; kill $id; exit $status");
    const std::chrono::duration<double> took = std::chrono::steady_clock::now() - start;
    EXPECT_LT(took.count(), 10);
    EXPECT_EQ(result.status, 0);
    const unsigned long lost = reported(result.err, "packets lost                    ");
    EXPECT_GT(lost, 0u);
    EXPECT_EQ(reported(result.err, "packets in                      "),
              reported(result.err, "packets out                     ") + lost);
    EXPECT_TRUE(contains(result.err, "psitool: standard output: " + std::to_string(lost) +
                                         " packets were dropped, its reader took nothing when --duration was over\n"))
        << result.err;
}

TEST_F(PsitoolLiveEdit, ASignalLeavesNothingOfAPipe)
{
    write("in.ts", muxOfTwo(400, 3).bytes());
    for (const char *signal : {"INT", "TERM", "HUP"}) {
        // The pipe stays open, so that the edit waits for more.
        const Result result =
            shell("rm -f fifo; mkfifo fifo; { cat in.ts; sleep 20 & echo $! >sleeper; wait; } >fifo & "
                  "'" PSITOOL_PROGRAM "' edit fifo -o out.ts --service 1 name=x & id=$!; "
                  "for i in $(seq 150); do ls out.ts.* >half 2>ls.err && break; sleep 0.1; done; kill -" +
                  std::string(signal) + " $id; wait $id; status=$?; kill $(cat sleeper); ls out.ts*; exit $status");
        EXPECT_EQ(result.status, 4) << signal;
        EXPECT_TRUE(contains(result.err, "psitool: fifo: interrupted\n")) << result.err;
        EXPECT_NE(contentOf(folder / "half"), "") << "the signal came too early";
        EXPECT_EQ(result.out, "") << signal;
    }
}

/* ---- live -----------------------------------------------------------------------------------------------------------
 */

TEST_F(PsitoolLiveEdit, ASignalLeavesTheFileThatALiveStreamWentTo)
{
    const Bytes stream = muxOfTwo(70, 2).bytes();
    for (const char *signal : {"INT", "TERM", "HUP"}) {
        const u16 port = freePort();
        Result result;
        shell("rm -f enough out.ts");
        std::thread program(
            [&] { result = shell(untilEnough(liveUrl(port) + " -o out.ts --service 1 name=x", signal)); });
        waitForListener(port);
        LoopbackSender(port).send(stream, std::chrono::milliseconds(2));
        write("enough", {});
        program.join();
        EXPECT_EQ(result.status, 4) << result.err;
        EXPECT_EQ(reported(result.err, "packets out                     "), stream.size() / packetSize) << result.err;
        const Taken after(bytesOfFile(folder / "out.ts"));
        EXPECT_EQ(after.count, stream.size() / packetSize);
        EXPECT_EQ(after.continuityErrors, 0u);
        EXPECT_EQ(versionOf(after.table(sdtPid, 0x42).at(0)), 8);
        EXPECT_EQ(shell("ls").out, "enough\nerr\nout\nout.ts\n") << "nothing else is left";
    }
}

TEST_F(PsitoolLiveEdit, ADurationEndsALiveEditInOrder)
{
    const u16 port = freePort();
    const EndlessSender sender(port, muxOfTwo(70, 2).bytes());
    const auto start = std::chrono::steady_clock::now();
    const Result result = shell("psitool edit " + liveUrl(port) + " -o out.ts --service 1 name=x --duration 1.5");
    const std::chrono::duration<double> took = std::chrono::steady_clock::now() - start;
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.err, "");
    EXPECT_GE(took.count(), 1.5);
    EXPECT_LT(took.count(), 10);
    const Taken after(bytesOfFile(folder / "out.ts"));
    EXPECT_GT(after.count, 500u);
    EXPECT_EQ(versionOf(after.table(sdtPid, 0x42).at(0)), 8);
}

TEST_F(PsitoolLiveEdit, WhatCameWithinTheDurationIsSentToItsEnd)
{
    const u16 port = freePort();
    const LoopbackReceiver receiver;
    const EndlessSender sender(port, muxOfTwo(70, 2).bytes());
    const Result result = shell("psitool edit " + liveUrl(port) + " -o " + receiver.url() +
                                " --service 1 name=x --duration 1.5 --statistics");
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(reported(result.err, "packets held at the end         "), 0u) << result.err;
    EXPECT_GT(reported(result.err, "packets out                     "), 200u) << result.err;
}

TEST_F(PsitoolLiveEdit, ADurationThatIsTooShortForTheTablesIsNoSuccess)
{
    const u16 port = freePort();
    const std::string words = " -o out.ts --service 1 name=x --duration 0.0001";
    const Result live = shell("psitool edit " + liveUrl(port) + words);
    EXPECT_EQ(live.status, 1);
    EXPECT_EQ(live.err, "psitool: " + liveUrl(port) + ": --duration was over before the tables were found\n");
    EXPECT_EQ(shell("mkfifo fifo; sleep 30 >fifo & id=$!; psitool edit fifo" + words +
                    "; status=$?; kill $id; "
                    "exit $status")
                  .status,
              1);
    EXPECT_FALSE(std::filesystem::exists(folder / "out.ts"));
}

TEST_F(PsitoolLiveEdit, ALiveEditEndsWhenItsReaderLeaves)
{
    const u16 port = freePort();
    const EndlessSender sender(port, muxOfTwo(70, 2).bytes());
    const Result result = shell("{ timeout 20 '" PSITOOL_PROGRAM "' edit " + liveUrl(port) +
                                " -o - --service 1 name=x; echo $? >status; } | head -c 18800 | wc -c");
    EXPECT_EQ(result.out, "18800\n");
    EXPECT_EQ(result.err, "");
    EXPECT_EQ(contentOf(folder / "status"), "0\n");
}

TEST_F(PsitoolLiveEdit, ALiveEditEndsWhenItsReaderLeavesAlthoughNothingComes)
{
    const u16 port = freePort();
    Result result;
    std::thread program([&] {
        result = shell("{ timeout 20 '" PSITOOL_PROGRAM "' edit " + liveUrl(port) +
                       " -o - --service 1 name=x; echo $? >status; } | { head -c 1 >begun; sleep 0.5; }");
    });
    waitForListener(port);
    LoopbackSender(port).send(muxOfTwo(5, 2).bytes(), std::chrono::milliseconds(2));
    program.join();
    EXPECT_EQ(result.err, "");
    EXPECT_EQ(contentOf(folder / "begun"), "G");
    EXPECT_EQ(contentOf(folder / "status"), "0\n");
}

TEST_F(PsitoolLiveEdit, AStuckReaderCostsPacketsAndNotMemory)
{
    // Some 80 Mbit/s: in two seconds more than the program keeps.
    const u16 port = freePort();
    Bytes stream = muxOfTwo(7, 2).bytes();
    while (stream.size() < 700 * packetSize)
        stream = stream + muxOfTwo(7, 60).bytes();
    stream.resize(stream.size() / (7 * packetSize) * 7 * packetSize);
    const EndlessSender sender(port, stream, std::chrono::microseconds(60));
    const Result result = shell("mkfifo fifo; sleep 30 <fifo & id=$!; "
                                "'" PSITOOL_PROGRAM "' edit " +
                                liveUrl(port) +
                                " -o - --service 1 name=x --statistics >fifo & edit=$!; "
                                "for i in $(seq 150); do sleep 0.1; "
                                "grep -q dropped err && break; done; grep VmHWM /proc/$edit/status; "
                                "kill -TERM $edit; wait $edit; status=$?; kill $id; exit $status");
    EXPECT_EQ(result.status, 4);
    EXPECT_TRUE(contains(result.err, "standard output: packets are dropped, its reader takes them too slowly\n"))
        << result.err;
    EXPECT_GT(reported(result.err, "packets lost                    "), 0u) << result.err;
    if (!sanitized) {
        EXPECT_LT(reported(result.out, "VmHWM:"), 110u << 10) << result.out;
    }
}

TEST_F(PsitoolLiveEdit, ALiveStreamLeavesInRtp)
{
    const Bytes stream = muxOfTwo(70, 2).bytes();
    const u16 port = freePort();
    const LoopbackReceiver receiver;
    Result result;
    std::thread program([&] {
        result = shell(untilEnough(liveUrl(port) + " -o rtp://127.0.0.1:" + std::to_string(receiver.port()) +
                                   " --service 1 name=x"));
    });
    waitForListener(port);
    std::thread sender([&] { LoopbackSender(port).send(stream, std::chrono::milliseconds(5)); });
    std::vector<Bytes> datagrams;
    while (datagrams.size() < stream.size() / packetSize / 7) {
        datagrams.push_back(receiver.receive());
        if (datagrams.back().empty())
            break;
    }
    sender.join();
    write("enough", {});
    program.join();
    ASSERT_FALSE(datagrams.back().empty()) << result.err;
    const auto number = [](const Bytes &bytes, std::size_t at, std::size_t size) {
        u32 value = 0;
        for (std::size_t i = 0; i < size; ++i)
            value = value << 8 | bytes[at + i];
        return value;
    };
    for (std::size_t i = 0; i < datagrams.size(); ++i) {
        ASSERT_EQ(datagrams[i].size(), 12 + 7 * packetSize);
        EXPECT_EQ(number(datagrams[i], 0, 2), 0x8021u) << "version 2, payload type 33";
        EXPECT_EQ(number(datagrams[i], 8, 4), number(datagrams[0], 8, 4)) << "one sender";
        if (i > 0) {
            EXPECT_EQ(static_cast<u16>(number(datagrams[i], 2, 2) - number(datagrams[i - 1], 2, 2)), 1u);
        }
    }
    // 5 ms apart, 450 ticks of 90 kHz; on a busy machine more, but never less on the whole.
    const u32 ticks = number(datagrams.back(), 4, 4) - number(datagrams[0], 4, 4);
    EXPECT_GE(ticks, (datagrams.size() - 1) * 450 * 9 / 10);
    EXPECT_LE(ticks, 90000u * 60);
}

TEST_F(PsitoolLiveEdit, WhatLeavesInRtpIsReadBack)
{
    const u16 port = freePort();
    const u16 out = freePort();
    const EndlessSender sender(port, muxOfTwo(70, 2).bytes());
    const std::string rtp = "rtp://127.0.0.1:" + std::to_string(out);
    const Result result = shell("'" PSITOOL_PROGRAM "' edit " + liveUrl(port) + " -o " + rtp +
                                " --service 1 name=Fresh & id=$!; for i in $(seq 20); do "
                                "psitool scan --json --timeout 1 " +
                                rtp +
                                " >scan 2>scan.err; status=$?; grep -q Fresh scan && break; done; "
                                "kill $id; wait $id; cat scan; exit $status");
    EXPECT_EQ(result.status, 0);
    EXPECT_TRUE(contains(result.out, "\"Fresh\"")) << result.out;
    const json scan = parsedJson(result.out);
    EXPECT_GT(scan["input"]["datagrams"], 0) << result.out;
    EXPECT_EQ(scan["input"]["rtp_gaps"], 0) << result.out;
}

TEST_F(PsitoolLiveEdit, AStreamIsNotSentBackToWhereItComesFrom)
{
    for (const char *arguments :
         {"udp://239.9.9.9:5004 -o udp://239.9.9.9:5004", "udp://239.9.9.9:5004 -o rtp://239.9.9.9:5004",
          "udp://:5004 -o udp://127.0.0.1:5004", "udp://127.0.0.1:5004 -o rtp://127.0.0.1:5004"}) {
        const Result result = shell(std::string("psitool edit --service 1 name=x ") + arguments);
        EXPECT_EQ(result.status, 2) << arguments;
        EXPECT_TRUE(contains(result.err, ": is where the input comes from: it would be edited over and over\n"))
            << result.err;
    }
}

TEST_F(PsitoolLiveEdit, AnInterruptBeforeTheTablesWereFoundLeavesNothing)
{
    const u16 port = freePort();
    Result result;
    std::thread program([&] { result = shell(untilEnough(liveUrl(port) + " -o out.ts --service 1 name=x")); });
    waitForListener(port);
    LoopbackSender(port).send(Mux().payload(0x101, 7).bytes());
    std::this_thread::sleep_for(std::chrono::milliseconds(300));
    write("enough", {});
    program.join();
    EXPECT_EQ(result.status, 4);
    EXPECT_EQ(result.err, "psitool: " + liveUrl(port) + ": interrupted before the tables were found\n");
    EXPECT_FALSE(std::filesystem::exists(folder / "out.ts"));
}

TEST_F(PsitoolLiveEdit, RtpPacketsThatWereLostOnTheWayAreCounted)
{
    const u16 port = freePort();
    const Bytes stream = muxOfTwo(200, 2).bytes();
    Result result;
    std::thread program([&] {
        result = shell("'" PSITOOL_PROGRAM "' edit " + liveUrl(port) +
                       " -o out.ts --service 1 name=x --duration 4 --statistics");
    });
    waitForListener(port);
    const LoopbackSender sender(port);
    constexpr std::size_t datagram = 7 * packetSize;
    for (u8 i = 0; i < 100; ++i, std::this_thread::sleep_for(std::chrono::milliseconds(20)))
        if (const auto at = stream.begin() + static_cast<std::ptrdiff_t>(i * datagram % (stream.size() - datagram));
            i < 20 || i >= 23)
            sender.send(Bytes{0x80, 33, 0, i, 0, 0, 0, 0, 0, 0, 0, 1} +
                        Bytes(at, at + static_cast<std::ptrdiff_t>(datagram)));
    program.join();
    EXPECT_EQ(result.status, 0) << result.err;
    EXPECT_EQ(reported(result.err, "missing RTP packets"), 3u) << result.err;
}

TEST_F(PsitoolLiveEdit, WhatACaptureLacksIsTold)
{
    const auto be16 = [](std::size_t value) { return Bytes{static_cast<u8>(value >> 8), static_cast<u8>(value)}; };
    const auto le32 = [](std::size_t value) {
        return Bytes{static_cast<u8>(value), static_cast<u8>(value >> 8), 0, 0};
    };
    const Bytes stream = muxOfTwo(70, 2).bytes();
    constexpr std::size_t datagram = 7 * packetSize;
    Bytes capture = Bytes{0xD4, 0xC3, 0xB2, 0xA1, 2, 0, 4, 0} + Bytes(8, 0) + le32(0xFFFF) + le32(101);
    for (std::size_t at = 0; at + datagram <= stream.size(); at += datagram) {
        const u8 more = at == 0 ? 0x20 : 0; // the first one is a part of a larger one
        const Bytes frame = Bytes{0x45, 0} + be16(datagram + 28) + Bytes{0, 1, more, 0, 9, 17, 0, 0} +
                            Bytes{10, 0, 0, 1, 239, 1, 1, 1} + be16(1) + be16(5000) + be16(datagram + 8) + be16(0) +
                            Bytes(stream.begin() + static_cast<std::ptrdiff_t>(at),
                                  stream.begin() + static_cast<std::ptrdiff_t>(at + datagram));
        capture = capture + le32(1) + le32(0) + le32(frame.size()) + le32(frame.size()) + frame;
    }
    write("in.pcap", capture);
    const Result result = shell("psitool edit in.pcap -o out.ts --service 1 name=x");
    if (contains(result.err, "lacks libpcap"))
        GTEST_SKIP() << "built without libpcap";
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.err, "psitool: in.pcap: 1 IP fragment left out: others of their datagrams are missing\n");
}

} // namespace
