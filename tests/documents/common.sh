# Shared by the tests of this folder; sourced, not run. The environment names what is tested:
#   DX7, DX7_DEVICE       the programs        DX7_DRIVER  the driver, as dx7 itself takes it
#   SOURCES, BUILD, CMAKE the source folder, the build folder, cmake
# shellcheck shell=bash
set -euo pipefail
export LC_ALL=C.UTF-8

work=$(mktemp -d)
started=()
clean_up() {
    local process
    for process in "${started[@]}"; do
        kill "$process" 2>/dev/null || true
    done
    rm -rf "$work"
}
trap clean_up EXIT

# await_word WORD FILE: until a line of the file has it.
await_word() {
    local patience=200
    until grep -q "$1" "$2"; do
        patience=$((patience - 1))
        [ $patience -gt 0 ] || { cat "$2" >&2; exit 1; }
        sleep 0.05
    done
}

# start_device NAME OPTION...: the simulated device, ready; what it prints goes to NAME.log in the current folder.
start_device() {
    local name=$1
    shift
    : >"$name.log"
    "$DX7_DEVICE" "$@" </dev/null >"$name.log" 2>&1 &
    started+=($!)
    await_word '^ready' "$name.log"
}

faults=0
wrong() {
    printf 'WRONG: %s\n' "$*" >&2
    faults=$((faults + 1))
}
finish() {
    [ "$faults" -eq 0 ] || exit 1
    echo "$*"
}

# shellcheck disable=SC2034 # the scripts that source this file use it
dx7_commands=(monitor read write scan 'params save' 'params diff' 'params load' plan check copies types replay ports raw listen)

# options_of PROGRAM [COMMAND...]: the options that its --help shows, one per line.
options_of() {
    "$@" --help | sed -nE 's/^ +(-[a-zA-Z],)?(--[a-z0-9-]+).*/\1\2/p' | tr ',' '\n' | sort -u
}

# same WHAT LIST LIST: whether both have the same lines.
same() {
    local only_first only_second
    only_first=$(comm -23 <(sort -u <<<"$2") <(sort -u <<<"$3") | tr '\n' ' ')
    only_second=$(comm -13 <(sort -u <<<"$2") <(sort -u <<<"$3") | tr '\n' ' ')
    [ -z "${only_first// /}" ] || wrong "$1: only on the left: $only_first"
    [ -z "${only_second// /}" ] || wrong "$1: only on the right: $only_second"
}
