#include "edit/planParts.h"

#include <algorithm>

namespace psitool {

namespace {

/** The versions of a table that is given whole. */
struct GivenTable {
    const GivenSection *first = nullptr;
    u16 pid = 0;
    std::map<u8, std::map<u8, Bytes>> versions; /**< by version_number and section_number */
};

bool isInStream(const PlanDraft &draft, u16 pid, const Bytes &section)
{
    return std::any_of(draft.stream.sections().begin(), draft.stream.sections().end(),
                       [&](const auto &one) { return one.pid == pid && one.bytes == section; });
}

/** The PID that a table comes on: the one that is given, or where the stream has it. */
std::optional<u16> placeOf(const PlanDraft &draft, const GivenSection &given)
{
    if (given.pid)
        return given.pid;
    for (const psi::demux::Section &one : draft.stream.sections())
        if (tableKey(0, view(one.bytes)) == tableKey(0, view(given.bytes)) &&
            draft.stream.places().has(*tableKindOf(view(one.bytes), one.pid), one.pid))
            return one.pid;
    return std::nullopt;
}

/** Of several versions each is for its own, a single one for all. It counts on from the old one. */
std::optional<Sections> inPlace(const std::map<u8, Sections> &versions, const Sections &old)
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

void replaceTable(PlanDraft &draft, const std::string &key, const GivenTable &table)
{
    const std::string name = table.first->name();
    const bool known = std::any_of(draft.stream.sections().begin(), draft.stream.sections().end(),
                                   [&](const psi::demux::Section &one) {
                                       return tableKey(one.pid, view(one.bytes)) == key && isCurrent(view(one.bytes));
                                   });
    if (table.versions.empty())
        draft.stream.fail(name +
                          ": a section that stands alone replaces no other; --set changes one, --insert adds one");
    if (!known)
        return draft.missing.push_back(name + " is not in the stream on PID " + numberText(table.pid) +
                                       " (--insert adds a table)");
    std::map<u8, Sections> versions;
    for (const auto &[version, sections] : table.versions) {
        if (sections.rbegin()->first + 1U != sections.size())
            draft.stream.fail(name + ": section " + std::to_string(sections.rbegin()->first) +
                              " is there, and one before it is not");
        for (const auto &[number, bytes] : sections)
            versions[version].push_back(bytes);
    }
    draft.add({[key](u16 pid, ByteView section) { return tableKey(pid, section) == key; },
               {},
               [versions](const Sections &old) { return inPlace(versions, old); },
               false,
               false,
               name});
}

u16 placeToInsert(const PlanDraft &draft, const GivenSection &given)
{
    const std::string name = given.name();
    if (!given.pid)
        draft.stream.fail(name + ": its \"pid\" is missing");
    const u16 pid = *given.pid;
    const std::vector<psi::demux::PidStatistics> pids = draft.stream.host().pids();
    const auto used = std::find_if(pids.begin(), pids.end(), [=](const auto &one) { return one.pid == pid; });
    if (pid == psi::demux::kNullPid || (used != pids.end() && (used->pes || used->scrambledPackets != 0)))
        draft.stream.fail(name + ": PID " + numberText(pid) + " carries no sections");
    for (const auto &[from, to] : draft.request.pids)
        if (to == pid || from == pid)
            draft.stream.fail(name + ": PID " + numberText(pid) + " is changed by --pid");
    if (!isLongForm(view(given.bytes)))
        return pid;
    const std::string key = tableKey(pid, view(given.bytes));
    for (const psi::demux::Section &one : draft.stream.sections())
        if (tableKey(one.pid, view(one.bytes)) == key)
            draft.stream.fail(name + " is in the stream already, on PID " + numberText(pid) + "; --table replaces it");
    return pid;
}

} // namespace

void planWholeTables(PlanDraft &draft)
{
    std::map<std::string, GivenTable> given;
    std::set<std::string> changed;
    for (const GivenSection &section : draft.request.tables) {
        const std::optional<u16> place = placeOf(draft, section);
        if (!place) {
            draft.missing.push_back(section.name() + " is not in the stream");
            continue;
        }
        const u16 pid = *place;
        const std::string key = tableKey(pid, view(section.bytes));
        GivenTable &table = given[key];
        if (!table.first)
            table = {&section, pid, {}};
        if (!isInStream(draft, pid, section.bytes))
            changed.insert(key);
        if (isLongForm(view(section.bytes)) && isCurrent(view(section.bytes)))
            table.versions[versionOf(view(section.bytes))][section.bytes[6]] = section.bytes;
    }
    for (const std::string &key : changed)
        replaceTable(draft, key, given[key]);
}

void planInserts(PlanDraft &draft)
{
    for (const InsertRequest &insert : draft.request.inserts) {
        std::map<u16, InsertedTable> byPid;
        for (const GivenSection &given : insert.sections) {
            const u16 pid = placeToInsert(draft, given);
            InsertedTable &table = byPid[pid];
            table.pid = pid;
            table.interval = insert.interval;
            table.sections.push_back(std::make_shared<const Bytes>(given.bytes));
        }
        for (auto &[pid, table] : byPid) {
            draft.plan.editedPids.insert(pid);
            draft.plan.inserted.push_back(std::move(table));
        }
    }
}

} // namespace psitool
