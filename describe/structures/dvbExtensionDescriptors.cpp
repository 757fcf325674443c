#include "describe/structures/structures.h"

namespace psi::describe {

namespace {

// EN 300 468 6.4, in the order of descriptor_tag_extension.

constexpr auto supplementaryAudio =
    fields(flag("mix_type"), hex(5, "editorial_classification"), reserved(1), announces("ISO_639_language_code"),
           announced("ISO_639_language_code", language()), bytes("private_data"));

constexpr auto message = fields(number(8, "message_id"), language(), text("text"));

constexpr auto serviceRelocated =
    fields(hex(16, "old_original_network_id"), hex(16, "old_transport_stream_id"), hex(16, "old_service_id"));

constexpr Structure extensions[] = {
    {0x06, "supplementary_audio_descriptor", "6.4.11", supplementaryAudio},
    {0x08, "message_descriptor", "6.4.7", message},
    {0x0B, "service_relocated_descriptor", "6.4.9", serviceRelocated},
};

} // namespace

const StructureList dvbExtensionDescriptors = extensions;

} // namespace psi::describe
