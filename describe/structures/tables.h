/**
 * @file tables.h
 * @brief The layouts of the tables, and the rows that they share.
 */
#ifndef PSI_DESCRIBE_TABLE_LAYOUTS_H
#define PSI_DESCRIBE_TABLE_LAYOUTS_H

#include "describe/structures/structures.h"

namespace psi::describe {

extern const Layout patLayout, catLayout, pmtLayout;                            // ISO/IEC 13818-1 2.4.4
extern const Layout nitLayout, batLayout, sdtLayout;                            // EN 300 468 5.2
extern const Layout mgtLayout, terrestrialVctLayout, cableVctLayout, sttLayout; // A/65 6
extern const Layout ebitLayout, ebctLayout, ebcatLayout, ebcctLayout;           // emergency tables
extern const Layout eitLayout, tdtLayout, totLayout, rstLayout, stLayout, ditLayout, sitLayout, tsdtLayout;
extern const Layout aitLayout, intLayout, untLayout, rntLayout;
extern const Layout dsmccControlLayout, dsmccDataLayout, dsmccStreamLayout, dsmccPrivateLayout, mpeLayout;
extern const Layout bitLayout, nbitLayout, ldtLayout, cdtLayout, litLayout, ertLayout; // ARIB STD-B10
extern const Layout sdttLayout;                                                        // ARIB STD-B21
extern const Layout rrtLayout, atscEitLayout, ettLayout, dcctLayout, dccsctLayout;     // A/65 6
extern const Layout alertLayout, spliceLayout;                                         // SCTE 18, SCTE 35
/** @brief What can be said of a section of any table: its header, and the rest as "body". */
extern const Layout anyLongLayout, anyShortLayout, bodyLayout, crcLayout;

std::string sayTable(const Field &number, const Fields &record, const DescriptorContext &context);
std::string sayStream(const Field &number, const Fields &record, const DescriptorContext &context);

inline constexpr NamedRange notYetApplicable[] = {{0, 0, "not yet applicable"}};

/** @brief The first three bytes of every section. @param indicator the bit behind section_syntax_indicator */
constexpr auto sectionStart(const Row<1> &indicator, u64 longForm = 1)
{
    return fields(hex(8, "table_id", {}, sayTable), usually(longForm, flag("section_syntax_indicator")), indicator,
                  reserved(2), length(12, "section_length"));
}

/** @brief version_number to last_section_number. */
constexpr auto sectionVersion()
{
    return fields(reserved(2), usually(0, number(5, "version_number")),
                  usually(1, flag("current_next_indicator", {notYetApplicable, ""})),
                  usually(0, number(8, "section_number")), usually(0, number(8, "last_section_number")));
}

/** @brief The header of the long form. @param idKey what its table_id_extension is called. ISO/IEC 13818-1 2.4.4.11 */
constexpr auto sectionHeader(const Row<1> &indicator, const char *idKey)
{
    return fields(sectionStart(indicator), hex(16, idKey), sectionVersion());
}

/** @brief A loop of descriptors behind its length of 12 bits. */
constexpr auto descriptorLoop(const char *lengthKey)
{
    return fields(reserved(4), sized(12, lengthKey, descriptors()));
}

/** @brief An elementary stream of a program. ISO/IEC 13818-1 2.4.4.8 */
constexpr auto elementaryStream()
{
    return fields(hex(8, "stream_type", streamTypes, sayStream), reserved(3), pid("elementary_PID"),
                  descriptorLoop("ES_info_length"));
}

} // namespace psi::describe

#endif
