#include "descriptorFields.h"
#include "text.h"

#include <cstdio>

namespace psitool {

namespace {

// Layouts of EN 300 468 6.2 and Annex D, in the order of their tags.

constexpr NamedRange outerCodes[] = {{0, 0, "not defined"}, {1, 1, "none"}, {2, 2, "RS(204/188)"}};

constexpr NamedRange innerCodes[] = {
    {0, 0, "not defined"}, {1, 1, "1/2"}, {2, 2, "2/3"}, {3, 3, "3/4"},  {4, 4, "5/6"},    {5, 5, "7/8"},
    {6, 6, "8/9"},         {7, 7, "3/5"}, {8, 8, "4/5"}, {9, 9, "9/10"}, {15, 15, "none"},
};

constexpr NamedRange polarizations[] = {
    {0, 0, "horizontal"}, {1, 1, "vertical"}, {2, 2, "left circular"}, {3, 3, "right circular"}};

constexpr NamedRange satelliteModulations[] = {{0, 0, "auto"}, {1, 1, "QPSK"}, {2, 2, "8PSK"}, {3, 3, "16-QAM"}};

constexpr NamedRange rollOffs[] = {{0, 0, "0.35"}, {1, 1, "0.25"}, {2, 2, "0.20"}};

constexpr NamedRange cableModulations[] = {{1, 1, "16-QAM"},  {2, 2, "32-QAM"},  {3, 3, "64-QAM"},
                                           {4, 4, "128-QAM"}, {5, 5, "256-QAM"}, {0, 0, "not defined"}};

constexpr NamedRange bandwidths[] = {{0, 0, "8 MHz"}, {1, 1, "7 MHz"}, {2, 2, "6 MHz"}, {3, 3, "5 MHz"}};

constexpr NamedRange constellations[] = {{0, 0, "QPSK"}, {1, 1, "16-QAM"}, {2, 2, "64-QAM"}};

constexpr NamedRange terrestrialCodeRates[] = {
    {0, 0, "1/2"}, {1, 1, "2/3"}, {2, 2, "3/4"}, {3, 3, "5/6"}, {4, 4, "7/8"}};

constexpr NamedRange guardIntervals[] = {{0, 0, "1/32"}, {1, 1, "1/16"}, {2, 2, "1/8"}, {3, 3, "1/4"}};

constexpr NamedRange transmissionModes[] = {{0, 0, "2k"}, {1, 1, "8k"}, {2, 2, "4k"}};

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

/** Binary coded decimals with a point after `whole` digits: "11.75725 GHz". */
std::string decimal(ByteView coded, std::size_t digits, std::size_t whole, const char *unit)
{
    const std::string text = toHex(coded).substr(0, digits);
    if (text.size() < digits)
        return "";
    const std::size_t firstDigit = std::min(text.find_first_not_of('0'), whole - 1);
    return text.substr(firstDigit, whole - firstDigit) + "." + text.substr(whole) + unit;
}

void addCodeRate(Fields &fields, const char *key, u32 code)
{
    addNumber(fields, key, code, findName(innerCodes, code, "reserved"));
}

/** The last four bytes of the satellite and cable layouts: symbol_rate and FEC_inner. */
void addSymbolRate(Fields &fields, ByteReader &reader)
{
    const ByteView coded = reader.bytes(4);
    addText(fields, "symbol_rate", decimal(coded, 7, 3, " Msymbol/s"));
    addCodeRate(fields, "FEC_inner", coded.empty() ? 0 : bits(coded[3], 3, 4));
}

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

void decodeSatelliteDelivery(ByteReader &reader, Fields &fields)
{
    addText(fields, "frequency", decimal(reader.bytes(4), 8, 3, " GHz"));
    const std::string position = decimal(reader.bytes(2), 4, 3, "");
    const u8 flags = reader.u8Field();
    addText(fields, "orbital_position", position + (bits(flags, 7, 1) ? " E" : " W"));
    const bool s2 = bits(flags, 2, 1) != 0;
    addNumber(fields, "polarization", bits(flags, 6, 2), findName(polarizations, bits(flags, 6, 2), ""));
    if (s2)
        addNumber(fields, "roll_off", bits(flags, 4, 2), findName(rollOffs, bits(flags, 4, 2), "reserved"));
    addNumber(fields, "modulation_system", s2, s2 ? "DVB-S2" : "DVB-S");
    addNumber(fields, "modulation_type", bits(flags, 1, 2), findName(satelliteModulations, bits(flags, 1, 2), ""));
    addSymbolRate(fields, reader);
}

void decodeCableDelivery(ByteReader &reader, Fields &fields)
{
    addText(fields, "frequency", decimal(reader.bytes(4), 8, 4, " MHz"));
    const u16 outer = reader.u16Field() & 0xF;
    addNumber(fields, "FEC_outer", outer, findName(outerCodes, outer, "reserved"));
    const u8 modulation = reader.u8Field();
    addNumber(fields, "modulation", modulation, findName(cableModulations, modulation, "reserved"));
    addSymbolRate(fields, reader);
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

void decodeLinkage(ByteReader &reader, Fields &fields)
{
    addHex(fields, "transport_stream_id", reader.u16Field(), 4);
    addHex(fields, "original_network_id", reader.u16Field(), 4);
    addHex(fields, "service_id", reader.u16Field(), 4);
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

void decodeTerrestrialDelivery(ByteReader &reader, Fields &fields)
{
    const u32 tensOfHertz = reader.u32Field();
    char frequency[24];
    std::snprintf(frequency, sizeof frequency, "%u.%05u MHz", tensOfHertz / 100000, tensOfHertz % 100000);
    addText(fields, "centre_frequency", frequency);
    const u8 first = reader.u8Field();
    addNumber(fields, "bandwidth", bits(first, 7, 3), findName(bandwidths, bits(first, 7, 3), "reserved"));
    addNumber(fields, "priority", bits(first, 4, 1), bits(first, 4, 1) ? "high" : "low");
    addNumber(fields, "Time_Slicing_indicator", bits(first, 3, 1));
    addNumber(fields, "MPE-FEC_indicator", bits(first, 2, 1));
    const u8 second = reader.u8Field();
    addNumber(fields, "constellation", bits(second, 7, 2), findName(constellations, bits(second, 7, 2), "reserved"));
    addNumber(fields, "hierarchy_information", bits(second, 5, 3));
    addNumber(fields, "code_rate-HP_stream", bits(second, 2, 3),
              findName(terrestrialCodeRates, bits(second, 2, 3), "reserved"));
    const u8 third = reader.u8Field();
    addNumber(fields, "code_rate-LP_stream", bits(third, 7, 3),
              findName(terrestrialCodeRates, bits(third, 7, 3), "reserved"));
    addNumber(fields, "guard_interval", bits(third, 4, 2), findName(guardIntervals, bits(third, 4, 2), ""));
    addNumber(fields, "transmission_mode", bits(third, 2, 2),
              findName(transmissionModes, bits(third, 2, 2), "reserved"));
    addNumber(fields, "other_frequency_flag", bits(third, 0, 1));
    reader.u32Field(); // reserved_future_use
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

void decodeExtension(ByteReader &reader, Fields &fields)
{
    const u8 tag = reader.u8Field();
    addHex(fields, "descriptor_tag_extension", tag, 2, dvbExtensionDescriptorName(tag));
    if (tag == 0x06)
        decodeSupplementaryAudio(reader, fields);
    else
        addBytes(fields, "selector", reader.rest());
}

constexpr TaggedDecoder dvbDecoders[] = {
    {0x40, decodeText},
    {0x41, decodeServiceList},
    {0x42, decodeStuffing},
    {0x43, decodeSatelliteDelivery},
    {0x44, decodeCableDelivery},
    {0x46, decodeTeletext},
    {0x47, decodeText},
    {0x48, decodeService},
    {0x49, decodeCountryAvailability},
    {0x4A, decodeLinkage},
    {0x50, decodeComponent},
    {0x52, decodeStreamIdentifier},
    {0x53, decodeCaIdentifier},
    {0x56, decodeTeletext},
    {0x58, decodeLocalTimeOffset},
    {0x59, decodeSubtitling},
    {0x5A, decodeTerrestrialDelivery},
    {0x5B, decodeMultilingualNames},
    {0x5C, decodeMultilingualNames},
    {0x5D, decodeMultilingualServices},
    {0x5F, decodePrivateDataSpecifier},
    {0x64, decodeDataBroadcast},
    {0x65, decodeScrambling},
    {0x66, decodeDataBroadcastId},
    {0x6A, decodeAc3},
    {0x6F, decodeApplicationSignalling},
    {0x73, decodeDefaultAuthority},
    {0x7A, decodeEnhancedAc3},
    {0x7C, decodeAac},
    {0x7E, decodeFtaContentManagement},
    {0x7F, decodeExtension},
};

} // namespace

DescriptorDecoder findDvbDecoder(u8 tag)
{
    return findDecoder(dvbDecoders, tag);
}

} // namespace psitool
