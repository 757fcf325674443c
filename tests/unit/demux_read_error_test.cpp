// Inputs whose reading fails half-way: what came before is known, and why there is no more is told.
#include "demux/collector.h"

#include "support/packetBuilder.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cerrno>
#include <cstdio>
#include <fstream>
#include <sys/syscall.h>
#include <unistd.h>

namespace {

/** What a read gives once it has been called so many times, and how often it does. */
std::atomic<int> readsUntilFailure{-1};
std::atomic<int> failures{0};
std::atomic<int> failure{0};
std::atomic<size_t> mostBytes{0};

} // namespace

/** In place of the C library's: disks and tuners that fail are not at hand. */
extern "C" ssize_t read(int descriptor, void *buffer, size_t size)
{
    if (readsUntilFailure >= 0 && readsUntilFailure-- == 0) {
        if (--failures > 0)
            readsUntilFailure = 0;
        errno = failure;
        return -1;
    }
    if (mostBytes != 0)
        size = std::min(size, mostBytes.load());
    return syscall(SYS_read, descriptor, buffer, size);
}

namespace {

using namespace psi::demux;
using psitest::Bytes;
using psitest::PacketStream;
using psitest::operator+;

class ReadError : public testing::Test {
protected:
    void SetUp() override
    {
        ASSERT_TRUE(initLibrary());
        PacketStream pat(0);
        for (int i = 0; i < 600; ++i)
            pat.section(psitest::PatBuilder().tsId(9).program(1, 0x100).build());
        std::ofstream(file(), std::ios::binary)
            .write(reinterpret_cast<const char *>(pat.bytes().data()),
                   static_cast<std::streamsize>(pat.bytes().size()));
    }
    void TearDown() override
    {
        readsUntilFailure = -1;
        mostBytes = 0;
        std::remove(file().c_str());
    }

    static std::string file() { return testing::TempDir() + "read_error_" + std::to_string(getpid()) + ".ts"; }
    static void failAfter(int reads, int error, int times = 1)
    {
        mostBytes = 188 * 100;
        failure = error;
        failures = times;
        readsUntilFailure = reads;
    }
};

TEST_F(ReadError, OfAFileLeavesWhatCameBefore)
{
    failAfter(3, EIO);
    const auto host = Host::open(file());
    EXPECT_EQ(file() + ": Input/output error", host->failure());
    EXPECT_EQ(300u, host->statistics().packets);
    EXPECT_EQ(1u, host->search(PSI_PAT));
}

TEST_F(ReadError, AtTheVeryBeginningIsAllThereIs)
{
    failAfter(0, EIO);
    try {
        Host::open(file());
        FAIL() << "no error";
    } catch (const InputError &error) {
        EXPECT_EQ(file() + ": Input/output error", error.what());
    }
}

TEST_F(ReadError, OfACollectedFileLeavesWhatCameBefore)
{
    failAfter(3, EIO);
    Collector collector(file());
    collector.run();
    EXPECT_EQ(file() + ": Input/output error", collector.failure());
    EXPECT_EQ(300u, collector.statistics().packets);
    ASSERT_EQ(1u, collector.tables().size());
}

TEST_F(ReadError, ThatADeviceLostPacketsIsCountedAndReadingGoesOn)
{
    failAfter(3, EOVERFLOW, 2);
    Collector collector(file());
    collector.run();
    EXPECT_EQ("", collector.failure());
    EXPECT_EQ(600u, collector.statistics().packets);
    EXPECT_EQ(2u, collector.statistics().overflows);
    failAfter(3, EOVERFLOW);
    const auto host = Host::open(file());
    EXPECT_EQ(600u, host->statistics().packets);
    EXPECT_EQ(1u, host->statistics().overflows);
}

} // namespace
