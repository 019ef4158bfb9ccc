"""Tells which mutants the driver's tests catch. Started by scripts/mutate, which makes the copies of the sources.

Arguments: the project's folder; that of the copies, and of what was found before; changes to try, seed, jobs, least share.
"""

import collections
import concurrent.futures
import hashlib
import json
import os
import pathlib
import queue
import subprocess
import sys

import mutants

# Long runs over the same few lines: only for what the others do not catch.
SLOW = "*LineDamage*:DataAreas.ThousandsOfAreasAreFoundAtTheirPlaces"
# What a mutant must pass, one after the other: build, tests, seconds, bytes of memory. The seconds are many times what
# the tests need, so that a busy machine does not pass for a test that hangs. AddressSanitizer reserves far more address
# space than there is memory.
STAGES = [("plain", "-" + SLOW, 60, 3 << 30), ("plain", SLOW, 600, 3 << 30), ("watched", "-" + SLOW, 600, "unlimited")]
# Exit codes of timeout(1): the program ended when it was told to, or had to be killed.
TIMED_OUT = (124, 137)


def run(*command):
    return subprocess.run(list(map(str, command)), stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, text=True,
                          errors="replace")


def compiles(build):
    result = run("ninja", "-C", build, "driver_tests")
    if result.returncode != 0 and "FAILED: driver/" not in result.stdout:
        raise RuntimeError("the tests do not build:\n" + result.stdout[-2000:])
    return result.returncode == 0


def failure(build, tests, seconds, memory):
    """The first test that fails, or how the program ends; None when all pass."""
    # The time limit is a process of its own, so that it holds too when this run is stopped.
    result = run("prlimit", f"--as={memory}", "timeout", "--kill-after=5", seconds, build / "tests/driver/driver_tests",
                 "--gtest_brief=1", "--gtest_fail_fast", "--gtest_filter=" + tests)
    if result.returncode in TIMED_OUT:
        # What passes the plain tests and takes long under the sanitizers is slow, not wrong.
        return "hung" if build.name == "plain" else None
    if result.returncode < 0:  # timeout ends by the signal that ended the program
        return "crashed"
    failed = [line for line in result.stdout.split("\n") if line.startswith("[  FAILED  ]")]
    return (failed or ["failed"])[0] if result.returncode else None


def judge(mutant, copy):
    """"does not compile", "survived", or what noticed it."""
    path = copy / "driver" / mutant.file
    text = path.read_text()
    path.write_text(mutants.apply(text, mutant))
    try:
        for build, *limits in STAGES:
            if not compiles(copy / "build" / build):
                return "does not compile"
            failed = failure(copy / "build" / build, *limits)
            if failed:
                return failed
        return "survived"
    finally:
        path.write_text(text)


def digest(*texts):
    return hashlib.sha256(b"".join(texts)).hexdigest()


def main():
    project, build = map(pathlib.Path, sys.argv[1:3])
    count, seed, jobs, minimum = map(int, sys.argv[3:])
    driver = project / "driver"
    # What was noticed stays noticed by tests that are added; what survived is tried again.
    tests = digest(*(path.read_bytes() for path in sorted((project / "tests/driver").glob("*.*"))))
    results = build / "results.jsonl"
    known = dict(map(json.loads, results.read_text().splitlines() if results.exists() else []))
    copies = queue.SimpleQueue()
    for number in range(jobs):
        copies.put(build / str(number))

    def result_of(mutant):
        key = digest(repr(mutant).encode(), (driver / mutant.file).read_bytes())
        result = known.get(key) or known.get(key + tests)
        if result is None:
            copy = copies.get()
            try:
                result = judge(mutant, copy)
            finally:
                copies.put(copy)
            with results.open("a") as file:
                file.write(json.dumps([key + tests if result == "survived" else key, result]) + "\n")
        return mutant, result

    pool = mutants.in_random_order(driver, seed)
    tried, tally = 0, collections.Counter()
    with concurrent.futures.ThreadPoolExecutor(jobs) as workers:
        while tally["noticed"] + tally["survived"] < count and tried < len(pool):
            batch = pool[tried:tried + count - tally["noticed"] - tally["survived"]]
            tried += len(batch)
            # By files: the one that was changed last is compiled again anyway.
            for mutant, result in workers.map(result_of, sorted(batch)):
                tally[result if result in ("survived", "does not compile") else "noticed"] += 1
                if result == "survived":
                    print("survived  driver/{0}:{1}  {3}\n    - {4}\n    + {5}".format(*mutant), flush=True)
    share = 100 * tally["noticed"] / max(1, tally["noticed"] + tally["survived"])
    print(f"{tried} of {len(pool)} possible changes: {tally['noticed']} noticed, {tally['survived']} not, "
          f"{tally['does not compile']} did not compile; {share:.1f} % noticed")
    return 0 if share >= minimum else 1


if __name__ == "__main__":
    os.nice(5)
    sys.exit(main())
