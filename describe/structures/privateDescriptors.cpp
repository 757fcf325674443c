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

constexpr Structure eacem[] = {
    {0x83, "logical_channel_descriptor", "IEC 62216", eacemChannels},
    {0x88, "HD_simulcast_logical_channel_descriptor", "IEC 62216", eacemChannels},
};

constexpr Structure nordig[] = {
    {0x83, "logical_channel_descriptor", "NorDig 12.2.9.2", nordigChannels},
};

constexpr Structure british[] = {
    {0x83, "logical_channel_descriptor", "D-Book 8.5.3", plainChannels},
};

constexpr Structure australian[] = {
    {0x83, "logical_channel_descriptor", "OP-41", plainChannels},
};

} // namespace

const PrivateStructures privateStructures[] = {
    {0x00000028, 0x00000028, "EACEM", eacem},
    {0x00000029, 0x00000029, "NorDig", nordig},
    {0x0000233A, 0x0000233A, "DTG", british},
    {0x00003200, 0x0000320F, "Australian networks", australian},
};
const std::size_t privateStructuresCount = std::size(privateStructures);

} // namespace psi::describe
