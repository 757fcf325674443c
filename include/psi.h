/**
 * @file psi.h
 * @brief Tables of an MPEG-2 transport stream: acquire, analyse, parse, generate, edit.
 *
 * The one public header. It compiles as C99 and as C++17; everything in it has C linkage.
 *
 * Conventions that hold throughout, unless an operation says otherwise:
 *  - Operations return 0 on success and -1 on failure, creators an object or null (a handle or 0), searches the number
 *    of sections found.
 *  - A failure is logged before it is returned, as an error or a warning. Silent are: what the pool, a list or a mutex
 *    refuses on its own account; a wrong CRC in psiCheckCrc(); in psiTsToSection() a header that points out of its
 * packet and a pool without room for the work record, while a run that ends too early is told as info; in analysePsi()
 * a PMT, NIT or VCT with another table_id; where it is said.
 *  - Every block comes from the one pool that psiSch_Init() makes.
 *  - A list head is a pointer to the first node, null when the list is empty; operations take its address.
 *
 * Locks. An object's mutex is taken by the operations that say so. The pool's mutex is taken by what allocates or
 * frees, for as long as it works on one block, node, section, tree or model, messages included. Nothing else takes one:
 * above all no operation that only looks a handle up (getters, psiSchStop(), psiSchTimeOutGet(), psiSchEndReason(), the
 * user pointer).
 *
 * Tasks. All work runs in the tasks that call. Objects are created and destroyed, and the module is initialised and
 * left, by one task while no other one works on what goes or comes. A task must not be deleted, nor leave by longjmp()
 * or an exception, while it is inside the library: it may hold a mutex for ever, and the pool blocks of its search are
 * lost; stop its search with psiSchStop() and wait. Interrupt service routines call nothing here but psiSchStop() and
 * psiSchStopResume() of an object that lives: these neither wait nor print.
 */
#ifndef PSI_H
#define PSI_H

#include <stdarg.h>
#ifndef PSI_NO_STDINT
#include <stdint.h>
#endif

#ifdef __cplusplus
extern "C" {
#endif

/* ------------------------------------------------------------------------------------------------------------------
 * Version
 * ---------------------------------------------------------------------------------------------------------------- */

/** @name Version of the library that this header belongs to @{ */
#define PSI_VERSION_MAJOR 0
#define PSI_VERSION_MINOR 2
#define PSI_VERSION_PATCH 0
/** @} */

/** @brief Version of the library that is linked. @return "major.minor.patch", a static string */
const char *psiVersion(void);

/* ------------------------------------------------------------------------------------------------------------------
 * Basic types
 * ---------------------------------------------------------------------------------------------------------------- */

/** @brief Integers of a fixed width; from the compiler's own types with PSI_NO_STDINT, where there is no <stdint.h>. */
#ifndef PSI_NO_STDINT
typedef uint8_t u8;
typedef uint16_t u16;
typedef uint32_t u32;
typedef int32_t i32;
typedef uintptr_t psiAddress; /**< as wide as an address */
#else
typedef unsigned char u8;
typedef unsigned short u16;
typedef unsigned int u32;
typedef int i32;
typedef unsigned long psiAddress;
#endif

/** @brief Handle of a search or make object: the object's own address. 0 is never a valid handle. */
typedef psiAddress psiObjId;
/** @brief Handle of a mutex of the platform. */
typedef psiAddress psiSemId;
/** @brief Handle of a memory pool. 0 is never a valid pool. */
typedef psiAddress psiPoolId;

/**
 * @brief The table-type code that every operation dispatches on.
 *
 * Arguments and fields that hold such a code keep a plain width (u8, u32), so that a wrong code can be told.
 */
typedef enum psiType {
    PSI_PAT = 0,        /**< Program Association Table, ISO/IEC 13818-1 2.4.4.3 */
    PSI_PMT = 1,        /**< Program Map Table, ISO/IEC 13818-1 2.4.4.8 */
    PSI_SDT_ACTUAL = 2, /**< Service Description Table, actual stream, EN 300 468 5.2.3 */
    PSI_SDT_OTHER = 3,  /**< Service Description Table, other streams */
    PSI_NIT_ACTUAL = 4, /**< Network Information Table, actual network, EN 300 468 5.2.1 */
    PSI_NIT_OTHER = 5,  /**< Network Information Table, other networks */
    PSI_BAT = 6,        /**< Bouquet Association Table, EN 300 468 5.2.2 */
    PSI_CAT = 7,        /**< Conditional Access Table, ISO/IEC 13818-1 2.4.4.6 */
    PSI_NO_TYPE = 8,    /**< no table */
    PSI_MGT = 9,        /**< Master Guide Table, A/65 6.2 */
    PSI_VCT = 10,       /**< Terrestrial Virtual Channel Table, A/65 6.3.1 */
    PSI_STT = 11,       /**< System Time Table, A/65 6.1 */
    PSI_EBIT = 12,      /**< emergency broadcast index */
    PSI_EBCT = 13,      /**< emergency broadcast contents */
    PSI_EBCAT = 14,     /**< emergency broadcast certificates */
    PSI_EBCCT = 15      /**< emergency broadcast commands */
} psiType;

/** @brief Results of the host's read callback. */
enum {
    PSI_DATA_OK = 0,       /**< packets were delivered */
    PSI_DATA_NO_READY = 1, /**< nothing yet: the library sleeps 20 ms and reads again */
    PSI_DATA_ERROR = 3,    /**< the capture went wrong: the library arms the filter again */
    PSI_NO_TABLE = 4       /**< the table is not in the stream: the search ends */
};

/* ------------------------------------------------------------------------------------------------------------------
 * Lists
 * ---------------------------------------------------------------------------------------------------------------- */

/**
 * @brief Link header, the first member (`link`) of every node.
 *
 * `next` is the next node, null at the end; a host may walk and chain nodes through it. `spare` belongs to the list
 * library.
 */
typedef struct zlstNode {
    void *next;
    psiAddress spare[4];
} zlstNode;

/**
 * @brief Append a node at the tail of a list, in constant time.
 * @param head address of the list head
 * @param node a node that begins with a zlstNode; its link words need not be initialised
 * @return 0 on success, non-zero on failure (null argument, or the node is seen to be on this list already); silent
 *
 * Stays right, by walking, when the host copied, reset or moved the head, joined lists or chained nodes behind the last
 * one by hand. Two things no look at the first node, the last one and the node at hand can tell; they are the host's to
 * avoid.
 *
 * A list that is cut by hand, elsewhere than in front of its last node, keeps its old tail: the next push lands on the
 * part that was cut off, and zlst_delete() takes nodes off that part. And a node that was chained into a list by hand,
 * and is pushed as well, becomes the last one: what stood behind it is off the list. The cure for both: whoever
 * rearranges a list by hand zeroes the `spare` words of its first node. The next call then walks, finds the tail, and
 * refuses a node that is there already.
 */
i32 zlst_push(void *head, void *node);

/**
 * @brief Take a node off a list, in constant time for a list that only zlst_push() and zlst_delete() changed.
 * @param head address of the list head
 * @param node the node; it is not freed
 * @return non-zero on success, 0 when the node is not on this list or an argument is null
 */
i32 zlst_delete(void *head, void *node);

/* ------------------------------------------------------------------------------------------------------------------
 * Initialisation, memory and diagnostics
 * ---------------------------------------------------------------------------------------------------------------- */

/** @brief What psiSch_Init() needs. Owned by the host; read once. */
typedef struct psiInitRegisterInfo {
    u32 reserved;               /**< not read */
    u32 memPoolParam0;          /**< first argument of buddy_create(): size of the pool's arena in bytes */
    u32 memPoolParam1;          /**< second argument of buddy_create(): smallest block in bytes, 0 for the default */
    void (*psiMsSleep)(u32 ms); /**< sleep for so many milliseconds */
    u32 (*getMsTimeCnt)(void);  /**< free-running tick in milliseconds, wraps at 2^32 */
} psiInitRegisterInfo;

/**
 * @brief Initialise the module: install the host's callbacks and create the memory pool.
 * @param registerInfo the host's record; null is refused
 * @return 0, or -1 when a callback is missing, the pool cannot be made, or the module was initialised before
 *
 * To be called once, from the start-up task. The first call counts even when it fails: every later one is refused,
 * until psiSch_Exit().
 */
i32 psiSch_Init(const psiInitRegisterInfo *registerInfo);

/**
 * @brief Register the module ("psi", "V1.0.11") with the platform's module registry, once.
 *
 * Looks for the function `module_info_register` in the platform's symbol table. A registry that refuses the record is
 * asked again at the next call. To be called from the start-up task.
 */
void psi_info_register(void);

/**
 * @brief Allocate a block from the module's pool.
 * @param size bytes wanted
 * @return the block, aligned for a pair of pointers, or null when the pool is exhausted or not yet made
 */
void *psi_buddy_malloc(u32 size);

/**
 * @brief Give a block back to the module's pool.
 * @param p the block, or null (nothing happens)
 * @return 0, or -1 when `p` is not the start of a live block of the pool
 */
i32 psi_buddy_free(void *p);

/**
 * @brief Change the size of a block; its bytes are kept up to the smaller of both sizes.
 * @param p the block, or null for a new one
 * @param size bytes wanted; 0 frees the block
 * @return the block, perhaps at another place, or null: then the old one is unchanged (unless `size` was 0)
 */
void *psi_buddy_realloc(void *p, u32 size);

/**
 * @brief Print the pool's statistics.
 * @param arg 0: the totals; other: the free blocks of every size as well
 * @return 0, or -1 when there is no pool
 */
i32 psi_buddy_report(u32 arg);

/** @brief Occupancy of the module's pool, in bytes of whole blocks and in numbers of blocks and calls. */
typedef struct psiBuddyStat {
    u32 size;         /**< bytes that can be handed out, all blocks together */
    u32 used;         /**< bytes in live blocks */
    u32 highWater;    /**< the most that `used` has ever been */
    u32 liveBlocks;   /**< number of live blocks */
    u32 failedAllocs; /**< requests that the pool could not serve */
    u32 refusedFrees; /**< frees of what was no live block */
} psiBuddyStat;

/**
 * @brief Read the pool's statistics.
 * @param stat gets them
 * @return 0, or -1 when there is no pool or `stat` is null; silent
 */
i32 psi_buddy_stat(psiBuddyStat *stat);

/**
 * @brief Leave the module: give the pool and its arena back, and forget the callbacks.
 * @return 0, also without a pool; -1, silently, while a search or make object lives: then nothing happens
 *
 * psiSch_Init() then works as if it had never been called. Every block of the pool is gone: trees, lists and bytes that
 * the host still has must not be used again. Report levels, hook and registration stay. To be called while no other
 * task is inside the library.
 */
i32 psiSch_Exit(void);

/**
 * @brief Set the report level of acquisition, analysis, parsing, model and framing.
 * @param level 0: silent; 1: errors; 2: and warnings (the start value); 3: and info; 4: and debug. Not checked.
 *
 * Takes effect at once, also in a search that is running.
 */
void setPsiSchRPTLevel(u32 level);

/** @brief Set the report level of generation. @param level as in setPsiSchRPTLevel() */
void setPsiMakeRPTLevel(u32 level);

/**
 * @brief Host callback: take one message.
 * @param user what psiLogHookSet() was given
 * @param kind 0: error; 1: warning; 2: info; 3: debug
 * @param file path of the source file, as it is printed without a hook: "../../psiSch.cpp"
 * @param line line of the message: with `file` it leads to the one place where the text stands
 * @param format printf() format of the message, without a line end; it stays valid after the call
 * @param args its arguments; they, and the strings they point to, are valid during the call
 *
 * Called from the task that logs, which may hold an object's mutex and that of the pool. It must not call the library,
 * nor wait for a task that does.
 */
typedef void (*psiLogHook)(void *user, u32 kind, const char *file, u32 line, const char *format, va_list args);

/**
 * @brief Send every message that the report levels let through to a hook, one call each.
 * @param hook takes the messages in place of the three printf() calls that a message is otherwise; null gives them back
 * @param user handed to the hook
 *
 * Messages of several tasks then never mix, and a console that is slow does not hold a search up. To be set while no
 * other task is inside the library. It outlives psiSch_Exit(). The lines of psi_info_register() and psi_buddy_report()
 * are no messages: they are printed all the same. In a library built with PSI_LOG_LEVEL 0 there is nothing to take.
 */
void psiLogHookSet(psiLogHook hook, void *user);

/**
 * @brief Milliseconds since a tick of the host's `getMsTimeCnt`, across a wrap of the counter.
 * @param startTick an earlier value of the counter
 * @return elapsed milliseconds; 0 when the counter has not moved
 */
u32 psiGetIncreaseTime(u32 startTick);

/**
 * @brief Name of a table type, for logs and user interfaces.
 * @param psiType any value
 * @return a static string; "unknow table" for a code without a table
 */
const char *showPsiTypeStr(u32 psiType);

/* ------------------------------------------------------------------------------------------------------------------
 * The section list
 * ---------------------------------------------------------------------------------------------------------------- */

/** @brief One stored section, node of a `sectionList`. */
typedef struct sectionData {
    zlstNode link;
    u8 psiType;   /**< table-type code */
    u8 sectionNo; /**< section_number */
    u16 idExt;    /**< table_id_extension */
    u16 len;      /**< bytes in `buf`: the whole section, table_id to CRC_32 */
    u16 pid;      /**< PID it came on; on the make side where the generator knows it, else 0 */
    u8 *buf;      /**< the section: a pool block of `len` bytes, owned by the node */
} sectionData;

/**
 * @brief Add a zeroed node to a section list.
 * @param head address of the list head; null is refused
 * @return the node, owned by the list, or null
 */
sectionData *sectionDataCreat(sectionData **head);

/**
 * @brief Take a node off its list and free it with its section.
 * @param head address of the list head
 * @param node a node of this list
 * @return 0, or -1 for a null argument, an empty list or a node that is not on it
 */
i32 sectionDataDestroy(sectionData **head, sectionData *node);

/**
 * @brief Destroy all sections of one type.
 * @param head address of the list head
 * @param psiType table-type code
 * @return 0 (also for an empty list), or -1
 */
i32 singleTypeSectionDataDestroy(sectionData **head, u32 psiType);

/**
 * @brief Destroy all sections of one type and table_id_extension.
 * @param head address of the list head
 * @param psiType table-type code
 * @param idExt table_id_extension
 * @return 0 (also for an empty list), or -1
 */
i32 singleTypeAndIdExtSectionDataDestroy(sectionData **head, u32 psiType, u32 idExt);

/* ------------------------------------------------------------------------------------------------------------------
 * The model of a transport stream
 * ---------------------------------------------------------------------------------------------------------------- */

/** @brief Fields copied from a section's header. */
typedef struct psiHead {
    u8 syntax_indicator; /**< section_syntax_indicator, 0 or 1 */
    u8 version_number;   /**< 0..31 */
    u8 current_next;     /**< current_next_indicator, 0 or 1 */
    u8 section_number;
    u8 last_section_number;
} psiHead;

/** @brief A descriptor, node of every descriptor list. ISO/IEC 13818-1 2.6. */
typedef struct descInfo {
    zlstNode link;
    u8 descTag;   /**< descriptor_tag */
    u8 descLen;   /**< descriptor_length: bytes at `descData`, tag and length not counted */
    u8 *descData; /**< the bytes behind the length, or null when there are none */
} descInfo;

/** @brief A CA_descriptor. ISO/IEC 13818-1 2.6.16. */
typedef struct caInfo {
    zlstNode link;
    u16 caSystemId;  /**< CA_system_ID */
    u16 caPid;       /**< CA_PID, 13 bits */
    u8 privateLen;   /**< descriptor_length - 4 */
    u8 *privateData; /**< private_data, `privateLen` bytes, or null */
} caInfo;

/** @brief An elementary stream of a program. ISO/IEC 13818-1 2.4.4.8. */
typedef struct esInfo {
    zlstNode link;
    u8 esType;          /**< stream_type */
    u16 esPid;          /**< elementary_PID, 13 bits */
    descInfo *descList; /**< descriptors but CA */
    caInfo *caList;     /**< CA descriptors */
} esInfo;

/** @brief A program (service, virtual channel) of the stream. */
typedef struct progInfo {
    zlstNode link;
    psiHead pmtHead;          /**< header of its PMT section; its version is the one that PMT generation writes */
    u16 progNo;               /**< program_number, service_id */
    u16 pmtPid;               /**< program_map_PID, 13 bits, from the PAT */
    u16 pcrPid;               /**< PCR_PID, 13 bits */
    u16 pmtValid;             /**< 1: a PMT section was analysed to its end */
    u8 ca_mode;               /**< free_CA_mode of the SDT */
    u8 run_stat;              /**< running_status of the SDT, 3 bits */
    u8 prog_type;             /**< service_type of the service_descriptor */
    u8 EIT_flag;              /**< EIT_schedule_flag */
    u8 EIT_pre_flag;          /**< EIT_present_following_flag */
    u8 caFlag;                /**< bit 0: CA descriptor at program level; bit 1: at a stream */
    u8 snameLen;              /**< bytes at `sname` */
    u8 pnameLen;              /**< bytes at `pname` */
    u8 *pname;                /**< service provider name, not terminated */
    u8 *sname;                /**< service name; of a VCT channel the 14-byte short_name */
    esInfo *esList;           /**< elementary streams */
    caInfo *caList;           /**< CA descriptors at program level */
    descInfo *pmtDescList;    /**< other descriptors at program level */
    descInfo *sdtDescList;    /**< SDT descriptors but the service_descriptor; descriptors of the VCT channel */
    u16 major_channel_number; /**< VCT, 10 bits */
    u16 minor_channel_number; /**< VCT, 10 bits */
    u16 channel_TSID;         /**< VCT */
    u16 source_id;            /**< VCT */
    u8 modulation_mode;       /**< VCT */
    u8 service_type;          /**< VCT, 6 bits */
    u32 pmtCrc;               /**< CRC_32 of the last PMT section */
} progInfo;

/**
 * @brief The digest of one transport stream, inside every search and make object.
 *
 * Names and payloads lead into the stored sections (search side) or into pool blocks that the model owns (make side).
 * A null pointer with length 0 stands for an absent name or payload.
 */
typedef struct tsInfo {
    psiHead patHead;          /**< header of the last PAT section */
    psiHead sdtHead;          /**< header of the last SDT (actual) or VCT section */
    psiHead catHead;          /**< header of the last CAT section */
    u16 netPid;               /**< network_PID, 13 bits */
    u16 tsId;                 /**< transport_stream_id */
    u16 orNetId;              /**< original_network_id */
    u16 netId;                /**< network_id */
    u32 tableMask;            /**< bit n: a table of type n has been acquired */
    u8 netFlag;               /**< 1: the PAT names a network PID */
    u8 netnameLen;            /**< bytes at `netname` */
    u8 *netname;              /**< network name, not terminated */
    progInfo *progList;       /**< programs in the order of the PAT */
    descInfo *catDescList;    /**< CAT descriptors but CA */
    descInfo *vctDescList;    /**< additional descriptors of the VCT */
    caInfo *catCaList;        /**< CA descriptors of the CAT */
    sectionData *sectionList; /**< acquired or generated sections */
} tsInfo;

/**
 * @name Nodes of the model
 *
 * Each creator adds a zeroed node to the list whose head's address it is given and returns it, or null (null address,
 * pool exhausted). Each destroyer takes the node off that list, empties the lists it owns and frees it; it returns 0,
 * or -1 for a null argument, an empty list, a node that is not on the list, or a nested failure, which stops it at
 * once. `freeData` (low 8 bits): non-zero also frees the names and payloads, which then must be pool blocks or null.
 * @{
 */
descInfo *descInfoCreat(descInfo **headDescInfo);
i32 descInfoDestroy(descInfo **headDescInfo, descInfo *descInfo, u32 freeData);
caInfo *caInfoCreat(caInfo **headCaInfo);
i32 caInfoDestroy(caInfo **headCaInfo, caInfo *caInfo, u32 freeData);
esInfo *esInfoCreat(esInfo **headEsInfo);
i32 esInfoDestroy(esInfo **headEsInfo, esInfo *esInfo, u32 freeData);
progInfo *progInfoCreat(progInfo **headProgInfo);
i32 progInfoDestroy(progInfo **headProgInfo, progInfo *progInfo, u32 freeData);
/** @} */

/**
 * @brief Find a program of the model.
 * @param tsInfo the model
 * @param progNo program_number; the low 16 bits count
 * @return the first program of that number, owned by the model, or null
 */
progInfo *getProgInfo(tsInfo *tsInfo, u32 progNo);

/**
 * @brief Fold one section into a model.
 * @param tsInfo the model
 * @param sectionData the section, with `buf`, `len`, `psiType` and, for a PMT, `idExt` set
 * @param ioFlag low 8 bits: 0: names and payloads point into the section, which must outlive them; 1: they are copied
 *        into pool blocks that the model owns. Other values are refused.
 * @return 0, or -1. A type that is not analysed (SDT other, NIT other, BAT, MGT, STT, emergency tables) gives 0.
 *
 * Nodes are only added and fields overwritten; what was read before a failure stays. A PMT, SDT or VCT section needs
 * the PAT of its programs first. Whoever shares the model with another task holds the object's mutex.
 *
 * The program is the one that getProgInfo() gives, with one exception: in a list of more than 32 that sections name in
 * its order, a program that was given by hand, or chained in by hand with, the number of one behind it may be passed
 * over. Programs that come by progInfoCreat() and zlst_push(), and go by progInfoDestroy(), are always seen.
 */
i32 analysePsi(tsInfo *tsInfo, sectionData *sectionData, u32 ioFlag);

/* ------------------------------------------------------------------------------------------------------------------
 * Search objects
 * ---------------------------------------------------------------------------------------------------------------- */

/** @brief The section filter that a search asks of the host, handed to both callbacks. */
typedef struct psiSchInfo {
    psiObjId objId; /**< the search object */
    u16 pid;        /**< PID to filter, 13 bits */
    u16 tableIdExt; /**< table_id_extension to filter, when `useIdExt` is 1 */
    u8 tableId;     /**< table_id to filter */
    u8 sectionNo;   /**< section_number wanted next */
    u8 useIdExt;    /**< 1: filter on `tableIdExt` as well */
    u8 longSection; /**< 1: sections up to 4096 bytes, up to 24 packets in a read; 0: 1024 bytes, 7 packets */
    u32 reserved;   /**< 0 */
} psiSchInfo;

/**
 * @brief Host callback: arm, or arm again, the filter that the record describes.
 * @param info the filter; the library's, valid during the call
 * @return ignored
 *
 * Called from the task that runs the search, with the object's mutex held: at the start of a table, sub-table or
 * program, at every step to another section_number, and again after every read that gave no section or one that was not
 * taken. A filter that is armed again goes on with what comes next: one that begins anew with what it has delivered
 * before delivers it for ever.
 *
 * What holds for both callbacks: they return. They may stop the search, set and read time-outs, private value and user
 * pointer, and lock and unlock the object. They must not search, clear or destroy the object that calls them, destroy
 * its sections or leave the module.
 */
typedef i32 (*psiSearchHandleFn)(psiSchInfo *info);

/**
 * @brief Host callback: deliver one captured section as whole 188-byte packets of its PID, back to back.
 * @param info the filter last armed
 * @param tsBuf room for 7 packets (1316 bytes), for a `longSection` 24 (4512 bytes); more must not be written
 * @param tsNum number of packets delivered
 * @return PSI_DATA_OK, PSI_DATA_NO_READY, PSI_DATA_ERROR or PSI_NO_TABLE
 *
 * Called from the task that runs the search, with the object's mutex held. It should not block for long: a stop and
 * the time-out are looked at between two reads.
 *
 * The section has the filter's table_id and section_number, and its table_id_extension where `useIdExt` is 1. A filter
 * that lets other section numbers pass makes a search of one sub-table take them as they come: the same ones again and
 * again, without an end when none is the last, and it ends with the last one though others are missing.
 *
 * The callback sets the pace: the library sleeps, 20 ms, after PSI_DATA_NO_READY and after nothing else. A device that
 * answers an error at once is read a million times a second; let the callback wait, or answer PSI_DATA_NO_READY.
 */
typedef i32 (*readPsiHandleFn)(psiSchInfo *info, u8 *tsBuf, u8 *tsNum);

/** @brief What psiSchCreate() needs. Owned by the host; read once. */
typedef struct psiSchRegisterInfo {
    u32 reserved;                             /**< not read */
    u32 privateValue;                         /**< any value of the host's; see getSchPrivateValue() */
    i32 (*psiSearchHandle)(psiSchInfo *info); /**< arms the section filter; see psiSearchHandleFn */
    i32 (*readPsiHandle)(psiSchInfo *info, u8 *tsBuf, u8 *tsNum); /**< reads a section; see readPsiHandleFn */
} psiSchRegisterInfo;

/** @brief A search object: one acquisition context. Made by psiSchCreate(); a host reads it, at most. */
typedef struct tableObj {
    zlstNode link;    /**< node of headTableObj */
    psiObjId objId;   /**< the object's own address while it lives */
    u32 privateValue; /**< the host's value */
    u8 stopFlag;      /**< 1: searches end at their next check */
    i32 (*psiSearchHandle)(psiSchInfo *info);
    i32 (*readPsiHandle)(psiSchInfo *info, u8 *tsBuf, u8 *tsNum);
    psiSemId semId;       /**< recursive mutex with priority inheritance */
    u16 timeOutMs[12];    /**< time-out per table type 0..11, milliseconds */
    struct tsInfo tsInfo; /**< the model */
} tableObj;

/** @brief All search objects. No lock: create and destroy from one task. */
extern tableObj *headTableObj;

/**
 * @brief Create a search object.
 * @param registerInfo the host's record; both callbacks must be set
 * @return its handle, or 0
 *
 * Time-outs start at 2000 ms (PAT), 4000 ms (PMT of each program, SDT and NIT actual, CAT, MGT, VCT, STT, and the
 * emergency tables) and 6000 ms (SDT other, NIT other, BAT). Create and destroy objects from one task.
 */
psiObjId psiSchCreate(const psiSchRegisterInfo *registerInfo);

/**
 * @brief Empty and free a search object.
 * @param objId its handle
 * @return 0, or -1 (invalid handle, or its model cannot be emptied: the object is kept)
 *
 * The host first stops, and waits for, any search on the object.
 */
i32 psiSchDestroy(psiObjId objId);

/**
 * @brief Find the object behind a handle.
 * @param objId any value; one that is not a live search object's is answered with null
 * @return the object, or null
 */
tableObj *getTableObj(psiObjId objId);

/**
 * @brief Take the object's mutex, however long that takes; its owner may take it again.
 * @param objId a search object
 * @return 0, or -1 for an invalid object, and, silently, when the mutex cannot be taken
 *
 * While it is held, no search, clear or change of a time-out runs but the owner's own.
 */
i32 psiSchLock(psiObjId objId);

/**
 * @brief Give the object's mutex back, once for every psiSchLock().
 * @param objId a search object
 * @return 0, or -1 for an invalid object, and, silently, when the calling task does not own the mutex
 */
i32 psiSchUnlock(psiObjId objId);

/**
 * @brief Keep a pointer of the host's with a search object.
 * @param objId a search object
 * @param pointer anything; the library does not follow it
 * @return 0, or -1 for an invalid object
 *
 * It stays through clears and searches, until the object is destroyed.
 */
i32 psiSchUserPointerSet(psiObjId objId, void *pointer);

/** @brief The pointer that psiSchUserPointerSet() has kept. @param objId a search object @return null at first, and for
 * an invalid object */
void *psiSchUserPointer(psiObjId objId);

/** @brief The private value of a search object. @param objId its handle @return the value, 0 on failure */
u32 getSchPrivateValue(psiObjId objId);

/**
 * @brief The model of a search object, with what was acquired.
 * @param objId its handle
 * @return the model, inside the object, or null
 *
 * It is read, and sections on its list are destroyed, while no search and no clear of the object runs: in the task that
 * has searched, or between psiSchLock() and psiSchUnlock(). What it points to stays until the next clear, re-search or
 * psiSchSectionsDestroy().
 */
tsInfo *getSchObjDataInfo(psiObjId objId);

/**
 * @brief Empty the whole model of a search object, sections included.
 * @param objId its handle
 * @return 0, or -1 (what was destroyed until then stays destroyed), silently when the mutex cannot be taken
 *
 * Holds the object's mutex, so it waits for a running search to end.
 */
i32 clearTableInfo(psiObjId objId);

/**
 * @brief Forget PAT, PMT, SDT actual, CAT and VCT of a search object, before they are searched again.
 * @param objId its handle
 * @return 0, or -1
 *
 * Sections of other tables and their bits of `tableMask` stay. The caller holds the object's mutex.
 */
i32 clearTsInfo(psiObjId objId);

/**
 * @brief Destroy stored sections of a search object, and forget what its model has in them.
 * @param objId its handle
 * @param psiType table-type code, compared whole
 * @param idExt table_id_extension, or -1 for all of that type
 * @return 0, also when there is none; -1 for an invalid object, when a section cannot be destroyed (those in front of
 * it are gone), and, silently, when the mutex cannot be taken
 *
 * Names and payloads of the model that lead into these sections become null with length 0; nodes and all other fields
 * stay. (The operations on section lists do not know of models: sections that they destroy may be pointed to still.)
 * Holds the object's mutex, so it waits for a running search to end.
 */
i32 psiSchSectionsDestroy(psiObjId objId, u32 psiType, i32 idExt);

/* ------------------------------------------------------------------------------------------------------------------
 * Searches
 *
 * A search adds to the model. Of a table that was found before, section list and model then have everything twice; of a
 * PMT only what was missing is searched. re_SchTable() forgets first, and so does a host with clearTableInfo() or
 * psiSchSectionsDestroy().
 *
 * How long a search holds the object's mutex. A table that is not there, or comes whole, takes one time-out at most for
 * each of its sections (PMT: for each program), and one more, of SDT other, NIT other, BAT and the emergency tables, to
 * see that nothing follows. A hostile stream can stretch that: a section that is announced and never comes takes a
 * time-out. With the time-outs that are set at first that is 256 for one sub-table (PAT: 9 minutes), 32,769 for the
 * tables of many sub-tables (SDT other: 55 hours) and 64,768 for the PMTs (3 days), plus what the host's own calls
 * take. A watchdog task that calls psiSchStop() ends it within 20 ms and one read.
 * ---------------------------------------------------------------------------------------------------------------- */

/**
 * @brief Search one table type, in the calling task, until it is complete, absent, timed out or stopped.
 * @param objId the search object
 * @param psiType table-type code
 * @return sections found (for the PMT: programs), 0 when there was none, for an invalid object or a type without table
 *
 * Holds the object's mutex throughout; without it nothing is searched, silently. A PAT search clears a stop. The model
 * must hold the PAT before PMT, SDT actual or VCT are searched. A running search takes a pool block of 2 KiB (emergency
 * tables: 8 KiB), one more of 1 KiB for SDT other, NIT other, BAT and the emergency tables, and what it stores;
 * psiSchEndReason() tells when these were not to be had.
 */
u32 schTable(psiObjId objId, u32 psiType);

/**
 * @brief Search the standard set of tables in its fixed order.
 * @param objId the search object
 * @param standard 0: DVB (PAT, PMT, CAT, SDT actual, NIT actual, NIT other, SDT other, BAT, EBIT, EBCT, EBCAT, EBCCT);
 *        1: ATSC (PAT, PMT, CAT, VCT, MGT, STT)
 * @return 0 when the PAT was found and the set searched, else -1
 *
 * The mutex is held by each search, and free between two of them.
 */
i32 autoSchTable(psiObjId objId, u32 standard);

/**
 * @brief Forget one table type and search it again.
 * @param objId the search object
 * @param psiType table-type code; PAT, PMT, SDT actual, CAT and VCT are forgotten and searched together, emergency
 *        tables are refused
 * @param standard 1: VCT, other: SDT actual belongs to the PAT's group
 * @return sections found (for the PAT's group: of the PAT), 0 on failure
 *
 * Holds the object's mutex throughout.
 */
u32 re_SchTable(psiObjId objId, u32 psiType, u32 standard);

/** @brief How a search ended. */
typedef enum psiEndReason {
    PSI_END_NEVER,     /**< there was none yet; also for an invalid object and a code without table */
    PSI_END_WHOLE,     /**< everything that was asked for came */
    PSI_END_ABSENT,    /**< the read callback said PSI_NO_TABLE, be it behind some sections */
    PSI_END_TIMEOUT,   /**< something that was asked for did not come, or not with a right CRC */
    PSI_END_STOPPED,   /**< psiSchStop() */
    PSI_END_NO_MEMORY, /**< the pool had no room for the search, or for something that came and did not come again later
                        */
    PSI_END_REFUSED    /**< it did not begin: no mutex, no callbacks, nothing forgotten for a re-search, or a re-search
                          that    does not exist */
} psiEndReason;

/**
 * @brief How the last search for a table ended.
 * @param objId the search object
 * @param psiType table-type code
 * @return the reason; while a search for this table runs, that of the one before
 *
 * A table of one sub-table is whole when all its sections, from 0 to last_section_number, were analysed. Of the PMTs
 * the first program that was not whole counts, also when a stop came later; one that had its PMT before is whole, and
 * so is a model without programs. SDT other, NIT other, BAT and the emergency tables, whose end is always a time-out,
 * are whole when a section came, all that came are undamaged, and no sub-table of which one came lacks another. No
 * memory counts before a time-out.
 */
psiEndReason psiSchEndReason(psiObjId objId, u32 psiType);

/**
 * @brief Ask a running search to end, from any task.
 * @param objId the search object
 *
 * Takes no mutex. The search ends at its next pass, at most 20 ms and one read callback later. The stop stays: every
 * later search ends at once too, until psiSchStopResume() or a search of the PAT, alone or in a set or re-search.
 */
void psiSchStop(psiObjId objId);

/** @brief Take a stop back. @param objId the search object. Takes no mutex. */
void psiSchStopResume(psiObjId objId);

/**
 * @brief Set the time-out of a table type.
 * @param objId the search object
 * @param psiType 0..7 or 9..11; others are warned of and nothing is stored. The emergency tables use that of type 4.
 * @param timeOutMs milliseconds; per section, for the PMT per program
 * @return 0 (also for a type without time-out), or -1 for an invalid object, and, silently, when the mutex cannot be
 * taken
 *
 * Holds the object's mutex, so it waits for a running search to end.
 */
i32 psiSchTimeOutSet(psiObjId objId, u32 psiType, u16 timeOutMs);

/**
 * @brief The time-out of a table type.
 * @param objId the search object
 * @param psiType table-type code
 * @return milliseconds, 0 on failure. Takes no mutex.
 */
u16 psiSchTimeOutGet(psiObjId objId, u32 psiType);

/* ------------------------------------------------------------------------------------------------------------------
 * Framing
 * ---------------------------------------------------------------------------------------------------------------- */

/**
 * @brief CRC-32/MPEG-2 of a byte run. ISO/IEC 13818-1 Annex A.
 * @param data the bytes; not checked
 * @param len their number; 0 gives 0xFFFFFFFF
 * @return polynomial 0x04C11DB7, start value 0xFFFFFFFF, not reflected, not inverted
 */
u32 psiCalculateCrc(const u8 *data, u32 len);

/**
 * @brief Check that a section lies within its buffer and that its CRC_32 is right.
 * @param section table_id first
 * @param bufLen valid bytes at `section`; more than the section is accepted
 * @return 0, or -1 (logged only when section_length reaches beyond the buffer)
 */
i32 psiCheckCrc(const u8 *section, u32 bufLen);

/**
 * @brief Put the first section of a run of packets back together.
 * @param tsData `tsNum` packets of 188 bytes of one PID; the first one opens the section
 * @param tsNum 1..24
 * @param sectionData room for 1024 bytes; gets the section, table_id to CRC_32
 * @param sectionLen gets its length
 * @return 0, or -1: a break in the run, or a section over 1024 bytes; then nothing is written. The CRC is not checked.
 *
 * Strict: duplicates and gaps of the continuity_counter end it. ISO/IEC 13818-1 2.4.3 and 2.4.4. May be called by many
 * tasks at once.
 */
i32 psiTsToSection(const u8 *tsData, u8 tsNum, u8 *sectionData, u16 *sectionLen);

/**
 * @brief The same as psiTsToSection() for sections up to 4096 bytes.
 * @param tsData packets @param tsNum 1..24 @param sectionData room for 4096 bytes @param sectionLen its length
 * @return 0 or -1
 */
i32 psiTsToLongSection(const u8 *tsData, u8 tsNum, u8 *sectionData, u16 *sectionLen);

/**
 * @brief Cut a section into transport packets.
 * @param pid 0..0x1FFF, not masked
 * @param sectionData the section
 * @param sectionLen its length, at most 1024
 * @param tsData room for 6 packets (1128 bytes)
 * @param tsNum gets the number of packets
 * @return 0, or -1 for a null argument or a section too long; then `tsNum` is not written
 *
 * Payload only; continuity_counter starts at 0 in every call, so a host that sends sections in sequence renumbers it.
 */
i32 psiSectionToTs(u16 pid, const u8 *sectionData, u16 sectionLen, u8 *tsData, u8 *tsNum);

/* ------------------------------------------------------------------------------------------------------------------
 * Syntax trees: one record per section, with every field and every loop
 * ---------------------------------------------------------------------------------------------------------------- */

/** @brief An entry of the PAT; program_number 0 gives the network PID. ISO/IEC 13818-1 2.4.4.3. */
typedef struct psiPatProg {
    zlstNode link;
    u16 program_number;
    u16 program_map_PID; /**< 13 bits */
} psiPatProg;

/** @brief A PAT section. ISO/IEC 13818-1 2.4.4.3. */
typedef struct patSection {
    u8 table_id;
    u8 section_syntax_indicator;
    u8 version_number;
    u8 current_next_indicator;
    u8 section_number;
    u8 last_section_number;
    u16 section_length; /**< 12 bits */
    u16 transport_stream_id;
    psiPatProg *prog_info;
    u32 CRC_32;
} patSection;

/** @brief An elementary stream of the PMT. ISO/IEC 13818-1 2.4.4.8. */
typedef struct psiPmtEs {
    zlstNode link;
    u8 stream_type;
    u16 elementary_PID; /**< 13 bits */
    u16 ES_info_length; /**< 12 bits */
    descInfo *es_descriptor;
} psiPmtEs;

/** @brief A PMT section. ISO/IEC 13818-1 2.4.4.8. */
typedef struct pmtSection {
    u8 table_id;
    u8 section_syntax_indicator;
    u8 version_number;
    u8 current_next_indicator;
    u8 section_number;
    u8 last_section_number;
    u16 section_length; /**< 12 bits */
    u16 program_number;
    u16 PCR_PID;             /**< 13 bits */
    u16 program_info_length; /**< 12 bits */
    descInfo *prog_descriptor;
    psiPmtEs *es_info;
    u32 CRC_32;
} pmtSection;

/** @brief A CAT section. ISO/IEC 13818-1 2.4.4.6. */
typedef struct catSection {
    u8 table_id;
    u8 section_syntax_indicator;
    u8 version_number;
    u8 current_next_indicator;
    u8 section_number;
    u8 last_section_number;
    u16 section_length; /**< 12 bits */
    descInfo *cat_descriptor;
    u32 CRC_32;
} catSection;

/** @brief A transport stream of a NIT or BAT. EN 300 468 5.2.1, 5.2.2. */
typedef struct psiStreamInfo {
    zlstNode link;
    u16 transport_stream_id;
    u16 original_network_id;
    u16 transport_descriptors_length; /**< 12 bits */
    descInfo *descriptor;
} psiStreamInfo;

/** @brief A NIT section, actual or other (see `table_id`). EN 300 468 5.2.1. */
typedef struct nitSection {
    u8 table_id;
    u8 section_syntax_indicator;
    u8 version_number;
    u8 current_next_indicator;
    u8 section_number;
    u8 last_section_number;
    u16 section_length; /**< 12 bits */
    u16 network_id;
    u16 network_descriptors_length; /**< 12 bits */
    descInfo *net_descriptor;
    psiStreamInfo *stream_info;
    u32 CRC_32;
} nitSection;

/** @brief A service of an SDT. EN 300 468 5.2.3. */
typedef struct psiSdtService {
    zlstNode link;
    u8 free_CA_mode;               /**< 0 or 1 */
    u8 running_status;             /**< 3 bits */
    u8 EIT_schedule_flag;          /**< 0 or 1 */
    u8 EIT_present_following_flag; /**< 0 or 1 */
    u16 service_id;
    u16 descriptors_loop_length; /**< 12 bits */
    descInfo *service_descriptor;
} psiSdtService;

/** @brief An SDT section, actual or other (see `table_id`). EN 300 468 5.2.3. */
typedef struct sdtSection {
    u8 table_id;
    u8 section_syntax_indicator;
    u8 version_number;
    u8 current_next_indicator;
    u8 section_number;
    u8 last_section_number;
    u16 section_length; /**< 12 bits */
    u16 transport_stream_id;
    u16 original_network_id;
    psiSdtService *service_info;
    u32 CRC_32;
} sdtSection;

/** @brief A BAT section. EN 300 468 5.2.2. */
typedef struct batSection {
    u8 table_id;
    u8 section_syntax_indicator;
    u8 version_number;
    u8 current_next_indicator;
    u8 section_number;
    u8 last_section_number;
    u16 section_length; /**< 12 bits */
    u16 bouquet_id;
    u16 bouquet_descriptors_length; /**< 12 bits */
    descInfo *bouquet_descriptor;
    psiStreamInfo *stream_info;
    u32 CRC_32;
} batSection;

/** @brief A table that the MGT announces. A/65 6.2. */
typedef struct mgtTableInfo {
    zlstNode link;
    u16 table_type;
    u16 table_type_PID; /**< 13 bits */
    u32 number_bytes;
    u8 table_type_version_number;      /**< 5 bits */
    u16 table_type_descriptors_length; /**< 12 bits */
    descInfo *table_desc_info;
} mgtTableInfo;

/** @brief An MGT section. A/65 6.2. */
typedef struct mgtSection {
    u8 table_id;
    u8 section_syntax_indicator;
    u8 private_indicator;
    u8 version_number;
    u8 current_next_indicator;
    u8 section_number;
    u8 last_section_number;
    u8 protocol_version;
    u16 section_length; /**< 12 bits */
    u16 tables_defined;
    mgtTableInfo *table_info;
    u16 descriptors_length; /**< 12 bits */
    descInfo *mgt_desc_info;
    u32 CRC_32;
} mgtSection;

/** @brief A stream of an EBIT details channel. */
typedef struct ebitStream {
    zlstNode link;
    u8 stream_type;
    u16 elementary_PID; /**< 13 bits */
    u16 ES_info_length; /**< 12 bits */
    descInfo *descriptor;
} ebitStream;

/** @brief The details channel of an EBIT message; not a list node. */
typedef struct ebitDetailsChannel {
    u16 details_word0;
    u16 details_word1;
    u16 details_word2;       /**< only the second byte of the field in the section: 0..255 */
    u16 details_pid;         /**< 13 bits */
    u16 program_info_length; /**< 12 bits */
    u16 stream_info_length;  /**< 16 bits */
    descInfo *descriptor;
    ebitStream *stream;
} ebitDetailsChannel;

/** @brief A resource of an EBIT message. */
typedef struct ebitResource {
    zlstNode link;
    u8 resource_code[12]; /**< of the first byte the low 4 bits */
} ebitResource;

/** @brief A message of the EBIT. Numbers in the names are byte positions in the message entry. */
typedef struct ebitMessage {
    zlstNode link;
    u8 ebm_id[18]; /**< of the first byte the low 4 bits */
    u8 ebm_bytes32[5];
    u8 ebm_high37; /**< 4 bits */
    u8 ebm_low37;  /**< 4 bits */
    u8 resource_number;
    u8 details_channel_flag; /**< 0 or 1 */
    u16 ebm_word0;
    u16 ebm_word20;
    u16 ebm_word22;
    u16 ebm_word27;
    u32 ebm_value24; /**< 24 bits */
    u32 ebm_value29; /**< 24 bits */
    ebitResource *resource;
    ebitDetailsChannel *channel; /**< null without a details channel */
} ebitMessage;

/** @brief An EBIT section. */
typedef struct ebitSection {
    u8 table_id;
    u8 section_syntax_indicator;
    u8 version_number;
    u8 current_next_indicator;
    u8 section_number;
    u8 last_section_number;
    u8 ebm_number; /**< number of messages */
    u16 section_length;
    u16 table_id_extension;
    u16 signature_length;
    u32 CRC_32;
    ebitMessage *message;
    u8 *signature; /**< `signature_length` bytes, or null; not verified */
} ebitSection;

/** @brief Auxiliary data of an EBCT content; the parser skips the bytes and leaves `auxiliary_data` null. */
typedef struct ebctAuxiliaryData {
    zlstNode link;
    u8 auxiliary_data_type;
    u32 auxiliary_data_length; /**< 24 bits */
    u8 *auxiliary_data;
} ebctAuxiliaryData;

/** @brief A content of the EBCT. Numbers in the names are byte positions in the content entry. */
typedef struct ebctContent {
    zlstNode link;
    u8 content_byte4;
    u8 content_byte5;
    u8 content_byte6;
    u8 content_bits7; /**< 3 bits */
    u8 agency_name_length;
    u8 auxiliary_data_number; /**< 4 bits */
    u16 message_text_length;
    u32 content_word; /**< bytes 0 to 3 */
    u8 *message_text; /**< `message_text_length` bytes, or null */
    u8 *agency_name;  /**< `agency_name_length` bytes, or null */
    ebctAuxiliaryData *auxiliaryData;
} ebctContent;

/** @brief An EBCT section. Of a section_number other than 0 only the header is read. */
typedef struct ebctSection {
    u8 table_id;
    u8 section_syntax_indicator;
    u8 version_number;
    u8 current_next_indicator;
    u8 section_number;
    u8 last_section_number;
    u8 ebm_id[18];     /**< of the first byte the low 4 bits */
    u8 content_number; /**< 4 bits */
    u16 section_length;
    u16 table_id_extension;
    u16 signature_length;
    u32 CRC_32;
    ebctContent *content;
    u8 *signature; /**< `signature_length` bytes, or null; not verified */
} ebctSection;

/** @brief An entry of the EBCAT's CA list. */
typedef struct ebcatCalist {
    zlstNode link;
    u16 ca_data_length;
    u8 *ca_data; /**< `ca_data_length` bytes, or null */
} ebcatCalist;

/** @brief An entry of the EBCAT's ct list. */
typedef struct ebcatCt {
    zlstNode link;
    u8 ct_data_length;
    u8 *ct_data; /**< `ct_data_length` bytes, or null */
} ebcatCt;

/** @brief An EBCAT section. */
typedef struct ebcatSection {
    u8 table_id;
    u8 section_syntax_indicator;
    u8 version_number;
    u8 current_next_indicator;
    u8 section_number;
    u8 last_section_number;
    u8 calist_number;
    u8 ct_number;
    u16 section_length;
    u16 table_id_extension;
    u16 signature_length;
    u32 CRC_32;
    ebcatCalist *calist;
    ebcatCt *ct;
    u8 *signature; /**< `signature_length` bytes, or null; not verified */
} ebcatSection;

/** @brief A command of the EBCCT. */
typedef struct ebcctCmd {
    zlstNode link;
    u8 cmd_tag;
    u16 cmd_data_length;
    u8 *cmd_data; /**< `cmd_data_length` bytes, or null */
} ebcctCmd;

/** @brief An EBCCT section. */
typedef struct ebcctSection {
    u8 table_id;
    u8 section_syntax_indicator;
    u8 version_number;
    u8 current_next_indicator;
    u8 section_number;
    u8 last_section_number;
    u8 cmd_number;
    u16 section_length;
    u16 table_id_extension;
    u16 signature_length;
    u32 CRC_32;
    ebcctCmd *cmd;
    u8 *signature; /**< `signature_length` bytes, or null; not verified */
} ebcctSection;

/**
 * @brief Parse one section into a tree that keeps every field.
 * @param psiType table-type code; actual and other variants share one record. VCT and STT are not parsed.
 * @param tree address of a pointer to the type's record; gets the new tree, unchanged on failure
 * @param buf the section, table_id to CRC_32; may be freed afterwards
 * @param bufLen its length in bytes; CRC_32 is read from the last four
 * @return 0, or -1 (bad argument, wrong CRC or table_id, inconsistent lengths, pool exhausted): then nothing is left
 *
 * The caller owns the tree and frees it with syntaxDestroyPsiSection() of the same type.
 */
i32 syntaxAnalysePsi(u32 psiType, void **tree, const u8 *buf, u32 bufLen);

/**
 * @brief Free a tree.
 * @param psiType the type it was parsed as
 * @param section the tree
 * @return 0, or -1 (null, unknown type, or a part that cannot be destroyed: then the tree must not be used again)
 */
i32 syntaxDestroyPsiSection(u32 psiType, void *section);

/**
 * @name Nodes and records of the trees
 *
 * Node creators add a zeroed node to the list whose head's address they are given and return it, or null. Node
 * destroyers take the node off its list and free it with all that it owns; they return 0, or -1 for a null argument, an
 * empty list, a node that is not on it, or a nested failure. Where there is a `freeData` (low 8 bits), the node's data
 * buffer is freed only when it is non-zero. Record creators return a zeroed record or null; record destroyers take the
 * record and return 0 or -1.
 * @{
 */
psiPatProg *psiPatProgCreat(psiPatProg **headProgInfo);
i32 psiPatProgDestroy(psiPatProg **headProgInfo, psiPatProg *progInfo);
psiPmtEs *psiPmtEsCreat(psiPmtEs **headEsInfo);
i32 psiPmtEsDestroy(psiPmtEs **headEsInfo, psiPmtEs *esInfo);
psiSdtService *psiSdtServiceCreat(psiSdtService **headServiceInfo);
i32 psiSdtServiceDestroy(psiSdtService **headServiceInfo, psiSdtService *serviceInfo);
psiStreamInfo *psiStreamInfoCreat(psiStreamInfo **headStreamInfo);
i32 psiStreamInfoDestroy(psiStreamInfo **headStreamInfo, psiStreamInfo *streamInfo);
mgtTableInfo *mgtTableInfoCreat(mgtTableInfo **headTableInfo);
i32 mgtTableInfoDestroy(mgtTableInfo **headTableInfo, mgtTableInfo *mgtTableInfo);

patSection *psiPatSectionCreat(void);
i32 psiPatSectionDestroy(patSection *patSection);
pmtSection *psiPmtSectionCreat(void);
i32 psiPmtSectionDestroy(pmtSection *pmtSection);
catSection *psiCatSectionCreat(void);
i32 psiCatSectionDestroy(catSection *catSection);
nitSection *psiNitSectionCreat(void);
i32 psiNitSectionDestroy(nitSection *nitSection);
sdtSection *psiSdtSectionCreat(void);
i32 psiSdtSectionDestroy(sdtSection *sdtSection);
batSection *psiBatSectionCreat(void);
i32 psiBatSectionDestroy(batSection *batSection);
mgtSection *psipMgtSectionCreat(void);
i32 psipMgtSectionDestroy(mgtSection *mgtSection);

ebitStream *ebitStreamCreat(ebitStream **streamHead);
i32 ebitStreamDestroy(ebitStream **streamHead, ebitStream *stream);
ebitDetailsChannel *ebitDetailsChannelCreat(void);
i32 ebitDetailsChannlDestroy(ebitDetailsChannel *channel);
ebitResource *ebitResourceCreat(ebitResource **resourceHead);
i32 ebitResourceDestroy(ebitResource **resourceHead, ebitResource *resource);
ebitMessage *ebitMessageCreat(ebitMessage **ebmHead);
i32 ebitMessageDestroy(ebitMessage **ebmHead, ebitMessage *ebm);
ebctAuxiliaryData *ebctAuxiliaryDataCreat(ebctAuxiliaryData **dataHead);
i32 ebctAuxiliaryDataDestroy(ebctAuxiliaryData **dataHead, ebctAuxiliaryData *data, u32 freeData);
ebctContent *ebctContentCreat(ebctContent **contentHead);
i32 ebctContentDestroy(ebctContent **contentHead, ebctContent *content);
ebcatCalist *ebcatCalistCreat(ebcatCalist **caListHead);
i32 ebcatCalistDestroy(ebcatCalist **caListHead, ebcatCalist *caList, u32 freeData);
ebcatCt *ebcatCtCreat(ebcatCt **ctHead);
i32 ebcatCtDestroy(ebcatCt **ctHead, ebcatCt *ct, u32 freeData);
ebcctCmd *ebcctCmdCreat(ebcctCmd **cmdHead);
i32 ebcctCmdDestroy(ebcctCmd **cmdHead, ebcctCmd *cmd, u32 freeData);

ebitSection *psiEbitSectionCreat(void);
i32 psiEbitSectionDestroy(ebitSection *ebitSection);
ebctSection *psiEbctSectionCreat(void);
i32 psiEbctSectionDestroy(ebctSection *ebctSection);
ebcatSection *psiEbcatSectionCreat(void);
i32 psiEbcatSectionDestroy(ebcatSection *ebcatSection);
ebcctSection *psiEbcctSectionCreat(void);
i32 psiEbcctSectionDestroy(ebcctSection *ebcctSection);
/** @} */

/* ------------------------------------------------------------------------------------------------------------------
 * Make objects and generation
 * ---------------------------------------------------------------------------------------------------------------- */

/** @brief A make object: one generation context. Made by psiMakeCreate(); a host reads it, at most. */
typedef struct tableMakeObj {
    zlstNode link;        /**< node of headMakeTableObj */
    psiObjId objId;       /**< the object's own address */
    psiSemId semId;       /**< recursive mutex with priority inheritance */
    struct tsInfo tsInfo; /**< the model and the generated sections */
} tableMakeObj;

/** @brief All make objects. No lock: create and destroy from one task. */
extern tableMakeObj *headMakeTableObj;

/** @brief Create a make object. @return its handle, or 0. Create and destroy objects from one task. */
psiObjId psiMakeCreate(void);

/**
 * @brief Empty and free a make object.
 * @param objId its handle, not to be used again
 * @return 0, or -1 when there is no such object or a step failed (the object is freed all the same)
 */
i32 psiMakeDestroy(psiObjId objId);

/**
 * @brief Empty the model of a make object, names and payloads included; the PAT's version_number is kept.
 * @param objId its handle
 * @return 0, or -1 when a part could not be destroyed
 *
 * Every name and payload in the model must be a pool block or null. A part that cannot be destroyed is tried three
 * times and then dropped; the model is empty in any case. Holds the object's mutex.
 */
i32 clearMakeTableInfo(psiObjId objId);

/** @brief Find the object behind a handle. @param objId any value @return the object, or null */
tableMakeObj *getOutTableObj(psiObjId objId);

/** @brief The model of a make object. @param objId its handle @return the model, inside the object, or null */
tsInfo *getMakeObjDataInfo(psiObjId objId);

/**
 * @brief Generate the sections of one table from a model, in place of those of that type on its section list.
 * @param objDataInfo the model
 * @param psiType PAT, PMT (all programs), SDT actual, CAT, MGT or VCT
 * @return 0, or -1 (a type that is not generated included)
 *
 * The host serialises work on one model.
 */
i32 psiMakeSection(tsInfo *objDataInfo, u32 psiType);

/**
 * @brief Generate the tables of a standard: PAT, PMT, CAT and then SDT actual (DVB) or VCT and MGT (ATSC).
 * @param objId a make object
 * @param standard 0: DVB; 1: ATSC
 * @return 0, or -1 (unknown standard, no such object, or the PAT failed); results of later tables are ignored
 */
i32 AutoMakeSection(psiObjId objId, u32 standard);

/**
 * @name Generators
 *
 * Each takes a model, removes the sections of its type from the section list and adds the new ones; versions are taken
 * from the model as they are. They return 0, or -1; sections made before a failure stay on the list.
 *
 * How many sections a PAT, CAT, SDT or VCT takes follows from its bytes alone, of which 16 bits count: behind a last
 * section that is full to the byte stands an empty one. Programs, services and descriptors are never split; what does
 * not find room in that many sections is left out without a message, and so are a service that is larger than a section
 * and all behind it. An SDT of no programs is not made (-1).
 *
 * A CA descriptor, in PMT and CAT, holds 251 bytes of private data (ISO/IEC 13818-1 2.6.16). More are written all the
 * same, with the low 8 bits of their length: that section cannot be parsed.
 *
 * Layouts: ISO/IEC 13818-1 2.4.4 (PAT, PMT, CAT), EN 300 468 5.2.3 (SDT), A/65 6.2 and 6.3.1 (MGT, VCT).
 * @{
 */
i32 patMakeSection(tsInfo *objDataInfo);
/** @brief The PMT of each program. One that cannot be made is logged and left out; the result is 0 all the same. */
i32 pmtMakeSection(tsInfo *objDataInfo);
/**
 * @brief One program's PMT, which is never split.
 * @param objDataInfo the model
 * @param progNo program_number, low 16 bits
 * @return 0 (a program that the model does not have included), or -1: also for descriptors of more than 1008 bytes and
 *         for a section of more than 4096
 *
 * The five bytes of a stream do not count against the 1008, so a PMT of many streams may pass 1024 bytes.
 */
i32 pmtMakeOneSection(tsInfo *objDataInfo, u32 progNo);
/** @brief The CAT, when `tableMask` has its bit; without it the result is 0 and there is none. */
i32 catMakeSection(tsInfo *objDataInfo);
/**
 * @brief The SDT (actual), a service_descriptor for each program.
 *
 * The descriptor_length of a service_descriptor holds 252 bytes of both names together (EN 300 468 6.2.33). Longer ones
 * are written whole all the same, with the low 8 bits of their length: that section cannot be parsed.
 */
i32 sdtaMakeSection(tsInfo *objDataInfo);
/**
 * @brief The terrestrial VCT, with a service_location_descriptor for each program.
 *
 * Its descriptor_length holds 42 streams (A/65 6.9.5). More are written all the same, with the low 8 bits of their
 * length: that section cannot be parsed.
 */
i32 vctMakeSection(tsInfo *objDataInfo);
/** @brief The MGT: patches one that is on the section list, or makes one that announces the VCT that is there. */
i32 mgtMakeSection(tsInfo *objDataInfo);
/** @} */

/**
 * @brief Write an edited SDT, NIT or BAT tree back as sections.
 * @param objDataInfo the model whose section list holds the table's sections
 * @param pointer the tree (sdtSection, nitSection or batSection); only read
 * @param idExt transport_stream_id, network_id or bouquet_id under which the sections are filed
 * @param psiType SDT, NIT (actual or other) or BAT
 * @return 0, or -1
 *
 * A tree that fits one section replaces the section of its number; a larger one makes the whole table be gathered from
 * the stored sections, split again and numbered from 0. A stored section that is missing or cannot be parsed, be it for
 * want of memory, adds nothing; an entry that is larger than a section is left out, and so are all behind it. Of the
 * tree's bytes 16 bits count. After a failure while sections are stored, those stored so far are all there is: there is
 * no way back.
 *
 * The host serialises work on one model.
 */
i32 syntaxSIMakeSeciton(tsInfo *objDataInfo, void *pointer, u16 idExt, u32 psiType);

/**
 * @name Regenerators
 *
 * What syntaxSIMakeSeciton() calls; arguments, results and locks are its.
 * @{
 */
i32 syntaxSdtMakeSeciton(tsInfo *objDataInfo, sdtSection *sdt, u16 tsId);
i32 syntaxNitMakeSeciton(tsInfo *objDataInfo, nitSection *nit, u16 netId);
i32 syntaxBatMakeSeciton(tsInfo *objDataInfo, batSection *bat, u16 bouquetId);
/** @} */

#ifdef __cplusplus
}
#endif

#endif /* PSI_H */
