/**
 * @file psiDescribe.h
 * @brief Sections as JSON and back, for C and for every language that calls C.
 *
 * The JSON of a section has every field of it under its name in the standard (docs/tables-json.md). What is not edited
 * comes back bit for bit; lengths, counts and CRC_32 are computed.
 *
 * @code
 * psiDescribeError error;
 * char *json = psiDescribeSection(section, length, -1, PSI_DESCRIBE_ANY, &error);
 * ...
 * psiDescribeSections *made = psiDescribeCompile(json, strlen(json), PSI_DESCRIBE_ANY, &error);
 * if (!made)
 *     fprintf(stderr, "%s: %s\n", error.place, error.message);
 * psiDescribeSectionsFree(made);
 * psiDescribeFree(json);
 * @endcode
 *
 * Threads: the operations keep nothing between calls; any number of threads may call them.
 */
#ifndef PSI_DESCRIBE_H
#define PSI_DESCRIBE_H

#include <stddef.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/** @brief Whose numbers a section uses where it does not say so itself. Operations take it as an int, and refuse
 * others. */
typedef enum psiDescribeStandard { PSI_DESCRIBE_ANY, PSI_DESCRIBE_DVB, PSI_DESCRIBE_ATSC } psiDescribeStandard;

/** @brief What is wrong, and where. Both texts are cut to fit, UTF-8, and end with a zero. */
typedef struct psiDescribeError {
    char place[256];   /**< JSON pointer (RFC 6901), or line and column of what is no JSON; "" for no place */
    char message[512]; /**< one line without the place */
} psiDescribeError;

/**
 * @brief A section as JSON.
 * @param section table_id to the last byte; it may be damaged or cut short, which the JSON then tells
 * @param length bytes of it, 1 to 4096
 * @param pid where it was found, 0 to 8191; -1: nobody knows
 * @param standard a psiDescribeStandard: whose private descriptors and numbers are meant
 * @param error gets what is wrong with the arguments, or that memory is short; may be null
 * @return one JSON object, UTF-8, ended by a zero, to be given to psiDescribeFree(); null on failure
 */
char *psiDescribeSection(const uint8_t *section, size_t length, int pid, int standard, psiDescribeError *error);

/** @brief Give back what psiDescribeSection() returned. @param json it, or null */
void psiDescribeFree(char *json);

/** @brief Sections made from JSON. */
typedef struct psiDescribeSections psiDescribeSections;

/**
 * @brief The sections of a JSON document.
 * @param json what psiDescribeSection() or `psitool tables --json` gives, edited or not; an array of such sections, or
 *        the tree of one
 * @param length bytes of it
 * @param standard as for psiDescribeSection(); PSI_DESCRIBE_ANY: what the document says
 * @param error gets the first field that cannot be written and why; may be null
 * @return the sections, to be given to psiDescribeSectionsFree(); null on failure: then nothing was made
 */
psiDescribeSections *psiDescribeCompile(const char *json, size_t length, int standard, psiDescribeError *error);

/** @brief How many there are. @param sections may be null: then 0 */
size_t psiDescribeSectionCount(const psiDescribeSections *sections);

/**
 * @brief One of them.
 * @param sections from psiDescribeCompile()
 * @param index 0 to psiDescribeSectionCount() - 1
 * @param length gets its bytes
 * @param pid gets its PID, or -1 where neither the document nor a standard gives one; may be null
 * @return its bytes, valid until psiDescribeSectionsFree(); null for an index that is too large
 */
const uint8_t *psiDescribeSectionBytes(const psiDescribeSections *sections, size_t index, size_t *length, int *pid);

/**
 * @brief What was passed over: members of the document that contradict others, where it is not known which was edited.
 * @param sections from psiDescribeCompile()
 * @param index 0 for the first one
 * @return one line that begins with a place, UTF-8, valid until psiDescribeSectionsFree(); null behind the last one
 */
const char *psiDescribeWarning(const psiDescribeSections *sections, size_t index);

/** @brief Give them back. @param sections may be null */
void psiDescribeSectionsFree(psiDescribeSections *sections);

#ifdef __cplusplus
}
#endif

#endif
