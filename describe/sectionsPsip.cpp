#include "describe/sectionReader.h"
#include "describe/times.h"

namespace psi::describe {

namespace {

constexpr DescriptorContext atscContext{Standard::atsc, 0, 0};

/* ---- MGT, A/65 6.2 --------------------------------------------------------------------------------------------------
 */

/** The tables that come in a numbered row: "EIT-3". A/65 Table 6.3. */
struct TableRow {
    u16 first;
    u16 last;
    const char *name;
};

constexpr TableRow tableRows[] = {{0x0100, 0x017F, "EIT-"}, {0x0200, 0x027F, "event ETT-"}, {0x0301, 0x03FF, "RRT-"}};

constexpr NamedRange singleTables[] = {
    {0x0000, 0x0000, "terrestrial VCT, current"},
    {0x0001, 0x0001, "terrestrial VCT, next"},
    {0x0002, 0x0002, "cable VCT, current"},
    {0x0003, 0x0003, "cable VCT, next"},
    {0x0004, 0x0004, "channel ETT"},
    {0x0005, 0x0005, "DCCSCT"},
    {0x0400, 0x0FFF, "user private"},
    {0x1400, 0x14FF, "DCCT"},
};

std::string tableTypeName(u16 type)
{
    for (const TableRow &row : tableRows)
        if (type >= row.first && type <= row.last) {
            const bool ratings = row.first == 0x0301; // counted by rating_region, which begins at 1
            return row.name + std::to_string(type - row.first + (ratings ? 1 : 0));
        }
    return findName(singleTables, type, "reserved");
}

void describeMgtTable(Fields &fields, const mgtTableInfo &table)
{
    addHex(fields, "table_type", table.table_type, 4, tableTypeName(table.table_type).c_str());
    addHex(fields, "table_type_PID", table.table_type_PID, 4);
    addNumber(fields, "table_type_version_number", table.table_type_version_number);
    addNumber(fields, "number_bytes", table.number_bytes);
    addNumber(fields, "table_type_descriptors_length", table.table_type_descriptors_length);
    addDescriptorLoop(fields, readDescriptors(table.table_desc_info, atscContext));
}

void describeMgt(const mgtSection &mgt, ByteView section, Standard, DescribedSection &tree)
{
    Fields &fields = tree.fields;
    addHeader(fields, mgt, "table_id_extension", idExtensionOf(section));
    addNumber(fields, "private_indicator", mgt.private_indicator);
    addNumber(fields, "protocol_version", mgt.protocol_version);
    addNumber(fields, "tables_defined", mgt.tables_defined);
    addNodes(fields, "tables", mgt.table_info, describeMgtTable);
    addNumber(fields, "descriptors_length", mgt.descriptors_length);
    addDescriptorLoop(fields, readDescriptors(mgt.mgt_desc_info, atscContext));
}

/* ---- VCT and STT: the library makes no trees of them ----------------------------------------------------------------
 */

/** A length field with six reserved bits, and the descriptors behind it. */
void takeDescriptors(ByteReader &reader, Fields &fields, const char *lengthKey)
{
    const u16 length = reader.u16Field() & 0x3FF;
    addNumber(fields, lengthKey, length);
    addDescriptorLoop(fields, readDescriptors(reader.bytes(length), atscContext));
}

constexpr NamedRange etmLocations[] = {
    {0, 0, "no ETM"}, {1, 1, "ETM in this stream"}, {2, 2, "ETM in the stream of channel_TSID"}, {3, 3, "reserved"}};

/** The sixteen flags and service_type. A/65 6.3.1 and, with two flags more, 6.3.2. */
void takeChannelFlags(ByteReader &reader, Fields &fields, bool cable)
{
    const u16 word = reader.u16Field();
    const u32 etm = word >> 14;
    const u8 serviceType = word & 0x3F;
    addNumber(fields, "ETM_location", etm, findName(etmLocations, etm, ""));
    addNumber(fields, "access_controlled", word >> 13 & 1);
    addNumber(fields, "hidden", word >> 12 & 1);
    if (cable) {
        addNumber(fields, "path_select", word >> 11 & 1);
        addNumber(fields, "out_of_band", word >> 10 & 1);
    }
    addNumber(fields, "hide_guide", word >> 9 & 1);
    addHex(fields, "service_type", serviceType, 2, channelServiceTypeName(serviceType));
}

void takeChannel(ByteReader &reader, Fields &fields, bool cable)
{
    addText(fields, "short_name", decodeUtf16(reader.bytes(14)).utf8);
    const u32 numbers = reader.u24Field();
    addNumber(fields, "major_channel_number", numbers >> 10 & 0x3FF);
    addNumber(fields, "minor_channel_number", numbers & 0x3FF);
    const u8 modulation = reader.u8Field();
    addHex(fields, "modulation_mode", modulation, 2, modulationModeName(modulation));
    const u32 carrier = reader.u32Field();
    addNumber(fields, "carrier_frequency", carrier, carrier ? "Hz" : "");
    addHex(fields, "channel_TSID", reader.u16Field(), 4);
    addHex(fields, "program_number", reader.u16Field(), 4);
    takeChannelFlags(reader, fields, cable);
    addHex(fields, "source_id", reader.u16Field(), 4);
    takeDescriptors(reader, fields, "descriptors_length");
}

/** All of a section between its header and CRC_32 was read, and no more. */
bool readToTheEnd(const ByteReader &reader)
{
    constexpr std::size_t crcBytes = 4;
    return reader.ok() && reader.remaining() == crcBytes;
}

template <bool cable> bool readVct(ByteView section, Standard, DescribedSection &tree)
{
    ByteReader reader(section);
    Fields &fields = tree.fields;
    const LongHeader header = takeHeader(reader);
    addHeader(fields, header, "transport_stream_id", header.id);
    addNumber(fields, "protocol_version", reader.u8Field());
    const u8 channels = reader.u8Field();
    addNumber(fields, "num_channels_in_section", channels);
    Field loop{"channels", Field::Kind::list, 0, 0, "", {}};
    for (u8 i = 0; i < channels && reader.ok(); ++i) {
        loop.items.emplace_back();
        takeChannel(reader, loop.items.back(), cable);
    }
    fields.push_back(std::move(loop));
    takeDescriptors(reader, fields, "additional_descriptors_length");
    return readToTheEnd(reader);
}

/** A/65 6.1 and, for daylight_savings, Annex A. */
bool readStt(ByteView section, Standard, DescribedSection &tree)
{
    ByteReader reader(section);
    Fields &fields = tree.fields;
    const LongHeader header = takeHeader(reader);
    addHeader(fields, header, "table_id_extension", header.id);
    addNumber(fields, "protocol_version", reader.u8Field());
    const u32 systemTime = reader.u32Field();
    const u8 offset = reader.u8Field();
    addNumber(fields, "system_time", systemTime, gpsTimeText(systemTime, offset).c_str());
    addNumber(fields, "GPS_UTC_offset", offset);
    const u16 daylight = reader.u16Field();
    addNumber(fields, "DS_status", daylight >> 15, daylight >> 15 ? "daylight saving time" : "");
    addNumber(fields, "DS_day_of_month", daylight >> 8 & 0x1F);
    addNumber(fields, "DS_hour", daylight & 0xFF);
    constexpr std::size_t crcBytes = 4;
    if (reader.remaining() < crcBytes)
        return false;
    addDescriptorLoop(fields, readDescriptors(reader.bytes(reader.remaining() - crcBytes), atscContext));
    return readToTheEnd(reader);
}

} // namespace

TableReader findPsipReader(u8 tableId)
{
    switch (tableId) {
    case 0xC7:
        return readParsed<mgtSection, describeMgt>;
    case 0xC8:
        return readVct<false>;
    case 0xC9:
        return readVct<true>;
    case 0xCD:
        return readStt;
    default:
        return nullptr;
    }
}

} // namespace psi::describe
