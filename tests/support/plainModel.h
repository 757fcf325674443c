/**
 * @file plainModel.h
 * @brief A model as plain values, the sections that have to come out of it, and the text of a tsInfo.
 *
 * The expected sections are packed and written here once more, on top of the section builders, so that nothing of the
 * library's generators is used to check them.
 */
#ifndef PSITEST_PLAIN_MODEL_H
#define PSITEST_PLAIN_MODEL_H

#include "support/sectionBuilder.h"

#include <string>
#include <utility>
#include <vector>

namespace psitest {

struct PlainDescriptor {
    u8 tag = 0;
    Bytes payload; /**< at most 255 bytes */
};
using PlainDescriptors = std::vector<PlainDescriptor>;

struct PlainCa {
    u16 systemId = 0;
    u16 pid = 0;
    Bytes privateData; /**< at most 251 bytes */
};
using PlainCas = std::vector<PlainCa>;

struct PlainStream {
    u8 type = 0;
    u16 pid = 0;
    PlainCas ca;
    PlainDescriptors descriptors;
};

struct PlainProgram {
    u16 progNo = 0;
    u16 pmtPid = 0;
    u16 pcrPid = 0x1FFF;
    u8 pmtVersion = 0;
    u8 freeCaMode = 0;
    u8 runningStatus = 0;
    u8 serviceType = 0; /**< of the service_descriptor */
    u8 eitSchedule = 0;
    u8 eitPresentFollowing = 0;
    Bytes provider;
    Bytes name;
    PlainCas ca;
    PlainDescriptors pmtDescriptors;
    PlainDescriptors sdtDescriptors;
    std::vector<PlainStream> streams;
    u16 major = 0;
    u16 minor = 0;
    u16 channelTsid = 0;
    u16 sourceId = 0;
    u8 modulationMode = 0;
    u8 vctServiceType = 0;
};

struct PlainModel {
    u16 tsId = 0;
    u16 originalNetworkId = 0;
    u16 netPid = 0;
    u8 netFlag = 0;
    u8 patVersion = 0;
    u8 sdtVersion = 0;
    u8 catVersion = 0;
    u32 tableMask = 0;
    std::vector<PlainProgram> programs;
    PlainCas catCa;
    PlainDescriptors catDescriptors;
    PlainDescriptors vctDescriptors;
};

/** @brief The sets of tables that AutoMakeSection() and autoSchTable() know. */
enum Standard : u32 { dvb = 0, atsc = 1 };

/** @brief Descriptors that take exactly @p bytes bytes together, tags and lengths included (0 or at least 2). */
PlainDescriptors fillerDescriptors(std::size_t bytes, u8 tag = 0x80);

/** @name Descriptor loops as they stand in a section @{ */
Bytes loopOf(const PlainDescriptors &descriptors);
Bytes loopOf(const PlainCas &cas);
/** @} */

/** @brief A pool block with the bytes, null for none. */
u8 *poolCopy(const Bytes &bytes);
void addDescriptors(descInfo **list, const PlainDescriptors &descriptors);
void addCas(caInfo **list, const PlainCas &cas);
progInfo *addProgram(tsInfo *model, const PlainProgram &program);
/** @brief Fill an empty model; what it points to are pool blocks that it owns. */
void fillModel(tsInfo *model, const PlainModel &plain);

/** @name Everything in a list or a model but the section list, for comparisons before and after @{ */
std::string textOf(const descInfo *list);
std::string textOf(const caInfo *list);
std::string textOf(const tsInfo &model);
/** @} */
std::string hexOf(const Bytes &bytes, const char *digits = "0123456789abcdef");

/** @name The sections that have to be generated @{ */
std::vector<Bytes> expectedPat(const PlainModel &model);
/** @brief The PMT of one program, however long it becomes. */
Bytes expectedPmt(const PlainProgram &program);
std::vector<Bytes> expectedCat(const PlainModel &model);
std::vector<Bytes> expectedSdt(const PlainModel &model);
std::vector<Bytes> expectedVct(const PlainModel &model);
/** @brief Whether the limits let this PMT through. */
bool isMade(const Bytes &pmt, const PlainProgram &program);
/** @brief All of a standard but the MGT, by type and in the order in which they are made. */
std::vector<std::pair<u8, Bytes>> expectedSections(const PlainModel &model, Standard standard);
/** @} */

} // namespace psitest

#endif // PSITEST_PLAIN_MODEL_H
