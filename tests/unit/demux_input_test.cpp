#include "demux/demux.h"
#include "demux/searchClock.h"

#include "support/packetBuilder.h"

#include <gtest/gtest.h>

#include <chrono>
#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <sys/stat.h>
#include <thread>
#include <unistd.h>

using namespace psi::demux;
using psitest::Bytes;
using psitest::PacketStream;

namespace {

using psitest::operator+;
using std::chrono::milliseconds;
using std::chrono::steady_clock;

class HostInput : public testing::Test {
protected:
    void SetUp() override
    {
        ASSERT_TRUE(initLibrary());
        setPsiSchRPTLevel(0);
        char name[] = "/tmp/demuxXXXXXX";
        ASSERT_NE(nullptr, mkdtemp(name));
        folder = name;
    }
    void TearDown() override
    {
        std::filesystem::remove_all(folder);
        setPsiSchRPTLevel(2);
    }

    std::string path(const std::string &name) const { return folder + "/" + name; }

    std::string file(const std::string &name, const Bytes &bytes) const
    {
        std::ofstream(path(name), std::ios::binary)
            .write(reinterpret_cast<const char *>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
        return path(name);
    }

    /** A FIFO, open for writing without waiting for its reader. */
    std::string fifo(const std::string &name, int &writer) const
    {
        EXPECT_EQ(0, mkfifo(path(name).c_str(), 0600));
        writer = open(path(name).c_str(), O_RDWR | O_CLOEXEC);
        EXPECT_GE(writer, 0);
        return path(name);
    }

    std::string errorOf(const std::string &input) const
    {
        try {
            Host::open(input);
        } catch (const InputError &error) {
            return error.what();
        }
        return "no error";
    }

    std::string folder;
};

void put(int descriptor, const Bytes &bytes)
{
    ASSERT_EQ(static_cast<ssize_t>(bytes.size()), write(descriptor, bytes.data(), bytes.size()));
}

Bytes nullPackets(size_t count)
{
    psitest::Packet packet;
    packet.pid = 0x1FFF;
    const Bytes one = packet.bytes();
    Bytes all;
    for (size_t i = 0; i < count; ++i)
        all.insert(all.end(), one.begin(), one.end());
    return all;
}

Bytes patPackets()
{
    return PacketStream(0).section(psitest::PatBuilder().tsId(7).program(1, 0x100).build()).bytes();
}

Bytes pmtPackets()
{
    return PacketStream(0x100).section(psitest::PmtBuilder(1).build()).bytes();
}

} // namespace

TEST_F(HostInput, NamesAFileThatDoesNotExist)
{
    EXPECT_EQ(path("x.ts") + ": No such file or directory", errorOf(path("x.ts")));
}

TEST_F(HostInput, RefusesADirectory)
{
    EXPECT_EQ(folder + ": is a directory", errorOf(folder));
}

TEST_F(HostInput, RefusesAnEmptyFile)
{
    EXPECT_EQ(path("empty.ts") + ": is empty", errorOf(file("empty.ts", {})));
}

TEST_F(HostInput, RefusesAFileWithoutPackets)
{
    const std::string name = file("x.txt", psitest::bytesOf("This is no transport stream.\n"));
    EXPECT_EQ(name + ": no transport packets found (of 188, 192 or 204 bytes)", errorOf(name));
}

TEST_F(HostInput, GivesUpOnADeviceWithoutPackets)
{
    EXPECT_EQ("/dev/zero: no transport packets found (of 188, 192 or 204 bytes)", errorOf("/dev/zero"));
    EXPECT_EQ("/dev/null: is empty", errorOf("/dev/null"));
}

TEST_F(HostInput, RefusesMemoryWithoutPackets)
{
    const Bytes text = psitest::bytesOf("no stream");
    EXPECT_THROW(Host::openMemory(text.data(), text.size()), InputError);
    EXPECT_THROW(Host::openMemory(nullptr, 0), InputError);
}

TEST_F(HostInput, ReadsAFileToItsEnd)
{
    const auto host = Host::open(file("a.ts", patPackets() + pmtPackets() + nullPackets(3000)));
    EXPECT_FALSE(host->live());
    EXPECT_EQ(3002u, host->statistics().packets);
    EXPECT_EQ(3002u * 188, host->statistics().bytes);
    EXPECT_EQ(3000u, host->statistics().nullPackets);
    EXPECT_EQ(path("a.ts"), host->name());
}

TEST_F(HostInput, OnePacketIsAFile)
{
    const auto host = Host::open(file("one.ts", patPackets()));
    EXPECT_EQ(1u, host->statistics().packets);
    EXPECT_EQ(1u, host->search(PSI_PAT));
}

TEST_F(HostInput, TellsProgressUpToTheEnd)
{
    std::vector<std::pair<uint64_t, uint64_t>> told;
    Options options;
    options.progress = [&](uint64_t done, uint64_t total) {
        told.emplace_back(done, total);
        return true;
    };
    const uint64_t size = 60000 * 188;
    Host::open(file("big.ts", nullPackets(60000)), options);
    ASSERT_GE(told.size(), 3u);
    for (size_t i = 0; i < told.size(); ++i) {
        EXPECT_EQ(size, told[i].second);
        EXPECT_TRUE(i == 0 || told[i].first >= told[i - 1].first);
    }
    EXPECT_EQ(size, told.back().first);
}

TEST_F(HostInput, ProgressCanEndTheReading)
{
    Options options;
    options.progress = [](uint64_t done, uint64_t) { return done < (1u << 20); };
    const auto host = Host::open(file("big.ts", patPackets() + nullPackets(60000)), options);
    EXPECT_LT(host->statistics().packets, 60001u);
    EXPECT_EQ(1u, host->search(PSI_PAT));
}

TEST_F(HostInput, StandardInputMayBeAFile)
{
    const std::string name = file("in.ts", nullPackets(1) + patPackets() + pmtPackets());
    const int before = dup(STDIN_FILENO);
    const int descriptor = open(name.c_str(), O_RDONLY | O_CLOEXEC);
    ASSERT_EQ(188, lseek(descriptor, 188, SEEK_SET));
    dup2(descriptor, STDIN_FILENO);
    uint64_t total = 0;
    Options options;
    options.progress = [&](uint64_t, uint64_t of) {
        total = of;
        return true;
    };
    const auto host = Host::open("-", options);
    dup2(before, STDIN_FILENO);
    close(descriptor);
    close(before);
    EXPECT_EQ("standard input", host->name());
    EXPECT_EQ(2u, host->statistics().packets);
    EXPECT_EQ(2u * 188, total);
}

TEST_F(HostInput, APipeIsReadOnlyAsFarAsASearchNeeds)
{
    int writer = -1;
    const std::string name = fifo("pipe", writer);
    put(writer, patPackets() + nullPackets(10));
    const auto host = Host::open(name);
    EXPECT_EQ(1u, host->search(PSI_PAT));
    std::thread later([writer] {
        std::this_thread::sleep_for(milliseconds(100));
        put(writer, pmtPackets() + nullPackets(10));
    });
    EXPECT_EQ(1u, host->search(PSI_PMT));
    later.join();
    close(writer);
}

TEST_F(HostInput, APipeThatHasEndedIsLikeAFile)
{
    int writer = -1;
    const std::string name = fifo("pipe", writer);
    put(writer, nullPackets(10) + patPackets() + pmtPackets());
    const int reader = open(name.c_str(), O_RDONLY | O_CLOEXEC);
    const auto host = Host::open(name);
    close(writer);
    close(reader);
    const auto start = steady_clock::now();
    EXPECT_EQ(0u, host->search(PSI_BAT));
    EXPECT_EQ(1u, host->search(PSI_PAT));
    EXPECT_EQ(1u, host->search(PSI_PAT));
    EXPECT_EQ(1u, host->search(PSI_PMT));
    EXPECT_LT(steady_clock::now() - start, milliseconds(1000));
    EXPECT_EQ(12u, host->statistics().packets);
}

TEST_F(HostInput, APipeOfManyMegabytesIsSearchedToItsEnd)
{
    int writer = -1;
    const std::string name = fifo("pipe", writer);
    std::thread sender([&] {
        const Bytes filling = nullPackets(340);
        for (int i = 0; i < 200; ++i)
            put(writer, filling);
        put(writer, patPackets());
        close(writer);
    });
    const auto host = Host::open(name);
    EXPECT_EQ(1u, host->search(PSI_PAT));
    sender.join();
    host->readToEnd();
    EXPECT_EQ(200u * 340 + 1, host->statistics().packets);
}

TEST_F(HostInput, AnIdlePipeLetsTheSearchTimeOut)
{
    int writer = -1;
    const std::string name = fifo("pipe", writer);
    put(writer, nullPackets(10));
    const auto host = Host::open(name);
    psiSchTimeOutSet(host->object(), PSI_PAT, 150);
    const auto start = steady_clock::now();
    EXPECT_EQ(0u, host->search(PSI_PAT));
    EXPECT_GE(steady_clock::now() - start, milliseconds(140));
    EXPECT_LT(steady_clock::now() - start, milliseconds(1500));
    close(writer);
}

TEST_F(HostInput, StopEndsASearchOnAnIdlePipe)
{
    int writer = -1;
    const std::string name = fifo("pipe", writer);
    put(writer, nullPackets(10));
    const auto host = Host::open(name);
    std::thread stopper([&] {
        std::this_thread::sleep_for(milliseconds(50));
        host->stop();
    });
    const auto start = steady_clock::now();
    EXPECT_EQ(0u, host->search(PSI_PAT));
    EXPECT_LT(steady_clock::now() - start, milliseconds(1000));
    stopper.join();
    host->readToEnd();
    close(writer);
}

TEST_F(HostInput, APipeWithoutPacketsIsRefusedAtItsEnd)
{
    int writer = -1;
    const std::string name = fifo("pipe", writer);
    put(writer, psitest::bytesOf("text"));
    std::thread closer([&] {
        std::this_thread::sleep_for(milliseconds(50));
        close(writer);
    });
    EXPECT_EQ(name + ": no transport packets found (of 188, 192 or 204 bytes)", errorOf(name));
    closer.join();
}

TEST(SearchClock, StandsStillWhileFrozenAndJumpsBySleeps)
{
    SearchClock &clock = SearchClock::ofThread();
    clock.freeze();
    const u32 start = clock.now();
    std::this_thread::sleep_for(milliseconds(20));
    EXPECT_EQ(start, clock.now());
    clock.sleep(1000000);
    EXPECT_EQ(start + 1000000, clock.now());
    clock.passTimeOut();
    EXPECT_EQ(start + 1000000 + 65536, clock.now());
}

TEST(SearchClock, NeverGoesBackWhenTheInputChanges)
{
    SearchClock &clock = SearchClock::ofThread();
    clock.run();
    const u32 running = clock.now();
    clock.freeze();
    EXPECT_GE(clock.now(), running);
    clock.advance(5000);
    const u32 frozen = clock.now();
    clock.run();
    EXPECT_GE(clock.now(), frozen);
    EXPECT_LT(clock.now(), frozen + 1000);
}

TEST(SearchClock, SleepsForRealWhileItRuns)
{
    SearchClock &clock = SearchClock::ofThread();
    clock.run();
    const auto start = steady_clock::now();
    clock.sleep(30);
    EXPECT_GE(steady_clock::now() - start, milliseconds(30));
    clock.runBusy();
    clock.sleep(100000);
    EXPECT_LT(steady_clock::now() - start, milliseconds(10000));
}

TEST(SearchClock, EveryThreadHasItsOwn)
{
    SearchClock &mine = SearchClock::ofThread();
    mine.freeze();
    const u32 before = mine.now();
    std::thread other([&] {
        EXPECT_NE(&mine, &SearchClock::ofThread());
        SearchClock::ofThread().advance(100000);
    });
    other.join();
    EXPECT_EQ(before, mine.now());
}
