#include "scan.h"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <memory>

namespace psitool {

namespace {

std::atomic<bool> interrupted{false};
std::atomic<psihost::Host *> searching{nullptr};

void onInterrupt(int)
{
    interrupted = true;
    if (psihost::Host *host = searching)
        host->stop();
}

/** Ctrl-C ends the search in progress while one of these lives; a second Ctrl-C ends the program. */
class InterruptGuard {
public:
    InterruptGuard()
    {
        struct sigaction action {};
        action.sa_handler = onInterrupt;
        action.sa_flags = static_cast<int>(SA_RESETHAND);
        sigaction(SIGINT, &action, &previous_);
    }
    ~InterruptGuard() { sigaction(SIGINT, &previous_, nullptr); }
    InterruptGuard(const InterruptGuard &) = delete;
    InterruptGuard &operator=(const InterruptGuard &) = delete;

private:
    struct sigaction previous_ {};
};

/** The host that Ctrl-C stops. */
class SearchingHost {
public:
    explicit SearchingHost(psihost::Host &host)
    {
        searching = &host;
        if (interrupted)
            host.stop();
    }
    ~SearchingHost() { searching = nullptr; }
    SearchingHost(const SearchingHost &) = delete;
    SearchingHost &operator=(const SearchingHost &) = delete;
};

/** The host reports to the bar as long as it lives: of a pipe most is read by the searches. */
std::unique_ptr<psihost::Host> openInput(const std::string &input, ProgressBar &bar)
{
    psihost::Options options;
    options.progress = [&bar](std::uint64_t done, std::uint64_t total) {
        bar.update(done, total);
        return !interrupted;
    };
    return psihost::Host::open(input, options);
}

constexpr u32 dvbTables[] = {PSI_SDT_ACTUAL, PSI_NIT_ACTUAL, PSI_NIT_OTHER, PSI_SDT_OTHER, PSI_BAT,
                             PSI_EBIT,       PSI_EBCT,       PSI_EBCAT,     PSI_EBCCT};
constexpr u32 atscTables[] = {PSI_VCT, PSI_MGT, PSI_STT};

template <std::size_t N> u32 searchEach(psihost::Host &host, const u32 (&types)[N])
{
    u32 found = 0;
    for (const u32 type : types)
        if (!host.stopped())
            found += host.search(type);
    return found;
}

bool carries(const psihost::Host &host, u16 pid)
{
    const std::vector<psihost::PidStatistics> pids = host.pids();
    return std::any_of(pids.begin(), pids.end(), [=](const psihost::PidStatistics &seen) { return seen.pid == pid; });
}

/**
 * The tables of both standards, as far as the stream carries them. In a recording a table that is not there costs
 * nothing; in a live stream it costs its time-out, so there ATSC tables that were found spare the search for DVB ones.
 * The VCT comes last: where a program stands in both, its short_name and channel are what the model keeps.
 */
void searchBothStandards(psihost::Host &host)
{
    constexpr u16 psipBasePid = 0x1FFB;
    const bool psip = carries(host, psipBasePid);
    if (host.live() && psip && searchEach(host, atscTables) > 0)
        return;
    searchEach(host, dvbTables);
    if (psip && !host.live())
        searchEach(host, atscTables);
}

void searchTables(psihost::Host &host, ScanStandard standard)
{
    const u32 pat = host.search(PSI_PAT);
    if (pat == 0 && host.live())
        return; // a recording may still hold a NIT worth showing
    constexpr u32 programTables[] = {PSI_PMT, PSI_CAT};
    searchEach(host, programTables);
    if (standard == ScanStandard::automatic)
        searchBothStandards(host);
    else if (standard == ScanStandard::dvb)
        searchEach(host, dvbTables);
    else
        searchEach(host, atscTables);
}

/** Report level of the library for so many -v. */
u32 reportLevel(int verbosity)
{
    constexpr u32 levels[] = {0, 2, 3, 4};
    return levels[std::clamp(verbosity, 0, 3)];
}

ExitStatus writeResult(const ScanOptions &options, const psihost::Host &host, Output &output)
{
    const ModelView view(*getSchObjDataInfo(host.object()));
    const ScanInput input{host.name(), host.live(), host.stopped(), host.statistics()};
    const bool pat = view.acquired(PSI_PAT);
    const bool anything = view.model().sectionList != nullptr;
    if (pat || anything) {
        if (!output.write(options.json ? scanJson(input, view) : scanText(input, view, branchesOfLocale()))) {
            reportError(std::string("standard output: ") + std::strerror(errno));
            return exitInputError;
        }
    }
    if (pat)
        return exitFound;
    reportError(host.name() + ": no PAT found" + (input.interrupted ? " until the interruption" : ""));
    return exitNoPat;
}

} // namespace

ExitStatus runScan(const ScanOptions &options, Output &output)
{
    setPsiSchRPTLevel(reportLevel(options.verbosity));
    if (!psihost::initLibrary()) {
        reportError("the library cannot be initialised");
        return exitInputError;
    }
    const InterruptGuard guard;
    try {
        ProgressBar bar(options.input);
        const std::unique_ptr<psihost::Host> host = openInput(options.input, bar);
        const SearchingHost scope(*host);
        searchTables(*host, options.standard);
        bar.finish();
        return writeResult(options, *host, output);
    } catch (const psihost::InputError &error) {
        reportError(error.what());
        return exitInputError;
    }
}

} // namespace psitool
