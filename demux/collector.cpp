#include "demux/collector.h"

#include "demux/byteSource.h"
#include "demux/input.h"
#include "demux/liveSocket.h"
#include "demux/packetSync.h"
#include "demux/rtp.h"
#include "demux/tableIds.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <set>

namespace psi::demux {

namespace {

using SteadyClock = std::chrono::steady_clock;

constexpr int kWaitMs = 50;
constexpr std::chrono::milliseconds kTick(200);
/** A table that flickers between two versions is looked at again only so often. */
constexpr uint64_t kFlickerPackets = 100;

/** A kind of table, and the longest time between two of it. ETSI TS 101 211 4.1, 4.4; A/65 7.2. */
struct Repeated {
    u8 tableId;
    double seconds;
    bool several; /**< there may be others besides one that came */
    AwaitedStandard standard;
};
constexpr Repeated kRepeated[] = {
    {kCat, 1, false, AwaitedStandard::any},        {kSdtActual, 2, false, AwaitedStandard::dvb},
    {kNitActual, 10, false, AwaitedStandard::dvb}, {kNitOther, 10, true, AwaitedStandard::dvb},
    {kSdtOther, 10, true, AwaitedStandard::dvb},   {kBat, 10, true, AwaitedStandard::dvb},
    {kMgt, 1, false, AwaitedStandard::atsc},       {kTerrestrialVct, 1, false, AwaitedStandard::atsc},
    {kStt, 1, false, AwaitedStandard::atsc},
};

/** Event schedules leave section numbers out, EN 300 468 5.2.4: nobody can tell whether they are whole. */
bool mayBeSparse(u8 tableId)
{
    return tableId >= 0x50 && tableId <= 0x6F;
}

bool isWhole(const CollectedTable &table)
{
    const TableVersion *version = table.valid();
    return version != nullptr && (version->complete() || mayBeSparse(table.tableId));
}

} // namespace

struct Collector::Impl {
    Impl(const std::string &input, CollectorOptions wanted);

    void readRecording();
    void receive();
    void take(const u8 *data, size_t size);
    void takeDatagram(const u8 *datagram, size_t size);
    void report(bool last);
    bool onSection(u16 pid, const u8 *section, u16 length);
    void follow(TableStore::Result result, const Moment &moment);
    void takeProgramMaps();
    void askForStreams();
    void measurePcr(u16 pid, uint64_t ticks, bool jump);
    Moment now() const;

    double elapsed() const { return std::chrono::duration<double>(SteadyClock::now() - begin).count(); }
    bool isOver(double seconds) const;
    bool isWanted(u8 tableId) const;
    bool mayStillCome(const Repeated &kind, double seconds) const;
    bool isIncomplete(const CollectedTable &table) const;
    bool begunIncomplete() const;
    bool found(u16 pid, u8 tableId) const;
    bool carries(u16 pid) const;
    bool isStream(u16 pid) const;
    bool allProgramMaps() const;

    MissingTable judge(u16 pid, u8 tableId, std::optional<u16> extension, const CollectedTable *table) const;
    void addAbsent(std::vector<MissingTable> &all, u16 pid, u8 tableId) const;
    void addProgramMaps(std::vector<MissingTable> &all) const;
    std::vector<MissingTable> missing() const;

    CollectorOptions options;
    std::string name;
    std::unique_ptr<ByteSource> source;
    std::unique_ptr<LiveSocket> socket;
    DatagramReader reader;
    PacketSync sync;
    StreamClock clock;
    TableStore store;
    std::map<u16, uint64_t> lastPcr;
    std::map<u16, Intervals> pcrIntervals;
    SectionAssembler assembler;
    PidUses uses;
    uint64_t bytes = 0; /**< of a recording */
    SteadyClock::time_point begin;
    SteadyClock::time_point end;
    double lastDatagram = 0;
    uint64_t nextReport = 0;
    uint64_t lastFlicker = 0;
    std::string failure;
    std::atomic<bool> stopped{false};
    std::function<bool(u16, const PidUse &)> streamWanted;
    std::function<bool(u16, const u8 *, size_t, bool)> streamTake;
    std::set<u16> asked;
};

Collector::Impl::Impl(const std::string &input, CollectorOptions wanted)
    : options(std::move(wanted)), name(input), clock(options.bitrate),
      store([this](u16 pid) { return uses.classOf(pid); }, isLiveUrl(input) ? nullptr : &clock),
      assembler([this](u16 pid, const u8 *section, u16 length) { return onSection(pid, section, length); },
                [this](u16 pid, const u8 *section, u16 length) { return onSection(pid, section, length); }),
      uses([this](u16 pid, PidContent content) {
          assembler.expect(pid, content);
          if (content == PidContent::other)
              store.drop(pid);
      })
{
    for (const u16 pid : {kPatPid, kCatPid, kNitPid, kSdtPid, kEitPid, kTimePid, kPsipPid})
        assembler.expect(pid, PidContent::sections);
    assembler.onPcr([this](u16 pid, uint64_t ticks, bool jump) {
        measurePcr(pid, ticks, jump);
        if (socket == nullptr && clock.pcr(pid, ticks, jump, assembler.packets() - 1))
            store.settle();
    });
    if (isLiveUrl(input)) {
        socket = std::make_unique<LiveSocket>(input, options.input.receiveBufferBytes);
    } else {
        source = std::make_unique<ByteSource>(input, options.input.mostBytes);
        name = source->name();
    }
}

/* ---- input ----------------------------------------------------------------------------------------------------------
 */

void Collector::Impl::readRecording()
{
    try {
        Chunk chunk;
        while (!stopped && source->read(kWaitMs, chunk)) {
            take(chunk.data, chunk.size);
            report(chunk.size == 0);
            const bool hopeless = sync.counters().packets == 0 && bytes >= kSearchLimit;
            const bool late = options.untilTimeout && elapsed() >= options.timeout;
            if (hopeless || late)
                break;
        }
    } catch (const InputError &error) {
        if (bytes == 0)
            throw;
        failure = error.what();
    }
    sync.finish(assembler);
    report(true);
    if (bytes == 0 && !stopped)
        throw InputError(name + ": is empty");
    if (sync.counters().packets == 0 && !stopped)
        throw InputError(name + ": no transport packets found (of 188, 192 or 204 bytes)");
}

void Collector::Impl::take(const u8 *data, size_t size)
{
    sync.feed(data, size, assembler);
    bytes += size;
}

void Collector::Impl::report(bool last)
{
    if (!last && bytes < nextReport)
        return;
    nextReport = bytes + kReportStep;
    if (options.input.progress && !options.input.progress(bytes, source->size()))
        stopped = true;
}

void Collector::Impl::receive()
{
    std::vector<u8> datagram(kDatagramBytes);
    auto nextTick = begin + kTick;
    while (!stopped) {
        const size_t size = socket->receive(datagram.data(), datagram.size(), kWaitMs);
        takeDatagram(datagram.data(), size);
        if (SteadyClock::now() < nextTick)
            continue;
        nextTick = SteadyClock::now() + kTick;
        if (options.tick)
            options.tick(elapsed());
        if (isOver(elapsed()))
            break;
    }
    reader.finish([this](const u8 *packet, size_t) { assembler.packet(packet); });
}

void Collector::Impl::takeDatagram(const u8 *datagram, size_t size)
{
    const PacketSink sink = [this](const u8 *packet, size_t) { assembler.packet(packet); };
    const uint64_t now = steadyMilliseconds();
    if (size == 0) {
        reader.passTime(now, sink);
        return;
    }
    lastDatagram = elapsed();
    reader.take(datagram, size, now, sink);
}

/** ISO/IEC 13818-1 2.7.2. */
void Collector::Impl::measurePcr(u16 pid, uint64_t ticks, bool jump)
{
    constexpr uint64_t cycle = (uint64_t{1} << 33) * 300;
    constexpr double frequency = 27e6;
    constexpr double longest = 10; // what seems to take longer is a jump that nobody announced
    const auto [last, isFirst] = lastPcr.try_emplace(pid, ticks);
    const double seconds = static_cast<double>((ticks + cycle - last->second) % cycle) / frequency;
    if (!isFirst && !jump && seconds < longest)
        pcrIntervals[pid].add(seconds);
    last->second = ticks;
}

/* ---- sections -------------------------------------------------------------------------------------------------------
 */

Moment Collector::Impl::now() const
{
    const uint64_t packet = assembler.packets() - 1;
    return {packet, socket != nullptr ? lastDatagram : clock.seconds(packet)};
}

bool Collector::Impl::onSection(u16 pid, const u8 *section, u16 length)
{
    // Where nobody says that there are sections, a short one is as likely any data: it has no CRC.
    if (!isLongForm(section) && !assembler.expectsSections(pid) && (section[0] < kFirstShortTable || isStream(pid)))
        return true;
    const Moment moment = now();
    const TableStore::Result result = store.add(pid, section, length, moment);
    if (result == TableStore::Result::stored || result == TableStore::Result::repeated)
        follow(result, moment);
    if (options.onSection && result != TableStore::Result::wrongCrc)
        options.onSection({pid, section, length, moment.packet, result == TableStore::Result::repeated});
    return result != TableStore::Result::wrongCrc;
}

/** Looks at a version that has become whole, or at one that another had taken the place of. */
void Collector::Impl::follow(TableStore::Result result, const Moment &moment)
{
    const CollectedTable &table = store.lastTable();
    if (table.tableId > kPmt && table.tableId != kMgt)
        return;
    const TableVersion &version = table.versions[table.active];
    const bool isNew = result == TableStore::Result::stored;
    const bool isBack = !isNew && table.changeCount > 1 && table.changes.back().moment.packet == moment.packet &&
                        moment.packet - lastFlicker > kFlickerPackets;
    if (!(isNew || isBack) || !version.current || !version.complete())
        return;
    if (isBack)
        lastFlicker = moment.packet;
    uses.take(table, version);
    if (table.tableId == kPat)
        takeProgramMaps();
    if (table.tableId <= kPmt)
        askForStreams();
}

/** Those that came in front of the PAT. */
void Collector::Impl::takeProgramMaps()
{
    std::set<u16> pids;
    for (const auto &[program, pid] : uses.programs())
        pids.insert(pid);
    for (const u16 pid : pids)
        for (const CollectedTable *table : store.tablesOf(pid, kPmt))
            if (isWhole(*table))
                uses.take(*table, *table->valid());
}

void Collector::Impl::askForStreams()
{
    if (!streamWanted)
        return;
    for (const auto &[pid, known] : uses.all())
        for (const PidUse &use : known)
            if (use.role == PidRole::stream && use.content != PidContent::sections && asked.insert(pid).second &&
                streamWanted(pid, use))
                assembler.watch(pid, true);
}

/* ---- what is awaited ------------------------------------------------------------------------------------------------
 */

bool Collector::Impl::isWanted(u8 tableId) const
{
    const std::vector<u8> &wanted = options.wanted;
    return wanted.empty() || std::find(wanted.begin(), wanted.end(), tableId) != wanted.end();
}

bool Collector::Impl::found(u16 pid, u8 tableId) const
{
    const std::vector<const CollectedTable *> tables = store.tablesOf(pid, tableId);
    return std::any_of(tables.begin(), tables.end(),
                       [](const CollectedTable *table) { return table->longForm && isWhole(*table); });
}

bool Collector::Impl::carries(u16 pid) const
{
    return assembler.carries(pid);
}

bool Collector::Impl::isStream(u16 pid) const
{
    const std::vector<PidUse> &all = uses.of(pid);
    return std::any_of(all.begin(), all.end(), [](const PidUse &use) { return use.role == PidRole::stream; });
}

bool Collector::Impl::mayStillCome(const Repeated &kind, double seconds) const
{
    const auto other = options.waits.find(kind.tableId);
    const double wait = other != options.waits.end() ? other->second : kind.seconds;
    if (!isWanted(kind.tableId) || seconds >= wait)
        return false;
    if (kind.standard != AwaitedStandard::any && options.standard != AwaitedStandard::any &&
        kind.standard != options.standard)
        return false;
    const bool insisted = other != options.waits.end() || !options.wanted.empty();
    const bool psip = found(kPsipPid, kMgt) && !carries(kNitPid) && !carries(kSdtPid);
    if (kind.standard == AwaitedStandard::dvb && psip && !insisted)
        return false;
    if (kind.several)
        return true;
    const u16 networkPid = uses.networkPid().value_or(kNitPid);
    switch (kind.tableId) {
    case kCat:
        return !found(kCatPid, kCat);
    case kSdtActual:
        return !found(kSdtPid, kSdtActual);
    case kNitActual:
        return !found(networkPid, kNitActual) && !found(kNitPid, kNitActual);
    case kTerrestrialVct:
        return !found(kPsipPid, kTerrestrialVct) && !found(kPsipPid, kCableVct);
    default:
        return !found(kPsipPid, kind.tableId);
    }
}

bool Collector::Impl::allProgramMaps() const
{
    const auto &programs = uses.programs();
    return std::all_of(programs.begin(), programs.end(), [this](const auto &one) {
        const CollectedTable *table = store.table(one.second, kPmt, one.first);
        return table != nullptr && isWhole(*table);
    });
}

/** A table of which some sections came, where tables belong. */
bool Collector::Impl::isIncomplete(const CollectedTable &table) const
{
    return isWanted(table.tableId) && uses.classOf(table.pid) != TableClass::content && !isWhole(table);
}

bool Collector::Impl::begunIncomplete() const
{
    const auto &tables = store.all();
    return std::any_of(tables.begin(), tables.end(), [this](const CollectedTable *table) {
        return isIncomplete(*table) && table->versions[table->active].current;
    });
}

bool Collector::Impl::isOver(double seconds) const
{
    if (options.timeout > 0 && seconds >= options.timeout)
        return true;
    if (options.untilTimeout)
        return false;
    for (const auto &[tableId, wait] : options.waits) {
        const bool known = std::any_of(std::begin(kRepeated), std::end(kRepeated),
                                       [id = tableId](const Repeated &kind) { return kind.tableId == id; });
        if (!known && seconds < wait && !store.anyOf(tableId))
            return false;
    }
    for (const Repeated &kind : kRepeated)
        if (mayStillCome(kind, seconds))
            return false;
    const bool programs = isWanted(kPat) || isWanted(kPmt);
    if (programs && (!found(kPatPid, kPat) || (isWanted(kPmt) && !allProgramMaps())))
        return false;
    if (!options.wanted.empty() && !programs) {
        const auto here = [this](u8 tableId) { return store.anyOf(tableId); };
        const bool all = std::all_of(options.wanted.begin(), options.wanted.end(), here);
        constexpr double longest = 10; // of what has no interval of its own above
        if (!all && seconds < longest)
            return false;
    }
    return !begunIncomplete() && !(options.awaitsMore && options.awaitsMore(seconds));
}

MissingTable Collector::Impl::judge(u16 pid, u8 tableId, std::optional<u16> extension,
                                    const CollectedTable *table) const
{
    MissingTable judged;
    judged.pid = pid;
    judged.tableId = tableId;
    judged.extension = extension;
    judged.crcErrors = store.crcErrors(pid, tableId);
    if (table == nullptr) {
        const bool scrambled = assembler.scrambled(pid);
        judged.reason = scrambled              ? MissingReason::scrambled
                        : judged.crcErrors > 0 ? MissingReason::crcWrong
                                               : MissingReason::notSeen;
        return judged;
    }
    const TableVersion *version = table->valid();
    if (version == nullptr) {
        judged.reason = MissingReason::notCurrent;
        return judged;
    }
    judged.have = version->have();
    judged.wanted = version->lastNumber + 1U;
    const size_t currents = static_cast<size_t>(std::count_if(table->versions.begin(), table->versions.end(),
                                                              [](const TableVersion &one) { return one.current; }));
    judged.reason = currents > 1 ? MissingReason::changesFast : MissingReason::incomplete;
    return judged;
}

/** A table_id of which nothing is on a PID. */
void Collector::Impl::addAbsent(std::vector<MissingTable> &all, u16 pid, u8 tableId) const
{
    const auto same = [&](const MissingTable &one) { return one.pid == pid && one.tableId == tableId; };
    if (isWanted(tableId) && store.tablesOf(pid, tableId).empty() && std::none_of(all.begin(), all.end(), same))
        all.push_back(judge(pid, tableId, std::nullopt, nullptr));
}

/** The table_id that an MGT's table_type stands for, 0 when it has no place of its own; A/65 table 6.3. */
static u8 tableIdOfGuide(u16 type)
{
    return type == 0x0000                    ? kTerrestrialVct
           : type == 0x0002                  ? kCableVct
           : type >= 0x0100 && type < 0x0180 ? kEventInformation
           : type >= 0x0200 && type < 0x0280 ? kExtendedText
                                             : u8{0};
}

/** PMTs that the PAT names and that are not whole. */
void Collector::Impl::addProgramMaps(std::vector<MissingTable> &all) const
{
    if (!isWanted(kPmt))
        return;
    for (const auto &[program, pid] : uses.programs()) {
        const CollectedTable *table = store.table(pid, kPmt, program);
        if (table == nullptr || !isWhole(*table))
            all.push_back(judge(pid, kPmt, program, table));
    }
}

std::vector<MissingTable> Collector::Impl::missing() const
{
    std::vector<MissingTable> all;
    addAbsent(all, kPatPid, kPat);
    addProgramMaps(all);
    if (uses.networkPid() && *uses.networkPid() != kSitPid) // a partial stream has its SIT there, and no NIT
        addAbsent(all, *uses.networkPid(), kNitActual);
    for (const auto &[type, pid] : uses.guide())
        if (const u8 tableId = tableIdOfGuide(type); tableId != 0)
            addAbsent(all, pid, tableId);
    for (const CollectedTable *table : store.all())
        if (table->tableId != kPmt && isIncomplete(*table))
            all.push_back(judge(table->pid, table->tableId, table->extension, table));
    for (const auto &[pid, tableId] : store.onlyDamaged())
        if (uses.classOf(pid) != TableClass::content)
            addAbsent(all, pid, tableId);
    return all;
}

/* ---- the collector --------------------------------------------------------------------------------------------------
 */

Collector::Collector(const std::string &input, CollectorOptions options)
    : impl(std::make_unique<Impl>(input, std::move(options)))
{
}

Collector::~Collector() = default;

void Collector::run()
{
    impl->begin = impl->end = SteadyClock::now();
    if (impl->socket != nullptr)
        impl->receive();
    else
        impl->readRecording();
    impl->store.settle();
    impl->end = SteadyClock::now();
}

void Collector::stop() noexcept
{
    impl->stopped = true;
}

bool Collector::stopped() const noexcept
{
    return impl->stopped;
}

const std::string &Collector::name() const
{
    return impl->name;
}

bool Collector::live() const
{
    return impl->socket != nullptr;
}

const std::string &Collector::failure() const
{
    return impl->failure;
}

Statistics Collector::statistics() const
{
    Statistics all = impl->assembler.counters();
    const SyncCounters &found = impl->sync.counters();
    if (live()) {
        impl->reader.addTo(all);
        all.datagramsLost = impl->socket->lost();
        all.receiveBuffer = impl->socket->bufferBytes();
    } else {
        impl->source->addTo(all);
        all.packetSize = static_cast<uint16_t>(found.packetSize);
        all.bytes = impl->bytes;
        all.skippedBytes += found.skippedBytes;
    }
    all.resyncs = found.resyncs;
    all.sectionsNotStored = impl->store.leftOut();
    // A PID that no table names and that never had a right section carries something else.
    for (const PidStatistics &pid : pids())
        if (impl->uses.of(pid.pid).empty() && pid.sections == 0) {
            all.crcErrors -= pid.crcErrors;
            all.brokenSections -= pid.brokenSections;
        }
    for (const CollectedTable *table : impl->store.all())
        for (const TableVersion &version : table->versions)
            all.distinctSections += version.sections.size();
    return all;
}

std::vector<PidStatistics> Collector::pids() const
{
    return impl->assembler.pids();
}

const PidUses &Collector::uses() const
{
    return impl->uses;
}

std::vector<const CollectedTable *> Collector::tables() const
{
    return impl->store.all();
}

std::vector<u8> Collector::awaited() const
{
    std::vector<u8> tableIds;
    if (!impl->found(kPatPid, kPat))
        tableIds.push_back(kPat);
    if (!impl->allProgramMaps())
        tableIds.push_back(kPmt);
    for (const Repeated &kind : kRepeated)
        if (impl->mayStillCome(kind, impl->elapsed()))
            tableIds.push_back(kind.tableId);
    return tableIds;
}

std::vector<MissingTable> Collector::missing() const
{
    return impl->missing();
}

const std::map<u16, Intervals> &Collector::pcrIntervals() const
{
    return impl->pcrIntervals;
}

double Collector::duration() const
{
    if (live())
        return std::chrono::duration<double>(impl->end - impl->begin).count();
    const double time = impl->clock.seconds(impl->assembler.packets());
    return time > 0 ? time : 0;
}

double Collector::bitrate() const
{
    if (!live())
        return impl->clock.bitrate();
    const double seconds = impl->lastDatagram;
    return seconds > 0 ? static_cast<double>(impl->assembler.packets()) * 8.0 * kPacketBytes / seconds : 0;
}

Moment Collector::resolved(const Moment &moment) const
{
    return impl->clock.resolved(moment);
}

std::vector<Section> Collector::validSections(const std::function<bool(const CollectedTable &)> &wants) const
{
    std::vector<const CollectedTable *> tables = impl->store.all();
    std::stable_sort(tables.begin(), tables.end(),
                     [](const CollectedTable *a, const CollectedTable *b) { return a->last.packet < b->last.packet; });
    const std::optional<u16> transportStream = impl->uses.transportStream();
    std::vector<Section> sections;
    for (const CollectedTable *table : tables) {
        const TableVersion *version = table->valid();
        const bool isOtherPat =
            table->pid == kPatPid && table->tableId == kPat && transportStream && table->extension != *transportStream;
        if (version == nullptr || !table->longForm || isOtherPat || (wants && !wants(*table)))
            continue;
        for (size_t i = 0; i < version->sections.size(); ++i) {
            const CollectedSection &one = version->sections[i];
            // Who has a section of a version does not look at another; but times go on.
            const size_t other = table->tableId == kStt ? i + 1 : i - 1;
            if (other >= version->sections.size() || version->sections[other].number != one.number)
                sections.push_back({table->pid, one.first.packet, one.last.packet, one.count, one.bytes});
        }
    }
    return sections;
}

void Collector::watchStreams(std::function<bool(u16, const PidUse &)> wants,
                             std::function<bool(u16, const u8 *, size_t, bool)> take)
{
    impl->streamWanted = std::move(wants);
    impl->streamTake = std::move(take);
    impl->assembler.onPayload([this](u16 pid, const u8 *data, size_t size, bool start) {
        if (!impl->streamTake(pid, data, size, start))
            impl->assembler.watch(pid, false);
    });
}

} // namespace psi::demux
