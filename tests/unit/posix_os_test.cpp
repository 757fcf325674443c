#include "os.h"

#include <gtest/gtest.h>

#include <pthread.h>
#include <thread>

using namespace psi::core;

/** Not exported by this program; weak, for it may have one already. */
extern "C" __attribute__((weak)) int module_info_register(void * /*record*/)
{
    return 0;
}

namespace {

template <typename Function> auto inOtherThread(Function function)
{
    decltype(function()) result{};
    std::thread([&] { result = function(); }).join();
    return result;
}

class Mutex : public testing::Test {
protected:
    ~Mutex() override { EXPECT_TRUE(osMutexDelete(mutex)); }

    /** Whether a thread that will not wait gets it. */
    bool isFree() const
    {
        return inOtherThread([this] {
            const bool taken = pthread_mutex_trylock(reinterpret_cast<pthread_mutex_t *>(mutex)) == 0;
            return taken && osMutexGive(mutex);
        });
    }

    const psiSemId mutex = osMutexCreate(MutexUse::object);
};

TEST(MutexNone, IsRefused)
{
    EXPECT_FALSE(osMutexTake(0));
    EXPECT_FALSE(osMutexGive(0));
    EXPECT_FALSE(osMutexDelete(0));
}

#ifdef __GLIBC__
TEST_F(Mutex, InheritsPriority)
{
    constexpr int inheritsFlag = 0x20; // of the kind in glibc's mutex
    EXPECT_NE(0, reinterpret_cast<const pthread_mutex_t *>(mutex)->__data.__kind & inheritsFlag);
}
#endif

TEST_F(Mutex, OwnerMayTakeItAgain)
{
    ASSERT_TRUE(osMutexTake(mutex));
    ASSERT_TRUE(osMutexTake(mutex));
    EXPECT_TRUE(osMutexGive(mutex));
    EXPECT_FALSE(isFree()) << "still taken once";
    EXPECT_TRUE(osMutexGive(mutex));
    EXPECT_TRUE(isFree());
}

TEST_F(Mutex, TakenOneIsNotDeleted)
{
    ASSERT_TRUE(osMutexTake(mutex));
    EXPECT_FALSE(inOtherThread([this] { return osMutexDelete(mutex); }));
    EXPECT_TRUE(osMutexGive(mutex));
}

#ifndef __SANITIZE_THREAD__ // which stops the program for it
TEST_F(Mutex, GiveByANonOwnerIsRefused)
{
    EXPECT_FALSE(osMutexGive(mutex)) << "nobody's";
    ASSERT_TRUE(osMutexTake(mutex));
    EXPECT_FALSE(inOtherThread([this] { return osMutexGive(mutex); })) << "another's";
    EXPECT_TRUE(osMutexGive(mutex));
}
#endif

TEST_F(Mutex, KeepsThreadsApart)
{
    int counter = 0;
    const auto count = [&] {
        for (int i = 0; i < 10000; i++) {
            osMutexTake(mutex);
            counter++;
            osMutexGive(mutex);
        }
    };
    std::thread first(count);
    std::thread second(count);
    first.join();
    second.join();
    EXPECT_EQ(counter, 20000);
}

/* ---------------------------------------------------------------------------------------------------------------- */

TEST(Symbols, UnknownNameIsNotFound)
{
    EXPECT_EQ(osSymbol("no such symbol"), nullptr);
}

TEST(Symbols, ExportedOneIsFound)
{
    EXPECT_NE(osSymbol("strlen"), nullptr);
}

TEST(Symbols, ModuleRegistryOfTheProgramIsFoundWithoutBeingExported)
{
    EXPECT_EQ(osSymbol("module_info_register"), reinterpret_cast<void *>(module_info_register));
}

/* ---------------------------------------------------------------------------------------------------------------- */

TEST(Arena, IsZeroedPageAlignedAndBelow4GiB)
{
    constexpr u32 size = 3 * 1024 * 1024 + 5;
    u8 *arena = static_cast<u8 *>(osArenaMap(size, size));
    ASSERT_NE(arena, nullptr);
    const auto address = reinterpret_cast<uintptr_t>(arena);
    EXPECT_EQ(address % 4096, 0U);
    EXPECT_LE(address, UINT32_MAX - size);
    EXPECT_EQ(arena[0], 0);
    EXPECT_EQ(arena[size - 1], 0);
    arena[size - 1] = 1;
    osArenaUnmap(arena, size);
}

TEST(Arena, OfNoBytesIsNone)
{
    EXPECT_EQ(osArenaMap(0, 0), nullptr);
}

} // namespace
