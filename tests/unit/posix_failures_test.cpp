// The POSIX side when the operating system refuses: no memory, no mutex, no room below 4 GiB.
#include "platform.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <cstring>
#include <pthread.h>
#include <string>
#include <sys/mman.h>

using namespace psi::core;

// The linker sends the library's calls of these functions here; the one that is named fails.
namespace {

const char *failing = "";

bool fails(const char *name)
{
    return std::strcmp(failing, name) == 0;
}

/** @brief How the next mappings go. */
enum class Mapping { normal, none, noFlag, elsewhere };
Mapping mapping = Mapping::normal;
int unmapped = 0;

} // namespace

extern "C" {
void *__real_malloc(size_t size);
int __real_pthread_mutexattr_init(pthread_mutexattr_t *attr);
int __real_pthread_mutexattr_settype(pthread_mutexattr_t *attr, int type);
int __real_pthread_mutexattr_setprotocol(pthread_mutexattr_t *attr, int protocol);
int __real_pthread_mutex_init(pthread_mutex_t *mutex, const pthread_mutexattr_t *attr);
int __real_pthread_mutex_lock(pthread_mutex_t *mutex);
int __real_pthread_mutex_unlock(pthread_mutex_t *mutex);
int __real_pthread_mutex_destroy(pthread_mutex_t *mutex);
void *__real_mmap(void *at, size_t size, int protection, int flags, int file, off_t offset);
int __real_munmap(void *at, size_t size);

void *__wrap_malloc(size_t size);
int __wrap_pthread_mutexattr_init(pthread_mutexattr_t *attr);
int __wrap_pthread_mutexattr_settype(pthread_mutexattr_t *attr, int type);
int __wrap_pthread_mutexattr_setprotocol(pthread_mutexattr_t *attr, int protocol);
int __wrap_pthread_mutex_init(pthread_mutex_t *mutex, const pthread_mutexattr_t *attr);
int __wrap_pthread_mutex_lock(pthread_mutex_t *mutex);
int __wrap_pthread_mutex_unlock(pthread_mutex_t *mutex);
int __wrap_pthread_mutex_destroy(pthread_mutex_t *mutex);
void *__wrap_mmap(void *at, size_t size, int protection, int flags, int file, off_t offset);
int __wrap_munmap(void *at, size_t size);

void *__wrap_malloc(size_t size)
{
    return fails("malloc") ? nullptr : __real_malloc(size);
}

int __wrap_pthread_mutexattr_init(pthread_mutexattr_t *attr)
{
    return fails("pthread_mutexattr_init") ? ENOMEM : __real_pthread_mutexattr_init(attr);
}

int __wrap_pthread_mutexattr_settype(pthread_mutexattr_t *attr, int type)
{
    return fails("pthread_mutexattr_settype") ? EINVAL : __real_pthread_mutexattr_settype(attr, type);
}

int __wrap_pthread_mutexattr_setprotocol(pthread_mutexattr_t *attr, int protocol)
{
    return fails("pthread_mutexattr_setprotocol") ? ENOTSUP : __real_pthread_mutexattr_setprotocol(attr, protocol);
}

int __wrap_pthread_mutex_init(pthread_mutex_t *mutex, const pthread_mutexattr_t *attr)
{
    return fails("pthread_mutex_init") ? EAGAIN : __real_pthread_mutex_init(mutex, attr);
}

int __wrap_pthread_mutex_lock(pthread_mutex_t *mutex)
{
    return fails("pthread_mutex_lock") ? EAGAIN : __real_pthread_mutex_lock(mutex);
}

int __wrap_pthread_mutex_unlock(pthread_mutex_t *mutex)
{
    const int error = __real_pthread_mutex_unlock(mutex);
    return fails("pthread_mutex_unlock") ? EPERM : error;
}

int __wrap_pthread_mutex_destroy(pthread_mutex_t *mutex)
{
    return fails("pthread_mutex_destroy") ? EBUSY : __real_pthread_mutex_destroy(mutex);
}

void *__wrap_mmap(void *at, size_t size, int protection, int flags, int file, off_t offset)
{
    if (mapping == Mapping::none)
        return MAP_FAILED;
    if (mapping == Mapping::normal)
        return __real_mmap(at, size, protection, flags, file, offset);
#ifdef MAP_32BIT
    if ((flags & MAP_32BIT) != 0)
        return MAP_FAILED;
#endif
    return __real_mmap(mapping == Mapping::noFlag ? at : nullptr, size, protection, flags, file, offset);
}

int __wrap_munmap(void *at, size_t size)
{
    ++unmapped;
    return __real_munmap(at, size);
}
} // extern "C"

namespace {

/** @brief Lets one function fail for the length of a scope. */
class Failing {
public:
    explicit Failing(const char *name) { failing = name; }
    ~Failing() { failing = ""; }
    Failing(const Failing &) = delete;
    Failing &operator=(const Failing &) = delete;
};

class FailingMutex : public testing::TestWithParam<const char *> {};

TEST_P(FailingMutex, IsNotMade)
{
    const Failing now(GetParam());
    EXPECT_EQ(psiSemId{0}, osMutexCreate(MutexUse::object));
}

TEST_P(FailingMutex, MeansNoPool)
{
    unmapped = 0;
    {
        const Failing now(GetParam());
        EXPECT_EQ(psiPoolId{0}, buddy_create(1U << 16, 0));
    }
    EXPECT_EQ(1, unmapped) << "the arena goes back";
}

INSTANTIATE_TEST_SUITE_P(EveryStep, FailingMutex,
                         testing::Values("malloc", "pthread_mutexattr_init", "pthread_mutexattr_settype",
                                         "pthread_mutexattr_setprotocol", "pthread_mutex_init"),
                         [](const auto &param) { return std::string(param.param); });

TEST(FailingDelete, KeepsTheMutex)
{
    const psiSemId mutex = osMutexCreate(MutexUse::object);
    ASSERT_NE(psiSemId{0}, mutex);
    for (const char *step : {"pthread_mutex_unlock", "pthread_mutex_destroy"}) {
        const Failing now(step);
        EXPECT_FALSE(osMutexDelete(mutex)) << step;
    }
    EXPECT_TRUE(osMutexTake(mutex));
    EXPECT_TRUE(osMutexGive(mutex));
    EXPECT_TRUE(osMutexDelete(mutex));
}

TEST(FailingTake, FailsEveryCallOfThePool)
{
    const psiPoolId pool = buddy_create(1U << 16, 0);
    ASSERT_NE(psiPoolId{0}, pool);
    void *block = buddy_malloc(pool, 100);
    BuddyStat stat;
    void *allocated = block;
    void *resized = block;
    i32 freed = 0;
    i32 looked = 0;
    {
        const Failing now("pthread_mutex_lock");
        allocated = buddy_malloc(pool, 100);
        resized = buddy_realloc(pool, block, 200);
        freed = buddy_free(pool, block);
        looked = buddy_stat(pool, &stat);
    }
    EXPECT_EQ(nullptr, allocated);
    EXPECT_EQ(nullptr, resized);
    EXPECT_EQ(-1, freed);
    EXPECT_EQ(-1, looked);
    EXPECT_EQ(100U, buddy_size(pool, block)) << "and changes nothing";
    EXPECT_EQ(0, buddy_free(pool, block));
    EXPECT_EQ(0, buddy_destroy(pool));
}

class FailingArena : public testing::Test {
protected:
    ~FailingArena() override { mapping = Mapping::normal; }
    static constexpr u32 size = 1U << 16;
};

TEST_F(FailingArena, MeansNoPool)
{
    mapping = Mapping::none;
    EXPECT_EQ(nullptr, osArenaMap(size, 0));
    EXPECT_EQ(psiPoolId{0}, buddy_create(size, 0));
}

TEST_F(FailingArena, IsAskedForByAddressWhereTheFlagForLowAddressesFails)
{
    mapping = Mapping::noFlag;
    void *arena = osArenaMap(size, 0);
    mapping = Mapping::normal;
    ASSERT_NE(nullptr, arena);
    EXPECT_GE(UINT32_MAX - size, reinterpret_cast<uintptr_t>(arena));
    osArenaUnmap(arena, size);
}

TEST_F(FailingArena, IsTakenAnywhereWhenThereIsNoRoomBelow4GiB)
{
    if (sizeof(void *) == 4)
        GTEST_SKIP() << "all memory is below 4 GiB";
    unmapped = 0;
    mapping = Mapping::elsewhere;
    void *arena = osArenaMap(size, 0);
    mapping = Mapping::normal;
    ASSERT_NE(nullptr, arena);
    EXPECT_EQ(15, unmapped) << "each try that missed goes back";
    static_cast<u8 *>(arena)[size - 1] = 1;
    osArenaUnmap(arena, size);
}

} // namespace
