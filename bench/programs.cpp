#include "programs.h"

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <stdexcept>

namespace psibench {
namespace {

[[noreturn]] void become(const std::vector<std::string> &command)
{
    std::vector<char *> words;
    for (const std::string &word : command)
        words.push_back(const_cast<char *>(word.c_str()));
    words.push_back(nullptr);
    const int nowhere = open("/dev/null", O_WRONLY);
    if (nowhere >= 0 && dup2(nowhere, STDOUT_FILENO) >= 0)
        execvp(words[0], words.data());
    _exit(127);
}

double msOf(const timeval &time)
{
    return static_cast<double>(time.tv_sec) * 1e3 + static_cast<double>(time.tv_usec) / 1e3;
}

} // namespace

double processMs(const std::vector<std::string> &command)
{
    const pid_t child = fork();
    if (child == 0)
        become(command);
    int status = 0;
    rusage usage = {};
    if (child < 0 || wait4(child, &status, 0, &usage) != child || status != 0)
        throw std::runtime_error(command[0] + " failed");
    return msOf(usage.ru_utime) + msOf(usage.ru_stime);
}

bool checkScan(const std::string &psitool, const std::string &file, double bar)
{
    constexpr unsigned rounds = 25;
    double ours = 1e30;
    double reading = 1e30;
    for (unsigned round = 0; round < rounds; ++round) {
        ours = std::min(ours, processMs({psitool, "scan", file}));
        reading = std::min(reading, processMs({"cat", file}));
    }
    const bool met = ours <= bar * reading;
    printf("psitool scan of %s: %.1f ms, cat %.1f ms, ratio %.2f, bar %.2f %s\n", file.c_str(), ours, reading,
           ours / reading, bar, met ? "ok" : "ABOVE");
    return met;
}

} // namespace psibench
