#include "psiInternal.h"

using namespace psi::core;

/* ------------------------------------------------------------------------------------------------------------------
 * Nodes of the PSI and SI syntax trees
 * ---------------------------------------------------------------------------------------------------------------- */

namespace {

constexpr NodeTexts psiPatProgTexts = {
    PSI_TEXT(error, "psiPatProgCreat: ERROR! headProgInfo is NULL!"),
    PSI_TEXT(error, "psiPatProgCreat: buddy_malloc prog node failed"),
    PSI_TEXT(error, "psiPatProgCreat: progInfo zlst_push failed!"),
    PSI_TEXT(error, "psiPatProgDestroy: ERROR! headProgInfo is NULL!"),
    PSI_TEXT(error, "psiPatProgDestroy: ERROR! *headProgInfo is NULL!"),
    PSI_TEXT(error, "psiPatProgDestroy: ERROR! progInfo is NULL!"),
    PSI_TEXT(error, "psiPatProgDestroy: progInfo zlst_delete failed!"),
    PSI_TEXT(info, "psiPatProgDestroy: free progInfo OK!"),
};

constexpr NodeTexts psiPmtEsTexts = {
    PSI_TEXT(error, "psiPmtEsCreat: ERROR! headEsInfo is NULL!"),
    PSI_TEXT(error, "psiPmtEsCreat: buddy_malloc pid node failed"),
    PSI_TEXT(error, "psiPmtEsCreat: esInfo zlst_push failed!"),
    PSI_TEXT(error, "psiPmtEsDestroy: ERROR! headEsInfo is NULL!"),
    PSI_TEXT(error, "psiPmtEsDestroy: ERROR! *headEsInfo is NULL!"),
    PSI_TEXT(error, "psiPmtEsDestroy: ERROR! esInfo is NULL!"),
    PSI_TEXT(error, "psiPmtEsDestroy: esInfo zlst_delete failed!"),
    PSI_TEXT(info, "psiPmtEsDestroy: free esInfo OK!"),
};
constexpr LogText psiPmtEsDescFailed = PSI_TEXT(error, "psiPmtEsDestroy: descInfoDestroy failed!");

constexpr NodeTexts psiSdtServiceTexts = {
    PSI_TEXT(error, "psiSdtServiceCreat: ERROR! headServiceInfo is NULL!"),
    PSI_TEXT(error, "psiSdtServiceCreat: buddy_malloc service node failed"),
    PSI_TEXT(error, "psiSdtServiceCreat: serviceInfo zlst_push failed!"),
    PSI_TEXT(error, "psiSdtServiceDestroy: ERROR! headServiceInfo is NULL!"),
    PSI_TEXT(error, "psiSdtServiceDestroy: ERROR! *headServiceInfo is NULL!"),
    PSI_TEXT(error, "psiSdtServiceDestroy: ERROR! serviceInfo is NULL!"),
    PSI_TEXT(error, "psiSdtServiceDestroy: serviceInfo zlst_delete failed!"),
    PSI_TEXT(info, "psiSdtServiceDestroy: free serviceInfo OK!"),
};
constexpr LogText psiSdtServiceDescFailed = PSI_TEXT(error, "psiSdtServiceDestroy: descInfoDestroy failed!");

constexpr NodeTexts psiStreamInfoTexts = {
    PSI_TEXT(warning, "psiStreamInfoCreat: ERROR! headStreamInfo is NULL!"),
    PSI_TEXT(error, "psiStreamInfoCreat: buddy_malloc stream node failed"),
    PSI_TEXT(error, "psiStreamInfoCreat: streamInfo zlst_push failed!"),
    PSI_TEXT(warning, "psiStreamInfoDestroy: ERROR! headStreamInfo is NULL!"),
    PSI_TEXT(warning, "psiStreamInfoDestroy: ERROR! *headStreamInfo is NULL!"),
    PSI_TEXT(warning, "psiStreamInfoDestroy: ERROR! streamInfo is NULL!"),
    PSI_TEXT(error, "psiStreamInfoDestroy: streamInfo zlst_delete failed!"),
    PSI_TEXT(info, "psiStreamInfoDestroy: free streamInfo OK!"),
};
constexpr LogText psiStreamInfoDescFailed = PSI_TEXT(error, "psiStreamInfoDestroy: descInfoDestroy failed!");

constexpr NodeTexts mgtTableInfoTexts = {
    PSI_TEXT(warning, "mgtTableInfoCreat: ERROR! headTableInfo is NULL!"),
    PSI_TEXT(error, "mgtTableInfoCreat: buddy_malloc stream node failed"),
    PSI_TEXT(error, "mgtTableInfoCreat: mgtTableInfo zlst_push failed!"),
    PSI_TEXT(warning, "mgtTableInfoDestroy: ERROR! headTableInfo is NULL!"),
    PSI_TEXT(warning, "mgtTableInfoDestroy: ERROR! *headTableInfo is NULL!"),
    PSI_TEXT(warning, "mgtTableInfoDestroy: ERROR! mgtTableInfo is NULL!"),
    PSI_TEXT(error, "mgtTableInfoDestroy: mgtTableInfo zlst_delete failed!"),
    PSI_TEXT(info, "mgtTableInfoDestroy: free mgtTableInfo OK!"),
};
constexpr LogText mgtTableInfoDescFailed = PSI_TEXT(error, "mgtTableInfoDestroy: descInfoDestroy failed!");

} // namespace

psiPatProg *psiPatProgCreat(psiPatProg **headProgInfo)
{
    return nodeCreat(headProgInfo, psiPatProgTexts);
}

i32 psiPatProgDestroy(psiPatProg **headProgInfo, psiPatProg *node)
{
    return nodeDestroy(headProgInfo, node, psiPatProgTexts, [](psiPatProg &) { return 0; });
}

psiPmtEs *psiPmtEsCreat(psiPmtEs **headEsInfo)
{
    return nodeCreat(headEsInfo, psiPmtEsTexts);
}

i32 psiPmtEsDestroy(psiPmtEs **headEsInfo, psiPmtEs *node)
{
    return nodeDestroy(headEsInfo, node, psiPmtEsTexts,
                       [](psiPmtEs &owner) { return emptyDescriptors(&owner.es_descriptor, psiPmtEsDescFailed); });
}

psiSdtService *psiSdtServiceCreat(psiSdtService **headServiceInfo)
{
    return nodeCreat(headServiceInfo, psiSdtServiceTexts);
}

i32 psiSdtServiceDestroy(psiSdtService **headServiceInfo, psiSdtService *serviceInfo)
{
    return nodeDestroy(headServiceInfo, serviceInfo, psiSdtServiceTexts, [](psiSdtService &owner) {
        return emptyDescriptors(&owner.service_descriptor, psiSdtServiceDescFailed);
    });
}

psiStreamInfo *psiStreamInfoCreat(psiStreamInfo **headStreamInfo)
{
    return nodeCreat(headStreamInfo, psiStreamInfoTexts);
}

i32 psiStreamInfoDestroy(psiStreamInfo **headStreamInfo, psiStreamInfo *streamInfo)
{
    return nodeDestroy(headStreamInfo, streamInfo, psiStreamInfoTexts, [](psiStreamInfo &owner) {
        return emptyDescriptors(&owner.descriptor, psiStreamInfoDescFailed);
    });
}

mgtTableInfo *mgtTableInfoCreat(mgtTableInfo **headTableInfo)
{
    return nodeCreat(headTableInfo, mgtTableInfoTexts);
}

i32 mgtTableInfoDestroy(mgtTableInfo **headTableInfo, mgtTableInfo *node)
{
    return nodeDestroy(headTableInfo, node, mgtTableInfoTexts, [](struct mgtTableInfo &owner) {
        return emptyDescriptors(&owner.table_desc_info, mgtTableInfoDescFailed);
    });
}

/* ------------------------------------------------------------------------------------------------------------------
 * Records of the PSI and SI syntax trees
 * ---------------------------------------------------------------------------------------------------------------- */

namespace {

constexpr LogText patNoMemory = PSI_TEXT(error, "psiPatSectionCreat: buddy_malloc patSection  failed");
constexpr RecordTexts patTexts = {PSI_TEXT(error, "psiPatSectionDestroy: ERROR! patSection is NULL!"),
                                  PSI_TEXT(info, "psiPatSectionDestroy: free patSection OK!")};
constexpr LogText patProgFailed = PSI_TEXT(error, "psiPatSectionDestroy: progInfo failed!");

constexpr LogText pmtNoMemory = PSI_TEXT(error, "psiPmtSectionCreat: buddy_malloc pmtSection  failed");
constexpr RecordTexts pmtTexts = {PSI_TEXT(error, "psiPmtSectionDestroy: ERROR! pmtSection is NULL!"),
                                  PSI_TEXT(info, "psiPmtSectionDestroy: free pmtSection OK!")};
constexpr LogText pmtDescFailed = PSI_TEXT(error, "psiPmtSectionDestroy: prog_descriptor descInfoDestroy failed!");
constexpr LogText pmtEsFailed = PSI_TEXT(error, "psiPmtSectionDestroy: esInfo psiPmtEsDestroy failed!");

constexpr LogText catNoMemory = PSI_TEXT(error, "psiCatSectionCreat: buddy_malloc catSection  failed");
constexpr RecordTexts catTexts = {PSI_TEXT(error, "psiCatSectionDestroy: ERROR! catSection is NULL!"),
                                  PSI_TEXT(info, "psiCatSectionDestroy: free catSection OK!")};
constexpr LogText catDescFailed = PSI_TEXT(error, "psiCatSectionDestroy: cat descInfoDestroy failed!");

constexpr LogText nitNoMemory = PSI_TEXT(error, "psiNitSectionCreat: buddy_malloc nitSection  failed");
constexpr RecordTexts nitTexts = {PSI_TEXT(error, "psiNitSectionDestroy: ERROR! nitSection is NULL!"),
                                  PSI_TEXT(info, "psiNitSectionDestroy: free nitSection OK!")};
constexpr LogText nitDescFailed = PSI_TEXT(error, "psiNitSectionDestroy: nit descInfoDestroy failed!");
constexpr LogText nitStreamFailed = PSI_TEXT(error, "psiNitSectionDestroy: nit psiStreamInfoDestroy failed!");

constexpr LogText sdtNoMemory = PSI_TEXT(error, "psiSdtSectionCreat: buddy_malloc sdtSection  failed");
constexpr RecordTexts sdtTexts = {PSI_TEXT(error, "psiSdtSectionDestroy: ERROR! sdtSection is NULL!"),
                                  PSI_TEXT(info, "psiSdtSectionDestroy: free sdtSection OK!")};
constexpr LogText sdtServiceFailed = PSI_TEXT(error, "psiSdtSectionDestroy: sdt psiSdtServiceDestroy failed!");

constexpr LogText batNoMemory = PSI_TEXT(error, "psiBatSectionCreat: buddy_malloc batSection  failed");
constexpr RecordTexts batTexts = {PSI_TEXT(error, "psiBatSectionDestroy: ERROR! batSection is NULL!"),
                                  PSI_TEXT(info, "psiBatSectionDestroy: free batSection OK!")};
constexpr LogText batDescFailed = PSI_TEXT(error, "psiBatSectionDestroy: bat descInfoDestroy failed!");
constexpr LogText batStreamFailed = PSI_TEXT(error, "psiSdtSectionDestroy: bat psiStreamInfoDestroy failed!");

constexpr LogText mgtNoMemory = PSI_TEXT(error, "psipMgtSectionCreat: buddy_malloc mgtSection  failed");
constexpr RecordTexts mgtTexts = {PSI_TEXT(error, "psiMgtSectionDestroy: ERROR! mgtSection is NULL!"),
                                  PSI_TEXT(info, "psiMgtSectionDestroy: free mgtSection OK!")};
constexpr LogText mgtDescFailed = PSI_TEXT(error, "psiMgtSectionDestroy: mgt descInfoDestroy failed!");
constexpr LogText mgtTableFailed = PSI_TEXT(error, "psiMgtSectionDestroy: bat mgtTableInfoDestroy failed!");

} // namespace

patSection *psiPatSectionCreat(void)
{
    return recordCreat<patSection>(patNoMemory);
}

i32 psiPatSectionDestroy(patSection *pat)
{
    return recordDestroy(pat, patTexts, [](struct patSection &owner) {
        return emptyList(&owner.prog_info, psiPatProgDestroy, patProgFailed);
    });
}

pmtSection *psiPmtSectionCreat(void)
{
    return recordCreat<pmtSection>(pmtNoMemory);
}

i32 psiPmtSectionDestroy(pmtSection *pmt)
{
    return recordDestroy(pmt, pmtTexts, [](struct pmtSection &owner) -> i32 {
        if (emptyDescriptors(&owner.prog_descriptor, pmtDescFailed) == -1)
            return -1;
        return emptyList(&owner.es_info, psiPmtEsDestroy, pmtEsFailed);
    });
}

catSection *psiCatSectionCreat(void)
{
    return recordCreat<catSection>(catNoMemory);
}

i32 psiCatSectionDestroy(catSection *cat)
{
    return recordDestroy(
        cat, catTexts, [](struct catSection &owner) { return emptyDescriptors(&owner.cat_descriptor, catDescFailed); });
}

nitSection *psiNitSectionCreat(void)
{
    return recordCreat<nitSection>(nitNoMemory);
}

i32 psiNitSectionDestroy(nitSection *nit)
{
    return recordDestroy(nit, nitTexts, [](struct nitSection &owner) -> i32 {
        if (emptyDescriptors(&owner.net_descriptor, nitDescFailed) == -1)
            return -1;
        return emptyList(&owner.stream_info, psiStreamInfoDestroy, nitStreamFailed);
    });
}

sdtSection *psiSdtSectionCreat(void)
{
    return recordCreat<sdtSection>(sdtNoMemory);
}

i32 psiSdtSectionDestroy(sdtSection *sdt)
{
    return recordDestroy(sdt, sdtTexts, [](struct sdtSection &owner) {
        return emptyList(&owner.service_info, psiSdtServiceDestroy, sdtServiceFailed);
    });
}

batSection *psiBatSectionCreat(void)
{
    return recordCreat<batSection>(batNoMemory);
}

i32 psiBatSectionDestroy(batSection *bat)
{
    return recordDestroy(bat, batTexts, [](struct batSection &owner) -> i32 {
        if (emptyDescriptors(&owner.bouquet_descriptor, batDescFailed) == -1)
            return -1;
        return emptyList(&owner.stream_info, psiStreamInfoDestroy, batStreamFailed);
    });
}

mgtSection *psipMgtSectionCreat(void)
{
    return recordCreat<mgtSection>(mgtNoMemory);
}

i32 psipMgtSectionDestroy(mgtSection *mgt)
{
    return recordDestroy(mgt, mgtTexts, [](struct mgtSection &owner) -> i32 {
        if (emptyDescriptors(&owner.mgt_desc_info, mgtDescFailed) == -1)
            return -1;
        return emptyList(&owner.table_info, mgtTableInfoDestroy, mgtTableFailed);
    });
}
