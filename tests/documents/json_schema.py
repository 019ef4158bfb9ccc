"""Every line that a command prints with --json is one that docs/dx7.schema.json allows; every command that has the option
is run, and every kind of object is seen. The environment names what is tested, as in common.sh: DX7, DX7_DEVICE,
DX7_DRIVER, SOURCES."""

import errno
import json
import os
import pathlib
import re
import signal
import subprocess
import sys
import tempfile
import threading
import time
import tty
import unittest

from jsonschema import Draft202012Validator

PATIENCE = 30  # s, for what takes moments
SCHEMA = json.loads((pathlib.Path(os.environ["SOURCES"]) / "docs/dx7.schema.json").read_text())
# Sent before the command's own options; what is silent is not waited for.
SHORT = ["--timeout", "100", "--retries", "1"]

# What a panel asks, without CRC: two items, one that is refused, a station that is not there, all stations; and a reply and
# bytes that nobody asked for.
POLLED = ("010412000004", "0103F3250001", "020300000001", "090300000001", "00051020FF00", "02030200FF", "!A5A5A5A5A5")

validator = Draft202012Validator(SCHEMA)
commands_run = set()
not_here = set()  # Kinds that this computer has nothing of.
seen = {}  # By event, and by command for summaries: the objects of that kind.


def kind_of(line):
    return "summary of " + str(line.get("command")) if line["event"] == "summary" else line["event"]


def definition_of(event, line):
    if event != "summary":
        return SCHEMA["$defs"].get(event)
    for choice in SCHEMA["$defs"]["summary"]["oneOf"]:
        definition = SCHEMA["$defs"][choice["$ref"].rsplit("/", 1)[1]]
        if definition["properties"]["command"]["const"] == line.get("command"):
            return definition
    return None


def faults_of(line):
    """What is wrong with a printed object; empty when the schema allows it."""
    if not isinstance(line, dict) or next(iter(line), None) != "event":
        return ["its first key is not event"]
    definition = definition_of(line["event"], line) if isinstance(line["event"], str) else None
    if definition is None:
        return ["the schema does not know its kind"]
    one_kind = Draft202012Validator({**definition, "$defs": SCHEMA["$defs"]})
    return [error.message for error in one_kind.iter_errors(line)] + (
        [] if validator.is_valid(line) else ["the schema as a whole does not allow it"]
    )


def send_back(bridge):
    """Until the end is closed; it has no other end in between."""
    while True:
        try:
            os.write(bridge, os.read(bridge, 4096))
        except OSError as error:
            if error.errno != errno.EIO:
                return
            time.sleep(0.01)


class Device:
    """dx7-device on a pseudo-terminal of the folder."""

    def __init__(self, folder, options=("--stations", "1,2"), line=None):
        self.line = str(folder / "line")
        self.arguments = [os.environ["DX7_DEVICE"], *(line or ("--pty", self.line)), *options]
        self.start()

    def start(self):
        self.process = subprocess.Popen(
            self.arguments, stdin=subprocess.PIPE, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True
        )
        ready = self.process.stdout.readline()
        if not ready.startswith("ready"):
            raise AssertionError("dx7-device says " + ready)

    def tell(self, command):
        self.process.stdin.write(command + "\n")
        self.process.stdin.flush()
        return self.process.stdout.readline()

    def stop(self):
        if self.process.poll() is None:
            self.process.kill()
        self.process.communicate(timeout=PATIENCE)


class Json(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = pathlib.Path(folder.name)
        self.device = Device(self.folder)
        self.addCleanup(lambda: self.device.stop())
        self.on_line = ["--serial", self.device.line]

    def words(self, command, *arguments):
        commands_run.add(command)
        driver = [] if command == "replay" else ["--driver", os.environ["DX7_DRIVER"]]
        return [os.environ["DX7"], *command.split(), *arguments, "--json", *driver]

    def check(self, output, words):
        lines = [json.loads(text) for text in output.splitlines()]
        for line in lines:
            self.assertEqual([], faults_of(line), f"{' '.join(words)} prints {line}")
            seen.setdefault(kind_of(line), []).append(line)
        return lines

    def run_tool(self, exit_code, command, *arguments):
        """The objects that the command prints on its way to the exit code."""
        words = self.words(command, *map(str, arguments))
        run = subprocess.run(words, capture_output=True, text=True, timeout=PATIENCE, stdin=subprocess.DEVNULL)
        self.assertEqual(exit_code, run.returncode, f"{' '.join(words)}: {run.stdout}{run.stderr}")
        return self.check(run.stdout, words)

    def on_device(self, exit_code, command, *arguments):
        return self.run_tool(exit_code, command, *arguments, *self.on_line)

    def start(self, command, *arguments):
        words = self.words(command, *arguments, *self.on_line)
        process = subprocess.Popen(words, stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True)
        self.addCleanup(lambda: process.poll() is None and process.kill())
        return process

    def next_like(self, process, wanted):
        for text in iter(process.stdout.readline, ""):
            line = self.check(text, process.args)[0]
            if wanted.items() <= line.items():
                return line
        self.fail(f"{' '.join(process.args)} never printed {wanted}: {process.stderr.read()}")

    def end(self, process):
        """What a signal ends: the objects that it still prints."""
        process.send_signal(signal.SIGINT)
        return self.end_of(process)

    def end_of(self, process):
        output, _ = process.communicate(timeout=PATIENCE)
        return self.check(output, process.args)

    def await_request(self, station):
        """Until the device, which traces, has got a request for the station."""
        for text in iter(self.device.process.stdout.readline, ""):
            if re.search(rf" request {station:02X} ", text):
                return
        self.fail("the device has ended")

    def trace(self):
        self.device.stop()
        self.device.arguments += ["--trace"]
        self.device.start()

    def file_with(self, count):
        """A parameter file of group 3, saved as the device is now."""
        file = self.folder / "pump.toml"
        saved = self.on_device(0, "params save", file, "--groups", "3", "--force")
        self.assertEqual((count, count), (saved[0]["saved"], saved[0]["read"]))
        return file


class WithoutALine(Json):
    def test_types_check_copies_and_plan(self):
        types = self.run_tool(0, "types")
        self.assertEqual(SCHEMA["$defs"]["registerType"]["enum"], [line["type"] for line in types])
        checked = self.run_tool(0, "check", "F:3.0.25,2", "AI:0", "F:10.0.00")
        self.assertEqual([2, 1, 1], [line["count"] for line in checked])
        self.assertEqual([], self.run_tool(2, "check", "F:3.0.99"))
        self.assertEqual(["copy"] * 3 + ["held"], [line["event"] for line in self.run_tool(0, "copies", "CW_bit:14", "3")])
        self.assertIsNone(self.run_tool(0, "copies", "DE:54", "3")[2]["address"])
        plan = self.run_tool(0, "plan", "F:3.0.09,2", "DI:1,6")
        self.assertEqual(["block"] * 3 + ["summary"], [line["event"] for line in plan])
        self.assertIsNone(self.run_tool(0, "plan", "F:3.0.25", "--tcp", "127.0.0.1")[1]["cycle_ms"])

    def test_check_of_a_file(self):
        file = self.folder / "plant.toml"
        file.write_text(
            'line = [{ name = "north", serial = "/dev/ttyUSB0" }, { name = "south", tcp = "10.0.0.7" }]\n'
            'device = [{ name = "fan", line = "north", stations = [1, 2], tag = [\n'
            '  { name = "speed", type = "AI", address = 0, interval = "500ms" }, { name = "all", type = "FAS", address = 0 },\n'
            '  { name = "again", type = "FAS", address = 0 }, { name = "a", type = "AI", address = 3, count = 1 },\n'
            '  { name = "b", type = "FIN", address = 0 }] }, { name = "pump", line = "south", tag = [\n'
            '  { name = "speed", type = "AI", address = 0, interval = "1s" }] }]\n'
        )
        checked = self.run_tool(0, "check", "-c", file)
        self.assertEqual([0.5, None, 1], [line["interval_ms"] and line["interval_ms"] / 1000 for line in checked if line["event"] == "cost"])
        self.assertEqual(["fan 1/all", "fan 1/again"], next(line["tags"] for line in checked if line["event"] == "shared"))
        self.assertIn("1203", [line["register"] for line in checked if line["event"] == "shared"])
        self.assertEqual([None, None], [line["share"] for line in checked if line.get("line") == "south"])
        file.write_text(file.read_text().replace('"500ms"', '"1ms"'))
        self.assertFalse(self.run_tool(1, "check", "-c", file, "--line", "north")[-1]["kept"])
        file.write_text(file.read_text().replace('"FAS"', '"FAX"'))
        self.assertEqual(2, self.run_tool(2, "check", "-c", file)[-1]["faults"])

    def test_a_dry_run(self):
        requests = self.run_tool(0, "write", "--dry-run", "F:3.0.09,2=1,2", "DO:1@0=1")
        self.assertEqual(["request"] * 3, [line["event"] for line in requests])
        self.assertEqual(["3.0.09", "3.0.10", "1"], [line["address"] for line in requests])

    def test_ports(self):
        words = self.words("ports")
        ports = subprocess.run(words, capture_output=True, text=True, timeout=PATIENCE)
        self.assertEqual(0 if self.check(ports.stdout, words) else 1, ports.returncode)
        if ports.returncode == 1:
            not_here.add("port")
        bridge, port = os.openpty()
        self.addCleanup(os.close, bridge)
        tty.setraw(port)
        path = os.ttyname(port)
        os.close(port)
        self.assertFalse(self.run_tool(1, "ports", "--loopback", path)[0]["good"])
        os.read(bridge, 4096)  # What was sent when nothing sent it back.
        threading.Thread(target=send_back, args=(bridge,), daemon=True).start()
        self.assertTrue(self.run_tool(0, "ports", "--loopback", path)[0]["good"])


class Values(Json):
    def test_read_and_write_have_the_same_keys(self):
        items = ["F:3.0.20,3", "F:3.0.24/s32", "MOD:1/signed/scale=0.1/unit=Hz", "DO:1"]
        values = ["1,2,3", "-100000", "-2.5", "on"]
        written = self.on_device(0, "write", *map("=".join, zip(items, values)), "--verify")
        read = self.on_device(0, "read", *items)
        self.assertEqual([1, 2, 3, -100000, -2.5, 1], [line["value"] for line in written])
        for write, reading in zip(written, read):
            self.assertEqual((True, True, True), tuple(map(write.pop, ("written", "verified", "acknowledged"))))
            self.assertEqual(reading["value"], write.pop("reads_back"))
            self.assertEqual(list(reading), list(write))
            for key in set(reading) - {"event", "time"}:
                self.assertEqual(reading[key], write[key])
        self.assertEqual(len(written), len(read))

    def test_tags(self):
        file = self.folder / "line.toml"
        file.write_text('[[tag]]\nname = "ramp"\ntype = "F"\naddress = "3.0.20"\ncount = 2\nunit = "s"\n')
        written = self.on_device(0, "write", "-c", file, "ramp=4,5")
        self.assertEqual(["ramp[0]", "ramp[1]"], [line["name"] for line in written])
        self.assertEqual([4, 5], [line["value"] for line in self.on_device(0, "read", "-c", file)])

    def test_names_and_singles(self):
        file = self.folder / "line.toml"
        file.write_text('[[tag]]\nname = "mode"\ntype = "MOD"\naddress = 1\nenum = { 0 = "off", 1 = "on" }\n')
        written = self.on_device(0, "write", "-c", file, "mode=on")[0]
        self.assertEqual((1, "on"), (written["value"], written["text"]))
        self.device.tell("set F:3.0.30=32704")
        read = self.on_device(0, "read", "F:3.0.30/f32")[0]
        self.assertEqual((None, "nan", "good"), (read["value"], read["text"], read["quality"]))

    def test_refusals(self):
        read = self.on_device(1, "read", "F:10.0.00", "F:3.0.20")
        self.assertEqual(["bad", "good"], [line["quality"] for line in read])
        self.assertIn("exception 2", read[0]["fault"])
        self.device.tell("fault exception=1")
        written = self.on_device(1, "write", "F:3.0.20,2=1,2", "F:3.0.30=1", *SHORT)
        self.assertEqual(3, len(written))
        self.assertTrue(all(line["written"] is not True and line["quality"] != "good" for line in written), written)
        self.assertEqual([], self.on_device(2, "write", "AI:0=1"))

    def test_silence(self):
        read = self.on_device(1, "read", "F:3.0.20,2@9", *SHORT)
        self.assertEqual([("bad", "no reply")] * 2, [(line["quality"], line["fault"]) for line in read])
        written = self.on_device(1, "write", "F:3.0.20@9=1", "F:3.0.21@9=2", "DO:1@0=1", *SHORT)
        self.assertEqual([None, False], [line["written"] for line in written][:2])
        self.assertEqual(["doubtful", "bad"], [line["quality"] for line in written][:2])

    def test_interrupted(self):
        self.trace()
        for command, item in (("read", "F:3.0.20@9"), ("write", "F:3.0.20@9=1")):
            process = self.start(command, item, "--timeout", "30000", "--echo", "off")
            self.await_request(9)
            line = self.end(process)[0]
            self.assertEqual("bad" if command == "read" else "doubtful", line["quality"])
        self.assertEqual([], self.run_tool(2, "read", "F:3.0.20", "--serial", self.folder / "nothing"))


class Watching(Json):
    def test_values_and_statistics(self):
        lines = self.on_device(0, "monitor", "--count", "2", "--stats", "AI:0", "F:3.0.25@2/signed/unit=Hz")
        self.assertEqual(["value", "value", "summary", "statistics"], [line["event"] for line in lines])
        refused = self.on_device(1, "monitor", "--count", "1", "F:10.0.00", *SHORT)
        self.assertEqual("bad", refused[0]["quality"])
        for interval in ("10ms", "200ms"):
            self.on_device(0, "monitor", "--seconds", "0.5", "--interval", interval, "--log", str(self.folder / "log.csv"),
                           "AI:0@1-3", *SHORT)
        self.device.tell("fault exception=0.5,drop=0.2")
        self.on_device(0, "monitor", "--seconds", "0.5", "--stats", "AI:0", "DI:1", "F:3.0.25@2", *SHORT)

    def test_station_lost_and_back(self):
        process = self.start("monitor", "F:3.0.25@1", "F:3.0.25@2", *SHORT)
        self.next_like(process, {"event": "value", "station": 2, "quality": "good"})
        self.device.tell("silence 2")
        self.next_like(process, {"event": "station", "station": 2, "alive": False})
        self.device.tell("revive 2")
        self.next_like(process, {"event": "station", "station": 2, "alive": True})
        self.assertEqual("summary", self.end(process)[-1]["event"])

    def test_line_lost_and_back(self):
        process = self.start("monitor", "F:3.0.25", *SHORT)
        self.next_like(process, {"event": "value", "quality": "good"})
        self.device.stop()
        lost = self.next_like(process, {"event": "value", "quality": "bad"})
        self.assertEqual("no line", lost["fault"])
        self.next_like(process, {"event": "line", "state": "lost"})
        self.device.start()
        self.next_like(process, {"event": "line", "state": "open"})
        self.next_like(process, {"event": "value", "quality": "good"})
        self.end(process)

    def test_scan(self):
        lines = self.on_device(0, "scan", "--stations", "1-3", *SHORT)
        self.assertEqual(["found", "found", "summary"], [line["event"] for line in lines])
        self.assertEqual(0, self.on_device(1, "scan", "--stations", "9", *SHORT)[0]["answered"])
        process = self.start("scan", "--stations", "1,9", "--timeout", "30000")
        self.next_like(process, {"event": "found", "station": 1})
        self.assertTrue(self.end(process)[-1]["stopped"])
        self.trace()
        process = self.start("scan", "--stations", "9", "--timeout", "30000")
        self.await_request(9)
        self.device.stop()
        lost = self.end_of(process)[-1]
        self.assertEqual((9, True), (lost["not_heard"], "fault" in lost))
        self.device.start()
        self.device.tell("fault exception=1")
        self.assertIn("exception", self.on_device(0, "scan", "--stations", "1", *SHORT)[0])
        self.device.tell("fault corrupt=1")
        damaged = self.on_device(1, "scan", "--stations", "1", *SHORT)
        self.assertEqual((["damaged", "summary"], 1), ([line["event"] for line in damaged], damaged[-1]["damaged"]))

    def test_find(self):
        lines = self.on_device(0, "scan", "--find", "--baud", "9600", "--stations", "1-3", *SHORT)
        self.assertEqual(["settings"] * 3 + ["summary"], [line["event"] for line in lines])
        self.assertEqual([1, 2], lines[0]["stations"])

    def test_raw(self):
        reply = self.on_device(0, "raw", "03", "F314", "0002", "--as", "u16")[0]
        self.assertEqual([0xF314, 0xF315], [value["register"] for value in reply["values"]])
        self.assertEqual(2, self.on_device(0, "raw", "03", "0000", "0001")[0]["exception"])
        silent = self.on_device(1, "raw", "--station", "9", "03", "F314", "0001", *SHORT)[0]
        self.assertEqual((None, True), (silent["reply"], "no reply" in silent["fault"]))

    def test_listen(self):
        panel, listener, station = (str(self.folder / name) for name in ("panel", "listener", "station"))
        bus = subprocess.Popen(
            [sys.executable, "-B", str(pathlib.Path(__file__).with_name("bus.py")), panel, station, listener]
            + [word for frame in POLLED for word in ("--poll", frame)],
            stdout=subprocess.PIPE,
            text=True,
        )
        self.addCleanup(bus.communicate)
        self.addCleanup(bus.kill)
        self.assertEqual("ready\n", bus.stdout.readline())
        device = Device(self.folder, ("--stations", "1,2"), ("--serial", station))
        self.addCleanup(device.stop)
        lines = self.run_tool(0, "listen", "--serial", listener, "--seconds", "2", "--save", self.folder / "panel.toml")
        kinds = {line.get("kind") for line in lines if line["event"] == "heard"}
        self.assertLessEqual({"exchange", "unanswered", "broadcast", "orphan", "damage"}, kinds)
        polled = {line["text"]: line for line in lines if line["event"] == "polled"}
        self.assertEqual(["AI:0,4"], polled["station 1 read input registers: 0x1200, quantity 4"]["items"])
        self.assertEqual(2, polled["station 2 read holding registers: 0x0000, quantity 1"]["exception"])
        self.assertLessEqual({1, 2, 9}, {line["station"] for line in lines if line["event"] == "polled_station"})
        self.assertEqual(0, lines[-1]["unlisted"])

    def test_replay(self):
        file = self.folder / "line.pcap"
        self.on_device(1, "read", "F:3.0.20", "F:10.0.00", "F:3.0.20@9", "--record", file, *SHORT)
        frames = self.run_tool(0, "replay", file)
        reads = [line["direction"] for line in frames if line["bytes"][3:5] in ("03", "83")]
        self.assertEqual(["request", "reply"] * 2 + ["request"], reads)
        self.assertLess(5, len(frames), "status queries are recorded, too")
        file.write_bytes(file.read_bytes()[:-3])
        self.assertEqual(len(frames) - 1, len(self.run_tool(1, "replay", file)))


class Parameters(Json):
    def test_save(self):
        self.file_with(56)
        silent = self.on_device(1, "params save", self.folder / "a.toml", "--groups", "3", "--station", "9", *SHORT)
        self.assertEqual(0, silent[0]["saved"])
        self.assertIn("fault", silent[0])
        self.assertEqual([], self.on_device(2, "params save", self.folder / "no/where.toml"))
        file = self.file_with(56)
        self.assertEqual([], self.on_device(2, "params save", file, "--groups", "3"))
        again = self.on_device(0, "params save", file, "--groups", "3", "--force")
        self.assertTrue(again[0]["backup"].startswith(f"{file}.~"))
        self.device.tell("fault exception=1")
        self.assertEqual([], self.on_device(1, "params save", self.folder / "a.toml", "--groups", "3", *SHORT))

    def test_differences(self):
        file = self.file_with(56)
        self.assertEqual([0], [line["differ"] for line in self.on_device(0, "params diff", file)])
        self.device.tell("set F:3.0.20=4711")
        self.assertEqual([4711], [line["device"] for line in self.on_device(1, "params diff", file)[:-1]])
        dry = self.on_device(0, "params load", file, "--dry-run")
        self.assertEqual([4711], [line["device"] for line in dry[:-1]])
        self.assertEqual(1, dry[-1]["would_write"])
        silent = self.on_device(1, "params load", file, "--dry-run", "--station", "9", *SHORT)
        self.assertEqual(56, silent[-1]["not_read"])
        several = self.on_device(0, "params load", file, "--dry-run", "--stations", "1")
        self.assertEqual(1, several[-1]["complete"])
        other = self.folder / "other.toml"
        other.write_text('station = 1\n[F]\n"3.0.20" = 1\n"5.0.00" = 2\n')
        line = self.folder / "tags.toml"
        line.write_text('[[tag]]\nname = "ramp"\ntype = "F"\naddress = "3.0.20"\nscale = 0.1\nunit = "s"\n')
        files = self.run_tool(1, "params diff", file, other, "--accept-altered", "-c", line)
        named = self.on_device(1, "params diff", file, "-c", line)
        self.assertEqual(("ramp", "s", "471.1"), tuple(named[0][key] for key in ("name", "unit", "device_text")))
        self.assertEqual({1, 2, None}, {line["other"] for line in files[:-1]})
        self.assertEqual([1], [line["written"] for line in self.on_device(0, "params load", file)])
        silent = self.on_device(2, "params diff", file, "--station", "9", *SHORT)
        self.assertEqual(["difference"] * 56 + ["summary"], [line["event"] for line in silent])
        self.assertEqual(56, silent[-1]["not_read"])
        self.device.tell("fault exception=1")
        refused = self.on_device(2, "params diff", file, *SHORT)
        self.assertEqual([None] * 56, [line["device"] for line in refused[:-1]])

    def test_failing_load(self):
        file = self.file_with(56)
        silent = self.on_device(1, "params load", file, "--station", "9", *SHORT)
        self.assertEqual(["parameter"] * 56 + ["summary"], [line["event"] for line in silent])
        self.device.tell("fault exception=1")
        self.assertEqual(56, len(self.on_device(1, "params load", file, *SHORT)) - 1)
        self.assertEqual([], self.on_device(2, "params load", self.folder / "nothing.toml"))


class ZAfterAll(unittest.TestCase):
    """Runs last: about all that the other tests have printed."""

    def commands_with_json(self, *command):
        text = subprocess.run([os.environ["DX7"], *command, "--help"], capture_output=True, text=True, check=True).stdout
        listed = re.search(r"^Subcommands:\n((?:  .*\n)+)", text, re.MULTILINE)
        if listed is None:
            return {" ".join(command)} if re.search(r"^ +--json\b", text, re.MULTILINE) else set()
        names = re.findall(r"^  (\w\S*)", listed[1], re.MULTILINE)
        return set().union(*(self.commands_with_json(*command, name) for name in names))

    def test_every_command_was_run(self):
        commands = self.commands_with_json()
        self.assertLessEqual({"read", "params load"}, commands, "--help is not understood")
        self.assertEqual(commands, commands_run)

    def test_every_kind_was_seen(self):
        kinds = {choice["$ref"].rsplit("/", 1)[1] for choice in SCHEMA["oneOf"]} - {"summary"}
        for choice in SCHEMA["$defs"]["summary"]["oneOf"]:
            definition = SCHEMA["$defs"][choice["$ref"].rsplit("/", 1)[1]]
            kinds.add("summary of " + definition["properties"]["command"]["const"])
        self.assertEqual(kinds, set(seen) | not_here)

    def test_every_key_was_seen(self):
        for kind, lines in seen.items():
            known = set(definition_of(lines[0]["event"], lines[0])["properties"])
            self.assertEqual(known, set().union(*lines), kind)

    def test_what_is_wrong_is_found(self):
        Draft202012Validator.check_schema(SCHEMA)
        for lines in seen.values():
            good = lines[0]
            self.assertEqual([], faults_of(good))
            changed = [{key: good[key] for key in good if key != "event"}, {**good, "strange": 1}, {**good, "event": "strange"}]
            changed += [dict(reversed(good.items()))]
            required = definition_of(good["event"], good)["required"]
            changed += [{key: good[key] for key in good if key != left_out} for left_out in required]
            changed += [{**good, key: [good[key]]} for key in good]
            changed += [{**good, key: "strange"} for key in ("quality", "time", "station") if key in good]
            for line in changed:
                self.assertNotEqual([], faults_of(line), line)

    def test_what_is_bad_has_a_fault(self):
        bad = next(line for line in seen["value"] if line["quality"] == "bad")
        self.assertNotEqual([], faults_of({key: bad[key] for key in bad if key != "fault"}))


if __name__ == "__main__":
    unittest.main(verbosity=2)
