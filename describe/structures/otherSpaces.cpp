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

constexpr Structure applicationDescriptors[] = {
    {0x00, "application_descriptor", "TS 102 809 5.3.5.3", application},
    {0x01, "application_name_descriptor", "TS 102 809 5.3.5.6.1", applicationName},
    {0x02, "transport_protocol_descriptor", "TS 102 809 5.3.6.1", transportProtocol},
    {0x03, "dvb_j_application_descriptor", "TS 102 727 10.9.1", javaApplication},
    {0x04, "dvb_j_application_location_descriptor", "TS 102 727 10.9.2", javaLocation},
    {0x05, "external_application_authorisation_descriptor", "TS 102 809 5.3.5.7", externalAuthorisation},
    {0x0B, "application_icons_descriptor", "TS 102 809 5.3.5.6.2", icons},
    {0x14, "application_boundary_descriptor", "TS 102 809 5.3.8", boundary},
    {0x15, "simple_application_location_descriptor", "TS 102 809 5.3.7", simpleLocation},
    {0x16, "application_usage_descriptor", "TS 102 809 5.3.5.5", usage},
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

constexpr Structure spliceStructures[] = {
    {0x00, "avail_descriptor", "SCTE 35 10.3.1", avail},
    {0x01, "DTMF_descriptor", "SCTE 35 10.3.2", dtmf},
    {0x02, "segmentation_descriptor", "SCTE 35 10.3.3", segmentation},
    {0x03, "time_descriptor", "SCTE 35 10.3.4", time},
};

} // namespace

const StructureList aitDescriptors = applicationDescriptors;
const StructureList spliceDescriptors = spliceStructures;

} // namespace psi::describe
