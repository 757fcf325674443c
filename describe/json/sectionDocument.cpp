#include "describe/json/sectionDocument.h"

#include "describe/systemTime.h"
#include "describe/tagSpaces.h"
#include "describe/text.h"

#include <algorithm>

namespace psi::describe {

namespace {

constexpr std::size_t crcBytes = 4;

Standard standardNamed(std::string_view name)
{
    if (name == "dvb")
        return Standard::dvb;
    return name == "atsc" ? Standard::atsc : Standard::unknown;
}

std::string_view bodyOf(const std::string &section)
{
    return std::string_view(section).substr(0, section.size() - std::min(section.size(), crcBytes));
}

/** Unknown members are passed over; one that looks like a slip is told. */
void checkMembers(const Fields &object, const std::vector<std::string_view> &known, const FieldPlace &place,
                  CompiledDocument &result)
{
    for (const Field &member : object) {
        if (std::find(known.begin(), known.end(), member.key) != known.end())
            continue;
        const std::string near = nearest(member.key, known);
        if (!near.empty())
            result.warnings.push_back(FieldPlace{&place, member.key}.pointer() + ": is passed over; the nearest is \"" +
                                      near + "\"");
    }
}

/** The tree of a section's object, and what else it says. */
class SectionCompiler {
public:
    /** @param treePlace where the tree stands; a tree alone is its own document */
    SectionCompiler(const Fields &object, const DescriptorContext &usual, CompiledDocument &result,
                    const FieldPlace &place, const FieldPlace &treePlace)
        : object_(object), usual_(usual), result_(result), place_(place), treePlace_(treePlace)
    {
    }

    CompiledSection compile()
    {
        static const std::vector<std::string_view> members = {"table",  "psi_type", "pid",  "file",
                                                              "size",   "acquired", "seen", "crc_right",
                                                              "parsed", "notes",    "tree", "data"};
        checkMembers(object_, members, place_, result_);
        CompiledSection section;
        section.place = place_.pointer();
        const std::optional<std::string> data = dataBytes();
        const Field *tree = findField(object_, "tree");
        if (!data && !tree)
            throw FieldError(section.place, "a section has a \"tree\" or \"data\"");
        section.hadData = data.has_value();
        section.bytes = tree ? fromTree(*tree, data) : *data;
        section.changed = data && section.bytes != *data;
        section.kind = tableKindOf(ByteView(section.bytes), givenPid());
        section.pid = pid(section.kind);
        checkTable(section.kind, data);
        checkSize(section);
        return section;
    }

private:
    /** The name of another table than its table_id's; that of the table before the edit is only for reading. */
    void checkTable(const TableKind *kind, const std::optional<std::string> &data) const
    {
        const Field *table = findField(object_, "table");
        const auto isOf = [&](const TableKind *one) { return one && table->text == one->title; };
        if (!table || table->kind != Field::Kind::text || isOf(kind) ||
            (data && isOf(tableKindOf(ByteView(*data), givenPid()))))
            return;
        result_.warnings.push_back(
            FieldPlace{&place_, "table"}.pointer() + ": \"" + table->text + "\" is not what its table_id says" +
            (kind ? ", which is \"" + std::string(kind->title) + "\"" : "") + ": the table_id is taken");
    }

    /** Receivers pass over a section that is too long. What came so may stay so. */
    void checkSize(const CompiledSection &section) const
    {
        const std::size_t size = section.bytes.size();
        if (section.kind && (section.changed || !section.hadData) && size > section.kind->longestSection())
            result_.warnings.push_back(place_.pointer() + ": " + std::to_string(size) + " bytes are more than the " +
                                       std::to_string(section.kind->longestSection()) + " of a section of the " +
                                       section.kind->title);
    }

    std::optional<std::string> dataBytes() const
    {
        const Field *data = findField(object_, "data");
        if (!data)
            return std::nullopt;
        std::optional<std::string> bytes = data->kind == Field::Kind::text ? fromHex(data->text) : std::nullopt;
        if (!bytes)
            throw FieldError(FieldPlace{&place_, "data"}.pointer(), "is not pairs of hexadecimal digits");
        if (bytes->empty())
            throw FieldError(FieldPlace{&place_, "data"}.pointer(), "has no bytes");
        return bytes;
    }

    std::optional<u16> givenPid() const
    {
        static constexpr Row<1> item = number(13, "pid");
        const Field *field = findField(object_, "pid");
        const bool none = !field || (field->kind == Field::Kind::other && field->text == "null");
        return none ? std::nullopt : std::optional<u16>(static_cast<u16>(numberFrom(*field, item.items[0], place_)));
    }

    std::optional<u16> pid(const TableKind *kind) const
    {
        constexpr u16 nullPid = 0x1FFF; // of tables that others announce
        const std::optional<u16> given = givenPid();
        const bool anywhere = !kind || kind->psiType == PSI_PMT || kind->pid == nullPid;
        return given || anywhere ? given : std::optional<u16>(kind->pid);
    }

    /** What crc_right says: whether it was right, or that there was none. */
    bool saysOfCrc(std::string_view word) const
    {
        const Field *right = findField(object_, "crc_right");
        return right && right->kind == Field::Kind::other && right->text == word;
    }

    std::string written(const Fields &tree, CrcTerms crc, WriteReport &report) const
    {
        return writeSection(tree, {nullptr, usual_, crc, givenPid()}, report, treePlace_);
    }

    std::string fromTree(const Field &tree, const std::optional<std::string> &data) const
    {
        if (tree.kind != Field::Kind::record)
            throw FieldError(treePlace_.pointer(), "is not an object");
        const Fields &fields = tree.items[0];
        const CrcTerms crc = saysOfCrc("false")  ? CrcTerms::kept
                             : saysOfCrc("null") ? CrcTerms::none
                                                 : CrcTerms::computed;
        WriteReport report;
        if (data) {
            // What was not edited needs no look at what it was before.
            std::string same = written(fields, crc, report);
            if (same == *data && report.warnings.empty())
                return same;
            report = {};
            const ByteView old(*data);
            const TableKind *kind = tableKindOf(old, givenPid());
            report.old = describeSection(old, kind, usual_).fields;
        }
        std::string bytes = written(fields, crc, report);
        result_.warnings.insert(result_.warnings.end(), report.warnings.begin(), report.warnings.end());
        if (!data || bytes == *data)
            return bytes;
        if (dataWasEdited(fields, *data))
            throw FieldError(place_.pointer(), "\"tree\" and \"data\" contradict each other, and both were edited: "
                                               "leave one out");
        return crc == CrcTerms::kept && bodyOf(bytes) != bodyOf(*data) ? written(fields, CrcTerms::computed, report)
                                                                       : bytes;
    }

    /** What was said about the data when it was printed is not so any more. */
    bool dataWasEdited(const Fields &tree, const std::string &data) const
    {
        if (numberOf(object_, "size", data.size()) != data.size())
            return true;
        const std::optional<SectionCrc> crc = crcOf(ByteView(data));
        if (!crc)
            return false;
        return crc->right() == saysOfCrc("false") || numberOf(tree, "CRC_32", crc->stored) != crc->stored;
    }

    const Fields &object_;
    const DescriptorContext &usual_;
    CompiledDocument &result_;
    const FieldPlace &place_;
    const FieldPlace &treePlace_;
};

/** Tables that only one standard has tell which is meant. */
Standard standardOf(const std::vector<Fields> &sections)
{
    Standard found = Standard::unknown;
    for (const Fields &section : sections) {
        const Field *tree = findField(section, "tree");
        const u64 id = tree && tree->kind == Field::Kind::record ? numberOf(tree->items[0], "table_id", 0x100) : 0x100;
        const TableKind *kind = id < 0x100 ? tableKindOf(static_cast<u8>(id)) : nullptr;
        if (kind && kind->standard == Standard::atsc)
            return Standard::atsc;
        if (kind && kind->standard == Standard::dvb)
            found = Standard::dvb;
    }
    return found;
}

/** What nobody said, the document does: its "standard", "private_data_specifier" and "charset". */
void completeContext(DescriptorContext &usual, const Fields &document, const std::vector<Fields> &sections)
{
    const auto text = [&](std::string_view key) -> std::optional<std::string> {
        const Field *field = findField(document, key);
        return field && field->kind == Field::Kind::text ? std::optional(field->text) : std::nullopt;
    };
    const auto refuse = [](std::string_view key, const std::string &what) {
        throw FieldError("/" + std::string(key), "\"" + what + "\" is not known here");
    };
    if (usual.standard == Standard::unknown)
        usual.standard = text("standard") ? standardNamed(*text("standard")) : standardOf(sections);
    if (const auto word = text("private_data_specifier"); word && usual.privateDataSpecifier == 0) {
        const std::optional<u32> specifier = specifierOf(*word);
        usual.privateDataSpecifier = specifier ? *specifier : (refuse("private_data_specifier", *word), 0);
    }
    if (const auto name = text("charset"); name && *usual.charset == '\0') {
        usual.charset = charsetNamed(*name);
        if (usual.charset == nullptr)
            refuse("charset", *name);
    }
}

/** PMTs without a PID have the one that a PAT of the document gives them. */
void findPmtPids(CompiledDocument &document)
{
    std::vector<std::pair<u64, u16>> programs;
    for (const CompiledSection &section : document.sections)
        if (section.kind && section.kind->psiType == PSI_PAT) {
            const DescribedSection pat = describeSection(ByteView(section.bytes), section.kind, Standard::unknown);
            if (const Field *list = findField(pat.fields, "programs"))
                for (const Fields &program : list->items)
                    programs.emplace_back(numberOf(program, "program_number", 0),
                                          static_cast<u16>(numberOf(program, "program_map_PID", 0)));
        }
    for (CompiledSection &section : document.sections) {
        if (section.pid || !section.kind || section.kind->psiType != PSI_PMT || section.bytes.size() < 5)
            continue;
        ByteReader number(ByteView(section.bytes).part(3));
        const u16 wanted = number.u16Field();
        for (const auto &[program, pid] : programs)
            if (program == wanted && program != 0)
                section.pid = pid;
    }
}

} // namespace

CompiledDocument compileDocument(const JsonDocument &document, DescriptorContext usual)
{
    CompiledDocument result;
    const Field &root = document.root();
    const FieldPlace top;
    FieldPlace place{&top, "sections"};
    const std::vector<Fields> *sections = &root.items;
    const bool object = root.kind == Field::Kind::record;
    const Field *list = object ? findField(root.items[0], "sections") : nullptr;
    std::vector<Fields> wrapped;
    if (list && list->kind != Field::Kind::list)
        throw FieldError(place.pointer(), "is not a list of sections");
    if (list) {
        sections = &list->items;
    } else if (object && !findField(root.items[0], "tree") && !findField(root.items[0], "data")) {
        Field tree;
        tree.key = "tree";
        tree.kind = Field::Kind::record;
        tree.items = root.items;
        wrapped.push_back({tree});
        sections = &wrapped;
    } else if (!object && root.kind != Field::Kind::list) {
        throw FieldError("/", "is neither sections nor a section");
    }
    static const std::vector<std::string_view> members = {"psitool", "input",    "standard",   "private_data_specifier",
                                                          "charset", "sections", "descriptors"};
    if (list)
        checkMembers(root.items[0], members, top, result);
    static const Fields none;
    completeContext(usual, object ? root.items[0] : none, *sections);
    for (std::size_t i = 0; i < sections->size(); ++i) {
        const FieldPlace entry{list ? &place : &top, {}, i};
        const FieldPlace &own = list || root.kind == Field::Kind::list ? entry : top;
        const FieldPlace tree{&own, "tree"};
        result.sections.push_back(
            SectionCompiler((*sections)[i], usual, result, own, wrapped.empty() ? tree : top).compile());
    }
    findPmtPids(result);
    for (const CompiledSection &section : result.sections)
        learnFromStt(usual, ByteView(section.bytes));
    result.usual = usual;
    return result;
}

} // namespace psi::describe
