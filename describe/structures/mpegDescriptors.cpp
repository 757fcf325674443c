#include "describe/structures/structures.h"

#include "describe/quantities.h"
#include "describe/text.h"

namespace psi::describe {

std::string sayCaSystem(const Field &number, const Fields &, const DescriptorContext &)
{
    return caSystemName(static_cast<u16>(number.number));
}

std::string sayRate(const Field &number, const Fields &, const DescriptorContext &)
{
    constexpr u64 unit = 400; // or 50 bytes per second
    return kbitText(number.number * unit);
}

namespace {

std::string sayLetters(const Field &number, const Fields &, const DescriptorContext &)
{
    std::string bytes;
    for (int shift = 24; shift >= 0; shift -= 8)
        bytes += static_cast<char>(number.number >> shift & 0xFF);
    return printableAscii(ByteView(bytes));
}

/** Levels as their standards count them: 153 is 5.1 where a level has 30 and a step of its fraction 3. */
template <unsigned whole, unsigned step>
std::string sayLevel(const Field &number, const Fields &, const DescriptorContext &)
{
    const u64 fraction = number.number % whole;
    if (number.number < whole || fraction % step != 0 || fraction / step > 9)
        return "";
    return "level " + std::to_string(number.number / whole) + (fraction ? "." + std::to_string(fraction / step) : "");
}

constexpr NamedRange byteCounts[] = {{0, 0x3FFFFF, "bytes"}};

constexpr NamedRange frameRates[] = {{1, 1, "23.976 Hz"}, {2, 2, "24 Hz"}, {3, 3, "25 Hz"},    {4, 4, "29.97 Hz"},
                                     {5, 5, "30 Hz"},     {6, 6, "50 Hz"}, {7, 7, "59.94 Hz"}, {8, 8, "60 Hz"}};

constexpr NamedRange chromaFormats[] = {{1, 1, "4:2:0"}, {2, 2, "4:2:2"}, {3, 3, "4:4:4"}};

constexpr NamedRange audioLayers[] = {{1, 1, "III"}, {2, 2, "II"}, {3, 3, "I"}};

constexpr NamedRange alignments[] = {
    {1, 1, "slice, access unit or sync word"}, {2, 2, "access unit"}, {3, 3, "GOP or sequence"}, {4, 4, "sequence"}};

constexpr NamedRange hierarchyTypes[] = {
    {1, 1, "spatial scalability"}, {2, 2, "SNR scalability"}, {3, 3, "temporal scalability"},
    {4, 4, "data partitioning"},   {5, 5, "extension"},       {6, 6, "private stream"},
    {7, 7, "multi-view profile"},  {8, 8, "combined"},        {9, 9, "MVC or MV-HEVC sub-bitstream"},
    {15, 15, "base layer"}};

constexpr NamedRange avcProfiles[] = {{66, 66, "Baseline"},    {77, 77, "Main"},      {88, 88, "Extended"},
                                      {100, 100, "High"},      {110, 110, "High 10"}, {122, 122, "High 4:2:2"},
                                      {244, 244, "High 4:4:4"}};

constexpr NamedRange hevcProfiles[] = {
    {1, 1, "Main"}, {2, 2, "Main 10"}, {3, 3, "Main still picture"}, {4, 4, "range extensions"}};

constexpr NamedRange vvcProfiles[] = {{1, 1, "Main 10"}, {33, 33, "Main 10 4:4:4"}};

constexpr NamedRange tiers[] = {{0, 0, "Main"}, {1, 1, "High"}};

// ISO/IEC 13818-1 2.6, in the order of the tags.

constexpr auto videoStream =
    fields(flag("multiple_frame_rate_flag"), number(4, "frame_rate_code", frameRates), flag("MPEG_1_only_flag"),
           flag("constrained_parameter_flag"), flag("still_picture_flag"),
           when("MPEG_1_only_flag", 0, hex(8, "profile_and_level_indication"),
                number(2, "chroma_format", chromaFormats), flag("frame_rate_extension_flag"), reserved(5)));

constexpr auto audioStream = fields(flag("free_format_flag"), flag("ID"), number(2, "layer", audioLayers),
                                    flag("variable_rate_audio_indicator"), reserved(3));

constexpr auto hierarchy =
    fields(flag("no_view_scalability_flag"), flag("no_temporal_scalability_flag"), flag("no_spatial_scalability_flag"),
           flag("no_quality_scalability_flag"), number(4, "hierarchy_type", hierarchyTypes), reserved(2),
           number(6, "hierarchy_layer_index"), flag("tref_present_flag"), reserved(1),
           number(6, "hierarchy_embedded_layer_index"), reserved(2), number(6, "hierarchy_channel"));

constexpr auto registration =
    fields(hex(32, "format_identifier", {}, sayLetters), bytes("additional_identification_info"));

constexpr auto streamAlignment = fields(number(8, "alignment_type", alignments));

constexpr auto backgroundGrid =
    fields(number(14, "horizontal_size"), number(14, "vertical_size"), number(4, "aspect_ratio_information"));

constexpr auto videoWindow =
    fields(number(14, "horizontal_offset"), number(14, "vertical_offset"), number(4, "window_priority"));

/** CA systems that send nothing beside the table. */
constexpr NamedRange noMessages[] = {{0x1FFF, 0x1FFF, "none"}};

constexpr auto conditionalAccess = fields(hex(16, "CA_system_ID", {}, sayCaSystem), reserved(3),
                                          hex(13, "CA_PID", {noMessages, ""}), bytes("private_data"));

constexpr auto languages = fields(list("languages", language(), number(8, "audio_type", audioTypes)));

constexpr auto systemClock =
    fields(flag("external_clock_reference_indicator"), reserved(1), number(6, "clock_accuracy_integer"),
           number(3, "clock_accuracy_exponent"), reserved(5));

constexpr auto multiplexBuffer = fields(flag("bound_valid_flag"), number(15, "LTW_offset_lower_bound"), reserved(1),
                                        number(15, "LTW_offset_upper_bound"));

constexpr auto copyright = fields(hex(32, "copyright_identifier"), bytes("additional_copyright_info"));

constexpr auto maximumBitrate = fields(reserved(2), number(22, "maximum_bitrate", {}, sayRate));

constexpr auto privateDataIndicator = fields(hex(32, "private_data_indicator"));

constexpr auto smoothingBuffer =
    fields(reserved(2), number(22, "sb_leak_rate", {}, sayRate), reserved(2), number(22, "sb_size", byteCounts));

constexpr auto std_ = fields(reserved(7), flag("leak_valid_flag"));

constexpr auto ibp = fields(flag("closed_gop_flag"), flag("identical_gop_flag"), number(14, "max_gop_length"));

// ISO/IEC 13818-6 8.

// What stands behind carousel_id is that of TS 102 809 Annex B.
constexpr NamedRange carouselFormats[] = {{0, 0, "no format specifier"}, {1, 1, "where the service gateway is"}};
constexpr auto carouselIdentifier =
    fields(hex(32, "carousel_id"),
           rest(number(8, "FormatId", {carouselFormats, ""}),
                when("FormatId", 1, number(8, "ModuleVersion"), hex(16, "ModuleId"), number(16, "BlockSize"),
                     number(32, "ModuleSize"), number(8, "CompressionMethod"), number(32, "OriginalSize"),
                     number(8, "TimeOut"), bytesOf(8, "ObjectKeyLength", "ObjectKeyData"))),
           bytes("private_data"));

constexpr auto associationTag = fields(
    hex(16, "association_tag"), hex(16, "use"),
    sized(8, nullptr, attempt("selector", hexDigits, when("use", 0, hex(32, "transaction_id"), number(32, "timeout")))),
    bytes("private_data"));

// ISO/IEC 13818-1 again.

constexpr auto mpeg4Video = fields(hex(8, "MPEG-4_visual_profile_and_level"));

constexpr auto mpeg4Audio = fields(hex(8, "MPEG-4_audio_profile_and_level", {audioProfiles, ""}));

constexpr auto avcVideo = fields(number(8, "profile_idc", {avcProfiles, ""}), hex(8, "constraint_flags"),
                                 number(8, "level_idc", {}, sayLevel<10, 1>), flag("AVC_still_present"),
                                 flag("AVC_24_hour_picture_flag"), reserved(6));

constexpr NamedRange dynamicRanges[] = {{0, 0, "SDR"}, {1, 1, "WCG"}, {2, 2, "HDR and WCG"}, {3, 3, "not indicated"}};

constexpr NamedRange videoProperties[] = {{0, 0, "not known or several"}};

constexpr auto sourceFlags = fields(flag("progressive_source_flag"), flag("interlaced_source_flag"),
                                    flag("non_packed_constraint_flag"), flag("frame_only_constraint_flag"));

constexpr auto hdrWcg = number(2, "HDR_WCG_idc", dynamicRanges);

/** What VVC, EVC and LCEVC say about their colours. */
constexpr auto colourProperties = fields(hdrWcg, reserved(2), number(4, "video_properties_tag", videoProperties));

constexpr auto temporalLayers = when("temporal_layer_subset_flag", 1, reserved(5), number(3, "temporal_id_min"),
                                     reserved(5), number(3, "temporal_id_max"));

constexpr auto hevcVideo = fields(
    number(2, "profile_space"), flag("tier_flag", tiers), number(5, "profile_idc", {hevcProfiles, ""}),
    hex(32, "profile_compatibility_indication"), sourceFlags, hex(44, "copied_44bits"),
    number(8, "level_idc", {}, sayLevel<30, 3>), flag("temporal_layer_subset_flag"), flag("HEVC_still_present_flag"),
    flag("HEVC_24hr_picture_present_flag"), flag("sub_pic_hrd_params_not_present_flag"), reserved(2), hdrWcg,
    when("temporal_layer_subset_flag", 1, number(3, "temporal_id_min"), reserved(5), number(3, "temporal_id_max"),
         reserved(5)));

constexpr auto vvcVideo = fields(number(7, "profile_idc", {vvcProfiles, ""}), flag("tier_flag", tiers),
                                 list(8, "num_sub_profiles", "sub_profiles", hex(32, "sub_profile_idc")), sourceFlags,
                                 zero(4), number(8, "level_idc", {}, sayLevel<16, 3>),
                                 flag("temporal_layer_subset_flag"), flag("VVC_still_present_flag"),
                                 flag("VVC_24hr_picture_present_flag"), reserved(5), colourProperties, temporalLayers);

constexpr auto evcVideo =
    fields(number(8, "profile_idc"), number(8, "level_idc"), hex(32, "toolset_idc_h"), hex(32, "toolset_idc_l"),
           sourceFlags, reserved(1), flag("temporal_layer_subset_flag"), flag("EVC_still_present_flag"),
           flag("EVC_24hr_picture_present_flag"), colourProperties, temporalLayers);

constexpr auto deferredTags =
    fields(sized(8, "associations_tags_length", list("association_tags", hex(16, "association_tag"))),
           hex(16, "transport_stream_id"), hex(16, "program_number"), bytes("private_data"));

constexpr auto nptReference =
    fields(flag("postDiscontinuityIndicator"), number(7, "contentId"), reserved(7), number(33, "STC_Reference"),
           reserved(31), number(33, "NPT_Reference"), number(16, "scaleNumerator"), number(16, "scaleDenominator"));

constexpr auto nptEndpoint = fields(reserved(15), number(33, "startNPT"), reserved(31), number(33, "stopNPT"));

constexpr auto streamMode = fields(hex(8, "stream_mode"), reserved(8));

constexpr auto streamEvent = fields(hex(16, "eventId"), reserved(31), number(33, "eventNPT"), bytes("privateDataByte"));

constexpr auto iod = fields(hex(8, "Scope_of_IOD_label"), hex(8, "IOD_label"), bytes("InitialObjectDescriptor"));

constexpr auto sl = fields(hex(16, "ES_ID"));

constexpr auto fmc = fields(list("streams", hex(16, "ES_ID"), hex(8, "FlexMuxChannel")));

constexpr auto externalEsId = fields(hex(16, "External_ES_ID"));

constexpr auto muxCode = fields(bytes("MuxCodeTableEntry"));

constexpr auto fmxBufferSize = fields(bytes("FlexMuxBufferDescriptor"));

constexpr auto multiplexBufferSize = fields(number(24, "MB_buffer_size"), number(24, "TB_leak_rate"));

constexpr auto metadataFormat =
    fields(hex(16, "metadata_application_format"),
           when("metadata_application_format", 0xFFFF, hex(32, "metadata_application_format_identifier")));

constexpr auto contentLabeling =
    fields(metadataFormat, flag("content_reference_id_record_flag"), number(4, "content_time_base_indicator"),
           reserved(3), when("content_reference_id_record_flag", 1, bytes8("content_reference_id")),
           whenIn("content_time_base_indicator", 1, 2, reserved(7), number(33, "content_time_base_value"), reserved(7),
                  number(33, "metadata_time_base_value")),
           when("content_time_base_indicator", 2, reserved(1), number(7, "contentId")),
           whenIn("content_time_base_indicator", 3, 7, bytes8("time_base_association_data")), bytes("private_data"));

constexpr auto metadataService =
    fields(metadataFormat, hex(8, "metadata_format"),
           when("metadata_format", 0xFF, hex(32, "metadata_format_identifier")), hex(8, "metadata_service_id"));

constexpr auto metadataPointer =
    fields(metadataService, flag("metadata_locator_record_flag"), number(2, "MPEG_carriage_flags"), reserved(5),
           when("metadata_locator_record_flag", 1, bytes8("metadata_locator_record")),
           whenIn("MPEG_carriage_flags", 0, 2, hex(16, "program_number")),
           when("MPEG_carriage_flags", 1, hex(16, "transport_stream_location"), hex(16, "transport_stream_id")),
           bytes("private_data"));

constexpr auto metadata = fields(metadataService, number(3, "decoder_config_flags"), flag("DSM-CC_flag"), reserved(4),
                                 when("DSM-CC_flag", 1, bytes8("service_identification")),
                                 when("decoder_config_flags", 1, bytes8("decoder_config")),
                                 when("decoder_config_flags", 3, bytes8("dec_config_identification_record")),
                                 when("decoder_config_flags", 4, hex(8, "decoder_config_metadata_service_id")),
                                 whenIn("decoder_config_flags", 5, 6, bytes8("reserved_data")), bytes("private_data"));

constexpr auto metadataStd =
    fields(reserved(2), number(22, "metadata_input_leak_rate"), reserved(2), number(22, "metadata_buffer_size"),
           reserved(2), number(22, "metadata_output_leak_rate"));

constexpr auto ipmp = fields(bytes("IPMP_data"));

constexpr auto avcTiming = fields(
    flag("hrd_management_valid_flag"), reserved(6), flag("picture_and_timing_info_present"),
    when("picture_and_timing_info_present", 1, flag("90kHz_flag"), reserved(7),
         when("90kHz_flag", 0, number(32, "N"), number(32, "K")), number(32, "num_units_in_tick")),
    flag("fixed_frame_rate_flag"), flag("temporal_poc_flag"), flag("picture_to_display_conversion_flag"), reserved(5));

constexpr auto mpeg2Aac = fields(hex(8, "MPEG-2_AAC_profile"), hex(8, "MPEG-2_AAC_channel_configuration"),
                                 hex(8, "MPEG-2_AAC_additional_information"));

constexpr auto flexMuxTiming =
    fields(hex(16, "FCR_ES_ID"), number(32, "FCRResolution"), number(8, "FCRLength"), number(8, "FmxRateLength"));

constexpr auto mpeg4Text = fields(bytes("textConfig"));

constexpr auto audioExtension =
    fields(flag("ASC_flag"), reserved(3), list(4, "num_of_loops", "profiles", hex(8, "audioProfileLevelIndication")),
           when("ASC_flag", 1, bytesOf(8, "ASC_size", "audioSpecificConfig")));

constexpr auto auxiliaryVideo = fields(hex(8, "aux_video_codedstreamtype"), bytes("si_rbsp"));

constexpr auto svcExtension =
    fields(number(16, "width"), number(16, "height"), number(16, "frame_rate"), number(16, "average_bitrate"),
           number(16, "maximum_bitrate"), number(3, "dependency_id"), reserved(5), number(4, "quality_id_start"),
           number(4, "quality_id_end"), number(3, "temporal_id_start"), number(3, "temporal_id_end"),
           flag("no_sei_nal_unit_present"), reserved(1));

constexpr auto mvcExtension =
    fields(number(16, "average_bit_rate"), number(16, "maximum_bitrate"), flag("view_association_not_present"),
           flag("base_view_is_left_eyeview"), reserved(2), number(10, "view_order_index_min"),
           number(10, "view_order_index_max"), number(3, "temporal_id_start"), number(3, "temporal_id_end"),
           flag("no_sei_nal_unit_present"), flag("no_prefix_nal_unit_present"));

constexpr auto j2kVideo =
    fields(hex(16, "profile_and_level"), number(32, "horizontal_size"), number(32, "vertical_size"),
           number(32, "max_bit_rate"), number(32, "max_buffer_size"), number(16, "DEN_frame_rate"),
           number(16, "NUM_frame_rate"), hex(8, "color_specification"), flag("still_mode"), flag("interlaced_video"),
           reserved(6), bytes("private_data"));

constexpr auto mvcOperationPoint =
    fields(number(8, "profile_idc"), hex(6, "constraint_set_flags"), number(2, "AVC_compatible_flags"),
           list(8, "level_count", "levels", number(8, "level_idc"),
                list(8, "operation_points_count", "operation_points", reserved(5), number(3, "applicable_temporal_id"),
                     number(8, "num_target_output_views"),
                     list(8, "ES_count", "streams", reserved(2), number(6, "ES_reference")))));

constexpr auto stereoscopicFormat =
    fields(flag("stereo_video_arrangement_type_present"),
           when("stereo_video_arrangement_type_present", 1, number(7, "arrangement_type")),
           when("stereo_video_arrangement_type_present", 0, reserved(7)));

constexpr auto stereoscopicProgram = fields(reserved(5), number(3, "stereoscopic_service_type"));

constexpr auto stereoscopicVideo =
    fields(reserved(7), flag("base_video_flag"), when("base_video_flag", 1, reserved(7), flag("leftview_flag")),
           when("base_video_flag", 0, reserved(7), flag("usable_as_2D"), number(4, "horizontal_upsampling_factor"),
                number(4, "vertical_upsampling_factor")));

constexpr auto transportProfile = fields(hex(8, "transport_profile"), bytes("private_data"));

/* ---- behind tag 0x3F ------------------------------------------------------------------------------------------------
 */

constexpr auto pictureTiming =
    when("picture_and_timing_info_present_flag", 1, flag("90kHz_flag"), reserved(7),
         when("90kHz_flag", 0, number(32, "N"), number(32, "K")), number(32, "num_units_in_tick"));

/** Older streams have ones where the schedule's index stands: it is not there. */
constexpr auto hevcTiming =
    fields(flag("hrd_management_valid_flag"), flag("target_schedule_idx_not_present_flag"),
           number(5, "target_schedule_idx"), flag("picture_and_timing_info_present_flag"), pictureTiming);

constexpr auto laterTiming =
    fields(flag("hrd_management_valid_flag"), reserved(6), flag("picture_and_timing_info_present_flag"), pictureTiming);

constexpr auto objectUpdate = fields(bytes("ObjectDescriptorUpdate"));

constexpr auto hevcOperationPoints = fields(
    reserved(2), list(6, "num_ptl", "profile_tier_levels", fixed(96, "profile_tier_level_info", hexDigits)),
    list(8, "operation_points_count", "operation_points", number(8, "target_ols"),
         list(8, "ES_count", "streams", reserved(1), flag("prepend_dependencies"), number(6, "ES_reference")),
         reserved(2),
         list(6, "numEsInOp", "layers", flag("necessary_layer_flag"), flag("output_layer_flag"),
              number(6, "ptl_ref_idx")),
         reserved(1), announces("avg_bit_rate"), announces("max_bit_rate"), number(2, "constant_frame_rate_info_idc"),
         number(3, "applicable_temporal_id"),
         whenNot("constant_frame_rate_info_idc", 0, reserved(4), number(12, "frame_rate_indicator")),
         announced("avg_bit_rate", number(24, "avg_bit_rate")), announced("max_bit_rate", number(24, "max_bit_rate"))));

constexpr auto hevcHierarchy =
    fields(hex(16, "extension_dimension_bits"), number(6, "hierarchy_layer_index"), number(3, "temporal_id"),
           number(6, "nuh_layer_id"), flag("tref_present_flag"), reserved(2),
           count(6, "num_embedded_layers", "embedded_layers"), reserved(2), number(6, "hierarchy_channel"),
           countedList("embedded_layers", reserved(2), number(6, "hierarchy_ext_embedded_layer_index")));

constexpr auto green = fields(count(2, "num_constant_backlight_voltage_time_intervals", "intervals"), reserved(6),
                              countedList("intervals", number(16, "constant_backlight_voltage_time_interval")),
                              count(2, "num_max_variations", "variations"), reserved(6),
                              countedList("variations", number(16, "max_variation")));

constexpr auto mpegHAudio =
    fields(hex(8, "mpegh3daProfileLevelIndication"), flag("interactivityEnabled"), flag("compatibleProfileSetsPresent"),
           reserved(8), number(6, "referenceChannelLayout"),
           when("compatibleProfileSetsPresent", 0,
                list(8, "numCompatibleSets", "compatible_sets", hex(8, "CompatibleSetIndication"))),
           bytes("reserved_data"));

constexpr auto mpegHConfig = fields(bytes("mpegh3daConfig"));

constexpr auto mpegHTextLabel =
    fields(hex(8, "3dAudioSceneInfoID"), reserved(4),
           list(4, "numDescLanguages", "languages", language("descriptionLanguage"), reserved(1),
                list(7, "numGroupDescriptions", "groups", reserved(1), number(7, "mae_descriptionGroupID"),
                     counted(8, "groupDescription", utf8Text)),
                reserved(3),
                list(5, "numSwitchGroupDescriptions", "switch_groups", reserved(3),
                     number(5, "mae_descriptionSwitchGroupID"), counted(8, "switchGroupDescription", utf8Text)),
                reserved(3),
                list(5, "numGroupPresetsDescriptions", "group_presets", reserved(3),
                     number(5, "mae_descriptionGroupPresetID"), counted(8, "groupPresetDescription", utf8Text))),
           bytes("reserved_data"));

constexpr auto mpegHMultiStream =
    fields(flag("thisIsMainStream"), number(7, "thisStreamID"),
           when("thisIsMainStream", 1, reserved(1), number(7, "numAuxiliaryStreams"), reserved(1),
                list(7, "mae_numGroups", "groups", number(7, "mae_groupID"), flag("isInMainStream"),
                     when("isInMainStream", 0, flag("isInTS"), number(7, "auxiliaryStreamID")))),
           bytes("reserved_data"));

constexpr auto mpegHGroup =
    fields(reserved(1), number(7, "mae_groupID"), reserved(3), flag("mae_allowOnOff"), flag("mae_defaultOnOff"),
           flag("mae_allowPositionInteractivity"), flag("mae_allowGainInteractivity"), flag("mae_hasContentLanguage"),
           reserved(4), number(4, "mae_contentKind"),
           when("mae_allowPositionInteractivity", 1, reserved(1), number(7, "mae_interactivityMinAzOffset"),
                reserved(1), number(7, "mae_interactivityMaxAzOffset"), reserved(3),
                number(5, "mae_interactivityMinElOffset"), reserved(3), number(5, "mae_interactivityMaxElOffset"),
                number(4, "mae_interactivityMinDistFactor"), number(4, "mae_interactivityMaxDistFactor")),
           when("mae_allowGainInteractivity", 1, reserved(2), number(6, "mae_interactivityMinGain"), reserved(3),
                number(5, "mae_interactivityMaxGain")),
           when("mae_hasContentLanguage", 1, language("mae_contentLanguage")));

constexpr auto mpegHSwitchGroup = fields(
    reserved(1), flag("mae_switchGroupAllowOnOff"), flag("mae_switchGroupDefaultOnOff"), number(5, "mae_switchGroupID"),
    reserved(3),
    oneMore(list(5, "mae_bsSwitchGroupNumMembers", "members", reserved(1), number(7, "mae_switchGroupMemberID"))),
    reserved(1), number(7, "mae_switchGroupDefaultGroupID"));

constexpr auto mpegHCondition = fields(
    number(7, "mae_groupPresetGroupID"), flag("mae_groupPresetConditionOnOff"),
    when("mae_groupPresetConditionOnOff", 1, reserved(4), flag("mae_groupPresetDisableGainInteractivity"),
         flag("mae_groupPresetGainFlag"), flag("mae_groupPresetDisablePositionInteractivity"),
         flag("mae_groupPresetPositionFlag"), when("mae_groupPresetGainFlag", 1, number(8, "mae_groupPresetGain")),
         when("mae_groupPresetPositionFlag", 1, number(8, "mae_groupPresetAzOffset"), reserved(2),
              number(6, "mae_groupPresetElOffset"), reserved(4), number(4, "mae_groupPresetDistFactor"))));

constexpr auto mpegHPreset =
    fields(reserved(3), number(5, "mae_groupPresetID"), reserved(3), number(5, "mae_groupPresetKind"), reserved(4),
           oneMore(list(4, "mae_bsGroupPresetNumConditions", "conditions", mpegHCondition)));

constexpr auto mpegHScene = fields(
    flag("groupDefinitionPresent"), flag("switchGroupDefinitionPresent"), flag("groupPresetDefinitionPresent"),
    reserved(5), number(8, "3dAudioSceneInfoID"),
    when("groupDefinitionPresent", 1, reserved(1), list(7, "mae_numGroups", "groups", mpegHGroup)),
    when("switchGroupDefinitionPresent", 1, reserved(3),
         list(5, "mae_numSwitchGroups", "switch_groups", mpegHSwitchGroup)),
    when("groupPresetDefinitionPresent", 1, reserved(3), list(5, "mae_numGroupPresets", "group_presets", mpegHPreset)),
    bytes("reserved_data"));

constexpr auto quality =
    fields(number(8, "field_size_bytes"), list(8, "metric_count", "metrics", hex(32, "metric_code", {}, sayLetters)));

constexpr auto tileSubstream =
    fields(flag("ReferenceFlag"), number(7, "SubstreamID"),
           rest(when("ReferenceFlag", 1, flag("PreambleFlag"), number(7, "PatternReference")),
                when("ReferenceFlag", 0, list("substreams", flag("Flag"), number(7, "AdditionalSubstreamID")))));

constexpr auto virtualSegmentation =
    fields(rest(count(3, "num_partitions", "partitions"), flag("timescale_flag"), reserved(4),
                when("timescale_flag", 1, number(21, "ticks_per_second"), number(2, "maximum_duration_length_minus_1"),
                     reserved(1)),
                countedList("partitions", flag("explicit_boundary_flag"), number(3, "partition_id"), reserved(4),
                            number(3, "SAP_type_max"),
                            when("explicit_boundary_flag", 0, reserved(5), pid("boundary_PID"), reserved(3)),
                            when("explicit_boundary_flag", 1, when("timescale_flag", 0, number(5, "maximum_duration")),
                                 when("maximum_duration_length_minus_1", 0, number(5, "maximum_duration")),
                                 when("maximum_duration_length_minus_1", 1, number(13, "maximum_duration")),
                                 when("maximum_duration_length_minus_1", 2, number(21, "maximum_duration")),
                                 when("maximum_duration_length_minus_1", 3, number(29, "maximum_duration"))))));

constexpr auto subregion =
    fields(flag("SubstreamMarkingFlag"), number(7, "SubstreamIDsPerLine"), number(8, "TotalSubstreamIDs"),
           number(8, "LevelFullPanorama"),
           list("layouts", flag("PreambleFlag"), number(7, "PreambleSubstreamID"), number(8, "SubstreamCountMinus1"),
                number(8, "Level"), number(16, "PictureSizeHor"), number(16, "PictureSizeVert"), reserved(1),
                list(7, "PatternCount", "patterns", asManyAs("SubstreamCountMinus1", 1, bytes("SubstreamOffset")))));

constexpr auto afExtensions = fields(bytes("reserved_data"));

constexpr auto masteringDisplay =
    fields(number(16, "X_c0"), number(16, "Y_c0"), number(16, "X_c1"), number(16, "Y_c1"), number(16, "X_c2"),
           number(16, "Y_c2"), number(16, "X_wp"), number(16, "Y_wp"), number(32, "L_max"), number(32, "L_min"),
           number(16, "MaxCLL"), number(16, "MaxFALL"));

constexpr auto jpegXs = fields(
    number(8, "descriptor_version"), number(16, "horizontal_size"), number(16, "vertical_size"), number(32, "brat"),
    hex(32, "frat"), hex(16, "schar"), hex(16, "Ppih"), hex(16, "Plev"), number(32, "max_buffer_size"),
    number(8, "buffer_model_type"), number(8, "colour_primaries"), number(8, "transfer_characteristics"),
    number(8, "matrix_coefficients"), flag("video_full_range_flag"), reserved(7), flag("still_mode"), flag("mdm_flag"),
    zero(6), when("mdm_flag", 1, masteringDisplay), bytes("private_data"));

constexpr auto lcevcVideo =
    fields(number(8, "lcevc_stream_tag"), number(4, "profile_idc"), number(4, "level_idc"), number(2, "sublevel_idc"),
           flag("processed_planes_type_flag"), flag("picture_type_bit_flag"), flag("field_type_bit_flag"), reserved(3),
           hdrWcg, zero(2), number(4, "video_properties_tag", videoProperties));

constexpr auto lcevcLinkage = fields(list(8, "num_lcevc_stream_tags", "lcevc_streams", number(8, "lcevc_stream_tag")));

constexpr Structure structures[] = {
    {0x02, "video_stream_descriptor", "2.6.2", videoStream},
    {0x03, "audio_stream_descriptor", "2.6.4", audioStream},
    {0x04, "hierarchy_descriptor", "2.6.6", hierarchy},
    {0x05, "registration_descriptor", "2.6.8", registration},
    {0x06, "data_stream_alignment_descriptor", "2.6.10", streamAlignment},
    {0x07, "target_background_grid_descriptor", "2.6.12", backgroundGrid},
    {0x08, "video_window_descriptor", "2.6.14", videoWindow},
    {0x09, "CA_descriptor", "2.6.16", conditionalAccess},
    {0x0A, "ISO_639_language_descriptor", "2.6.18", languages},
    {0x0B, "system_clock_descriptor", "2.6.20", systemClock},
    {0x0C, "multiplex_buffer_utilization_descriptor", "2.6.22", multiplexBuffer},
    {0x0D, "copyright_descriptor", "2.6.24", copyright},
    {0x0E, "maximum_bitrate_descriptor", "2.6.25", maximumBitrate},
    {0x0F, "private_data_indicator_descriptor", "2.6.28", privateDataIndicator},
    {0x10, "smoothing_buffer_descriptor", "2.6.30", smoothingBuffer},
    {0x11, "STD_descriptor", "2.6.32", std_},
    {0x12, "IBP_descriptor", "2.6.34", ibp},
    {0x13, "carousel_identifier_descriptor", "ISO/IEC 13818-6 11.4", carouselIdentifier},
    {0x14, "association_tag_descriptor", "ISO/IEC 13818-6 11.4", associationTag},
    {0x15, "deferred_association_tags_descriptor", "ISO/IEC 13818-6 11.4", deferredTags},
    {0x17, "NPT_reference_descriptor", "ISO/IEC 13818-6 8.1", nptReference},
    {0x18, "NPT_endpoint_descriptor", "ISO/IEC 13818-6 8.1", nptEndpoint},
    {0x19, "stream_mode_descriptor", "ISO/IEC 13818-6 8.2", streamMode},
    {0x1A, "stream_event_descriptor", "ISO/IEC 13818-6 8.3", streamEvent},
    {0x1B, "MPEG-4_video_descriptor", "2.6.36", mpeg4Video},
    {0x1C, "MPEG-4_audio_descriptor", "2.6.38", mpeg4Audio},
    {0x1D, "IOD_descriptor", "2.6.40", iod},
    {0x1E, "SL_descriptor", "2.6.42", sl},
    {0x1F, "FMC_descriptor", "2.6.44", fmc},
    {0x20, "external_ES_ID_descriptor", "2.6.46", externalEsId},
    {0x21, "MuxCode_descriptor", "2.6.48", muxCode},
    {0x22, "FmxBufferSize_descriptor", "2.6.50", fmxBufferSize},
    {0x23, "multiplexBuffer_descriptor", "2.6.52", multiplexBufferSize},
    {0x24, "content_labeling_descriptor", "2.6.56", contentLabeling},
    {0x25, "metadata_pointer_descriptor", "2.6.58", metadataPointer},
    {0x26, "metadata_descriptor", "2.6.60", metadata},
    {0x27, "metadata_STD_descriptor", "2.6.62", metadataStd},
    {0x28, "AVC_video_descriptor", "2.6.64", avcVideo},
    {0x29, "IPMP_descriptor", "ISO/IEC 13818-11", ipmp},
    {0x2A, "AVC_timing_and_HRD_descriptor", "2.6.66", avcTiming},
    {0x2B, "MPEG-2_AAC_audio_descriptor", "2.6.68", mpeg2Aac},
    {0x2C, "FlexMuxTiming_descriptor", "2.6.54", flexMuxTiming},
    {0x2D, "MPEG-4_text_descriptor", "2.6.70", mpeg4Text},
    {0x2E, "MPEG-4_audio_extension_descriptor", "2.6.72", audioExtension},
    {0x2F, "auxiliary_video_stream_descriptor", "2.6.74", auxiliaryVideo},
    {0x30, "SVC_extension_descriptor", "2.6.76", svcExtension},
    {0x31, "MVC_extension_descriptor", "2.6.78", mvcExtension},
    {0x32, "J2K_video_descriptor", "2.6.80", j2kVideo},
    {0x33, "MVC_operation_point_descriptor", "2.6.82", mvcOperationPoint},
    {0x34, "MPEG2_stereoscopic_video_format_descriptor", "2.6.84", stereoscopicFormat},
    {0x35, "stereoscopic_program_info_descriptor", "2.6.86", stereoscopicProgram},
    {0x36, "stereoscopic_video_info_descriptor", "2.6.88", stereoscopicVideo},
    {0x37, "transport_profile_descriptor", "2.6.93", transportProfile},
    {0x38, "HEVC_video_descriptor", "2.6.95", hevcVideo},
    {0x39, "VVC_video_descriptor", "2.6", vvcVideo},
    {0x3A, "EVC_video_descriptor", "2.6", evcVideo},
};

constexpr Structure extensions[] = {
    {0x02, "object_descriptor_update_descriptor", "2.6", objectUpdate},
    {0x03, "HEVC_timing_and_HRD_descriptor", "2.6.97", hevcTiming},
    {0x04, "AF_extensions_descriptor", "2.6", afExtensions},
    {0x05, "HEVC_operation_point_descriptor", "2.6", hevcOperationPoints},
    {0x06, "HEVC_hierarchy_extension_descriptor", "2.6", hevcHierarchy},
    {0x07, "green_extension_descriptor", "2.6", green},
    {0x08, "MPEG-H_3D_audio_descriptor", "2.6", mpegHAudio},
    {0x09, "MPEG-H_3D_audio_config_descriptor", "2.6", mpegHConfig},
    {0x0A, "MPEG-H_3D_audio_scene_descriptor", "2.6", mpegHScene},
    {0x0B, "MPEG-H_3D_audio_text_label_descriptor", "2.6", mpegHTextLabel},
    {0x0C, "MPEG-H_3D_audio_multi_stream_descriptor", "2.6", mpegHMultiStream},
    {0x0F, "quality_extension_descriptor", "2.6", quality},
    {0x10, "virtual_segmentation_descriptor", "2.6", virtualSegmentation},
    {0x12, "HEVC_tile_substream_descriptor", "2.6", tileSubstream},
    {0x13, "HEVC_subregion_descriptor", "2.6", subregion},
    {0x14, "JXS_video_descriptor", "2.6", jpegXs},
    {0x15, "VVC_timing_and_HRD_descriptor", "2.6", laterTiming},
    {0x16, "EVC_timing_and_HRD_descriptor", "2.6", laterTiming},
    {0x17, "LCEVC_video_descriptor", "2.6", lcevcVideo},
    {0x18, "LCEVC_linkage_descriptor", "2.6", lcevcLinkage},
};

} // namespace

const StructureList mpegDescriptors = structures;
const StructureList mpegExtensionDescriptors = extensions;

} // namespace psi::describe
