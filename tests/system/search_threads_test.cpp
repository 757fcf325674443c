// Searches while other threads stop them, change time-outs and levels, clear, or search other objects.
#include "support/searchTest.h"
#include "support/timelessStream.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <future>
#include <memory>
#include <thread>

namespace psitest {
namespace {

using namespace std::chrono_literals;

/** @brief Longest that a test waits for another thread. */
constexpr auto patience = 30s;

/** @brief Lets one thread wait until another is somewhere. */
class Gate {
public:
    void open()
    {
        const std::lock_guard<std::mutex> guard(lock_);
        isOpen_ = true;
        opened_.notify_all();
    }
    bool wait()
    {
        std::unique_lock<std::mutex> guard(lock_);
        return opened_.wait_for(guard, patience, [this] { return isOpen_; });
    }

private:
    std::mutex lock_;
    std::condition_variable opened_;
    bool isOpen_ = false;
};

class ThreadedSearch : public SearchTest {
protected:
    void SetUp() override
    {
        SearchTest::SetUp();
        setPsiSchRPTLevel(1);
    }
    /** @brief Whether a search in another thread ends; its result is then in `result`. */
    template <typename T> bool ended(std::future<T> &search)
    {
        if (search.wait_for(patience) == std::future_status::ready)
            return true;
        psiSchStop(host->id()); // so that the test itself ends
        return false;
    }
    /** @brief A host that never has anything, without time passing: only a stop ends its searches. */
    void neverReady(Gate &reading)
    {
        host->setFallback([&reading](const psiSchInfo &) {
            reading.open();
            std::this_thread::sleep_for(100us);
            return answer::dataError();
        });
    }
};

/* ---- Stop ---- */

class ThreadedStop : public ThreadedSearch, public testing::WithParamInterface<u32> {};

TEST_P(ThreadedStop, EndsARunningSearch)
{
    setPsiSchRPTLevel(0);
    if (GetParam() == PSI_PMT) {
        for (u16 program = 1; program < 10; ++program)
            addProgram(program, 0x100);
    }
    Gate reading;
    neverReady(reading);
    auto search = std::async(std::launch::async, [this] { return schTable(host->id(), GetParam()); });
    ASSERT_TRUE(reading.wait());
    psiSchStop(host->id());
    ASSERT_TRUE(ended(search));
    EXPECT_EQ(0U, search.get());
    EXPECT_TRUE(mutexIsFree(host->object()->semId));
}

std::vector<u32> searchedTypes()
{
    std::vector<u32> types;
    for (const TypeFacts &facts : typesWithTable())
        types.push_back(facts.psiType);
    return types;
}

INSTANTIATE_TEST_SUITE_P(Types, ThreadedStop, testing::ValuesIn(searchedTypes()),
                         [](const auto &param) { return "type" + std::to_string(param.param); });

TEST_F(ThreadedSearch, StopEndsTheWholeStandardSet)
{
    setPsiSchRPTLevel(0);
    Gate reading;
    neverReady(reading);
    host->play({answer::section(sampleSection(PSI_PAT))});
    auto search = std::async(std::launch::async, [this] { return autoSchTable(host->id(), 0); });
    ASSERT_TRUE(reading.wait()); // in the PMT search
    psiSchStop(host->id());
    ASSERT_TRUE(ended(search));
    EXPECT_EQ(0, search.get());
    // The ten tables behind the PMT are armed and not read.
    Calls calls = callsOf(*host);
    calls.erase(calls.begin(), calls.end() - 10);
    EXPECT_EQ(calls, armsOf(calls));
    EXPECT_EQ(arm(0x0001, 0x01), calls.front());
    EXPECT_EQ(arm(0x0021, 0xFB, 0, {}, true), calls.back());
}

TEST_F(ThreadedSearch, StopAndResumeAreNoticedOrNotButNeverHang)
{
    setPsiSchRPTLevel(0);
    Carousel carousel(500);
    fillDvb(carousel);
    carousel.drive(*host);
    std::atomic<bool> done{false};
    std::thread stopper([&] {
        while (!done) {
            psiSchStop(host->id());
            std::this_thread::yield();
            psiSchStopResume(host->id());
            std::this_thread::yield();
        }
    });
    for (int i = 0; i < 50; ++i) {
        autoSchTable(host->id(), 0);
        EXPECT_EQ(0, clearTableInfo(host->id()));
    }
    done = true;
    stopper.join();
}

/* ---- Time-outs ---- */

TEST_F(ThreadedSearch, TimeOutSetWaitsForARunningSearch)
{
    setPsiSchRPTLevel(0);
    Gate reading;
    neverReady(reading);
    auto search = std::async(std::launch::async, [this] { return schTable(host->id(), PSI_BAT); });
    ASSERT_TRUE(reading.wait());
    std::atomic<bool> set{false};
    auto setter = std::async(std::launch::async, [&] {
        const i32 result = psiSchTimeOutSet(host->id(), PSI_BAT, 123);
        set = true;
        return result;
    });
    EXPECT_EQ(std::future_status::timeout, setter.wait_for(50ms));
    EXPECT_FALSE(set);
    EXPECT_EQ(6000, psiSchTimeOutGet(host->id(), PSI_BAT)) << "reading takes no lock";
    psiSchStop(host->id());
    ASSERT_TRUE(ended(search));
    ASSERT_TRUE(ended(setter));
    EXPECT_EQ(0, setter.get());
    EXPECT_EQ(123, psiSchTimeOutGet(host->id(), PSI_BAT));
}

TEST_F(ThreadedSearch, TimeOutsAreReadWhileTheyAreSet)
{
    std::atomic<bool> done{false};
    std::thread reader([&] {
        while (!done) {
            const u16 ms = psiSchTimeOutGet(host->id(), PSI_NIT_ACTUAL);
            EXPECT_TRUE(ms == 4000 || ms == 0x1234) << ms;
        }
    });
    for (int i = 0; i < 2000; ++i)
        EXPECT_EQ(0, psiSchTimeOutSet(host->id(), PSI_NIT_ACTUAL, i % 2 == 0 ? 0x1234 : 4000));
    done = true;
    reader.join();
}

/* ---- Clear ---- */

TEST_F(ThreadedSearch, ClearWaitsForARunningSearch)
{
    setPsiSchRPTLevel(0);
    Gate reading;
    neverReady(reading);
    host->play({answer::section(PatBuilder().number(0, 1).program(5, 0x100).build())});
    auto search = std::async(std::launch::async, [this] { return schTable(host->id(), PSI_PAT); });
    ASSERT_TRUE(reading.wait()); // for section 1
    auto clearer = std::async(std::launch::async, [this] { return clearTableInfo(host->id()); });
    EXPECT_EQ(std::future_status::timeout, clearer.wait_for(50ms));
    psiSchStop(host->id());
    ASSERT_TRUE(ended(search));
    ASSERT_TRUE(ended(clearer));
    EXPECT_EQ(1U, search.get());
    EXPECT_EQ(0, clearer.get());
    EXPECT_EQ(nullptr, model().progList);
    EXPECT_EQ(nullptr, model().sectionList);
    EXPECT_EQ(0U, model().tableMask);
}

TEST_F(ThreadedSearch, ClearBetweenTheTablesOfASetDoesNoHarm)
{
    setPsiSchRPTLevel(0);
    Carousel carousel(500);
    fillDvb(carousel);
    carousel.drive(*host);
    std::atomic<bool> done{false};
    std::atomic<unsigned> clears{0};
    std::thread clearer([&] {
        while (!done) {
            EXPECT_EQ(0, clearTableInfo(host->id()));
            ++clears;
            std::this_thread::sleep_for(200us);
        }
    });
    for (int i = 0; i < 50 || clears < 5; ++i) { // on a busy machine the clearer's turn comes late
        autoSchTable(host->id(), 0);
        re_SchTable(host->id(), i % 2 == 0 ? PSI_NIT_ACTUAL : PSI_PAT, 0);
    }
    done = true;
    clearer.join();
    EXPECT_GE(clears, 5U);
}

/* ---- One object, many searchers ---- */

TEST_F(ThreadedSearch, SearchesOfOneObjectComeOneAfterTheOther)
{
    setPsiSchRPTLevel(0);
    Carousel carousel(500);
    fillDvb(carousel);
    std::atomic<int> inside{0};
    std::atomic<int> most{0};
    host->setFallback([&](const psiSchInfo &filter) {
        most = std::max<int>(most, ++inside);
        const Answer next = carousel.next(filter);
        --inside;
        return next;
    });
    std::vector<std::future<u32>> searches;
    for (const u32 type : {PSI_BAT, PSI_CAT, PSI_NIT_ACTUAL, PSI_SDT_OTHER})
        searches.push_back(std::async(std::launch::async, [this, type] { return schTable(host->id(), type); }));
    const u32 counts[] = {4, 1, 1, 1};
    for (std::size_t i = 0; i < searches.size(); ++i) {
        ASSERT_TRUE(ended(searches[i]));
        EXPECT_EQ(counts[i], searches[i].get());
    }
    EXPECT_EQ(1, most);
    EXPECT_EQ(7U, storedSections(model()).size());
}

/* ---- Report level ---- */

TEST_F(ThreadedSearch, TheReportLevelMayChangeDuringASearch)
{
    Carousel carousel(500);
    fillDvb(carousel);
    carousel.drive(*host);
    std::atomic<bool> done{false};
    std::thread changer([&] {
        for (u32 level = 0; !done; level = (level + 1) % 5) {
            setPsiSchRPTLevel(level);
            std::this_thread::yield();
        }
    });
    for (int i = 0; i < 20; ++i) {
        EXPECT_EQ(0, autoSchTable(host->id(), 0));
        EXPECT_EQ(0, clearTableInfo(host->id()));
        log.clear();
    }
    done = true;
    changer.join();
}

TEST_F(ThreadedSearch, TakesEffectAtOnce)
{
    setPsiSchRPTLevel(0);
    host->play({answer::dataError(), answer::dataError().doing([](const psiSchInfo &) { setPsiSchRPTLevel(2); }),
                answer::dataError().doing([](const psiSchInfo &) { setPsiSchRPTLevel(1); }), answer::noTable()});
    EXPECT_EQ(0U, schTable(host->id(), PSI_BAT));
    EXPECT_LOG(log, warning("psiSch", "schOtherPsi: readPsi get data error"));
}

/* ---- Many objects ---- */

TEST_F(ThreadedSearch, ManyObjectsAreSearchedAtOnce)
{
    setPsiSchRPTLevel(0);
    std::vector<std::unique_ptr<TimelessStream>> streams;
    for (u32 i = 0; i < 8; ++i)
        streams.push_back(std::make_unique<TimelessStream>(i % 2));
    std::vector<std::future<bool>> searches;
    for (const auto &stream : streams) {
        searches.push_back(std::async(std::launch::async, [&stream] {
            bool complete = true;
            for (int round = 0; round < 3; ++round)
                complete = stream->searchAll() && complete;
            return complete;
        }));
    }
    for (std::future<bool> &search : searches) {
        ASSERT_EQ(std::future_status::ready, search.wait_for(2 * patience));
        EXPECT_TRUE(search.get());
    }
}

} // namespace
} // namespace psitest
