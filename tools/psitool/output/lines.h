/**
 * @file lines.h
 * @brief Lines that all text output is made of.
 */
#ifndef PSITOOL_LINES_H
#define PSITOOL_LINES_H

#include "describe/modelView.h"
#include "output/described.h"
#include "output/lineTree.h"

#include <string>
#include <vector>

namespace psitool {

/** @brief Words and a value, the values of all lines in one column. */
std::string labelled(const std::string &label, const std::string &value);

/** @brief Parts with something between them. */
std::string joined(const std::vector<std::string> &parts, const char *separator);

/** @brief "MPEG-1 audio eng": what a stream carries, and in which languages. */
std::string streamTitle(const std::string &kind, const std::vector<std::string> &languages);

/** @brief Words in their order, each once: "DSM-CC sections (7)". */
std::vector<std::string> counts(const std::vector<std::string> &words);

/** @brief What number the engineer reads: "0x1B (H.264/AVC video)", "0x0100 (256)", "4 (running)". */
std::string numberText(const Field &field);

/** @brief The value of a number, text or byte run as it stands behind its key; names in quotation marks. */
std::string valueText(const Field &field);

/** @brief A name in quotation marks; "" for an empty one. */
std::string quoted(const DecodedText &text);

/** @brief A name behind a number: two blanks and quoted(), or nothing. */
std::string quotedBehind(const DecodedText &text);

/**
 * @brief Put the plain fields of a descriptor or loop entry on a node's line; loops follow below it.
 * @param separator stands between the line so far and the fields
 */
void addFields(LineTree &node, const Fields &fields, const char *separator);

/** @brief Add a line with a descriptor's name and fields; loops of several entries go below it. */
void addDescriptor(LineTree &parent, const ReadDescriptor &descriptor);
void addDescriptors(LineTree &parent, const std::vector<ReadDescriptor> &descriptors);

/**
 * @brief Add a line for each CA descriptor.
 * @param pidKind what the CA_PID carries: "ECM" or "EMM"
 */
void addCaSystems(LineTree &parent, const caInfo *list, const char *pidKind);

} // namespace psitool

#endif
