#include "edit/editTables.h"

#include "demux/transportPacket.h"
#include "describe/sections.h"
#include "describe/text.h"

#include <algorithm>
#include <functional>
#include <iterator>

namespace psitool {

namespace {

constexpr u8 networkNameTag = 0x40;
constexpr u8 bouquetNameTag = 0x47;
constexpr u8 serviceTag = 0x48;
constexpr u8 caTag = 0x09;
constexpr u8 serviceLocationTag = 0xA1;

[[noreturn]] void fail(const std::string &why)
{
    throw EditError(exitNotFound, why);
}

/* ---- tables that are split ------------------------------------------------------------------------------------------
 */

/** A table whose sections share a loop: what no section holds any more goes to the next. */
struct SplitTable {
    u8 first;
    u8 last;
    const char *list;
};
constexpr SplitTable splitTables[] = {
    {0x00, 0x00, "programs"},          {0x01, 0x01, "descriptors"}, {0x40, 0x41, "transport_streams"},
    {0x4A, 0x4A, "transport_streams"}, {0x42, 0x46, "services"},    {0xC8, 0xC9, "channels"},
};

class TableWriter {
public:
    TableWriter(Trees trees, const TableContext &context) : trees_(std::move(trees)), context_(context)
    {
        limit_ = context.kind->longestSection();
    }

    Sections write()
    {
        const std::size_t before = trees_.size();
        for (std::size_t i = 0; i < trees_.size(); ++i)
            fit(i);
        if (trees_.size() != before)
            renumber();
        Sections sections;
        for (const Fields &tree : trees_)
            sections.push_back(written(tree));
        return sections;
    }

private:
    Bytes written(const Fields &tree) const
    {
        WriteReport report;
        try {
            const std::string bytes =
                writeSection(tree, {context_.kind, context_.usual, CrcTerms::computed, context_.pid}, report, {});
            return {bytes.begin(), bytes.end()};
        } catch (const FieldError &error) {
            fail(std::string(context_.kind->title) + ": " + error.what());
        }
    }

    Field *splitList(Fields &tree) const
    {
        for (const SplitTable &one : splitTables)
            if (context_.kind->tableId >= one.first && context_.kind->tableId <= one.last)
                return findField(tree, one.list);
        return nullptr;
    }

    /** What is too much for a section goes to a new one behind it. */
    void fit(std::size_t at)
    {
        std::size_t size = written(trees_[at]).size();
        if (size <= limit_)
            return;
        Field *list = splitList(trees_[at]);
        if (!list)
            fail("a section of the " + std::string(context_.kind->title) + " would have " + std::to_string(size) +
                 " bytes, " + std::to_string(limit_) + " are allowed");
        std::vector<Fields> moved;
        while (size > limit_ && !list->items.empty()) {
            moved.insert(moved.begin(), std::move(list->items.back()));
            list->items.pop_back();
            size = written(trees_[at]).size();
        }
        if (list->items.empty())
            fail("an entry of the " + std::string(context_.kind->title) + " would not fit a section of 1024 bytes");
        Fields rest = trees_[at];
        rest.erase(std::remove_if(rest.begin(), rest.end(), [](const Field &field) { return field.key == "extra"; }),
                   rest.end());
        for (Field &field : rest)
            if (field.kind == Field::Kind::list)
                field.items.clear();
        splitList(rest)->items = std::move(moved);
        trees_.insert(trees_.begin() + static_cast<std::ptrdiff_t>(at) + 1, std::move(rest));
    }

    void renumber()
    {
        constexpr std::size_t mostSections = 256;
        if (trees_.size() > mostSections)
            fail("the " + std::string(context_.kind->title) + " would need more than 256 sections");
        for (std::size_t i = 0; i < trees_.size(); ++i) {
            findField(trees_[i], "section_number")->number = i;
            findField(trees_[i], "last_section_number")->number = trees_.size() - 1;
        }
    }

    Trees trees_;
    const TableContext &context_;
    std::size_t limit_;
};

/* ---- fields ---------------------------------------------------------------------------------------------------------
 */

Field numberField(std::string_view key, u64 value)
{
    Field field{key};
    field.number = value;
    return field;
}

std::string spelled(const std::string &name, const char *charset)
{
    const std::optional<std::string> bytes = nameBytes(name, charset);
    if (!bytes)
        fail("the name \"" + name + "\" cannot be written in " + charset);
    return *bytes;
}

Field nameField(std::string_view key, const std::string &name, const char *charset)
{
    Field field{key, Field::Kind::text};
    field.bytes = spelled(name, charset);
    field.text = decodeDvbText(ByteView(field.bytes), charset).utf8;
    return field;
}

Fields dataDescriptor(u8 tag, ByteView payload)
{
    Field data{"data", Field::Kind::hex};
    data.text = toHex(payload);
    return {numberField("tag", tag), data};
}

void put(Fields &record, Field field)
{
    Field *present = findField(record, field.key);
    if (present)
        *present = std::move(field);
    else
        record.push_back(std::move(field));
}

/** Each entry of a list, where there is one. */
template <class Visit> void visitEntries(Fields &record, std::string_view list, const Visit &visitor)
{
    if (Field *field = findField(record, list))
        for (Fields &entry : field->items)
            visitor(entry);
}

Fields *findDescriptor(Fields &record, u8 tag)
{
    Fields *found = nullptr;
    visitEntries(record, "descriptors", [&](Fields &one) {
        if (!found && numberOf(one, "tag", ~u64{0}) == tag)
            found = &one;
    });
    return found;
}

/** In place of the first descriptor of that tag, else behind all. */
Fields &putDescriptor(Fields &record, u8 tag, Fields descriptor)
{
    Fields *present = findDescriptor(record, tag);
    if (!present)
        present = &findField(record, "descriptors")->items.emplace_back();
    return *present = std::move(descriptor);
}

/** The fields of each descriptor of a tag. */
template <class Visit> void visitDescriptors(Fields &record, u8 tag, const Visit &visitor)
{
    visitEntries(record, "descriptors", [&](Fields &descriptor) {
        if (Fields *fields = numberOf(descriptor, "tag", ~u64{0}) == tag ? fieldsOf(descriptor) : nullptr)
            visitor(*fields);
    });
}

u16 idOf(const Fields &record, std::string_view key)
{
    return static_cast<u16>(numberOf(record, key, 0));
}

/** @return whether any went */
bool removeEntries(Fields &tree, std::string_view list, const std::function<bool(const Fields &)> &goes)
{
    Field *field = findField(tree, list);
    if (!field)
        return false;
    std::vector<Fields> &entries = field->items;
    const std::size_t before = entries.size();
    entries.erase(std::remove_if(entries.begin(), entries.end(), goes), entries.end());
    return entries.size() != before;
}

/* ---- services and networks ------------------------------------------------------------------------------------------
 */

/** service_descriptor, EN 300 468 6.2.33, with what is given in place of what it had. */
void editService(Fields &service, const ServiceEdit &edit, const char *charset)
{
    Fields *present = findDescriptor(service, serviceTag);
    Fields *fields = present ? fieldsOf(*present) : nullptr;
    if (!fields) {
        Field made{"fields", Field::Kind::record};
        made.items = {{numberField("service_type", 1), nameField("service_provider_name", "", ""),
                       nameField("service_name", "", "")}};
        fields = fieldsOf(putDescriptor(service, serviceTag, {numberField("tag", serviceTag), made}));
    }
    if (edit.type)
        put(*fields, numberField("service_type", *edit.type));
    if (edit.provider)
        put(*fields, nameField("service_provider_name", *edit.provider, charset));
    if (edit.name)
        put(*fields, nameField("service_name", *edit.name, charset));
}

/** The name goes where one is; where the table has none, into section 0. */
void putName(Trees &trees, u8 tag, const std::string &name, const char *charset)
{
    const std::string bytes = spelled(name, charset);
    bool named = false;
    for (Fields &tree : trees)
        if (findDescriptor(tree, tag)) {
            putDescriptor(tree, tag, dataDescriptor(tag, ByteView(bytes)));
            named = true;
        }
    if (!named)
        putDescriptor(trees.front(), tag, dataDescriptor(tag, ByteView(bytes)));
}

/* ---- PIDs -----------------------------------------------------------------------------------------------------------
 */

/** Every PID field of a PMT, as far as it is found. */
template <class Visit> void visitPids(Fields &pmt, const Visit &visitor)
{
    const auto visitField = [&](Fields &record, std::string_view key) {
        if (Field *pid = findField(record, key))
            visitor(*pid);
    };
    const auto visitEcms = [&](Fields &record) {
        visitDescriptors(record, caTag, [&](Fields &ca) { visitField(ca, "CA_PID"); });
    };
    visitField(pmt, "PCR_PID");
    visitEcms(pmt);
    visitEntries(pmt, "streams", [&](Fields &stream) {
        visitField(stream, "elementary_PID");
        visitEcms(stream);
    });
}

bool replacePid(Field &pid, const EditRequest &request)
{
    const auto found = request.pids.find(static_cast<u16>(pid.number));
    if (found == request.pids.end())
        return false;
    pid.number = found->second;
    return true;
}

bool replacePid(Fields &record, std::string_view key, const EditRequest &request)
{
    Field *pid = findField(record, key);
    return pid && replacePid(*pid, request);
}

} // namespace

Trees readTrees(const Sections &sections, const TableContext &context)
{
    Trees trees;
    for (const Bytes &section : sections) {
        const DescribedSection described = describeSection(view(section), context.kind, context.usual);
        if (!described.parsed)
            fail("a section of the " + std::string(context.kind->title) + " cannot be parsed" +
                 (described.notes.empty() ? "" : ": " + described.notes.back()));
        trees.push_back(editable(described.fields));
    }
    return trees;
}

Sections writeTrees(Trees trees, const TableContext &context)
{
    return TableWriter(std::move(trees), context).write();
}

namespace {

constexpr u64 noNumber = ~u64{0};

void requireUnchanged(const Fields &before, const Fields &after, const char *key, const TableContext &context)
{
    const u64 old = numberOf(before, key, noNumber);
    if (numberOf(after, key, noNumber) != old)
        fail(std::string(context.kind->title) + ": /" + key + ": follows from the table, which has " +
             std::to_string(old) + " here");
}

void requireStructure(const Fields &before, const Fields &after, const TableContext &context)
{
    const u64 id = numberOf(after, "table_id", noNumber);
    const TableKind *kind = id <= 0xFF ? tableKindOf(static_cast<u8>(id)) : nullptr;
    if (id != numberOf(before, "table_id", noNumber) && (!kind || kind->layout != context.kind->layout))
        fail(std::string(context.kind->title) + ": /table_id: only that of a table of the same structure fits");
}

} // namespace

void requireSameTable(const Trees &before, const Trees &after, const TableContext &context, bool standAlone)
{
    for (std::size_t i = 0; i < after.size(); ++i) {
        requireStructure(before[i], after[i], context);
        requireUnchanged(before[i], after[i], "section_syntax_indicator", context);
        if (standAlone) {
            const u64 last = numberOf(after[i], "last_section_number", noNumber);
            if (numberOf(after[i], "section_number", 0) > last)
                fail(std::string(context.kind->title) + ": /section_number: is more than last_section_number, " +
                     std::to_string(last));
            continue;
        }
        requireUnchanged(before[i], after[i], "section_number", context);
        requireUnchanged(before[i], after[i], "last_section_number", context);
    }
}

namespace {

/** Its version is always 0: the STT, A/65 6.1, and messages of DSM-CC, ISO/IEC 13818-6 9.2.2.1. */
bool hasNoVersions(const Fields &tree)
{
    constexpr u64 tables[] = {0x3A, 0x3B, 0xCD};
    return std::find(std::begin(tables), std::end(tables), numberOf(tree, "table_id", noNumber)) != std::end(tables);
}

} // namespace

void raiseVersion(Trees &trees)
{
    constexpr u64 versionMask = 0x1F;
    for (Fields &tree : trees)
        if (Field *version = hasNoVersions(tree) ? nullptr : findField(tree, "version_number"))
            version->number = (version->number + 1) & versionMask;
}

bool editSdt(Trees &sdt, const EditRequest &request, const char *charset)
{
    bool hit = false;
    for (Fields &tree : sdt) {
        hit |= removeEntries(tree, "services", [&](const Fields &service) {
            return request.removedServices.count(idOf(service, "service_id")) != 0;
        });
        visitEntries(tree, "services", [&](Fields &service) {
            const auto edit = request.services.find(idOf(service, "service_id"));
            if (edit == request.services.end())
                return;
            editService(service, edit->second, charset);
            hit = true;
        });
    }
    return hit;
}

bool editNit(Trees &nit, const EditRequest &request, const char *charset)
{
    bool hit = request.networkName.has_value();
    if (request.networkName)
        putName(nit, networkNameTag, *request.networkName, charset);
    for (Fields &tree : nit)
        visitEntries(tree, "transport_streams", [&](Fields &stream) {
            for (const StreamDescriptor &one : request.streamDescriptors)
                if (one.transportStreamId == idOf(stream, "transport_stream_id")) {
                    putDescriptor(stream, one.tag, dataDescriptor(one.tag, view(one.payload)));
                    hit = true;
                }
        });
    return hit;
}

bool editBat(Trees &bat, const std::string &name, const char *charset)
{
    putName(bat, bouquetNameTag, name, charset);
    return true;
}

bool editPat(Trees &pat, const EditRequest &request)
{
    bool hit = false;
    for (Fields &tree : pat) {
        hit |= removeEntries(tree, "programs", [&](const Fields &program) {
            return request.removedPrograms.count(idOf(program, "program_number")) != 0;
        });
        visitEntries(tree, "programs",
                     [&](Fields &program) { hit |= replacePid(program, "program_map_PID", request); });
    }
    return hit;
}

bool editPmt(Trees &pmt, const EditRequest &request)
{
    bool hit = false;
    for (Fields &tree : pmt)
        visitPids(tree, [&](Field &pid) { hit |= replacePid(pid, request); });
    return hit;
}

namespace {

/** service_location_descriptor, A/65 6.9.5. */
bool editLocations(Fields &channel, const EditRequest &request)
{
    bool hit = false;
    visitDescriptors(channel, serviceLocationTag, [&](Fields &location) {
        hit |= replacePid(location, "PCR_PID", request);
        visitEntries(location, "elements",
                     [&](Fields &element) { hit |= replacePid(element, "elementary_PID", request); });
    });
    return hit;
}

} // namespace

bool editVct(Trees &vct, const EditRequest &request, std::optional<u16> transportStream)
{
    bool hit = false;
    const auto isHere = [&](const Fields &channel) {
        return !transportStream || idOf(channel, "channel_TSID") == *transportStream;
    };
    for (Fields &tree : vct) {
        hit |= removeEntries(tree, "channels", [&](const Fields &channel) {
            return isHere(channel) && request.removedPrograms.count(idOf(channel, "program_number")) != 0;
        });
        visitEntries(tree, "channels", [&](Fields &channel) {
            if (isHere(channel))
                hit |= editLocations(channel, request);
        });
    }
    return hit;
}

std::set<u16> numbersIn(const Trees &trees, std::string_view list, std::string_view key)
{
    std::set<u16> numbers;
    for (const Fields &tree : trees)
        if (const Field *entries = findField(tree, list))
            for (const Fields &entry : entries->items)
                numbers.insert(idOf(entry, key));
    return numbers;
}

std::vector<ProgramEntry> programsOf(const Trees &pat)
{
    std::vector<ProgramEntry> entries;
    for (const Fields &tree : pat)
        if (const Field *programs = findField(tree, "programs"))
            for (const Fields &entry : programs->items) {
                const u16 number = idOf(entry, "program_number");
                entries.push_back({number, idOf(entry, number == 0 ? "network_PID" : "program_map_PID")});
            }
    return entries;
}

std::set<u16> pidsOf(Trees pmt)
{
    std::set<u16> pids;
    for (Fields &tree : pmt)
        visitPids(tree, [&](const Field &pid) { pids.insert(static_cast<u16>(pid.number)); });
    pids.erase(psi::demux::kNullPid); // of a PCR: there is none
    return pids;
}

std::set<u16> announcedPids(Trees tables)
{
    std::set<u16> pids = numbersIn(tables, "tables", "table_type_PID");
    for (Fields &tree : tables)
        visitDescriptors(tree, caTag, [&](Fields &ca) { pids.insert(idOf(ca, "CA_PID")); });
    return pids;
}

} // namespace psitool
