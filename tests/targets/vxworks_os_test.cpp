#include "platform.h"

#include "kernel.h"

#include <gtest/gtest.h>

#include <cstring>
#include <vector>

using namespace psi::core;

namespace {

class VxWorks : public testing::Test {
protected:
    VxWorks() { kernel = Kernel(); }
};

TEST_F(VxWorks, PoolLivesOnTheKernelsMutexAndHeap)
{
    constexpr int inheritanceAndNoDeletion = 13;
    const psiPoolId pool = buddy_create(10000, 0);
    ASSERT_NE(pool, 0U);
    EXPECT_EQ(kernel.sem.options, inheritanceAndNoDeletion);
    void *block = buddy_malloc(pool, 100);
    ASSERT_NE(block, nullptr);
    std::memset(block, 0x5A, 100);
    EXPECT_EQ(buddy_realloc(pool, block, 120), block);
    EXPECT_EQ(buddy_free(pool, block), 0);
    EXPECT_EQ(buddy_free(pool, block), -1);
    EXPECT_EQ(buddy_destroy(pool), 0);
    EXPECT_TRUE(kernel.sem.deleted);
}

int takenDuringARead = 0;

i32 readNothing(psiSchInfo *, u8 *, u8 *)
{
    takenDuringARead = kernel.second.taken;
    return PSI_NO_TABLE;
}

TEST_F(VxWorks, SearchObjectHasAMutexThatInheritsPrioritiesAndGoesWithIt)
{
    constexpr int priorityInheritance = 9;
    const psiInitRegisterInfo init = {0, 1 << 20, 0, [](u32) {}, []() -> u32 { return 0; }};
    ASSERT_EQ(psiSch_Init(&init), 0);
    const psiSchRegisterInfo callbacks = {0, 0, [](psiSchInfo *) -> i32 { return 0; }, readNothing};
    const psiObjId object = psiSchCreate(&callbacks);
    ASSERT_NE(object, 0U);
    EXPECT_EQ(kernel.second.options, priorityInheritance);
    EXPECT_EQ(schTable(object, PSI_PAT), 0U);
    EXPECT_EQ(takenDuringARead, 1);
    EXPECT_EQ(kernel.second.taken, 0);
    EXPECT_EQ(kernel.sem.taken, 0) << "the pool's";
    EXPECT_EQ(kernel.timeouts, std::vector<int>(kernel.timeouts.size(), WAIT_FOREVER));
    EXPECT_FALSE(kernel.second.deleted);
    EXPECT_EQ(psiSchDestroy(object), 0);
    EXPECT_TRUE(kernel.second.deleted);
}

TEST_F(VxWorks, EveryCallOfThePoolTakesTheMutexOnceAndGivesItBack)
{
    const psiPoolId pool = buddy_create(10000, 0);
    ASSERT_NE(pool, 0U);
    BuddyStat stat;
    void *block = buddy_malloc(pool, 100);
    block = buddy_realloc(pool, block, 120);
    EXPECT_EQ(buddy_stat(pool, &stat), 0);
    EXPECT_EQ(buddy_free(pool, block), 0);
    EXPECT_EQ(kernel.timeouts, std::vector<int>(4, WAIT_FOREVER));
    EXPECT_EQ(buddy_size(pool, block), 0U);
    EXPECT_EQ(kernel.timeouts.size(), 4U) << "a size is looked up without it";
    EXPECT_EQ(kernel.sem.taken, 0);
    EXPECT_EQ(buddy_destroy(pool), 0);
}

TEST_F(VxWorks, NoPoolWithoutAMutex)
{
    kernel.outOfMutexes = true;
    EXPECT_EQ(buddy_create(10000, 0), 0U);
}

} // namespace
