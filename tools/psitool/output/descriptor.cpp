#include "output/descriptor.h"

#include "output/signals.h"

#include <algorithm>
#include <cerrno>
#include <climits>
#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>

namespace psitool {

bool isRegular(int fd)
{
    struct stat status {};
    return fstat(fd, &status) == 0 && S_ISREG(status.st_mode);
}

namespace {

/** What a pipe that is ready takes at once, pipe(7). */
constexpr std::size_t pipePart = PIPE_BUF;

bool takesMore(int fd, int waitMs)
{
    pollfd waiting = {fd, POLLOUT, 0};
    return poll(&waiting, 1, waitMs) > 0;
}

using Clock = std::chrono::steady_clock;

/** @param patience in ms, how long to wait each time; none: it takes no waiting */
Written writeOn(int fd, const char *bytes, std::size_t size, std::size_t &done, int patience, Clock::time_point until)
{
    constexpr std::chrono::seconds stuck(1);
    done = 0;
    if (fd < 0) { // poll() would wait for ever
        errno = EBADF;
        return Written::failed;
    }
    const bool regular = isRegular(fd);
    const bool wasInterrupted = interrupted();
    Clock::time_point lastTaken = Clock::now();
    while (done < size) {
        if (!regular && !takesMore(fd, patience)) {
            if (patience == 0)
                return Written::all;
            if (interrupted() && !wasInterrupted)
                return Written::stopped;
            const Clock::time_point now = Clock::now();
            if (now > until && now - lastTaken > stuck)
                return Written::late;
            continue;
        }
        const std::size_t part = regular ? size - done : std::min(size - done, pipePart);
        const ssize_t count = ::write(fd, bytes + done, part);
        if (count < 0 && errno != EINTR && errno != EAGAIN)
            return errno == EPIPE ? Written::readerGone : Written::failed;
        if (count > 0) {
            done += static_cast<std::size_t>(count);
            lastTaken = Clock::now();
        }
    }
    return Written::all;
}

/** @param patience in ms, -1: without end */
bool readerLeaves(int fd, int patience)
{
    pollfd asked = {fd, 0, 0};
    return poll(&asked, 1, patience) > 0 && (asked.revents & (POLLERR | POLLHUP)) != 0;
}

} // namespace

Written writeAll(int fd, const char *bytes, std::size_t size, std::size_t &done, Clock::time_point until)
{
    constexpr int lookEvery = 100;
    return writeOn(fd, bytes, size, done, lookEvery, until);
}

Written writeSome(int fd, const char *bytes, std::size_t size, std::size_t &done)
{
    return writeOn(fd, bytes, size, done, 0, Clock::time_point::max());
}

bool isReaderGone(int fd)
{
    return readerLeaves(fd, 0);
}

void waitUntilReaderGone(int fd)
{
    while (!readerLeaves(fd, -1)) {
    }
}

} // namespace psitool
