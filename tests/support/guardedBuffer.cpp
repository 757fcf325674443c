#include "support/guardedBuffer.h"

#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>

namespace psitest {

GuardedBuffer::GuardedBuffer(std::size_t capacity)
{
    page_ = static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
    usable_ = (capacity + page_ - 1) / page_ * page_;
    void *map = mmap(nullptr, usable_ + 2 * page_, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (map == MAP_FAILED)
        std::abort();
    map_ = static_cast<u8 *>(map);
    if (mprotect(map_ + page_, usable_, PROT_READ | PROT_WRITE) != 0)
        std::abort();
}

GuardedBuffer::~GuardedBuffer()
{
    munmap(map_, usable_ + 2 * page_);
}

u8 *GuardedBuffer::place(const Bytes &bytes)
{
    u8 *first = room(bytes.size());
    std::copy(bytes.begin(), bytes.end(), first);
    return first;
}

u8 *GuardedBuffer::room(std::size_t size)
{
    if (size > usable_)
        std::abort();
    u8 *end = map_ + page_ + usable_;
    std::fill(end - size, end, u8{0xA5});
    return end - size;
}

u8 *GuardedBuffer::placeAtStart(const Bytes &bytes)
{
    if (bytes.size() > usable_)
        std::abort();
    std::copy(bytes.begin(), bytes.end(), map_ + page_);
    return map_ + page_;
}

} // namespace psitest
