#include "demux/byteSource.h"

#include "demux/capture.h"

#include <algorithm>
#include <cerrno>
#include <fcntl.h>
#include <limits>
#include <new>
#include <poll.h>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>

namespace psi::demux {

namespace {

/** Stays in the processor's second cache between the kernel's copy and the search for packets. */
constexpr size_t kBufferBytes = 256U << 10;
/** At the beginning of a page the kernel copies several times as fast. */
constexpr std::align_val_t kPage{4096};

/** Where no file has such a name: what may have been meant. */
std::string meant(const std::string &input)
{
    if (input.find("://") != std::string::npos)
        return " (live inputs are udp://... and rtp://...)";
    const size_t digits = input.find_last_not_of("0123456789") + 1;
    const bool hasPort = digits > 1 && digits < input.size() && input[digits - 1] == ':';
    return hasPort ? " (a live input is udp://" + input + ")" : "";
}

} // namespace

ByteSource::ByteSource(const std::string &input, uint64_t most)
    : shownName(input == "-" ? "standard input" : input), left(most != 0 ? most : std::numeric_limits<uint64_t>::max())
{
    if (const auto name = captureNamed(input == "-" ? "/dev/stdin" : input)) {
        capture = std::make_unique<CaptureReader>(*name, shownName);
        regular = true;
    } else {
        openFile(input);
    }
}

void ByteSource::openFile(const std::string &input)
{
    descriptor = input == "-" ? fcntl(STDIN_FILENO, F_DUPFD_CLOEXEC, 0) : ::open(input.c_str(), O_RDONLY | O_CLOEXEC);
    if (const int error = errno; descriptor < 0)
        fail(std::generic_category().message(error) + (error == ENOENT ? meant(input) : ""));
    struct stat status = {};
    if (fstat(descriptor, &status) != 0)
        fail(std::generic_category().message(errno));
    if (S_ISDIR(status.st_mode))
        fail("is a directory");
    if (isatty(descriptor) == 1)
        fail("is a terminal");
    regular = S_ISREG(status.st_mode);
    if (regular) {
        const off_t start = lseek(descriptor, 0, SEEK_CUR);
        total = start < status.st_size ? static_cast<uint64_t>(status.st_size - start) : 0;
        posix_fadvise(descriptor, 0, 0, POSIX_FADV_SEQUENTIAL);
    }
    buffer.reset(static_cast<u8 *>(::operator new(kBufferBytes, kPage)));
}

void ByteSource::PageDeleter::operator()(u8 *bytes) const
{
    ::operator delete(bytes, kPage);
}

ByteSource::~ByteSource()
{
    if (descriptor >= 0)
        close(descriptor);
}

void ByteSource::fail(const std::string &why) const
{
    if (descriptor >= 0)
        close(descriptor);
    throw InputError(shownName + ": " + why);
}

void ByteSource::addTo(Statistics &statistics) const
{
    if (capture != nullptr)
        capture->addTo(statistics);
    statistics.overflows = lost;
}

bool ByteSource::read(int waitMs, Chunk &chunk)
{
    chunk = {};
    if (capture != nullptr) {
        const bool more = capture->read(captured);
        chunk = {captured.data(), captured.size()};
        return more;
    }
    if (buffer == nullptr)
        return false;
    if (!regular) {
        pollfd waiting = {descriptor, POLLIN, 0};
        if (poll(&waiting, 1, waitMs) <= 0)
            return true;
    }
    const ssize_t got = ::read(descriptor, buffer.get(), static_cast<size_t>(std::min<uint64_t>(kBufferBytes, left)));
    if (got < 0 && errno == EOVERFLOW) { // a DVB device: its buffer was full
        ++lost;
        return true;
    }
    if (got < 0) {
        if (errno == EINTR || errno == EAGAIN)
            return true;
        throw InputError(shownName + ": " + std::generic_category().message(errno));
    }
    chunk = {buffer.get(), static_cast<size_t>(got)};
    if (!begun && !regular && chunk.size >= 4 && beginsLikeCapture(chunk.data))
        throw InputError(shownName + ": is a capture of network packets, and comes through a pipe: it has to be gone "
                                     "through twice, give the file itself");
    begun = true;
    left -= chunk.size;
    if (got == 0)
        buffer.reset(); // its memory serves what is made of the bytes
    return got > 0;
}

} // namespace psi::demux
