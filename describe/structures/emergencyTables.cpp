#include "describe/structures/tables.h"

namespace psi::describe {

namespace {

constexpr auto header = sectionHeader(reserved(1), "table_id_extension");

constexpr auto signature = bytesOf(16, "signature_length", "signature");

/** An identifier of 18 bytes, of which the first has four bits. */
constexpr auto messageIdentifier = fixed(140, "ebm_id", hexDigits);

constexpr auto resource = fields(reserved(4), fixed(92, "resource_code", hexDigits));

constexpr auto channel =
    fields(hex(16, "details_word0"), hex(16, "details_word1"), reserved(8), wide(4, hex(8, "details_word2")),
           reserved(3), pid("details_pid"), reserved(4), sized(12, "program_info_length", programDescriptors()),
           sized(16, "stream_info_length", list("streams", elementaryStream())));

constexpr auto message =
    fields(hex(16, "ebm_word0"), reserved(4), heading(messageIdentifier), hex(16, "ebm_word20"), hex(16, "ebm_word22"),
           hex(24, "ebm_value24"), hex(16, "ebm_word27"), hex(24, "ebm_value29"), fixed(40, "ebm_bytes32", hexDigits),
           hex(4, "ebm_high37"), hex(4, "ebm_low37"), list(8, "resource_number", "resources", resource), reserved(7),
           list(1, "details_channel_flag", "details_channel", channel));

constexpr auto ebit = fields(header, list(8, "ebm_number", "messages", message), signature);

constexpr auto content =
    fields(hex(32, "content_word"), hex(8, "content_byte4"), hex(8, "content_byte5"), hex(8, "content_byte6"),
           reserved(5), hex(3, "content_bits7"), bytesOf(16, "message_text_length", "message_text"),
           bytesOf(8, "agency_name_length", "agency_name"), reserved(4),
           list(4, "auxiliary_data_number", "auxiliary_data", hex(8, "auxiliary_data_type"),
                bytesOf(24, "auxiliary_data_length", "auxiliary_data")));

/** A sender may cut it off anywhere; what is whole counts. */
constexpr auto ebct = fields(
    header,
    when("section_number", 0, reserved(4), messageIdentifier, reserved(4),
         mayBeCut(list(4, "content_number", "contents", content)), signature),
    whenNot("section_number", 0, note("the library parses the first section of an EBCT only"), bytes("continuation")));

constexpr auto ebcat = fields(header, list(8, "calist_number", "calist", bytesOf(16, "ca_data_length", "ca_data")),
                              list(8, "ct_number", "ct", bytesOf(8, "ct_data_length", "ct_data")), signature);

constexpr auto ebcct =
    fields(header, list(8, "cmd_number", "commands", hex(8, "cmd_tag"), bytesOf(16, "cmd_data_length", "cmd_data")),
           signature);

} // namespace

const Layout ebitLayout = ebit;
const Layout ebctLayout = ebct;
const Layout ebcatLayout = ebcat;
const Layout ebcctLayout = ebcct;

} // namespace psi::describe
