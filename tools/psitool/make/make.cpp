#include "make/make.h"

#include "describe/quantities.h"
#include "input/acquire.h"
#include "input/textFile.h"
#include "make/jsonPlace.h"
#include "make/makeObject.h"
#include "make/makeSections.h"
#include "make/repetition.h"
#include "output/outputFile.h"
#include "output/rounded.h"

#include <cerrno>
#include <cstdlib>
#include <map>
#include <memory>
#include <sys/stat.h>
#include <system_error>

namespace psitool {

namespace {

constexpr double defaultSeconds = 10; // the slowest table comes once

/** Something that is wrong with the model's file or with what was asked for: one line. */
class MakeError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

std::vector<MadeSection> sectionsFrom(const MakeOptions &options)
{
    const std::string json = readText(options.input);
    const std::string place = (options.input == "-" ? "standard input" : options.input) + ": ";
    try {
        MakeObject object;
        const JsonFacts facts = fillModel(object.model(), json, options.standard);
        for (const std::string &warning : facts.warnings)
            reportError(place + warning);
        MadeStream stream = makeSections(object, facts);
        if (stream.sections.empty())
            reportError(place + "there is no table in it, the stream has null packets only");
        for (const std::string &line : stream.lost)
            reportError(place + line);
        return std::move(stream.sections);
    } catch (const JsonError &error) {
        throw MakeError(place + error.what());
    }
}

/* ------------------------------------------------------------------------------------------------------------------
 * The stream
 * ---------------------------------------------------------------------------------------------------------------- */

void writeOnce(const std::vector<MadeSection> &sections, OutputFile &file)
{
    ContinuityCounters counters;
    std::string bytes;
    if (sections.empty())
        append(bytes, nullPacket()); // a stream without tables is none without packets
    for (const MadeSection &section : sections)
        for (Packet packet : cutSection(section.pid, ByteView(section.bytes))) {
            counters.stamp(packet);
            append(bytes, packet);
        }
    file.write(bytes);
}

/** The sections of one table begin one after the other, spread over its interval, in short streams over half of it. */
std::vector<RepeatedSection> repeated(const std::vector<MadeSection> &sections, double seconds)
{
    std::map<u32, double> counts;
    for (const MadeSection &section : sections)
        counts[section.psiType] += 1;
    std::map<u32, double> seen;
    std::vector<RepeatedSection> all;
    for (const MadeSection &section : sections) {
        const double spread = std::min(1.0, seconds * 1000 / 2 / section.intervalMs);
        const double phase = spread * seen[section.psiType]++ / counts[section.psiType];
        all.push_back({section.pid, section.intervalMs, cutSection(section.pid, ByteView(section.bytes)), phase});
    }
    return all;
}

std::string inKilobits(std::uint64_t bitsPerSecond)
{
    return grouped((bitsPerSecond + 999) / 1000) + " kbit/s";
}

/** Throws MakeError when not even once all sections find room. */
StreamSize longEnough(const StreamSize &size, const std::vector<RepeatedSection> &sections)
{
    std::uint64_t needed = 0;
    for (const RepeatedSection &section : sections)
        needed += section.packets.size();
    if (size.packets < needed)
        throw MakeError("--duration: the tables take " + std::to_string(needed) + " packets, at " +
                        inKilobits(size.bitsPerSecond) + " there is time for " + std::to_string(size.packets));
    return size;
}

StreamSize streamSize(const MakeOptions &options, const std::vector<RepeatedSection> &sections)
{
    constexpr std::uint64_t roundTo = 100000;
    const double seconds = options.seconds > 0 ? options.seconds : defaultSeconds;
    if (options.bitsPerSecond == 0) {
        const std::uint64_t rate = (sufficientBitrate(sections) + roundTo - 1) / roundTo * roundTo;
        return longEnough({rate, packetsIn(seconds, rate)}, sections);
    }
    const StreamSize size{options.bitsPerSecond, packetsIn(seconds, options.bitsPerSecond)};
    if (!keepsIntervals(sections, size))
        throw MakeError("--bitrate: the tables need " + inKilobits(sufficientBitrate(sections)) +
                        " to come at their intervals, more than " + inKilobits(options.bitsPerSecond));
    return longEnough(size, sections);
}

/** Gathers packets. Of those that come many times at once a block is written over and over. */
class PacketWriter {
public:
    explicit PacketWriter(OutputFile &file) : file_(file) {}

    /** @return false when nobody wants more */
    bool write(const Packet &packet, std::uint64_t times)
    {
        constexpr std::uint64_t few = blockPackets / 4;
        if (times > few)
            return writeMany(packet, times);
        for (std::uint64_t i = 0; i < times; ++i)
            append(bytes_, packet);
        return bytes_.size() < blockPackets * packet.size() || flush();
    }
    bool flush()
    {
        file_.write(bytes_);
        bytes_.clear();
        return !file_.readerGone();
    }

private:
    static constexpr std::uint64_t blockPackets = 2048; // stay in the processor's cache

    bool writeMany(const Packet &packet, std::uint64_t times)
    {
        bool wanted = flush();
        std::string block;
        for (std::uint64_t i = 0; i < std::min(times, blockPackets); ++i)
            append(block, packet);
        for (std::uint64_t left = times; left > 0 && wanted;) {
            const std::uint64_t now = std::min(left, blockPackets);
            file_.write(block.data(), static_cast<std::size_t>(now) * packet.size());
            left -= now;
            wanted = !file_.readerGone();
        }
        return wanted;
    }

    OutputFile &file_;
    std::string bytes_;
};

void writeRepeated(const std::vector<RepeatedSection> &sections, const StreamSize &size, OutputFile &file)
{
    PacketWriter writer(file);
    repeatSections(sections, size,
                   [&](const Packet &packet, std::uint64_t times) { return writer.write(packet, times); });
    writer.flush();
}

void writeStream(const MakeOptions &options, const std::vector<MadeSection> &sections, OutputFile &file)
{
    if (options.seconds <= 0 && options.bitsPerSecond == 0) {
        writeOnce(sections, file);
        return;
    }
    const double seconds = options.seconds > 0 ? options.seconds : defaultSeconds;
    const std::vector<RepeatedSection> all = repeated(sections, seconds);
    const StreamSize size = streamSize(options, all);
    if (options.verbosity > 0)
        reportError(options.output + ": " + std::to_string(size.packets) + " packets at " +
                    std::to_string(size.bitsPerSecond) + " bit/s");
    writeRepeated(all, size, file);
}

void writeSections(const std::string &folder, const std::vector<MadeSection> &sections, Output &output)
{
    if (mkdir(folder.c_str(), 0777) != 0 && errno != EEXIST)
        throw OutputError(folder + ": cannot be made: " + std::generic_category().message(errno));
    const std::vector<std::string> names = sectionFileNames(sections);
    for (std::size_t i = 0; i < sections.size(); ++i) {
        OutputFile file(folder + "/" + names[i], output);
        file.write(sections[i].bytes);
        file.commit();
    }
}

/** A number without sign and exponent, 0 for anything else. */
double decimal(const std::string &text)
{
    char *end = nullptr;
    const bool plain = !text.empty() && text.find_first_not_of("0123456789.") == std::string::npos;
    const double value = plain ? std::strtod(text.c_str(), &end) : 0;
    return plain && *end == '\0' ? value : 0;
}

void make(const MakeOptions &options, Output &output)
{
    const std::vector<MadeSection> sections = sectionsFrom(options);
    if (!options.output.empty()) {
        OutputFile file(options.output, output);
        writeStream(options, sections, file);
        file.commit();
    }
    if (!options.sections.empty())
        writeSections(options.sections, sections, output);
}

} // namespace

double parseDuration(const std::string &text)
{
    constexpr double longest = 86400;
    const double seconds = decimal(text);
    return seconds <= longest ? seconds : 0;
}

std::uint64_t parseBitrate(const std::string &text)
{
    constexpr double lowest = 1e3;
    constexpr double highest = 1e10;
    static const std::map<std::string, double> units{{"", 1}, {"k", 1e3}, {"K", 1e3}, {"M", 1e6}, {"G", 1e9}};
    const std::size_t digits = std::min(text.find_first_not_of("0123456789."), text.size());
    const auto unit = units.find(text.substr(digits));
    const double rate = unit == units.end() ? 0 : decimal(text.substr(0, digits)) * unit->second;
    return rate < lowest || rate > highest ? 0 : static_cast<std::uint64_t>(rounded(rate));
}

ExitStatus runMake(const MakeOptions &options, Output &output)
{
    if (sameFile(options.input, options.output)) {
        reportError(options.output + ": is the model as well");
        return exitWrongUse;
    }
    if (!startLibrary(options.verbosity))
        return exitInputError;
    if (options.output == "-" && options.sections.empty())
        endWithReader(options.input, output);
    try {
        make(options, output);
        return exitFound;
    } catch (const std::runtime_error &error) {
        reportError(error.what());
        return exitInputError;
    }
}

} // namespace psitool
