#include "edit/planParts.h"

namespace psitool {

namespace {

/** The table_id_extension of a tree. */
std::optional<u16> treesId(const Fields &tree)
{
    constexpr u32 place = 24;
    for (const Field &field : tree)
        if (field.bit == place && field.bits == 16)
            return static_cast<u16>(field.number);
    return std::nullopt;
}

/** Sections in the short form are not in the recording: where they may come is known all the same. */
void addShortForm(PlanDraft &draft, const TableKind &kind)
{
    constexpr u8 spliceStream = 0x86;
    if (kind.pid != psi::demux::kNullPid) {
        draft.plan.editedPids.insert(kind.pid);
        return;
    }
    for (const StreamProgram &program : draft.stream.programs())
        draft.stream.visit(program.pmtPid, pmtTable, [&](ByteView section) {
            for (const Fields &tree : draft.stream.treesOf(section, program.pmtPid))
                for (const Fields &stream : findField(tree, "streams")->items)
                    if (numberOf(stream, "stream_type", 0) == spliceStream)
                        draft.plan.editedPids.insert(static_cast<u16>(numberOf(stream, "elementary_PID", 0)));
        });
}

} // namespace

void planFields(PlanDraft &draft)
{
    for (const SetRequest &set : draft.request.sets) {
        draft.plan.sets.push_back(std::make_unique<SetResult>());
        SetResult *result = draft.plan.sets.back().get();
        result->request = &set;
        draft.add({[&set, places = draft.stream.places()](u16 pid, ByteView section) {
                       const TableKind *kind = tableKindOf(section, pid);
                       if (!kind || !set.isOf(*kind) || !places.has(*kind, pid))
                           return false;
                       const bool any = !set.path.id || isGuide(*kind); // the instances of a guide are raised together
                       return any || *set.path.id == idExtensionOf(section);
                   },
                   [result](Trees &trees) { return result->apply(trees); },
                   {},
                   false,
                   false,
                   set.mayBeShort() ? "" : set.tableName()});
        for (const TableKind &kind : tableKinds())
            if (set.isOf(kind) && kind.isShort())
                addShortForm(draft, kind);
    }
}

bool SetResult::apply(Trees &trees)
{
    const std::optional<u16> id = treesId(trees.front()); // the CAT has none
    if (request->path.id && id && id != request->path.id)
        return false;
    selected = true;
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

std::string SetResult::failure() const
{
    if (match.hits > 0)
        return "";
    return selected ? "--set " + request->path.text + ": " + match.miss : "no " + request->tableName() + " found";
}

} // namespace psitool
