#!/usr/bin/env python3
"""What `dx7 monitor` of 40 items costs on a line of 9600 baud that it polls once a second, or as often as the line allows.

Prints a line of JSON per way of polling: the median share of a processor, and requests per second.
"""
import argparse
import json
import os
import pathlib
import statistics
import subprocess
import sys
import tempfile
import time

ITEMS = ["F:0.0.00,40"]
SETTLE = 3  # s, until the first values are proven


def processor_seconds(process):
    """User and system time so far, of all its threads."""
    tasks = pathlib.Path(f"/proc/{process}/task")
    return sum(int((task / "schedstat").read_text().split()[0]) / 1e9 for task in tasks.iterdir())


def measure(words, seconds):
    """Share of a processor, and good requests per second, of a monitor."""
    # A pipe that nobody reads would hold it up.
    with tempfile.TemporaryFile() as output:
        process = subprocess.Popen([*words, "--json", "--seconds", str(SETTLE + seconds + 1)],
                                   stdin=subprocess.DEVNULL, stdout=output)
        time.sleep(SETTLE)
        before, began = processor_seconds(process.pid), time.monotonic()
        time.sleep(seconds)
        share = (processor_seconds(process.pid) - before) / (time.monotonic() - began)
        process.wait()
        output.seek(0)
        summary = next(line for line in map(json.loads, output) if line["event"] == "summary")
    if process.returncode != 0 or summary["bad"] > 0:
        sys.exit(f"dx7 monitor failed: {summary}")
    return share, summary["good"] / summary["seconds"]


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("--dx7", required=True)
    parser.add_argument("--device", required=True, help="dx7-device")
    parser.add_argument("--driver", required=True)
    parser.add_argument("--rounds", type=int, default=11)
    parser.add_argument("--quick", action="store_true")
    options = parser.parse_args()
    os.environ["DX7_DRIVER"] = options.driver
    with tempfile.TemporaryDirectory() as folder:
        port = os.path.join(folder, "line")
        device = subprocess.Popen([options.device, "--pty", port, "--baud", "9600"], stdin=subprocess.PIPE,
                                  stdout=subprocess.PIPE)
        try:
            while not os.path.exists(port):
                if device.poll() is not None:
                    sys.exit("dx7-device did not start")
                time.sleep(0.01)
            monitor = [options.dx7, "monitor", "--serial", port, "--baud", "9600", *ITEMS]
            ways = {
                "--interval 1s": [*monitor, "--interval", "1s"],
                "--interval 1s --log": [*monitor, "--interval", "1s", "--log", os.path.join(folder, "log.csv")],
                "without an interval": monitor,
            }
            figures = {name: [] for name in ways}
            for _ in range(options.rounds):
                for name, words in ways.items():
                    figures[name].append(measure(words, 2 if options.quick else 10))
        finally:
            device.stdin.close()
            device.terminate()
            device.wait()
    for name, runs in figures.items():
        print(json.dumps({"way": name, "share": statistics.median(share for share, _ in runs),
                          "requests": statistics.median(requests for _, requests in runs)}))


if __name__ == "__main__":
    main()
