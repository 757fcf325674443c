#include "psiInternal.h"

using namespace psi::core;

/* ------------------------------------------------------------------------------------------------------------------
 * Nodes and records of the emergency tables
 * ---------------------------------------------------------------------------------------------------------------- */

namespace {

constexpr NodeTexts ebitStreamTexts = {
    PSI_TEXT(error, "ebitStreamCreat: ERROR! streamHead is NULL"),
    PSI_TEXT(error, "ebitStreamCreat: buddy_malloc stream node failed"),
    PSI_TEXT(error, "ebitStreamCreat: stream zlst_push failed!"),
    PSI_TEXT(error, "ebitStreamDestroy: ERROR! streamHead is NULL"),
    PSI_TEXT(error, "ebitStreamDestroy: ERROR! *streamHead is NULL"),
    PSI_TEXT(error, "ebitStreamDestroy: ERROR! stream is NULL"),
    PSI_TEXT(error, "ebitStreamDestroy: stream zlst_delete failed!"),
    PSI_TEXT(info, "ebitStreamDestroy: free stream OK!"),
};
constexpr LogText ebitStreamDescFailed = PSI_TEXT(error, "ebitStreamDestroy: descInfoDestroy failed!");

constexpr LogText channelNoMemory = PSI_TEXT(error, "ebitDetailsChannelCreat: buddy_malloc channel node failed");
constexpr RecordTexts channelTexts = {PSI_TEXT(error, "ebitDetailsChannlDestroy: ERROR! channel is NULL"),
                                      PSI_TEXT(info, "ebitDetailsChannlDestroy: free channel OK!")};
constexpr LogText channelDescFailed = PSI_TEXT(error, "ebitDetailsChannlDestroy: channel descInfoDestroy failed");
constexpr LogText channelStreamFailed = PSI_TEXT(error, "ebitDetailsChannlDestroy: channel ebitStreamDestroy failed");

constexpr NodeTexts ebitResourceTexts = {
    PSI_TEXT(error, "ebitResourceCreat: ERROR! resourceHead is NULL"),
    PSI_TEXT(error, "ebitResourceCreat: buddy_malloc resource node failed"),
    PSI_TEXT(error, "ebitResourceCreat: resource zlst_push failed!"),
    PSI_TEXT(error, "ebitResourceDestroy: ERROR! resourceHead is NULL"),
    PSI_TEXT(error, "ebitResourceDestroy: ERROR! *resourceHead is NULL"),
    PSI_TEXT(error, "ebitResourceDestroy: ERROR! resource is NULL"),
    PSI_TEXT(error, "ebitResourceDestroy: ebm zlst_delete failed!"),
    PSI_TEXT(info, "ebitResourceDestroy: free resource OK!"),
};

constexpr NodeTexts ebitMessageTexts = {
    PSI_TEXT(error, "ebitMessageCreat: ERROR! ebmHead is NULL"),
    PSI_TEXT(error, "ebitMessageCreat: buddy_malloc ebm node failed"),
    PSI_TEXT(error, "ebitMessageCreat: ebm zlst_push failed!"),
    PSI_TEXT(error, "ebitMessgeDestroy: ERROR! ebmHead is NULL"),
    PSI_TEXT(error, "ebitMessgeDestroy: ERROR! *ebmHead is NULL"),
    PSI_TEXT(error, "ebitMessgeDestroy: ERROR! ebm is NULL"),
    PSI_TEXT(error, "ebitMessgeDestroy: ebm zlst_delete failed!"),
    PSI_TEXT(info, "ebitMessgeDestroy: free ebm OK!"),
};
constexpr LogText ebitMessageResourceFailed = PSI_TEXT(error, "ebitMessgeDestroy: ebm ebitResourceDestroy failed!");

constexpr NodeTexts ebctAuxiliaryDataTexts = {
    PSI_TEXT(error, "ebctAuxiliaryDataCreat: ERROR! dataHead is NULL"),
    PSI_TEXT(error, "ebctAuxiliaryDataCreat: buddy_malloc data node failed"),
    PSI_TEXT(error, "ebctAuxiliaryDataCreat: data zlst_push failed!"),
    PSI_TEXT(error, "ebctAuxiliaryDataDestroy: ERROR! dataHead is NULL"),
    PSI_TEXT(error, "ebctAuxiliaryDataDestroy: ERROR! *dataHead is NULL"),
    PSI_TEXT(error, "ebctAuxiliaryDataDestroy: ERROR! data is NULL"),
    PSI_TEXT(error, "ebctAuxiliaryDataDestroy: data zlst_delete failed!"),
    PSI_TEXT(info, "ebctAuxiliaryDataDestroy: free data OK!"),
};

constexpr NodeTexts ebctContentTexts = {
    PSI_TEXT(error, "ebctContentCreat: ERROR! contentHead is NULL"),
    PSI_TEXT(error, "ebctContentCreat: buddy_malloc content node failed"),
    PSI_TEXT(error, "ebctContentCreat: content zlst_push failed!"),
    PSI_TEXT(error, "ebctContentDestroy: ERROR! contentHead is NULL"),
    PSI_TEXT(error, "ebctContentDestroy: ERROR! *contentHead is NULL"),
    PSI_TEXT(error, "ebctContentDestroy: ERROR! content is NULL"),
    PSI_TEXT(error, "ebctContentDestroy: content zlst_delete failed!"),
    PSI_TEXT(info, "ebctContentDestroy: free content OK!"),
};
constexpr LogText ebctContentDataFailed =
    PSI_TEXT(error, "ebctContentDestroy: content ebctAuxiliaryDataDestroy failed!");

constexpr NodeTexts ebcatCalistTexts = {
    PSI_TEXT(error, "ebcatCalistCreat: ERROR! caListHead is NULL"),
    PSI_TEXT(error, "ebcatCalistCreat: buddy_malloc caList node failed"),
    PSI_TEXT(error, "ebcatCalistCreat: caList zlst_push failed!"),
    PSI_TEXT(error, "ebcatCalistDestroy: ERROR! caListHead is NULL"),
    PSI_TEXT(error, "ebcatCalistDestroy: ERROR! *caListHead is NULL"),
    PSI_TEXT(error, "ebcatCalistDestroy: ERROR! caList is NULL"),
    PSI_TEXT(error, "ebcatCalistDestroy: caList zlst_delete failed!"),
    PSI_TEXT(info, "ebcatCalistDestroy: free caList OK!"),
};

constexpr NodeTexts ebcatCtTexts = {
    PSI_TEXT(error, "ebcatCtCreat: ERROR! ctHead is NULL"),
    PSI_TEXT(error, "ebcatCtCreat: buddy_malloc ct node failed"),
    PSI_TEXT(error, "ebcatCtCreat: ct zlst_push failed!"),
    PSI_TEXT(error, "ebcatCtDestroy: ERROR! ctHead is NULL"),
    PSI_TEXT(error, "ebcatCtDestroy: ERROR! *ctHead is NULL"),
    PSI_TEXT(error, "ebcatCtDestroy: ERROR! ct is NULL"),
    PSI_TEXT(error, "ebcatCtDestroy: ct zlst_delete failed!"),
    PSI_TEXT(info, "ebcatCtDestroy: free ct OK!"),
};

constexpr NodeTexts ebcctCmdTexts = {
    PSI_TEXT(error, "ebcctCmdCreat: ERROR! cmdHead is NULL"),
    PSI_TEXT(error, "ebcctCmdCreat: buddy_malloc cmd node failed"),
    PSI_TEXT(error, "ebcctCmdCreat: cmd zlst_push failed!"),
    PSI_TEXT(error, "ebcctCmdDestroy: ERROR! cmdHead is NULL"),
    PSI_TEXT(error, "ebcctCmdDestroy: ERROR! *cmdHead is NULL"),
    PSI_TEXT(error, "ebcctCmdDestroy: ERROR! cmd is NULL"),
    PSI_TEXT(error, "ebcctCmdDestroy: cmd zlst_delete failed!"),
    PSI_TEXT(info, "ebcctCmdDestroy: free cmd OK!"),
};

constexpr LogText ebitNoMemory = PSI_TEXT(error, "psiEbitSectionCreat: buddy_malloc ebitSection  failed");
constexpr RecordTexts ebitTexts = {PSI_TEXT(error, "psiEbitSectionDestroy: ERROR! ebitSection is NULL!"),
                                   PSI_TEXT(info, "psiEbitSectionDestroy: free ebitSection OK!")};
constexpr LogText ebitMessageFailed = PSI_TEXT(error, "psiEbitSectionDestroy: ebitSection ebitMessageDestroy failed");

constexpr LogText ebctNoMemory = PSI_TEXT(error, "psiEbctSectionCreat: buddy_malloc ebctSection  failed");
constexpr RecordTexts ebctTexts = {PSI_TEXT(error, "psiEbctSectionDestroy: ERROR! ebctSection is NULL!"),
                                   PSI_TEXT(info, "psiEbctSectionDestroy: free ebctSection OK!")};
constexpr LogText ebctContentFailed = PSI_TEXT(error, "psiEbctSectionDestroy: ebctSection ebctContentDestroy failed");

constexpr LogText ebcatNoMemory = PSI_TEXT(error, "psiEbcatSectionCreat: buddy_malloc ebcatSection  failed");
constexpr RecordTexts ebcatTexts = {PSI_TEXT(error, "psiEbcatSectionDestroy: ERROR! ebcatSection is NULL!"),
                                    PSI_TEXT(info, "psiEbcatSectionDestroy: free ebcatSection OK!")};
constexpr LogText ebcatCalistFailed = PSI_TEXT(error, "psiEbcatSectionDestroy: ebcatSection ebcatCalistDestroy failed");
constexpr LogText ebcatCtFailed = PSI_TEXT(error, "psiEbcatSectionDestroy: ebcatSection ebcatCtDestroy failed");

constexpr LogText ebcctNoMemory = PSI_TEXT(error, "psiEbcctSectionCreat: buddy_malloc ebcctSection  failed");
constexpr RecordTexts ebcctTexts = {PSI_TEXT(error, "psiEbcctSectionDestroy: ERROR! ebcctSection is NULL!"),
                                    PSI_TEXT(info, "psiEbcctSectionDestroy: free ebcctSection OK!")};
constexpr LogText ebcctCmdFailed = PSI_TEXT(error, "psiEbcctSectionDestroy: ebcctSection ebcctCmdDestroy failed");

/** @brief The last step of every emergency record: its signature goes, and the record is wiped. */
template <class Record> i32 dropSignature(Record &record)
{
    freeBytes(record.signature, true);
    memset(&record, 0, sizeof(record));
    return 0;
}

} // namespace

ebitStream *ebitStreamCreat(ebitStream **streamHead)
{
    return nodeCreat(streamHead, ebitStreamTexts);
}

i32 ebitStreamDestroy(ebitStream **streamHead, ebitStream *stream)
{
    return nodeDestroy(streamHead, stream, ebitStreamTexts,
                       [](ebitStream &owner) { return emptyDescriptors(&owner.descriptor, ebitStreamDescFailed); });
}

ebitDetailsChannel *ebitDetailsChannelCreat(void)
{
    return recordCreat<ebitDetailsChannel>(channelNoMemory);
}

i32 ebitDetailsChannlDestroy(ebitDetailsChannel *channel)
{
    return recordDestroy(channel, channelTexts, [](ebitDetailsChannel &owner) -> i32 {
        if (emptyDescriptors(&owner.descriptor, channelDescFailed) == -1)
            return -1;
        return emptyList(&owner.stream, ebitStreamDestroy, channelStreamFailed);
    });
}

ebitResource *ebitResourceCreat(ebitResource **resourceHead)
{
    return nodeCreat(resourceHead, ebitResourceTexts);
}

i32 ebitResourceDestroy(ebitResource **resourceHead, ebitResource *resource)
{
    return nodeDestroy(resourceHead, resource, ebitResourceTexts, [](ebitResource &) { return 0; });
}

ebitMessage *ebitMessageCreat(ebitMessage **ebmHead)
{
    return nodeCreat(ebmHead, ebitMessageTexts);
}

i32 ebitMessageDestroy(ebitMessage **ebmHead, ebitMessage *ebm)
{
    return nodeDestroy(ebmHead, ebm, ebitMessageTexts, [](ebitMessage &owner) -> i32 {
        if (emptyList(&owner.resource, ebitResourceDestroy, ebitMessageResourceFailed) == -1)
            return -1;
        if (owner.channel && ebitDetailsChannlDestroy(owner.channel) == -1) {
            PSI_ERROR("ebitMessageDestroy: ebm ebitDetailsChannlDestroy failed!");
            return -1;
        }
        return 0;
    });
}

ebctAuxiliaryData *ebctAuxiliaryDataCreat(ebctAuxiliaryData **dataHead)
{
    return nodeCreat(dataHead, ebctAuxiliaryDataTexts);
}

i32 ebctAuxiliaryDataDestroy(ebctAuxiliaryData **dataHead, ebctAuxiliaryData *data, u32 freeData)
{
    return nodeDestroy(dataHead, data, ebctAuxiliaryDataTexts, [=](ebctAuxiliaryData &owner) {
        freeBytes(owner.auxiliary_data, flagSet(freeData));
        return 0;
    });
}

ebctContent *ebctContentCreat(ebctContent **contentHead)
{
    return nodeCreat(contentHead, ebctContentTexts);
}

i32 ebctContentDestroy(ebctContent **contentHead, ebctContent *content)
{
    return nodeDestroy(contentHead, content, ebctContentTexts, [](ebctContent &owner) {
        freeBytes(owner.message_text, true);
        freeBytes(owner.agency_name, true);
        return emptyList(&owner.auxiliaryData, withFlag(ebctAuxiliaryDataDestroy, 1), ebctContentDataFailed);
    });
}

ebcatCalist *ebcatCalistCreat(ebcatCalist **caListHead)
{
    return nodeCreat(caListHead, ebcatCalistTexts);
}

i32 ebcatCalistDestroy(ebcatCalist **caListHead, ebcatCalist *caList, u32 freeData)
{
    return nodeDestroy(caListHead, caList, ebcatCalistTexts, [=](ebcatCalist &owner) {
        freeBytes(owner.ca_data, flagSet(freeData));
        return 0;
    });
}

ebcatCt *ebcatCtCreat(ebcatCt **ctHead)
{
    return nodeCreat(ctHead, ebcatCtTexts);
}

i32 ebcatCtDestroy(ebcatCt **ctHead, ebcatCt *ct, u32 freeData)
{
    return nodeDestroy(ctHead, ct, ebcatCtTexts, [=](ebcatCt &owner) {
        freeBytes(owner.ct_data, flagSet(freeData));
        return 0;
    });
}

ebcctCmd *ebcctCmdCreat(ebcctCmd **cmdHead)
{
    return nodeCreat(cmdHead, ebcctCmdTexts);
}

i32 ebcctCmdDestroy(ebcctCmd **cmdHead, ebcctCmd *cmd, u32 freeData)
{
    return nodeDestroy(cmdHead, cmd, ebcctCmdTexts, [=](ebcctCmd &owner) {
        freeBytes(owner.cmd_data, flagSet(freeData));
        return 0;
    });
}

ebitSection *psiEbitSectionCreat(void)
{
    return recordCreat<ebitSection>(ebitNoMemory);
}

i32 psiEbitSectionDestroy(ebitSection *ebit)
{
    return recordDestroy(ebit, ebitTexts, [](struct ebitSection &owner) -> i32 {
        if (emptyList(&owner.message, ebitMessageDestroy, ebitMessageFailed) == -1)
            return -1;
        return dropSignature(owner);
    });
}

ebctSection *psiEbctSectionCreat(void)
{
    return recordCreat<ebctSection>(ebctNoMemory);
}

i32 psiEbctSectionDestroy(ebctSection *ebct)
{
    return recordDestroy(ebct, ebctTexts, [](struct ebctSection &owner) -> i32 {
        if (emptyList(&owner.content, ebctContentDestroy, ebctContentFailed) == -1)
            return -1;
        return dropSignature(owner);
    });
}

ebcatSection *psiEbcatSectionCreat(void)
{
    return recordCreat<ebcatSection>(ebcatNoMemory);
}

i32 psiEbcatSectionDestroy(ebcatSection *ebcat)
{
    return recordDestroy(ebcat, ebcatTexts, [](struct ebcatSection &owner) -> i32 {
        if (emptyList(&owner.calist, withFlag(ebcatCalistDestroy, 1), ebcatCalistFailed) == -1 ||
            emptyList(&owner.ct, withFlag(ebcatCtDestroy, 1), ebcatCtFailed) == -1)
            return -1;
        return dropSignature(owner);
    });
}

ebcctSection *psiEbcctSectionCreat(void)
{
    return recordCreat<ebcctSection>(ebcctNoMemory);
}

i32 psiEbcctSectionDestroy(ebcctSection *ebcct)
{
    return recordDestroy(ebcct, ebcctTexts, [](struct ebcctSection &owner) -> i32 {
        if (emptyList(&owner.cmd, withFlag(ebcctCmdDestroy, 1), ebcctCmdFailed) == -1)
            return -1;
        return dropSignature(owner);
    });
}
