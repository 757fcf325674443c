#include "support/searchTest.h"

#include "psiInternal.h"

#include <algorithm>
#include <cstdint>
#include <functional>
#include <ostream>
#include <utility>

using namespace psi::core;

namespace psitest {

const std::string readCall = "read";
const std::string sleepCall = "sleep 20";

LogLines fromFile(const LogLines &lines, const std::string &file)
{
    LogLines picked;
    for (const LogLine &line : lines) {
        if (line.path == "../../" + file + ".cpp")
            picked.push_back(line);
    }
    return picked;
}

LogLine packetsRead(unsigned count)
{
    return info("psiSch", format("tsGetTable tsNum = %u", count));
}

LogLines operator+(LogLines lines, const LogLines &more)
{
    lines.insert(lines.end(), more.begin(), more.end());
    return lines;
}

LogLines operator+(LogLines lines, const LogLine &more)
{
    lines.push_back(more);
    return lines;
}

Calls armsOf(const Calls &calls)
{
    Calls arms;
    for (const std::string &call : calls) {
        if (call.rfind("arm ", 0) == 0)
            arms.push_back(call);
    }
    return arms;
}

std::string arm(u16 pid, u8 tableId, u8 sectionNo, std::optional<u16> idExt, bool longSection)
{
    std::string text = format("arm 0x%04X 0x%02X section %u", pid, tableId, sectionNo);
    if (idExt)
        text += format(" idExt 0x%04X", *idExt);
    return longSection ? text + " long" : text;
}

namespace {

std::string armText(const psiSchInfo &info)
{
    if (info.useIdExt == 0) {
        EXPECT_EQ(0, info.tableIdExt);
    } else {
        EXPECT_EQ(1, info.useIdExt);
    }
    const std::optional<u16> idExt = info.useIdExt != 0 ? std::optional<u16>(info.tableIdExt) : std::nullopt;
    return arm(info.pid, info.tableId, info.sectionNo, idExt, info.longSection != 0);
}

} // namespace

Calls callsOf(ScriptedHost &host)
{
    Calls calls;
    psiSchInfo armed = {};
    for (const HostCall &call : host.takeCalls()) {
        if (call.kind == HostCall::Kind::Sleep) {
            calls.push_back(format("sleep %u", call.ms));
            continue;
        }
        EXPECT_EQ(host.id(), call.info.objId);
        EXPECT_EQ(0U, call.info.reserved);
        EXPECT_LE(call.info.longSection, 1);
        if (call.kind == HostCall::Kind::Arm) {
            armed = call.info;
            calls.push_back(armText(call.info));
        } else {
            EXPECT_EQ(armed, call.info) << "a read with another filter than the armed one";
            calls.push_back(readCall);
        }
    }
    return calls;
}

bool operator==(const Stored &a, const Stored &b)
{
    return a.psiType == b.psiType && a.pid == b.pid && a.sectionNo == b.sectionNo && a.idExt == b.idExt &&
           a.bytes == b.bytes;
}

std::ostream &operator<<(std::ostream &os, const Stored &section)
{
    return os << format("{type %u, pid 0x%04X, section %u, idExt 0x%04X, %zu bytes}", section.psiType, section.pid,
                        section.sectionNo, section.idExt, section.bytes.size());
}

Stored stored(u32 psiType, u16 pid, const Bytes &section)
{
    return {static_cast<u8>(psiType), pid, section.at(6), static_cast<u16>(section.at(3) << 8 | section.at(4)),
            section};
}

std::vector<Stored> storedSections(const tsInfo &model)
{
    std::vector<Stored> sections;
    for (const sectionData *node : nodesOf(model.sectionList))
        sections.push_back({node->psiType, node->pid, node->sectionNo, node->idExt, bytesAt(node->buf, node->len)});
    return sections;
}

namespace {

/** @brief Looks at every byte run of a model: those that are there have to be `good`. */
class RunChecker {
public:
    using Good = std::function<bool(const u8 *data, unsigned len)>;

    RunChecker(const tsInfo &model, Good good, const char *complaint)
        : model_(model), good_(std::move(good)), complaint_(complaint)
    {
    }

    void check() const
    {
        run("netname", model_.netname, model_.netnameLen);
        list(model_.catDescList);
        list(model_.vctDescList);
        list(model_.catCaList);
        for (const progInfo *prog : nodesOf(model_.progList)) {
            run("pname", prog->pname, prog->pnameLen);
            run("sname", prog->sname, prog->snameLen);
            list(prog->caList);
            list(prog->pmtDescList);
            list(prog->sdtDescList);
            for (const esInfo *es : nodesOf(prog->esList)) {
                list(es->caList);
                list(es->descList);
            }
        }
    }

private:
    void list(descInfo *head) const
    {
        for (const descInfo *node : nodesOf(head))
            run("descData", node->descData, node->descLen);
    }
    void list(caInfo *head) const
    {
        for (const caInfo *node : nodesOf(head))
            run("privateData", node->privateData, node->privateLen);
    }
    void run(const char *what, const u8 *data, unsigned len) const
    {
        if (data == nullptr)
            EXPECT_EQ(0U, len) << what << " is null";
        else
            EXPECT_TRUE(good_(data, len)) << what << complaint_;
    }

    const tsInfo &model_;
    Good good_;
    const char *complaint_;
};

bool liesInASection(const tsInfo &model, const u8 *data, unsigned len)
{
    const auto from = reinterpret_cast<std::uintptr_t>(data);
    const std::vector<sectionData *> sections = nodesOf(model.sectionList);
    return std::any_of(sections.begin(), sections.end(), [&](const sectionData *node) {
        const auto begin = reinterpret_cast<std::uintptr_t>(node->buf);
        return from >= begin && from + len <= begin + node->len;
    });
}

} // namespace

void expectNoDanglingBytes(const tsInfo &model)
{
    const auto inside = [&](const u8 *data, unsigned len) { return liesInASection(model, data, len); };
    RunChecker(model, inside, " leads into no stored section").check();
}

void expectOwnedBytes(const tsInfo &model)
{
    const auto owned = [](const u8 *data, unsigned len) { return poolBlockSize(data) == len; };
    RunChecker(model, owned, " is no pool block of its length").check();
}

const std::vector<TypeFacts> &typesWithTable()
{
    static const std::vector<TypeFacts> facts = {
        {0, "PAT", 0x0000, 0x00, 2000, "schNormalPsi", false},
        {1, "PMT", 0x0100, 0x02, 4000, "schPmt", false},
        {2, "SDT(actual)", 0x0011, 0x42, 4000, "schNormalPsi", false},
        {3, "SDT(other)", 0x0011, 0x46, 6000, "schOtherPsi", false},
        {4, "NIT(actual)", 0x0010, 0x40, 4000, "schNormalPsi", false},
        {5, "NIT(other)", 0x0010, 0x41, 6000, "schOtherPsi", false},
        {6, "BAT", 0x0011, 0x4A, 6000, "schOtherPsi", false},
        {7, "CAT", 0x0001, 0x01, 4000, "schNormalPsi", false},
        {9, "MGT", 0x1FFB, 0xC7, 4000, "schNormalPsi", false},
        {10, "VCAT", 0x1FFB, 0xC8, 4000, "schNormalPsi", false},
        {11, "STT", 0x1FFB, 0xCD, 4000, "schNormalPsi", false},
        {12, "EBIT", 0x0021, 0xFD, 4000, "schOtherPsi", true},
        {13, "EBCT", 0x0021, 0xFE, 4000, "schOtherPsi", true},
        {14, "EBCAT", 0x0021, 0xFC, 4000, "schOtherPsi", true},
        {15, "EBCCT", 0x0021, 0xFB, 4000, "schOtherPsi", true},
    };
    return facts;
}

const TypeFacts &factsOf(u32 psiType)
{
    for (const TypeFacts &facts : typesWithTable()) {
        if (facts.psiType == psiType)
            return facts;
    }
    ADD_FAILURE() << "no table of type " << psiType;
    return typesWithTable().front();
}

namespace {

VctChannel sampleChannel(u16 programNumber)
{
    VctChannel channel;
    channel.shortName = "CH-" + std::to_string(programNumber);
    channel.major = 7;
    channel.minor = 1;
    channel.programNumber = programNumber;
    channel.descriptors = descriptor(0xA0, counting(4));
    return channel;
}

} // namespace

Bytes sampleSection(u32 psiType)
{
    switch (psiType) {
    case PSI_PAT:
        return PatBuilder().tsId(0x2233).network(0x10).program(5, 0x100).build();
    case PSI_PMT:
        return PmtBuilder(5)
            .pcrPid(0x101)
            .programDescriptor(caDescriptor(0x0B00, 0x1F0, counting(3)) + descriptor(0x05, bytesOf("HDMV")))
            .stream(0x1B, 0x101, descriptor(0x52, {1}) + caDescriptor(0x0B01, 0x1F1, counting(2)))
            .build();
    case PSI_SDT_ACTUAL:
        return SdtBuilder()
            .tsId(0x2233)
            .service(5, serviceDescriptor(1, "provider", "service") + descriptor(0x5F, counting(4)))
            .build();
    case PSI_SDT_OTHER:
        return SdtBuilder().other().tsId(0x2234).service(6, serviceDescriptor(1, "provider", "other")).build();
    case PSI_NIT_ACTUAL:
        return NitBuilder().networkId(0x3001).desc(networkNameDescriptor("network")).build();
    case PSI_NIT_OTHER:
        return NitBuilder().other().networkId(0x3002).desc(networkNameDescriptor("another")).build();
    case PSI_BAT:
        return BatBuilder().bouquetId(0x4001).desc(descriptor(0x47, bytesOf("bouquet"))).build();
    case PSI_CAT:
        return CatBuilder().desc(caDescriptor(0x0B00, 0x1E0, counting(2)) + descriptor(0x80, counting(3))).build();
    case PSI_VCT:
        return VctBuilder()
            .tsId(0x2233)
            .channel(sampleChannel(5))
            .additionalDescriptor(descriptor(0xA1, counting(2)))
            .build();
    case PSI_MGT:
        return MgtBuilder().table(0x0000, 0x1FFB, 1, 100).build();
    default:
        return LongSectionBuilder(factsOf(psiType).tableId).idExt(0x5001).body(counting(20)).build();
    }
}

void SearchTest::SetUp()
{
    LibraryTest::SetUp();
    if (HasFatalFailure())
        return;
    host.emplace();
    setPsiSchRPTLevel(4);
    log.clear();
}

void SearchTest::TearDown()
{
    if (host && host->id() != 0) {
        EXPECT_TRUE(mutexIsFree(host->object()->semId)) << "nobody gave the mutex back";
        expectNoDanglingBytes(*host->model());
    }
    host.reset();
    LibraryTest::TearDown();
}

progInfo *SearchTest::addProgram(u16 progNo, u16 pmtPid)
{
    progInfo *prog = progInfoCreat(&model().progList);
    if (prog == nullptr) {
        ADD_FAILURE() << "no room for a program";
        return nullptr;
    }
    prog->progNo = progNo;
    prog->pmtPid = pmtPid;
    return prog;
}

namespace {

const RacingTick *racingTick = nullptr;

u32 raceOrStand()
{
    if (racingTick->racing)
        fakeClock::advance(10000);
    return fakeClock::now();
}

} // namespace

RacingTick::RacingTick()
{
    racingTick = this;
    getMsTimeCnt = raceOrStand;
}

RacingTick::~RacingTick()
{
    getMsTimeCnt = fakeClock::now;
    racingTick = nullptr;
}

Carousel &Carousel::add(u16 pid, const Bytes &section)
{
    const std::lock_guard<std::mutex> guard(lock_);
    entries_.push_back({pid, section, packetsOf(section, pid)});
    return *this;
}

void Carousel::rewind()
{
    const std::lock_guard<std::mutex> guard(lock_);
    turn_ = 0;
}

const Carousel::Entry *Carousel::pick(const psiSchInfo &filter)
{
    for (std::size_t i = 0; i < entries_.size(); ++i) {
        const Entry &entry = entries_[(turn_ + i) % entries_.size()];
        const Bytes &section = entry.section;
        const bool fits = entry.pid == filter.pid && section[0] == filter.tableId &&
                          (filter.useIdExt == 0 || (section[3] << 8 | section[4]) == filter.tableIdExt) &&
                          (!bySectionNumber_ || section[6] == filter.sectionNo);
        if (fits) {
            turn_ = (turn_ + i + 1) % entries_.size();
            return &entry;
        }
    }
    return nullptr;
}

Answer Carousel::next(const psiSchInfo &filter)
{
    const std::lock_guard<std::mutex> guard(lock_);
    const Entry *entry = pick(filter);
    return (entry != nullptr ? answer::packets(entry->packets) : answer::noTable()).after(msPerRead_);
}

Answer Carousel::nextSection(const psiSchInfo &filter)
{
    const std::lock_guard<std::mutex> guard(lock_);
    const Entry *entry = pick(filter);
    return (entry != nullptr ? answer::section(entry->section) : answer::noTable()).after(msPerRead_);
}

void Carousel::drive(ScriptedHost &host)
{
    host.setFallback([this](const psiSchInfo &filter) { return next(filter); });
}

namespace {

void addSample(Carousel &carousel, u32 psiType)
{
    carousel.add(factsOf(psiType).pid, sampleSection(psiType));
}

} // namespace

void fillDvb(Carousel &carousel)
{
    carousel.add(0, PatBuilder().tsId(0x2233).number(0, 1).network(0x10).program(5, 0x100).build());
    carousel.add(0, PatBuilder().tsId(0x2233).number(1, 1).program(6, 0x200).build());
    carousel.add(0x200,
                 PmtBuilder(6).pcrPid(0x201).stream(2, 0x201).stream(4, 0x202, descriptor(0x0A, counting(4))).build());
    for (const u32 psiType : {PSI_PMT, PSI_CAT, PSI_SDT_ACTUAL, PSI_NIT_ACTUAL, PSI_NIT_OTHER, PSI_SDT_OTHER})
        addSample(carousel, psiType);
    for (const u8 number : Bytes{0, 1}) {
        for (const u16 bouquet : std::vector<u16>{0x4001, 0x4002}) {
            carousel.add(0x11, BatBuilder()
                                   .bouquetId(bouquet)
                                   .number(number, 1)
                                   .desc(descriptor(0x47, bytesOf("bouquet")))
                                   .transportStream(1, number)
                                   .build());
        }
    }
    carousel.add(0x21, LongSectionBuilder(0xFD).body(counting(3000)).build());
    for (const u32 psiType : {PSI_EBCT, PSI_EBCAT, PSI_EBCCT})
        addSample(carousel, psiType);
}

void fillAtsc(Carousel &carousel)
{
    for (const u32 psiType : {PSI_PAT, PSI_PMT, PSI_CAT, PSI_VCT, PSI_MGT, PSI_STT})
        addSample(carousel, psiType);
}

} // namespace psitest
