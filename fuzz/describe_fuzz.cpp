// Strings and descriptors to psitool's decoders. Input: which one, what it needs to know, then the bytes.
#include "fuzzTarget.h"

#include "descriptors.h"
#include "support/safeUtf8.h"
#include "text.h"

namespace psifuzz {

bool (*const startLibrary)() = initialisePsi;

namespace {

using psitest::isSafeUtf8;
using psitool::ByteView;
using psitool::Field;

ByteView viewOf(const Bytes &bytes)
{
    return {bytes.data(), bytes.size()};
}

void expectSafe(const psitool::DecodedText &text)
{
    EXPECT_TRUE(isSafeUtf8(text.utf8));
    EXPECT_TRUE(isSafeUtf8(text.charset));
}

void expectSafe(const psitool::Fields &fields)
{
    for (const Field &field : fields) {
        EXPECT_FALSE(field.key.empty());
        EXPECT_TRUE(isSafeUtf8(field.key));
        EXPECT_TRUE(isSafeUtf8(field.text)) << field.key;
        for (const psitool::Fields &item : field.items)
            expectSafe(item);
    }
}

void describe(Input &input, psitool::Standard standard)
{
    psitool::DescriptorContext context;
    context.standard = standard;
    const u8 tag = input.byte();
    context.privateDataSpecifier = input.doubleWord();
    context.formatIdentifier = input.doubleWord();
    const Bytes payload = input.bytes(255);
    const psitool::DescribedDescriptor described = psitool::describeDescriptor(tag, viewOf(payload), context);
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
        return expectSafe(psitool::decodeDvbText(viewOf(input.rest())));
    case 1:
        return expectSafe(psitool::decodeUtf16(viewOf(input.rest())));
    case 2:
        return expectSafe(psitool::decodeMultipleString(viewOf(input.rest())));
    case 3:
        EXPECT_TRUE(isSafeUtf8(psitool::printableAscii(viewOf(input.rest()))));
        return;
    case 4:
        return describe(input, psitool::Standard::unknown);
    case 5:
        return describe(input, psitool::Standard::atsc);
    default:
        return describe(input, psitool::Standard::dvb);
    }
}

} // namespace psifuzz
