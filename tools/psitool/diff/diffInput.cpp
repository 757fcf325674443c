#include "describe/json/sectionDocument.h"
#include "describe/modelView.h"
#include "diff/diff.h"
#include "edit/editedTable.h"
#include "input/documentText.h"
#include "input/textFile.h"
#include "output/lines.h"

#include <fstream>

namespace psitool {

namespace {

/** What stands in a file, told by how it begins. */
enum class Content { stream, sections, json };

Content contentOf(const std::string &name)
{
    constexpr std::size_t header = 3;
    std::ifstream file(name, std::ios::binary);
    char start[header] = {};
    if (name == "-" || !file.read(start, header))
        return Content::stream; // whose opening tells what is wrong with it
    if (namesYaml(name))
        return Content::json;
    const char *first = start;
    while (first != start + header && (*first == ' ' || *first == '\n' || *first == '\r' || *first == '\t'))
        ++first;
    if (first == start + header || *first == '{' || *first == '[')
        return Content::json;
    file.seekg(0, std::ios::end);
    const auto size = static_cast<std::size_t>(file.tellg());
    const u8 bytes[header] = {static_cast<u8>(start[0]), static_cast<u8>(start[1]), static_cast<u8>(start[2])};
    const bool section = bytes[0] != psi::demux::kSyncByte && psi::demux::sectionBytes(bytes) <= size;
    return section ? Content::sections : Content::stream;
}

class InputReader {
public:
    InputReader(const std::string &name, const TablesOptions &filter) : filter_(filter) { input_.name = name; }

    ComparedInput read()
    {
        switch (contentOf(input_.name)) {
        case Content::json:
            readJson();
            break;
        case Content::sections:
            readSections();
            break;
        case Content::stream:
            readStream();
            break;
        }
        return std::move(input_);
    }

private:
    void readStream()
    {
        ListenOptions listen = filter_.listen;
        listen.tableIds = wantedTableIds(filter_);
        Collection collection(input_.name, filter_.standard, listen);
        collection.run();
        const ScanInput input = collection.input();
        if (!input.failure.empty())
            throw psi::demux::InputError(input.failure);
        if (input.interrupted)
            throw psi::demux::InputError(input_.name + ": interrupted");
        std::vector<TableSection> sections = sectionsOf(collection, filter_);
        const auto lastSeen = [](const TableSection &section) { return section.seen ? section.seen->last.packet : 0; };
        std::stable_sort(sections.begin(), sections.end(), [&](const TableSection &one, const TableSection &other) {
            return lastSeen(one) < lastSeen(other);
        });
        for (TableSection &section : sections)
            take(std::move(section.bytes), section.pid);
        input_.usual = usualFor(filter_, contextOf(collection.model()));
    }

    void readSections()
    {
        const std::string bytes = readText(input_.name);
        std::vector<PlacedSection> sections;
        for (std::size_t at = 0; at < bytes.size();) {
            const ByteView rest = ByteView(bytes).part(at);
            const std::size_t size = rest.size() < 3 ? 3 : psi::demux::sectionBytes(rest.data());
            if (size > rest.size())
                throw TextFileError(input_.name + ": the section at byte " + std::to_string(at) + " is cut short");
            take({rest.begin(), rest.begin() + size}, std::nullopt);
            sections.push_back({psi::demux::kNullPid, rest.part(0, size)});
            at += size;
        }
        input_.usual = usualFor(filter_, contextOf({}, sections));
    }

    void readJson()
    {
        try {
            const JsonDocument json(readDocument(input_.name));
            const CompiledDocument document = compileDocument(json, usualFor(filter_, {}));
            input_.usual = document.usual;
            for (const CompiledSection &section : document.sections)
                take({section.bytes.begin(), section.bytes.end()}, section.pid);
        } catch (const FieldError &error) {
            throw TextFileError(input_.name + ": " + error.what());
        }
    }

    /** Of several versions the last one counts. */
    void take(std::vector<u8> bytes, std::optional<u16> pid)
    {
        TableSection section;
        section.bytes = std::move(bytes);
        section.pid = pid;
        section.kind = tableKindOf(section.view(), pid);
        const bool other = !filter_.pids.empty() && pid &&
                           std::find(filter_.pids.begin(), filter_.pids.end(), *pid) == filter_.pids.end();
        if (section.bytes.empty() || !isWanted(section, filter_) || other || !isCurrent(section.view()))
            return;
        ComparedTable &table = input_.tables[keyOf(section)];
        if (!table.sections.empty() && versionOf({table.sections.begin()->second.data(),
                                                  table.sections.begin()->second.size()}) != versionOf(section.view()))
            table.sections.clear();
        const bool longForm = isLongForm(section.view());
        table.kind = section.kind;
        table.pid = pid;
        table.title = section.kind ? section.kind->title : "Table " + hex(section.bytes[0], 2);
        if (longForm) {
            table.id = section.idExtension();
            table.title += " " + hexDec(section.idExtension());
        }
        table.sections[longForm ? section.bytes[6] : u8{0}] = std::move(section.bytes);
    }

    /** In the order of the kinds; of tables that may be anywhere the PID tells which one is meant. */
    static std::string keyOf(const TableSection &section)
    {
        const std::size_t order = section.kind ? static_cast<std::size_t>(section.kind - tableKinds().data())
                                               : tableKinds().size() + section.bytes[0];
        const bool anywhere = !section.kind || section.kind->pid == psi::demux::kNullPid;
        const u16 pid = anywhere ? section.pid.value_or(psi::demux::kNullPid) : u16{0};
        return std::string{static_cast<char>(order >> 8), static_cast<char>(order)} + tableKey(pid, section.view());
    }

    const TablesOptions &filter_;
    ComparedInput input_;
};

} // namespace

ComparedInput readCompared(const std::string &name, const TablesOptions &filter)
{
    return InputReader(name, filter).read();
}

} // namespace psitool
