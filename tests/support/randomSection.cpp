#include "support/randomSection.h"

#include <algorithm>
#include <utility>

namespace psitest {
namespace {

constexpr u32 headerSize = 8;
constexpr u32 crcSize = 4;

struct TypeFacts {
    std::vector<u8> tableIds;
    const char *extension; /**< name of the field that keeps table_id_extension, or null */
};

const TypeFacts &factsOf(u32 psiType)
{
    static const TypeFacts facts[16] = {
        {{0x00}, "transport_stream_id"},
        {{0x02}, "program_number"},
        {{0x42, 0x46}, "transport_stream_id"},
        {{0x42, 0x46}, "transport_stream_id"},
        {{0x40, 0x41}, "network_id"},
        {{0x40, 0x41}, "network_id"},
        {{0x4A}, "bouquet_id"},
        {{0x01}, nullptr},
        {},
        {{0xC7}, nullptr},
        {},
        {},
        {{0xFD}, "table_id_extension"},
        {{0xFE}, "table_id_extension"},
        {{0xFC}, "table_id_extension"},
        {{0xFB}, "table_id_extension"},
    };
    return facts[psiType];
}

} // namespace

Bytes RandomSections::anyBytes(u32 count)
{
    Bytes bytes(count);
    std::generate(bytes.begin(), bytes.end(), [this] { return static_cast<u8>(bits(8)); });
    return bytes;
}

/** @brief How much of a room something of any size gets: mostly little, sometimes all of it. */
u32 RandomSections::share(u32 room)
{
    const u32 draw = below(16);
    return draw == 0 ? room : draw < 4 ? below(room + 1) : below(std::min(room, 40U) + 1);
}

void RandomSections::value(unsigned count, const char *name)
{
    known(count, name, bits(count));
}

void RandomSections::known(unsigned count, const char *name, u32 value)
{
    section_.put(count, value);
    tree_.field(name, value);
}

void RandomSections::array(u32 size, const char *name, u8 firstByteMask)
{
    Bytes bytes = anyBytes(size);
    section_.append(bytes);
    bytes[0] = static_cast<u8>(bytes[0] & firstByteMask);
    tree_.bytes(name, bytes);
}

void RandomSections::blob(unsigned lengthBits, const char *lengthName, const char *name, u32 size)
{
    known(lengthBits, lengthName, size);
    const Bytes bytes = anyBytes(size);
    section_.append(bytes);
    tree_.bytes(name, bytes);
}

/** @brief The signature at the end of an emergency table. */
void RandomSections::signature(u32 room)
{
    blob(16, "signature_length", "signature", share(room));
}

/** @brief A descriptor of @p room bytes, 2 to 257. */
void RandomSections::descriptor(u32 room)
{
    value(8, "descTag");
    blob(8, "descLen", "descData", room - 2);
}

/** @brief A loop of @p room bytes, of which one alone stays unused. */
void RandomSections::descriptorLoop(const char *lengthName, const char *name, u32 room)
{
    if (room == 1)
        room = 0;
    known(12, lengthName, room);
    while (room != 0) {
        u32 size = 2 + std::min(share(room - 2), 255U);
        if (room - size == 1) // no descriptor fits into that
            size += size < 257 ? 1 : ~0U;
        tree_.begin(name);
        descriptor(size);
        tree_.end();
        room -= size;
    }
}

/** @brief Entries of at least @p smallest bytes that nobody counts. */
template <typename Entry> void RandomSections::entries(const char *name, u32 room, u32 smallest, Entry entry)
{
    while (room >= smallest) {
        const std::size_t before = section_.bytes().size();
        tree_.begin(name);
        entry(room);
        tree_.end();
        room -= static_cast<u32>(section_.bytes().size() - before);
        if (below(400) == 0)
            return;
    }
}

/** @brief Entries behind their number. @return bytes that are left of the room */
template <typename Entry>
u32 RandomSections::counted(unsigned countBits, const char *countName, const char *name, u32 room, u32 smallest,
                            Entry entry)
{
    const u32 most = std::min(room / smallest, (1U << countBits) - 1);
    const u32 count = share(most);
    known(countBits, countName, count);
    for (u32 i = 1; i <= count; ++i) {
        const std::size_t before = section_.bytes().size();
        tree_.begin(name);
        entry(room - (count - i) * smallest);
        tree_.end();
        room -= static_cast<u32>(section_.bytes().size() - before);
    }
    return room;
}

/** @brief What @p fill writes, behind its length. @return that length */
template <typename Fill> u32 RandomSections::framed(unsigned reservedBits, unsigned lengthBits, Fill fill)
{
    BitWriter outer = std::exchange(section_, {});
    fill();
    const BitWriter inner = std::exchange(section_, std::move(outer));
    const u32 length = static_cast<u32>(inner.bytes().size());
    if (reservedBits != 0)
        reserved(reservedBits);
    section_.put(lengthBits, length).append(inner.bytes());
    return length;
}

/* ---- ISO/IEC 13818-1 ---- */

void RandomSections::pat(u32 room)
{
    entries("prog_info", room, 4, [this](u32) {
        value(16, "program_number");
        reserved(3);
        value(13, "program_map_PID");
    });
}

void RandomSections::pmt(u32 room)
{
    reserved(3);
    value(13, "PCR_PID");
    reserved(4);
    const u32 info = share(room - 4);
    descriptorLoop("program_info_length", "prog_descriptor", info);
    entries("es_info", room - 4 - info, 5, [this](u32 most) {
        value(8, "stream_type");
        reserved(3);
        value(13, "elementary_PID");
        reserved(4);
        descriptorLoop("ES_info_length", "es_descriptor", share(most - 5));
    });
}

void RandomSections::cat(u32 room)
{
    entries("cat_descriptor", room, 2, [this](u32 most) { descriptor(2 + std::min(share(most - 2), 255U)); });
}

/* ---- EN 300 468 ---- */

void RandomSections::network(const char *lengthName, const char *name, u32 room)
{
    reserved(4);
    const u32 info = share(room - 4);
    descriptorLoop(lengthName, name, info);
    framed(4, 12, [&] {
        entries("stream_info", room - 4 - info, 6, [this](u32 most) {
            value(16, "transport_stream_id");
            value(16, "original_network_id");
            reserved(4);
            descriptorLoop("transport_descriptors_length", "descriptor", share(most - 6));
        });
    });
}

void RandomSections::sdt(u32 room)
{
    value(16, "original_network_id");
    reserved(8);
    entries("service_info", room - 3, 5, [this](u32 most) {
        value(16, "service_id");
        reserved(6);
        value(1, "EIT_schedule_flag");
        value(1, "EIT_present_following_flag");
        value(3, "running_status");
        value(1, "free_CA_mode");
        descriptorLoop("descriptors_loop_length", "service_descriptor", share(most - 5));
    });
}

/* ---- A/65 ---- */

void RandomSections::mgt(u32 room)
{
    value(8, "protocol_version");
    const u32 left = counted(16, "tables_defined", "table_info", room - 5, 11, [this](u32 most) {
        value(16, "table_type");
        reserved(3);
        value(13, "table_type_PID");
        reserved(3);
        value(5, "table_type_version_number");
        value(32, "number_bytes");
        reserved(4);
        descriptorLoop("table_type_descriptors_length", "table_desc_info", share(most - 11));
    });
    reserved(4);
    descriptorLoop("descriptors_length", "mgt_desc_info", share(left));
}

/* ---- Emergency tables ---- */

void RandomSections::ebit(u32 room)
{
    const u32 left = counted(8, "ebm_number", "message", room - 3, 40, [this](u32 most) { ebitMessage(most); });
    signature(left);
}

void RandomSections::ebitMessage(u32 room)
{
    value(16, "ebm_word0");
    array(18, "ebm_id", 0x0F);
    value(16, "ebm_word20");
    value(16, "ebm_word22");
    value(24, "ebm_value24");
    value(16, "ebm_word27");
    value(24, "ebm_value29");
    array(5, "ebm_bytes32");
    value(4, "ebm_high37");
    value(4, "ebm_low37");
    const u32 left =
        counted(8, "resource_number", "resource", room - 40, 12, [this](u32) { array(12, "resource_code", 0x0F); });
    const bool hasChannel = left >= 12 && below(4) != 0;
    reserved(7);
    known(1, "details_channel_flag", hasChannel ? 1 : 0);
    if (hasChannel)
        ebitChannel(left);
}

void RandomSections::ebitChannel(u32 room)
{
    tree_.begin("channel");
    value(16, "details_word0");
    value(16, "details_word1");
    reserved(8);
    value(8, "details_word2");
    reserved(3);
    value(13, "details_pid");
    reserved(4);
    const u32 info = share(room - 12);
    descriptorLoop("program_info_length", "descriptor", info);
    const u32 length = framed(0, 16, [&] {
        entries("stream", share(room - 12 - info), 5, [this](u32 most) {
            value(8, "stream_type");
            reserved(3);
            value(13, "elementary_PID");
            reserved(4);
            descriptorLoop("ES_info_length", "descriptor", share(most - 5));
        });
    });
    tree_.field("stream_info_length", length).end();
}

/** @brief Its signature is read only when something stands between it and CRC_32. */
void RandomSections::ebct(u32 room)
{
    array(18, "ebm_id", 0x0F);
    reserved(4);
    const u32 left = counted(4, "content_number", "content", room - 21, 12, [this](u32 most) { ebctContent(most); });
    const u32 size = share(left);
    const Bytes bytes = anyBytes(size);
    const u32 stuffing = std::min(left - size, below(3));
    section_.put(16, size).append(bytes).append(anyBytes(stuffing));
    tree_.field("signature_length", stuffing != 0 || size != 0 ? size : 0);
    tree_.bytes("signature", stuffing != 0 ? bytes : Bytes());
}

void RandomSections::ebctContent(u32 room)
{
    value(32, "content_word");
    value(8, "content_byte4");
    value(8, "content_byte5");
    value(8, "content_byte6");
    reserved(5);
    value(3, "content_bits7");
    u32 left = room - 12;
    const u32 text = share(left);
    blob(16, "message_text_length", "message_text", text);
    left -= text;
    const u32 agency = std::min(share(left), 255U);
    blob(8, "agency_name_length", "agency_name", agency);
    left -= agency;
    reserved(4);
    counted(4, "auxiliary_data_number", "auxiliaryData", left, 4, [this](u32 most) {
        value(8, "auxiliary_data_type");
        const u32 size = share(most - 4);
        known(24, "auxiliary_data_length", size);
        section_.append(anyBytes(size)); // skipped by the parser
        tree_.bytes("auxiliary_data", {});
    });
}

void RandomSections::ebcat(u32 room)
{
    u32 left = counted(8, "calist_number", "calist", room - 4, 2,
                       [this](u32 most) { blob(16, "ca_data_length", "ca_data", share(most - 2)); });
    left = counted(8, "ct_number", "ct", left, 1,
                   [this](u32 most) { blob(8, "ct_data_length", "ct_data", std::min(share(most - 1), 255U)); });
    signature(left);
}

void RandomSections::ebcct(u32 room)
{
    const u32 left = counted(8, "cmd_number", "cmd", room - 3, 3, [this](u32 most) {
        value(8, "cmd_tag");
        blob(16, "cmd_data_length", "cmd_data", share(most - 3));
    });
    signature(left);
}

/* ---- The section around it ---- */

void RandomSections::body(u32 psiType, u32 room)
{
    switch (psiType) {
    case PSI_PAT:
        return pat(room);
    case PSI_PMT:
        return pmt(room);
    case PSI_SDT_ACTUAL:
    case PSI_SDT_OTHER:
        return sdt(room);
    case PSI_NIT_ACTUAL:
    case PSI_NIT_OTHER:
        return network("network_descriptors_length", "net_descriptor", room);
    case PSI_BAT:
        return network("bouquet_descriptors_length", "bouquet_descriptor", room);
    case PSI_CAT:
        return cat(room);
    case PSI_MGT:
        return mgt(room);
    case PSI_EBIT:
        return ebit(room);
    case PSI_EBCT:
        return ebct(room);
    case PSI_EBCAT:
        return ebcat(room);
    default:
        return ebcct(room);
    }
}

Bytes RandomSections::header(u32 psiType, u32 size, TreeText &text)
{
    const TypeFacts &facts = factsOf(psiType);
    const BitWriter outerSection = std::exchange(section_, {});
    TreeText outerTree = std::exchange(tree_, {});
    known(8, "table_id", facts.tableIds[below(static_cast<u32>(facts.tableIds.size()))]);
    value(1, "section_syntax_indicator");
    if (psiType == PSI_MGT)
        value(1, "private_indicator");
    else
        reserved(1);
    reserved(2);
    known(12, "section_length", size - 3);
    if (facts.extension != nullptr)
        value(16, facts.extension);
    else
        reserved(16);
    reserved(2);
    value(5, "version_number");
    value(1, "current_next_indicator");
    known(8, "section_number", psiType == PSI_EBCT ? 0 : bits(8)); // of the EBCT only the first one is parsed
    value(8, "last_section_number");
    text = std::exchange(tree_, std::move(outerTree));
    return std::exchange(section_, outerSection).bytes();
}

KnownSection RandomSections::make(u32 psiType, u32 most)
{
    section_ = {};
    tree_ = {};
    body(psiType, most - headerSize - crcSize);
    const u32 size = static_cast<u32>(headerSize + section_.bytes().size() + crcSize);
    TreeText head;
    const Bytes bytes = sealed(header(psiType, size, head) + section_.bytes());
    tree_.field("CRC_32", crc32Mpeg(bytes.data(), bytes.size() - crcSize));
    return {bytes, head.text() + tree_.text()};
}

} // namespace psitest
