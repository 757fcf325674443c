/**
 * @file knownNumbers.h
 * @brief The numbers that a structure has said so far: conditions and counts look at them.
 */
#ifndef PSI_DESCRIBE_KNOWN_NUMBERS_H
#define PSI_DESCRIBE_KNOWN_NUMBERS_H

#include "describe/layout.h"

#include <optional>
#include <utility>
#include <vector>

namespace psi::describe {

/** @brief Numbers by key; the innermost and latest of a key counts. */
class KnownNumbers {
public:
    void add(const char *key, u64 value) { numbers_.emplace_back(key, value); }
    /** @brief The number of a key. @return nothing when none was added */
    std::optional<u64> find(std::string_view key) const
    {
        for (auto entry = numbers_.rbegin(); entry != numbers_.rend(); ++entry)
            if (entry->first == key)
                return entry->second;
        return std::nullopt;
    }
    /** @brief Does the condition of a `when` hold? */
    bool holds(const Item &when) const
    {
        const std::optional<u64> value = find(when.of);
        return (value && *value >= when.low && *value <= when.high) != when.inverse;
    }

    std::size_t size() const { return numbers_.size(); }
    /** @brief Forget what was added since the size was taken. */
    void cut(std::size_t size) { numbers_.resize(size); }

private:
    std::vector<std::pair<std::string_view, u64>> numbers_;
};

} // namespace psi::describe

#endif
