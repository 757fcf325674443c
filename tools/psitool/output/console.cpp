#include "output/console.h"

#include "describe/text.h"
#include "output/described.h"
#include "output/descriptor.h"
#include "output/look.h"
#include "output/signals.h"

#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <fcntl.h>
#include <sys/ioctl.h>
#include <system_error>
#include <thread>
#include <unistd.h>
#include <utility>

namespace psitool {

/** Out of the way: a number that nobody opened is to stay free, see OutputFile. */
constexpr int firstDescriptor = 10;

namespace {

constexpr const char *clearLine = "\r\x1B[K";
std::atomic<bool> barShown{false};

/** 0 for a descriptor that is no terminal. */
std::size_t columnsOfTerminal(int descriptor)
{
    constexpr std::size_t usual = 80;
    winsize size{};
    if (isatty(descriptor) != 1)
        return 0;
    return ioctl(descriptor, TIOCGWINSZ, &size) == 0 && size.ws_col > 0 ? size.ws_col : usual;
}

} // namespace

Output::Output() : fd_(fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, firstDescriptor))
{
    std::signal(SIGPIPE, SIG_IGN); // write() tells of a reader that went away
    dup2(STDERR_FILENO, STDOUT_FILENO);
    std::setvbuf(stdout, nullptr, _IOLBF, BUFSIZ);
}

Output::~Output()
{
    if (fd_ >= 0)
        close(fd_);
}

bool Output::write(const char *bytes, std::size_t size)
{
    if (readerGone_)
        return true;
    std::size_t done = 0;
    const Written written = writeAll(fd_, bytes, size, done);
    if (written == Written::stopped)
        errno = EINTR;
    readerGone_ = written == Written::readerGone;
    return readerGone_ || written == Written::all;
}

std::size_t Output::terminalWidth() const
{
    return columnsOfTerminal(fd_);
}

bool Output::readerGone() const
{
    return readerGone_ || isReaderGone(fd_);
}

void Output::endWithReader(ExitStatus status) const
{
    static bool watched = false;
    if (fd_ < 0 || isRegular(fd_) || std::exchange(watched, true))
        return;
    // A descriptor and a signal mask of its own: it outlives this object, and signals are the main thread's.
    const int watchedFd = fcntl(fd_, F_DUPFD_CLOEXEC, firstDescriptor);
    const SignalsBlocked blocked;
    std::thread([watchedFd, status] {
        waitUntilReaderGone(watchedFd);
        if (barShown)
            std::fputs(clearLine, stderr);
        _exit(status);
    }).detach();
}

bool Output::writeOrReport(const std::string &text)
{
    const bool written = write(text);
    if (!written)
        reportError("standard output: " + std::generic_category().message(errno));
    return written;
}

void reportError(const std::string &message)
{
    std::fflush(stdout);
    std::fprintf(stderr, "psitool: %s\n", safeText(message).c_str());
}

namespace {

constexpr std::chrono::milliseconds barPatience{300};

std::string barLine(std::uint64_t done, std::uint64_t total)
{
    constexpr std::size_t width = 40;
    const std::size_t filled = static_cast<std::size_t>(width * done / total);
    return "[" + std::string(filled, '#') + std::string(width - filled, '.') + "] " +
           std::to_string(100 * done / total) + " %";
}

} // namespace

ProgressBar::ProgressBar(const std::string &name)
    : name_(safeText(name)), width_(columnsOfTerminal(STDERR_FILENO)), start_(std::chrono::steady_clock::now())
{
}

ProgressBar::~ProgressBar()
{
    finish();
}

void ProgressBar::finish()
{
    if (shown_)
        std::fputs(clearLine, stderr);
    shown_ = barShown = false;
    finished_ = true;
}

void ProgressBar::update(std::uint64_t done, std::uint64_t total)
{
    if (finished_ || width_ == 0 || std::chrono::steady_clock::now() - start_ < barPatience)
        return;
    say(total > 0 && done <= total ? barLine(done, total) : std::to_string(done / 1000000) + " MB");
}

void ProgressBar::say(const std::string &state)
{
    if (finished_ || width_ == 0)
        return;
    // A line that the terminal wraps would not be cleared as a whole.
    std::fprintf(stderr, "%s%s", clearLine, cut(name_ + " " + state, width_ - 1).c_str());
    shown_ = barShown = true;
}

} // namespace psitool
