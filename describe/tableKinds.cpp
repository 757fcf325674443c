#include "describe/tableKinds.h"

#include "describe/structures/tables.h"

#include <algorithm>

namespace psi::describe {

namespace {

constexpr u16 nitPid = 0x0010;
constexpr u16 sdtPid = 0x0011;
constexpr u16 emergencyPid = 0x0021;
constexpr u16 psipBasePid = 0x1FFB;

/** Tables that are shown only by their header and bytes. ISO/IEC 13818-1 Table 2-31, EN 300 468 Table 2, A/65. */
constexpr NamedRange otherTables[] = {
    {0x03, 0x03, "transport stream description"},
    {0x3A, 0x3F, "DSM-CC"},
    {0x4E, 0x4E, "event information, actual transport stream, present/following"},
    {0x4F, 0x4F, "event information, other transport stream, present/following"},
    {0x50, 0x5F, "event information, actual transport stream, schedule"},
    {0x60, 0x6F, "event information, other transport stream, schedule"},
    {0x70, 0x70, "time and date"},
    {0x71, 0x71, "running status"},
    {0x72, 0x72, "stuffing"},
    {0x73, 0x73, "time offset"},
    {0x74, 0x74, "application information"},
    {0x7E, 0x7E, "discontinuity information"},
    {0x7F, 0x7F, "selection information"},
    {0x80, 0x8F, "CA message"},
    {0xCA, 0xCA, "rating region"},
    {0xCB, 0xCB, "event information"},
    {0xCC, 0xCC, "extended text"},
};

bool contains(const std::vector<std::string> &words, const std::string &word)
{
    return std::find(words.begin(), words.end(), word) != words.end();
}

} // namespace

const std::vector<TableKind> &tableKinds()
{
    static const std::vector<TableKind> kinds{
        {"PAT", "pat", "pat", "program association", 0x00, PSI_PAT, 0x0000, Standard::unknown, &patLayout,
         "ISO/IEC 13818-1 2.4.4.3"},
        {"CAT", "cat", "cat", "conditional access", 0x01, PSI_CAT, 0x0001, Standard::unknown, &catLayout,
         "ISO/IEC 13818-1 2.4.4.6"},
        {"PMT", "pmt", "pmt", "program map", 0x02, PSI_PMT, 0x0000, Standard::unknown, &pmtLayout,
         "ISO/IEC 13818-1 2.4.4.8"},
        {"NIT actual", "nit-actual", "nit", "network information, actual network", 0x40, PSI_NIT_ACTUAL, nitPid,
         Standard::dvb, &nitLayout, "EN 300 468 5.2.1"},
        {"NIT other", "nit-other", "nit", "network information, other network", 0x41, PSI_NIT_OTHER, nitPid,
         Standard::dvb, &nitLayout, "EN 300 468 5.2.1"},
        {"SDT actual", "sdt-actual", "sdt", "service description, actual transport stream", 0x42, PSI_SDT_ACTUAL,
         sdtPid, Standard::dvb, &sdtLayout, "EN 300 468 5.2.3"},
        {"SDT other", "sdt-other", "sdt", "service description, other transport stream", 0x46, PSI_SDT_OTHER, sdtPid,
         Standard::dvb, &sdtLayout, "EN 300 468 5.2.3"},
        {"BAT", "bat", "bat", "bouquet association", 0x4A, PSI_BAT, sdtPid, Standard::dvb, &batLayout,
         "EN 300 468 5.2.2"},
        {"MGT", "mgt", "mgt", "master guide", 0xC7, PSI_MGT, psipBasePid, Standard::atsc, &mgtLayout, "A/65 6.2"},
        {"VCT terrestrial", "vct-terrestrial", "vct", "virtual channels, terrestrial", 0xC8, PSI_VCT, psipBasePid,
         Standard::atsc, &terrestrialVctLayout, "A/65 6.3.1"},
        {"VCT cable", "vct-cable", "vct", "virtual channels, cable", 0xC9, PSI_NO_TYPE, psipBasePid, Standard::atsc,
         &cableVctLayout, "A/65 6.3.2"},
        {"STT", "stt", "stt", "system time", 0xCD, PSI_STT, psipBasePid, Standard::atsc, &sttLayout, "A/65 6.1"},
        {"EBIT", "ebit", "ebit", "emergency broadcast index", 0xFD, PSI_EBIT, emergencyPid, Standard::unknown,
         &ebitLayout, "emergency broadcasting"},
        {"EBCT", "ebct", "ebct", "emergency broadcast contents", 0xFE, PSI_EBCT, emergencyPid, Standard::unknown,
         &ebctLayout, "emergency broadcasting"},
        {"EBCAT", "ebcat", "ebcat", "emergency broadcast certificates", 0xFC, PSI_EBCAT, emergencyPid,
         Standard::unknown, &ebcatLayout, "emergency broadcasting"},
        {"EBCCT", "ebcct", "ebcct", "emergency broadcast commands", 0xFB, PSI_EBCCT, emergencyPid, Standard::unknown,
         &ebcctLayout, "emergency broadcasting"},
    };
    return kinds;
}

bool TableKind::isShort() const
{
    constexpr std::size_t indicatorPlace = 1; // of section_syntax_indicator
    return layout->items[indicatorPlace].low == 0;
}

const char *tableDescription(u8 tableId)
{
    const TableKind *kind = tableKindOf(tableId);
    return kind ? kind->description : findName(otherTables, tableId, "");
}

const TableKind *tableKindOf(u8 tableId)
{
    for (const TableKind &kind : tableKinds())
        if (kind.holds(tableId))
            return &kind;
    return nullptr;
}

std::vector<std::string> tableWords()
{
    std::vector<std::string> words;
    for (const TableKind &kind : tableKinds())
        for (const char *word : {kind.family, kind.option})
            if (!contains(words, word))
                words.emplace_back(word);
    return words;
}

} // namespace psi::describe
