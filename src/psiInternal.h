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

/** @brief A pool block for the length of a scope. */
template <class T> class PoolBlock {
public:
    /** @param more bytes behind the record */
    explicit PoolBlock(u32 more = 0) : block_(static_cast<T *>(psi_buddy_malloc(sizeof(T) + more))) {}
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

/** @brief Holds a mutex of the platform, if it was to be had, for the length of a scope. */
class MutexGuard {
public:
    explicit MutexGuard(psiSemId sem) : sem_(sem), held_(osMutexTake(sem)) {}
    ~MutexGuard()
    {
        if (held_)
            osMutexGive(sem_);
    }
    MutexGuard(const MutexGuard &) = delete;
    MutexGuard &operator=(const MutexGuard &) = delete;

    /** @brief Whether the mutex is held. */
    explicit operator bool() const { return held_; }

private:
    psiSemId sem_;
    bool held_;
};

/** @brief Number of table-type codes. */
constexpr u32 tableTypes = 16;

/** @brief A search object: its documented record, and behind it what else the library remembers of it. */
struct SearchObject {
    tableObj record;
    void *userPointer;
    u8 endReasons[tableTypes]; /**< psiEndReason per type */
};

/** @brief The pool block of an object begins with its record. */
template <class Object> struct ObjectBlock {
    using type = Object;
};
template <> struct ObjectBlock<tableObj> {
    using type = SearchObject;
};

inline SearchObject *searchObject(tableObj *obj)
{
    return reinterpret_cast<SearchObject *>(obj);
}

/**
 * @brief The live object behind a handle.
 * @return null unless a live pool block of its size starts there and names itself
 */
template <class Object> Object *objectOf(psiObjId objId)
{
    Object *obj = reinterpret_cast<Object *>(objId);
    return buddy_size(psiMp, obj) == sizeof(typename ObjectBlock<Object>::type) && obj->objId == objId ? obj : nullptr;
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

/** @brief The first bytes of a section, 0xFF where it has none. ISO/IEC 13818-1 2.4.4.11. */
struct LongHeaderBytes {
    u8 bytes[longHeaderLen] = {0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF};

    u8 tableId() const { return bytes[0]; }
    u16 tableIdExt() const { return tableIdExtension(bytes); }
    u8 sectionNo() const { return bytes[6]; }
    u8 lastSectionNo() const { return bytes[7]; }
};

/** @brief Section work record of a search: the section that was completed last. */
struct tableInfo {
    LongHeaderBytes header;
    u8 psiType;
    u8 tableId;
    u16 section_len;
    bool outOfMemory; /**< it could not be stored, or not analysed, for want of memory */
    sectionData *sectionDataRef;
};

/** @brief Reassembly took a record of the pool once, and fails, silently, where there is no room for one. */
constexpr u32 reassemblyRoom = sizeof(tableInfo);

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
/** @brief Remember how a search ended; see psiSchEndReason(). A type without table has nothing to remember. */
void setEndReason(tableObj *obj, u32 psiType, psiEndReason reason);
/** @} */

/** @name Model (psiData, psiMem) @{ */
/** @brief The first program with this number, or null. */
progInfo *findProgram(const tsInfo *model, u16 progNo);
/**
 * @brief The same as getProgInfo(), for analysis: in constant time when it goes through a long list in its order.
 * @param pool what is remembered of lists is used and kept only while it is held
 */
progInfo *findAnalysed(const PoolGuard &pool, tsInfo *model, u16 progNo);
/**
 * @brief Make null, with length 0, every name and payload of a model that leads into `section`.
 *
 * To be called before a section that analysis has touched goes away.
 */
void forgetSectionBytes(tsInfo *tsInfo, const sectionData *section);

/** @brief Stands for every table_id_extension. */
constexpr i32 anyIdExt = -1;

/**
 * @brief Destroy the sections of a type, and of a table_id_extension, that a model has; first it forgets their bytes.
 * @return 0, or -1 as soon as one cannot be destroyed
 */
i32 forgetSections(tsInfo &model, u32 psiType, i32 idExt);

/** @brief What a stored section is filed under. */
struct SectionTag {
    u8 psiType;
    u8 sectionNo;
    u16 idExt;
    u16 pid;
};

/** @brief What the caller says when a section cannot be stored. */
struct StoreTexts {
    LogText creat, memory;
};

/**
 * @brief Put a section of `len` bytes, which the caller writes, at the end of a section list.
 * @return the node, or null when the pool is exhausted: then nothing is left
 */
sectionData *creatSection(PoolGuard &pool, sectionData **head, const SectionTag &tag, u16 len, const StoreTexts &texts);
/** @} */

/** @brief Longest printable form of a name, terminator included. */
constexpr u32 maxPrintedName = 128;

/** @brief The first 127 bytes of a name in `buf`, terminated, for a log line. Empty for no name. */
const char *makeStr(const u8 *bytes, u32 len, char (&buf)[maxPrintedName]);

} // namespace psi::core

#endif
