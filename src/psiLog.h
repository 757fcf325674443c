/**
 * @file psiLog.h
 * @brief The log line: one call of the host's hook, or three printf() calls for the prefix, the message, the line end.
 *
 * A message names the file tag and the line where its text stands: logSources() says which tag a file's texts carry.
 * Texts that a shared piece of code prints for many callers stand as LogText constants in the callers' tables.
 *
 * Formats are checked when the library is compiled: those of PSI_ERROR() and its like by the compiler itself, those of
 * tables by LogTextOf. Texts of kinds above PSI_LOG_LEVEL are not compiled in.
 */
#ifndef PSI_LOG_H
#define PSI_LOG_H

#include "psi.h"

#include <stdio.h>

/** @brief Kinds that are compiled in: 0 none, 1 errors, 2 and warnings, 3 and info, 4 and debug. */
#ifndef PSI_LOG_LEVEL
#define PSI_LOG_LEVEL 4
#endif
static_assert(PSI_LOG_LEVEL >= 0 && PSI_LOG_LEVEL <= 4, "PSI_LOG_LEVEL is 0 to 4");

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

/** @brief Are texts of this kind compiled in? */
constexpr bool logCompiled(LogKind kind)
{
    return static_cast<int>(kind) + 1 <= PSI_LOG_LEVEL;
}

/* ------------------------------------------------------------------------------------------------------------------
 * Where a text stands
 * ---------------------------------------------------------------------------------------------------------------- */

/** @brief The file that a message names, "../../" and ".cpp" around it; from psiMake on files of generation. */
enum class LogTag : u8 { psiInit, psiMem, psiData, psiSch, psiAnalyse, psiFun, psiMake, psiMakeData, psiMakeMem };

/** @brief Lines of a part: no file with texts is longer. */
constexpr u32 logPartLines = 1000;

/** @brief A file with texts. Its lines are printed with `part` times logPartLines on top, so (tag, line) is unique. */
struct LogSource {
    const char *file;
    LogTag tag;
    u32 part;
};

struct LogSources {
    LogSource of[18];
};

/** @brief All files with texts. A function, so that the names stay out of the object code. */
constexpr LogSources logSources()
{
    return {{
        {"psiInit.cpp", LogTag::psiInit, 0},
        {"psiMem.cpp", LogTag::psiMem, 0},
        {"psiMemSyntax.cpp", LogTag::psiMem, 1},
        {"psiMemEmergency.cpp", LogTag::psiMem, 2},
        {"psiData.cpp", LogTag::psiData, 0},
        {"psiSch.cpp", LogTag::psiSch, 0},
        {"psiSchStep.cpp", LogTag::psiSch, 1},
        {"psiSchSingle.cpp", LogTag::psiSch, 2},
        {"psiSchMulti.cpp", LogTag::psiSch, 3},
        {"psiAnalyse.cpp", LogTag::psiAnalyse, 0},
        {"psiSyntax.cpp", LogTag::psiAnalyse, 1},
        {"psiSyntaxEmergency.cpp", LogTag::psiAnalyse, 2},
        {"psiFun.cpp", LogTag::psiFun, 0},
        {"psiMake.cpp", LogTag::psiMake, 0},
        {"psiMakePsip.cpp", LogTag::psiMake, 1},
        {"psiRemake.cpp", LogTag::psiMake, 2},
        {"psiMakeData.cpp", LogTag::psiMakeData, 0},
        {"psiMakeMem.cpp", LogTag::psiMakeMem, 0},
    }};
}

constexpr bool logSourcesAreUnique()
{
    const LogSources sources = logSources();
    for (const LogSource &a : sources.of)
        for (const LogSource &b : sources.of)
            if (&a != &b && a.tag == b.tag && a.part == b.part)
                return false;
    return true;
}
static_assert(logSourcesAreUnique(), "two files print the same tag and lines");

/** @brief The name behind the last slash of a path. */
constexpr const char *logFileName(const char *path)
{
    const char *name = path;
    for (const char *c = path; *c; ++c)
        if (*c == '/' || *c == '\\')
            name = c + 1;
    return name;
}

constexpr bool logSameName(const char *a, const char *b)
{
    for (; *a && *a == *b; ++a, ++b) {
    }
    return *a == *b;
}

/** @brief Kind, tag and line of a text in one word. */
enum class LogPlace : u32 {};

/** @name What a wrong place ends the compilation with: no constant expression calls these @{ */
void fileIsMissingInLogSources();
void fileIsLongerThanLogPartLines();
/** @} */

constexpr LogPlace logPlace(LogKind kind, const char *path, u32 line)
{
    if (line >= logPartLines)
        fileIsLongerThanLogPartLines();
    const char *name = logFileName(path);
    const LogSources sources = logSources();
    for (const LogSource &source : sources.of)
        if (logSameName(source.file, name))
            return static_cast<LogPlace>((source.part * logPartLines + line) << 8 | static_cast<u32>(source.tag) << 2 |
                                         static_cast<u32>(kind));
    fileIsMissingInLogSources();
    return LogPlace{};
}

constexpr LogKind logKindOf(LogPlace place)
{
    return static_cast<LogKind>(static_cast<u32>(place) & 3);
}

constexpr LogTag logTagOf(LogPlace place)
{
    return static_cast<LogTag>(static_cast<u32>(place) >> 2 & 0x3F);
}

constexpr u32 logLineOf(LogPlace place)
{
    return static_cast<u32>(place) >> 8;
}

constexpr bool logOfGeneration(LogPlace place)
{
    return logTagOf(place) >= LogTag::psiMake;
}

/* ------------------------------------------------------------------------------------------------------------------
 * Printing
 * ---------------------------------------------------------------------------------------------------------------- */

/** @brief Is there a hook that takes the messages in place of printf()? */
bool logHasHook();
void logToHook(LogPlace place, const char *format, ...) __attribute__((format(printf, 2, 3)));
/** @brief The first of the three calls. */
void logPrefix(LogPlace place);

inline bool logAllowed(LogPlace place)
{
    const i32 &level = logOfGeneration(place) ? psimake_rpt_lvl : psi_rpt_lvl;
    return relaxedLoad(level) > static_cast<i32>(logKindOf(place));
}

// The formats are checked where they stand.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
#pragma GCC diagnostic ignored "-Wformat-security"
template <class... Args> __attribute__((noinline)) void logWrite(LogPlace place, const char *format, Args... args)
{
    if (!logAllowed(place))
        return;
    if (logHasHook()) {
        logToHook(place, format, args...);
        return;
    }
    logPrefix(place);
    printf(format, args...);
    printf("\r\n");
}
#pragma GCC diagnostic pop

/** @brief Are messages that the report level holds back told apart where they stand? Not in a small build. */
#ifdef __OPTIMIZE_SIZE__
constexpr bool logCheckedInPlace = false;
#else
constexpr bool logCheckedInPlace = true;
#endif

/** @brief Arguments go on as they pass a variable argument list. */
template <class... Args> inline void logLine(LogPlace place, const char *format, const Args &...args)
{
    if (!logCheckedInPlace || logAllowed(place))
        logWrite(place, format, +args...);
}

/** @brief Never defined: the compiler checks the arguments of its calls, which printf()'s need not be told about. */
int logFormat(const char *format, ...) __attribute__((format(printf, 1, 2)));

/** @brief What a message of the wrong side ends the compilation with: no constant expression calls it. */
void fileIsOfTheOtherReportLevel();

constexpr LogPlace logPlaceOfSide(bool generation, LogPlace place)
{
    if (logOfGeneration(place) != generation)
        fileIsOfTheOtherReportLevel();
    return place;
}

#define PSI_LOG_LINE(generation, kind, ...)                                                                            \
    do {                                                                                                               \
        static_cast<void>(sizeof(::psi::core::logFormat(__VA_ARGS__)));                                                \
        if constexpr (::psi::core::logCompiled(::psi::core::LogKind::kind)) {                                          \
            constexpr ::psi::core::LogPlace psiLogPlace = ::psi::core::logPlaceOfSide(                                 \
                generation, ::psi::core::logPlace(::psi::core::LogKind::kind, __FILE__, __LINE__));                    \
            ::psi::core::logLine(psiLogPlace, __VA_ARGS__);                                                            \
        }                                                                                                              \
    } while (0)

#define PSI_ERROR(...)   PSI_LOG_LINE(false, error, __VA_ARGS__)
#define PSI_WARNING(...) PSI_LOG_LINE(false, warning, __VA_ARGS__)
#define PSI_INFO(...)    PSI_LOG_LINE(false, info, __VA_ARGS__)

#define MAKE_ERROR(...)   PSI_LOG_LINE(true, error, __VA_ARGS__)
#define MAKE_WARNING(...) PSI_LOG_LINE(true, warning, __VA_ARGS__)
#define MAKE_INFO(...)    PSI_LOG_LINE(true, info, __VA_ARGS__)

/* ------------------------------------------------------------------------------------------------------------------
 * Texts in tables
 * ---------------------------------------------------------------------------------------------------------------- */

/** @brief What a conversion of a format takes. */
enum class LogArgument : u8 { none, text, signedInt, unsignedInt, unsignedLong, other };

template <class T> constexpr LogArgument logArgumentOf = LogArgument::other;
template <> inline constexpr LogArgument logArgumentOf<const char *> = LogArgument::text;
template <> inline constexpr LogArgument logArgumentOf<int> = LogArgument::signedInt;
template <> inline constexpr LogArgument logArgumentOf<unsigned> = LogArgument::unsignedInt;
template <> inline constexpr LogArgument logArgumentOf<unsigned long> = LogArgument::unsignedLong;

/** @brief The next conversion of a format, and step behind it. `none` at the end; flags and widths are not known. */
constexpr LogArgument takeConversion(const char *&format)
{
    while (*format && *format != '%')
        ++format;
    if (!*format++)
        return --format, LogArgument::none;
    const bool isLong = *format == 'l';
    if (isLong)
        ++format;
    switch (*format++) {
    case 's':
        return isLong ? LogArgument::other : LogArgument::text;
    case 'd':
        return isLong ? LogArgument::other : LogArgument::signedInt;
    case 'u':
    case 'x':
        return isLong ? LogArgument::unsignedLong : LogArgument::unsignedInt;
    default:
        return --format, LogArgument::other;
    }
}

/** @brief Do these arguments, and no other, go with the format? */
template <class... Args> constexpr bool logTakes(const char *format)
{
    constexpr LogArgument arguments[] = {logArgumentOf<Args>..., LogArgument::none};
    for (const LogArgument argument : arguments)
        if (argument == LogArgument::other || takeConversion(format) != argument)
            return false;
    return true;
}

/** @brief A text as PSI_TEXT() has it; it becomes a LogTextOf the arguments that it is printed with. */
struct LogLiteral {
    LogPlace place;
    const char *format;
};

/** @brief Stands in a table for a message that only others print. */
struct NoText {};
constexpr NoText noText;

/** @brief What a wrong format in a table ends the compilation with: no constant expression calls it. */
void formatDoesNotFitItsArguments();

/** @brief What is left of a literal that stands in a table. */
struct LogEntry {
#if PSI_LOG_LEVEL > 0
    LogPlace place;
    const char *format; /**< null: nothing is said */

    constexpr explicit LogEntry(const LogLiteral &literal)
        : place(literal.place), format(logCompiled(logKindOf(literal.place)) ? literal.format : nullptr)
    {
    }
#else
    constexpr explicit LogEntry(const LogLiteral & /*literal*/) {}
#endif
};

/** @brief A message that stands in a table, printed with arguments of these types. */
template <class... Args> struct LogTextOf : LogEntry {
    // Tables are lists of literals. NOLINTNEXTLINE(google-explicit-constructor)
    constexpr LogTextOf(const LogLiteral &literal) : LogEntry(literal)
    {
        if (!logTakes<Args...>(literal.format))
            formatDoesNotFitItsArguments();
    }
    // NOLINTNEXTLINE(google-explicit-constructor)
    constexpr LogTextOf(NoText /*nothing*/) : LogEntry(LogLiteral{LogPlace{}, nullptr}) {}
};

/** @brief A message without arguments. */
using LogText = LogTextOf<>;
static_assert(PSI_LOG_LEVEL == 0 || sizeof(LogText) == 2 * sizeof(void *), "two words, where an address takes one");

/** @brief An entry of a table of texts; it remembers the line where it stands. */
#define PSI_TEXT(kind, text)                                                                                           \
    (::psi::core::LogLiteral{::psi::core::logPlace(::psi::core::LogKind::kind, __FILE__, __LINE__), text})

/** @brief The type itself, where it is not to be deduced from an argument. */
template <class T> struct SameType {
    using type = T;
};

/** @brief Would a text be printed now? */
template <class... Args> bool logsText([[maybe_unused]] const LogTextOf<Args...> &text)
{
    if constexpr (PSI_LOG_LEVEL > 0)
        return text.format && logAllowed(text.place);
    else
        return false;
}

template <class... Args>
inline void logText([[maybe_unused]] const LogTextOf<Args...> &text,
                    [[maybe_unused]] typename SameType<Args>::type... args)
{
    if constexpr (PSI_LOG_LEVEL > 0) {
        if (text.format)
            logWrite(text.place, text.format, args...);
    }
}

/** @name Texts of either side's tables: the file that a text stands in says which report level governs it @{ */
template <class... Args> inline void schLog(const LogTextOf<Args...> &text, typename SameType<Args>::type... args)
{
    logText(text, args...);
}

template <class... Args> inline void makeLog(const LogTextOf<Args...> &text, typename SameType<Args>::type... args)
{
    logText(text, args...);
}
/** @} */

} // namespace psi::core

#endif
