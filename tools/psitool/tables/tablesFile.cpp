#include "describe/systemTime.h"
#include "tables/tables.h"

#include <cerrno>
#include <cstdio>
#include <system_error>

namespace psitool {

namespace {

constexpr std::size_t mostBytes = 1U << 20; // more than every table of a stream
constexpr std::size_t shortHeader = psi::demux::kSectionHeaderBytes;
constexpr u8 packetSync =
    psi::demux::kSyncByte; // no table has this table_id, but every transport packet begins with it

struct FileCloser {
    void operator()(std::FILE *file) const
    {
        if (file != stdin)
            std::fclose(file);
    }
};
using File = std::unique_ptr<std::FILE, FileCloser>;

/** Read a file's first bytes. @return false, errno says why */
bool readBytes(const std::string &name, std::vector<u8> &bytes)
{
    const File file(name == "-" ? stdin : std::fopen(name.c_str(), "rb"));
    if (!file)
        return false;
    bytes.resize(mostBytes);
    bytes.resize(std::fread(bytes.data(), 1, bytes.size(), file.get()));
    return std::ferror(file.get()) == 0;
}

/** Looks a file's section over: what is wrong is told on standard error and stands with the section. */
class SectionCheck {
public:
    explicit SectionCheck(TableSection &section) : section_(section) {}

    /** @return false when it is no whole section */
    bool whole()
    {
        const std::size_t have = section_.bytes.size();
        if (have < shortHeader)
            return !tell("cut short: " + counted(have, "byte") + ", where the header alone has " +
                         std::to_string(shortHeader));
        const std::size_t size = psi::demux::sectionBytes(section_.bytes.data());
        if (have < size)
            return !tell("cut short: section_length " + std::to_string(size - shortHeader) + " asks for " +
                         counted(size, "byte") + ", the file has " + std::to_string(have));
        return true;
    }

    void surplus(std::size_t bytes)
    {
        if (section_.bytes[0] != packetSync)
            tell((bytes >= mostBytes - section_.bytes.size() ? "more than " : "") + counted(bytes, "byte") +
                 " behind the section, left out");
    }

    void content()
    {
        if (!section_.kind)
            tell("table_id " + hex(section_.bytes[0], 2) + " is none of the tables that are read here" +
                 (section_.bytes[0] == packetSync ? " (a transport stream is given without --section)" : ""));
        else if (section_.kind->end == SectionEnd::crc)
            crc(crcOf(section_.view()));
    }

private:
    void crc(const std::optional<SectionCrc> &crc)
    {
        if (!crc)
            tell("too short for a section of the " + std::string(section_.kind->title));
        else if (!crc->right())
            tell("CRC_32 is " + hex(crc->stored, 8) + ", but the bytes give " + hex(crc->calculated, 8) +
                 ": any field may be wrong");
    }

    bool tell(const std::string &note)
    {
        reportError(section_.file + ": " + note);
        section_.notes.push_back(note);
        return true;
    }

    TableSection &section_;
};

/** Whether another section stands behind one: of a known table and whole, or of any with a right CRC_32. */
bool isSection(ByteView bytes)
{
    constexpr u8 stuffing = 0xFF;
    if (bytes.size() < shortHeader || bytes[0] == stuffing)
        return false;
    const std::size_t size = psi::demux::sectionBytes(bytes.data());
    const std::optional<SectionCrc> crc = crcOf(bytes);
    const TableKind *kind = tableKindOf(bytes, std::nullopt);
    const bool known = kind && (crc || kind->end != SectionEnd::crc);
    return size > shortHeader && size <= bytes.size() && (known || (crc && crc->right()));
}

/** Take the section off the front of a file's bytes. */
void readSection(TableSection section, std::size_t size, std::size_t surplus, const TablesOptions &options,
                 SectionFiles &files)
{
    learnFromStt(files.found, section.view());
    if (!isWanted(section, options))
        return;
    SectionCheck check(section);
    if (check.whole()) {
        if (surplus > 0)
            check.surplus(surplus);
        section.bytes.resize(size);
        check.content();
    } else {
        files.damaged = true;
    }
    files.sections.push_back(std::move(section));
}

void readSectionFile(const std::string &name, const TablesOptions &options, SectionFiles &files)
{
    TableSection section;
    section.file = name == "-" ? "standard input" : name;
    std::vector<u8> bytes;
    errno = 0;
    if (!readBytes(name, bytes) || bytes.empty()) {
        reportError(section.file + ": " +
                    (errno ? std::generic_category().message(errno) : std::string("empty, no section")));
        files.damaged = true;
        return;
    }
    for (ByteView rest(bytes.data(), bytes.size()); !rest.empty();) {
        const std::size_t said = rest.size() < shortHeader ? rest.size() : psi::demux::sectionBytes(rest.data());
        const ByteView behind = rest.part(said);
        const bool more = isSection(behind);
        const ByteView own = rest.part(0, said);
        section.bytes.assign(own.begin(), own.end());
        section.kind = tableKindOf(own, std::nullopt);
        readSection(section, own.size(), more ? 0 : behind.size(), options, files);
        rest = more ? behind : ByteView();
    }
}

} // namespace

SectionFiles readSectionFiles(const TablesOptions &options)
{
    SectionFiles files;
    for (const std::string &name : options.sections)
        readSectionFile(name, options, files);
    return files;
}

} // namespace psitool
