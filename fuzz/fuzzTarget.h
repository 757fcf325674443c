/**
 * @file fuzzTarget.h
 * @brief What all fuzz targets share: the input taken apart, sections made of it, and the checks around every run.
 *
 * A target is one file NAME_fuzz.cpp that defines fuzzOne(). It is built twice: as NAME_fuzz with libFuzzer, and as
 * NAME_replay, which runs the files of a corpus once. Checks are GoogleTest's EXPECT_ and ASSERT_; one that fails ends
 * the process.
 */
#ifndef PSIFUZZ_FUZZ_TARGET_H
#define PSIFUZZ_FUZZ_TARGET_H

#include "support/faultInjection.h"
#include "support/sectionBuilder.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <vector>

namespace psifuzz {

using psitest::Bytes;

/** @brief The fuzzer's bytes, taken from the front; behind the end everything is 0. */
class Input {
public:
    Input(const u8 *data, std::size_t size) : at_(data), left_(size) {}

    std::size_t left() const { return left_; }
    u8 byte() { return left_ == 0 ? u8{0} : (--left_, *at_++); }
    u16 word()
    {
        const u8 high = byte();
        return static_cast<u16>(high << 8 | byte());
    }
    u32 doubleWord()
    {
        const u32 high = word();
        return high << 16 | word();
    }
    /** @brief A number below @p bound, of one byte where that is enough. */
    u32 below(u32 bound) { return bound <= 1 ? 0 : (bound <= 256 ? byte() : word()) % bound; }
    /** @brief At most @p count bytes, in a block of exactly their size. */
    Bytes bytes(std::size_t count);
    Bytes rest() { return bytes(left_); }

private:
    const u8 *at_;
    std::size_t left_;
};

/** @brief The target. */
void fuzzOne(Input input);

/**
 * @brief Initialise the library with a pool of 4 MiB and the fuzzers' clock.
 *
 * Called once, before the first fuzzOne(), unless the target's library has another initialisation: see startLibrary().
 */
bool initialisePsi();

/** @brief How the target initialises the library. @return false when that failed */
extern bool (*const startLibrary)();

/** @brief The clock behind psiMsSleep and getMsTimeCnt: only sleeps and the target move it. */
extern u32 clockTick;

/** @brief The call that fails during an operation, as a byte of the input says. */
class Faults {
public:
    /** @param plan low 6 bits: which call, 0 none; bit 6: list pushes, not allocations; bit 7: all later ones too */
    explicit Faults(u8 plan)
        : plan_(plan & 0x40 ? psitest::Call::Push : psitest::Call::Malloc, plan & 0x3FU,
                plan & 0x80 ? psitest::Fail::FromThenOn : psitest::Fail::Once)
    {
    }
    bool injected() const { return plan_.injected() != 0; }

private:
    psitest::FaultPlan plan_;
};

/** @brief A section as it stands in inputs. */
struct SectionRecord {
    u8 psiType = 0;
    Bytes bytes;
};

/** @name Flags in the first byte of a record, above its table-type code @{ */
constexpr u8 keepTableId = 0x10; /**< table_id as it stands in the bytes, not the type's */
constexpr u8 keepSeal = 0x20;    /**< section_length and CRC_32 as they stand, not made right */
/** @} */

/** @brief Bytes of a record in front of its section. */
constexpr std::size_t recordHeader = 3;

/** @brief The next section of an input: type and flags, length (16 bits), bytes. */
SectionRecord takeSection(Input &input);

/** @brief Make section_length and CRC_32 fit the bytes, as far as they are there. */
void seal(Bytes &section);

} // namespace psifuzz

#endif // PSIFUZZ_FUZZ_TARGET_H
