#include "describe/structures/structures.h"

namespace psi::describe {

namespace {

/* ---- AIT, TS 102 809 5.3.5 and TS 102 727 10 ------------------------------------------------------------------------
 */

constexpr NamedRange protocols[] = {{1, 1, "object carousel"}, {2, 2, "IP via DVB"}, {3, 3, "HTTP"}};

constexpr auto application =
    fields(sized(8, "application_profiles_length",
                 list("profiles", hex(16, "application_profile"), number(8, "version_major"),
                      number(8, "version_minor"), number(8, "version_micro"))),
           flag("service_bound_flag"), number(2, "visibility"), reserved(5), number(8, "application_priority"),
           list("transport_protocols", hex(8, "transport_protocol_label")));

constexpr auto applicationName = fields(list("names", language(), counted(8, "application_name", utf8Text)));

constexpr auto transportProtocol =
    fields(hex(16, "protocol_id", protocols), hex(8, "transport_protocol_label"),
           when("protocol_id", 1, flag("remote_connection"), reserved(7),
                when("remote_connection", 1, hex(16, "original_network_id"), hex(16, "transport_stream_id"),
                     hex(16, "service_id")),
                hex(8, "component_tag")),
           when("protocol_id", 3,
                list("URLs", counted(8, "URL_base", utf8Text),
                     list(8, "URL_extension_count", "URL_extensions", counted(8, "URL_extension", utf8Text)))),
           whenNotIn("protocol_id", 1, 1, whenNot("protocol_id", 3, bytes("selector"))));

constexpr auto javaApplication = fields(list("parameters", counted(8, "parameter", utf8Text)));

constexpr auto javaLocation = fields(counted(8, "base_directory", utf8Text),
                                     counted(8, "classpath_extension", utf8Text), run("initial_class", utf8Text));

constexpr auto externalAuthorisation = fields(
    list("applications", hex(32, "organisation_id"), hex(16, "application_id"), number(8, "application_priority")));

constexpr auto icons = fields(counted(8, "icon_locator", utf8Text), hex(16, "icon_flags"), bytes("reserved_data"));

constexpr auto boundary =
    fields(list(8, "boundary_extension_count", "boundaries", counted(8, "boundary_extension", utf8Text)));

constexpr auto simpleLocation = fields(run("initial_path", utf8Text));

constexpr auto usage = fields(hex(8, "usage_type"));

constexpr auto graphicsConstraints = fields(
    reserved(5), flag("can_run_without_visible_ui"), flag("handles_configuration_changed"),
    flag("handles_externally_controlled_video"), list("graphics_configurations", hex(8, "graphics_configuration")));

constexpr auto recording = fields(
    flag("scheduled_recording_flag"), flag("trick_mode_aware_flag"), flag("time_shift_flag"), flag("dynamic_flag"),
    flag("av_synced_flag"), flag("initiating_replay_flag"), reserved(2),
    list(8, "label_count", "labels", counted(8, "label", utf8Text), number(2, "storage_properties"), reserved(6)),
    sized(8, nullptr, list("components", hex(8, "component_tag"))), bytes8("private_data"), bytes("reserved_data"));

constexpr auto htmlApplication =
    fields(sized(8, "appid_set_length", list("appid_set", hex(16, "application_id"))), run("parameter", utf8Text));

constexpr auto htmlLocation = fields(counted(8, "physical_root", utf8Text), run("initial_path", utf8Text));

constexpr auto htmlBoundary = fields(counted(8, "label", utf8Text), run("regular_expression", utf8Text));

constexpr auto prefetch = fields(hex(8, "transport_protocol_label"),
                                 list("labels", counted(8, "label", utf8Text), number(8, "prefetch_priority")));

constexpr auto diiLocation =
    fields(hex(8, "transport_protocol_label"),
           list("DIIs", reserved(1), hex(15, "DII_identification"), hex(16, "association_tag")));

constexpr auto storage =
    fields(hex(8, "storage_property"), flag("not_launchable_from_broadcast"), flag("launchable_completely_from_cache"),
           flag("is_launchable_with_older_version"), reserved(6), number(31, "version"), number(8, "priority"));

constexpr auto ipSignalling = fields(hex(24, "platform_id"));

constexpr Structure applicationDescriptors[] = {
    {0x00, "application_descriptor", "TS 102 809 5.3.5.3", application},
    {0x01, "application_name_descriptor", "TS 102 809 5.3.5.6.1", applicationName},
    {0x02, "transport_protocol_descriptor", "TS 102 809 5.3.6.1", transportProtocol},
    {0x03, "dvb_j_application_descriptor", "TS 102 727 10.9.1", javaApplication},
    {0x04, "dvb_j_application_location_descriptor", "TS 102 727 10.9.2", javaLocation},
    {0x05, "external_application_authorisation_descriptor", "TS 102 809 5.3.5.7", externalAuthorisation},
    {0x06, "application_recording_descriptor", "TS 102 809 5.3.5.4", recording},
    {0x08, "dvb_html_application_descriptor", "TS 102 727 10.10.1", htmlApplication},
    {0x09, "dvb_html_application_location_descriptor", "TS 102 727 10.10.2", htmlLocation},
    {0x0A, "dvb_html_application_boundary_descriptor", "TS 102 727 10.10.3", htmlBoundary},
    {0x0B, "application_icons_descriptor", "TS 102 809 5.3.5.6.2", icons},
    {0x0C, "prefetch_descriptor", "TS 102 727 10.8.3", prefetch},
    {0x0D, "DII_location_descriptor", "TS 102 727 10.8.3", diiLocation},
    {0x10, "application_storage_descriptor", "TS 102 727 10.14.3", storage},
    {0x11, "ip_signalling_descriptor", "TS 102 809 11", ipSignalling},
    {0x14, "graphics_constraints_descriptor", "TS 102 809 5.3.5.8", graphicsConstraints},
    {0x15, "simple_application_location_descriptor", "TS 102 809 5.3.7", simpleLocation},
    {0x16, "application_usage_descriptor", "TS 102 809 5.3.5.5", usage},
    {0x17, "simple_application_boundary_descriptor", "TS 102 809 5.3.8", boundary},
};

/* ---- SCTE 35 10.3 ---------------------------------------------------------------------------------------------------
 */

constexpr NamedRange segmentations[] = {
    {0x00, 0x00, "not indicated"},
    {0x01, 0x01, "content identification"},
    {0x10, 0x10, "program start"},
    {0x11, 0x11, "program end"},
    {0x12, 0x12, "program early termination"},
    {0x13, 0x13, "program breakaway"},
    {0x14, 0x14, "program resumption"},
    {0x15, 0x15, "program runover planned"},
    {0x16, 0x16, "program runover unplanned"},
    {0x17, 0x17, "program overlap start"},
    {0x18, 0x18, "program blackout override"},
    {0x19, 0x19, "program join"},
    {0x20, 0x20, "chapter start"},
    {0x21, 0x21, "chapter end"},
    {0x22, 0x22, "break start"},
    {0x23, 0x23, "break end"},
    {0x30, 0x30, "provider advertisement start"},
    {0x31, 0x31, "provider advertisement end"},
    {0x32, 0x32, "distributor advertisement start"},
    {0x33, 0x33, "distributor advertisement end"},
    {0x34, 0x34, "provider placement opportunity start"},
    {0x35, 0x35, "provider placement opportunity end"},
    {0x36, 0x36, "distributor placement opportunity start"},
    {0x37, 0x37, "distributor placement opportunity end"},
    {0x40, 0x40, "unscheduled event start"},
    {0x41, 0x41, "unscheduled event end"},
    {0x50, 0x50, "network start"},
    {0x51, 0x51, "network end"},
};

constexpr auto identifier = usually(0x43554549, hex(32, "identifier")); // "CUEI"

constexpr auto avail = fields(identifier, hex(32, "provider_avail_id"));

constexpr auto dtmf =
    fields(identifier, number(8, "preroll"), lengthOf(3, nullptr, "DTMF"), reserved(5), measured("DTMF", asciiText));

constexpr auto segmentation = fields(
    identifier, hex(32, "segmentation_event_id"), flag("segmentation_event_cancel_indicator"), reserved(7),
    when("segmentation_event_cancel_indicator", 0, flag("program_segmentation_flag"),
         flag("segmentation_duration_flag"), flag("delivery_not_restricted_flag"),
         when("delivery_not_restricted_flag", 0, flag("web_delivery_allowed_flag"), flag("no_regional_blackout_flag"),
              flag("archive_allowed_flag"), number(2, "device_restrictions")),
         when("delivery_not_restricted_flag", 1, reserved(5)),
         when("program_segmentation_flag", 0,
              list(8, "component_count", "components", hex(8, "component_tag"), reserved(7), number(33, "pts_offset"))),
         when("segmentation_duration_flag", 1, number(40, "segmentation_duration")), hex(8, "segmentation_upid_type"),
         bytesOf(8, "segmentation_upid_length", "segmentation_upid"), hex(8, "segmentation_type_id", segmentations),
         number(8, "segment_num"), number(8, "segments_expected"),
         rest(number(8, "sub_segment_num"), number(8, "sub_segments_expected"))));

constexpr auto time = fields(identifier, number(48, "TAI_seconds"), number(32, "TAI_ns"), number(16, "UTC_offset"));

constexpr auto spliceAudio =
    fields(identifier, count(4, "audio_count", "audio"), reserved(4),
           countedList("audio", hex(8, "component_tag"), language("ISO_code"), number(3, "Bit_Stream_Mode"),
                       number(4, "Num_Channels"), flag("Full_Srvc_Audio")));

constexpr Structure spliceStructures[] = {
    {0x00, "avail_descriptor", "SCTE 35 10.3.1", avail},
    {0x01, "DTMF_descriptor", "SCTE 35 10.3.2", dtmf},
    {0x02, "segmentation_descriptor", "SCTE 35 10.3.3", segmentation},
    {0x03, "time_descriptor", "SCTE 35 10.3.4", time},
    {0x04, "audio_descriptor", "SCTE 35 10.3.5", spliceAudio},
};

/* ---- IP/MAC notification, EN 301 192 8.4.5, and update notification, TS 102 006 9.5 ---------------------------------
 */

constexpr auto smartcard = fields(hex(32, "super_CA_system_id"), bytes("private_data"));

constexpr auto macAddresses =
    fields(fixed(48, "MAC_addr_mask", hexDigits), list("MAC_addresses", fixed(48, "MAC_addr", hexDigits)));

constexpr auto serialNumber = fields(bytes("serial_data"));

constexpr auto ip4Addresses =
    fields(fixed(32, "IP_addr_mask", ip4Address), list("IP_addresses", fixed(32, "IP_addr", ip4Address)));

constexpr auto ip6Addresses =
    fields(fixed(128, "IPv6_addr_mask", ip6Address), list("IPv6_addresses", fixed(128, "IPv6_addr", ip6Address)));

constexpr auto platformName = fields(language(), text("platform_name"));

constexpr auto macRanges =
    fields(list("ranges", fixed(48, "MAC_addr_low", hexDigits), fixed(48, "MAC_addr_high", hexDigits)));

constexpr auto ip4Slash = fields(list("IP_addresses", fixed(32, "IP_addr", ip4Address), number(8, "IP_slash_mask")));

constexpr auto ip4SourceSlash =
    fields(list("IP_addresses", fixed(32, "IP_source_addr", ip4Address), number(8, "IP_source_slash_mask"),
                fixed(32, "IP_dest_addr", ip4Address), number(8, "IP_dest_slash_mask")));

constexpr auto ip6Slash =
    fields(list("IPv6_addresses", fixed(128, "IPv6_addr", ip6Address), number(8, "IPv6_slash_mask")));

constexpr auto ip6SourceSlash =
    fields(list("IPv6_addresses", fixed(128, "IPv6_source_addr", ip6Address), number(8, "IPv6_source_slash_mask"),
                fixed(128, "IPv6_dest_addr", ip6Address), number(8, "IPv6_dest_slash_mask")));

constexpr auto streamLocation = fields(hex(16, "network_id"), hex(16, "original_network_id"),
                                       hex(16, "transport_stream_id"), hex(16, "service_id"), hex(8, "component_tag"));

constexpr auto accessMode = fields(number(8, "access_mode"));

constexpr Structure ipMacStructures[] = {
    {0x06, "target_smartcard_descriptor", "EN 301 192 8.4.5", smartcard},
    {0x07, "target_MAC_address_descriptor", "EN 301 192 8.4.5", macAddresses},
    {0x08, "target_serial_number_descriptor", "EN 301 192 8.4.5", serialNumber},
    {0x09, "target_IP_address_descriptor", "EN 301 192 8.4.5", ip4Addresses},
    {0x0A, "target_IPv6_address_descriptor", "EN 301 192 8.4.5", ip6Addresses},
    {0x0C, "IP/MAC_platform_name_descriptor", "EN 301 192 8.4.5", platformName},
    {0x0D, "IP/MAC_platform_provider_name_descriptor", "EN 301 192 8.4.5", platformName},
    {0x0E, "target_MAC_address_range_descriptor", "EN 301 192 8.4.5", macRanges},
    {0x0F, "target_IP_slash_descriptor", "EN 301 192 8.4.5", ip4Slash},
    {0x10, "target_IP_source_slash_descriptor", "EN 301 192 8.4.5", ip4SourceSlash},
    {0x11, "target_IPv6_slash_descriptor", "EN 301 192 8.4.5", ip6Slash},
    {0x12, "target_IPv6_source_slash_descriptor", "EN 301 192 8.4.5", ip6SourceSlash},
    {0x13, "IP/MAC_stream_location_descriptor", "EN 301 192 8.4.5", streamLocation},
    {0x14, "ISP_access_mode_descriptor", "EN 301 192 8.4.5", accessMode},
};

constexpr NamedRange periodUnits[] = {{0, 0, "s"}, {1, 1, "min"}, {2, 2, "h"}, {3, 3, "d"}};

constexpr auto scheduling =
    fields(fixed(40, "start_date_time", dateAndTime), fixed(40, "end_date_time", dateAndTime),
           flag("final_availability"), flag("periodicity_flag"), number(2, "period_unit", periodUnits),
           number(2, "duration_unit", periodUnits), number(2, "estimated_cycle_time_unit", periodUnits),
           number(8, "period"), number(8, "duration"), number(8, "estimated_cycle_time"), bytes("private_data"));

constexpr auto update =
    fields(number(2, "update_flag"), number(4, "update_method"), number(2, "update_priority"), bytes("private_data"));

constexpr auto updateLocation = fields(
    hex(16, "data_broadcast_id"), when("data_broadcast_id", 0x000A, hex(16, "association_tag")), bytes("private_data"));

constexpr auto updateMessage =
    fields(number(4, "descriptor_number"), number(4, "last_descriptor_number"), language(), text("text"));

constexpr auto updateName = fields(language(), text8("name"), text8("text"));

constexpr auto updateSubgroup = fields(fixed(40, "subgroup_tag", hexDigits));

constexpr auto enhancedMessage = fields(number(4, "descriptor_number"), number(4, "last_descriptor_number"), language(),
                                        reserved(3), number(5, "message_index"), text("text"));

constexpr auto updateUri =
    fields(number(8, "max_holdoff_time"), number(8, "min_polling_interval"), run("uri", utf8Text));

constexpr Structure updateStructures[] = {
    {0x01, "scheduling_descriptor", "TS 102 006 9.5.2", scheduling},
    {0x02, "update_descriptor", "TS 102 006 9.5.2", update},
    {0x03, "ssu_location_descriptor", "TS 102 006 9.5.2", updateLocation},
    {0x04, "message_descriptor", "TS 102 006 9.5.2", updateMessage},
    {0x05, "ssu_event_name_descriptor", "TS 102 006 9.5.2", updateName},
    {0x06, "target_smartcard_descriptor", "TS 102 006 9.5.2", smartcard},
    {0x07, "target_MAC_address_descriptor", "TS 102 006 9.5.2", macAddresses},
    {0x08, "target_serial_number_descriptor", "TS 102 006 9.5.2", serialNumber},
    {0x09, "target_IP_address_descriptor", "TS 102 006 9.5.2", ip4Addresses},
    {0x0A, "target_IPv6_address_descriptor", "TS 102 006 9.5.2", ip6Addresses},
    {0x0B, "ssu_subgroup_association_descriptor", "TS 102 006 9.5.2", updateSubgroup},
    {0x0C, "enhanced_message_descriptor", "TS 102 006 9.5.2", enhancedMessage},
    {0x0D, "ssu_uri_descriptor", "TS 102 006 9.5.2", updateUri},
};

/* ---- RNT, TS 102 323 5.3 --------------------------------------------------------------------------------------------
 */

constexpr auto validDates =
    fields(fixed(40, "first_valid_date", dateAndTime), fixed(40, "last_valid_date", dateAndTime));

constexpr auto resolutionInStream = fields(
    validDates, number(6, "weighting"), flag("complete_flag"), flag("scheduled_flag"), hex(16, "transport_stream_id"),
    hex(16, "original_network_id"), hex(16, "service_id"), hex(8, "component_tag"),
    when("scheduled_flag", 1, fixed(40, "download_start_time", dateAndTime), number(8, "download_period_duration"),
         number(8, "download_cycle_time")));

constexpr auto resolutionByIp =
    fields(validDates, number(6, "weighting"), flag("complete_flag"), reserved(1), counted(8, "url", utf8Text));

constexpr auto scan = fields(
    list("streams", hex(16, "transport_stream_id"), hex(16, "original_network_id"), number(8, "scan_weighting")));

constexpr Structure resolutionStructures[] = {
    {0x40, "RAR_over_DVB_stream_descriptor", "TS 102 323 5.3", resolutionInStream},
    {0x41, "RAR_over_IP_descriptor", "TS 102 323 5.3", resolutionByIp},
    {0x42, "RNT_scan_descriptor", "TS 102 323 5.3", scan},
};

} // namespace

const StructureList aitDescriptors = applicationDescriptors;
const StructureList spliceDescriptors = spliceStructures;
const StructureList ipMacDescriptors = ipMacStructures;
const StructureList updateDescriptors = updateStructures;
const StructureList resolutionDescriptors = resolutionStructures;

} // namespace psi::describe
