#include "platform.h"

#include <gtest/gtest.h>

#include <chrono>
#include <cstring>
#include <pthread.h>
#include <thread>

/** Not exported by this program; weak, for it may have one already. */
extern "C" __attribute__((weak)) int module_info_register(void * /*record*/)
{
    return 0;
}

namespace {

constexpr int priorityInheritance = SEM_Q_PRIORITY | SEM_INVERSION_SAFE;

template <typename Function> auto inOtherThread(Function function)
{
    decltype(function()) result{};
    std::thread([&] { result = function(); }).join();
    return result;
}

char *unconst(const char *text)
{
    return const_cast<char *>(text);
}

class Mutex : public testing::Test {
protected:
    ~Mutex() override { EXPECT_EQ(semDelete(sem), OK); }

    SEM_ID sem = semMCreate(priorityInheritance);
};

TEST(MutexCreate, OptionsThatMakeNoMutexAreRefused)
{
    EXPECT_EQ(semMCreate(SEM_INVERSION_SAFE), nullptr) << "inversion safe needs a queue by priority";
    EXPECT_EQ(semMCreate(0x100), nullptr);
}

TEST(MutexCreate, EveryKindOfMutexIsMade)
{
    for (const int options : {SEM_Q_FIFO, SEM_Q_PRIORITY, priorityInheritance}) {
        const SEM_ID sem = semMCreate(options);
        ASSERT_NE(sem, nullptr);
        EXPECT_EQ(semTake(sem, WAIT_FOREVER), OK);
        EXPECT_EQ(semGive(sem), OK);
        EXPECT_EQ(semDelete(sem), OK);
    }
}

TEST(MutexNull, IsRefused)
{
    EXPECT_EQ(semTake(nullptr, WAIT_FOREVER), ERROR);
    EXPECT_EQ(semGive(nullptr), ERROR);
    EXPECT_EQ(semDelete(nullptr), ERROR);
}

#ifdef __GLIBC__
TEST(MutexCreate, InversionSafeMutexInheritsPriority)
{
    constexpr int inheritsFlag = 0x20; // of the kind in glibc's mutex
    const auto inherits = [](int options) {
        const SEM_ID sem = semMCreate(options);
        const int kind = reinterpret_cast<const pthread_mutex_t *>(sem)->__data.__kind;
        EXPECT_EQ(semDelete(sem), OK);
        return (kind & inheritsFlag) != 0;
    };
    EXPECT_TRUE(inherits(priorityInheritance));
    EXPECT_FALSE(inherits(SEM_Q_PRIORITY));
}
#endif

TEST_F(Mutex, OwnerMayTakeItAgain)
{
    ASSERT_EQ(semTake(sem, WAIT_FOREVER), OK);
    ASSERT_EQ(semTake(sem, NO_WAIT), OK);
    EXPECT_EQ(semGive(sem), OK);
    EXPECT_EQ(inOtherThread([this] { return semTake(sem, NO_WAIT); }), ERROR) << "still taken once";
    EXPECT_EQ(semGive(sem), OK);
}

TEST_F(Mutex, OtherThreadGetsItAfterTheLastGive)
{
    ASSERT_EQ(semTake(sem, WAIT_FOREVER), OK);
    ASSERT_EQ(semGive(sem), OK);
    EXPECT_EQ(inOtherThread([this] { return semTake(sem, NO_WAIT) == OK ? semGive(sem) : ERROR; }), OK);
}

TEST_F(Mutex, TakeWithATimeoutGivesUpAfterIt)
{
    using clock = std::chrono::steady_clock;
    ASSERT_EQ(semTake(sem, WAIT_FOREVER), OK);
    const auto start = clock::now();
    EXPECT_EQ(inOtherThread([this] { return semTake(sem, 30); }), ERROR);
    EXPECT_GE(clock::now() - start, std::chrono::milliseconds(25));
    EXPECT_EQ(semGive(sem), OK);
}

TEST_F(Mutex, TakeWithATimeoutGivesUpAfterItInTheNextSecond)
{
    using clock = std::chrono::steady_clock;
    using ms = std::chrono::milliseconds;
    ASSERT_EQ(semTake(sem, WAIT_FOREVER), OK);
    const auto now = std::chrono::system_clock::now().time_since_epoch();
    const ms intoSecond = std::chrono::duration_cast<ms>(now) % 1000;
    std::this_thread::sleep_for(ms(900) > intoSecond ? ms(900) - intoSecond : ms(0));
    const auto start = clock::now();
    EXPECT_EQ(inOtherThread([this] { return semTake(sem, 120); }), ERROR);
    EXPECT_GE(clock::now() - start, ms(115));
    EXPECT_EQ(semGive(sem), OK);
}

TEST_F(Mutex, TakeWithATimeoutSucceedsWithinIt)
{
    ASSERT_EQ(semTake(sem, WAIT_FOREVER), OK);
    STATUS taken = ERROR;
    std::thread waiter([&] {
        taken = semTake(sem, 60000);
        semGive(sem);
    });
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
    EXPECT_EQ(semGive(sem), OK);
    waiter.join();
    EXPECT_EQ(taken, OK);
}

TEST_F(Mutex, NegativeTimeoutIsRefused)
{
    EXPECT_EQ(semTake(sem, -2), ERROR);
}

TEST_F(Mutex, TakenOneIsNotDeleted)
{
    ASSERT_EQ(semTake(sem, WAIT_FOREVER), OK);
    EXPECT_EQ(inOtherThread([this] { return semDelete(sem); }), ERROR);
    EXPECT_EQ(semGive(sem), OK);
}

#ifndef __SANITIZE_THREAD__ // which stops the program for it
TEST_F(Mutex, GiveByANonOwnerIsRefused)
{
    EXPECT_EQ(semGive(sem), ERROR) << "nobody's";
    ASSERT_EQ(semTake(sem, WAIT_FOREVER), OK);
    EXPECT_EQ(inOtherThread([this] { return semGive(sem); }), ERROR) << "another's";
    EXPECT_EQ(semGive(sem), OK);
}
#endif

TEST_F(Mutex, KeepsThreadsApart)
{
    int counter = 0;
    const auto count = [&] {
        for (int i = 0; i < 10000; i++) {
            semTake(sem, WAIT_FOREVER);
            counter++;
            semGive(sem);
        }
    };
    std::thread first(count);
    std::thread second(count);
    first.join();
    second.join();
    EXPECT_EQ(counter, 20000);
}

/* ---------------------------------------------------------------------------------------------------------------- */

int answer = 42;

TEST(Symbols, UnknownNameIsNotFound)
{
    char *value = nullptr;
    EXPECT_EQ(symFindByName(sysSymTbl, unconst("no such symbol"), &value, nullptr), ERROR);
    EXPECT_EQ(value, nullptr);
}

TEST(Symbols, NullArgumentsAreRefused)
{
    char *value = nullptr;
    char *address = reinterpret_cast<char *>(&answer);
    EXPECT_EQ(symFindByName(nullptr, unconst("printf"), &value, nullptr), ERROR);
    EXPECT_EQ(symFindByName(sysSymTbl, nullptr, &value, nullptr), ERROR);
    EXPECT_EQ(symFindByName(sysSymTbl, unconst("printf"), nullptr, nullptr), ERROR);
    EXPECT_EQ(symAdd(nullptr, unconst("answer"), address, SYM_DATA, 0), ERROR);
    EXPECT_EQ(symAdd(sysSymTbl, nullptr, address, SYM_DATA, 0), ERROR);
    EXPECT_EQ(symAdd(sysSymTbl, unconst("answer"), nullptr, SYM_DATA, 0), ERROR);
    EXPECT_EQ(symRemove(nullptr, unconst("answer"), SYM_DATA), ERROR);
    EXPECT_EQ(symRemove(sysSymTbl, nullptr, SYM_DATA), ERROR);
}

TEST(Symbols, AddedOneIsFoundUntilItIsRemoved)
{
    char name[] = "answer";
    char *value = nullptr;
    SYM_TYPE type = SYM_UNDF;
    ASSERT_EQ(symAdd(sysSymTbl, name, reinterpret_cast<char *>(&answer), SYM_DATA, 0), OK);
    std::memset(name, 'x', 6); // the table has its own copy
    EXPECT_EQ(symFindByName(sysSymTbl, unconst("answer"), &value, &type), OK);
    EXPECT_EQ(value, reinterpret_cast<char *>(&answer));
    EXPECT_EQ(type, SYM_DATA);
    EXPECT_EQ(symFindByName(sysSymTbl, unconst("answer"), &value, nullptr), OK);
    EXPECT_EQ(symRemove(sysSymTbl, unconst("answer"), SYM_TEXT), ERROR) << "another type";
    EXPECT_EQ(symRemove(sysSymTbl, unconst("answer"), SYM_DATA), OK);
    EXPECT_EQ(symRemove(sysSymTbl, unconst("answer"), SYM_DATA), ERROR);
    EXPECT_EQ(symFindByName(sysSymTbl, unconst("answer"), &value, nullptr), ERROR);
}

TEST(Symbols, OneBehindOthersIsFound)
{
    char one = 0;
    char two = 0;
    char *value = nullptr;
    ASSERT_EQ(symAdd(sysSymTbl, unconst("one"), &one, SYM_DATA, 0), OK);
    ASSERT_EQ(symAdd(sysSymTbl, unconst("two"), &two, SYM_DATA, 0), OK);
    EXPECT_EQ(symFindByName(sysSymTbl, unconst("one"), &value, nullptr), OK);
    EXPECT_EQ(value, &one);
    EXPECT_EQ(symRemove(sysSymTbl, unconst("one"), SYM_DATA), OK);
    EXPECT_EQ(symFindByName(sysSymTbl, unconst("two"), &value, nullptr), OK);
    EXPECT_EQ(value, &two);
    EXPECT_EQ(symRemove(sysSymTbl, unconst("two"), SYM_DATA), OK);
}

TEST(Symbols, LatestOfOneNameIsFoundFirst)
{
    char one = 0;
    char two = 0;
    char *value = nullptr;
    ASSERT_EQ(symAdd(sysSymTbl, unconst("twice"), &one, SYM_DATA, 0), OK);
    ASSERT_EQ(symAdd(sysSymTbl, unconst("twice"), &two, SYM_DATA, 0), OK);
    EXPECT_EQ(symFindByName(sysSymTbl, unconst("twice"), &value, nullptr), OK);
    EXPECT_EQ(value, &two);
    EXPECT_EQ(symRemove(sysSymTbl, unconst("twice"), SYM_DATA), OK);
    EXPECT_EQ(symFindByName(sysSymTbl, unconst("twice"), &value, nullptr), OK);
    EXPECT_EQ(value, &one);
    EXPECT_EQ(symRemove(sysSymTbl, unconst("twice"), SYM_DATA), OK);
}

TEST(Symbols, ExportedOneIsFound)
{
    char *value = nullptr;
    SYM_TYPE type = SYM_DATA;
    EXPECT_EQ(symFindByName(sysSymTbl, unconst("strlen"), &value, &type), OK);
    EXPECT_NE(value, nullptr);
    EXPECT_EQ(type, SYM_UNDF);
}

TEST(Symbols, ModuleRegistryOfTheProgramIsFoundWithoutBeingExported)
{
    char *value = nullptr;
    EXPECT_EQ(symFindByName(sysSymTbl, unconst("module_info_register"), &value, nullptr), OK);
    EXPECT_EQ(value, reinterpret_cast<char *>(module_info_register));
}

/* ---------------------------------------------------------------------------------------------------------------- */

TEST(Arena, IsZeroedPageAlignedAndBelow4GiB)
{
    constexpr u32 size = 3 * 1024 * 1024 + 5;
    u8 *arena = static_cast<u8 *>(psiOsArenaMap(size));
    ASSERT_NE(arena, nullptr);
    const auto address = reinterpret_cast<uintptr_t>(arena);
    EXPECT_EQ(address % 4096, 0U);
    EXPECT_LE(address, UINT32_MAX - size);
    EXPECT_EQ(arena[0], 0);
    arena[size - 1] = 1;
    psiOsArenaUnmap(arena, size);
}

TEST(Arena, OfNoBytesIsNone)
{
    EXPECT_EQ(psiOsArenaMap(0), nullptr);
}

} // namespace
