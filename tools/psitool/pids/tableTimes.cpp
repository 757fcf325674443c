#include "pids/tableTimes.h"

#include "input/collection.h"
#include "output/jsonParts.h"
#include "output/lines.h"

#include <algorithm>
#include <tuple>

namespace psitool {

namespace {

using psi::demux::CollectedTable;
using psi::demux::Collector;
using psi::demux::MissingReason;
using psi::demux::MissingTable;
using psi::demux::Moment;
using psi::demux::TableVersion;
using psi::demux::VersionChange;

constexpr std::size_t titleWidth = 20;
constexpr std::size_t tablePidWidth = 13; // of "0x1FFF (8191)"

/** CA messages have no layout of their own, but everybody's names. ISO/IEC 13818-1 says nothing of them, ETR 289 does.
 */
std::string titleOf(const TableKind *kind, u8 tableId)
{
    constexpr u8 firstCaMessage = 0x80;
    constexpr u8 lastEcm = 0x81;
    constexpr u8 lastCaMessage = 0x8F;
    if (kind)
        return kind->title;
    if (tableId >= firstCaMessage && tableId <= lastCaMessage)
        return tableId <= lastEcm ? "ECM" : "EMM";
    return "Table " + hex(tableId, 2);
}

/** What stands in a table's table_id_extension, the 16 bits behind section_length: the field that ends with them,
 * unless something else is said in front of it. Without a key when nothing is there. */
Item extensionItem(const TableKind *kind, u16 extension)
{
    constexpr unsigned end = 40;
    unsigned bits = 0;
    bool free = true; // what stands in front says nothing
    for (std::size_t i = 0; kind && i < kind->layout->count && bits < end; ++i) {
        const Item &item = kind->layout->items[i];
        bits += item.bits;
        if (bits == end && (free || extension >> item.bits == 0))
            return item;
        free = item.shape == Shape::reserved;
    }
    return psi::describe::hex(16, "table_id_extension").items[0];
}

/** ", program_number 0x0001 (1)" */
std::string extensionText(const TableKind *kind, u16 extension, const char *separator)
{
    const Item item = extensionItem(kind, extension);
    const unsigned value = extension & ((1U << item.bits) - 1);
    return item.key ? separator + std::string(item.key) + " " + hexDec(value, (item.bits + 3U) / 4) : "";
}

std::string versionText(const TableVersion &version, bool mayBeSparse)
{
    const bool whole = version.complete() || mayBeSparse;
    return "version " + std::to_string(version.number) + (version.current ? "" : " (next)") + ", " +
           (whole ? counted(version.have(), "section")
                  : std::to_string(version.have()) + " of " + counted(version.lastNumber + 1U, "section"));
}

/** Event schedules leave section numbers out, EN 300 468 5.2.4. */
bool mayBeSparse(const CollectedTable &table)
{
    return table.tableId >= 0x50 && table.tableId <= 0x6F;
}

std::string changesText(const Collector &collector, const CollectedTable &table)
{
    std::vector<std::string> parts;
    for (const VersionChange &change : table.changes) {
        const Moment moment = collector.resolved(change.moment);
        parts.push_back(std::to_string(change.number) + (change.current ? "" : " (next)") +
                        (moment.timed() ? " at " + durationText(moment.seconds) : ""));
    }
    const bool all = table.changes.size() == table.changeCount;
    return counted(table.changeCount - 1, "change") + " of version: " + (all ? "" : "... ") + joined(parts, ", ");
}

std::string stateText(const Collector &collector, const CollectedTable &table)
{
    std::string state;
    if (table.longForm && !table.versions.empty())
        state = versionText(table.versions[table.active], mayBeSparse(table)) + ", " + grouped(table.count);
    else
        state = counted(table.count, "section");
    state += " received";
    const std::string interval = intervalText(table.intervals);
    if (!interval.empty())
        state += ", every " + interval;
    const Moment first = collector.resolved(table.first);
    const Moment last = collector.resolved(table.last);
    if (first.timed() && last.timed())
        state += table.count == 1 ? ", at " + durationText(first.seconds)
                                  : ", from " + durationText(first.seconds) + " to " + durationText(last.seconds);
    return state;
}

LineTree tableLine(const Collector &collector, const CollectedTable &table)
{
    const std::string extension = table.longForm ? extensionText(kindOf(table), table.extension, "  ") : "";
    const std::string pid = hexDec(table.pid);
    LineTree node{padded(tableTitle(table), titleWidth) + "PID " +
                      (extension.empty() ? pid : padded(pid, tablePidWidth) + extension),
                  {}};
    node.add(stateText(collector, table));
    if (table.changeCount > 1)
        node.add(changesText(collector, table));
    return node;
}

std::string reasonText(const MissingTable &table)
{
    const std::string part = std::to_string(table.have) + " of " + counted(table.wanted, "section");
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

Json momentJson(const Collector &collector, const Moment &moment)
{
    const Moment known = collector.resolved(moment);
    return {{"packet", known.packet}, {"ms", known.timed() ? Json(milliseconds(known.seconds)) : Json(nullptr)}};
}

Json versionsJson(const CollectedTable &table)
{
    Json array = Json::array();
    for (const TableVersion &version : table.versions)
        array.push_back({{"version_number", version.number},
                         {"current", version.current},
                         {"have", version.have()},
                         {"wanted", version.lastNumber + 1}});
    return array;
}

Json changesJson(const Collector &collector, const CollectedTable &table)
{
    Json array = Json::array();
    for (const VersionChange &change : table.changes)
        array.push_back({{"version_number", change.number},
                         {"current", change.current},
                         {"at", momentJson(collector, change.moment)}});
    return array;
}

} // namespace

std::string tableTitle(const CollectedTable &table)
{
    return titleOf(kindOf(table), table.tableId);
}

std::string intervalText(const psi::demux::Intervals &intervals)
{
    if (intervals.count == 0)
        return "";
    const bool fine = intervals.longest < 10e-3;
    const auto ms = [fine](double seconds) { return groupedDecimal(seconds * 1e3, fine ? 2 : 0); };
    if (ms(intervals.shortest) == ms(intervals.longest))
        return ms(intervals.mean()) + " ms";
    return ms(intervals.shortest) + " to " + ms(intervals.longest) + " ms (mean " + ms(intervals.mean()) + ")";
}

Json intervalJson(const psi::demux::Intervals &intervals)
{
    if (intervals.count == 0)
        return nullptr;
    return {{"shortest", milliseconds(intervals.shortest)},
            {"mean", milliseconds(intervals.mean())},
            {"longest", milliseconds(intervals.longest)}};
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

Json tableTimesJson(const Collector &collector)
{
    Json array = Json::array();
    for (const CollectedTable *table : collector.tables()) {
        Json object{{"pid", table->pid}, {"table_id", table->tableId}, {"title", tableTitle(*table)}};
        if (table->longForm)
            object["table_id_extension"] = table->extension;
        object["count"] = table->count;
        object["first"] = momentJson(collector, table->first);
        object["last"] = momentJson(collector, table->last);
        object["interval_ms"] = intervalJson(table->intervals);
        object["versions"] = versionsJson(*table);
        object["changes"] = table->changeCount - 1;
        object["version_history"] = changesJson(collector, *table);
        array.push_back(std::move(object));
    }
    return array;
}

LineTree missingTree(const Collector &collector)
{
    LineTree root{"Tables missing", {}};
    for (const MissingTable &table : collector.missing()) {
        const TableKind *kind = tableKindOf(table.tableId);
        root.add(titleOf(kind, table.tableId) + (table.extension ? extensionText(kind, *table.extension, ", ") : "") +
                     ", PID " + hexDec(table.pid) + ": " + reasonText(table),
                 Tone::trouble);
    }
    return root;
}

std::string missingText(const Collector &collector, const Look &look)
{
    return collector.missing().empty() ? "" : renderTree(missingTree(collector), look);
}

Json missingJson(const Collector &collector)
{
    static constexpr const char *words[] = {"not seen",    "CRC wrong",        "incomplete",
                                            "not current", "changes too fast", "scrambled"};
    Json array = Json::array();
    for (const MissingTable &table : collector.missing()) {
        Json object{{"pid", table.pid},
                    {"table_id", table.tableId},
                    {"title", titleOf(tableKindOf(table.tableId), table.tableId)}};
        if (table.extension)
            object["table_id_extension"] = *table.extension;
        object["reason"] = words[static_cast<std::size_t>(table.reason)];
        object["have"] = table.have;
        object["wanted"] = table.wanted;
        object["crc_errors"] = table.crcErrors;
        array.push_back(std::move(object));
    }
    return array;
}

} // namespace psitool
