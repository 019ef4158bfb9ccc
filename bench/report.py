#!/usr/bin/env python3
"""Tables and picture of docs/performance.md, from what the benchmark programs printed.

Reads NAME.jsonl files (one figure per line) from a folder of results and from a folder of earlier results, prints a
table per part, and with --write puts the tables between their marks in the document.
"""
import argparse
import html
import json
import pathlib
import re
import sys

MET = "reached"


def read(folder, name):
    path = folder / (name + ".jsonl")
    if not path.exists():
        return []
    return [json.loads(line) for line in path.read_text().splitlines() if line]


def verdict(value, limit):
    return MET if value <= limit else "**missed**"


def table(head, rows):
    lines = ["| " + " | ".join(head) + " |", "|" + "---|" * len(head)]
    lines += ["| " + " | ".join(row) + " |" for row in rows]
    return "\n".join(lines)


def figure(value, digits=1):
    """The number as a person reads it; small ones with what they are small by."""
    if 0 < value < 0.1:
        return f"{value:.3f}"
    text = f"{value:,.{digits}f}" if value < 1000 else f"{value:,.0f}"
    return text.replace(",", " ")


def grouped(records, *keys):
    groups = {}
    for record in records:
        groups.setdefault(tuple(record[key] for key in keys), []).append(record)
    return groups


def walk(now, before):
    if not now:
        return None
    sizes = sorted({record["items"] for record in now})
    earlier = {(r["operation"], r["order"], r["items"]): r for r in before}
    rows = []
    for (operation, order), records in grouped(now, "operation", "order").items():
        by_size = {record["items"]: record for record in records}
        last = by_size[sizes[-1]]
        old = earlier.get((operation, order, sizes[-1]))
        limit = 1.3 if order == "polling" else 3
        once = operation.startswith(("first", "no driver"))
        rows.append(
            [operation, order]
            + [figure(by_size[size]["ns"]) for size in sizes]
            + [f"{last['ratio']:.2f}", "" if once else f"{limit:g}", "" if once else verdict(last["ratio"], limit)]
            + [f"{figure(old['ns'])} ({figure(old['ratio'], 2)})" if old else ""]
        )
    head = ["ns per item", "order"] + [f"{size}" for size in sizes]
    return table(head + ["ratio", "at most", "", f"before, at {sizes[-1]} (ratio)"], rows)


def plan(now, before):
    if not now:
        return None
    earlier = {(r["shape"], r["items"]): r for r in before}
    rows = []
    for (shape,), records in grouped(now, "shape").items():
        records.sort(key=lambda record: record["items"])
        small, last = records[0], records[-1]
        old = earlier.get((shape, last["items"]))
        single = shape != "runs of 60"
        memory = max(record["peak_ratio"] for record in records)
        rows.append(
            [shape]
            + [figure(record["ms"]) for record in records]
            + [f"{last['growth']:.1f}", verdict(last["growth"], 10)]
            + [f"{memory:.2f}", verdict(memory, 3) if single else "does not apply"]
            + [f"{figure(old['ms'])} ms, {old['growth']:.1f}, {old['peak_ratio']:.2f}" if old else ""]
        )
    head = ["entries"] + [f"{record['items']}: ms" for record in records]
    return table(head + ["growth", "at most 10", "peak / list", "at most 3", "before: time, growth, peak"], rows)


CASES = {"same": "nothing changed", "changed": "all changed, each value read back in the callback"}


def transaction(now, before):
    if not now:
        return None

    def of(records, case, field):
        return next((r[field] for r in records if r["case"] == case and field in r), None)

    rows = []
    for case, name in CASES.items():
        for field in ("instructions", "allocations"):
            new, old = of(now, case, field), of(before, case, field)
            if new is None:
                continue
            change = "" if not old or new == 0 else f"{old / new:.{1 if old < 20 * new else 0}f} times fewer" if new < old else "as before"
            rows.append([f"{name}: {field}", figure(new, 0), "" if old is None else figure(old, 0), change])
    return table(["a transaction of 60 words", "now", "before", ""], rows)


def before_line(earlier, record, field, ours):
    old = earlier.get((record["client"], record["baud"]))
    if old is None or record["medium"] == "tcp":
        return ""
    ratio = "" if ours is None or record["client"] == "dx7" else f" ({old['ours_over_this']:.2f})"
    return figure(old[field]) + ratio


def tcp_line(records, calls):
    rows = []
    for record in records:
        ours = record["client"] == "dx7"
        over = record["over_libmodbus"]
        count = calls.get(record["client"])
        rows.append(
            [record["client"], figure(record["per_second"], 0), figure(record["cpu_us"]), f"{over:.2f}"]
            + (["1", verdict(over, 1)] if ours else ["", ""])
            + ["" if count is None else f"{count:.2f}"]
            # A status query now and then comes on top of what a reply costs.
            + (["3", verdict(round(count, 1), 3)] if ours and count is not None else ["", ""])
            + [f"{100 * record['device_idle']:.0f} %"]
        )
    return table(
        ["TCP", "transactions per second", "processor time per transaction, µs", "this one / libmodbus", "at most", "",
         "system calls per transaction", "at most", "", "device idle"], rows)


def unpaced_line(records, earlier):
    rows = []
    for record in records:
        limit = {"libmodbus": 1, "QtSerialBus": 0.5}.get(record["client"])
        ours = record["ours_over_this"]
        rows.append(
            [record["client"], figure(record["per_second"], 0), figure(record["cpu_us"])]
            + (["", "", ""] if limit is None else [f"{ours:.2f}", f"{limit:g}", verdict(ours, limit)])
            + [f"{100 * record['device_idle']:.0f} %", before_line(earlier, record, "cpu_us", ours)]
        )
    return table(
        ["unpaced", "transactions per second", "processor time per transaction, µs", "dx7 / this one", "at most", "",
         "device idle", "before: µs (dx7 / this one)"], rows)


def paced_limit(record, records):
    """What the cycle may take of the line's own time: a number, or a little more than the bare loop's."""
    if record["client"] != "dx7":
        return None
    if record["baud"] == 9600:
        return 1.02
    return next(r["over_limit"] for r in records if r["client"] == "bare loop" and r["baud"] == record["baud"]) + 0.01


def paced_line(records, earlier):
    rows = []
    for record in records:
        limit = paced_limit(record, records)
        over = record["over_limit"]
        rows.append(
            [f"{record['baud']:.0f} baud", record["client"], figure(record["cycle_ms"]), figure(record["limit_ms"])]
            + [f"{over:.3f}"] + (["", ""] if limit is None else [f"{limit:.3f}", verdict(over, limit)])
            + [f"{over * (1 - record['query_share']):.3f}" if record["client"] == "dx7" else ""]
            + [figure(record["cpu_us"], 0), f"{record['wake_ups']:.1f}", f"{100 * record['device_idle']:.0f} %"]
            + [before_line(earlier, record, "cpu_us", None)]
        )
    return table(
        ["paced", "client", "cycle, ms", "the line's own, ms", "ratio", "at most", "", "without status queries",
         "processor time per transaction, µs", "wake-ups", "device idle", "before: µs"], rows)


def proof_line(records):
    rows = []
    for record in records:
        if record["client"] != "dx7":
            continue
        paced, at_9600 = record["baud"] > 0, record["baud"] == 9600
        share = record.get("query_share", 0)
        rows.append(
            [f"{record['baud']:.0f} baud" if paced else record["medium"], f"{record['queries_per_second']:.2f}"]
            + [f"{100 * share:.2f} %" if paced else ""]
            + (["2 %", verdict(share, 0.02)] if at_9600 else ["", ""]))
    return table(["proof", "status queries per second", "their share of the line's time", "at most", ""], rows)


def line(now, before):
    if not now:
        return None
    earlier = {(record["client"], record["baud"]): record for record in before}
    calls = {record["client"]: record["system_calls"] for record in now if record["medium"] == "calls"}
    records = [record for record in now if record["medium"] != "calls"]
    paced = [record for record in records if record["baud"] > 0]
    return "\n\n".join([
        tcp_line([record for record in records if record["medium"] == "tcp"], calls),
        unpaced_line([record for record in records if record["medium"] == "terminal"], earlier),
        paced_line(paced, earlier),
        proof_line(records)])


# The 200 µs were set where a bare loop took 93.
OVER_BARE = 200 / 93


def monitor(now, before):
    earlier = {record["client"]: record for record in before}
    bare = next((record["cpu_us"] for record in now if record["client"] == "bare loop"), None)
    rows = []
    for record in now:
        limits = (200, 4) if record["client"] == "dx7 monitor" else None
        old = earlier.get(record["client"])
        # To the digit that is shown.
        wakes = round(record["wake_ups"], 1)
        rows.append(
            [record["client"], figure(record["cpu_us"], 0)]
            + (["200", verdict(record["cpu_us"], 200)] if limits else ["", ""])
            + ([f"{record['cpu_us'] / bare:.2f}", f"{OVER_BARE:.2f}", verdict(record["cpu_us"] / bare, OVER_BARE)]
               if limits and bare else ["", "", ""])
            + [f"{wakes:.1f}"] + (["4", verdict(wakes, 4)] if limits else ["", ""])
            + [f"{figure(old['cpu_us'], 0)}, {old['wake_ups']:.0f}" if old else ""])
    head = ["9600 baud", "processor time per transaction, µs", "at most", "", "/ bare loop", "at most", "",
            "wake-ups per reply", "at most", "", "before"]
    return table(head, rows) if rows else None


def reaction(now, _):
    rows = []
    for record in now:
        if "p50_ms" not in record:
            continue
        overhead = record["what"] == "host overhead"
        rows.append(
            [record["what"], f"{record['writes']:.0f}"]
            + [f"{record[key]:.2f}" for key in ("p50_ms", "p90_ms", "p99_ms", "max_ms")]
            + (["2 at p99", verdict(record["p99_ms"], 2)] if overhead else ["", ""])
        )
    return table(["ms", "writes", "median", "p90", "p99", "longest", "at most", ""], rows) if rows else None


def memory(now, before):
    earlier = {record["pointer_bits"]: record for record in before}
    rows = []
    for record in now:
        old = earlier.get(record["pointer_bits"])
        rows.append(
            [f"{record['pointer_bits']:.0f}-bit {'ARM' if record['pointer_bits'] == 32 else 'x86'}",
             f"{record['items']:.0f}", f"{record['areas_per_item']:.0f}", f"{record['plan_per_item']:.0f}",
             f"{record['both_per_item']:.0f}",
             f"{old['areas_per_item']:.0f} + {old['plan_per_item']:.0f}" if old else ""])
    head = ["heap, bytes per item", "items", "data areas and their index", "polling plan", "together", "before"]
    return table(head, rows) if rows else None


PARTS = {"walk": walk, "plan": plan, "transaction": transaction, "line": line, "monitor": monitor,
         "reaction": reaction, "memory": memory}


def short_name(function):
    """The function's name without what the compiler adds."""
    name = re.sub(r" \[.*\]$", "", function).split(":", 1)[-1]
    name = re.sub(r"\(anonymous namespace\)::|\[clone [^]]*\]|\) const$", "", name).strip()
    name = re.sub(r"^.*/([^/:]+):", "", name)
    name = re.sub(r"\((?!anonymous).*$", "", name)
    name = re.sub(r"^__(mem[a-z]+)_.*", r"\1", name)  # which of the C library's variants depends on the processor
    return "inside QtCore" if name.startswith("0x") else name


def profile_of(records, case):
    return next((r["functions"] for r in records if r["case"] == case and "functions" in r), {})


def bars(now, before, case, top, width):
    """SVG elements of one case and their height."""
    new, old = profile_of(now, case), profile_of(before, case)
    names = sorted(set(new) | set(old), key=lambda name: -max(new.get(name, 0), old.get(name, 0)))[:9]
    scale = (width - 420) / max([1.0] + [max(new.get(n, 0), old.get(n, 0)) for n in names])
    total = f"before {figure(sum(old.values()), 0)}, now {figure(sum(new.values()), 0)} instructions"
    parts = [f'<text x="10" y="{top + 18}" font-weight="bold">{html.escape(CASES[case])}: {total}</text>']
    y = top + 30
    for name in names:
        parts.append(f'<text x="300" y="{y + 16}" text-anchor="end">{html.escape(name)}</text>')
        for values, colour, offset in ((old, "#b9bec6", 0), (new, "#2b6cb0", 11)):
            value = values.get(name, 0)
            parts.append(f'<rect x="308" y="{y + offset}" width="{scale * value:.1f}" height="10" fill="{colour}"/>')
            parts.append(f'<text x="{312 + scale * value:.1f}" y="{y + offset + 9}" font-size="10">{figure(value, 0)}</text>')
        y += 28
    return parts, y - top + 10


def picture(now, before):
    width, top, parts = 860, 40, []
    for case in CASES:
        added, height = bars(now, before, case, top, width)
        parts += added
        top += height
    legend = ('<rect x="10" y="12" width="12" height="12" fill="#b9bec6"/><text x="27" y="22">before</text>'
              '<rect x="90" y="12" width="12" height="12" fill="#2b6cb0"/><text x="107" y="22">now</text>'
              '<text x="170" y="22">instructions per transaction of 60 words, by function (its own alone; callgrind)</text>')
    return (f'<svg xmlns="http://www.w3.org/2000/svg" width="{width}" height="{top + 10}" font-family="sans-serif" '
            f'font-size="12"><rect width="100%" height="100%" fill="white"/>{legend}' + "\n".join(parts) + "</svg>\n")


def put_in(document, name, text):
    mark = re.compile(rf"(<!-- figures: {name} -->\n).*?(<!-- end of figures -->)", re.S)
    if not mark.search(document):
        sys.exit(f"report.py: the document has no place for the figures of '{name}'")
    return mark.sub(lambda found: f"{found[1]}\n{text}\n\n{found[2]}", document)


def annotated(path):
    """Instructions by function from callgrind_annotate's output."""
    functions = {}
    for text in path.read_text().splitlines():
        match = re.match(r"\s*([\d,]+) \([^)]*\)\s+(\S.*)$", text)
        if match and "PROGRAM TOTALS" not in text:
            name = short_name(match[2])
            functions[name] = functions.get(name, 0) + int(match[1].replace(",", ""))
    return functions


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("--results", type=pathlib.Path, help="folder of NAME.jsonl")
    parser.add_argument("--before", type=pathlib.Path, help="folder of earlier NAME.jsonl")
    parser.add_argument("--only", action="append", help="this part alone")
    parser.add_argument("--write", type=pathlib.Path, metavar="DOCUMENT", help="put the tables into this document")
    parser.add_argument("--picture", type=pathlib.Path, help="draw the profile into this file")
    parser.add_argument("--annotated", type=pathlib.Path, help="print callgrind_annotate's FILE as one line")
    parser.add_argument("--case", help="with --annotated: same or changed")
    parser.add_argument("--transactions", type=int, help="with --annotated: how many were counted")
    options = parser.parse_args()
    if options.annotated:
        functions = {name: count / options.transactions for name, count in annotated(options.annotated).items()}
        record = {"program": "transaction", "case": options.case, "instructions": sum(functions.values())}
        print(json.dumps({**record, "functions": functions}))
        return
    document = options.write.read_text() if options.write else ""
    for name in options.only or PARTS:
        text = PARTS[name](read(options.results, name), read(options.before, name))
        if text is None:
            continue
        print(f"\n{text}")
        if options.write:
            document = put_in(document, name, text)
    if options.write:
        options.write.write_text(document)
    if options.picture:
        options.picture.write_text(picture(read(options.results, "transaction"), read(options.before, "transaction")))


if __name__ == "__main__":
    main()
