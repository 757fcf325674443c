// The EBCT, which ends early instead of failing: its bounds to the letter, in every section that can be cut or bent.
#include "support/fullSection.h"
#include "support/guardedBuffer.h"
#include "support/libraryFixture.h"
#include "support/mutation.h"
#include "support/randomSection.h"

namespace psitest {
namespace {

/**
 * @brief The table's rules as they are written down, on positions in the buffer, giving the tree as describeTree()
 * does.
 *
 * The last byte in front of the four of CRC_32 is `end`; a step whose bound test fails ends the walk.
 */
class EbctRules {
public:
    explicit EbctRules(const Bytes &buffer) : buf_(buffer), end_(buffer.size() - 5) {}

    std::string tree()
    {
        walk();
        TreeText out;
        header(out);
        out.bytes("ebm_id", ebmId_).field("content_number", contentNumber_);
        for (const Content &content : contents_)
            put(out, content);
        out.field("signature_length", signatureLength_).bytes("signature", signature_);
        out.field("CRC_32", number(buf_.size() - 4, 4));
        return out.text();
    }
    bool complete() const { return complete_; }

private:
    struct Content {
        std::size_t at = 0;
        Bytes text;
        u32 agencyLength = 0;
        Bytes agency;
        u32 auxiliaryNumber = 0;
        std::vector<std::size_t> auxiliary;
    };

    u32 number(std::size_t at, std::size_t bytes) const
    {
        u32 value = 0;
        for (std::size_t i = at; i < at + bytes; ++i)
            value = value << 8 | buf_.at(i);
        return value;
    }
    /** @brief A header field, 0 when it is not there as a whole. */
    u32 headerField(std::size_t at, std::size_t bytes) const { return at + bytes <= end_ + 1 ? number(at, bytes) : 0; }
    Bytes take(std::size_t n)
    {
        Bytes bytes;
        for (std::size_t i = 0; i < n; ++i)
            bytes.push_back(buf_.at(position_++));
        return bytes;
    }

    void walk()
    {
        if (end_ < 7 || buf_[6] != 0 || 25 > end_)
            return;
        position_ = 8;
        ebmId_ = take(18);
        ebmId_[0] = static_cast<u8>(ebmId_[0] & 0x0F);
        if (26 > end_)
            return;
        contentNumber_ = buf_[26] & 0x0FU;
        position_ = 27;
        for (u32 i = 0; i < contentNumber_; ++i)
            if (position_ + 10 > end_ || !walkContent())
                return;
        walkSignature();
    }

    bool walkContent()
    {
        contents_.push_back({});
        Content &content = contents_.back();
        content.at = position_;
        const u32 textLength = number(position_ + 8, 2);
        position_ += 10;
        if (textLength > 0) {
            if (position_ + textLength > end_)
                return false;
            content.text = take(textLength);
        }
        if (position_ > end_)
            return false;
        content.agencyLength = buf_.at(position_++);
        if (content.agencyLength > 0) {
            if (position_ + content.agencyLength >= end_)
                return false;
            content.agency = take(content.agencyLength);
        }
        if (position_ > end_)
            return false;
        content.auxiliaryNumber = buf_.at(position_++) & 0x0FU;
        for (u32 i = 0; i < content.auxiliaryNumber; ++i) {
            if (position_ + 4 > end_)
                return false;
            content.auxiliary.push_back(position_);
            const u32 length = number(position_ + 1, 3);
            position_ += 4;
            if (length > 0) {
                if (position_ + length > end_)
                    return false;
                position_ += length;
            }
        }
        return true;
    }

    void walkSignature()
    {
        if (position_ + 2 > end_)
            return;
        signatureLength_ = number(position_, 2);
        position_ += 2;
        if (signatureLength_ > 0) {
            if (position_ + signatureLength_ > end_)
                return;
            signature_ = take(signatureLength_);
        }
        complete_ = true;
    }

    void header(TreeText &out) const
    {
        out.field("table_id", buf_[0]).field("section_syntax_indicator", buf_[1] >> 7);
        out.field("section_length", number(1, 2) & 0x0FFF).field("table_id_extension", headerField(3, 2));
        out.field("version_number", headerField(5, 1) >> 1 & 0x1F);
        out.field("current_next_indicator", headerField(5, 1) & 1);
        out.field("section_number", headerField(6, 1)).field("last_section_number", headerField(7, 1));
    }

    void put(TreeText &out, const Content &content) const
    {
        out.begin("content").field("content_word", number(content.at, 4)).field("content_byte4", buf_[content.at + 4]);
        out.field("content_byte5", buf_[content.at + 5]).field("content_byte6", buf_[content.at + 6]);
        out.field("content_bits7", buf_[content.at + 7] & 7U);
        out.field("message_text_length", number(content.at + 8, 2)).bytes("message_text", content.text);
        out.field("agency_name_length", content.agencyLength).bytes("agency_name", content.agency);
        out.field("auxiliary_data_number", content.auxiliaryNumber);
        for (const std::size_t at : content.auxiliary) {
            out.begin("auxiliaryData").field("auxiliary_data_type", buf_[at]);
            out.field("auxiliary_data_length", number(at + 1, 3)).bytes("auxiliary_data", {}).end();
        }
        out.end();
    }

    const Bytes &buf_;
    std::size_t end_;
    std::size_t position_ = 0;
    Bytes ebmId_ = repeated(18, 0);
    u32 contentNumber_ = 0;
    std::vector<Content> contents_;
    u32 signatureLength_ = 0;
    Bytes signature_;
    bool complete_ = false;
};

class EbctTest : public LibraryTest {
protected:
    /** @brief Parse a buffer and compare the tree and the last line with the rules. */
    void expectRules(const Bytes &bytes)
    {
        setPsiSchRPTLevel(0);
        EbctRules rules(bytes);
        const ParsedTree tree(PSI_EBCT, buffer.place(bytes), bytes.size());
        ASSERT_EQ(0, tree.result()) << "an overrun is no failure";
        ASSERT_EQ(rules.tree(), tree.text());
    }

    /** @brief The sample without stuffing between signature and CRC_32. */
    static EbctTable unstuffed()
    {
        EbctTable table = fullEbct();
        table.stuffing.clear();
        return table;
    }

    GuardedBuffer buffer;
    const Bytes sample = ebctOf(fullEbct()).build();
};

TEST_F(EbctTest, EveryTruncationKeepsWhatWasRead)
{
    forEachTruncation(sample, Truncated::Resealed, [&](const Bytes &section, const std::string &how) {
        SCOPED_TRACE(how);
        expectRules(section);
        ASSERT_EQ(0U, liveBlocks());
    });
}

TEST_F(EbctTest, EveryByteChangeKeepsWhatWasRead)
{
    forEachByteChange(sample, [&](const Bytes &section, const std::string &how) {
        if (section[0] != sample[0] || sectionLength(section) != sectionLength(sample))
            return;
        SCOPED_TRACE(how);
        expectRules(section);
        ASSERT_EQ(0U, liveBlocks());
    });
}

TEST_F(EbctTest, RandomBytesFollowTheRules)
{
    RandomSections random(4);
    for (int i = 0; i < 3000; ++i) {
        SCOPED_TRACE(i);
        Bytes body(random.below(120));
        for (u8 &byte : body) // small numbers, so that lengths fit now and then
            byte = static_cast<u8>(random.below(random.below(3) == 0 ? 256 : 4));
        expectRules(LongSectionBuilder(0xFE).body(body).build());
    }
}

TEST_F(EbctTest, BoundsLieAtTheEndOfTheBuffer)
{
    RandomSections sections(5);
    for (int i = 0; i < 500; ++i) {
        SCOPED_TRACE(i);
        const Bytes section = sections.make(PSI_EBCT, 200).bytes;
        const Bytes behind(1 + sections.below(40), 0x01);
        expectRules(section + behind);
    }
}

TEST_F(EbctTest, ASignatureThatEndsAtTheCrcIsNotKept)
{
    const Bytes section = ebctOf(unstuffed()).build();
    setPsiSchRPTLevel(3);
    const ParsedTree tree(PSI_EBCT, section);
    ASSERT_EQ(0, tree.result());
    EXPECT_EQ(4U, tree.as<ebctSection>()->signature_length);
    EXPECT_EQ(nullptr, tree.as<ebctSection>()->signature);
    EXPECT_NO_LOG(log) << "only a parse that gets to the end says OK";
}

TEST_F(EbctTest, ASignatureWithAByteBehindItIsKept)
{
    setPsiSchRPTLevel(3);
    const ParsedTree tree(PSI_EBCT, sample);
    EXPECT_EQ(bytesOf("sign"), bytesAt(tree.as<ebctSection>()->signature, 4));
    EXPECT_LOG(log, info("psiAnalyse", "syntaxAnalyseEbct: OK!"));
}

TEST_F(EbctTest, AnEmptySignatureIsTheEndToo)
{
    setPsiSchRPTLevel(3);
    const ParsedTree tree(PSI_EBCT, ebctOf({counting(18), {}, {}, {0x00}}).build());
    EXPECT_EQ(nullptr, tree.as<ebctSection>()->signature);
    EXPECT_LOG(log, info("psiAnalyse", "syntaxAnalyseEbct: OK!"));
}

TEST_F(EbctTest, OfALaterSectionOnlyTheHeaderIsRead)
{
    const Bytes section = ebctOf(fullEbct()).idExt(0x0102).version(7).number(1, 2).build();
    setPsiSchRPTLevel(3);
    const ParsedTree tree(PSI_EBCT, section);
    ASSERT_EQ(0, tree.result());
    EXPECT_LOG(log,
               info("psiAnalyse", "syntaxAnalyseEbct: section number 1 is not the first section, so don't ananlyse "
                                  "other byte!"));
    const ebctSection *ebct = tree.as<ebctSection>();
    EXPECT_EQ(0x0102U, ebct->table_id_extension);
    EXPECT_EQ(7U, ebct->version_number);
    EXPECT_EQ(1U, ebct->section_number);
    EXPECT_EQ(2U, ebct->last_section_number);
    EXPECT_EQ(sectionLength(section), ebct->section_length);
    EXPECT_EQ(repeated(18, 0), bytesAt(ebct->ebm_id, 18));
    EXPECT_EQ(0U, ebct->content_number);
    EXPECT_EQ(nullptr, ebct->content);
    EXPECT_EQ(nullptr, ebct->signature);
}

TEST_F(EbctTest, AMessageTextThatRunsIntoTheCrcEndsTheParse)
{
    Bytes section = sample;
    constexpr std::size_t textLength = 27 + 8;
    section[textLength] = 0x01;
    const ParsedTree tree(PSI_EBCT, withRightCrc(section));
    ASSERT_EQ(0, tree.result());
    ASSERT_NE(nullptr, tree.as<ebctSection>()->content) << "the content made so far stays";
    EXPECT_EQ(0x0105U, tree.as<ebctSection>()->content->message_text_length);
    EXPECT_EQ(nullptr, tree.as<ebctSection>()->content->message_text);
    EXPECT_EQ(nullptr, tree.as<ebctSection>()->signature);
}

TEST_F(EbctTest, AuxiliaryDataAreSkipped)
{
    const ParsedTree tree(PSI_EBCT, sample);
    const ebctAuxiliaryData *data = tree.as<ebctSection>()->content->auxiliaryData;
    ASSERT_NE(nullptr, data);
    EXPECT_EQ(0x61U, data->auxiliary_data_type);
    EXPECT_EQ(6U, data->auxiliary_data_length);
    EXPECT_EQ(nullptr, data->auxiliary_data);
}

} // namespace
} // namespace psitest
