/**
 * @file editRequest.h
 * @brief What psitool edit is asked to change.
 */
#ifndef PSITOOL_EDIT_REQUEST_H
#define PSITOOL_EDIT_REQUEST_H

#include "describe/fieldChange.h"
#include "describe/json/jsonFields.h"
#include "describe/tableKinds.h"
#include "output/console.h"
#include "output/described.h"

#include "psi.h"

#include <map>
#include <memory>
#include <optional>
#include <set>
#include <stdexcept>
#include <string>
#include <vector>

namespace psitool {

using Bytes = std::vector<u8>;

/** @brief An edit that cannot be done; what() is the line for the user. */
class EditError : public std::runtime_error {
public:
    EditError(ExitStatus exitStatus, const std::string &message) : std::runtime_error(message), status(exitStatus) {}
    const ExitStatus status;
};

/** @brief What messages call a table: "SDT actual 0x0001 (1)". @param title of its kind @param id if one is meant */
std::string tableName(const std::string &title, std::optional<u16> id = std::nullopt);

/** @brief Refuse a request that cannot be meant. */
[[noreturn]] void wrongUse(const std::string &why);

/** @brief A table that has not come (yet): of a stream that goes on, more of it may help. */
class TableMissing : public EditError {
public:
    explicit TableMissing(const std::string &message) : EditError(exitNotFound, message) {}
};

/**
 * @brief A name as a DVB string.
 * @param name UTF-8
 * @param charset character table of the stream's texts, "" for that of the standard
 * @return nothing when that cannot spell it, or there is a control character in it
 */
std::optional<std::string> nameBytes(const std::string &name, const char *charset);

/** @brief New values for a service of the SDT actual. */
struct ServiceEdit {
    std::optional<std::string> name;
    std::optional<std::string> provider;
    std::optional<u8> type;
};

/** @brief A descriptor for the loop of a transport stream. */
struct StreamDescriptor {
    u16 transportStreamId = 0;
    u8 tag = 0;
    Bytes payload;
};

/** @brief A field, a descriptor or an entry that is to be other than it is. */
struct SetRequest {
    FieldPath path;
    FieldChange change;
    std::shared_ptr<const JsonDocument> json; /**< that the change refers to */

    /** @brief Whether its path means tables of a kind. */
    bool isOf(const TableKind &kind) const;
    /** @brief Whether that may be tables in the short form. */
    bool mayBeShort() const;
    /** @brief What messages call the tables that its path means: "SDT actual", or "SDT" for those of all kinds. */
    std::string tableName() const;
};

/** @brief A section that stands in a file. */
struct GivenSection {
    std::string place; /**< the file and the place in it */
    std::optional<u16> pid;
    const TableKind *kind = nullptr;
    Bytes bytes;

    std::string name() const; /**< for messages: "t.json: /sections/0: SDT actual 0x0001 (1)" */
};

/** @brief Sections that are to be sent besides those of the stream. */
struct InsertRequest {
    std::vector<GivenSection> sections;
    double interval = 0; /**< seconds */
};

/** @brief All that a command line asks for. */
struct EditRequest {
    std::map<u16, ServiceEdit> services;
    std::set<u16> removedServices;
    std::optional<std::string> networkName;
    std::map<u16, std::string> bouquetNames;    /**< by bouquet_id */
    std::optional<std::string> onlyBouquetName; /**< of the one bouquet that there is */
    std::vector<StreamDescriptor> streamDescriptors;
    std::set<u16> removedPrograms;
    std::map<u16, u16> pids; /**< old PID: new PID */
    std::vector<SetRequest> sets;
    std::vector<GivenSection> tables; /**< in place of those of the stream */
    std::vector<InsertRequest> inserts;
    double bitrate = 0;       /**< of the stream, bit/s; 0: by its PCRs */
    DescriptorContext given;  /**< whose private descriptors and which texts are meant; else the stream tells */
    bool allowSlower = false; /**< where there is no room, fewer repetitions */

    bool changesSdt() const { return !services.empty() || !removedServices.empty(); }
    bool changesNit() const { return networkName.has_value() || !streamDescriptors.empty(); }
    bool changesBat() const { return onlyBouquetName.has_value() || !bouquetNames.empty(); }
    bool changesPsi() const { return !removedPrograms.empty() || !pids.empty(); }
    bool changesFields() const { return !sets.empty() || !tables.empty() || !inserts.empty(); }
    bool empty() const { return !changesSdt() && !changesNit() && !changesBat() && !changesPsi() && !changesFields(); }
};

/** @brief The words of a command line, as CLI11 hands them over: a group is one string of words after editGroups(). */
struct EditWords {
    std::vector<std::string> services;
    std::vector<std::string> removedServices;
    std::vector<std::string> networkNames;
    std::vector<std::string> bouquetNames;
    std::vector<std::string> streams;
    std::vector<std::string> programs;
    std::vector<std::string> pids;
    std::vector<std::string> sets;
    std::vector<std::string> tables;
    std::vector<std::string> inserts;
    std::vector<std::string> intervals;
    std::string bitrate;
    DescriptorContext given;
    bool allowSlower = false;
};

/**
 * @brief Join the words of an option that takes several ("--service 10 name=A type=1") to one, so that the INPUT behind
 * them is not taken for another.
 * @param arguments the program's arguments
 * @return the same with each group as one argument, its words apart by '\x1F'
 */
std::vector<std::string> joinEditGroups(const std::vector<std::string> &arguments);

/** @brief Understand the words. Throws EditError (wrong use). */
EditRequest parseEditRequest(const EditWords &words);

} // namespace psitool

#endif
