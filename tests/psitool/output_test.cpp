#include "make/packetOut.h"
#include "output/outputFile.h"

#include "support/packetBuilder.h"

#include <gtest/gtest.h>

#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <sys/stat.h>
#include <unistd.h>

namespace {

using namespace psitest;

std::string bytesOfPackets(const std::vector<psitool::Packet> &packets)
{
    std::string bytes;
    for (const psitool::Packet &packet : packets)
        psitool::append(bytes, packet);
    return bytes;
}

std::string textOf(const Bytes &bytes)
{
    return {bytes.begin(), bytes.end()};
}

class CutSection : public testing::TestWithParam<std::size_t> {};

TEST_P(CutSection, GivesThePacketsOfAMultiplexer)
{
    const Bytes section = sectionOfSize(GetParam());
    EXPECT_EQ(bytesOfPackets(psitool::cutSection(0x1ABC, {section.data(), section.size()})),
              textOf(packetsOf(section, 0x1ABC)));
}

INSTANTIATE_TEST_SUITE_P(Sizes, CutSection, testing::Values(12, 183, 184, 367, 368, 1024, 1025, 4096));

TEST(CutSection, RefusesMoreThanASectionCanBe)
{
    const Bytes bytes(4097, 0);
    EXPECT_THROW(psitool::cutSection(0x100, {bytes.data(), bytes.size()}), std::length_error);
}

TEST(ContinuityCounters, RunOnForEachPidAndLeaveNullPacketsAlone)
{
    psitool::ContinuityCounters counters;
    const Bytes section = sectionOfSize(1024);
    std::string made;
    for (int i = 0; i < 4; ++i)
        for (const u16 pid : {u16{0x100}, u16{0x101}})
            for (psitool::Packet packet : psitool::cutSection(pid, {section.data(), section.size()})) {
                counters.stamp(packet);
                EXPECT_EQ(packet[2], pid & 0xFF);
                if (pid == 0x100)
                    psitool::append(made, packet);
            }
    psitool::Packet null = psitool::nullPacket();
    counters.stamp(null);
    EXPECT_EQ(null, psitool::nullPacket());
    PacketStream expected(0x100);
    for (int i = 0; i < 4; ++i)
        expected.section(section);
    EXPECT_EQ(made, textOf(expected.bytes()));
}

TEST(NullPacket, IsPid1FffWithPayload)
{
    const psitool::Packet &packet = psitool::nullPacket();
    EXPECT_EQ(textOf({packet.begin(), packet.begin() + 4}), "\x47\x1F\xFF\x10");
}

class OutputFile : public testing::Test {
protected:
    void SetUp() override
    {
        std::string pattern = testing::TempDir() + "output_XXXXXX";
        ASSERT_NE(mkdtemp(pattern.data()), nullptr);
        folder = pattern;
    }
    void TearDown() override { std::filesystem::remove_all(folder); }

    std::string path(const std::string &name) const { return (folder / name).string(); }
    std::string content(const std::string &name) const
    {
        std::ifstream file(path(name), std::ios::binary);
        std::ostringstream text;
        text << file.rdbuf();
        return text.str();
    }
    std::size_t files() const
    {
        return static_cast<std::size_t>(
            std::distance(std::filesystem::directory_iterator(folder), std::filesystem::directory_iterator()));
    }
    void put(const std::string &name, const std::string &text) const { std::ofstream(path(name)) << text; }

    std::filesystem::path folder;
    psitool::Output output;
};

TEST_F(OutputFile, IsThereAfterTheCommitOnly)
{
    psitool::OutputFile file(path("a"), output);
    file.write("one ");
    file.write("two");
    EXPECT_FALSE(std::filesystem::exists(path("a")));
    file.commit();
    EXPECT_EQ(content("a"), "one two");
    EXPECT_EQ(files(), 1U);
}

TEST_F(OutputFile, LeavesNothingWithoutACommit)
{
    put("a", "old");
    {
        psitool::OutputFile file(path("a"), output);
        file.write("new");
    }
    EXPECT_EQ(content("a"), "old");
    EXPECT_EQ(files(), 1U);
}

TEST_F(OutputFile, KeepsTheModeAndTheLinkOfWhatItReplaces)
{
    put("real", "old");
    ASSERT_EQ(chmod(path("real").c_str(), 0640), 0);
    ASSERT_EQ(symlink("real", path("link").c_str()), 0);
    psitool::OutputFile file(path("link"), output);
    file.write("new");
    file.commit();
    EXPECT_EQ(content("real"), "new");
    EXPECT_TRUE(std::filesystem::is_symlink(path("link")));
    EXPECT_EQ(std::filesystem::status(path("real")).permissions(), std::filesystem::perms(0640));
}

TEST_F(OutputFile, OfANewOneTheModeFollowsTheMask)
{
    const mode_t mask = umask(027);
    psitool::OutputFile file(path("a"), output);
    umask(mask);
    file.commit();
    EXPECT_EQ(std::filesystem::status(path("a")).permissions(), std::filesystem::perms(0640));
}

TEST_F(OutputFile, ADeviceIsWrittenAndStaysADevice)
{
    // A terminal of the test's own: nothing that the machine needs is lost when this fails.
    const int master = posix_openpt(O_RDWR | O_NOCTTY);
    ASSERT_GE(master, 0);
    ASSERT_EQ(0, grantpt(master));
    ASSERT_EQ(0, unlockpt(master));
    const std::string device = ptsname(master);

    psitool::OutputFile file(device, output);
    file.write("away");
    file.commit();
    EXPECT_TRUE(std::filesystem::is_character_file(device));
    char written[8] = {};
    EXPECT_EQ(4, read(master, written, sizeof(written)));
    EXPECT_STREQ("away", written);
    close(master);
}

TEST_F(OutputFile, AFullDeviceIsNamed)
{
    psitool::OutputFile file("/dev/full", output);
    try {
        file.write("x");
        FAIL() << "written";
    } catch (const psitool::OutputError &error) {
        EXPECT_STREQ(error.what(), "/dev/full: cannot be written: No space left on device");
    }
}

TEST_F(OutputFile, AMissingFolderOrAFolderIsRefused)
{
    EXPECT_THROW(psitool::OutputFile(path("no/a"), output), psitool::OutputError);
    EXPECT_THROW(psitool::OutputFile(folder.string(), output), psitool::OutputError);
    EXPECT_EQ(files(), 0U);
}

TEST_F(OutputFile, ASignalTakesTheUnfinishedFileAway)
{
    const std::string name = path("a");
    EXPECT_EXIT(
        {
            psitool::OutputFile file(name, output);
            file.write("half");
            std::raise(SIGTERM);
        },
        testing::KilledBySignal(SIGTERM), "");
    EXPECT_EQ(files(), 0U);
}

} // namespace
