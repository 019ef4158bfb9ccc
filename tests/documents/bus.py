"""A line with several ends, as RS-485 has: what one of them sends all others hear. Makes a pseudo-terminal for each link
and says "ready". With --poll it is a master on the line, too: it sends the frames, hexadecimal and without CRC, in turn,
one every 50 ms; what begins with "!" goes out as it stands. Bytes take the time of 9600 baud. Ends when it is killed."""

import argparse
import itertools
import os
import select
import time
import tty

INTERVAL = 0.05  # s
BYTE_TIME = 10 / 9600  # s


def make_end(link):
    end, port = os.openpty()
    tty.setraw(port)
    os.symlink(os.ttyname(port), link)
    return end  # The port stays open, so that the end is there without a program on it.


def on_the_line(text):
    """The frame of a text with its CRC; behind a "!" the bytes as they stand."""
    return bytes.fromhex(text[1:]) if text.startswith("!") else with_crc(bytes.fromhex(text))


def with_crc(frame):
    crc = 0xFFFF
    for byte in frame:
        crc ^= byte
        for _ in range(8):
            crc = crc >> 1 ^ (0xA001 if crc & 1 else 0)
    return frame + crc.to_bytes(2, "little")


parser = argparse.ArgumentParser(description=__doc__)
parser.add_argument("links", nargs="+", metavar="LINK")
parser.add_argument("--poll", action="append", type=on_the_line, metavar="FRAME", default=[])
options = parser.parse_args()

ends = [make_end(link) for link in options.links]
requests = itertools.cycle(options.poll) if options.poll else None
due = time.monotonic()
print("ready", flush=True)
while True:
    wait = max(due - time.monotonic(), 0) if requests else None
    for end in select.select(ends, [], [], wait)[0]:
        sent = os.read(end, 4096)
        time.sleep(len(sent) * BYTE_TIME)
        for other in ends:
            if other != end:
                os.write(other, sent)
    if requests and time.monotonic() >= due:
        request = next(requests)
        for end in ends:
            os.write(end, request)
        due += INTERVAL
