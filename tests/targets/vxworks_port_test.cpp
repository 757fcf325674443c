#include "kernel.h"
#include "os.h"

#include <gtest/gtest.h>

using namespace psi::core;

namespace {

constexpr u32 arenaSize = 10000;
constexpr int priorityInheritance = 9;
constexpr int noDeletion = 4;

class VxWorksPort : public testing::Test {
protected:
    VxWorksPort() { kernel = Kernel(); }
};

TEST_F(VxWorksPort, MutexOfAnObjectInheritsPrioritiesByPriority)
{
    EXPECT_EQ(osMutexCreate(MutexUse::object), reinterpret_cast<psiSemId>(&kernel.sem));
    EXPECT_EQ(kernel.sem.options, priorityInheritance);
}

TEST_F(VxWorksPort, MutexOfThePoolAlsoProtectsItsOwnerFromDeletion)
{
    EXPECT_NE(osMutexCreate(MutexUse::pool), 0U);
    EXPECT_EQ(kernel.sem.options, priorityInheritance | noDeletion);
}

TEST_F(VxWorksPort, MutexIsTakenForeverGivenAndDeleted)
{
    const psiSemId mutex = osMutexCreate(MutexUse::object);
    EXPECT_TRUE(osMutexTake(mutex));
    EXPECT_EQ(kernel.timeouts, std::vector<int>{WAIT_FOREVER});
    EXPECT_EQ(kernel.sem.taken, 1);
    EXPECT_TRUE(osMutexGive(mutex));
    EXPECT_EQ(kernel.sem.taken, 0);
    EXPECT_TRUE(osMutexDelete(mutex));
    EXPECT_TRUE(kernel.sem.deleted);
}

TEST_F(VxWorksPort, RefusalsOfTheKernelAreToldOn)
{
    kernel.outOfMutexes = true;
    EXPECT_EQ(osMutexCreate(MutexUse::object), 0U);
    kernel.semCallsFail = true;
    const auto mutex = reinterpret_cast<psiSemId>(&kernel.sem);
    EXPECT_FALSE(osMutexTake(mutex));
    EXPECT_FALSE(osMutexGive(mutex));
    EXPECT_FALSE(osMutexDelete(mutex));
}

TEST_F(VxWorksPort, NoMutexNeverReachesTheKernel)
{
    EXPECT_FALSE(osMutexTake(0));
    EXPECT_FALSE(osMutexGive(0));
    EXPECT_FALSE(osMutexDelete(0));
    EXPECT_TRUE(kernel.timeouts.empty());
}

TEST_F(VxWorksPort, SymbolIsFoundByItsName)
{
    char function = 0;
    kernel.symbols.symbols["module_info_register"] = &function;
    EXPECT_EQ(osSymbol("module_info_register"), &function);
    EXPECT_EQ(osSymbol("module_info"), nullptr);
}

TEST_F(VxWorksPort, NoSymbolIsFoundBeforeTheTableIsMade)
{
    char function = 0;
    kernel.symbols.symbols["module_info_register"] = &function;
    const SYMTAB_ID table = sysSymTbl;
    sysSymTbl = nullptr;
    EXPECT_EQ(osSymbol("module_info_register"), nullptr);
    sysSymTbl = table;
}

TEST_F(VxWorksPort, ArenaIsAlignedZeroedAsFarAsAskedAndGivenBackWhole)
{
#ifdef PSI_VXWORKS_MALLOC
    constexpr uintptr_t alignment = 64;
#else
    constexpr uintptr_t alignment = 4096;
#endif
    auto *arena = static_cast<u8 *>(osArenaMap(arenaSize, arenaSize));
    ASSERT_NE(arena, nullptr);
    EXPECT_EQ(reinterpret_cast<uintptr_t>(arena) % alignment, 0U);
    for (u32 i = 0; i < arenaSize; i++) {
        ASSERT_EQ(arena[i], 0) << i;
        arena[i] = 0xA5;
    }
    EXPECT_EQ(kernel.blocks.size(), 1U);
    osArenaUnmap(arena, arenaSize);
    EXPECT_TRUE(kernel.blocks.empty());
}

TEST_F(VxWorksPort, NoArenaWhenMemoryIsShort)
{
    kernel.outOfMemory = true;
    EXPECT_EQ(osArenaMap(arenaSize, 0), nullptr);
}

#ifdef PSI_VXWORKS_MALLOC
TEST_F(VxWorksPort, NoArenaOfAlmostTheWholeAddressSpace)
{
    EXPECT_EQ(osArenaMap(UINT32_MAX - 64, 0), nullptr);
    EXPECT_TRUE(kernel.blocks.empty());
}
#endif

} // namespace
