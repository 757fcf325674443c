#include "fuzzTarget.h"

#include "platform.h"
#include "psiInternal.h"
#include "psiTables.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>

using namespace psi::core;

namespace psifuzz {

// Not in the header: where gcc 12 sees a block made and freed in one place, it warns on some machines that it is none
// of the heap's.
Bytes Input::bytes(std::size_t count)
{
    const std::size_t n = std::min(count, left_);
    Bytes taken(at_, at_ + n);
    at_ += n;
    left_ -= n;
    return taken;
}

u32 clockTick = 1000;

namespace {

u32 tick()
{
    return clockTick;
}

void sleepFor(u32 ms)
{
    clockTick += ms;
}

/** @brief Nothing that a run allocates outlives it, and it frees nothing that is not its own. */
class PoolBalance {
public:
    PoolBalance() : before_(look()) {}
    ~PoolBalance()
    {
        const BuddyStat after = look();
        EXPECT_EQ(before_.liveBlocks, after.liveBlocks) << "blocks of the pool that nobody freed";
        EXPECT_EQ(before_.used, after.used);
        EXPECT_EQ(before_.largestFree, after.largestFree);
        EXPECT_EQ(before_.refusedFrees, after.refusedFrees) << "frees of what is no live block";
    }
    PoolBalance(const PoolBalance &) = delete;
    PoolBalance &operator=(const PoolBalance &) = delete;

private:
    static BuddyStat look()
    {
        BuddyStat stat = {};
        EXPECT_EQ(0, buddy_stat(psiMp, &stat));
        return stat;
    }

    BuddyStat before_;
};

/** @brief A failed check prints itself and aborts, which is what libFuzzer takes for a finding. */
struct AbortAtFailure : testing::EmptyTestEventListener {
    void OnTestPartResult(const testing::TestPartResult &result) override
    {
        std::fprintf(stderr, "%s:%d: %s\n", result.file_name(), result.line_number(), result.message());
        std::abort();
    }
};

bool start()
{
    auto &listeners = testing::UnitTest::GetInstance()->listeners();
    delete listeners.Release(listeners.default_result_printer());
    listeners.Append(new AbortAtFailure);
    if (!startLibrary()) {
        std::fputs("the library cannot be initialised\n", stderr);
        std::abort();
    }
    setPsiSchRPTLevel(0);
    setPsiMakeRPTLevel(0);
    return true;
}

} // namespace

bool initialisePsi()
{
    psiInitRegisterInfo record = {};
    record.memPoolParam0 = 4U << 20;
    record.psiMsSleep = sleepFor;
    record.getMsTimeCnt = tick;
    return psiSch_Init(&record) == 0;
}

void seal(Bytes &section)
{
    if (section.size() < 3)
        return;
    psitest::setSectionLength(section, static_cast<unsigned>(section.size() - 3));
    if (section.size() < 7)
        return;
    const std::size_t end = section.size() - 4;
    const u32 crc = psiCalculateCrc(section.data(), static_cast<u32>(end));
    for (unsigned i = 0; i < 4; ++i)
        section[end + i] = static_cast<u8>(crc >> (24 - 8 * i));
}

SectionRecord takeSection(Input &input)
{
    const u8 kind = input.byte();
    const u16 size = input.word();
    SectionRecord record = {static_cast<u8>(kind & 0x0F), input.bytes(std::min<std::size_t>(size, 4096))};
    if (!(kind & keepTableId) && !record.bytes.empty())
        record.bytes[0] = tableFacts(record.psiType).tableId;
    if (!(kind & keepSeal))
        seal(record.bytes);
    return record;
}

} // namespace psifuzz

extern "C" int LLVMFuzzerTestOneInput(const u8 *data, std::size_t size);

extern "C" int LLVMFuzzerTestOneInput(const u8 *data, std::size_t size)
{
    static const bool started = psifuzz::start();
    static_cast<void>(started);
    const psifuzz::PoolBalance balance;
    psifuzz::fuzzOne(psifuzz::Input(data, size));
    return 0;
}
