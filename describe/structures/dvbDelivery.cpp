#include "describe/structures/structures.h"

namespace psi::describe {

namespace {

// Delivery systems, EN 300 468 6.2.13, 6.2.17 and 6.4.6.

constexpr NamedRange outerCodes[] = {{0, 0, "not defined"}, {1, 1, "none"}, {2, 2, "RS(204/188)"}};

constexpr NamedRange innerCodes[] = {
    {0, 0, "not defined"}, {1, 1, "1/2"}, {2, 2, "2/3"}, {3, 3, "3/4"},  {4, 4, "5/6"},    {5, 5, "7/8"},
    {6, 6, "8/9"},         {7, 7, "3/5"}, {8, 8, "4/5"}, {9, 9, "9/10"}, {15, 15, "none"},
};

constexpr NamedRange polarizations[] = {
    {0, 0, "horizontal"}, {1, 1, "vertical"}, {2, 2, "left circular"}, {3, 3, "right circular"}};

constexpr NamedRange satelliteModulations[] = {{0, 0, "auto"}, {1, 1, "QPSK"}, {2, 2, "8PSK"}, {3, 3, "16-QAM"}};

constexpr NamedRange satelliteSystems[] = {{0, 0, "DVB-S"}, {1, 1, "DVB-S2"}};

constexpr NamedRange rollOffs[] = {{0, 0, "0.35"}, {1, 1, "0.25"}, {2, 2, "0.20"}};

constexpr NamedRange cableModulations[] = {{1, 1, "16-QAM"},  {2, 2, "32-QAM"},  {3, 3, "64-QAM"},
                                           {4, 4, "128-QAM"}, {5, 5, "256-QAM"}, {0, 0, "not defined"}};

constexpr NamedRange bandwidths[] = {{0, 0, "8 MHz"}, {1, 1, "7 MHz"}, {2, 2, "6 MHz"}, {3, 3, "5 MHz"}};

constexpr NamedRange priorities[] = {{0, 0, "low"}, {1, 1, "high"}};

constexpr NamedRange constellations[] = {{0, 0, "QPSK"}, {1, 1, "16-QAM"}, {2, 2, "64-QAM"}};

constexpr NamedRange hierarchies[] = {{0, 0, "none"},
                                      {1, 1, "alpha 1"},
                                      {2, 2, "alpha 2"},
                                      {3, 3, "alpha 4"},
                                      {4, 4, "none, in-depth interleaver"},
                                      {5, 5, "alpha 1, in-depth interleaver"},
                                      {6, 6, "alpha 2, in-depth interleaver"},
                                      {7, 7, "alpha 4, in-depth interleaver"}};

constexpr NamedRange terrestrialCodeRates[] = {
    {0, 0, "1/2"}, {1, 1, "2/3"}, {2, 2, "3/4"}, {3, 3, "5/6"}, {4, 4, "7/8"}};

constexpr NamedRange guardIntervals[] = {{0, 0, "1/32"}, {1, 1, "1/16"}, {2, 2, "1/8"}, {3, 3, "1/4"}};

constexpr NamedRange transmissionModes[] = {{0, 0, "2k"}, {1, 1, "8k"}, {2, 2, "4k"}};

constexpr NamedRange streamModes[] = {
    {0, 0, "generic packetized"}, {1, 1, "GSE"}, {2, 2, "GSE high efficiency"}, {3, 3, "transport stream"}};

constexpr NamedRange frequencyCodings[] = {
    {0, 0, "not defined"}, {1, 1, "satellite"}, {2, 2, "cable"}, {3, 3, "terrestrial"}};

constexpr auto satelliteDelivery =
    fields(fixed(32, "frequency", gigahertz), fixed(17, "orbital_position", orbitalPosition),
           number(2, "polarization", polarizations), ahead(2, 1, "modulation_system"),
           when("modulation_system", 1, number(2, "roll_off", rollOffs)), whenNot("modulation_system", 1, zero(2)),
           number(1, "modulation_system", satelliteSystems), number(2, "modulation_type", satelliteModulations),
           fixed(28, "symbol_rate", symbolRate), number(4, "FEC_inner", innerCodes));

constexpr auto cableDelivery = fields(fixed(32, "frequency", megahertz), reserved(12),
                                      number(4, "FEC_outer", outerCodes), number(8, "modulation", cableModulations),
                                      fixed(28, "symbol_rate", symbolRate), number(4, "FEC_inner", innerCodes));

/** Indicators that are 1 when there is nothing of the kind. EN 300 468 6.2.13.4. */
constexpr NamedRange notUsed[] = {{0, 0, "used"}, {1, 1, "not used"}};

constexpr auto terrestrialDelivery =
    fields(fixed(32, "centre_frequency", tensOfHertz), number(3, "bandwidth", bandwidths),
           number(1, "priority", priorities), flag("Time_Slicing_indicator", notUsed),
           flag("MPE-FEC_indicator", notUsed), reserved(2), number(2, "constellation", constellations),
           number(3, "hierarchy_information", hierarchies), number(3, "code_rate-HP_stream", terrestrialCodeRates),
           number(3, "code_rate-LP_stream", terrestrialCodeRates), number(2, "guard_interval", guardIntervals),
           number(2, "transmission_mode", transmissionModes), flag("other_frequency_flag"), reserved(32));

constexpr auto s2Delivery =
    fields(announces("scrambling_sequence_index"), announces("input_stream_identifier"), zero(1),
           announces("timeslice_number", 0), zero(2), number(2, "TS_GS_mode", streamModes),
           announced("scrambling_sequence_index", reserved(6), number(18, "scrambling_sequence_index")),
           announced("input_stream_identifier", number(8, "input_stream_identifier")),
           announced("timeslice_number", number(8, "timeslice_number")));

constexpr auto frequencyList =
    fields(reserved(6), number(2, "coding_type", frequencyCodings), when("coding_type", 0, bytes("frequencies")),
           when("coding_type", 1, list("frequencies", fixed(32, "frequency", gigahertz))),
           when("coding_type", 2, list("frequencies", fixed(32, "frequency", megahertz))),
           when("coding_type", 3, list("frequencies", fixed(32, "frequency", tensOfHertz))));

/* ---- DVB-T2, EN 300 468 6.4.6.3 -------------------------------------------------------------------------------------
 */

constexpr NamedRange t2Bandwidths[] = {{0, 0, "8 MHz"}, {1, 1, "7 MHz"},  {2, 2, "6 MHz"},
                                       {3, 3, "5 MHz"}, {4, 4, "10 MHz"}, {5, 5, "1.712 MHz"}};

constexpr NamedRange t2GuardIntervals[] = {{0, 0, "1/32"},  {1, 1, "1/16"},   {2, 2, "1/8"},   {3, 3, "1/4"},
                                           {4, 4, "1/128"}, {5, 5, "19/128"}, {6, 6, "19/256"}};

constexpr NamedRange t2Modes[] = {{0, 0, "2k"}, {1, 1, "8k"}, {2, 2, "4k"}, {3, 3, "1k"}, {4, 4, "16k"}, {5, 5, "32k"}};

constexpr NamedRange t2Antennas[] = {{0, 0, "SISO"}, {1, 1, "MISO"}};

/** The other descriptors of a system may say what stands behind its T2_system_id. */
constexpr auto t2Delivery =
    fields(number(8, "plp_id"), hex(16, "T2_system_id"),
           rest(number(2, "SISO_MISO", t2Antennas), number(4, "bandwidth", t2Bandwidths), reserved(2),
                number(3, "guard_interval", t2GuardIntervals), number(3, "transmission_mode", t2Modes),
                flag("other_frequency_flag"), flag("tfs_flag"),
                list("cells", hex(16, "cell_id"),
                     when("tfs_flag", 1, sized(8, nullptr, list("frequencies", fixed(32, "frequency", tensOfHertz)))),
                     when("tfs_flag", 0, fixed(32, "centre_frequency", tensOfHertz)),
                     sized(8, nullptr,
                           list("transposers", number(8, "cell_id_extension"),
                                fixed(32, "transposer_frequency", tensOfHertz))))));

/* ---- DVB-C2, EN 300 468 6.4.6.1 and 6.4.6.4 ----------------------------------------------------------------------
 */

constexpr NamedRange c2Tuning[] = {{0, 0, "data slice"}, {1, 1, "C2 system"}, {2, 2, "initial tuning"}};
constexpr NamedRange c2Guards[] = {{0, 0, "1/128"}, {1, 1, "1/64"}};

constexpr auto c2Plp = fields(number(8, "plp_id"), number(8, "data_slice_id"), number(32, "C2_System_tuning_frequency"),
                              number(2, "C2_System_tuning_frequency_type", c2Tuning),
                              number(3, "active_OFDM_symbol_duration"), number(3, "guard_interval", c2Guards));

constexpr auto c2Delivery = fields(c2Plp);

constexpr auto c2Bundle = fields(list("plps", c2Plp, flag("master_channel"), zero(7)));

/* ---- DVB-SH, EN 300 468 6.4.6.2 -------------------------------------------------------------------------------------
 */

constexpr NamedRange shModulations[] = {{0, 0, "TDM"}, {1, 1, "OFDM"}};
constexpr NamedRange shBandwidths[] = {
    {0, 0, "8 MHz"}, {1, 1, "7 MHz"}, {2, 2, "6 MHz"}, {3, 3, "5 MHz"}, {4, 4, "1.7 MHz"}};

constexpr auto shTdm =
    fields(number(2, "polarization", polarizations), number(2, "roll_off"), number(2, "modulation_mode"),
           number(4, "code_rate"), number(5, "symbol_rate"), reserved(1));

constexpr auto shOfdm =
    fields(number(3, "bandwidth", shBandwidths), number(1, "priority", priorities),
           number(3, "constellation_and_hierarchy"), number(4, "code_rate"),
           number(2, "guard_interval", guardIntervals), number(2, "transmission_mode"), flag("common_frequency"));

constexpr auto shInterleaver = fields(number(6, "common_multiplier"),
                                      when("interleaver_type", 0, number(6, "nof_late_taps"), number(6, "nof_slices"),
                                           number(8, "slice_distance"), number(6, "non_late_increments")),
                                      when("interleaver_type", 1, reserved(2)));

constexpr auto shDelivery =
    fields(hex(4, "diversity_mode"), reserved(4),
           list("modulations", number(1, "modulation_type", shModulations), flag("interleaver_presence"),
                flag("interleaver_type"), reserved(5), when("modulation_type", 0, shTdm),
                when("modulation_type", 1, shOfdm), when("interleaver_presence", 1, shInterleaver)));

/* ---- DVB-S2X, EN 300 468 6.4.6.5 ------------------------------------------------------------------------------------
 */

constexpr NamedRange s2xModes[] = {{1, 1, "S2X"}, {2, 2, "S2X, time slices"}, {3, 3, "S2X, channels bonded"}};
constexpr NamedRange s2xRollOffs[] = {{0, 0, "0.35"}, {1, 1, "0.25"}, {2, 2, "0.20"},
                                      {4, 4, "0.15"}, {5, 5, "0.10"}, {6, 6, "0.05"}};

constexpr auto s2xChannel =
    fields(fixed(32, "frequency", gigahertz), fixed(17, "orbital_position", orbitalPosition),
           number(2, "polarization", polarizations), flag("multiple_input_stream_flag"), zero(1),
           number(3, "roll_off", s2xRollOffs), zero(4), fixed(28, "symbol_rate", symbolRate),
           when("multiple_input_stream_flag", 1, number(8, "input_stream_identifier")));

constexpr auto s2xDelivery =
    fields(hex(5, "receiver_profiles"), reserved(3), number(2, "S2X_mode", s2xModes),
           flag("scrambling_sequence_selector"), reserved(3), number(2, "TS_GS_S2X_mode", streamModes),
           when("scrambling_sequence_selector", 1, reserved(6), number(18, "scrambling_sequence_index")), s2xChannel,
           when("S2X_mode", 2, number(8, "timeslice_number")),
           when("S2X_mode", 3, reserved(7), flag("num_channel_bonds_minus_one"), list("channel_bonds", s2xChannel)),
           bytes("reserved_data"));

constexpr auto s2xv2Superframes =
    fields(number(8, "SOSF_WH_sequence_number"), flag("SFFI_selector"), flag("beamhopping_time_plan_selector"), zero(2),
           number(20, "reference_scrambling_index"), when("SFFI_selector", 1, number(4, "SFFI")),
           when("SFFI_selector", 0, zero(4)), number(20, "payload_scrambling_index"),
           when("beamhopping_time_plan_selector", 1, hex(32, "beamhopping_time_plan_id")),
           number(5, "superframe_pilots_WH_sequence_number"), number(3, "postamble_PLI"));

constexpr auto s2xv2Delivery = fields(
    hex(32, "delivery_system_id"), number(4, "S2Xv2_mode"), flag("multiple_input_stream_flag"),
    number(3, "roll_off", s2xRollOffs), zero(2), flag("NCR_reference"), flag("NCR_version"), number(2, "channel_bond"),
    number(2, "polarization", polarizations), whenIn("S2Xv2_mode", 1, 2, flag("scrambling_sequence_selector")),
    whenNotIn("S2Xv2_mode", 1, 2, zero(1)), number(2, "TS_GS_S2X_mode", streamModes), hex(5, "receiver_profiles"),
    hex(24, "satellite_id"), fixed(32, "frequency", gigahertz), fixed(32, "symbol_rate", longSymbolRate),
    when("multiple_input_stream_flag", 1, number(8, "input_stream_identifier")),
    when("scrambling_sequence_selector", 1, zero(6), number(18, "scrambling_sequence_index")),
    when("S2Xv2_mode", 2, number(8, "timeslice_number")), when("S2Xv2_mode", 5, number(8, "timeslice_number")),
    when("channel_bond", 1, zero(7),
         oneMore(list(1, "num_channel_bonds_minus2", "secondary_delivery_systems",
                      hex(32, "secondary_delivery_system_id")))),
    whenIn("S2Xv2_mode", 4, 5, s2xv2Superframes), bytes("reserved_data"));

constexpr Structure structures[] = {
    {0x43, "satellite_delivery_system_descriptor", "6.2.13.2", satelliteDelivery},
    {0x44, "cable_delivery_system_descriptor", "6.2.13.1", cableDelivery},
    {0x5A, "terrestrial_delivery_system_descriptor", "6.2.13.4", terrestrialDelivery},
    {0x62, "frequency_list_descriptor", "6.2.17", frequencyList},
    {0x79, "S2_satellite_delivery_system_descriptor", "6.2.13.3", s2Delivery},
};

constexpr Structure extensions[] = {
    {0x04, "T2_delivery_system_descriptor", "6.4.6.3", t2Delivery},
    {0x05, "SH_delivery_system_descriptor", "6.4.6.2", shDelivery},
    {0x0D, "C2_delivery_system_descriptor", "6.4.6.1", c2Delivery},
    {0x16, "C2_bundle_delivery_system_descriptor", "6.4.6.4", c2Bundle},
    {0x17, "S2X_satellite_delivery_system_descriptor", "6.4.6.5", s2xDelivery},
    {0x24, "S2Xv2_satellite_delivery_system_descriptor", "6.4.6.5", s2xv2Delivery},
};

} // namespace

const StructureList deliveryDescriptors = structures;
const StructureList deliveryExtensionDescriptors = extensions;

} // namespace psi::describe
