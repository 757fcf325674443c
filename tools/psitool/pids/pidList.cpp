#include "pids/pidList.h"

#include "output/lines.h"
#include "output/rounded.h"
#include "pids/tableTimes.h"

#include <algorithm>

namespace psitool {

namespace {

using psi::demux::Collector;
using psi::demux::PidRole;
using psi::demux::PidUse;

constexpr std::size_t pidWidth = 13;
constexpr std::size_t numberWidth = 12;
constexpr std::size_t shareWidth = 9;
constexpr std::size_t rateWidth = 12;

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
    for (const esInfo &stream : nodes(program ? program->esList : nullptr))
        if (stream.esPid == pid)
            return streamTitle(view.streamKind(*program, stream), view.streamLanguages(*program, stream));
    return streamTypeName(use.streamType, 0);
}

std::string caText(const char *message, u16 caSystemId)
{
    return std::string(message) + " " + hex(caSystemId, 4) + " " + caSystemName(caSystemId);
}

/** "EIT-0, by the MGT" */
std::string guideText(u16 tableType)
{
    const std::string name = guideTableTypeName(tableType);
    return (name.empty() ? "table_type " + hex(tableType, 4) : name) + ", by the MGT";
}

/** What a use is called, without its program. */
std::string useText(const ModelView &view, u16 pid, const PidUse &use)
{
    switch (use.role) {
    case PidRole::network:
        // A partial stream has its SIT there, and no NIT.
        return pid == psi::demux::kNitPid || pid == psi::demux::kSitPid ? "" : "NIT, by the PAT";
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
        return guideText(use.tableType);
    default:
        return "";
    }
}

bool isClock(const std::vector<PidUse> &uses)
{
    return std::any_of(uses.begin(), uses.end(), [](const PidUse &use) { return use.role == PidRole::pcr; });
}

bool isOfProgram(const PidUse &use)
{
    return use.role == PidRole::programMap || use.role == PidRole::stream || use.role == PidRole::pcr ||
           use.role == PidRole::ecm;
}

/** " of programs 10, 20" */
std::string programsText(std::vector<u16> programs)
{
    constexpr std::size_t most = 8;
    if (programs.empty())
        return "";
    std::sort(programs.begin(), programs.end());
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
    const std::string interval = intervalText(line.pcrIntervals);
    if (seen.pcr)
        parts.push_back("PCR" + (interval.empty() ? "" : " every " + interval));
    else if (line.isClock)
        parts.emplace_back("no PCR came");
    if (seen.scrambledPackets > 0)
        parts.push_back(seen.scrambledPackets == seen.packets ? "scrambled"
                                                              : grouped(seen.scrambledPackets) + " scrambled");
    add(seen.duplicatePackets, "duplicate packet");
    add(seen.discontinuities, "discontinuity");
    add(seen.continuityErrors, "continuity error");
    add(seen.transportErrors, "transport error");
    add(seen.crcErrors, "CRC error");
    return joined(parts, ", ");
}

} // namespace

namespace {

PidLine pidLine(const Collector &collector, const ModelView &view, const psi::demux::PidStatistics &statistics)
{
    PidLine line;
    line.statistics = statistics;
    line.uses = usesOf(view, collector, statistics.pid);
    line.isClock = isClock(collector.uses().of(statistics.pid));
    const auto intervals = collector.pcrIntervals().find(statistics.pid);
    if (intervals != collector.pcrIntervals().end())
        line.pcrIntervals = intervals->second;
    return line;
}

bool isTroubled(const PidLine &line)
{
    const psi::demux::PidStatistics &seen = line.statistics;
    return seen.continuityErrors + seen.transportErrors + seen.crcErrors > 0 || (line.isClock && !seen.pcr);
}

} // namespace

std::vector<PidLine> pidLines(const Collector &collector, const ModelView &view)
{
    std::vector<PidLine> lines;
    std::uint64_t packets = 0;
    for (const psi::demux::PidStatistics &one : collector.pids()) {
        packets += one.packets;
        lines.push_back(pidLine(collector, view, one));
    }
    for (PidLine &line : lines) {
        line.share = packets > 0 ? static_cast<double>(line.statistics.packets) / static_cast<double>(packets) : 0;
        line.bitrate = collector.bitrate() * line.share;
    }
    return lines;
}

std::vector<PidLine> absentPids(const Collector &collector, const ModelView &view)
{
    std::vector<bool> came(psi::demux::kPidCount);
    for (const psi::demux::PidStatistics &one : collector.pids())
        came[one.pid] = true;
    std::vector<PidLine> lines;
    for (const auto &[pid, uses] : collector.uses().all()) {
        const bool named = std::any_of(uses.begin(), uses.end(), [](const PidUse &use) {
            return use.role != PidRole::tables && use.role != PidRole::network;
        });
        if (named && !came[pid] && pid != psi::demux::kNullPid) {
            lines.push_back({});
            lines.back().statistics.pid = pid;
            lines.back().uses = usesOf(view, collector, pid);
        }
    }
    return lines;
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
                     rightOf(decimal(line.share * 100, 2) + " %", shareWidth) +
                     rightOf(line.bitrate > 0 ? groupedDecimal(line.bitrate / 1e3, 1) : "-", rateWidth) + "  " + uses +
                     (state.empty() ? "" : " (" + state + ")"),
                 isTroubled(line) ? Tone::trouble : Tone::plain);
    }
    return root;
}

LineTree absentPidTree(const std::vector<PidLine> &lines)
{
    LineTree root{"PIDs named by the tables, without a packet", {}};
    for (const PidLine &line : lines)
        root.add(padded(hexDec(line.statistics.pid), pidWidth) + "  " + joined(line.uses, "; "));
    return root;
}

Json absentPidsJson(const std::vector<PidLine> &lines)
{
    Json array = Json::array();
    for (const PidLine &line : lines)
        array.push_back({{"pid", line.statistics.pid}, {"uses", line.uses}});
    return array;
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
                         {"bitrate", line.bitrate > 0 ? Json(rounded(line.bitrate)) : Json(nullptr)},
                         {"pes", seen.pes},
                         {"pcr_count", seen.pcrCount},
                         {"pcr_expected", line.isClock},
                         {"pcr_interval_ms", intervalJson(line.pcrIntervals)},
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

} // namespace psitool
