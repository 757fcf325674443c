/**
 * @file heldVersions.h
 * @brief One version of each sub-table at a time: what a section filter holds to.
 */
#ifndef PSI_DEMUX_HELD_VERSIONS_H
#define PSI_DEMUX_HELD_VERSIONS_H

#include "psi.h"

#include <bitset>
#include <unordered_map>

namespace psi::demux {

/** @brief What tells the sub-tables of a table_id apart: table_id_extension, and original_network_id of an SDT. */
u32 subTableOf(const u8 *section, u16 length);

/**
 * @brief Which version of each sub-table is handed out: that of its first section, and none that is not yet applicable.
 *
 * A search does not look at versions, and would mix them.
 */
class HeldVersions {
public:
    /** @brief Forget all: a new round begins. */
    void clear() { versions.clear(); }
    /** @brief Whether anything of a sub-table was handed out. */
    bool began(u32 subTable) const { return versions.count(subTable) != 0; }
    /**
     * @brief Whether a section may be handed out.
     * @param next another version may follow one of which all sections were
     */
    bool allows(const u8 *section, u16 length, bool next) const;
    /** @brief A section is handed out. */
    void handOut(const u8 *section, u16 length);

private:
    struct Version {
        u8 number = 0;
        u8 last = 0;
        std::bitset<256> handed;
        bool isWhole() const { return handed.count() > last; }
    };

    std::unordered_map<u32, Version> versions;
};

} // namespace psi::demux

#endif // PSI_DEMUX_HELD_VERSIONS_H
