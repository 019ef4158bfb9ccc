#!/usr/bin/env bash
# Each test has one of the labels that scripts/test runs, and what compares times runs alone.
set -euo pipefail
# From a folder of its own: ctest begins the log of the folder anew, which the run that this is part of writes.
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
printf 'subdirs("%s")\n' "$BUILD" >"$work/CTestTestfile.cmake"
ctest --test-dir "$work" --show-only=json-v1 | python3 -c '
import json, sys

faults = 0
for test in json.load(sys.stdin)["tests"]:
    properties = {one["name"]: one["value"] for one in test.get("properties", [])}
    labels = properties.get("LABELS", [])
    if len(labels) != 1 or labels[0] not in ("unit", "system", "timing"):
        print("WRONG:", test["name"], "has the labels", labels)
        faults += 1
    if ("timing" in labels) != bool(properties.get("RUN_SERIAL", False)):
        print("WRONG:", test["name"], "runs alone just when it is labelled timing")
        faults += 1
sys.exit(faults > 0)'
