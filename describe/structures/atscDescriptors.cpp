#include "describe/structures/structures.h"

#include <iterator>

namespace psi::describe {

namespace {

constexpr NamedRange ac3SampleRates[] = {
    {0, 0, "48 kHz"},
    {1, 1, "44.1 kHz"},
    {2, 2, "32 kHz"},
    {4, 4, "48 or 44.1 kHz"},
    {5, 5, "48 or 32 kHz"},
    {6, 6, "44.1 or 32 kHz"},
    {7, 7, "48, 44.1 or 32 kHz"},
};

constexpr NamedRange ac3Channels[] = {
    {0, 0, "1+1"},       {1, 1, "1/0"},       {2, 2, "2/0"},       {3, 3, "3/0"},       {4, 4, "2/1"},
    {5, 5, "3/1"},       {6, 6, "2/2"},       {7, 7, "3/2"},       {8, 8, "1"},         {9, 9, "up to 2"},
    {10, 10, "up to 3"}, {11, 11, "up to 4"}, {12, 12, "up to 5"}, {13, 13, "up to 6"},
};

constexpr NamedRange captionKinds[] = {{0, 0, "CEA-608"}, {1, 1, "CEA-708"}};

constexpr NamedRange cueTypes[] = {{0, 0, "splice inserts only"},
                                   {1, 1, "all commands"},
                                   {2, 2, "segmentation"},
                                   {3, 3, "tiered splicing"},
                                   {4, 4, "tiered segmentation"}};

constexpr NamedRange minutes[] = {{0, 0x3FF, "minutes"}};

constexpr NamedRange surroundModes[] = {{0, 0, "not indicated"}, {1, 1, "not surround"}, {2, 2, "surround"}};

/** A/52 table A4.3: the rate itself, or with the upper bit what it is at most. */
std::string sayAc3Rate(const Field &number, const Fields &, const DescriptorContext &)
{
    constexpr unsigned rates[] = {32,  40,  48,  56,  64,  80,  96,  112, 128, 160,
                                  192, 224, 256, 320, 384, 448, 512, 576, 640};
    constexpr u64 upperLimit = 0x20;
    const u64 code = number.number % upperLimit;
    if (code >= std::size(rates))
        return "reserved";
    return (number.number < upperLimit ? "" : "up to ") + std::to_string(rates[code]) + " kbit/s";
}

// A/65 6.9, A/52 Annex A and SCTE 35, in the order of the tags.

constexpr auto stuffing = fields(run("stuffing_bytes", stuffingBytes));

/** Older streams leave out more or less of what follows full_svc. A/52 A3.4. */
constexpr auto ac3 =
    fields(number(3, "sample_rate_code", ac3SampleRates), number(5, "bsid"), number(6, "bit_rate_code", {}, sayAc3Rate),
           number(2, "surround_mode", surroundModes), number(3, "bsmod", ac3Services),
           number(4, "num_channels", ac3Channels), flag("full_svc"),
           rest(hex(8, "langcod"),
                rest(when("num_channels", 0, hex(8, "langcod2")),
                     rest(whenIn("bsmod", 0, 1, hex(8, "mainid_byte")), whenNotIn("bsmod", 0, 1, hex(8, "asvcflags")),
                          rest(lengthOf(7, nullptr, "text"), flag("text_code"),
                               when("text_code", 1, measured("text", asciiText)),
                               when("text_code", 0, measured("text", utf16Text)),
                               rest(flag("language_flag"), flag("language_flag_2"), reserved(6),
                                    when("language_flag", 1, language("language")),
                                    when("language_flag_2", 1, language("language_2")), bytes("additional_info")))))));

constexpr auto captionService = fields(reserved(3), list(5, "number_of_services", "services", language("language"),
                                                         number(1, "digital_cc", captionKinds), reserved(1),
                                                         when("digital_cc", 1, number(6, "caption_service_number")),
                                                         when("digital_cc", 0, reserved(5), number(1, "line21_field")),
                                                         flag("easy_reader"), flag("wide_aspect_ratio"), reserved(14)));

constexpr auto contentAdvisory =
    fields(reserved(2),
           list(6, "rating_region_count", "regions", number(8, "rating_region", {ratingRegions, ""}),
                list(8, nullptr, "ratings", number(8, "rating_dimension"), reserved(4), number(4, "rating_value")),
                counted(8, "rating_description", multipleStrings)));

constexpr NamedRange dtcpStates[] = {{0, 0, "forever"},  {1, 1, "1 week"},  {2, 2, "2 days"},  {3, 3, "1 day"},
                                     {4, 4, "12 hours"}, {5, 5, "6 hours"}, {6, 6, "3 hours"}, {7, 7, "90 minutes"}};
constexpr NamedRange dtcpCopies[] = {
    {0, 0, "copy freely"}, {1, 1, "no more copies"}, {2, 2, "copy one generation"}, {3, 3, "copy never"}};

constexpr NamedRange encryptionPlus[] = {{0, 0, "asserted"}, {1, 1, "not asserted"}};
constexpr NamedRange imageConstraints[] = {{0, 0, "constrained"}, {1, 1, "not constrained"}};
constexpr NamedRange analogProtections[] = {
    {0, 0, "off"}, {1, 1, "AGC"}, {2, 2, "AGC, 2 lines"}, {3, 3, "AGC, 4 lines"}};

/** DTCP volume 1 Appendix B */
constexpr auto dtcp = fields(usually(0x0FFF, hex(16, "CA_System_ID")), reserved(1), flag("Retention_Move_mode"),
                             number(3, "Retention_State", dtcpStates), flag("EPN", {encryptionPlus, ""}),
                             number(2, "DTCP_CCI", dtcpCopies), reserved(3), flag("DOT"), flag("AST"),
                             flag("Image_Constraint_Token", {imageConstraints, ""}),
                             number(2, "APS", analogProtections), bytes("private_data"));

constexpr auto cueIdentifier = fields(number(8, "cue_stream_type", cueTypes));

constexpr auto extendedChannelName = fields(run("long_channel_name", multipleStrings));

constexpr auto serviceLocation =
    fields(reserved(3), pid("PCR_PID"),
           list(8, "number_elements", "elements", hex(8, "stream_type", streamTypes), reserved(3),
                pid("elementary_PID"), fixed(24, "ISO_639_language_code", languageCode)));

constexpr auto timeShiftedService =
    fields(reserved(3), list(5, "number_of_services", "services", reserved(6), number(10, "time_shift", minutes),
                             reserved(4), number(10, "major_channel_number"), number(10, "minor_channel_number")));

constexpr auto componentName = fields(run("component_name", multipleStrings));

constexpr auto redistributionControl = fields(bytes("rc_information"));

constexpr auto departingRequest =
    fields(hex(8, "dcc_departing_request_type"),
           counted(8, "dcc_departing_request_text", multipleStrings, "dcc_departing_request_text_length"));

constexpr auto arrivingRequest =
    fields(hex(8, "dcc_arriving_request_type"),
           counted(8, "dcc_arriving_request_text", multipleStrings, "dcc_arriving_request_text_length"));

constexpr auto genre = fields(reserved(3), list(5, "attribute_count", "attributes", hex(8, "attribute")));

constexpr auto privateInformation = fields(hex(32, "format_identifier"), bytes("private_data"));

/** A/52 Annex G 3.5 */
constexpr auto enhancedAc3 = fields(
    reserved(1), flag("bsid_flag"), announces("mainid"), announces("asvc"), flag("mixinfoexists"),
    flag("substream1_flag"), flag("substream2_flag"), flag("substream3_flag"), reserved(1), flag("full_service_flag"),
    number(3, "audio_service_type", ac3Services), number(3, "number_of_channels"), flag("language_flag"),
    flag("language_flag_2"), reserved(1), when("bsid_flag", 1, number(5, "bsid")), when("bsid_flag", 0, zero(5)),
    announced("mainid", reserved(3), number(2, "priority"), number(3, "mainid")), announced("asvc", hex(8, "asvc")),
    when("substream1_flag", 1, hex(8, "substream1")), when("substream2_flag", 1, hex(8, "substream2")),
    when("substream3_flag", 1, hex(8, "substream3")), when("language_flag", 1, language("language")),
    when("language_flag_2", 1, language("language_2")), when("substream1_flag", 1, language("substream1_lang")),
    when("substream2_flag", 1, language("substream2_lang")), when("substream3_flag", 1, language("substream3_lang")),
    bytes("additional_info"));

/** A/90 11 */
constexpr auto encapsulation = fields(number(3, "deviceId_address_range"), flag("deviceId_IP_mapping_flag"),
                                      flag("alignment_indicator"), reserved(3), number(8, "max_sections_per_datagram"));

/** A/71 7 */
constexpr auto parameterizedService = fields(hex(8, "application_tag"), bytes("application_data"));

constexpr Structure structures[] = {
    {0x80, "stuffing_descriptor", "A/65 6.9.8", stuffing},
    {0x81, "AC-3_audio_stream_descriptor", "A/52 A3.4", ac3},
    {0x86, "caption_service_descriptor", "A/65 6.9.2", captionService},
    {0x87, "content_advisory_descriptor", "A/65 6.9.3", contentAdvisory},
    {0x88, "DTCP_descriptor", "DTCP B.1", dtcp},
    {0x8A, "cue_identifier_descriptor", "SCTE 35 8.2", cueIdentifier},
    {0x8D, "parameterized_service_descriptor", "A/71 7", parameterizedService},
    {0xA0, "extended_channel_name_descriptor", "A/65 6.9.4", extendedChannelName},
    {0xA1, "service_location_descriptor", "A/65 6.9.5", serviceLocation},
    {0xA2, "time_shifted_service_descriptor", "A/65 6.9.6", timeShiftedService},
    {0xA3, "component_name_descriptor", "A/65 6.9.7", componentName},
    {0xA7, "multiprotocol_encapsulation_descriptor", "A/90 11", encapsulation},
    {0xA8, "DCC_departing_request_descriptor", "A/65 6.9.10", departingRequest},
    {0xA9, "DCC_arriving_request_descriptor", "A/65 6.9.11", arrivingRequest},
    {0xAA, "redistribution_control_descriptor", "A/65 6.9.12", redistributionControl},
    {0xAB, "genre_descriptor", "A/65 6.9.13", genre},
    {0xAD, "ATSC_private_information_descriptor", "A/53-3 6.8.4", privateInformation},
    {0xCC, "E-AC-3_audio_stream_descriptor", "A/52 G3.5", enhancedAc3},
};

} // namespace

const StructureList atscDescriptors = structures;

} // namespace psi::describe
