#!/usr/bin/env python3
"""What it costs to start a program for one read or write: dx7 beside mbpoll, taking turns on one pseudo-terminal.

Prints a line of JSON per program: median wall time and processor time of a run, in milliseconds.
"""
import argparse
import json
import os
import statistics
import subprocess
import sys
import tempfile
import time

ITEM, REGISTER = "F:3.0.25", 0xF325


def run(words):
    """Wall and processor time of a command that must succeed, in milliseconds."""
    began = time.monotonic()
    process = subprocess.Popen(words, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=subprocess.STDOUT)
    said = process.stdout.read()
    _, status, usage = os.wait4(process.pid, 0)
    wall = time.monotonic() - began
    process.returncode = os.waitstatus_to_exitcode(status)
    if process.returncode != 0:
        sys.exit(f"{' '.join(words)} ended with {process.returncode}: {said.decode()}")
    return 1000 * wall, 1000 * (usage.ru_utime + usage.ru_stime)


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("--dx7", required=True)
    parser.add_argument("--device", required=True, help="dx7-device")
    parser.add_argument("--driver", required=True)
    parser.add_argument("--rounds", type=int, default=11)
    parser.add_argument("--quick", action="store_true", help="accepted, as by the other programs; a run is short")
    options = parser.parse_args()
    os.environ["DX7_DRIVER"] = options.driver
    with tempfile.TemporaryDirectory() as folder:
        port = os.path.join(folder, "line")
        device = subprocess.Popen([options.device, "--pty", port], stdin=subprocess.PIPE, stdout=subprocess.PIPE)
        try:
            while not os.path.exists(port):
                if device.poll() is not None:
                    sys.exit("dx7-device did not start")
                time.sleep(0.01)
            commands = {
                "dx7 read": [options.dx7, "read", "--serial", port, ITEM],
                "dx7 write --anyway": [options.dx7, "write", "--anyway", "--serial", port, ITEM + "=325"],
                "dx7 write --anyway --no-verify":
                    [options.dx7, "write", "--anyway", "--no-verify", "--serial", port, ITEM + "=325"],
                "mbpoll, one read":
                    ["mbpoll", "-m", "rtu", "-a", "1", "-0", "-r", str(REGISTER), "-c", "1", "-1", "-q", "-b", "9600",
                     "-P", "none", port],
            }
            figures = {name: [] for name in commands}
            for name, words in commands.items():
                run(words)
            for _ in range(options.rounds):
                for name, words in commands.items():
                    figures[name].append(run(words))
        finally:
            device.stdin.close()
            device.terminate()
            device.wait()
    mbpoll = statistics.median(wall for wall, _ in figures["mbpoll, one read"])
    for name, runs in figures.items():
        wall = statistics.median(wall for wall, _ in runs)
        print(json.dumps({"program": name, "wall_ms": wall, "cpu_ms": statistics.median(cpu for _, cpu in runs),
                          "over_mbpoll": wall / mbpoll}))


if __name__ == "__main__":
    main()
