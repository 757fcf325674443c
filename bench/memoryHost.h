/**
 * @file memoryHost.h
 * @brief A host whose demultiplexer has every section at hand and answers at once, so that a search's time is ours.
 */
#ifndef PSIBENCH_MEMORY_HOST_H
#define PSIBENCH_MEMORY_HOST_H

#include "testSections.h"

#include <unordered_map>

namespace psibench {

/** @brief A search object and the stream that it searches. One at a time. */
class MemoryHost {
public:
    MemoryHost();
    ~MemoryHost();
    MemoryHost(const MemoryHost &) = delete;
    MemoryHost &operator=(const MemoryHost &) = delete;

    /** @brief Put a section into the stream. Those that the same filter fits are handed out in turn, each once. */
    void carry(u16 pid, const Bytes &section);
    /** @brief Search a table. @return programs or sections found */
    u32 search(u32 type) { return schTable(object_, type); }
    /** @brief Empty the object and begin the stream anew. */
    void clear();
    tsInfo *model() const { return getSchObjDataInfo(object_); }

private:
    struct Turn {
        std::vector<Bytes> sections; /**< in packets */
        std::size_t next = 0;
        unsigned round = 0; /**< the one that `next` is of */
    };

    static i32 arm(psiSchInfo *filter);
    static i32 read(psiSchInfo *filter, u8 *packets, u8 *count);

    psiObjId object_;
    std::unordered_map<uint64_t, Turn> turns_;
    unsigned round_ = 0;
};

/** @brief A clock that stands still and a sleep that does not sleep; a pool of `poolBytes`. Once. */
void initialiseLibrary(u32 poolBytes);

} // namespace psibench

#endif // PSIBENCH_MEMORY_HOST_H
