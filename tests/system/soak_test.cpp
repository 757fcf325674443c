// Eight objects searched in eight threads, for a while, as other threads stop them, change their time-outs, clear them
// and change the report level. PSI_SOAK_SECONDS says for how long; scripts/soak runs this under ThreadSanitizer and
// Helgrind.
#include "support/timelessStream.h"

#include "psiInternal.h"

#include <array>
#include <chrono>
#include <cstdlib>
#include <future>
#include <iostream>
#include <memory>
#include <random>
#include <thread>

using namespace psi::core;

namespace psitest {
namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

constexpr std::size_t objectCount = 8;
/** Longest that a search takes to end, under a checker that makes everything slow. */
constexpr auto patience = 60s;

std::chrono::seconds soakTime()
{
    const char *text = std::getenv("PSI_SOAK_SECONDS");
    return std::chrono::seconds(text != nullptr ? std::strtol(text, nullptr, 10) : 5);
}

/** @brief What a disturbing thread may do: a number from its own sequence, an object by it, a pause. */
class Disturber {
public:
    Disturber(unsigned seed, std::vector<std::unique_ptr<TimelessStream>> &streams) : random_(seed), streams_(streams)
    {
    }

    u32 below(u32 bound) { return static_cast<u32>(random_()) % bound; }
    TimelessStream &anyStream() { return *streams_[below(static_cast<u32>(streams_.size()))]; }
    void pause() { std::this_thread::sleep_for(std::chrono::microseconds(below(500))); }

private:
    std::minstd_rand random_;
    std::vector<std::unique_ptr<TimelessStream>> &streams_;
};

class Soak : public LibraryTest {
protected:
    void SetUp() override
    {
        LibraryTest::SetUp();
        setPsiSchRPTLevel(0);
        for (u32 i = 0; i < objectCount; ++i) {
            streams.push_back(std::make_unique<TimelessStream>(i % 2));
            streams.back()->stutter(4);
        }
    }
    void TearDown() override
    {
        streams.clear();
        LibraryTest::TearDown();
    }

    /** @brief Until the end, one kind of disturbance; counts them. */
    std::future<unsigned> disturb(void (*how)(Disturber &))
    {
        return std::async(std::launch::async, [this, how, seed = ++seeds] {
            Disturber disturber(seed, streams);
            unsigned count = 0;
            for (; Clock::now() < end; ++count) {
                how(disturber);
                disturber.pause();
            }
            return count;
        });
    }

    /** @brief Search an object until the end, in every way; counts the searches. */
    unsigned search(TimelessStream &stream)
    {
        std::minstd_rand random(++seeds);
        const std::vector<u32> &types = stream.types();
        unsigned count = 0;
        for (; Clock::now() < end; ++count) {
            const u32 type = types[static_cast<u32>(random()) % types.size()];
            switch (count % 4) {
            case 0:
                autoSchTable(stream.id(), stream.standard());
                break;
            case 1:
                schTable(stream.id(), PSI_PAT);
                break;
            case 2:
                re_SchTable(stream.id(), type, stream.standard());
                break;
            default:
                schTable(stream.id(), type);
                break;
            }
            check(stream);
            stream.host().takeCalls();
        }
        return count;
    }

    std::vector<std::unique_ptr<TimelessStream>> streams;
    std::atomic<unsigned> seeds{0};
    Clock::time_point end;

private:
    /** @brief Whatever was interrupted, the model is sound. Other threads may clear it, so its mutex is held. */
    static void check(TimelessStream &stream)
    {
        const psiSemId mutex = stream.host().object()->semId;
        ASSERT_TRUE(osMutexTake(mutex));
        expectNoDanglingBytes(*stream.host().model());
        EXPECT_TRUE(osMutexGive(mutex));
    }
};

void stop(Disturber &disturber)
{
    const psiObjId id = disturber.anyStream().id();
    psiSchStop(id);
    if (disturber.below(2) == 0)
        psiSchStopResume(id);
}

void setTimeOut(Disturber &disturber)
{
    TimelessStream &stream = disturber.anyStream();
    const u32 type = stream.types()[disturber.below(static_cast<u32>(stream.types().size()))];
    EXPECT_EQ(0, psiSchTimeOutSet(stream.id(), type, static_cast<u16>(20 + disturber.below(400))));
    EXPECT_LT(psiSchTimeOutGet(stream.id(), type), 6001U);
}

void clear(Disturber &disturber)
{
    EXPECT_EQ(0, clearTableInfo(disturber.anyStream().id()));
}

/** @brief Levels 0 and 1, at which such streams are silent; the clock's record is emptied on the way. */
void setLevel(Disturber &disturber)
{
    setPsiSchRPTLevel(disturber.below(2));
    fakeClock::takeSleeps();
}

TEST_F(Soak, ObjectsSearchedInThreadsStandStopsTimeOutsAndClears)
{
    end = Clock::now() + soakTime();
    std::array<std::future<unsigned>, 4> disturbances = {disturb(stop), disturb(setTimeOut), disturb(clear),
                                                         disturb(setLevel)};
    std::vector<std::future<unsigned>> searches;
    for (const auto &stream : streams)
        searches.push_back(std::async(std::launch::async, [this, &stream] { return search(*stream); }));

    unsigned searched = 0;
    for (std::future<unsigned> &each : searches) {
        // A search that hangs would hang the futures' destructors as well.
        if (each.wait_until(end + patience) != std::future_status::ready)
            std::abort();
        const unsigned count = each.get();
        EXPECT_GT(count, 0U);
        searched += count;
    }
    std::array<unsigned, 4> disturbed{};
    for (std::size_t i = 0; i < disturbed.size(); ++i) {
        disturbed[i] = disturbances[i].get();
        EXPECT_GT(disturbed[i], 0U);
    }

    // Afterwards every object finds everything again.
    for (const auto &stream : streams) {
        stream->stutter(0);
        for (const u32 type : stream->types())
            EXPECT_EQ(0, psiSchTimeOutSet(stream->id(), type, 6000));
        EXPECT_EQ(0, clearTableInfo(stream->id()));
        EXPECT_TRUE(stream->searchAll());
        EXPECT_TRUE(mutexIsFree(stream->host().object()->semId));
    }
    log.pause();
    std::cout << "soak: " << searched << " searches of " << streams.size() << " objects, " << disturbed[0] << " stops, "
              << disturbed[1] << " time-outs set, " << disturbed[2] << " clears, " << disturbed[3]
              << " changes of the level\n";
    log.resume();
}

} // namespace
} // namespace psitest
