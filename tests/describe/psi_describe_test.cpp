#include "describe/json/psiDescribe.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

namespace {

// An empty CAT, ISO/IEC 13818-1 2.4.4.6.
const std::vector<uint8_t> emptyCat = {0x01, 0xB0, 0x09, 0xFF, 0xFF, 0xC3, 0x00, 0x00, 0xD5, 0xDC, 0xFB, 0x4C};

struct Made {
    psiDescribeError error = {};
    psiDescribeSections *sections;

    explicit Made(const std::string &json)
        : sections(psiDescribeCompile(json.data(), json.size(), PSI_DESCRIBE_ANY, &error))
    {
    }
    ~Made() { psiDescribeSectionsFree(sections); }
    Made(const Made &) = delete;
    Made &operator=(const Made &) = delete;

    std::vector<uint8_t> bytes(size_t index) const
    {
        size_t length = 0;
        const uint8_t *data = psiDescribeSectionBytes(sections, index, &length, nullptr);
        return data ? std::vector<uint8_t>(data, data + length) : std::vector<uint8_t>();
    }
};

std::string describe(const std::vector<uint8_t> &section, int pid = -1)
{
    psiDescribeError error;
    char *json = psiDescribeSection(section.data(), section.size(), pid, PSI_DESCRIBE_ANY, &error);
    EXPECT_NE(nullptr, json) << error.message;
    const std::string text = json ? json : "";
    psiDescribeFree(json);
    return text;
}

TEST(PsiDescribe, ASectionGoesToJsonAndBack)
{
    const Made made(describe(emptyCat, 1));
    ASSERT_EQ(1U, psiDescribeSectionCount(made.sections)) << made.error.message;
    EXPECT_EQ(emptyCat, made.bytes(0));
    EXPECT_STREQ("", made.error.message);
}

TEST(PsiDescribe, BytesThatAreNumbersOrHoldAHeaderAreToldWithTheirPlace)
{
    const Made number(R"({"table_id": 2, "body": 12})");
    EXPECT_EQ(nullptr, number.sections);
    EXPECT_STREQ("/body", number.error.place);
    const Made header(R"({"body": "40000005"})");
    EXPECT_EQ(nullptr, header.sections);
    EXPECT_STREQ("/body", header.error.place);
    EXPECT_EQ(1U, psiDescribeSectionCount(Made(R"({"body": "4000"})").sections)) << "what was cut within it";
}

TEST(PsiDescribe, GivesThePidOfTheDocumentOrOfTheStandard)
{
    for (const int pid : {-1, 1, 0x1FFE}) {
        const Made made(describe(emptyCat, pid));
        size_t length = 0;
        int given = 0;
        ASSERT_NE(nullptr, psiDescribeSectionBytes(made.sections, 0, &length, &given));
        EXPECT_EQ(pid == -1 ? 1 : pid, given);
    }
}

TEST(PsiDescribe, TellsThePlaceOfAFieldThatCannotBeWritten)
{
    const Made made(R"({"tree": {"table_id": 1, "version_number": 32}})");
    EXPECT_EQ(nullptr, made.sections);
    EXPECT_STREQ("/tree/version_number", made.error.place);
    EXPECT_NE(nullptr, std::strstr(made.error.message, "32")) << made.error.message;
}

TEST(PsiDescribe, TellsWhatWasPassedOver)
{
    const std::string json = R"({"table": "PAT", "tree": {"table_id": 1, "descriptors": []}})";
    psiDescribeSections *made = psiDescribeCompile(json.data(), json.size(), PSI_DESCRIBE_ANY, nullptr);
    ASSERT_NE(made, nullptr);
    ASSERT_NE(psiDescribeWarning(made, 0), nullptr);
    EXPECT_STREQ(psiDescribeWarning(made, 0),
                 R"(/table: "PAT" is not what its table_id says, which is "CAT": the table_id is taken)");
    EXPECT_EQ(psiDescribeWarning(made, 1), nullptr);
    EXPECT_EQ(psiDescribeWarning(nullptr, 0), nullptr);
    psiDescribeSectionsFree(made);
}

TEST(PsiDescribe, TellsLineAndColumnOfWhatIsNoJson)
{
    const Made made("[\n{]");
    EXPECT_EQ(nullptr, made.sections);
    EXPECT_STREQ("line 2, column 2", made.error.place);
}

TEST(PsiDescribe, RefusesArgumentsThatAreNoSection)
{
    psiDescribeError error;
    EXPECT_EQ(nullptr, psiDescribeSection(nullptr, 12, -1, PSI_DESCRIBE_ANY, &error));
    EXPECT_STRNE("", error.message);
    EXPECT_EQ(nullptr, psiDescribeSection(emptyCat.data(), 0, -1, PSI_DESCRIBE_ANY, nullptr));
    EXPECT_EQ(nullptr, psiDescribeSection(emptyCat.data(), emptyCat.size(), 0x2000, PSI_DESCRIBE_ANY, &error));
    EXPECT_STREQ("a PID is 0 to 8191, or -1", error.message);
    EXPECT_EQ(nullptr, psiDescribeCompile(nullptr, 0, PSI_DESCRIBE_ANY, &error));
    EXPECT_EQ(0U, psiDescribeSectionCount(nullptr));
    size_t length = 0;
    EXPECT_EQ(nullptr, psiDescribeSectionBytes(nullptr, 0, &length, nullptr));
    psiDescribeSectionsFree(nullptr);
    psiDescribeFree(nullptr);
}

TEST(PsiDescribe, RefusesAStandardThatThereIsNot)
{
    const uint8_t section[] = {0x70, 0x70, 0x00};
    psiDescribeError error;
    for (const int standard : {-1, 3, 77}) {
        EXPECT_EQ(psiDescribeSection(section, sizeof section, -1, standard, &error), nullptr);
        EXPECT_STREQ(error.message, "there is no such standard");
        EXPECT_EQ(psiDescribeCompile("[]", 2, standard, &error), nullptr);
        EXPECT_STREQ(error.message, "there is no such standard");
    }
}

TEST(PsiDescribe, ASectionWithoutBytesIsNone)
{
    const std::string json = R"([{"data": ""}])";
    psiDescribeError error;
    EXPECT_EQ(psiDescribeCompile(json.data(), json.size(), PSI_DESCRIBE_ANY, &error), nullptr);
    EXPECT_STREQ(error.place, "/0/data");
    EXPECT_STREQ(error.message, "has no bytes");
}

TEST(PsiDescribe, MessagesAreCutBetweenCharacters)
{
    std::string key;
    for (int i = 0; i < 400; ++i)
        key += "\xC3\xA4";
    const Made made(R"({"tree": {"table_id": 1, "descriptors": [{"tag": 4, ")" + key + R"(": {"fields": 3}}]}})");
    const size_t placeLength = std::strlen(made.error.place);
    EXPECT_LT(placeLength, sizeof made.error.place);
    EXPECT_LT(std::strlen(made.error.message), sizeof made.error.message);
    if (placeLength > 0) {
        EXPECT_NE('\xC3', made.error.place[placeLength - 1]);
    }
}

} // namespace
