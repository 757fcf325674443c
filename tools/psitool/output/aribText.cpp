#include "output/aribText.h"

#include "describe/text.h"

#ifdef PSITOOL_ARIB
#include "demux/sharedLibrary.h"

extern "C" {
#include <aribb24/aribb24.h>
#include <aribb24/decoder.h>
}
#endif

#include <iterator>
#include <memory>
#include <vector>

namespace psitool {

#ifdef PSITOOL_ARIB

namespace {

/** What is called of libaribb24. */
struct Arib {
    decltype(&arib_instance_new) create;
    decltype(&arib_instance_destroy) destroy;
    decltype(&arib_get_decoder) decoder;
    decltype(&arib_initialize_decoder_a_profile) begin;
    decltype(&arib_decode_buffer) decode;
    decltype(&arib_finalize_decoder) end;
    bool loaded;

    Arib()
    {
        const psi::demux::SharedLibrary library = {"libaribb24.so.0"};
        loaded = library.find("arib_instance_new", create) && library.find("arib_instance_destroy", destroy) &&
                 library.find("arib_get_decoder", decoder) &&
                 library.find("arib_initialize_decoder_a_profile", begin) &&
                 library.find("arib_decode_buffer", decode) && library.find("arib_finalize_decoder", end);
    }
};

const Arib &arib()
{
    static const Arib functions;
    return functions;
}

struct InstanceDestroyer {
    void operator()(arib_instance_t *instance) const { arib().destroy(instance); }
};

/** In service information G3 has katakana; in captions, for which the library begins, it has macros. ARIB STD-B10 A. */
constexpr u8 katakanaInG3[] = {0x1B, 0x2B, 0x31};

std::string decode(psi::describe::ByteView text)
{
    constexpr std::size_t widest = 16; // bytes of UTF-8 that a byte can become
    static thread_local const std::unique_ptr<arib_instance_t, InstanceDestroyer> instance(
        arib().loaded ? arib().create(nullptr) : nullptr);
    arib_decoder_t *decoder = instance ? arib().decoder(instance.get()) : nullptr;
    if (decoder == nullptr || text.empty())
        return {};
    std::vector<u8> bytes(std::begin(katakanaInG3), std::end(katakanaInG3));
    bytes.insert(bytes.end(), text.begin(), text.end());
    std::string utf8(bytes.size() * widest, '\0');
    arib().begin(decoder);
    utf8.resize(std::min(utf8.size(), arib().decode(decoder, bytes.data(), bytes.size(), utf8.data(), utf8.size())));
    arib().end(decoder);
    return utf8;
}

} // namespace

void readAribTexts()
{
    psi::describe::useAribDecoder(decode);
}

#else

void readAribTexts() {}

#endif

} // namespace psitool
