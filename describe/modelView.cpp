#include "describe/modelView.h"

#include "describe/isdb.h"
#include "describe/systemTime.h"

#include <algorithm>
#include <functional>
#include <iterator>

namespace psi::describe {

namespace {

constexpr u8 languageTag = 0x0A;
constexpr u8 teletextTag = 0x56;
constexpr u8 subtitlingTag = 0x59;
constexpr u8 ac3AudioStreamTag = 0x81;
constexpr u8 extensionTag = 0x7F;
constexpr u8 supplementaryAudioTag = 0x06; // descriptor_tag_extension
constexpr u8 pmtTable = 0x02;
constexpr u8 nitActualTable = 0x40;

constexpr u32 tableBit(u32 psiType)
{
    return 1U << psiType;
}

Standard standardOf(const tsInfo &model)
{
    constexpr u32 atscTables = tableBit(PSI_MGT) | tableBit(PSI_VCT) | tableBit(PSI_STT);
    constexpr u32 dvbTables = tableBit(PSI_SDT_ACTUAL) | tableBit(PSI_SDT_OTHER) | tableBit(PSI_NIT_ACTUAL) |
                              tableBit(PSI_NIT_OTHER) | tableBit(PSI_BAT);
    if (model.tableMask & atscTables)
        return Standard::atsc;
    return model.tableMask & dvbTables ? Standard::dvb : Standard::unknown;
}

ReadDescriptor readNext(const descInfo &node, DescriptorContext &context)
{
    return describe::readNext(node.descTag, {node.descData, node.descLen}, context);
}

void collectLanguages(const Fields &fields, std::vector<std::string> &languages)
{
    for (const Field &field : fields) {
        const bool language = field.key == "ISO_639_language_code" || field.key == "language";
        if (language && !field.text.empty() &&
            std::find(languages.begin(), languages.end(), field.text) == languages.end())
            languages.push_back(field.text);
        for (const Fields &item : field.items)
            collectLanguages(item, languages);
    }
}

bool namesLanguages(const ReadDescriptor &descriptor)
{
    constexpr u8 tags[] = {languageTag, teletextTag, subtitlingTag, ac3AudioStreamTag};
    const bool supplementary =
        descriptor.tag == extensionTag && !descriptor.payload.empty() && descriptor.payload[0] == supplementaryAudioTag;
    return supplementary || std::find(std::begin(tags), std::end(tags), descriptor.tag) != std::end(tags);
}

} // namespace

std::vector<ReadDescriptor> readDescriptors(const descInfo *list, DescriptorContext context)
{
    std::vector<ReadDescriptor> descriptors;
    for (const descInfo &node : nodes(list))
        descriptors.push_back(readNext(node, context));
    return descriptors;
}

DescriptorContext programContext(const descInfo *list, const DescriptorContext &usual)
{
    return registered(usual, formatIdentifierOf(readDescriptors(list, usual)));
}

DescriptorContext contextOf(DescriptorContext usual, const std::vector<PlacedSection> &tables)
{
    bool hasNit = false;
    for (const PlacedSection &section : tables)
        if (section.bytes[0] == nitActualTable) {
            hasNit = true;
            learnFromNit(usual, section.bytes);
        }
    for (const PlacedSection &section : tables)
        if (section.bytes[0] == pmtTable && !hasNit)
            learnFromPmt(usual, section.pid, section.bytes);
    for (const PlacedSection &section : tables)
        learnFromStt(usual, section.bytes);
    return usual;
}

DescriptorContext contextOf(const tsInfo &model)
{
    std::vector<PlacedSection> tables;
    for (const sectionData &section : nodes(model.sectionList))
        if (section.psiType == PSI_NIT_ACTUAL || section.psiType == PSI_PMT || section.psiType == PSI_STT)
            tables.push_back({section.pid, bytesOf(section)});
    return contextOf(standardOf(model), tables);
}

ModelView::ModelView(const tsInfo &model) : ModelView(model, standardOf(model)) {}

ModelView::ModelView(const tsInfo &model, const DescriptorContext &usual) : model_(model), usual_(usual) {}

const sectionData *ModelView::sectionAround(const u8 *bytes) const
{
    const std::less_equal<const u8 *> notAfter;
    for (const sectionData &section : nodes(model_.sectionList))
        if (bytes && notAfter(section.buf, bytes) && notAfter(bytes, section.buf + section.len))
            return &section;
    return nullptr;
}

bool ModelView::hasChannel(const progInfo &program) const
{
    if (const sectionData *section = sectionAround(program.sname))
        return section->psiType == PSI_VCT;
    // A model that owns its names: what only a VCT sets.
    return (program.major_channel_number | program.minor_channel_number | program.source_id | program.channel_TSID) !=
           0;
}

bool ModelView::hasService(const progInfo &program) const
{
    const bool named = program.pnameLen > 0 || (program.snameLen > 0 && !hasChannel(program));
    const bool flagged =
        program.prog_type || program.run_stat || program.EIT_flag || program.EIT_pre_flag || program.ca_mode;
    return acquired(PSI_SDT_ACTUAL) && (named || flagged || program.sdtDescList);
}

DecodedText ModelView::serviceName(const progInfo &program) const
{
    const ByteView name(program.sname, program.snameLen);
    return hasChannel(program) ? decodeUtf16(name) : decodeDvbText(name, usual_.charset);
}

std::vector<ReadDescriptor> ModelView::pmtDescriptors(const progInfo &program) const
{
    return readDescriptors(program.pmtDescList, programContext(program.pmtDescList, usual_));
}

std::vector<ReadDescriptor> ModelView::serviceDescriptors(const progInfo &program) const
{
    std::vector<ReadDescriptor> descriptors;
    // A program of both an SDT and a VCT has the descriptors of both in one list.
    DescriptorContext context = usual_;
    for (const descInfo &node : nodes(program.sdtDescList)) {
        const sectionData *section = sectionAround(node.descData);
        const bool channel = section ? section->psiType == PSI_VCT : hasChannel(program);
        context.standard = channel ? Standard::atsc : Standard::dvb;
        descriptors.push_back(readNext(node, context));
    }
    return descriptors;
}

const ModelView::Stream &ModelView::read(const progInfo &program, const esInfo &stream) const
{
    if (last_.stream != &stream) {
        const DescriptorContext context = programContext(program.pmtDescList, usual_);
        last_ = {&stream, context, readDescriptors(stream.descList, streamContext(context, stream.esType))};
    }
    return last_;
}

std::string ModelView::streamKind(const progInfo &program, const esInfo &stream) const
{
    const Stream &known = read(program, stream);
    return describe::streamKind(stream.esType, known.descriptors, known.context);
}

std::vector<std::string> ModelView::streamLanguages(const progInfo &program, const esInfo &stream) const
{
    std::vector<std::string> languages;
    for (const ReadDescriptor &descriptor : streamDescriptors(program, stream))
        if (namesLanguages(descriptor))
            collectLanguages(descriptor.description.fields, languages);
    return languages;
}

std::size_t ModelView::programCount() const
{
    const NodeList<progInfo> programs = nodes(model_.progList);
    return static_cast<std::size_t>(std::distance(programs.begin(), programs.end()));
}

std::size_t ModelView::sectionCount(u32 psiType) const
{
    const NodeList<sectionData> sections = nodes(model_.sectionList);
    return static_cast<std::size_t>(std::count_if(
        sections.begin(), sections.end(), [=](const sectionData &section) { return section.psiType == psiType; }));
}

std::map<u16, std::vector<const sectionData *>> ModelView::subTables(u32 psiType) const
{
    std::map<u16, std::vector<const sectionData *>> tables;
    for (const sectionData &section : nodes(model_.sectionList))
        if (section.psiType == psiType)
            tables[section.idExt].push_back(&section);
    return tables;
}

} // namespace psi::describe
