/**
 * @file editedTable.h
 * @brief The tables of a stream that are edited, each in all the versions that come.
 */
#ifndef PSITOOL_EDITED_TABLE_H
#define PSITOOL_EDITED_TABLE_H

#include "edit/editTables.h"

#include <cstdint>
#include <functional>
#include <memory>

namespace psitool {

/** @brief A section as it is sent; shared by its repetitions. */
using SharedSection = std::shared_ptr<const Bytes>;

/** @brief What is done to some tables. */
struct TableEdit {
    /** Whether a section belongs to one of them. */
    std::function<bool(u16 pid, ByteView section)> selects;
    /** Changes a table's trees. @return whether it has what was to be changed. Throws EditError, PathError. */
    std::function<bool(Trees &trees)> change = {};
    /** Gives other sections in place of a version's, before anything is changed in them; nothing: those stay. */
    std::function<std::optional<Sections>(const Sections &old)> replace = {};
    bool removes = false;      /**< the table is to go */
    bool touches = false;      /**< its version is raised in any case */
    std::string required = {}; /**< name of the one table that must be there and complete, or empty */
};

/** @brief A table that is edited, in all the versions that come. */
class EditedTable {
public:
    /**
     * @brief The sections of one table_id_extension, version_number and last_section_number.
     *
     * A table of one section has a version for each content: a stream put together from others may change without
     * counting. So have sections that stand alone, see standAlone().
     */
    class Version {
    public:
        explicit Version(EditedTable &ofTable) : table(ofTable) {}
        bool complete() const { return !sections.empty() && sections.size() == last + 1U; }
        /** @brief The sections so far, by ascending number. */
        Sections known() const;
        u8 number() const;
        /** @brief Edit it. Throws EditError when that cannot be done. */
        void prepare();
        /**
         * @brief What is sent in place of a section.
         * @return of an edited table nothing while the version is not complete; behind the last old section come all
         * that are left. An edit that is impossible leaves the section as it was.
         */
        std::vector<SharedSection> inPlaceOf(u8 number);
        /** @brief How many bytes more the edited sections have. */
        std::int64_t growth() const;

    private:
        friend class EditedTable;
        enum class State : std::uint8_t { raw, untouched, edited };

        EditedTable &table;
        std::uint64_t lastUse = 0;
        u8 last = 0;
        std::map<u8, SharedSection> sections;
        std::vector<SharedSection> edited;
        State state = State::raw;
    };

    /** @param touched shared by the tables that are raised together; outlives the table */
    EditedTable(const TableContext &context, std::vector<const TableEdit *> edits, bool &touched);

    const TableContext &context() const { return context_; }
    bool removed() const;
    /** @brief Something in it was changed: from then on all its versions are raised. */
    bool touched() const { return touched_; }
    /** @brief Its sections know nothing of each other: each is edited by itself. EN 300 468 5.2.4: a schedule has gaps.
     */
    bool standAlone() const;
    bool edits(const TableEdit &edit) const;

    /** @brief Take a section of this table. @return its version; of very many the longest unseen ones are forgotten */
    std::shared_ptr<Version> add(ByteView section);
    /** @brief Edit all versions that are complete. Throws EditError. @return whether there is any */
    bool editAll();
    /** @brief Why a version that came could not be edited and was sent as it was; empty when all could. */
    const std::string &refusal() const { return refusal_; }
    /** @brief Complete versions. */
    std::vector<Sections> completeVersions() const;
    /** @brief Of the complete versions of a number how many bytes more they have; else of the last one that came. */
    std::int64_t growthOf(u8 versionNumber) const;

private:
    bool apply(const Sections &old, Sections &fresh);
    std::uint64_t keyOf(ByteView section) const;
    void forgetOldest();

    TableContext context_;
    std::vector<const TableEdit *> edits_;
    std::map<std::uint64_t, std::shared_ptr<Version>> versions_;
    std::uint64_t uses_ = 0;
    std::string refusal_;
    bool &touched_;
};

/** @brief All tables of a stream that edits select. */
class EditedTables {
public:
    /** @brief Edits in the order in which they are done; all before the first section. */
    std::vector<TableEdit> edits;
    DescriptorContext usual; /**< of all of them */

    /** @brief Tables on the edited PIDs that are kept apart; a network's whole schedule has some thousand. */
    static constexpr std::size_t mostTables = 16384;

    /** @brief The table that a section belongs to. @return null when no edit selects it, or there are too many */
    EditedTable *of(u16 pid, ByteView section);
    /** @brief Sections of tables that came when there were mostTables. */
    std::uint64_t beyond() const { return beyond_; }
    /** @brief Every table so far, by PID. */
    std::vector<EditedTable *> all() const;

private:
    std::map<std::string, std::unique_ptr<EditedTable>> tables_;
    std::map<std::string, bool> touched_; /**< by what is raised together */
    std::uint64_t beyond_ = 0;
};

/** @brief True for a table of whose instances the MGT counts one version: event information and texts. A/65 6.2. */
bool isGuide(const TableKind &kind);

/** @brief What the tables of a stream are told apart by: PID, table_id and what stands for table_id_extension. */
std::string tableKey(u16 pid, ByteView section);

/** @name Fields of a section's long header, ISO/IEC 13818-1 2.4.4.11 @{ */
u16 idExtensionOf(ByteView section);
u8 versionOf(ByteView section);
bool isCurrent(ByteView section); /**< also of the short form */
bool isLongForm(ByteView section);
/** @} */

} // namespace psitool

#endif
