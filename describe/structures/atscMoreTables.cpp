#include "describe/structures/tables.h"

#include "describe/times.h"

#include <cstdio>

namespace psi::describe {

namespace {

constexpr NamedRange spliceCommands[] = {
    {0x00, 0x00, "splice null"}, {0x04, 0x04, "splice schedule"},       {0x05, 0x05, "splice insert"},
    {0x06, 0x06, "time signal"}, {0x07, 0x07, "bandwidth reservation"}, {0xFF, 0xFF, "private command"},
};

/** Seconds since 1980-01-06 with leap seconds, which only an STT tells. A/65 6.5 */
std::string sayGpsTime(const Field &number, const Fields &, const DescriptorContext &context)
{
    const std::optional<u8> offset = context.gpsUtcOffset;
    if (number.number == 0)
        return "";
    return gpsTimeText(static_cast<u32>(number.number), offset.value_or(0)) + (offset ? " UTC" : " GPS time");
}

/** Seconds since 1980-01-06 that are UTC without an STT. SCTE 18 5, SCTE 35 9.7.2 */
std::string sayUtcSeconds(const Field &number, const Fields &, const DescriptorContext &)
{
    return number.number ? gpsTimeText(static_cast<u32>(number.number), 0) + " UTC" : "";
}

/** ETM_id: a source_id, and an event_id where the last bits say so. A/65 table 6.18. */
std::string sayTextOwner(const Field &number, const Fields &, const DescriptorContext &)
{
    constexpr u64 ofEvent = 2;
    const auto source = static_cast<unsigned>(number.number >> 16);
    const auto event = static_cast<unsigned>(number.number >> 2 & 0x3FFF);
    char text[64];
    if ((number.number & 3) == ofEvent)
        std::snprintf(text, sizeof text, "event_id 0x%04X (%u) of source_id 0x%04X (%u)", event, event, source, source);
    else
        std::snprintf(text, sizeof text, "source_id 0x%04X (%u)", source, source);
    return text;
}

constexpr auto protocolVersion = usually(0, number(8, "protocol_version"));

constexpr auto header(const char *idKey)
{
    return fields(sectionHeader(reserved(1), idKey), protocolVersion);
}

constexpr auto shortLoop(const char *lengthKey)
{
    return fields(reserved(6), sized(10, lengthKey, descriptors()));
}

constexpr auto strings8(const char *lengthKey, const char *key)
{
    return counted(8, key, multipleStrings, lengthKey);
}

// A/65 6.4
constexpr auto rrt =
    fields(sectionStart(reserved(1)), reserved(8), number(8, "rating_region", {ratingRegions, ""}), sectionVersion(),
           protocolVersion, strings8("rating_region_name_length", "rating_region_name_text"),
           list(8, "dimensions_defined", "dimensions", strings8("dimension_name_length", "dimension_name"), reserved(3),
                flag("graduated_scale"),
                list(4, "values_defined", "values", strings8("abbrev_rating_value_length", "abbrev_rating_value"),
                     strings8("rating_value_length", "rating_value"))),
           shortLoop("descriptors_length"));

// 6.5
constexpr auto eit =
    fields(header("source_id"), list(8, "num_events_in_section", "events", reserved(2), hex(14, "event_id"),
                                     number(32, "start_time", {}, sayGpsTime), reserved(2),
                                     number(2, "ETM_location", etmLocations), number(20, "length_in_seconds"),
                                     strings8("title_length", "title"), descriptorLoop("descriptors_length")));

// 6.6
constexpr auto ett = fields(header("ETT_table_id_extension"), hex(32, "ETM_id", {}, sayTextOwner),
                            run("extended_text_message", multipleStrings));

constexpr auto channelNumbers(const char *majorKey, const char *minorKey)
{
    return fields(number(10, majorKey), number(10, minorKey));
}

// 6.7
constexpr auto dcct =
    fields(sectionStart(reserved(1)), hex(8, "dcc_subtype"), hex(8, "dcc_id"), sectionVersion(), protocolVersion,
           list(8, "dcc_test_count", "tests", flag("dcc_context"), reserved(3),
                channelNumbers("dcc_from_major_channel_number", "dcc_from_minor_channel_number"), reserved(4),
                channelNumbers("dcc_to_major_channel_number", "dcc_to_minor_channel_number"),
                number(32, "dcc_start_time", {}, sayGpsTime), number(32, "dcc_end_time", {}, sayGpsTime),
                list(8, "dcc_term_count", "terms", hex(8, "dcc_selection_type"), hex(64, "dcc_selection_id"),
                     shortLoop("dcc_term_descriptors_length")),
                shortLoop("dcc_test_descriptors_length")),
           shortLoop("dcc_additional_descriptors_length"));

// 6.8
constexpr auto dccsct = fields(
    header("dccsct_type"),
    list(8, "updates_defined", "updates", hex(8, "update_type"),
         sized(8, "update_data_length",
               when("update_type", 1, hex(8, "genre_category_code"), run("genre_category_name_text", multipleStrings)),
               when("update_type", 2, number(8, "dcc_state_location_code"),
                    run("dcc_state_location_code_text", multipleStrings)),
               when("update_type", 3, number(8, "state_code"), reserved(6), number(10, "dcc_county_location_code"),
                    run("dcc_county_location_code_text", multipleStrings)),
               whenNotIn("update_type", 1, 3, bytes("update_data"))),
         shortLoop("dccsct_descriptors_length")),
    shortLoop("dccsct_additional_descriptors_length"));

// SCTE 18 5
constexpr auto alert = fields(
    sectionStart(zero(1)), zero(16), sectionVersion(), protocolVersion, hex(16, "EAS_event_ID"),
    fixed(24, "EAS_originator_code", letters), counted(8, "EAS_event_code", asciiText, "EAS_event_code_length"),
    strings8("nature_of_activation_text_length", "nature_of_activation_text"),
    number(8, "alert_message_time_remaining"), number(32, "event_start_time", {}, sayUtcSeconds),
    number(16, "event_duration"), reserved(12), number(4, "alert_priority"), hex(16, "details_OOB_source_ID"),
    reserved(6), number(10, "details_major_channel_number"), reserved(6), number(10, "details_minor_channel_number"),
    hex(16, "audio_OOB_source_ID"), counted(16, "alert_text", multipleStrings, "alert_text_length"),
    list(8, "location_code_count", "locations", number(8, "state_code"), number(4, "county_subdivision"), reserved(2),
         number(10, "county_code")),
    list(8, "exception_count", "exceptions", flag("in_band_reference"), reserved(7),
         when("in_band_reference", 1, reserved(6), number(10, "exception_major_channel_number"), reserved(6),
              number(10, "exception_minor_channel_number")),
         when("in_band_reference", 0, reserved(16), hex(16, "exception_OOB_source_ID"))),
    shortLoop("descriptors_length"));

/* ---- SCTE 35 --------------------------------------------------------------------------------------------------------
 */

// 9.8.1
constexpr auto spliceTime =
    fields(flag("time_specified_flag"), when("time_specified_flag", 1, reserved(6), number(33, "pts_time")),
           when("time_specified_flag", 0, reserved(7)));

// 9.8.2
constexpr auto breakDuration = fields(flag("auto_return"), reserved(6), number(33, "duration"));

constexpr auto avails = fields(hex(16, "unique_program_id"), number(8, "avail_num"), number(8, "avails_expected"));

// 9.7.3
constexpr auto spliceInsert =
    fields(hex(32, "splice_event_id"), flag("splice_event_cancel_indicator"), reserved(7),
           when("splice_event_cancel_indicator", 0, flag("out_of_network_indicator"), flag("program_splice_flag"),
                flag("duration_flag"), flag("splice_immediate_flag"), reserved(4),
                when("program_splice_flag", 1, when("splice_immediate_flag", 0, spliceTime)),
                when("program_splice_flag", 0,
                     list(8, "component_count", "components", hex(8, "component_tag"),
                          when("splice_immediate_flag", 0, spliceTime))),
                when("duration_flag", 1, breakDuration), avails));

constexpr auto spliceMoment = number(32, "utc_splice_time", {}, sayUtcSeconds);

// 9.7.2
constexpr auto spliceSchedule = fields(
    list(8, "splice_count", "events", hex(32, "splice_event_id"), flag("splice_event_cancel_indicator"), reserved(7),
         when("splice_event_cancel_indicator", 0, flag("out_of_network_indicator"), flag("program_splice_flag"),
              flag("duration_flag"), reserved(5), when("program_splice_flag", 1, spliceMoment),
              when("program_splice_flag", 0,
                   list(8, "component_count", "components", hex(8, "component_tag"), spliceMoment)),
              when("duration_flag", 1, breakDuration), avails)));

constexpr auto spliceCommand =
    fields(hex(8, "splice_command_type", spliceCommands), when("splice_command_type", 0x04, spliceSchedule),
           when("splice_command_type", 0x05, spliceInsert), when("splice_command_type", 0x06, spliceTime),
           when("splice_command_type", 0xFF, hex(32, "identifier")));

/** Older streams do not say how long the command is. The length does not count splice_command_type. */
constexpr auto sizedCommand =
    fields(ahead(0, 12, "splice_command_length"),
           when("splice_command_length", 0xFFF, number(12, "splice_command_length"), spliceCommand),
           whenNot("splice_command_length", 0xFFF,
                   besides(1, sized(12, "splice_command_length", spliceCommand,
                                    whenNotIn("splice_command_type", 0x04, 0x06, bytes("private_command"))))));

// 9.6
constexpr auto splice = fields(
    hex(8, "table_id", {}, sayTable), usually(0, flag("section_syntax_indicator")), zero(1),
    usually(3, number(2, "sap_type")), length(12, "section_length"), protocolVersion,
    usually(0, flag("encrypted_packet")), usually(0, number(6, "encryption_algorithm")),
    usually(0, number(33, "pts_adjustment")), usually(0, number(8, "cw_index")), usually(0xFFF, hex(12, "tier")),
    when("encrypted_packet", 1, number(12, "splice_command_length"), bytes("encrypted")),
    when("encrypted_packet", 0, sizedCommand, sized(16, "descriptor_loop_length", descriptors(TagSpace::splice))));

} // namespace

const Layout rrtLayout = rrt;
const Layout atscEitLayout = eit;
const Layout ettLayout = ett;
const Layout dcctLayout = dcct;
const Layout dccsctLayout = dccsct;
const Layout alertLayout = alert;
const Layout spliceLayout = splice;

} // namespace psi::describe
