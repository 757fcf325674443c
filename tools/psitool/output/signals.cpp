#include "output/signals.h"

#include <array>
#include <atomic>
#include <climits>
#include <csignal>
#include <cstring>
#include <unistd.h>
#include <utility>

namespace psitool {

namespace {

constexpr std::array<int, 3> endingSignals = {SIGINT, SIGTERM, SIGHUP};

std::array<char, PATH_MAX> toRemove; // a handler must not look into a std::string
std::array<struct sigaction, endingSignals.size()> before;
std::atomic<int> guards{0};
std::atomic<bool> came{false};
std::function<void()> stopWork;
std::atomic<bool> hasWork{false};

/** What would have happened without us. */
void endProgram(int signal)
{
    for (std::size_t i = 0; i < before.size(); ++i)
        if (endingSignals[i] == signal) {
            if (before[i].sa_handler == SIG_IGN)
                return;
            sigaction(signal, &before[i], nullptr);
        }
    if (toRemove[0] != '\0')
        unlink(toRemove.data());
    std::raise(signal); // comes when the handler has returned
}

void onSignal(int signal)
{
    if (guards == 0 || came.exchange(true)) {
        endProgram(signal);
        return;
    }
    if (hasWork)
        stopWork();
}

void catchSignals()
{
    static bool caught = false;
    if (std::exchange(caught, true))
        return;
    struct sigaction action {};
    action.sa_handler = onSignal; // no SA_RESTART: what waits is to look again
    for (std::size_t i = 0; i < before.size(); ++i) {
        sigaction(endingSignals[i], nullptr, &before[i]);
        if (endingSignals[i] != SIGHUP || before[i].sa_handler != SIG_IGN) // nohup
            sigaction(endingSignals[i], &action, nullptr);
    }
}

} // namespace

InterruptGuard::InterruptGuard()
{
    catchSignals();
    ++guards;
}

InterruptGuard::~InterruptGuard()
{
    --guards;
}

void InterruptGuard::stopWith(std::function<void()> stop)
{
    hasWork = false;
    stopWork = std::move(stop);
    hasWork = static_cast<bool>(stopWork);
    if (came && hasWork)
        stopWork();
}

SignalsBlocked::SignalsBlocked()
{
    sigset_t all;
    sigfillset(&all);
    pthread_sigmask(SIG_SETMASK, &all, &before_);
}

SignalsBlocked::~SignalsBlocked()
{
    pthread_sigmask(SIG_SETMASK, &before_, nullptr);
}

bool interrupted() noexcept
{
    return came;
}

void removeOnSignal(const std::string &path)
{
    if (path.size() >= toRemove.size())
        return;
    std::memcpy(toRemove.data(), path.c_str(), path.size() + 1);
    catchSignals();
}

void keepOnSignal()
{
    toRemove[0] = '\0';
}

} // namespace psitool
