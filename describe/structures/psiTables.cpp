#include "describe/structures/tables.h"

#include "describe/descriptors.h"
#include "describe/tableKinds.h"

namespace psi::describe {

std::string sayTable(const Field &number, const Fields &, const DescriptorContext &)
{
    return tableDescription(static_cast<u8>(number.number));
}

/** What a private stream is, its descriptors tell. */
std::string sayStream(const Field &number, const Fields &record, const DescriptorContext &context)
{
    static const std::vector<ReadDescriptor> none;
    const Field *descriptors = findField(record, "descriptors");
    return streamKind(static_cast<u8>(number.number), descriptors ? descriptors->descriptors : none, context);
}

namespace {

constexpr NamedRange noPcr[] = {{0x1FFF, 0x1FFF, "no PCR"}};

// ISO/IEC 13818-1 2.4.4.3
constexpr auto pat =
    fields(sectionHeader(zero(1), "transport_stream_id"),
           list("programs", hex(16, "program_number"), reserved(3), when("program_number", 0, pid("network_PID")),
                whenNot("program_number", 0, pid("program_map_PID"))));

// 2.4.4.6
constexpr auto cat = fields(sectionStart(zero(1)), reserved(16), sectionVersion(), descriptors());

// 2.4.4.8
constexpr auto pmt =
    fields(sectionHeader(zero(1), "program_number"), reserved(3), hex(13, "PCR_PID", {noPcr, ""}), reserved(4),
           sized(12, "program_info_length", programDescriptors()), list("streams", elementaryStream()));

/** Shown also when there is none of it: it tells a writer that nothing more is known. */
constexpr auto bodyRun = shown(bytes("body"));

// 2.4.4.11, of any table
constexpr auto anyLong = fields(sectionHeader(reserved(1), "table_id_extension"), bodyRun);

constexpr auto anyShort = fields(sectionStart(reserved(1), 0), bodyRun);

constexpr auto onlyBody = fields(bodyRun);

constexpr auto crc = fields(hex(32, "CRC_32"));

} // namespace

const Layout patLayout = pat;
const Layout catLayout = cat;
const Layout pmtLayout = pmt;
const Layout anyLongLayout = anyLong;
const Layout anyShortLayout = anyShort;
const Layout bodyLayout = onlyBody;
const Layout crcLayout = crc;

} // namespace psi::describe
