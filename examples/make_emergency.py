#!/usr/bin/env python3
"""Make emergency.ts, a recording of 6 seconds at 100 kbit/s in which an emergency message comes and goes.

The index (table_id 0xFD) is sent every 200 ms: without a message, from the 2nd second on with one, from the 5th without
again. While there is a message, its contents (table_id 0xFE) are sent every second. All on PID 0x0021.

usage: make_emergency.py [OUTPUT]     (default: emergency.ts beside this script)
"""

import pathlib
import sys

PACKET = 188
PACKETS_PER_S = 100_000 / (PACKET * 8)
SECONDS = 6
PID, NULL_PID = 0x0021, 0x1FFF
INDEX, CONTENTS = 0xFD, 0xFE
INDEX_S, CONTENTS_S = 0.2, 1.0
COMES_S, GOES_S = 2.0, 5.0
AGENCY = b"Rivers"
TEXT = b"Flood warning: leave the river banks."


def crc32(data):
    crc = 0xFFFFFFFF
    for byte in data:
        crc ^= byte << 24
        for _ in range(8):
            crc = (crc << 1 ^ (0x04C11DB7 if crc & 0x80000000 else 0)) & 0xFFFFFFFF
    return crc.to_bytes(4, "big")


def section(table_id, extension, version, body):
    length = 5 + len(body) + 4
    head = bytes([table_id, 0xF0 | length >> 8, length & 0xFF]) + extension.to_bytes(2, "big")
    data = head + bytes([0xC1 | version << 1, 0, 0]) + body
    return data + crc32(data)


def index(version, message):
    body = bytes([0])
    if message:
        body = bytes([1]) + bytes(range(1, 39)) + bytes([1]) + bytes(range(1, 13)) + bytes([0])
    return section(INDEX, 1, version, body + bytes(2))  # no signature


def contents():
    """One content, without auxiliary data and without signature."""
    content = b"eng\0" + bytes(4) + len(TEXT).to_bytes(2, "big") + TEXT + bytes([len(AGENCY)]) + AGENCY + bytes([0xF0])
    return section(CONTENTS, 1, 0, bytes(range(1, 19)) + bytes([0xF1]) + content + bytes(2))


def packets(data, counter):
    """One section as packets of the PID; `counter` is that of the first one."""
    data = b"\0" + data
    for at in range(0, len(data), PACKET - 4):
        head = bytes([0x47, (0x40 if at == 0 else 0) | PID >> 8, PID & 0xFF, 0x10 | counter & 0x0F])
        yield (head + data[at:at + PACKET - 4]).ljust(PACKET, b"\xff")
        counter += 1


def main():
    default = pathlib.Path(__file__).with_name("emergency.ts")
    output = pathlib.Path(sys.argv[1]) if len(sys.argv) > 1 else default
    null = bytes([0x47, NULL_PID >> 8, NULL_PID & 0xFF, 0x10]).ljust(PACKET, b"\xff")
    stream, waiting, counter = [], [], 0
    next_index = next_contents = 0.0
    while len(stream) < SECONDS * PACKETS_PER_S:
        now = len(stream) / PACKETS_PER_S
        message = COMES_S <= now < GOES_S
        version = (now >= COMES_S) + (now >= GOES_S)
        due = []
        if now >= next_index:
            due.append(index(version, message))
            next_index += INDEX_S
        if message and now >= max(next_contents, COMES_S):
            due.append(contents())
            next_contents = now + CONTENTS_S
        for data in due:
            cut = list(packets(data, counter))
            counter += len(cut)
            waiting += cut
        stream.append(waiting.pop(0) if waiting else null)
    output.write_bytes(b"".join(stream))


if __name__ == "__main__":
    main()
