#include "edit/streamTables.h"

#include "describe/isdb.h"
#include "edit/editedTable.h"
#include "edit/planParts.h"
#include "edit/tableIds.h"

#include <algorithm>

namespace psitool {

bool TablePlaces::has(const TableKind &kind, u16 pid) const
{
    if (kind.psiType == PSI_PMT)
        return pmts.count(pid) != 0;
    if (kind.tableId == nitTable || kind.tableId == nitOtherTable)
        return nits.count(pid) != 0;
    return kind.pid == psi::demux::kNullPid || kind.pid == pid;
}

StreamTables::StreamTables(const psi::demux::Host &host, bool ended, const EditRequest &request)
    : host_(host), ended_(ended), sections_(host.sections()), usual_(findUsual(request.given))
{
    findPrograms(request.changesPsi());
}

Standard StreamTables::findStandard() const
{
    Standard found = Standard::unknown;
    for (const psi::demux::Section &one : sections_) {
        const TableKind *kind = tableKindOf(view(one.bytes), one.pid);
        if (kind && kind->pid == one.pid && kind->standard == Standard::atsc)
            return Standard::atsc;
        if (kind && kind->pid == one.pid && kind->standard == Standard::dvb)
            found = Standard::dvb;
    }
    return found;
}

/** What is given stands; else the NIT tells, which an ISDB network has on its own PID, or where there is none a PMT. */
DescriptorContext StreamTables::findUsual(DescriptorContext given) const
{
    given.standard = findStandard();
    bool hasNit = false;
    visit(psi::demux::kNitPid, nitTable, [&](ByteView section) {
        hasNit = true;
        learnFromNit(given, section);
    });
    for (const psi::demux::Section &one : sections_)
        if (const ByteView section = view(one.bytes); !hasNit && section[0] == pmtTable && isCurrent(section))
            learnFromPmt(given, one.pid, section);
    return given;
}

void StreamTables::visit(u16 pid, u8 tableId, const std::function<void(ByteView)> &visitor) const
{
    for (const psi::demux::Section &one : sections_) {
        const ByteView section = view(one.bytes);
        if (one.pid == pid && section[0] == tableId && isCurrent(section))
            visitor(section);
    }
}

std::string StreamTables::absence(const std::function<bool(u16, ByteView)> &selects, const std::string &name) const
{
    bool current = false;
    bool next = false;
    for (const psi::demux::Section &one : sections_)
        if (selects(one.pid, view(one.bytes)))
            (isCurrent(view(one.bytes)) ? current : next) = true;
    if (current)
        return "the " + name + " is not complete in the stream";
    return next ? "the " + name + " is not current, only announced as the next one" : "no " + name + " found";
}

void StreamTables::require(u16 pid, u8 tableId, const char *name) const
{
    bool found = false;
    visit(pid, tableId, [&](ByteView) { found = true; });
    if (!found)
        missing(absence(selector(pid, tableId), name));
}

Trees StreamTables::treesOf(ByteView section, u16 pid) const
{
    const TableContext context{tableKindOf(section, pid), pid, usual_};
    return readTrees({Bytes(section.begin(), section.end())}, context);
}

/** What the PAT says; a PMT that cannot be read names nothing. */
void StreamTables::findPrograms(bool readPmts)
{
    std::set<std::pair<u16, u16>> entries;
    visit(patPid, patTable, [&](ByteView section) {
        transportStream_ = idExtensionOf(section);
        for (const ProgramEntry &entry : programsOf(treesOf(section, patPid))) {
            if (entry.programNumber != 0)
                entries.emplace(entry.programNumber, entry.pid);
            else
                places_.nits.insert(entry.pid);
        }
    });
    // A flood of PATs has very many entries: all sections are gone through once, not for each of them.
    std::multimap<std::pair<u16, u16>, ByteView> maps;
    for (const psi::demux::Section &one : sections_)
        if (const ByteView section = view(one.bytes); section[0] == pmtTable && isCurrent(section))
            maps.emplace(std::make_pair(idExtensionOf(section), one.pid), section);
    for (const auto &entry : entries) {
        StreamProgram program = {entry.first, entry.second, false, {}};
        places_.pmts.insert(program.pmtPid);
        const auto [first, end] = maps.equal_range(entry);
        program.found = first != end;
        for (auto one = first; readPmts && one != end; ++one)
            program.pids.merge(pidsOf(treesOf(one->second, program.pmtPid)));
        programs_.push_back(std::move(program));
    }
}

u16 StreamTables::nitPid() const
{
    u16 place = psi::demux::kNitPid;
    for (const u16 pid : places_.nits)
        visit(pid, nitTable, [&](ByteView) { place = pid; });
    return place;
}

bool StreamTables::uses(u16 pid) const
{
    const std::vector<psi::demux::PidStatistics> pids = host_.pids();
    return std::any_of(pids.begin(), pids.end(), [=](const auto &one) { return one.pid == pid; });
}

} // namespace psitool
