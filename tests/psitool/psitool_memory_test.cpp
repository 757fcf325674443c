// psitool make and psitool edit where the library's pool is exhausted: an error that says so, or the very result that
// comes out where it is not.
#include "programFixture.h"

#include "support/faultInjection.h"
#include "support/libraryFixture.h"

#include "edit/edit.h"
#include "make/make.h"

#include <csignal>
#include <cstdio>
#include <unistd.h>

namespace {

using namespace psitest;

/** @brief What a subcommand, run in this process, left behind. */
struct Outcome {
    int status = -1;
    std::string err;
    std::string stream;
};

/** @brief Undoes what psitool::Output does to standard output, and to the signal of a reader that went away. */
class StandardOutput {
public:
    StandardOutput() : fd_(dup(STDOUT_FILENO)), onNoReader_(std::signal(SIGPIPE, SIG_DFL)) {}
    ~StandardOutput()
    {
        std::fflush(stdout);
        dup2(fd_, STDOUT_FILENO);
        close(fd_);
        std::signal(SIGPIPE, onNoReader_);
    }
    StandardOutput(const StandardOutput &) = delete;
    StandardOutput &operator=(const StandardOutput &) = delete;

private:
    int fd_;
    void (*onNoReader_)(int);
};

class FailingMemoryPsitool : public PsitoolTest {
protected:
    std::string path(const char *name) const { return (folder / name).string(); }

    template <typename Run> Outcome outcomeOf(Run run) const
    {
        std::filesystem::remove(folder / "y.ts");
        testing::internal::CaptureStderr();
        Outcome outcome;
        const StandardOutput restored;
        try {
            psitool::Output output;
            outcome.status = run(output);
        } catch (const std::exception &error) { // as main() does
            psitool::reportError(error.what());
            outcome.status = psitool::exitInputError;
        }
        outcome.err = testing::internal::GetCapturedStderr();
        outcome.stream = contentOf(folder / "y.ts");
        return outcome;
    }

    /** @brief All, or not without a word; a pool that stays exhausted is named. @param whole when nothing fails */
    static void expectAllOrAWord(const Outcome &outcome, const Outcome &whole, Fail mode)
    {
        if (outcome.status == psitool::exitFound) {
            EXPECT_TRUE(whole.stream == outcome.stream || whole.err != outcome.err) << "another stream";
        } else {
            EXPECT_EQ("", outcome.stream);
            EXPECT_NE(whole.err, outcome.err);
        }
        const bool named = contains(outcome.err, "psitool: the library's memory pool is exhausted\n") ||
                           contains(outcome.err, "psitool: no room in the pool for a search object\n");
        // Tables that are sent as they came need nothing of the pool once they were compared.
        if (mode == Fail::FromThenOn && outcome.stream != whole.stream) {
            EXPECT_EQ(psitool::exitInputError, outcome.status);
            EXPECT_TRUE(named) << outcome.err;
        }
    }
    /** @brief Let one allocation of the library after the other fail. @return failures that were tried */
    template <typename Run> unsigned sweep(Run run) const
    {
        const Outcome whole = outcomeOf(run);
        EXPECT_EQ(psitool::exitFound, whole.status) << whole.err;
        EXPECT_NE("", whole.stream);
        const psi::core::BuddyStat before = poolStat();
        unsigned failures = 0;
        for (const Fail mode : {Fail::Once, Fail::FromThenOn}) {
            Outcome outcome;
            failures += sweepFailures(
                Call::Malloc, mode, [] {}, [&] { outcome = outcomeOf(run); },
                [&](bool failed) {
                    if (failed)
                        expectAllOrAWord(outcome, whole, mode);
                    else
                        EXPECT_EQ(psitool::exitFound, outcome.status);
                    EXPECT_EQ(before.liveBlocks, poolStat().liveBlocks);
                    EXPECT_EQ(before.refusedFrees, poolStat().refusedFrees);
                });
        }
        RecordProperty("injectedFailures", static_cast<int>(failures));
        return failures;
    }
};

/** @brief A model, as psitool make reads it, from that of the example. */
struct MadeModel {
    const char *name;
    psitool::ScanStandard standard;
    void (*change)(nlohmann::json &model);
};

void PrintTo(const MadeModel &model, std::ostream *os)
{
    *os << model.name;
}

class FailingMemoryMake : public FailingMemoryPsitool, public testing::WithParamInterface<MadeModel> {};

TEST_P(FailingMemoryMake, SaysSoOrMakesTheWholeStream)
{
    nlohmann::json model = scanned("'" PSITOOL_EXAMPLE "'");
    GetParam().change(model);
    std::ofstream(folder / "m.json") << model;
    psitool::MakeOptions options;
    options.input = path("m.json");
    options.output = path("y.ts");
    options.standard = GetParam().standard;
    const unsigned failures = sweep([&](psitool::Output &output) { return psitool::runMake(options, output); });
    EXPECT_LE(100U, failures);
}

const MadeModel madeModels[] = {
    {"AsScanned", psitool::ScanStandard::dvb, [](nlohmann::json &) {}},
    {"WithAnotherNetworkName", psitool::ScanStandard::dvb,
     [](nlohmann::json &model) { model["transport_stream"]["network_name"]["text"] = "Another"; }},
    {"WithoutSections", psitool::ScanStandard::dvb, [](nlohmann::json &model) { model.erase("sections"); }},
    {"ForAtsc", psitool::ScanStandard::atsc, [](nlohmann::json &) {}},
};

INSTANTIATE_TEST_SUITE_P(Of, FailingMemoryMake, testing::ValuesIn(madeModels),
                         [](const auto &param) { return param.param.name; });

TEST_F(FailingMemoryPsitool, EditSaysSoOrEditsTheWholeStream)
{
    psitool::EditOptions options;
    options.input = PSITOOL_EXAMPLE;
    options.output = path("y.ts");
    options.words.services = {"10\x1Fname=News"};
    options.words.networkNames = {"Another"};
    options.words.programs = {"20\x1Fremove"};
    options.words.pids = {"512=0x700"};
    const unsigned failures = sweep([&](psitool::Output &output) { return psitool::runEdit(options, output); });
    EXPECT_LE(2U, failures); // of the library it only needs an object to open the stream with
}

} // namespace
