#include "describe/descriptors.h"
#include "output/lines.h"

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
    LineTree root;
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

TEST(Descriptors, S2DeliveryFlagsAnnounceFields)
{
    const DescribedDescriptor full = describe(0x79, {0xCF, 0xFE, 0x01, 0x02, 0x21, 0x07});
    EXPECT_EQ(textOf(full, "TS_GS_mode"), "transport stream");
    EXPECT_EQ(numberOf(full.fields, "scrambling_sequence_index", 0), 0x20102u);
    EXPECT_EQ(numberOf(full.fields, "input_stream_identifier", 0), 0x21u);
    EXPECT_EQ(numberOf(full.fields, "timeslice_number", 0), 7u);
    EXPECT_EQ(describe(0x79, {0x13}).fields.size(), 1u);
}

TEST(Descriptors, T2Delivery)
{
    // MISO, 1.712 MHz; 19/256, 32k, other frequency; a cell on 506 MHz with one transposer on 514 MHz
    const DescribedDescriptor delivery = describe(0x7F, {0x04, 0x03, 0x12, 0x34, 0x57, 0xD6, 0x00, 0x0A, 0x03, 0x04,
                                                         0x18, 0x40, 0x05, 0x07, 0x03, 0x10, 0x4D, 0x40});
    EXPECT_EQ(delivery.name, "extension_descriptor: T2_delivery_system_descriptor");
    EXPECT_EQ(numberOf(delivery.fields, "plp_id", 0), 3u);
    EXPECT_EQ(numberOf(delivery.fields, "T2_system_id", 0), 0x1234u);
    EXPECT_EQ(textOf(delivery, "SISO_MISO"), "MISO");
    EXPECT_EQ(textOf(delivery, "bandwidth"), "1.712 MHz");
    EXPECT_EQ(textOf(delivery, "guard_interval"), "19/256");
    EXPECT_EQ(textOf(delivery, "transmission_mode"), "32k");
    EXPECT_EQ(numberOf(delivery.fields, "other_frequency_flag", 0), 1u);
    const Fields &cell = findField(delivery.fields, "cells")->items.at(0);
    EXPECT_EQ(findField(cell, "centre_frequency")->text, "506.00000 MHz");
    EXPECT_EQ(findField(findField(cell, "transposers")->items.at(0), "transposer_frequency")->text, "514.00000 MHz");
}

TEST(Descriptors, T2DeliveryWithTimeFrequencySlicing)
{
    const DescribedDescriptor delivery = describe(0x7F, {0x04, 0x03, 0x12, 0x34, 0x03, 0x01, 0x00, 0x0A, 0x08, 0x03,
                                                         0x04, 0x18, 0x40, 0x03, 0x10, 0x4D, 0x40, 0x00});
    const Fields &cell = findField(delivery.fields, "cells")->items.at(0);
    EXPECT_EQ(findField(cell, "frequencies")->items.size(), 2u);
    EXPECT_EQ(findField(cell, "transposers")->items.size(), 0u);
    EXPECT_EQ(describe(0x7F, {0x04, 0x03, 0x12, 0x34}).note, "") << "the short form";
}

TEST(Descriptors, FrequencyListsHaveTheCodingOfTheirSystem)
{
    const auto first = [](const DescribedDescriptor &list) {
        return findField(list.fields, "frequencies")->items.at(0).at(0).text;
    };
    EXPECT_EQ(first(describe(0x62, {0xFD, 0x01, 0x17, 0x57, 0x25})), "11.75725 GHz");
    EXPECT_EQ(first(describe(0x62, {0xFE, 0x03, 0x46, 0x00, 0x00})), "346.0000 MHz");
    EXPECT_EQ(first(describe(0x62, {0xFF, 0x03, 0x04, 0x18, 0x40})), "506.00000 MHz");
    EXPECT_EQ(textOf(describe(0x62, {0xFC, 0x01, 0x02}), "frequencies"), "0102");
}

struct DescriptorLine {
    u8 tag;
    std::vector<u8> payload;
    const char *text;
};

void PrintTo(const DescriptorLine &descriptor, std::ostream *out)
{
    *out << descriptorName(descriptor.tag, Standard::unknown);
}

class DescriptorLines : public testing::TestWithParam<DescriptorLine> {};

TEST_P(DescriptorLines, ShowEveryField)
{
    EXPECT_EQ(line(GetParam().tag, GetParam().payload), "\n`-- " + std::string(GetParam().text) + "\n");
}

const DescriptorLine descriptorLines[] = {
    {0x04,
     {0xA7, 0x05, 0xC6, 0x09},
     "0x04 hierarchy_descriptor: no_view_scalability_flag 1, no_temporal_scalability_flag 0, "
     "no_spatial_scalability_flag 1, no_quality_scalability_flag 0, hierarchy_type 7 (multi-view profile), "
     "hierarchy_layer_index 5, "
     "tref_present_flag 1, hierarchy_embedded_layer_index 6, hierarchy_channel 9"},
    {0x07,
     {0x0B, 0x40, 0x24, 0x03},
     "0x07 target_background_grid_descriptor: horizontal_size 720, vertical_size 576, aspect_ratio_information 3"},
    {0x08,
     {0x00, 0x40, 0x02, 0x05},
     "0x08 video_window_descriptor: horizontal_offset 16, vertical_offset 32, window_priority 5"},
    {0x0D,
     {'I', 'S', 'A', 'N', 0x01},
     "0x0D copyright_descriptor: copyright_identifier 0x4953414E, additional_copyright_info 01"},
    {0x12, {0x80, 0x0C}, "0x12 IBP_descriptor: closed_gop_flag 1, identical_gop_flag 0, max_gop_length 12"},
    {0x1B, {0x34}, "0x1B MPEG-4_video_descriptor: MPEG-4_visual_profile_and_level 0x34"},
    {0x45,
     {0x01, 0x02, 0xC0, 0xEA},
     "0x45 VBI_data_descriptor: data_service_id 1 (EBU teletext)\n"
     "    |-- field_parity 0 (second field), line_offset 0\n"
     "    `-- field_parity 1 (first field), line_offset 10"},
    {0x4B,
     {0, 1, 0, 2, 0, 3},
     "0x4B NVOD_reference_descriptor: transport_stream_id 0x0001 (1), original_network_id 0x0002 (2), service_id "
     "0x0003 (3)"},
    {0x4C, {0x9A, 0xBC}, "0x4C time_shifted_service_descriptor: reference_service_id 0x9ABC (39612)"},
    {0x4D,
     {'e', 'n', 'g', 2, 'O', 'n', 3, 'O', 'f', 'f'},
     "0x4D short_event_descriptor: ISO_639_language_code eng, event_name \"On\", text \"Off\""},
    {0x4F,
     {0, 1, 0, 2},
     "0x4F time_shifted_event_descriptor: reference_service_id 0x0001 (1), reference_event_id 0x0002 (2)"},
    {0x54,
     {0x43, 0x01},
     "0x54 content_descriptor: content_nibble_level_1 0x4 (sports), content_nibble_level_2 0x3 (football), user_byte "
     "0x01"},
    {0x55, {'F', 'R', 'A', 9}, "0x55 parental_rating_descriptor: country_code FRA, rating 0x09 (from 12 years)"},
    {0x5E,
     {7, 'e', 'n', 'g', 2, 'H', 'i'},
     "0x5E multilingual_component_descriptor: component_tag 0x07\n"
     "    `-- ISO_639_language_code eng, text \"Hi\""},
    {0x60,
     {0, 1, 0, 2, 0, 3},
     "0x60 service_move_descriptor: new_original_network_id 0x0001 (1), new_transport_stream_id 0x0002 (2), "
     "new_service_id 0x0003 (3)"},
    {0x6B, {0x40}, "0x6B ancillary_data_descriptor: ancillary_data_identifier 0x40"},
    {0x71, {'F', 'o', 'o'}, "0x71 service_identifier_descriptor: text \"Foo\""},
    {0x72,
     {0xFF, 0, 5},
     "0x72 service_availability_descriptor: availability_flag 1\n"
     "    `-- cell_id 0x0005 (5)"},
    {0x78,
     {0x0B, 0x00, 0x00, 0x64},
     "0x78 ECM_repetition_rate_descriptor: CA_system_id 0x0B00 (Conax), ECM_repetition_rate 100 (ms)"},
    {0x7B,
     {0xD2, 0x08, 0x24, 0x68, 0x4D, 0x01},
     "0x7B DTS_descriptor: sample_rate_code 13 (48 kHz), bit_rate_code 8, nblks 16, fsize 4660, surround_mode 9, "
     "lfe_flag 1, "
     "extended_surround_flag 1, additional_info 01"},
    {0x7F,
     {0x08, 1, 'e', 'n', 'g', 'H', 'i'},
     "0x7F extension_descriptor: message_descriptor: descriptor_tag_extension 0x08, message_id 1, "
     "ISO_639_language_code eng, text \"Hi\""},
    {0x7F,
     {0x0B, 0, 1, 0, 2, 0, 3},
     "0x7F extension_descriptor: service_relocated_descriptor: descriptor_tag_extension 0x0B, "
     "old_original_network_id 0x0001 (1), old_transport_stream_id 0x0002 (2), old_service_id 0x0003 (3)"},
    {0x7F,
     {0x05, 0x60},
     "0x7F extension_descriptor: SH_delivery_system_descriptor: descriptor_tag_extension 0x05, diversity_mode 0x6"},
};

INSTANTIATE_TEST_SUITE_P(Tags, DescriptorLines, testing::ValuesIn(descriptorLines));

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
    EXPECT_EQ(textOf(eac3, "component_type"), "E-AC-3, complete main, stereo");
    EXPECT_EQ(numberOf(eac3.fields, "substream3", 0), 0x33u);
    EXPECT_EQ(textOf(eac3, "additional_info"), "01");
}

TEST(Descriptors, ComponentTypesOfAc3SayServiceAndChannels)
{
    EXPECT_EQ(textOf(describe(0x6A, {0x80, 0x44}), "component_type"), "AC-3, complete main, multichannel");
    EXPECT_EQ(textOf(describe(0x6A, {0x80, 0x10}), "component_type"), "AC-3, visually impaired, mono, to be combined");
    EXPECT_EQ(textOf(describe(0x50, {0xF4, 0xC5, 0x01, 'e', 'n', 'g'}), "component_type"),
              "E-AC-3, complete main, multichannel above 5.1");
    EXPECT_EQ(textOf(describe(0x50, {0xF4, 0x47, 0x01, 'e', 'n', 'g'}), "component_type"),
              "AC-3, complete main, reserved");
}

TEST(Descriptors, BitRatesInKilobits)
{
    EXPECT_EQ(textOf(describe(0x0E, {0xC0, 0x27, 0x10}), "maximum_bitrate"), "4,000 kbit/s");
    EXPECT_EQ(textOf(describe(0x0E, {0xC0, 0x00, 0x01}), "maximum_bitrate"), "0.4 kbit/s");
    EXPECT_EQ(textOf(describe(0x10, {0xC0, 0xBD, 0x62, 0xC0, 0x08, 0x00}), "sb_leak_rate"), "19,392.8 kbit/s");
    const DescribedDescriptor partial = describe(0x63, {0xC0, 0xBD, 0x62, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF});
    EXPECT_EQ(textOf(partial, "peak_rate"), "19,392.8 kbit/s");
    EXPECT_EQ(textOf(partial, "minimum_overall_smoothing_rate"), "undefined");
}

TEST(Descriptors, APidOfNoCaMessagesIsNone)
{
    EXPECT_EQ(textOf(describe(0x09, {0x26, 0x00, 0xFF, 0xFF}), "CA_PID"), "none");
    EXPECT_EQ(textOf(describe(0x09, {0x26, 0x00, 0xE1, 0x21}), "CA_PID"), "");
}

TEST(Descriptors, RatingRegionsHaveTheirNames)
{
    const DescribedDescriptor advisory = describe(0x87, {0xC1, 0x01, 0x01, 0x05, 0xF1, 0x00}, atsc);
    const Field *regions = findField(advisory.fields, "regions");
    ASSERT_NE(regions, nullptr);
    ASSERT_EQ(regions->items.size(), 1u);
    EXPECT_EQ(findField(regions->items[0], "rating_region")->text, "United States");
}

TEST(Descriptors, ThoseOfDiscsMayProtectTheProgram)
{
    const DescriptorContext disc{Standard::unknown, 0, psi::describe::discFormat};
    const std::vector<u8> copyControl = {0x0F, 0xFF, 0xFC, 0xFC};
    EXPECT_EQ(describe(0x88, copyControl, disc).name, "DTCP_descriptor");
    EXPECT_EQ(textOf(describe(0x88, copyControl, disc), "DTCP_CCI"), "copy freely");
    EXPECT_EQ(textOf(describe(0x88, copyControl, disc), "EPN"), "not asserted");
    EXPECT_EQ(textOf(describe(0x88, copyControl, disc), "APS"), "off");
    EXPECT_EQ(describe(0x88, copyControl).name, "user private");
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
