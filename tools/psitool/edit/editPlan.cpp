#include "edit/editPlan.h"

#include <algorithm>
#include <cstdio>

namespace psitool {

namespace {

constexpr u16 patPid = psi::demux::kPatPid;
constexpr u16 sdtPid = psi::demux::kSdtPid;
constexpr u16 psipPid = psi::demux::kPsipPid;
constexpr u8 patTable = 0x00;
constexpr u8 pmtTable = 0x02;
constexpr u8 nitTable = 0x40;
constexpr u8 nitOtherTable = 0x41;
constexpr u8 sdtTable = 0x42;
constexpr u8 batTable = 0x4A;
constexpr u8 mgtTable = 0xC7;
constexpr u8 terrestrialVctTable = 0xC8;
constexpr u8 cableVctTable = 0xC9;

std::string listed(const std::set<u16> &numbers)
{
    std::string text;
    for (const u16 number : numbers)
        text += (text.empty() ? "" : ", ") + numberText(number);
    return text;
}

/** Whether an entry of the MGT announces tables of a kind. A/65 Table 6.3. */
bool announces(u64 tableType, const TableKind &kind)
{
    const auto isOf = [&](u64 first, u64 last) { return tableType >= first && tableType <= last; };
    switch (kind.tableId) {
    case terrestrialVctTable:
        return tableType == 0x0000;
    case cableVctTable:
        return tableType == 0x0002;
    case 0xCA:
        return isOf(0x0301, 0x03FF);
    case 0xCB:
        return isOf(0x0100, 0x017F);
    case 0xCC:
        return tableType == 0x0004 || isOf(0x0200, 0x027F);
    case 0xD3:
        return isOf(0x1400, 0x14FF);
    case 0xD4:
        return tableType == 0x0005;
    default:
        return false;
    }
}

/** The versions and sizes of the tables that were changed. A/65 6.2. @return whether the MGT has any of them */
bool followTables(Trees &mgt, const EditedTables &tables)
{
    constexpr u64 versionMask = 0x1F;
    bool hit = false;
    const auto follow = [&](Fields &entry) {
        Field *version = findField(entry, "table_type_version_number");
        Field *bytes = findField(entry, "number_bytes");
        const u64 oldVersion = version->number;
        for (const EditedTable *table : tables.all()) {
            const bool isIt = table->context().pid == numberOf(entry, "table_type_PID", 0) &&
                              announces(numberOf(entry, "table_type", 0), *table->context().kind);
            if (!isIt || !table->touched())
                continue;
            version->number = (oldVersion + 1) & versionMask;
            bytes->number += static_cast<u64>(table->growthOf(static_cast<u8>(oldVersion)));
            hit = true;
        }
    };
    for (Fields &tree : mgt)
        if (Field *entries = findField(tree, "tables"))
            std::for_each(entries->items.begin(), entries->items.end(), follow);
    return hit;
}

/** Where tables are taken for those of their kind, besides the PIDs that the standards give them. */
struct Places {
    std::set<u16> pmts;
    std::set<u16> nits = {psi::demux::kNitPid};

    bool has(const TableKind &kind, u16 pid) const
    {
        if (kind.psiType == PSI_PMT)
            return pmts.count(pid) != 0;
        if (kind.tableId == nitTable || kind.tableId == nitOtherTable)
            return nits.count(pid) != 0;
        return kind.pid == psi::demux::kNullPid || kind.pid == pid;
    }
};

/** The table_id_extension of a tree. */
std::optional<u16> treesId(const Fields &tree)
{
    constexpr u32 place = 24;
    for (const Field &field : tree)
        if (field.bit == place && field.bits == 16)
            return static_cast<u16>(field.number);
    return std::nullopt;
}

/** Builds the plan of one stream. */
class Planner {
public:
    Planner(const EditRequest &request, const psi::demux::Host &host, bool ended)
        : request_(request), host_(host), ended_(ended), sections_(host.sections())
    {
        plan_.tables->standard = standard();
        plan_.bitrate = request.bitrate;
        plan_.fewerRepetitions = request.allowSlower;
    }

    EditPlan plan()
    {
        findPrograms();
        planTables();
        planSdt();
        planNit();
        planBat();
        planPsi();
        planSets();
        planMgt();
        planInserts();
        takeSections();
        checkRequired();
        checkIds();
        editAll();
        return std::move(plan_);
    }

private:
    [[noreturn]] void fail(const std::string &why) const { throw EditError(exitNotFound, host_.name() + ": " + why); }
    [[noreturn]] void missing(const std::string &why) const { throw TableMissing(host_.name() + ": " + why); }

    /* ---- what is in the stream ---- */

    Standard standard() const
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

    /** Every section of the stream that belongs to a table, and is no announcement of the next one. */
    template <class Visit> void visit(u16 pid, u8 tableId, const Visit &visitor) const
    {
        for (const psi::demux::Section &one : sections_) {
            const ByteView section = view(one.bytes);
            if (one.pid == pid && section[0] == tableId && isCurrent(section))
                visitor(section);
        }
    }

    void require(u16 pid, u8 tableId, const char *name) const
    {
        bool found = false;
        visit(pid, tableId, [&](ByteView) { found = true; });
        if (!found)
            missing("no " + std::string(name) + " found");
    }

    Trees treesOf(ByteView section, u16 pid) const
    {
        const TableContext context{tableKindOf(section, pid), pid, plan_.tables->standard};
        return readTrees({Bytes(section.begin(), section.end())}, context);
    }

    struct Program {
        u16 number = 0;
        u16 pmtPid = 0;
        bool removed = false;
        bool found = false; /**< a PMT is there */
        std::set<u16> pids; /**< what its PMT names */
    };

    /** What the PAT says; a PMT that cannot be read names nothing. */
    void findPrograms()
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
        for (const auto &entry : entries) {
            const u16 number = entry.first;
            const u16 pid = entry.second; // a lambda takes no binding
            places_.pmts.insert(pid);
            Program program = {number, pid, request_.removedPrograms.count(number) != 0, false, {}};
            visit(pid, pmtTable, [&](ByteView section) {
                if (idExtensionOf(section) != program.number)
                    return;
                program.found = true;
                if (request_.changesPsi())
                    program.pids.merge(pidsOf(treesOf(section, pid)));
            });
            programs_.push_back(std::move(program));
        }
    }

    /* ---- what is edited ---- */

    static std::function<bool(u16, ByteView)> selector(u16 pid, u8 tableId, std::optional<u16> id = std::nullopt)
    {
        return [=](u16 sectionPid, ByteView section) {
            return sectionPid == pid && section[0] == tableId && (!id || *id == idExtensionOf(section));
        };
    }

    TableEdit &add(TableEdit edit) const
    {
        plan_.tables->edits.push_back(std::move(edit));
        return plan_.tables->edits.back();
    }

    void planSdt()
    {
        if (!request_.changesSdt())
            return;
        require(sdtPid, sdtTable, "SDT (actual)");
        add({selector(sdtPid, sdtTable),
             [&request = request_](Trees &sdt) { return editSdt(sdt, request); },
             {},
             false,
             true,
             "SDT (actual)"});
    }

    u16 nitPid() const
    {
        u16 place = psi::demux::kNitPid;
        for (const u16 pid : places_.nits)
            visit(pid, nitTable, [&](ByteView) { place = pid; });
        return place;
    }

    void planNit()
    {
        if (!request_.changesNit())
            return;
        require(nitPid(), nitTable, "NIT (actual)");
        add({selector(nitPid(), nitTable),
             [&request = request_](Trees &nit) { return editNit(nit, request); },
             {},
             false,
             true,
             "NIT (actual)"});
    }

    void planBat()
    {
        if (!request_.changesBat())
            return;
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
            if (bouquets.count(id) == 0) // others come in their own time
                missing("there is no bouquet " + numberText(id) + ", only " + listed(bouquets));
            add({selector(sdtPid, batTable, id),
                 [newName = name](Trees &bat) { return editBat(bat, newName); },
                 {},
                 false,
                 true,
                 "BAT of bouquet " + numberText(id)});
        }
    }

    void planPsi()
    {
        if (!request_.changesPsi())
            return;
        require(patPid, patTable, "PAT");
        for (const Program &program : programs_)
            if (!program.found && !ended_)
                missing("no PMT of program " + numberText(program.number) + " found");
        planRemovals();
        planPids();
        const bool patChanges = !request_.removedPrograms.empty() ||
                                std::any_of(programs_.begin(), programs_.end(), [&](const Program &program) {
                                    return request_.pids.count(program.pmtPid) != 0;
                                });
        if (patChanges)
            add({selector(patPid, patTable),
                 [&request = request_](Trees &pat) { return editPat(pat, request); },
                 {},
                 false,
                 true,
                 "PAT"});
        for (const u8 vct : {terrestrialVctTable, cableVctTable})
            add({selector(psipPid, vct), [&request = request_, stream = transportStream_](Trees &trees) {
                     return editVct(trees, request, stream);
                 }});
    }

    void planRemovals()
    {
        std::set<u16> removedNumbers;
        std::set<u16> keptPids;
        for (const Program &program : programs_) {
            if (program.removed) {
                removedNumbers.insert(program.number);
                add({selector(program.pmtPid, pmtTable, program.number), {}, {}, true});
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
                add({selector(program.pmtPid, pmtTable, program.number),
                     [&request = request_](Trees &pmt) { return editPmt(pmt, request); },
                     {},
                     false,
                     true,
                     "PMT of program " + numberText(program.number)});
        }
    }

    bool named(u16 pid) const
    {
        return std::any_of(programs_.begin(), programs_.end(), [=](const Program &program) {
            return !program.removed && (program.pmtPid == pid || program.pids.count(pid) != 0);
        });
    }

    bool inUse(u16 pid) const
    {
        const std::vector<psi::demux::PidStatistics> pids = host_.pids();
        return std::any_of(pids.begin(), pids.end(), [=](const auto &one) { return one.pid == pid; });
    }

    void checkTarget(u16 from, u16 to) const
    {
        if (!named(from))
            fail("PID " + numberText(from) + " is neither in a PMT nor that of a PMT");
        if ((inUse(to) || named(to)) && request_.pids.count(to) == 0)
            fail("PID " + numberText(to) + " is in use already");
    }

    /* ---- single fields ---- */

    void planSets()
    {
        for (const SetRequest &set : request_.sets) {
            plan_.sets.push_back(std::make_unique<SetResult>());
            SetResult *result = plan_.sets.back().get();
            result->request = &set;
            add({[&set, places = places_](u16 pid, ByteView section) {
                     const TableKind &kind = *tableKindOf(section, pid);
                     const bool any = !set.path.id || isGuide(kind); // the instances of a guide are raised together
                     return set.isOf(kind) && places.has(kind, pid) && (any || *set.path.id == idExtensionOf(section));
                 },
                 [result](Trees &trees) { return result->apply(trees); }});
            for (const TableKind &kind : tableKinds())
                if (set.isOf(kind) && kind.isShort())
                    addShortForm(kind);
        }
    }

    /** Sections in the short form are not in the recording: where they may come is known all the same. */
    void addShortForm(const TableKind &kind)
    {
        constexpr u8 spliceStream = 0x86;
        if (kind.pid != psi::demux::kNullPid) {
            plan_.editedPids.insert(kind.pid);
            return;
        }
        for (const Program &program : programs_)
            visit(program.pmtPid, pmtTable, [&](ByteView section) {
                for (const Fields &tree : treesOf(section, program.pmtPid))
                    for (const Fields &stream : findField(tree, "streams")->items)
                        if (numberOf(stream, "stream_type", 0) == spliceStream)
                            plan_.editedPids.insert(static_cast<u16>(numberOf(stream, "elementary_PID", 0)));
            });
    }

    /* ---- whole tables ---- */

    /** The versions of a table that is given whole. */
    struct GivenTable {
        const GivenSection *first = nullptr;
        u16 pid = 0;
        std::map<u8, std::map<u8, Bytes>> versions; /**< by version_number and section_number */
    };

    bool isInStream(u16 pid, const Bytes &section) const
    {
        return std::any_of(sections_.begin(), sections_.end(),
                           [&](const auto &one) { return one.pid == pid && one.bytes == section; });
    }

    /** The PID that a table comes on: the one that is given, or where the stream has it. */
    u16 placeOf(const GivenSection &given) const
    {
        if (given.pid)
            return *given.pid;
        for (const psi::demux::Section &one : sections_)
            if (tableKey(0, view(one.bytes)) == tableKey(0, view(given.bytes)) &&
                places_.has(*tableKindOf(view(one.bytes), one.pid), one.pid))
                return one.pid;
        missing(given.name() + " is not in the stream");
    }

    void planTables()
    {
        std::map<std::string, GivenTable> given;
        std::set<std::string> changed;
        for (const GivenSection &section : request_.tables) {
            const u16 pid = placeOf(section);
            const std::string key = tableKey(pid, view(section.bytes));
            GivenTable &table = given[key];
            if (!table.first)
                table = {&section, pid, {}};
            if (!isInStream(pid, section.bytes))
                changed.insert(key);
            if (isLongForm(view(section.bytes)) && isCurrent(view(section.bytes)))
                table.versions[versionOf(view(section.bytes))][section.bytes[6]] = section.bytes;
        }
        for (const std::string &key : changed)
            replaceTable(key, given[key]);
    }

    void replaceTable(const std::string &key, const GivenTable &table)
    {
        const std::string name = table.first->name();
        const bool known = std::any_of(sections_.begin(), sections_.end(), [&](const psi::demux::Section &one) {
            return tableKey(one.pid, view(one.bytes)) == key && isCurrent(view(one.bytes));
        });
        if (table.versions.empty())
            fail(name + ": a section that stands alone replaces no other; --set changes one, --insert adds one");
        if (!known)
            missing(name + " is not in the stream on PID " + numberText(table.pid) + "; --insert adds a table");
        std::map<u8, Sections> versions;
        for (const auto &[version, sections] : table.versions) {
            if (sections.rbegin()->first + 1U != sections.size())
                fail(name + ": section " + std::to_string(sections.rbegin()->first) +
                     " is there, and one before it "
                     "is not");
            for (const auto &[number, bytes] : sections)
                versions[version].push_back(bytes);
        }
        add({[key](u16 pid, ByteView section) { return tableKey(pid, section) == key; },
             {},
             [versions](const Sections &old) { return inPlace(versions, old); },
             false,
             false,
             name});
    }

    /** Of several versions each is for its own, a single one for all. It counts on from the old one. */
    static std::optional<Sections> inPlace(const std::map<u8, Sections> &versions, const Sections &old)
    {
        const u8 version = versionOf(view(old.front()));
        const auto own = versions.size() == 1 ? versions.begin() : versions.find(version);
        if (own == versions.end())
            return std::nullopt;
        Sections fresh = own->second;
        for (std::size_t i = 0; i < fresh.size(); ++i) {
            Bytes &section = fresh[i];
            section[5] = static_cast<u8>((section[5] & 0xC1) | version << 1);
            section[7] = static_cast<u8>(fresh.size() - 1);
        }
        return fresh;
    }

    void planInserts()
    {
        for (const InsertRequest &insert : request_.inserts) {
            std::map<u16, InsertedTable> byPid;
            for (const GivenSection &given : insert.sections) {
                const u16 pid = placeToInsert(given);
                InsertedTable &table = byPid[pid];
                table.pid = pid;
                table.interval = insert.interval;
                table.sections.push_back(std::make_shared<const Bytes>(given.bytes));
            }
            for (auto &[pid, table] : byPid) {
                plan_.editedPids.insert(pid);
                plan_.inserted.push_back(std::move(table));
            }
        }
    }

    u16 placeToInsert(const GivenSection &given) const
    {
        const std::string name = given.name();
        if (!given.pid)
            fail(name + ": its \"pid\" is missing");
        const u16 pid = *given.pid;
        const std::vector<psi::demux::PidStatistics> pids = host_.pids();
        const auto used = std::find_if(pids.begin(), pids.end(), [=](const auto &one) { return one.pid == pid; });
        if (pid == psi::demux::kNullPid || (used != pids.end() && (used->pes || used->scrambledPackets != 0)))
            fail(name + ": PID " + numberText(pid) + " carries no sections");
        for (const auto &[from, to] : request_.pids)
            if (to == pid || from == pid)
                fail(name + ": PID " + numberText(pid) + " is changed by --pid");
        if (!isLongForm(view(given.bytes)))
            return pid;
        const std::string key = tableKey(pid, view(given.bytes));
        for (const psi::demux::Section &one : sections_)
            if (tableKey(one.pid, view(one.bytes)) == key)
                fail(name + " is in the stream already, on PID " + numberText(pid) + "; --table replaces it");
        return pid;
    }

    /** The MGT follows the tables that it announces. */
    void planMgt()
    {
        std::vector<TableEdit> &edits = plan_.tables->edits;
        const bool psip = std::any_of(sections_.begin(), sections_.end(), [&](const psi::demux::Section &one) {
            const ByteView section = view(one.bytes);
            const TableKind *kind = tableKindOf(section, one.pid);
            return kind && kind->standard == Standard::atsc && kind->tableId != mgtTable &&
                   std::any_of(edits.begin(), edits.end(),
                               [&](const TableEdit &edit) { return edit.selects(one.pid, section); });
        });
        if (psip)
            edits.insert(edits.begin(), {selector(psipPid, mgtTable), [tables = plan_.tables.get()](Trees &mgt) {
                                             return followTables(mgt, *tables);
                                         }});
    }

    /* ---- what comes of it ---- */

    void takeSections()
    {
        for (const psi::demux::Section &one : sections_) {
            EditedTable *table = plan_.tables->of(one.pid, view(one.bytes));
            if (!table)
                continue;
            plan_.editedPids.insert(one.pid);
            if (isCurrent(view(one.bytes)))
                table->add(view(one.bytes));
        }
    }

    void checkRequired() const
    {
        const std::vector<EditedTable *> tables = plan_.tables->all();
        for (const TableEdit &edit : plan_.tables->edits) {
            const bool there = std::any_of(tables.begin(), tables.end(), [&](const EditedTable *table) {
                return table->edits(edit) && !table->completeVersions().empty();
            });
            if (!edit.required.empty() && !there)
                throw TableMissing("the " + edit.required + " is not complete in the stream");
        }
    }

    std::set<u16> idsIn(u8 tableId, std::string_view list, std::string_view key) const
    {
        std::set<u16> ids;
        for (const EditedTable *table : plan_.tables->all())
            if (table->context().kind->tableId == tableId)
                for (const Sections &version : table->completeVersions())
                    ids.merge(numbersIn(readTrees(version, table->context()), list, key));
        return ids;
    }

    void checkIds() const
    {
        const std::set<u16> services = idsIn(sdtTable, "services", "service_id");
        std::set<u16> wanted = request_.removedServices;
        for (const auto &[id, edit] : request_.services)
            wanted.insert(id);
        for (const u16 id : wanted)
            if (services.count(id) == 0)
                fail("the SDT has no service " + numberText(id) + ", only " + listed(services));
        const std::set<u16> streams = idsIn(nitTable, "transport_streams", "transport_stream_id");
        for (const StreamDescriptor &one : request_.streamDescriptors)
            if (streams.count(one.transportStreamId) == 0)
                fail("the NIT has no transport stream " + numberText(one.transportStreamId) + ", only " +
                     listed(streams));
    }

    void editAll()
    {
        for (const bool mgt : {false, true}) // which follows the others
            for (EditedTable *table : plan_.tables->all())
                if ((table->context().kind->tableId == mgtTable) == mgt && !table->removed())
                    table->editAll();
        for (const auto &set : plan_.sets)
            if (!set->request->mayBeShort())
                set->requireHit(host_.name());
    }

    /** PIDs below are those of tables, whatever a PMT says. */
    static constexpr u16 lastSystemPid = 0x001F;

    const EditRequest &request_;
    const psi::demux::Host &host_;
    bool ended_;
    std::vector<psi::demux::Section> sections_;
    std::vector<Program> programs_;
    std::optional<u16> transportStream_;
    Places places_;
    EditPlan plan_;
};

} // namespace

std::string numberText(u16 number)
{
    char text[24];
    std::snprintf(text, sizeof text, "0x%04X (%u)", unsigned{number}, unsigned{number});
    return text;
}

bool SetResult::apply(Trees &trees)
{
    selected = true;
    if (request->path.id && treesId(trees.front()) != request->path.id)
        return false;
    std::vector<Fields *> sections;
    for (Fields &tree : trees)
        sections.push_back(&tree);
    const std::size_t before = match.hits;
    try {
        changeFields(sections, request->path, request->change, match);
    } catch (const PathError &error) {
        throw EditError(exitWrongUse, std::string("--set ") + error.what());
    }
    return match.hits != before;
}

void SetResult::requireHit(const std::string &name) const
{
    if (match.hits > 0)
        return;
    const std::string where = name + ": --set " + request->path.text + ": ";
    const std::string id = request->path.id ? " " + numberText(*request->path.id) : "";
    if (!selected)
        throw TableMissing(where + "no " + request->path.table + id + " is complete in the stream");
    throw TableMissing(where + match.miss);
}

void EditPlan::requireHits() const
{
    for (const auto &set : sets)
        set->requireHit("the stream");
}

EditPlan makeEditPlan(const EditRequest &request, const psi::demux::Host &host, bool ended)
{
    return Planner(request, host, ended).plan();
}

} // namespace psitool
