#include "lines.h"

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
    for (const std::string &part : parts)
        text += (text.empty() ? "" : separator) + part;
    return text;
}

namespace {

std::string fieldText(const Field &field)
{
    if (field.kind != Field::Kind::number)
        return field.key + " " + (field.text.empty() ? "\"\"" : field.text);
    const std::string number = field.hexDigits ? hex(field.number, field.hexDigits) : std::to_string(field.number);
    return field.key + " " + number + (field.text.empty() ? "" : " (" + field.text + ")");
}

/** The plain fields of a descriptor or loop entry on one line; loops follow as children. */
void addFields(TreeNode &node, const Fields &fields, const char *separator)
{
    std::vector<std::string> plain;
    for (const Field &field : fields)
        if (field.kind != Field::Kind::list)
            plain.push_back(fieldText(field));
    if (!plain.empty())
        node.text += separator + joined(plain, ", ");
    for (const Field &field : fields) {
        // A loop of one entry needs no line of its own.
        const bool inLine = field.items.size() == 1 && plain.empty();
        for (const Fields &item : field.items)
            addFields(inLine ? node : node.add(""), item, inLine ? separator : "");
    }
}

} // namespace

void addDescriptor(TreeNode &parent, const ReadDescriptor &descriptor)
{
    const DescribedDescriptor &description = descriptor.description;
    TreeNode &node = parent.add(hex(descriptor.tag, 2) + " " + description.name);
    if (!description.note.empty())
        node.text += " (" + description.note + ")";
    addFields(node, description.fields, ": ");
    if (description.fields.empty() && !descriptor.payload.empty())
        node.text += ": " + toHex(descriptor.payload);
}

void addDescriptors(TreeNode &parent, const std::vector<ReadDescriptor> &descriptors)
{
    for (const ReadDescriptor &descriptor : descriptors)
        addDescriptor(parent, descriptor);
}

void addCaSystems(TreeNode &parent, const caInfo *list, const char *pidKind)
{
    for (const caInfo &ca : nodes(list)) {
        TreeNode &node = parent.add("CA " + hex(ca.caSystemId, 4) + " " + padded(caSystemName(ca.caSystemId), 14) +
                                    " " + pidKind + " PID " + hexDec(ca.caPid));
        if (ca.privateLen > 0)
            node.text += ", private data " + toHex({ca.privateData, ca.privateLen});
    }
}

} // namespace psitool
