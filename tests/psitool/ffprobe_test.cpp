#include "programFixture.h"

#include <map>

namespace {

using namespace psitest;
using nlohmann::json;

/** A stream made by FFmpeg: the arguments between "ffmpeg" and the output. */
struct Recipe {
    const char *name;
    std::string arguments;
};

void PrintTo(const Recipe &recipe, std::ostream *out)
{
    *out << recipe.name;
}

std::string video(const char *codec)
{
    return std::string(" -pix_fmt yuv420p -c:v ") + codec;
}

const std::string picture = " -f lavfi -i testsrc2=size=96x64:rate=25:duration=1";
const std::string tone = " -f lavfi -i sine=sample_rate=48000:duration=1";

const Recipe recipes[] = {
    {"OneProgram", picture + tone + " -map 0 -map 1" + video("mpeg2video") + " -c:a mp2"},
    {"ThreePrograms", picture + tone + tone + picture + tone +
                          " -map 0 -map 1 -map 2 -map 3 -map 4 -metadata:s:1 language=eng -metadata:s:2 language=deu" +
                          video("libx264") + " -c:a aac" +
                          " -program title=One:program_num=17:st=0:st=1 -program title=Two:program_num=4660:st=2"
                          " -program title=Three:program_num=65535:st=3:st=4 -mpegts_pmt_start_pid 0x1000"},
    {"AtscAudio", picture + tone + tone + " -map 0 -map 1 -map 2" + video("mpeg2video") + " -c:a:0 ac3 -c:a:1 eac3"},
    {"DvbAudio", picture + tone + tone + " -map 0 -map 1 -map 2" + video("mpeg2video") +
                     " -c:a:0 ac3 -c:a:1 eac3 -mpegts_flags +system_b"},
    {"Latm", picture + tone + " -map 0 -map 1" + video("libx264") + " -c:a aac -mpegts_flags +latm"},
    {"PacketsOf192Bytes", picture + tone + " -map 0 -map 1" + video("libx264") + " -c:a ac3 -mpegts_m2ts_mode 1"},
    {"ConstantBitRate", picture + tone + " -map 0 -map 1" + video("mpeg2video") + " -c:a mp2 -muxrate 1500k"},
};

class Ffprobe : public PsitoolTest {
protected:
    void SetUp() override
    {
        PsitoolTest::SetUp();
        if (shell("command -v ffmpeg && command -v ffprobe").status != 0)
            GTEST_SKIP() << "ffmpeg and ffprobe are not installed: nothing to compare with (apt-get install ffmpeg)";
    }

    /** Programs as FFmpeg sees them, brought into the form that programsOf() gives. */
    json probed(const std::string &file) const
    {
        const Result result = shell("ffprobe -v error -show_programs -of json " + file);
        EXPECT_EQ(result.status, 0) << result.err;
        const json probe = parsedJson(result.out);
        json programs = json::object();
        for (const json &program : probe["programs"]) {
            json streams = json::object();
            for (const json &stream : program["streams"])
                streams[std::to_string(number(stream["id"]))] = {{"tag", number(stream["codec_tag"])},
                                                                 {"codec", stream["codec_name"]}};
            programs[std::to_string(program["program_num"].get<int>())] = {
                {"pmt_pid", program["pmt_pid"]},
                {"pcr_pid", program["pcr_pid"]},
                {"name", program["tags"].value("service_name", "")},
                {"provider", program["tags"].value("service_provider", "")},
                {"streams", streams}};
        }
        return programs;
    }

    static json programsOf(const json &scan)
    {
        json programs = json::object();
        for (const json &program : scan["transport_stream"]["programs"]) {
            json streams = json::object();
            for (const json &stream : program["pmt"]["streams"])
                streams[std::to_string(stream["elementary_pid"].get<int>())] = {
                    {"tag", codecTag(stream)}, {"codec", codecOf(stream["stream_type_name"])}};
            programs[std::to_string(program["program_number"].get<int>())] = {
                {"pmt_pid", program["pmt"]["pid"]},
                {"pcr_pid", program["pmt"]["pcr_pid"]},
                {"name", program["service"]["name"]["text"]},
                {"provider", program["service"]["provider"]["text"]},
                {"streams", streams}};
        }
        return programs;
    }

    void expectSame(const std::string &file) const
    {
        const json expected = probed(file);
        ASSERT_FALSE(expected.empty());
        EXPECT_EQ(programsOf(scanned(file)), expected);
    }

private:
    /** What FFmpeg calls codec_tag: the registered format, first letter lowest, or the stream_type. */
    static unsigned long codecTag(const json &stream)
    {
        for (const json &descriptor : stream["descriptors"])
            if (descriptor["name"] == "registration_descriptor")
                return __builtin_bswap32(descriptor["fields"]["format_identifier"].get<u32>());
        return stream["stream_type"];
    }
    static std::string codecOf(const std::string &kind)
    {
        static const std::map<std::string, std::string> codecs = {
            {"MPEG-2 video", "mpeg2video"}, {"H.264/AVC video", "h264"},      {"MPEG-1 audio", "mp2"},
            {"AAC audio (ADTS)", "aac"},    {"AAC audio (LATM)", "aac_latm"}, {"AC-3 audio", "ac3"},
            {"E-AC-3 audio", "eac3"},
        };
        const auto found = codecs.find(kind);
        return found == codecs.end() ? "no codec for " + kind : found->second;
    }
    /** ffprobe writes these as "0x100". */
    static unsigned long number(const json &text) { return std::stoul(text.get<std::string>(), nullptr, 16); }
};

class FfprobeRecipe : public Ffprobe, public testing::WithParamInterface<Recipe> {};

TEST_P(FfprobeRecipe, FindsTheSameProgramsPidsAndStreamTypes)
{
    const Result made = shell("ffmpeg -v error -nostdin -threads 1" + GetParam().arguments + " -f mpegts made.ts");
    ASSERT_EQ(made.status, 0) << made.err;
    expectSame((folder / "made.ts").string());
}

INSTANTIATE_TEST_SUITE_P(Streams, FfprobeRecipe, testing::ValuesIn(recipes),
                         [](const auto &tested) { return tested.param.name; });

TEST_F(Ffprobe, FindsTheSameInTheExample)
{
    expectSame("'" PSITOOL_EXAMPLE "'");
}

/* ---- formats of video and audio -------------------------------------------------------------------------------------
 */

const std::string noise = " -f lavfi -i anoisesrc=sample_rate=48000:duration=0.5";

std::string pictures(const char *size, const char *rate)
{
    return std::string(" -f lavfi -i testsrc=duration=0.5:size=") + size + ":rate=" + rate;
}

const Recipe formatRecipes[] = {
    {"Mpeg2Interlaced", pictures("720x576", "25") + noise + " -c:v mpeg2video -pix_fmt yuv420p -flags +ildct+ilme" +
                            " -aspect 16:9 -top 1 -c:a mp2 -b:a 192k -ac 2"},
    {"Mpeg2Professional",
     pictures("352x288", "24000/1001") + noise + " -c:v mpeg2video -pix_fmt yuv422p -c:a mp2 -ac 1 -ar 24000 -b:a 64k"},
    {"Mpeg1", pictures("352x240", "30000/1001") + noise + " -c:v mpeg1video -pix_fmt yuv420p -c:a ac3 -ac 2 -ar 44100"},
    {"H264Interlaced", pictures("720x576", "25") + noise + " -c:v libx264 -preset ultrafast -pix_fmt yuv420p" +
                           " -vf setsar=16/11 -x264-params interlaced=1 -c:a ac3 -ac 6 -b:a 384k"},
    {"H264Cropped", pictures("426x238", "60000/1001") + noise +
                        " -c:v libx264 -preset ultrafast -pix_fmt yuv422p10le -c:a eac3 -ac 2 -b:a 192k"},
    {"H264Baseline", pictures("96x64", "15") + noise +
                         " -c:v libx264 -preset ultrafast -profile:v baseline -pix_fmt yuv420p -c:a aac -ac 2"},
    {"H265Main10", pictures("426x238", "50") + noise + " -c:v libx265 -preset ultrafast -x265-params log-level=none" +
                       " -pix_fmt yuv420p10le -c:a aac -ac 6"},
    {"H265Slow", pictures("96x64", "25") + noise + " -c:v libx265 -preset medium -x265-params log-level=none" +
                     " -pix_fmt yuv420p -c:a aac -ac 1 -ar 44100 -mpegts_flags latm"},
    {"Dts", pictures("352x240", "30000/1001") + noise +
                " -c:v mpeg2video -pix_fmt yuv420p -c:a dca -strict -2 -ac 6 -b:a 768k -mpegts_m2ts_mode 1"},
    {"OpusSurround", pictures("352x240", "30000/1001") + noise +
                         " -c:v mpeg1video -pix_fmt yuv420p -c:a libopus -ac 6 -mapping_family 1"},
    {"OpusMono",
     pictures("352x240", "30000/1001") + noise + " -c:v mpeg1video -pix_fmt yuv420p -c:a libopus -ac 1 -b:a 24k"},
};

class FfprobeFormats : public Ffprobe, public testing::WithParamInterface<Recipe> {
protected:
    /** What FFmpeg makes of the streams' headers, in the words of psitool. */
    json probedFormats(const std::string &file) const
    {
        json formats = json::array();
        const json probe = jsonOf("ffprobe -v error -show_streams -of json " + file);
        for (const json &stream : probe["streams"])
            formats.push_back(stream["codec_type"] == "video" ? videoOf(stream) : audioOf(stream));
        return formats;
    }

    json shownFormats(const std::string &file) const
    {
        json formats = json::array();
        const json object = jsonOf("psitool services --json " + file);
        for (const json &stream : object["services"][0]["streams"]) {
            json format = stream["format"];
            for (const char *key : {"text", "coding", "dynamic_range"})
                format.erase(key);
            formats.push_back(format);
        }
        return formats;
    }

private:
    static std::string levelOf(const json &stream)
    {
        static const std::map<int, std::string> mpeg = {{10, "Low"}, {8, "Main"}, {5, "Main"}, {4, "High"}};
        const int level = stream["level"];
        const int unit = stream["codec_name"] == "hevc" ? 30 : 10;
        if (stream["codec_name"] == "mpeg2video")
            return mpeg.at(level);
        return std::to_string(level / unit) + "." + std::to_string(level % unit * 10 / unit);
    }

    static json videoOf(const json &stream)
    {
        const std::string pixels = stream["pix_fmt"];
        const bool old = stream["codec_name"] == "mpeg1video";
        const std::string order = stream.value("field_order", "progressive");
        return {{"profile", old ? json(nullptr) : stream["profile"]},
                {"level", old ? json(nullptr) : json(levelOf(stream))},
                {"width", stream["width"]},
                {"height", stream["height"]},
                {"interlaced", order == "tt" || order == "bb"},
                {"frame_rate", stream["r_frame_rate"]},
                {"aspect_ratio", stream.value("display_aspect_ratio", json(nullptr))},
                {"chroma", contains(pixels, "422") ? "4:2:2" : "4:2:0"},
                {"bit_depth", contains(pixels, "10le") ? 10 : 8}};
    }

    static json audioOf(const json &stream)
    {
        static const std::map<int, std::string> channels = {{1, "mono"}, {2, "stereo"}, {6, "5.1"}};
        const std::string codec = stream["codec_name"];
        const bool aac = codec == "aac" || codec == "aac_latm";
        const bool told = !aac && codec != "opus";
        return {{"profile", aac              ? stream["profile"]
                            : codec == "mp2" ? json("layer II")
                                             : json(nullptr)},
                {"level", nullptr},
                {"channels", channels.at(stream["channels"])},
                {"sample_rate", std::stoi(stream["sample_rate"].get<std::string>())},
                {"bit_rate", told ? json(std::stoi(stream["bit_rate"].get<std::string>())) : json(nullptr)},
                {"frame_rate", nullptr}};
    }
};

TEST_P(FfprobeFormats, AreReadAlike)
{
    const Result made = shell("ffmpeg -v error -nostdin -threads 1" + GetParam().arguments + " -f mpegts made.ts");
    ASSERT_EQ(made.status, 0) << made.err;
    const json expected = probedFormats("made.ts");
    ASSERT_EQ(expected.size(), 2u);
    EXPECT_EQ(shownFormats("made.ts"), expected);
}

INSTANTIATE_TEST_SUITE_P(Streams, FfprobeFormats, testing::ValuesIn(formatRecipes),
                         [](const auto &tested) { return tested.param.name; });

} // namespace
