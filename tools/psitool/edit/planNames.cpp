#include "edit/planParts.h"

namespace psitool {

namespace {

void planSdt(PlanDraft &draft)
{
    if (!draft.request.changesSdt())
        return;
    draft.addRequired({sdtPid, sdtTable}, draft.asked(editSdt));
}

void planNit(PlanDraft &draft)
{
    if (!draft.request.changesNit())
        return;
    draft.addRequired({draft.stream.nitPid(), nitTable}, draft.asked(editNit));
}

void planBat(PlanDraft &draft)
{
    if (!draft.request.changesBat())
        return;
    std::set<u16> bouquets;
    draft.stream.visit(sdtPid, batTable, [&](ByteView section) { bouquets.insert(idExtensionOf(section)); });
    if (bouquets.empty())
        return draft.miss({sdtPid, batTable});
    std::map<u16, std::string> names = draft.request.bouquetNames;
    if (draft.request.onlyBouquetName) {
        if (bouquets.size() > 1)
            draft.stream.fail("there are several bouquets, " + listed(bouquets) +
                              ": which one is meant (--bouquet-name ID=NAME)?");
        names.emplace(*bouquets.begin(), *draft.request.onlyBouquetName);
    }
    for (const auto &[id, name] : names) {
        if (bouquets.count(id) == 0) // others come in their own time
            draft.missing.push_back("there is no bouquet " + numberText(id) + ", only " + listed(bouquets));
        else
            draft.addRequired({sdtPid, batTable, id}, [newName = name, charset = draft.stream.usual().charset](
                                                          Trees &bat) { return editBat(bat, newName, charset); });
    }
}

std::set<u16> idsIn(const PlanDraft &draft, u8 tableId, std::string_view list, std::string_view key)
{
    std::set<u16> ids;
    for (const EditedTable *table : draft.plan.tables->all())
        if (table->context().kind->tableId == tableId)
            for (const Sections &version : table->completeVersions())
                ids.merge(numbersIn(readTrees(version, table->context()), list, key));
    return ids;
}

} // namespace

void planNames(PlanDraft &draft)
{
    planSdt(draft);
    planNit(draft);
    planBat(draft);
}

void checkNames(const PlanDraft &draft)
{
    const std::set<u16> services = idsIn(draft, sdtTable, "services", "service_id");
    std::set<u16> wanted = draft.request.removedServices;
    for (const auto &[id, edit] : draft.request.services)
        wanted.insert(id);
    for (const u16 id : wanted)
        if (services.count(id) == 0)
            draft.stream.fail("the SDT actual has no service " + numberText(id) + ", only " + listed(services));
    const std::set<u16> streams = idsIn(draft, nitTable, "transport_streams", "transport_stream_id");
    for (const StreamDescriptor &one : draft.request.streamDescriptors)
        if (streams.count(one.transportStreamId) == 0)
            draft.stream.fail("the NIT actual has no transport stream " + numberText(one.transportStreamId) +
                              ", only " + listed(streams));
}

} // namespace psitool
