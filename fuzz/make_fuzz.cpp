// Models to sections and back. Input: options, failing call, then the numbers that a model is made of.
#include "fuzzTarget.h"

#include "support/makeFixture.h"
#include "support/randomModel.h"

#include <algorithm>
#include <array>

namespace psifuzz {

bool (*const startLibrary)() = initialisePsi;

namespace {

using psitest::ModelLimits;
using psitest::PlainModel;
using psitest::Standard;

/** @brief A make object for the length of a scope. */
class MakeObject {
public:
    MakeObject() : id_(psiMakeCreate()) {}
    ~MakeObject() { EXPECT_EQ(0, psiMakeDestroy(id_)); }
    MakeObject(const MakeObject &) = delete;
    MakeObject &operator=(const MakeObject &) = delete;

    psiObjId id() const { return id_; }
    tsInfo *model() const { return getMakeObjDataInfo(id_); }

private:
    psiObjId id_;
};

/** @brief How large models are: the first ones come back whole; the others pass every limit. */
constexpr std::array<ModelLimits, 4> limits = {
    {{}, {3, 4, 4, 255, 251, 255, 255}, {60, 2, 1, 60, 30, 40, 60}, {2, 900, 1, 255, 251, 10, 10}}};

/** @brief Does the length of each service_descriptor, 8 bits, hold what is in it? EN 300 468 6.2.33. */
bool namesFit(const PlainModel &model)
{
    constexpr std::size_t most = 252;
    return std::all_of(model.programs.begin(), model.programs.end(), [](const psitest::PlainProgram &program) {
        return program.provider.size() + program.name.size() <= most;
    });
}

/** @brief What is made of @p plain can be parsed again, but for an SDT with names that no descriptor holds. */
void expectParseable(const tsInfo &model, const PlainModel &plain)
{
    const bool sdtFits = namesFit(plain);
    for (const sectionData *node : psitest::nodesOf(model.sectionList)) {
        EXPECT_GE(node->psiType == PSI_PMT ? 4096 : 1024, node->len);
        EXPECT_EQ(0, psiCheckCrc(node->buf, node->len));
        EXPECT_EQ(node->sectionNo, node->buf[6]);
        if (node->psiType == PSI_VCT || (node->psiType == PSI_SDT_ACTUAL && !sdtFits))
            continue; // the VCT has no parser
        void *tree = nullptr;
        EXPECT_EQ(0, syntaxAnalysePsi(node->psiType, &tree, node->buf, node->len)) << unsigned{node->psiType};
        EXPECT_EQ(0, syntaxDestroyPsiSection(node->psiType, tree));
    }
}

/** @brief Analysing what is made gives a model that makes the same sections. */
void expectRoundTrip(const tsInfo &model, Standard standard)
{
    const MakeObject again;
    const auto made = psitest::madeSections(&model);
    again.model()->tableMask = 1U << PSI_CAT;
    for (const auto &[type, bytes] : made) {
        Bytes copy = bytes;
        sectionData node = psitest::sectionNode(type, copy.data(), copy.size());
        EXPECT_EQ(0, analysePsi(again.model(), &node, 1)) << unsigned{type};
    }
    EXPECT_EQ(0, AutoMakeSection(again.id(), standard));
    EXPECT_EQ(made, psitest::madeSections(again.model()));
}

/** @brief With a call that fails some sections are missing, but none is broken. */
void makeFailing(const MakeObject &object, const PlainModel &plain, Standard standard, u8 failingCall)
{
    {
        const Faults faults(failingCall);
        const i32 result = AutoMakeSection(object.id(), standard);
        EXPECT_TRUE(result == 0 || (result == -1 && faults.injected()));
    }
    expectParseable(*object.model(), plain);
}

} // namespace

void fuzzOne(Input input)
{
    const u8 options = input.byte();
    const u8 failingCall = input.byte();
    const Standard standard = options & 1 ? psitest::atsc : psitest::dvb;
    const std::size_t size = options >> 1 & 3;
    psitest::RandomModels models([&input] { return u32{input.word()}; }, limits[size]);
    const PlainModel plain = models.next(standard);
    const MakeObject object;
    psitest::fillModel(object.model(), plain);
    const std::string before = psitest::textOf(*object.model());
    if (failingCall & 0x3F)
        makeFailing(object, plain, standard, failingCall);
    EXPECT_EQ(0, AutoMakeSection(object.id(), standard));
    EXPECT_EQ(before, psitest::textOf(*object.model())) << "the model is only read";
    expectParseable(*object.model(), plain);
    EXPECT_EQ(psitest::expectedSections(plain, standard), psitest::madeSections(object.model()));
    if (size == 0)
        expectRoundTrip(*object.model(), standard);
}

} // namespace psifuzz
