#include "scan/modelJson.h"

#include "describe/json/sectionJson.h"

namespace psitool {

namespace {

Json caJson(const caInfo *list)
{
    Json array = Json::array();
    for (const caInfo &ca : nodes(list))
        array.push_back({{"ca_system_id", ca.caSystemId},
                         {"ca_system_name", caSystemName(ca.caSystemId)},
                         {"ca_pid", ca.caPid},
                         {"private_data", toHex({ca.privateData, ca.privateLen})}});
    return array;
}

Json headJson(const psiHead &head)
{
    return {{"section_syntax_indicator", head.syntax_indicator},
            {"version_number", head.version_number},
            {"current_next_indicator", head.current_next},
            {"section_number", head.section_number},
            {"last_section_number", head.last_section_number}};
}

Json nameJson(ByteView bytes, const DecodedText &text)
{
    return {{"data", toHex(bytes)}, {"text", text.utf8}, {"charset", text.charset}};
}

/** As psitool tables writes them. */
Json descriptorsJson(const std::vector<psi::describe::ReadDescriptor> &descriptors)
{
    std::string text;
    psi::describe::JsonWriter json(text);
    psi::describe::writeDescriptors(json, descriptors);
    return Json::parse(text);
}

Json streamJson(const ModelView &view, const progInfo &program, const esInfo &stream)
{
    return {
        {"stream_type", stream.esType},   {"stream_type_name", view.streamKind(program, stream)},
        {"elementary_pid", stream.esPid}, {"languages", view.streamLanguages(program, stream)},
        {"ca", caJson(stream.caList)},    {"descriptors", descriptorsJson(view.streamDescriptors(program, stream))}};
}

Json streamsJson(const ModelView &view, const progInfo &program)
{
    Json array = Json::array();
    for (const esInfo &stream : nodes(program.esList))
        array.push_back(streamJson(view, program, stream));
    return array;
}

Json pmtJson(const ModelView &view, const progInfo &program)
{
    Json object;
    object["found"] = program.pmtValid == 1;
    object["pid"] = program.pmtPid;
    object["head"] = headJson(program.pmtHead);
    object["pcr_pid"] = program.pcrPid;
    object["crc_32"] = program.pmtCrc;
    object["ca_flag"] = program.caFlag;
    object["ca"] = caJson(program.caList);
    object["descriptors"] = descriptorsJson(view.pmtDescriptors(program));
    object["streams"] = streamsJson(view, program);
    return object;
}

Json serviceJson(const ModelView &view, const progInfo &program)
{
    Json object;
    object["found"] = view.hasService(program);
    object["name"] = nameJson({program.sname, program.snameLen}, view.serviceName(program));
    object["provider"] = nameJson({program.pname, program.pnameLen}, view.providerName(program));
    object["service_type"] = program.prog_type;
    object["service_type_name"] = serviceTypeName(program.prog_type, view.context());
    object["running_status"] = program.run_stat;
    object["running_status_name"] = runningStatusName(program.run_stat);
    object["free_ca_mode"] = program.ca_mode;
    object["eit_schedule_flag"] = program.EIT_flag;
    object["eit_present_following_flag"] = program.EIT_pre_flag;
    object["descriptors"] = descriptorsJson(view.serviceDescriptors(program));
    return object;
}

Json channelJson(const ModelView &view, const progInfo &program)
{
    return {{"found", view.hasChannel(program)},
            {"major_channel_number", program.major_channel_number},
            {"minor_channel_number", program.minor_channel_number},
            {"channel_tsid", program.channel_TSID},
            {"source_id", program.source_id},
            {"modulation_mode", program.modulation_mode},
            {"modulation_mode_name", modulationModeName(program.modulation_mode)},
            {"service_type", program.service_type},
            {"service_type_name", channelServiceTypeName(program.service_type)}};
}

Json programsJson(const ModelView &view)
{
    Json array = Json::array();
    for (const progInfo &program : nodes(view.model().progList))
        array.push_back({{"program_number", program.progNo},
                         {"service", serviceJson(view, program)},
                         {"channel", channelJson(view, program)},
                         {"pmt", pmtJson(view, program)}});
    return array;
}

} // namespace

Json transportStreamJson(const ModelView &view)
{
    const tsInfo &model = view.model();
    Json object;
    object["transport_stream_id"] = model.tsId;
    object["original_network_id"] = model.orNetId;
    object["network_id"] = model.netId;
    object["network_name"] = nameJson({model.netname, model.netnameLen}, view.networkName());
    object["network_pid_found"] = model.netFlag == 1;
    object["network_pid"] = model.netPid;
    object["table_mask"] = model.tableMask;
    object["pat"] = {{"head", headJson(model.patHead)}};
    object["sdt"] = {{"head", headJson(model.sdtHead)}};
    object["cat"] = {{"head", headJson(model.catHead)},
                     {"ca", caJson(model.catCaList)},
                     {"descriptors", descriptorsJson(view.catDescriptors())}};
    object["vct"] = {{"descriptors", descriptorsJson(view.vctDescriptors())}};
    object["programs"] = programsJson(view);
    return object;
}

} // namespace psitool
