#include "describe/json/jsonScanner.h"

#include "describe/text.h"

#include <cmath>
#include <cstdlib>
#include <limits>

namespace psi::describe {

namespace {

constexpr u32 firstLowSurrogate = 0xDC00;
constexpr u32 firstHighSurrogate = 0xD800;
constexpr u32 surrogateMask = 0xFC00;

void appendUtf8(std::string &text, u32 character)
{
    constexpr u32 bitsOfRest = 6;
    const unsigned following = character < 0x80 ? 0 : character < 0x800 ? 1 : character < 0x10000 ? 2 : 3;
    static constexpr u8 leads[] = {0x00, 0xC0, 0xE0, 0xF0};
    text += static_cast<char>(leads[following] | character >> bitsOfRest * following);
    for (unsigned i = following; i-- > 0;)
        text += static_cast<char>(0x80 | (character >> bitsOfRest * i & 0x3F));
}

class JsonScanner {
public:
    JsonScanner(std::string_view text, JsonHandler &handler) : rest_(text.substr(0, text.find('\0'))), handler_(handler)
    {
    }

    /** @return false: it is no JSON */
    bool scan()
    {
        constexpr std::string_view byteOrderMark = "\xEF\xBB\xBF";
        takeAll(byteOrderMark);
        return value() && nextIs('\0');
    }

private:
    /* ---- letters ------------------------------------------------------------------------------------------------- */

    /** The next letter; 0 at the end. */
    char peek() const { return rest_.empty() ? '\0' : rest_.front(); }

    bool nextIs(char wanted)
    {
        std::size_t blanks = 0;
        while (blanks < rest_.size() && isBlank(rest_[blanks]))
            ++blanks;
        rest_.remove_prefix(blanks);
        return peek() == wanted;
    }

    bool take(char wanted)
    {
        if (peek() != wanted)
            return false;
        rest_.remove_prefix(1);
        return true;
    }

    bool takeNext(char wanted) { return nextIs(wanted) && take(wanted); }

    bool takeAll(std::string_view word)
    {
        const bool there = rest_.substr(0, word.size()) == word;
        rest_.remove_prefix(there ? word.size() : 0);
        return there;
    }

    static bool isBlank(char c) { return c == ' ' || c == '\n' || c == '\r' || c == '\t'; }
    static bool isDigit(char c) { return c >= '0' && c <= '9'; }

    /* ---- values -------------------------------------------------------------------------------------------------- */

    bool value()
    {
        nextIs('{');
        switch (peek()) {
        case '{':
            return object();
        case '[':
            return array();
        case '"':
            return string() && (handler_.string(string_), true);
        case 't':
            return other("true");
        case 'f':
            return other("false");
        case 'n':
            return other("null");
        default:
            return number();
        }
    }

    bool object()
    {
        handler_.beginObject();
        take('{');
        bool more = !nextIs('}');
        while (more) {
            if (!nextIs('"') || !string())
                return false;
            handler_.key(string_);
            if (!takeNext(':') || !value())
                return false;
            more = takeNext(',');
        }
        return take('}') && (handler_.endObject(), true);
    }

    bool array()
    {
        handler_.beginArray();
        take('[');
        bool more = !nextIs(']');
        while (more) {
            if (!value())
                return false;
            more = takeNext(',');
        }
        return take(']') && (handler_.endArray(), true);
    }

    bool other(std::string_view word) { return takeAll(word) && (handler_.other(word), true); }

    bool digits()
    {
        const bool some = isDigit(peek());
        while (isDigit(peek()))
            rest_.remove_prefix(1);
        return some;
    }

    bool number()
    {
        const std::string_view start = rest_;
        bool whole = !take('-');
        const std::string_view firstDigit = rest_;
        if (!take('0') && !digits())
            return false;
        const std::string_view integer = firstDigit.substr(0, firstDigit.size() - rest_.size());
        if (take('.')) {
            whole = false;
            if (!digits())
                return false;
        }
        if (take('e') || take('E')) {
            whole = false;
            if (!take('+'))
                take('-');
            if (!digits())
                return false;
        }
        u64 number = 0;
        const std::string_view all = start.substr(0, start.size() - rest_.size());
        if (whole && wholeNumber(integer, number))
            handler_.number(number);
        else if (std::isfinite(std::strtod(std::string(all).c_str(), nullptr)))
            handler_.other(all);
        else
            return false;
        return true;
    }

    static bool wholeNumber(std::string_view digits, u64 &number)
    {
        constexpr u64 most = std::numeric_limits<u64>::max();
        for (const char digit : digits) {
            const u64 next = static_cast<u64>(digit - '0');
            if (number > (most - next) / 10)
                return false;
            number = number * 10 + next;
        }
        return true;
    }

    /* ---- strings ------------------------------------------------------------------------------------------------- */

    /** Take off letters that stand for themselves. */
    std::string_view plainLetters()
    {
        std::size_t size = 0;
        u8 seen = 0;
        while (size < rest_.size() && rest_[size] != '"' && rest_[size] != '\\' && static_cast<u8>(rest_[size]) >= 0x20)
            seen |= static_cast<u8>(rest_[size++]);
        ascii_ = ascii_ && seen < 0x80;
        const std::string_view letters = rest_.substr(0, size);
        rest_.remove_prefix(size);
        return letters;
    }

    bool string()
    {
        ascii_ = true;
        take('"');
        string_ = {plainLetters(), true};
        if (peek() == '\\') {
            unescaped_ = string_.text;
            while (take('\\')) {
                if (!escape())
                    return false;
                unescaped_ += plainLetters();
            }
            string_ = {unescaped_, false};
        }
        return take('"') && (ascii_ || isUtf8(ByteView(string_.text)));
    }

    bool escape()
    {
        static constexpr std::string_view letters = "\"\\/bfnrt";
        static constexpr std::string_view meanings = "\"\\/\b\f\n\r\t";
        if (take('u'))
            return codePoint();
        const std::size_t which = rest_.empty() ? std::string_view::npos : letters.find(rest_.front());
        if (which == std::string_view::npos)
            return false;
        unescaped_ += meanings[which];
        rest_.remove_prefix(1);
        return true;
    }

    bool fourDigits(u32 &number)
    {
        constexpr std::size_t count = 4;
        const std::optional<std::string> bytes = fromHex(rest_.substr(0, count));
        if (!bytes || bytes->size() != count / 2)
            return false;
        number = static_cast<u32>(static_cast<u8>((*bytes)[0]) << 8 | static_cast<u8>((*bytes)[1]));
        rest_.remove_prefix(count);
        return true;
    }

    /** Of one \u, or of two that are a surrogate pair. */
    bool codePoint()
    {
        u32 code = 0;
        u32 low = 0;
        if (!fourDigits(code) || (code & surrogateMask) == firstLowSurrogate)
            return false;
        if ((code & surrogateMask) == firstHighSurrogate) {
            if (!takeAll("\\u") || !fourDigits(low) || (low & surrogateMask) != firstLowSurrogate)
                return false;
            code = 0x10000 + ((code & 0x3FF) << 10 | (low & 0x3FF));
        }
        appendUtf8(unescaped_, code);
        return true;
    }

    std::string_view rest_;
    JsonHandler &handler_;
    JsonString string_;
    std::string unescaped_;
    bool ascii_ = true; // the string so far
};

} // namespace

bool scanJson(std::string_view text, JsonHandler &handler)
{
    return JsonScanner(text, handler).scan();
}

} // namespace psi::describe
