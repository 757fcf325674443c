// How times, frequencies and names are shown, and what is no value of theirs.
#include "describe/layoutReader.h"
#include "describe/sections.h"
#include "describe/structures/structures.h"
#include "describe/structures/tables.h"

#include <gtest/gtest.h>

namespace psi::describe {
namespace {

/** A descriptor's fields, from its bytes with tag and length. */
Fields fieldsOf(const std::string &digits, const DescriptorContext &context = Standard::dvb)
{
    static std::string bytes; // payloads lead to them
    bytes = fromHex(digits).value();
    return describeDescriptor(static_cast<u8>(bytes[0]), ByteView(bytes).part(2), context).fields;
}

const Field &fieldIn(const Fields &fields, std::string_view key)
{
    static const Field none;
    for (const Field &field : fields) {
        if (field.key == key)
            return field;
        if (field.kind == Field::Kind::list && !field.items.empty())
            if (const Field *inside = findField(field.items[0], key))
                return *inside;
    }
    ADD_FAILURE() << key;
    return none;
}

std::string textIn(const std::string &digits, std::string_view key, const DescriptorContext &context = Standard::dvb)
{
    return fieldIn(fieldsOf(digits, context), key).text;
}

/** local_time_offset_descriptor for India: +05:30, from a change on. */
std::string timeOffset(const char *sign, const char *offset, const char *change)
{
    return std::string("580d494e44") + sign + offset + change + "0530";
}

TEST(Times, LocalTimeOffsetHasHoursMinutesAndASign)
{
    EXPECT_EQ(textIn(timeOffset("02", "0530", "e8f4010000"), "local_time_offset"), "+05:30");
    EXPECT_EQ(textIn(timeOffset("03", "0530", "e8f4010000"), "local_time_offset"), "-05:30");
    EXPECT_EQ(textIn(timeOffset("03", "0530", "e8f4010000"), "next_time_offset"), "-05:30");
}

TEST(Times, TimeOfChangeIsADateAndATime)
{
    EXPECT_EQ(textIn(timeOffset("02", "0530", "ea60123456"), "time_of_change"), "2023-02-25 12:34:56");
    EXPECT_EQ(textIn(timeOffset("02", "0530", "ffffffffff"), "time_of_change"), "undefined");
}

TEST(Times, DigitsThatAreNoDecimalsAreTold)
{
    EXPECT_EQ(textIn(timeOffset("02", "0A30", "e8f4010000"), "local_time_offset"), "0x000a30");
    EXPECT_EQ(textIn(timeOffset("02", "0530", "e8f40F0000"), "time_of_change"), "0xe8f40f0000");
    EXPECT_EQ(textIn("430b0117572A0192b602750003", "frequency"), "0x0117572a");
}

TEST(Times, OfTheTdtIsADateAndATime)
{
    const std::string section = fromHex("707005ea60123456").value();
    const DescribedSection tdt = describeSection(ByteView(section), tableKindOf(0x70), Standard::dvb);
    EXPECT_EQ(fieldIn(tdt.fields, "UTC_time").text, "2023-02-25 12:34:56");
}

TEST(Frequencies, CentreFrequencyOfOnesIsUndefined)
{
    EXPECT_EQ(textIn("5a0bffffffff1f41224affffffff", "centre_frequency"), "undefined");
    EXPECT_EQ(textIn("5a0b030418401f41224affffffff", "centre_frequency"), "506.00000 MHz");
}

TEST(LogicalChannels, HaveTheBitsOfTheirOwner)
{
    const auto number = [](u32 owner) {
        return fieldIn(fieldsOf("83041234ffff", {Standard::dvb, owner}), "logical_channel_number").number;
    };
    EXPECT_EQ(number(0x28), 1023u) << "EACEM: 10 bits";
    EXPECT_EQ(number(0x29), 16383u) << "NorDig: 14 bits";
    EXPECT_EQ(number(0x233A), 1023u) << "British";
    EXPECT_EQ(number(0x3200), 1023u) << "Australian";
}

TEST(Linkage, TypesOfExtendedEventLinkageAreNotReserved)
{
    for (const char *type : {"0e", "0f", "1f"})
        EXPECT_EQ(textIn(std::string("4a08000100020003") + type + "00", "linkage_type"), "extended event linkage");
    EXPECT_EQ(textIn("4a0700010002000322", "linkage_type"), "reserved");
}

TEST(Linkage, DataThatDoesNotFitItsTypeStandsAsBytes)
{
    EXPECT_EQ(textIn("4a0a000100020003090a0b0c", "linkage_data"), "0a0b0c");
}

TEST(ShortName, KeepsItsBlanksAtTheEnd)
{
    static constexpr auto name = fields(fixed(112, "short_name", utf16Text));
    const std::string bytes = fromHex("00410020004200200000000000000000000000000000").value().substr(0, 14);
    Fields record;
    LayoutReader reader(ByteView(bytes), Standard::atsc);
    ASSERT_TRUE(reader.read(name, record));
    EXPECT_EQ(record[0].text, "A B ");
    EXPECT_EQ(record[0].bytes, "") << "and is written with them";
}

TEST(DownloadTrigger, CountsItsScheduleAndDescriptors)
{
    // one content: a schedule of one entry, then a descriptor, both within content_description_length
    const std::string header = "c3f02801a2c10000"
                               "7fe07fe00400"
                               "01"
                               "10010025";
    const std::string bytes = fromHex(header + "00cf"
                                               "0081"
                                               "ea60123456003000"
                                               "0f0201aa")
                                  .value();
    Fields record;
    LayoutReader reader(ByteView(bytes), Standard::dvb);
    ASSERT_TRUE(reader.read(sdttLayout, record)) << reader.place();
    const Fields &content = fieldIn(record, "contents").items.at(0);
    EXPECT_EQ(fieldIn(content, "content_description_length").number, 12u);
    EXPECT_EQ(fieldIn(content, "schedule_description_length").number, 8u);
    EXPECT_EQ(fieldIn(content, "start_time").text, "2023-02-25 12:34:56");
    EXPECT_EQ(fieldIn(content, "descriptors").descriptors.size(), 1u);
    WriteReport report;
    LayoutWriter writer(Standard::dvb, report);
    OpenRecord open(record, {});
    writer.write(sdttLayout, open);
    writer.finish(sdttLayout, open);
    writer.putLength(0x28, {});
    EXPECT_EQ(toHex(ByteView(writer.out().bytes())), toHex(ByteView(bytes)));
}

} // namespace
} // namespace psi::describe
