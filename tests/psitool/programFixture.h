/**
 * @file programFixture.h
 * @brief The program psitool, run by a shell in a folder of its own.
 */
#ifndef PSITEST_PROGRAM_FIXTURE_H
#define PSITEST_PROGRAM_FIXTURE_H

#include "support/packetBuilder.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <set>
#include <sstream>
#include <string>
#include <sys/wait.h>

namespace psitest {

/** @brief What a command left behind. */
struct Result {
    int status = -1;
    std::string out;
    std::string err;
};

inline std::string contentOf(const std::filesystem::path &path)
{
    std::ifstream file(path, std::ios::binary);
    std::ostringstream content;
    content << file.rdbuf();
    return content.str();
}

inline bool contains(const std::string &text, const std::string &part)
{
    return text.find(part) != std::string::npos;
}

inline void collectKeys(const nlohmann::json &value, std::set<std::string> &keys)
{
    if (!value.is_structured())
        return;
    for (const auto &[key, item] : value.items()) {
        if (value.is_object())
            keys.insert(key);
        if (key != "fields")
            collectKeys(item, keys);
    }
}

/** @brief Every key of a JSON value but those of descriptors' fields. */
inline std::set<std::string> keysOf(const nlohmann::json &value)
{
    std::set<std::string> keys;
    collectKeys(value, keys);
    return keys;
}

/** @brief Whether a manual explains a key; those for reading it explains together. */
inline bool isDocumented(const std::string &key, const std::string &manual)
{
    const bool explained = contains(manual, "`" + key + "`") || contains(manual, "." + key + "`");
    const bool forReading = key.size() > 5 && key.compare(key.size() - 5, 5, "_name") == 0;
    return explained || forReading || contains(manual, "`" + key + ".");
}

/** @brief A folder of its own for each test, and the program run in it. */
class PsitoolTest : public testing::Test {
protected:
    void SetUp() override
    {
        std::string pattern = testing::TempDir() + "psitool_XXXXXX";
        ASSERT_NE(mkdtemp(pattern.data()), nullptr);
        folder = pattern;
    }
    void TearDown() override { std::filesystem::remove_all(folder); }

    std::string write(const std::string &name, const Bytes &bytes) const
    {
        std::ofstream file(folder / name, std::ios::binary);
        file.write(reinterpret_cast<const char *>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
        return (folder / name).string();
    }

    /** @brief Run a shell command; `psitool` stands for the program. */
    Result shell(const std::string &command) const
    {
        const std::string out = (folder / "out").string();
        const std::string err = (folder / "err").string();
        const std::string line = "cd '" + folder.string() +
                                 "'; export LC_ALL=C.UTF-8; psitool() { '" PSITOOL_PROGRAM "' \"$@\"; }; { " + command +
                                 "; } >'" + out + "' 2>'" + err + "'";
        const int status = std::system(line.c_str());
        return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, contentOf(out), contentOf(err)};
    }

    /** @brief The same for input that must be found: the parsed JSON. */
    nlohmann::json scanned(const std::string &arguments) const { return jsonOf("psitool scan --json " + arguments); }
    nlohmann::json jsonOf(const std::string &command) const
    {
        const Result result = shell(command);
        EXPECT_EQ(result.status, 0) << result.err;
        EXPECT_EQ(result.err, "");
        return nlohmann::json::parse(result.out);
    }

    std::filesystem::path folder;
};

} // namespace psitest

#endif // PSITEST_PROGRAM_FIXTURE_H
