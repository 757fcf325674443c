// Nodes of the model and of the section list: create, destroy, and the payloads that go with them.
#include "support/nodeLifeCycle.h"

#include <cstring>

namespace psitest {
namespace {

/* ------------------------------------------------------------------------------------------------------------------
 * What all node types have in common
 * ---------------------------------------------------------------------------------------------------------------- */

struct SectionDataLife {
    using Node = sectionData;
    static Node *create(Node **head) { return sectionDataCreat(head); }
    static i32 destroy(Node **head, Node *node) { return sectionDataDestroy(head, node); }
    static NodeLines lines()
    {
        return nodeLines(
            {"sectionDataCreat: ERROR! headSectionData is NULL!",
             "sectionDataCreat: buddy_malloc sectionData node failed",
             "sectionDataCreat: sectionData zlst_push failed!", "sectionDataDestroy: ERROR! headSectionData is NULL!",
             "sectionDataDestroy: ERROR! *headSectionData is NULL!", "sectionDataDestroy: ERROR! sectionData is NULL!",
             "sectionDataDestroy: sectionData zlst_delete failed!", "sectionDataDestroy: free sectionData OK!"});
    }
};

struct DescInfoLife {
    using Node = descInfo;
    static Node *create(Node **head) { return descInfoCreat(head); }
    static i32 destroy(Node **head, Node *node) { return descInfoDestroy(head, node, 0); }
    static NodeLines lines()
    {
        return nodeLines({"descInfoCreat: ERROR! headDescInfo is NULL!",
                          "descInfoCreat: buddy_malloc descInfo node failed",
                          "descInfoCreat: descInfo zlst_push failed!", "descInfoDestroy: ERROR! headDescInfo is NULL!",
                          "descInfoDestroy: ERROR! *headDescInfo is NULL!", "descInfoDestroy: ERROR! descInfo is NULL!",
                          "descInfoDestroy: descInfo zlst_delete failed!", "descInfoDestroy: free descInfo OK!"});
    }
};

struct CaInfoLife {
    using Node = caInfo;
    static Node *create(Node **head) { return caInfoCreat(head); }
    static i32 destroy(Node **head, Node *node) { return caInfoDestroy(head, node, 0); }
    static NodeLines lines()
    {
        return nodeLines({"caInfoCreat: ERROR! headCaInfo is NULL!", "caInfoCreat: buddy_malloc caInfo node failed",
                          "caInfoCreat: caInfo zlst_push failed!", "caInfoDestroy: ERROR! headCaInfo is NULL!",
                          "caInfoDestroy: ERROR! *headCaInfo is NULL!", "caInfoDestroy: ERROR! caInfo is NULL!",
                          "caInfoDestroy: caInfo zlst_delete failed!", "caInfoDestroy: free caInfo OK!"});
    }
};

struct EsInfoLife {
    using Node = esInfo;
    static Node *create(Node **head) { return esInfoCreat(head); }
    static i32 destroy(Node **head, Node *node) { return esInfoDestroy(head, node, 0); }
    static NodeLines lines()
    {
        return nodeLines({"esInfoCreat: ERROR! headEsInfo is NULL!", "esInfoCreat: buddy_malloc descInfo node failed",
                          "esInfoCreat: esInfo zlst_push failed!", "esInfoDestroy: ERROR! headEsInfo is NULL!",
                          "esInfoDestroy: ERROR! *headEsInfo is NULL!", "esInfoDestroy: ERROR! esInfo is NULL!",
                          "esInfoDestroy: esInfo zlst_delete failed!", "esInfoDestroy: free esInfo OK!"});
    }
};

struct ProgInfoLife {
    using Node = progInfo;
    static Node *create(Node **head) { return progInfoCreat(head); }
    static i32 destroy(Node **head, Node *node) { return progInfoDestroy(head, node, 0); }
    static NodeLines lines()
    {
        return nodeLines({"progInfoCreat: ERROR! headProgInfo is NULL!",
                          "progInfoCreat: buddy_malloc descInfo node failed",
                          "progInfoCreat: progInfo zlst_push failed!", "progInfoDestroy: ERROR! headProgInfo is NULL!",
                          "progInfoDestroy: ERROR! *headProgInfo is NULL!", "progInfoDestroy: ERROR! progInfo is NULL!",
                          "progInfoDestroy: progInfo zlst_delete failed!", "progInfoDestroy: free progInfo OK!"});
    }
};

using ModelNodes = testing::Types<SectionDataLife, DescInfoLife, CaInfoLife, EsInfoLife, ProgInfoLife>;
INSTANTIATE_TYPED_TEST_SUITE_P(Model, NodeLifeCycle, ModelNodes);

/* A node is wiped before it is freed: what a stale pointer finds is no node any more. */

class FreedNode : public LibraryTest {
protected:
    /** @brief Destroy a node that @p soil has filled, and look at the block that it was in. */
    template <typename Life> void expectWiped(void (*soil)(typename Life::Node &))
    {
        typename Life::Node *head = nullptr;
        typename Life::Node *node = Life::create(&head);
        soil(*node);
        ASSERT_EQ(0, Life::destroy(&head, node));
        auto *again = static_cast<typename Life::Node *>(blockAsLeft(sizeof *node));
        ASSERT_EQ(node, again) << "the pool no longer hands out the block that was freed last";
        // The pool keeps links at the start of a free block, where the node had its own.
        const u8 *behindLink = reinterpret_cast<const u8 *>(again) + sizeof(zlstNode);
        const std::size_t size = sizeof *node - sizeof(zlstNode);
        EXPECT_EQ(repeated(size, 0), bytesAt(behindLink, size));
        psi_buddy_free(again);
    }
};

TEST_F(FreedNode, IsWiped)
{
    expectWiped<SectionDataLife>([](sectionData &node) { node.psiType = 7, node.len = node.pid = 0x1234; });
    expectWiped<DescInfoLife>([](descInfo &node) { node.descTag = node.descLen = 9, node.descData = &node.descTag; });
    expectWiped<CaInfoLife>([](caInfo &node) { node.caSystemId = 1, node.privateData = &node.privateLen; });
    expectWiped<EsInfoLife>([](esInfo &node) { node.esType = 2, node.esPid = 0x1FFF; });
    expectWiped<ProgInfoLife>([](progInfo &node) { node.progNo = 5, node.pmtCrc = ~0U, node.sname = &node.caFlag; });
}

/* ------------------------------------------------------------------------------------------------------------------
 * Payloads and nested lists
 * ---------------------------------------------------------------------------------------------------------------- */

/** @brief Fill a stream with a CA and another descriptor, a program with streams, descriptors and names. */
void fillStream(esInfo *stream, u8 *(*payload)())
{
    caInfo *ca = caInfoCreat(&stream->caList);
    ca->privateData = payload();
    ca->privateLen = 10;
    descInfo *desc = descInfoCreat(&stream->descList);
    desc->descData = payload();
    desc->descLen = 10;
}

void fillProgram(progInfo *prog, u8 *(*payload)())
{
    fillStream(esInfoCreat(&prog->esList), payload);
    fillStream(esInfoCreat(&prog->esList), payload);
    caInfoCreat(&prog->caList)->privateData = payload();
    descInfoCreat(&prog->pmtDescList)->descData = payload();
    descInfoCreat(&prog->sdtDescList)->descData = payload();
    prog->pname = payload();
    prog->sname = payload();
}

u8 hostBytes[10] = {1, 2, 3, 4, 5, 6, 7, 8, 9, 10};
u8 *poolPayload()
{
    return static_cast<u8 *>(psi_buddy_malloc(10));
}
u8 *hostPayload()
{
    return hostBytes;
}
u8 *noPayload()
{
    return nullptr;
}

const LogLine descDone = info("psiMem", "descInfoDestroy: free descInfo OK!");
const LogLine caDone = info("psiMem", "caInfoDestroy: free caInfo OK!");
const LogLine esDone = info("psiMem", "esInfoDestroy: free esInfo OK!");
const LogLine progDone = info("psiMem", "progInfoDestroy: free progInfo OK!");

class ModelTree : public LibraryTest {
protected:
    progInfo *makeProgram(u8 *(*payload)())
    {
        progInfo *prog = progInfoCreat(&programs);
        fillProgram(prog, payload);
        return prog;
    }
    progInfo *programs = nullptr;
};

TEST_F(ModelTree, FreesPayloadsWhenItIsToldTo)
{
    EXPECT_EQ(0, progInfoDestroy(&programs, makeProgram(poolPayload), 1));
    EXPECT_EQ(nullptr, programs);
    EXPECT_EQ(0U, liveBlocks());
    EXPECT_NO_LOG(log);
}

TEST_F(ModelTree, AcceptsAbsentPayloads)
{
    EXPECT_EQ(0, progInfoDestroy(&programs, makeProgram(noPayload), 1));
    EXPECT_EQ(0U, liveBlocks());
    EXPECT_NO_LOG(log);
}

TEST_F(ModelTree, LeavesPayloadsAloneWithoutTheFlag)
{
    EXPECT_EQ(0, progInfoDestroy(&programs, makeProgram(hostPayload), 0));
    EXPECT_EQ(counting(10, 1), bytesAt(hostBytes, 10));
    EXPECT_EQ(0U, liveBlocks());
}

TEST_F(ModelTree, LooksAtTheLowByteOfTheFlag)
{
    EXPECT_EQ(0, progInfoDestroy(&programs, makeProgram(hostPayload), 0x100));
    EXPECT_EQ(0, progInfoDestroy(&programs, makeProgram(poolPayload), 0xFF));
    EXPECT_EQ(0U, liveBlocks());
}

TEST_F(ModelTree, GoesInTheOrderOfTheLists)
{
    progInfo *prog = makeProgram(noPayload);
    setPsiSchRPTLevel(3);
    EXPECT_EQ(0, progInfoDestroy(&programs, prog, 1));
    EXPECT_LOG(log, caDone, descDone, esDone, caDone, descDone, esDone, // the streams, each with its own lists
               caDone, descDone, descDone, progDone);
}

TEST_F(ModelTree, DescriptorPayloadFollowsTheFlag)
{
    descInfo *list = nullptr;
    descInfoCreat(&list)->descData = poolPayload();
    u8 *kept = list->descData;
    EXPECT_EQ(0, descInfoDestroy(&list, list, 0));
    EXPECT_EQ(0, psi_buddy_free(kept)) << "still a live block";
    descInfoCreat(&list)->descData = poolPayload();
    EXPECT_EQ(0, descInfoDestroy(&list, list, 1));
}

TEST_F(ModelTree, CaPayloadFollowsTheFlag)
{
    caInfo *list = nullptr;
    caInfoCreat(&list)->privateData = poolPayload();
    u8 *kept = list->privateData;
    EXPECT_EQ(0, caInfoDestroy(&list, list, 0));
    EXPECT_EQ(0, psi_buddy_free(kept)) << "still a live block";
    caInfoCreat(&list)->privateData = poolPayload();
    EXPECT_EQ(0, caInfoDestroy(&list, list, 1));
}

/* A nested failure: which list call fails, what is logged, what is left of the program. */

struct NestedFailure {
    const char *name;
    unsigned failingDelete; /**< number of the zlst_delete() call; the program's own is the first */
    std::vector<LogLine> lines;
    std::size_t streams, cas, pmtDescs, sdtDescs; /**< what the program still holds */
};

const LogLine caUnlink = error("psiMem", "caInfoDestroy: caInfo zlst_delete failed!");
const LogLine descUnlink = error("psiMem", "descInfoDestroy: descInfo zlst_delete failed!");
const LogLine esFailed = error("psiMem", "progInfoDestroy: esInfoDestroy failed!");

const NestedFailure nestedFailures[] = {
    {"StreamUnlink", 2, {error("psiMem", "esInfoDestroy: esInfo zlst_delete failed!"), esFailed}, 2, 1, 1, 1},
    {"StreamCa", 3, {caUnlink, error("psiMem", "esInfoDestroy: ERROR! caInfoDestroy failed!"), esFailed}, 1, 1, 1, 1},
    {"StreamDescriptor",
     4,
     {descUnlink, error("psiMem", "esInfoDestroy: ERROR! descInfoDestroy failed!"), esFailed},
     1,
     1,
     1,
     1},
    {"ProgramCa", 8, {caUnlink, error("psiMem", "progInfoDestroy: prog caInfoDestroy failed!")}, 0, 1, 1, 1},
    {"PmtDescriptor", 9, {descUnlink, error("psiMem", "progInfoDestroy: pmt descInfoDestroy failed!")}, 0, 0, 1, 1},
    {"SdtDescriptor", 10, {descUnlink, error("psiMem", "progInfoDestroy: sdt descInfoDestroy failed!")}, 0, 0, 0, 1},
};

class ModelNestedFailure : public ModelTree, public testing::WithParamInterface<NestedFailure> {};

TEST_P(ModelNestedFailure, StopsTheDestroyerAtOnce)
{
    const NestedFailure &expected = GetParam();
    progInfo *prog = makeProgram(noPayload);
    esInfo *firstStream = prog->esList;
    {
        const FaultPlan plan(Call::Delete, expected.failingDelete);
        EXPECT_EQ(-1, progInfoDestroy(&programs, prog, 1));
        EXPECT_EQ(expected.failingDelete, plan.calls()) << "nothing is tried after the failure";
    }
    EXPECT_EQ(expected.lines, log.take());
    EXPECT_EQ(nullptr, programs) << "the node was unlinked first";
    EXPECT_EQ(expected.streams, nodesOf(prog->esList).size());
    EXPECT_EQ(expected.cas, nodesOf(prog->caList).size());
    EXPECT_EQ(expected.pmtDescs, nodesOf(prog->pmtDescList).size());
    EXPECT_EQ(expected.sdtDescs, nodesOf(prog->sdtDescList).size());

    // Put back what was unlinked and not freed; then it can all be destroyed.
    if (expected.streams == 1) {
        EXPECT_EQ(0, zlst_push(&prog->esList, firstStream));
    }
    EXPECT_EQ(0, zlst_push(&programs, prog));
    EXPECT_EQ(0, progInfoDestroy(&programs, prog, 1));
}

INSTANTIATE_TEST_SUITE_P(EveryList, ModelNestedFailure, testing::ValuesIn(nestedFailures),
                         [](const auto &param) { return param.param.name; });

/* ------------------------------------------------------------------------------------------------------------------
 * Look-up
 * ---------------------------------------------------------------------------------------------------------------- */

class ProgramLookUp : public ModelTree {};

TEST_F(ProgramLookUp, FindsTheFirstOfANumber)
{
    LooseModel model;
    progInfo *one = progInfoCreat(&model->progList);
    progInfo *two = progInfoCreat(&model->progList);
    progInfo *twoAgain = progInfoCreat(&model->progList);
    one->progNo = 1;
    two->progNo = twoAgain->progNo = 2;
    EXPECT_EQ(one, getProgInfo(model.get(), 1));
    EXPECT_EQ(two, getProgInfo(model.get(), 2));
    EXPECT_NO_LOG(log);
}

TEST_F(ProgramLookUp, ComparesSixteenBits)
{
    LooseModel model;
    progInfo *prog = progInfoCreat(&model->progList);
    prog->progNo = 0xABCD;
    EXPECT_EQ(prog, getProgInfo(model.get(), 0xFFFFABCD));
    EXPECT_EQ(nullptr, getProgInfo(model.get(), 0x1234ABCE));
    EXPECT_LOG(log, error("psiData", "getProgInfo: Not Found, progNo = 43982!"));
}

TEST_F(ProgramLookUp, SaysWhatItDidNotFind)
{
    LooseModel model;
    EXPECT_EQ(nullptr, getProgInfo(model.get(), 7));
    EXPECT_LOG(log, error("psiData", "getProgInfo: Not Found, progNo = 7!"));
    EXPECT_EQ(nullptr, getProgInfo(nullptr, 7));
    EXPECT_LOG(log, error("psiData", "getProgInfo: tsInfo is NULL!"));
}

} // namespace
} // namespace psitest
