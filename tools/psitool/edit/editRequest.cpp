#include "edit/editRequest.h"
#include "cli/numbers.h"
#include "describe/text.h"
#include "edit/editFields.h"
#include "output/described.h"

#include <algorithm>
#include <array>
#include <cstddef>

namespace psitool {

namespace {

constexpr char groupSeparator = '\x1F';
/** descriptor_length is a byte. */
constexpr std::size_t largestPayload = 255;
/** PIDs that may be given: above those of ISO/IEC 13818-1 and EN 300 468, below the null packets'. */
constexpr u16 firstFreePid = 0x0020;
constexpr u16 lastFreePid = 0x1FFE;

std::vector<std::string> split(const std::string &text, char separator)
{
    std::vector<std::string> parts(1);
    for (const char c : text) {
        if (c == separator)
            parts.emplace_back();
        else
            parts.back() += c;
    }
    return parts;
}

u16 number(const std::string &option, const std::string &text, unsigned long largest)
{
    const std::optional<u32> value = numberFrom(text);
    if (!value)
        wrongUse(option + ": \"" + text + "\" is no number (decimal, or hexadecimal with 0x)");
    if (*value > largest)
        wrongUse(option + ": " + text + " is more than " + std::to_string(largest));
    return static_cast<u16>(*value);
}

u16 pid(const std::string &text)
{
    const u16 value = number("--pid", text, 0x1FFF);
    if (value < firstFreePid || value > lastFreePid)
        wrongUse("--pid: " + text + " is a reserved PID (0x0020 to 0x1FFE can be changed)");
    return value;
}

/** The word in front of '=' and the text behind it. */
std::pair<std::string, std::string> assignment(const std::string &option, const std::string &word)
{
    const std::size_t equals = word.find('=');
    if (equals == std::string::npos)
        wrongUse(option + ": \"" + word + "\" has no '='");
    return {word.substr(0, equals), word.substr(equals + 1)};
}

/** A name that its descriptor can hold. @return it as it is */
std::string name(const EditRequest &request, const std::string &option, const std::string &text, std::size_t largest)
{
    const std::optional<std::string> bytes = nameBytes(text, request.given.charset);
    if (!bytes)
        wrongUse(option + ": the name \"" + safeText(text) + "\" is no UTF-8, or has control characters");
    if (bytes->size() > largest)
        wrongUse(option + ": the name takes " + std::to_string(bytes->size()) + " bytes, its descriptor holds " +
                 std::to_string(largest));
    return text;
}

void parseService(EditRequest &request, const std::string &group)
{
    /** service_type and both length bytes are in the descriptor as well, EN 300 468 6.2.33. */
    constexpr std::size_t largestName = largestPayload - 3;
    const std::vector<std::string> words = split(group, groupSeparator);
    ServiceEdit &service = request.services[number("--service", words[0], 0xFFFF)];
    if (words.size() == 1)
        wrongUse("--service " + words[0] + ": name=, provider= or type= is missing");
    for (auto word = words.begin() + 1; word != words.end(); ++word) {
        const auto [key, value] = assignment("--service", *word);
        if (key == "name")
            service.name = name(request, "--service", value, largestName);
        else if (key == "provider")
            service.provider = name(request, "--service", value, largestName);
        else if (key == "type")
            service.type = static_cast<u8>(number("--service", value, 0xFF));
        else
            wrongUse("--service: \"" + key + "\" is none of name, provider, type");
    }
    const std::size_t both = nameBytes(service.name.value_or(""), request.given.charset)->size() +
                             nameBytes(service.provider.value_or(""), request.given.charset)->size();
    if (both > largestName)
        wrongUse("--service " + words[0] + ": name and provider take " + std::to_string(both) +
                 " bytes together, their descriptor holds " + std::to_string(largestName));
}

void parseBouquet(EditRequest &request, const std::string &text)
{
    const std::size_t equals = text.find('=');
    const std::string id = text.substr(0, equals);
    const bool numbered =
        equals != std::string::npos && !id.empty() && id.find_first_not_of("0123456789") == std::string::npos;
    const bool hexadecimal = equals != std::string::npos && id.compare(0, 2, "0x") == 0;
    if (!numbered && !hexadecimal)
        request.onlyBouquetName = name(request, "--bouquet-name", text, largestPayload);
    else
        request.bouquetNames[number("--bouquet-name", id, 0xFFFF)] =
            name(request, "--bouquet-name", text.substr(equals + 1), largestPayload);
}

void parseStream(EditRequest &request, const std::string &group)
{
    const std::vector<std::string> words = split(group, groupSeparator);
    const u16 id = number("--ts", words[0], 0xFFFF);
    if (words.size() == 1)
        wrongUse("--ts " + words[0] + ": descriptor=HEX is missing");
    for (auto word = words.begin() + 1; word != words.end(); ++word) {
        const auto [key, value] = assignment("--ts", *word);
        if (key != "descriptor")
            wrongUse("--ts: \"" + key + "\" is not \"descriptor\"");
        const std::optional<std::string> bytes = fromHex(value);
        if (!bytes)
            wrongUse("--ts: \"" + value + "\" is not made of pairs of hexadecimal digits");
        if (bytes->size() < 2 || static_cast<u8>((*bytes)[1]) != bytes->size() - 2)
            wrongUse("--ts: the descriptor " + value + " is not descriptor_tag, descriptor_length and that many bytes");
        request.streamDescriptors.push_back({id, static_cast<u8>((*bytes)[0]), {bytes->begin() + 2, bytes->end()}});
    }
}

void parseProgram(EditRequest &request, const std::string &group)
{
    const std::vector<std::string> words = split(group, groupSeparator);
    const u16 program = number("--program", words[0], 0xFFFF);
    if (words.size() != 2 || words[1] != "remove")
        wrongUse("--program " + words[0] + ": \"remove\" is missing");
    if (program == 0)
        wrongUse("--program: 0 is no program");
    request.removedPrograms.insert(program);
}

void parsePid(EditRequest &request, const std::string &text)
{
    const auto [from, to] = assignment("--pid", text);
    const u16 old = pid(from);
    if (!request.pids.emplace(old, pid(to)).second)
        wrongUse("--pid: " + from + " is given twice");
}

void checkPids(const EditRequest &request)
{
    std::set<u16> taken;
    for (const auto &[from, to] : request.pids) {
        if (from == to)
            wrongUse("--pid: old and new PID are the same");
        if (!taken.insert(to).second)
            wrongUse("--pid: two PIDs get the same new one");
    }
}

/** Options whose first word is an id, and how the words behind it begin. */
struct Group {
    const char *option;
    std::array<const char *, 3> starts;
};
constexpr std::array<Group, 3> groups = {{
    {"--service", {"name=", "provider=", "type="}},
    {"--ts", {"descriptor=", nullptr, nullptr}},
    {"--program", {"remove", nullptr, nullptr}},
}};

bool beginsWith(const std::string &word, const std::string &start)
{
    return word.compare(0, start.size(), start) == 0;
}

/** A word that ends in '=' goes on with a value. */
bool belongsTo(const Group &group, const std::string &word)
{
    return std::any_of(group.starts.begin(), group.starts.end(), [&](const char *start) {
        const std::string known = start != nullptr ? start : "";
        return !known.empty() && (known.back() == '=' ? beginsWith(word, known) : word == known);
    });
}

const Group *groupOf(const std::string &argument)
{
    for (const Group &group : groups)
        if (argument == group.option || beginsWith(argument, std::string(group.option) + "="))
            return &group;
    return nullptr;
}

} // namespace

void wrongUse(const std::string &why)
{
    throw EditError(exitWrongUse, why);
}

std::optional<std::string> nameBytes(const std::string &name, const char *charset)
{
    return *charset != '\0' ? encodeDvbText(name, {}, charset) : encodeDvbText(name);
}

std::vector<std::string> joinEditGroups(const std::vector<std::string> &arguments)
{
    if (arguments.empty() || arguments.front() != "edit")
        return arguments;
    std::vector<std::string> joined;
    for (std::size_t i = 0; i < arguments.size(); ++i) {
        joined.push_back(arguments[i]);
        const Group *const group = groupOf(arguments[i]);
        if (group == nullptr)
            continue;
        if (arguments[i] == group->option && i + 1 < arguments.size())
            joined.push_back(arguments[++i]);
        while (i + 1 < arguments.size() && belongsTo(*group, arguments[i + 1]))
            joined.back() += groupSeparator + arguments[++i];
    }
    return joined;
}

EditRequest parseEditRequest(const EditWords &words)
{
    EditRequest request;
    request.given = words.given;
    for (const std::string &group : words.services)
        parseService(request, group);
    for (const std::string &id : words.removedServices)
        request.removedServices.insert(number("--remove-service", id, 0xFFFF));
    for (const std::string &text : words.networkNames)
        request.networkName = name(request, "--network-name", text, largestPayload);
    for (const std::string &text : words.bouquetNames)
        parseBouquet(request, text);
    for (const std::string &group : words.streams)
        parseStream(request, group);
    for (const std::string &group : words.programs)
        parseProgram(request, group);
    for (const std::string &text : words.pids)
        parsePid(request, text);
    parseFieldRequests(words, request);
    checkPids(request);
    for (const u16 id : request.removedServices)
        if (request.services.count(id) != 0)
            wrongUse("service " + std::to_string(id) + " is to be changed and removed");
    if (request.empty())
        wrongUse("nothing to change is given");
    return request;
}

} // namespace psitool
