// Strings and descriptors to psitool's decoders. Input: which one, what it needs to know, then the bytes.
#include "fuzzTarget.h"

#include "describe/descriptors.h"
#include "describe/text.h"
#include "support/safeUtf8.h"

namespace psifuzz {

bool (*const startLibrary)() = initialisePsi;

namespace {

using psi::describe::ByteView;
using psi::describe::Field;
using psitest::isSafeUtf8;

ByteView viewOf(const Bytes &bytes)
{
    return {bytes.data(), bytes.size()};
}

void expectSafe(const psi::describe::DecodedText &text)
{
    EXPECT_TRUE(isSafeUtf8(text.utf8));
    EXPECT_TRUE(isSafeUtf8(text.charset));
}

void expectSafe(const psi::describe::Fields &fields)
{
    for (const Field &field : fields) {
        EXPECT_FALSE(field.key.empty());
        EXPECT_TRUE(isSafeUtf8(field.key));
        EXPECT_TRUE(isSafeUtf8(field.text)) << field.key;
        for (const psi::describe::Fields &item : field.items)
            expectSafe(item);
    }
}

void describe(Input &input, psi::describe::Standard standard)
{
    psi::describe::DescriptorContext context;
    context.standard = standard;
    const u8 tag = input.byte();
    context.privateDataSpecifier = input.doubleWord();
    context.formatIdentifier = input.doubleWord();
    if (context.formatIdentifier % 2 != 0)
        context.gpsUtcOffset = static_cast<u8>(context.formatIdentifier >> 8);
    const Bytes payload = input.bytes(255);
    const psi::describe::DescribedDescriptor described =
        psi::describe::describeDescriptor(tag, viewOf(payload), context);
    EXPECT_FALSE(described.name.empty());
    EXPECT_TRUE(isSafeUtf8(described.name));
    EXPECT_TRUE(isSafeUtf8(described.note));
    expectSafe(described.fields);
}

} // namespace

void fuzzOne(Input input)
{
    switch (input.byte() & 7) {
    case 0:
        return expectSafe(psi::describe::decodeDvbText(viewOf(input.rest())));
    case 1:
        return expectSafe(psi::describe::decodeUtf16(viewOf(input.rest())));
    case 2:
        return expectSafe(psi::describe::decodeMultipleString(viewOf(input.rest())));
    case 3:
        EXPECT_TRUE(isSafeUtf8(psi::describe::printableAscii(viewOf(input.rest()))));
        return;
    case 4:
        return describe(input, psi::describe::Standard::unknown);
    case 5:
        return describe(input, psi::describe::Standard::atsc);
    default:
        return describe(input, psi::describe::Standard::dvb);
    }
}

} // namespace psifuzz
