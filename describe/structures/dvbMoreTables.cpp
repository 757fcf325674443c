#include "describe/structures/tables.h"

namespace psi::describe {

namespace {

constexpr NamedRange controlCodes[] = {
    {0x00, 0x00, "reserved"}, {0x01, 0x01, "autostart"}, {0x02, 0x02, "present"},
    {0x03, 0x03, "destroy"},  {0x04, 0x04, "kill"},      {0x05, 0x05, "prefetch"},
    {0x06, 0x06, "remote"},   {0x07, 0x07, "disabled"},  {0x08, 0x08, "playback autostart"},
};

constexpr auto header(const char *idKey)
{
    return sectionHeader(reserved(1), idKey);
}

constexpr auto shortStart = sectionStart(reserved(1), 0);

constexpr auto runningStatus = number(3, "running_status", runningStatuses);

// EN 300 468 5.2.4
constexpr auto eit = fields(header("service_id"), hex(16, "transport_stream_id"), hex(16, "original_network_id"),
                            number(8, "segment_last_section_number"), hex(8, "last_table_id"),
                            list("events", hex(16, "event_id"), fixed(40, "start_time", dateAndTime),
                                 fixed(24, "duration", duration), runningStatus, flag("free_CA_mode", {scrambled, ""}),
                                 sized(12, "descriptors_loop_length", descriptors())));

// 5.2.5
constexpr auto tdt = fields(shortStart, fixed(40, "UTC_time", dateAndTime));

// 5.2.6
constexpr auto tot = fields(shortStart, fixed(40, "UTC_time", dateAndTime), descriptorLoop("descriptors_loop_length"));

// 5.2.7
constexpr auto rst = fields(shortStart, list("statuses", hex(16, "transport_stream_id"), hex(16, "original_network_id"),
                                             hex(16, "service_id"), hex(16, "event_id"), reserved(5), runningStatus));

// 5.2.8
constexpr auto st = fields(shortStart, bytes("stuffing"));

// 7.1.1
constexpr auto dit = fields(shortStart, flag("transition_flag"), reserved(7));

// 7.1.2
constexpr auto sit =
    fields(sectionStart(reserved(1)), reserved(16), sectionVersion(), descriptorLoop("transmission_info_loop_length"),
           list("services", hex(16, "service_id"), reserved(1), runningStatus,
                sized(12, "service_loop_length", descriptors())));

// ISO/IEC 13818-1 2.4.4.13
constexpr auto tsdt = fields(sectionStart(zero(1)), reserved(16), sectionVersion(), descriptors());

// TS 102 809 5.3.4.6
constexpr auto ait = fields(sectionStart(reserved(1)), usually(0, flag("test_application_flag")),
                            hex(15, "application_type", applicationTypes), sectionVersion(), reserved(4),
                            sized(12, "common_descriptors_length", descriptors(TagSpace::ait)), reserved(4),
                            sized(12, "application_loop_length",
                                  list("applications", hex(32, "organisation_id"), hex(16, "application_id"),
                                       hex(8, "application_control_code", controlCodes), reserved(4),
                                       sized(12, "application_descriptors_loop_length", descriptors(TagSpace::ait)))));

/** Who is meant, and what for: EN 301 192 8.4.4, TS 102 006 9.4. */
constexpr auto targets(TagSpace space)
{
    return fields(reserved(4), sized(12, "target_descriptor_loop_length", descriptors(space, "target_descriptors")),
                  reserved(4),
                  sized(12, "operational_descriptor_loop_length", descriptors(space, "operational_descriptors")));
}

// EN 301 192 8.4.3
constexpr auto ipMac = fields(sectionStart(reserved(1)), hex(8, "action_type"), hex(8, "platform_id_hash"),
                              sectionVersion(), hex(24, "platform_id"), number(8, "processing_order"), reserved(4),
                              sized(12, "platform_descriptor_loop_length", descriptors(TagSpace::ipMac)),
                              list("targets", targets(TagSpace::ipMac)));

// TS 102 006 9.4
constexpr auto unt = fields(sectionStart(reserved(1)), hex(8, "action_type"), hex(8, "OUI_hash"), sectionVersion(),
                            hex(24, "OUI"), hex(8, "processing_order"), reserved(4),
                            sized(12, "common_descriptor_loop_length", descriptors(TagSpace::update)),
                            list("devices", bytesOf(16, "compatibilityDescriptorLength", "compatibilityDescriptor"),
                                 sized(16, "platform_loop_length", list("platforms", targets(TagSpace::update)))));

// TS 102 323 5.2
constexpr auto rnt = fields(
    header("context_id"), hex(8, "context_id_type"), reserved(4),
    sized(12, "common_descriptors_length", descriptors(TagSpace::relatedContent)),
    list("resolution_providers", reserved(4),
         sized(12, "resolution_provider_info_length", text8("resolution_provider_name"), reserved(4),
               sized(12, "resolution_provider_descriptors_length", descriptors(TagSpace::relatedContent)),
               list("CRID_authorities", text8("CRID_authority_name"), reserved(2), number(2, "CRID_authority_policy"),
                    sized(12, "CRID_authority_descriptors_length", descriptors(TagSpace::relatedContent))))));

/* ---- DSM-CC, ISO/IEC 13818-6 9.2 ------------------------------------------------------------------------------------
 */

constexpr auto dsmccHeader = fields(sectionStart(zero(1)), hex(16, "table_id_extension"), sectionVersion());

constexpr auto messageHeader(const char *identifierKey)
{
    return fields(dsmccHeader, hex(8, "protocolDiscriminator"), hex(8, "dsmccType"), hex(16, "messageId"),
                  hex(32, identifierKey), reserved(8), lengthOf(8, "adaptationLength", "dsmccAdaptationHeader"));
}

// 7.2
constexpr auto downloadControl =
    fields(messageHeader("transactionId"),
           sized(16, "messageLength", measured("dsmccAdaptationHeader", hexDigits), bytes("payload")));

// 7.3.7
constexpr auto downloadData =
    fields(messageHeader("downloadId"),
           sized(16, "messageLength", measured("dsmccAdaptationHeader", hexDigits), hex(16, "moduleId"),
                 number(8, "moduleVersion"), reserved(8), number(16, "blockNumber"), bytes("blockData")));

// 8.1
constexpr auto streamDescriptors = fields(dsmccHeader, descriptors());

constexpr auto privateDsmcc = fields(dsmccHeader, bytes("private_data"));

/** RFC 791 3.1 */
constexpr auto ip4 =
    fields(number(4, "IP_version"), number(4, "IHL"), hex(8, "type_of_service"), number(16, "total_length"),
           hex(16, "identification"), number(3, "flags"), number(13, "fragment_offset"), number(8, "time_to_live"),
           number(8, "protocol"), hex(16, "header_checksum"), fixed(32, "source_address", ip4Address),
           fixed(32, "destination_address", ip4Address), bytes("IP_payload"));

/** RFC 8200 3 */
constexpr auto ip6 =
    fields(number(4, "IP_version"), hex(8, "traffic_class"), hex(20, "flow_label"), number(16, "payload_length"),
           number(8, "next_header"), number(8, "hop_limit"), fixed(128, "source_address", ip6Address),
           fixed(128, "destination_address", ip6Address), bytes("IP_payload"));

// EN 301 192 7.1
constexpr auto datagram =
    fields(sectionStart(zero(1)), hex(8, "MAC_address_6"), hex(8, "MAC_address_5"), reserved(2),
           number(2, "payload_scrambling_control"), number(2, "address_scrambling_control"), flag("LLC_SNAP_flag"),
           flag("current_next_indicator"), number(8, "section_number"), number(8, "last_section_number"),
           hex(8, "MAC_address_4"), hex(8, "MAC_address_3"), hex(8, "MAC_address_2"), hex(8, "MAC_address_1"),
           when("LLC_SNAP_flag", 1, bytes("LLC_SNAP")),
           when("LLC_SNAP_flag", 0, ahead(0, 4, "IP_version"), when("IP_version", 4, ip4), when("IP_version", 6, ip6),
                whenNot("IP_version", 4, whenNot("IP_version", 6, bytes("datagram")))));

/* ---- ARIB STD-B10 ---------------------------------------------------------------------------------------------------
 */

constexpr auto bit =
    fields(header("original_network_id"), reserved(3), flag("broadcast_view_propriety"),
           sized(12, "first_descriptors_length", descriptors()),
           list("broadcasters", number(8, "broadcaster_id"), descriptorLoop("broadcaster_descriptors_length")));

constexpr auto nbit =
    fields(header("original_network_id"),
           list("informations", hex(16, "information_id"), number(4, "information_type"),
                number(2, "description_body_location"), reserved(2), hex(8, "user_defined"),
                list(8, "number_of_keys", "keys", hex(16, "key_id")), descriptorLoop("descriptors_loop_length")));

constexpr auto ldt = fields(
    header("original_service_id"), hex(16, "transport_stream_id"), hex(16, "original_network_id"),
    list("descriptions", hex(16, "description_id"), reserved(12), sized(12, "descriptors_loop_length", descriptors())));

constexpr auto cdt = fields(header("download_data_id"), hex(16, "original_network_id"), hex(8, "data_type"),
                            descriptorLoop("descriptors_loop_length"), bytes("data_module"));

// ARIB STD-B21 12.2
constexpr auto sdtt = fields(
    header("maker_and_model_id"), hex(16, "transport_stream_id"), hex(16, "original_network_id"), hex(16, "service_id"),
    list(8, "num_of_contents", "contents", hex(4, "group"), number(12, "target_version"), number(12, "new_version"),
         number(2, "download_level"), number(2, "version_indicator"),
         lengthOf(12, "content_description_length", "content"), reserved(4),
         lengthOf(12, "schedule_description_length", "schedule"), number(4, "schedule_time-shift_information"),
         measuredPart("content",
                      measuredPart("schedule", list("schedules", fixed(40, "start_time", dateAndTime),
                                                    fixed(24, "duration", duration))),
                      descriptors())));

constexpr auto lit =
    fields(header("event_id"), hex(16, "service_id"), hex(16, "transport_stream_id"), hex(16, "original_network_id"),
           list("local_events", hex(16, "local_event_id"), descriptorLoop("descriptors_loop_length")));

constexpr auto ert =
    fields(header("event_relation_id"), hex(16, "information_provider_id"), number(4, "relation_type"), reserved(4),
           list("references", hex(16, "node_id"), number(4, "collection_mode"), reserved(4), hex(16, "parent_node_id"),
                number(8, "reference_number"), descriptorLoop("descriptors_loop_length")));

} // namespace

const Layout eitLayout = eit;
const Layout tdtLayout = tdt;
const Layout totLayout = tot;
const Layout rstLayout = rst;
const Layout stLayout = st;
const Layout ditLayout = dit;
const Layout sitLayout = sit;
const Layout tsdtLayout = tsdt;
const Layout aitLayout = ait;
const Layout intLayout = ipMac;
const Layout untLayout = unt;
const Layout rntLayout = rnt;
const Layout dsmccControlLayout = downloadControl;
const Layout dsmccDataLayout = downloadData;
const Layout dsmccStreamLayout = streamDescriptors;
const Layout dsmccPrivateLayout = privateDsmcc;
const Layout mpeLayout = datagram;
const Layout bitLayout = bit;
const Layout nbitLayout = nbit;
const Layout ldtLayout = ldt;
const Layout cdtLayout = cdt;
const Layout sdttLayout = sdtt;
const Layout litLayout = lit;
const Layout ertLayout = ert;

} // namespace psi::describe
