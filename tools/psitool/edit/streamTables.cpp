#include "edit/streamTables.h"

#include "describe/modelView.h"
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
    : host_(host), ended_(ended), sections_(host.sections()), usual_(request.given)
{
    findPrograms();
    findUsual();
    findMaps(request.changesPsi());
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

/** What is given stands; what it leaves open, the tables tell. */
void StreamTables::findUsual()
{
    usual_.standard = findStandard();
    const u16 nit = nitPid();
    std::vector<PlacedSection> tables;
    visitAll([&](u16 pid, ByteView section) {
        if ((section[0] == nitTable && pid == nit) || (section[0] == pmtTable && places_.pmts.count(pid) != 0))
            tables.push_back({pid, section});
    });
    usual_ = contextOf(usual_, tables);
}

void StreamTables::visitAll(const std::function<void(u16 pid, ByteView)> &visitor) const
{
    for (const psi::demux::Section &one : sections_)
        if (isCurrent(view(one.bytes)))
            visitor(one.pid, view(one.bytes));
}

void StreamTables::visit(u16 pid, u8 tableId, const std::function<void(ByteView)> &visitor) const
{
    visitAll([&](u16 sectionPid, ByteView section) {
        if (sectionPid == pid && section[0] == tableId)
            visitor(section);
    });
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

Trees StreamTables::treesOf(ByteView section, u16 pid) const
{
    const TableContext context{tableKindOf(section, pid), pid, usual_};
    return readTrees({Bytes(section.begin(), section.end())}, context);
}

/** What the PAT says. */
void StreamTables::findPrograms()
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
    for (const auto &[number, pmtPid] : entries) {
        programs_.push_back({number, pmtPid, false, {}});
        places_.pmts.insert(pmtPid);
    }
}

/** A PMT that cannot be read names nothing. */
void StreamTables::findMaps(bool readPmts)
{
    // A flood of PATs has very many entries: all sections are gone through once, not for each of them.
    std::multimap<std::pair<u16, u16>, ByteView> maps;
    visitAll([&](u16 pid, ByteView section) {
        if (section[0] == pmtTable)
            maps.emplace(std::make_pair(idExtensionOf(section), pid), section);
    });
    for (StreamProgram &program : programs_) {
        const auto [first, end] = maps.equal_range({program.number, program.pmtPid});
        program.found = first != end;
        for (auto one = first; readPmts && one != end; ++one)
            program.pids.merge(pidsOf(treesOf(one->second, program.pmtPid)));
    }
}

/** Where it is on its usual PID, that is the one that counts; the PAT may give another. */
u16 StreamTables::nitPid() const
{
    std::set<u16> places;
    visitAll([&](u16 pid, ByteView section) {
        if (section[0] == nitTable && places_.nits.count(pid) != 0)
            places.insert(pid);
    });
    return places.empty() || places.count(psi::demux::kNitPid) != 0 ? psi::demux::kNitPid : *places.begin();
}

bool StreamTables::uses(u16 pid) const
{
    bool announced = false;
    visitAll([&](u16 place, ByteView section) {
        if ((place == catPid && section[0] == catTable) || (place == psipPid && section[0] == mgtTable))
            announced = announced || announcedPids(treesOf(section, place)).count(pid) != 0;
    });
    const std::vector<psi::demux::PidStatistics> pids = host_.pids();
    return announced || std::any_of(pids.begin(), pids.end(), [=](const auto &one) { return one.pid == pid; });
}

} // namespace psitool
