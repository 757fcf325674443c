#include "edit/editFields.h"

#include "cli/numbers.h"
#include "describe/json/sectionDocument.h"
#include "edit/editPlan.h"
#include "edit/editTables.h"
#include "edit/editedTable.h"
#include "input/documentText.h"
#include "input/textFile.h"

#include <algorithm>

namespace psitool {

namespace {

void checkTable(const FieldPath &path)
{
    const std::vector<std::string> words = tableWords();
    if (std::find(words.begin(), words.end(), path.table) != words.end())
        return;
    const std::string near = nearest(path.table, {words.begin(), words.end()});
    wrongUse("--set " + path.text + ": there is no table \"" + path.table + "\"" +
             (near.empty() ? "" : "; the nearest is \"" + near + "\""));
}

std::string capitals(std::string word)
{
    for (char &letter : word)
        if (letter >= 'a' && letter <= 'z')
            letter = static_cast<char>(letter - 'a' + 'A');
    return word;
}

/** Brackets, braces and quotes begin JSON; anything else is meant as it stands. */
bool isJson(const std::string &value)
{
    return !value.empty() && (value[0] == '{' || value[0] == '[' || value[0] == '"');
}

} // namespace

bool SetRequest::isOf(const TableKind &kind) const
{
    return path.table == kind.option || path.table == kind.family;
}

bool SetRequest::mayBeShort() const
{
    const std::vector<TableKind> &kinds = tableKinds();
    return std::any_of(kinds.begin(), kinds.end(),
                       [this](const TableKind &kind) { return isOf(kind) && kind.isShort(); });
}

std::string tableName(const std::string &title, std::optional<u16> id)
{
    return title + (id ? " " + numberText(*id) : "");
}

std::string SetRequest::tableName() const
{
    std::string title;
    for (const TableKind &kind : tableKinds())
        if (isOf(kind))
            title = title.empty() ? kind.title : capitals(path.table);
    return psitool::tableName(title, path.id);
}

std::string GivenSection::name() const
{
    const ByteView section = view(bytes);
    const std::optional<u16> id = isLongForm(section) ? std::optional(idExtensionOf(section)) : std::nullopt;
    return place + ": " + tableName(kind->title, id);
}

SetRequest parseSet(const std::string &text)
{
    SetRequest set;
    try {
        const auto [path, value] = splitAssignment(text);
        set.path = parseFieldPath(path);
        set.change.text = value;
        set.change.remove = value == "null";
        if (isJson(value)) {
            set.json = std::make_shared<JsonDocument>(value);
            set.change.json = &set.json->root();
        }
    } catch (const PathError &error) {
        wrongUse("--set " + text + ": " + error.what());
    } catch (const FieldError &error) {
        wrongUse("--set " + text + ": the value: " + error.what());
    }
    checkTable(set.path);
    return set;
}

std::vector<GivenSection> readGiven(const std::string &file)
{
    std::vector<GivenSection> given;
    const std::string name = file == "-" ? "standard input" : file;
    try {
        const JsonDocument json(readDocument(file));
        const CompiledDocument document = compileDocument(json, Standard::unknown);
        const std::string lead = name + ": ";
        for (const std::string &warning : document.warnings)
            reportError(lead + warning);
        for (const CompiledSection &section : document.sections) {
            const std::string place = section.place.empty() ? name : lead + section.place; // a tree alone is the file
            if (!section.kind)
                wrongUse(place + ": this table is not known here");
            given.push_back({place, section.pid, section.kind, {section.bytes.begin(), section.bytes.end()}});
        }
    } catch (const FieldError &error) {
        wrongUse(name + ": " + error.what());
    } catch (const TextFileError &error) {
        throw EditError(exitInputError, error.what());
    }
    if (given.empty())
        wrongUse(name + ": there are no sections in it");
    return given;
}

namespace {

double intervalOf(const std::string &text)
{
    constexpr double milliseconds = 1000;
    const std::optional<double> number = secondsFrom(text);
    if (!number)
        wrongUse("--interval: \"" + text + "\" is no number of milliseconds");
    return *number / milliseconds;
}

/** The last interval is that of all tables behind it. */
void parseInserts(const EditWords &words, EditRequest &request)
{
    if (words.inserts.empty() != words.intervals.empty())
        wrongUse(words.inserts.empty() ? "--interval belongs to --insert" : "--insert needs --interval");
    if (words.intervals.size() > words.inserts.size())
        wrongUse("--interval is given more often than --insert");
    for (std::size_t i = 0; i < words.inserts.size(); ++i) {
        const std::string &interval = words.intervals[std::min(i, words.intervals.size() - 1)];
        request.inserts.push_back({readGiven(words.inserts[i]), intervalOf(interval)});
    }
}

} // namespace

void parseFieldRequests(const EditWords &words, EditRequest &request)
{
    for (const std::string &text : words.sets)
        request.sets.push_back(parseSet(text));
    for (const std::string &file : words.tables)
        for (GivenSection &section : readGiven(file))
            request.tables.push_back(std::move(section));
    parseInserts(words, request);
    if (!words.bitrate.empty()) {
        const std::optional<double> rate = rateFrom(words.bitrate);
        if (!rate)
            wrongUse("--bitrate: \"" + words.bitrate + "\" is no rate in bit/s, such as 38M or 5.1M");
        request.bitrate = *rate;
    }
    request.allowSlower = words.allowSlower;
}

} // namespace psitool
