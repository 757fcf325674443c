#include "describe/descriptorFields.h"
#include "describe/text.h"

namespace psi::describe {

namespace {

// Layouts of EN 300 468 6.2 and Annex D, in the order of their tags.

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
    {0x00000005, 0x00000005, "ARD, ZDF, ORF"}, {0x00000028, 0x00000028, "EACEM"},   {0x00000029, 0x00000029, "NorDig"},
    {0x0000233A, 0x0000233A, "DTG"},           {0x46534154, 0x46534154, "Freesat"},
};

void decodeText(ByteReader &reader, Fields &fields)
{
    addDvbText(fields, "name", reader.rest());
}

void decodeServiceListEntry(ByteReader &reader, Fields &fields)
{
    addHex(fields, "service_id", reader.u16Field(), 4);
    const u8 type = reader.u8Field();
    addHex(fields, "service_type", type, 2, serviceTypeName(type));
}

void decodeServiceList(ByteReader &reader, Fields &fields)
{
    addLoop(fields, "services", reader, decodeServiceListEntry);
}

void decodeTeletextEntry(ByteReader &reader, Fields &fields)
{
    addLanguage(fields, reader);
    const u8 typeAndMagazine = reader.u8Field();
    const u32 magazine = bits(typeAndMagazine, 2, 3);
    const u32 type = bits(typeAndMagazine, 7, 5);
    addNumber(fields, "teletext_type", type, teletextTypeName(static_cast<u8>(type)));
    addText(fields, "page", std::to_string(magazine == 0 ? 8 : magazine) + toHex(reader.bytes(1)));
}

void decodeTeletext(ByteReader &reader, Fields &fields)
{
    addLoop(fields, "pages", reader, decodeTeletextEntry);
}

void decodeService(ByteReader &reader, Fields &fields)
{
    const u8 type = reader.u8Field();
    addHex(fields, "service_type", type, 2, serviceTypeName(type));
    addDvbText(fields, "service_provider_name", reader.counted());
    addDvbText(fields, "service_name", reader.counted());
}

void decodeCountry(ByteReader &reader, Fields &fields)
{
    addText(fields, "country_code", printableAscii(reader.bytes(3)));
}

void decodeCountryAvailability(ByteReader &reader, Fields &fields)
{
    addNumber(fields, "country_availability_flag", bits(reader.u8Field(), 7, 1));
    addLoop(fields, "countries", reader, decodeCountry);
}

void decodeServicePlace(ByteReader &reader, Fields &fields)
{
    addHex(fields, "transport_stream_id", reader.u16Field(), 4);
    addHex(fields, "original_network_id", reader.u16Field(), 4);
    addHex(fields, "service_id", reader.u16Field(), 4);
}

void decodeLinkage(ByteReader &reader, Fields &fields)
{
    decodeServicePlace(reader, fields);
    const u8 type = reader.u8Field();
    addHex(fields, "linkage_type", type, 2, findName(linkageTypes, type, "reserved"));
    addBytes(fields, "private_data", reader.rest());
}

void decodeComponent(ByteReader &reader, Fields &fields)
{
    const u8 content = reader.u8Field();
    const u8 low = static_cast<u8>(bits(content, 3, 4));
    const u8 ext = static_cast<u8>(bits(content, 7, 4));
    addHex(fields, "stream_content_ext", ext, 1);
    addHex(fields, "stream_content", low, 1, streamContentName(low, ext));
    addHex(fields, "component_type", reader.u8Field(), 2);
    addHex(fields, "component_tag", reader.u8Field(), 2);
    addLanguage(fields, reader);
    addDvbText(fields, "text", reader.rest());
}

void decodeStreamIdentifier(ByteReader &reader, Fields &fields)
{
    addHex(fields, "component_tag", reader.u8Field(), 2);
}

void decodeCaIdentifierEntry(ByteReader &reader, Fields &fields)
{
    const u16 caSystemId = reader.u16Field();
    addHex(fields, "CA_system_id", caSystemId, 4, caSystemName(caSystemId));
}

void decodeCaIdentifier(ByteReader &reader, Fields &fields)
{
    addLoop(fields, "CA_systems", reader, decodeCaIdentifierEntry);
}

void decodeLocalTimeOffsetEntry(ByteReader &reader, Fields &fields)
{
    decodeCountry(reader, fields);
    const u8 region = reader.u8Field();
    addNumber(fields, "country_region_id", bits(region, 7, 6));
    const char *sign = bits(region, 0, 1) ? "-" : "+";
    addText(fields, "local_time_offset", sign + decimal(reader.bytes(2), 4, 2, " h"));
    addBytes(fields, "time_of_change", reader.bytes(5));
    addText(fields, "next_time_offset", sign + decimal(reader.bytes(2), 4, 2, " h"));
}

void decodeLocalTimeOffset(ByteReader &reader, Fields &fields)
{
    addLoop(fields, "countries", reader, decodeLocalTimeOffsetEntry);
}

void decodeSubtitlingEntry(ByteReader &reader, Fields &fields)
{
    addLanguage(fields, reader);
    const u8 type = reader.u8Field();
    addHex(fields, "subtitling_type", type, 2, subtitlingTypeName(type));
    addNumber(fields, "composition_page_id", reader.u16Field());
    addNumber(fields, "ancillary_page_id", reader.u16Field());
}

void decodeSubtitling(ByteReader &reader, Fields &fields)
{
    addLoop(fields, "subtitles", reader, decodeSubtitlingEntry);
}

void decodeMultilingualName(ByteReader &reader, Fields &fields)
{
    addLanguage(fields, reader);
    addDvbText(fields, "name", reader.counted());
}

void decodeMultilingualNames(ByteReader &reader, Fields &fields)
{
    addLoop(fields, "names", reader, decodeMultilingualName);
}

void decodeMultilingualService(ByteReader &reader, Fields &fields)
{
    addLanguage(fields, reader);
    addDvbText(fields, "service_provider_name", reader.counted());
    addDvbText(fields, "service_name", reader.counted());
}

void decodeMultilingualServices(ByteReader &reader, Fields &fields)
{
    addLoop(fields, "names", reader, decodeMultilingualService);
}

void decodePrivateDataSpecifier(ByteReader &reader, Fields &fields)
{
    const u32 specifier = reader.u32Field();
    addHex(fields, "private_data_specifier", specifier, 8, findName(privateDataOwners, specifier, ""));
}

void addDataBroadcastId(Fields &fields, ByteReader &reader)
{
    const u16 id = reader.u16Field();
    addHex(fields, "data_broadcast_id", id, 4, findName(dataBroadcastIds, id, ""));
}

void decodeDataBroadcast(ByteReader &reader, Fields &fields)
{
    addDataBroadcastId(fields, reader);
    addHex(fields, "component_tag", reader.u8Field(), 2);
    addBytes(fields, "selector", reader.counted());
    addLanguage(fields, reader);
    addDvbText(fields, "text", reader.counted());
}

void decodeDataBroadcastId(ByteReader &reader, Fields &fields)
{
    addDataBroadcastId(fields, reader);
    addBytes(fields, "id_selector", reader.rest());
}

void decodeScrambling(ByteReader &reader, Fields &fields)
{
    addHex(fields, "scrambling_mode", reader.u8Field(), 2);
}

/** A flag of the AC-3 and enhanced AC-3 descriptors and the byte that it announces. EN 300 468 D.3, D.5. */
struct OptionalByte {
    u8 flag;
    const char *key;
};

template <std::size_t N> void addOptionalBytes(Fields &fields, ByteReader &reader, const OptionalByte (&bytes)[N])
{
    const u8 flags = reader.u8Field();
    for (const OptionalByte &byte : bytes)
        if (flags & byte.flag)
            addHex(fields, byte.key, reader.u8Field(), 2);
    addBytes(fields, "additional_info", reader.rest());
}

void decodeAc3(ByteReader &reader, Fields &fields)
{
    static constexpr OptionalByte bytes[] = {
        {0x80, "component_type"}, {0x40, "bsid"}, {0x20, "mainid"}, {0x10, "asvc"}};
    addOptionalBytes(fields, reader, bytes);
}

void decodeEnhancedAc3(ByteReader &reader, Fields &fields)
{
    static constexpr OptionalByte bytes[] = {{0x80, "component_type"}, {0x40, "bsid"},       {0x20, "mainid"},
                                             {0x10, "asvc"},           {0x04, "substream1"}, {0x02, "substream2"},
                                             {0x01, "substream3"}};
    addOptionalBytes(fields, reader, bytes);
}

void decodeAac(ByteReader &reader, Fields &fields)
{
    addHex(fields, "profile_and_level", reader.u8Field(), 2);
    if (!reader.more())
        return;
    if (bits(reader.u8Field(), 7, 1))
        addHex(fields, "AAC_type", reader.u8Field(), 2);
    addBytes(fields, "additional_info", reader.rest());
}

/** ETSI TS 102 809 5.3.5.1. */
void decodeApplicationSignallingEntry(ByteReader &reader, Fields &fields)
{
    addHex(fields, "application_type", reader.u16Field() & 0x7FFF, 4);
    addNumber(fields, "AIT_version_number", bits(reader.u8Field(), 4, 5));
}

void decodeApplicationSignalling(ByteReader &reader, Fields &fields)
{
    addLoop(fields, "applications", reader, decodeApplicationSignallingEntry);
}

void decodeDefaultAuthority(ByteReader &reader, Fields &fields)
{
    addText(fields, "default_authority", printableAscii(reader.rest()));
}

void decodeFtaContentManagement(ByteReader &reader, Fields &fields)
{
    const u8 flags = reader.u8Field();
    addNumber(fields, "user_defined", bits(flags, 7, 1));
    addNumber(fields, "do_not_scramble", bits(flags, 3, 1));
    addNumber(fields, "control_remote_access_over_internet", bits(flags, 2, 2));
    addNumber(fields, "do_not_apply_revocation", bits(flags, 0, 1));
}

/** Of the descriptors behind tag 0x7F the one that says what a stream is to listeners. EN 300 468 6.4.11. */
void decodeSupplementaryAudio(ByteReader &reader, Fields &fields)
{
    const u8 flags = reader.u8Field();
    addNumber(fields, "mix_type", bits(flags, 7, 1));
    addHex(fields, "editorial_classification", bits(flags, 6, 5), 2);
    if (bits(flags, 0, 1))
        addLanguage(fields, reader);
    addBytes(fields, "private_data", reader.rest());
}

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

void decodeVbiDataEntry(ByteReader &reader, Fields &fields)
{
    addNumber(fields, "data_service_id", reader.u8Field());
    addBytes(fields, "data_service", reader.counted());
}

void decodeVbiData(ByteReader &reader, Fields &fields)
{
    addLoop(fields, "services", reader, decodeVbiDataEntry);
}

void decodeNvodReference(ByteReader &reader, Fields &fields)
{
    addLoop(fields, "services", reader, decodeServicePlace);
}

void decodeTimeShiftedService(ByteReader &reader, Fields &fields)
{
    addHex(fields, "reference_service_id", reader.u16Field(), 4);
}

void decodeTimeShiftedEvent(ByteReader &reader, Fields &fields)
{
    addHex(fields, "reference_service_id", reader.u16Field(), 4);
    addHex(fields, "reference_event_id", reader.u16Field(), 4);
}

void decodeShortEvent(ByteReader &reader, Fields &fields)
{
    addLanguage(fields, reader);
    addDvbText(fields, "event_name", reader.counted());
    addDvbText(fields, "text", reader.counted());
}

void decodeContentEntry(ByteReader &reader, Fields &fields)
{
    const u8 nibbles = reader.u8Field();
    const u32 level1 = bits(nibbles, 7, 4);
    addHex(fields, "content_nibble_level_1", level1, 1, findName(contents, level1, "undefined"));
    addHex(fields, "content_nibble_level_2", bits(nibbles, 3, 4), 1);
    addHex(fields, "user_byte", reader.u8Field(), 2);
}

void decodeContent(ByteReader &reader, Fields &fields)
{
    addLoop(fields, "contents", reader, decodeContentEntry);
}

void decodeParentalRatingEntry(ByteReader &reader, Fields &fields)
{
    addText(fields, "country_code", printableAscii(reader.bytes(3)));
    const u8 rating = reader.u8Field();
    const std::string age = "from " + std::to_string(rating + 3) + " years";
    const bool isAge = rating >= 0x01 && rating <= 0x0F;
    addHex(fields, "rating", rating, 2, isAge ? age.c_str() : rating ? "defined by the broadcaster" : "undefined");
}

void decodeParentalRating(ByteReader &reader, Fields &fields)
{
    addLoop(fields, "ratings", reader, decodeParentalRatingEntry);
}

void decodeMultilingualComponentEntry(ByteReader &reader, Fields &fields)
{
    addLanguage(fields, reader);
    addDvbText(fields, "text", reader.counted());
}

void decodeMultilingualComponent(ByteReader &reader, Fields &fields)
{
    addHex(fields, "component_tag", reader.u8Field(), 2);
    addLoop(fields, "descriptions", reader, decodeMultilingualComponentEntry);
}

void decodeServiceMove(ByteReader &reader, Fields &fields)
{
    addHex(fields, "new_original_network_id", reader.u16Field(), 4);
    addHex(fields, "new_transport_stream_id", reader.u16Field(), 4);
    addHex(fields, "new_service_id", reader.u16Field(), 4);
}

void decodeAncillaryData(ByteReader &reader, Fields &fields)
{
    addHex(fields, "ancillary_data_identifier", reader.u8Field(), 2);
}

void decodeServiceIdentifier(ByteReader &reader, Fields &fields)
{
    addText(fields, "text", printableAscii(reader.rest()));
}

void decodeCell(ByteReader &reader, Fields &fields)
{
    addHex(fields, "cell_id", reader.u16Field(), 4);
}

void decodeServiceAvailability(ByteReader &reader, Fields &fields)
{
    addNumber(fields, "availability_flag", bits(reader.u8Field(), 7, 1));
    addLoop(fields, "cells", reader, decodeCell);
}

void decodeEcmRepetitionRate(ByteReader &reader, Fields &fields)
{
    decodeCaIdentifierEntry(reader, fields);
    addNumber(fields, "ECM_repetition_rate", reader.u16Field(), "ms");
    addBytes(fields, "private_data", reader.rest());
}

/** EN 300 468 G.2.1. */
void decodeDts(ByteReader &reader, Fields &fields)
{
    const u32 high = reader.u32Field();
    const u8 low = reader.u8Field();
    addNumber(fields, "sample_rate_code", high >> 28);
    addNumber(fields, "bit_rate_code", high >> 22 & 0x3F);
    addNumber(fields, "nblks", high >> 15 & 0x7F);
    addNumber(fields, "fsize", high >> 1 & 0x3FFF);
    addNumber(fields, "surround_mode", (high & 1) << 5 | bits(low, 7, 5));
    addNumber(fields, "lfe_flag", bits(low, 2, 1));
    addNumber(fields, "extended_surround_flag", bits(low, 1, 2));
    addBytes(fields, "additional_info", reader.rest());
}

void decodeMessage(ByteReader &reader, Fields &fields)
{
    addNumber(fields, "message_id", reader.u8Field());
    addLanguage(fields, reader);
    addDvbText(fields, "text", reader.rest());
}

void decodeServiceRelocated(ByteReader &reader, Fields &fields)
{
    addHex(fields, "old_original_network_id", reader.u16Field(), 4);
    addHex(fields, "old_transport_stream_id", reader.u16Field(), 4);
    addHex(fields, "old_service_id", reader.u16Field(), 4);
}

void decodeSelector(ByteReader &reader, Fields &fields)
{
    addBytes(fields, "selector", reader.rest());
}

/** The descriptor's name tells what its descriptor_tag_extension means. */
void decodeExtension(ByteReader &reader, Fields &fields)
{
    static constexpr TaggedDecoder extensions[] = {{0x04, decodeT2Delivery},
                                                   {0x06, decodeSupplementaryAudio},
                                                   {0x08, decodeMessage},
                                                   {0x0B, decodeServiceRelocated}};
    const u8 tag = reader.u8Field();
    addHex(fields, "descriptor_tag_extension", tag, 2);
    const DescriptorDecoder decode = findDecoder(extensions, tag);
    (decode ? decode : decodeSelector)(reader, fields);
}

constexpr TaggedDecoder dvbDecoders[] = {
    {0x40, decodeText},
    {0x41, decodeServiceList},
    {0x42, decodeStuffing},
    {0x45, decodeVbiData},
    {0x46, decodeTeletext},
    {0x47, decodeText},
    {0x48, decodeService},
    {0x49, decodeCountryAvailability},
    {0x4A, decodeLinkage},
    {0x4B, decodeNvodReference},
    {0x4C, decodeTimeShiftedService},
    {0x4D, decodeShortEvent},
    {0x4F, decodeTimeShiftedEvent},
    {0x50, decodeComponent},
    {0x52, decodeStreamIdentifier},
    {0x53, decodeCaIdentifier},
    {0x54, decodeContent},
    {0x55, decodeParentalRating},
    {0x56, decodeTeletext},
    {0x58, decodeLocalTimeOffset},
    {0x59, decodeSubtitling},
    {0x5B, decodeMultilingualNames},
    {0x5C, decodeMultilingualNames},
    {0x5D, decodeMultilingualServices},
    {0x5E, decodeMultilingualComponent},
    {0x5F, decodePrivateDataSpecifier},
    {0x60, decodeServiceMove},
    {0x64, decodeDataBroadcast},
    {0x65, decodeScrambling},
    {0x66, decodeDataBroadcastId},
    {0x6A, decodeAc3},
    {0x6B, decodeAncillaryData},
    {0x6F, decodeApplicationSignalling},
    {0x71, decodeServiceIdentifier},
    {0x72, decodeServiceAvailability},
    {0x73, decodeDefaultAuthority},
    {0x78, decodeEcmRepetitionRate},
    {0x7A, decodeEnhancedAc3},
    {0x7B, decodeDts},
    {0x7C, decodeAac},
    {0x7E, decodeFtaContentManagement},
    {0x7F, decodeExtension},
};

} // namespace

DescriptorDecoder findDvbDecoder(u8 tag)
{
    const DescriptorDecoder delivery = findDeliveryDecoder(tag);
    return delivery ? delivery : findDecoder(dvbDecoders, tag);
}

} // namespace psi::describe
