// The arguments that only a caller inside the library could get wrong: a parser without a record or without a buffer,
// an analyser without a model or without a section.
//
// Analysers have no name outside of their file, so the file is part of this program.
#include "psiAnalyse.cpp" // NOLINT(bugprone-suspicious-include)
#include "psiSyntax.h"

#include "support/libraryFixture.h"

namespace psitest {
namespace {

struct GateTexts {
    const char *noRecord;
    const char *noBuffer;
};

template <typename Record>
void expectGate(LogCapture &log, bool (*parser)(Record *, const u8 *, u32, const Keep &), GateTexts texts)
{
    PoolGuard pool(psiMp);
    const auto parse = [&](Record *record, const u8 *buf, u32 len) { return parser(record, buf, len, {pool, true}); };
    const u8 byte = 0;
    EXPECT_FALSE(parse(nullptr, nullptr, 1));
    EXPECT_LOG(log, error("psiAnalyse", texts.noRecord));
    EXPECT_FALSE(parse(nullptr, &byte, 1));
    EXPECT_LOG(log, error("psiAnalyse", texts.noRecord));
    Record record = {};
    EXPECT_FALSE(parse(&record, nullptr, 1));
    EXPECT_LOG(log, error("psiAnalyse", texts.noBuffer));
}

TEST_F(LibraryTest, EveryParserRefusesNullInItsOwnWords)
{
    expectGate(log, syntaxAnalysePat, {"syntaxAnalysePat: pmtSection is NULL!", "syntaxAnalysePat: buf is NULL!"});
    expectGate(log, syntaxAnalysePmt, {"syntaxAnalysePmt: pmtSection is NULL!", "syntaxAnalysePmt: buf is NULL!"});
    expectGate(log, syntaxAnalyseCat, {"syntaxAnalyseCat: pmtSection is NULL!", "syntaxAnalyseCat: buf is NULL!"});
    expectGate(log, syntaxAnalyseNit, {"syntaxAnalyseNit: nitSection is NULL!", "syntaxAnalyseNit: buf is NULL!"});
    expectGate(log, syntaxAnalyseSdt, {"syntaxAnalyseSdt: sdtSection is NULL!", "syntaxAnalyseSdt: buf is NULL!"});
    expectGate(log, syntaxAnalyseBat, {"syntaxAnalyseBat: batSection is NULL!", "syntaxAnalyseBat: buf is NULL!"});
    expectGate(log, syntaxAnalyseMgt, {"syntaxAnalyseMgt: batSection is NULL!", "syntaxAnalyseMgt: buf is NULL!"});
    expectGate(log, syntaxAnalyseEbit, {"syntaxAnalyseEbit: ebitSection is NULL!", "syntaxAnalyseEbit: buf is NULL!"});
    expectGate(log, syntaxAnalyseEbct, {"syntaxAnalyseEbct: ebctSection is NULL!", "syntaxAnalyseEbct: buf is NULL!"});
    expectGate(log, syntaxAnalyseEbcat,
               {"syntaxAnalyseEbcat: ebcatSection is NULL!", "syntaxAnalyseEbcat: buf is NULL!"});
    expectGate(log, syntaxAnalyseEbcct,
               {"syntaxAnalyseEbcct: ebcctSection is NULL!", "syntaxAnalyseEbcct: buf is NULL!"});
}

/** @brief An analyser without a model, then with a model but without a section. */
void expectAnalyserGate(LogCapture &log, bool (*analyser)(tsInfo *, const sectionData *, const Keep &),
                        const char *name)
{
    PoolGuard pool(psiMp);
    const auto analyse = [&](tsInfo *model, const sectionData *section) {
        return analyser(model, section, {pool, true});
    };
    const std::string prefix = name;
    const sectionData section = {};
    tsInfo model = {};
    EXPECT_FALSE(analyse(nullptr, nullptr));
    EXPECT_LOG(log, error("psiAnalyse", prefix + ": tsInfo is NULL!"));
    EXPECT_FALSE(analyse(nullptr, &section));
    EXPECT_LOG(log, error("psiAnalyse", prefix + ": tsInfo is NULL!"));
    EXPECT_FALSE(analyse(&model, nullptr));
    // The analyser of the CAT is the one that misspells itself.
    const std::string spelled = prefix == "analyseCat" ? "analysCat" : prefix;
    EXPECT_LOG(log, error("psiAnalyse", spelled + ": psiSectionData is NULL!"));
}

TEST_F(LibraryTest, EveryAnalyserRefusesNullInItsOwnWords)
{
    expectAnalyserGate(log, analysePat, "analysePat");
    expectAnalyserGate(log, analysePmt, "analysePmt");
    expectAnalyserGate(log, analyseCat, "analyseCat");
    expectAnalyserGate(log, analyseSdta, "analyseSdta");
    expectAnalyserGate(log, analyseNita, "analyseNita");
    expectAnalyserGate(log, analyseVct, "analyseVct");
}

} // namespace
} // namespace psitest
