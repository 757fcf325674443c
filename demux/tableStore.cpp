#include "demux/tableStore.h"

#include "demux/transportPacket.h"

#include <algorithm>
#include <cstring>
#include <string_view>
#include <tuple>

namespace psi::demux {

namespace {

/** What a section, a version and a table cost beside the bytes. Measured, rounded up. */
constexpr uint64_t kSectionCost = 128;
constexpr uint64_t kVersionCost = 128;
constexpr uint64_t kTableCost = 448;

constexpr uint64_t kMiB = 1U << 20;
constexpr uint64_t kClassLimits[] = {12 * kMiB, 8 * kMiB, 20 * kMiB};
/** Of one table_id on a PID. An event information table of a whole network has more, and its PID little else. */
constexpr uint64_t kKindLimits[] = {3 * kMiB, 2 * kMiB, 2 * kMiB};
constexpr uint64_t kEventLimit = 6 * kMiB;

/** Sections of one version and number that differ: an error of the sender, or a table that tells the time. */
constexpr size_t kMostVariants = 4;
constexpr size_t kTimeVariants = 2;
constexpr size_t kOnceBits = 1U << 19;
/** Looks for something to forget, each time. */
constexpr size_t kMostLooks = 64;

bool isTimeTable(u8 tableId)
{
    return tableId == 0x70 || tableId == 0x73 || tableId == 0xCD; // TDT, TOT, STT
}

bool isEventTable(u8 tableId)
{
    return tableId >= 0x4E && tableId <= 0x6F;
}

/** What tells sub-tables apart besides table_id_extension. EN 300 468 5.2.3, 5.2.4. */
u32 furtherOf(const u8 *section, u16 length)
{
    const u8 tableId = section[0];
    if ((tableId == 0x42 || tableId == 0x46) && length >= 15)
        return wordAt(section + 8);
    if (isEventTable(tableId) && length >= 18)
        return u32{wordAt(section + 8)} << 16 | wordAt(section + 10);
    return 0;
}

struct LongFields {
    u8 version = 0;
    bool current = true;
    u8 number = 0;
    u8 lastNumber = 0;
};

LongFields fieldsOf(const u8 *section)
{
    LongFields fields;
    if (isLongForm(section)) {
        fields.version = section[5] >> 1 & 0x1F;
        fields.current = (section[5] & 1) != 0;
        fields.number = section[6];
        fields.lastNumber = section[7];
    }
    return fields;
}

u32 kindOf(TableClass group, u16 pid, u8 tableId)
{
    return static_cast<u32>(group) << 24 | u32{pid} << 8 | tableId;
}

/** The first section with a number, or the place for it. Where all came, and each once, that is the number itself. */
template <class Sections> auto firstOf(Sections &sections, u16 number)
{
    const auto isAt = [&](size_t place) { return place < sections.size() && sections[place].number == number; };
    if (isAt(number) && (number == 0 || !isAt(number - 1U)))
        return sections.begin() + number;
    return std::lower_bound(sections.begin(), sections.end(), number,
                            [](const auto &one, u16 wanted) { return one.number < wanted; });
}

uint64_t limitOf(TableClass group, u8 tableId)
{
    return isEventTable(tableId) ? kEventLimit : kKindLimits[static_cast<size_t>(group)];
}

} // namespace

/* ---- what was collected ---------------------------------------------------------------------------------------------
 */

unsigned TableVersion::have() const
{
    unsigned count = 0;
    int before = -1;
    for (const CollectedSection &section : sections) {
        count += section.number != before && section.number <= lastNumber;
        before = section.number;
    }
    return count;
}

void Intervals::add(double seconds)
{
    add(Intervals{1, seconds, seconds, seconds});
}

void Intervals::add(const Intervals &others)
{
    if (others.count == 0)
        return;
    shortest = count == 0 ? others.shortest : std::min(shortest, others.shortest);
    longest = std::max(longest, others.longest);
    sum += others.sum;
    count += others.count;
}

const TableVersion *CollectedTable::valid() const
{
    const TableVersion *best = nullptr;
    const auto better = [](const TableVersion &a, const TableVersion &b) {
        if (a.complete() != b.complete())
            return a.complete();
        if (!a.complete() && a.have() != b.have())
            return a.have() > b.have();
        return a.last.packet > b.last.packet;
    };
    for (const TableVersion &version : versions)
        if (version.current && !version.sections.empty() && (best == nullptr || better(version, *best)))
            best = &version;
    return best;
}

/* ---- the store ------------------------------------------------------------------------------------------------------
 */

/** When a section number came last. */
struct Arrival {
    u8 number;
    double seconds;
};

struct TableStore::Entry {
    CollectedTable table;
    Key key;
    TableClass group;
    u32 kind;
    uint64_t used = 0;
    std::array<std::vector<Arrival>, 2> arrivals; /**< of the next table and of the current one, by number */
    std::array<size_t, 2> held = {kNone, kNone};  /**< the version that came last, next and current */

    static constexpr size_t kNone = SIZE_MAX;
};

TableStore::TableStore(ClassOf classOfPid, const StreamClock *clock)
    : classOf(std::move(classOfPid)), streamClock(clock)
{
    unsettled.reserve(kMostUnsettled);
}
TableStore::~TableStore() = default;

const CollectedTable &TableStore::lastTable() const
{
    return lastEntry->table;
}

TableStore::Key TableStore::keyOf(u16 pid, const u8 *section, u16 length)
{
    const bool longForm = isLongForm(section);
    const uint64_t extension = longForm ? tableIdExtension(section) : 0;
    return {uint64_t{pid} << 32 | uint64_t{section[0]} << 24 | uint64_t{longForm} << 16 | extension,
            longForm ? furtherOf(section, length) : 0};
}

TableStore::Result TableStore::add(u16 pid, const u8 *section, u16 length, const Moment &moment)
{
    const Key key = keyOf(pid, section, length);
    const auto found = known.find(key);
    if (found != known.end()) {
        size_t version = 0;
        CollectedSection *same = findSection(found->second->table, section, length, version);
        if (same != nullptr) { // the same as a section that was found right: its CRC is
            see(*found->second, version, *same, moment);
            return Result::repeated;
        }
    }
    if (isLongForm(section) && psiCalculateCrc(section, length) != 0) {
        constexpr size_t enough = 4096;
        const u32 kind = u32{pid} << 8 | section[0];
        if (wrongCrcs.size() < enough || wrongCrcs.count(kind) != 0)
            ++wrongCrcs[kind];
        return Result::wrongCrc;
    }
    return store(pid, key, section, length, moment);
}

CollectedSection *TableStore::findSection(CollectedTable &table, const u8 *section, u16 length, size_t &version)
{
    const LongFields fields = fieldsOf(section);
    for (size_t i = 0; i < table.versions.size(); ++i) {
        TableVersion &one = table.versions[i];
        if (one.number != fields.version || one.current != fields.current)
            continue;
        version = i;
        for (auto at = firstOf(one.sections, fields.number); at != one.sections.end() && at->number == fields.number;
             ++at)
            if (at->bytes.size() == length && std::memcmp(at->bytes.data(), section, length) == 0)
                return &*at;
    }
    return nullptr;
}

void TableStore::see(Entry &entry, size_t version, CollectedSection &section, const Moment &moment)
{
    CollectedTable &table = entry.table;
    activate(entry, version, moment);
    if (section.count++ == 0)
        section.first = moment;
    section.last = moment;
    table.versions[version].last = moment;
    table.last = moment;
    ++table.count;
    lastEntry = &entry;
    await(entry, {section.number, table.versions[version].current}, moment);
}

/** The rate changes from PCR to PCR: what lies between two of them has its right time when the second is there. */
void TableStore::await(Entry &entry, Place place, const Moment &moment)
{
    if (streamClock == nullptr) {
        measure(entry, place, moment.seconds);
        return;
    }
    if (unsettled.size() == kMostUnsettled)
        settle();
    unsettled.push_back({&entry, place, moment.packet});
}

void TableStore::settle()
{
    if (streamClock != nullptr && streamClock->running())
        for (const Arrived &one : unsettled)
            measure(*one.entry, one.place, streamClock->seconds(one.packet));
    unsettled.clear();
}

void TableStore::measure(Entry &entry, Place place, double seconds)
{
    std::vector<Arrival> &arrivals = entry.arrivals[place.current];
    const auto before = firstOf(arrivals, place.number);
    if (before == arrivals.end() || before->number != place.number) {
        arrivals.insert(before, {place.number, seconds});
        return;
    }
    if (seconds >= before->seconds)
        entry.table.intervals.add(seconds - before->seconds);
    before->seconds = seconds;
}

/** The announcement of a next version leaves the current one in its place, however they take turns. */
void TableStore::activate(Entry &entry, size_t version, const Moment &moment)
{
    CollectedTable &table = entry.table;
    table.active = version;
    size_t &held = entry.held[table.versions[version].current];
    if (held == version)
        return;
    held = version;
    ++table.changeCount;
    if (table.changes.size() == CollectedTable::kKeptChanges)
        table.changes.pop_front();
    table.changes.push_back({moment, table.versions[version].number, table.versions[version].current});
}

TableStore::Result TableStore::store(u16 pid, const Key &key, const u8 *section, u16 length, const Moment &moment)
{
    const TableClass group = classOf(pid);
    const uint64_t cost = kSectionCost + length;
    if (!makeRoom(group, kindOf(group, pid, section[0]), section, length, cost + kVersionCost + kTableCost)) {
        ++notStored;
        return Result::leftOut;
    }
    Entry &entry = entryFor(group, pid, key, section, moment);
    const size_t version = versionFor(entry.table, section, moment);
    see(entry, version, place(entry.table.versions[version], section, length, entry), moment);
    return Result::stored;
}

TableStore::Entry &TableStore::entryFor(TableClass group, u16 pid, const Key &key, const u8 *section,
                                        const Moment &moment)
{
    std::unique_ptr<Entry> &entry = known[key];
    if (entry != nullptr)
        return *entry;
    entry = std::make_unique<Entry>();
    entry->key = key;
    entry->group = group;
    entry->kind = kindOf(group, pid, section[0]);
    CollectedTable &table = entry->table;
    table.pid = pid;
    table.tableId = section[0];
    table.longForm = isLongForm(section);
    table.extension = table.longForm ? tableIdExtension(section) : u16{0};
    table.further = key.further;
    table.first = moment;
    Kind &kind = kinds[entry->kind];
    kind.entries.push_back(entry.get());
    entry->used = kTableCost;
    kind.used += kTableCost;
    usedOfClass[static_cast<size_t>(group)] += kTableCost;
    return *entry;
}

size_t TableStore::versionFor(CollectedTable &table, const u8 *section, const Moment &moment)
{
    const LongFields fields = fieldsOf(section);
    const auto same = [&](const TableVersion &one) {
        return one.number == fields.version && one.current == fields.current;
    };
    auto found = std::find_if(table.versions.begin(), table.versions.end(), same);
    if (found == table.versions.end()) {
        table.versions.emplace_back();
        found = table.versions.end() - 1;
        found->number = fields.version;
        found->current = fields.current;
        found->first = moment;
    }
    found->lastNumber = fields.lastNumber;
    return static_cast<size_t>(found - table.versions.begin());
}

/** Where a section of a version goes: behind those of its number, or in the place of the last of too many. */
CollectedSection &TableStore::place(TableVersion &version, const u8 *section, u16 length, Entry &entry)
{
    std::vector<CollectedSection> &sections = version.sections;
    const u8 number = fieldsOf(section).number;
    const bool comesBack = entry.table.changeCount != 0 && &entry.table.versions[entry.table.active] != &version;
    const auto hasNumber = [number](const CollectedSection &one) { return one.number == number; };
    // A number that is used anew after others means a new version of the table.
    if (comesBack && std::any_of(sections.begin(), sections.end(), hasNumber)) {
        uint64_t freed = 0;
        for (const CollectedSection &old : sections)
            freed += old.bytes.size() + kSectionCost;
        release(entry, freed);
        sections.clear();
    }
    const auto begin = firstOf(sections, number);
    auto end = std::find_if_not(begin, sections.end(), hasNumber);
    const size_t variants = static_cast<size_t>(end - begin);
    version.changes += variants > 0;
    if (variants >= (isTimeTable(section[0]) ? kTimeVariants : kMostVariants)) {
        --end;
        release(entry, end->bytes.size() + kSectionCost);
        *end = {};
    } else {
        end = sections.insert(end, CollectedSection());
    }
    end->number = number;
    end->bytes.assign(section, section + length);
    const uint64_t cost = kSectionCost + length + (sections.size() == 1 ? kVersionCost : 0);
    entry.used += cost;
    kinds[entry.kind].used += cost;
    usedOfClass[static_cast<size_t>(entry.group)] += cost;
    return *end;
}

/* ---- limits ---------------------------------------------------------------------------------------------------------
 */

bool TableStore::makeRoom(TableClass group, u32 kind, const u8 *section, u16 length, uint64_t cost)
{
    uint64_t &ofClass = usedOfClass[static_cast<size_t>(group)];
    const uint64_t classLimit = kClassLimits[static_cast<size_t>(group)];
    const uint64_t kindLimit = limitOf(group, section[0]);
    Kind &own = kinds[kind];
    const auto fits = [&] { return ofClass + cost <= classLimit && own.used + cost <= kindLimit; };
    if (fits())
        return true;
    if (!cameBefore(section, length))
        return false;
    while (own.used + cost > kindLimit)
        if (!forgetOne(own))
            return false;
    while (ofClass + cost > classLimit) {
        const auto less = [&](const auto &a, const auto &b) {
            const bool ofA = a.first >> 24 == static_cast<u32>(group);
            const bool ofB = b.first >> 24 == static_cast<u32>(group);
            return ofA != ofB ? ofB : a.second.used < b.second.used;
        };
        if (!forgetOne(std::max_element(kinds.begin(), kinds.end(), less)->second))
            return false;
    }
    return true;
}

/** Whether a section that found no room had come before; forgets the oldest of that when it knows too much. */
bool TableStore::cameBefore(const u8 *section, u16 length)
{
    const std::string_view bytes(reinterpret_cast<const char *>(section), length);
    const size_t bit = std::hash<std::string_view>()(bytes) % kOnceBits;
    once.resize(kOnceBits);
    if (once[bit])
        return true;
    if (++onceCount > kOnceBits / 8) {
        once.assign(kOnceBits, false);
        onceCount = 1;
    }
    once[bit] = true;
    return false;
}

/** Forgets a table that came once. */
bool TableStore::forgetOne(Kind &kind)
{
    for (size_t looks = 0; looks < kMostLooks && !kind.entries.empty(); ++looks) {
        kind.cursor = (kind.cursor + 1) % kind.entries.size();
        Entry &entry = *kind.entries[kind.cursor];
        if (entry.table.count <= entry.table.versions.size()) {
            remove(entry);
            return true;
        }
    }
    return false;
}

void TableStore::release(Entry &entry, uint64_t bytes)
{
    entry.used -= bytes;
    kinds[entry.kind].used -= bytes;
    usedOfClass[static_cast<size_t>(entry.group)] -= bytes;
}

void TableStore::remove(Entry &entry)
{
    settle(); // nothing is to wait for a table that is no more
    std::vector<Entry *> &entries = kinds[entry.kind].entries;
    *std::find(entries.begin(), entries.end(), &entry) = entries.back();
    entries.pop_back();
    release(entry, entry.used);
    if (lastEntry == &entry)
        lastEntry = nullptr;
    known.erase(entry.key);
}

void TableStore::drop(u16 pid)
{
    std::vector<Entry *> gone;
    for (const auto &[key, entry] : known)
        if (entry->table.pid == pid)
            gone.push_back(entry.get());
    for (Entry *entry : gone)
        remove(*entry);
}

std::vector<const CollectedTable *> TableStore::all() const
{
    std::vector<const CollectedTable *> tables;
    tables.reserve(known.size());
    for (const auto &[key, entry] : known)
        tables.push_back(&entry->table);
    std::sort(tables.begin(), tables.end(), [](const CollectedTable *a, const CollectedTable *b) {
        return std::tie(a->first.packet, a->pid, a->tableId, a->extension, a->further) <
               std::tie(b->first.packet, b->pid, b->tableId, b->extension, b->further);
    });
    return tables;
}

uint64_t TableStore::crcErrors(u16 pid, u8 tableId) const
{
    const auto found = wrongCrcs.find(u32{pid} << 8 | tableId);
    return found == wrongCrcs.end() ? 0 : found->second;
}

std::vector<const CollectedTable *> TableStore::tablesOf(u16 pid, u8 tableId) const
{
    std::vector<const CollectedTable *> tables;
    for (const TableClass group : {TableClass::wellKnown, TableClass::program, TableClass::content}) {
        const auto kind = kinds.find(kindOf(group, pid, tableId));
        if (kind == kinds.end())
            continue;
        for (const Entry *entry : kind->second.entries)
            tables.push_back(&entry->table);
    }
    return tables;
}

const CollectedTable *TableStore::table(u16 pid, u8 tableId, u16 extension) const
{
    const u8 header[] = {tableId, 0x80, 0, static_cast<u8>(extension >> 8), static_cast<u8>(extension & 0xFF)};
    const auto found = known.find(keyOf(pid, header, sizeof header));
    return found == known.end() ? nullptr : &found->second->table;
}

bool TableStore::anyOf(u8 tableId) const
{
    return std::any_of(kinds.begin(), kinds.end(), [tableId](const auto &kind) {
        return (kind.first & 0xFF) == tableId && !kind.second.entries.empty();
    });
}

std::vector<std::pair<u16, u8>> TableStore::onlyDamaged() const
{
    std::vector<std::pair<u16, u8>> damaged;
    for (const auto &[kind, count] : wrongCrcs) {
        const u16 pid = static_cast<u16>(kind >> 8);
        const u8 tableId = static_cast<u8>(kind & 0xFF);
        if (tablesOf(pid, tableId).empty())
            damaged.emplace_back(pid, tableId);
    }
    std::sort(damaged.begin(), damaged.end());
    return damaged;
}

} // namespace psi::demux
