/**
 * @file faultInjection.h
 * @brief Makes chosen calls of the platform layer fail.
 *
 * The linker sends every call of PoolGuard::allocate(), poolCould(), zlst_push(), zlst_delete() and
 * syntaxDestroyPsiSection() between two object files through a wrapper of the test support, so the library itself has
 * no hook. That of allocate() fills fresh blocks with 0xA5, so that what the library forgets to write does not happen
 * to be zero. So that all blocks and list operations pass these calls, a guard of the pool that is opened while a plan
 * or a watch lives works by calls alone, and so does every other one: tests go both ways.
 */
#ifndef PSITEST_FAULT_INJECTION_H
#define PSITEST_FAULT_INJECTION_H

#include "psi.h"

#include <gtest/gtest.h>

#include <vector>

namespace psitest {

/** @brief A call that can be made to fail: it answers null, non-zero, 0 and -1, and does nothing else. */
enum class Call { Malloc, Push, Delete, DestroyTree };

/** @brief Which calls fail, of the number n: the n-th, the n-th and all later ones, every n-th. */
enum class Fail { Once, FromThenOn, Every };

/**
 * @brief While it lives, the n-th call (counted from 1, from the construction on) fails; with n = 0 none.
 *
 * One at a time. Counts the calls of all threads.
 */
class FaultPlan {
public:
    FaultPlan(Call call, unsigned nth, Fail mode = Fail::Once);
    ~FaultPlan();
    FaultPlan(const FaultPlan &) = delete;
    FaultPlan &operator=(const FaultPlan &) = delete;

    /** @brief Calls so far. */
    unsigned calls() const;
    /** @brief Calls that were made to fail so far. */
    unsigned injected() const;
};

/** @brief The tree whose destruction was made to fail last: for the test to free. */
void *lastTreeNotDestroyed();

/** @brief Remembers the blocks that are allocated while it lives. One at a time, one thread. */
class AllocationWatch {
public:
    AllocationWatch();
    ~AllocationWatch();
    AllocationWatch(const AllocationWatch &) = delete;
    AllocationWatch &operator=(const AllocationWatch &) = delete;

    /** @brief All of them in their order; those that were freed since may stand there more than once. */
    const std::vector<void *> &blocks() const { return blocks_; }

private:
    std::vector<void *> blocks_;
};

/** @brief Number of calls of one kind that @p operate makes. */
template <typename Operate> unsigned countCalls(Call call, Operate operate)
{
    FaultPlan none(call, 0);
    operate();
    return none.calls();
}

/**
 * @brief Run an operation with its first, second, third ... call failing, until it completes without a failure.
 * @param call what fails
 * @param mode whether only that call fails, all later ones as well, or its multiples
 * @param prepare called before every run, nothing fails; makes a fresh state
 * @param operate the operation
 * @param check called after every run with true when a failure was injected; looks for leaks and wrong results
 * @return number of runs in which a failure was injected
 */
template <typename Prepare, typename Operate, typename Check>
unsigned sweepFailures(Call call, Fail mode, Prepare prepare, Operate operate, Check check)
{
    constexpr unsigned limit = 100000;
    for (unsigned nth = 1; nth < limit; ++nth) {
        SCOPED_TRACE(testing::Message() << "failing call " << nth);
        prepare();
        bool injected = false;
        {
            FaultPlan plan(call, nth, mode);
            operate();
            injected = plan.injected() != 0;
        }
        check(injected);
        if (!injected || testing::Test::HasFatalFailure())
            return nth - 1;
    }
    ADD_FAILURE() << "the operation never completed";
    return limit;
}

} // namespace psitest

#endif // PSITEST_FAULT_INJECTION_H
