/**
 * @file programFixture.h
 * @brief The program psitool, run by a shell in a folder of its own.
 */
#ifndef PSITEST_PROGRAM_FIXTURE_H
#define PSITEST_PROGRAM_FIXTURE_H

#include "support/packetBuilder.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <filesystem>
#include <set>
#include <string>

// Compiled once, in programFixture.cpp: it would take longer than the tests.
extern template class nlohmann::basic_json<>;

namespace psitest {

/** @brief The example stream, as a word of a command. */
inline const std::string example = "'" PSITOOL_EXAMPLE "'";

/** @brief What a command left behind. */
struct Result {
    int status = -1;
    std::string out;
    std::string err;
};

std::string contentOf(const std::filesystem::path &path);
bool contains(const std::string &text, const std::string &part);

/** @brief The packets of a PAT and of the PMT of program 7, on PID 0x0100, with one stream. */
Bytes shortStream();

/** @brief The value of a text that must be JSON: json::parse(), compiled once. */
nlohmann::json parsedJson(const std::string &text);

/** @brief Every key of a JSON value but those of descriptors' fields. */
std::set<std::string> keysOf(const nlohmann::json &value);

/** @brief Whether a manual explains a key; those for reading it explains together. */
bool isDocumented(const std::string &key, const std::string &manual);

/** @brief A folder of its own for each test, and the program run in it. */
class PsitoolTest : public testing::Test {
protected:
    void SetUp() override;
    void TearDown() override;

    std::string write(const std::string &name, const Bytes &bytes) const;

    /** @brief Run a shell command; `psitool` stands for the program. */
    Result shell(const std::string &command) const;

    /** @brief The same for input that must be found: the parsed JSON. */
    nlohmann::json scanned(const std::string &arguments) const;
    nlohmann::json jsonOf(const std::string &command) const;

    std::filesystem::path folder;
};

} // namespace psitest

#endif // PSITEST_PROGRAM_FIXTURE_H
