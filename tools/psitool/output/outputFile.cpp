#include "output/outputFile.h"

#include <array>
#include <cerrno>
#include <climits>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>

namespace psitool {

namespace {

constexpr int endingSignals[] = {SIGINT, SIGTERM, SIGHUP};

std::array<char, PATH_MAX> toRemove; // what a signal takes away: its handler must not look into a std::string

void onEndingSignal(int signal)
{
    if (toRemove[0] != '\0')
        unlink(toRemove.data());
    std::raise(signal); // SA_RESETHAND: this one ends the program
}

void removeOnSignal(const std::string &path)
{
    if (path.size() >= toRemove.size())
        return;
    std::memcpy(toRemove.data(), path.c_str(), path.size() + 1);
    struct sigaction action {};
    action.sa_handler = onEndingSignal;
    action.sa_flags = static_cast<int>(SA_RESETHAND | SA_NODEFER);
    for (const int signal : endingSignals) {
        struct sigaction previous {};
        sigaction(signal, nullptr, &previous);
        if (previous.sa_handler != SIG_IGN) // nohup
            sigaction(signal, &action, nullptr);
    }
}

void keepOnSignal()
{
    toRemove[0] = '\0';
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

OutputFile::OutputFile(const std::string &path, Output &output) : name_(path), output_(output)
{
    if (path == "-") {
        name_ = "standard output";
        return;
    }
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
    if (fd_ >= 0)
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
    if (target_.empty()) {
        if (!output_.write(bytes, size))
            fail("cannot be written");
        return;
    }
    std::size_t done = 0;
    while (done < size) {
        const ssize_t count = ::write(fd_, bytes + done, size - done);
        if (count < 0 && errno != EINTR)
            fail("cannot be written");
        if (count > 0)
            done += static_cast<std::size_t>(count);
    }
}

void OutputFile::commit()
{
    if (fd_ < 0)
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
