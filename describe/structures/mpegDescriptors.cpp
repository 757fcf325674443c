#include "describe/structures/structures.h"

#include "describe/text.h"

namespace psi::describe {

namespace {

std::string sayLetters(const Field &number, const Fields &, const DescriptorContext &)
{
    std::string bytes;
    for (int shift = 24; shift >= 0; shift -= 8)
        bytes += static_cast<char>(number.number >> shift & 0xFF);
    return printableAscii(ByteView(bytes));
}

std::string sayCaSystem(const Field &number, const Fields &, const DescriptorContext &)
{
    return caSystemName(static_cast<u16>(number.number));
}

/** Units of 50 bytes per second. */
std::string sayBitrate(const Field &number, const Fields &, const DescriptorContext &)
{
    return std::to_string(number.number * 400 / 1000) + " kbit/s";
}

// ISO/IEC 13818-1 2.6, in the order of the tags.

constexpr auto videoStream =
    fields(flag("multiple_frame_rate_flag"), number(4, "frame_rate_code"), flag("MPEG_1_only_flag"),
           flag("constrained_parameter_flag"), flag("still_picture_flag"),
           when("MPEG_1_only_flag", 0, hex(8, "profile_and_level_indication"), number(2, "chroma_format"),
                flag("frame_rate_extension_flag"), reserved(5)));

constexpr auto audioStream = fields(flag("free_format_flag"), flag("ID"), number(2, "layer"),
                                    flag("variable_rate_audio_indicator"), reserved(3));

constexpr auto hierarchy =
    fields(flag("no_view_scalability_flag"), flag("no_temporal_scalability_flag"), flag("no_spatial_scalability_flag"),
           flag("no_quality_scalability_flag"), number(4, "hierarchy_type"), reserved(2),
           number(6, "hierarchy_layer_index"), flag("tref_present_flag"), reserved(1),
           number(6, "hierarchy_embedded_layer_index"), reserved(2), number(6, "hierarchy_channel"));

constexpr auto registration =
    fields(hex(32, "format_identifier", {}, sayLetters), bytes("additional_identification_info"));

constexpr auto streamAlignment = fields(number(8, "alignment_type"));

constexpr auto backgroundGrid =
    fields(number(14, "horizontal_size"), number(14, "vertical_size"), number(4, "aspect_ratio_information"));

constexpr auto videoWindow =
    fields(number(14, "horizontal_offset"), number(14, "vertical_offset"), number(4, "window_priority"));

constexpr auto conditionalAccess =
    fields(hex(16, "CA_system_ID", {}, sayCaSystem), reserved(3), pid("CA_PID"), bytes("private_data"));

constexpr auto languages = fields(list("languages", language(), number(8, "audio_type", audioTypes)));

constexpr auto systemClock =
    fields(flag("external_clock_reference_indicator"), reserved(1), number(6, "clock_accuracy_integer"),
           number(3, "clock_accuracy_exponent"), reserved(5));

constexpr auto multiplexBuffer = fields(flag("bound_valid_flag"), number(15, "LTW_offset_lower_bound"), reserved(1),
                                        number(15, "LTW_offset_upper_bound"));

constexpr auto copyright = fields(hex(32, "copyright_identifier"), bytes("additional_copyright_info"));

constexpr auto maximumBitrate = fields(reserved(2), number(22, "maximum_bitrate", {}, sayBitrate));

constexpr auto privateDataIndicator = fields(hex(32, "private_data_indicator"));

constexpr auto smoothingBuffer = fields(reserved(2), number(22, "sb_leak_rate"), reserved(2), number(22, "sb_size"));

constexpr auto std_ = fields(reserved(7), flag("leak_valid_flag"));

constexpr auto ibp = fields(flag("closed_gop_flag"), flag("identical_gop_flag"), number(14, "max_gop_length"));

// ISO/IEC 13818-6 8.

constexpr auto carouselIdentifier = fields(hex(32, "carousel_id"), bytes("private_data"));

constexpr auto associationTag =
    fields(hex(16, "association_tag"), hex(16, "use"), bytes8("selector"), bytes("private_data"));

// ISO/IEC 13818-1 again.

constexpr auto mpeg4Video = fields(hex(8, "MPEG-4_visual_profile_and_level"));

constexpr auto mpeg4Audio = fields(hex(8, "MPEG-4_audio_profile_and_level"));

constexpr auto avcVideo = fields(number(8, "profile_idc"), hex(8, "constraint_flags"), number(8, "level_idc"),
                                 flag("AVC_still_present"), flag("AVC_24_hour_picture_flag"), reserved(6));

constexpr auto hevcVideo = fields(number(2, "profile_space"), flag("tier_flag"), number(5, "profile_idc"),
                                  hex(32, "profile_compatibility_indication"), fixed(48, "constraint_flags", hexDigits),
                                  number(8, "level_idc"), bytes("temporal_layer_flags"));

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
    {0x1B, "MPEG-4_video_descriptor", "2.6.36", mpeg4Video},
    {0x1C, "MPEG-4_audio_descriptor", "2.6.38", mpeg4Audio},
    {0x28, "AVC_video_descriptor", "2.6.64", avcVideo},
    {0x38, "HEVC_video_descriptor", "2.6.95", hevcVideo},
};

} // namespace

const StructureList mpegDescriptors = structures;
const StructureList mpegExtensionDescriptors;

} // namespace psi::describe
