#include "describe/sectionReader.h"

namespace psi::describe {

void addStart(Fields &fields, u8 tableId, u8 syntaxIndicator, u16 sectionLength)
{
    addHex(fields, "table_id", tableId, 2, tableDescription(tableId));
    addNumber(fields, "section_syntax_indicator", syntaxIndicator);
    addNumber(fields, "section_length", sectionLength);
}

LongHeader takeHeader(ByteReader &reader)
{
    LongHeader header{};
    header.table_id = reader.u8Field();
    const u16 word = reader.u16Field();
    header.section_syntax_indicator = static_cast<u8>(word >> 15);
    header.section_length = word & 0xFFF;
    header.id = reader.u16Field();
    const u8 version = reader.u8Field();
    header.version_number = static_cast<u8>(bits(version, 5, 5));
    header.current_next_indicator = version & 1;
    header.section_number = reader.u8Field();
    header.last_section_number = reader.u8Field();
    return header;
}

void addDescriptorLoop(Fields &fields, std::vector<ReadDescriptor> descriptors)
{
    fields.push_back({"descriptors", Field::Kind::descriptors, 0, 0, "", {}, std::move(descriptors)});
}

namespace {

/* ---- ISO/IEC 13818-1 2.4.4 ------------------------------------------------------------------------------------------
 */

void describePat(const patSection &pat, ByteView, Standard, DescribedSection &tree)
{
    addHeader(tree.fields, pat, "transport_stream_id", pat.transport_stream_id);
    addNodes(tree.fields, "programs", pat.prog_info, [](Fields &fields, const psiPatProg &program) {
        addHex(fields, "program_number", program.program_number, 4);
        addHex(fields, program.program_number ? "program_map_PID" : "network_PID", program.program_map_PID, 4);
    });
}

void describeCat(const catSection &cat, ByteView, Standard standard, DescribedSection &tree)
{
    addStart(tree.fields, cat.table_id, cat.section_syntax_indicator, cat.section_length);
    addVersion(tree.fields, cat);
    addDescriptorLoop(tree.fields, readDescriptors(cat.cat_descriptor, {standard, 0, 0}));
}

void describePmt(const pmtSection &pmt, ByteView, Standard standard, DescribedSection &tree)
{
    constexpr u16 nullPid = 0x1FFF;
    const DescriptorContext program = programContext(pmt.prog_descriptor, standard);
    addHeader(tree.fields, pmt, "program_number", pmt.program_number);
    addHex(tree.fields, "PCR_PID", pmt.PCR_PID, 4, pmt.PCR_PID == nullPid ? "no PCR" : "");
    addNumber(tree.fields, "program_info_length", pmt.program_info_length);
    addDescriptorLoop(tree.fields, readDescriptors(pmt.prog_descriptor, program));
    addNodes(tree.fields, "streams", pmt.es_info, [&](Fields &fields, const psiPmtEs &stream) {
        describeStream(fields, stream, stream.es_descriptor, program);
    });
}

/* ---- EN 300 468 5.2 -------------------------------------------------------------------------------------------------
 */

constexpr DescriptorContext dvbContext{Standard::dvb, 0, 0};

/** The length field in front of the transport streams, which the record does not keep. */
void addStreamLoopLength(Fields &fields, ByteView section, u16 outerDescriptorsLength)
{
    constexpr std::size_t outerDescriptors = 10;
    ByteReader reader(section.part(outerDescriptors + outerDescriptorsLength));
    addNumber(fields, "transport_stream_loop_length", reader.u16Field() & 0xFFF);
}

void addTransportStreams(Fields &fields, const psiStreamInfo *list)
{
    addNodes(fields, "transport_streams", list, [](Fields &entry, const psiStreamInfo &stream) {
        addHex(entry, "transport_stream_id", stream.transport_stream_id, 4);
        addHex(entry, "original_network_id", stream.original_network_id, 4);
        addNumber(entry, "transport_descriptors_length", stream.transport_descriptors_length);
        addDescriptorLoop(entry, readDescriptors(stream.descriptor, dvbContext));
    });
}

void describeNit(const nitSection &nit, ByteView section, Standard, DescribedSection &tree)
{
    addHeader(tree.fields, nit, "network_id", nit.network_id);
    addNumber(tree.fields, "network_descriptors_length", nit.network_descriptors_length);
    addDescriptorLoop(tree.fields, readDescriptors(nit.net_descriptor, dvbContext));
    addStreamLoopLength(tree.fields, section, nit.network_descriptors_length);
    addTransportStreams(tree.fields, nit.stream_info);
}

void describeBat(const batSection &bat, ByteView section, Standard, DescribedSection &tree)
{
    addHeader(tree.fields, bat, "bouquet_id", bat.bouquet_id);
    addNumber(tree.fields, "bouquet_descriptors_length", bat.bouquet_descriptors_length);
    addDescriptorLoop(tree.fields, readDescriptors(bat.bouquet_descriptor, dvbContext));
    addStreamLoopLength(tree.fields, section, bat.bouquet_descriptors_length);
    addTransportStreams(tree.fields, bat.stream_info);
}

void describeService(Fields &fields, const psiSdtService &service)
{
    addHex(fields, "service_id", service.service_id, 4);
    addNumber(fields, "EIT_schedule_flag", service.EIT_schedule_flag);
    addNumber(fields, "EIT_present_following_flag", service.EIT_present_following_flag);
    addNumber(fields, "running_status", service.running_status, runningStatusName(service.running_status));
    addNumber(fields, "free_CA_mode", service.free_CA_mode, service.free_CA_mode ? "scrambled" : "");
    addNumber(fields, "descriptors_loop_length", service.descriptors_loop_length);
    addDescriptorLoop(fields, readDescriptors(service.service_descriptor, dvbContext));
}

void describeSdt(const sdtSection &sdt, ByteView, Standard, DescribedSection &tree)
{
    addHeader(tree.fields, sdt, "transport_stream_id", sdt.transport_stream_id);
    addHex(tree.fields, "original_network_id", sdt.original_network_id, 4);
    addNodes(tree.fields, "services", sdt.service_info, describeService);
}

/* ---- any table ------------------------------------------------------------------------------------------------------
 */

struct Reading {
    u8 tableId;
    TableReader read;
};

constexpr Reading readings[] = {
    {0x00, readParsed<patSection, describePat>}, {0x01, readParsed<catSection, describeCat>},
    {0x02, readParsed<pmtSection, describePmt>}, {0x40, readParsed<nitSection, describeNit>},
    {0x41, readParsed<nitSection, describeNit>}, {0x42, readParsed<sdtSection, describeSdt>},
    {0x46, readParsed<sdtSection, describeSdt>}, {0x4A, readParsed<batSection, describeBat>},
};

TableReader findReader(u8 tableId)
{
    for (const Reading &reading : readings)
        if (reading.tableId == tableId)
            return reading.read;
    const TableReader psip = findPsipReader(tableId);
    return psip ? psip : findEmergencyReader(tableId);
}

constexpr std::size_t shortHeader = 3;
constexpr std::size_t longHeader = 8;

/** What can be said of a section without knowing its table, or of one that its parser refuses. */
void describeBytes(ByteView section, bool withCrc, Fields &fields)
{
    ByteReader reader(section);
    const bool longForm = withCrc || (section.size() >= longHeader && (section[1] & 0x80) != 0);
    if (longForm) {
        const LongHeader header = takeHeader(reader);
        addHeader(fields, header, "table_id_extension", header.id);
    } else if (section.size() >= shortHeader) {
        const u8 tableId = reader.u8Field();
        const u16 word = reader.u16Field();
        addStart(fields, tableId, static_cast<u8>(word >> 15), word & 0xFFF);
    }
    addBytes(fields, "body", reader.bytes(reader.remaining() - (withCrc ? 4 : 0)));
}

const char *refusal(ByteView section)
{
    constexpr std::size_t patWithoutPrograms = 12;
    if (section[0] == 0x00 && section.size() == patWithoutPrograms)
        return "it has no programs, and the library parses no such PAT";
    return "the library cannot parse it (-v tells why): its bytes follow";
}

std::shared_ptr<std::vector<u8>> withCrc(std::vector<u8> bytes, u32 crc)
{
    for (std::size_t i = 0; i < 4; ++i)
        bytes[bytes.size() - 1 - i] = static_cast<u8>(crc >> 8 * i);
    return std::make_shared<std::vector<u8>>(std::move(bytes));
}

/** Whoever looks at a damaged section wants to see what the damage left of it, so its CRC_32 is made right first. */
bool readTable(ByteView section, const TableKind &kind, const SectionCrc &crc, Standard standard,
               DescribedSection &tree)
{
    const Standard own = kind.standard == Standard::unknown ? standard : kind.standard;
    const auto mended = withCrc({section.begin(), section.end()}, crc.calculated);
    const bool parsed = findReader(kind.tableId)({mended->data(), mended->size()}, own, tree);
    if (!tree.owner)
        tree.owner = mended;
    return parsed;
}

} // namespace

std::optional<SectionCrc> crcOf(ByteView section)
{
    constexpr std::size_t smallest = 12; // long header and CRC_32
    ByteReader header(section);
    const u8 tableId = header.u8Field();
    const u16 lengthField = header.u16Field();
    const std::size_t size = 3U + (lengthField & 0xFFFU);
    const bool longForm = (lengthField & 0x8000) != 0 || tableKindOf(tableId);
    if (!longForm || size < smallest || size > section.size())
        return std::nullopt;
    ByteReader stored(section.part(size - 4));
    return SectionCrc{stored.u32Field(), psiCalculateCrc(section.data(), static_cast<u32>(size - 4))};
}

DescribedSection describeSection(ByteView section, const TableKind *kind, Standard standard)
{
    DescribedSection tree;
    const std::optional<SectionCrc> crc = crcOf(section);
    if (kind && crc) {
        tree.parsed = readTable(section, *kind, *crc, standard, tree);
        if (!tree.parsed) {
            tree = {};
            tree.notes.emplace_back(refusal(section));
        }
        if (!(section[1] & 0x80))
            tree.notes.emplace_back("section_syntax_indicator is 0, although the table has the long form");
    }
    if (!tree.parsed)
        describeBytes(section, crc.has_value(), tree.fields);
    if (crc)
        addHex(tree.fields, "CRC_32", crc->stored, 8);
    return tree;
}

} // namespace psi::describe
