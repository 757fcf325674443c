#include "describe/structures/structures.h"

#include <cstdio>

namespace psi::describe {

namespace {

// ARIB STD-B10 part 2 6.2, in the order of the tags. Others give these tags to descriptors of their own.

constexpr NamedRange copyControls[] = {
    {0, 0, "copy freely"}, {1, 1, "defined by the broadcaster"}, {2, 2, "copy once"}, {3, 3, "copy never"}};

constexpr NamedRange dataComponents[] = {
    {0x0007, 0x0007, "BML for fixed reception"},
    {0x0008, 0x0008, "captions"},
    {0x000C, 0x000C, "BML for portable reception"},
    {0x000D, 0x000D, "BML for partial reception"},
    {0x00A0, 0x00A0, "Ginga"},
    {0x00A3, 0x00A3, "Ginga, portable reception"},
};

constexpr NamedRange guardIntervals[] = {{0, 0, "1/32"}, {1, 1, "1/16"}, {2, 2, "1/8"}, {3, 3, "1/4"}};
constexpr NamedRange transmissionModes[] = {{0, 0, "mode 1"}, {1, 1, "mode 2"}, {2, 2, "mode 3"}};
constexpr NamedRange samplingRates[] = {{1, 1, "16 kHz"}, {2, 2, "22.05 kHz"}, {3, 3, "24 kHz"},
                                        {5, 5, "32 kHz"}, {6, 6, "44.1 kHz"},  {7, 7, "48 kHz"}};

/** Channels of 1/7 MHz. */
std::string saySevenths(const Field &number, const Fields &, const DescriptorContext &)
{
    char text[32];
    std::snprintf(text, sizeof text, "%.4f MHz", static_cast<double>(number.number) / 7);
    return text;
}

/** ARIB STD-B10 Part 2, 6.2.26; Brazil codes its audio otherwise, ABNT NBR 15603-2. */
constexpr NamedRange audioContents[] = {{2, 2, "audio"}, {6, 6, "HE-AAC audio"}};

constexpr NamedRange qualities[] = {{1, 1, "mode 1"}, {2, 2, "mode 2"}, {3, 3, "mode 3"}};

std::string sayAudioType(const Field &number, const Fields &record, const DescriptorContext &)
{
    return isdbComponentTypeName(static_cast<u8>(numberOf(record, "stream_content", 0)),
                                 static_cast<u8>(number.number));
}

/* Where the tag is DVB's, but the bits are others: 6.2.6. */

constexpr NamedRange satelliteModulations[] = {{0, 0, "not defined"},
                                               {1, 1, "QPSK"},
                                               {8, 8, "as TMCC says"},
                                               {9, 9, "satellite audio, 2.6 GHz"},
                                               {10, 10, "advanced satellite, as TMCC says"}};

constexpr NamedRange satelliteCodes[] = {{0, 0, "not defined"},  {1, 1, "1/2"},   {2, 2, "2/3"},
                                         {3, 3, "3/4"},          {4, 4, "5/6"},   {5, 5, "7/8"},
                                         {8, 8, "as TMCC says"}, {15, 15, "none"}};

constexpr NamedRange polarizations[] = {
    {0, 0, "horizontal"}, {1, 1, "vertical"}, {2, 2, "left circular"}, {3, 3, "right circular"}};

constexpr auto satelliteDelivery =
    fields(fixed(32, "frequency", gigahertz), fixed(17, "orbital_position", orbitalPosition),
           number(2, "polarization", polarizations), number(5, "modulation", satelliteModulations),
           fixed(28, "symbol_rate", symbolRate), number(4, "FEC_inner", satelliteCodes));

constexpr auto hierarchicalTransmission = fields(reserved(7), flag("quality_level"), reserved(3), pid("reference_PID"));

constexpr auto copyRules =
    fields(number(2, "digital_recording_control_data", copyControls), flag("maximum_bitrate_flag"));

constexpr auto digitalCopyControl = fields(
    copyRules, flag("component_control_flag"), number(2, "copy_control_type"), hex(2, "APS_control_data"),
    when("maximum_bitrate_flag", 1, number(8, "maximum_bitrate")),
    when("component_control_flag", 1,
         sized(8, "component_control_length",
               list("components", hex(8, "component_tag"), copyRules, reserved(1), number(2, "copy_control_type"),
                    hex(2, "APS_control_data"), when("maximum_bitrate_flag", 1, number(8, "maximum_bitrate"))))));

constexpr auto networkIdentification =
    fields(country(), hex(16, "media_type"), hex(16, "network_identification"), bytes("private_data"));

constexpr auto partialTime = fields(number(8, "event_version_number"), fixed(40, "event_start_time", dateAndTime),
                                    fixed(24, "duration", duration), fixed(24, "offset", duration), reserved(5),
                                    flag("offset_flag"), flag("other_descriptor_status"), announces("JST_time"),
                                    announced("JST_time", fixed(40, "JST_time", dateAndTime)));

constexpr auto audioComponent =
    fields(reserved(4), hex(4, "stream_content", {audioContents}), hex(8, "component_type", {}, sayAudioType),
           hex(8, "component_tag"), hex(8, "stream_type", streamTypes), hex(8, "simulcast_group_tag"),
           announces("ISO_639_language_code_2"), flag("main_component_flag"), number(2, "quality_indicator", qualities),
           number(3, "sampling_rate", samplingRates), reserved(1), language(),
           announced("ISO_639_language_code_2", language("ISO_639_language_code_2")), text("text"));

constexpr auto hyperlink =
    fields(hex(8, "hyper_linkage_type"), hex(8, "link_destination_type"), bytes8("selector"), bytes("private_data"));

constexpr auto targetRegion = fields(hex(8, "region_spec_type"), bytes("target_region_spec"));

constexpr auto dataComponentId = hex(16, "data_component_id", {dataComponents, ""});

constexpr auto dataContent =
    fields(dataComponentId, hex(8, "entry_component"), bytes8("selector"),
           list(8, "num_of_component_ref", "component_refs", hex(8, "component_ref")), language(), text8("text"));

constexpr auto videoDecodeControl =
    fields(flag("still_picture_flag"), flag("sequence_end_code_flag"), number(4, "video_encode_format"), reserved(2));

constexpr auto downloadContent = fields(
    flag("reboot"), flag("add_on"), flag("compatibility_flag"), flag("module_info_flag"), flag("text_info_flag"),
    reserved(3), number(32, "component_size"), hex(32, "download_id"), number(32, "time_out_value_DII"),
    number(22, "leak_rate"), reserved(2), hex(8, "component_tag"),
    when("compatibility_flag", 1, bytesOf(16, "compatibilityDescriptorLength", "compatibilityDescriptor")),
    when("module_info_flag", 1,
         list(16, "num_of_modules", "modules", hex(16, "module_id"), number(32, "module_size"), bytes8("module_info"))),
    bytes8("private_data"), when("text_info_flag", 1, language(), text8("text")));

constexpr auto caEmmTs = fields(hex(16, "CA_system_id"), hex(16, "transport_stream_id"), hex(16, "original_network_id"),
                                number(8, "power_supply_period"));

constexpr auto caContract = fields(hex(16, "CA_system_id"), number(4, "CA_unit_id"),
                                   list(4, "num_of_component", "components", hex(8, "component_tag")),
                                   bytes8("contract_verification_info"), text8("fee_name"));

constexpr auto caService = fields(hex(16, "CA_system_id"), hex(8, "CA_broadcaster_group_id"),
                                  number(8, "message_control"), list("services", hex(16, "service_id")));

constexpr auto tsInformation =
    fields(number(8, "remote_control_key_id"), lengthOf(6, nullptr, "ts_name"),
           count(2, "transmission_type_count", "transmission_types"), measured("ts_name", dvbText),
           countedList("transmission_types", hex(8, "transmission_type_info"),
                       list(8, "num_of_service", "services", hex(16, "service_id"))),
           bytes("reserved_data"));

constexpr auto extendedBroadcaster =
    fields(number(4, "broadcaster_type"), reserved(4),
           whenIn("broadcaster_type", 1, 2, hex(16, "terrestrial_broadcaster_id"),
                  count(4, "number_of_affiliation_id_loop", "affiliations"),
                  count(4, "number_of_broadcaster_id_loop", "broadcasters"),
                  countedList("affiliations", number(8, "affiliation_id")),
                  countedList("broadcasters", hex(16, "original_network_id"), number(8, "broadcaster_id"))),
           bytes("private_data"));

constexpr auto logoTransmission = fields(
    number(8, "logo_transmission_type"), whenIn("logo_transmission_type", 1, 2, reserved(7), number(9, "logo_id")),
    when("logo_transmission_type", 1, reserved(4), number(12, "logo_version"), hex(16, "download_data_id")),
    when("logo_transmission_type", 3, run("logo_char", dvbText)),
    whenNotIn("logo_transmission_type", 1, 3, bytes("reserved_data")));

constexpr auto basicLocalEvent = fields(
    reserved(4), number(4, "segmentation_mode"),
    sized(8, "segmentation_info_length",
          when("segmentation_mode", 1, reserved(7), number(33, "start_time_NPT"), reserved(7),
               number(33, "end_time_NPT")),
          whenIn("segmentation_mode", 2, 5, fixed(24, "start_time", clockTime), fixed(24, "duration", duration),
                 rest(number(12, "start_time_extension"), reserved(4), number(12, "duration_extension"), reserved(4))),
          whenNotIn("segmentation_mode", 1, 5, bytes("reserved_data"))),
    list("components", hex(8, "component_tag")));

constexpr auto reference = fields(hex(16, "information_provider_id"), hex(16, "event_relation_id"),
                                  list("references", hex(16, "reference_node_id"), number(8, "reference_number"),
                                       number(8, "last_reference_number")));

constexpr auto nodeRelation =
    fields(number(4, "reference_type"), flag("external_reference_flag"), reserved(3),
           when("external_reference_flag", 1, hex(16, "information_provider_id"), hex(16, "event_relation_id")),
           hex(16, "reference_node_id"), number(8, "reference_number"));

constexpr auto shortNode = fields(language(), text8("node_name"), text8("text"));

constexpr auto series = fields(hex(16, "series_id"), number(4, "repeat_label"), number(3, "program_pattern"),
                               flag("expire_date_valid_flag"), fixed(16, "expire_date", date),
                               number(12, "episode_number"), number(12, "last_episode_number"), text("series_name"));

constexpr auto eventGroup =
    fields(number(4, "group_type"), list(4, "event_count", "events", hex(16, "service_id"), hex(16, "event_id")),
           whenIn("group_type", 4, 5,
                  list("other_events", hex(16, "original_network_id"), hex(16, "transport_stream_id"),
                       hex(16, "service_id"), hex(16, "event_id"))),
           whenNotIn("group_type", 4, 5, bytes("private_data")));

constexpr auto tableParameters = list("tables", hex(8, "table_id"), bytes8("table_description"));

constexpr auto siParameter = fields(number(8, "parameter_version"), fixed(16, "update_time", date), tableParameters);

constexpr auto siPrimeTs =
    fields(number(8, "parameter_version"), fixed(16, "update_time", date), hex(16, "SI_prime_ts_network_id"),
           hex(16, "SI_prime_transport_stream_id"), tableParameters);

constexpr auto broadcasterName = fields(text("broadcaster_name_text"));

constexpr auto componentGroup =
    fields(number(3, "component_group_type"), flag("total_bit_rate_flag"),
           list(4, "num_of_group", "groups", number(4, "component_group_id"),
                list(4, "num_of_CA_unit", "CA_units", number(4, "CA_unit_id"),
                     list(4, "num_of_component", "components", hex(8, "component_tag"))),
                when("total_bit_rate_flag", 1, number(8, "total_bit_rate")), text8("text")));

constexpr auto boardInformation = fields(text8("title"), text8("text"));

constexpr auto ldtLinkage =
    fields(hex(16, "original_service_id"), hex(16, "transport_stream_id"), hex(16, "original_network_id"),
           list("descriptions", hex(16, "description_id"), reserved(4), number(4, "description_type"),
                hex(8, "user_defined")));

constexpr auto connectedTransmission =
    fields(hex(16, "connected_transmission_group_id"), number(2, "segment_type"), number(2, "modulation_type_A"),
           number(2, "modulation_type_B"), reserved(2), bytes("additional_connected_transmission_info"));

constexpr auto contentAvailability =
    fields(reserved(1), flag("copy_restriction_mode"), flag("image_constraint_token"), flag("retention_mode"),
           number(3, "retention_state"), flag("encryption_mode"), bytes("reserved_data"));

constexpr auto serviceGroup = fields(
    number(4, "service_group_type"), reserved(4),
    when("service_group_type", 1, list("services", hex(16, "primary_service_id"), hex(16, "secondary_service_id"))),
    whenNot("service_group_type", 1, bytes("private_data")));

constexpr auto accessControl =
    fields(hex(16, "CA_system_id"), number(3, "transmission_type"), pid("PID"), bytes("private_data"));

/** Descriptors of a data carousel's modules: their tags have another meaning than those of tables. */
constexpr auto carouselComposite = fields(list("sub_descriptors", hex(8, "descriptor_tag"), bytes8("data")));

constexpr auto terrestrialDelivery = fields(hex(12, "area_code"), number(2, "guard_interval", guardIntervals),
                                            number(2, "transmission_mode", transmissionModes),
                                            list("frequencies", number(16, "frequency", {}, saySevenths)));

constexpr auto partialReception = fields(list("services", hex(16, "service_id")));

constexpr auto emergencyInformation =
    fields(list("services", hex(16, "service_id"), flag("start_end_flag"), flag("signal_level"), reserved(6),
                sized(8, "area_code_length", list("areas", hex(12, "area_code"), reserved(4)))));

constexpr auto dataComponent = fields(dataComponentId, bytes("additional_data_component_info"));

constexpr auto systemManagement =
    fields(number(2, "broadcasting_flag"), number(6, "broadcasting_identifier"),
           hex(8, "additional_broadcasting_identification"), bytes("additional_identification_info"));

constexpr Structure structures[] = {
    {0x43, "satellite_delivery_system_descriptor", "ARIB STD-B10 part 2 6.2", satelliteDelivery},
    {0xC0, "hierarchical_transmission_descriptor", "ARIB STD-B10 part 2 6.2", hierarchicalTransmission},
    {0xC1, "digital_copy_control_descriptor", "ARIB STD-B10 part 2 6.2", digitalCopyControl},
    {0xC2, "network_identification_descriptor", "ARIB STD-B10 part 2 6.2", networkIdentification},
    {0xC3, "partialTS_time_descriptor", "ARIB STD-B10 part 2 6.2", partialTime},
    {0xC4, "audio_component_descriptor", "ARIB STD-B10 part 2 6.2", audioComponent},
    {0xC5, "hyperlink_descriptor", "ARIB STD-B10 part 2 6.2", hyperlink},
    {0xC6, "target_region_descriptor", "ARIB STD-B10 part 2 6.2", targetRegion},
    {0xC7, "data_content_descriptor", "ARIB STD-B10 part 2 6.2", dataContent},
    {0xC8, "video_decode_control_descriptor", "ARIB STD-B10 part 2 6.2", videoDecodeControl},
    {0xC9, "download_content_descriptor", "ARIB STD-B21 12.2", downloadContent},
    {0xCA, "CA_EMM_TS_descriptor", "ARIB STD-B25", caEmmTs},
    {0xCB, "CA_contract_info_descriptor", "ARIB STD-B25", caContract},
    {0xCC, "CA_service_descriptor", "ARIB STD-B25", caService},
    {0xCD, "TS_information_descriptor", "ARIB STD-B10 part 2 6.2", tsInformation},
    {0xCE, "extended_broadcaster_descriptor", "ARIB STD-B10 part 2 6.2", extendedBroadcaster},
    {0xCF, "logo_transmission_descriptor", "ARIB STD-B10 part 2 6.2", logoTransmission},
    {0xD0, "basic_local_event_descriptor", "ARIB STD-B10 part 2 6.2", basicLocalEvent},
    {0xD1, "reference_descriptor", "ARIB STD-B10 part 2 6.2", reference},
    {0xD2, "node_relation_descriptor", "ARIB STD-B10 part 2 6.2", nodeRelation},
    {0xD3, "short_node_information_descriptor", "ARIB STD-B10 part 2 6.2", shortNode},
    {0xD5, "series_descriptor", "ARIB STD-B10 part 2 6.2", series},
    {0xD6, "event_group_descriptor", "ARIB STD-B10 part 2 6.2", eventGroup},
    {0xD7, "SI_parameter_descriptor", "ARIB STD-B10 part 2 6.2", siParameter},
    {0xD8, "broadcaster_name_descriptor", "ARIB STD-B10 part 2 6.2", broadcasterName},
    {0xD9, "component_group_descriptor", "ARIB STD-B10 part 2 6.2", componentGroup},
    {0xDA, "SI_prime_ts_descriptor", "ARIB STD-B10 part 2 6.2", siPrimeTs},
    {0xDB, "board_information_descriptor", "ARIB STD-B10 part 2 6.2", boardInformation},
    {0xDC, "LDT_linkage_descriptor", "ARIB STD-B10 part 2 6.2", ldtLinkage},
    {0xDD, "connected_transmission_descriptor", "ARIB STD-B10 part 2 6.2", connectedTransmission},
    {0xDE, "content_availability_descriptor", "ARIB STD-B10 part 2 6.2", contentAvailability},
    {0xE0, "service_group_descriptor", "ARIB STD-B10 part 2 6.2", serviceGroup},
    {0xF6, "access_control_descriptor", "ARIB STD-B25", accessControl},
    {0xF7, "carousel_compatible_composite_descriptor", "ARIB STD-B10 part 2 6.2", carouselComposite},
    {0xF8, "conditional_playback_descriptor", "ARIB STD-B25", accessControl},
    {0xFA, "terrestrial_delivery_system_descriptor", "ARIB STD-B10 part 2 6.2", terrestrialDelivery},
    {0xFB, "partial_reception_descriptor", "ARIB STD-B10 part 2 6.2", partialReception},
    {0xFC, "emergency_information_descriptor", "ARIB STD-B10 part 2 6.2", emergencyInformation},
    {0xFD, "data_component_descriptor", "ARIB STD-B10 part 2 6.2", dataComponent},
    {0xFE, "system_management_descriptor", "ARIB STD-B10 part 2 6.2", systemManagement},
};

} // namespace

const StructureList aribDescriptors = structures;

} // namespace psi::describe
