/**
 * @file psiLog.h
 * @brief The log line: three printf() calls, for the prefix, the message and the line end.
 *
 * A message names the file and the line where its text stands. Texts that a shared piece of code prints for many
 * callers stand as LogText constants in the callers' tables.
 */
#ifndef PSI_LOG_H
#define PSI_LOG_H

#include "psi.h"

#include <stdio.h>

namespace psi::core {

/** @brief Report level of acquisition, analysis, parsing, model and framing. */
extern i32 psi_rpt_lvl;
/** @brief Report level of generation. */
extern i32 psimake_rpt_lvl;

/** @brief A single field that one task writes while others read it, without a lock. */
template <class T> inline T relaxedLoad(const T &field)
{
    return __atomic_load_n(&field, __ATOMIC_RELAXED);
}

template <class T> inline void relaxedStore(T &field, T value)
{
    __atomic_store_n(&field, value, __ATOMIC_RELAXED);
}

/** @brief Kinds in the order of their levels: a kind is printed when the level is above its number. */
enum class LogKind : u8 { error, warning, info, debug };

/** @brief A message that stands in a table, with the file and the line where it stands. */
struct LogText {
    LogKind kind;
    int line;
    const char *file;
    const char *format;
};

/** @brief "../../" and the name of the source file that is being compiled. */
struct LogFile {
    char path[32];

    constexpr explicit LogFile(const char *file) : path{'.', '.', '/', '.', '.', '/'}
    {
        const char *name = file;
        for (const char *c = file; *c; ++c)
            if (*c == '/' || *c == '\\')
                name = c + 1;
        for (u32 i = 6; i < sizeof(path) - 1 && *name; ++i)
            path[i] = *name++;
    }
};

static constexpr LogFile logFile(__BASE_FILE__);

inline bool logAllowed(const i32 &level, LogKind kind)
{
    return relaxedLoad(level) > static_cast<i32>(kind);
}

/** @brief The first of the three calls. */
void logPrefix(const char *file, int line, LogKind kind);

#define PSI_LOG_LINE(level, kind, ...)                                                                                 \
    do {                                                                                                               \
        if (logAllowed(level, kind)) {                                                                                 \
            logPrefix(logFile.path, __LINE__, kind);                                                                   \
            printf(__VA_ARGS__);                                                                                       \
            printf("\r\n");                                                                                            \
        }                                                                                                              \
    } while (0)

#define PSI_ERROR(...)   PSI_LOG_LINE(psi_rpt_lvl, LogKind::error, __VA_ARGS__)
#define PSI_WARNING(...) PSI_LOG_LINE(psi_rpt_lvl, LogKind::warning, __VA_ARGS__)
#define PSI_INFO(...)    PSI_LOG_LINE(psi_rpt_lvl, LogKind::info, __VA_ARGS__)

#define MAKE_ERROR(...)   PSI_LOG_LINE(psimake_rpt_lvl, LogKind::error, __VA_ARGS__)
#define MAKE_WARNING(...) PSI_LOG_LINE(psimake_rpt_lvl, LogKind::warning, __VA_ARGS__)
#define MAKE_INFO(...)    PSI_LOG_LINE(psimake_rpt_lvl, LogKind::info, __VA_ARGS__)

/** @brief An entry of a table of texts; it remembers the line where it stands. */
#define PSI_TEXT(kind, text) (LogText{LogKind::kind, __LINE__, logFile.path, text})

// The format is a literal in a table of texts.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
#pragma GCC diagnostic ignored "-Wformat-security"
template <class... Args> void logText(const i32 &level, const LogText &text, Args... args)
{
    if (!logAllowed(level, text.kind))
        return;
    logPrefix(text.file, text.line, text.kind);
    printf(text.format, args...);
    printf("\r\n");
}
#pragma GCC diagnostic pop

template <class... Args> void schLog(const LogText &text, Args... args)
{
    logText(psi_rpt_lvl, text, args...);
}

template <class... Args> void makeLog(const LogText &text, Args... args)
{
    logText(psimake_rpt_lvl, text, args...);
}

} // namespace psi::core

#endif
