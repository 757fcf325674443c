// psitool pids: what each PID is and carries, and how often the tables come.
#include "programFixture.h"

#include <cmath>

namespace {

using namespace psitest;
using nlohmann::json;

class PsitoolPids : public PsitoolTest {
protected:
    json pidOf(const json &object, int pid) const
    {
        for (const json &one : object["pids"])
            if (one["pid"] == pid)
                return one;
        return {};
    }
};

Bytes program(const Bytes &pmt)
{
    return packetsOf(PatBuilder().program(7, 0x100).build(), 0) + packetsOf(pmt, 0x100);
}

TEST_F(PsitoolPids, EachIsShownWithWhatItIs)
{
    const std::string text = shell("psitool pids " + example).out;
    for (const char *line : {"PMT of program 10 (sections)\n",
                             "MPEG-2 video of program 10; PCR of program 10 (PES, PCR every 40 to 80 ms (mean 78))\n",
                             "version 0, 1 section, 22 received, every 19 to 184 ms (mean 92), from 1 ms to 1.938 s\n"})
        EXPECT_TRUE(contains(text, line)) << line << text;
}

TEST_F(PsitoolPids, EqualNumbersOfPacketsAreEqualShares)
{
    Bytes stream = program(PmtBuilder(7).build());
    for (u8 i = 0; i < 4; ++i)
        stream = stream + packetsOf(PatBuilder().program(7, 0x100).build(), 0x300, i);
    stream = stream + packetsOf(PatBuilder().program(7, 0x100).build(), 0x301);
    const std::string text = shell("psitool pids " + write("a.ts", stream)).out;
    for (const char *line : {"0x0000 (0)              1  14.29 %", "0x0100 (256)            1  14.29 %",
                             "0x0300 (768)            4  57.14 %", "0x0301 (769)            1  14.29 %"})
        EXPECT_TRUE(contains(text, line)) << line << text;
}

TEST_F(PsitoolPids, ProgramsOfAPidAreInAscendingOrder)
{
    const Bytes stream = packetsOf(PatBuilder().program(7, 0x100).program(9, 0x101).build(), 0) +
                         packetsOf(PmtBuilder(9).stream(0x1B, 0x200).build(), 0x101) +
                         packetsOf(PmtBuilder(7).stream(0x1B, 0x200).build(), 0x100);
    const std::string text = shell("psitool pids " + write("a.ts", stream)).out;
    EXPECT_TRUE(contains(text, "H.264/AVC video of programs 7, 9")) << text;
}

TEST_F(PsitoolPids, TablesTellHowManySectionsWereReceived)
{
    const Bytes pat = PatBuilder().program(7, 0x100).build();
    const std::string text =
        shell("psitool pids " + write("a.ts", packetsOf(pat, 0) + packetsOf(pat, 0, 1) + packetsOf(pat, 0, 2))).out;
    EXPECT_TRUE(contains(text, "version 0, 1 section, 3 received\n")) << text;
}

TEST_F(PsitoolPids, PcrIntervalsAreThoseOfThePcrs)
{
    const json pid = pidOf(jsonOf("psitool pids --json " + example), 0x207);
    EXPECT_EQ(pid["pcr_expected"], true);
    EXPECT_EQ(pid["pcr_interval_ms"]["shortest"], 360.0);
    EXPECT_EQ(pid["pcr_interval_ms"]["longest"], 360.0);
}

TEST_F(PsitoolPids, AClockWithoutPcrsIsPointedOut)
{
    const Bytes pmt = PmtBuilder(7).pcrPid(0x101).stream(0x1B, 0x101).build();
    const std::string file = write("a.ts", program(pmt) + adaptationOnly(0x101, 0).bytes());
    EXPECT_TRUE(contains(shell("psitool pids " + file).out, "PCR of program 7 (no PCR came)\n"));
    EXPECT_EQ(pidOf(jsonOf("psitool pids --json " + file), 0x101)["pcr_interval_ms"], nullptr);
}

TEST_F(PsitoolPids, TablesAreToldApartByWhatTheirIdentifierSays)
{
    const auto textOf = [this](const Bytes &section) {
        return shell("psitool pids " + write("a.ts", packetsOf(section, 0x300))).out;
    };
    const Bytes none = {0xF0, 0, 0xF0, 0};
    const std::string ait = textOf(LongSectionBuilder(0x74).idExt(0x0010).body(none).build());
    EXPECT_TRUE(contains(ait, "AIT                 PID 0x0300 (768)   application_type 0x0010 (16)\n")) << ait;
    const std::string test = textOf(LongSectionBuilder(0x74).idExt(0x8010).body(none).build());
    EXPECT_TRUE(contains(test, "  table_id_extension 0x8010 (32784)\n")) << "test_application_flag" << test;
    const std::string rrt = textOf(LongSectionBuilder(0xCA).idExt(0xFF05).body({0, 0, 0, 0xFC, 0}).build());
    EXPECT_TRUE(contains(rrt, "  rating_region 0x05 (5)\n")) << "behind reserved bits" << rrt;
}

TEST_F(PsitoolPids, ThoseThatTablesNameAndThatDidNotComeAreTold)
{
    const std::string file = write("a.ts", program(PmtBuilder(7).pcrPid(0x101).stream(0x1B, 0x101).build()));
    const std::string text = shell("psitool pids " + file).out;
    EXPECT_TRUE(contains(text, "PIDs named by the tables, without a packet\n"
                               "└── 0x0101 (257)   H.264/AVC video of program 7; PCR of program 7\n"))
        << text;
    EXPECT_EQ(jsonOf("psitool pids --json " + file)["absent_pids"][0]["pid"], 0x101);
}

TEST_F(PsitoolPids, VersionsAreShownAsTheyChanged)
{
    Bytes stream;
    for (const u8 version : {u8{1}, u8{2}, u8{1}})
        stream = stream + packetsOf(PatBuilder().version(version).program(7, 0x100).build(), 0);
    const std::string file = write("a.ts", stream);
    const std::string text = shell("psitool pids " + file).out;
    EXPECT_TRUE(contains(text, "2 changes of version: 1, 2, 1\n")) << text;
    const json history = jsonOf("psitool pids --json " + file)["table_times"][0]["version_history"];
    ASSERT_EQ(history.size(), 3u);
    EXPECT_EQ(history[1]["version_number"], 2);
    EXPECT_EQ(history[1]["at"]["packet"], 1);
}

TEST_F(PsitoolPids, StreamsOfADiscAreNotTakenForSections)
{
    const Bytes disc = {0x05, 4, 'H', 'D', 'M', 'V'};
    const Bytes pmt = PmtBuilder(7).programDescriptor(disc).stream(0x86, 0x101).build();
    const Bytes notATable = {0x00, 0x30, 0x01, 0x00};
    const std::string file = write("a.ts", program(pmt) + packetsOf(notATable, 0x101));
    const json object = jsonOf("psitool pids --json " + file);
    EXPECT_EQ(pidOf(object, 0x101)["uses"][0], "DTS-HD master audio of program 7");
    EXPECT_EQ(object["table_times"].size(), 2u) << "PAT and PMT";
}

TEST_F(PsitoolPids, EveryCommandKnowsAStreamOfADiscByItsOwnRegistration)
{
    const Bytes disc = {0x05, 4, 'H', 'D', 'M', 'V'};
    const Bytes pmt = PmtBuilder(7).stream(0x82, 0x101, disc).build();
    const std::string file = write("a.ts", program(pmt) + packetsOf(Bytes{0x00}, 0x101));
    for (const char *command : {"scan", "pids", "services", "tables"}) {
        const std::string text = shell("psitool " + std::string(command) + " " + file).out;
        EXPECT_TRUE(contains(text, "DTS audio")) << command << "\n" << text;
        EXPECT_FALSE(contains(text, "SCTE subtitles")) << command << "\n" << text;
    }
}

TEST_F(PsitoolPids, APartialStreamWithItsSitMissesNoNit)
{
    const Bytes pat = PatBuilder().network(0x1F).program(7, 0x100).build();
    const std::string file = write("a.ts", packetsOf(pat, 0) + packetsOf(PmtBuilder(7).build(), 0x100));
    EXPECT_FALSE(contains(shell("psitool pids " + file).out, "NIT"));
    EXPECT_TRUE(jsonOf("psitool pids --json " + file)["missing"].empty());
}

TEST_F(PsitoolPids, RatesAreGroupedLikePackets)
{
    const std::string text = shell("psitool pids --bitrate 38.015M " + example).out;
    EXPECT_TRUE(contains(text, "  17.65 %     6,711.0  MPEG-2 video of program 10")) << text;
}

TEST_F(PsitoolPids, ATableSeenOnceIsAtATime)
{
    const Bytes pat = PatBuilder().program(7, 0x100).build();
    const std::string text = shell("psitool pids --bitrate 1504000 " + write("a.ts", packetsOf(pat, 0))).out;
    EXPECT_TRUE(contains(text, "version 0, 1 section, 1 received, at 0 ms\n")) << text;
}

TEST_F(PsitoolPids, IntervalsBelowTenMillisecondsHaveDecimals)
{
    const Bytes pat = PatBuilder().program(7, 0x100).build();
    const std::string file = write("a.ts", packetsOf(pat, 0) + packetsOf(pat, 0, 1) + packetsOf(pat, 0, 2));
    EXPECT_TRUE(contains(shell("psitool pids --bitrate 15040000 " + file).out, "3 received, every 0.10 ms, from "));
}

TEST_F(PsitoolPids, PidsOfTheGuideSayWhichTableTheyCarry)
{
    const Bytes mgt =
        MgtBuilder().table(0x0100, 0x1D00, 0, 0).table(0x0203, 0x1E03, 0, 0).table(0x1401, 0x1F00, 0, 0).build();
    const std::string text = shell("psitool pids " + write("a.ts", packetsOf(mgt, 0x1FFB))).out;
    for (const char *line : {"0x1D00 (7424)  EIT-0, by the MGT\n", "0x1E03 (7683)  event ETT-3, by the MGT\n",
                             "0x1F00 (7936)  DCCT, by the MGT\n"})
        EXPECT_TRUE(contains(text, line)) << line << text;
}

TEST_F(PsitoolPids, EveryJsonKeyIsDocumented)
{
    const std::string manual = contentOf(PSITOOL_JSON_MANUAL);
    for (const std::string &key : keysOf(jsonOf("psitool pids --json " + example)))
        EXPECT_TRUE(isDocumented(key, manual)) << key;
}

} // namespace
