// Three threads on one CPU: a low one works as it holds a mutex, a high one waits for it, a middle one keeps the CPU
// busy. Only when the holder is lent the waiter's priority does the high one get on before the middle one is done.
#include "support/searchTest.h"

#include "psiInternal.h"

#include <atomic>
#include <chrono>
#include <ctime>
#include <functional>
#include <memory>
#include <pthread.h>
#include <sched.h>
#include <thread>

using namespace psi::core;

namespace psitest {
namespace {

using namespace std::chrono_literals;

enum Priority { low = 10, middle = 20, high = 30 };

/** @brief A thread with a real-time priority, on the first CPU that the process may use. */
class RealTimeThread {
public:
    RealTimeThread(Priority priority, std::function<void()> work) : work_(std::move(work))
    {
        pthread_attr_t attributes;
        pthread_attr_init(&attributes);
        pthread_attr_setinheritsched(&attributes, PTHREAD_EXPLICIT_SCHED);
        pthread_attr_setschedpolicy(&attributes, SCHED_FIFO);
        const sched_param param = {priority};
        pthread_attr_setschedparam(&attributes, &param);
        const cpu_set_t cpu = firstCpu();
        pthread_attr_setaffinity_np(&attributes, sizeof cpu, &cpu);
        runs_ = pthread_create(&thread_, &attributes, run, this) == 0;
        pthread_attr_destroy(&attributes);
    }
    ~RealTimeThread() { join(); }
    RealTimeThread(const RealTimeThread &) = delete;
    RealTimeThread &operator=(const RealTimeThread &) = delete;

    /** @brief False where the machine allows no real-time priority. */
    bool runs() const { return runs_; }
    void join()
    {
        if (runs_ && !joined_)
            joined_ = pthread_join(thread_, nullptr) == 0;
    }

private:
    static cpu_set_t firstCpu()
    {
        cpu_set_t allowed;
        cpu_set_t first;
        CPU_ZERO(&allowed);
        CPU_ZERO(&first);
        sched_getaffinity(0, sizeof allowed, &allowed);
        std::size_t cpu = 0;
        while (cpu < CPU_SETSIZE - 1 && !CPU_ISSET(cpu, &allowed))
            ++cpu;
        CPU_SET(cpu, &first);
        return first;
    }
    static void *run(void *self)
    {
        static_cast<RealTimeThread *>(self)->work_();
        return nullptr;
    }

    std::function<void()> work_;
    pthread_t thread_{};
    bool runs_ = false;
    bool joined_ = false;
};

/** @brief Keeps the CPU busy until the thread has used so much of its time. */
void compute(std::chrono::milliseconds time)
{
    const auto used = [] {
        timespec now{};
        clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
        return std::chrono::seconds(now.tv_sec) + std::chrono::nanoseconds(now.tv_nsec);
    };
    for (const auto end = used() + time; used() < end;) {
    }
}

void waitFor(const std::atomic<bool> &flag)
{
    while (!flag)
        std::this_thread::sleep_for(1ms);
}

/** @brief What the holder does with the mutex in its hands: tell, wait until all are there, and work on. */
struct Inversion {
    std::atomic<bool> held{false};
    std::atomic<bool> wanted{false};
    std::atomic<bool> go{false};
    std::atomic<bool> middleDone{false};
    bool highFirst = false;

    void holdIt()
    {
        held = true;
        waitFor(go);
        compute(50ms);
    }
    /** @brief The high thread's part, around what takes the mutex. */
    void wantIt(const std::function<void()> &take)
    {
        wanted = true;
        take();
        highFirst = !middleDone;
    }
};

/**
 * @param lowWork takes the mutex and calls Inversion::holdIt() with it
 * @param take takes the mutex and gives it back
 * @return whether the high thread got it before the middle one was done; none where there is no real-time priority
 */
std::optional<bool> highComesFirst(const std::function<void(Inversion &)> &lowWork, const std::function<void()> &take)
{
    Inversion inversion;
    RealTimeThread lowThread(low, [&] { lowWork(inversion); });
    if (!lowThread.runs())
        return {};
    waitFor(inversion.held);
    RealTimeThread highThread(high, [&] { inversion.wantIt(take); });
    waitFor(inversion.wanted);
    std::this_thread::sleep_for(20ms); // it has the CPU whenever it wants, and is now in the mutex's queue
    RealTimeThread middleThread(middle, [&] {
        inversion.go = true;
        compute(300ms);
        inversion.middleDone = true;
    });
    for (RealTimeThread *thread : {&lowThread, &highThread, &middleThread})
        thread->join();
    return inversion.highFirst;
}

std::optional<bool> highComesFirst(psiSemId mutex)
{
    return highComesFirst(
        [mutex](Inversion &inversion) {
            osMutexTake(mutex);
            inversion.holdIt();
            osMutexGive(mutex);
        },
        [mutex] {
            osMutexTake(mutex);
            osMutexGive(mutex);
        });
}

constexpr const char *noRealTime = "this machine allows the process no real-time priorities (ulimit -r)";

TEST(MutexPriority, IsInherited)
{
    const psiSemId mutex = osMutexCreate(MutexUse::object);
    ASSERT_NE(psiSemId{0}, mutex);
    const std::optional<bool> highFirst = highComesFirst(mutex);
    EXPECT_TRUE(osMutexDelete(mutex));
    if (!highFirst)
        GTEST_SKIP() << noRealTime;
    EXPECT_TRUE(*highFirst);
}

/** @brief What the test above sees where nothing is inherited. */
TEST(MutexPriority, OfAPlainMutexIsNotInherited)
{
    pthread_mutex_t mutex = PTHREAD_MUTEX_INITIALIZER;
    const std::optional<bool> highFirst = highComesFirst(reinterpret_cast<psiSemId>(&mutex));
    if (!highFirst)
        GTEST_SKIP() << noRealTime;
    EXPECT_FALSE(*highFirst);
}

class SearchPriority : public SearchTest {};

TEST_F(SearchPriority, ASearchInALowTaskIsLentThePriorityOfAHighOneThatClears)
{
    setPsiSchRPTLevel(0);
    Inversion *searching = nullptr;
    host->play({answer::noTable().doing([&searching](const psiSchInfo &) { searching->holdIt(); })});
    const std::optional<bool> highFirst = highComesFirst(
        [&](Inversion &inversion) {
            searching = &inversion;
            schTable(host->id(), PSI_BAT);
        },
        [this] { clearTableInfo(host->id()); });
    if (!highFirst)
        GTEST_SKIP() << noRealTime;
    EXPECT_TRUE(*highFirst);
}

} // namespace
} // namespace psitest
