#include "edit/heldBytes.h"

#include <algorithm>
#include <cstring>

namespace psitool {

u8 *HeldBytes::at(std::uint64_t place) const
{
    return blocks_[static_cast<std::size_t>(place / blockBytes - begin_ / blockBytes)]->data() + place % blockBytes;
}

template <class Run> void HeldBytes::forRuns(std::uint64_t place, std::size_t size, const Run &run) const
{
    while (size > 0) {
        const std::size_t part = std::min(size, blockBytes - static_cast<std::size_t>(place % blockBytes));
        run(at(place), part);
        place += part;
        size -= part;
    }
}

void HeldBytes::append(const u8 *data, std::size_t size)
{
    const std::uint64_t from = end_;
    end_ += size;
    while (blocks_.size() * blockBytes < end_ - begin_ / blockBytes * blockBytes) {
        if (!spare_)
            spare_ = std::make_unique<Block>();
        blocks_.push_back(std::move(spare_));
    }
    put(from, data, size);
}

void HeldBytes::leave(std::uint64_t place, const ByteSink &sink)
{
    forRuns(begin_, static_cast<std::size_t>(place - begin_), sink);
    for (std::uint64_t left = place / blockBytes - begin_ / blockBytes; left > 0 && !blocks_.empty(); --left) {
        spare_ = std::move(blocks_.front());
        blocks_.pop_front();
    }
    begin_ = place;
}

void HeldBytes::get(std::uint64_t place, u8 *to, std::size_t size) const
{
    std::size_t done = 0;
    forRuns(place, size, [&](const u8 *run, std::size_t part) {
        std::memcpy(to + done, run, part);
        done += part;
    });
}

void HeldBytes::put(std::uint64_t place, const u8 *from, std::size_t size)
{
    std::size_t done = 0;
    forRuns(place, size, [&](u8 *run, std::size_t part) {
        std::memcpy(run, from + done, part);
        done += part;
    });
}

} // namespace psitool
