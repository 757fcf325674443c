/**
 * @file signals.h
 * @brief INT, TERM and HUP: work ends in order, and nothing unfinished is left behind.
 */
#ifndef PSITOOL_SIGNALS_H
#define PSITOOL_SIGNALS_H

#include <csignal>
#include <functional>
#include <string>

namespace psitool {

/**
 * @brief While one of these lives, INT, TERM or HUP ends the work in progress in order; a second one ends the program.
 *
 * A HUP that the program was started to ignore (nohup) stays ignored. Several may live at once.
 */
class InterruptGuard {
public:
    InterruptGuard();
    ~InterruptGuard();
    /** @brief What ends the work in progress, besides: called by the signal handler. */
    static void stopWith(std::function<void()> stop);
    InterruptGuard(const InterruptGuard &) = delete;
    InterruptGuard &operator=(const InterruptGuard &) = delete;
};

/** @brief While one of these lives, signals do not come to this thread, nor to those that it starts. */
class SignalsBlocked {
public:
    SignalsBlocked();
    ~SignalsBlocked();
    SignalsBlocked(const SignalsBlocked &) = delete;
    SignalsBlocked &operator=(const SignalsBlocked &) = delete;

private:
    sigset_t before_;
};

/** @brief True once a signal came while there was an InterruptGuard. */
bool interrupted() noexcept;

/** @brief A file to be taken away by a signal that ends the program; one at a time. */
void removeOnSignal(const std::string &path);
/** @brief The file stays, or is gone already. */
void keepOnSignal();

} // namespace psitool

#endif
