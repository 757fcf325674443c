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

/** @brief A plan in the making. */
struct PlanDraft {
    const EditRequest &request; /**< outlives the plan */
    const StreamTables &stream;
    EditPlan plan = {};

    void add(TableEdit edit) const { plan.tables->edits.push_back(std::move(edit)); }
    /** @brief An edit of the one table of that name, which must be there; its version is raised in any case. */
    void addRequired(const std::string &name, std::function<bool(u16, ByteView)> selects,
                     std::function<bool(Trees &)> change) const
    {
        add({std::move(selects), std::move(change), {}, false, true, name});
    }
    /** @brief An edit as the request has it. */
    std::function<bool(Trees &)> asked(bool (*edit)(Trees &, const EditRequest &)) const
    {
        return [edit, &asked = request](Trees &trees) { return edit(trees, asked); };
    }
};

/** @brief Sections of a table, and of one table_id_extension where that is given. */
std::function<bool(u16, ByteView)> selector(u16 pid, u8 tableId, std::optional<u16> id = std::nullopt);
/** @brief "0x0010 (16), 0x0020 (32)". */
std::string listed(const std::set<u16> &numbers);

/**
 * @name Parts of a plan
 * Edits are done in the order in which they are planned. All throw EditError, and TableMissing when more of the stream
 * may help.
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
