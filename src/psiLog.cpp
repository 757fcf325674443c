#include "psiLog.h"

#include <stdarg.h>

using namespace psi::core;

#if PSI_LOG_LEVEL > 0

namespace {

psiLogHook hook = nullptr;
void *hookUser = nullptr;

/** @brief The paths that are printed, in the order of LogTag. */
constexpr const char *paths[] = {
    "../../psiInit.cpp", "../../psiMem.cpp",  "../../psiData.cpp",     "../../psiSch.cpp",     "../../psiAnalyse.cpp",
    "../../psiFun.cpp",  "../../psiMake.cpp", "../../psiMakeData.cpp", "../../psiMakeMem.cpp",
};
static_assert(sizeof(paths) / sizeof(paths[0]) == static_cast<u32>(LogTag::psiMakeMem) + 1);

constexpr const char *words[] = {"error", "warning", "info", "debug"};

const char *pathOf(LogPlace place)
{
    return paths[static_cast<u32>(logTagOf(place))];
}

} // namespace

bool psi::core::logHasHook()
{
    return hook != nullptr;
}

// The hook takes a va_list. NOLINTNEXTLINE(cert-dcl50-cpp)
void psi::core::logToHook(LogPlace place, const char *format, ...)
{
    va_list args;
    va_start(args, format);
    hook(hookUser, static_cast<u32>(logKindOf(place)), pathOf(place), logLineOf(place), format, args);
    va_end(args);
}

void psi::core::logPrefix(LogPlace place)
{
    printf("[%s]line%u %s: ", pathOf(place), static_cast<unsigned>(logLineOf(place)),
           words[static_cast<u32>(logKindOf(place))]);
}

void psiLogHookSet(psiLogHook newHook, void *user)
{
    hook = newHook;
    hookUser = user;
}

#else

// There are no messages.
void psiLogHookSet(psiLogHook /*hook*/, void * /*user*/) {}

#endif
