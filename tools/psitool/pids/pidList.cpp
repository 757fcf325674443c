#include "pids/pidList.h"

#include "describe/tableKinds.h"
#include "output/lines.h"

#include <algorithm>
#include <cmath>

namespace psitool {

namespace {

using psi::demux::CollectedTable;
using psi::demux::Collector;
using psi::demux::MissingReason;
using psi::demux::MissingTable;
using psi::demux::PidRole;
using psi::demux::PidUse;
using psi::demux::TableVersion;

constexpr std::size_t pidWidth = 13;
constexpr std::size_t numberWidth = 12;
constexpr std::size_t shareWidth = 9;
constexpr std::size_t rateWidth = 12;

struct TitledTables {
    u8 first;
    u8 last;
    const char *title;
};

/** Tables by the names that engineers call them; those that are taken apart have their own. */
constexpr TitledTables titles[] = {
    {0x03, 0x03, "TSDT"},
    {0x3A, 0x3D, "DSM-CC"},
    {0x3E, 0x3E, "DSM-CC private data"},
    {0x3F, 0x3F, "DSM-CC"},
    {0x4B, 0x4B, "UNT"},
    {0x4C, 0x4C, "INT"},
    {0x4E, 0x4E, "EIT p/f actual"},
    {0x4F, 0x4F, "EIT p/f other"},
    {0x50, 0x5F, "EIT schedule actual"},
    {0x60, 0x6F, "EIT schedule other"},
    {0x70, 0x70, "TDT"},
    {0x71, 0x71, "RST"},
    {0x72, 0x72, "ST"},
    {0x73, 0x73, "TOT"},
    {0x74, 0x74, "AIT"},
    {0x7E, 0x7E, "DIT"},
    {0x7F, 0x7F, "SIT"},
    {0x80, 0x81, "ECM"},
    {0x82, 0x8F, "EMM"},
    {0xCA, 0xCA, "RRT"},
    {0xCB, 0xCB, "EIT (ATSC)"},
    {0xCC, 0xCC, "ETT"},
    {0xD3, 0xD3, "DCCT"},
    {0xD4, 0xD4, "DCCSCT"},
};

struct TablePid {
    u16 pid;
    const char *tables;
};

/** EN 300 468 Table 1, ISO/IEC 13818-1 Table 2-3, A/65 4.1. */
constexpr TablePid tablePids[] = {
    {0x0000, "PAT"},
    {0x0001, "CAT"},
    {0x0002, "TSDT"},
    {0x0010, "NIT"},
    {0x0011, "SDT, BAT"},
    {0x0012, "EIT"},
    {0x0013, "RST"},
    {0x0014, "TDT, TOT"},
    {0x0015, "network synchronization"},
    {0x0016, "RNT"},
    {0x001C, "inband signalling"},
    {0x001D, "measurement"},
    {0x001E, "DIT"},
    {0x001F, "SIT"},
    {psi::demux::kPsipPid, "PSIP"},
    {psi::demux::kNullPid, "null packets"},
};

std::string number(double value, int digits)
{
    char text[64];
    std::snprintf(text, sizeof text, "%.*f", digits, value);
    return text;
}

std::string rightOf(const std::string &text, std::size_t width)
{
    return text.size() < width ? std::string(width - text.size(), ' ') + text : text;
}

const progInfo *programOf(const ModelView &view, u16 programNumber)
{
    for (const progInfo &program : nodes(view.model().progList))
        if (program.progNo == programNumber)
            return &program;
    return nullptr;
}

std::string streamText(const ModelView &view, u16 pid, const PidUse &use)
{
    const progInfo *program = programOf(view, use.program);
    for (const esInfo &stream : nodes(program ? program->esList : nullptr)) {
        if (stream.esPid != pid)
            continue;
        const std::vector<std::string> languages = view.streamLanguages(*program, stream);
        return view.streamKind(*program, stream) + (languages.empty() ? "" : " " + joined(languages, ", "));
    }
    return streamTypeName(use.streamType, 0);
}

std::string caText(const char *message, u16 caSystemId)
{
    return std::string(message) + " " + hex(caSystemId, 4) + " " + caSystemName(caSystemId);
}

/** What a use is called, without its program. */
std::string useText(const ModelView &view, u16 pid, const PidUse &use)
{
    switch (use.role) {
    case PidRole::network:
        return pid == psi::demux::kNitPid ? "" : "NIT, by the PAT";
    case PidRole::programMap:
        return "PMT";
    case PidRole::stream:
        return streamText(view, pid, use);
    case PidRole::pcr:
        return "PCR";
    case PidRole::ecm:
        return caText("ECM", use.caSystemId);
    case PidRole::emm:
        return caText("EMM", use.caSystemId);
    case PidRole::guide:
        return use.tableType >= 0x0200 ? "ETT, by the MGT" : "EIT, by the MGT";
    default:
        return "";
    }
}

bool isOfProgram(const PidUse &use)
{
    return use.role == PidRole::programMap || use.role == PidRole::stream || use.role == PidRole::pcr ||
           use.role == PidRole::ecm;
}

/** " of programs 10, 20" */
std::string programsText(const std::vector<u16> &programs)
{
    constexpr std::size_t most = 8;
    if (programs.empty())
        return "";
    std::vector<std::string> words;
    for (const u16 program : programs)
        if (words.size() < most)
            words.push_back(std::to_string(program));
    if (programs.size() > most)
        words.push_back("... (" + std::to_string(programs.size()) + ")");
    return (programs.size() == 1 ? " of program " : " of programs ") + joined(words, ", ");
}

std::vector<std::string> usesOf(const ModelView &view, const Collector &collector, u16 pid)
{
    std::vector<std::string> uses;
    for (const TablePid &known : tablePids)
        if (known.pid == pid)
            uses.emplace_back(known.tables);
    std::vector<std::pair<std::string, std::vector<u16>>> named;
    for (const PidUse &use : collector.uses().of(pid)) {
        const std::string text = useText(view, pid, use);
        auto same = std::find_if(named.begin(), named.end(), [&](const auto &one) { return one.first == text; });
        if (same == named.end())
            same = named.insert(named.end(), {text, {}});
        if (isOfProgram(use))
            same->second.push_back(use.program);
    }
    for (const auto &[text, programs] : named)
        if (!text.empty())
            uses.push_back(text + programsText(programs));
    return uses;
}

/** What was found on a PID that no table names. */
std::string contentText(const psi::demux::PidStatistics &statistics)
{
    if (statistics.pes)
        return "PES";
    if (statistics.sections + statistics.shortFormSections > 0)
        return "sections";
    return "";
}

std::string stateText(const PidLine &line)
{
    const psi::demux::PidStatistics &seen = line.statistics;
    std::vector<std::string> parts;
    const auto add = [&parts](std::uint64_t count, const char *noun) {
        if (count > 0)
            parts.push_back(counted(count, noun));
    };
    const std::string content = contentText(seen);
    if (!content.empty())
        parts.push_back(content);
    if (seen.pcr)
        parts.emplace_back("PCR");
    if (seen.scrambledPackets > 0)
        parts.push_back(seen.scrambledPackets == seen.packets ? "scrambled"
                                                              : grouped(seen.scrambledPackets) + " scrambled");
    add(seen.continuityErrors, "continuity error");
    add(seen.transportErrors, "transport error");
    add(seen.crcErrors, "CRC error");
    return joined(parts, ", ");
}

std::string extensionName(u8 tableId)
{
    switch (tableId) {
    case 0x00:
    case 0x42:
    case 0x46:
    case 0xC8:
    case 0xC9:
        return "transport_stream_id";
    case 0x02:
        return "program_number";
    case 0x40:
    case 0x41:
        return "network_id";
    case 0x4A:
        return "bouquet_id";
    default:
        return tableId >= 0x4E && tableId <= 0x6F ? "service_id" : "table_id_extension";
    }
}

std::string versionText(const TableVersion &version, bool mayBeSparse)
{
    const std::string have = std::to_string(version.have());
    const bool whole = version.complete() || mayBeSparse;
    return "version " + std::to_string(version.number) + (version.current ? "" : " (next)") + ", " +
           (whole ? counted(version.have(), "section")
                  : have + " of " + std::to_string(version.lastNumber + 1) + " sections");
}

std::string changesText(const CollectedTable &table)
{
    std::vector<std::string> parts;
    for (const psi::demux::VersionChange &change : table.changes)
        parts.push_back(std::to_string(change.number) + (change.current ? "" : " (next)") +
                        (change.moment.timed() ? " at " + durationText(change.moment.seconds) : ""));
    return grouped(table.changeCount - 1) + (table.changeCount == 2 ? " change: " : " changes: ") + joined(parts, ", ");
}

LineTree tableLine(const Collector &collector, const CollectedTable &table)
{
    const bool sparse = table.tableId >= 0x50 && table.tableId <= 0x6F;
    std::string line = padded(tableTitle(table.tableId), 20) + "PID " + padded(hexDec(table.pid), pidWidth);
    if (table.longForm && table.tableId != 0x01)
        line += "  " + extensionName(table.tableId) + " " + hexDec(table.extension);
    LineTree node{line, {}};
    std::string state;
    if (!table.longForm)
        state = counted(table.count, "section");
    else if (!table.versions.empty())
        state = versionText(table.versions[table.active], sparse);
    const std::string interval = intervalText(table.intervals);
    if (!interval.empty())
        state += ", every " + interval;
    const psi::demux::Moment first = collector.resolved(table.first);
    const psi::demux::Moment last = collector.resolved(table.last);
    if (first.timed() && last.timed())
        state += ", from " + durationText(first.seconds) + " to " + durationText(last.seconds);
    node.add(state);
    if (table.changeCount > 1)
        node.add(changesText(table));
    return node;
}

double milliseconds(double seconds)
{
    return std::round(seconds * 1e6) / 1e3;
}

Json momentJson(const Collector &collector, const psi::demux::Moment &moment)
{
    const psi::demux::Moment known = collector.resolved(moment);
    return {{"packet", known.packet}, {"ms", known.timed() ? Json(milliseconds(known.seconds)) : Json(nullptr)}};
}

} // namespace

std::string tableTitle(u8 tableId)
{
    const TableKind *kind = tableKindOf(tableId);
    if (kind)
        return kind->title;
    for (const TitledTables &titled : titles)
        if (tableId >= titled.first && tableId <= titled.last)
            return titled.title;
    return "table_id " + hex(tableId, 2);
}

std::string durationText(double seconds)
{
    return seconds < 1 ? number(seconds * 1e3, 0) + " ms" : number(seconds, 3) + " s";
}

std::string bitrateText(double bitrate)
{
    return bitrate < 1e6 ? number(bitrate / 1e3, 1) + " kbit/s" : number(bitrate / 1e6, 3) + " Mbit/s";
}

std::string intervalText(const psi::demux::Intervals &intervals)
{
    if (intervals.count == 0)
        return "";
    const auto ms = [](double seconds) { return number(seconds * 1e3, 0); };
    if (ms(intervals.shortest) == ms(intervals.longest))
        return ms(intervals.mean()) + " ms";
    return ms(intervals.shortest) + " to " + ms(intervals.longest) + " ms (mean " + ms(intervals.mean()) + ")";
}

std::vector<PidLine> pidLines(const Collector &collector, const ModelView &view)
{
    const double rate = collector.bitrate();
    std::uint64_t packets = 0;
    const std::vector<psi::demux::PidStatistics> all = collector.pids();
    for (const psi::demux::PidStatistics &one : all)
        packets += one.packets;
    std::vector<PidLine> lines;
    for (const psi::demux::PidStatistics &one : all) {
        PidLine line;
        line.statistics = one;
        line.uses = usesOf(view, collector, one.pid);
        line.share = packets > 0 ? static_cast<double>(one.packets) / static_cast<double>(packets) : 0;
        line.bitrate = rate * line.share;
        lines.push_back(std::move(line));
    }
    return lines;
}

std::string reasonText(const MissingTable &table)
{
    const std::string part = std::to_string(table.have) + " of " + std::to_string(table.wanted) +
                             (table.wanted == 1 ? " section" : " sections");
    switch (table.reason) {
    case MissingReason::crcWrong:
        return "CRC wrong (" + counted(table.crcErrors, "time") + ")";
    case MissingReason::incomplete:
        return "incomplete (" + part + ")";
    case MissingReason::notCurrent:
        return "not current: only a next version came";
    case MissingReason::changesFast:
        return "changes too fast (" + part + " of the last version)";
    case MissingReason::scrambled:
        return "its PID is scrambled";
    case MissingReason::notSeen:
        break;
    }
    return "not seen";
}

std::string missingText(const MissingTable &table)
{
    std::string text = tableTitle(table.tableId);
    if (table.extension && table.tableId != 0x01)
        text += ", " + extensionName(table.tableId) + " " + hexDec(*table.extension);
    return text + ", PID " + hexDec(table.pid) + ": " + reasonText(table);
}

LineTree missingTree(const Collector &collector)
{
    LineTree root{"Tables missing", {}};
    for (const MissingTable &table : collector.missing())
        root.add(missingText(table));
    return root;
}

LineTree pidTree(const std::vector<PidLine> &lines)
{
    LineTree root{"PIDs" + std::string(pidWidth, ' ') + rightOf("packets", numberWidth) + rightOf("share", shareWidth) +
                      rightOf("kbit/s", rateWidth) + "  use",
                  {}};
    for (const PidLine &line : lines) {
        const std::string uses = line.uses.empty() ? "not referenced" : joined(line.uses, "; ");
        const std::string state = stateText(line);
        root.add(padded(hexDec(line.statistics.pid), pidWidth) +
                 rightOf(grouped(line.statistics.packets), numberWidth) +
                 rightOf(number(line.share * 100, 2) + " %", shareWidth) +
                 rightOf(line.bitrate > 0 ? number(line.bitrate / 1e3, 1) : "-", rateWidth) + "  " + uses +
                 (state.empty() ? "" : " (" + state + ")"));
    }
    return root;
}

LineTree tableTimesTree(const Collector &collector)
{
    LineTree root{"Tables", {}};
    std::vector<const CollectedTable *> tables = collector.tables();
    std::stable_sort(tables.begin(), tables.end(), [](const CollectedTable *a, const CollectedTable *b) {
        return std::tie(a->pid, a->tableId, a->extension) < std::tie(b->pid, b->tableId, b->extension);
    });
    for (const CollectedTable *table : tables)
        root.children.push_back(tableLine(collector, *table));
    return root;
}

Json pidsJson(const std::vector<PidLine> &lines)
{
    Json array = Json::array();
    for (const PidLine &line : lines) {
        const psi::demux::PidStatistics &seen = line.statistics;
        array.push_back({{"pid", seen.pid},
                         {"uses", line.uses},
                         {"packets", seen.packets},
                         {"share", line.share},
                         {"bitrate", line.bitrate > 0 ? Json(std::round(line.bitrate)) : Json(nullptr)},
                         {"pes", seen.pes},
                         {"pcr_count", seen.pcrCount},
                         {"scrambled_packets", seen.scrambledPackets},
                         {"duplicate_packets", seen.duplicatePackets},
                         {"continuity_errors", seen.continuityErrors},
                         {"discontinuities", seen.discontinuities},
                         {"transport_errors", seen.transportErrors},
                         {"sections", seen.sections},
                         {"short_form_sections", seen.shortFormSections},
                         {"crc_errors", seen.crcErrors},
                         {"broken_sections", seen.brokenSections}});
    }
    return array;
}

Json tableTimesJson(const Collector &collector)
{
    Json array = Json::array();
    for (const CollectedTable *table : collector.tables()) {
        Json object{{"pid", table->pid}, {"table_id", table->tableId}, {"title", tableTitle(table->tableId)}};
        if (table->longForm)
            object["table_id_extension"] = table->extension;
        object["count"] = table->count;
        object["first"] = momentJson(collector, table->first);
        object["last"] = momentJson(collector, table->last);
        const psi::demux::Intervals &intervals = table->intervals;
        object["interval_ms"] = nullptr;
        if (intervals.count > 0)
            object["interval_ms"] = {{"shortest", milliseconds(intervals.shortest)},
                                     {"mean", milliseconds(intervals.mean())},
                                     {"longest", milliseconds(intervals.longest)}};
        object["versions"] = Json::array();
        for (const TableVersion &version : table->versions)
            object["versions"].push_back({{"version_number", version.number},
                                          {"current", version.current},
                                          {"have", version.have()},
                                          {"wanted", version.lastNumber + 1}});
        object["changes"] = table->changeCount - 1;
        array.push_back(std::move(object));
    }
    return array;
}

Json missingJson(const Collector &collector)
{
    static constexpr const char *words[] = {"not seen",    "CRC wrong",        "incomplete",
                                            "not current", "changes too fast", "scrambled"};
    Json array = Json::array();
    for (const MissingTable &table : collector.missing()) {
        Json object{{"pid", table.pid}, {"table_id", table.tableId}, {"title", tableTitle(table.tableId)}};
        if (table.extension)
            object["table_id_extension"] = *table.extension;
        object["reason"] = words[static_cast<std::size_t>(table.reason)];
        object["have"] = table.have;
        object["wanted"] = table.wanted;
        array.push_back(std::move(object));
    }
    return array;
}

} // namespace psitool
