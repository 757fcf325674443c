#include "describe/json/psiDescribe.h"

#include "describe/json/sectionDocument.h"
#include "describe/json/sectionJson.h"

#include <cstdlib>
#include <cstring>
#include <new>

using namespace psi::describe;

struct psiDescribeSections {
    CompiledDocument document;
};

namespace {

template <std::size_t N> void copyText(char (&to)[N], const std::string &text)
{
    std::size_t length = text.size() < N ? text.size() : N - 1;
    while (length > 0 && length < text.size() && (static_cast<u8>(text[length]) & 0xC0) == 0x80)
        --length; // not inside a character
    std::memcpy(to, text.data(), length);
    to[length] = '\0';
}

void tell(psiDescribeError *error, const std::string &place, const std::string &message)
{
    if (error == nullptr)
        return;
    copyText(error->place, place);
    copyText(error->message, message);
}

Standard standardOf(int standard)
{
    switch (standard) {
    case PSI_DESCRIBE_ANY:
        return Standard::unknown;
    case PSI_DESCRIBE_DVB:
        return Standard::dvb;
    case PSI_DESCRIBE_ATSC:
        return Standard::atsc;
    default:
        throw std::invalid_argument("there is no such standard");
    }
}

/** No exception leaves the library. @return what `make` gives, or null */
template <class Make> auto guarded(psiDescribeError *error, Make make) -> decltype(make())
{
    tell(error, "", "");
    try {
        return make();
    } catch (const FieldError &wrong) {
        tell(error, wrong.place(), wrong.message());
    } catch (const std::bad_alloc &) {
        tell(error, "", "memory is short");
    } catch (const std::exception &wrong) {
        tell(error, "", wrong.what());
    }
    return nullptr;
}

} // namespace

char *psiDescribeSection(const uint8_t *section, size_t length, int pid, int standard, psiDescribeError *error)
{
    constexpr std::size_t longest = 4096;
    constexpr int lastPid = 0x1FFF;
    return guarded(error, [&]() -> char * {
        if (section == nullptr || length == 0 || length > longest)
            throw std::invalid_argument("a section has 1 to 4096 bytes");
        if (pid < -1 || pid > lastPid)
            throw std::invalid_argument("a PID is 0 to 8191, or -1");
        const std::optional<u16> where = pid < 0 ? std::nullopt : std::optional<u16>(static_cast<u16>(pid));
        const std::string text = sectionJson({section, length}, where, standardOf(standard));
        auto *json = static_cast<char *>(std::malloc(text.size() + 1));
        if (json == nullptr)
            throw std::bad_alloc();
        std::memcpy(json, text.c_str(), text.size() + 1);
        return json;
    });
}

void psiDescribeFree(char *json)
{
    std::free(json);
}

psiDescribeSections *psiDescribeCompile(const char *json, size_t length, int standard, psiDescribeError *error)
{
    return guarded(error, [&]() -> psiDescribeSections * {
        if (json == nullptr)
            throw std::invalid_argument("there is no JSON");
        const JsonDocument document(std::string(json, length));
        return new psiDescribeSections{compileDocument(document, standardOf(standard))};
    });
}

size_t psiDescribeSectionCount(const psiDescribeSections *sections)
{
    return sections == nullptr ? 0 : sections->document.sections.size();
}

const uint8_t *psiDescribeSectionBytes(const psiDescribeSections *sections, size_t index, size_t *length, int *pid)
{
    if (length == nullptr || index >= psiDescribeSectionCount(sections))
        return nullptr;
    const CompiledSection &section = sections->document.sections[index];
    *length = section.bytes.size();
    if (pid != nullptr)
        *pid = section.pid ? *section.pid : -1;
    return reinterpret_cast<const uint8_t *>(section.bytes.data());
}

const char *psiDescribeWarning(const psiDescribeSections *sections, size_t index)
{
    const bool there = sections != nullptr && index < sections->document.warnings.size();
    return there ? sections->document.warnings[index].c_str() : nullptr;
}

void psiDescribeSectionsFree(psiDescribeSections *sections)
{
    delete sections;
}
