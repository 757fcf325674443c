#include "tables/tables.h"

#include <cerrno>
#include <cstdio>
#include <system_error>

namespace psitool {

namespace {

constexpr std::size_t mostBytes = 1U << 16; // more than a section and a good deal of garbage behind it
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
        const std::size_t length = size - shortHeader;
        if (have < size)
            return !tell("cut short: section_length " + std::to_string(length) + " asks for " + counted(size, "byte") +
                         ", the file has " + std::to_string(have));
        if (have > size && section_.bytes[0] != packetSync)
            tell((have == mostBytes ? "more than " : "") + counted(have - size, "byte") +
                 " behind the section, left out");
        section_.bytes.resize(size);
        return true;
    }

    void content()
    {
        if (!section_.kind)
            tell("table_id " + hex(section_.bytes[0], 2) + " is none of the tables that are read here" +
                 (section_.bytes[0] == packetSync ? " (a transport stream is given without --section)" : ""));
        else
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

void readSectionFile(const std::string &name, const TablesOptions &options, SectionFiles &files)
{
    TableSection section;
    section.file = name == "-" ? "standard input" : name;
    errno = 0;
    if (!readBytes(name, section.bytes) || section.bytes.empty()) {
        reportError(section.file + ": " +
                    (errno ? std::generic_category().message(errno) : std::string("empty, no section")));
        files.damaged = true;
        return;
    }
    section.kind = tableKindOf(section.view(), std::nullopt);
    if (!isWanted(section, options))
        return;
    SectionCheck check(section);
    if (check.whole())
        check.content();
    else
        files.damaged = true;
    files.sections.push_back(std::move(section));
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
