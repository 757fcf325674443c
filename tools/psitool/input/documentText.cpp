#include "input/documentText.h"

#include "describe/fieldPath.h"
#include "describe/json/jsonScanner.h"
#include "describe/json/jsonWriter.h"
#include "describe/layoutWriter.h"
#include "input/textFile.h"

#ifdef PSITOOL_YAML
#include <yaml-cpp/eventhandler.h>
#include <yaml-cpp/yaml.h>

#include <sstream>
#endif

namespace psitool {

namespace {

using psi::describe::FieldError;

} // namespace

bool namesYaml(const std::string &path)
{
    const std::size_t point = path.rfind('.');
    const std::string end = point == std::string::npos ? "" : path.substr(point);
    return end == ".yaml" || end == ".yml";
}

#ifdef PSITOOL_YAML

namespace {

using psi::describe::JsonHandler;
using psi::describe::JsonString;
using psi::describe::JsonWriter;
using psi::describe::u64;

constexpr std::size_t mostLevels = 64;

std::string placeOf(const YAML::Mark &mark)
{
    return "line " + std::to_string(mark.line + 1) + ", column " + std::to_string(mark.column + 1);
}

/** A scalar that is no text in JSON either. */
struct Word final : JsonHandler {
    void beginObject() override {}
    void endObject() override {}
    void beginArray() override {}
    void endArray() override {}
    void key(const JsonString &) override {}
    void string(const JsonString &) override {}
    void number(u64 value) override { word = std::to_string(value); }
    void other(std::string_view text) override { word = text; }

    std::string word;
};

/** The JSON of a plain scalar that is null, a truth or a number; "" for a text. */
std::string wordOf(const std::string &value)
{
    if (value.empty() || value == "~" || value == "null")
        return "null";
    const bool word = value.find_first_of("{}[]\" \t\n") == std::string::npos;
    Word found;
    if (word && psi::describe::scanJson(value, found))
        return found.word;
    const std::optional<u64> hexadecimal = psi::describe::numberOfText(value);
    return hexadecimal && value.size() > 1 && (value[1] == 'x' || value[1] == 'X') ? std::to_string(*hexadecimal) : "";
}

/** Writes the JSON of what a parser tells. */
class YamlReader : public YAML::EventHandler {
public:
    explicit YamlReader(std::string &text) : json_(text) {}

    void OnDocumentStart(const YAML::Mark &mark) override
    {
        if (documents_++ > 0)
            fail(mark, "there is a document already");
    }
    void OnDocumentEnd() override {}
    void OnNull(const YAML::Mark &mark, YAML::anchor_t) override { scalar(mark, true, ""); }
    void OnAlias(const YAML::Mark &mark, YAML::anchor_t) override { fail(mark, "aliases are not taken"); }
    void OnScalar(const YAML::Mark &mark, const std::string &tag, YAML::anchor_t, const std::string &value) override
    {
        scalar(mark, tag == "?", value);
    }
    void OnSequenceStart(const YAML::Mark &mark, const std::string &, YAML::anchor_t,
                         YAML::EmitterStyle::value) override
    {
        begin(mark, false);
        json_.beginArray();
    }
    void OnSequenceEnd() override
    {
        end();
        json_.endArray();
    }
    void OnMapStart(const YAML::Mark &mark, const std::string &, YAML::anchor_t, YAML::EmitterStyle::value) override
    {
        begin(mark, true);
        json_.beginObject();
    }
    void OnMapEnd() override
    {
        end();
        json_.endObject();
    }

private:
    struct Level {
        bool map;
        bool keyed; // a key stands in front of the next value
    };

    [[noreturn]] static void fail(const YAML::Mark &mark, const std::string &why)
    {
        throw FieldError(placeOf(mark), why);
    }
    bool wantsKey() const { return !levels_.empty() && levels_.back().map && !levels_.back().keyed; }

    void begin(const YAML::Mark &mark, bool map)
    {
        if (wantsKey())
            fail(mark, "a key is a text");
        if (levels_.size() >= mostLevels)
            fail(mark, "more than " + std::to_string(mostLevels) + " levels");
        levels_.push_back({map, false});
    }
    void end()
    {
        levels_.pop_back();
        tookValue();
    }
    void tookValue()
    {
        if (!levels_.empty())
            levels_.back().keyed = false;
    }

    void scalar(const YAML::Mark &, bool plain, const std::string &value)
    {
        if (wantsKey()) {
            levels_.back().keyed = true;
            return json_.anyKey(value);
        }
        const std::string word = plain ? wordOf(value) : "";
        word.empty() ? json_.text(value) : json_.word(word);
        tookValue();
    }

    JsonWriter json_;
    std::vector<Level> levels_;
    int documents_ = 0;
};

/** Emits what stands in a JSON text. */
class YamlWriter final : public JsonHandler {
public:
    void beginObject() override { yaml_ << YAML::BeginMap; }
    void endObject() override { yaml_ << YAML::EndMap; }
    void beginArray() override { yaml_ << YAML::BeginSeq; }
    void endArray() override { yaml_ << YAML::EndSeq; }
    void key(const JsonString &name) override { yaml_ << YAML::Key << std::string(name.text) << YAML::Value; }
    void string(const JsonString &value) override { yaml_ << YAML::DoubleQuoted << std::string(value.text); }
    void number(u64 value) override { yaml_ << value; }
    void other(std::string_view word) override
    {
        if (word == "null")
            yaml_ << YAML::Null;
        else
            yaml_ << std::string(word);
    }

    std::string text() const { return std::string(yaml_.c_str(), yaml_.size()) + "\n"; }

private:
    YAML::Emitter yaml_;
};

std::string jsonOf(const std::string &yaml)
{
    std::string json;
    try {
        std::istringstream text(yaml);
        YAML::Parser parser(text);
        YamlReader reader(json);
        while (parser.HandleNextDocument(reader)) {
        }
    } catch (const YAML::Exception &error) {
        throw FieldError(placeOf(error.mark), error.msg);
    }
    return json;
}

} // namespace

bool knowsYaml()
{
    return true;
}

std::string yamlOf(const std::string &json)
{
    YamlWriter writer;
    psi::describe::scanJson(json, writer);
    return writer.text();
}

#else

namespace {

std::string jsonOf(const std::string &)
{
    throw FieldError("line 1, column 1", "this psitool was built without yaml-cpp and reads no YAML");
}

} // namespace

bool knowsYaml()
{
    return false;
}

std::string yamlOf(const std::string &json)
{
    return json;
}

#endif

std::string readDocument(const std::string &path)
{
    std::string text = readText(path);
    return namesYaml(path) ? jsonOf(text) : text;
}

} // namespace psitool
