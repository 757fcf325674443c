#include "descriptors.h"
#include "lines.h"

#include <gtest/gtest.h>

#include <random>

namespace psitool {
namespace {

ByteView view(const std::vector<u8> &bytes)
{
    return {bytes.data(), bytes.size()};
}

DescribedDescriptor describe(u8 tag, const std::vector<u8> &payload, const DescriptorContext &context = {})
{
    return describeDescriptor(tag, view(payload), context);
}

/** The descriptor as text output shows it. */
std::string line(u8 tag, const std::vector<u8> &payload, const DescriptorContext &context = {})
{
    TreeNode root;
    addDescriptor(root, {tag, view(payload), describe(tag, payload, context)});
    return renderTree(root, Branches::ascii);
}

std::string textOf(const DescribedDescriptor &descriptor, const std::string &key)
{
    const Field *field = findField(descriptor.fields, key);
    return field ? field->text : "(no field " + key + ")";
}

constexpr DescriptorContext atsc{Standard::atsc, 0, 0};

TEST(Descriptors, CaShowsSystemPidAndPrivateData)
{
    const DescribedDescriptor ca = describe(0x09, {0x0B, 0x00, 0xF0, 0x12, 0xAA, 0x55});
    EXPECT_EQ(ca.name, "CA_descriptor");
    EXPECT_EQ(numberOf(ca.fields, "CA_system_ID", 0), 0x0B00u);
    EXPECT_EQ(textOf(ca, "CA_system_ID"), "Conax");
    EXPECT_EQ(numberOf(ca.fields, "CA_PID", 0), 0x1012u);
    EXPECT_EQ(textOf(ca, "private_data"), "aa55");
}

TEST(Descriptors, LanguagesAreALoop)
{
    const DescribedDescriptor languages = describe(0x0A, {'e', 'n', 'g', 0, 'd', 'e', 'u', 3});
    ASSERT_EQ(languages.fields.size(), 1u);
    ASSERT_EQ(languages.fields[0].items.size(), 2u);
    EXPECT_EQ(languages.fields[0].items[1][0].text, "deu");
    EXPECT_EQ(languages.fields[0].items[1][1].number, 3u);
    EXPECT_EQ(languages.fields[0].items[1][1].text, "visually impaired commentary");
}

TEST(Descriptors, OneLoopEntryStandsOnTheDescriptorsLineSeveralBelowIt)
{
    EXPECT_EQ(line(0x0A, {'e', 'n', 'g', 1}),
              "\n`-- 0x0A ISO_639_language_descriptor: ISO_639_language_code eng, audio_type 1 (clean effects)\n");
    EXPECT_EQ(line(0x0A, {'e', 'n', 'g', 0, 'd', 'e', 'u', 0}), "\n"
                                                                "`-- 0x0A ISO_639_language_descriptor\n"
                                                                "    |-- ISO_639_language_code eng, audio_type 0 "
                                                                "(undefined)\n"
                                                                "    `-- ISO_639_language_code deu, audio_type 0 "
                                                                "(undefined)\n");
}

TEST(Descriptors, RegistrationShowsItsLetters)
{
    EXPECT_EQ(textOf(describe(0x05, {'G', 'A', '9', '4'}), "format_identifier"), "GA94");
    EXPECT_EQ(textOf(describe(0x05, {0x1B, 'A', 0xFF, '4'}), "format_identifier"), ".A.4");
}

TEST(Descriptors, ServiceNamesAreDecoded)
{
    const DescribedDescriptor service = describe(0x48, {0x19, 2, 0xC2, 'e', 3, 0x01, 0xBC, 0xD8});
    EXPECT_EQ(textOf(service, "service_type"), "H.264/AVC HD digital television");
    EXPECT_EQ(textOf(service, "service_provider_name"), "é");
    EXPECT_EQ(textOf(service, "service_name"), "Ми");
}

TEST(Descriptors, SatelliteDelivery)
{
    // 11.75725 GHz, 19.2 E, vertical, DVB-S2 8PSK 0.20, 27.5 Msymbol/s, 3/4
    const DescribedDescriptor delivery =
        describe(0x43, {0x01, 0x17, 0x57, 0x25, 0x01, 0x92, 0xB6, 0x02, 0x75, 0x00, 0x03});
    EXPECT_EQ(textOf(delivery, "frequency"), "11.75725 GHz");
    EXPECT_EQ(textOf(delivery, "orbital_position"), "19.2 E");
    EXPECT_EQ(textOf(delivery, "polarization"), "vertical");
    EXPECT_EQ(textOf(delivery, "roll_off"), "0.20");
    EXPECT_EQ(textOf(delivery, "modulation_system"), "DVB-S2");
    EXPECT_EQ(textOf(delivery, "modulation_type"), "8PSK");
    EXPECT_EQ(textOf(delivery, "symbol_rate"), "27.5000 Msymbol/s");
    EXPECT_EQ(textOf(delivery, "FEC_inner"), "3/4");
}

TEST(Descriptors, CableDelivery)
{
    const DescribedDescriptor delivery =
        describe(0x44, {0x03, 0x46, 0x00, 0x00, 0xFF, 0xF2, 0x05, 0x00, 0x69, 0x00, 0x0F});
    EXPECT_EQ(textOf(delivery, "frequency"), "346.0000 MHz");
    EXPECT_EQ(textOf(delivery, "FEC_outer"), "RS(204/188)");
    EXPECT_EQ(textOf(delivery, "modulation"), "256-QAM");
    EXPECT_EQ(textOf(delivery, "symbol_rate"), "6.9000 Msymbol/s");
    EXPECT_EQ(textOf(delivery, "FEC_inner"), "none");
}

TEST(Descriptors, TerrestrialDelivery)
{
    const DescribedDescriptor delivery =
        describe(0x5A, {0x03, 0x04, 0x18, 0x40, 0x1F, 0x82, 0x4A, 0xFF, 0xFF, 0xFF, 0xFF});
    EXPECT_EQ(textOf(delivery, "centre_frequency"), "506.00000 MHz");
    EXPECT_EQ(textOf(delivery, "bandwidth"), "8 MHz");
    EXPECT_EQ(textOf(delivery, "constellation"), "64-QAM");
    EXPECT_EQ(textOf(delivery, "code_rate-HP_stream"), "3/4");
    EXPECT_EQ(textOf(delivery, "code_rate-LP_stream"), "3/4");
    EXPECT_EQ(textOf(delivery, "guard_interval"), "1/16");
    EXPECT_EQ(textOf(delivery, "transmission_mode"), "8k");
}

TEST(Descriptors, TeletextPages)
{
    const DescribedDescriptor teletext = describe(0x56, {'d', 'e', 'u', 0x09, 0x00, 'd', 'e', 'u', 0x10, 0x88});
    ASSERT_EQ(teletext.fields.at(0).items.size(), 2u);
    EXPECT_EQ(findField(teletext.fields[0].items[0], "page")->text, "100");
    EXPECT_EQ(findField(teletext.fields[0].items[1], "page")->text, "888");
    EXPECT_EQ(findField(teletext.fields[0].items[1], "teletext_type")->text, "subtitle page");
}

TEST(Descriptors, Subtitling)
{
    const DescribedDescriptor subtitling = describe(0x59, {'f', 'r', 'a', 0x20, 0x00, 0x01, 0x00, 0x02});
    const Fields &entry = subtitling.fields.at(0).items.at(0);
    EXPECT_EQ(findField(entry, "subtitling_type")->text, "DVB subtitles for the hard of hearing");
    EXPECT_EQ(numberOf(entry, "composition_page_id", 0), 1u);
    EXPECT_EQ(numberOf(entry, "ancillary_page_id", 0), 2u);
}

TEST(Descriptors, EnhancedAc3FlagsAnnounceBytes)
{
    const DescribedDescriptor eac3 = describe(0x7A, {0x81, 0xC2, 0x33, 0x01});
    EXPECT_EQ(numberOf(eac3.fields, "component_type", 0), 0xC2u);
    EXPECT_EQ(numberOf(eac3.fields, "substream3", 0), 0x33u);
    EXPECT_EQ(textOf(eac3, "additional_info"), "01");
}

TEST(Descriptors, MaximumBitrateInKilobits)
{
    EXPECT_EQ(textOf(describe(0x0E, {0xC0, 0x27, 0x10}), "maximum_bitrate"), "4000 kbit/s");
}

TEST(Descriptors, ComponentOfHevcIsToldByItsExtension)
{
    const DescribedDescriptor component = describe(0x50, {0x09, 0x05, 0x01, 'e', 'n', 'g', 'U', 'H', 'D'});
    EXPECT_EQ(textOf(component, "stream_content"), "H.265/HEVC video");
    EXPECT_EQ(textOf(component, "text"), "UHD");
    EXPECT_EQ(textOf(describe(0x50, {0xF5, 0x0B, 0x01, 'e', 'n', 'g'}), "stream_content"), "H.264/AVC video");
}

TEST(Descriptors, PrivateTagsHaveTheMeaningOfTheirStandard)
{
    EXPECT_EQ(describe(0x81, {0x08, 0x38, 0x05}).name, "user private");
    EXPECT_EQ(describe(0x81, {0x08, 0x38, 0x05}, atsc).name, "AC-3_audio_stream_descriptor");
    EXPECT_EQ(textOf(describe(0x81, {0x08, 0x38, 0x05}, atsc), "num_channels"), "2/0");
}

TEST(Descriptors, ServiceLocation)
{
    const DescribedDescriptor location =
        describe(0xA1, {0xE0, 0x31, 0x02, 0x02, 0xE0, 0x31, 0, 0, 0, 0x81, 0xE0, 0x34, 'e', 'n', 'g'}, atsc);
    EXPECT_EQ(numberOf(location.fields, "PCR_PID", 0), 0x31u);
    const std::vector<Fields> &elements = findField(location.fields, "elements")->items;
    ASSERT_EQ(elements.size(), 2u);
    EXPECT_EQ(findField(elements[0], "ISO_639_language_code")->text, "");
    EXPECT_EQ(findField(elements[1], "stream_type")->text, "AC-3 audio");
    EXPECT_EQ(numberOf(elements[1], "elementary_PID", 0), 0x34u);
}

TEST(Descriptors, ExtendedChannelName)
{
    EXPECT_EQ(textOf(describe(0xA0, {1, 'e', 'n', 'g', 1, 0, 0, 3, 'A', 'B', 'C'}, atsc), "long_channel_name"), "ABC");
}

TEST(Descriptors, LogicalChannelsNeedTheirPrivateDataSpecifier)
{
    const std::vector<u8> payload = {0x12, 0x34, 0xFC, 0x07};
    EXPECT_EQ(describe(0x83, payload).name, "user private");
    const DescribedDescriptor channels = describe(0x83, payload, {Standard::dvb, 0x28, 0});
    EXPECT_EQ(channels.name, "logical_channel_descriptor");
    EXPECT_EQ(numberOf(channels.fields.at(0).items.at(0), "service_id", 0), 0x1234u);
    EXPECT_EQ(numberOf(channels.fields.at(0).items.at(0), "logical_channel_number", 0), 7u);
}

TEST(Descriptors, CueIdentifierBelongsToProgramsRegisteredForIt)
{
    EXPECT_EQ(describe(0x8A, {0x01}, {Standard::dvb, 0, 0}).name, "user private");
    EXPECT_EQ(textOf(describe(0x8A, {0x01}, {Standard::dvb, 0, 0x43554549}), "cue_stream_type"), "all commands");
}

TEST(Descriptors, ExtensionTagNamesTheDescriptor)
{
    EXPECT_EQ(describe(0x7F, {0x15, 0x00}).name, "extension_descriptor: AC-4_descriptor");
    EXPECT_EQ(describe(0x7F, {}).name, "extension_descriptor");
}

TEST(Descriptors, UnknownLayoutIsShownAsBytes)
{
    const DescribedDescriptor unknown = describe(0xFB, {1, 2});
    EXPECT_TRUE(unknown.fields.empty());
    EXPECT_EQ(unknown.note, "");
    EXPECT_EQ(line(0xFB, {1, 2}), "\n`-- 0xFB user private: 0102\n");
    EXPECT_EQ(line(0xFB, {}), "\n`-- 0xFB user private\n");
}

TEST(Descriptors, TooShortForItsFieldsIsBytesAndANote)
{
    const DescribedDescriptor cut = describe(0x48, {0x01, 9, 'x'});
    EXPECT_TRUE(cut.fields.empty());
    EXPECT_EQ(cut.note, "malformed: its fields do not fit its length, 3");
    EXPECT_EQ(line(0x09, {0x0B}), "\n`-- 0x09 CA_descriptor (malformed: its fields do not fit its length, 1): 0b\n");
}

TEST(Descriptors, BytesBehindTheLastFieldAreShown)
{
    EXPECT_EQ(textOf(describe(0x52, {0x07, 0xAB, 0xCD}), "extra"), "abcd");
}

TEST(Descriptors, EveryTagTakesEveryLengthWithoutLeavingItsBytes)
{
    std::mt19937 random(7);
    for (int tag = 0; tag < 256; ++tag)
        for (std::size_t size = 0; size < 40; ++size)
            for (const Standard standard : {Standard::dvb, Standard::atsc}) {
                // Exactly as large as the payload, so that the sanitizer sees a read behind it.
                std::vector<u8> payload(size);
                for (u8 &byte : payload)
                    byte = static_cast<u8>(random() % 3 ? random() % 6 : random());
                const DescribedDescriptor described =
                    describe(static_cast<u8>(tag), payload, {standard, 0x28, 0x43554549});
                ASSERT_FALSE(described.name.empty());
                ASSERT_TRUE(described.note.empty() || described.fields.empty());
            }
}

} // namespace
} // namespace psitool
