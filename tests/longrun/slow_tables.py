"""Sends a recording's sections once in nine seconds at 1 Mbit/s, and lets psitool scan find them. See scripts/slow-tables."""
import json
import random
import socket
import subprocess
import sys
import threading
import time

PERIOD = 9.0
PACKETS = int(1e6 * PERIOD / 8 / 188)
LIMIT = 11.5
NULL = b"\x47\x1f\xff\x10" + b"\xff" * 184


def packets_of(pid, section):
    """A section in packets, without their continuity_counter."""
    data, start, packets = b"\0" + section, 0x40, []
    while data:
        part, data = data[:184], data[184:]
        header = bytes((0x47, start | pid >> 8, pid & 0xFF, 0x10))
        packets.append(header + part + b"\xff" * (184 - len(part)))
        start = 0
    return packets


def period_of(sections):
    """Null packets, and among them the sections at even distances."""
    period = [NULL] * PACKETS
    for i, section in enumerate(sections):
        at = i * PACKETS // len(sections)
        made = packets_of(section["pid"], bytes.fromhex(section["data"]))
        period[at:at + len(made)] = made
    assert len(period) == PACKETS
    return period


def send(period, port, ended):
    """Goes round from anywhere, in real time, until `ended`."""
    out = socket.socket(socket.AF_INET, socket.SOCK_DGRAM)
    counters = {}
    place = random.randrange(PACKETS)
    begin = time.monotonic()
    sent = 0
    while not ended.is_set():
        datagram = b""
        for _ in range(7):
            packet = bytearray(period[place])
            pid = (packet[1] & 0x1F) << 8 | packet[2]
            if pid != 0x1FFF:
                counters[pid] = (counters.get(pid, -1) + 1) & 0x0F
                packet[3] |= counters[pid]
            datagram += bytes(packet)
            place = (place + 1) % PACKETS
        out.sendto(datagram, ("127.0.0.1", port))
        sent += 7
        time.sleep(max(0.0, begin + sent * 188 * 8 / 1e6 - time.monotonic()))


def free_port():
    with socket.socket(socket.AF_INET, socket.SOCK_DGRAM) as probe:
        probe.bind(("127.0.0.1", 0))
        return probe.getsockname()[1]


def tables_of(scan):
    return {(one["pid"], one["table_id"], one["table_id_extension"]) for one in scan["table_times"]}


def main():
    psitool, recording, rounds = sys.argv[1], sys.argv[2], int(sys.argv[3])
    run = lambda *words: json.loads(subprocess.run([psitool, *words], check=True, stdout=subprocess.PIPE).stdout)
    wanted = tables_of(run("scan", "--json", recording))
    period = period_of(run("tables", "--json", recording)["sections"])
    failed = 0
    for number in range(rounds):
        port, ended = free_port(), threading.Event()
        sender = threading.Thread(target=send, args=(period, port, ended))
        sender.start()
        begin = time.monotonic()
        scan = run("scan", "--json", f"udp://127.0.0.1:{port}")
        took = time.monotonic() - begin
        ended.set()
        sender.join()
        lacking = wanted - tables_of(scan)
        good = took <= LIMIT and not lacking and not scan["missing"]
        failed += not good
        print(f"round {number + 1}: {len(wanted) - len(lacking)} of {len(wanted)} tables in {took:.2f} s"
              + ("" if good else f": FAILED: lacking {sorted(lacking)}, missing {scan['missing']}"), flush=True)
    print("slow-tables: " + ("ok" if failed == 0 else f"FAILED: {failed} of {rounds} rounds"))
    return failed != 0


sys.exit(main())
