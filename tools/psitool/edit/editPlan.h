/**
 * @file editPlan.h
 * @brief Which sections of a stream are edited, and what takes their places.
 */
#ifndef PSITOOL_EDIT_PLAN_H
#define PSITOOL_EDIT_PLAN_H

#include "edit/editedTable.h"

#include "demux/demux.h"
#include "demux/transportPacket.h"

namespace psitool {

/** @brief Sections that are sent besides what the stream has. */
struct InsertedTable {
    u16 pid = 0;
    double interval = 0; /**< seconds between the beginnings of two repetitions */
    std::vector<SharedSection> sections;
};

/** @brief What became of a --set. */
struct SetResult {
    const SetRequest *request = nullptr;
    bool selected = false; /**< a table of its kind came */
    PathMatch match;

    /** @brief Change a table. @return whether anything in it was meant. Throws EditError. */
    bool apply(Trees &trees);
    /** @brief Why nothing was meant so far; empty when something was. */
    std::string failure() const;
};

/** @brief All that happens to a stream. */
struct EditPlan {
    std::string input; /**< name of the stream */
    std::unique_ptr<EditedTables> tables = std::make_unique<EditedTables>();
    std::set<u16> editedPids;       /**< whose packets are written anew */
    std::map<u16, u16> renamedPids; /**< packets of the first PID get the second one */
    std::set<u16> droppedPids;      /**< packets that become null packets */
    std::vector<InsertedTable> inserted;
    double bitrate = 0;            /**< of the stream, bit/s; 0: by its PCRs */
    bool fewerRepetitions = false; /**< where there is no room */
    std::vector<std::unique_ptr<SetResult>> sets;

    /**
     * @brief Throws EditError when something that was to be set was not found, or could not be, in what came so far.
     * @param shortForm also of tables in the short form, which are known only when the stream went through
     */
    void requireHits(bool shortForm = true) const;
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
