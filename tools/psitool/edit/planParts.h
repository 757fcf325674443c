/**
 * @file planParts.h
 * @brief What a plan of edits is put together from: each part plans one kind of request.
 */
#ifndef PSITOOL_PLAN_PARTS_H
#define PSITOOL_PLAN_PARTS_H

#include "edit/editPlan.h"
#include "edit/streamTables.h"
#include "edit/tableIds.h"

namespace psitool {

/** @brief A table on its PID, or all of a table_id there. */
struct OneTable {
    u16 pid;
    u8 tableId;
    std::optional<u16> id = std::nullopt; /**< table_id_extension */

    /** @brief Whether a section belongs to it. */
    std::function<bool(u16 pid, ByteView section)> selector() const;
    std::string name() const { return tableName(tableKindOf(tableId)->title, id); }
};

/** @brief A plan in the making. */
struct PlanDraft {
    const EditRequest &request; /**< outlives the plan */
    const StreamTables &stream;
    EditPlan plan = {};
    std::vector<std::string> missing = {}; /**< why tables that the request needs are not there */

    void add(TableEdit edit) const { plan.tables->edits.push_back(std::move(edit)); }
    /** @brief An edit of a table, which must be there; its version is raised in any case. */
    void addRequired(const OneTable &table, std::function<bool(Trees &)> change) const
    {
        add({table.selector(), std::move(change), {}, false, true, table.name()});
    }
    /** @brief Note that a table is not in the stream: more of it may help. */
    void miss(const OneTable &table) { missing.push_back(stream.absence(table.selector(), table.name())); }
    /** @brief An edit as the request has it. */
    std::function<bool(Trees &)> asked(bool (*edit)(Trees &, const EditRequest &)) const
    {
        return [edit, &asked = request](Trees &trees) { return edit(trees, asked); };
    }
    std::function<bool(Trees &)> asked(bool (*edit)(Trees &, const EditRequest &, const char *charset)) const
    {
        return [edit, &asked = request, charset = stream.usual().charset](Trees &trees) {
            return edit(trees, asked, charset);
        };
    }
};

/** @brief "0x0010 (16), 0x0020 (32)". */
std::string listed(const std::set<u16> &numbers);

/**
 * @name Parts of a plan
 * Edits are done in the order in which they are planned. All throw EditError; what more of the stream may help with
 * they note as missing.
 * @{
 */
void planWholeTables(PlanDraft &draft); /**< --table */
void planNames(PlanDraft &draft);       /**< names and descriptors in SDT, NIT and BAT */
void planPrograms(PlanDraft &draft);    /**< programs that go, PIDs that move */
void planFields(PlanDraft &draft);      /**< --set */
void planMgt(PlanDraft &draft);         /**< the MGT follows the tables that it announces */
void planInserts(PlanDraft &draft);     /**< --insert */
/** @brief The services and streams that the request names are in the tables. */
void checkNames(const PlanDraft &draft);
/** @} */

} // namespace psitool

#endif
