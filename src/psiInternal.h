/**
 * @file psiInternal.h
 * @brief Module state, work records and operations that the source files share.
 */
#ifndef PSI_INTERNAL_H
#define PSI_INTERNAL_H

#include "platform.h"
#include "psiLog.h"
#include "psiNode.h"
#include "psiReader.h"

namespace psi::core {

/** @name Module state, installed by psiSch_Init() @{ */
extern void (*psiMsSleep)(u32 ms);
extern u32 (*getMsTimeCnt)(void);
/** @} */

/** @brief Whether the pool could give a block of so many bytes at this moment. */
bool poolCould(u32 size);

/** @brief Bytes of a transport packet. ISO/IEC 13818-1 2.4.3.2. */
constexpr u32 tsPacketLen = 188;
/** @brief Most packets of a run, and of a read for a table with long sections. */
constexpr u8 maxRunPackets = 24;
/** @brief Most packets of a read for the other tables. */
constexpr u8 maxReadPackets = 7;
/** @brief Longest section, table_id to CRC_32, of the PSI and SI tables. */
constexpr u16 maxSectionLen = 1024;
/** @brief Longest section of the tables with long sections. */
constexpr u16 maxLongSectionLen = 4096;
/** @brief Bytes of a section up to and including section_length. */
constexpr u32 sectionLengthEnd = 3;
constexpr u32 crcLen = 4;
/** @brief Bytes up to and including last_section_number. */
constexpr u32 longHeaderLen = 8;

/** @brief Section work record: scratch of reassembly, and the last completed section of a search. */
struct tableInfo {
    u8 buf[maxRunPackets * tsPacketLen];
    u8 psiType;
    u8 tableId;
    u8 tsCount;
    u8 waitStart; /**< 1 until the packet that opens the section was taken */
    u8 lastCc;
    u16 dataLen;
    u16 section_len; /**< 0 while fewer than three bytes are known */
    sectionData *sectionDataRef;
};

/** @brief A pool block for the length of a scope. */
template <class T> class PoolBlock {
public:
    PoolBlock() : block_(static_cast<T *>(psi_buddy_malloc(sizeof(T)))) {}
    ~PoolBlock()
    {
        if (block_)
            psi_buddy_free(block_);
    }
    PoolBlock(const PoolBlock &) = delete;
    PoolBlock &operator=(const PoolBlock &) = delete;

    explicit operator bool() const { return block_ != nullptr; }
    T *get() const { return block_; }
    T *operator->() const { return block_; }

private:
    T *block_;
};

/** @brief Holds a mutex of the platform for the length of a scope. */
class MutexGuard {
public:
    explicit MutexGuard(psiSemId sem) : sem_(sem) { osMutexTake(sem_); }
    ~MutexGuard() { osMutexGive(sem_); }
    MutexGuard(const MutexGuard &) = delete;
    MutexGuard &operator=(const MutexGuard &) = delete;

private:
    psiSemId sem_;
};

/**
 * @brief The live object behind a handle.
 * @return null unless a live pool block of its size starts there and names itself
 */
template <class Object> Object *objectOf(psiObjId objId)
{
    Object *obj = reinterpret_cast<Object *>(objId);
    return buddy_size(psiMp, obj) == sizeof(Object) && obj->objId == objId ? obj : nullptr;
}

/** @name Fields of a section's header, by their place. ISO/IEC 13818-1 2.4.4.11 @{ */
inline u32 sectionLength(const u8 *section)
{
    return beU16(section + 1) & 0x0FFFU;
}

/** @brief Bytes from table_id to the end of CRC_32, as section_length says. */
inline u32 sectionSize(const u8 *section)
{
    return sectionLengthEnd + sectionLength(section);
}

inline u16 tableIdExtension(const u8 *section)
{
    return beU16(section + 3);
}
/** @} */

/** @name Framing (psiFun) @{ */
/** @brief Reassemble a section of at most `maxLen` bytes; see psiTsToSection(). The arguments are not checked. */
// NOLINTNEXTLINE(bugprone-reserved-identifier,cert-dcl37-c,cert-dcl51-cpp): the documented name
i32 _psiTsToSection(const u8 *tsData, u8 tsNum, u8 *sectionData, u16 *sectionLen, u16 maxLen);
/** @} */

/** @name Acquisition (psiSch) @{ */
void initPsiSchItem(psiObjId objId, psiSchInfo *info, u32 psiType);
void initTmpTable(tableInfo *tableInfo, u32 psiType);
/** @brief Reassemble the packets of one read and store the section on the object's list. 0 or -1. */
i32 ts2Section(tableObj *tableObj, tableInfo *tableInfo, const u8 *tsData, u8 tsNum);
u32 schNormalPsi(tableObj *tableObj, u32 psiType);
u32 schPmt(tableObj *tableObj);
u32 schOtherPsi(tableObj *tableObj, u32 psiType);
u32 schEbtTable(tableObj *tableObj, u32 psiType);
/** @} */

/** @name Model (psiData, psiMem) @{ */
/** @brief The first program with this number, or null. */
progInfo *findProgram(const tsInfo *model, u16 progNo);
/**
 * @brief Make null, with length 0, every name and payload of a model that leads into `section`.
 *
 * To be called before a section that analysis has touched goes away.
 */
void forgetSectionBytes(tsInfo *tsInfo, const sectionData *section);

/** @brief What a stored section is filed under. */
struct SectionTag {
    u8 psiType;
    u8 sectionNo;
    u16 idExt;
    u16 pid;
};

/** @brief What the caller says when a section cannot be stored, and at which report level. */
struct StoreTexts {
    const i32 &level;
    LogText creat, memory;
};

/**
 * @brief Put a section of `len` bytes, which the caller writes, at the end of a section list.
 * @return the node, or null when the pool is exhausted: then nothing is left
 */
sectionData *creatSection(PoolGuard &pool, sectionData **head, const SectionTag &tag, u16 len, const StoreTexts &texts);
/**
 * @brief Put a copy of a section at the end of a section list.
 * @param bytes the section
 * @param len its length in bytes
 * @return the node, or null when the pool is exhausted: then nothing is left
 */
sectionData *storeSection(sectionData **head, const SectionTag &tag, const u8 *bytes, u16 len, const StoreTexts &texts);
/** @} */

/** @brief Longest printable form of a name, terminator included. */
constexpr u32 maxPrintedName = 128;

/** @brief The first 127 bytes of a name in `buf`, terminated, for a log line. Empty for no name. */
const char *makeStr(const u8 *bytes, u32 len, char (&buf)[maxPrintedName]);

} // namespace psi::core

#endif
