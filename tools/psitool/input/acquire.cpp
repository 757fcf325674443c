#include "input/acquire.h"

#include "demux/transportPacket.h"
#include "describe/text.h"
#include "output/aribText.h"
#include "output/described.h"
#include "output/lineTree.h"

#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <filesystem>
#include <vector>

namespace psitool {

namespace {

std::unique_ptr<psi::demux::Host> openInput(const std::string &input, std::uint64_t mostBytes, ProgressBar &bar)
{
    psi::demux::Options options;
    options.mostBytes = mostBytes;
    options.progress = [&bar](std::uint64_t done, std::uint64_t total) {
        bar.update(done, total);
        return !interrupted();
    };
    return psi::demux::Host::open(input, options);
}

constexpr u32 programTables[] = {PSI_PMT, PSI_CAT};
constexpr u32 dvbTables[] = {PSI_SDT_ACTUAL, PSI_NIT_ACTUAL, PSI_NIT_OTHER, PSI_SDT_OTHER, PSI_BAT,
                             PSI_EBIT,       PSI_EBCT,       PSI_EBCAT,     PSI_EBCCT};
constexpr u32 atscTables[] = {PSI_VCT, PSI_MGT, PSI_STT};

template <std::size_t N> u32 searchEach(psi::demux::Host &host, const u32 (&types)[N], TableSet wanted)
{
    u32 found = 0;
    for (const u32 type : types)
        if ((wanted >> type & 1) != 0 && !host.stopped())
            found += host.search(type);
    return found;
}

bool carries(const psi::demux::Host &host, u16 pid)
{
    const std::vector<psi::demux::PidStatistics> pids = host.pids();
    return std::any_of(pids.begin(), pids.end(),
                       [=](const psi::demux::PidStatistics &seen) { return seen.pid == pid; });
}

/**
 * The tables of both standards, as far as the stream carries them. In a recording a table that is not there costs
 * nothing; in a live stream it costs its time-out, so there ATSC tables that were found spare the search for DVB ones.
 * The VCT comes last: where a program stands in both, its short_name and channel are what the model keeps.
 */
void searchBothStandards(psi::demux::Host &host, bool psip, TableSet wanted)
{
    if (host.live() && psip && searchEach(host, atscTables, wanted) > 0)
        return;
    searchEach(host, dvbTables, wanted);
    if (psip && !host.live())
        searchEach(host, atscTables, wanted);
}

/** Report level of the library for so many -v. */
u32 reportLevel(int verbosity)
{
    constexpr u32 levels[] = {0, 2, 3, 4};
    return levels[std::clamp(verbosity, 0, 3)];
}

/** A message of the library as it prints it itself, but for what names in it must not do to a terminal. */
__attribute__((format(printf, 5, 0))) void logSafely(void *, u32 kind, const char *file, u32 line, const char *format,
                                                     va_list args)
{
    static constexpr const char *words[] = {"error", "warning", "info", "debug"};
    char message[1024];
    std::vsnprintf(message, sizeof message, format, args);
    std::printf("[%s]line%u %s: %s\r\n", file, static_cast<unsigned>(line), words[kind & 3], safeText(message).c_str());
}

} // namespace

void searchTables(psi::demux::Host &host, ScanStandard standard, const std::function<bool()> &psip, TableSet wanted)
{
    const u32 pat = host.search(PSI_PAT);
    if (pat == 0 && host.live() && wanted == allTables)
        return; // a recording may still hold a NIT worth showing
    searchEach(host, programTables, wanted);
    if (standard == ScanStandard::automatic)
        searchBothStandards(host, psip(), wanted);
    else if (standard == ScanStandard::dvb)
        searchEach(host, dvbTables, wanted);
    else
        searchEach(host, atscTables, wanted);
}

bool startLibrary(int verbosity)
{
    setPsiSchRPTLevel(reportLevel(verbosity));
    setPsiMakeRPTLevel(reportLevel(verbosity));
    psiLogHookSet(logSafely, nullptr);
    readAribTexts();
    if (psi::demux::initLibrary())
        return true;
    reportError("the library cannot be initialised");
    return false;
}

ExitStatus reportInput(const psi::demux::InputError &error)
{
    reportError(error.what());
    if (const auto *several = dynamic_cast<const psi::demux::SeveralStreams *>(&error)) {
        for (const psi::demux::CapturedStream &one : several->streams)
            std::fprintf(stderr, "  %-40s %-5s %s, %llu transport packets\n", one.address.c_str(),
                         one.packets == 0 ? "other"
                         : one.rtp        ? "RTP"
                                          : "UDP",
                         counted(one.datagrams, "datagram").c_str(), static_cast<unsigned long long>(one.packets));
        const bool choice = std::any_of(several->streams.begin(), several->streams.end(),
                                        [](const psi::demux::CapturedStream &one) { return one.packets > 0; });
        return choice ? exitWrongUse : exitInputError;
    }
    return dynamic_cast<const psi::demux::WrongName *>(&error) ? exitWrongUse : exitInputError;
}

void endWithReader(const std::string &input, const Output &output, ExitStatus status)
{
    std::error_code unknown;
    if (!std::filesystem::is_regular_file(input == "-" ? "/dev/stdin" : input, unknown))
        output.endWithReader(status);
}

Acquisition::Acquisition(const std::string &input, std::uint64_t mostBytes)
    : bar_(input), host_(openInput(input, mostBytes, bar_))
{
    InterruptGuard::stopWith([this] { host_->stop(); });
}

Acquisition::~Acquisition()
{
    InterruptGuard::stopWith({});
}

ScanInput Acquisition::input() const
{
    ScanInput input;
    input.name = host_->name();
    input.live = host_->live();
    input.interrupted = host_->stopped();
    input.failure = host_->failure();
    input.statistics = host_->statistics();
    input.searches = searches_;
    input.watchedSeconds = watched_.count();
    return input;
}

void Acquisition::search(ScanStandard standard, TableSet wanted)
{
    searchTables(
        *host_, standard, [this] { return carries(*host_, psi::demux::kPsipPid); }, wanted);
    ++searches_;
    bar_.finish();
}

void Acquisition::watch(ScanStandard standard, std::chrono::seconds time, const std::function<void()> &afterSearch)
{
    using Clock = std::chrono::steady_clock;
    const auto start = Clock::now();
    do {
        clearTableInfo(host_->object());
        search(standard);
        afterSearch();
        watched_ = Clock::now() - start;
    } while (watched_ < time && !host_->stopped());
}

void Acquisition::readToEnd()
{
    host_->readToEnd();
}

} // namespace psitool
