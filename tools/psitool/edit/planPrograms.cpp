#include "edit/planParts.h"

#include <algorithm>

namespace psitool {

namespace {

/** PIDs below are those of tables, whatever a PMT says. */
constexpr u16 lastSystemPid = 0x001F;

bool isRemoved(const PlanDraft &draft, const StreamProgram &program)
{
    return draft.request.removedPrograms.count(program.number) != 0;
}

bool named(const PlanDraft &draft, u16 pid)
{
    return std::any_of(draft.stream.programs().begin(), draft.stream.programs().end(),
                       [&](const StreamProgram &program) {
                           return !isRemoved(draft, program) && (program.pmtPid == pid || program.pids.count(pid) != 0);
                       });
}

void checkTarget(const PlanDraft &draft, u16 from, u16 to)
{
    if (!named(draft, from))
        draft.stream.fail("PID " + numberText(from) + " is neither in a PMT nor that of a PMT");
    if ((draft.stream.uses(to) || named(draft, to)) && draft.request.pids.count(to) == 0)
        draft.stream.fail("PID " + numberText(to) + " is in use already");
}

void planRemovals(PlanDraft &draft)
{
    std::set<u16> removedNumbers;
    std::set<u16> keptPids;
    for (const StreamProgram &program : draft.stream.programs()) {
        if (isRemoved(draft, program)) {
            removedNumbers.insert(program.number);
            draft.add({OneTable{program.pmtPid, pmtTable, program.number}.selector(), {}, {}, true});
            continue;
        }
        keptPids.insert(program.pmtPid);
        keptPids.insert(program.pids.begin(), program.pids.end());
    }
    for (const u16 number : draft.request.removedPrograms)
        if (removedNumbers.count(number) == 0)
            draft.stream.fail("the PAT has no program " + numberText(number));
    for (const StreamProgram &program : draft.stream.programs())
        for (const u16 pid : program.pids)
            if (isRemoved(draft, program) && keptPids.count(pid) == 0 && pid > lastSystemPid)
                draft.plan.droppedPids.insert(pid);
}

void planPids(PlanDraft &draft)
{
    for (const auto &[from, to] : draft.request.pids) {
        checkTarget(draft, from, to);
        draft.plan.renamedPids.emplace(from, to);
    }
    for (const StreamProgram &program : draft.stream.programs()) {
        const bool changes = std::any_of(program.pids.begin(), program.pids.end(),
                                         [&](u16 pid) { return draft.request.pids.count(pid) != 0; });
        if (changes && !isRemoved(draft, program))
            draft.addRequired({program.pmtPid, pmtTable, program.number}, draft.asked(editPmt));
    }
}

/** Whether it is known what the programs consist of. Of a stream that has ended a program may lack its PMT. */
bool hasMaps(PlanDraft &draft)
{
    const std::vector<StreamProgram> &programs = draft.stream.programs();
    const auto lacking = std::find_if(programs.begin(), programs.end(), [](const auto &one) { return !one.found; });
    if (!draft.stream.transportStream())
        draft.miss({patPid, patTable});
    else if (lacking != programs.end() && !draft.stream.ended())
        draft.miss({lacking->pmtPid, pmtTable, lacking->number});
    else
        return true;
    return false;
}

} // namespace

void planPrograms(PlanDraft &draft)
{
    if (!draft.request.changesPsi())
        return;
    if (!hasMaps(draft))
        return;
    planRemovals(draft);
    planPids(draft);
    const bool patChanges =
        !draft.request.removedPrograms.empty() ||
        std::any_of(draft.stream.programs().begin(), draft.stream.programs().end(),
                    [&](const StreamProgram &program) { return draft.request.pids.count(program.pmtPid) != 0; });
    if (patChanges)
        draft.addRequired({patPid, patTable}, draft.asked(editPat));
    for (const u8 vct : {terrestrialVctTable, cableVctTable})
        draft.add({OneTable{psipPid, vct}.selector(),
                   [&request = draft.request, stream = draft.stream.transportStream()](Trees &trees) {
                       return editVct(trees, request, stream);
                   }});
}

} // namespace psitool
