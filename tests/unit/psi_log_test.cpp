// Log lines: their form, and which of them a report level lets through.
#include "support/faultInjection.h"
#include "support/libraryFixture.h"
#include "support/packetBuilder.h"
#include "support/scriptedHost.h"

#include "psiLog.h"

#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <string>
#include <vector>

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

/* ---- Where a text stands ---- */

TEST(LogPlaceOfAText, HasTheTagOfItsFile)
{
    static_assert(logTagOf(logPlace(LogKind::error, "psiMem.cpp", 7)) == LogTag::psiMem);
    static_assert(logTagOf(logPlace(LogKind::error, "/work/src/psiSch.cpp", 7)) == LogTag::psiSch);
    static_assert(logTagOf(logPlace(LogKind::error, "C:\\work\\src\\psiMakeMem.cpp", 7)) == LogTag::psiMakeMem);
}

template <u32 line> constexpr bool keepsKindsWithLine()
{
    for (const LogKind kind : {LogKind::error, LogKind::warning, LogKind::info, LogKind::debug})
        if (logKindOf(logPlace(kind, "psiMakeMem.cpp", line)) != kind ||
            logLineOf(logPlace(kind, "psiInit.cpp", line)) != line)
            return false;
    return true;
}

TEST(LogPlaceOfAText, HasItsKindAndLine)
{
    static_assert(keepsKindsWithLine<1>() && keepsKindsWithLine<2>() && keepsKindsWithLine<logPartLines - 1>());
}

constexpr bool laterPartsAreCountedOn()
{
    const LogSources sources = logSources();
    for (const LogSource &source : sources.of)
        if (logLineOf(logPlace(LogKind::debug, source.file, 12)) != source.part * logPartLines + 12)
            return false;
    return true;
}

TEST(LogPlaceOfAText, CountsTheLinesOfLaterPartsBehindThoseOfEarlierOnes)
{
    static_assert(laterPartsAreCountedOn());
}

/* ---- Formats of tables ---- */

TEST(TableFormat, TakesTheArgumentsOfItsConversions)
{
    static_assert(logTakes<>("no conversion"));
    static_assert(logTakes<int>("%d") && logTakes<unsigned>("%u!") && logTakes<unsigned>("0x%x"));
    static_assert(logTakes<unsigned long>("%lu") && logTakes<unsigned long>("0x%lx") && logTakes<const char *>("%s"));
    static_assert(logTakes<unsigned, int, const char *>("a %u b %d c %s d"));
}

TEST(TableFormat, TakesNoOthers)
{
    static_assert(!logTakes<>("%u") && !logTakes<unsigned>("") && !logTakes<unsigned, unsigned>("%u"));
    static_assert(!logTakes<unsigned>("%u %u") && !logTakes<unsigned>("%d") && !logTakes<int>("%u"));
    static_assert(!logTakes<unsigned>("%lu") && !logTakes<unsigned long>("%u") && !logTakes<int>("%ld"));
    static_assert(!logTakes<int>("%s") && !logTakes<const char *>("%d") && !logTakes<const char *>("%ls"));
    static_assert(!logTakes<char *>("%s") && !logTakes<u8>("%u") && !logTakes<u8>("%d"));
    static_assert(!logTakes<unsigned>("%") && !logTakes<>("%") && !logTakes<>("%%") && !logTakes<unsigned>("%5u"));
}

TEST_F(LogForm, OfATableTextWithArguments)
{
    ScriptedHost host;
    host.play({answer::result(7), answer::packets(Bytes(8 * 188), 8), answer::noTable()});
    EXPECT_EQ(0U, schTable(host.id(), PSI_CAT));
    EXPECT_LOG(log, warning("psiSch", "schNormalPsi: readPsi return val error, 7(unknown)"),
               error("psiSch", "schNormalPsi: readPsi get data error, tsNum is 8! "));
}

/* ---- The hook ---- */

/** @brief A call of the hook. */
struct Hooked {
    void *user;
    u32 kind;
    std::string file;
    u32 line;
    std::string text;
};

std::vector<Hooked> hooked;

__attribute__((format(printf, 5, 0))) void takeMessage(void *user, u32 kind, const char *file, u32 line,
                                                       const char *message, va_list args)
{
    char text[256];
    std::vsnprintf(text, sizeof text, message, args);
    hooked.push_back({user, kind, file, line, text});
}

class LogHook : public LogProvoker {
protected:
    void SetUp() override
    {
        LogProvoker::SetUp();
        psiLogHookSet(takeMessage, &user);
        hooked.clear();
        printfCalls = 0;
    }
    void TearDown() override
    {
        psiLogHookSet(nullptr, nullptr);
        LogProvoker::TearDown();
    }
    int user = 0;
};

TEST_F(LogHook, GetsTheMessageInPlaceOfThreePrintfCalls)
{
    getTableObj(0);
    ASSERT_EQ(1U, hooked.size());
    EXPECT_EQ(&user, hooked[0].user);
    EXPECT_EQ(0U, hooked[0].kind);
    EXPECT_EQ("../../psiData.cpp", hooked[0].file);
    EXPECT_EQ("getTableObj: ERROR, objId = 0!", hooked[0].text);
    EXPECT_EQ(0, printfCalls);
    EXPECT_NO_LOG(log);
}

TEST_F(LogHook, GetsTheLineThatPrintfWouldShow)
{
    getTableObj(0);
    descInfoCreat(nullptr);
    psiLogHookSet(nullptr, nullptr);
    getTableObj(0);
    descInfoCreat(nullptr);
    const auto lines = log.take();
    ASSERT_EQ(2U, lines.size());
    ASSERT_EQ(2U, hooked.size());
    for (std::size_t i = 0; i < 2; ++i) {
        EXPECT_EQ(lines[i].path, hooked[i].file);
        EXPECT_EQ(lines[i].line, hooked[i].line);
        EXPECT_EQ(lines[i].text, hooked[i].text);
    }
}

TEST_F(LogHook, GetsEveryKindThatTheLevelLetsThrough)
{
    for (const u32 level : {0U, 1U, 2U, 3U, 4U}) {
        hooked.clear();
        setPsiSchRPTLevel(level);
        getTableObj(0);
        provokeWarning();
        provokeDebug();
        for (u32 kind = 0; kind < 4; ++kind) {
            const auto found =
                std::count_if(hooked.begin(), hooked.end(), [=](const Hooked &h) { return h.kind == kind; });
            EXPECT_EQ(level > kind, found != 0) << "level " << level << ", kind " << kind;
        }
    }
    EXPECT_EQ(0, printfCalls);
}

TEST_F(LogHook, GetsMessagesOfTheMakeSide)
{
    EXPECT_EQ(nullptr, getOutTableObj(0));
    ASSERT_EQ(1U, hooked.size());
    EXPECT_EQ("../../psiMakeData.cpp", hooked[0].file);
}

TEST_F(LogHook, LeavesTheReportOfThePoolToPrintf)
{
    EXPECT_EQ(0, psi_buddy_report(0));
    EXPECT_TRUE(hooked.empty());
    EXPECT_NE("", log.takeRaw());
}

TEST_F(LogHook, NullGivesTheThreePrintfCallsBack)
{
    psiLogHookSet(nullptr, &user);
    getTableObj(0);
    EXPECT_EQ(3, printfCalls);
    EXPECT_TRUE(hooked.empty());
    EXPECT_LOG(log, error("psiData", "getTableObj: ERROR, objId = 0!"));
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
