#include "output/outputFile.h"

#include "output/signals.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <climits>
#include <cstdlib>
#include <fcntl.h>
#include <optional>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>

namespace psitool {

namespace {

/** The number in "/dev/fd/N" or in one of its other names. */
std::optional<int> descriptorNamed(const std::string &path)
{
    const std::string own = "/proc/" + std::to_string(getpid()) + "/fd/";
    for (const std::string &folder : {std::string("/dev/fd/"), std::string("/proc/self/fd/"), own}) {
        const std::string number = path.substr(std::min(folder.size(), path.size()));
        constexpr std::size_t mostDigits = 6;
        const bool digits = number.find_first_not_of("0123456789") == std::string::npos;
        if (path.compare(0, folder.size(), folder) == 0 && !number.empty() && number.size() <= mostDigits && digits)
            return std::stoi(number);
    }
    return std::nullopt;
}

/** The descriptor that a name such as /dev/stdout stands for, through links to it as well. */
std::optional<int> descriptorBehind(std::string path)
{
    constexpr unsigned mostLinks = 40;
    for (unsigned i = 0; i < mostLinks; ++i) {
        if (const std::optional<int> found = descriptorNamed(path))
            return found;
        std::array<char, PATH_MAX> to;
        const ssize_t size = readlink(path.c_str(), to.data(), to.size());
        if (size <= 0)
            break;
        const std::string target(to.data(), static_cast<std::size_t>(size));
        path.erase(target[0] == '/' ? 0 : path.rfind('/') + 1).append(target);
    }
    return std::nullopt;
}

/** What a rename has to replace: the file behind links, or the path itself when there is no such file. */
std::string resolved(const std::string &path)
{
    char *real = realpath(path.c_str(), nullptr);
    std::string target = real ? real : path;
    std::free(real);
    return target;
}

/** The mode of the file that is replaced, or that of a new one. */
mode_t modeFor(const std::string &target)
{
    struct stat existing {};
    if (stat(target.c_str(), &existing) == 0)
        return existing.st_mode & 0777;
    const mode_t mask = umask(0);
    umask(mask);
    return 0666 & ~mask;
}

} // namespace

bool sameFile(const std::string &input, const std::string &output)
{
    struct stat in = {};
    struct stat out = {};
    const int found = input == "-" ? fstat(STDIN_FILENO, &in) : stat(input.c_str(), &in);
    return output != "-" && found == 0 && stat(output.c_str(), &out) == 0 && S_ISREG(in.st_mode) &&
           in.st_dev == out.st_dev && in.st_ino == out.st_ino;
}

OutputFile::OutputFile(const std::string &path, Output &output) : name_(path)
{
    const std::optional<int> behind = path == "-" ? STDOUT_FILENO : descriptorBehind(path);
    if (behind == STDOUT_FILENO) {
        name_ = "standard output";
        fd_ = output.descriptor();
        own_ = false;
    } else if (behind) {
        fd_ = fcntl(*behind, F_DUPFD_CLOEXEC, 0);
        if (fd_ < 0)
            fail("cannot be written");
    } else {
        openDirectly(path);
    }
}

void OutputFile::openDirectly(const std::string &path)
{
    target_ = resolved(path);
    struct stat existing {};
    const bool exists = stat(target_.c_str(), &existing) == 0;
    if (exists && !S_ISREG(existing.st_mode)) {
        fd_ = open(target_.c_str(), O_WRONLY | O_CLOEXEC);
        if (fd_ < 0)
            fail("cannot be written");
    } else if (exists && access(target_.c_str(), W_OK) != 0) {
        fail("cannot be written"); // a rename would replace it all the same
    } else {
        openBeside();
    }
}

void OutputFile::openBeside()
{
    temporary_ = target_ + ".XXXXXX";
    fd_ = mkostemp(temporary_.data(), O_CLOEXEC);
    if (fd_ < 0) {
        temporary_.clear();
        fail("cannot be written");
    }
    removeOnSignal(temporary_);
    fchmod(fd_, modeFor(target_));
}

OutputFile::~OutputFile()
{
    if (fd_ >= 0 && own_)
        close(fd_);
    if (!temporary_.empty())
        unlink(temporary_.c_str());
    keepOnSignal();
}

void OutputFile::fail(const char *operation) const
{
    throw OutputError(name_ + ": " + operation + ": " + std::generic_category().message(errno));
}

void OutputFile::write(const std::string &bytes)
{
    write(bytes.data(), bytes.size());
}

void OutputFile::write(const char *bytes, std::size_t size)
{
    std::size_t done = 0;
    if (!readerGone_ && lost_ == 0)
        take(writeAll(fd_, bytes, size, done, waitEnd_));
    if (!readerGone_)
        lost_ += size - done;
}

std::size_t OutputFile::writeSome(const u8 *bytes, std::size_t size)
{
    std::size_t done = 0;
    if (!readerGone_)
        take(psitool::writeSome(fd_, reinterpret_cast<const char *>(bytes), size, done));
    return done;
}

void OutputFile::take(Written written)
{
    readerGone_ = written == Written::readerGone;
    if (written == Written::stopped)
        errno = EINTR;
    if (written == Written::stopped || written == Written::failed)
        fail("cannot be written");
}

bool OutputFile::readerGone() const
{
    return readerGone_ || isReaderGone(fd_);
}

void OutputFile::commit()
{
    if (fd_ < 0 || !own_)
        return;
    const int closed = close(fd_);
    fd_ = -1;
    if (closed != 0)
        fail("cannot be written");
    if (temporary_.empty())
        return;
    if (std::rename(temporary_.c_str(), target_.c_str()) != 0)
        fail("cannot be put into its place");
    temporary_.clear();
    keepOnSignal();
}

} // namespace psitool
