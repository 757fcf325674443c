#include "output/descriptor.h"

#include "output/signals.h"

#include <algorithm>
#include <cerrno>
#include <climits>
#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>

namespace psitool {

namespace {

/** What a pipe that is ready takes at once, pipe(7). */
constexpr std::size_t pipePart = PIPE_BUF;

bool isRegular(int fd)
{
    struct stat status {};
    return fstat(fd, &status) == 0 && S_ISREG(status.st_mode);
}

bool takesMore(int fd, int waitMs)
{
    pollfd waiting = {fd, POLLOUT, 0};
    return poll(&waiting, 1, waitMs) > 0;
}

/** @param patience in ms, how long to wait each time; none: it takes no waiting */
Written writeOn(int fd, const char *bytes, std::size_t size, std::size_t &done, int patience)
{
    done = 0;
    if (fd < 0) { // poll() would wait for ever
        errno = EBADF;
        return Written::failed;
    }
    const bool regular = isRegular(fd);
    const bool wasInterrupted = interrupted();
    while (done < size) {
        if (!regular && !takesMore(fd, patience)) {
            if (patience == 0)
                return Written::all;
            if (interrupted() && !wasInterrupted)
                return Written::stopped;
            continue;
        }
        const std::size_t part = regular ? size - done : std::min(size - done, pipePart);
        const ssize_t count = ::write(fd, bytes + done, part);
        if (count < 0 && errno != EINTR && errno != EAGAIN)
            return errno == EPIPE ? Written::readerGone : Written::failed;
        if (count > 0)
            done += static_cast<std::size_t>(count);
    }
    return Written::all;
}

} // namespace

Written writeAll(int fd, const char *bytes, std::size_t size)
{
    constexpr int lookEvery = 100;
    std::size_t done = 0;
    return writeOn(fd, bytes, size, done, lookEvery);
}

Written writeSome(int fd, const char *bytes, std::size_t size, std::size_t &done)
{
    return writeOn(fd, bytes, size, done, 0);
}

bool isReaderGone(int fd)
{
    pollfd asked = {fd, 0, 0};
    return poll(&asked, 1, 0) > 0 && (asked.revents & (POLLERR | POLLHUP)) != 0;
}

} // namespace psitool
