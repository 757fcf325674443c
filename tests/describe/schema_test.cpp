// The JSON Schema against documents of every table and every descriptor that has a vector.
#include "describe/json/json.h"
#include "describe/json/schema.h"
#include "describe/json/sectionJson.h"

#include "support/randomSection.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <sys/wait.h>
#include <unistd.h>

namespace psi::describe {
namespace {

/** A section around a descriptor of a space: [table_id ... descriptor loop], CRC_32 not looked at. */
std::string around(const std::string &space, std::string loop)
{
    const auto length = [](std::size_t bytes, u8 reserved) {
        return std::string{static_cast<char>(reserved | bytes >> 8), static_cast<char>(bytes)};
    };
    const std::pair<const char *, const char *> owners[] = {{"eacem", "00000028"},      {"nordig", "00000029"},
                                                            {"british", "0000233a"},    {"ciplus", "00000040"},
                                                            {"australian", "00003201"}, {"arib", "41524942"}};
    for (const auto &[name, specifier] : owners)
        if (space == name)
            loop = "\x5F\x04" + fromHex(specifier).value() + loop;
    const std::string counted = length(loop.size(), 0xF0) + loop;
    std::string body;
    char table = 0x02;
    if (space == "ait") {
        table = 0x74;
        body = counted + length(0, 0xF0);
    } else if (space == "ipmac") {
        table = 0x4C;
        body = std::string(4, '\0') + counted;
    } else if (space == "update") {
        table = 0x4B;
        body = std::string(4, '\0') + counted;
    } else if (space == "resolution") {
        table = 0x79;
        body = std::string(1, '\0') + counted;
    } else if (space == "splice") {
        const std::string command = fromHex("00000000000000fff00000").value() + length(loop.size(), 0) + loop;
        return '\xFC' + length(command.size() + 4, 0x30) + command + std::string(4, '\0');
    } else if (space == "atsc") {
        table = static_cast<char>(0xC7);
        body = std::string(3, '\0') + counted;
    } else {
        body = std::string("\xE1\x00", 2) + counted;
    }
    const std::string header = fromHex("0001c10000").value();
    return table + length(header.size() + body.size() + 4, 0xB0) + header + body + std::string(4, '\0');
}

Json documentOfVectors()
{
    Json sections = Json::array();
    std::ifstream file(PSI_DESCRIBE_VECTORS);
    for (std::string line; std::getline(file, line);) {
        if (line.empty() || line[0] == '#')
            continue;
        const std::size_t bar = line.find(" | ");
        const std::string digits = line.substr(bar + 3, line.find(" | ", bar + 3) - bar - 3);
        const std::string section = around(line.substr(0, bar), fromHex(digits).value());
        sections.push_back(Json::parse(sectionJson(ByteView(section), std::nullopt, Standard::dvb)));
        EXPECT_EQ(sections.back()["parsed"], true) << line;
    }
    psitest::RandomSections random(3);
    for (const u32 type : psitest::parsedTypes())
        for (int i = 0; i < 5; ++i) {
            const psitest::Bytes section = random.make(type, 400).bytes;
            sections.push_back(
                Json::parse(sectionJson({section.data(), section.size()}, std::nullopt, Standard::unknown)));
        }
    return {{"sections", sections}};
}

/** A file of this process alone, which goes with it. */
struct TextFile {
    TextFile(const std::string &name, const std::string &text)
        : path(testing::TempDir() + name + std::to_string(getpid()) + ".json")
    {
        std::ofstream(path) << text;
    }
    ~TextFile() { std::remove(path.c_str()); }
    TextFile(const TextFile &) = delete;
    TextFile &operator=(const TextFile &) = delete;

    const std::string path;
};

int validated(const TextFile &schema, const Json &document)
{
    const TextFile file("psi_document_", document.dump());
    const std::string command = "/usr/bin/python3 " PSI_DESCRIBE_VALIDATE " " + schema.path + " " + file.path;
    return WEXITSTATUS(
        std::system(command.c_str())); // NOLINT(concurrency-mt-unsafe,cert-env33-c): one thread, own words
}

TEST(Schema, FitsWhatIsMadeOfEveryVectorAndRefusesWhatIsNot)
{
    constexpr int noValidator = 77;
    const TextFile schema("psi_schema_", documentSchema());
    Json document = documentOfVectors();
    const int status = validated(schema, document);
    if (status == noValidator)
        GTEST_SKIP() << "Debian's python3-jsonschema is not installed";
    EXPECT_EQ(status, 0);
    Json &descriptor = document["sections"][0]["tree"]["descriptors"][0];
    descriptor["fields"]["no_such_field"] = 1;
    EXPECT_EQ(validated(schema, {{"sections", {document["sections"][0]}}}), 1) << "a field that the layout has not";
    descriptor["fields"].erase("no_such_field");
    EXPECT_EQ(validated(schema, {{"sections", {document["sections"][0]}}}), 0);
    document["sections"][0]["tree"]["PCR_PID"] = 0x2000;
    EXPECT_EQ(validated(schema, {{"sections", {document["sections"][0]}}}), 1) << "a number of more bits";
}

} // namespace
} // namespace psi::describe
