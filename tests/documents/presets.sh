#!/usr/bin/env bash
# README names each preset, every one of them configures and builds, and docs/porting.md says what CMake that takes.
source "$(dirname "${BASH_SOURCE[0]}")/common.sh"

# presets_of KIND: their names, one per line.
presets_of() { (cd "$SOURCES" && "$CMAKE" --list-presets="$1") | sed -nE 's/^  "([^"]+)".*/\1/p'; }

named=$(sed -nE 's/^Build by hand: .*\(presets (.*)\)\.$/\1/p' "$SOURCES/README.md" | tr -d '` ' | tr ',' '\n')
[ -n "$named" ] || wrong "README.md names no presets"
for kind in configure build; do
    same "the presets that README.md names and those that $kind" "$named" "$(presets_of $kind)"
done

# minimum FILE REGEX: the version that it asks for.
minimum() { sed -nE "s/.*$2.*/\1.\2/p" "$SOURCES/$1" | head -n 1; }
project=$(minimum CMakeLists.txt 'cmake_minimum_required\(VERSION ([0-9]+)\.([0-9]+)\)')
presets=$(minimum CMakePresets.json '"cmakeMinimumRequired": \{"major": ([0-9]+), "minor": ([0-9]+),')
grep -q "CMake $project or later" "$SOURCES/docs/porting.md" || wrong "docs/porting.md: the project wants CMake $project"
grep -q "want CMake $presets" "$SOURCES/docs/porting.md" || wrong "docs/porting.md: the presets want CMake $presets"
finish "all presets are as the documents say"
