#include "edit/editPlan.h"

#include <algorithm>
#include <cstdio>

namespace psitool {

namespace {

constexpr u16 patPid = 0x0000;
constexpr u16 nitPid = psi::demux::kNitPid;
constexpr u16 sdtPid = psi::demux::kSdtPid;
constexpr u8 patTable = 0x00;
constexpr u8 pmtTable = 0x02;
constexpr u8 nitTable = 0x40;
constexpr u8 sdtTable = 0x42;
constexpr u8 batTable = 0x4A;
/** A stream that runs for months changes its tables again and again. */
constexpr std::size_t mostVersions = 1024;

/** Fields of a section's long header, ISO/IEC 13818-1 2.4.4.11. */
u16 idExtensionOf(ByteView section)
{
    return psi::demux::tableIdExtension(section.data());
}

u8 versionOf(ByteView section)
{
    return section[5] >> 1 & 0x1F;
}

bool isCurrent(ByteView section)
{
    return (section[5] & 1) != 0;
}

std::string listed(const std::set<u16> &numbers)
{
    std::string text;
    for (const u16 number : numbers)
        text += (text.empty() ? "" : ", ") + numberText(number);
    return text;
}

} // namespace

std::string numberText(u16 number)
{
    char text[24];
    std::snprintf(text, sizeof text, "0x%04X (%u)", unsigned{number}, unsigned{number});
    return text;
}

Sections EditedTable::Version::known() const
{
    Sections all;
    for (const auto &[number, section] : sections)
        all.push_back(*section);
    return all;
}

void EditedTable::Version::prepare()
{
    if (ready)
        return;
    edited.clear();
    for (Bytes &section : table.edit_(known()))
        edited.push_back(std::make_shared<const Bytes>(std::move(section)));
    ready = true;
}

std::vector<SharedSection> EditedTable::Version::inPlaceOf(u8 number)
{
    if (!table.edit_ || !complete())
        return {};
    try {
        prepare();
    } catch (const EditError &) {
        return {sections.at(number)};
    }
    const std::size_t from = std::min<std::size_t>(number, edited.size());
    const std::size_t to = number == last ? edited.size() : std::min<std::size_t>(number + 1U, edited.size());
    return {edited.begin() + static_cast<std::ptrdiff_t>(from), edited.begin() + static_cast<std::ptrdiff_t>(to)};
}

EditedTable::EditedTable(u16 pid, u8 tableId, std::optional<u16> idExtension, std::string name, Edit edit)
    : pid_(pid), tableId_(tableId), idExtension_(idExtension), name_(std::move(name)), edit_(std::move(edit))
{
}

bool EditedTable::owns(u16 pid, ByteView section) const
{
    return pid == pid_ && section[0] == tableId_ && (!idExtension_ || *idExtension_ == idExtensionOf(section));
}

std::shared_ptr<EditedTable::Version> EditedTable::add(ByteView section)
{
    const u8 last = section[7];
    std::uint64_t key = u32{idExtensionOf(section)} << 16 | u32{versionOf(section)} << 8 | last;
    if (last == 0)
        key = key << 32 | ByteReader(section.part(section.size() - 4)).u32Field(); // CRC_32
    std::shared_ptr<Version> &place = versions_[key];
    if (place == nullptr)
        place = std::make_shared<Version>(*this);
    std::shared_ptr<Version> version = place;
    version->last = last;
    version->lastUse = ++uses_;
    SharedSection &stored = version->sections[section[6]];
    if (stored == nullptr || !std::equal(section.begin(), section.end(), stored->begin(), stored->end())) {
        stored = std::make_shared<const Bytes>(section.begin(), section.end());
        version->ready = false;
    }
    if (versions_.size() > mostVersions)
        forgetOldest();
    return version;
}

void EditedTable::forgetOldest()
{
    const auto oldest = std::min_element(versions_.begin(), versions_.end(), [](const auto &a, const auto &b) {
        return a.second->lastUse < b.second->lastUse;
    });
    versions_.erase(oldest);
}

void EditedTable::editAll()
{
    if (!edit_)
        return;
    bool any = false;
    for (const auto &[key, version] : versions_) {
        if (!version->complete())
            continue;
        version->prepare();
        any = true;
    }
    if (!any)
        throw TableMissing("the " + name_ + " is not complete in the stream");
}

std::vector<Sections> EditedTable::completeVersions() const
{
    std::vector<Sections> all;
    for (const auto &[key, version] : versions_)
        if (version->complete())
            all.push_back(version->known());
    return all;
}

std::set<u16> EditPlan::editedPids() const
{
    std::set<u16> pids;
    for (const auto &table : tables)
        pids.insert(table->pid());
    return pids;
}

namespace {

/** Builds the plan of one stream. */
class Planner {
public:
    Planner(const EditRequest &request, const psi::demux::Host &host, bool ended)
        : request_(request), host_(host), ended_(ended), sections_(host.sections())
    {
    }

    EditPlan plan()
    {
        if (request_.changesSdt())
            planSdt();
        if (request_.changesNit())
            planNit();
        if (request_.changesBat())
            planBat();
        if (request_.changesPsi())
            planPsi();
        for (const auto &table : plan_.tables)
            table->editAll();
        return std::move(plan_);
    }

private:
    [[noreturn]] void fail(const std::string &why) const { throw EditError(exitNotFound, host_.name() + ": " + why); }

    void require(u16 pid, u8 tableId, const char *name) const
    {
        bool found = false;
        visit(pid, tableId, [&](ByteView) { found = true; });
        if (!found)
            throw TableMissing(host_.name() + ": no " + name + " found");
    }

    /** Every section of the stream that belongs to a table, and is no announcement of the next one. */
    template <class Visit> void visit(u16 pid, u8 tableId, const Visit &visitor) const
    {
        for (const psi::demux::Section &one : sections_) {
            const ByteView section = view(one.bytes);
            if (one.pid == pid && section[0] == tableId && isCurrent(section))
                visitor(section);
        }
    }

    EditedTable &addTable(u16 pid, u8 tableId, std::optional<u16> idExtension, const std::string &name,
                          EditedTable::Edit edit)
    {
        plan_.tables.push_back(std::make_unique<EditedTable>(pid, tableId, idExtension, name, std::move(edit)));
        EditedTable &table = *plan_.tables.back();
        visit(pid, tableId, [&](ByteView section) {
            if (table.owns(pid, section))
                table.add(section);
        });
        return table;
    }

    static std::set<u16> collect(const EditedTable &table, std::vector<u32> (*entries)(const Sections &),
                                 unsigned shift)
    {
        std::set<u16> ids;
        for (const Sections &version : table.completeVersions())
            for (const u32 entry : entries(version))
                ids.insert(static_cast<u16>(entry >> shift));
        return ids;
    }

    void planSdt()
    {
        require(sdtPid, sdtTable, "SDT (actual)");
        EditedTable &table = addTable(sdtPid, sdtTable, std::nullopt, "SDT (actual)",
                                      [&request = request_](const Sections &old) { return editSdt(old, request); });
        table.editAll();
        const std::set<u16> services = collect(table, servicesOf, 0);
        std::set<u16> wanted = request_.removedServices;
        for (const auto &[id, edit] : request_.services)
            wanted.insert(id);
        for (const u16 id : wanted)
            if (services.count(id) == 0)
                fail("the SDT has no service " + numberText(id) + ", only " + listed(services));
    }

    void planNit()
    {
        require(nitPid, nitTable, "NIT (actual)");
        EditedTable &table = addTable(nitPid, nitTable, std::nullopt, "NIT (actual)",
                                      [&request = request_](const Sections &old) { return editNit(old, request); });
        table.editAll();
        const std::set<u16> streams = collect(table, streamsOf, 16);
        for (const StreamDescriptor &one : request_.streamDescriptors)
            if (streams.count(one.transportStreamId) == 0)
                fail("the NIT has no transport stream " + numberText(one.transportStreamId) + ", only " +
                     listed(streams));
    }

    void planBat()
    {
        require(sdtPid, batTable, "BAT");
        std::set<u16> bouquets;
        visit(sdtPid, batTable, [&](ByteView section) { bouquets.insert(idExtensionOf(section)); });
        std::map<u16, Bytes> names = request_.bouquetNames;
        if (request_.onlyBouquetName) {
            if (bouquets.size() > 1)
                fail("there are several bouquets, " + listed(bouquets) +
                     ": which one is meant (--bouquet-name ID=NAME)?");
            names.emplace(*bouquets.begin(), *request_.onlyBouquetName);
        }
        for (const auto &[id, name] : names) {
            if (bouquets.count(id) == 0)
                missingBouquet(id, bouquets);
            addTable(sdtPid, batTable, id, "BAT of bouquet " + numberText(id),
                     [newName = name](const Sections &old) { return editBat(old, newName); });
        }
    }

    /** Other bouquets come in their own time. */
    [[noreturn]] void missingBouquet(u16 id, const std::set<u16> &bouquets) const
    {
        throw TableMissing(host_.name() + ": there is no bouquet " + numberText(id) + ", only " + listed(bouquets));
    }

    struct Program {
        u16 number = 0;
        u16 pmtPid = 0;
        bool removed = false;
        bool found = false; /**< a PMT is there */
        std::set<u16> pids; /**< what its PMT names */
    };

    void findPrograms()
    {
        std::set<std::pair<u16, u16>> entries;
        visit(patPid, patTable, [&](ByteView section) {
            for (const ProgramEntry &entry : programsOf(section))
                if (entry.programNumber != 0)
                    entries.emplace(entry.programNumber, entry.pid);
        });
        for (const auto &[number, pid] : entries) {
            Program program = {number, pid, request_.removedPrograms.count(number) != 0, false, {}};
            visit(pid, pmtTable, [&](ByteView section) {
                if (idExtensionOf(section) != program.number)
                    return;
                program.found = true;
                program.pids.merge(pidsOf(section));
            });
            if (!program.found && !ended_)
                throw TableMissing(host_.name() + ": no PMT of program " + numberText(number) + " found");
            programs_.push_back(std::move(program));
        }
    }

    void planPsi()
    {
        require(patPid, patTable, "PAT");
        findPrograms();
        planRemovals();
        planPids();
        const bool patChanges = !request_.removedPrograms.empty() ||
                                std::any_of(programs_.begin(), programs_.end(), [&](const Program &program) {
                                    return request_.pids.count(program.pmtPid) != 0;
                                });
        if (patChanges)
            addTable(patPid, patTable, std::nullopt, "PAT",
                     [&request = request_](const Sections &old) { return editPat(old, request); });
    }

    void planRemovals()
    {
        std::set<u16> removedNumbers;
        std::set<u16> keptPids;
        for (const Program &program : programs_) {
            if (program.removed) {
                removedNumbers.insert(program.number);
                addTable(program.pmtPid, pmtTable, program.number, "PMT of program " + numberText(program.number), {});
                continue;
            }
            keptPids.insert(program.pmtPid);
            keptPids.insert(program.pids.begin(), program.pids.end());
        }
        for (const u16 number : request_.removedPrograms)
            if (removedNumbers.count(number) == 0)
                fail("the PAT has no program " + numberText(number));
        for (const Program &program : programs_)
            for (const u16 pid : program.pids)
                if (program.removed && keptPids.count(pid) == 0 && pid > lastSystemPid)
                    plan_.droppedPids.insert(pid);
    }

    void planPids()
    {
        for (const auto &[from, to] : request_.pids) {
            checkTarget(from, to);
            plan_.renamedPids.emplace(from, to);
        }
        for (const Program &program : programs_) {
            const bool changes = std::any_of(program.pids.begin(), program.pids.end(),
                                             [&](u16 pid) { return request_.pids.count(pid) != 0; });
            if (changes && !program.removed)
                addTable(program.pmtPid, pmtTable, program.number, "PMT of program " + numberText(program.number),
                         [&request = request_, pid = program.pmtPid](const Sections &old) {
                             return editPmt(old, pid, request);
                         });
        }
    }

    bool named(u16 pid) const
    {
        return std::any_of(programs_.begin(), programs_.end(), [=](const Program &program) {
            return !program.removed && (program.pmtPid == pid || program.pids.count(pid) != 0);
        });
    }

    void checkTarget(u16 from, u16 to) const
    {
        if (!named(from))
            fail("PID " + numberText(from) + " is neither in a PMT nor that of a PMT");
        const std::vector<psi::demux::PidStatistics> pids = host_.pids();
        const bool inUse = std::any_of(pids.begin(), pids.end(), [=](const auto &one) { return one.pid == to; });
        if ((inUse || named(to)) && request_.pids.count(to) == 0)
            fail("PID " + numberText(to) + " is in use already");
    }

    /** PIDs below are those of tables, whatever a PMT says. */
    static constexpr u16 lastSystemPid = 0x001F;

    const EditRequest &request_;
    const psi::demux::Host &host_;
    bool ended_;
    std::vector<psi::demux::Section> sections_;
    std::vector<Program> programs_;
    EditPlan plan_;
};

} // namespace

EditPlan makeEditPlan(const EditRequest &request, const psi::demux::Host &host, bool ended)
{
    return Planner(request, host, ended).plan();
}

} // namespace psitool
