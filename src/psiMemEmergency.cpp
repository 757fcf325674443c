#include "psiNode.h"

using namespace psi::core;

/* ------------------------------------------------------------------------------------------------------------------
 * Nodes and records of the emergency tables
 * ---------------------------------------------------------------------------------------------------------------- */

constexpr Owned ebitStreamOwned[] = {
    ownedList(offsetof(ebitStream, descriptor), descInfoType,
              PSI_TEXT(error, "ebitStreamDestroy: descInfoDestroy failed!")),
};
constexpr NodeTypeOf<ebitStream> psi::core::ebitStreamType = {{
    owningType<ebitStream>(ebitStreamOwned),
    {
        PSI_TEXT(error, "ebitStreamCreat: ERROR! streamHead is NULL"),
        PSI_TEXT(error, "ebitStreamCreat: buddy_malloc stream node failed"),
        PSI_TEXT(error, "ebitStreamCreat: stream zlst_push failed!"),
        PSI_TEXT(error, "ebitStreamDestroy: ERROR! streamHead is NULL"),
        PSI_TEXT(error, "ebitStreamDestroy: ERROR! *streamHead is NULL"),
        PSI_TEXT(error, "ebitStreamDestroy: ERROR! stream is NULL"),
        PSI_TEXT(error, "ebitStreamDestroy: stream zlst_delete failed!"),
        PSI_TEXT(info, "ebitStreamDestroy: free stream OK!"),
    },
}};

constexpr Owned ebitDetailsChannelOwned[] = {
    ownedList(offsetof(ebitDetailsChannel, descriptor), descInfoType,
              PSI_TEXT(error, "ebitDetailsChannlDestroy: channel descInfoDestroy failed")),
    ownedList(offsetof(ebitDetailsChannel, stream), ebitStreamType,
              PSI_TEXT(error, "ebitDetailsChannlDestroy: channel ebitStreamDestroy failed")),
};
constexpr RecordTypeOf<ebitDetailsChannel> psi::core::ebitDetailsChannelType = {{
    owningType<ebitDetailsChannel>(ebitDetailsChannelOwned),
    Freed::asItIs,
    {
        PSI_TEXT(error, "ebitDetailsChannelCreat: buddy_malloc channel node failed"),
        PSI_TEXT(error, "ebitDetailsChannlDestroy: ERROR! channel is NULL"),
        PSI_TEXT(info, "ebitDetailsChannlDestroy: free channel OK!"),
    },
}};

constexpr NodeTypeOf<ebitResource> psi::core::ebitResourceType = {{
    plainType<ebitResource>(),
    {
        PSI_TEXT(error, "ebitResourceCreat: ERROR! resourceHead is NULL"),
        PSI_TEXT(error, "ebitResourceCreat: buddy_malloc resource node failed"),
        PSI_TEXT(error, "ebitResourceCreat: resource zlst_push failed!"),
        PSI_TEXT(error, "ebitResourceDestroy: ERROR! resourceHead is NULL"),
        PSI_TEXT(error, "ebitResourceDestroy: ERROR! *resourceHead is NULL"),
        PSI_TEXT(error, "ebitResourceDestroy: ERROR! resource is NULL"),
        PSI_TEXT(error, "ebitResourceDestroy: ebm zlst_delete failed!"),
        PSI_TEXT(info, "ebitResourceDestroy: free resource OK!"),
    },
}};

constexpr Owned ebitMessageOwned[] = {
    ownedList(offsetof(ebitMessage, resource), ebitResourceType,
              PSI_TEXT(error, "ebitMessgeDestroy: ebm ebitResourceDestroy failed!")),
    ownedRecord(offsetof(ebitMessage, channel), ebitDetailsChannelType,
                PSI_TEXT(error, "ebitMessageDestroy: ebm ebitDetailsChannlDestroy failed!")),
};
constexpr NodeTypeOf<ebitMessage> psi::core::ebitMessageType = {{
    owningType<ebitMessage>(ebitMessageOwned),
    {
        PSI_TEXT(error, "ebitMessageCreat: ERROR! ebmHead is NULL"),
        PSI_TEXT(error, "ebitMessageCreat: buddy_malloc ebm node failed"),
        PSI_TEXT(error, "ebitMessageCreat: ebm zlst_push failed!"),
        PSI_TEXT(error, "ebitMessgeDestroy: ERROR! ebmHead is NULL"),
        PSI_TEXT(error, "ebitMessgeDestroy: ERROR! *ebmHead is NULL"),
        PSI_TEXT(error, "ebitMessgeDestroy: ERROR! ebm is NULL"),
        PSI_TEXT(error, "ebitMessgeDestroy: ebm zlst_delete failed!"),
        PSI_TEXT(info, "ebitMessgeDestroy: free ebm OK!"),
    },
}};

constexpr Owned ebctAuxiliaryDataOwned[] = {
    ownedBytes(offsetof(ebctAuxiliaryData, auxiliary_data)),
};
constexpr NodeTypeOf<ebctAuxiliaryData> psi::core::ebctAuxiliaryDataType = {{
    owningType<ebctAuxiliaryData>(ebctAuxiliaryDataOwned),
    {
        PSI_TEXT(error, "ebctAuxiliaryDataCreat: ERROR! dataHead is NULL"),
        PSI_TEXT(error, "ebctAuxiliaryDataCreat: buddy_malloc data node failed"),
        PSI_TEXT(error, "ebctAuxiliaryDataCreat: data zlst_push failed!"),
        PSI_TEXT(error, "ebctAuxiliaryDataDestroy: ERROR! dataHead is NULL"),
        PSI_TEXT(error, "ebctAuxiliaryDataDestroy: ERROR! *dataHead is NULL"),
        PSI_TEXT(error, "ebctAuxiliaryDataDestroy: ERROR! data is NULL"),
        PSI_TEXT(error, "ebctAuxiliaryDataDestroy: data zlst_delete failed!"),
        PSI_TEXT(info, "ebctAuxiliaryDataDestroy: free data OK!"),
    },
}};

constexpr Owned ebctContentOwned[] = {
    ownedBytes(offsetof(ebctContent, message_text)),
    ownedBytes(offsetof(ebctContent, agency_name)),
    ownedList(offsetof(ebctContent, auxiliaryData), ebctAuxiliaryDataType,
              PSI_TEXT(error, "ebctContentDestroy: content ebctAuxiliaryDataDestroy failed!")),
};
constexpr NodeTypeOf<ebctContent> psi::core::ebctContentType = {{
    owningType<ebctContent>(ebctContentOwned),
    {
        PSI_TEXT(error, "ebctContentCreat: ERROR! contentHead is NULL"),
        PSI_TEXT(error, "ebctContentCreat: buddy_malloc content node failed"),
        PSI_TEXT(error, "ebctContentCreat: content zlst_push failed!"),
        PSI_TEXT(error, "ebctContentDestroy: ERROR! contentHead is NULL"),
        PSI_TEXT(error, "ebctContentDestroy: ERROR! *contentHead is NULL"),
        PSI_TEXT(error, "ebctContentDestroy: ERROR! content is NULL"),
        PSI_TEXT(error, "ebctContentDestroy: content zlst_delete failed!"),
        PSI_TEXT(info, "ebctContentDestroy: free content OK!"),
    },
}};

constexpr Owned ebcatCalistOwned[] = {
    ownedBytes(offsetof(ebcatCalist, ca_data)),
};
constexpr NodeTypeOf<ebcatCalist> psi::core::ebcatCalistType = {{
    owningType<ebcatCalist>(ebcatCalistOwned),
    {
        PSI_TEXT(error, "ebcatCalistCreat: ERROR! caListHead is NULL"),
        PSI_TEXT(error, "ebcatCalistCreat: buddy_malloc caList node failed"),
        PSI_TEXT(error, "ebcatCalistCreat: caList zlst_push failed!"),
        PSI_TEXT(error, "ebcatCalistDestroy: ERROR! caListHead is NULL"),
        PSI_TEXT(error, "ebcatCalistDestroy: ERROR! *caListHead is NULL"),
        PSI_TEXT(error, "ebcatCalistDestroy: ERROR! caList is NULL"),
        PSI_TEXT(error, "ebcatCalistDestroy: caList zlst_delete failed!"),
        PSI_TEXT(info, "ebcatCalistDestroy: free caList OK!"),
    },
}};

constexpr Owned ebcatCtOwned[] = {
    ownedBytes(offsetof(ebcatCt, ct_data)),
};
constexpr NodeTypeOf<ebcatCt> psi::core::ebcatCtType = {{
    owningType<ebcatCt>(ebcatCtOwned),
    {
        PSI_TEXT(error, "ebcatCtCreat: ERROR! ctHead is NULL"),
        PSI_TEXT(error, "ebcatCtCreat: buddy_malloc ct node failed"),
        PSI_TEXT(error, "ebcatCtCreat: ct zlst_push failed!"),
        PSI_TEXT(error, "ebcatCtDestroy: ERROR! ctHead is NULL"),
        PSI_TEXT(error, "ebcatCtDestroy: ERROR! *ctHead is NULL"),
        PSI_TEXT(error, "ebcatCtDestroy: ERROR! ct is NULL"),
        PSI_TEXT(error, "ebcatCtDestroy: ct zlst_delete failed!"),
        PSI_TEXT(info, "ebcatCtDestroy: free ct OK!"),
    },
}};

constexpr Owned ebcctCmdOwned[] = {
    ownedBytes(offsetof(ebcctCmd, cmd_data)),
};
constexpr NodeTypeOf<ebcctCmd> psi::core::ebcctCmdType = {{
    owningType<ebcctCmd>(ebcctCmdOwned),
    {
        PSI_TEXT(error, "ebcctCmdCreat: ERROR! cmdHead is NULL"),
        PSI_TEXT(error, "ebcctCmdCreat: buddy_malloc cmd node failed"),
        PSI_TEXT(error, "ebcctCmdCreat: cmd zlst_push failed!"),
        PSI_TEXT(error, "ebcctCmdDestroy: ERROR! cmdHead is NULL"),
        PSI_TEXT(error, "ebcctCmdDestroy: ERROR! *cmdHead is NULL"),
        PSI_TEXT(error, "ebcctCmdDestroy: ERROR! cmd is NULL"),
        PSI_TEXT(error, "ebcctCmdDestroy: cmd zlst_delete failed!"),
        PSI_TEXT(info, "ebcctCmdDestroy: free cmd OK!"),
    },
}};

constexpr Owned ebitSectionOwned[] = {
    ownedList(offsetof(ebitSection, message), ebitMessageType,
              PSI_TEXT(error, "psiEbitSectionDestroy: ebitSection ebitMessageDestroy failed")),
    ownedBytes(offsetof(ebitSection, signature)),
};
constexpr RecordTypeOf<ebitSection> psi::core::ebitSectionType = {{
    owningType<ebitSection>(ebitSectionOwned),
    Freed::zeroed,
    {
        PSI_TEXT(error, "psiEbitSectionCreat: buddy_malloc ebitSection  failed"),
        PSI_TEXT(error, "psiEbitSectionDestroy: ERROR! ebitSection is NULL!"),
        PSI_TEXT(info, "psiEbitSectionDestroy: free ebitSection OK!"),
    },
}};

constexpr Owned ebctSectionOwned[] = {
    ownedList(offsetof(ebctSection, content), ebctContentType,
              PSI_TEXT(error, "psiEbctSectionDestroy: ebctSection ebctContentDestroy failed")),
    ownedBytes(offsetof(ebctSection, signature)),
};
constexpr RecordTypeOf<ebctSection> psi::core::ebctSectionType = {{
    owningType<ebctSection>(ebctSectionOwned),
    Freed::zeroed,
    {
        PSI_TEXT(error, "psiEbctSectionCreat: buddy_malloc ebctSection  failed"),
        PSI_TEXT(error, "psiEbctSectionDestroy: ERROR! ebctSection is NULL!"),
        PSI_TEXT(info, "psiEbctSectionDestroy: free ebctSection OK!"),
    },
}};

constexpr Owned ebcatSectionOwned[] = {
    ownedList(offsetof(ebcatSection, calist), ebcatCalistType,
              PSI_TEXT(error, "psiEbcatSectionDestroy: ebcatSection ebcatCalistDestroy failed")),
    ownedList(offsetof(ebcatSection, ct), ebcatCtType,
              PSI_TEXT(error, "psiEbcatSectionDestroy: ebcatSection ebcatCtDestroy failed")),
    ownedBytes(offsetof(ebcatSection, signature)),
};
constexpr RecordTypeOf<ebcatSection> psi::core::ebcatSectionType = {{
    owningType<ebcatSection>(ebcatSectionOwned),
    Freed::zeroed,
    {
        PSI_TEXT(error, "psiEbcatSectionCreat: buddy_malloc ebcatSection  failed"),
        PSI_TEXT(error, "psiEbcatSectionDestroy: ERROR! ebcatSection is NULL!"),
        PSI_TEXT(info, "psiEbcatSectionDestroy: free ebcatSection OK!"),
    },
}};

constexpr Owned ebcctSectionOwned[] = {
    ownedList(offsetof(ebcctSection, cmd), ebcctCmdType,
              PSI_TEXT(error, "psiEbcctSectionDestroy: ebcctSection ebcctCmdDestroy failed")),
    ownedBytes(offsetof(ebcctSection, signature)),
};
constexpr RecordTypeOf<ebcctSection> psi::core::ebcctSectionType = {{
    owningType<ebcctSection>(ebcctSectionOwned),
    Freed::zeroed,
    {
        PSI_TEXT(error, "psiEbcctSectionCreat: buddy_malloc ebcctSection  failed"),
        PSI_TEXT(error, "psiEbcctSectionDestroy: ERROR! ebcctSection is NULL!"),
        PSI_TEXT(info, "psiEbcctSectionDestroy: free ebcctSection OK!"),
    },
}};

ebitStream *ebitStreamCreat(ebitStream **streamHead)
{
    return nodeCreat(streamHead, ebitStreamType);
}

i32 ebitStreamDestroy(ebitStream **streamHead, ebitStream *stream)
{
    return nodeDestroy(streamHead, stream, ebitStreamType, 1);
}

ebitDetailsChannel *ebitDetailsChannelCreat(void)
{
    return recordCreat(ebitDetailsChannelType);
}

i32 ebitDetailsChannlDestroy(ebitDetailsChannel *channel)
{
    return recordDestroy(channel, ebitDetailsChannelType);
}

ebitResource *ebitResourceCreat(ebitResource **resourceHead)
{
    return nodeCreat(resourceHead, ebitResourceType);
}

i32 ebitResourceDestroy(ebitResource **resourceHead, ebitResource *resource)
{
    return nodeDestroy(resourceHead, resource, ebitResourceType, 1);
}

ebitMessage *ebitMessageCreat(ebitMessage **ebmHead)
{
    return nodeCreat(ebmHead, ebitMessageType);
}

i32 ebitMessageDestroy(ebitMessage **ebmHead, ebitMessage *ebm)
{
    return nodeDestroy(ebmHead, ebm, ebitMessageType, 1);
}

ebctAuxiliaryData *ebctAuxiliaryDataCreat(ebctAuxiliaryData **dataHead)
{
    return nodeCreat(dataHead, ebctAuxiliaryDataType);
}

i32 ebctAuxiliaryDataDestroy(ebctAuxiliaryData **dataHead, ebctAuxiliaryData *data, u32 freeData)
{
    return nodeDestroy(dataHead, data, ebctAuxiliaryDataType, freeData);
}

ebctContent *ebctContentCreat(ebctContent **contentHead)
{
    return nodeCreat(contentHead, ebctContentType);
}

i32 ebctContentDestroy(ebctContent **contentHead, ebctContent *content)
{
    return nodeDestroy(contentHead, content, ebctContentType, 1);
}

ebcatCalist *ebcatCalistCreat(ebcatCalist **caListHead)
{
    return nodeCreat(caListHead, ebcatCalistType);
}

i32 ebcatCalistDestroy(ebcatCalist **caListHead, ebcatCalist *caList, u32 freeData)
{
    return nodeDestroy(caListHead, caList, ebcatCalistType, freeData);
}

ebcatCt *ebcatCtCreat(ebcatCt **ctHead)
{
    return nodeCreat(ctHead, ebcatCtType);
}

i32 ebcatCtDestroy(ebcatCt **ctHead, ebcatCt *ct, u32 freeData)
{
    return nodeDestroy(ctHead, ct, ebcatCtType, freeData);
}

ebcctCmd *ebcctCmdCreat(ebcctCmd **cmdHead)
{
    return nodeCreat(cmdHead, ebcctCmdType);
}

i32 ebcctCmdDestroy(ebcctCmd **cmdHead, ebcctCmd *cmd, u32 freeData)
{
    return nodeDestroy(cmdHead, cmd, ebcctCmdType, freeData);
}

ebitSection *psiEbitSectionCreat(void)
{
    return recordCreat(ebitSectionType);
}

i32 psiEbitSectionDestroy(ebitSection *ebit)
{
    return recordDestroy(ebit, ebitSectionType);
}

ebctSection *psiEbctSectionCreat(void)
{
    return recordCreat(ebctSectionType);
}

i32 psiEbctSectionDestroy(ebctSection *ebct)
{
    return recordDestroy(ebct, ebctSectionType);
}

ebcatSection *psiEbcatSectionCreat(void)
{
    return recordCreat(ebcatSectionType);
}

i32 psiEbcatSectionDestroy(ebcatSection *ebcat)
{
    return recordDestroy(ebcat, ebcatSectionType);
}

ebcctSection *psiEbcctSectionCreat(void)
{
    return recordCreat(ebcctSectionType);
}

i32 psiEbcctSectionDestroy(ebcctSection *ebcct)
{
    return recordDestroy(ebcct, ebcctSectionType);
}
