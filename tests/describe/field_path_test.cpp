#include "describe/fieldChange.h"

#include "describe/sections.h"

#include "support/sectionBuilder.h"

#include <gtest/gtest.h>

namespace {

using namespace psitest;
using namespace psi::describe;

std::string refusal(const std::string &path)
{
    try {
        parseFieldPath(path);
    } catch (const PathError &error) {
        return error.what();
    }
    return "";
}

TEST(FieldPath, NamesWithDotsAndBracketsAreTakenApart)
{
    const FieldPath path = parseFieldPath("PMT[0x10].streams[2].language#1.languages[code=a b].x[*][+][0x5A#3][#4]");
    EXPECT_EQ(path.table, "pmt");
    EXPECT_EQ(path.id, u16{0x10});
    ASSERT_EQ(path.steps.size(), 10u);
    EXPECT_EQ(path.steps[0].key, "streams");
    EXPECT_EQ(path.steps[1].kind, PathStep::Kind::number);
    EXPECT_EQ(path.steps[1].number, 2u);
    EXPECT_EQ(path.steps[2].key, "language");
    EXPECT_EQ(path.steps[2].nth, 1u);
    EXPECT_EQ(path.steps[4].kind, PathStep::Kind::equal);
    EXPECT_EQ(path.steps[4].key, "code");
    EXPECT_EQ(path.steps[4].value, "a b");
    EXPECT_EQ(path.steps[6].kind, PathStep::Kind::every);
    EXPECT_EQ(path.steps[7].kind, PathStep::Kind::behind);
    EXPECT_EQ(path.steps[8].number, 0x5Au);
    EXPECT_EQ(path.steps[8].nth, 3u);
    EXPECT_EQ(path.steps[9].kind, PathStep::Kind::index);
}

TEST(FieldPath, JsonPointersAreTakenApart)
{
    const FieldPath path = parseFieldPath("/pmt/10/streams/1/a~1b~0c/0x48/-");
    EXPECT_EQ(path.id, u16{10});
    ASSERT_EQ(path.steps.size(), 5u);
    EXPECT_EQ(path.steps[1].kind, PathStep::Kind::index);
    EXPECT_EQ(path.steps[2].key, "a/b~c");
    EXPECT_EQ(path.steps[3].kind, PathStep::Kind::number);
    EXPECT_EQ(path.steps[4].kind, PathStep::Kind::behind);
    EXPECT_FALSE(parseFieldPath("/nit/network_id").id);
}

TEST(FieldPath, WhatIsNoneIsRefusedWithItsColumn)
{
    EXPECT_EQ(refusal(""), "column 1: the table is missing");
    EXPECT_EQ(refusal("nit"), "column 4: a field of the table is missing");
    EXPECT_EQ(refusal("nit.a[]"), "column 8: the brackets are empty");
    EXPECT_EQ(refusal("nit.a[1"), "column 8: ']' is missing");
    EXPECT_EQ(refusal("nit.a]"), "column 6: '.' or '[' is wanted");
    EXPECT_EQ(refusal("/nit/~2"), "column 7: behind '~' stands 0 or 1");
    EXPECT_EQ(refusal("/nit//a"), "column 6: a name or an index is missing");
    std::string deep = "nit";
    for (int i = 0; i < 65; ++i)
        deep += ".a";
    EXPECT_NE(refusal(deep).find("more than 64 steps"), std::string::npos);
}

TEST(FieldPath, TheAssignmentIsOutsideOfBrackets)
{
    using Assignment = std::pair<std::string, std::string>;
    EXPECT_EQ(splitAssignment("a.b[c=d]=e=f"), Assignment("a.b[c=d]", "e=f"));
    EXPECT_EQ(splitAssignment("a[\"x]=\"]=1"), Assignment("a[\"x]=\"]", "1"));
    EXPECT_EQ(splitAssignment("/a/b=[1]"), Assignment("/a/b", "[1]"));
    EXPECT_THROW(splitAssignment("a[b=c]"), PathError);
}

TEST(FieldPath, WhatIsReadIsWrittenAgainInTheFormThatCanBeChanged)
{
    const Bytes bytes = PmtBuilder(1)
                            .programDescriptor(caDescriptor(0x0B00, 0x1F0))
                            .stream(0x1B, 0x101, descriptor(0x0A, bytesOf("eng") + Bytes{0}) + descriptor(0xF0, {1, 2}))
                            .build();
    const ByteView section{bytes.data(), bytes.size()};
    Fields fields = editable(describeSection(section, tableKindOf(bytes[0]), Standard::dvb).fields);
    WriteReport report;
    const std::string written = writeSection(fields, {}, report, {});
    EXPECT_EQ(Bytes(written.begin(), written.end()), bytes);

    PathMatch match;
    const FieldPath path = parseFieldPath("pmt.streams[0].ISO_639_langage.languages[0].code");
    changeFields({&fields}, path, {"deu"}, match);
    EXPECT_EQ(match.hits, 0u);
    EXPECT_NE(match.miss.find("the nearest is \"ISO_639_language\""), std::string::npos) << match.miss;
    const FieldPath right = parseFieldPath("pmt.streams[0].ISO_639_language.languages[0].code");
    changeFields({&fields}, right, {"deu"}, match);
    EXPECT_EQ(match.hits, 1u);
    EXPECT_NE(writeSection(fields, {}, report, {}).find("deu"), std::string::npos);
}

/** The SDT of one service with the change, or what does not fit. */
std::string changedSdt(const std::string &path, const FieldChange &change)
{
    const Bytes service = Bytes{0x19, 0, 3} + bytesOf("Old");
    const Bytes bytes = SdtBuilder().service(5, descriptor(0x48, service) + descriptor(0x4A, Bytes(7))).build();
    Fields fields =
        editable(describeSection({bytes.data(), bytes.size()}, tableKindOf(bytes[0]), Standard::dvb).fields);
    PathMatch match;
    changeFields({&fields}, parseFieldPath(path), change, match);
    WriteReport report;
    return match.hits == 1 ? toHex(ByteView(writeSection(fields, {}, report, {})).part(11)) : match.miss;
}

TEST(FieldPath, ADescriptorsShortNameComesBeforeWordsOfAField)
{
    const std::string whole = changedSdt("sdt.services[0].service_descriptor.service_name", {"New"});
    EXPECT_NE(std::string::npos, whole.find(toHex(ByteView(std::string_view("New"))))) << whole;
    EXPECT_EQ(whole, changedSdt("sdt.services[0].service.service_name", {"New"}));
}

TEST(FieldPath, AFieldsWholeKeyComesBeforeEverythingAndItsWordsCome)
{
    EXPECT_EQ("0009", changedSdt("sdt.services[0].service_id", {"9"}).substr(0, 4));
    EXPECT_EQ("0009", changedSdt("sdt.services[0].id", {"9"}).substr(0, 4));
}

TEST(FieldPath, TheDescriptorOfAShortNameIsTakenOut)
{
    FieldChange remove;
    remove.remove = true;
    const std::string rest = changedSdt("sdt.services[0].service", remove);
    EXPECT_EQ("0005", rest.substr(0, 4));
    EXPECT_EQ("4a07", rest.substr(10, 4)) << rest;
}

} // namespace
