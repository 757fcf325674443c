#include "output/lines.h"
#include "pids/pidList.h"
#include "pids/tableTimes.h"
#include "scan/scan.h"
#include "services/serviceList.h"

#include <utility>

namespace psitool {

namespace {

constexpr std::size_t pidWidth = 13; // of "0x1FFF (8191)"

std::string versionText(const psiHead &head)
{
    return "version " + std::to_string(head.version_number) + (head.current_next ? "" : ", not yet applicable");
}

/* ---- input ---------------------------------------------------------------------------------------------------------
 */

struct Counter {
    std::uint64_t count;
    const char *noun;
    std::uint64_t psi::demux::PidStatistics::*ofPid; /**< null: belongs to no PID */
    const char *behind = "";                         /**< of the noun */
};

/** " (0x0100: 2, 0x0200: 1)" */
std::string pidsOf(const Counter &counter, const psi::demux::Collector *collector)
{
    constexpr std::size_t most = 8;
    std::vector<std::string> parts;
    if (!counter.ofPid || !collector)
        return "";
    for (const psi::demux::PidStatistics &pid : collector->pids()) {
        const bool isNoise = pid.sections == 0 && collector->uses().of(pid.pid).empty() &&
                             counter.ofPid == &psi::demux::PidStatistics::crcErrors;
        if (pid.*counter.ofPid > 0 && !isNoise)
            parts.push_back(hex(pid.pid, 4) + ": " + grouped(pid.*counter.ofPid));
    }
    if (parts.size() > most) {
        const std::size_t more = parts.size() - most;
        parts.resize(most);
        parts.push_back(std::to_string(more) + " more PIDs");
    }
    return parts.empty() ? "" : " (" + joined(parts, ", ") + ")";
}

void addErrors(LineTree &root, const psi::demux::Statistics &statistics, const psi::demux::Collector *collector)
{
    using psi::demux::PidStatistics;
    const Counter counters[] = {
        {statistics.transportErrors, "transport error", &PidStatistics::transportErrors},
        {statistics.continuityErrors, "continuity error", &PidStatistics::continuityErrors},
        {statistics.crcErrors, "CRC error", &PidStatistics::crcErrors},
        {statistics.malformedPackets, "malformed packet", nullptr},
        {statistics.malformedSections, "malformed section", nullptr},
        {statistics.resyncs, "sync loss", nullptr},
        {statistics.skippedBytes, "skipped byte", nullptr},
        {statistics.rtpGaps, "missing RTP packet", nullptr},
        {statistics.rtpLate, "late RTP packet", nullptr},
        {statistics.rtpDuplicates, "repeated RTP packet", nullptr},
        {statistics.badDatagrams, "bad datagram", nullptr},
        {statistics.sectionsNotStored, "section", nullptr, " left out for want of room"},
    };
    std::vector<std::string> parts;
    for (const Counter &counter : counters)
        if (counter.count > 0)
            parts.push_back(counted(counter.count, counter.noun, counter.behind) + pidsOf(counter, collector));
    root.add(labelled("errors", parts.empty() ? "none" : joined(parts, ", ")),
             parts.empty() ? Tone::plain : Tone::trouble);
}

} // namespace

LineTree inputTree(const ScanInput &input, const psi::demux::Collector *collector)
{
    const psi::demux::Statistics &statistics = input.statistics;
    LineTree root{"Input " + safeText(input.name), {}};
    root.add(labelled("packets", grouped(statistics.packets) + " of " + std::to_string(statistics.packetSize) +
                                     " bytes, " + grouped(statistics.nullPackets) + " null, " +
                                     grouped(statistics.scrambledPackets) + " scrambled"));
    if (input.bitrate > 0 && input.seconds > 0)
        root.add(labelled("time", durationText(input.seconds) + ", " + bitrateText(input.bitrate)));
    if (input.live)
        root.add(labelled("datagrams", grouped(statistics.datagrams)));
    if (input.watchedSeconds > 0)
        root.add(labelled("watched", grouped(static_cast<std::uint64_t>(input.watchedSeconds)) + " s" +
                                         (collector ? "" : ", " + counted(input.searches, "round") + " of searches")));
    addErrors(root, statistics, collector);
    if (input.interrupted)
        root.add(labelled("interrupted", "what follows is what was found until then"));
    return root;
}

namespace {

/* ---- transport stream ----------------------------------------------------------------------------------------------
 */

void addCat(LineTree &root, const ModelView &view)
{
    const tsInfo &model = view.model();
    if (!view.acquired(PSI_CAT)) {
        root.add(labelled("CAT", "none"));
        return;
    }
    LineTree &cat = root.add(labelled("CAT", versionText(model.catHead)));
    addCaSystems(cat, model.catCaList, "EMM");
    addDescriptors(cat, view.catDescriptors());
}

void addNetwork(LineTree &root, const ModelView &view)
{
    const tsInfo &model = view.model();
    if (view.acquired(PSI_SDT_ACTUAL))
        root.add(labelled("original_network_id", hexDec(model.orNetId)));
    if (view.acquired(PSI_NIT_ACTUAL))
        root.add(labelled("network_id", hexDec(model.netId) + quotedBehind(view.networkName())));
    if (view.acquired(PSI_PAT))
        root.add(labelled("network PID", model.netFlag ? hexDec(model.netPid) : "none in the PAT"));
}

/** The model keeps the identifier of the table analysed last; a PAT that says otherwise is worth a line. */
void addPatIdentifier(LineTree &root, const ModelView &view)
{
    for (const auto &[id, sections] : view.subTables(PSI_PAT))
        if (id != view.model().tsId)
            root.add(labelled("in the PAT", "transport_stream_id " + hexDec(id) + ", another than in the " +
                                                (view.acquired(PSI_VCT) ? "VCT" : "SDT")));
}

void addServiceTable(LineTree &root, const ModelView &view)
{
    const tsInfo &model = view.model();
    const bool vct = view.acquired(PSI_VCT);
    if (vct || view.acquired(PSI_SDT_ACTUAL)) {
        LineTree &node = root.add(labelled(vct ? "VCT" : "SDT", versionText(model.sdtHead)));
        addDescriptors(node, view.vctDescriptors());
    }
}

std::string titleOf(const ScanResult &result)
{
    if (result.emptyPat())
        return "Transport stream " + hexDec(*result.collector->uses().transportStream());
    return result.view.acquired(PSI_PAT) ? "Transport stream " + hexDec(result.view.model().tsId) : "No PAT";
}

LineTree transportStreamTree(const ScanResult &result)
{
    const ModelView &view = result.view;
    const tsInfo &model = view.model();
    LineTree root{titleOf(result), {}};
    if (view.acquired(PSI_PAT))
        root.add(labelled("PAT", versionText(model.patHead) + ", " + counted(view.programCount(), "program")));
    else if (result.emptyPat())
        root.add(labelled("PAT", "without programs"));
    addPatIdentifier(root, view);
    addNetwork(root, view);
    addCat(root, view);
    addServiceTable(root, view);
    return root;
}

/* ---- programs -------------------------------------------------------------------------------------------------------
 */

std::string eitText(const progInfo &program)
{
    std::vector<std::string> parts;
    if (program.EIT_pre_flag)
        parts.emplace_back("present/following");
    if (program.EIT_flag)
        parts.emplace_back("schedule");
    return parts.empty() ? "none" : joined(parts, ", ");
}

void addService(LineTree &root, const ModelView &view, const progInfo &program)
{
    if (!view.hasService(program)) {
        if (view.acquired(PSI_SDT_ACTUAL))
            root.add(labelled("service", "not in the SDT"));
        return;
    }
    const std::string provider = quoted(view.providerName(program));
    if (!provider.empty())
        root.add(labelled("provider", provider));
    root.add(
        labelled("service type", hex(program.prog_type, 2) + " " + serviceTypeName(program.prog_type, view.context())));
    root.add(labelled("running status", std::to_string(program.run_stat) + " " + runningStatusName(program.run_stat)));
    root.add(labelled("free_CA_mode", program.ca_mode ? "1 scrambled" : "0 not scrambled"));
    root.add(labelled("EIT", eitText(program)));
}

void addChannel(LineTree &root, const ModelView &view, const progInfo &program)
{
    if (!view.hasChannel(program))
        return;
    root.add(labelled("channel", std::to_string(program.major_channel_number) + "." +
                                     std::to_string(program.minor_channel_number) + ", source_id " +
                                     hexDec(program.source_id) + ", channel_TSID " + hexDec(program.channel_TSID)));
    root.add(
        labelled("channel type", hex(program.service_type, 2) + " " + channelServiceTypeName(program.service_type)));
    root.add(
        labelled("modulation", hex(program.modulation_mode, 2) + " " + modulationModeName(program.modulation_mode)));
}

std::string languagesText(const std::vector<std::string> &codes)
{
    std::vector<std::string> parts;
    for (const std::string &code : codes) {
        const char *name = languageName(code);
        parts.push_back(name ? code + " (" + name + ")" : code);
    }
    return joined(parts, ", ");
}

void addStream(LineTree &root, const ModelView &view, const progInfo &program, const esInfo &stream)
{
    LineTree &node = root.add("PID " + padded(hexDec(stream.esPid), pidWidth) + "  " + hex(stream.esType, 2) + " " +
                              view.streamKind(program, stream));
    const std::string languages = languagesText(view.streamLanguages(program, stream));
    if (!languages.empty())
        node.text += ", " + languages;
    addCaSystems(node, stream.caList, "ECM");
    addDescriptors(node, view.streamDescriptors(program, stream));
}

void addPmt(LineTree &root, const ModelView &view, const progInfo &program)
{
    if (!program.pmtValid) {
        root.add(labelled("PMT", "PID " + padded(hexDec(program.pmtPid), pidWidth) + "  not found"), Tone::trouble);
        return;
    }
    root.add(labelled("PMT", "PID " + padded(hexDec(program.pmtPid), pidWidth) + "  " + versionText(program.pmtHead)));
    root.add(labelled("PCR", program.pcrPid == 0x1FFF ? "none" : "PID " + hexDec(program.pcrPid)));
    addCaSystems(root, program.caList, "ECM");
    addDescriptors(root, view.pmtDescriptors(program));
    for (const esInfo &stream : nodes(program.esList))
        addStream(root, view, program, stream);
}

LineTree programTree(const ModelView &view, const progInfo &program)
{
    LineTree root{"Program " + hexDec(program.progNo) + quotedBehind(view.serviceName(program)), {}};
    addService(root, view, program);
    addChannel(root, view, program);
    addDescriptors(root, view.serviceDescriptors(program));
    addPmt(root, view, program);
    return root;
}

/** Services that the SDT or the VCT names, and the PAT does not. */
LineTree otherServicesTree(const ScanResult &result)
{
    LineTree root{"Services that are not in the PAT", {}};
    if (!result.collector)
        return root;
    for (const Service &service : otherServices(*result.collector, result.view))
        root.add(hexDec(service.number) + (service.name.empty() ? "" : "  \"" + service.name + "\"") +
                 (service.channel.empty() ? "" : ", channel " + service.channel) +
                 (service.type.empty() ? "" : ", " + service.type));
    return root;
}

} // namespace

namespace {

/** "0x000A (10)    "News One", digital television, scrambled: MPEG-2 video, MPEG-1 audio eng" */
LineTree programLine(const ModelView &view, const progInfo &program)
{
    std::vector<std::string> streams;
    for (const esInfo &stream : nodes(program.esList))
        streams.push_back(streamTitle(view.streamKind(program, stream), view.streamLanguages(program, stream)));
    const std::string name = quoted(view.serviceName(program));
    LineTree line{padded(hexDec(program.progNo), pidWidth) + "  " + (name.empty() ? "(no name)" : name), {}};
    if (view.hasChannel(program))
        line.text += ", channel " + std::to_string(program.major_channel_number) + "." +
                     std::to_string(program.minor_channel_number);
    if (program.ca_mode != 0 || program.caFlag != 0)
        line.text += ", scrambled";
    line.text += ": " + (program.pmtValid ? joined(counts(streams), ", ") : "PMT not found");
    line.tone = program.pmtValid ? Tone::plain : Tone::trouble;
    return line;
}

/** Trees as text, a blank line between them. */
class Page {
public:
    Page(const Look &look, LongLines longLines) : look_(look), longLines_(longLines) {}

    void add(const LineTree &tree)
    {
        if (!text_.empty())
            text_ += '\n';
        addTree(text_, tree, look_, longLines_);
    }
    void addWhenAny(const LineTree &tree)
    {
        if (!tree.children.empty())
            add(tree);
    }
    std::string take() { return std::move(text_); }

private:
    const Look &look_;
    LongLines longLines_;
    std::string text_;
};

/** What is missing; and where there is no table at all, what there is. */
void addWithoutTables(Page &page, const ScanResult &result)
{
    if (!result.collector)
        return;
    page.addWhenAny(missingTree(*result.collector));
    if (result.collector->tables().empty())
        page.add(pidTree(pidLines(*result.collector, result.view)));
}

} // namespace

std::string scanText(const ScanResult &result, const Look &look)
{
    const ModelView &view = result.view;
    Page page(look, LongLines::wrap);
    page.add(inputTree(result.input, result.collector));
    page.add(transportStreamTree(result));
    for (const progInfo &program : nodes(view.model().progList))
        page.add(programTree(view, program));
    page.addWhenAny(otherServicesTree(result));
    page.add(tablesTree(result));
    addWithoutTables(page, result);
    return page.take();
}

std::string scanSummary(const ScanResult &result, const Look &look)
{
    const tsInfo &model = result.view.model();
    Page page(look, LongLines::cut);
    page.add(inputTree(result.input, result.collector));
    LineTree programs{titleOf(result) + ": " + counted(result.view.programCount(), "program"), {}};
    if (result.view.acquired(PSI_NIT_ACTUAL))
        programs.text += ", network " + hexDec(model.netId) + quotedBehind(result.view.networkName());
    for (const progInfo &program : nodes(model.progList))
        programs.children.push_back(programLine(result.view, program));
    page.add(programs);
    page.addWhenAny(otherServicesTree(result));
    LineTree tables = tablesTree(result);
    for (LineTree &table : tables.children)
        table.children.clear();
    page.add(tables);
    addWithoutTables(page, result);
    return page.take() +
           look.coloured(cut("scan --details shows descriptors, streams and sub-tables", look.width), Tone::hint) +
           "\n";
}

} // namespace psitool
