#include "make/modelFromJson.h"
#include "demux/transportPacket.h"

#include "describe/text.h"
#include "make/jsonPlace.h"
#include "make/makeObject.h"
#include "output/described.h"

#include <algorithm>
#include <iterator>
#include <map>

namespace psitool {

namespace {

constexpr u32 mostU8 = 0xFF;
constexpr u32 mostU16 = 0xFFFF;
constexpr u32 mostU32 = 0xFFFFFFFF;
constexpr u32 mostPid = psi::demux::kNullPid;
constexpr u32 firstFreePid = 0x0010; // ISO/IEC 13818-1 Table 2-3
constexpr u32 lastFreePid = 0x1FFE;
constexpr u32 mostVersion = 31;
constexpr u32 mostChannelNumber = 0x3FF;
constexpr std::size_t mostDescriptorBytes = 255;
constexpr std::size_t shortNameBytes = 14;

/** The keys that are read: none of them is a misspelling of another one. */
// clang-format off
constexpr const char *vocabulary[] = {
    "psitool", "schema", "schema_version", "transport_stream", "transport_stream_id", "original_network_id",
    "network_id", "network_name", "network_pid_found", "network_pid", "table_mask", "pat", "sdt", "cat",
    "vct", "head", "programs", "program_number", "service", "channel", "pmt", "found", "name", "provider",
    "service_type", "running_status", "free_ca_mode", "eit_schedule_flag", "eit_present_following_flag",
    "descriptors", "major_channel_number", "minor_channel_number", "channel_tsid", "source_id",
    "modulation_mode", "pid", "pcr_pid", "crc_32", "ca_flag", "ca", "streams", "stream_type",
    "elementary_pid", "section_syntax_indicator", "version_number", "current_next_indicator",
    "section_number", "last_section_number", "data", "text", "tag", "ca_system_id", "ca_pid", "private_data",
    "sections", "psi_type", "table_id_extension"
};
// clang-format on

/** A number that need not be there: then the field keeps its value. */
template <typename Field> void take(const JsonPlace &object, const char *key, u32 highest, Field &field)
{
    if (const std::optional<JsonPlace> place = object.find(key))
        field = static_cast<Field>(place->number(highest));
}

/** A number that must be there. */
template <typename Field> void require(const JsonPlace &object, const char *key, u32 highest, Field &field)
{
    field = static_cast<Field>(object[key].number(highest));
}

std::optional<bool> flagOf(const JsonPlace &object, const char *key)
{
    const std::optional<JsonPlace> place = object.find(key);
    return place ? std::optional<bool>(place->boolean()) : std::nullopt;
}

std::vector<JsonPlace> elementsOf(const JsonPlace &object, const char *key)
{
    const std::optional<JsonPlace> place = object.find(key);
    return place ? place->elements() : std::vector<JsonPlace>{};
}

void takeHead(const JsonPlace &table, psiHead &head)
{
    const std::optional<JsonPlace> place = table.find("head");
    if (!place)
        return;
    take(*place, "section_syntax_indicator", 1, head.syntax_indicator);
    take(*place, "version_number", mostVersion, head.version_number);
    take(*place, "current_next_indicator", 1, head.current_next);
    take(*place, "section_number", mostU8, head.section_number);
    take(*place, "last_section_number", mostU8, head.last_section_number);
}

void takeDescriptors(const JsonPlace &object, descInfo **list)
{
    for (const JsonPlace &place : elementsOf(object, "descriptors")) {
        descInfo &descriptor = made(descInfoCreat(list));
        require(place, "tag", mostU8, descriptor.descTag);
        const std::string data = place["data"].bytes(mostDescriptorBytes);
        descriptor.descData = poolCopy(ByteView(data));
        descriptor.descLen = static_cast<u8>(data.size());
    }
}

void takeCa(const JsonPlace &object, caInfo **list)
{
    constexpr std::size_t fixedBytes = 4; // CA_system_ID and CA_PID, ISO/IEC 13818-1 2.6.16
    for (const JsonPlace &place : elementsOf(object, "ca")) {
        caInfo &ca = made(caInfoCreat(list));
        require(place, "ca_system_id", mostU16, ca.caSystemId);
        require(place, "ca_pid", mostPid, ca.caPid);
        if (const std::optional<JsonPlace> data = place.find("private_data")) {
            const std::string bytes = data->bytes(mostDescriptorBytes - fixedBytes);
            ca.privateData = poolCopy(ByteView(bytes));
            ca.privateLen = static_cast<u8>(bytes.size());
        }
    }
}

/* ------------------------------------------------------------------------------------------------------------------
 * Names
 * ---------------------------------------------------------------------------------------------------------------- */

/** How the bytes of a name are coded. */
enum class NameCoding { dvb, utf16 };

/** How a name is coded in the JSON, how it is to be coded, and for how many bytes there is room. */
struct NameCodings {
    NameCoding from;
    NameCoding to;
    std::size_t most;
};

/** @param charset of a string without a selector, "": as the standard has it */
std::string decoded(NameCoding coding, const std::string &bytes, const char *charset)
{
    return (coding == NameCoding::dvb ? decodeDvbText(ByteView(bytes), charset) : decodeUtf16(ByteView(bytes))).utf8;
}

/** The character table that a name was read with, where its bytes do not tell: that of the stream's texts. */
const char *charsetOf(const JsonPlace &name, const std::string &bytes)
{
    const std::optional<JsonPlace> charset = name.find("charset");
    if (!charset || charset->text() == decodeDvbText(ByteView(bytes)).charset)
        return "";
    const char *known = charsetNamed(charset->text());
    return known != nullptr ? known : "";
}

/** @param charset that of the stream's texts: nothing in the bytes tells it, so new ones have to be in it; "": any */
std::string encoded(NameCoding coding, const JsonPlace &place, const std::string &text, const char *charset = "")
{
    const std::optional<std::string> bytes = coding == NameCoding::utf16 ? encodeUtf16(text)
                                             : *charset != 0             ? encodeDvbText(text, {}, charset)
                                                                         : encodeDvbText(text);
    if (!bytes)
        place.fail("expected a text without control characters and without U+FFFD, which stands for what could not be "
                   "read");
    return *bytes;
}

/** What has no room is refused; of a name that changes from one standard's coding to the other's it is cut off. */
std::string fitting(const JsonPlace &place, const std::string &bytes, const NameCodings &coding)
{
    if (bytes.size() <= coding.most)
        return bytes;
    if (coding.from == coding.to)
        place.fail("expected at most " + std::to_string(coding.most) + " bytes, found " + std::to_string(bytes.size()));
    place.warn("the name is cut to " + std::to_string(coding.most) + " bytes");
    const bool halfPair = coding.to == NameCoding::utf16 && (static_cast<u8>(bytes[coding.most - 2]) & 0xFC) == 0xD8;
    return bytes.substr(0, halfPair ? coding.most - 2 : coding.most);
}

/** The bytes of a name. `text` is what people edit: where it is not what `data` says, it counts. */
std::string nameBytes(const JsonPlace &place, const NameCodings &coding)
{
    const std::optional<JsonPlace> text = place.find("text");
    if (text && !place.find("data"))
        return fitting(*text, encoded(coding.to, *text, text->text()), coding);
    const JsonPlace data = place["data"];
    const std::string bytes = data.bytes(mostDescriptorBytes);
    const char *charset = coding.from == NameCoding::dvb ? charsetOf(place, bytes) : "";
    const std::string read = decoded(coding.from, bytes, charset);
    if (text && text->text() != read)
        return fitting(*text, encoded(coding.to, *text, text->text(), charset), coding);
    return fitting(data, coding.from == coding.to ? bytes : encoded(coding.to, data, read), coding);
}

/* ------------------------------------------------------------------------------------------------------------------
 * Programs
 * ---------------------------------------------------------------------------------------------------------------- */

void takeStreams(const JsonPlace &pmt, progInfo &program)
{
    for (const JsonPlace &place : pmt["streams"].elements()) {
        esInfo &stream = made(esInfoCreat(&program.esList));
        require(place, "stream_type", mostU8, stream.esType);
        require(place, "elementary_pid", mostPid, stream.esPid);
        takeCa(place, &stream.caList);
        takeDescriptors(place, &stream.descList);
    }
}

void takePmt(const JsonPlace &pmt, progInfo &program)
{
    program.pmtPid = static_cast<u16>(pmt["pid"].number(lastFreePid, firstFreePid));
    takeHead(pmt, program.pmtHead);
    require(pmt, "pcr_pid", mostPid, program.pcrPid);
    take(pmt, "crc_32", mostU32, program.pmtCrc);
    take(pmt, "ca_flag", mostU8, program.caFlag);
    takeCa(pmt, &program.caList);
    takeDescriptors(pmt, &program.pmtDescList);
    takeStreams(pmt, program);
    const bool empty = !program.caList && !program.pmtDescList && !program.esList;
    program.pmtValid = flagOf(pmt, "found").value_or(true) || !empty;
}

void takeNames(const JsonPlace &service, const NameCodings &coding, progInfo &program)
{
    constexpr std::size_t fixedBytes = 3; // of the service_descriptor, EN 300 468 6.2.33
    constexpr std::size_t most = mostDescriptorBytes - fixedBytes;
    constexpr NameCodings providerCoding{NameCoding::dvb, NameCoding::dvb, most};
    std::string provider;
    std::string name;
    if (const std::optional<JsonPlace> place = service.find("provider"))
        provider = nameBytes(*place, providerCoding);
    if (const std::optional<JsonPlace> place = service.find("name"))
        name = nameBytes(*place, {coding.from, coding.to, std::min(coding.most, most)});
    if (provider.size() + name.size() > most)
        service.fail("expected at most " + std::to_string(most) + " bytes of name and provider together, found " +
                     std::to_string(provider.size() + name.size()));
    program.pname = poolCopy(ByteView(provider));
    program.pnameLen = static_cast<u8>(provider.size());
    program.sname = poolCopy(ByteView(name));
    program.snameLen = static_cast<u8>(name.size());
}

void takeService(const JsonPlace &service, const NameCodings &coding, progInfo &program)
{
    takeNames(service, coding, program);
    take(service, "service_type", mostU8, program.prog_type);
    take(service, "running_status", 7, program.run_stat);
    take(service, "free_ca_mode", 1, program.ca_mode);
    take(service, "eit_schedule_flag", 1, program.EIT_flag);
    take(service, "eit_present_following_flag", 1, program.EIT_pre_flag);
    takeDescriptors(service, &program.sdtDescList);
}

void takeChannel(const JsonPlace &channel, progInfo &program)
{
    take(channel, "major_channel_number", mostChannelNumber, program.major_channel_number);
    take(channel, "minor_channel_number", mostChannelNumber, program.minor_channel_number);
    take(channel, "channel_tsid", mostU16, program.channel_TSID);
    take(channel, "source_id", mostU16, program.source_id);
    take(channel, "modulation_mode", mostU8, program.modulation_mode);
    take(channel, "service_type", 0x3F, program.service_type);
}

bool isChannel(const JsonPlace &program)
{
    const std::optional<JsonPlace> channel = program.find("channel");
    if (!channel)
        return false;
    progInfo numbers{};
    takeChannel(*channel, numbers);
    return flagOf(*channel, "found")
        .value_or((numbers.major_channel_number | numbers.minor_channel_number | numbers.source_id) != 0);
}

/** The numbers of the programs, by the place where they were seen first. */
class ProgramNumbers {
public:
    void add(const JsonPlace &place, u32 value)
    {
        const auto [seen, isNew] = seen_.emplace(value, place.pointer());
        if (!isNew)
            place.fail("expected another program_number than that at " + seen->second + ", found " +
                       std::to_string(value) + " again");
    }

private:
    std::map<u32, std::string> seen_;
};

void takeProgram(const JsonPlace &place, ScanStandard standard, progInfo &program)
{
    program.progNo = static_cast<u16>(place["program_number"].number(mostU16, 1));
    takePmt(place["pmt"], program);
    const NameCodings coding{isChannel(place) ? NameCoding::utf16 : NameCoding::dvb,
                             standard == ScanStandard::atsc ? NameCoding::utf16 : NameCoding::dvb,
                             standard == ScanStandard::atsc ? shortNameBytes : mostDescriptorBytes};
    if (const std::optional<JsonPlace> service = place.find("service"))
        takeService(*service, coding, program);
    if (const std::optional<JsonPlace> channel = place.find("channel"))
        takeChannel(*channel, program);
}

void takePrograms(const JsonPlace &stream, tsInfo &model, JsonFacts &facts)
{
    ProgramNumbers numbers;
    for (const JsonPlace &place : stream["programs"].elements()) {
        progInfo &program = made(progInfoCreat(&model.progList));
        takeProgram(place, facts.standard, program);
        numbers.add(place["program_number"], program.progNo);
        facts.sdt = facts.sdt || isService(program);
    }
}

/* ------------------------------------------------------------------------------------------------------------------
 * Tables that are not generated
 * ---------------------------------------------------------------------------------------------------------------- */

constexpr u32 bit(u32 psiType)
{
    return 1U << psiType;
}

constexpr u32 atscTables = bit(PSI_MGT) | bit(PSI_VCT) | bit(PSI_STT);
constexpr u32 commonTables = bit(PSI_PAT) | bit(PSI_PMT) | bit(PSI_CAT);
// Tables that are not generated; of the MGT the library takes what it announces besides the VCT.
constexpr u32 sentAsTheyCame = bit(PSI_MGT) | bit(PSI_STT) | bit(PSI_NIT_ACTUAL) | bit(PSI_NIT_OTHER) |
                               bit(PSI_SDT_OTHER) | bit(PSI_BAT) | bit(PSI_EBIT) | bit(PSI_EBCT) | bit(PSI_EBCAT) |
                               bit(PSI_EBCCT);

u32 tablesOf(ScanStandard wanted)
{
    if (wanted == ScanStandard::automatic)
        return ~0U;
    return wanted == ScanStandard::atsc ? commonTables | atscTables : ~atscTables;
}

void checkSection(const JsonPlace &data, const std::string &bytes)
{
    constexpr std::size_t headerAndCrc = 12;
    const ByteView section(bytes);
    if (section.size() < headerAndCrc)
        data.fail("expected a section of at least 12 bytes, found " + std::to_string(section.size()));
    const std::size_t length = (bits(section[1], 3, 4) << 8 | section[2]) + 3U;
    if (length != section.size())
        data.fail("expected " + std::to_string(length) + " bytes, as section_length says, found " +
                  std::to_string(section.size()));
    if (psiCheckCrc(section.data(), static_cast<u32>(section.size())) != 0)
        data.fail("expected a section with a right CRC_32");
}

StoredSection storedSection(const JsonPlace &place, u32 psiType)
{
    constexpr std::size_t longestSection = 4096;
    const JsonPlace data = place["data"];
    const std::string bytes = data.bytes(longestSection);
    checkSection(data, bytes);
    return {psiType, static_cast<u16>(place["pid"].number(lastFreePid)), bytes};
}

void sendAsItCame(const StoredSection &stored, tsInfo &model)
{
    sectionData &section = made(sectionDataCreat(&model.sectionList));
    section.buf = poolCopy(ByteView(stored.bytes));
    section.len = static_cast<u16>(stored.bytes.size());
    section.psiType = static_cast<u8>(stored.psiType);
    section.pid = stored.pid;
    section.idExt = psi::demux::tableIdExtension(section.buf);
    section.sectionNo = section.buf[6];
}

void takeSections(const JsonPlace &root, u32 wanted, tsInfo &model, JsonFacts &facts)
{
    for (const JsonPlace &place : elementsOf(root, "sections")) {
        const u32 psiType = place["psi_type"].number(PSI_EBCCT);
        if ((wanted & bit(psiType)) == 0)
            continue;
        facts.stored.push_back(storedSection(place, psiType));
        if (sentAsTheyCame & bit(psiType))
            sendAsItCame(facts.stored.back(), model);
    }
}

/* ------------------------------------------------------------------------------------------------------------------
 * The whole
 * ---------------------------------------------------------------------------------------------------------------- */

void checkSchema(const JsonPlace &root)
{
    constexpr u32 newestSchema = 1;
    const std::optional<JsonPlace> psitool = root.find("psitool");
    if (!psitool)
        return;
    if (const std::optional<JsonPlace> schema = psitool->find("schema"))
        if (schema->text() != "transport-stream")
            schema->fail("expected \"transport-stream\", the JSON of psitool scan");
    if (const std::optional<JsonPlace> version = psitool->find("schema_version"))
        version->number(newestSchema, 1);
}

ScanStandard chosenStandard(const JsonPlace &stream, u32 tableMask, ScanStandard wanted)
{
    if (wanted != ScanStandard::automatic)
        return wanted;
    const std::vector<JsonPlace> programs = stream["programs"].elements();
    const bool atsc = (tableMask & atscTables) != 0 || std::any_of(programs.begin(), programs.end(), isChannel);
    return atsc ? ScanStandard::atsc : ScanStandard::dvb;
}

/** An MGT or an STT alone makes no VCT, where there are sections that would have one. */
bool holdsVct(const JsonPlace &stream, u32 tableMask, const std::vector<StoredSection> &stored)
{
    const std::vector<JsonPlace> programs = stream["programs"].elements();
    if ((tableMask & bit(PSI_VCT)) != 0 || std::any_of(programs.begin(), programs.end(), isChannel))
        return true;
    return stored.empty() && (tableMask & atscTables) != 0;
}

void takeIdentity(const JsonPlace &stream, tsInfo &model, JsonFacts &facts)
{
    require(stream, "transport_stream_id", mostU16, model.tsId);
    take(stream, "original_network_id", mostU16, model.orNetId);
    facts.networkId = stream.find("network_id").has_value();
    take(stream, "network_id", mostU16, model.netId);
    facts.networkPid = stream.find("network_pid").has_value();
    take(stream, "network_pid", mostPid, model.netPid);
    model.netFlag = flagOf(stream, "network_pid_found").value_or(model.netPid != 0) ? 1 : 0;
    if (const std::optional<JsonPlace> name = stream.find("network_name")) {
        const std::string bytes = nameBytes(*name, {NameCoding::dvb, NameCoding::dvb, mostDescriptorBytes});
        facts.networkName = true;
        model.netname = poolCopy(ByteView(bytes));
        model.netnameLen = static_cast<u8>(bytes.size());
    }
}

void takeTables(const JsonPlace &stream, tsInfo &model)
{
    if (const std::optional<JsonPlace> pat = stream.find("pat"))
        takeHead(*pat, model.patHead);
    if (const std::optional<JsonPlace> sdt = stream.find("sdt"))
        takeHead(*sdt, model.sdtHead);
    if (const std::optional<JsonPlace> vct = stream.find("vct"))
        takeDescriptors(*vct, &model.vctDescList);
    if (const std::optional<JsonPlace> cat = stream.find("cat")) {
        takeHead(*cat, model.catHead);
        takeCa(*cat, &model.catCaList);
        takeDescriptors(*cat, &model.catDescList);
    }
    if (model.catCaList || model.catDescList)
        model.tableMask |= bit(PSI_CAT); // without it no CAT is generated
}

} // namespace

JsonFacts fillModel(tsInfo &model, const std::string &json, ScanStandard standard)
{
    ModelDocument document(json, {std::begin(vocabulary), std::end(vocabulary)});
    const JsonPlace root(document);
    checkSchema(root);
    const JsonPlace stream = root["transport_stream"];
    take(stream, "table_mask", mostU32, model.tableMask);
    JsonFacts facts;
    facts.standard = chosenStandard(stream, model.tableMask, standard);
    takeIdentity(stream, model, facts);
    takeTables(stream, model);
    takePrograms(stream, model, facts);
    facts.sdt = facts.sdt || standard == ScanStandard::dvb || (model.tableMask & bit(PSI_SDT_ACTUAL)) != 0;
    takeSections(root, tablesOf(standard), model, facts);
    facts.vct = standard == ScanStandard::atsc || holdsVct(stream, model.tableMask, facts.stored);
    facts.pat = model.progList || !stream.find("pat") || !stream["pat"].find("head") || model.patHead.syntax_indicator;
    std::sort(document.warnings.begin(), document.warnings.end());
    document.warnings.erase(std::unique(document.warnings.begin(), document.warnings.end()), document.warnings.end());
    facts.warnings = document.warnings;
    return facts;
}

bool isService(const progInfo &program)
{
    return program.pnameLen || program.snameLen || program.prog_type || program.run_stat || program.EIT_flag ||
           program.EIT_pre_flag || program.ca_mode || program.sdtDescList;
}

std::string programPointer(std::size_t index)
{
    return "/transport_stream/programs/" + std::to_string(index);
}

} // namespace psitool
