#include "support/plainModel.h"

#include "support/libraryFixture.h"

#include <algorithm>
#include <cstring>
#include <sstream>

namespace psitest {
namespace {

/** @brief Takes items of a list in order as long as they fit, section after section. */
template <typename Item> class Packer {
public:
    Packer(const std::vector<Item> &items, std::size_t budget) : items_(items), budget_(budget) {}

    /** @brief The items of the next section, which holds @p used bytes already. */
    template <typename SizeOf> std::vector<Item> next(std::size_t &used, SizeOf sizeOf)
    {
        std::vector<Item> taken;
        while (at_ < items_.size() && used + sizeOf(items_[at_]) <= budget_) {
            used += sizeOf(items_[at_]);
            taken.push_back(items_[at_++]);
        }
        return taken;
    }
    bool done() const { return at_ == items_.size(); }

private:
    const std::vector<Item> &items_;
    std::size_t budget_;
    std::size_t at_ = 0;
};

/** @brief last_section_number as it follows from a number of bytes of which 16 bits count. */
u8 lastNumber(std::size_t bytes, std::size_t budget)
{
    return static_cast<u8>((bytes & 0xFFFF) / budget);
}

Bytes oneLoop(const PlainDescriptor &desc)
{
    return descriptor(desc.tag, desc.payload);
}

Bytes oneLoop(const PlainCa &ca)
{
    return caDescriptor(ca.systemId, ca.pid, ca.privateData);
}

template <typename Item> std::size_t sizeOfOne(const Item &item)
{
    return oneLoop(item).size();
}

Bytes serviceLoop(const PlainProgram &program)
{
    const std::string provider(program.provider.begin(), program.provider.end());
    const std::string name(program.name.begin(), program.name.end());
    Bytes service = serviceDescriptor(program.serviceType, provider, name);
    return service + loopOf(program.sdtDescriptors);
}

Bytes languageOf(const PlainStream &stream)
{
    const auto found = std::find_if(stream.descriptors.begin(), stream.descriptors.end(),
                                    [](const PlainDescriptor &desc) { return desc.tag == 0x0A; });
    if (found == stream.descriptors.end() || found->payload.size() < 3)
        return {0, 0, 0};
    return {found->payload[0], found->payload[1], found->payload[2]};
}

Bytes channelLoop(const PlainProgram &program)
{
    BitWriter location;
    location.put(3, 7).put(13, program.pcrPid).put(8, static_cast<u32>(program.streams.size()));
    for (const PlainStream &stream : program.streams)
        location.put(8, stream.type).put(3, 7).put(13, stream.pid).append(languageOf(stream));
    Bytes loop = descriptor(0xA1, location.bytes());
    for (const PlainDescriptor &desc : program.sdtDescriptors) {
        if (desc.tag != 0xA1)
            loop = loop + oneLoop(desc);
    }
    return loop;
}

Bytes channel(const PlainProgram &program)
{
    Bytes name = program.name;
    name.resize(14, 0);
    BitWriter out;
    out.append(name).put(4, 15).put(10, program.major).put(10, program.minor).put(8, program.modulationMode).put(32, 0);
    out.put(16, program.channelTsid).put(16, program.progNo).put(8, 0x0D).put(2, 3).put(6, program.vctServiceType);
    const Bytes loop = channelLoop(program);
    return out.put(16, program.sourceId).put(6, 0x3F).put(10, static_cast<u32>(loop.size())).append(loop).bytes();
}

std::size_t channelSize(const PlainProgram &program)
{
    return channel(program).size();
}

std::size_t serviceSize(const PlainProgram &program)
{
    return serviceLoop(program).size() + 5;
}

template <typename Items, typename SizeOf> std::size_t sum(const Items &items, SizeOf sizeOf)
{
    std::size_t bytes = 0;
    for (const auto &item : items)
        bytes += sizeOf(item);
    return bytes;
}

void addStream(progInfo *prog, const PlainStream &plain)
{
    esInfo *es = esInfoCreat(&prog->esList);
    es->esType = plain.type;
    es->esPid = plain.pid;
    addCas(&es->caList, plain.ca);
    addDescriptors(&es->descList, plain.descriptors);
}

std::string headText(const psiHead &head)
{
    return format("%u.%u.%u.%u.%u", head.syntax_indicator, head.version_number, head.current_next, head.section_number,
                  head.last_section_number);
}

std::string streamText(const esInfo &es)
{
    return format(" es type %u pid %u\n", es.esType, es.esPid) + textOf(es.caList) + textOf(es.descList);
}

std::string programText(const progInfo &prog)
{
    std::string text = "program " + headText(prog.pmtHead);
    for (const u32 value :
         {u32{prog.progNo}, u32{prog.pmtPid}, u32{prog.pcrPid}, u32{prog.pmtValid}, u32{prog.ca_mode},
          u32{prog.run_stat}, u32{prog.prog_type}, u32{prog.EIT_flag}, u32{prog.EIT_pre_flag}, u32{prog.caFlag},
          u32{prog.major_channel_number}, u32{prog.minor_channel_number}, u32{prog.channel_TSID}, u32{prog.source_id},
          u32{prog.modulation_mode}, u32{prog.service_type}, prog.pmtCrc})
        text += format(" %u", value);
    text += "\n provider " + hexOf(bytesAt(prog.pname, prog.pnameLen)) + "\n name " +
            hexOf(bytesAt(prog.sname, prog.snameLen)) + "\n";
    text += textOf(prog.caList) + "pmt\n" + textOf(prog.pmtDescList) + "sdt\n" + textOf(prog.sdtDescList);
    for (const esInfo *es : nodesOf(prog.esList))
        text += streamText(*es);
    return text;
}

} // namespace

PlainDescriptors fillerDescriptors(std::size_t bytes, u8 tag)
{
    PlainDescriptors filler;
    while (bytes > 0) {
        const std::size_t one = bytes > 257 ? std::min<std::size_t>(257, bytes - 2) : bytes;
        filler.push_back({tag, counting(one - 2, static_cast<u8>(filler.size()))});
        bytes -= one;
    }
    return filler;
}

Bytes loopOf(const PlainDescriptors &descriptors)
{
    Bytes loop;
    for (const PlainDescriptor &desc : descriptors)
        loop = loop + oneLoop(desc);
    return loop;
}

Bytes loopOf(const PlainCas &cas)
{
    Bytes loop;
    for (const PlainCa &ca : cas)
        loop = loop + oneLoop(ca);
    return loop;
}

u8 *poolCopy(const Bytes &bytes)
{
    if (bytes.empty())
        return nullptr;
    u8 *copy = static_cast<u8 *>(psi_buddy_malloc(static_cast<u32>(bytes.size())));
    if (copy != nullptr)
        std::memcpy(copy, bytes.data(), bytes.size());
    return copy;
}

void addDescriptors(descInfo **list, const PlainDescriptors &descriptors)
{
    for (const PlainDescriptor &plain : descriptors) {
        descInfo *desc = descInfoCreat(list);
        desc->descTag = plain.tag;
        desc->descLen = static_cast<u8>(plain.payload.size());
        desc->descData = poolCopy(plain.payload);
    }
}

void addCas(caInfo **list, const PlainCas &cas)
{
    for (const PlainCa &plain : cas) {
        caInfo *ca = caInfoCreat(list);
        ca->caSystemId = plain.systemId;
        ca->caPid = plain.pid;
        ca->privateLen = static_cast<u8>(plain.privateData.size());
        ca->privateData = poolCopy(plain.privateData);
    }
}

progInfo *addProgram(tsInfo *model, const PlainProgram &plain)
{
    progInfo *prog = progInfoCreat(&model->progList);
    prog->progNo = plain.progNo;
    prog->pmtPid = plain.pmtPid;
    prog->pcrPid = plain.pcrPid;
    prog->pmtHead.version_number = plain.pmtVersion;
    prog->ca_mode = plain.freeCaMode;
    prog->run_stat = plain.runningStatus;
    prog->prog_type = plain.serviceType;
    prog->EIT_flag = plain.eitSchedule;
    prog->EIT_pre_flag = plain.eitPresentFollowing;
    prog->pnameLen = static_cast<u8>(plain.provider.size());
    prog->pname = poolCopy(plain.provider);
    prog->snameLen = static_cast<u8>(plain.name.size());
    prog->sname = poolCopy(plain.name);
    prog->major_channel_number = plain.major;
    prog->minor_channel_number = plain.minor;
    prog->channel_TSID = plain.channelTsid;
    prog->source_id = plain.sourceId;
    prog->modulation_mode = plain.modulationMode;
    prog->service_type = plain.vctServiceType;
    addCas(&prog->caList, plain.ca);
    addDescriptors(&prog->pmtDescList, plain.pmtDescriptors);
    addDescriptors(&prog->sdtDescList, plain.sdtDescriptors);
    for (const PlainStream &stream : plain.streams)
        addStream(prog, stream);
    return prog;
}

void fillModel(tsInfo *model, const PlainModel &plain)
{
    model->tsId = plain.tsId;
    model->orNetId = plain.originalNetworkId;
    model->netPid = plain.netPid;
    model->netFlag = plain.netFlag;
    model->patHead.version_number = plain.patVersion;
    model->sdtHead.version_number = plain.sdtVersion;
    model->catHead.version_number = plain.catVersion;
    model->tableMask = plain.tableMask;
    for (const PlainProgram &program : plain.programs)
        addProgram(model, program);
    addCas(&model->catCaList, plain.catCa);
    addDescriptors(&model->catDescList, plain.catDescriptors);
    addDescriptors(&model->vctDescList, plain.vctDescriptors);
}

std::string hexOf(const Bytes &bytes, const char *digits)
{
    std::string text(2 * bytes.size(), '\0');
    auto out = text.begin();
    for (const u8 byte : bytes) {
        *out++ = digits[byte >> 4];
        *out++ = digits[byte & 15];
    }
    return text;
}

std::string textOf(const descInfo *list)
{
    std::string text;
    for (; list != nullptr; list = static_cast<const descInfo *>(list->link.next))
        text += format("  descriptor %02x[%u] ", list->descTag, list->descLen) +
                hexOf(bytesAt(list->descData, list->descLen)) + "\n";
    return text;
}

std::string textOf(const caInfo *list)
{
    std::string text;
    for (; list != nullptr; list = static_cast<const caInfo *>(list->link.next))
        text += format("  ca %04x %u[%u] ", list->caSystemId, list->caPid, list->privateLen) +
                hexOf(bytesAt(list->privateData, list->privateLen)) + "\n";
    return text;
}

std::string textOf(const tsInfo &model)
{
    std::string text = headText(model.patHead) + " " + headText(model.sdtHead) + " " + headText(model.catHead) + "\n";
    text += format("netPid %u tsId %u orNetId %u netId %u mask %x netFlag %u name ", model.netPid, model.tsId,
                   model.orNetId, model.netId, model.tableMask, model.netFlag);
    text += hexOf(bytesAt(model.netname, model.netnameLen)) + "\n";
    for (const progInfo *prog : nodesOf(model.progList))
        text += programText(*prog);
    return text + "cat\n" + textOf(model.catCaList) + textOf(model.catDescList) + "vct\n" + textOf(model.vctDescList);
}

std::vector<Bytes> expectedPat(const PlainModel &model)
{
    constexpr std::size_t budget = 1012;
    const bool network = model.netFlag == 1;
    const u8 last = lastNumber(4 * model.programs.size() + (network ? 4 : 0), budget);
    Packer<PlainProgram> programs(model.programs, budget);
    std::vector<Bytes> sections;
    for (unsigned number = 0; number <= last; ++number) {
        PatBuilder section;
        section.tsId(model.tsId).version(model.patVersion).number(static_cast<u8>(number), last);
        std::size_t used = 0;
        if (network && number == 0) {
            section.network(model.netPid);
            used = 4;
        }
        for (const PlainProgram &program : programs.next(used, [](const PlainProgram &) { return std::size_t{4}; }))
            section.program(program.progNo, program.pmtPid);
        sections.push_back(section.build());
    }
    return sections;
}

Bytes expectedPmt(const PlainProgram &program)
{
    PmtBuilder section(program.progNo);
    section.version(program.pmtVersion).pcrPid(program.pcrPid);
    section.programDescriptor(loopOf(program.ca) + loopOf(program.pmtDescriptors));
    for (const PlainStream &stream : program.streams)
        section.stream(stream.type, stream.pid, loopOf(stream.ca) + loopOf(stream.descriptors));
    return section.build();
}

std::vector<Bytes> expectedCat(const PlainModel &model)
{
    constexpr std::size_t budget = 1012;
    const u8 last = lastNumber(loopOf(model.catCa).size() + loopOf(model.catDescriptors).size(), budget);
    Packer<PlainCa> cas(model.catCa, budget);
    Packer<PlainDescriptor> others(model.catDescriptors, budget);
    std::vector<Bytes> sections;
    for (unsigned number = 0; number <= last; ++number) {
        CatBuilder section;
        section.version(model.catVersion).number(static_cast<u8>(number), last);
        std::size_t used = 0;
        section.desc(loopOf(cas.next(used, sizeOfOne<PlainCa>)));
        if (cas.done())
            section.desc(loopOf(others.next(used, sizeOfOne<PlainDescriptor>)));
        sections.push_back(section.build());
    }
    return sections;
}

std::vector<Bytes> expectedSdt(const PlainModel &model)
{
    constexpr std::size_t budget = 1009;
    const u8 last = lastNumber(sum(model.programs, serviceSize), budget);
    Packer<PlainProgram> programs(model.programs, budget);
    std::vector<Bytes> sections;
    for (unsigned number = 0; number <= last; ++number) {
        SdtBuilder section;
        section.privateIndicator(0).tsId(model.tsId).version(model.sdtVersion).number(static_cast<u8>(number), last);
        section.originalNetworkId(model.originalNetworkId);
        std::size_t used = 0;
        for (const PlainProgram &program : programs.next(used, serviceSize)) {
            SdtService service;
            service.serviceId = program.progNo;
            service.descriptors = serviceLoop(program);
            service.eitSchedule = program.eitSchedule;
            service.eitPresentFollowing = program.eitPresentFollowing;
            service.runningStatus = program.runningStatus;
            service.freeCaMode = program.freeCaMode;
            service.reservedFutureUse = 0;
            section.service(service);
        }
        sections.push_back(section.build());
    }
    return sections;
}

std::vector<Bytes> expectedVct(const PlainModel &model)
{
    constexpr std::size_t budget = 1008;
    const u8 last = lastNumber(sum(model.programs, channelSize) + loopOf(model.vctDescriptors).size(), budget);
    Packer<PlainProgram> programs(model.programs, budget);
    Packer<PlainDescriptor> additional(model.vctDescriptors, budget);
    std::vector<Bytes> sections;
    for (unsigned number = 0; number <= last; ++number) {
        std::size_t used = 0;
        const std::vector<PlainProgram> channels = programs.next(used, channelSize);
        BitWriter body;
        body.put(8, 0).put(8, static_cast<u32>(channels.size()));
        for (const PlainProgram &program : channels)
            body.append(channel(program));
        Bytes descriptors;
        if (programs.done())
            descriptors = loopOf(additional.next(used, sizeOfOne<PlainDescriptor>));
        body.put(6, 0x3F).put(10, static_cast<u32>(descriptors.size())).append(descriptors);
        LongSectionBuilder section(0xC8);
        section.idExt(model.tsId).version(model.sdtVersion).number(static_cast<u8>(number), last);
        sections.push_back(section.body(body.bytes()).build());
    }
    return sections;
}

bool isMade(const Bytes &pmt, const PlainProgram &program)
{
    return pmt.size() - 16 - 5 * program.streams.size() <= 1008 && pmt.size() <= 4096;
}

std::vector<std::pair<u8, Bytes>> expectedSections(const PlainModel &model, Standard standard)
{
    std::vector<std::pair<u8, Bytes>> all;
    const auto add = [&](u8 type, const std::vector<Bytes> &sections) {
        for (const Bytes &section : sections)
            all.emplace_back(type, section);
    };
    add(PSI_PAT, expectedPat(model));
    for (const PlainProgram &program : model.programs) {
        const Bytes pmt = expectedPmt(program);
        if (isMade(pmt, program))
            all.emplace_back(u8{PSI_PMT}, pmt);
    }
    add(PSI_CAT, expectedCat(model));
    if (standard == dvb)
        add(PSI_SDT_ACTUAL, expectedSdt(model));
    else
        add(PSI_VCT, expectedVct(model));
    return all;
}

} // namespace psitest
