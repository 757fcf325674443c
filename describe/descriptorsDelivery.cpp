#include "describe/descriptorFields.h"

#include <cstdio>

namespace psi::describe {

namespace {

// Delivery systems, EN 300 468 6.2.13, 6.2.17 and 6.4.6.

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

void addTerrestrialFrequency(Fields &fields, ByteReader &reader, const char *key)
{
    const u32 tensOfHertz = reader.u32Field();
    char frequency[24];
    std::snprintf(frequency, sizeof frequency, "%u.%05u MHz", tensOfHertz / 100000, tensOfHertz % 100000);
    addText(fields, key, frequency);
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

void decodeTerrestrialDelivery(ByteReader &reader, Fields &fields)
{
    addTerrestrialFrequency(fields, reader, "centre_frequency");
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

void decodeS2Delivery(ByteReader &reader, Fields &fields)
{
    static constexpr NamedRange modes[] = {
        {0, 0, "generic packetized"}, {1, 1, "GSE"}, {2, 2, "GSE high efficiency"}, {3, 3, "transport stream"}};
    const u8 flags = reader.u8Field();
    addNumber(fields, "TS_GS_mode", bits(flags, 1, 2), findName(modes, bits(flags, 1, 2), ""));
    if (bits(flags, 7, 1))
        addNumber(fields, "scrambling_sequence_index", reader.u24Field() & 0x3FFFF);
    if (bits(flags, 6, 1))
        addNumber(fields, "input_stream_identifier", reader.u8Field());
    if (!bits(flags, 4, 1))
        addNumber(fields, "timeslice_number", reader.u8Field());
}

void decodeSatelliteFrequency(ByteReader &reader, Fields &fields)
{
    addText(fields, "frequency", decimal(reader.bytes(4), 8, 3, " GHz"));
}

void decodeCableFrequency(ByteReader &reader, Fields &fields)
{
    addText(fields, "frequency", decimal(reader.bytes(4), 8, 4, " MHz"));
}

void decodeTerrestrialFrequency(ByteReader &reader, Fields &fields)
{
    addTerrestrialFrequency(fields, reader, "frequency");
}

void decodeFrequencyList(ByteReader &reader, Fields &fields)
{
    static constexpr NamedRange codings[] = {
        {0, 0, "not defined"}, {1, 1, "satellite"}, {2, 2, "cable"}, {3, 3, "terrestrial"}};
    static constexpr DescriptorDecoder decoders[] = {nullptr, decodeSatelliteFrequency, decodeCableFrequency,
                                                     decodeTerrestrialFrequency};
    const u32 coding = bits(reader.u8Field(), 1, 2);
    addNumber(fields, "coding_type", coding, findName(codings, coding, ""));
    if (decoders[coding])
        addLoop(fields, "frequencies", reader, decoders[coding]);
    else
        addBytes(fields, "frequencies", reader.rest());
}

/* ---- DVB-T2, EN 300 468 6.4.6.3 -------------------------------------------------------------------------------------
 */

constexpr NamedRange t2Bandwidths[] = {{0, 0, "8 MHz"}, {1, 1, "7 MHz"},  {2, 2, "6 MHz"},
                                       {3, 3, "5 MHz"}, {4, 4, "10 MHz"}, {5, 5, "1.712 MHz"}};

constexpr NamedRange t2GuardIntervals[] = {{0, 0, "1/32"},  {1, 1, "1/16"},   {2, 2, "1/8"},   {3, 3, "1/4"},
                                           {4, 4, "1/128"}, {5, 5, "19/128"}, {6, 6, "19/256"}};

constexpr NamedRange t2Modes[] = {{0, 0, "2k"}, {1, 1, "8k"}, {2, 2, "4k"}, {3, 3, "1k"}, {4, 4, "16k"}, {5, 5, "32k"}};

constexpr NamedRange t2Antennas[] = {{0, 0, "SISO"}, {1, 1, "MISO"}};

void decodeTransposer(ByteReader &reader, Fields &fields)
{
    addNumber(fields, "cell_id_extension", reader.u8Field());
    addTerrestrialFrequency(fields, reader, "transposer_frequency");
}

template <bool timeFrequencySlicing> void decodeT2Cell(ByteReader &reader, Fields &fields)
{
    addHex(fields, "cell_id", reader.u16Field(), 4);
    if (timeFrequencySlicing) {
        ByteReader frequencies(reader.counted());
        addLoop(fields, "frequencies", frequencies, decodeTerrestrialFrequency);
    } else {
        addTerrestrialFrequency(fields, reader, "centre_frequency");
    }
    ByteReader transposers(reader.counted());
    addLoop(fields, "transposers", transposers, decodeTransposer);
}

} // namespace

void decodeT2Delivery(ByteReader &reader, Fields &fields)
{
    addNumber(fields, "plp_id", reader.u8Field());
    addHex(fields, "T2_system_id", reader.u16Field(), 4);
    if (!reader.more())
        return; // the other descriptors of the system say the rest
    const u8 first = reader.u8Field();
    const u8 second = reader.u8Field();
    const bool slicing = bits(second, 0, 1) != 0;
    addNumber(fields, "SISO_MISO", bits(first, 7, 2), findName(t2Antennas, bits(first, 7, 2), "reserved"));
    addNumber(fields, "bandwidth", bits(first, 5, 4), findName(t2Bandwidths, bits(first, 5, 4), "reserved"));
    addNumber(fields, "guard_interval", bits(second, 7, 3), findName(t2GuardIntervals, bits(second, 7, 3), "reserved"));
    addNumber(fields, "transmission_mode", bits(second, 4, 3), findName(t2Modes, bits(second, 4, 3), "reserved"));
    addNumber(fields, "other_frequency_flag", bits(second, 1, 1));
    addNumber(fields, "tfs_flag", slicing);
    addLoop(fields, "cells", reader, slicing ? decodeT2Cell<true> : decodeT2Cell<false>);
}

DescriptorDecoder findDeliveryDecoder(u8 tag)
{
    static constexpr TaggedDecoder decoders[] = {{0x43, decodeSatelliteDelivery},
                                                 {0x44, decodeCableDelivery},
                                                 {0x5A, decodeTerrestrialDelivery},
                                                 {0x62, decodeFrequencyList},
                                                 {0x79, decodeS2Delivery}};
    return findDecoder(decoders, tag);
}

} // namespace psi::describe
