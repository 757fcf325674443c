#include "edit/planParts.h"
#include "output/lines.h"

#include <algorithm>
#include <cstdio>

namespace psitool {

std::string numberText(u16 number)
{
    char text[24];
    std::snprintf(text, sizeof text, "0x%04X (%u)", unsigned{number}, unsigned{number});
    return text;
}

std::string listed(const std::set<u16> &numbers)
{
    std::string text;
    for (const u16 number : numbers)
        text += (text.empty() ? "" : ", ") + numberText(number);
    return text;
}

std::function<bool(u16, ByteView)> OneTable::selector() const
{
    return [*this](u16 sectionPid, ByteView section) {
        return sectionPid == pid && section[0] == tableId && (!id || *id == idExtensionOf(section));
    };
}

namespace {

void takeSections(PlanDraft &draft)
{
    for (const psi::demux::Section &one : draft.stream.sections()) {
        EditedTable *table = draft.plan.tables->of(one.pid, view(one.bytes));
        if (!table)
            continue;
        draft.plan.editedPids.insert(one.pid);
        if (isCurrent(view(one.bytes)))
            table->add(view(one.bytes));
    }
}

/** Throws TableMissing when there is any reason; each is told once. */
void requireNone(const std::string &input, const std::vector<std::string> &missing)
{
    std::set<std::string> known;
    std::vector<std::string> told;
    for (const std::string &one : missing)
        if (known.insert(one).second)
            told.push_back(one);
    if (!told.empty())
        throw TableMissing(input + ": " + joined(told, "; "));
}

void checkRequired(PlanDraft &draft)
{
    const std::vector<EditedTable *> tables = draft.plan.tables->all();
    for (const TableEdit &edit : draft.plan.tables->edits) {
        const bool there = std::any_of(tables.begin(), tables.end(), [&](const EditedTable *table) {
            return table->edits(edit) && !table->completeVersions().empty();
        });
        if (!edit.required.empty() && !there)
            draft.missing.push_back(draft.stream.absence(edit.selects, edit.required));
    }
    requireNone(draft.plan.input, draft.missing);
}

void editAll(PlanDraft &draft)
{
    for (const bool mgt : {false, true}) // which follows the others
        for (EditedTable *table : draft.plan.tables->all())
            if ((table->context().kind->tableId == mgtTable) == mgt && !table->removed())
                table->editAll();
    draft.plan.requireHits(false);
}

} // namespace

void EditPlan::requireHits(bool shortForm) const
{
    for (const EditedTable *table : tables->all())
        if (!table->refusal().empty())
            throw EditError(exitNotFound, table->refusal());
    std::vector<std::string> failures;
    for (const auto &set : sets)
        if (const std::string failure = set->failure(); !failure.empty() && (shortForm || !set->request->mayBeShort()))
            failures.push_back(failure);
    requireNone(input, failures);
}

EditPlan makeEditPlan(const EditRequest &request, const psi::demux::Host &host, bool ended)
{
    const StreamTables stream(host, ended, request);
    PlanDraft draft{request, stream};
    draft.plan.input = host.name();
    draft.plan.tables->usual = stream.usual();
    draft.plan.bitrate = request.bitrate;
    draft.plan.fewerRepetitions = request.allowSlower;
    planWholeTables(draft);
    planNames(draft);
    planPrograms(draft);
    planFields(draft);
    planMgt(draft);
    planInserts(draft);
    takeSections(draft);
    checkRequired(draft);
    checkNames(draft);
    editAll(draft);
    return std::move(draft.plan);
}

} // namespace psitool
