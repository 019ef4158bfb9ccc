"""Builds the driver's test program with each mutant and tells which the tests catch. Started by scripts/mutate."""

import argparse
import collections
import concurrent.futures
import hashlib
import json
import os
import pathlib
import resource
import shlex
import subprocess
import sys
import tempfile
import threading

import mutants

# Long runs over the same few lines: only for what the others do not catch.
SLOW = "*LineDamage*:DataAreas.ThousandsOfAreasAreFoundAtTheirPlaces"
# Many times what the tests need, so that a busy machine does not pass for a test that hangs.
TIMEOUT_SECONDS = 60
SLOW_TIMEOUT_SECONDS = 600
MEMORY_BYTES = 3 << 30

# Exit codes of timeout(1).
TIMED_OUT = 124
KILLED_BY_SIGNAL = 128


class Bench:
    def __init__(self, project, build):
        self.driver = project / "driver"
        self.build = build
        entries = json.loads((build / "compile_commands.json").read_text())
        self.commands = {}
        for entry in entries:
            path = pathlib.Path(entry["file"])
            if path.parent == self.driver:
                self.commands[path.name] = shlex.split(entry["command"])
        objects = build / "driver/CMakeFiles/dx7_driver_objects.dir"
        self.driver_objects = {name: str(objects / (name + ".o")) for name in self.commands}
        tests = build / "tests/driver/CMakeFiles/driver_tests.dir"
        self.test_objects = sorted(str(path) for path in tests.rglob("*.o"))
        self.libraries = self._libraries()

    def _libraries(self):
        """What the build system links after the objects."""
        ninja = subprocess.run(["ninja", "-C", str(self.build), "-t", "commands", "driver_tests"], check=True,
                               stdout=subprocess.PIPE, text=True).stdout
        words = shlex.split(ninja.strip().split("\n")[-1])
        folder = str(self.build) + "/"
        return [folder + word if word.startswith("lib/") else word for word in words
                if word.startswith(("-l", "-Wl,-rpath")) or word.endswith((".a", ".so")) or ".so." in word]

    def compile(self, name, source, target, extra=()):
        command, skip = [], False
        for word in self.commands[name]:
            if skip:
                skip = False
            elif word == "-o" or word in ("-MF", "-MT", "-c"):
                skip = True
            elif word not in ("-MD", "-Werror", "ccache") and not word.endswith("/" + name):
                command.append(word)
        command += ["-w", "-I", str(self.driver), "-c", str(source), "-o", str(target), *extra]
        return subprocess.run(command, cwd=self.build, stdout=subprocess.PIPE, stderr=subprocess.STDOUT).returncode == 0

    def link(self, name, target, program, extra=()):
        objects = [path for key, path in self.driver_objects.items() if key != name]
        command = ["c++", "-o", str(program), str(target)] + objects + self.test_objects + self.libraries + list(extra)
        result = subprocess.run(command, cwd=self.build, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True)
        if result.returncode != 0:
            raise RuntimeError("the test program does not link:\n" + result.stdout[-2000:])

    def run(self, program, test_filter, seconds, limited=True):
        """What the tests say: passed, failed, crashed or hung; with the name of a test that failed."""
        # AddressSanitizer reserves far more address space than there is memory.
        limit = (lambda: resource.setrlimit(resource.RLIMIT_AS, (MEMORY_BYTES, MEMORY_BYTES))) if limited else None
        # The time limit is a process of its own, so that it holds too when this run is stopped.
        command = ["timeout", "--kill-after=5", str(seconds), str(program), "--gtest_brief=1", "--gtest_fail_fast",
                   "--gtest_filter=" + test_filter]
        result = subprocess.run(command, cwd=program.parent, stdout=subprocess.PIPE, stderr=subprocess.DEVNULL,
                                preexec_fn=limit)
        if result.returncode == TIMED_OUT:
            return "hung", ""
        text = result.stdout.decode(errors="replace")
        failed = [line.split("]")[1].split(",")[0].strip() for line in text.split("\n") if line.startswith("[  FAILED  ]")]
        if result.returncode > KILLED_BY_SIGNAL:
            return "crashed", ""
        return ("passed", "") if result.returncode == 0 else ("failed", failed[0] if failed else "")

    def passes_sanitizers(self, name, source, target, program):
        """Whether the tests pass too when the mutated file is watched, as the whole driver is in the sanitizer build."""
        sanitizers = ["-fsanitize=address,undefined", "-fno-sanitize-recover=all"]
        if not self.compile(name, source, target, sanitizers):
            raise RuntimeError("%s compiles without the sanitizers and not with them" % name)
        self.link(name, target, program, sanitizers)
        return self.run(program, "-" + SLOW, SLOW_TIMEOUT_SECONDS, limited=False)[0] not in ("failed", "crashed")

    def judge(self, mutant):
        text = (self.driver / mutant.file).read_text()
        changed, before, after = mutants.apply(text, mutant)
        outcome = dict(mutant._asdict(), old=before.strip(), new=after.strip(), by="")
        with tempfile.TemporaryDirectory(prefix="dx7-mutant-") as folder:
            source = pathlib.Path(folder) / mutant.file
            source.write_text(changed)
            target, program = source.with_suffix(".o"), pathlib.Path(folder) / "driver_tests"
            if not self.compile(mutant.file, source, target):
                return dict(outcome, result="does not compile")
            self.link(mutant.file, target, program)
            result, test = self.run(program, "-" + SLOW, TIMEOUT_SECONDS)
            if result == "passed":
                result, test = self.run(program, SLOW, SLOW_TIMEOUT_SECONDS)
            if result == "passed" and not self.passes_sanitizers(mutant.file, source, target, program):
                result, test = "failed", "AddressSanitizer or UndefinedBehaviorSanitizer"
        if result == "passed":
            return dict(outcome, result="survived")
        return dict(outcome, result="caught", by=test or result)


def key_of(outcome, text):
    """Results stay valid as long as the mutated file and the tests are the same."""
    place = "{file}:{line}:{column}:{kind}:{after}".format(**outcome)
    return hashlib.sha256((place + text).encode()).hexdigest()


def tests_digest(bench):
    digest = hashlib.sha256()
    for path in bench.test_objects:
        digest.update(pathlib.Path(path).read_bytes())
    return digest.hexdigest()


def load(path):
    if not path.exists():
        return {}
    lines = (json.loads(line) for line in path.read_text().split("\n") if line)
    return {entry["key"]: entry for entry in lines}


def known(entry, digest):
    # What was caught stays caught by the tests that are added; what survived is tried again.
    return entry is not None and (entry["result"] != "survived" or entry["tests"] == digest)


def summary(outcomes, total):
    tally = collections.Counter(outcome["result"] for outcome in outcomes)
    valid = tally["caught"] + tally["survived"]
    for outcome in sorted(outcomes, key=lambda o: (o["file"], o["line"], o["column"])):
        if outcome["result"] == "survived":
            print("survived  driver/{file}:{line}  {kind}\n    - {old}\n    + {new}".format(**outcome))
    by_file = collections.Counter(o["file"] for o in outcomes if o["result"] != "does not compile")
    print("\nby file: " + ", ".join("%s %d" % pair for pair in sorted(by_file.items())))
    by_kind = collections.Counter(o["kind"] for o in outcomes if o["result"] != "does not compile")
    print("by kind: " + ", ".join("%s %d" % pair for pair in sorted(by_kind.items())))
    share = 100.0 * tally["caught"] / valid if valid else 0.0
    print("%d of %d possible mutants tried: %d caught, %d survived, %d did not compile; %.1f %% caught" %
          (len(outcomes), total, tally["caught"], tally["survived"], tally["does not compile"], share))
    return share


def main():
    parser = argparse.ArgumentParser()
    for name in ("project", "build", "results"):
        parser.add_argument("--" + name, type=pathlib.Path, required=True)
    for name in ("count", "seed", "jobs"):
        parser.add_argument("--" + name, type=int, required=True)
    parser.add_argument("--minimum", type=float, required=True)
    arguments = parser.parse_args()

    bench = Bench(arguments.project, arguments.build)
    digest = tests_digest(bench)
    texts = {name: (bench.driver / name).read_text() for name in bench.commands}
    results = load(arguments.results)
    pool, total = mutants.chosen(bench.driver, 1 << 30, arguments.seed)
    outcomes, lock = [], threading.Lock()

    def work(mutant):
        key = key_of(mutant._asdict(), texts[mutant.file])
        entry = results.get(key)
        if not known(entry, digest):
            entry = dict(bench.judge(mutant), key=key, tests=digest)
            with lock, arguments.results.open("a") as file:
                file.write(json.dumps(entry) + "\n")
        return entry

    valid, position = 0, 0
    with concurrent.futures.ThreadPoolExecutor(arguments.jobs) as workers:
        while valid < arguments.count and position < len(pool):
            batch = pool[position:position + arguments.count - valid]
            position += len(batch)
            for entry in workers.map(work, batch):
                outcomes.append(entry)
                valid += entry["result"] != "does not compile"
                if sys.stderr.isatty():
                    print("\r%d of %d" % (valid, arguments.count), end="", file=sys.stderr)
    share = summary(outcomes, total)
    return 0 if share >= arguments.minimum else 1


if __name__ == "__main__":
    os.nice(5)
    sys.exit(main())
