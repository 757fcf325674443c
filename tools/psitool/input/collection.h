/**
 * @file collection.h
 * @brief An input gone through once: everything that is in it, and the library's model of it.
 */
#ifndef PSITOOL_COLLECTION_H
#define PSITOOL_COLLECTION_H

#include "demux/collector.h"
#include "describe/modelView.h"
#include "describe/tableKinds.h"
#include "input/acquire.h"
#include "output/described.h"
#include "output/look.h"

#include <map>
#include <string>

namespace psitool {

/** @brief The kind of a table, told by its PID and its form as well. @return null for an unknown one */
const TableKind *kindOf(const psi::demux::CollectedTable &table);

/** @brief How long a live input is listened to, and what a recording's time is measured by. */
struct ListenOptions {
    double timeout = 11;        /**< seconds */
    std::map<u8, double> waits; /**< of a table_id, in seconds */
    bool untilTimeout = false;  /**< although nothing is awaited any more */
    double bitrate = 0;         /**< of a recording, bit/s; 0: by its PCRs */
    std::vector<u8> tableIds;   /**< only these are waited for; empty: all */
    /** asked when all tables have come whether something else is awaited still; unset: nothing is */
    std::function<bool(double seconds)> awaitsMore;
};

/** @brief An open input, with a line of progress while it is read; Ctrl-C ends the reading. One at a time. */
class Collection {
public:
    /** @throw psi::demux::InputError the input cannot be opened */
    Collection(const std::string &input, ScanStandard standard, const ListenOptions &listen);
    ~Collection();
    Collection(const Collection &) = delete;
    Collection &operator=(const Collection &) = delete;

    /** @brief Go through the input, once. @throw psi::demux::InputError nothing of it can be read */
    void run();

    psi::demux::Collector &collector() { return collector_; }
    const psi::demux::Collector &collector() const { return collector_; }
    /** @brief The model that the library makes of the tables that hold; to be asked for behind run(). */
    const tsInfo &model();
    /** @brief What is known of the input besides its tables. */
    ScanInput input() const;

private:
    void showProgress(double seconds);

    InterruptGuard guard_;
    ProgressBar bar_;
    ScanStandard standard_;
    ListenOptions listen_;
    psi::demux::Collector collector_;
    std::unique_ptr<psi::demux::Host> host_;
};

/** @brief What the subcommands that go through an input once have on their command lines. */
struct CollectOptions {
    std::string input;
    ScanStandard standard = ScanStandard::automatic;
    ListenOptions listen;
    ColorChoice color = ColorChoice::automatic;
    int verbosity = 0;
};

/** @brief An input that was gone through. */
struct Collected {
    const psi::demux::Collector &collector;
    const ModelView &view;
    ScanInput input;
};

/** @brief What is said of it. */
struct Shown {
    std::string text;
    std::string nothing; /**< what was looked for and not found: "no packets"; empty: it was */
};

/**
 * @brief Go through an input and show what is in it.
 * @param prepare called with the collector before it runs; may be empty
 * @param show makes the result
 */
ExitStatus showCollected(const CollectOptions &options, Output &output,
                         const std::function<void(psi::demux::Collector &)> &prepare,
                         const std::function<Shown(const Collected &)> &show);

/**
 * @brief Tell on standard error what was lost in front of us, and would look as if the stream were damaged.
 * @param name of the input
 */
void reportLosses(const std::string &name, const psi::demux::Statistics &statistics);

/** @brief What goes behind "no PAT found": " until the interruption", ": no datagrams came", or nothing. */
std::string whyNothing(const ScanInput &input);

} // namespace psitool

#endif
