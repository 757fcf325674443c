// libFuzzer's mutations, and now and then a whole new section in an input that is a list of sections.
#include "fuzzTarget.h"

#include "support/randomSection.h"

#include <cstring>

extern "C" std::size_t LLVMFuzzerMutate(u8 *data, std::size_t size, std::size_t maxSize);
extern "C" std::size_t LLVMFuzzerCustomMutator(u8 *data, std::size_t size, std::size_t maxSize, unsigned seed);

namespace {

using psifuzz::recordHeader;

constexpr std::size_t optionBytes = 2;

/** @brief Offsets of the records of an input, and of its end. */
std::vector<std::size_t> recordsOf(const u8 *data, std::size_t size)
{
    std::vector<std::size_t> starts;
    std::size_t at = optionBytes;
    while (at + recordHeader < size) {
        starts.push_back(at);
        at += recordHeader + static_cast<std::size_t>(data[at + 1] << 8 | data[at + 2]);
    }
    starts.push_back(std::min(at, size));
    return starts;
}

/** @brief A well-formed section as a record; its length field too. */
psitest::Bytes randomRecord(psitest::RandomSections &random)
{
    const std::vector<u32> &types = psitest::parsedTypes();
    const u32 type = types[random.below(static_cast<u32>(types.size()))];
    const u32 most = 64 + random.below(random.below(8) == 0 ? 4000 : 200);
    const psitest::Bytes section = random.make(type, most).bytes;
    psitest::Bytes record = {static_cast<u8>(type | psifuzz::keepTableId), static_cast<u8>(section.size() >> 8),
                             static_cast<u8>(section.size())};
    record.insert(record.end(), section.begin(), section.end());
    return record;
}

/** @brief Put a new record in front of one, or in its place. @return the new size, 0 when it does not fit */
std::size_t insertRecord(u8 *data, std::size_t size, std::size_t maxSize, unsigned seed)
{
    psitest::RandomSections random(seed);
    const psitest::Bytes record = randomRecord(random);
    const std::vector<std::size_t> starts = recordsOf(data, size);
    const std::size_t which = random.below(static_cast<u32>(starts.size()));
    const std::size_t at = starts[which];
    const bool replaces = which + 1 < starts.size() && random.below(2) == 0;
    const std::size_t behind = std::min(replaces ? starts[which + 1] : at, size);
    const std::size_t newSize = at + record.size() + (size - behind);
    if (newSize > maxSize)
        return 0;
    std::memmove(data + at + record.size(), data + behind, size - behind);
    std::memcpy(data + at, record.data(), record.size());
    return newSize;
}

} // namespace

extern "C" std::size_t LLVMFuzzerCustomMutator(u8 *data, std::size_t size, std::size_t maxSize, unsigned seed)
{
    const std::size_t newSize = seed % 16 == 0 && size >= optionBytes ? insertRecord(data, size, maxSize, seed) : 0;
    return newSize != 0 ? newSize : LLVMFuzzerMutate(data, size, maxSize);
}
