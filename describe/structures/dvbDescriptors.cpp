#include "describe/isdb.h"
#include "describe/structures/structures.h"

namespace psi::describe {

namespace {

constexpr NamedRange linkageTypes[] = {
    {0x01, 0x01, "information service"},
    {0x02, 0x02, "EPG service"},
    {0x03, 0x03, "CA replacement service"},
    {0x04, 0x04, "complete network and bouquet SI"},
    {0x05, 0x05, "service replacement"},
    {0x06, 0x06, "data broadcast service"},
    {0x07, 0x07, "RCS map"},
    {0x08, 0x08, "mobile hand-over"},
    {0x09, 0x09, "system software update"},
    {0x0A, 0x0A, "system software update BAT or NIT"},
    {0x0B, 0x0B, "IP/MAC notification"},
    {0x0C, 0x0C, "INT BAT or NIT"},
    {0x0D, 0x0D, "event linkage"},
    {0x0E, 0x0E, "extended event linkage"},
    {0x0F, 0x1F, "extended event linkage"},
    {0x20, 0x20, "downloadable font information"},
    {0x21, 0x21, "native IP bootstrap"},
    {0x80, 0xFE, "user defined"},
};

constexpr NamedRange dataBroadcastIds[] = {
    {0x0001, 0x0001, "data pipe"},
    {0x0002, 0x0002, "asynchronous data stream"},
    {0x0003, 0x0003, "synchronous data stream"},
    {0x0004, 0x0004, "synchronised data stream"},
    {0x0005, 0x0005, "multiprotocol encapsulation"},
    {0x0006, 0x0006, "data carousel"},
    {0x0007, 0x0007, "object carousel"},
    {0x0008, 0x0008, "DVB ATM streams"},
    {0x0009, 0x0009, "higher protocols"},
    {0x000A, 0x000A, "system software update"},
    {0x000B, 0x000B, "IP/MAC notification table"},
    {0x00F0, 0x00F0, "MHP object carousel"},
    {0x00F1, 0x00F1, "MHP multiprotocol encapsulation"},
    {0x0106, 0x0106, "MHEG-5"},
    {0x0123, 0x0123, "HbbTV"},
};

constexpr NamedRange privateDataOwners[] = {
    {0x00000005, 0x00000005, "ARD, ZDF, ORF"}, {0x00000028, 0x00000028, "EACEM"},
    {0x00000029, 0x00000029, "NorDig"},        {0x00000040, 0x00000040, "CI Plus"},
    {0x0000233A, 0x0000233A, "DTG"},           {0x00003200, 0x0000320F, "Australian networks"},
    {0x46534154, 0x46534154, "Freesat"},
};

/** content_nibble_level_1. EN 300 468 6.2.9. */
constexpr NamedRange contents[] = {
    {0x1, 0x1, "movie, drama"},
    {0x2, 0x2, "news, current affairs"},
    {0x3, 0x3, "show, game show"},
    {0x4, 0x4, "sports"},
    {0x5, 0x5, "children's, youth"},
    {0x6, 0x6, "music, ballet, dance"},
    {0x7, 0x7, "arts, culture"},
    {0x8, 0x8, "social, political, economics"},
    {0x9, 0x9, "education, science"},
    {0xA, 0xA, "leisure, hobbies"},
    {0xB, 0xB, "special characteristics"},
    {0xF, 0xF, "user defined"},
};

constexpr NamedRange milliseconds[] = {{0, 0xFFFF, "ms"}};

u8 byteOf(const Fields &record, const char *key)
{
    return static_cast<u8>(numberOf(record, key, 0));
}

std::string sayServiceType(const Field &number, const Fields &, const DescriptorContext &context)
{
    return serviceTypeName(static_cast<u8>(number.number), context);
}

std::string sayStreamContent(const Field &number, const Fields &record, const DescriptorContext &context)
{
    // In ISDB the extension is reserved, and H.265/HEVC video stands where DVB has it.
    const u8 extension = isIsdb(context) ? 0 : byteOf(record, "stream_content_ext");
    return streamContentName(static_cast<u8>(number.number), extension);
}

std::string sayComponentType(const Field &number, const Fields &record, const DescriptorContext &context)
{
    const u8 content = byteOf(record, "stream_content");
    const u8 type = static_cast<u8>(number.number);
    constexpr u8 ac3Audio = 0x4;
    if (isIsdb(context))
        return isdbComponentTypeName(content, type);
    return content == ac3Audio ? ac3ComponentTypeName(type)
                               : componentTypeName(content, byteOf(record, "stream_content_ext"), type);
}

/** ISDB's own: in Japan those of ARIB; Brazil has others, which are not known here. */
std::string sayContent(const Field &number, const Fields &, const DescriptorContext &context)
{
    if (!isIsdb(context))
        return number.text;
    return *context.charset ? japaneseContentName(static_cast<u8>(number.number)) : "";
}

std::string sayContentKind(const Field &number, const Fields &record, const DescriptorContext &context)
{
    return isIsdb(context) ? "" : contentName(byteOf(record, "content_nibble_level_1"), static_cast<u8>(number.number));
}

/** ABNT NBR 15603-2: the age in the low digit, what the warning is of in the high one. */
constexpr NamedRange brazilianAges[] = {
    {1, 1, "from any age"},  {2, 2, "from 10 years"}, {3, 3, "from 12 years"},
    {4, 4, "from 14 years"}, {5, 5, "from 16 years"}, {6, 6, "from 18 years"},
};

std::string sayRating(const Field &number, const Fields &record, const DescriptorContext &context)
{
    const Field *country = findField(record, "country_code");
    if (isIsdb(context) && country && country->text == "BRA")
        return findName(brazilianAges, number.number & 0xF, "");
    if (number.number >= 0x01 && number.number <= 0x0F)
        return "from " + std::to_string(number.number + 3) + " years";
    return number.number ? "defined by the broadcaster" : "undefined";
}

// EN 300 468 6.2 and Annex D, in the order of the tags.

constexpr auto servicePlace =
    fields(hex(16, "transport_stream_id"), hex(16, "original_network_id"), hex(16, "service_id"));

constexpr auto name = fields(text("name"));

constexpr auto serviceType = hex(8, "service_type", serviceTypes, sayServiceType);

constexpr auto serviceList = fields(list("services", hex(16, "service_id"), serviceType));

constexpr auto stuffing = fields(run("stuffing_bytes", stuffingBytes));

constexpr NamedRange fieldParities[] = {{0, 0, "second field"}, {1, 1, "first field"}};
constexpr NamedRange vbiServices[] = {
    {1, 1, "EBU teletext"}, {2, 2, "inverted teletext"}, {4, 4, "VPS"},
    {5, 5, "WSS"},          {6, 6, "closed captions"},   {7, 7, "monochrome 4:2:2 samples"},
};

constexpr auto vbiLines =
    list("lines", reserved(2), number(1, "field_parity", {fieldParities, ""}), number(5, "line_offset"));
constexpr auto vbiData =
    fields(list("services", number(8, "data_service_id", {vbiServices, ""}),
                sized(8, nullptr, whenIn("data_service_id", 1, 2, vbiLines), whenIn("data_service_id", 4, 7, vbiLines),
                      whenNotIn("data_service_id", 1, 2, whenNotIn("data_service_id", 4, 7, bytes("data_service"))))));

constexpr auto teletext =
    fields(list("pages", language(), number(5, "teletext_type", teletextTypes), fixed(11, "page", teletextPage)));

constexpr auto service = fields(serviceType, text8("service_provider_name"), text8("service_name"));

constexpr auto countryAvailability =
    fields(flag("country_availability_flag"), reserved(7), list("countries", country()));

constexpr NamedRange handOvers[] = {{1, 1, "identical service in a neighbouring country"},
                                    {2, 2, "local variation of the service"},
                                    {3, 3, "associated service"}};

constexpr NamedRange tableTypes[] = {{0, 0, "not defined"}, {1, 1, "NIT"}, {2, 2, "BAT"}};

// 6.2.19.2
constexpr auto mobileHandOver = fields(number(4, "hand-over_type", handOvers), reserved(3), flag("origin_type"),
                                       whenIn("hand-over_type", 1, 3, hex(16, "network_id")),
                                       when("origin_type", 0, hex(16, "initial_service_id")));

// 6.2.19.3
constexpr auto eventLinkage =
    fields(hex(16, "target_event_id"), flag("target_listed"), flag("event_simulcast"), reserved(6));

// 6.2.19.4
constexpr auto extendedEventLinkage = fields(
    sized(8, nullptr,
          list("target_events", hex(16, "target_event_id"), flag("target_listed"), flag("event_simulcast"),
               number(2, "link_type"), number(2, "target_id_type"), flag("original_network_id_flag"),
               flag("service_id_flag"), when("target_id_type", 3, hex(16, "user_defined_id")),
               when("target_id_type", 1, hex(16, "target_transport_stream_id")),
               whenNot("target_id_type", 3, when("original_network_id_flag", 1, hex(16, "target_original_network_id")),
                       when("service_id_flag", 1, hex(16, "target_service_id"))))));

// TS 102 006 6.1
constexpr auto softwareUpdate =
    fields(sized(8, "OUI_data_length", list("manufacturers", hex(24, "OUI"), bytes8("selector"))));

// EN 301 192 8.2.1
constexpr auto ipMacNotification =
    fields(sized(8, "platform_id_data_length",
                 list("platforms", hex(24, "platform_id"),
                      sized(8, "platform_name_loop_length", list("names", language(), text8("platform_name"))))));

/** What stands behind some types of linkage; broadcasters put other things there as well. */
constexpr auto linkage = fields(
    servicePlace, hex(8, "linkage_type", linkageTypes),
    attempt(
        "linkage_data", hexDigits, when("linkage_type", 0x08, mobileHandOver),
        when("linkage_type", 0x09, softwareUpdate), when("linkage_type", 0x0A, number(8, "table_type", tableTypes)),
        when("linkage_type", 0x0B, ipMacNotification),
        when("linkage_type", 0x0C, number(8, "table_type", tableTypes), when("table_type", 2, hex(16, "bouquet_id"))),
        when("linkage_type", 0x0D, eventLinkage), whenIn("linkage_type", 0x0E, 0x1F, extendedEventLinkage),
        bytes("private_data")));

constexpr auto nvodReference = fields(list("services", servicePlace));

constexpr auto timeShiftedService = fields(hex(16, "reference_service_id"));

constexpr auto shortEvent = fields(language(), text8("event_name"), text8("text"));

constexpr auto timeShiftedEvent = fields(hex(16, "reference_service_id"), hex(16, "reference_event_id"));

constexpr auto component =
    fields(hex(4, "stream_content_ext"), hex(4, "stream_content", streamContents, sayStreamContent),
           hex(8, "component_type", {}, sayComponentType), hex(8, "component_tag"), language(), text("text"));

constexpr auto streamIdentifier = fields(hex(8, "component_tag"));

constexpr auto caIdentifier = fields(list("CA_systems", hex(16, "CA_system_id", {}, sayCaSystem)));

constexpr auto content = fields(list("contents", hex(4, "content_nibble_level_1", {contents, "undefined"}, sayContent),
                                     hex(4, "content_nibble_level_2", {}, sayContentKind), hex(8, "user_byte")));

constexpr auto parentalRating = fields(list("ratings", country(), hex(8, "rating", {}, sayRating)));

constexpr auto localTimeOffset = fields(list(
    "countries", country(), number(6, "country_region_id"), reserved(1), fixed(17, "local_time_offset", signedHours),
    fixed(40, "time_of_change", dateAndTime), fixed(16, "next_time_offset", likeSignedHours)));

constexpr auto subtitling = fields(list("subtitles", language(), hex(8, "subtitling_type", subtitlingTypes),
                                        number(16, "composition_page_id"), number(16, "ancillary_page_id")));

constexpr auto multilingualNames = fields(list("names", language(), text8("name")));

constexpr auto multilingualServices =
    fields(list("names", language(), text8("service_provider_name"), text8("service_name")));

constexpr auto multilingualComponent = fields(hex(8, "component_tag"), list("descriptions", language(), text8("text")));

constexpr auto privateDataSpecifier = fields(hex(32, "private_data_specifier", {privateDataOwners, ""}));

constexpr auto serviceMove =
    fields(hex(16, "new_original_network_id"), hex(16, "new_transport_stream_id"), hex(16, "new_service_id"));

constexpr auto dataBroadcastIdentifier = hex(16, "data_broadcast_id", {dataBroadcastIds, ""});

/** multiprotocol_encapsulation_info. EN 301 192 7.2.1. */
constexpr auto encapsulation = fields(number(3, "MAC_address_range"), flag("MAC_IP_mapping_flag"),
                                      flag("alignment_indicator"), reserved(3), number(8, "max_sections_per_datagram"));

constexpr auto dataBroadcast =
    fields(dataBroadcastIdentifier, hex(8, "component_tag"),
           sized(8, nullptr, attempt("selector", hexDigits, when("data_broadcast_id", 0x0005, encapsulation))),
           language(), text8("text"));

constexpr NamedRange scramblingModes[] = {
    {0x01, 0x01, "DVB-CSA1"},
    {0x02, 0x02, "DVB-CSA2"},
    {0x03, 0x03, "DVB-CSA3"},
    {0x04, 0x04, "DVB-CSA3, minimally enhanced"},
    {0x05, 0x05, "DVB-CSA3, fully enhanced"},
    {0x10, 0x10, "DVB-CISSA version 1"},
    {0x11, 0x1F, "DVB-CISSA"},
    {0x70, 0x7F, "ATIS"},
    {0x80, 0xFE, "user defined"},
};

constexpr auto scrambling = fields(hex(8, "scrambling_mode", scramblingModes));

/** IP/MAC_notification_info. EN 301 192 8.3.1. */
constexpr auto notification = fields(sized(8, "platform_id_data_length",
                                           list("platforms", hex(24, "platform_id"), hex(8, "action_type"), reserved(2),
                                                flag("INT_versioning_flag"), number(5, "INT_version"))));

/** system_software_update_info. TS 102 006. */
constexpr auto softwareUpdates =
    fields(sized(8, "OUI_data_length",
                 list("updates", hex(24, "OUI"), reserved(4), hex(4, "update_type"), reserved(2),
                      flag("update_versioning_flag"), number(5, "update_version"), bytes8("selector"))));

constexpr auto dataBroadcastId = fields(
    dataBroadcastIdentifier,
    attempt("id_selector", hexDigits, when("data_broadcast_id", 0x000A, softwareUpdates),
            when("data_broadcast_id", 0x000B, notification),
            when("data_broadcast_id", 0x00F0, list("applications", hex(16, "application_type", applicationTypes)))));

std::string sayAc3ComponentType(const Field &number, const Fields &, const DescriptorContext &)
{
    return ac3ComponentTypeName(static_cast<u8>(number.number));
}

constexpr auto ac3ComponentType = announced("component_type", hex(8, "component_type", {}, sayAc3ComponentType));

constexpr auto ac3 =
    fields(announces("component_type"), announces("bsid"), announces("mainid"), announces("asvc"), zero(4),
           ac3ComponentType, announced("bsid", hex(8, "bsid")), announced("mainid", hex(8, "mainid")),
           announced("asvc", hex(8, "asvc")), bytes("additional_info"));

constexpr auto ancillaryData = fields(hex(8, "ancillary_data_identifier"));

constexpr auto applicationSignalling =
    fields(list("applications", reserved(1), hex(15, "application_type", applicationTypes), reserved(3),
                number(5, "AIT_version_number")));

constexpr auto serviceIdentifier = fields(run("text", asciiText));

constexpr auto serviceAvailability = fields(flag("availability_flag"), reserved(7), list("cells", hex(16, "cell_id")));

constexpr auto defaultAuthority = fields(run("default_authority", asciiText));

constexpr auto ecmRepetitionRate = fields(hex(16, "CA_system_id", {}, sayCaSystem),
                                          number(16, "ECM_repetition_rate", milliseconds), bytes("private_data"));

constexpr auto enhancedAc3 = fields(
    announces("component_type"), announces("bsid"), announces("mainid"), announces("asvc"), flag("mixinfoexists"),
    announces("substream1"), announces("substream2"), announces("substream3"), ac3ComponentType,
    announced("bsid", hex(8, "bsid")), announced("mainid", hex(8, "mainid")), announced("asvc", hex(8, "asvc")),
    announced("substream1", hex(8, "substream1")), announced("substream2", hex(8, "substream2")),
    announced("substream3", hex(8, "substream3")), bytes("additional_info"));

constexpr NamedRange dtsSampleRates[] = {{1, 1, "8 kHz"},      {2, 2, "16 kHz"},    {3, 3, "32 kHz"},
                                         {6, 6, "11.025 kHz"}, {7, 7, "22.05 kHz"}, {8, 8, "44.1 kHz"},
                                         {11, 11, "12 kHz"},   {12, 12, "24 kHz"},  {13, 13, "48 kHz"}};

constexpr auto dts = fields(number(4, "sample_rate_code", dtsSampleRates), number(6, "bit_rate_code"),
                            number(7, "nblks"), number(14, "fsize"), number(6, "surround_mode"), flag("lfe_flag"),
                            number(2, "extended_surround_flag"), bytes("additional_info"));

constexpr auto aac = fields(hex(8, "profile_and_level", audioProfiles),
                            rest(flag("AAC_type_flag"), usually(0, flag("SAOC_DE_flag")), zero(6),
                                 when("AAC_type_flag", 1, hex(8, "AAC_type")), bytes("additional_info")));

constexpr auto ftaContentManagement =
    fields(flag("user_defined"), reserved(3), flag("do_not_scramble"), number(2, "control_remote_access_over_internet"),
           flag("do_not_apply_revocation"));

constexpr auto extendedEvent =
    fields(number(4, "descriptor_number"), number(4, "last_descriptor_number"), language(),
           sized(8, "length_of_items", list("items", text8("item_description"), text8("item"))), text8("text"));

constexpr auto mosaic =
    fields(flag("mosaic_entry_point"), number(3, "number_of_horizontal_elementary_cells"), reserved(1),
           number(3, "number_of_vertical_elementary_cells"),
           list("cells", number(6, "logical_cell_id"), reserved(7), number(3, "logical_cell_presentation_info"),
                sized(8, "elementary_cell_field_length",
                      list("elementary_cells", reserved(2), number(6, "elementary_cell_id"))),
                hex(8, "cell_linkage_info"), when("cell_linkage_info", 1, hex(16, "bouquet_id")),
                whenIn("cell_linkage_info", 2, 4, hex(16, "original_network_id"), hex(16, "transport_stream_id"),
                       hex(16, "service_id")),
                when("cell_linkage_info", 4, hex(16, "event_id"))));

constexpr auto telephone =
    fields(reserved(2), flag("foreign_availability"), number(5, "connection_type"), reserved(1),
           lengthOf(2, nullptr, "country_prefix"), lengthOf(3, nullptr, "international_area_code"),
           lengthOf(2, nullptr, "operator_code"), reserved(1), lengthOf(3, nullptr, "national_area_code"),
           lengthOf(4, nullptr, "core_number"), measured("country_prefix", asciiText),
           measured("international_area_code", asciiText), measured("operator_code", asciiText),
           measured("national_area_code", asciiText), measured("core_number", asciiText));

/** Units of 400 bit/s; all ones say nothing. 7.2.1 */
std::string sayPartialRate(const Field &number, const Fields &record, const DescriptorContext &context)
{
    constexpr u64 undefinedRate = 0x3FFFFF;
    return number.number == undefinedRate ? "undefined" : sayRate(number, record, context);
}

constexpr NamedRange partialBuffers[] = {{0x3FFF, 0x3FFF, "undefined"}, {0, 0x3FFE, "bytes"}};

constexpr auto shortSmoothingBuffer = fields(number(2, "sb_size"), number(6, "sb_leak_rate"), bytes("DVB_reserved"));

constexpr auto partialTransportStream =
    fields(reserved(2), number(22, "peak_rate", {}, sayPartialRate), reserved(2),
           number(22, "minimum_overall_smoothing_rate", {}, sayPartialRate), reserved(2),
           number(14, "maximum_overall_smoothing_buffer", partialBuffers));

constexpr auto streamUse = fields(run("byte", asciiText));

constexpr auto pdc = fields(reserved(4), hex(20, "programme_identification_label"));

constexpr auto cellArea = fields(hex(16, "cell_latitude"), hex(16, "cell_longitude"),
                                 number(12, "cell_extent_of_latitude"), number(12, "cell_extent_of_longitude"));

constexpr auto cellList =
    fields(list("cells", hex(16, "cell_id"), cellArea,
                sized(8, "subcell_info_loop_length", list("subcells", hex(8, "cell_id_extension"), cellArea))));

constexpr auto cellFrequencyLink =
    fields(list("cells", hex(16, "cell_id"), fixed(32, "frequency", tensOfHertz),
                sized(8, "subcell_info_loop_length",
                      list("subcells", hex(8, "cell_id_extension"), fixed(32, "transposer_frequency", tensOfHertz)))));

constexpr auto announcementSupport =
    fields(hex(16, "announcement_support_indicator"),
           list("announcements", number(4, "announcement_type"), reserved(1), number(3, "reference_type"),
                whenIn("reference_type", 1, 3, hex(16, "original_network_id"), hex(16, "transport_stream_id"),
                       hex(16, "service_id"), hex(8, "component_tag"))));

constexpr auto adaptationFieldData = fields(hex(8, "adaptation_field_data_identifier"));

constexpr auto relatedContent = fields(bytes("private_data"));

constexpr auto tvaId =
    fields(list("identifiers", hex(16, "TVA_id"), reserved(5), number(3, "running_status", runningStatuses)));

constexpr auto contentIdentifier = fields(list("identifiers", hex(6, "crid_type"), number(2, "crid_location"),
                                               when("crid_location", 0, counted(8, "crid", asciiText)),
                                               when("crid_location", 1, hex(16, "crid_ref"))));

constexpr auto timeSliceFec = fields(flag("time_slicing"), number(2, "mpe_fec"), reserved(2), number(3, "frame_size"),
                                     number(8, "max_burst_duration"), number(4, "max_average_rate"),
                                     number(4, "time_slice_fec_id"), bytes("id_selector"));

constexpr auto xaitLocation = fields(hex(16, "xait_original_network_id"), hex(16, "xait_service_id"),
                                     number(5, "xait_version_number"), number(3, "xait_update_policy"));

constexpr Structure structures[] = {
    {0x40, "network_name_descriptor", "6.2.27", name},
    {0x41, "service_list_descriptor", "6.2.35", serviceList},
    {0x42, "stuffing_descriptor", "6.2.40", stuffing},
    {0x45, "VBI_data_descriptor", "6.2.47", vbiData},
    {0x46, "VBI_teletext_descriptor", "6.2.48", teletext},
    {0x47, "bouquet_name_descriptor", "6.2.4", name},
    {0x48, "service_descriptor", "6.2.33", service},
    {0x49, "country_availability_descriptor", "6.2.10", countryAvailability},
    {0x4A, "linkage_descriptor", "6.2.19", linkage},
    {0x4B, "NVOD_reference_descriptor", "6.2.26", nvodReference},
    {0x4C, "time_shifted_service_descriptor", "6.2.45", timeShiftedService},
    {0x4D, "short_event_descriptor", "6.2.37", shortEvent},
    {0x4E, "extended_event_descriptor", "6.2.15", extendedEvent},
    {0x4F, "time_shifted_event_descriptor", "6.2.44", timeShiftedEvent},
    {0x50, "component_descriptor", "6.2.8", component},
    {0x51, "mosaic_descriptor", "6.2.21", mosaic},
    {0x52, "stream_identifier_descriptor", "6.2.39", streamIdentifier},
    {0x53, "CA_identifier_descriptor", "6.2.5", caIdentifier},
    {0x54, "content_descriptor", "6.2.9", content},
    {0x55, "parental_rating_descriptor", "6.2.28", parentalRating},
    {0x56, "teletext_descriptor", "6.2.43", teletext},
    {0x57, "telephone_descriptor", "6.2.42", telephone},
    {0x58, "local_time_offset_descriptor", "6.2.20", localTimeOffset},
    {0x59, "subtitling_descriptor", "6.2.41", subtitling},
    {0x5B, "multilingual_network_name_descriptor", "6.2.24", multilingualNames},
    {0x5C, "multilingual_bouquet_name_descriptor", "6.2.22", multilingualNames},
    {0x5D, "multilingual_service_name_descriptor", "6.2.25", multilingualServices},
    {0x5E, "multilingual_component_descriptor", "6.2.23", multilingualComponent},
    {0x5F, "private_data_specifier_descriptor", "6.2.31", privateDataSpecifier},
    {0x60, "service_move_descriptor", "6.2.36", serviceMove},
    {0x61, "short_smoothing_buffer_descriptor", "6.2.38", shortSmoothingBuffer},
    {0x63, "partial_transport_stream_descriptor", "7.2.1", partialTransportStream},
    {0x64, "data_broadcast_descriptor", "6.2.11", dataBroadcast},
    {0x65, "scrambling_descriptor", "6.2.32", scrambling},
    {0x66, "data_broadcast_id_descriptor", "6.2.12", dataBroadcastId},
    {0x67, "transport_stream_descriptor", "6.2.46", streamUse},
    {0x68, "DSNG_descriptor", "6.2.14", streamUse},
    {0x69, "PDC_descriptor", "6.2.30", pdc},
    {0x6A, "AC-3_descriptor", "D.3", ac3},
    {0x6B, "ancillary_data_descriptor", "6.2.2", ancillaryData},
    {0x6C, "cell_list_descriptor", "6.2.7", cellList},
    {0x6D, "cell_frequency_link_descriptor", "6.2.6", cellFrequencyLink},
    {0x6E, "announcement_support_descriptor", "6.2.3", announcementSupport},
    {0x6F, "application_signalling_descriptor", "TS 102 809 5.3.5.1", applicationSignalling},
    {0x70, "adaptation_field_data_descriptor", "6.2.1", adaptationFieldData},
    {0x71, "service_identifier_descriptor", "TS 102 809 6.2.1", serviceIdentifier},
    {0x72, "service_availability_descriptor", "6.2.34", serviceAvailability},
    {0x73, "default_authority_descriptor", "TS 102 323 6.3.3", defaultAuthority},
    {0x74, "related_content_descriptor", "TS 102 323 10.3", relatedContent},
    {0x75, "TVA_id_descriptor", "TS 102 323 11.2.4", tvaId},
    {0x76, "content_identifier_descriptor", "TS 102 323 12.1", contentIdentifier},
    {0x77, "time_slice_fec_identifier_descriptor", "EN 301 192 9.5", timeSliceFec},
    {0x78, "ECM_repetition_rate_descriptor", "EN 301 192 9.7", ecmRepetitionRate},
    {0x7A, "enhanced_AC-3_descriptor", "D.5", enhancedAc3},
    {0x7B, "DTS_descriptor", "G.2.1", dts},
    {0x7C, "AAC_descriptor", "H.2.1", aac},
    {0x7D, "XAIT_location_descriptor", "TS 102 727 10.17.3", xaitLocation},
    {0x7E, "FTA_content_management_descriptor", "6.2.18", ftaContentManagement},
};

} // namespace

const StructureList dvbDescriptors = structures;

} // namespace psi::describe
