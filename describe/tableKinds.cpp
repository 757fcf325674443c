#include "describe/tableKinds.h"

#include "describe/structures/tables.h"

#include <algorithm>

namespace psi::describe {

namespace {

constexpr u16 nitPid = 0x0010;
constexpr u16 sdtPid = 0x0011;
constexpr u16 emergencyPid = 0x0021;
constexpr u16 psipBasePid = 0x1FFB;
constexpr u16 eitPid = 0x0012;
constexpr u16 timePid = 0x0014;
constexpr u16 ldtPid = 0x0025;
constexpr u16 cdtPid = 0x0029;
constexpr u16 elsewhere = 0x1FFF; // another table says where it is

/** Tables that are shown only by their header and bytes. */
constexpr NamedRange otherTables[] = {
    {0x75, 0x75, "container"},  {0x77, 0x77, "content identifier"}, {0x78, 0x78, "MPE-FEC"},
    {0x7A, 0x7A, "MPE-IFEC"},   {0x7B, 0x7B, "protection message"}, {0x7C, 0x7C, "downloadable font information"},
    {0x80, 0x8F, "CA message"},
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
        {"TSDT", "tsdt", "tsdt", "transport stream description", 0x03, PSI_NO_TYPE, 0x0002, Standard::unknown,
         &tsdtLayout, "ISO/IEC 13818-1 2.4.4.13"},
        {"EIT actual p/f", "eit-actual-pf", "eit", "event information, actual transport stream, present/following",
         0x4E, PSI_NO_TYPE, eitPid, Standard::dvb, &eitLayout, "EN 300 468 5.2.4"},
        {"EIT other p/f", "eit-other-pf", "eit", "event information, other transport stream, present/following", 0x4F,
         PSI_NO_TYPE, eitPid, Standard::dvb, &eitLayout, "EN 300 468 5.2.4"},
        {"EIT actual schedule", "eit-actual-schedule", "eit", "event information, actual transport stream, schedule",
         0x50, PSI_NO_TYPE, eitPid, Standard::dvb, &eitLayout, "EN 300 468 5.2.4", 0x5F},
        {"EIT other schedule", "eit-other-schedule", "eit", "event information, other transport stream, schedule", 0x60,
         PSI_NO_TYPE, eitPid, Standard::dvb, &eitLayout, "EN 300 468 5.2.4", 0x6F},
        {"TDT", "tdt", "tdt", "time and date", 0x70, PSI_NO_TYPE, timePid, Standard::dvb, &tdtLayout,
         "EN 300 468 5.2.5", 0, SectionEnd::nothing},
        {"TOT", "tot", "tot", "time offset", 0x73, PSI_NO_TYPE, timePid, Standard::dvb, &totLayout, "EN 300 468 5.2.6"},
        {"RST", "rst", "rst", "running status", 0x71, PSI_NO_TYPE, 0x0013, Standard::dvb, &rstLayout,
         "EN 300 468 5.2.7", 0, SectionEnd::nothing},
        {"ST", "st", "st", "stuffing", 0x72, PSI_NO_TYPE, timePid, Standard::dvb, &stLayout, "EN 300 468 5.2.8", 0,
         SectionEnd::nothing},
        {"DIT", "dit", "dit", "discontinuity information", 0x7E, PSI_NO_TYPE, 0x001E, Standard::dvb, &ditLayout,
         "EN 300 468 7.1.1", 0, SectionEnd::nothing},
        {"SIT", "sit", "sit", "selection information", 0x7F, PSI_NO_TYPE, 0x001F, Standard::dvb, &sitLayout,
         "EN 300 468 7.1.2"},
        {"RNT", "rnt", "rnt", "resolution provider notification", 0x79, PSI_NO_TYPE, 0x0016, Standard::dvb, &rntLayout,
         "TS 102 323 5.2"},
        {"AIT", "ait", "ait", "application information", 0x74, PSI_NO_TYPE, elsewhere, Standard::dvb, &aitLayout,
         "TS 102 809 5.3.4.6"},
        {"INT", "int", "int", "IP/MAC notification", 0x4C, PSI_NO_TYPE, elsewhere, Standard::dvb, &intLayout,
         "EN 301 192 8.4.3"},
        {"UNT", "unt", "unt", "update notification", 0x4B, PSI_NO_TYPE, elsewhere, Standard::dvb, &untLayout,
         "TS 102 006 9.4"},
        {"DSM-CC LLC/SNAP", "dsmcc-llc", "dsmcc", "DSM-CC, multiprotocol encapsulation", 0x3A, PSI_NO_TYPE, elsewhere,
         Standard::unknown, &dsmccPrivateLayout, "ISO/IEC 13818-6 9.2", 0, SectionEnd::either},
        {"DSM-CC control", "dsmcc-control", "dsmcc", "DSM-CC, download control messages", 0x3B, PSI_NO_TYPE, elsewhere,
         Standard::unknown, &dsmccControlLayout, "ISO/IEC 13818-6 9.2", 0, SectionEnd::either},
        {"DSM-CC data", "dsmcc-data", "dsmcc", "DSM-CC, download data", 0x3C, PSI_NO_TYPE, elsewhere, Standard::unknown,
         &dsmccDataLayout, "ISO/IEC 13818-6 9.2", 0, SectionEnd::either},
        {"DSM-CC stream", "dsmcc-stream", "dsmcc", "DSM-CC, stream descriptors", 0x3D, PSI_NO_TYPE, elsewhere,
         Standard::unknown, &dsmccStreamLayout, "ISO/IEC 13818-6 9.2", 0, SectionEnd::either},
        {"MPE", "mpe", "dsmcc", "DSM-CC, IP datagrams", 0x3E, PSI_NO_TYPE, elsewhere, Standard::unknown, &mpeLayout,
         "EN 301 192 7.1", 0, SectionEnd::either},
        {"DSM-CC private", "dsmcc-private", "dsmcc", "DSM-CC, addressable sections", 0x3F, PSI_NO_TYPE, elsewhere,
         Standard::unknown, &dsmccPrivateLayout, "ISO/IEC 13818-6 9.2", 0, SectionEnd::either},
        {"RRT", "rrt", "rrt", "rating region", 0xCA, PSI_NO_TYPE, psipBasePid, Standard::atsc, &rrtLayout, "A/65 6.4"},
        {"ATSC EIT", "atsc-eit", "eit", "event information", 0xCB, PSI_NO_TYPE, elsewhere, Standard::atsc,
         &atscEitLayout, "A/65 6.5"},
        {"ETT", "ett", "ett", "extended text", 0xCC, PSI_NO_TYPE, elsewhere, Standard::atsc, &ettLayout, "A/65 6.6"},
        {"DCCT", "dcct", "dcct", "directed channel change", 0xD3, PSI_NO_TYPE, elsewhere, Standard::atsc, &dcctLayout,
         "A/65 6.7"},
        {"DCCSCT", "dccsct", "dccsct", "directed channel change selection codes", 0xD4, PSI_NO_TYPE, psipBasePid,
         Standard::atsc, &dccsctLayout, "A/65 6.8"},
        {"SCTE 18", "scte18", "scte18", "cable emergency alert", 0xD8, PSI_NO_TYPE, psipBasePid, Standard::atsc,
         &alertLayout, "SCTE 18 5"},
        {"SCTE 35", "scte35", "scte35", "splice information", 0xFC, PSI_NO_TYPE, elsewhere, Standard::unknown,
         &spliceLayout, "SCTE 35 9.6"},
        {"BIT", "bit", "bit", "broadcaster information", 0xC4, PSI_NO_TYPE, 0x0024, Standard::dvb, &bitLayout,
         "ARIB STD-B10 5.2.13"},
        {"NBIT", "nbit", "nbit", "network board information", 0xC5, PSI_NO_TYPE, 0x0025, Standard::dvb, &nbitLayout,
         "ARIB STD-B10 5.2.14", 0xC6},
        {"LDT", "ldt", "ldt", "linked description", 0xC7, PSI_NO_TYPE, ldtPid, Standard::dvb, &ldtLayout,
         "ARIB STD-B10 5.2.15"},
        {"SDTT", "sdtt", "sdtt", "software download trigger", 0xC3, PSI_NO_TYPE, 0x0023, Standard::dvb, &sdttLayout,
         "ARIB STD-B21 12.2"},
        {"CDT", "cdt", "cdt", "common data", 0xC8, PSI_NO_TYPE, cdtPid, Standard::dvb, &cdtLayout, "ARIB STD-B21 12.2"},
        {"LIT", "lit", "lit", "local event information", 0xD0, PSI_NO_TYPE, 0x0020, Standard::dvb, &litLayout,
         "ARIB STD-B10 5.1.2"},
        {"ERT", "ert", "ert", "event relation", 0xD1, PSI_NO_TYPE, 0x0021, Standard::dvb, &ertLayout,
         "ARIB STD-B10 5.1.3"},
    };
    return kinds;
}

std::size_t TableKind::longestSection() const
{
    constexpr u8 lastOfPsi = 0x03;
    constexpr u8 firstOfEvents = 0x4E;
    constexpr u8 firstOfTimes = 0x70;
    constexpr u8 lastOfTimes = 0x74;
    const u8 id = tableId;
    const bool psip = id == 0xC8 || id == 0xC9 || id == 0xCA || id == 0xCD;
    const bool limited = id <= lastOfPsi || (id >= 0x40 && id < firstOfEvents && id != 0x4B && id != 0x4C) ||
                         (id >= firstOfTimes && id <= lastOfTimes) || (standard == Standard::atsc && psip);
    return limited ? 1024 : 4096;
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

/** Numbers that two standards gave away: the PID and the form of the section tell which is meant. */
const TableKind *tableKindOf(ByteView section, std::optional<u16> pid)
{
    constexpr u8 longForm = 0x80;
    const auto named = [](std::string_view option) -> const TableKind * {
        for (const TableKind &kind : tableKinds())
            if (option == kind.option)
                return &kind;
        return nullptr;
    };
    if (section.empty())
        return nullptr;
    if (section[0] == 0xFC && section.size() > 1 && !(section[1] & longForm))
        return named("scte35");
    if (section[0] == 0xC7 && pid == ldtPid)
        return named("ldt");
    if (section[0] == 0xC8 && pid == cdtPid)
        return named("cdt");
    return tableKindOf(section[0]);
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
