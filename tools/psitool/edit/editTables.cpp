#include "edit/editTables.h"
#include "demux/transportPacket.h"

#include "make/makeObject.h"

#include <algorithm>
#include <memory>

namespace psitool {

namespace {

constexpr u8 networkNameTag = 0x40;
constexpr u8 bouquetNameTag = 0x47;
constexpr u8 serviceTag = 0x48;
constexpr u8 caTag = 0x09;

[[noreturn]] void fail(const std::string &why)
{
    requireRoom();
    throw EditError(exitNotFound, why);
}

u8 nextVersion(u8 version)
{
    return static_cast<u8>((version + 1) & 0x1F);
}

/** The sections of a make object that lives as long as one edit. */
class SectionStore {
public:
    tsInfo *model() const { return &object_.model(); }

    void store(const Bytes &section, u32 table) const
    {
        sectionData *node = &made(sectionDataCreat(&model()->sectionList));
        node->psiType = static_cast<u8>(table);
        node->idExt = psi::demux::tableIdExtension(section.data());
        node->sectionNo = section[6];
        node->len = static_cast<u16>(section.size());
        node->buf = poolCopy(view(section));
    }

    Sections sections(u32 table) const
    {
        std::map<u8, Bytes> byNumber;
        for (const sectionData *node = model()->sectionList; node != nullptr;
             node = static_cast<const sectionData *>(node->link.next))
            if (node->psiType == table)
                byNumber[node->sectionNo].assign(node->buf, node->buf + node->len);
        Sections all;
        for (auto &[number, bytes] : byNumber)
            all.push_back(std::move(bytes));
        return all;
    }

    /** Whether all sections but one are the stored ones; that one is then brought up to date. @param sections by number
     */
    bool othersAreStill(u32 table, Sections &sections, std::size_t but) const
    {
        std::size_t count = 0;
        for (const sectionData *node = model()->sectionList; node != nullptr;
             node = static_cast<const sectionData *>(node->link.next)) {
            if (node->psiType != table)
                continue;
            const auto known = std::lower_bound(sections.begin(), sections.end(), node->sectionNo,
                                                [](const Bytes &one, u8 number) { return one[6] < number; });
            if (known == sections.end() || (*known)[6] != node->sectionNo)
                return false;
            ++count;
            if (known == sections.begin() + static_cast<std::ptrdiff_t>(but))
                known->assign(node->buf, node->buf + node->len);
            else if (!std::equal(known->begin(), known->end(), node->buf, node->buf + node->len))
                return false;
        }
        return count == sections.size();
    }

private:
    MakeObject object_;
};

/** A syntax tree. */
template <class Record> class Tree {
public:
    Tree(u32 table, ByteView section) : type_(table)
    {
        void *parsed = nullptr;
        if (syntaxAnalysePsi(table, &parsed, section.data(), static_cast<u32>(section.size())) != 0)
            fail(std::string("a section of the ") + showPsiTypeStr(table) + " cannot be parsed");
        record_ = static_cast<Record *>(parsed);
    }
    ~Tree() { syntaxDestroyPsiSection(type_, record_); }
    Tree(const Tree &) = delete;
    Tree &operator=(const Tree &) = delete;

    Record *operator->() const { return record_; }
    Record &operator*() const { return *record_; }

private:
    u32 type_;
    Record *record_ = nullptr;
};

template <class Node> Node *next(const Node *node)
{
    return static_cast<Node *>(node->link.next);
}

descInfo *findDescriptor(descInfo *list, u8 tag)
{
    while (list != nullptr && list->descTag != tag)
        list = next(list);
    return list;
}

ByteView payloadOf(const descInfo *descriptor)
{
    return {descriptor->descData, descriptor->descLen};
}

/** The descriptor of that tag gets the payload; where there is none, one is added. @return whether anything changed */
bool putDescriptor(descInfo **list, u8 tag, const Bytes &payload)
{
    descInfo *present = findDescriptor(*list, tag);
    if (present == nullptr) {
        addDescriptor(list, tag, view(payload));
        return true;
    }
    const ByteView old = payloadOf(present);
    if (std::equal(old.begin(), old.end(), payload.begin(), payload.end()))
        return false;
    setPayload(*present, view(payload));
    return true;
}

/** service_descriptor, EN 300 468 6.2.33, with what is given in place of what it had. */
Bytes serviceDescriptor(const descInfo *present, const ServiceEdit &edit, u16 serviceId)
{
    constexpr u8 digitalTelevision = 0x01;
    constexpr std::size_t largest = 255;
    ByteReader reader(present != nullptr ? payloadOf(present) : ByteView());
    const u8 oldType = reader.more() ? reader.u8Field() : digitalTelevision;
    const ByteView oldProvider = reader.more() ? reader.counted() : ByteView();
    const ByteView oldName = reader.more() ? reader.counted() : ByteView();
    const Bytes provider = edit.provider.value_or(Bytes(oldProvider.begin(), oldProvider.end()));
    const Bytes name = edit.name.value_or(Bytes(oldName.begin(), oldName.end()));
    if (3 + provider.size() + name.size() > largest)
        fail("service " + std::to_string(serviceId) + ": provider and name take " +
             std::to_string(provider.size() + name.size()) + " bytes together, their descriptor holds 252");
    Bytes payload = {edit.type.value_or(oldType), static_cast<u8>(provider.size())};
    payload.insert(payload.end(), provider.begin(), provider.end());
    payload.push_back(static_cast<u8>(name.size()));
    payload.insert(payload.end(), name.begin(), name.end());
    return payload;
}

bool editServices(sdtSection &sdt, const EditRequest &request)
{
    bool changed = false;
    psiSdtService *service = sdt.service_info;
    while (service != nullptr) {
        psiSdtService *const following = next(service);
        const auto edit = request.services.find(service->service_id);
        if (request.removedServices.count(service->service_id) != 0)
            changed |= psiSdtServiceDestroy(&sdt.service_info, service) == 0;
        else if (edit != request.services.end())
            changed |= putDescriptor(
                &service->service_descriptor, serviceTag,
                serviceDescriptor(findDescriptor(service->service_descriptor, serviceTag), edit->second, edit->first));
        service = following;
    }
    return changed;
}

bool editStreams(psiStreamInfo *list, const std::vector<StreamDescriptor> &descriptors)
{
    bool changed = false;
    for (psiStreamInfo *stream = list; stream != nullptr; stream = next(stream))
        for (const StreamDescriptor &one : descriptors)
            if (one.transportStreamId == stream->transport_stream_id)
                changed |= putDescriptor(&stream->descriptor, one.tag, one.payload);
    return changed;
}

/** The name goes where one is; where the table has none, into section 0. */
bool putName(descInfo **list, u8 tag, const Bytes &name, bool addHere)
{
    return (addHere || findDescriptor(*list, tag) != nullptr) && putDescriptor(list, tag, name);
}

template <class Record> bool raiseVersion(Record &record, u8 version)
{
    const bool changed = record.version_number != version;
    record.version_number = version;
    return changed;
}

/** Entries of the tree's main loop: services, transport streams. */
void appendEntries(const sdtSection &sdt, std::vector<u32> &entries)
{
    for (const psiSdtService *service = sdt.service_info; service != nullptr; service = next(service))
        entries.push_back(service->service_id);
}

void appendStreams(const psiStreamInfo *list, std::vector<u32> &entries)
{
    for (const psiStreamInfo *stream = list; stream != nullptr; stream = next(stream))
        entries.push_back(u32{stream->transport_stream_id} << 16 | stream->original_network_id);
}

void appendEntries(const nitSection &nit, std::vector<u32> &entries)
{
    appendStreams(nit.stream_info, entries);
}

void appendEntries(const batSection &bat, std::vector<u32> &entries)
{
    appendStreams(bat.stream_info, entries);
}

template <class Record> std::vector<u32> entriesOf(u32 table, const Sections &sections)
{
    std::vector<u32> entries;
    for (const Bytes &section : sections)
        appendEntries(*Tree<Record>(table, view(section)), entries);
    return entries;
}

/** Write a section when it is not yet as it should be. @return whether it was written */
template <class Record, class Edit>
bool rewriteSection(const SectionStore &make, u32 table, u8 version, const Edit &edit, const Bytes &section)
{
    const Tree<Record> tree(table, view(section));
    const bool raised = raiseVersion(*tree, version);
    if (!edit(*tree) && !raised)
        return false;
    const u16 idExt = psi::demux::tableIdExtension(section.data());
    if (syntaxSIMakeSeciton(make.model(), &*tree, idExt, table) != 0)
        fail(std::string("the ") + showPsiTypeStr(table) + " cannot be written");
    return true;
}

/**
 * Writing a section may split and renumber the whole table; only then it is looked at from its beginning again. An edit
 * changes nothing where it is done already, so each round does at least one section, for good.
 */
template <class Record, class Edit> void rewriteAll(const SectionStore &make, u32 table, u8 version, const Edit &edit)
{
    Sections sections = make.sections(table);
    for (std::size_t at = 0; at < sections.size();) {
        const bool written = rewriteSection<Record>(make, table, version, edit, sections[at]);
        if (!written || make.othersAreStill(table, sections, at)) {
            ++at;
            continue;
        }
        sections = make.sections(table);
        at = 0;
    }
}

template <class Record, class Edit>
Sections rewrite(u32 table, const Sections &old, const std::set<u16> &removed, const Edit &edit)
{
    const SectionStore make;
    for (const Bytes &section : old)
        make.store(section, table);
    const u8 version = nextVersion(static_cast<u8>(old[0][5] >> 1 & 0x1F));
    rewriteAll<Record>(make, table, version, edit);
    requireRoom(); // without any the library leaves stored sections out that it cannot parse
    Sections fresh = make.sections(table);
    std::vector<u32> expected = entriesOf<Record>(table, old);
    expected.erase(std::remove_if(expected.begin(), expected.end(),
                                  [&](u32 id) { return id <= 0xFFFF && removed.count(static_cast<u16>(id)) != 0; }),
                   expected.end());
    // An entry that no section can hold is left out by the library.
    if (entriesOf<Record>(table, fresh) != expected)
        fail(std::string("an entry of the ") + showPsiTypeStr(table) + " would not fit a section of 1024 bytes");
    return fresh;
}

template <class Record> bool anyHasDescriptor(u32 table, const Sections &sections, descInfo *Record::*list, u8 tag)
{
    return std::any_of(sections.begin(), sections.end(), [&](const Bytes &section) {
        return findDescriptor((*Tree<Record>(table, view(section))).*list, tag) != nullptr;
    });
}

void analyse(tsInfo *model, u32 table, const Bytes &section, u16 idExt)
{
    Bytes copy = section;
    sectionData node = {};
    node.psiType = static_cast<u8>(table);
    node.idExt = idExt;
    node.sectionNo = section[6];
    node.len = static_cast<u16>(section.size());
    node.buf = copy.data();
    if (analysePsi(model, &node, 1) != 0)
        fail(std::string("a section of the ") + showPsiTypeStr(table) + " cannot be analysed");
}

void replacePid(u16 &pid, const EditRequest &request)
{
    const auto found = request.pids.find(pid);
    if (found != request.pids.end())
        pid = found->second;
}

void replaceCaPids(caInfo *list, const EditRequest &request)
{
    for (caInfo *ca = list; ca != nullptr; ca = next(ca))
        replacePid(ca->caPid, request);
}

void collectCaPids(const descInfo *list, std::set<u16> &pids)
{
    for (const descInfo *one = list; one != nullptr; one = next(one)) {
        if (one->descTag != caTag)
            continue;
        ByteReader reader(payloadOf(one));
        reader.u16Field(); // CA_system_ID
        const u16 pid = reader.pid();
        if (reader.ok())
            pids.insert(pid);
    }
}

} // namespace

Sections editSdt(const Sections &old, const EditRequest &request)
{
    return rewrite<sdtSection>(PSI_SDT_ACTUAL, old, request.removedServices,
                               [&](sdtSection &sdt) { return editServices(sdt, request); });
}

Sections editNit(const Sections &old, const EditRequest &request)
{
    const bool named = anyHasDescriptor(PSI_NIT_ACTUAL, old, &nitSection::net_descriptor, networkNameTag);
    return rewrite<nitSection>(PSI_NIT_ACTUAL, old, {}, [&](nitSection &nit) {
        const bool addName = !named && nit.section_number == 0;
        const bool renamed =
            request.networkName && putName(&nit.net_descriptor, networkNameTag, *request.networkName, addName);
        return editStreams(nit.stream_info, request.streamDescriptors) || renamed;
    });
}

Sections editBat(const Sections &old, const Bytes &name)
{
    const bool named = anyHasDescriptor(PSI_BAT, old, &batSection::bouquet_descriptor, bouquetNameTag);
    return rewrite<batSection>(PSI_BAT, old, {}, [&](batSection &bat) {
        return putName(&bat.bouquet_descriptor, bouquetNameTag, name, !named && bat.section_number == 0);
    });
}

Sections editPat(const Sections &old, const EditRequest &request)
{
    const SectionStore make;
    tsInfo *model = make.model();
    for (const Bytes &section : old)
        analyse(model, PSI_PAT, section, 0);
    for (const u16 number : request.removedPrograms)
        while (progInfo *program = getProgInfo(model, number))
            if (progInfoDestroy(&model->progList, program, 1) != 0)
                fail("the PAT cannot be changed");
    for (progInfo *program = model->progList; program != nullptr; program = next(program))
        replacePid(program->pmtPid, request);
    model->patHead.version_number = nextVersion(model->patHead.version_number);
    if (psiMakeSection(model, PSI_PAT) != 0)
        fail("the PAT cannot be written");
    return make.sections(PSI_PAT);
}

Sections editPmt(const Sections &old, u16 pmtPid, const EditRequest &request)
{
    const SectionStore make;
    tsInfo *model = make.model();
    progInfo *program = &made(progInfoCreat(&model->progList));
    program->progNo = psi::demux::tableIdExtension(old[0].data());
    program->pmtPid = pmtPid;
    for (const Bytes &section : old)
        analyse(model, PSI_PMT, section, program->progNo);
    replacePid(program->pcrPid, request);
    replaceCaPids(program->caList, request);
    for (esInfo *stream = program->esList; stream != nullptr; stream = next(stream)) {
        replacePid(stream->esPid, request);
        replaceCaPids(stream->caList, request);
    }
    program->pmtHead.version_number = nextVersion(program->pmtHead.version_number);
    const bool made = pmtMakeOneSection(model, program->progNo) == 0;
    Sections fresh = make.sections(PSI_PMT);
    if (!made || fresh.empty())
        fail("the PMT of program " + std::to_string(program->progNo) + " cannot be written");
    return fresh;
}

std::vector<u32> servicesOf(const Sections &sdt)
{
    return entriesOf<sdtSection>(PSI_SDT_ACTUAL, sdt);
}

std::vector<u32> streamsOf(const Sections &nit)
{
    return entriesOf<nitSection>(PSI_NIT_ACTUAL, nit);
}

std::vector<ProgramEntry> programsOf(ByteView section)
{
    const Tree<patSection> pat(PSI_PAT, section);
    std::vector<ProgramEntry> entries;
    for (const psiPatProg *entry = pat->prog_info; entry != nullptr; entry = next(entry))
        entries.push_back({entry->program_number, entry->program_map_PID});
    return entries;
}

std::set<u16> pidsOf(ByteView section)
{
    constexpr u16 noPcr = psi::demux::kNullPid;
    const Tree<pmtSection> pmt(PSI_PMT, section);
    std::set<u16> pids;
    if (pmt->PCR_PID != noPcr)
        pids.insert(pmt->PCR_PID);
    collectCaPids(pmt->prog_descriptor, pids);
    for (const psiPmtEs *stream = pmt->es_info; stream != nullptr; stream = next(stream)) {
        pids.insert(stream->elementary_PID);
        collectCaPids(stream->es_descriptor, pids);
    }
    return pids;
}

} // namespace psitool
