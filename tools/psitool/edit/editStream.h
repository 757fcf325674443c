/**
 * @file editStream.h
 * @brief Puts edited sections into the places of the old ones, packet by packet.
 */
#ifndef PSITOOL_EDIT_STREAM_H
#define PSITOOL_EDIT_STREAM_H

#include "edit/editPlan.h"
#include "edit/heldBytes.h"

#include "demux/packetSync.h"
#include "demux/sectionAssembler.h"
#include "demux/streamClock.h"

#include <array>
#include <cstdint>
#include <deque>
#include <limits>

namespace psitool {

/** @brief What an edit did to a stream. */
struct EditCounters {
    std::uint64_t packets = 0;          /**< packets gone through */
    std::uint64_t replacedSections = 0; /**< sections of edited tables that something was sent for */
    std::uint64_t keptSections = 0;     /**< sections of other tables on the same PIDs, sent on */
    std::uint64_t sentPackets = 0;      /**< packets with sections written */
    std::uint64_t freedPackets = 0;     /**< packets of edited PIDs that became null packets */
    std::uint64_t usedNullPackets = 0;  /**< null packets that took sections */
    std::uint64_t damagedSections = 0;  /**< sections with a wrong CRC, not sent on */
    std::uint64_t omittedSections =
        0;                          /**< sections left out: announcements of a next version, of incomplete versions */
    std::uint64_t lateSections = 0; /**< repetitions left out because there was no room for them */
    std::uint64_t insertedSections = 0; /**< sections sent besides those of the stream */
    std::uint64_t sectionsBeyond = 0;   /**< of more tables than are kept apart: sent on as they came */
};

/**
 * @brief The sections of one PID on their way into its packets.
 *
 * Packets and sections are numbered by the place in the stream where they stood in the input. A section is sent from
 * the place on where its original began; once its original's end has gone by, it is late and may have null packets.
 */
class PidWriter {
public:
    /** @param endless the stream goes on: what was sent is not remembered */
    PidWriter(u16 newPid, bool leaveOutLate, bool endless)
        : pid_(newPid), leaveOutLate_(leaveOutLate), endless_(endless)
    {
    }

    /** @brief A section has come that is sent on as it is. */
    void keep(std::uint64_t start, std::uint64_t end, ByteView section);
    /** @brief A section is to be sent from a place on. */
    void insert(std::uint64_t place, const SharedSection &section);
    /** @brief A section has come that belongs to an edited table. */
    void replace(std::uint64_t start, std::uint64_t end, std::shared_ptr<EditedTable::Version> version, u8 number);

    /** @brief Write into a packet of the PID itself. @return false when nothing waits: the packet is free */
    bool fillOwn(u8 *packet, std::uint64_t place);
    /** @brief Write into a free packet. @pre late(place) */
    void fillFree(u8 *packet);
    /** @brief When the first section waiting was due, if that has gone by; else the largest number. */
    std::uint64_t dueBefore(std::uint64_t place);

    /** @name What is to be known when the stream has ended @{ */
    std::uint64_t ownPlaces() const { return ownPlaces_; }
    std::uint64_t sentPackets() const { return sentPackets_; }
    std::uint64_t usedNullPackets() const { return usedNullPackets_; }
    /** @brief Packets for the sections that are left, packed one behind the other. */
    std::uint64_t packetsMissing() const;
    /** @brief True when each section that is left was sent before. */
    bool onlyRepetitionsLeft() const;
    /** @brief Number of sections that were sent whole. */
    std::uint64_t sentSections() const { return sentSections_; }
    /** @} */
    /** @brief Send no more than so many sections. */
    void limit(std::uint64_t sections) { sectionLimit_ = sections; }

    void addTo(EditCounters &counters) const;

private:
    /** A section of the input. */
    struct Arrival {
        std::uint64_t start = 0;
        std::uint64_t end = 0;
        bool joined = false; /**< begins in the packet where the one in front of it ends */
        SharedSection kept;
        std::shared_ptr<EditedTable::Version> version;
        u8 number = 0;
    };
    /** A section of the output. */
    struct Job {
        std::uint64_t due = 0;
        bool joined = false;
        SharedSection section;
    };

    void arrive(Arrival arrival);
    void release(std::uint64_t place);
    void push(const Arrival &arrival, const SharedSection &section, bool joined);
    bool waits(const SharedSection &section) const;
    void write(u8 *packet, std::size_t payloadStart, bool late);
    u8 *copy(u8 *at, const u8 *end);
    void free(u8 *packet, std::size_t adaptationBytes) const;

    u16 pid_;
    bool leaveOutLate_;
    bool endless_;
    std::deque<Arrival> arrivals_;
    std::deque<Job> jobs_;
    std::size_t offset_ = 0; /**< bytes of the first job that are sent */
    std::uint64_t lastEnd_ = std::numeric_limits<std::uint64_t>::max();
    int continuityCounter_ = -1; /**< of the last packet with payload; -1: none yet */
    std::uint64_t ownPlaces_ = 0;
    std::uint64_t sentPackets_ = 0;
    std::uint64_t usedNullPackets_ = 0;
    std::uint64_t freed_ = 0;
    std::uint64_t released_ = 0;
    std::uint64_t sentSections_ = 0;
    std::uint64_t sectionLimit_ = std::numeric_limits<std::uint64_t>::max();
    EditCounters counters_;
    /** More different sections on a PID are no tables; their repetitions count as new. */
    static constexpr std::size_t mostSent = 1U << 18;
    std::set<std::uint64_t> sent_; /**< what tells sections apart, of those sent whole; not of an endless stream */
};

/** @brief Sections of each edited PID that are to be sent. */
using SectionLimits = std::map<u16, std::uint64_t>;

/**
 * @brief Edits a stream that goes by.
 *
 * Every packet is shown twice, in the order of the stream: to look() when it comes, and to edit() some time later, when
 * the sections that begin in it are whole. The longer between the two the better; without any time a section that takes
 * several packets is sent when its last one has come.
 */
class StreamEditor {
public:
    /**
     * @param plan must outlive the editor
     * @param leaveOutLate when there is no room, leave repetitions out in place of falling behind
     */
    explicit StreamEditor(const EditPlan &plan, bool leaveOutLate = false);

    /** @brief A packet has come. @param packet 188 bytes */
    void look(const u8 *packet)
    {
        assembler_.packet(packet);
        if (!inserts_.empty())
            insertDue();
    }
    /** @brief The next packet is to leave. @param packet 188 bytes, changed in place */
    void edit(u8 *packet);

    /**
     * @brief Judge whether everything finds its place.
     * @param ended the whole stream went through, not only its beginning: then each section must have been sent once
     * @return how many sections of each PID do; the end of the stream may cut off repetitions
     *
     * Throws EditError with the PID, the packets needed and the places there are.
     */
    SectionLimits judge(bool ended = true);
    /** @brief Send no more sections than that. */
    void limit(const SectionLimits &limits);

    EditCounters counters() const;
    /** @brief Breaks of the continuity_counter in the stream that came. */
    std::uint64_t continuityErrors() const { return assembler_.counters().continuityErrors; }

private:
    bool take(u16 pid, const u8 *section, u16 length, bool longForm);
    void useFree(u8 *packet, std::uint64_t place);
    void insertDue();

    /** Sections that are sent besides, and when next: seconds of the stream. */
    struct Insert {
        const InsertedTable *table;
        double due = -1; /**< negative: never yet */
    };

    const EditPlan &plan_;
    psi::demux::SectionAssembler assembler_;
    std::array<std::unique_ptr<PidWriter>, psi::demux::kPidCount> writers_;
    std::vector<PidWriter *> all_;
    std::vector<Insert> inserts_;
    psi::demux::StreamClock clock_;
    std::array<u16, psi::demux::kPidCount> newPids_;
    std::uint64_t edited_ = 0;
    std::uint64_t freePackets_ = 0;
    EditCounters counters_;
};

/**
 * @brief The way of a stream's bytes through an editor: finds the packets, holds them back, sends them edited.
 *
 * Everything that is no packet (time stamps, parity, garbage) goes through as it is, in its place.
 */
class EditedBytes {
public:
    /** @param heldBytes so many bytes are held back; a few packets always are */
    EditedBytes(StreamEditor &editor, std::size_t heldBytes, ByteSink sink);

    void feed(const u8 *data, std::size_t size);
    void finish();
    /** @brief Packets in so many bytes, begun ones too. */
    std::uint64_t packetsIn(std::uint64_t bytes) const
    {
        const std::uint64_t size = std::max<std::uint64_t>(sync_.counters().packetSize, psi::demux::kPacketBytes);
        return (bytes + size - 1) / size;
    }

private:
    void look(const u8 *packet);
    void leave(std::size_t keep);
    void editAt(std::uint64_t place);
    void flushUpTo(std::uint64_t place);

    StreamEditor &editor_;
    std::size_t heldBytes_;
    ByteSink sink_;
    psi::demux::PacketSync sync_;
    std::deque<std::uint64_t> places_; /**< where the packets that are held begin */
    HeldBytes bytes_;
    std::uint64_t editedTo_ = 0; /**< place behind the last edited packet */
};

} // namespace psitool

#endif
