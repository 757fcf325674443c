/**
 * @file acquire.h
 * @brief Reading an input through the library's searches: what the subcommands that take a stream have in common.
 */
#ifndef PSITOOL_ACQUIRE_H
#define PSITOOL_ACQUIRE_H

#include "output/console.h"
#include "output/signals.h"

#include "demux/demux.h"

#include <chrono>
#include <functional>
#include <memory>
#include <string>

namespace psitool {

/** @brief Whose tables to search. */
enum class ScanStandard { automatic, dvb, atsc };

/** @brief What is known of the input besides its tables. */
struct ScanInput {
    std::string name;
    bool live = false;
    bool interrupted = false;
    psi::demux::Statistics statistics;
    std::string failure;       /**< why reading ended early, or empty */
    double seconds = 0;        /**< length of the stream, 0 when nobody knows */
    double bitrate = 0;        /**< of the stream, bit/s, 0 when nobody knows */
    unsigned searches = 1;     /**< how many times all tables were searched */
    double watchedSeconds = 0; /**< how long that took, when it was to take a time */
};

/** @brief Table types, bit n for type n, as in `tsInfo.tableMask`. */
using TableSet = u32;
constexpr TableSet allTables = 0xFFFFFFFF;

/**
 * @brief Initialise the library.
 * @param verbosity 0: it logs nothing; 1: errors and warnings; 2: and info; 3: and debug
 * @return false after saying that it cannot be initialised
 */
bool startLibrary(int verbosity);

/** @brief Tell of an input that cannot be read. @return how the program ends: exitWrongUse for a name that cannot be
 * any */
ExitStatus reportInput(const psi::demux::InputError &error);

/**
 * @brief Where an input may let wait (a pipe, a live one), end when the reader of standard output leaves.
 * @param status what the program ends with then
 *
 * Only for what has no other result than that on standard output.
 */
void endWithReader(const std::string &input, const Output &output, ExitStatus status = exitFound);

/**
 * @brief Search the PAT and then the tables of a standard, as far as they are wanted.
 * @param psip whether the stream has tables of ATSC; asked behind the search for the PAT
 */
void searchTables(psi::demux::Host &host, ScanStandard standard, const std::function<bool()> &psip, TableSet wanted);

/** @brief An open input, with a progress bar while it is read; a signal stops its searches. One at a time. */
class Acquisition {
public:
    /** @param mostBytes of a file no more is read; 0: all @throw psi::demux::InputError the input cannot be read */
    explicit Acquisition(const std::string &input, std::uint64_t mostBytes = 0);
    ~Acquisition();
    Acquisition(const Acquisition &) = delete;
    Acquisition &operator=(const Acquisition &) = delete;

    psi::demux::Host &host() { return *host_; }
    const psi::demux::Host &host() const { return *host_; }
    const tsInfo &model() const { return *getSchObjDataInfo(host_->object()); }
    ScanInput input() const;

    /**
     * @brief Search the PAT and then the tables of a standard, as far as they are wanted.
     * @param wanted of a live input that has no PAT the others are searched only when some are left out here
     */
    void search(ScanStandard standard, TableSet wanted = allTables);
    /**
     * @brief Search all tables of a live input over and over, each time into an empty model.
     * @param time no search begins after it; the last one is carried through
     * @param afterSearch called after each
     */
    void watch(ScanStandard standard, std::chrono::seconds time, const std::function<void()> &afterSearch);
    /** @brief Read what is left of a pipe. */
    void readToEnd();

private:
    InterruptGuard guard_;
    ProgressBar bar_; // the host reports to it as long as it lives: of a pipe most is read by the searches
    std::unique_ptr<psi::demux::Host> host_;
    unsigned searches_ = 0;
    std::chrono::duration<double> watched_{0};
};

} // namespace psitool

#endif
