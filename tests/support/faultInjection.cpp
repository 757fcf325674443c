#include "support/faultInjection.h"

#include "platform.h"

#include <array>
#include <atomic>
#include <cstdlib>
#include <cstring>

namespace psi::core {

/** The library's blocks come and go by calls while such a guard is open, and so do the nodes of its lists. */
struct PoolGuardTest {
    static void goByCalls(PoolGuard &guard) { guard.inPlace_ = nullptr; }
};

} // namespace psi::core

namespace {

using psitest::Call;
using psitest::Fail;

struct Counter {
    std::atomic<bool> active{false};
    std::atomic<unsigned> calls{0};
    std::atomic<unsigned> injected{0};
    unsigned nth = 0;
    Fail mode = Fail::Once;
    Call call = Call::Malloc;

    bool hits(unsigned number) const
    {
        if (nth == 0)
            return false;
        if (mode == Fail::Every)
            return number % nth == 0;
        return number == nth || (mode == Fail::FromThenOn && number > nth);
    }
};

Counter counter;
void *treeNotDestroyed = nullptr;
std::vector<void *> *watched = nullptr;

bool fails(Call call)
{
    if (!counter.active || counter.call != call)
        return false;
    const bool hit = counter.hits(++counter.calls);
    if (hit)
        ++counter.injected;
    return hit;
}

} // namespace

// A member function is called like a function whose first argument is the object.
extern "C" {

void __real__ZN3psi4core9PoolGuard4openEPKv(psi::core::PoolGuard *guard, const void *pool);
void *__real__ZN3psi4core9PoolGuard8allocateEj(psi::core::PoolGuard *pool, u32 size);
bool __real__ZN3psi4core9poolCouldEj(u32 size);
i32 __real_zlst_push(void *head, void *node);
i32 __real_zlst_delete(void *head, void *node);
i32 __real_syntaxDestroyPsiSection(u32 type, void *tree);
void __wrap__ZN3psi4core9PoolGuard4openEPKv(psi::core::PoolGuard *guard, const void *pool);
void *__wrap__ZN3psi4core9PoolGuard8allocateEj(psi::core::PoolGuard *pool, u32 size);
bool __wrap__ZN3psi4core9poolCouldEj(u32 size);
i32 __wrap_zlst_push(void *head, void *node);
i32 __wrap_zlst_delete(void *head, void *node);
i32 __wrap_syntaxDestroyPsiSection(u32 type, void *tree);

void __wrap__ZN3psi4core9PoolGuard4openEPKv(psi::core::PoolGuard *guard, const void *pool)
{
    static std::atomic<unsigned> opened{0};
    __real__ZN3psi4core9PoolGuard4openEPKv(guard, pool);
    if (counter.active || watched != nullptr || ++opened % 2 == 0)
        psi::core::PoolGuardTest::goByCalls(*guard);
}

void *__wrap__ZN3psi4core9PoolGuard8allocateEj(psi::core::PoolGuard *pool, u32 size)
{
    // A size that no pool has: the failure counts among the pool's own.
    const u32 wanted = fails(Call::Malloc) ? 0x7FFFFFFF : size;
    void *const block = __real__ZN3psi4core9PoolGuard8allocateEj(pool, wanted);
    if (block == nullptr)
        return nullptr;
    std::memset(block, 0xA5, size);
    if (watched != nullptr)
        watched->push_back(block);
    return block;
}

bool __wrap__ZN3psi4core9poolCouldEj(u32 size)
{
    return !fails(Call::Malloc) && __real__ZN3psi4core9poolCouldEj(size);
}

i32 __wrap_zlst_push(void *head, void *node)
{
    return fails(Call::Push) ? -1 : __real_zlst_push(head, node);
}

i32 __wrap_zlst_delete(void *head, void *node)
{
    return fails(Call::Delete) ? 0 : __real_zlst_delete(head, node);
}

i32 __wrap_syntaxDestroyPsiSection(u32 type, void *tree)
{
    if (!fails(Call::DestroyTree))
        return __real_syntaxDestroyPsiSection(type, tree);
    treeNotDestroyed = tree;
    return -1;
}

} // extern "C"

namespace psitest {

FaultPlan::FaultPlan(Call call, unsigned nth, Fail mode)
{
    if (counter.active)
        std::abort();
    counter.calls = 0;
    counter.injected = 0;
    counter.nth = nth;
    counter.mode = mode;
    counter.call = call;
    counter.active = true;
}

FaultPlan::~FaultPlan()
{
    counter.active = false;
}

unsigned FaultPlan::calls() const
{
    return counter.calls;
}

unsigned FaultPlan::injected() const
{
    return counter.injected;
}

void *lastTreeNotDestroyed()
{
    return treeNotDestroyed;
}

AllocationWatch::AllocationWatch()
{
    if (watched != nullptr)
        std::abort();
    watched = &blocks_;
}

AllocationWatch::~AllocationWatch()
{
    watched = nullptr;
}

} // namespace psitest
