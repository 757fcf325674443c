// Programs, streams, languages, names and events as an independent decoder of the same tables shows them.
#include "programFixture.h"

#include <map>

namespace {

using namespace psitest;
using nlohmann::json;

class Tshark : public PsitoolTest {
protected:
    void SetUp() override
    {
        PsitoolTest::SetUp();
        if (shell("command -v tshark").status != 0)
            GTEST_SKIP() << "tshark is not installed: nothing to compare with (apt-get install tshark)";
    }

    using Row = std::vector<std::string>;

    /** Fields of each packet that a filter takes, the values of one field with '|' between them; each row once. */
    std::set<Row> rows(const std::string &file, const std::string &filter, const Row &fields) const
    {
        std::string command = "tshark -r " + file + " -Y '" + filter + "' -T fields -E 'aggregator=|' -E separator=/t";
        for (const std::string &field : fields)
            command += " -e " + field;
        const Result result = shell(command);
        EXPECT_EQ(result.status, 0) << result.err;
        std::set<Row> all;
        for (const std::string &line : parts(result.out, '\n'))
            all.insert(parts(line, '\t'));
        EXPECT_FALSE(all.empty()) << filter;
        return all;
    }

    static Row parts(const std::string &text, char separator)
    {
        Row found;
        for (std::size_t begin = 0; begin < text.size();) {
            const std::size_t end = std::min(text.find(separator, begin), text.size());
            found.push_back(text.substr(begin, end - begin));
            begin = end + 1;
        }
        return found;
    }

    static int number(const std::string &text) { return static_cast<int>(std::stoul(text, nullptr, 0)); }
};

TEST_F(Tshark, FindsTheSameProgramsWithTheirPids)
{
    std::map<int, int> theirs;
    for (const Row &row : rows(example, "mpeg_pat", {"mpeg_pat.prog_num", "mpeg_pat.prog_map_pid"})) {
        const Row programs = parts(row.at(0), '|');
        for (std::size_t i = 0; i < programs.size(); ++i)
            if (number(programs[i]) != 0)
                theirs[number(programs[i])] = number(parts(row.at(1), '|').at(i));
    }
    std::map<int, int> ours;
    const json scan = scanned(example);
    for (const json &program : scan["transport_stream"]["programs"])
        ours[program["program_number"]] = program["pmt"]["pid"];
    EXPECT_EQ(ours, theirs);
    EXPECT_EQ(ours.size(), 4u);
}

TEST_F(Tshark, FindsTheSameStreamsTypesAndLanguages)
{
    std::map<int, Row> theirs;
    for (const Row &row : rows(example, "mpeg_pmt",
                               {"mpeg_pmt.pg_num", "mpeg_pmt.pcr_pid", "mpeg_pmt.stream.type",
                                "mpeg_pmt.stream.elementary_pid", "mpeg_descr.lang.code"})) {
        Row &program = theirs[number(row.at(0))];
        for (std::size_t i = 1; i < row.size(); ++i)
            for (const std::string &value : parts(row[i], '|'))
                program.push_back(i < 4 ? std::to_string(number(value)) : value);
    }
    std::map<int, Row> ours;
    const json scan = scanned(example);
    for (const json &program : scan["transport_stream"]["programs"]) {
        Row types;
        Row pids;
        Row languages;
        for (const json &stream : program["pmt"]["streams"]) {
            types.push_back(std::to_string(stream["stream_type"].get<int>()));
            pids.push_back(std::to_string(stream["elementary_pid"].get<int>()));
            for (const json &language : stream["languages"])
                languages.push_back(language);
        }
        Row &row = ours[program["program_number"]];
        row.push_back(std::to_string(program["pmt"]["pcr_pid"].get<int>()));
        for (const Row &some : {types, pids, languages})
            row.insert(row.end(), some.begin(), some.end());
    }
    EXPECT_EQ(ours, theirs);
}

TEST_F(Tshark, ReadsTheSameServiceNames)
{
    const Bytes russian = bytesOf("\x01\xBF\xD5\xE0\xD2\xEB\xD9"); // ISO/IEC 8859-5
    const Bytes utf8 = Bytes{0x15} + bytesOf("Cinéma Trés");
    Bytes stream = packetsOf(PatBuilder().tsId(1).program(7, 0x100).program(8, 0x101).build(), 0);
    const auto service = [](const Bytes &name) {
        return descriptor(0x48, Bytes{1, 1, 'P', static_cast<u8>(name.size())} + name);
    };
    stream =
        stream + packetsOf(SdtBuilder().tsId(1).service(7, service(russian)).service(8, service(utf8)).build(), 0x11);
    for (const std::string &file : {example, write("a.ts", stream + stream)}) {
        std::map<int, std::string> theirs;
        for (const Row &row : rows(file, "dvb_sdt", {"dvb_sdt.svc.id", "mpeg_descr.svc.svc_name"})) {
            const Row services = parts(row.at(0), '|');
            for (std::size_t i = 0; i < services.size(); ++i)
                theirs[number(services[i])] = parts(row.at(1), '|').at(i);
        }
        std::map<int, std::string> ours;
        const json object = jsonOf("psitool services --json " + file);
        for (const json &one : object["services"])
            ours[one["number"]] = one["name"];
        EXPECT_EQ(ours, theirs);
    }
}

/** A section of the EIT present/following of service 7, with one event. EN 300 468 5.2.4 */
Bytes eitSection(u8 number, const std::string &name)
{
    const Bytes text = bytesOf(name);
    const Bytes event = descriptor(0x4D, bytesOf("eng") + Bytes{static_cast<u8>(text.size())} + text + Bytes{0});
    const Bytes body = Bytes{0,
                             7,
                             0xC1,
                             number,
                             1,
                             0,
                             1,
                             0,
                             2,
                             1,
                             0x4E,
                             0,
                             number,
                             0xE0,
                             0xC3,
                             0x12,
                             0,
                             0,
                             1,
                             0x30,
                             0,
                             0x80,
                             static_cast<u8>(event.size())} +
                       event;
    return withRightCrc(Bytes{0x4E, 0xF0, static_cast<u8>(body.size() + 4)} + body + repeated(4, 0));
}

TEST_F(Tshark, ReadsTheSameEvents)
{
    const Bytes stream = packetsOf(PatBuilder().tsId(1).program(7, 0x100).build(), 0) +
                         packetsOf(eitSection(0, "The News"), 0x12, 0) + packetsOf(eitSection(1, "Weather"), 0x12, 1) +
                         packetsOf(PatBuilder().tsId(1).program(7, 0x100).build(), 0, 1);
    const std::string file = write("a.ts", stream);
    const std::set<Row> theirs =
        rows(file, "dvb_eit", {"dvb_eit.sid", "dvb_eit.sect_num", "mpeg_descr.short_evt.name"});
    const json object = jsonOf("psitool services --json " + file);
    const json service = object["services"][0];
    const std::set<Row> ours = {{"0x0007", "0", service["now"]}, {"0x0007", "1", service["next"]}};
    EXPECT_EQ(ours, theirs);
    EXPECT_EQ(service["now"], "The News");
}

} // namespace
