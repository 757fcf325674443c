// Log lines: their form, and which of them a report level lets through.
#include "support/faultInjection.h"
#include "support/libraryFixture.h"
#include "support/packetBuilder.h"
#include "support/scriptedHost.h"

#include "psiLog.h"

#include <cstdarg>
#include <cstdio>

using namespace psi::core;

// Every printf() of this program passes here, so that the number of calls can be counted.
namespace {
int printfCalls = 0;
}

extern "C" {
int __wrap_printf(const char *format, ...) __attribute__((format(printf, 1, 2)));

int __wrap_printf(const char *format, ...)
{
    ++printfCalls;
    va_list args;
    va_start(args, format);
    const int written = std::vprintf(format, args);
    va_end(args);
    return written;
}
} // extern "C"

namespace psitest {
namespace {

class LogProvoker : public LibraryTest {
protected:
    /** @brief A run that does not open a section: an info and a warning line. */
    static void provokeWarning()
    {
        const Bytes bytes = Packet().bytes();
        Bytes out(1024);
        u16 len = 0;
        EXPECT_EQ(-1, psiTsToSection(bytes.data(), 1, out.data(), &len));
    }
    /** @brief One read that is not ready: 1 debug line among info lines. */
    static void provokeDebug()
    {
        ScriptedHost host;
        host.play({answer::notReady(), answer::noTable()});
        EXPECT_EQ(0U, schTable(host.id(), PSI_CAT));
    }
};

struct LevelCase {
    u32 level;
    bool error, warning, info, debug;
};

constexpr LevelCase levelCases[] = {
    {0, false, false, false, false},
    {1, true, false, false, false},
    {2, true, true, false, false},
    {3, true, true, true, false},
    {4, true, true, true, true},
    {5, true, true, true, true},
    {0x7FFFFFFF, true, true, true, true},
    {0x80000000, false, false, false, false}, // the level is signed
    {0xFFFFFFFF, false, false, false, false},
};

class SearchLevel : public LogProvoker, public testing::WithParamInterface<LevelCase> {};

TEST_P(SearchLevel, LetsItsKindsThrough)
{
    setPsiSchRPTLevel(GetParam().level);
    getTableObj(0);
    provokeWarning();
    provokeDebug();
    const auto lines = log.take();
    EXPECT_EQ(GetParam().error, !ofKind(lines, Kind::Error).empty());
    EXPECT_EQ(GetParam().warning, !ofKind(lines, Kind::Warning).empty());
    EXPECT_EQ(GetParam().info, !ofKind(lines, Kind::Info).empty());
    EXPECT_EQ(GetParam().debug, !ofKind(lines, Kind::Debug).empty());
    EXPECT_TRUE(ofKind(lines, Kind::Plain).empty());
}

INSTANTIATE_TEST_SUITE_P(AllLevels, SearchLevel, testing::ValuesIn(levelCases),
                         [](const auto &param) { return format("Level%08X", param.param.level); });

using MakeLevel = LogProvoker;

TEST_F(MakeLevel, GovernsTheMakeSideAlone)
{
    setPsiSchRPTLevel(0);
    setPsiMakeRPTLevel(1);
    EXPECT_EQ(nullptr, getOutTableObj(0));
    EXPECT_EQ(nullptr, getTableObj(0));
    EXPECT_LOG(log, error("psiMakeData", "getTableObj: ERROR, objId = 0!"));
    setPsiMakeRPTLevel(0);
    EXPECT_EQ(nullptr, getOutTableObj(0));
    EXPECT_NO_LOG(log);
}

TEST_F(MakeLevel, ShowsInfoLinesFromThree)
{
    setPsiMakeRPTLevel(2);
    const psiObjId quiet = psiMakeCreate();
    EXPECT_NO_LOG(log);
    setPsiMakeRPTLevel(3);
    const psiObjId loud = psiMakeCreate();
    EXPECT_LOG(log, info("psiMakeMem", format("psiMakeCreate: OK! objId = 0x%lx", static_cast<unsigned long>(loud))));
    setPsiMakeRPTLevel(2);
    EXPECT_EQ(0, psiMakeDestroy(quiet));
    EXPECT_EQ(0, psiMakeDestroy(loud));
}

using LogForm = LogProvoker;

TEST_F(LogForm, IsPrefixMessageAndCarriageReturnLineFeed)
{
    getTableObj(0);
    const std::string raw = log.takeRaw();
    unsigned line = 0;
    int end = 0;
    // NOLINTNEXTLINE(cert-err34-c): the number is the library's own
    ASSERT_EQ(1, std::sscanf(raw.c_str(), "[../../psiData.cpp]line%u error: %n", &line, &end)) << raw;
    EXPECT_GT(line, 0U);
    EXPECT_EQ("getTableObj: ERROR, objId = 0!\r\n", raw.substr(static_cast<std::size_t>(end)));
}

TEST_F(LogForm, IsThreePrintfCalls)
{
    printfCalls = 0;
    getTableObj(0);
    EXPECT_EQ(3, printfCalls) << "error of psiData";
    printfCalls = 0;
    provokeWarning();
    EXPECT_EQ(3, printfCalls) << "warning of psiFun";
    printfCalls = 0;
    descInfoCreat(nullptr);
    EXPECT_EQ(3, printfCalls) << "error of psiMem";
    printfCalls = 0;
    getOutTableObj(0);
    EXPECT_EQ(3, printfCalls) << "error of psiMakeData";
    printfCalls = 0;
    setPsiSchRPTLevel(0);
    getTableObj(0);
    EXPECT_EQ(0, printfCalls);
}

TEST_F(LogForm, NamesEveryKind)
{
    setPsiSchRPTLevel(4);
    getTableObj(0);
    provokeWarning();
    const auto lines = log.take();
    EXPECT_TRUE(contains(lines, error("psiData", "getTableObj: ERROR, objId = 0!")));
    EXPECT_TRUE(contains(lines, info("psiFun", "tsGetTable tsNum = 1")));
    EXPECT_TRUE(contains(lines, warning("psiFun", "psiTsToSection: payload_unit_start_indicator is 1, ERROR")));
    provokeDebug();
    EXPECT_LOG_CONTAINS(log, debug("psiSch", "schNormalPsi: PSI_DATA_NO_READY!"));
}

TEST_F(LogForm, TakesAChangeOfLevelInARunningSearchAtOnce)
{
    setPsiSchRPTLevel(0);
    ScriptedHost host;
    host.play({answer::notReady(), answer::notReady().doing([](const psiSchInfo &) { setPsiSchRPTLevel(4); }),
               answer::notReady().doing([](const psiSchInfo &) { setPsiSchRPTLevel(0); }), answer::noTable()});
    EXPECT_EQ(0U, schTable(host.id(), PSI_CAT));
    EXPECT_LOG(log, debug("psiSch", "schNormalPsi: PSI_DATA_NO_READY!"));
}

TEST(LogFileName, IsTheLastPartOfThePath)
{
    EXPECT_STREQ("../../psiX.cpp", LogFile("psiX.cpp").path);
    EXPECT_STREQ("../../psiX.cpp", LogFile("/work/src/psiX.cpp").path);
    EXPECT_STREQ("../../psiX.cpp", LogFile("C:\\work\\src\\psiX.cpp").path);
    EXPECT_STREQ("../../", LogFile("src/").path);
}

TEST(LogFileName, IsCutToItsRoom)
{
    const std::string fits(25, 'f');
    EXPECT_EQ("../../" + fits, LogFile(fits.c_str()).path);
    EXPECT_EQ("../../" + fits, LogFile((fits + "g").c_str()).path);
}

TEST_F(LogForm, PrintsHandlesAsUnsignedDecimals)
{
    const psiObjId wrong = ~psiObjId{0} - 7;
    EXPECT_EQ(nullptr, getTableObj(wrong));
    EXPECT_LOG(log,
               error("psiData", format("getTableObj: Not Found, objId = %lu!", static_cast<unsigned long>(wrong))));
}

} // namespace
} // namespace psitest
