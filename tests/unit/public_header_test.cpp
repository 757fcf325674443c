// The declarations that hosts are compiled against: the type of every field, the order of the fields, the type of every
// operation. All is decided by the compiler; the checks stand in tests so that they have names.
#include "psi.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <type_traits>

namespace {

/** @brief Where a field is and what it takes. */
struct Field {
    std::size_t offset;
    std::size_t size;
    std::size_t alignment;
};

template <typename Declared, typename Expected> constexpr Field field(std::size_t offset)
{
    static_assert(std::is_same_v<Declared, Expected>, "type of the field");
    // NOLINTNEXTLINE(bugprone-sizeof-expression): of a field that is a pointer, the pointer's size
    return {offset, sizeof(Expected), alignof(Expected)};
}

constexpr std::size_t roundedUp(std::size_t offset, std::size_t alignment)
{
    return (offset + alignment - 1) / alignment * alignment;
}

/** @brief Do these fields, in this order and nothing else, make a record of this size? */
template <std::size_t n> constexpr bool makeUp(const Field (&fields)[n], std::size_t size)
{
    std::size_t end = 0;
    std::size_t alignment = 1;
    for (const Field &field : fields) {
        if (field.offset != roundedUp(end, field.alignment))
            return false;
        end = field.offset + field.size;
        alignment = field.alignment > alignment ? field.alignment : alignment;
    }
    return size == roundedUp(end, alignment);
}

#define FIELD(name, ...) field<decltype(Record::name), __VA_ARGS__>(offsetof(Record, name))

#define EXPECT_RECORD(record, ...)                                                                                     \
    do {                                                                                                               \
        using Record = struct record;                                                                                  \
        constexpr Field fields[] = {__VA_ARGS__};                                                                      \
        static_assert(makeUp(fields, sizeof(Record)), #record);                                                        \
    } while (false)

#define EXPECT_OPERATION(operation, ...) static_assert(std::is_same_v<decltype(&operation), __VA_ARGS__>, #operation)

#define EXPECT_NODE(node, creat, destroy)                                                                              \
    EXPECT_OPERATION(creat, struct node *(*)(struct node **));                                                         \
    EXPECT_OPERATION(destroy, i32 (*)(struct node **, struct node *))

#define EXPECT_NODE_WITH_FLAG(node, creat, destroy)                                                                    \
    EXPECT_OPERATION(creat, struct node *(*)(struct node **));                                                         \
    EXPECT_OPERATION(destroy, i32 (*)(struct node **, struct node *, u32))

#define EXPECT_TREE(record, creat, destroy)                                                                            \
    EXPECT_OPERATION(creat, struct record *(*)());                                                                     \
    EXPECT_OPERATION(destroy, i32 (*)(struct record *))

using SearchFn = i32 (*)(psiSchInfo *);
using ReadFn = i32 (*)(psiSchInfo *, u8 *, u8 *);

TEST(PublicHeader, HasIntegersOfFixedWidthAndHandlesAsWideAsAnAddress)
{
    static_assert(std::is_same_v<u8, std::uint8_t> && std::is_same_v<u16, std::uint16_t>);
    static_assert(std::is_same_v<u32, std::uint32_t> && std::is_same_v<i32, std::int32_t>);
    static_assert(std::is_same_v<psiObjId, std::uintptr_t>);
    static_assert(sizeof(psiSemId) == sizeof(void *) && sizeof(psiPoolId) == sizeof(void *));
    static_assert(std::is_same_v<psiSearchHandleFn, SearchFn> && std::is_same_v<readPsiHandleFn, ReadFn>);
}

TEST(PublicHeader, HasTheCodesOfTablesAndReadResults)
{
    static_assert(PSI_PAT == 0 && PSI_PMT == 1 && PSI_SDT_ACTUAL == 2 && PSI_SDT_OTHER == 3 && PSI_NIT_ACTUAL == 4);
    static_assert(PSI_NIT_OTHER == 5 && PSI_BAT == 6 && PSI_CAT == 7 && PSI_NO_TYPE == 8 && PSI_MGT == 9);
    static_assert(PSI_VCT == 10 && PSI_STT == 11 && PSI_EBIT == 12 && PSI_EBCT == 13 && PSI_EBCAT == 14);
    static_assert(PSI_EBCCT == 15);
    static_assert(PSI_DATA_OK == 0 && PSI_DATA_NO_READY == 1 && PSI_DATA_ERROR == 3 && PSI_NO_TABLE == 4);
}

TEST(PublicHeader, HasTheRecordsOfInitialisationAndSearch)
{
    EXPECT_RECORD(zlstNode, FIELD(next, void *), FIELD(spare, uintptr_t[4]));
    EXPECT_RECORD(psiInitRegisterInfo, FIELD(reserved, u32), FIELD(memPoolParam0, u32), FIELD(memPoolParam1, u32),
                  FIELD(psiMsSleep, void (*)(u32)), FIELD(getMsTimeCnt, u32(*)()));
    EXPECT_RECORD(psiSchRegisterInfo, FIELD(reserved, u32), FIELD(privateValue, u32), FIELD(psiSearchHandle, SearchFn),
                  FIELD(readPsiHandle, ReadFn));
    EXPECT_RECORD(psiSchInfo, FIELD(objId, psiObjId), FIELD(pid, u16), FIELD(tableIdExt, u16), FIELD(tableId, u8),
                  FIELD(sectionNo, u8), FIELD(useIdExt, u8), FIELD(longSection, u8), FIELD(reserved, u32));
    EXPECT_RECORD(sectionData, FIELD(link, zlstNode), FIELD(psiType, u8), FIELD(sectionNo, u8), FIELD(idExt, u16),
                  FIELD(len, u16), FIELD(pid, u16), FIELD(buf, u8 *));
    EXPECT_RECORD(tableObj, FIELD(link, zlstNode), FIELD(objId, psiObjId), FIELD(privateValue, u32),
                  FIELD(stopFlag, u8), FIELD(psiSearchHandle, SearchFn), FIELD(readPsiHandle, ReadFn),
                  FIELD(semId, psiSemId), FIELD(timeOutMs, u16[12]), FIELD(tsInfo, struct tsInfo));
    EXPECT_RECORD(tableMakeObj, FIELD(link, zlstNode), FIELD(objId, psiObjId), FIELD(semId, psiSemId),
                  FIELD(tsInfo, struct tsInfo));
    static_assert(std::is_same_v<decltype(headTableObj), tableObj *>);
    static_assert(std::is_same_v<decltype(headMakeTableObj), tableMakeObj *>);
}

TEST(PublicHeader, HasTheAdditions)
{
    static_assert(PSI_VERSION_MAJOR == 0 && PSI_VERSION_MINOR >= 2 && PSI_VERSION_PATCH >= 0);
    static_assert(PSI_END_NEVER == 0 && PSI_END_WHOLE == 1 && PSI_END_ABSENT == 2 && PSI_END_TIMEOUT == 3);
    static_assert(PSI_END_STOPPED == 4 && PSI_END_NO_MEMORY == 5 && PSI_END_REFUSED == 6);
    EXPECT_RECORD(psiBuddyStat, FIELD(size, u32), FIELD(used, u32), FIELD(highWater, u32), FIELD(liveBlocks, u32),
                  FIELD(failedAllocs, u32), FIELD(refusedFrees, u32));
    static_assert(std::is_same_v<psiLogHook, void (*)(void *, u32, const char *, u32, const char *, va_list)>);
    EXPECT_OPERATION(psiVersion, const char *(*)());
    EXPECT_OPERATION(psiSchEndReason, psiEndReason(*)(psiObjId, u32));
    EXPECT_OPERATION(psi_buddy_stat, i32(*)(psiBuddyStat *));
    EXPECT_OPERATION(psiLogHookSet, void (*)(psiLogHook, void *));
    EXPECT_OPERATION(psiSch_Exit, i32(*)());
    EXPECT_OPERATION(psiSchLock, i32(*)(psiObjId));
    EXPECT_OPERATION(psiSchUnlock, i32(*)(psiObjId));
    EXPECT_OPERATION(psiSchUserPointerSet, i32(*)(psiObjId, void *));
    EXPECT_OPERATION(psiSchUserPointer, void *(*)(psiObjId));
    EXPECT_OPERATION(psiSchSectionsDestroy, i32(*)(psiObjId, u32, i32));
}

TEST(PublicHeader, HasTheRecordsOfTheModel)
{
    EXPECT_RECORD(psiHead, FIELD(syntax_indicator, u8), FIELD(version_number, u8), FIELD(current_next, u8),
                  FIELD(section_number, u8), FIELD(last_section_number, u8));
    EXPECT_RECORD(tsInfo, FIELD(patHead, psiHead), FIELD(sdtHead, psiHead), FIELD(catHead, psiHead), FIELD(netPid, u16),
                  FIELD(tsId, u16), FIELD(orNetId, u16), FIELD(netId, u16), FIELD(tableMask, u32), FIELD(netFlag, u8),
                  FIELD(netnameLen, u8), FIELD(netname, u8 *), FIELD(progList, progInfo *),
                  FIELD(catDescList, descInfo *), FIELD(vctDescList, descInfo *), FIELD(catCaList, caInfo *),
                  FIELD(sectionList, sectionData *));
    EXPECT_RECORD(progInfo, FIELD(link, zlstNode), FIELD(pmtHead, psiHead), FIELD(progNo, u16), FIELD(pmtPid, u16),
                  FIELD(pcrPid, u16), FIELD(pmtValid, u16), FIELD(ca_mode, u8), FIELD(run_stat, u8),
                  FIELD(prog_type, u8), FIELD(EIT_flag, u8), FIELD(EIT_pre_flag, u8), FIELD(caFlag, u8),
                  FIELD(snameLen, u8), FIELD(pnameLen, u8), FIELD(pname, u8 *), FIELD(sname, u8 *),
                  FIELD(esList, esInfo *), FIELD(caList, caInfo *), FIELD(pmtDescList, descInfo *),
                  FIELD(sdtDescList, descInfo *), FIELD(major_channel_number, u16), FIELD(minor_channel_number, u16),
                  FIELD(channel_TSID, u16), FIELD(source_id, u16), FIELD(modulation_mode, u8), FIELD(service_type, u8),
                  FIELD(pmtCrc, u32));
    EXPECT_RECORD(esInfo, FIELD(link, zlstNode), FIELD(esType, u8), FIELD(esPid, u16), FIELD(descList, descInfo *),
                  FIELD(caList, caInfo *));
    EXPECT_RECORD(caInfo, FIELD(link, zlstNode), FIELD(caSystemId, u16), FIELD(caPid, u16), FIELD(privateLen, u8),
                  FIELD(privateData, u8 *));
    EXPECT_RECORD(descInfo, FIELD(link, zlstNode), FIELD(descTag, u8), FIELD(descLen, u8), FIELD(descData, u8 *));
}

/** @brief The six fields that every tree but the MGT's begins with. */
#define COMMON_HEADER                                                                                                  \
    FIELD(table_id, u8), FIELD(section_syntax_indicator, u8), FIELD(version_number, u8),                               \
        FIELD(current_next_indicator, u8), FIELD(section_number, u8), FIELD(last_section_number, u8)

TEST(PublicHeader, HasTheTreesOfPsiAndSi)
{
    EXPECT_RECORD(patSection, COMMON_HEADER, FIELD(section_length, u16), FIELD(transport_stream_id, u16),
                  FIELD(prog_info, psiPatProg *), FIELD(CRC_32, u32));
    EXPECT_RECORD(pmtSection, COMMON_HEADER, FIELD(section_length, u16), FIELD(program_number, u16),
                  FIELD(PCR_PID, u16), FIELD(program_info_length, u16), FIELD(prog_descriptor, descInfo *),
                  FIELD(es_info, psiPmtEs *), FIELD(CRC_32, u32));
    EXPECT_RECORD(catSection, COMMON_HEADER, FIELD(section_length, u16), FIELD(cat_descriptor, descInfo *),
                  FIELD(CRC_32, u32));
    EXPECT_RECORD(nitSection, COMMON_HEADER, FIELD(section_length, u16), FIELD(network_id, u16),
                  FIELD(network_descriptors_length, u16), FIELD(net_descriptor, descInfo *),
                  FIELD(stream_info, psiStreamInfo *), FIELD(CRC_32, u32));
    EXPECT_RECORD(sdtSection, COMMON_HEADER, FIELD(section_length, u16), FIELD(transport_stream_id, u16),
                  FIELD(original_network_id, u16), FIELD(service_info, psiSdtService *), FIELD(CRC_32, u32));
    EXPECT_RECORD(batSection, COMMON_HEADER, FIELD(section_length, u16), FIELD(bouquet_id, u16),
                  FIELD(bouquet_descriptors_length, u16), FIELD(bouquet_descriptor, descInfo *),
                  FIELD(stream_info, psiStreamInfo *), FIELD(CRC_32, u32));
    EXPECT_RECORD(mgtSection, FIELD(table_id, u8), FIELD(section_syntax_indicator, u8), FIELD(private_indicator, u8),
                  FIELD(version_number, u8), FIELD(current_next_indicator, u8), FIELD(section_number, u8),
                  FIELD(last_section_number, u8), FIELD(protocol_version, u8), FIELD(section_length, u16),
                  FIELD(tables_defined, u16), FIELD(table_info, mgtTableInfo *), FIELD(descriptors_length, u16),
                  FIELD(mgt_desc_info, descInfo *), FIELD(CRC_32, u32));
}

TEST(PublicHeader, HasTheNodesOfThoseTrees)
{
    EXPECT_RECORD(psiPatProg, FIELD(link, zlstNode), FIELD(program_number, u16), FIELD(program_map_PID, u16));
    EXPECT_RECORD(psiPmtEs, FIELD(link, zlstNode), FIELD(stream_type, u8), FIELD(elementary_PID, u16),
                  FIELD(ES_info_length, u16), FIELD(es_descriptor, descInfo *));
    EXPECT_RECORD(psiSdtService, FIELD(link, zlstNode), FIELD(free_CA_mode, u8), FIELD(running_status, u8),
                  FIELD(EIT_schedule_flag, u8), FIELD(EIT_present_following_flag, u8), FIELD(service_id, u16),
                  FIELD(descriptors_loop_length, u16), FIELD(service_descriptor, descInfo *));
    EXPECT_RECORD(psiStreamInfo, FIELD(link, zlstNode), FIELD(transport_stream_id, u16),
                  FIELD(original_network_id, u16), FIELD(transport_descriptors_length, u16),
                  FIELD(descriptor, descInfo *));
    EXPECT_RECORD(mgtTableInfo, FIELD(link, zlstNode), FIELD(table_type, u16), FIELD(table_type_PID, u16),
                  FIELD(number_bytes, u32), FIELD(table_type_version_number, u8),
                  FIELD(table_type_descriptors_length, u16), FIELD(table_desc_info, descInfo *));
}

TEST(PublicHeader, HasTheTreesOfTheEmergencyTables)
{
    EXPECT_RECORD(ebitSection, COMMON_HEADER, FIELD(ebm_number, u8), FIELD(section_length, u16),
                  FIELD(table_id_extension, u16), FIELD(signature_length, u16), FIELD(CRC_32, u32),
                  FIELD(message, ebitMessage *), FIELD(signature, u8 *));
    EXPECT_RECORD(ebctSection, COMMON_HEADER, FIELD(ebm_id, u8[18]), FIELD(content_number, u8),
                  FIELD(section_length, u16), FIELD(table_id_extension, u16), FIELD(signature_length, u16),
                  FIELD(CRC_32, u32), FIELD(content, ebctContent *), FIELD(signature, u8 *));
    EXPECT_RECORD(ebcatSection, COMMON_HEADER, FIELD(calist_number, u8), FIELD(ct_number, u8),
                  FIELD(section_length, u16), FIELD(table_id_extension, u16), FIELD(signature_length, u16),
                  FIELD(CRC_32, u32), FIELD(calist, ebcatCalist *), FIELD(ct, ebcatCt *), FIELD(signature, u8 *));
    EXPECT_RECORD(ebcctSection, COMMON_HEADER, FIELD(cmd_number, u8), FIELD(section_length, u16),
                  FIELD(table_id_extension, u16), FIELD(signature_length, u16), FIELD(CRC_32, u32),
                  FIELD(cmd, ebcctCmd *), FIELD(signature, u8 *));
}

TEST(PublicHeader, HasTheNodesOfTheEmergencyTables)
{
    EXPECT_RECORD(ebitMessage, FIELD(link, zlstNode), FIELD(ebm_id, u8[18]), FIELD(ebm_bytes32, u8[5]),
                  FIELD(ebm_high37, u8), FIELD(ebm_low37, u8), FIELD(resource_number, u8),
                  FIELD(details_channel_flag, u8), FIELD(ebm_word0, u16), FIELD(ebm_word20, u16),
                  FIELD(ebm_word22, u16), FIELD(ebm_word27, u16), FIELD(ebm_value24, u32), FIELD(ebm_value29, u32),
                  FIELD(resource, ebitResource *), FIELD(channel, ebitDetailsChannel *));
    EXPECT_RECORD(ebitResource, FIELD(link, zlstNode), FIELD(resource_code, u8[12]));
    EXPECT_RECORD(ebitDetailsChannel, FIELD(details_word0, u16), FIELD(details_word1, u16), FIELD(details_word2, u16),
                  FIELD(details_pid, u16), FIELD(program_info_length, u16), FIELD(stream_info_length, u16),
                  FIELD(descriptor, descInfo *), FIELD(stream, ebitStream *));
    EXPECT_RECORD(ebitStream, FIELD(link, zlstNode), FIELD(stream_type, u8), FIELD(elementary_PID, u16),
                  FIELD(ES_info_length, u16), FIELD(descriptor, descInfo *));
    EXPECT_RECORD(ebctContent, FIELD(link, zlstNode), FIELD(content_byte4, u8), FIELD(content_byte5, u8),
                  FIELD(content_byte6, u8), FIELD(content_bits7, u8), FIELD(agency_name_length, u8),
                  FIELD(auxiliary_data_number, u8), FIELD(message_text_length, u16), FIELD(content_word, u32),
                  FIELD(message_text, u8 *), FIELD(agency_name, u8 *), FIELD(auxiliaryData, ebctAuxiliaryData *));
    EXPECT_RECORD(ebctAuxiliaryData, FIELD(link, zlstNode), FIELD(auxiliary_data_type, u8),
                  FIELD(auxiliary_data_length, u32), FIELD(auxiliary_data, u8 *));
    EXPECT_RECORD(ebcatCalist, FIELD(link, zlstNode), FIELD(ca_data_length, u16), FIELD(ca_data, u8 *));
    EXPECT_RECORD(ebcatCt, FIELD(link, zlstNode), FIELD(ct_data_length, u8), FIELD(ct_data, u8 *));
    EXPECT_RECORD(ebcctCmd, FIELD(link, zlstNode), FIELD(cmd_tag, u8), FIELD(cmd_data_length, u16),
                  FIELD(cmd_data, u8 *));
}

TEST(PublicHeader, HasTheOperationsOfTheModule)
{
    EXPECT_OPERATION(psiSch_Init, i32(*)(const psiInitRegisterInfo *));
    EXPECT_OPERATION(psi_info_register, void (*)());
    EXPECT_OPERATION(psi_buddy_malloc, void *(*)(u32));
    EXPECT_OPERATION(psi_buddy_free, i32(*)(void *));
    EXPECT_OPERATION(psi_buddy_realloc, void *(*)(void *, u32));
    EXPECT_OPERATION(psi_buddy_report, i32(*)(u32));
    EXPECT_OPERATION(setPsiSchRPTLevel, void (*)(u32));
    EXPECT_OPERATION(setPsiMakeRPTLevel, void (*)(u32));
    EXPECT_OPERATION(psiGetIncreaseTime, u32(*)(u32));
    EXPECT_OPERATION(showPsiTypeStr, const char *(*)(u32));
    EXPECT_OPERATION(zlst_push, i32(*)(void *, void *));
    EXPECT_OPERATION(zlst_delete, i32(*)(void *, void *));
    EXPECT_OPERATION(psiCalculateCrc, u32(*)(const u8 *, u32));
    EXPECT_OPERATION(psiCheckCrc, i32(*)(const u8 *, u32));
    EXPECT_OPERATION(psiTsToSection, i32(*)(const u8 *, u8, u8 *, u16 *));
    EXPECT_OPERATION(psiTsToLongSection, i32(*)(const u8 *, u8, u8 *, u16 *));
    EXPECT_OPERATION(psiSectionToTs, i32(*)(u16, const u8 *, u16, u8 *, u8 *));
}

TEST(PublicHeader, HasTheOperationsOfSearchAndModel)
{
    EXPECT_OPERATION(psiSchCreate, psiObjId(*)(const psiSchRegisterInfo *));
    EXPECT_OPERATION(psiSchDestroy, i32(*)(psiObjId));
    EXPECT_OPERATION(getTableObj, tableObj * (*)(psiObjId));
    EXPECT_OPERATION(getSchPrivateValue, u32(*)(psiObjId));
    EXPECT_OPERATION(getSchObjDataInfo, tsInfo * (*)(psiObjId));
    EXPECT_OPERATION(clearTableInfo, i32(*)(psiObjId));
    EXPECT_OPERATION(clearTsInfo, i32(*)(psiObjId));
    EXPECT_OPERATION(schTable, u32(*)(psiObjId, u32));
    EXPECT_OPERATION(autoSchTable, i32(*)(psiObjId, u32));
    EXPECT_OPERATION(re_SchTable, u32(*)(psiObjId, u32, u32));
    EXPECT_OPERATION(psiSchStop, void (*)(psiObjId));
    EXPECT_OPERATION(psiSchStopResume, void (*)(psiObjId));
    EXPECT_OPERATION(psiSchTimeOutSet, i32(*)(psiObjId, u32, u16));
    EXPECT_OPERATION(psiSchTimeOutGet, u16(*)(psiObjId, u32));
    EXPECT_NODE(sectionData, sectionDataCreat, sectionDataDestroy);
    EXPECT_OPERATION(singleTypeSectionDataDestroy, i32(*)(sectionData **, u32));
    EXPECT_OPERATION(singleTypeAndIdExtSectionDataDestroy, i32(*)(sectionData **, u32, u32));
    EXPECT_NODE_WITH_FLAG(descInfo, descInfoCreat, descInfoDestroy);
    EXPECT_NODE_WITH_FLAG(caInfo, caInfoCreat, caInfoDestroy);
    EXPECT_NODE_WITH_FLAG(esInfo, esInfoCreat, esInfoDestroy);
    EXPECT_NODE_WITH_FLAG(progInfo, progInfoCreat, progInfoDestroy);
    EXPECT_OPERATION(getProgInfo, progInfo * (*)(tsInfo *, u32));
    EXPECT_OPERATION(analysePsi, i32(*)(tsInfo *, sectionData *, u32));
}

TEST(PublicHeader, HasTheOperationsOfTheTrees)
{
    EXPECT_OPERATION(syntaxAnalysePsi, i32(*)(u32, void **, const u8 *, u32));
    EXPECT_OPERATION(syntaxDestroyPsiSection, i32(*)(u32, void *));
    EXPECT_NODE(psiPatProg, psiPatProgCreat, psiPatProgDestroy);
    EXPECT_NODE(psiPmtEs, psiPmtEsCreat, psiPmtEsDestroy);
    EXPECT_NODE(psiSdtService, psiSdtServiceCreat, psiSdtServiceDestroy);
    EXPECT_NODE(psiStreamInfo, psiStreamInfoCreat, psiStreamInfoDestroy);
    EXPECT_NODE(mgtTableInfo, mgtTableInfoCreat, mgtTableInfoDestroy);
    EXPECT_TREE(patSection, psiPatSectionCreat, psiPatSectionDestroy);
    EXPECT_TREE(pmtSection, psiPmtSectionCreat, psiPmtSectionDestroy);
    EXPECT_TREE(catSection, psiCatSectionCreat, psiCatSectionDestroy);
    EXPECT_TREE(nitSection, psiNitSectionCreat, psiNitSectionDestroy);
    EXPECT_TREE(sdtSection, psiSdtSectionCreat, psiSdtSectionDestroy);
    EXPECT_TREE(batSection, psiBatSectionCreat, psiBatSectionDestroy);
    EXPECT_TREE(mgtSection, psipMgtSectionCreat, psipMgtSectionDestroy);
    EXPECT_NODE(ebitStream, ebitStreamCreat, ebitStreamDestroy);
    EXPECT_TREE(ebitDetailsChannel, ebitDetailsChannelCreat, ebitDetailsChannlDestroy);
    EXPECT_NODE(ebitResource, ebitResourceCreat, ebitResourceDestroy);
    EXPECT_NODE(ebitMessage, ebitMessageCreat, ebitMessageDestroy);
    EXPECT_NODE_WITH_FLAG(ebctAuxiliaryData, ebctAuxiliaryDataCreat, ebctAuxiliaryDataDestroy);
    EXPECT_NODE(ebctContent, ebctContentCreat, ebctContentDestroy);
    EXPECT_NODE_WITH_FLAG(ebcatCalist, ebcatCalistCreat, ebcatCalistDestroy);
    EXPECT_NODE_WITH_FLAG(ebcatCt, ebcatCtCreat, ebcatCtDestroy);
    EXPECT_NODE_WITH_FLAG(ebcctCmd, ebcctCmdCreat, ebcctCmdDestroy);
    EXPECT_TREE(ebitSection, psiEbitSectionCreat, psiEbitSectionDestroy);
    EXPECT_TREE(ebctSection, psiEbctSectionCreat, psiEbctSectionDestroy);
    EXPECT_TREE(ebcatSection, psiEbcatSectionCreat, psiEbcatSectionDestroy);
    EXPECT_TREE(ebcctSection, psiEbcctSectionCreat, psiEbcctSectionDestroy);
}

TEST(PublicHeader, HasTheOperationsOfGeneration)
{
    EXPECT_OPERATION(psiMakeCreate, psiObjId(*)());
    EXPECT_OPERATION(psiMakeDestroy, i32(*)(psiObjId));
    EXPECT_OPERATION(clearMakeTableInfo, i32(*)(psiObjId));
    EXPECT_OPERATION(getOutTableObj, tableMakeObj * (*)(psiObjId));
    EXPECT_OPERATION(getMakeObjDataInfo, tsInfo * (*)(psiObjId));
    EXPECT_OPERATION(psiMakeSection, i32(*)(tsInfo *, u32));
    EXPECT_OPERATION(AutoMakeSection, i32(*)(psiObjId, u32));
    EXPECT_OPERATION(patMakeSection, i32(*)(tsInfo *));
    EXPECT_OPERATION(pmtMakeSection, i32(*)(tsInfo *));
    EXPECT_OPERATION(pmtMakeOneSection, i32(*)(tsInfo *, u32));
    EXPECT_OPERATION(catMakeSection, i32(*)(tsInfo *));
    EXPECT_OPERATION(sdtaMakeSection, i32(*)(tsInfo *));
    EXPECT_OPERATION(vctMakeSection, i32(*)(tsInfo *));
    EXPECT_OPERATION(mgtMakeSection, i32(*)(tsInfo *));
    EXPECT_OPERATION(syntaxSIMakeSeciton, i32(*)(tsInfo *, void *, u16, u32));
    EXPECT_OPERATION(syntaxSdtMakeSeciton, i32(*)(tsInfo *, sdtSection *, u16));
    EXPECT_OPERATION(syntaxNitMakeSeciton, i32(*)(tsInfo *, nitSection *, u16));
    EXPECT_OPERATION(syntaxBatMakeSeciton, i32(*)(tsInfo *, batSection *, u16));
}

} // namespace
