/**
 * @file editPlan.h
 * @brief Which sections of a stream are edited, and what takes their places.
 */
#ifndef PSITOOL_EDIT_PLAN_H
#define PSITOOL_EDIT_PLAN_H

#include "edit/editTables.h"

#include "demux/demux.h"
#include "demux/transportPacket.h"

#include <cstdint>
#include <functional>
#include <memory>

namespace psitool {

/** @brief A section as it is sent; shared by its repetitions. */
using SharedSection = std::shared_ptr<const Bytes>;

/** @brief A table that is edited, in all the versions that come. */
class EditedTable {
public:
    /** @brief From the sections of a version to the edited ones, none when the table is to go. */
    using Edit = std::function<Sections(const Sections &)>;

    /**
     * @brief The sections of one table_id_extension, version_number and last_section_number.
     *
     * A table of one section has a version for each content: a stream put together from others may change without
     * counting.
     */
    class Version {
    public:
        explicit Version(const EditedTable &ofTable) : table(ofTable) {}
        bool complete() const { return !sections.empty() && sections.size() == last + 1U; }
        /** @brief The sections so far, by ascending number. */
        Sections known() const;
        /**
         * @brief What is sent in place of a section.
         * @return nothing while the version is not complete; behind the last old section come all that are left. An
         * edit that is impossible leaves the section as it was.
         */
        std::vector<SharedSection> inPlaceOf(u8 number);

    private:
        friend class EditedTable;
        void prepare();

        const EditedTable &table;
        std::uint64_t lastUse = 0;
        u8 last = 0;
        std::map<u8, SharedSection> sections;
        std::vector<SharedSection> edited;
        bool ready = false;
    };

    /**
     * @param idExtension table_id_extension of the sections that belong to it; none: any
     * @param name for messages
     */
    EditedTable(u16 pid, u8 tableId, std::optional<u16> idExtension, std::string name, Edit edit);

    u16 pid() const { return pid_; }
    /** @brief True for a section of this table. */
    bool owns(u16 pid, ByteView section) const;
    /** @brief Take a section of this table. @return its version; of very many the longest unseen ones are forgotten */
    std::shared_ptr<Version> add(ByteView section);
    /** @brief Edit all versions that are complete. Throws EditError; TableMissing when none is complete. */
    void editAll();
    /** @brief Complete versions. */
    std::vector<Sections> completeVersions() const;

private:
    void forgetOldest();

    u16 pid_;
    u8 tableId_;
    std::optional<u16> idExtension_;
    std::string name_;
    Edit edit_;
    std::map<std::uint64_t, std::shared_ptr<Version>> versions_;
    std::uint64_t uses_ = 0;
};

/** @brief All that happens to a stream. */
struct EditPlan {
    std::vector<std::unique_ptr<EditedTable>> tables;
    std::map<u16, u16> renamedPids; /**< packets of the first PID get the second one */
    std::set<u16> droppedPids;      /**< packets that become null packets */

    std::set<u16> editedPids() const;
};

/**
 * @brief Find in a stream what is to be edited.
 * @param request what to do; must outlive the plan
 * @param host the stream, or its beginning, recorded
 * @param ended there is no more of it to come
 *
 * Throws EditError; TableMissing when more of the stream may help.
 */
EditPlan makeEditPlan(const EditRequest &request, const psi::demux::Host &host, bool ended);

/** @brief "0x0011 (17)". */
std::string numberText(u16 number);

} // namespace psitool

#endif
