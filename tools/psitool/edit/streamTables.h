/**
 * @file streamTables.h
 * @brief The tables of a stream that is to be edited, as far as it has been looked through.
 */
#ifndef PSITOOL_STREAM_TABLES_H
#define PSITOOL_STREAM_TABLES_H

#include "edit/editTables.h"

#include "demux/demux.h"
#include "demux/transportPacket.h"

#include <functional>

namespace psitool {

/** @brief Where tables are taken for those of their kind, besides the PIDs that the standards give them. */
struct TablePlaces {
    std::set<u16> pmts;
    std::set<u16> nits = {psi::demux::kNitPid};

    bool has(const TableKind &kind, u16 pid) const;
};

/** @brief A program of the PAT. */
struct StreamProgram {
    u16 number = 0;
    u16 pmtPid = 0;
    bool found = false; /**< a PMT is there */
    std::set<u16> pids; /**< what its PMT names; none where that was not asked for */
};

/** @brief What is in a stream, or in its beginning. */
class StreamTables {
public:
    /**
     * @param host the stream, recorded; outlives this
     * @param ended there is no more of it to come
     * @param request what will be asked: whether the PMTs are read for what they name, and what is given
     */
    StreamTables(const psi::demux::Host &host, bool ended, const EditRequest &request);

    const psi::demux::Host &host() const { return host_; }
    bool ended() const { return ended_; }
    const std::vector<psi::demux::Section> &sections() const { return sections_; }
    const std::vector<StreamProgram> &programs() const { return programs_; }
    const TablePlaces &places() const { return places_; }
    /** @brief Whose private descriptors and which texts are meant where no table says it. */
    const DescriptorContext &usual() const { return usual_; }
    /** @brief transport_stream_id of the PAT. */
    std::optional<u16> transportStream() const { return transportStream_; }
    /** @brief Where the NIT of the actual network comes. */
    u16 nitPid() const;
    /** @brief A packet of this PID came, or the CAT or the MGT announces some. */
    bool uses(u16 pid) const;

    /** @brief Visit every section of a table that is no announcement of the next one. */
    void visit(u16 pid, u8 tableId, const std::function<void(ByteView)> &visitor) const;
    Trees treesOf(ByteView section, u16 pid) const;

    /** @brief Throws EditError. */
    [[noreturn]] void fail(const std::string &why) const { throw EditError(exitNotFound, host_.name() + ": " + why); }
    /** @brief Why there is no whole current table. @param selects its sections @param name of it */
    std::string absence(const std::function<bool(u16 pid, ByteView section)> &selects, const std::string &name) const;

private:
    /** @brief Visit every section that is no announcement of the next one. */
    void visitAll(const std::function<void(u16 pid, ByteView section)> &visitor) const;
    Standard findStandard() const;
    void findPrograms();
    void findUsual();
    void findMaps(bool readPmts);

    const psi::demux::Host &host_;
    bool ended_;
    std::vector<psi::demux::Section> sections_;
    DescriptorContext usual_;
    std::vector<StreamProgram> programs_;
    std::optional<u16> transportStream_;
    TablePlaces places_;
};

} // namespace psitool

#endif
