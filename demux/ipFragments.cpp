#include "demux/ipFragments.h"

#include <algorithm>

namespace psi::demux {

namespace {

constexpr size_t kMostDatagrams = 64;
constexpr size_t kMostWhole = 16;
constexpr size_t kLongestDatagram = 0xFFFF;
/** Parts come one behind the other; and at 300 Mbit/s an identification means another datagram after two seconds. */
constexpr uint64_t kLongestWaitMs = 2000;

bool isOfSame(const IpFragment &a, const IpFragment &b)
{
    return a.identification == b.identification && a.v6 == b.v6 && a.source == b.source && a.address == b.address;
}

bool hasPiece(const std::map<size_t, size_t> &pieces, const IpFragment &part)
{
    const auto found = pieces.find(part.offset);
    return found != pieces.end() && found->second == part.size;
}

/** All parts but the last one are of whole units of 8 bytes. */
bool isPossible(const IpFragment &part)
{
    return part.size != 0 && part.offset + part.size <= kLongestDatagram && (!part.more || part.size % 8 == 0);
}

} // namespace

const std::vector<u8> *IpFragments::take(const IpFragment &part)
{
    forgetOld(part.ms);
    ++notUsed;
    if (!isPossible(part))
        return nullptr;
    if (isOfWhole(part)) {
        --notUsed; // nothing is lost with it
        return nullptr;
    }
    const auto datagram = find(part);
    if (hasPiece(datagram->pieces, part)) {
        --notUsed;
        return nullptr;
    }
    if (!fits(*datagram, part)) {
        waiting.erase(datagram);
        return nullptr;
    }
    datagram->pieces[part.offset] = part.size;
    ++datagram->parts;
    datagram->bytes.resize(std::max(datagram->bytes.size(), part.offset + part.size));
    std::copy_n(part.data, part.size, datagram->bytes.begin() + static_cast<std::ptrdiff_t>(part.offset));
    if (!part.more)
        datagram->total = part.offset + part.size;
    if (!isWhole(*datagram))
        return nullptr;
    return complete(datagram);
}

const std::vector<u8> *IpFragments::complete(Datagrams::iterator datagram)
{
    notUsed -= datagram->parts;
    if (whole.size() == kMostWhole)
        whole.pop_front();
    whole.splice(whole.end(), waiting, datagram);
    return &datagram->bytes;
}

/** An identification may come again soon with something else: so the bytes have to be the same. */
bool IpFragments::isOfWhole(const IpFragment &part) const
{
    return std::any_of(whole.begin(), whole.end(), [&part](const Datagram &one) {
        return isOfSame(one.like, part) && part.ms <= one.like.ms + kLongestWaitMs && hasPiece(one.pieces, part) &&
               std::equal(part.data, part.data + part.size, one.bytes.data() + part.offset);
    });
}

IpFragments::Datagrams::iterator IpFragments::find(const IpFragment &part)
{
    const auto found =
        std::find_if(waiting.begin(), waiting.end(), [&part](const Datagram &one) { return isOfSame(one.like, part); });
    if (found != waiting.end())
        return found;
    if (waiting.size() == kMostDatagrams)
        waiting.pop_front();
    waiting.emplace_back();
    waiting.back().like = part;
    waiting.back().like.data = nullptr; // it goes with its frame
    return std::prev(waiting.end());
}

/** A capture's times may go back: then nobody has waited. */
void IpFragments::forgetOld(uint64_t ms)
{
    while (!waiting.empty() && ms > waiting.front().like.ms + kLongestWaitMs)
        waiting.pop_front();
}

/** Neither over another part nor, of what is known of it, over the end. */
bool IpFragments::fits(const Datagram &datagram, const IpFragment &part)
{
    const size_t end = part.offset + part.size;
    const auto behind = datagram.pieces.lower_bound(part.offset);
    if (behind != datagram.pieces.end() && behind->first < end)
        return false;
    if (behind != datagram.pieces.begin()) {
        const auto before = std::prev(behind);
        if (before->first + before->second > part.offset)
            return false;
    }
    if (datagram.total != 0)
        return part.more && end <= datagram.total;
    return part.more || end >= datagram.bytes.size();
}

bool IpFragments::isWhole(const Datagram &datagram)
{
    size_t have = 0;
    for (const auto &[offset, size] : datagram.pieces)
        have += size;
    return datagram.total != 0 && have == datagram.total;
}

} // namespace psi::demux
