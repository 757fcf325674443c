/**
 * @file pidUses.h
 * @brief What the tables of a stream say about its PIDs.
 */
#ifndef PSI_DEMUX_PID_USES_H
#define PSI_DEMUX_PID_USES_H

#include "demux/formats/streamProbe.h"
#include "demux/sectionAssembler.h"
#include "demux/tableStore.h"

#include <functional>
#include <map>
#include <optional>
#include <vector>

namespace psi::demux {

/** @brief What a PID is for. */
enum class PidRole : u8 {
    tables,     /**< tables that a standard puts there */
    network,    /**< the NIT, by the PAT */
    programMap, /**< PMTs, by the PAT */
    stream,     /**< an elementary stream, by a PMT */
    pcr,        /**< the clock of a program, by its PMT */
    ecm,        /**< CA messages of a program, by its PMT */
    emm,        /**< CA messages, by the CAT */
    guide,      /**< event information or texts, by the MGT */
};

/** @brief One thing that a table says about a PID. */
struct PidUse {
    PidRole role = PidRole::tables;
    u16 program = 0;                          /**< of programMap, stream, pcr and ecm */
    u8 streamType = 0;                        /**< of stream */
    u16 caSystemId = 0;                       /**< of ecm and emm */
    u16 tableType = 0;                        /**< of guide: table_type of the MGT */
    PidContent content = PidContent::unknown; /**< of stream: what it is carried in */
    Codec codec = Codec::unknown;             /**< of stream: what it is coded in */
    u8 opusChannels = 0;                      /**< of stream: see opusChannels() */

    /** @brief The same use; what it is carried in does not count. */
    bool operator==(const PidUse &other) const
    {
        return role == other.role && program == other.program && streamType == other.streamType &&
               caSystemId == other.caSystemId && tableType == other.tableType;
    }
};

/**
 * @brief Follows the PAT, the PMTs, the CAT and the MGT of a stream.
 *
 * Parses with the library, which must have been initialised.
 */
class PidUses {
public:
    /** @brief Called when a PID turns out to carry sections, or none. */
    using ContentSink = std::function<void(u16 pid, PidContent content)>;

    explicit PidUses(ContentSink onContent);

    /** @brief Take a version of a table that is complete and current. */
    void take(const CollectedTable &table, const TableVersion &version);

    /** @brief What is said about a PID; empty: nothing. */
    const std::vector<PidUse> &of(u16 pid) const;
    /** @brief The same of every PID about which a table ever said something. */
    const std::map<u16, std::vector<PidUse>> &all() const { return uses; }
    /** @brief Where the PMTs are, by program_number; without the network. */
    const std::map<u16, u16> &programs() const { return pmtPids; }
    /** @brief The PID of program_number 0, if the PAT has one. */
    std::optional<u16> networkPid() const { return network; }
    /** @brief transport_stream_id of the PAT, if there was one. */
    std::optional<u16> transportStream() const { return tsId; }
    /** @brief The tables that the MGT announces, by table_type: their PIDs. */
    const std::map<u16, u16> &guide() const { return guidePids; }
    /** @brief Whose memory a table on this PID takes. */
    TableClass classOf(u16 pid) const;

private:
    struct Source {
        PidRole role;
        u16 program;
        bool operator<(const Source &other) const
        {
            return role != other.role ? role < other.role : program < other.program;
        }
    };
    using Uses = std::vector<std::pair<u16, PidUse>>;

    void takePat(const TableVersion &version);
    void takePmt(const CollectedTable &table, const TableVersion &version);
    void takeCat(const TableVersion &version);
    void takeMgt(const TableVersion &version);
    void replace(Source source, Uses added);
    void decide(u16 pid);

    ContentSink contentSink;
    std::map<u16, std::vector<PidUse>> uses;
    std::map<Source, Uses> said; /**< what each table said last */
    std::map<u16, u16> pmtPids;
    std::map<u16, u16> guidePids;
    std::optional<u16> network;
    std::optional<u16> tsId;
};

/**
 * @brief What a stream of a type is carried in. ISO/IEC 13818-1 Table 2-34, ETSI TS 102 773, SCTE 35.
 * @param program descriptors of its program @param stream its own
 */
PidContent contentOf(u8 streamType, const descInfo *program, const descInfo *stream);

} // namespace psi::demux

#endif // PSI_DEMUX_PID_USES_H
