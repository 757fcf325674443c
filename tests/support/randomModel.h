/**
 * @file randomModel.h
 * @brief Random models of a transport stream, for a given seed always the same.
 */
#ifndef PSITEST_RANDOM_MODEL_H
#define PSITEST_RANDOM_MODEL_H

#include "support/plainModel.h"

#include <functional>
#include <random>

namespace psitest {

/** @brief The most of everything in a random model. */
struct ModelLimits {
    u32 programs = 5; /**< at least one */
    u32 streams = 4;
    u32 descriptors = 2; /**< per list, as CA descriptors */
    u32 descriptorBytes = 20;
    u32 privateBytes = 12;
    u32 providerBytes = 15;
    u32 nameBytes = 25; /**< of a service; a channel has 14 bytes */
};

/** @brief Makes models one after the other. */
class RandomModels {
public:
    explicit RandomModels(u32 seed, const ModelLimits &limits = {}) : RandomModels(std::mt19937(seed), limits) {}
    /** @param source gives the numbers, of which the low 16 bits count */
    explicit RandomModels(std::function<u32()> source, const ModelLimits &limits = {})
        : random_(std::move(source)), limits_(limits)
    {
    }

    /** @brief A model whose program numbers ascend and whose descriptors mean nothing to the analysis. */
    PlainModel next(Standard standard);
    u32 below(u32 bound) { return random_() % bound; }

private:
    u8 byte() { return static_cast<u8>(random_()); }
    u16 word() { return static_cast<u16>(random_()); }
    u16 pid() { return static_cast<u16>(random_() & 0x1FFF); }
    u8 version() { return static_cast<u8>(random_() & 0x1F); }
    Bytes bytes(u32 most);
    PlainCas cas();
    /** @brief Tags from @p firstTag on, none of which analysis treats in a way of its own. */
    PlainDescriptors descriptors(u8 firstTag);
    PlainStream stream();
    PlainProgram program(u16 number, Standard standard);
    void addService(PlainProgram &one);
    void addChannel(PlainProgram &one);

    std::function<u32()> random_;
    ModelLimits limits_;
};

} // namespace psitest

#endif // PSITEST_RANDOM_MODEL_H
