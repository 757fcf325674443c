// Many sections into one model. Input: options, failing call, then sections.
#include "fuzzTarget.h"

#include "support/libraryFixture.h"
#include "support/searchTest.h"

#include <cstdio>

namespace psifuzz {

bool (*const startLibrary)() = initialisePsi;

namespace {

constexpr u8 copies = 1;         // option: the model owns what it points to
constexpr u8 printsToo = 2;      // option: everything is logged, to nowhere
constexpr u32 mostSections = 64; // so that a run stays short

/** @brief What the library prints while this lives goes to /dev/null. */
class Printing {
public:
    explicit Printing(bool wanted)
    {
        static const FILE *const nowhere = std::freopen("/dev/null", "w", stdout);
        setPsiSchRPTLevel(wanted && nowhere != nullptr ? 4 : 0);
    }
    ~Printing() { setPsiSchRPTLevel(0); }
    Printing(const Printing &) = delete;
    Printing &operator=(const Printing &) = delete;
};

/** @brief Programs that the model holds for a program_number. */
u32 programsOf(const tsInfo &model, u16 progNo)
{
    u32 count = 0;
    for (const progInfo *program : psitest::nodesOf(model.progList))
        count += program->progNo == progNo ? 1 : 0;
    return count;
}

/** @brief Whether a type's sections can give a name a second time: then the copy of the first one stays with nobody. */
bool namesThings(u8 psiType)
{
    return psiType == PSI_SDT_ACTUAL || psiType == PSI_NIT_ACTUAL || psiType == PSI_VCT;
}

/** @brief Frees the names that later ones took the place of; nothing else may be left. */
void freeReplacedNames(const psitest::AllocationWatch &watch, bool named)
{
    for (void *block : watch.blocks()) {
        const u32 size = psitest::poolBlockSize(block);
        if (size == 0)
            continue;
        EXPECT_TRUE(named && size <= 255) << size << " bytes that nobody freed";
        EXPECT_EQ(0, psi_buddy_free(block));
    }
}

void analyse(const SectionRecord &record, tsInfo *model, u32 ioFlag, u8 failingCall)
{
    sectionData *node = psitest::storeSection(&model->sectionList, record.psiType, record.bytes);
    const Faults faults(failingCall);
    const i32 result = analysePsi(model, node, ioFlag);
    EXPECT_TRUE(result == 0 || result == -1);
    if (result == 0 && record.psiType == PSI_PMT) {
        EXPECT_NE(0U, programsOf(*model, node->idExt));
    }
}

/** @return whether one of the sections could give names */
bool analyseAll(Input &input, tsInfo *model, u32 ioFlag, u8 failingCall)
{
    bool named = false;
    for (u32 i = 0; i < mostSections && input.left() > recordHeader; ++i) {
        const SectionRecord record = takeSection(input);
        if (record.bytes.empty())
            continue; // no list holds such a section
        named = named || namesThings(record.psiType);
        analyse(record, model, ioFlag, failingCall);
    }
    return named;
}

} // namespace

void fuzzOne(Input input)
{
    const u8 options = input.byte();
    const u8 failingCall = input.byte();
    const u32 ioFlag = options & copies;
    const Printing printing((options & 0x0F) == (printsToo | copies));
    const psitest::AllocationWatch watch;
    psitest::LooseModel model(ioFlag);
    const bool named = analyseAll(input, model.get(), ioFlag, failingCall);
    if (ioFlag == 0)
        psitest::expectNoDanglingBytes(*model.get());
    model.clear();
    freeReplacedNames(watch, named && ioFlag != 0);
}

} // namespace psifuzz
