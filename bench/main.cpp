/**
 * @file main.cpp
 * @brief psi_bench: what the library's work costs, in yardsticks; scripts/bench is the way to call it.
 */
#include "memoryHost.h"
#include "programs.h"
#include "rows.h"
#include "stream.h"

#if __has_include(<valgrind/callgrind.h>)
#include <valgrind/callgrind.h>
#define PSIBENCH_CALLGRIND
#endif

#include <cstdio>
#include <cstdlib>
#include <stdexcept>

namespace {

using namespace psibench;

constexpr const char *usage = "usage: psi_bench rows|scale|names|calls [PART-OF-A-NAME]\n"
                              "       psi_bench multiplex|sections FILE MEGABYTES\n"
                              "       psi_bench scan PSITOOL FILE BAR\n"
                              "rows: the table, in yardsticks; status 1 when a row is above its bar\n"
                              "scale: whether the cost of an item grows with their number; status 1 when one does\n"
                              "calls: under callgrind: ten calls of each row, a profile for each\n"
                              "multiplex, sections: write a transport stream\n"
                              "scan: processor time of psitool scan; status 1 when it is above BAR times that of cat\n";

std::vector<Row> rowsOf(const std::string &filter)
{
    std::vector<Row> all;
    addFramingRows(all);
    addTableRows(all);
    addSearchRows(all);
    std::vector<Row> rows;
    for (Row &row : all)
        if (chosen(row.name, filter))
            rows.push_back(std::move(row));
    return rows;
}

/** @brief One line of the table. @return whether the row is at or below its bar */
bool showRow(const Row &row)
{
    const Measured measured = measure(row.work);
    const bool met = row.bar == 0 || measured.yardsticks() <= row.bar;
    printf("%-28s %10.1f %10.1f %9.4f ", row.name.c_str(), measured.nanoseconds, measured.yardstick,
           measured.yardsticks());
    if (row.bar == 0)
        printf("%9s\n", "-");
    else
        printf("%9.4f %s\n", row.bar, met ? "ok" : "ABOVE");
    fflush(stdout);
    return met;
}

int showRows(const std::string &filter)
{
    printf("%-28s %10s %10s %9s %9s\n", "work", "ns", "yardstick", "ratio", "bar");
    int missed = 0;
    for (const Row &row : rowsOf(filter))
        missed += showRow(row) ? 0 : 1;
    printf("%d rows above their bar\n", missed);
    return missed == 0 ? EXIT_SUCCESS : EXIT_FAILURE;
}

int showNames(const std::string &filter)
{
    for (const Row &row : rowsOf(filter))
        printf("%s\n", row.name.c_str());
    return EXIT_SUCCESS;
}

/** @brief A profile for each row, named after it, of `countedCalls` calls. */
int countCalls(const std::string &filter)
{
#ifdef PSIBENCH_CALLGRIND
    constexpr unsigned countedCalls = 10;
    for (const Row &row : rowsOf(filter)) {
        if (!row.ours)
            continue;
        row.work(1); // set up
        CALLGRIND_ZERO_STATS;
        row.work(countedCalls);
        CALLGRIND_DUMP_STATS_AT(row.name.c_str());
    }
    return EXIT_SUCCESS;
#else
    fprintf(stderr, "psi_bench: built without valgrind's headers%s\n", filter.c_str());
    return EXIT_FAILURE;
#endif
}

int writeFile(const std::string &content, const std::string &file, const char *megabytes)
{
    const auto bytes = static_cast<uint64_t>(strtoull(megabytes, nullptr, 10)) * 1000000;
    writeStream(file, bytes, content == "sections" ? Content::sections : Content::multiplex);
    return EXIT_SUCCESS;
}

int run(int argc, char **argv)
{
    constexpr u32 poolBytes = 64U << 20;
    const std::string command = argc > 1 ? argv[1] : "";
    const std::string argument = argc > 2 ? argv[2] : "";
    if (argc == 4 && (command == "multiplex" || command == "sections"))
        return writeFile(command, argument, argv[3]);
    if (argc == 5 && command == "scan")
        return checkScan(argument, argv[3], strtod(argv[4], nullptr)) ? EXIT_SUCCESS : EXIT_FAILURE;
    if (argc > 3)
        throw std::invalid_argument(usage);
    pinToOneCore();
    initialiseLibrary(poolBytes);
    if (command == "rows")
        return showRows(argument);
    if (command == "scale")
        return checkScale(argument) ? EXIT_SUCCESS : EXIT_FAILURE;
    if (command == "names")
        return showNames(argument);
    if (command == "calls")
        return countCalls(argument);
    throw std::invalid_argument(usage);
}

} // namespace

int main(int argc, char **argv)
{
    try {
        return run(argc, argv);
    } catch (const std::exception &problem) {
        fprintf(stderr, "%s\n", problem.what());
        return 2;
    }
}
