/**
 * @file keptTables.h
 * @brief Tables that nobody edited go out bit for bit as they came.
 */
#ifndef PSITOOL_KEPT_TABLES_H
#define PSITOOL_KEPT_TABLES_H

#include "make/modelFromJson.h"

#include <set>
#include <vector>

namespace psitool {

/**
 * @brief Of the sections that came with a model those whose tables the model still says the same about.
 *
 * A model has no place for reserved bits, the order of CA descriptors, services outside the PAT and more; a table that
 * nobody edited need not lose them.
 */
class KeptTables {
public:
    /** @param model as the JSON says it, before anything is generated @param facts outlives this */
    KeptTables(const tsInfo &model, const JsonFacts &facts);

    /** @brief True when all sections of a type may go out as they came; not for PMTs. */
    bool has(u32 psiType) const { return whole_.count(psiType) != 0; }
    /** @brief The same for the PMT of a program. */
    bool hasPmt(u16 programNumber) const { return maps_.count(programNumber) != 0; }

    /** @brief The sections of a type that came, edited since or not. */
    std::vector<const StoredSection *> stored(u32 psiType) const;
    /** @brief The programs of the PAT that came. */
    const std::set<u16> &programs() const { return programs_; }

private:
    std::set<u32> wanted(std::set<u32> tables, const tsInfo &model) const;
    bool keepsAll() const;

    const JsonFacts &facts_;
    std::set<u32> whole_;
    std::set<u16> maps_;
    std::set<u16> programs_;
};

} // namespace psitool

#endif
