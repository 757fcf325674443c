#include "kernel.h"
#include "psiDemo.h"

#include <gtest/gtest.h>

namespace {

class VxWorksDemo : public testing::Test {
protected:
    VxWorksDemo() { kernel = Kernel(); }

    /** The demo, and what it printed. */
    static std::string printed(const char *name, int result)
    {
        testing::internal::CaptureStdout();
        EXPECT_EQ(psiDemo(name), result);
        return testing::internal::GetCapturedStdout();
    }
};

TEST_F(VxWorksDemo, FindsTheProgramThatItHasWithIt)
{
    const std::string text = printed(nullptr, 1);
    EXPECT_NE(text.find("program 1 \"\": PMT on PID 0x0100\n"
                        "  stream_type 0x1B on PID 0x0101\n"
                        "  stream_type 0x0F on PID 0x0102\n"),
              std::string::npos)
        << text;
    EXPECT_TRUE(kernel.blocks.empty()) << "the pool was given back";
}

TEST_F(VxWorksDemo, FindsTheProgramsOfARecordingMoreThanOnce)
{
    for (int run = 0; run < 2; run++) {
        const std::string text = printed(EXAMPLE_STREAM, 4);
        EXPECT_NE(text.find("program 10 \"News One\": PMT on PID 0x0100"), std::string::npos) << text;
    }
}

TEST_F(VxWorksDemo, SaysThatARecordingIsNotThere)
{
    EXPECT_EQ(printed("no such file", -1), "psiDemo: no packets in no such file\n");
}

TEST_F(VxWorksDemo, SaysThatThereIsNoPat)
{
    EXPECT_NE(printed(EXAMPLE_NO_PAT, -1).find("psiDemo: no PAT\n"), std::string::npos);
}

TEST_F(VxWorksDemo, EndsWithoutMutexesAndWithoutMemory)
{
    kernel.outOfMutexes = true;
    EXPECT_EQ(printed(nullptr, -1), "");
    kernel = Kernel();
    kernel.outOfMemory = true;
    EXPECT_NE(printed(nullptr, -1).find("buddy create failed"), std::string::npos);
    EXPECT_TRUE(kernel.blocks.empty());
}

} // namespace
