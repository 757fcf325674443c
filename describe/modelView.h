/**
 * @file modelView.h
 * @brief Reading a transport stream's model: what text and JSON output have in common.
 */
#ifndef PSI_DESCRIBE_MODEL_VIEW_H
#define PSI_DESCRIBE_MODEL_VIEW_H

#include "describe/descriptors.h"
#include "describe/text.h"

#include <cstddef>
#include <iterator>
#include <map>
#include <string>
#include <vector>

namespace psi::describe {

/** @brief The nodes of one of the library's lists, for a range-based for. */
template <typename Node> class NodeList {
public:
    /** @brief Walks along the links of the nodes. */
    class Iterator {
    public:
        using iterator_category = std::input_iterator_tag;
        using value_type = Node;
        using difference_type = std::ptrdiff_t;
        using pointer = const Node *;
        using reference = const Node &;

        explicit Iterator(const Node *node) : node_(node) {}
        const Node &operator*() const { return *node_; }
        /** @brief On to the next node. */
        Iterator &operator++()
        {
            node_ = static_cast<const Node *>(node_->link.next);
            return *this;
        }
        bool operator==(const Iterator &other) const { return node_ == other.node_; }
        bool operator!=(const Iterator &other) const { return node_ != other.node_; }

    private:
        const Node *node_;
    };

    explicit NodeList(const Node *head) : head_(head) {}
    Iterator begin() const { return Iterator(head_); }
    Iterator end() const { return Iterator(nullptr); }
    bool empty() const { return head_ == nullptr; }

private:
    const Node *head_;
};

/** @brief A list for a range-based for. @param head its first node, or null */
template <typename Node> NodeList<Node> nodes(const Node *head)
{
    return NodeList<Node>(head);
}

/** @brief The descriptors of a list, each read with what the ones in front of it say about it. */
std::vector<ReadDescriptor> readDescriptors(const descInfo *list, DescriptorContext context);

/** @brief How the descriptors of a program's PMT are to be read. @param list its program-level descriptors
 * @param usual how those of the stream are read */
DescriptorContext programContext(const descInfo *list, const DescriptorContext &usual);

/** @brief The bytes of a stored section. */
inline ByteView bytesOf(const sectionData &section)
{
    return {section.buf, section.len};
}

/** @brief A section, not empty, and the PID that it came on. */
struct PlacedSection {
    u16 pid;
    ByteView bytes;
};

/**
 * @brief How the descriptors and texts of a stream are to be read: by its NIT, or where there is none by its PMTs,
 * whether it is one of ISDB, and of Japan, whose networks write texts in a code of their own; by its STT what is UTC.
 * @param usual what is known of the stream, and what is given: that stands
 * @param tables its NIT (actual), its PMTs and its STT
 */
DescriptorContext contextOf(DescriptorContext usual, const std::vector<PlacedSection> &tables);

/** @brief The same of a model, whose tables tell the standard as well. */
DescriptorContext contextOf(const tsInfo &model);

/** @brief A model, and how the names and private numbers in it are to be read. */
class ModelView {
public:
    /** @param model not owned, outlives the view and stays as it is. Texts and private numbers are read as the standard
     * has them */
    explicit ModelView(const tsInfo &model);
    /** @param usual how they are read, see contextOf() */
    ModelView(const tsInfo &model, const DescriptorContext &usual);

    const tsInfo &model() const { return model_; }
    Standard standard() const { return usual_.standard; }
    /** @brief How what the model does not hold is to be read. */
    const DescriptorContext &context() const { return usual_; }

    /** @brief True when the program's names and channel come from a VCT. */
    bool hasChannel(const progInfo &program) const;
    /** @brief True when an SDT said something about the program; the model holds no flag of its own for that. */
    bool hasService(const progInfo &program) const;
    DecodedText networkName() const { return decodeDvbText({model_.netname, model_.netnameLen}, usual_.charset); }
    DecodedText serviceName(const progInfo &program) const;
    /** @brief The name of a service's provider, by the SDT. */
    DecodedText providerName(const progInfo &program) const
    {
        return decodeDvbText({program.pname, program.pnameLen}, usual_.charset);
    }

    /** @brief The descriptors of a table, read as those of this stream. */
    std::vector<ReadDescriptor> catDescriptors() const { return readDescriptors(model_.catDescList, usual_); }
    std::vector<ReadDescriptor> vctDescriptors() const { return readDescriptors(model_.vctDescList, atsc()); }
    std::vector<ReadDescriptor> pmtDescriptors(const progInfo &program) const;
    std::vector<ReadDescriptor> serviceDescriptors(const progInfo &program) const;
    /** @return valid until another stream is asked about */
    const std::vector<ReadDescriptor> &streamDescriptors(const progInfo &program, const esInfo &stream) const
    {
        return read(program, stream).descriptors;
    }

    std::string streamKind(const progInfo &program, const esInfo &stream) const;
    /** @brief The languages that its descriptors name, each once. */
    std::vector<std::string> streamLanguages(const progInfo &program, const esInfo &stream) const;

    /** @brief True when a table of the type was acquired. */
    bool acquired(u32 psiType) const { return (model_.tableMask >> psiType & 1) != 0; }
    std::size_t programCount() const;
    /** @brief Sections of a type on the section list. */
    std::size_t sectionCount(u32 psiType) const;
    /** @brief Sections of a type by their table_id_extension, in ascending order. */
    std::map<u16, std::vector<const sectionData *>> subTables(u32 psiType) const;

private:
    static DescriptorContext atsc() { return {Standard::atsc, 0, 0}; }
    const sectionData *sectionAround(const u8 *bytes) const;

    /** @brief What is read of an elementary stream; its kind, languages and descriptors are asked for one by one. */
    struct Stream {
        const esInfo *stream;
        DescriptorContext context; /**< of its program */
        std::vector<ReadDescriptor> descriptors;
    };
    const Stream &read(const progInfo &program, const esInfo &stream) const;

    const tsInfo &model_;
    DescriptorContext usual_;
    mutable Stream last_ = {};
};

} // namespace psi::describe

#endif
