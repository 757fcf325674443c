#include "output/lines.h"

#include <algorithm>

namespace psitool {

namespace {

constexpr std::size_t labelWidth = 22;

} // namespace

std::string labelled(const std::string &label, const std::string &value)
{
    return padded(label, labelWidth) + value;
}

std::string quoted(const DecodedText &text)
{
    if (text.utf8.empty() && text.known)
        return "";
    return "\"" + text.utf8 + "\"" + (text.known ? "" : " (unknown character table)");
}

std::string quotedBehind(const DecodedText &text)
{
    const std::string name = quoted(text);
    return name.empty() ? "" : "  " + name;
}

std::string joined(const std::vector<std::string> &parts, const char *separator)
{
    std::string text;
    for (const std::string &part : parts) {
        text += text.empty() ? "" : separator;
        text += part;
    }
    return text;
}

std::string streamTitle(const std::string &kind, const std::vector<std::string> &languages)
{
    return kind + (languages.empty() ? "" : " " + joined(languages, "/"));
}

std::vector<std::string> counts(const std::vector<std::string> &words)
{
    std::vector<std::string> parts;
    for (auto word = words.begin(); word != words.end(); ++word) {
        if (std::find(words.begin(), word, *word) != word)
            continue;
        const auto count = std::count(word, words.end(), *word);
        parts.push_back(*word + (count > 1 ? " (" + std::to_string(count) + ")" : ""));
    }
    return parts;
}

/** Numbers of four hexadecimal digits are PIDs and identifiers, which everybody also knows in decimal. */
std::string numberText(const Field &field)
{
    constexpr unsigned identifierDigits = 4;
    if (!field.text.empty())
        return (field.hexDigits ? hex(field.number, field.hexDigits) : std::to_string(field.number)) + " (" +
               field.text + ")";
    if (field.hexDigits == identifierDigits)
        return hexDec(field.number);
    return field.hexDigits ? hex(field.number, field.hexDigits) : std::to_string(field.number);
}

namespace {

bool isShown(const Field &field)
{
    if (field.quiet)
        return false;
    return field.kind == Field::Kind::number || (field.kind != Field::Kind::list && !field.text.empty());
}

} // namespace

std::string valueText(const Field &field)
{
    if (field.kind == Field::Kind::number)
        return numberText(field);
    // Names and texts may hold commas and blanks; codes like "eng" do not.
    return field.words ? "\"" + field.text + "\"" : field.text;
}

void addFields(LineTree &node, const Fields &fields, const char *separator)
{
    bool plain = false;
    for (const Field &field : fields) {
        if (!isShown(field))
            continue;
        node.text += plain ? ", " : separator;
        node.text += field.key;
        node.text += ' ';
        node.text += valueText(field);
        plain = true;
    }
    for (const Field &field : fields) {
        // A loop of one entry needs no line of its own.
        const bool inLine = field.items.size() == 1 && !plain;
        for (const Fields &item : field.items)
            addFields(inLine ? node : node.add(""), item, inLine ? separator : "");
        addDescriptors(node, field.descriptors);
    }
}

void addDescriptor(LineTree &parent, const ReadDescriptor &descriptor)
{
    const DescribedDescriptor &description = descriptor.description;
    LineTree &node = parent.add(hex(descriptor.tag, 2) + " " + description.name);
    if (!description.note.empty())
        node.text += " (" + description.note + ")";
    addFields(node, description.fields, ": ");
    if (description.fields.empty() && !descriptor.payload.empty())
        node.text += ": " + toHex(descriptor.payload);
}

void addDescriptors(LineTree &parent, const std::vector<ReadDescriptor> &descriptors)
{
    for (const ReadDescriptor &descriptor : descriptors)
        addDescriptor(parent, descriptor);
}

void addCaSystems(LineTree &parent, const caInfo *list, const char *pidKind)
{
    constexpr u16 nullPid = 0x1FFF;
    for (const caInfo &ca : nodes(list)) {
        const std::string pid = ca.caPid == nullPid ? std::string("none (PID 0x1FFF)") : "PID " + hexDec(ca.caPid);
        LineTree &node = parent.add("CA " + hex(ca.caSystemId, 4) + " " + padded(caSystemName(ca.caSystemId), 14) +
                                    " " + pidKind + " " + pid);
        if (ca.privateLen > 0)
            node.text += ", private data " + toHex({ca.privateData, ca.privateLen});
    }
}

} // namespace psitool
