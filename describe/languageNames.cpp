#include "describe/names.h"

#include <string_view>

namespace psi::describe {

namespace {

struct Language {
    std::string_view code;
    const char *name;
};

// ISO 639-2 codes, both kinds, and those that older streams use ("scr", "scc", "esl").
constexpr Language languages[] = {
    {"alb", "Albanian"},
    {"ara", "Arabic"},
    {"arm", "Armenian"},
    {"aze", "Azerbaijani"},
    {"baq", "Basque"},
    {"bel", "Belarusian"},
    {"ben", "Bengali"},
    {"bod", "Tibetan"},
    {"bos", "Bosnian"},
    {"bre", "Breton"},
    {"bul", "Bulgarian"},
    {"bur", "Burmese"},
    {"cat", "Catalan"},
    {"ces", "Czech"},
    {"chi", "Chinese"},
    {"cos", "Corsican"},
    {"cym", "Welsh"},
    {"cze", "Czech"},
    {"dan", "Danish"},
    {"deu", "German"},
    {"dut", "Dutch"},
    {"ell", "Greek"},
    {"eng", "English"},
    {"esl", "Spanish"},
    {"est", "Estonian"},
    {"eus", "Basque"},
    {"fao", "Faroese"},
    {"fas", "Persian"},
    {"fil", "Filipino"},
    {"fin", "Finnish"},
    {"fra", "French"},
    {"fre", "French"},
    {"fry", "Western Frisian"},
    {"geo", "Georgian"},
    {"ger", "German"},
    {"gla", "Gaelic"},
    {"gle", "Irish"},
    {"glg", "Galician"},
    {"gre", "Greek"},
    {"gsw", "Swiss German"},
    {"guj", "Gujarati"},
    {"heb", "Hebrew"},
    {"hin", "Hindi"},
    {"hrv", "Croatian"},
    {"hun", "Hungarian"},
    {"hye", "Armenian"},
    {"ice", "Icelandic"},
    {"ind", "Indonesian"},
    {"isl", "Icelandic"},
    {"ita", "Italian"},
    {"jpn", "Japanese"},
    {"kan", "Kannada"},
    {"kat", "Georgian"},
    {"kaz", "Kazakh"},
    {"khm", "Khmer"},
    {"kor", "Korean"},
    {"kur", "Kurdish"},
    {"lao", "Lao"},
    {"lat", "Latin"},
    {"lav", "Latvian"},
    {"lit", "Lithuanian"},
    {"ltz", "Luxembourgish"},
    {"mac", "Macedonian"},
    {"mal", "Malayalam"},
    {"mar", "Marathi"},
    {"may", "Malay"},
    {"mis", "uncoded language"},
    {"mkd", "Macedonian"},
    {"mlt", "Maltese"},
    {"mon", "Mongolian"},
    {"msa", "Malay"},
    {"mul", "multiple languages"},
    {"mya", "Burmese"},
    {"nep", "Nepali"},
    {"nld", "Dutch"},
    {"nno", "Norwegian Nynorsk"},
    {"nob", "Norwegian Bokmal"},
    {"nor", "Norwegian"},
    {"oci", "Occitan"},
    {"pan", "Panjabi"},
    {"per", "Persian"},
    {"pol", "Polish"},
    {"por", "Portuguese"},
    {"pus", "Pushto"},
    {"qaa", "original language"},
    {"roh", "Romansh"},
    {"ron", "Romanian"},
    {"rum", "Romanian"},
    {"rus", "Russian"},
    {"scc", "Serbian"},
    {"scr", "Croatian"},
    {"sin", "Sinhala"},
    {"slk", "Slovak"},
    {"slo", "Slovak"},
    {"slv", "Slovenian"},
    {"sme", "Northern Sami"},
    {"som", "Somali"},
    {"spa", "Spanish"},
    {"sqi", "Albanian"},
    {"srp", "Serbian"},
    {"swa", "Swahili"},
    {"swe", "Swedish"},
    {"tam", "Tamil"},
    {"tel", "Telugu"},
    {"tgl", "Tagalog"},
    {"tha", "Thai"},
    {"tib", "Tibetan"},
    {"tur", "Turkish"},
    {"ukr", "Ukrainian"},
    {"und", "undetermined"},
    {"urd", "Urdu"},
    {"uzb", "Uzbek"},
    {"vie", "Vietnamese"},
    {"wel", "Welsh"},
    {"wen", "Sorbian"},
    {"yid", "Yiddish"},
    {"zho", "Chinese"},
    {"zul", "Zulu"},
    {"zxx", "no linguistic content"},
};

} // namespace

const char *languageName(const std::string &code)
{
    std::string small = code;
    for (char &letter : small)
        if (letter >= 'A' && letter <= 'Z')
            letter = static_cast<char>(letter - 'A' + 'a');
    for (const Language &language : languages)
        if (language.code == small)
            return language.name;
    return small.size() == 3 && small >= "qaa" && small <= "qtz" ? "local use" : nullptr;
}

} // namespace psi::describe
