#include "describe/structures/structures.h"

namespace psi::describe {

namespace {

// EN 300 468 6.4, in the order of descriptor_tag_extension.

constexpr auto supplementaryAudio =
    fields(flag("mix_type"), hex(5, "editorial_classification"), reserved(1), announces("ISO_639_language_code"),
           announced("ISO_639_language_code", language()), bytes("private_data"));

constexpr auto message = fields(number(8, "message_id"), language(), text("text"));

constexpr auto serviceRelocated =
    fields(hex(16, "old_original_network_id"), hex(16, "old_transport_stream_id"), hex(16, "old_service_id"));

constexpr auto imageIcon =
    fields(number(4, "descriptor_number"), number(4, "last_descriptor_number"), reserved(5), number(3, "icon_id"),
           when("descriptor_number", 0, number(2, "icon_transport_mode"), flag("position_flag"),
                when("position_flag", 1, number(3, "coordinate_system"), reserved(2),
                     number(12, "icon_horizontal_origin"), number(12, "icon_vertical_origin")),
                when("position_flag", 0, reserved(5)), counted(8, "icon_type", asciiText),
                when("icon_transport_mode", 0, bytes8("icon_data")),
                when("icon_transport_mode", 1, counted(8, "url", utf8Text))),
           whenNot("descriptor_number", 0, bytes8("icon_data")));

constexpr auto cpcm = fields(hex(8, "cpcm_version"), bytes("selector"));

constexpr auto cp = fields(hex(16, "CP_system_id"), reserved(3), pid("CP_PID"), bytes("private_data"));

constexpr auto cpIdentifier = fields(list("CP_systems", hex(16, "CP_system_id")));

constexpr auto networkChange = fields(
    list("cells", hex(16, "cell_id"),
         sized(8, "loop_length",
               list("changes", hex(8, "network_change_id"), number(8, "network_change_version"),
                    fixed(40, "start_time_of_change", dateAndTime), fixed(24, "change_duration", duration),
                    number(3, "receiver_category"), flag("invariant_ts_present"), hex(4, "change_type"),
                    number(8, "message_id"),
                    when("invariant_ts_present", 1, hex(16, "invariant_ts_tsid"), hex(16, "invariant_ts_onid"))))));

constexpr auto region =
    fields(reserved(5), flag("country_code_flag"), number(2, "region_depth"), when("country_code_flag", 1, country()),
           whenIn("region_depth", 1, 3, hex(8, "primary_region_code")),
           whenIn("region_depth", 2, 3, hex(8, "secondary_region_code")),
           when("region_depth", 3, hex(16, "tertiary_region_code")));

constexpr auto targetRegion = fields(country(), list("regions", region));

constexpr auto targetRegionName = fields(country(), language(),
                                         list("regions", number(2, "region_depth"), lengthOf(6, nullptr, "region_name"),
                                              measured("region_name", dvbText), hex(8, "primary_region_code"),
                                              whenIn("region_depth", 2, 3, hex(8, "secondary_region_code")),
                                              when("region_depth", 3, hex(16, "tertiary_region_code"))));

constexpr auto xaitPid = fields(reserved(3), pid("xait_PID"));

constexpr auto dtsNeural = fields(hex(8, "config_id"), bytes("additional_info"));

constexpr auto videoDepthRange = fields(list("ranges", hex(8, "range_type"), bytes8("range_selector")));

constexpr auto t2mi =
    fields(reserved(5), number(3, "t2mi_stream_id"), reserved(5), number(3, "num_t2mi_streams_minus_one"), reserved(7),
           flag("pcr_iscr_common_clock_flag"), bytes("reserved_data"));

constexpr auto uriLinkage =
    fields(hex(8, "uri_linkage_type"), counted(8, "uri", utf8Text),
           whenIn("uri_linkage_type", 0, 1, number(16, "min_polling_interval")), bytes("private_data"));

constexpr auto ciAncillary = fields(bytes("ancillary_data"));

constexpr auto ac4 =
    fields(flag("ac4_config_flag"), flag("ac4_toc_flag"), zero(6),
           when("ac4_config_flag", 1, flag("ac4_dialog_enhancement_enabled"), number(2, "ac4_channel_mode"), zero(5)),
           when("ac4_toc_flag", 1, bytes8("ac4_dsi_toc")), bytes("additional_info"));

constexpr NamedRange subtitlePurposes[] = {{0x00, 0x00, "dialogue in the same language"},
                                           {0x01, 0x01, "dialogue in another language"},
                                           {0x02, 0x02, "all dialogue"},
                                           {0x10, 0x10, "for the hard of hearing"},
                                           {0x11, 0x11, "dialogue in another language, for the hard of hearing"},
                                           {0x12, 0x12, "all dialogue, for the hard of hearing"},
                                           {0x30, 0x30, "audio description"},
                                           {0x31, 0x31, "commentary"},
                                           {0x32, 0x32, "forced narrative"}};

constexpr NamedRange speechSuitabilities[] = {{0, 0, "unknown"}, {1, 1, "suitable"}, {2, 2, "not suitable"}};

constexpr auto ttmlSubtitling = fields(
    language(), hex(6, "subtitle_purpose", subtitlePurposes), number(2, "TTS_suitability", speechSuitabilities),
    flag("essential_font_usage_flag"), flag("qualifier_present_flag"), zero(2),
    list(4, "dvb_ttml_profile_count", "profiles", hex(8, "dvb_ttml_profile")),
    when("qualifier_present_flag", 1, hex(32, "qualifier")),
    when("essential_font_usage_flag", 1, list(8, "font_count", "fonts", zero(1), number(7, "essential_font_id"))),
    counted(8, "text", utf8Text), bytes("reserved_data"));

// G.3
constexpr auto dtsHdAsset =
    fields(hex(5, "asset_construction"), flag("vbr_flag"), flag("post_encode_br_scaling_flag"),
           announces("component_type"), announces("ISO_639_language_code"), number(13, "bit_rate"), reserved(2),
           announced("component_type", hex(8, "component_type")), announced("ISO_639_language_code", language()));

constexpr auto dtsHdSubstream =
    sized(8, "substream_length", number(3, "num_assets"), number(5, "channel_count"), flag("LFE_flag"),
          hex(4, "sampling_frequency"), flag("sample_resolution"), reserved(2), list("assets", dtsHdAsset));

/** Lists of one entry or none. */
constexpr auto dtsHd =
    fields(count(1, nullptr, "substream_core"), count(1, nullptr, "substream_0"), count(1, nullptr, "substream_1"),
           count(1, nullptr, "substream_2"), count(1, nullptr, "substream_3"), reserved(3),
           countedList("substream_core", dtsHdSubstream), countedList("substream_0", dtsHdSubstream),
           countedList("substream_1", dtsHdSubstream), countedList("substream_2", dtsHdSubstream),
           countedList("substream_3", dtsHdSubstream), bytes("additional_info"));

constexpr auto protectionMessage =
    fields(reserved(4), list(4, "component_count", "components", hex(8, "component_tag")));

constexpr NamedRange renderings[] = {{0, 0, "not indicated"},
                                     {1, 1, "stereo"},
                                     {2, 2, "two-dimensional"},
                                     {3, 3, "three-dimensional"},
                                     {4, 4, "headphones"}};

constexpr auto audioPreselection = fields(
    count(5, "num_preselections", "preselections"), zero(3),
    countedList("preselections", number(5, "preselection_id"), number(3, "audio_rendering_indication", renderings),
                flag("audio_description"), flag("spoken_subtitles"), flag("dialogue_enhancement"),
                flag("interactivity_enabled"), announces("ISO_639_language_code"), announces("message_id"),
                flag("multi_stream_info_present"), flag("future_extension"),
                announced("ISO_639_language_code", language()), announced("message_id", number(8, "message_id")),
                when("multi_stream_info_present", 1, count(3, "num_aux_components", "aux_components"), zero(5),
                     countedList("aux_components", hex(8, "component_tag"))),
                when("future_extension", 1, bytesOf(8, "future_extension_length", "future_extension_data"))));

constexpr auto dtsUhd = fields(number(6, "DecoderProfileCode"), number(2, "FrameDurationCode"),
                               number(3, "MaxPayloadCode"), zero(2), number(3, "StreamIndex"), bytes("codec_selector"));

constexpr auto serviceProminence = fields(
    sized(8, "SOGI_list_length",
          list("SOGI_list", flag("SOGI_flag"), flag("target_region_flag"), flag("service_flag"), reserved(1),
               number(12, "SOGI_priority"), when("service_flag", 1, hex(16, "service_id")),
               when("target_region_flag", 1, sized(8, "target_region_loop_length", list("target_regions", region))))),
    bytes("private_data"));

constexpr auto vvcSubpictures =
    fields(flag("default_service_mode"), flag("service_description_present"),
           list(6, "number_of_vvc_subpictures", "subpictures", hex(8, "component_tag"), number(8, "vvc_subpicture_id")),
           zero(5), number(3, "processing_mode"), when("service_description_present", 1, text8("service_description")));

constexpr Structure structures[] = {
    {0x00, "image_icon_descriptor", "6.4.7", imageIcon},
    {0x01, "cpcm_delivery_signalling_descriptor", "TS 102 825-4", cpcm},
    {0x02, "CP_descriptor", "6.4.2", cp},
    {0x03, "CP_identifier_descriptor", "6.4.3", cpIdentifier},
    {0x06, "supplementary_audio_descriptor", "6.4.11", supplementaryAudio},
    {0x07, "network_change_notify_descriptor", "6.4.9", networkChange},
    {0x08, "message_descriptor", "6.4.8", message},
    {0x09, "target_region_descriptor", "6.4.12", targetRegion},
    {0x0A, "target_region_name_descriptor", "6.4.13", targetRegionName},
    {0x0B, "service_relocated_descriptor", "6.4.10", serviceRelocated},
    {0x0C, "XAIT_PID_descriptor", "TS 102 727", xaitPid},
    {0x0E, "DTS-HD_audio_stream_descriptor", "G.3.1", dtsHd},
    {0x0F, "DTS_Neural_descriptor", "L.1", dtsNeural},
    {0x10, "video_depth_range_descriptor", "6.4.16", videoDepthRange},
    {0x11, "T2MI_descriptor", "6.4.14", t2mi},
    {0x13, "URI_linkage_descriptor", "6.4.15", uriLinkage},
    {0x14, "CI_ancillary_data_descriptor", "6.4.1", ciAncillary},
    {0x15, "AC-4_descriptor", "D.7", ac4},
    {0x18, "protection_message_descriptor", "TS 102 809 9.3.3", protectionMessage},
    {0x19, "audio_preselection_descriptor", "6.4.1", audioPreselection},
    {0x20, "TTML_subtitling_descriptor", "EN 303 560 5.2.1", ttmlSubtitling},
    {0x21, "DTS-UHD_descriptor", "G.4", dtsUhd},
    {0x22, "service_prominence_descriptor", "6.4.18", serviceProminence},
    {0x23, "vvc_subpictures_descriptor", "6.4.17", vvcSubpictures},
};

} // namespace

const StructureList dvbExtensionDescriptors = structures;

} // namespace psi::describe
