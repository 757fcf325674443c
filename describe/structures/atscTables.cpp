#include "describe/structures/tables.h"

#include "describe/times.h"

namespace psi::describe {

namespace {

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

std::string sayTableType(const Field &number, const Fields &, const DescriptorContext &)
{
    return guideTableTypeName(static_cast<u16>(number.number));
}

std::string saySystemTime(const Field &number, const Fields &record, const DescriptorContext &)
{
    return gpsTimeText(static_cast<u32>(number.number), static_cast<u8>(numberOf(record, "GPS_UTC_offset", 0))) +
           " UTC";
}

constexpr NamedRange hertz[] = {{1, 0xFFFFFFFF, "Hz"}};

constexpr NamedRange daylightSaving[] = {{1, 1, "daylight saving time"}};

/** A length of 10 bits and its descriptors. */
constexpr auto shortLoop(const char *lengthKey)
{
    return fields(reserved(6), sized(10, lengthKey, descriptors()));
}

constexpr auto header(const char *idKey)
{
    return fields(sectionHeader(reserved(1), idKey), usually(0, number(8, "protocol_version")));
}

// A/65 6.2
constexpr auto mgt =
    fields(sectionHeader(usually(1, flag("private_indicator")), "table_id_extension"),
           usually(0, number(8, "protocol_version")),
           list(16, "tables_defined", "tables", hex(16, "table_type", singleTables, sayTableType), reserved(3),
                pid("table_type_PID"), reserved(3), number(5, "table_type_version_number"), number(32, "number_bytes"),
                descriptorLoop("table_type_descriptors_length")),
           descriptorLoop("descriptors_length"));

/** What stands in a channel between `hidden` and `hide_guide`: 6.3.1 and 6.3.2. */
template <std::size_t N> constexpr auto vct(const Row<N> &pathBits)
{
    return fields(header("transport_stream_id"),
                  list(8, "num_channels_in_section", "channels", fixed(112, "short_name", utf16Text), reserved(4),
                       number(10, "major_channel_number"), number(10, "minor_channel_number"),
                       hex(8, "modulation_mode", modulationModes), number(32, "carrier_frequency", {hertz, ""}),
                       hex(16, "channel_TSID"), hex(16, "program_number"), number(2, "ETM_location", etmLocations),
                       flag("access_controlled"), flag("hidden"), pathBits, flag("hide_guide"), reserved(3),
                       hex(6, "service_type", channelServiceTypes), hex(16, "source_id"),
                       shortLoop("descriptors_length")),
                  shortLoop("additional_descriptors_length"));
}

constexpr auto terrestrialVct = vct(reserved(2));
constexpr auto cableVct = vct(fields(flag("path_select"), flag("out_of_band")));

// A/65 6.1 and, for daylight saving, Annex A
constexpr auto stt = fields(header("table_id_extension"), number(32, "system_time", {}, saySystemTime),
                            number(8, "GPS_UTC_offset"), flag("DS_status", {daylightSaving, ""}), reserved(2),
                            number(5, "DS_day_of_month"), number(8, "DS_hour"), descriptors());

} // namespace

const Layout mgtLayout = mgt;
const Layout terrestrialVctLayout = terrestrialVct;
const Layout cableVctLayout = cableVct;
const Layout sttLayout = stt;

std::string guideTableTypeName(u16 tableType)
{
    for (const TableRow &row : tableRows)
        if (tableType >= row.first && tableType <= row.last) {
            const bool ratings = row.first == 0x0301; // counted by rating_region, which begins at 1
            return row.name + std::to_string(tableType - row.first + (ratings ? 1 : 0));
        }
    return Meanings(singleTables).of(tableType);
}

} // namespace psi::describe
