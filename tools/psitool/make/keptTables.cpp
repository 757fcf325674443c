#include "make/keptTables.h"

#include "describe/modelView.h"
#include "input/modelSections.h"
#include "output/described.h"
#include "scan/modelJson.h"

#include <algorithm>
#include <stdexcept>

namespace psitool {

namespace {

/** Keys that are derived from others, or computed. */
bool isDerived(const std::string &key, const Json &value)
{
    static const std::set<std::string> derived{"fields", "note", "text", "charset", "languages", "crc_32"};
    const bool ends = key.size() > 5 && key.compare(key.size() - 5, 5, "_name") == 0;
    return derived.count(key) != 0 || ((key == "name" || ends) && value.is_string());
}

/** What is left of a part of the model when everything that is derived is taken away. */
Json essence(const Json &value)
{
    if (value.is_array()) {
        Json array = Json::array();
        for (const Json &element : value)
            array.push_back(essence(element));
        return array;
    }
    if (!value.is_object())
        return value;
    Json object = Json::object();
    for (const auto &[key, member] : value.items())
        if (!isDerived(key, member))
            object[key] = essence(member);
    return object;
}

Json patPart(const Json &stream)
{
    Json part = {stream["transport_stream_id"], stream["network_pid_found"], stream["network_pid"], stream["pat"]};
    for (const Json &program : stream["programs"])
        part.push_back({program["program_number"], program["pmt"]["pid"]});
    return part;
}

Json sdtPart(const Json &stream)
{
    Json part = {stream["transport_stream_id"], stream["original_network_id"], stream["sdt"]};
    for (const Json &program : stream["programs"])
        if (program["service"]["found"] == true)
            part.push_back({program["program_number"], program["service"]});
    return part;
}

/** The service_location_descriptor, A/65 6.9.5, repeats what the PMT says. */
Json vctPart(const Json &stream)
{
    Json part = {stream["transport_stream_id"], stream["sdt"], stream["vct"]};
    for (const Json &program : stream["programs"])
        part.push_back({program["program_number"], program["service"], program["channel"], program["pmt"]["pcr_pid"],
                        program["pmt"]["streams"]});
    return part;
}

std::map<u16, Json> maps(const Json &stream)
{
    std::map<u16, Json> found;
    for (const Json &program : stream["programs"]) {
        Json map = program["pmt"];
        map.erase("pid"); // the PAT says it
        found[program["program_number"].get<u16>()] = map;
    }
    return found;
}

Json partOf(const tsInfo &model)
{
    return essence(transportStreamJson(ModelView(model)));
}

std::vector<psi::demux::Section> asCollected(const std::vector<StoredSection> &stored, const tsInfo &model)
{
    std::map<u16, u16> programs;
    for (const progInfo &program : nodes(model.progList))
        programs[program.progNo] = program.pmtPid;
    std::vector<psi::demux::Section> sections;
    sections.reserve(stored.size());
    for (const StoredSection &one : stored)
        sections.push_back({one.pid, 0, 0, 1, {one.bytes.begin(), one.bytes.end()}});
    return modelSections(std::move(sections), programs);
}

std::unique_ptr<psi::demux::Host> folded(const JsonFacts &facts, const tsInfo &model)
{
    return modelHost(asCollected(facts.stored, model), model.netPid, "the sections", ScanStandard::automatic);
}

/** The tables that a model says the same about as before, but for the PMTs. */
std::set<u32> sameTables(const Json &now, const Json &then)
{
    std::set<u32> same;
    const auto keep = [&](u32 psiType, bool alike) {
        if (alike)
            same.insert(psiType);
    };
    keep(PSI_PAT, patPart(now) == patPart(then));
    keep(PSI_CAT, now["cat"] == then["cat"]);
    keep(PSI_SDT_ACTUAL, sdtPart(now) == sdtPart(then));
    keep(PSI_VCT, vctPart(now) == vctPart(then));
    return same;
}

/** The programs whose PMTs it says the same about. */
std::set<u16> sameMaps(const Json &now, const Json &then)
{
    std::set<u16> same;
    const std::map<u16, Json> before = maps(then);
    for (const auto &[number, map] : maps(now)) {
        const auto found = before.find(number);
        if (map["found"] == true && found != before.end() && found->second == map)
            same.insert(number);
    }
    return same;
}

} // namespace

KeptTables::KeptTables(const tsInfo &model, const JsonFacts &facts) : facts_(facts)
{
    if (facts.stored.empty())
        return;
    const auto host = folded(facts, model);
    const tsInfo &came = *getSchObjDataInfo(host->object());
    for (const progInfo &program : nodes(came.progList))
        programs_.insert(program.progNo);

    const Json now = partOf(model);
    const Json then = partOf(came);
    maps_ = sameMaps(now, then);
    whole_ = wanted(sameTables(now, then), model);
    // The library does not tell of everything for which it had no room; that it is missing is no edit.
    if (!keepsAll() && then != partOf(*getSchObjDataInfo(folded(facts, model)->object())))
        throw std::runtime_error("the library's memory pool is exhausted");
}

/** Of these tables those that came, and are to go out. */
std::set<u32> KeptTables::wanted(std::set<u32> tables, const tsInfo &model) const
{
    const bool atsc = facts_.standard == ScanStandard::atsc;
    if ((model.tableMask >> PSI_CAT & 1) == 0)
        tables.erase(PSI_CAT);
    if (!facts_.sdt)
        tables.erase(PSI_SDT_ACTUAL);
    if (!atsc)
        tables.erase(PSI_VCT);
    for (auto table = tables.begin(); table != tables.end();)
        table = stored(*table).empty() ? tables.erase(table) : std::next(table);
    if (atsc && !stored(PSI_MGT).empty() && (tables.count(PSI_VCT) != 0 || stored(PSI_VCT).empty()))
        tables.insert(PSI_MGT);
    return tables;
}

/** True when nothing that is generated from a model was edited. */
bool KeptTables::keepsAll() const
{
    constexpr u32 compared = 1U << PSI_PAT | 1U << PSI_CAT | 1U << PSI_SDT_ACTUAL | 1U << PSI_VCT;
    return std::all_of(facts_.stored.begin(), facts_.stored.end(), [this](const StoredSection &section) {
        if (section.psiType == PSI_PMT)
            return hasPmt(psi::demux::tableIdExtension(ByteView(section.bytes).data()));
        return (compared >> section.psiType & 1) == 0 || has(section.psiType);
    });
}

std::vector<const StoredSection *> KeptTables::stored(u32 psiType) const
{
    std::vector<const StoredSection *> sections;
    for (const StoredSection &section : facts_.stored)
        if (section.psiType == psiType)
            sections.push_back(&section);
    return sections;
}

} // namespace psitool
