#include "output/aribText.h"

#include "describe/text.h"

#ifdef PSITOOL_ARIB
extern "C" {
#include <aribb24/aribb24.h>
#include <aribb24/decoder.h>
}
#endif

#include <memory>

namespace psitool {

#ifdef PSITOOL_ARIB

namespace {

struct InstanceDestroyer {
    void operator()(arib_instance_t *instance) const { arib_instance_destroy(instance); }
};

std::string decode(psi::describe::ByteView text)
{
    constexpr std::size_t widest = 16; // bytes of UTF-8 that a byte can become
    static thread_local const std::unique_ptr<arib_instance_t, InstanceDestroyer> instance(arib_instance_new(nullptr));
    arib_decoder_t *decoder = instance ? arib_get_decoder(instance.get()) : nullptr;
    if (decoder == nullptr || text.empty())
        return {};
    std::string utf8(text.size() * widest + widest, '\0');
    arib_initialize_decoder_a_profile(decoder);
    utf8.resize(std::min(utf8.size(), arib_decode_buffer(decoder, text.data(), text.size(), utf8.data(), utf8.size())));
    arib_finalize_decoder(decoder);
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
