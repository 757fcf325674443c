/**
 * @file psiLayout.cpp
 * @brief Compile-time checks of the records' layout on a 32-bit target, where an address is one word.
 */
#include "psiInternal.h"

#include <stddef.h>

using namespace psi::core;

namespace {

constexpr bool is32Bit = sizeof(void *) == 4;

#define PSI_AT(record, field, offset) static_assert(!is32Bit || offsetof(record, field) == (offset), #record "." #field)
#define PSI_SIZE(record, size)        static_assert(!is32Bit || sizeof(record) == (size), #record)

PSI_SIZE(zlstNode, 20);
PSI_SIZE(psiHead, 5);

PSI_AT(psiInitRegisterInfo, memPoolParam0, 4);
PSI_AT(psiInitRegisterInfo, memPoolParam1, 8);
PSI_AT(psiInitRegisterInfo, psiMsSleep, 12);
PSI_AT(psiInitRegisterInfo, getMsTimeCnt, 16);
PSI_SIZE(psiInitRegisterInfo, 20);

PSI_AT(psiSchRegisterInfo, privateValue, 4);
PSI_AT(psiSchRegisterInfo, psiSearchHandle, 8);
PSI_AT(psiSchRegisterInfo, readPsiHandle, 12);
PSI_SIZE(psiSchRegisterInfo, 16);

PSI_AT(psiSchInfo, objId, 0);
PSI_AT(psiSchInfo, pid, 4);
PSI_AT(psiSchInfo, tableIdExt, 6);
PSI_AT(psiSchInfo, tableId, 8);
PSI_AT(psiSchInfo, sectionNo, 9);
PSI_AT(psiSchInfo, useIdExt, 10);
PSI_AT(psiSchInfo, longSection, 11);
PSI_AT(psiSchInfo, reserved, 12);
PSI_SIZE(psiSchInfo, 16);

PSI_AT(sectionData, psiType, 20);
PSI_AT(sectionData, sectionNo, 21);
PSI_AT(sectionData, idExt, 22);
PSI_AT(sectionData, len, 24);
PSI_AT(sectionData, pid, 26);
PSI_AT(sectionData, buf, 28);
PSI_SIZE(sectionData, 32);

PSI_AT(descInfo, descTag, 20);
PSI_AT(descInfo, descLen, 21);
PSI_AT(descInfo, descData, 24);
PSI_SIZE(descInfo, 28);

PSI_AT(caInfo, caSystemId, 20);
PSI_AT(caInfo, caPid, 22);
PSI_AT(caInfo, privateLen, 24);
PSI_AT(caInfo, privateData, 28);
PSI_SIZE(caInfo, 32);

PSI_AT(esInfo, esType, 20);
PSI_AT(esInfo, esPid, 22);
PSI_AT(esInfo, descList, 24);
PSI_AT(esInfo, caList, 28);
PSI_SIZE(esInfo, 32);

PSI_AT(progInfo, pmtHead, 20);
PSI_AT(progInfo, progNo, 26);
PSI_AT(progInfo, pmtPid, 28);
PSI_AT(progInfo, pcrPid, 30);
PSI_AT(progInfo, pmtValid, 32);
PSI_AT(progInfo, ca_mode, 34);
PSI_AT(progInfo, run_stat, 35);
PSI_AT(progInfo, prog_type, 36);
PSI_AT(progInfo, EIT_flag, 37);
PSI_AT(progInfo, EIT_pre_flag, 38);
PSI_AT(progInfo, caFlag, 39);
PSI_AT(progInfo, snameLen, 40);
PSI_AT(progInfo, pnameLen, 41);
PSI_AT(progInfo, pname, 44);
PSI_AT(progInfo, sname, 48);
PSI_AT(progInfo, esList, 52);
PSI_AT(progInfo, caList, 56);
PSI_AT(progInfo, pmtDescList, 60);
PSI_AT(progInfo, sdtDescList, 64);
PSI_AT(progInfo, major_channel_number, 68);
PSI_AT(progInfo, minor_channel_number, 70);
PSI_AT(progInfo, channel_TSID, 72);
PSI_AT(progInfo, source_id, 74);
PSI_AT(progInfo, modulation_mode, 76);
PSI_AT(progInfo, service_type, 77);
PSI_AT(progInfo, pmtCrc, 80);
PSI_SIZE(progInfo, 84);

PSI_AT(tsInfo, sdtHead, 5);
PSI_AT(tsInfo, catHead, 10);
PSI_AT(tsInfo, netPid, 16);
PSI_AT(tsInfo, tsId, 18);
PSI_AT(tsInfo, orNetId, 20);
PSI_AT(tsInfo, netId, 22);
PSI_AT(tsInfo, tableMask, 24);
PSI_AT(tsInfo, netFlag, 28);
PSI_AT(tsInfo, netnameLen, 29);
PSI_AT(tsInfo, netname, 32);
PSI_AT(tsInfo, progList, 36);
PSI_AT(tsInfo, catDescList, 40);
PSI_AT(tsInfo, vctDescList, 44);
PSI_AT(tsInfo, catCaList, 48);
PSI_AT(tsInfo, sectionList, 52);
PSI_SIZE(tsInfo, 56);

PSI_AT(tableObj, objId, 20);
PSI_AT(tableObj, privateValue, 24);
PSI_AT(tableObj, stopFlag, 28);
PSI_AT(tableObj, psiSearchHandle, 32);
PSI_AT(tableObj, readPsiHandle, 36);
PSI_AT(tableObj, semId, 40);
PSI_AT(tableObj, timeOutMs, 44);
PSI_AT(tableObj, tsInfo, 68);
PSI_SIZE(tableObj, 124);

PSI_AT(tableMakeObj, objId, 20);
PSI_AT(tableMakeObj, semId, 24);
PSI_AT(tableMakeObj, tsInfo, 28);
PSI_SIZE(tableMakeObj, 84);

// The records of the syntax trees: the fields in front of an address end where it begins.
PSI_AT(patSection, section_length, 6);
PSI_AT(patSection, prog_info, 12);
PSI_SIZE(patSection, 20);
PSI_AT(pmtSection, prog_descriptor, 16);
PSI_SIZE(pmtSection, 28);
PSI_AT(catSection, cat_descriptor, 8);
PSI_SIZE(catSection, 16);
PSI_AT(nitSection, net_descriptor, 12);
PSI_SIZE(nitSection, 24);
PSI_AT(sdtSection, service_info, 12);
PSI_SIZE(sdtSection, 20);
PSI_AT(batSection, bouquet_descriptor, 12);
PSI_SIZE(batSection, 24);
PSI_AT(mgtSection, section_length, 8);
PSI_AT(mgtSection, table_info, 12);
PSI_AT(mgtSection, descriptors_length, 16);
PSI_AT(mgtSection, mgt_desc_info, 20);
PSI_SIZE(mgtSection, 28);
PSI_SIZE(psiPatProg, 24);
PSI_SIZE(psiPmtEs, 32);
PSI_SIZE(psiSdtService, 32);
PSI_SIZE(psiStreamInfo, 32);
PSI_SIZE(mgtTableInfo, 36);
PSI_AT(ebitMessage, ebm_word0, 48);
PSI_AT(ebitMessage, ebm_value24, 56);
PSI_SIZE(ebitMessage, 72);
PSI_SIZE(ebitResource, 32);
PSI_SIZE(ebitDetailsChannel, 20);
PSI_SIZE(ebitStream, 32);
PSI_SIZE(ebitSection, 28);
PSI_SIZE(ebctSection, 44);
PSI_SIZE(ebctContent, 44);
PSI_SIZE(ebctAuxiliaryData, 32);
PSI_SIZE(ebcatSection, 32);
PSI_SIZE(ebcatCalist, 28);
PSI_SIZE(ebcatCt, 28);
PSI_SIZE(ebcctSection, 28);
PSI_SIZE(ebcctCmd, 28);

#undef PSI_AT
#undef PSI_SIZE

} // namespace
