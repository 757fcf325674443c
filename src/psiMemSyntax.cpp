#include "psiNode.h"

using namespace psi::core;

/* ------------------------------------------------------------------------------------------------------------------
 * Nodes of the PSI and SI syntax trees
 * ---------------------------------------------------------------------------------------------------------------- */

constexpr NodeTypeOf<psiPatProg> psi::core::psiPatProgType = {{
    plainType<psiPatProg>(),
    {
        PSI_TEXT(error, "psiPatProgCreat: ERROR! headProgInfo is NULL!"),
        PSI_TEXT(error, "psiPatProgCreat: buddy_malloc prog node failed"),
        PSI_TEXT(error, "psiPatProgCreat: progInfo zlst_push failed!"),
        PSI_TEXT(error, "psiPatProgDestroy: ERROR! headProgInfo is NULL!"),
        PSI_TEXT(error, "psiPatProgDestroy: ERROR! *headProgInfo is NULL!"),
        PSI_TEXT(error, "psiPatProgDestroy: ERROR! progInfo is NULL!"),
        PSI_TEXT(error, "psiPatProgDestroy: progInfo zlst_delete failed!"),
        PSI_TEXT(info, "psiPatProgDestroy: free progInfo OK!"),
    },
}};

constexpr Owned psiPmtEsOwned[] = {
    ownedList(offsetof(psiPmtEs, es_descriptor), descInfoType,
              PSI_TEXT(error, "psiPmtEsDestroy: descInfoDestroy failed!")),
};
constexpr NodeTypeOf<psiPmtEs> psi::core::psiPmtEsType = {{
    owningType<psiPmtEs>(psiPmtEsOwned),
    {
        PSI_TEXT(error, "psiPmtEsCreat: ERROR! headEsInfo is NULL!"),
        PSI_TEXT(error, "psiPmtEsCreat: buddy_malloc pid node failed"),
        PSI_TEXT(error, "psiPmtEsCreat: esInfo zlst_push failed!"),
        PSI_TEXT(error, "psiPmtEsDestroy: ERROR! headEsInfo is NULL!"),
        PSI_TEXT(error, "psiPmtEsDestroy: ERROR! *headEsInfo is NULL!"),
        PSI_TEXT(error, "psiPmtEsDestroy: ERROR! esInfo is NULL!"),
        PSI_TEXT(error, "psiPmtEsDestroy: esInfo zlst_delete failed!"),
        PSI_TEXT(info, "psiPmtEsDestroy: free esInfo OK!"),
    },
}};

constexpr Owned psiSdtServiceOwned[] = {
    ownedList(offsetof(psiSdtService, service_descriptor), descInfoType,
              PSI_TEXT(error, "psiSdtServiceDestroy: descInfoDestroy failed!")),
};
constexpr NodeTypeOf<psiSdtService> psi::core::psiSdtServiceType = {{
    owningType<psiSdtService>(psiSdtServiceOwned),
    {
        PSI_TEXT(error, "psiSdtServiceCreat: ERROR! headServiceInfo is NULL!"),
        PSI_TEXT(error, "psiSdtServiceCreat: buddy_malloc service node failed"),
        PSI_TEXT(error, "psiSdtServiceCreat: serviceInfo zlst_push failed!"),
        PSI_TEXT(error, "psiSdtServiceDestroy: ERROR! headServiceInfo is NULL!"),
        PSI_TEXT(error, "psiSdtServiceDestroy: ERROR! *headServiceInfo is NULL!"),
        PSI_TEXT(error, "psiSdtServiceDestroy: ERROR! serviceInfo is NULL!"),
        PSI_TEXT(error, "psiSdtServiceDestroy: serviceInfo zlst_delete failed!"),
        PSI_TEXT(info, "psiSdtServiceDestroy: free serviceInfo OK!"),
    },
}};

constexpr Owned psiStreamInfoOwned[] = {
    ownedList(offsetof(psiStreamInfo, descriptor), descInfoType,
              PSI_TEXT(error, "psiStreamInfoDestroy: descInfoDestroy failed!")),
};
constexpr NodeTypeOf<psiStreamInfo> psi::core::psiStreamInfoType = {{
    owningType<psiStreamInfo>(psiStreamInfoOwned),
    {
        PSI_TEXT(warning, "psiStreamInfoCreat: ERROR! headStreamInfo is NULL!"),
        PSI_TEXT(error, "psiStreamInfoCreat: buddy_malloc stream node failed"),
        PSI_TEXT(error, "psiStreamInfoCreat: streamInfo zlst_push failed!"),
        PSI_TEXT(warning, "psiStreamInfoDestroy: ERROR! headStreamInfo is NULL!"),
        PSI_TEXT(warning, "psiStreamInfoDestroy: ERROR! *headStreamInfo is NULL!"),
        PSI_TEXT(warning, "psiStreamInfoDestroy: ERROR! streamInfo is NULL!"),
        PSI_TEXT(error, "psiStreamInfoDestroy: streamInfo zlst_delete failed!"),
        PSI_TEXT(info, "psiStreamInfoDestroy: free streamInfo OK!"),
    },
}};

constexpr Owned mgtTableInfoOwned[] = {
    ownedList(offsetof(mgtTableInfo, table_desc_info), descInfoType,
              PSI_TEXT(error, "mgtTableInfoDestroy: descInfoDestroy failed!")),
};
constexpr NodeTypeOf<mgtTableInfo> psi::core::mgtTableInfoType = {{
    owningType<mgtTableInfo>(mgtTableInfoOwned),
    {
        PSI_TEXT(warning, "mgtTableInfoCreat: ERROR! headTableInfo is NULL!"),
        PSI_TEXT(error, "mgtTableInfoCreat: buddy_malloc stream node failed"),
        PSI_TEXT(error, "mgtTableInfoCreat: mgtTableInfo zlst_push failed!"),
        PSI_TEXT(warning, "mgtTableInfoDestroy: ERROR! headTableInfo is NULL!"),
        PSI_TEXT(warning, "mgtTableInfoDestroy: ERROR! *headTableInfo is NULL!"),
        PSI_TEXT(warning, "mgtTableInfoDestroy: ERROR! mgtTableInfo is NULL!"),
        PSI_TEXT(error, "mgtTableInfoDestroy: mgtTableInfo zlst_delete failed!"),
        PSI_TEXT(info, "mgtTableInfoDestroy: free mgtTableInfo OK!"),
    },
}};

psiPatProg *psiPatProgCreat(psiPatProg **headProgInfo)
{
    return nodeCreat(headProgInfo, psiPatProgType);
}

i32 psiPatProgDestroy(psiPatProg **headProgInfo, psiPatProg *node)
{
    return nodeDestroy(headProgInfo, node, psiPatProgType, 1);
}

psiPmtEs *psiPmtEsCreat(psiPmtEs **headEsInfo)
{
    return nodeCreat(headEsInfo, psiPmtEsType);
}

i32 psiPmtEsDestroy(psiPmtEs **headEsInfo, psiPmtEs *node)
{
    return nodeDestroy(headEsInfo, node, psiPmtEsType, 1);
}

psiSdtService *psiSdtServiceCreat(psiSdtService **headServiceInfo)
{
    return nodeCreat(headServiceInfo, psiSdtServiceType);
}

i32 psiSdtServiceDestroy(psiSdtService **headServiceInfo, psiSdtService *node)
{
    return nodeDestroy(headServiceInfo, node, psiSdtServiceType, 1);
}

psiStreamInfo *psiStreamInfoCreat(psiStreamInfo **headStreamInfo)
{
    return nodeCreat(headStreamInfo, psiStreamInfoType);
}

i32 psiStreamInfoDestroy(psiStreamInfo **headStreamInfo, psiStreamInfo *node)
{
    return nodeDestroy(headStreamInfo, node, psiStreamInfoType, 1);
}

mgtTableInfo *mgtTableInfoCreat(mgtTableInfo **headTableInfo)
{
    return nodeCreat(headTableInfo, mgtTableInfoType);
}

i32 mgtTableInfoDestroy(mgtTableInfo **headTableInfo, mgtTableInfo *node)
{
    return nodeDestroy(headTableInfo, node, mgtTableInfoType, 1);
}

/* ------------------------------------------------------------------------------------------------------------------
 * Records of the PSI and SI syntax trees
 * ---------------------------------------------------------------------------------------------------------------- */

constexpr Owned patSectionOwned[] = {
    ownedList(offsetof(patSection, prog_info), psiPatProgType,
              PSI_TEXT(error, "psiPatSectionDestroy: progInfo failed!")),
};
constexpr RecordTypeOf<patSection> psi::core::patSectionType = {{
    owningType<patSection>(patSectionOwned),
    Freed::asItIs,
    {
        PSI_TEXT(error, "psiPatSectionCreat: buddy_malloc patSection  failed"),
        PSI_TEXT(error, "psiPatSectionDestroy: ERROR! patSection is NULL!"),
        PSI_TEXT(info, "psiPatSectionDestroy: free patSection OK!"),
    },
}};

constexpr Owned pmtSectionOwned[] = {
    ownedList(offsetof(pmtSection, prog_descriptor), descInfoType,
              PSI_TEXT(error, "psiPmtSectionDestroy: prog_descriptor descInfoDestroy failed!")),
    ownedList(offsetof(pmtSection, es_info), psiPmtEsType,
              PSI_TEXT(error, "psiPmtSectionDestroy: esInfo psiPmtEsDestroy failed!")),
};
constexpr RecordTypeOf<pmtSection> psi::core::pmtSectionType = {{
    owningType<pmtSection>(pmtSectionOwned),
    Freed::asItIs,
    {
        PSI_TEXT(error, "psiPmtSectionCreat: buddy_malloc pmtSection  failed"),
        PSI_TEXT(error, "psiPmtSectionDestroy: ERROR! pmtSection is NULL!"),
        PSI_TEXT(info, "psiPmtSectionDestroy: free pmtSection OK!"),
    },
}};

constexpr Owned catSectionOwned[] = {
    ownedList(offsetof(catSection, cat_descriptor), descInfoType,
              PSI_TEXT(error, "psiCatSectionDestroy: cat descInfoDestroy failed!")),
};
constexpr RecordTypeOf<catSection> psi::core::catSectionType = {{
    owningType<catSection>(catSectionOwned),
    Freed::asItIs,
    {
        PSI_TEXT(error, "psiCatSectionCreat: buddy_malloc catSection  failed"),
        PSI_TEXT(error, "psiCatSectionDestroy: ERROR! catSection is NULL!"),
        PSI_TEXT(info, "psiCatSectionDestroy: free catSection OK!"),
    },
}};

constexpr Owned nitSectionOwned[] = {
    ownedList(offsetof(nitSection, net_descriptor), descInfoType,
              PSI_TEXT(error, "psiNitSectionDestroy: nit descInfoDestroy failed!")),
    ownedList(offsetof(nitSection, stream_info), psiStreamInfoType,
              PSI_TEXT(error, "psiNitSectionDestroy: nit psiStreamInfoDestroy failed!")),
};
constexpr RecordTypeOf<nitSection> psi::core::nitSectionType = {{
    owningType<nitSection>(nitSectionOwned),
    Freed::asItIs,
    {
        PSI_TEXT(error, "psiNitSectionCreat: buddy_malloc nitSection  failed"),
        PSI_TEXT(error, "psiNitSectionDestroy: ERROR! nitSection is NULL!"),
        PSI_TEXT(info, "psiNitSectionDestroy: free nitSection OK!"),
    },
}};

constexpr Owned sdtSectionOwned[] = {
    ownedList(offsetof(sdtSection, service_info), psiSdtServiceType,
              PSI_TEXT(error, "psiSdtSectionDestroy: sdt psiSdtServiceDestroy failed!")),
};
constexpr RecordTypeOf<sdtSection> psi::core::sdtSectionType = {{
    owningType<sdtSection>(sdtSectionOwned),
    Freed::asItIs,
    {
        PSI_TEXT(error, "psiSdtSectionCreat: buddy_malloc sdtSection  failed"),
        PSI_TEXT(error, "psiSdtSectionDestroy: ERROR! sdtSection is NULL!"),
        PSI_TEXT(info, "psiSdtSectionDestroy: free sdtSection OK!"),
    },
}};

constexpr Owned batSectionOwned[] = {
    ownedList(offsetof(batSection, bouquet_descriptor), descInfoType,
              PSI_TEXT(error, "psiBatSectionDestroy: bat descInfoDestroy failed!")),
    ownedList(offsetof(batSection, stream_info), psiStreamInfoType,
              PSI_TEXT(error, "psiSdtSectionDestroy: bat psiStreamInfoDestroy failed!")),
};
constexpr RecordTypeOf<batSection> psi::core::batSectionType = {{
    owningType<batSection>(batSectionOwned),
    Freed::asItIs,
    {
        PSI_TEXT(error, "psiBatSectionCreat: buddy_malloc batSection  failed"),
        PSI_TEXT(error, "psiBatSectionDestroy: ERROR! batSection is NULL!"),
        PSI_TEXT(info, "psiBatSectionDestroy: free batSection OK!"),
    },
}};

constexpr Owned mgtSectionOwned[] = {
    ownedList(offsetof(mgtSection, mgt_desc_info), descInfoType,
              PSI_TEXT(error, "psiMgtSectionDestroy: mgt descInfoDestroy failed!")),
    ownedList(offsetof(mgtSection, table_info), mgtTableInfoType,
              PSI_TEXT(error, "psiMgtSectionDestroy: bat mgtTableInfoDestroy failed!")),
};
constexpr RecordTypeOf<mgtSection> psi::core::mgtSectionType = {{
    owningType<mgtSection>(mgtSectionOwned),
    Freed::asItIs,
    {
        PSI_TEXT(error, "psipMgtSectionCreat: buddy_malloc mgtSection  failed"),
        PSI_TEXT(error, "psiMgtSectionDestroy: ERROR! mgtSection is NULL!"),
        PSI_TEXT(info, "psiMgtSectionDestroy: free mgtSection OK!"),
    },
}};

patSection *psiPatSectionCreat(void)
{
    return recordCreat(patSectionType);
}

i32 psiPatSectionDestroy(patSection *pat)
{
    return recordDestroy(pat, patSectionType);
}

pmtSection *psiPmtSectionCreat(void)
{
    return recordCreat(pmtSectionType);
}

i32 psiPmtSectionDestroy(pmtSection *pmt)
{
    return recordDestroy(pmt, pmtSectionType);
}

catSection *psiCatSectionCreat(void)
{
    return recordCreat(catSectionType);
}

i32 psiCatSectionDestroy(catSection *cat)
{
    return recordDestroy(cat, catSectionType);
}

nitSection *psiNitSectionCreat(void)
{
    return recordCreat(nitSectionType);
}

i32 psiNitSectionDestroy(nitSection *nit)
{
    return recordDestroy(nit, nitSectionType);
}

sdtSection *psiSdtSectionCreat(void)
{
    return recordCreat(sdtSectionType);
}

i32 psiSdtSectionDestroy(sdtSection *sdt)
{
    return recordDestroy(sdt, sdtSectionType);
}

batSection *psiBatSectionCreat(void)
{
    return recordCreat(batSectionType);
}

i32 psiBatSectionDestroy(batSection *bat)
{
    return recordDestroy(bat, batSectionType);
}

mgtSection *psipMgtSectionCreat(void)
{
    return recordCreat(mgtSectionType);
}

i32 psipMgtSectionDestroy(mgtSection *mgt)
{
    return recordDestroy(mgt, mgtSectionType);
}
