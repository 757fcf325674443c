#include "loopback.h"
#include "programFixture.h"

#include <chrono>
#include <thread>

namespace {

using namespace psitest;

/** Sends the short stream, its counters running on, without one of its datagrams. */
void sendLosing(const LoopbackSender &sender, unsigned lost, unsigned count, std::chrono::milliseconds apart)
{
    Bytes packets = shortStream();
    for (unsigned counter = 0; counter < count; ++counter) {
        packets[3] = packets[packetSize + 3] = static_cast<u8>(0x10 | (counter & 0x0F));
        if (counter != lost)
            sender.send(packets);
        std::this_thread::sleep_for(apart);
    }
}

class PsitoolLive : public PsitoolTest {
protected:
    /** A subcommand that reads what is sent, and is interrupted then. @param send gets a sender to its port */
    template <typename Send> Result interrupted(const std::string &subcommand, const Send &send) const
    {
        const u16 port = freePort();
        Result result;
        std::thread reader([&] {
            result = shell("'" PSITOOL_PROGRAM "' " + subcommand + " udp://127.0.0.1:" + std::to_string(port) +
                           " & id=$!; while [ ! -e enough ]; do sleep 0.05; done; kill -INT $id; wait $id");
        });
        send(LoopbackSender(port));
        write("enough", {});
        reader.join();
        return result;
    }
    /** The same of 1.5 s in which PAT and PMT come; the CAT is being waited for. */
    Result interruptedAfterPmt(const std::string &subcommand) const
    {
        return interrupted(subcommand, [](const LoopbackSender &sender) {
            sendLosing(sender, 30, 30, std::chrono::milliseconds(50));
        });
    }
};

TEST_F(PsitoolLive, InterruptOfAScanShowsWhatWasFound)
{
    const Result result = interruptedAfterPmt("scan");
    EXPECT_EQ(result.status, 0) << result.err;
    EXPECT_TRUE(contains(result.out, "interrupted")) << result.out;
    EXPECT_TRUE(contains(result.out, "PID 0x0101 (257)   0x1B H.264/AVC video")) << result.out;
}

TEST_F(PsitoolLive, InterruptOfAWatchShowsWhatWasLost)
{
    const Result result = interrupted("scan --json --watch 600", [](const LoopbackSender &sender) {
        sendLosing(sender, 100, 200, std::chrono::milliseconds(10));
    });
    EXPECT_EQ(result.status, 0) << result.err;
    const nlohmann::json input = parsedJson(result.out)["input"];
    EXPECT_EQ(input["interrupted"], true);
    EXPECT_GE(input["datagrams"], 2);
    EXPECT_EQ(input["packets"], 2 * input["datagrams"].get<u32>());
    EXPECT_EQ(input["bad_datagrams"], 0);
    EXPECT_EQ(input["continuity_errors"], 2) << "one of each PID of the datagram that was not sent";
}

TEST_F(PsitoolLive, WhenNothingComesItSaysSo)
{
    const std::string url = liveUrl(freePort());
    for (const char *command : {"scan", "pids", "tables", "services"}) {
        const Result result = shell(std::string("psitool ") + command + " --timeout 0.2 " + url);
        EXPECT_EQ(result.status, 1) << command;
        EXPECT_TRUE(contains(result.err, ": no datagrams came\n")) << command << ": " << result.err;
    }
}

TEST_F(PsitoolLive, WhenWhatComesIsNoTransportStreamItSaysSo)
{
    const Result result = interrupted("scan", [](const LoopbackSender &sender) {
        for (unsigned i = 0; i < 20; ++i, std::this_thread::sleep_for(std::chrono::milliseconds(50)))
            sender.send(bytesOf("no packets"));
    });
    EXPECT_EQ(result.status, 1);
    EXPECT_TRUE(contains(result.err, "no PAT found until the interruption: no transport packets in ")) << result.err;
    EXPECT_TRUE(contains(result.err, " datagrams\n")) << result.err;
}

TEST_F(PsitoolLive, WatchSearchesAgainAndTellsOfThePoolEachTime)
{
    const Result result = shell("psitool scan --search -v --watch 3 udp://127.0.0.1:" + std::to_string(freePort()));
    EXPECT_EQ(result.status, 1);
    EXPECT_TRUE(contains(result.out, "datagrams             0\n")) << result.out;
    EXPECT_TRUE(contains(result.out, "watched               4 s, 2 rounds of searches\n")) << result.out;
    EXPECT_TRUE(contains(result.err, "no PAT found")) << result.err;
    const std::size_t first = result.err.find("high-water mark");
    EXPECT_NE(first, std::string::npos) << result.err;
    EXPECT_NE(result.err.find("high-water mark", first + 1), std::string::npos) << result.err;
}

TEST_F(PsitoolLive, InterruptOfTablesShowsWhatWasFound)
{
    const Result result = interruptedAfterPmt("tables");
    EXPECT_EQ(result.status, 0) << result.err;
    EXPECT_EQ(result.out.rfind("Interrupted: what follows is what was found until then.\n\nPAT on PID 0x0000 (0): ", 0),
              0u)
        << result.out;
    const char *pmt = "\nPMT on PID 0x0100 (256): program_number 0x0007 (7), version 9, section 0/0, 21 bytes, seen ";
    EXPECT_TRUE(contains(result.out, pmt)) << result.out;
}

} // namespace
