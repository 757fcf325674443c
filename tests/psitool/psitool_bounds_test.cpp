// psitool's memory: bounded whatever the input is, and however long. Its time: it ends when nobody reads any more.
#include "loopback.h"
#include "programFixture.h"
#include "support/pattern.h"
#include "support/sanitizers.h"

#include <algorithm>
#include <chrono>
#include <fcntl.h>
#include <fstream>
#include <random>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

using namespace psitest;

constexpr long KiB = 1;
constexpr long MiB = 1024 * KiB;

class PsitoolBounds : public PsitoolTest {
protected:
    void SetUp() override
    {
        if (sanitized)
            GTEST_SKIP() << "the sanitizers' own memory would be measured";
        PsitoolTest::SetUp();
    }

    /** Run the program in the test's folder. @return the most memory that it had at a time, in KiB */
    long memoryOf(std::vector<std::string> arguments, const std::string &standardInput = "/dev/null") const
    {
        arguments.insert(arguments.begin(), PSITOOL_PROGRAM);
        const pid_t child = fork();
        if (child == 0) {
            std::vector<char *> words;
            for (std::string &one : arguments)
                words.push_back(one.data());
            words.push_back(nullptr);
            if (chdir(folder.c_str()) != 0)
                _exit(126);
            dup2(open(standardInput.c_str(), O_RDONLY), STDIN_FILENO);
            const int sink = open("sink", O_WRONLY | O_CREAT | O_TRUNC, 0600);
            dup2(sink, STDOUT_FILENO);
            dup2(sink, STDERR_FILENO);
            execv(words[0], words.data());
            _exit(127);
        }
        int status = 0;
        rusage used = {};
        EXPECT_EQ(child, wait4(child, &status, 0, &used));
        EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) < 126) << status;
        return used.ru_maxrss;
    }

    /** A file of so many bytes, in pieces that a function gives. */
    template <class Piece> void fill(const std::string &name, std::size_t bytes, Piece piece) const
    {
        std::ofstream file(folder / name, std::ios::binary);
        for (std::size_t written = 0; written < bytes;) {
            const std::string next = piece();
            file.write(next.data(), static_cast<std::streamsize>(next.size()));
            written += next.size();
        }
    }

    void fillWithGarbage(const std::string &name, std::size_t bytes, const std::string &front = {}) const
    {
        std::mt19937_64 random(1);
        std::string piece(1U << 16, '\0'); // again and again: packets of no size come round with it
        for (char &one : piece)
            one = static_cast<char>(random() >> 16);
        bool begun = false;
        fill(name, bytes, [&] { return std::exchange(begun, true) ? piece : front + piece; });
    }

    /** Sections that are all descriptors, the most fields that bytes can give; each of another bouquet. */
    void fillWithHostileSections(const std::string &name, std::size_t bytes) const
    {
        PacketStream stream(0x11);
        Bytes descriptors;
        for (int i = 0; i < 490; ++i)
            descriptors = descriptors + Bytes{static_cast<u8>(0x40 + i % 0x40), 0};
        for (u16 bouquet = 0; stream.packets().size() * packetSize < bytes; ++bouquet)
            stream.section(BatBuilder().bouquetId(bouquet).desc(descriptors).build());
        write(name, stream.bytes());
    }
};

TEST_F(PsitoolBounds, GarbageTakesNoMemory)
{
    fillWithGarbage("garbage", 130U << 20);
    for (const char *subcommand : {"scan", "tables", "pids", "services"})
        EXPECT_LT(memoryOf({subcommand, "garbage"}), 40 * MiB) << subcommand;
    EXPECT_LT(memoryOf({"edit", "garbage", "-o", "out.ts", "--service", "10", "name=x"}), 100 * MiB);
    EXPECT_LT(memoryOf({"edit", "-", "-o", "out.ts", "--service", "10", "name=x"}, (folder / "garbage").string()),
              100 * MiB);
}

TEST_F(PsitoolBounds, GarbageBehindAStreamGoesThroughAnEditInLittleMemory)
{
    fillWithGarbage("in.ts", 130U << 20, contentOf(PSITOOL_EXAMPLE));
    EXPECT_LT(memoryOf({"edit", "in.ts", "-o", "out.ts", "--service", "10", "name=x"}), 100 * MiB);
    EXPECT_EQ(std::filesystem::file_size(folder / "in.ts"), std::filesystem::file_size(folder / "out.ts"));
}

TEST_F(PsitoolBounds, ALongFileIsEditedInLittleMemory)
{
    fill("in.ts", 130U << 20, [example = contentOf(PSITOOL_EXAMPLE)] { return example; });
    EXPECT_LT(memoryOf({"edit", "in.ts", "-o", "out.ts", "--service", "10", "name=x"}), 80 * MiB);
    EXPECT_EQ(std::filesystem::file_size(folder / "in.ts"), std::filesystem::file_size(folder / "out.ts"));
}

TEST_F(PsitoolBounds, HostileSectionsTakeLittleMemoryWhateverIsMadeOfThem)
{
    fillWithHostileSections("hostile.ts", 300U << 10);
    const std::vector<std::vector<std::string>> commands = {
        {"scan"}, {"scan", "--json"}, {"pids"}, {"services"}, {"tables"}, {"tables", "--json"}, {"scan", "--search"}};
    for (std::vector<std::string> command : commands) {
        command.emplace_back("hostile.ts");
        EXPECT_LT(memoryOf(command), 40 * MiB) << command[0] << " " << command[1];
    }
    EXPECT_LT(memoryOf({"edit", "hostile.ts", "-o", "out.ts", "--bouquet-name", "1=x"}), 60 * MiB);
}

TEST_F(PsitoolBounds, AFloodOfTablesIsEditedUpToABoundAndTheRestIsTold)
{
    PacketStream stream(0x11);
    for (u32 bouquet = 0; bouquet < 40000; ++bouquet)
        stream.section(BatBuilder().bouquetId(static_cast<u16>(bouquet)).build());
    write("flood.ts", stream.bytes());
    const std::string name = R"({"name": "bouquet_name_descriptor", "fields": {"name": "x"}})";
    const std::vector<std::string> edit = {"edit", "flood.ts", "-o", "out.ts", "--set", "bat.descriptors[+]=" + name};
    EXPECT_LT(memoryOf(edit), 100 * MiB);
    EXPECT_EQ(contentOf(folder / "sink"),
              "psitool: flood.ts: there are more than 16384 tables on the edited PIDs: what "
              "came beyond was not edited\n");
    EXPECT_EQ(std::filesystem::file_size(folder / "out.ts"), stream.bytes().size());
}

TEST_F(PsitoolBounds, WhatAScanHasNoRoomForIsTold)
{
    PacketStream stream(0x11);
    for (u32 bouquet = 0; bouquet < 10000; ++bouquet)
        stream.section(BatBuilder().bouquetId(static_cast<u16>(bouquet)).build());
    const std::string text = shell("psitool scan " + write("flood.ts", stream.bytes())).out;
    EXPECT_TRUE(contains(text, " sections left out for want of room\n")) << text.substr(0, 400);
}

TEST_F(PsitoolBounds, AReaderThatLeavesIsNoFailure)
{
    // The last one has 24 billion packets: whoever went through them would not be here again.
    fillWithHostileSections("hostile.ts", 300U << 10);
    shell("psitool scan --json '" PSITOOL_EXAMPLE "' >m.json");
    for (const char *command :
         {"tables --json hostile.ts", "tables hostile.ts", "make m.json -o - --duration 30 --bitrate 10M",
          "make m.json -o /dev/stdout --duration 30 --bitrate 10M", "make m.json -o - --duration 3600 --bitrate 10G"}) {
        const Result result =
            shell(std::string("{ '" PSITOOL_PROGRAM "' ") + command + "; echo $? >status; } | head -c 1000 | wc -c");
        EXPECT_EQ(result.out, "1000\n") << command;
        EXPECT_EQ(result.err, "") << command;
        EXPECT_EQ(contentOf(folder / "status"), "0\n") << command;
    }
}

/** What waits for an input that does not end, and has nothing to say meanwhile. */
class PsitoolWithoutReader : public PsitoolTest, public testing::WithParamInterface<const char *> {};

TEST_P(PsitoolWithoutReader, EndsAtOnce)
{
    shell("psitool scan --json '" PSITOOL_EXAMPLE "' >m.json");
    const std::string command = replaced(GetParam(), "LIVE", liveUrl(freePort()));
    const auto start = std::chrono::steady_clock::now();
    const Result result = shell("mkfifo fifo; sleep 60 >fifo & id=$!; exec 3<fifo; "
                                "{ timeout 50 '" PSITOOL_PROGRAM "' " +
                                command + "; echo $? >status; } | true; kill $id");
    const std::chrono::duration<double> took = std::chrono::steady_clock::now() - start;
    EXPECT_LT(took.count(), 10);
    EXPECT_EQ(result.err, "");
    EXPECT_EQ(contentOf(folder / "status"), contains(command, "diff") ? "2\n" : "0\n");
}

INSTANTIATE_TEST_SUITE_P(Commands, PsitoolWithoutReader,
                         testing::Values("scan --watch 60 LIVE", "scan --search --watch 60 LIVE",
                                         "scan --timeout 60 --for nit-actual=60 LIVE",
                                         "pids --timeout 60 --for nit-actual=60 LIVE",
                                         "services --timeout 60 --for nit-actual=60 LIVE",
                                         "tables --timeout 60 --for nit-actual=60 LIVE", "diff m.json fifo",
                                         "scan fifo", "scan --search fifo", "pids - <fifo", "services fifo",
                                         "tables fifo", "make - -o - <fifo", "compile - -o - <fifo",
                                         "edit fifo -o - --program 1 remove", "edit LIVE -o - --program 1 remove"));

} // namespace
