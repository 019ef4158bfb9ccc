#!/usr/bin/env python3
"""Tables of docs/performance.md, from what the benchmark programs printed.

Each part has a file in a folder: what Google Benchmark printed, or a result per line. Prints a table per part, and with
--write puts the tables between their marks in the document.
"""
import argparse
import json
import pathlib
import re
import statistics
import sys


def number(value, digits=1):
    """The number as a person reads it; small ones with what they are small by."""
    if 0 < value < 0.1:
        return f"{value:.3f}"
    return f"{value:,.{digits if value < 1000 else 0}f}".replace(",", " ")


def held(value, limit, text=None, limit_text=None):
    """Three cells: the figure, its limit if it has one, and whether it is kept."""
    text = f"{value:.2f}" if text is None else text
    if limit is None:
        return [text, "", ""]
    return [text, limit_text or f"{limit:g}", "reached" if value <= limit else "**missed**"]


def table(head, rows):
    lines = [head, ["---"] * len(head), *rows]
    return "\n".join("| " + " | ".join(line) + " |" for line in lines)


def medians(results, value):
    """Benchmarks by their name and arguments, over their repetitions."""
    series = {}
    for run in (run for run in results if run["run_type"] == "iteration"):
        name, *arguments = run["run_name"].removesuffix("/manual_time").split("/")
        key = (name, *(text.split(":")[-1] for text in arguments))
        series.setdefault(key, []).append(value(run))
    return {key: statistics.median(values) for key, values in series.items()}


def walk(results):
    cost = medians(results, lambda run: 1e9 / run["items_per_second"])
    sizes = sorted({int(key[1]) for key in cost})
    rows = []
    for name, random in dict.fromkeys((key[0], key[2]) for key in cost):
        nanoseconds = [next(cost[key] for key in cost if key[:3] == (name, str(size), random)) for size in sizes]
        limit = 1.3 if random == "0" and not name.startswith("first") else None
        rows.append([name, "random" if random == "1" else "polling", *map(number, nanoseconds),
                     *held(nanoseconds[-1] / nanoseconds[0], limit)])
    return table(["ns per item", "order", *(number(size, 0) for size in sizes), "ratio", "at most", ""], rows)


def plan(results):
    cost = medians(results, lambda run: run["real_time"] * {"ns": 1e-6, "us": 1e-3, "ms": 1}[run["time_unit"]])
    sizes = sorted({int(key[2]) for key in cost})
    rows = []
    for shape in dict.fromkeys(key[0] for key in cost):
        first, again = ([cost[shape, planning, str(size)] for size in sizes] for planning in ("first", "again"))
        ratio = again[-1] / again[0]
        limits = (300, 20) if shape == "shuffled" else (None, None)
        rows.append([shape, number(first[0], 2), *held(first[-1], limits[0], number(first[-1], 2)),
                     *(number(value, 2) for value in again), *held(ratio, limits[1], f"{ratio:.1f}")])
    small, large = (number(size, 0) for size in sizes)
    return table(["entries", f"first plan of {small}, ms", f"of {large}", "at most", "", f"{small} again, ms",
                  f"{large} again", "ratio", "at most", ""], rows)


WHAT = {"instructions": "instructions", "allocations": "allocations of a thousand"}
CASES = {"same": "nothing changed", "changed": "all changed, each value read back in the callback"}


def transaction(results):
    rows = []
    for result in results:
        counted, limit = result["counted"], result["limit"]
        rows.append([f"{CASES[result['case']]}: {WHAT[result['what']]}",
                     *held(counted, limit, number(counted, 0), number(limit, 0))])
    return table(["60 words", "counted", "at most", ""], rows)


def tcp(results, calls):
    rows = []
    for result in results:
        ours, count = result["client"] == "dx7", calls[result["client"]]
        # A status query now and then comes on top of what a reply costs.
        rows.append([result["client"], number(result["per_second"], 0), number(result["cpu_us"]),
                     *held(result["over_libmodbus"], 1 if ours else None),
                     *held(round(count, 1), 3 if ours else None, f"{count:.2f}"), f"{100 * result['device_idle']:.0f} %"])
    return table(["TCP", "transactions per second", "processor time per transaction, µs", "this one / libmodbus", "at most",
                  "", "system calls per transaction", "at most", "", "device idle"], rows)


def unpaced(results):
    rows = []
    for result in results:
        limit = {"libmodbus": 1, "QtSerialBus": 0.5}.get(result["client"])
        rows.append([result["client"], number(result["per_second"], 0), number(result["cpu_us"]),
                     *held(result["ours_over_this"], limit, "" if limit is None else None),
                     f"{100 * result['device_idle']:.0f} %"])
    return table(["unpaced", "transactions per second", "processor time per transaction, µs", "dx7 / this one", "at most", "",
                  "device idle"], rows)


def paced(results):
    bare = {result["baud"]: result["over_limit"] for result in results if result["client"] == "bare loop"}
    rows = []
    for result in results:
        over, baud, ours = result["over_limit"], result["baud"], result["client"] == "dx7"
        limit = (1.02 if baud == 9600 else bare[baud] + 0.01) if ours else None
        rows.append([f"{baud} baud", result["client"], number(result["cycle_ms"]), number(result["limit_ms"]),
                     *held(over, limit, f"{over:.3f}", f"{limit:.3f}" if ours else ""),
                     f"{over * (1 - result['query_share']):.3f}" if ours else "", number(result["cpu_us"], 0),
                     f"{result['wake_ups']:.1f}", f"{100 * result['device_idle']:.0f} %"])
    return table(["paced", "client", "cycle, ms", "the line's own, ms", "ratio", "at most", "", "without status queries",
                  "processor time per transaction, µs", "wake-ups", "device idle"], rows)


def proof(results):
    rows = []
    for result in results:
        share = result.get("query_share")
        rows.append([result["medium"], f"{result['queries_per_second']:.2f}",
                     *held(share, 0.02 if result["baud"] == 9600 else None, "" if share is None else f"{100 * share:.2f} %",
                           "2 %")])
    return table(["proof", "status queries per second", "their share of the line's time", "at most", ""], rows)


def line(results):
    calls = {result["client"]: result["system_calls"] for result in results if result["medium"] == "calls"}
    measured = [result for result in results if result["medium"] != "calls"]
    return "\n\n".join([
        tcp([result for result in measured if result["medium"] == "tcp"], calls),
        unpaced([result for result in measured if result["medium"] == "terminal"]),
        paced([result for result in measured if result["baud"]]),
        proof([result for result in measured if result["client"] == "dx7"])])


# The 200 µs were set where a bare loop took 93.
OVER_BARE = 200 / 93


def monitor(results):
    bare = next(result["cpu_us"] for result in results if result["client"] == "bare loop")
    rows = []
    for result in results:
        ours, cost = result["client"] == "dx7 monitor", result["cpu_us"]
        wakes = round(result["wake_ups"], 1)  # to the digit that is shown
        rows.append([result["client"], *held(cost, 200 if ours else None, number(cost, 0)),
                     *(held(cost / bare, OVER_BARE, None, f"{OVER_BARE:.2f}") if ours else ["", "", ""]),
                     *held(wakes, 4 if ours else None, f"{wakes:.1f}")])
    return table(["9600 baud", "processor time per transaction, µs", "at most", "", "/ bare loop", "at most", "",
                  "wake-ups per reply", "at most", ""], rows)


def reaction(results):
    rows = []
    for result in results:
        times = [f"{result[key]:.2f}" for key in ("p50_ms", "p90_ms", "p99_ms", "max_ms")]
        limit = 2 if result["what"] == "host overhead" else None
        rows.append([result["what"], str(result["writes"]), *times, *held(result["p99_ms"], limit, None, "2 at p99")[1:]])
    return table(["ms", "writes", "median", "p90", "p99", "longest", "at most", ""], rows)


def memory(results):
    rows = [[{32: "32-bit ARM", 64: "64-bit x86"}[result["pointer_bits"]], number(result["items"], 0),
             number(result["areas_per_item"], 0), number(result["plan_per_item"], 0),
             number(result["areas_per_item"] + result["plan_per_item"], 0)] for result in results]
    return table(["heap, bytes per item", "items", "data areas and hints", "polling plan", "together"], rows)


def interval(results):
    rows = [[result["way"], *held(100 * result["share"], 0.3 if result["way"] == "--interval 1s" else None,
                                  f"{100 * result['share']:.2f} %", "0.3 %"),
             f"{result['requests']:.1f}"] for result in results]
    return table(["40 items at 9600 baud", "of a processor", "at most", "", "requests per second"], rows)


def start(results):
    rows = []
    for result in results:
        read = result["program"] == "dx7 read"
        rows.append([result["program"], *held(result["cpu_ms"], 6 if read else None, number(result["cpu_ms"])),
                     number(result["wall_ms"]), *held(result["over_mbpoll"], 0.3 if read else None)])
    return table(["a single run", "processor time, ms", "at most", "", "wall time, ms", "this one / mbpoll", "at most", ""], rows)


PARTS = {part.__name__: part for part in (transaction, walk, plan, memory, line, monitor, reaction, interval, start)}


def read(path):
    text = path.read_text()
    if not text.startswith("{\n"):
        return [json.loads(result) for result in text.splitlines()]
    # They took turns at random.
    return sorted(json.loads(text)["benchmarks"], key=lambda run: (run["family_index"], run["per_family_instance_index"]))


def put_in(document, name, text):
    mark = re.compile(rf"(<!-- figures: {name} -->\n).*?(<!-- end of figures -->)", re.S)
    if not mark.search(document):
        sys.exit(f"report.py: the document has no place for the figures of '{name}'")
    return mark.sub(lambda found: f"{found[1]}\n{text}\n\n{found[2]}", document)


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("results", type=pathlib.Path, help="folder with a file per part")
    parser.add_argument("parts", nargs="+", choices=PARTS, metavar="PART", help=", ".join(PARTS))
    parser.add_argument("--write", type=pathlib.Path, metavar="DOCUMENT", help="put the tables into this document")
    options = parser.parse_args()
    document = options.write.read_text() if options.write else ""
    for name in options.parts:
        text = PARTS[name](read(options.results / name))
        print(f"\n{text}")
        if options.write:
            document = put_in(document, name, text)
    if options.write:
        options.write.write_text(document)


if __name__ == "__main__":
    main()
