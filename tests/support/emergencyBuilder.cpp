#include "support/emergencyBuilder.h"

namespace psitest {
namespace {

template <typename Range> u32 sizeOf(const Range &range)
{
    return static_cast<u32>(range.size());
}

/** @brief A byte run behind a length of so many bits. */
BitWriter &putCounted(BitWriter &out, unsigned lengthBits, const Bytes &bytes)
{
    return out.put(lengthBits, sizeOf(bytes)).append(bytes);
}

void putChannel(BitWriter &out, const EbitChannel &channel)
{
    out.put(16, channel.word0).put(16, channel.word1).put(16, channel.word2).put(3, 7).put(13, channel.pid);
    putCounted(out.put(4, 15), 12, channel.descriptors);
    BitWriter streams;
    for (const EbitStream &stream : channel.streams) {
        streams.put(8, stream.type).put(3, 7).put(13, stream.pid).put(4, 15);
        putCounted(streams, 12, stream.descriptors);
    }
    putCounted(out, 16, streams.bytes());
}

void putMessage(BitWriter &out, const EbitMessage &message)
{
    out.put(16, message.word0).append(message.id).put(16, message.word20).put(16, message.word22);
    out.put(24, message.value24).put(16, message.word27).put(24, message.value29).append(message.bytes32);
    out.put(4, message.high37).put(4, message.low37).put(8, sizeOf(message.resources));
    for (const Bytes &resource : message.resources)
        out.append(resource);
    out.put(7, 0x7F).put(1, message.channel ? 1 : 0);
    if (message.channel)
        putChannel(out, *message.channel);
}

void putContent(BitWriter &out, const EbctContent &content)
{
    out.put(32, content.word).put(8, content.byte4).put(8, content.byte5).put(8, content.byte6);
    putCounted(out.put(8, content.byte7), 16, content.text);
    putCounted(out, 8, content.agency).put(4, 15).put(4, sizeOf(content.auxiliary));
    for (const EbctAuxiliary &auxiliary : content.auxiliary)
        putCounted(out.put(8, auxiliary.type), 24, auxiliary.data);
}

} // namespace

LongSectionBuilder ebitOf(const EbitTable &table)
{
    BitWriter body;
    body.put(8, sizeOf(table.messages));
    for (const EbitMessage &message : table.messages)
        putMessage(body, message);
    return LongSectionBuilder(0xFD).body(putCounted(body, 16, table.signature).bytes());
}

LongSectionBuilder ebctOf(const EbctTable &table)
{
    BitWriter body;
    body.append(table.ebmId).put(4, 15).put(4, sizeOf(table.contents));
    for (const EbctContent &content : table.contents)
        putContent(body, content);
    return LongSectionBuilder(0xFE).body(putCounted(body, 16, table.signature).append(table.stuffing).bytes());
}

LongSectionBuilder ebcatOf(const EbcatTable &table)
{
    BitWriter body;
    body.put(8, sizeOf(table.caList));
    for (const Bytes &data : table.caList)
        putCounted(body, 16, data);
    body.put(8, sizeOf(table.ct));
    for (const Bytes &data : table.ct)
        putCounted(body, 8, data);
    return LongSectionBuilder(0xFC).body(putCounted(body, 16, table.signature).bytes());
}

LongSectionBuilder ebcctOf(const EbcctTable &table)
{
    BitWriter body;
    body.put(8, sizeOf(table.commands));
    for (const EbcctCommand &command : table.commands)
        putCounted(body.put(8, command.tag), 16, command.data);
    return LongSectionBuilder(0xFB).body(putCounted(body, 16, table.signature).bytes());
}

} // namespace psitest
