#include "support/mutation.h"

#include "support/logCapture.h"

namespace psitest {

void forEachTruncation(const Bytes &section, Truncated how, const MutationVisitor &visit)
{
    const std::size_t smallest = how == Truncated::Raw ? 0 : 7;
    for (std::size_t size = smallest; size < section.size(); ++size) {
        Bytes cut(section.begin(), section.begin() + static_cast<std::ptrdiff_t>(size));
        if (how == Truncated::Resealed) {
            setSectionLength(cut, static_cast<unsigned>(size - 3));
            cut = withRightCrc(cut);
        }
        visit(cut, format("cut to %zu bytes", size));
    }
}

void forEachByteChange(const Bytes &section, const MutationVisitor &visit)
{
    forEachByteChange(section, counting(256), visit);
}

void forEachByteChange(const Bytes &section, const Bytes &values, const MutationVisitor &visit)
{
    for (std::size_t at = 0; at + 4 < section.size(); ++at) {
        for (const u8 value : values) {
            if (value == section[at])
                continue;
            Bytes changed = section;
            changed[at] = value;
            visit(withRightCrc(changed), format("byte %zu is 0x%02X", at, value));
        }
    }
}

const Bytes &nastyValues()
{
    static const Bytes values = {0x00, 0x01, 0x02, 0x03, 0x04, 0x05, 0x09, 0x0F, 0x10, 0x1F,
                                 0x40, 0x48, 0x7F, 0x80, 0xB0, 0xBF, 0xF0, 0xFC, 0xFE, 0xFF};
    return values;
}

} // namespace psitest
