// Nodes of the syntax trees: create, destroy, what they own, and what happens when a nested node cannot be destroyed.
#include "support/nodeLifeCycle.h"

#include "psiInternal.h"

#include <type_traits>

using namespace psi::core;

namespace psitest {
namespace {

/* ------------------------------------------------------------------------------------------------------------------
 * What all list nodes have in common
 * ---------------------------------------------------------------------------------------------------------------- */

using NodeTexts = std::array<const char *, 8>;

template <typename NodeType, NodeType *(*creat)(NodeType **), auto destroyNode, const NodeTexts &texts,
          Kind badArgument = Kind::Error>
struct Life {
    using Node = NodeType;
    static Node *create(Node **head) { return creat(head); }
    static i32 destroy(Node **head, Node *node)
    {
        if constexpr (std::is_invocable_v<decltype(destroyNode), Node **, Node *>)
            return destroyNode(head, node);
        else
            return destroyNode(head, node, 1);
    }
    static NodeLines lines() { return nodeLines(texts, badArgument); }
};

constexpr NodeTexts patProgTexts = {
    "psiPatProgCreat: ERROR! headProgInfo is NULL!",    "psiPatProgCreat: buddy_malloc prog node failed",
    "psiPatProgCreat: progInfo zlst_push failed!",      "psiPatProgDestroy: ERROR! headProgInfo is NULL!",
    "psiPatProgDestroy: ERROR! *headProgInfo is NULL!", "psiPatProgDestroy: ERROR! progInfo is NULL!",
    "psiPatProgDestroy: progInfo zlst_delete failed!",  "psiPatProgDestroy: free progInfo OK!",
};
constexpr NodeTexts pmtEsTexts = {
    "psiPmtEsCreat: ERROR! headEsInfo is NULL!",    "psiPmtEsCreat: buddy_malloc pid node failed",
    "psiPmtEsCreat: esInfo zlst_push failed!",      "psiPmtEsDestroy: ERROR! headEsInfo is NULL!",
    "psiPmtEsDestroy: ERROR! *headEsInfo is NULL!", "psiPmtEsDestroy: ERROR! esInfo is NULL!",
    "psiPmtEsDestroy: esInfo zlst_delete failed!",  "psiPmtEsDestroy: free esInfo OK!",
};
constexpr NodeTexts sdtServiceTexts = {
    "psiSdtServiceCreat: ERROR! headServiceInfo is NULL!",    "psiSdtServiceCreat: buddy_malloc service node failed",
    "psiSdtServiceCreat: serviceInfo zlst_push failed!",      "psiSdtServiceDestroy: ERROR! headServiceInfo is NULL!",
    "psiSdtServiceDestroy: ERROR! *headServiceInfo is NULL!", "psiSdtServiceDestroy: ERROR! serviceInfo is NULL!",
    "psiSdtServiceDestroy: serviceInfo zlst_delete failed!",  "psiSdtServiceDestroy: free serviceInfo OK!",
};
constexpr NodeTexts streamInfoTexts = {
    "psiStreamInfoCreat: ERROR! headStreamInfo is NULL!",    "psiStreamInfoCreat: buddy_malloc stream node failed",
    "psiStreamInfoCreat: streamInfo zlst_push failed!",      "psiStreamInfoDestroy: ERROR! headStreamInfo is NULL!",
    "psiStreamInfoDestroy: ERROR! *headStreamInfo is NULL!", "psiStreamInfoDestroy: ERROR! streamInfo is NULL!",
    "psiStreamInfoDestroy: streamInfo zlst_delete failed!",  "psiStreamInfoDestroy: free streamInfo OK!",
};
constexpr NodeTexts mgtTableTexts = {
    "mgtTableInfoCreat: ERROR! headTableInfo is NULL!",      "mgtTableInfoCreat: buddy_malloc stream node failed",
    "mgtTableInfoCreat: mgtTableInfo zlst_push failed!",     "mgtTableInfoDestroy: ERROR! headTableInfo is NULL!",
    "mgtTableInfoDestroy: ERROR! *headTableInfo is NULL!",   "mgtTableInfoDestroy: ERROR! mgtTableInfo is NULL!",
    "mgtTableInfoDestroy: mgtTableInfo zlst_delete failed!", "mgtTableInfoDestroy: free mgtTableInfo OK!",
};
constexpr NodeTexts ebitStreamTexts = {
    "ebitStreamCreat: ERROR! streamHead is NULL",    "ebitStreamCreat: buddy_malloc stream node failed",
    "ebitStreamCreat: stream zlst_push failed!",     "ebitStreamDestroy: ERROR! streamHead is NULL",
    "ebitStreamDestroy: ERROR! *streamHead is NULL", "ebitStreamDestroy: ERROR! stream is NULL",
    "ebitStreamDestroy: stream zlst_delete failed!", "ebitStreamDestroy: free stream OK!",
};
constexpr NodeTexts ebitResourceTexts = {
    "ebitResourceCreat: ERROR! resourceHead is NULL",    "ebitResourceCreat: buddy_malloc resource node failed",
    "ebitResourceCreat: resource zlst_push failed!",     "ebitResourceDestroy: ERROR! resourceHead is NULL",
    "ebitResourceDestroy: ERROR! *resourceHead is NULL", "ebitResourceDestroy: ERROR! resource is NULL",
    "ebitResourceDestroy: ebm zlst_delete failed!",      "ebitResourceDestroy: free resource OK!",
};
constexpr NodeTexts ebitMessageTexts = {
    "ebitMessageCreat: ERROR! ebmHead is NULL",   "ebitMessageCreat: buddy_malloc ebm node failed",
    "ebitMessageCreat: ebm zlst_push failed!",    "ebitMessgeDestroy: ERROR! ebmHead is NULL",
    "ebitMessgeDestroy: ERROR! *ebmHead is NULL", "ebitMessgeDestroy: ERROR! ebm is NULL",
    "ebitMessgeDestroy: ebm zlst_delete failed!", "ebitMessgeDestroy: free ebm OK!",
};
constexpr NodeTexts ebctAuxiliaryTexts = {
    "ebctAuxiliaryDataCreat: ERROR! dataHead is NULL",    "ebctAuxiliaryDataCreat: buddy_malloc data node failed",
    "ebctAuxiliaryDataCreat: data zlst_push failed!",     "ebctAuxiliaryDataDestroy: ERROR! dataHead is NULL",
    "ebctAuxiliaryDataDestroy: ERROR! *dataHead is NULL", "ebctAuxiliaryDataDestroy: ERROR! data is NULL",
    "ebctAuxiliaryDataDestroy: data zlst_delete failed!", "ebctAuxiliaryDataDestroy: free data OK!",
};
constexpr NodeTexts ebctContentTexts = {
    "ebctContentCreat: ERROR! contentHead is NULL",    "ebctContentCreat: buddy_malloc content node failed",
    "ebctContentCreat: content zlst_push failed!",     "ebctContentDestroy: ERROR! contentHead is NULL",
    "ebctContentDestroy: ERROR! *contentHead is NULL", "ebctContentDestroy: ERROR! content is NULL",
    "ebctContentDestroy: content zlst_delete failed!", "ebctContentDestroy: free content OK!",
};
constexpr NodeTexts ebcatCalistTexts = {
    "ebcatCalistCreat: ERROR! caListHead is NULL",    "ebcatCalistCreat: buddy_malloc caList node failed",
    "ebcatCalistCreat: caList zlst_push failed!",     "ebcatCalistDestroy: ERROR! caListHead is NULL",
    "ebcatCalistDestroy: ERROR! *caListHead is NULL", "ebcatCalistDestroy: ERROR! caList is NULL",
    "ebcatCalistDestroy: caList zlst_delete failed!", "ebcatCalistDestroy: free caList OK!",
};
constexpr NodeTexts ebcatCtTexts = {
    "ebcatCtCreat: ERROR! ctHead is NULL",    "ebcatCtCreat: buddy_malloc ct node failed",
    "ebcatCtCreat: ct zlst_push failed!",     "ebcatCtDestroy: ERROR! ctHead is NULL",
    "ebcatCtDestroy: ERROR! *ctHead is NULL", "ebcatCtDestroy: ERROR! ct is NULL",
    "ebcatCtDestroy: ct zlst_delete failed!", "ebcatCtDestroy: free ct OK!",
};
constexpr NodeTexts ebcctCmdTexts = {
    "ebcctCmdCreat: ERROR! cmdHead is NULL",    "ebcctCmdCreat: buddy_malloc cmd node failed",
    "ebcctCmdCreat: cmd zlst_push failed!",     "ebcctCmdDestroy: ERROR! cmdHead is NULL",
    "ebcctCmdDestroy: ERROR! *cmdHead is NULL", "ebcctCmdDestroy: ERROR! cmd is NULL",
    "ebcctCmdDestroy: cmd zlst_delete failed!", "ebcctCmdDestroy: free cmd OK!",
};

using PatProgLife = Life<psiPatProg, psiPatProgCreat, psiPatProgDestroy, patProgTexts>;
using PmtEsLife = Life<psiPmtEs, psiPmtEsCreat, psiPmtEsDestroy, pmtEsTexts>;
using SdtServiceLife = Life<psiSdtService, psiSdtServiceCreat, psiSdtServiceDestroy, sdtServiceTexts>;
using StreamInfoLife = Life<psiStreamInfo, psiStreamInfoCreat, psiStreamInfoDestroy, streamInfoTexts, Kind::Warning>;
using MgtTableLife = Life<mgtTableInfo, mgtTableInfoCreat, mgtTableInfoDestroy, mgtTableTexts, Kind::Warning>;
using EbitStreamLife = Life<ebitStream, ebitStreamCreat, ebitStreamDestroy, ebitStreamTexts>;
using EbitResourceLife = Life<ebitResource, ebitResourceCreat, ebitResourceDestroy, ebitResourceTexts>;
using EbitMessageLife = Life<ebitMessage, ebitMessageCreat, ebitMessageDestroy, ebitMessageTexts>;
using EbctAuxiliaryLife = Life<ebctAuxiliaryData, ebctAuxiliaryDataCreat, ebctAuxiliaryDataDestroy, ebctAuxiliaryTexts>;
using EbctContentLife = Life<ebctContent, ebctContentCreat, ebctContentDestroy, ebctContentTexts>;
using EbcatCalistLife = Life<ebcatCalist, ebcatCalistCreat, ebcatCalistDestroy, ebcatCalistTexts>;
using EbcatCtLife = Life<ebcatCt, ebcatCtCreat, ebcatCtDestroy, ebcatCtTexts>;
using EbcctCmdLife = Life<ebcctCmd, ebcctCmdCreat, ebcctCmdDestroy, ebcctCmdTexts>;

using TreeNodes = testing::Types<PatProgLife, PmtEsLife, SdtServiceLife, StreamInfoLife, MgtTableLife, EbitStreamLife,
                                 EbitResourceLife, EbitMessageLife, EbctAuxiliaryLife, EbctContentLife, EbcatCalistLife,
                                 EbcatCtLife, EbcctCmdLife>;
INSTANTIATE_TYPED_TEST_SUITE_P(SyntaxTree, NodeLifeCycle, TreeNodes);

/** @brief Warnings are the one kind that level 1 does not let through. */
TEST_F(LibraryTest, LevelOneHidesTheArgumentTextsOfStreamInfoAndMgtTableInfo)
{
    setPsiSchRPTLevel(1);
    EXPECT_EQ(nullptr, psiStreamInfoCreat(nullptr));
    EXPECT_EQ(-1, psiStreamInfoDestroy(nullptr, nullptr));
    EXPECT_EQ(nullptr, mgtTableInfoCreat(nullptr));
    EXPECT_EQ(-1, mgtTableInfoDestroy(nullptr, nullptr));
    EXPECT_NO_LOG(log);
    EXPECT_EQ(nullptr, psiPmtEsCreat(nullptr));
    EXPECT_LOG(log, error("psiMem", "psiPmtEsCreat: ERROR! headEsInfo is NULL!"));
}

/* ------------------------------------------------------------------------------------------------------------------
 * What a node owns
 * ---------------------------------------------------------------------------------------------------------------- */

u8 *poolBytes(u32 size = 10)
{
    return static_cast<u8 *>(psi_buddy_malloc(size));
}

/** @brief Add descriptors, the first with a payload and the last without. */
void fillDescriptors(descInfo **head)
{
    descInfo *first = descInfoCreat(head);
    first->descLen = 10;
    first->descData = poolBytes();
    descInfoCreat(head);
}

const LogLine descFreed = info("psiMem", "descInfoDestroy: free descInfo OK!");
const LogLine descKept = error("psiMem", "descInfoDestroy: descInfo zlst_delete failed!");

class NodeContents : public LibraryTest {
protected:
    void SetUp() override
    {
        LibraryTest::SetUp();
        setPsiSchRPTLevel(3);
    }

    /** @brief A node with contents is freed with all that it owns, in this order. */
    template <typename Life, typename Fill> void expectFreed(Fill fill, const LogLines &lines)
    {
        typename Life::Node *head = nullptr;
        fill(*Life::create(&head));
        EXPECT_EQ(0, Life::destroy(&head, head));
        EXPECT_EQ(lines, log.take());
        EXPECT_EQ(0U, liveBlocks());
    }

    /**
     * @brief A node in which a nested node cannot be unlinked stays unlinked itself, is not freed, and can be linked
     * and destroyed again.
     * @param failing which call of zlst_delete() fails; the first one is the node's own
     * @param kept pool blocks that stay
     */
    template <typename Life, typename Fill>
    void expectNestedFailure(Fill fill, unsigned failing, const LogLines &lines, u32 kept)
    {
        typename Life::Node *head = nullptr;
        typename Life::Node *node = Life::create(&head);
        typename Life::Node *other = Life::create(&head);
        fill(*node);
        {
            const FaultPlan plan(Call::Delete, failing);
            EXPECT_EQ(-1, Life::destroy(&head, node));
        }
        EXPECT_EQ(lines, log.take());
        EXPECT_EQ(std::vector{other}, nodesOf(head));
        EXPECT_EQ(kept + 1, liveBlocks()) << "one of them is the other node";
        ASSERT_EQ(0, zlst_push(&head, node));
        EXPECT_EQ(0, Life::destroy(&head, node));
        EXPECT_EQ(0, Life::destroy(&head, other));
        log.clear();
    }

    /** @brief Both of it, for a node that owns one list of descriptors. */
    template <typename Life> void ownsDescriptors(descInfo *Life::Node::*list, const std::string &failure)
    {
        const auto fill = [=](typename Life::Node &node) { fillDescriptors(&(node.*list)); };
        expectFreed<Life>(fill, {descFreed, descFreed, Life::lines().destroyed});
        expectNestedFailure<Life>(fill, 2, {descKept, error("psiMem", failure)}, 4);
        expectNestedFailure<Life>(fill, 3, {descFreed, descKept, error("psiMem", failure)}, 2);
    }
};

TEST_F(NodeContents, DescriptorsGoWithTheirNode)
{
    ownsDescriptors<PmtEsLife>(&psiPmtEs::es_descriptor, "psiPmtEsDestroy: descInfoDestroy failed!");
    ownsDescriptors<SdtServiceLife>(&psiSdtService::service_descriptor,
                                    "psiSdtServiceDestroy: descInfoDestroy failed!");
    ownsDescriptors<StreamInfoLife>(&psiStreamInfo::descriptor, "psiStreamInfoDestroy: descInfoDestroy failed!");
    ownsDescriptors<MgtTableLife>(&mgtTableInfo::table_desc_info, "mgtTableInfoDestroy: descInfoDestroy failed!");
    ownsDescriptors<EbitStreamLife>(&ebitStream::descriptor, "ebitStreamDestroy: descInfoDestroy failed!");
}

/** @brief For the four nodes whose destroyer is told whether the data go, too. */
template <typename Node, typename Destroy>
void expectFlagDecides(Node *(*creat)(Node **), u8 *Node::*data, Destroy destroy)
{
    for (const u32 flag : {1U, 0x80U, 0xFFU, 0x100U, 0U}) {
        SCOPED_TRACE(testing::Message() << "flag " << flag);
        const bool frees = (flag & 0xFF) != 0;
        u8 *bytes = poolBytes();
        Node *head = nullptr;
        creat(&head)->*data = bytes;
        EXPECT_EQ(0, destroy(&head, head, flag));
        EXPECT_EQ(frees ? 0U : 10U, buddy_size(psiMp, bytes)) << "only the low 8 bits count";
        if (!frees)
            psi_buddy_free(bytes);
    }
}

TEST_F(NodeContents, TheFlagDecidesWhetherTheDataGo)
{
    expectFlagDecides(ebctAuxiliaryDataCreat, &ebctAuxiliaryData::auxiliary_data, ebctAuxiliaryDataDestroy);
    expectFlagDecides(ebcatCalistCreat, &ebcatCalist::ca_data, ebcatCalistDestroy);
    expectFlagDecides(ebcatCtCreat, &ebcatCt::ct_data, ebcatCtDestroy);
    expectFlagDecides(ebcctCmdCreat, &ebcctCmd::cmd_data, ebcctCmdDestroy);
}

TEST_F(NodeContents, AnEbctContentGoesWithTextAgencyAndAuxiliaryData)
{
    const auto fill = [](ebctContent &content) {
        content.message_text = poolBytes();
        content.agency_name = poolBytes();
        ebctAuxiliaryDataCreat(&content.auxiliaryData)->auxiliary_data = poolBytes();
        ebctAuxiliaryDataCreat(&content.auxiliaryData);
    };
    const LogLine freed = info("psiMem", "ebctAuxiliaryDataDestroy: free data OK!");
    expectFreed<EbctContentLife>(fill, {freed, freed, info("psiMem", "ebctContentDestroy: free content OK!")});

    const auto fillAuxiliary = [](ebctContent &content) { ebctAuxiliaryDataCreat(&content.auxiliaryData); };
    expectNestedFailure<EbctContentLife>(
        fillAuxiliary, 2,
        {error("psiMem", "ebctAuxiliaryDataDestroy: data zlst_delete failed!"),
         error("psiMem", "ebctContentDestroy: content ebctAuxiliaryDataDestroy failed!")},
        2);
}

/* ------------------------------------------------------------------------------------------------------------------
 * The EBIT's messages and their details channel
 * ---------------------------------------------------------------------------------------------------------------- */

void fillChannel(ebitDetailsChannel &channel)
{
    fillDescriptors(&channel.descriptor);
    fillDescriptors(&ebitStreamCreat(&channel.stream)->descriptor);
}

const LogLine streamFreed = info("psiMem", "ebitStreamDestroy: free stream OK!");
const LogLine channelFreed = info("psiMem", "ebitDetailsChannlDestroy: free channel OK!");
const LogLine resourceFreed = info("psiMem", "ebitResourceDestroy: free resource OK!");

class DetailsChannel : public NodeContents {};

TEST_F(DetailsChannel, IsCreatedZeroed)
{
    void *soiled = psi_buddy_malloc(sizeof(ebitDetailsChannel));
    std::memset(soiled, 0xEE, sizeof(ebitDetailsChannel));
    psi_buddy_free(soiled);
    ebitDetailsChannel *channel = ebitDetailsChannelCreat();
    ASSERT_NE(nullptr, channel);
    const u8 *bytes = reinterpret_cast<const u8 *>(channel);
    EXPECT_EQ(repeated(sizeof *channel, 0), Bytes(bytes, bytes + sizeof *channel));
    EXPECT_NO_LOG(log);
    EXPECT_EQ(0, ebitDetailsChannlDestroy(channel));
    EXPECT_LOG(log, channelFreed);
}

TEST_F(DetailsChannel, ReportsAnExhaustedPoolAndANullChannel)
{
    {
        const FaultPlan plan(Call::Malloc, 1);
        EXPECT_EQ(nullptr, ebitDetailsChannelCreat());
    }
    EXPECT_LOG(log, error("psiMem", "ebitDetailsChannelCreat: buddy_malloc channel node failed"));
    EXPECT_EQ(-1, ebitDetailsChannlDestroy(nullptr));
    EXPECT_LOG(log, error("psiMem", "ebitDetailsChannlDestroy: ERROR! channel is NULL"));
}

TEST_F(DetailsChannel, GoesWithDescriptorsThenStreams)
{
    ebitDetailsChannel *channel = ebitDetailsChannelCreat();
    fillChannel(*channel);
    EXPECT_EQ(0, ebitDetailsChannlDestroy(channel));
    EXPECT_LOG(log, descFreed, descFreed, descFreed, descFreed, streamFreed, channelFreed);
}

TEST_F(DetailsChannel, StaysWhenADescriptorOrAStreamCannotGo)
{
    ebitDetailsChannel *channel = ebitDetailsChannelCreat();
    fillChannel(*channel);
    {
        const FaultPlan plan(Call::Delete, 1);
        EXPECT_EQ(-1, ebitDetailsChannlDestroy(channel));
    }
    EXPECT_LOG(log, descKept, error("psiMem", "ebitDetailsChannlDestroy: channel descInfoDestroy failed"));
    {
        const FaultPlan plan(Call::Delete, 3);
        EXPECT_EQ(-1, ebitDetailsChannlDestroy(channel));
    }
    EXPECT_LOG(log, descFreed, descFreed, error("psiMem", "ebitStreamDestroy: stream zlst_delete failed!"),
               error("psiMem", "ebitDetailsChannlDestroy: channel ebitStreamDestroy failed"));
    EXPECT_EQ(0, ebitDetailsChannlDestroy(channel));
}

TEST_F(NodeContents, AnEbitMessageGoesWithResourcesThenItsChannel)
{
    const auto fill = [](ebitMessage &message) {
        ebitResourceCreat(&message.resource);
        ebitResourceCreat(&message.resource);
        message.channel = ebitDetailsChannelCreat();
        fillDescriptors(&message.channel->descriptor);
    };
    expectFreed<EbitMessageLife>(fill, {resourceFreed, resourceFreed, descFreed, descFreed, channelFreed,
                                        info("psiMem", "ebitMessgeDestroy: free ebm OK!")});
    expectNestedFailure<EbitMessageLife>(fill, 2,
                                         {error("psiMem", "ebitResourceDestroy: ebm zlst_delete failed!"),
                                          error("psiMem", "ebitMessgeDestroy: ebm ebitResourceDestroy failed!")},
                                         7);
    expectNestedFailure<EbitMessageLife>(fill, 4,
                                         {resourceFreed, resourceFreed, descKept,
                                          error("psiMem", "ebitDetailsChannlDestroy: channel descInfoDestroy failed"),
                                          error("psiMem", "ebitMessageDestroy: ebm ebitDetailsChannlDestroy failed!")},
                                         5);
}

} // namespace
} // namespace psitest
