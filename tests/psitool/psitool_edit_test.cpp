// psitool edit as a user starts it. What comes out is taken apart packet by packet.
#include "programFixture.h"

#include "sectionAssembler.h"

#include <algorithm>
#include <map>
#include <optional>
#include <set>

namespace {

using namespace psitest;
using nlohmann::json;

const std::string example = "'" PSITOOL_EXAMPLE "'";
constexpr u16 nullPid = 0x1FFF;
constexpr u16 sdtPid = 0x11;
constexpr u16 nitPid = 0x10;

Bytes bytesOfFile(const std::filesystem::path &path)
{
    const std::string content = contentOf(path);
    return {content.begin(), content.end()};
}

/** A stream taken apart. */
struct Taken {
    explicit Taken(const Bytes &stream, std::size_t step = packetSize, std::size_t offset = 0)
    {
        psihost::SectionAssembler assembler([&](u16 pid, const u8 *section, u16 length) {
            sections[pid].emplace_back(section, section + length);
            return crc32Mpeg(section, length) == 0;
        });
        for (std::size_t at = offset; at + packetSize <= stream.size(); at += step) {
            const Bytes packet(stream.begin() + static_cast<std::ptrdiff_t>(at),
                               stream.begin() + static_cast<std::ptrdiff_t>(at + packetSize));
            packets[static_cast<u16>((packet[1] & 0x1F) << 8 | packet[2])].push_back(packet);
            assembler.packet(packet.data());
            ++count;
        }
        continuityErrors = assembler.counters().continuityErrors;
        damaged = assembler.counters().crcErrors;
    }

    /** The sections of a table, repetitions included. */
    std::vector<Bytes> table(u16 pid, u8 tableId) const
    {
        std::vector<Bytes> found;
        const auto here = sections.find(pid);
        if (here != sections.end())
            std::copy_if(here->second.begin(), here->second.end(), std::back_inserter(found),
                         [=](const Bytes &section) { return section[0] == tableId; });
        return found;
    }

    std::size_t count = 0;
    std::map<u16, std::vector<Bytes>> packets;
    std::map<u16, std::vector<Bytes>> sections;
    std::uint64_t continuityErrors = 0;
    std::uint64_t damaged = 0;
};

u8 versionOf(const Bytes &section)
{
    return section[5] >> 1 & 0x1F;
}

/** All PIDs but these are the same to the byte, and no counter is broken anywhere. */
void expectOnlyChanged(const Taken &before, const Taken &after, const std::set<u16> &changed)
{
    EXPECT_EQ(before.count, after.count);
    EXPECT_EQ(before.continuityErrors, 0u);
    EXPECT_EQ(after.continuityErrors, 0u);
    EXPECT_EQ(after.damaged, 0u);
    for (const auto &[pid, packets] : before.packets) {
        if (changed.count(pid) != 0 || pid == nullPid)
            continue;
        const auto there = after.packets.find(pid);
        ASSERT_NE(there, after.packets.end()) << pid;
        EXPECT_TRUE(packets == there->second) << "PID " << pid << " is not the same";
    }
}

class PsitoolEdit : public PsitoolTest {
protected:
    /** Edit a file that must be possible to edit; the result is out.ts. */
    Bytes edited(const std::string &input, const std::string &arguments) const
    {
        const Result result = shell("psitool edit " + input + " -o out.ts " + arguments);
        EXPECT_EQ(result.status, 0) << result.err;
        EXPECT_EQ(result.err, "");
        EXPECT_EQ(result.out, "");
        return bytesOfFile(folder / "out.ts");
    }

    void expectRefused(const std::string &input, const std::string &arguments, int status,
                       const std::string &line) const
    {
        const Result result = shell("psitool edit " + input + " -o out.ts " + arguments);
        EXPECT_EQ(result.status, status) << result.err;
        EXPECT_TRUE(contains(result.err, line)) << result.err << "\nhas not\n" << line;
        EXPECT_EQ(std::count(result.err.begin(), result.err.end(), '\n'), 1) << result.err;
        EXPECT_FALSE(std::filesystem::exists(folder / "out.ts"));
        for (const auto &entry : std::filesystem::directory_iterator(folder))
            EXPECT_EQ(entry.path().filename().string().find("out.ts"), std::string::npos) << entry.path();
    }
};

TEST_F(PsitoolEdit, AServiceGetsItsNewNameProviderAndType)
{
    const Taken before(bytesOfFile(PSITOOL_EXAMPLE));
    const Taken after(edited(example, "--service 10 name='News 24' provider='Someone Else' type=0x19"));
    expectOnlyChanged(before, after, {sdtPid});
    ASSERT_EQ(before.table(sdtPid, 0x42).size(), after.table(sdtPid, 0x42).size());
    for (const Bytes &section : after.table(sdtPid, 0x42))
        EXPECT_EQ(versionOf(section), 1);

    const json stream = scanned("out.ts")["transport_stream"];
    EXPECT_EQ(stream["sdt"]["head"]["version_number"], 1);
    const json &service = stream["programs"][0]["service"];
    EXPECT_EQ(service["name"]["text"], "News 24");
    EXPECT_EQ(service["provider"]["text"], "Someone Else");
    EXPECT_EQ(service["service_type"], 0x19);
    EXPECT_EQ(stream["programs"][1]["service"]["name"]["text"], "Cinéma Deux");
}

TEST_F(PsitoolEdit, AnUnknownServiceIsNamedAndNothingIsWritten)
{
    expectRefused(example, "--service 11 name=x", 1,
                  "the SDT has no service 0x000B (11), only 0x000A (10), 0x0014 (20), 0x001E (30), 0x0028 (40)\n");
}

} // namespace
