#include "support/logCapture.h"

#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <iterator>
#include <ostream>

namespace psitest {
namespace {

struct KindName {
    Kind kind;
    const char *name;
};

constexpr std::array<KindName, 4> kindNames = {
    {{Kind::Error, "error"}, {Kind::Warning, "warning"}, {Kind::Info, "info"}, {Kind::Debug, "debug"}}};

LogCapture *activeCapture = nullptr;

// Failures are printed by a listener; these two stand before and behind it.
struct PauseCapture : testing::EmptyTestEventListener {
    void OnTestPartResult(const testing::TestPartResult &) override
    {
        if (activeCapture != nullptr)
            activeCapture->pause();
    }
};

struct ResumeCapture : testing::EmptyTestEventListener {
    void OnTestPartResult(const testing::TestPartResult &) override
    {
        if (activeCapture != nullptr)
            activeCapture->resume();
    }
};

bool bracketFailurePrinter()
{
    auto &listeners = testing::UnitTest::GetInstance()->listeners();
    testing::TestEventListener *printer = listeners.Release(listeners.default_result_printer());
    listeners.Append(new PauseCapture);
    if (printer != nullptr)
        listeners.Append(printer);
    listeners.Append(new ResumeCapture);
    return true;
}

// "[<path>]line<number> <kind>: <text>"
bool parsePrefix(const std::string &raw, LogLine &out)
{
    const auto close = raw.find("]line");
    if (raw.empty() || raw[0] != '[' || close == std::string::npos)
        return false;
    char *end = nullptr;
    const unsigned long line = std::strtoul(raw.c_str() + close + 5, &end, 10);
    std::size_t at = static_cast<std::size_t>(end - raw.c_str());
    for (const KindName &name : kindNames) {
        const std::string mark = std::string(" ") + name.name + ": ";
        if (raw.compare(at, mark.size(), mark) == 0) {
            out = {name.kind, raw.substr(1, close - 1), raw.substr(at + mark.size()), static_cast<unsigned>(line)};
            return true;
        }
    }
    return false;
}

LogLine expected(Kind kind, const std::string &file, const std::string &text)
{
    return {kind, "../../" + file + ".cpp", text, 0};
}

} // namespace

bool operator==(const LogLine &a, const LogLine &b)
{
    return a.kind == b.kind && a.path == b.path && a.text == b.text;
}

bool operator!=(const LogLine &a, const LogLine &b)
{
    return !(a == b);
}

std::ostream &operator<<(std::ostream &os, const LogLine &line)
{
    for (const KindName &name : kindNames) {
        if (name.kind == line.kind)
            os << '[' << line.path << "] " << name.name << ": ";
    }
    return os << '"' << line.text << '"';
}

LogLine error(const std::string &file, const std::string &text)
{
    return expected(Kind::Error, file, text);
}

LogLine warning(const std::string &file, const std::string &text)
{
    return expected(Kind::Warning, file, text);
}

LogLine info(const std::string &file, const std::string &text)
{
    return expected(Kind::Info, file, text);
}

LogLine debug(const std::string &file, const std::string &text)
{
    return expected(Kind::Debug, file, text);
}

LogLine plain(const std::string &text)
{
    return {Kind::Plain, "", text, 0};
}

std::string format(const char *fmt, ...)
{
    char text[1024];
    va_list args;
    va_start(args, fmt);
    std::vsnprintf(text, sizeof text, fmt, args);
    va_end(args);
    return text;
}

LogLines parseLog(const std::string &raw)
{
    static const std::string lineEnd = "\r\n";
    LogLines lines;
    for (std::size_t at = 0; at < raw.size();) {
        const std::size_t end = std::min(raw.find(lineEnd, at), raw.size());
        LogLine line = plain(raw.substr(at, end - at));
        parsePrefix(line.text, line);
        lines.push_back(line);
        at = end + lineEnd.size();
    }
    return lines;
}

LogLines ofKind(const LogLines &lines, Kind kind)
{
    LogLines found;
    std::copy_if(lines.begin(), lines.end(), std::back_inserter(found),
                 [kind](const LogLine &line) { return line.kind == kind; });
    return found;
}

bool contains(const LogLines &lines, const LogLine &line)
{
    return std::find(lines.begin(), lines.end(), line) != lines.end();
}

LogCapture::LogCapture()
{
    static const bool bracketed = bracketFailurePrinter();
    static_cast<void>(bracketed);
    std::fflush(stdout);
    saved_ = dup(STDOUT_FILENO);
    file_ = memfd_create("psi-log", 0);
    if (saved_ < 0 || file_ < 0 || activeCapture != nullptr)
        std::abort();
    activeCapture = this;
    resume();
}

LogCapture::~LogCapture()
{
    pause();
    activeCapture = nullptr;
    close(saved_);
    close(file_);
}

std::string LogCapture::takeRaw()
{
    std::fflush(stdout);
    // Both descriptors share one offset, which is where the output ends.
    const off_t size = lseek(file_, 0, SEEK_CUR);
    std::string raw(static_cast<std::size_t>(size), '\0');
    if (size > 0 && pread(file_, raw.data(), raw.size(), 0) != static_cast<ssize_t>(size))
        std::abort();
    lseek(file_, 0, SEEK_SET);
    if (ftruncate(file_, 0) != 0)
        std::abort();
    return raw;
}

void LogCapture::pause()
{
    std::fflush(stdout);
    dup2(saved_, STDOUT_FILENO);
}

void LogCapture::resume()
{
    std::fflush(stdout);
    dup2(file_, STDOUT_FILENO);
}

} // namespace psitest
