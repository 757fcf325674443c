#include "describe/descriptorFields.h"
#include "describe/text.h"

namespace psi::describe {

namespace {

// Layouts of ISO/IEC 13818-1 2.6, in the order of their tags.

void decodeVideoStream(ByteReader &reader, Fields &fields)
{
    const u8 flags = reader.u8Field();
    addNumber(fields, "multiple_frame_rate_flag", bits(flags, 7, 1));
    addNumber(fields, "frame_rate_code", bits(flags, 6, 4));
    addNumber(fields, "MPEG_1_only_flag", bits(flags, 2, 1));
    addNumber(fields, "constrained_parameter_flag", bits(flags, 1, 1));
    addNumber(fields, "still_picture_flag", bits(flags, 0, 1));
    if (bits(flags, 2, 1))
        return;
    addHex(fields, "profile_and_level_indication", reader.u8Field(), 2);
    const u8 format = reader.u8Field();
    addNumber(fields, "chroma_format", bits(format, 7, 2));
    addNumber(fields, "frame_rate_extension_flag", bits(format, 5, 1));
}

void decodeAudioStream(ByteReader &reader, Fields &fields)
{
    const u8 flags = reader.u8Field();
    addNumber(fields, "free_format_flag", bits(flags, 7, 1));
    addNumber(fields, "ID", bits(flags, 6, 1));
    addNumber(fields, "layer", bits(flags, 5, 2));
    addNumber(fields, "variable_rate_audio_indicator", bits(flags, 3, 1));
}

void decodeHierarchy(ByteReader &reader, Fields &fields)
{
    const u8 flags = reader.u8Field();
    addNumber(fields, "no_view_scalability_flag", bits(flags, 7, 1));
    addNumber(fields, "no_temporal_scalability_flag", bits(flags, 6, 1));
    addNumber(fields, "no_spatial_scalability_flag", bits(flags, 5, 1));
    addNumber(fields, "no_quality_scalability_flag", bits(flags, 4, 1));
    addNumber(fields, "hierarchy_type", bits(flags, 3, 4));
    addNumber(fields, "hierarchy_layer_index", bits(reader.u8Field(), 5, 6));
    const u8 embedded = reader.u8Field();
    addNumber(fields, "tref_present_flag", bits(embedded, 7, 1));
    addNumber(fields, "hierarchy_embedded_layer_index", bits(embedded, 5, 6));
    addNumber(fields, "hierarchy_channel", bits(reader.u8Field(), 5, 6));
}

void decodeRegistration(ByteReader &reader, Fields &fields)
{
    const ByteView identifier = reader.bytes(4);
    ByteReader number(identifier);
    addHex(fields, "format_identifier", number.u32Field(), 8, printableAscii(identifier).c_str());
    addBytes(fields, "additional_identification_info", reader.rest());
}

void decodeAlignment(ByteReader &reader, Fields &fields)
{
    addNumber(fields, "alignment_type", reader.u8Field());
}

void decodeBackgroundGrid(ByteReader &reader, Fields &fields)
{
    const u32 word = reader.u32Field();
    addNumber(fields, "horizontal_size", word >> 18);
    addNumber(fields, "vertical_size", word >> 4 & 0x3FFF);
    addNumber(fields, "aspect_ratio_information", word & 0xF);
}

void decodeVideoWindow(ByteReader &reader, Fields &fields)
{
    const u32 word = reader.u32Field();
    addNumber(fields, "horizontal_offset", word >> 18);
    addNumber(fields, "vertical_offset", word >> 4 & 0x3FFF);
    addNumber(fields, "window_priority", word & 0xF);
}

void decodeCa(ByteReader &reader, Fields &fields)
{
    const u16 caSystemId = reader.u16Field();
    addHex(fields, "CA_system_ID", caSystemId, 4, caSystemName(caSystemId));
    addHex(fields, "CA_PID", reader.pid(), 4);
    addBytes(fields, "private_data", reader.rest());
}

void decodeLanguageEntry(ByteReader &reader, Fields &fields)
{
    addLanguage(fields, reader);
    const u8 audioType = reader.u8Field();
    addNumber(fields, "audio_type", audioType, audioTypeName(audioType));
}

void decodeLanguages(ByteReader &reader, Fields &fields)
{
    addLoop(fields, "languages", reader, decodeLanguageEntry);
}

void decodeSystemClock(ByteReader &reader, Fields &fields)
{
    const u8 accuracy = reader.u8Field();
    addNumber(fields, "external_clock_reference_indicator", bits(accuracy, 7, 1));
    addNumber(fields, "clock_accuracy_integer", bits(accuracy, 5, 6));
    addNumber(fields, "clock_accuracy_exponent", bits(reader.u8Field(), 7, 3));
}

void decodeMultiplexBuffer(ByteReader &reader, Fields &fields)
{
    const u16 lower = reader.u16Field();
    addNumber(fields, "bound_valid_flag", lower >> 15);
    addNumber(fields, "LTW_offset_lower_bound", lower & 0x7FFF);
    addNumber(fields, "LTW_offset_upper_bound", reader.u16Field() & 0x7FFF);
}

void decodeCopyright(ByteReader &reader, Fields &fields)
{
    addHex(fields, "copyright_identifier", reader.u32Field(), 8);
    addBytes(fields, "additional_copyright_info", reader.rest());
}

void decodeMaximumBitrate(ByteReader &reader, Fields &fields)
{
    const u32 units = reader.u24Field() & 0x3FFFFF; // of 50 bytes per second
    const std::string meaning = std::to_string(units * 400ULL / 1000) + " kbit/s";
    addNumber(fields, "maximum_bitrate", units, meaning.c_str());
}

void decodePrivateDataIndicator(ByteReader &reader, Fields &fields)
{
    addHex(fields, "private_data_indicator", reader.u32Field(), 8);
}

void decodeSmoothingBuffer(ByteReader &reader, Fields &fields)
{
    addNumber(fields, "sb_leak_rate", reader.u24Field() & 0x3FFFFF);
    addNumber(fields, "sb_size", reader.u24Field() & 0x3FFFFF);
}

void decodeStd(ByteReader &reader, Fields &fields)
{
    addNumber(fields, "leak_valid_flag", reader.u8Field() & 1);
}

void decodeIbp(ByteReader &reader, Fields &fields)
{
    const u16 word = reader.u16Field();
    addNumber(fields, "closed_gop_flag", word >> 15);
    addNumber(fields, "identical_gop_flag", word >> 14 & 1);
    addNumber(fields, "max_gop_length", word & 0x3FFF);
}

void decodeCarouselIdentifier(ByteReader &reader, Fields &fields)
{
    addHex(fields, "carousel_id", reader.u32Field(), 8);
    addBytes(fields, "private_data", reader.rest());
}

void decodeAssociationTag(ByteReader &reader, Fields &fields)
{
    addHex(fields, "association_tag", reader.u16Field(), 4);
    addHex(fields, "use", reader.u16Field(), 4);
    addBytes(fields, "selector", reader.counted());
    addBytes(fields, "private_data", reader.rest());
}

void decodeAvcVideo(ByteReader &reader, Fields &fields)
{
    addNumber(fields, "profile_idc", reader.u8Field());
    addHex(fields, "constraint_flags", reader.u8Field(), 2);
    addNumber(fields, "level_idc", reader.u8Field());
    const u8 flags = reader.u8Field();
    addNumber(fields, "AVC_still_present", bits(flags, 7, 1));
    addNumber(fields, "AVC_24_hour_picture_flag", bits(flags, 6, 1));
}

void decodeMpeg4Video(ByteReader &reader, Fields &fields)
{
    addHex(fields, "MPEG-4_visual_profile_and_level", reader.u8Field(), 2);
}

void decodeMpeg4Audio(ByteReader &reader, Fields &fields)
{
    addHex(fields, "MPEG-4_audio_profile_and_level", reader.u8Field(), 2);
}

void decodeHevcVideo(ByteReader &reader, Fields &fields)
{
    const u8 profile = reader.u8Field();
    addNumber(fields, "profile_space", bits(profile, 7, 2));
    addNumber(fields, "tier_flag", bits(profile, 5, 1));
    addNumber(fields, "profile_idc", bits(profile, 4, 5));
    addHex(fields, "profile_compatibility_indication", reader.u32Field(), 8);
    addBytes(fields, "constraint_flags", reader.bytes(6));
    addNumber(fields, "level_idc", reader.u8Field());
    addBytes(fields, "temporal_layer_flags", reader.rest());
}

void decodeExtension(ByteReader &reader, Fields &fields)
{
    const u8 tag = reader.u8Field();
    addHex(fields, "descriptor_tag_extension", tag, 2); // the descriptor's name tells what it means
    addBytes(fields, "selector", reader.rest());
}

constexpr TaggedDecoder mpegDecoders[] = {
    {0x02, decodeVideoStream},
    {0x03, decodeAudioStream},
    {0x04, decodeHierarchy},
    {0x05, decodeRegistration},
    {0x06, decodeAlignment},
    {0x07, decodeBackgroundGrid},
    {0x08, decodeVideoWindow},
    {0x09, decodeCa},
    {0x0A, decodeLanguages},
    {0x0B, decodeSystemClock},
    {0x0C, decodeMultiplexBuffer},
    {0x0D, decodeCopyright},
    {0x0E, decodeMaximumBitrate},
    {0x0F, decodePrivateDataIndicator},
    {0x10, decodeSmoothingBuffer},
    {0x11, decodeStd},
    {0x12, decodeIbp},
    {0x13, decodeCarouselIdentifier},
    {0x14, decodeAssociationTag},
    {0x1B, decodeMpeg4Video},
    {0x1C, decodeMpeg4Audio},
    {0x28, decodeAvcVideo},
    {0x38, decodeHevcVideo},
    {0x3F, decodeExtension},
};

} // namespace

DescriptorDecoder findMpegDecoder(u8 tag)
{
    return findDecoder(mpegDecoders, tag);
}

} // namespace psi::describe
