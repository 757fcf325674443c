#include "edit/planParts.h"

#include <algorithm>

namespace psitool {

namespace {

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

} // namespace

void planMgt(PlanDraft &draft)
{
    std::vector<TableEdit> &edits = draft.plan.tables->edits;
    const bool psip = std::any_of(
        draft.stream.sections().begin(), draft.stream.sections().end(), [&](const psi::demux::Section &one) {
            const ByteView section = view(one.bytes);
            const TableKind *kind = tableKindOf(section, one.pid);
            return kind && kind->standard == Standard::atsc && kind->tableId != mgtTable &&
                   std::any_of(edits.begin(), edits.end(),
                               [&](const TableEdit &edit) { return edit.selects(one.pid, section); });
        });
    if (psip)
        edits.insert(edits.begin(),
                     {OneTable{psipPid, mgtTable}.selector(),
                      [tables = draft.plan.tables.get()](Trees &mgt) { return followTables(mgt, *tables); }});
}

} // namespace psitool
