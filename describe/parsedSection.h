/**
 * @file parsedSection.h
 * @brief A section's syntax tree while it is looked at.
 */
#ifndef PSI_DESCRIBE_PARSED_SECTION_H
#define PSI_DESCRIBE_PARSED_SECTION_H

#include "describe/bytes.h"

namespace psi::describe {

/**
 * @brief The tree that the library makes of a section, or one that was made by hand; false when there is none.
 * @tparam Section the type's record
 */
template <typename Section> class ParsedSection {
public:
    /** @brief Parse a section. @param type table-type code of psi.h */
    ParsedSection(u32 type, ByteView section) : type_(type)
    {
        void *tree = nullptr;
        if (syntaxAnalysePsi(type_, &tree, section.data(), static_cast<u32>(section.size())) == 0)
            tree_ = static_cast<Section *>(tree);
    }
    /** @brief Take over a record that its creator made. */
    ParsedSection(u32 type, Section *tree) : type_(type), tree_(tree) {}
    ~ParsedSection()
    {
        if (tree_)
            syntaxDestroyPsiSection(type_, tree_);
    }
    ParsedSection(const ParsedSection &) = delete;
    ParsedSection &operator=(const ParsedSection &) = delete;

    const Section &operator*() const { return *tree_; }
    const Section *operator->() const { return tree_; }
    Section &operator*() { return *tree_; }
    Section *operator->() { return tree_; }
    explicit operator bool() const { return tree_ != nullptr; }

private:
    u32 type_;
    Section *tree_ = nullptr;
};

} // namespace psi::describe

#endif
