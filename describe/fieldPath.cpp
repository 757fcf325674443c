#include "describe/fieldPath.h"

namespace psi::describe {

/* ---- reading paths --------------------------------------------------------------------------------------------------
 */

namespace {

bool isDigit(char c)
{
    return c >= '0' && c <= '9';
}

} // namespace

std::optional<u64> numberOfText(std::string_view text)
{
    const bool hexadecimal = text.size() > 2 && text[0] == '0' && (text[1] == 'x' || text[1] == 'X');
    const std::string_view digits = hexadecimal ? text.substr(2) : text;
    constexpr std::size_t mostDigits = 16;
    if (digits.empty() || digits.size() > mostDigits)
        return std::nullopt;
    u64 value = 0;
    for (const char c : digits) {
        const char letter = static_cast<char>(c | 0x20);
        if (!isDigit(c) && !(hexadecimal && letter >= 'a' && letter <= 'f'))
            return std::nullopt;
        const unsigned digit = isDigit(c) ? static_cast<unsigned>(c - '0') : static_cast<unsigned>(letter - 'a' + 10);
        value = value * (hexadecimal ? 16 : 10) + digit;
    }
    return value;
}

namespace {

class PathReader {
public:
    explicit PathReader(const std::string &text) : text_(text) { path_.text = text; }

    FieldPath read()
    {
        if (!text_.empty() && text_[0] == '/')
            pointer();
        else
            dotted();
        for (char &c : path_.table)
            c = c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
        if (path_.steps.empty())
            fail("a field of the table is missing");
        return std::move(path_);
    }

private:
    [[noreturn]] void fail(const std::string &why) const
    {
        throw PathError("column " + std::to_string(at_ + 1) + ": " + why);
    }
    bool more() const { return at_ < text_.size(); }

    void setId(const std::string &token)
    {
        const std::optional<u64> number = numberOfText(token);
        if (!number || *number > 0xFFFF)
            fail("\"" + token + "\" is no table_id_extension, a number of 0 to 65535");
        path_.id = static_cast<u16>(*number);
    }

    /* ---- JSON pointers ---- */

    std::string token()
    {
        std::string token;
        for (++at_; more() && text_[at_] != '/'; ++at_) {
            if (text_[at_] != '~') {
                token += text_[at_];
                continue;
            }
            ++at_;
            if (!more() || (text_[at_] != '0' && text_[at_] != '1'))
                fail("behind '~' stands 0 or 1");
            token += text_[at_] == '0' ? '~' : '/';
        }
        if (token.empty())
            fail("a name or an index is missing");
        return token;
    }

    void pointer()
    {
        path_.table = token();
        while (more()) {
            const std::string step = token();
            const std::optional<u64> number = numberOfText(step);
            if (path_.steps.empty() && !path_.id && number)
                setId(step);
            else if (number)
                add({isDigit(step.back()) && step.find_first_of("xX") == std::string::npos ? PathStep::Kind::index
                                                                                           : PathStep::Kind::number,
                     "/" + step, "", "", *number});
            else if (step == "-")
                add({PathStep::Kind::behind, "/-"});
            else if (step == "*")
                add({PathStep::Kind::every, "/*"});
            else
                named(step, "/" + step);
        }
    }

    /* ---- names with dots and brackets ---- */

    std::string word()
    {
        const std::size_t start = at_;
        while (more() && text_[at_] != '.' && text_[at_] != '[' && text_[at_] != ']')
            ++at_;
        if (at_ == start)
            fail("a name is missing");
        return text_.substr(start, at_ - start);
    }

    /** What stands in brackets. */
    std::string bracket()
    {
        const std::size_t start = ++at_;
        bool quoted = false;
        for (; more() && (quoted || text_[at_] != ']'); ++at_)
            quoted = quoted != (text_[at_] == '"');
        if (!more())
            fail("']' is missing");
        ++at_;
        return text_.substr(start, at_ - start - 1);
    }

    void dotted()
    {
        if (!more())
            fail("the table is missing");
        path_.table = word();
        if (more() && text_[at_] == '[') {
            const std::string id = bracket();
            if (id != "*")
                setId(id);
        }
        while (more()) {
            if (text_[at_] == '[') {
                select(bracket());
                continue;
            }
            if (text_[at_] != '.')
                fail("'.' or '[' is wanted");
            ++at_;
            const std::string key = word();
            named(key, "." + key);
        }
    }

    void select(const std::string &inside)
    {
        const std::string text = "[" + inside + "]";
        const std::size_t equals = inside.find('=');
        if (inside.empty())
            fail("the brackets are empty");
        if (inside == "*")
            return add({PathStep::Kind::every, text});
        if (inside == "+")
            return add({PathStep::Kind::behind, text});
        if (inside[0] == '#')
            return add({PathStep::Kind::index, text, "", "", ordinal(inside.substr(1))});
        if (equals != std::string::npos && inside[0] != '"')
            return add({PathStep::Kind::equal, text, inside.substr(0, equals), unquoted(inside.substr(equals + 1))});
        named(inside, text);
    }

    /** A name or a number, with #N behind it when there are several of them. */
    void named(const std::string &name, const std::string &text)
    {
        PathStep step{PathStep::Kind::key, text, unquoted(name)};
        const std::size_t mark = name[0] == '"' ? std::string::npos : name.find('#');
        if (mark != std::string::npos) {
            step.nth = static_cast<std::size_t>(ordinal(name.substr(mark + 1)));
            step.key = name.substr(0, mark);
        }
        const std::optional<u64> number = text[0] == '[' ? numberOfText(step.key) : std::nullopt;
        if (number) {
            step.kind = PathStep::Kind::number;
            step.number = *number;
        }
        if (step.key.empty())
            fail("a name is missing");
        add(std::move(step));
    }

    u64 ordinal(const std::string &text) const
    {
        const std::optional<u64> number = numberOfText(text);
        if (!number)
            fail("behind '#' stands a number, counted from 0");
        return *number;
    }

    static std::string unquoted(const std::string &text)
    {
        const bool quoted = text.size() >= 2 && text.front() == '"' && text.back() == '"';
        return quoted ? text.substr(1, text.size() - 2) : text;
    }

    void add(PathStep step)
    {
        constexpr std::size_t mostSteps = 64;
        if (path_.steps.size() == mostSteps)
            fail("more than " + std::to_string(mostSteps) + " steps");
        path_.steps.push_back(std::move(step));
    }

    const std::string &text_;
    std::size_t at_ = 0;
    FieldPath path_;
};

} // namespace

FieldPath parseFieldPath(const std::string &text)
{
    return PathReader(text).read();
}

std::pair<std::string, std::string> splitAssignment(const std::string &text)
{
    const bool pointer = !text.empty() && text[0] == '/';
    int depth = 0;
    bool quoted = false;
    for (std::size_t i = 0; i < text.size(); ++i) {
        const char c = text[i];
        if (c == '=' && (pointer || (depth == 0 && !quoted)))
            return {text.substr(0, i), text.substr(i + 1)};
        quoted = quoted != (depth > 0 && c == '"');
        depth += quoted ? 0 : (c == '[') - (c == ']');
    }
    throw PathError("no '=' behind the path");
}

} // namespace psi::describe
