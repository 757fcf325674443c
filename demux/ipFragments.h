/**
 * @file ipFragments.h
 * @brief Puts the datagrams of captured IP packets together again.
 */
#ifndef PSI_DEMUX_IP_FRAGMENTS_H
#define PSI_DEMUX_IP_FRAGMENTS_H

#include "psi.h"

#include <array>
#include <cstddef>
#include <list>
#include <map>
#include <vector>

namespace psi::demux {

/** @brief A part of a datagram. RFC 791 3.2, RFC 8200 4.5. */
struct IpFragment {
    std::array<u8, 16> source{};
    std::array<u8, 16> address{};
    u32 identification = 0;
    bool v6 = false;
    size_t offset = 0; /**< in bytes */
    bool more = false; /**< it is not the last one */
    const u8 *data = nullptr;
    size_t size = 0;
    uint64_t ms = 0; /**< when it came */
};

/**
 * @brief Reassembly of the datagrams between all addresses.
 *
 * Bounded: of 64 datagrams at most, each of 65535 bytes at most, parts are kept, for two seconds; what does not become
 * whole until then, or whose parts overlap, is left out. A part that comes twice counts once, as in captures of ports
 * that mirror both ways, also behind its whole datagram when that is one of the last 16.
 */
class IpFragments {
public:
    /** @brief Take a part. @return the whole datagram's bytes, valid until the next call; null while parts are missing
     */
    const std::vector<u8> *take(const IpFragment &part);

    /** @brief Parts whose datagrams did not become whole, those that are still waiting included. */
    uint64_t leftOver() const { return notUsed; }

private:
    struct Datagram {
        IpFragment like;                 /**< any of its parts: what tells it apart, and when the first one came */
        std::map<size_t, size_t> pieces; /**< offset and size of each part */
        std::vector<u8> bytes;
        size_t total = 0; /**< 0: the last part has not come */
        uint64_t parts = 0;
    };
    using Datagrams = std::list<Datagram>;

    Datagrams::iterator find(const IpFragment &part);
    void forgetOld(uint64_t ms);
    bool isOfWhole(const IpFragment &part) const;
    const std::vector<u8> *complete(Datagrams::iterator datagram);
    static bool fits(const Datagram &datagram, const IpFragment &part);
    static bool isWhole(const Datagram &datagram);

    Datagrams waiting; /**< by the time of their first parts */
    Datagrams whole;   /**< the last ones */
    uint64_t notUsed = 0;
};

} // namespace psi::demux

#endif // PSI_DEMUX_IP_FRAGMENTS_H
