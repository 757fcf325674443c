#!/usr/bin/env python3
"""Make multiplex.ts, the transport stream that the demonstration and the tests read.

FFmpeg makes test pictures and tones and multiplexes four programs. What it cannot write is added here: a CA
descriptor in the PMT of the pay program, a CAT, and service_type and free_CA_mode in the SDT, each section with its
right CRC. The same FFmpeg gives the same bytes every time.

usage: make_example.py [OUTPUT]     (default: multiplex.ts beside this script)
"""

import pathlib
import subprocess
import sys
import tempfile

PACKET = 188
SECONDS = 2

PAT_PID, CAT_PID, SDT_PID = 0x0000, 0x0001, 0x0011
PAT_ID, CAT_ID, PMT_ID, SDT_ID = 0x00, 0x01, 0x02, 0x42

PAY_PROGRAM, RADIO_PROGRAM = 40, 30
DIGITAL_RADIO = 0x02
CA_SYSTEM = 0x2610  # BISS-CA, EBU Tech 3292
ECM_PID, EMM_PID = 0x0FF0, 0x0FF1

# Of each audio stream: language, frequency of its tone in Hz, codec.
PROGRAMS = [
    {"number": 10, "name": "News One", "video": "mpeg2video",
     "audio": [("eng", 440, "mp2"), ("deu", 550, "mp2"), ("fra", 660, "ac3")]},
    {"number": 20, "name": "Cinéma Deux", "video": "libx264", "audio": [("fra", 330, "aac"), ("eng", 390, "aac")]},
    {"number": RADIO_PROGRAM, "name": "Radio Three", "video": None, "audio": [("eng", 500, "mp2")]},
    {"number": PAY_PROGRAM, "name": "Pay Four", "video": "mpeg2video",
     "audio": [("spa", 700, "mp2"), ("qaa", 720, "mp2")]},
]
PROVIDER = "Example Broadcasting"


def ffmpeg_command(output):
    """The whole multiplex in one FFmpeg command: inputs, maps and codecs in the order of the streams."""
    inputs, maps, codecs, programs = [], [], [], []
    for index, program in enumerate(PROGRAMS):
        streams = []
        if program["video"]:
            inputs += ["-f", "lavfi", "-i", f"testsrc2=size=96x64:rate=25:duration={SECONDS}"]
            codecs += [f"-c:{len(maps)}", program["video"]]
            streams.append(len(maps))
            maps.append(len(maps))
        for language, frequency, codec in program["audio"]:
            inputs += ["-f", "lavfi", "-i", f"sine=frequency={frequency}:sample_rate=48000:duration={SECONDS}"]
            codecs += [f"-c:{len(maps)}", codec, f"-metadata:s:{len(maps)}", f"language={language}"]
            streams.append(len(maps))
            maps.append(len(maps))
        members = "".join(f":st={stream}" for stream in streams)
        programs += ["-program", f"title={program['name']}:program_num={program['number']}{members}",
                     f"-metadata:p:{index}", f"service_provider={PROVIDER}"]
    command = ["ffmpeg", "-hide_banner", "-loglevel", "error", "-nostdin", "-y", *inputs]
    for stream in maps:
        command += ["-map", f"{stream}:0"]
    return command + codecs + programs + [
        "-threads", "1", "-b:v", "40k", "-b:a", "32k", "-ac", "1", "-g", "25", "-pix_fmt", "yuv420p",
        "-flags", "+bitexact", "-fflags", "+bitexact", "-map_metadata", "-1",
        "-metadata", f"service_provider={PROVIDER}",
        "-mpegts_transport_stream_id", "0x0101", "-mpegts_original_network_id", "0xFF01",
        "-mpegts_pmt_start_pid", "0x0100", "-mpegts_start_pid", "0x0200", "-mpegts_flags", "+nit+system_b", "-f", "mpegts", str(output)]


def crc32(data):
    """CRC-32/MPEG-2, ISO/IEC 13818-1 Annex A."""
    crc = 0xFFFFFFFF
    for byte in data:
        crc ^= byte << 24
        for _ in range(8):
            crc = (crc << 1 ^ (0x04C11DB7 if crc & 0x80000000 else 0)) & 0xFFFFFFFF
    return crc


def sealed(body):
    """A section from its bytes in front of the CRC, with section_length and CRC_32 made right."""
    length = len(body) + 4 - 3
    head = bytes([body[0], body[1] & 0xF0 | length >> 8, length & 0xFF])
    section = head + body[3:]
    return section + crc32(section).to_bytes(4, "big")


def ca_descriptor(pid):
    return bytes([0x09, 4]) + CA_SYSTEM.to_bytes(2, "big") + (0xE000 | pid).to_bytes(2, "big")


def scrambled_pmt(section):
    """The PMT with a CA descriptor at the end of its program descriptors. ISO/IEC 13818-1 2.4.4.8."""
    length = (section[10] & 0x0F) << 8 | section[11]
    loop = section[12:12 + length] + ca_descriptor(ECM_PID)
    return sealed(section[:10] + (0xF000 | len(loop)).to_bytes(2, "big") + loop + section[12 + length:-4])


def corrected_sdt(section):
    """The SDT with the radio's service_type and the pay program's free_CA_mode. EN 300 468 5.2.3."""
    body = bytearray(section[:-4])
    place = 11
    while place < len(body):
        service = body[place] << 8 | body[place + 1]
        if service == PAY_PROGRAM:
            body[place + 3] |= 0x10
        if service == RADIO_PROGRAM:
            body[place + 7] = DIGITAL_RADIO  # FFmpeg writes the service_descriptor first
        place += 5 + ((body[place + 3] & 0x0F) << 8 | body[place + 4])
    return sealed(bytes(body))


def cat():
    return sealed(bytes([CAT_ID, 0xB0, 0, 0xFF, 0xFF, 0xC1, 0, 0]) + ca_descriptor(EMM_PID))


def section_of(packet):
    """The section of a packet that holds exactly one, or None."""
    if not packet[1] & 0x40 or not packet[3] & 0x10 or packet[3] & 0x20 or packet[4] != 0:
        return None
    return packet[5:8 + ((packet[6] & 0x0F) << 8 | packet[7])]


def packet_of(pid, counter, section):
    if len(section) > PACKET - 5:
        raise ValueError(f"a section of {len(section)} bytes does not fit one packet")
    head = bytes([0x47, 0x40 | pid >> 8, pid & 0xFF, 0x10 | counter, 0])
    return (head + section).ljust(PACKET, b"\xff")


def edited(stream):
    """All packets, the sections of PSI and SI changed as said above, a CAT behind every PAT."""
    out = bytearray()
    cat_counter = 0
    for start in range(0, len(stream), PACKET):
        packet = stream[start:start + PACKET]
        pid, counter = (packet[1] & 0x1F) << 8 | packet[2], packet[3] & 0x0F
        section = section_of(packet)
        if section and section[0] == PMT_ID and section[3] << 8 | section[4] == PAY_PROGRAM and crc32(section) == 0:
            packet = packet_of(pid, counter, scrambled_pmt(section))
        elif section and pid == SDT_PID and section[0] == SDT_ID:
            packet = packet_of(pid, counter, corrected_sdt(section))
        out += packet
        if section and pid == PAT_PID:
            out += packet_of(CAT_PID, cat_counter, cat())
            cat_counter = cat_counter + 1 & 0x0F
    return bytes(out)


def main():
    output = pathlib.Path(sys.argv[1]) if len(sys.argv) > 1 else pathlib.Path(__file__).with_name("multiplex.ts")
    with tempfile.TemporaryDirectory() as folder:
        raw = pathlib.Path(folder) / "ffmpeg.ts"
        subprocess.run(ffmpeg_command(raw), check=True)
        output.write_bytes(edited(raw.read_bytes()))
    print(f"{output}: {output.stat().st_size} bytes")


if __name__ == "__main__":
    main()
