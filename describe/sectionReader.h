/**
 * @file sectionReader.h
 * @brief What the readers of the single tables share.
 */
#ifndef PSI_DESCRIBE_SECTION_READER_H
#define PSI_DESCRIBE_SECTION_READER_H

#include "describe/descriptorFields.h"
#include "describe/modelView.h"
#include "describe/parsedSection.h"
#include "describe/sections.h"

namespace psi::describe {

/**
 * @brief Reads one table.
 * @param section a whole section with a right CRC_32
 * @param standard whose private descriptors are meant
 * @param tree gets the fields in front of CRC_32
 * @return false when it cannot be parsed
 */
using TableReader = bool (*)(ByteView section, Standard standard, DescribedSection &tree);

/** @brief The reader of an ATSC or emergency table. @return null for another table */
TableReader findPsipReader(u8 tableId);
TableReader findEmergencyReader(u8 tableId);

/** @brief The first fields of every section, up to section_length. */
void addStart(Fields &fields, u8 tableId, u8 syntaxIndicator, u16 sectionLength);

/** @brief version_number to last_section_number, of a record of the library or what has the same fields. */
template <typename Header> void addVersion(Fields &fields, const Header &header)
{
    addNumber(fields, "version_number", header.version_number);
    addNumber(fields, "current_next_indicator", header.current_next_indicator,
              header.current_next_indicator ? "" : "not yet applicable");
    addNumber(fields, "section_number", header.section_number);
    addNumber(fields, "last_section_number", header.last_section_number);
}

/** @brief The header of a section in the long form. @param idKey what its table_id_extension is called */
template <typename Header> void addHeader(Fields &fields, const Header &header, const char *idKey, u16 id)
{
    addStart(fields, header.table_id, header.section_syntax_indicator, header.section_length);
    addHex(fields, idKey, id, 4);
    addVersion(fields, header);
}

/** @brief The long header of a section. ISO/IEC 13818-1 2.4.4.11. */
struct LongHeader {
    u8 table_id;
    u8 section_syntax_indicator;
    u16 section_length;
    u16 id;
    u8 version_number;
    u8 current_next_indicator;
    u8 section_number;
    u8 last_section_number;
};

LongHeader takeHeader(ByteReader &reader);

/** @brief A loop of the library's nodes, each made an entry by `describe`. */
template <typename Node, typename Describe>
void addNodes(Fields &fields, const char *key, const Node *list, Describe describe)
{
    Field loop{key, Field::Kind::list, 0, 0, "", {}};
    for (const Node &node : nodes(list)) {
        loop.items.emplace_back();
        describe(loop.items.back(), node);
    }
    fields.push_back(std::move(loop));
}

/** @brief A loop of descriptors, under the key "descriptors". */
void addDescriptorLoop(Fields &fields, std::vector<ReadDescriptor> descriptors);

/** @brief An elementary stream, of a PMT or an EBIT. */
template <typename Stream>
void describeStream(Fields &fields, const Stream &stream, const descInfo *list, const DescriptorContext &program)
{
    std::vector<ReadDescriptor> descriptors = readDescriptors(list, streamContext(program, stream.stream_type));
    const std::string kind = streamKind(stream.stream_type, descriptors, program);
    addHex(fields, "stream_type", stream.stream_type, 2, kind.c_str());
    addHex(fields, "elementary_PID", stream.elementary_PID, 4);
    addNumber(fields, "ES_info_length", stream.ES_info_length);
    addDescriptorLoop(fields, std::move(descriptors));
}

/** @brief The table_id_extension of a table that calls it by no other name, and whose record does not keep it. */
constexpr u16 idExtensionOf(ByteView section)
{
    return static_cast<u16>(section[3] << 8 | section[4]);
}

/** @brief Read a table by the library's parser. @tparam describe adds the record's fields */
template <typename Section, void (*describe)(const Section &, ByteView, Standard, DescribedSection &)>
bool readParsed(ByteView section, Standard standard, DescribedSection &tree)
{
    const auto parsed = std::make_shared<ParsedSection<Section>>(tableKindOf(section[0])->psiType, section);
    if (!*parsed)
        return false;
    tree.owner = parsed;
    describe(**parsed, section, standard, tree);
    return true;
}

} // namespace psi::describe

#endif
