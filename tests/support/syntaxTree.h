/**
 * @file syntaxTree.h
 * @brief Syntax trees as text, so that two of them can be compared field by field.
 */
#ifndef PSITEST_SYNTAX_TREE_H
#define PSITEST_SYNTAX_TREE_H

#include "support/sectionBuilder.h"

#include <cstddef>
#include <initializer_list>
#include <string_view>

namespace psitest {

/** @brief One line per field, nodes indented below the name of their list. */
class TreeText {
public:
    TreeText &field(const char *name, u32 value);
    /** @brief A byte run; empty ones are absent, so a parser has to keep them as null. */
    TreeText &bytes(const char *name, const Bytes &value);
    /** @brief A node of the list @p name; end() closes it. */
    TreeText &begin(const char *name);
    TreeText &end();
    /** @brief Any line. */
    TreeText &line(const std::string &text);

    const std::string &text() const { return text_; }

private:
    TreeText &append(std::initializer_list<std::string_view> parts);

    std::string text_;
    std::size_t depth_ = 0;
};

/**
 * @brief A tree of the library, field by field and in the order of its lists.
 * @param psiType what it was parsed as
 * @param tree the record
 *
 * A payload that is not a pool block of exactly its length is said so, which no expectation does.
 */
std::string describeTree(u32 psiType, const void *tree);

/** @brief A section parsed by the library; the tree is freed at the end. */
class ParsedTree {
public:
    ParsedTree(u32 type, const u8 *buf, std::size_t bufLen);
    ParsedTree(u32 type, const Bytes &section) : ParsedTree(type, section.data(), section.size()) {}
    ~ParsedTree();
    ParsedTree(const ParsedTree &) = delete;
    ParsedTree &operator=(const ParsedTree &) = delete;

    /** @brief What syntaxAnalysePsi() returned. */
    i32 result() const { return result_; }
    /** @brief The record, null when the parse failed. */
    template <typename Record> const Record *as() const { return static_cast<const Record *>(tree_); }
    /** @brief describeTree(), empty when the parse failed. */
    std::string text() const;

private:
    u32 type_;
    void *tree_ = nullptr;
    i32 result_;
};

/** @brief The types that syntaxAnalysePsi() parses. */
const std::vector<u32> &parsedTypes();

} // namespace psitest

#endif // PSITEST_SYNTAX_TREE_H
