#include "programFixture.h"

#include <cstdlib>
#include <fstream>
#include <sstream>
#include <sys/wait.h>

template class nlohmann::basic_json<>;

namespace psitest {

using nlohmann::json;

namespace {

void collectKeys(const json &value, std::set<std::string> &keys)
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

} // namespace

std::string contentOf(const std::filesystem::path &path)
{
    std::ifstream file(path, std::ios::binary);
    std::ostringstream content;
    content << file.rdbuf();
    return content.str();
}

bool contains(const std::string &text, const std::string &part)
{
    return text.find(part) != std::string::npos;
}

Bytes shortStream()
{
    Bytes stream = packetsOf(PatBuilder().tsId(0x1234).version(5).network(0x10).program(7, 0x100).build(), 0);
    const Bytes pmt = PmtBuilder(7).pcrPid(0x101).version(9).stream(0x1B, 0x101).build();
    return stream + packetsOf(pmt, 0x100);
}

json parsedJson(const std::string &text)
{
    return json::parse(text);
}

std::set<std::string> keysOf(const json &value)
{
    std::set<std::string> keys;
    collectKeys(value, keys);
    return keys;
}

bool isDocumented(const std::string &key, const std::string &manual)
{
    if (key.rfind("reserved_", 0) == 0)
        return contains(manual, "`reserved_N`");
    const bool explained = contains(manual, "`" + key + "`") || contains(manual, "." + key + "`");
    const bool forReading = key.size() > 5 && key.compare(key.size() - 5, 5, "_name") == 0;
    return explained || forReading || contains(manual, "`" + key + ".");
}

void PsitoolTest::SetUp()
{
    std::string pattern = testing::TempDir() + "psitool_XXXXXX";
    ASSERT_NE(mkdtemp(pattern.data()), nullptr);
    folder = pattern;
}

void PsitoolTest::TearDown()
{
    std::filesystem::remove_all(folder);
}

std::string PsitoolTest::write(const std::string &name, const Bytes &bytes) const
{
    std::ofstream file(folder / name, std::ios::binary);
    file.write(reinterpret_cast<const char *>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
    return (folder / name).string();
}

Result PsitoolTest::shell(const std::string &command) const
{
    const std::string out = (folder / "out").string();
    const std::string err = (folder / "err").string();
    const std::string line = "cd '" + folder.string() +
                             "'; export LC_ALL=C.UTF-8; psitool() { '" PSITOOL_PROGRAM "' \"$@\"; }; { " + command +
                             "; } >'" + out + "' 2>'" + err + "'";
    const int status = std::system(line.c_str());
    return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, contentOf(out), contentOf(err)};
}

json PsitoolTest::scanned(const std::string &arguments) const
{
    return jsonOf("psitool scan --json " + arguments);
}

json PsitoolTest::jsonOf(const std::string &command) const
{
    const Result result = shell(command);
    EXPECT_EQ(result.status, 0) << result.err;
    EXPECT_EQ(result.err, "");
    return parsedJson(result.out);
}

} // namespace psitest
