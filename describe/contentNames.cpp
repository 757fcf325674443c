#include "describe/meanings.h"

namespace psi::describe {

namespace {

/* ---- component_type, EN 300 468 table 26 ----------------------------------------------------------------------------
 */

// stream_content, stream_content_ext (0 where it says nothing) and component_type in one number.
constexpr NamedRange componentTypes[] = {
    {0x1001, 0x1001, "4:3, 25 Hz"},
    {0x1002, 0x1002, "16:9 with pan vectors, 25 Hz"},
    {0x1003, 0x1003, "16:9, 25 Hz"},
    {0x1004, 0x1004, "wider than 16:9, 25 Hz"},
    {0x1005, 0x1005, "4:3, 30 Hz"},
    {0x1006, 0x1006, "16:9 with pan vectors, 30 Hz"},
    {0x1007, 0x1007, "16:9, 30 Hz"},
    {0x1008, 0x1008, "wider than 16:9, 30 Hz"},
    {0x1009, 0x1009, "HD, 4:3, 25 Hz"},
    {0x100A, 0x100A, "HD, 16:9 with pan vectors, 25 Hz"},
    {0x100B, 0x100B, "HD, 16:9, 25 Hz"},
    {0x100C, 0x100C, "HD, wider than 16:9, 25 Hz"},
    {0x100D, 0x100D, "HD, 4:3, 30 Hz"},
    {0x100E, 0x100E, "HD, 16:9 with pan vectors, 30 Hz"},
    {0x100F, 0x100F, "HD, 16:9, 30 Hz"},
    {0x1010, 0x1010, "HD, wider than 16:9, 30 Hz"},
    {0x2001, 0x2001, "mono"},
    {0x2002, 0x2002, "dual mono"},
    {0x2003, 0x2003, "stereo"},
    {0x2004, 0x2004, "several languages"},
    {0x2005, 0x2005, "surround"},
    {0x2040, 0x2040, "for the visually impaired"},
    {0x2041, 0x2041, "for the hard of hearing"},
    {0x2042, 0x2042, "supplementary, mixed by the receiver"},
    {0x2047, 0x2047, "audio description, mixed by the receiver"},
    {0x2048, 0x2048, "audio description, mixed"},
    {0x5001, 0x5001, "SD, 4:3, 25 Hz"},
    {0x5003, 0x5003, "SD, 16:9, 25 Hz"},
    {0x5004, 0x5004, "SD, wider than 16:9, 25 Hz"},
    {0x5005, 0x5005, "SD, 4:3, 30 Hz"},
    {0x5007, 0x5007, "SD, 16:9, 30 Hz"},
    {0x5008, 0x5008, "SD, wider than 16:9, 30 Hz"},
    {0x500B, 0x500B, "HD, 16:9, 25 Hz"},
    {0x500C, 0x500C, "HD, wider than 16:9, 25 Hz"},
    {0x500F, 0x500F, "HD, 16:9, 30 Hz"},
    {0x5010, 0x5010, "HD, wider than 16:9, 30 Hz"},
    {0x5080, 0x5080, "3D HD, side by side, 16:9, 25 Hz"},
    {0x5081, 0x5081, "3D HD, top and bottom, 16:9, 25 Hz"},
    {0x5082, 0x5082, "3D HD, side by side, 16:9, 30 Hz"},
    {0x5083, 0x5083, "3D HD, top and bottom, 16:9, 30 Hz"},
    {0x5084, 0x5084, "3D HD, dependent view"},
    {0x6001, 0x6001, "mono"},
    {0x6003, 0x6003, "stereo"},
    {0x6005, 0x6005, "surround"},
    {0x6040, 0x6040, "for the visually impaired"},
    {0x6041, 0x6041, "for the hard of hearing"},
    {0x6042, 0x6042, "supplementary, mixed by the receiver"},
    {0x6043, 0x6043, "HE-AAC v2 stereo"},
    {0x6044, 0x6044, "HE-AAC v2 for the visually impaired"},
    {0x6045, 0x6045, "HE-AAC v2 for the hard of hearing"},
    {0x6046, 0x6046, "HE-AAC v2 supplementary, mixed by the receiver"},
    {0x6047, 0x6047, "audio description, mixed by the receiver"},
    {0x6048, 0x6048, "audio description, mixed"},
    {0x6049, 0x6049, "HE-AAC v2 audio description, mixed by the receiver"},
    {0x604A, 0x604A, "HE-AAC v2 audio description, mixed"},
    {0x9000, 0x9000, "Main, HD, 50 Hz"},
    {0x9001, 0x9001, "Main 10, HD, 50 Hz"},
    {0x9002, 0x9002, "Main, HD, 60 Hz"},
    {0x9003, 0x9003, "Main 10, HD, 60 Hz"},
    {0x9004, 0x9004, "UHD"},
};

/* ---- content_nibble_level_1 and 2, EN 300 468 table 28 --------------------------------------------------------------
 */

constexpr NamedRange contentKinds[] = {
    {0x11, 0x11, "detective, thriller"},
    {0x12, 0x12, "adventure, western, war"},
    {0x13, 0x13, "science fiction, fantasy, horror"},
    {0x14, 0x14, "comedy"},
    {0x15, 0x15, "soap, melodrama, folkloric"},
    {0x16, 0x16, "romance"},
    {0x17, 0x17, "serious, classical, religious, historical"},
    {0x18, 0x18, "adult"},
    {0x21, 0x21, "news, weather report"},
    {0x22, 0x22, "news magazine"},
    {0x23, 0x23, "documentary"},
    {0x24, 0x24, "discussion, interview, debate"},
    {0x31, 0x31, "game show, quiz, contest"},
    {0x32, 0x32, "variety show"},
    {0x33, 0x33, "talk show"},
    {0x41, 0x41, "special events"},
    {0x42, 0x42, "sports magazine"},
    {0x43, 0x43, "football"},
    {0x44, 0x44, "tennis, squash"},
    {0x45, 0x45, "team sports"},
    {0x46, 0x46, "athletics"},
    {0x47, 0x47, "motor sport"},
    {0x48, 0x48, "water sport"},
    {0x49, 0x49, "winter sports"},
    {0x4A, 0x4A, "equestrian"},
    {0x4B, 0x4B, "martial sports"},
    {0x51, 0x51, "pre-school"},
    {0x52, 0x52, "6 to 14 years"},
    {0x53, 0x53, "10 to 16 years"},
    {0x54, 0x54, "informational, educational, school"},
    {0x55, 0x55, "cartoons, puppets"},
    {0x61, 0x61, "rock, pop"},
    {0x62, 0x62, "serious, classical"},
    {0x63, 0x63, "folk, traditional"},
    {0x64, 0x64, "jazz"},
    {0x65, 0x65, "musical, opera"},
    {0x66, 0x66, "ballet"},
    {0x71, 0x71, "performing arts"},
    {0x72, 0x72, "fine arts"},
    {0x73, 0x73, "religion"},
    {0x74, 0x74, "popular culture, traditional arts"},
    {0x75, 0x75, "literature"},
    {0x76, 0x76, "film, cinema"},
    {0x77, 0x77, "experimental film, video"},
    {0x78, 0x78, "broadcasting, press"},
    {0x79, 0x79, "new media"},
    {0x7A, 0x7A, "arts magazine"},
    {0x7B, 0x7B, "fashion"},
    {0x81, 0x81, "magazine, report, documentary"},
    {0x82, 0x82, "economics, social advisory"},
    {0x83, 0x83, "remarkable people"},
    {0x91, 0x91, "nature, animals, environment"},
    {0x92, 0x92, "technology, natural sciences"},
    {0x93, 0x93, "medicine, physiology, psychology"},
    {0x94, 0x94, "foreign countries, expeditions"},
    {0x95, 0x95, "social, spiritual sciences"},
    {0x96, 0x96, "further education"},
    {0x97, 0x97, "languages"},
    {0xA1, 0xA1, "tourism, travel"},
    {0xA2, 0xA2, "handicraft"},
    {0xA3, 0xA3, "motoring"},
    {0xA4, 0xA4, "fitness, health"},
    {0xA5, 0xA5, "cooking"},
    {0xA6, 0xA6, "advertisement, shopping"},
    {0xA7, 0xA7, "gardening"},
    {0xB0, 0xB0, "original language"},
    {0xB1, 0xB1, "black and white"},
    {0xB2, 0xB2, "unpublished"},
    {0xB3, 0xB3, "live broadcast"},
    {0xB4, 0xB4, "plano-stereoscopic"},
    {0xB5, 0xB5, "local or regional"},
};

/* ---- ISDB -----------------------------------------------------------------------------------------------------------
 */

// ARIB STD-B10 part 2 table 6-20.
constexpr NamedRange isdbServiceTypes[] = {
    {0x01, 0x01, "digital television"},
    {0x02, 0x02, "digital radio"},
    {0xA1, 0xA1, "special video"},
    {0xA2, 0xA2, "special audio"},
    {0xA3, 0xA3, "special data"},
    {0xA4, 0xA4, "engineering"},
    {0xA5, 0xA5, "promotion video"},
    {0xA6, 0xA6, "promotion audio"},
    {0xA7, 0xA7, "promotion data"},
    {0xA8, 0xA8, "data for storing in advance"},
    {0xA9, 0xA9, "data for storing only"},
    {0xAA, 0xAA, "bookmark list"},
    {0xAB, 0xAB, "simultaneous, with a server"},
    {0xAC, 0xAC, "independent file"},
    {0xAD, 0xAD, "UHD digital television"},
    {0xC0, 0xC0, "data"},
};

// ARIB STD-B10 part 2 table 6-5: of video the number of lines, then the format of the picture.
constexpr NamedRange isdbLines[] = {
    {0x0, 0x0, "480i"}, {0x8, 0x8, "4320p"}, {0x9, 0x9, "2160p"}, {0xA, 0xA, "480p"}, {0xB, 0xB, "1080i"},
    {0xC, 0xC, "720p"}, {0xD, 0xD, "240p"},  {0xE, 0xE, "1080p"}, {0xF, 0xF, "180p"},
};
constexpr NamedRange isdbFormats[] = {
    {1, 1, "4:3"}, {2, 2, "16:9 with pan vectors"}, {3, 3, "16:9"}, {4, 4, "wider than 16:9"}};
constexpr NamedRange isdbAudio[] = {
    {0x01, 0x01, "mono"},
    {0x02, 0x02, "dual mono"},
    {0x03, 0x03, "stereo"},
    {0x04, 0x04, "2/1"},
    {0x05, 0x05, "3/0"},
    {0x06, 0x06, "2/2"},
    {0x07, 0x07, "3/1"},
    {0x08, 0x08, "3/2"},
    {0x09, 0x09, "3/2 and LFE"},
    {0x40, 0x40, "for the visually impaired"},
    {0x41, 0x41, "for the hard of hearing"},
};

// ARIB STD-B10 part 2 annex H.
constexpr NamedRange japaneseContents[] = {
    {0x0, 0x0, "news, reports"},
    {0x1, 0x1, "sports"},
    {0x2, 0x2, "information, tabloid show"},
    {0x3, 0x3, "drama"},
    {0x4, 0x4, "music"},
    {0x5, 0x5, "variety show"},
    {0x6, 0x6, "film"},
    {0x7, 0x7, "animation, special effects"},
    {0x8, 0x8, "documentary, culture"},
    {0x9, 0x9, "theatre, performance"},
    {0xA, 0xA, "hobby, education"},
    {0xB, 0xB, "welfare"},
    {0xE, 0xE, "extension"},
    {0xF, 0xF, "other"},
};

} // namespace

const char *componentTypeName(u8 content, u8 ext, u8 type)
{
    constexpr u8 subtitles = 0x3;
    constexpr u8 firstWithExtension = 0x9;
    if (content == subtitles)
        return findName(subtitlingTypes, type, "");
    const u32 extension = content >= firstWithExtension ? ext : 0U;
    return findName(componentTypes, static_cast<u32>(content) << 12 | extension << 8 | type, "");
}

std::string ac3ComponentTypeName(u8 type)
{
    constexpr u8 enhanced = 0x80;
    constexpr u8 fullService = 0x40;
    constexpr NamedRange channels[] = {{0, 0, "mono"},
                                       {1, 1, "1+1"},
                                       {2, 2, "stereo"},
                                       {3, 3, "stereo, surround encoded"},
                                       {4, 4, "multichannel"},
                                       {5, 5, "multichannel above 5.1"},
                                       {6, 6, "several programmes"}};
    return std::string(type & enhanced ? "E-AC-3, " : "AC-3, ") + findName(ac3Services, type >> 3 & 7U, "") + ", " +
           findName(channels, type & 7U, "reserved") + (type & fullService ? "" : ", to be combined");
}

const char *contentName(u8 level1, u8 level2)
{
    return findName(contentKinds, static_cast<u32>(level1) << 4 | level2, "");
}

const char *isdbServiceTypeName(u8 type)
{
    return findName(isdbServiceTypes, type, "reserved");
}

std::string isdbComponentTypeName(u8 content, u8 type)
{
    constexpr u8 audio = 0x2;
    constexpr u8 brazilianAudio = 0x6;
    if (content == audio || content == brazilianAudio)
        return findName(isdbAudio, type, "");
    const std::string lines = findName(isdbLines, type >> 4, "");
    const std::string format = findName(isdbFormats, type & 0xF, "");
    const bool video = content == 0x1 || content == 0x5 || content == 0x9;
    return video && !lines.empty() && !format.empty() ? lines + ", " + format : "";
}

const char *japaneseContentName(u8 level1)
{
    return findName(japaneseContents, level1, "reserved");
}

} // namespace psi::describe
