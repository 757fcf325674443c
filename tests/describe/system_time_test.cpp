// Times of ATSC and SCTE tables, and the STT that makes UTC of them.
#include "describe/json/sectionDocument.h"
#include "describe/sections.h"
#include "describe/systemTime.h"

#include "support/sectionBuilder.h"

#include <gtest/gtest.h>

namespace {

using namespace psi::describe;
using namespace psitest;

constexpr u32 noon = 1171195218; // 2017-02-15 12:00:00 UTC and 18 leap seconds
const Bytes noonBytes = {0x45, 0xCF, 0x05, 0x52};

ByteView viewOf(const Bytes &section)
{
    return {section.data(), section.size()};
}

Bytes stt(u32 seconds, u8 offset)
{
    return LongSectionBuilder(0xCD)
        .body(psitest::BitWriter().put(8, 0).put(32, seconds).put(8, offset).put(16, 0).bytes())
        .build();
}

DescriptorContext offsetOf(u8 seconds)
{
    DescriptorContext usual = Standard::atsc;
    usual.gpsUtcOffset = seconds;
    return usual;
}

/** The meanings of all fields of a name, wherever they stand. */
void collect(const Fields &fields, std::string_view key, std::vector<std::string> &found)
{
    for (const Field &field : fields) {
        if (field.key == key)
            found.push_back(field.text);
        for (const Fields &item : field.items)
            collect(item, key, found);
    }
}

std::vector<std::string> meanings(const Bytes &section, std::string_view key, const DescriptorContext &usual)
{
    const DescribedSection tree = describeSection(viewOf(section), tableKindOf(viewOf(section), std::nullopt), usual);
    EXPECT_TRUE(tree.parsed);
    std::vector<std::string> found;
    collect(tree.fields, key, found);
    return found;
}

using Texts = std::vector<std::string>;

/** A/65 6.5 */
Bytes eit()
{
    return LongSectionBuilder(0xCB)
        .idExt(7)
        .body(Bytes{0, 1, 0xC0, 9} + noonBytes + Bytes{0xC0, 7, 8, 0, 0xF0, 0})
        .build();
}

/** A/65 6.7: a test from noon to noon. */
Bytes dcct()
{
    return LongSectionBuilder(0xD3)
        .body(Bytes{0, 1, 0xF0, 0x04, 0x01, 0xF0, 0x04, 0x02} + noonBytes + noonBytes + Bytes{0, 0xFC, 0, 0xFC, 0})
        .build();
}

/** SCTE 35 9.7.2: a splice of the program at noon, and one of a component. */
Bytes spliceSchedule()
{
    const Bytes avails = {0, 1, 0, 0};
    const Bytes command = Bytes{0x04, 2, 0, 0, 0, 1, 0x7F, 0xDF} + noonBytes + avails +
                          Bytes{0, 0, 0, 2, 0x7F, 0x9F, 1, 1} + noonBytes + avails;
    constexpr std::size_t around = 16; // from section_length on, descriptors without any and CRC_32
    return sealed(Bytes{0xFC, 0x30, static_cast<u8>(command.size() + around), 0, 0, 0, 0, 0, 0, 0, 0xFF, 0xF0,
                        static_cast<u8>(command.size() - 1)} +
                  command + Bytes{0, 0});
}

/** SCTE 18 5: an alert that begins at noon. */
Bytes alert()
{
    return LongSectionBuilder(0xD8)
        .body(Bytes{0, 0, 1, 'E', 'A', 'S', 0, 0, 10} + noonBytes + Bytes{0, 15} + repeated(15, 0) + Bytes{0, 0})
        .build();
}

TEST(SystemTime, IsWhatAnSttSays)
{
    const std::optional<SystemTime> time = systemTimeOf(viewOf(stt(noon, 18)));
    ASSERT_TRUE(time);
    EXPECT_EQ(time->seconds, noon);
    EXPECT_EQ(time->gpsUtcOffset, 18);
}

TEST(SystemTime, OfAnotherTableOrADamagedSectionIsNone)
{
    const Bytes right = stt(noon, 18);
    Bytes damaged = right;
    damaged[13] ^= 1;
    const Bytes tooShort = LongSectionBuilder(0xCD).body({0, 1, 2}).build();
    EXPECT_FALSE(systemTimeOf(viewOf(eit())));
    EXPECT_FALSE(systemTimeOf(viewOf(damaged)));
    EXPECT_FALSE(systemTimeOf(viewOf(tooShort)));
    for (std::size_t size = 0; size < right.size(); ++size)
        EXPECT_FALSE(systemTimeOf({right.data(), size})) << size;
    DescriptorContext usual;
    learnFromStt(usual, viewOf(damaged));
    EXPECT_FALSE(usual.gpsUtcOffset);
}

TEST(SystemTime, IsKnownInProgramsAsWell)
{
    EXPECT_EQ(registered(offsetOf(18), 0x47413934).gpsUtcOffset, 18);
}

TEST(SystemTime, OfSeveralTheLastSaysTheOffset)
{
    DescriptorContext usual;
    learnFromStt(usual, viewOf(stt(noon, 17)));
    learnFromStt(usual, viewOf(stt(noon + 1, 18)));
    EXPECT_EQ(usual.gpsUtcOffset, 18);
}

TEST(SystemTime, MakesUtcOfTheTimesOfAtsc)
{
    EXPECT_EQ(meanings(eit(), "start_time", offsetOf(18)), Texts{"2017-02-15 12:00:00 UTC"});
    EXPECT_EQ(meanings(dcct(), "dcc_start_time", offsetOf(18)), Texts{"2017-02-15 12:00:00 UTC"});
    EXPECT_EQ(meanings(dcct(), "dcc_end_time", offsetOf(18)), Texts{"2017-02-15 12:00:00 UTC"});
}

TEST(SystemTime, IsMissingWhereTimesAreThoseOfGps)
{
    EXPECT_EQ(meanings(eit(), "start_time", Standard::atsc), Texts{"2017-02-15 12:00:18 GPS time"});
    EXPECT_EQ(meanings(dcct(), "dcc_end_time", Standard::atsc), Texts{"2017-02-15 12:00:18 GPS time"});
}

TEST(SystemTime, OfADocumentIsThatOfItsStt)
{
    const auto usualOf = [](const Bytes &section) {
        const JsonDocument document("[{\"data\": \"" + toHex(viewOf(section)) + "\"}]");
        return compileDocument(document, {}).usual;
    };
    EXPECT_EQ(usualOf(stt(noon, 18)).gpsUtcOffset, 18);
    EXPECT_FALSE(usualOf(eit()).gpsUtcOffset);
}

TEST(SystemTime, OfAnyOffsetGivesATime)
{
    Bytes first = eit(); // one second behind the beginning of the count
    const Bytes second = {0, 0, 0, 1};
    std::copy(second.begin(), second.end(), first.begin() + 12);
    EXPECT_EQ(meanings(first, "start_time", offsetOf(0)), Texts{"1980-01-06 00:00:01 UTC"});
    EXPECT_EQ(meanings(first, "start_time", offsetOf(255)), Texts{"1980-01-05 23:55:46 UTC"});
}

TEST(SystemTime, IsNotNeededForTimesThatAreUtcAlready)
{
    const Texts twice = {"2017-02-15 12:00:18 UTC", "2017-02-15 12:00:18 UTC"};
    EXPECT_EQ(meanings(spliceSchedule(), "utc_splice_time", Standard::atsc), twice);
    EXPECT_EQ(meanings(spliceSchedule(), "utc_splice_time", offsetOf(18)), twice);
    EXPECT_EQ(meanings(alert(), "event_start_time", offsetOf(18)), Texts{"2017-02-15 12:00:18 UTC"});
}

} // namespace
