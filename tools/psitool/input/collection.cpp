#include "input/collection.h"

#include "describe/tableKinds.h"
#include "input/modelSections.h"
#include "output/described.h"
#include "output/lineTree.h"

#include <algorithm>
#include <set>

namespace psitool {

namespace {

psi::demux::AwaitedStandard awaited(ScanStandard standard)
{
    switch (standard) {
    case ScanStandard::dvb:
        return psi::demux::AwaitedStandard::dvb;
    case ScanStandard::atsc:
        return psi::demux::AwaitedStandard::atsc;
    default:
        return psi::demux::AwaitedStandard::any;
    }
}

/** "PAT, PMT 3/4, SDT actual" */
std::string whatCame(const psi::demux::Collector &collector)
{
    std::size_t maps = 0;
    std::set<std::string> titles;
    std::string text;
    for (const psi::demux::CollectedTable *table : collector.tables()) {
        const TableKind *kind = kindOf(*table);
        if (!kind || collector.uses().classOf(table->pid) == psi::demux::TableClass::content)
            continue;
        if (table->tableId == 0x02)
            ++maps;
        else if (titles.insert(kind->title).second)
            text += (text.empty() ? "" : ", ") + std::string(kind->title);
    }
    const std::size_t programs = collector.uses().programs().size();
    if (programs > 0)
        text += ", PMT " + std::to_string(maps) + "/" + std::to_string(programs);
    return text.empty() ? "nothing yet" : text;
}

/** "; awaited: NIT other, BAT" */
std::string whatIsAwaited(const psi::demux::Collector &collector)
{
    std::string text;
    for (const u8 tableId : collector.awaited())
        text += (text.empty() ? "; awaited: " : ", ") + std::string(tableKindOf(tableId)->title);
    return text;
}

} // namespace

const TableKind *kindOf(const psi::demux::CollectedTable &table)
{
    for (const psi::demux::TableVersion &version : table.versions)
        for (const psi::demux::CollectedSection &one : version.sections)
            return tableKindOf(ByteView(one.bytes.data(), one.bytes.size()), table.pid);
    return tableKindOf(table.tableId);
}

Collection::Collection(const std::string &input, ScanStandard standard, const ListenOptions &listen)
    : bar_(input), standard_(standard), listen_(listen), collector_(input, [&] {
          psi::demux::CollectorOptions options;
          options.input.progress = [this](std::uint64_t done, std::uint64_t total) {
              bar_.update(done, total);
              return !interrupted();
          };
          options.bitrate = listen.bitrate;
          options.standard = awaited(standard);
          options.timeout = listen.timeout;
          options.waits = listen.waits;
          options.wanted = listen.tableIds;
          options.untilTimeout = listen.untilTimeout;
          options.awaitsMore = listen.awaitsMore;
          options.tick = [this](double seconds) { showProgress(seconds); };
          return options;
      }())
{
    InterruptGuard::stopWith([this] { collector_.stop(); });
}

Collection::~Collection()
{
    InterruptGuard::stopWith({});
}

void Collection::showProgress(double seconds)
{
    bar_.say(std::to_string(static_cast<unsigned>(seconds)) + " s: " + whatCame(collector_) +
             whatIsAwaited(collector_));
}

void reportLosses(const std::string &name, const psi::demux::Statistics &statistics)
{
    if (statistics.datagramsLost > 0) {
        const bool limited = statistics.receiveBuffer < psi::demux::Options().receiveBufferBytes;
        reportError(name + ": " + counted(statistics.datagramsLost, "datagram") +
                    " lost here, not in the network: the receive buffer of " +
                    std::to_string(statistics.receiveBuffer / 1024) + " KiB was full" +
                    (limited ? " (net.core.rmem_max limits it)" : ""));
    }
    if (statistics.overflows > 0)
        reportError(name + ": the device's buffer was full " + counted(statistics.overflows, "time") +
                    ": packets were lost in front of us");
    if (statistics.ipFragments > 0)
        reportError(name + ": " + counted(statistics.ipFragments, "IP fragment") +
                    " left out: others of their datagrams are missing");
    if (statistics.cutDatagrams > 0)
        reportError(name + ": " + counted(statistics.cutDatagrams, "datagram") + " not captured to the end");
    if (statistics.wrongChecksums > 0 && statistics.wrongChecksums == statistics.datagrams)
        reportError(name +
                    ": no datagram has the right UDP checksum: it was captured in front of the network card that "
                    "makes them");
    else if (statistics.wrongChecksums > 0)
        reportError(name + ": " + counted(statistics.wrongChecksums, "datagram") +
                    " with a wrong UDP checksum: a receiver drops " +
                    (statistics.wrongChecksums == 1 ? "it, here it is taken" : "them, here they are taken"));
}

void Collection::run()
{
    collector_.run();
    bar_.finish();
    reportLosses(collector_.name(), collector_.statistics());
}

const tsInfo &Collection::model()
{
    if (!host_)
        host_ = modelHost(modelSections(collector_), collector_.uses().networkPid().value_or(psi::demux::kNitPid),
                          collector_.name(), standard_);
    return *getSchObjDataInfo(host_->object());
}

ScanInput Collection::input() const
{
    ScanInput input;
    input.name = collector_.name();
    input.live = collector_.live();
    input.interrupted = collector_.stopped();
    input.failure = collector_.failure();
    input.statistics = collector_.statistics();
    input.seconds = collector_.duration();
    input.bitrate = collector_.bitrate();
    if (listen_.untilTimeout)
        input.watchedSeconds = collector_.duration();
    return input;
}

std::string whyNothing(const ScanInput &input)
{
    const psi::demux::Statistics &came = input.statistics;
    std::string text = input.interrupted ? " until the interruption" : "";
    if (!input.live || came.packets > 0)
        return text;
    return text + (came.datagrams == 0 ? ": no datagrams came"
                                       : ": no transport packets in " + counted(came.datagrams, "datagram"));
}

ExitStatus showCollected(const CollectOptions &options, Output &output,
                         const std::function<void(psi::demux::Collector &)> &prepare,
                         const std::function<Shown(const Collected &)> &show)
{
    if (!startLibrary(options.verbosity))
        return exitInputError;
    endWithReader(options.input, output);
    try {
        Collection collection(options.input, options.standard, options.listen);
        if (prepare)
            prepare(collection.collector());
        collection.run();
        const ModelView view(collection.model(), contextOf(collection.model()));
        const ScanInput input = collection.input();
        const Shown shown = show({collection.collector(), view, input});
        if (!output.writeOrReport(shown.text))
            return exitInputError;
        if (!input.failure.empty()) {
            reportError(input.failure + ": what came before is shown");
            return exitInputError;
        }
        if (shown.nothing.empty())
            return exitFound;
        reportError(input.name + ": " + shown.nothing + whyNothing(input));
        return exitNotFound;
    } catch (const psi::demux::InputError &error) {
        return reportInput(error);
    }
}

} // namespace psitool
