#include "describe/descriptorFields.h"
#include "describe/text.h"

namespace psi::describe {

namespace {

// Layouts of A/65 6.9, A/52 Annex A and SCTE 35, in the order of their tags.

constexpr NamedRange ac3SampleRates[] = {
    {0, 0, "48 kHz"},
    {1, 1, "44.1 kHz"},
    {2, 2, "32 kHz"},
    {4, 4, "48 or 44.1 kHz"},
    {5, 5, "48 or 32 kHz"},
    {6, 6, "44.1 or 32 kHz"},
    {7, 7, "48, 44.1 or 32 kHz"},
};

constexpr NamedRange ac3Services[] = {
    {0, 0, "complete main"}, {1, 1, "music and effects"}, {2, 2, "visually impaired"}, {3, 3, "hearing impaired"},
    {4, 4, "dialogue"},      {5, 5, "commentary"},        {6, 6, "emergency"},         {7, 7, "voice over or karaoke"},
};

constexpr NamedRange ac3Channels[] = {
    {0, 0, "1+1"},       {1, 1, "1/0"},       {2, 2, "2/0"},       {3, 3, "3/0"},       {4, 4, "2/1"},
    {5, 5, "3/1"},       {6, 6, "2/2"},       {7, 7, "3/2"},       {8, 8, "1"},         {9, 9, "up to 2"},
    {10, 10, "up to 3"}, {11, 11, "up to 4"}, {12, 12, "up to 5"}, {13, 13, "up to 6"},
};

/** The part behind the fixed bytes, which older streams leave out. A/52 A3.4. */
void decodeAc3Tail(ByteReader &reader, Fields &fields, u32 channels, u32 service)
{
    if (reader.more())
        addHex(fields, "langcod", reader.u8Field(), 2);
    if (reader.more() && channels == 0)
        addHex(fields, "langcod2", reader.u8Field(), 2);
    if (reader.more())
        addHex(fields, service < 2 ? "mainid_byte" : "asvcflags", reader.u8Field(), 2);
    if (!reader.more())
        return;
    const u8 textLength = reader.u8Field();
    const ByteView text = reader.bytes(textLength >> 1);
    addText(fields, "text", textLength & 1 ? printableAscii(text) : decodeUtf16(text).utf8);
    if (!reader.more())
        return;
    const u8 flags = reader.u8Field();
    if (bits(flags, 7, 1))
        addLanguage(fields, reader, "language");
    if (bits(flags, 6, 1))
        addLanguage(fields, reader, "language_2");
}

void decodeAc3(ByteReader &reader, Fields &fields)
{
    const u8 rate = reader.u8Field();
    addNumber(fields, "sample_rate_code", bits(rate, 7, 3), findName(ac3SampleRates, bits(rate, 7, 3), "reserved"));
    addNumber(fields, "bsid", bits(rate, 4, 5));
    const u8 bitRate = reader.u8Field();
    addNumber(fields, "bit_rate_code", bits(bitRate, 7, 6));
    addNumber(fields, "surround_mode", bits(bitRate, 1, 2));
    const u8 mode = reader.u8Field();
    const u32 service = bits(mode, 7, 3);
    const u32 channels = bits(mode, 4, 4);
    addNumber(fields, "bsmod", service, findName(ac3Services, service, ""));
    addNumber(fields, "num_channels", channels, findName(ac3Channels, channels, "reserved"));
    addNumber(fields, "full_svc", bits(mode, 0, 1));
    decodeAc3Tail(reader, fields, channels, service);
}

void decodeCaption(ByteReader &reader, Fields &fields)
{
    addLanguage(fields, reader, "language");
    const u8 flags = reader.u8Field();
    const bool digital = bits(flags, 7, 1) != 0;
    addNumber(fields, "digital_cc", digital, digital ? "CEA-708" : "CEA-608");
    if (digital)
        addNumber(fields, "caption_service_number", bits(flags, 5, 6));
    else
        addNumber(fields, "line21_field", bits(flags, 0, 1));
    const u16 more = reader.u16Field();
    addNumber(fields, "easy_reader", more >> 15);
    addNumber(fields, "wide_aspect_ratio", more >> 14 & 1);
}

void decodeCaptionService(ByteReader &reader, Fields &fields)
{
    addNumber(fields, "number_of_services", bits(reader.u8Field(), 4, 5));
    addLoop(fields, "services", reader, decodeCaption);
}

void decodeRatingDimension(ByteReader &reader, Fields &fields)
{
    addNumber(fields, "rating_dimension", reader.u8Field());
    addNumber(fields, "rating_value", bits(reader.u8Field(), 3, 4));
}

void decodeRatingRegion(ByteReader &reader, Fields &fields)
{
    addNumber(fields, "rating_region", reader.u8Field());
    const u8 dimensions = reader.u8Field();
    ByteReader ratings(reader.bytes(std::size_t{2} * dimensions));
    addLoop(fields, "ratings", ratings, decodeRatingDimension);
    addText(fields, "rating_description", decodeMultipleString(reader.counted()).utf8);
}

void decodeContentAdvisory(ByteReader &reader, Fields &fields)
{
    addNumber(fields, "rating_region_count", bits(reader.u8Field(), 5, 6));
    addLoop(fields, "regions", reader, decodeRatingRegion);
}

void decodeCueIdentifier(ByteReader &reader, Fields &fields)
{
    static constexpr NamedRange cueTypes[] = {{0, 0, "splice inserts only"},
                                              {1, 1, "all commands"},
                                              {2, 2, "segmentation"},
                                              {3, 3, "tiered splicing"},
                                              {4, 4, "tiered segmentation"}};
    const u8 type = reader.u8Field();
    addNumber(fields, "cue_stream_type", type, findName(cueTypes, type, "reserved"));
}

void decodeExtendedChannelName(ByteReader &reader, Fields &fields)
{
    addText(fields, "long_channel_name", decodeMultipleString(reader.rest()).utf8);
}

void decodeServiceLocationEntry(ByteReader &reader, Fields &fields)
{
    const u8 type = reader.u8Field();
    addHex(fields, "stream_type", type, 2, streamTypeName(type, 0));
    addHex(fields, "elementary_PID", reader.pid(), 4);
    const ByteView language = reader.bytes(3);
    const bool none = language.size() == 3 && language[0] == 0 && language[1] == 0 && language[2] == 0;
    addText(fields, "ISO_639_language_code", none ? "" : printableAscii(language));
}

void decodeServiceLocation(ByteReader &reader, Fields &fields)
{
    addHex(fields, "PCR_PID", reader.pid(), 4);
    addNumber(fields, "number_elements", reader.u8Field());
    addLoop(fields, "elements", reader, decodeServiceLocationEntry);
}

void decodeTimeShiftedServiceEntry(ByteReader &reader, Fields &fields)
{
    addNumber(fields, "time_shift", reader.u16Field() & 0x3FF, "minutes");
    const u32 channel = reader.u24Field();
    addNumber(fields, "major_channel_number", channel >> 10 & 0x3FF);
    addNumber(fields, "minor_channel_number", channel & 0x3FF);
}

void decodeTimeShiftedService(ByteReader &reader, Fields &fields)
{
    addNumber(fields, "number_of_services", bits(reader.u8Field(), 4, 5));
    addLoop(fields, "services", reader, decodeTimeShiftedServiceEntry);
}

void decodeComponentName(ByteReader &reader, Fields &fields)
{
    addText(fields, "component_name", decodeMultipleString(reader.rest()).utf8);
}

void decodeRedistributionControl(ByteReader &reader, Fields &fields)
{
    addBytes(fields, "rc_information", reader.rest());
}

constexpr TaggedDecoder atscDecoders[] = {
    {0x80, decodeStuffing},        {0x81, decodeAc3},
    {0x86, decodeCaptionService},  {0x87, decodeContentAdvisory},
    {0x8A, decodeCueIdentifier},   {0xA0, decodeExtendedChannelName},
    {0xA1, decodeServiceLocation}, {0xA2, decodeTimeShiftedService},
    {0xA3, decodeComponentName},   {0xAA, decodeRedistributionControl},
};

} // namespace

DescriptorDecoder findAtscDecoder(u8 tag)
{
    return findDecoder(atscDecoders, tag);
}

} // namespace psi::describe
