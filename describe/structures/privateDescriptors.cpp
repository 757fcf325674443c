#include "describe/structures/structures.h"

namespace psi::describe {

namespace {

// Logical channel numbers are private descriptors, but nearly every network carries them.

/** IEC 62216 (EACEM): 10 bits. */
constexpr auto eacemChannels = fields(list("services", hex(16, "service_id"), flag("visible_service_flag"), reserved(5),
                                           number(10, "logical_channel_number")));

/** NorDig Unified 12.2.9.2: 14 bits. */
constexpr auto nordigChannels = fields(list("services", hex(16, "service_id"), flag("visible_service_flag"),
                                            reserved(1), number(14, "logical_channel_number")));

/** The British and the Australian one: 10 bits and no flag. */
constexpr auto plainChannels =
    fields(list("services", hex(16, "service_id"), reserved(6), number(10, "logical_channel_number")));

constexpr auto preferredNames =
    fields(list("names", language(), list(8, "name_count", "preferred_names", number(8, "name_id"), text8("name"))));

constexpr auto preferredName = fields(number(8, "name_id"));

constexpr auto streamVersion = fields(number(8, "version_byte"));

/** NorDig Unified 12.2.9.3: a list for each country, and 10 bits. */
constexpr auto nordigLists =
    fields(list("channel_lists", number(8, "channel_list_id"), text8("channel_list_name"), country(),
                sized(8, nullptr,
                      list("services", hex(16, "service_id"), flag("visible_service_flag"), reserved(5),
                           number(10, "logical_channel_number")))));

constexpr auto serviceAttributes = fields(
    list("services", hex(16, "service_id"), reserved(6), flag("numeric_selection_flag"), flag("visible_service_flag")));

constexpr auto shortServiceName = fields(text("name"));

constexpr auto guidance =
    fields(reserved(6), number(2, "guidance_type"), when("guidance_type", 0, language(), text("guidance")),
           when("guidance_type", 1, reserved(7), flag("guidance_mode"), language(), text("guidance")),
           whenIn("guidance_type", 2, 3, bytes("reserved_data")));

/** CI Plus 1.3 L.5 */
constexpr auto ciProtection =
    fields(flag("free_CI_mode_flag"), flag("match_brand_flag"), reserved(6),
           when("match_brand_flag", 1, list(8, "number_of_entries", "brands", hex(16, "cicam_brand_identifier"))),
           bytes("private_data"));

constexpr Structure eacemStructures[] = {
    {0x83, "logical_channel_descriptor", "IEC 62216", eacemChannels},
    {0x84, "preferred_name_list_descriptor", "IEC 62216", preferredNames},
    {0x85, "preferred_name_identifier_descriptor", "IEC 62216", preferredName},
    {0x86, "eacem_stream_identifier_descriptor", "IEC 62216", streamVersion},
    {0x88, "HD_simulcast_logical_channel_descriptor", "IEC 62216", eacemChannels},
};

constexpr Structure nordigStructures[] = {
    {0x83, "logical_channel_descriptor", "NorDig 12.2.9.2", nordigChannels},
    {0x87, "logical_channel_list_descriptor", "NorDig 12.2.9.3", nordigLists},
};

constexpr Structure britishStructures[] = {
    {0x83, "logical_channel_descriptor", "D-Book 8.5.3", plainChannels},
    {0x84, "preferred_name_list_descriptor", "D-Book 8.5.3", preferredNames},
    {0x85, "preferred_name_identifier_descriptor", "D-Book 8.5.3", preferredName},
    {0x86, "service_attribute_descriptor", "D-Book 8.5.3", serviceAttributes},
    {0x87, "short_service_name_descriptor", "D-Book 8.5.3", shortServiceName},
    {0x89, "guidance_descriptor", "D-Book 8.5.3", guidance},
};

constexpr Structure ciPlusStructures[] = {
    {0xCE, "ci_protection_descriptor", "CI Plus L.5", ciProtection},
};

constexpr Structure australianStructures[] = {
    {0x83, "logical_channel_descriptor", "OP-41", plainChannels},
};

constexpr StructureList eacem = eacemStructures;
constexpr StructureList nordig = nordigStructures;
constexpr StructureList british = britishStructures;
constexpr StructureList ciPlus = ciPlusStructures;
constexpr StructureList australian = australianStructures;

} // namespace

const PrivateStructures privateStructures[] = {
    {0x00000028, 0x00000028, "eacem", "EACEM", &eacem},
    {0x00000029, 0x00000029, "nordig", "NorDig", &nordig},
    {0x00000040, 0x00000040, "ciplus", "CI Plus", &ciPlus},
    {0x0000233A, 0x0000233A, "dtg", "DTG", &british},
    {0x00003200, 0x0000320F, "australia", "Australian networks", &australian},
    {aribSpecifier, aribSpecifier, "arib", "ARIB", &aribDescriptors},
};
const std::size_t privateStructuresCount = std::size(privateStructures);

} // namespace psi::describe
