#include "demux/transportPacket.h"
#include "input/modelSections.h"
#include "output/jsonParts.h"
#include "pids/pidList.h"
#include "pids/tableTimes.h"
#include "scan/modelJson.h"
#include "scan/scan.h"
#include "services/serviceForms.h"

namespace psitool {

namespace {

/** Raised when a key changes its name or meaning; new keys do not count. */
constexpr int schemaVersion = 1;

Json tablesJson(const ModelView &view)
{
    Json array = Json::array();
    for (u32 type = PSI_PAT; type <= PSI_EBCCT; ++type)
        if (type != PSI_NO_TYPE)
            array.push_back(
                {{"psi_type", type}, {"name", showPsiTypeStr(type)}, {"sections", view.sectionCount(type)}});
    return array;
}

Json sectionJson(const sectionData &section)
{
    return {{"psi_type", section.psiType},
            {"pid", section.pid},
            {"table_id_extension", section.idExt},
            {"section_number", section.sectionNo},
            {"data", toHex(bytesOf(section))}};
}

Json vctJson(const psi::demux::Section &section)
{
    return {{"psi_type", PSI_VCT},
            {"pid", section.pid},
            {"table_id_extension", psi::demux::tableIdExtension(section.bytes.data())},
            {"section_number", section.bytes[6]},
            {"data", toHex({section.bytes.data(), section.bytes.size()})}};
}

/** The sections as they came: the model's VCT is cut for the library (modelSections()). */
Json sectionsJson(const tsInfo &model, const psi::demux::Collector *collector)
{
    Json array = Json::array();
    for (const sectionData &section : nodes(model.sectionList))
        if (section.psiType != PSI_VCT || !collector)
            array.push_back(sectionJson(section));
    if (collector)
        for (const psi::demux::Section &section : collector->validSections())
            if (isVct(section))
                array.push_back(vctJson(section));
    return array;
}

/** Services that the SDT or the VCT names, and the PAT does not. */
Json otherServicesJson(const ScanResult &result)
{
    Json array = Json::array();
    for (const Service &service : otherServices(*result.collector, result.view))
        array.push_back(serviceJson(service));
    return array;
}

} // namespace

std::string scanJson(const ScanResult &result)
{
    const ScanInput &input = result.input;
    const ModelView &view = result.view;
    Json object;
    object["psitool"] = {{"schema", "transport-stream"}, {"schema_version", schemaVersion}};
    object["input"] = inputJson(input);
    object["transport_stream"] = transportStreamJson(view);
    object["tables"] = tablesJson(view);
    object["sections"] = sectionsJson(view.model(), result.collector);
    if (result.collector) {
        object["other_services"] = otherServicesJson(result);
        object["pids"] = pidsJson(pidLines(*result.collector, view));
        object["absent_pids"] = absentPidsJson(absentPids(*result.collector, view));
        object["table_times"] = tableTimesJson(*result.collector);
        object["missing"] = missingJson(*result.collector);
    }
    return jsonText(object);
}

} // namespace psitool
