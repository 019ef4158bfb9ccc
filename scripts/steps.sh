# Runs steps, alone or several at a time; sourced, not run. The sourcing script sets `logs`, the folder of their output.
#
# A step's output is kept in $logs/NAME.log and printed when the step ends. The first step that fails ends the others and
# the script, with exit code 1. In $DX7_FIGURES a step may leave lines for the table (`figure` in common.sh).
# shellcheck shell=bash

set -euo pipefail
set -m # each step is a process group of its own, so that it can be ended as a whole

rm -rf "${logs:?}"
mkdir -p "$logs"
passed=()
lanes=${lanes:-$(nproc)} # steps at a time
declare -A name_of=() began_at=()

# begin NAME COMMAND...: starts a step in the background.
begin() {
    local name=$1
    shift
    (
        export DX7_FIGURES=$logs/$name.figures
        : >"$DX7_FIGURES"
        exec "$@" </dev/null >"$logs/$name.log" 2>&1
    ) &
    name_of[$!]=$name
    began_at[$!]=$SECONDS
}

table() {
    local name
    printf '\n%-14s %7s  %s\n' STEP SECONDS FIGURES
    for name in "${passed[@]}"; do
        printf '%-14s %7d  %s\n' "$name" "$(cat "$logs/$name.seconds")" "$(paste -sd';' "$logs/$name.figures" | sed 's/;/; /g')"
    done
    printf '%-14s %7d\n' 'in all' "$SECONDS"
}

end_all() {
    local process
    for process in "${!name_of[@]}"; do
        kill -- "-$process" 2>/dev/null || true
    done
}
trap end_all EXIT

# finish: waits for one step to end and prints what it said.
finish() {
    local process name status=0
    wait -n -p process "${!name_of[@]}" || status=$?
    name=${name_of[$process]}
    unset "name_of[$process]"
    printf '%d\n' $((SECONDS - began_at[$process])) >"$logs/$name.seconds"
    printf '\n===== %s\n' "$name"
    cat "$logs/$name.log"
    if [ "$status" -ne 0 ]; then
        table
        printf '%-14s %7d  FAILED with exit code %d; its output is above\n' "$name" "$(cat "$logs/$name.seconds")" "$status"
        exit 1
    fi
    printf '===== %s: passed in %d s, %d s in all\n' "$name" "$(cat "$logs/$name.seconds")" "$SECONDS"
    passed+=("$name")
}

# together: waits for all steps that run.
together() {
    while [ "${#name_of[@]}" -gt 0 ]; do
        finish
    done
}

# alone NAME COMMAND...: a step with the machine to itself.
alone() {
    begin "$@"
    finish
}

# beside NAME COMMAND...: a step that runs beside others, $lanes at a time.
beside() {
    while [ "${#name_of[@]}" -ge "$lanes" ]; do
        finish
    done
    begin "$@"
}
