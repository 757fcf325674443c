#include "describe/structures/tables.h"

namespace psi::describe {

namespace {

constexpr auto header(const char *idKey)
{
    return sectionHeader(reserved(1), idKey);
}

constexpr auto transportStreams =
    fields(reserved(4), sized(12, "transport_stream_loop_length",
                              list("transport_streams", hex(16, "transport_stream_id"), hex(16, "original_network_id"),
                                   descriptorLoop("transport_descriptors_length"))));

// EN 300 468 5.2.1
constexpr auto nit = fields(header("network_id"), descriptorLoop("network_descriptors_length"), transportStreams);

// 5.2.2
constexpr auto bat = fields(header("bouquet_id"), descriptorLoop("bouquet_descriptors_length"), transportStreams);

// 5.2.3
constexpr auto sdt =
    fields(header("transport_stream_id"), hex(16, "original_network_id"), reserved(8),
           list("services", hex(16, "service_id"), reserved(6), flag("EIT_schedule_flag"),
                flag("EIT_present_following_flag"), number(3, "running_status", runningStatuses),
                flag("free_CA_mode", {scrambled, ""}), sized(12, "descriptors_loop_length", descriptors())));

} // namespace

const Layout nitLayout = nit;
const Layout batLayout = bat;
const Layout sdtLayout = sdt;

} // namespace psi::describe
