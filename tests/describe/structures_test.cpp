// Every structure that is described, in both directions.
#include "describe/layoutReader.h"
#include "describe/layoutWriter.h"
#include "describe/reference.h"
#include "describe/structures/structures.h"
#include "describe/tableKinds.h"
#include "describe/tagSpaces.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <fstream>
#include <random>
#include <set>

namespace psi::describe {
namespace {

/** The plain values of fields as a vector of known fields has them: "key=value", those of loops in brackets. */
std::string flat(const Fields &fields);

std::string flatValue(const Field &field)
{
    std::string text;
    if (field.kind == Field::Kind::number)
        return std::to_string(field.number);
    if (field.kind != Field::Kind::list)
        return field.text;
    for (const Fields &item : field.items)
        text += (text.empty() ? "" : "; ") + flat(item);
    return "[" + text + "]";
}

std::string flat(const Fields &fields)
{
    std::string text;
    for (const Field &field : fields)
        text += (text.empty() ? "" : ", ") + std::string(field.key) + "=" + flatValue(field);
    return text;
}

/** A loop of descriptors: enough of a section to read and write one. */
constexpr auto loop = fields(descriptors());
constexpr auto applicationLoop = fields(descriptors(TagSpace::ait));
constexpr auto spliceLoop = fields(descriptors(TagSpace::splice));
constexpr auto ipMacLoop = fields(descriptors(TagSpace::ipMac));
constexpr auto updateLoop = fields(descriptors(TagSpace::update));
constexpr auto resolutionLoop = fields(descriptors(TagSpace::relatedContent));

struct Space {
    const char *name;
    Layout layout;
    DescriptorContext context;
};

const Space spaces[] = {
    {"dvb", loop, {Standard::dvb, 0, 0}},
    {"atsc", loop, {Standard::atsc, 0, 0}},
    {"eacem", loop, {Standard::dvb, 0x28, 0}},
    {"nordig", loop, {Standard::dvb, 0x29, 0}},
    {"british", loop, {Standard::dvb, 0x233A, 0}},
    {"australian", loop, {Standard::dvb, 0x3201, 0}},
    {"ciplus", loop, {Standard::dvb, 0x40, 0}},
    {"arib", loop, {Standard::dvb, aribSpecifier, 0}},
    {"ipmac", ipMacLoop, {Standard::dvb, 0, 0}},
    {"update", updateLoop, {Standard::dvb, 0, 0}},
    {"resolution", resolutionLoop, {Standard::dvb, 0, 0}},
    {"ait", applicationLoop, {Standard::dvb, 0, 0}},
    {"splice", spliceLoop, {Standard::unknown, 0, 0}},
};

Fields readLoop(const Space &space, const std::string &bytes)
{
    Fields record;
    LayoutReader reader(ByteView(bytes), space.context);
    EXPECT_TRUE(reader.read(space.layout, record)) << toHex(ByteView(bytes));
    return record;
}

std::string writeLoop(const Space &space, const Fields &record)
{
    WriteReport report;
    LayoutWriter writer(space.context, report);
    OpenRecord open(record, {});
    writer.write(space.layout, open);
    writer.finish(space.layout, open);
    return writer.out().bytes();
}

struct Vector {
    std::string space;
    std::string bytes;
    std::string name;
    std::string fields;
};

std::vector<std::string> split(const std::string &line)
{
    constexpr std::string_view separator = " | ";
    std::vector<std::string> parts;
    std::size_t start = 0;
    for (std::size_t end = 0; end != std::string::npos; start = end + separator.size()) {
        end = line.find(separator, start);
        parts.push_back(line.substr(start, end - start));
    }
    return parts;
}

std::vector<Vector> vectors()
{
    std::vector<Vector> all;
    std::ifstream file(PSI_DESCRIBE_VECTORS);
    for (std::string line; std::getline(file, line);) {
        if (line.empty() || line[0] == '#')
            continue;
        const std::vector<std::string> parts = split(line);
        EXPECT_EQ(parts.size(), 4u) << line;
        all.push_back({parts.at(0), parts.at(1), parts.at(2), parts.at(3)});
    }
    return all;
}

const Space &spaceOf(const std::string &name)
{
    for (const Space &space : spaces)
        if (name == space.name)
            return space;
    ADD_FAILURE() << name;
    return spaces[0];
}

TEST(Structures, KnownBytesAreKnownFieldsAndTheFieldsThoseBytes)
{
    const std::vector<Vector> all = vectors();
    EXPECT_GT(all.size(), 100u);
    for (const Vector &vector : all) {
        const Space &space = spaceOf(vector.space);
        const std::string bytes = fromHex(vector.bytes).value();
        const Fields record = readLoop(space, bytes);
        ASSERT_EQ(record.at(0).descriptors.size(), 1u) << vector.name;
        const DescribedDescriptor &described = record[0].descriptors[0].description;
        EXPECT_EQ(described.name, vector.name);
        EXPECT_EQ(described.note, "") << vector.name;
        EXPECT_EQ(flat(described.fields), vector.fields) << vector.name;
        EXPECT_EQ(toHex(ByteView(writeLoop(space, record))), vector.bytes) << vector.name;
    }
}

/** A list, and what stands in front of its names in those of descriptors. */
struct NamedList {
    const StructureList *list;
    const char *prefix = "";
};

std::vector<NamedList> allLists()
{
    constexpr const char *behindATag = "extension_descriptor: ";
    std::vector<NamedList> lists = {{&mpegDescriptors},
                                    {&dvbDescriptors},
                                    {&deliveryDescriptors},
                                    {&atscDescriptors},
                                    {&aitDescriptors},
                                    {&spliceDescriptors},
                                    {&ipMacDescriptors},
                                    {&updateDescriptors},
                                    {&resolutionDescriptors},
                                    {&mpegExtensionDescriptors, behindATag},
                                    {&dvbExtensionDescriptors, behindATag},
                                    {&deliveryExtensionDescriptors, behindATag}};
    for (std::size_t i = 0; i < privateStructuresCount; ++i)
        lists.push_back({privateStructures[i].list});
    return lists;
}

TEST(Structures, EveryDescriptorHasAVector)
{
    std::set<std::string> tested;
    for (const Vector &vector : vectors())
        tested.insert(vector.name);
    for (const NamedList &named : allLists())
        for (const Structure &structure : *named.list)
            EXPECT_EQ(tested.count(named.prefix + std::string(structure.name)), 1u) << structure.name;
}

TEST(Structures, EveryDescriptorHasTheNameThatItsTagHasWithoutALayout)
{
    for (const Structure &structure : mpegExtensionDescriptors)
        EXPECT_EQ(std::string(structure.name), mpegExtensionDescriptorName(static_cast<u8>(structure.tag)));
    for (const StructureList *list : {&dvbExtensionDescriptors, &deliveryExtensionDescriptors})
        for (const Structure &structure : *list)
            EXPECT_EQ(std::string(structure.name), dvbExtensionDescriptorName(static_cast<u8>(structure.tag)));
    for (const StructureList *list : {&mpegDescriptors, &dvbDescriptors, &deliveryDescriptors, &atscDescriptors})
        for (const Structure &structure : *list)
            EXPECT_EQ(std::string(structure.name), descriptorName(static_cast<u8>(structure.tag), Standard::atsc));
}

/** In JSON, KEY_name and KEY_bytes belong to KEY: no field of a layout may be called so. */
void expectNoKeyLikeAnother(const Layout &layout, const char *name)
{
    std::vector<std::string_view> keys = keysOf(layout);
    keys.emplace_back("reserved");
    for (const std::string_view key : keys)
        for (const std::string_view base : keys)
            for (const char *suffix : {"_name", "_bytes"})
                EXPECT_NE(std::string(base) + suffix, key) << name;
    for (std::size_t i = 0; i < layout.count; ++i)
        if (layout.items[i].shape == Shape::list)
            expectNoKeyLikeAnother(insideOf(layout.items[i]), name);
}

TEST(Structures, NoKeyIsTakenForTheNameOrTheBytesOfAnother)
{
    for (const NamedList &named : allLists())
        for (const Structure &structure : *named.list)
            expectNoKeyLikeAnother(structure.layout, structure.name);
    for (const TableKind &kind : tableKinds())
        expectNoKeyLikeAnother(*kind.layout, kind.title);
}

TEST(Structures, ListsAreInTheOrderOfTheirTags)
{
    for (const NamedList &named : allLists())
        for (const Structure *structure = named.list->begin(); structure + 1 < named.list->end(); ++structure)
            EXPECT_LT(structure[0].tag, structure[1].tag) << structure->name;
}

/** Whatever the bytes are: what was read is written as it was. */
TEST(Structures, AnyPayloadOfAnyTagComesBack)
{
    std::mt19937 random(11);
    for (const Space &space : spaces)
        for (unsigned tag = 0; tag < 256; ++tag)
            for (unsigned round = 0; round < 12; ++round) {
                std::string bytes{static_cast<char>(tag), static_cast<char>(random() % 48)};
                for (int i = static_cast<u8>(bytes[1]); i > 0; --i)
                    bytes += static_cast<char>(random() % 3 ? random() % 8 : random());
                const Fields record = readLoop(space, bytes);
                ASSERT_EQ(toHex(ByteView(writeLoop(space, record))), toHex(ByteView(bytes))) << space.name;
            }
}

/** Bytes for a layout: random, but such that some of them fit. */
TEST(Structures, AnyBytesOfAnyTableComeBack)
{
    std::mt19937 random(12);
    for (const TableKind &kind : tableKinds()) {
        unsigned fitting = 0;
        for (unsigned round = 0; round < 20000 && fitting < 50; ++round) {
            std::string bytes(8 + random() % 60, '\0');
            for (char &byte : bytes)
                byte = static_cast<char>(random() % 3 ? 0 : random() % (round % 2 ? 256 : 4));
            bytes[0] = static_cast<char>(kind.tableId);
            bytes[1] = static_cast<char>(kind.isShort() ? 0x70 : 0xF0);
            bytes[2] = static_cast<char>(bytes.size() - 3);
            Fields record;
            LayoutReader reader(ByteView(bytes), {kind.standard, 0, 0});
            if (!reader.read(*kind.layout, record))
                continue;
            reader.takeExtra(record);
            ++fitting;
            WriteReport report;
            LayoutWriter writer({kind.standard, 0, 0}, report);
            OpenRecord open(record, {});
            writer.write(*kind.layout, open);
            writer.finish(*kind.layout, open);
            writer.putLength(bytes.size() - 3, {});
            ASSERT_EQ(toHex(ByteView(writer.out().bytes())), toHex(ByteView(bytes))) << kind.title << "\n"
                                                                                     << flat(record);
        }
        EXPECT_GT(fitting, 0u) << kind.title;
    }
}

TEST(Structures, ReferencePageIsThatOfTheDescriptions)
{
    const std::string page = referencePage();
    if (std::getenv("PSI_WRITE_REFERENCE")) // NOLINT(concurrency-mt-unsafe): one thread
        std::ofstream(PSI_STRUCTURES_MANUAL) << page;
    std::ifstream file(PSI_STRUCTURES_MANUAL);
    const std::string manual((std::istreambuf_iterator<char>(file)), {});
    EXPECT_TRUE(manual == page) << "PSI_WRITE_REFERENCE=1 structures_test writes docs/structures.md anew";
    EXPECT_NE(page.find("| `service_type` | 8 |"), std::string::npos);
}

} // namespace
} // namespace psi::describe
