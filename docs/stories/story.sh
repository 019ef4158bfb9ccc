# Shared by the stories; sourced, not run. A story prints its document: what it tells stands in the script, what
# the programs print comes from running them.
# shellcheck shell=bash
set -euo pipefail
export LC_ALL=C.UTF-8

for program in dx7 dx7-device; do
    command -v $program >/dev/null || {
        echo "$(basename "$0"): $program is not in the PATH; add the folders of dx7 and dx7-device to it" >&2
        exit 2
    }
done

folder=$(mktemp -d)
device=''
stop_device() {
    [ -z "$device" ] || { kill "$device" && wait "$device"; } 2>/dev/null || true
    device=''
}
trap 'stop_device; rm -rf "$folder"' EXIT
cd "$folder"

# start_device OPTION...: the simulated device at the other end of ./line, in place of the one before.
start_device() {
    local patience=200
    stop_device
    : >device.log
    dx7-device --pty ./line "$@" </dev/null >device.log 2>&1 &
    device=$!
    until grep -q '^ready' device.log; do
        patience=$((patience - 1))
        if [ $patience -eq 0 ] || ! kill -0 "$device"; then
            cat device.log >&2
            exit 1
        fi
        sleep 0.05
    done
}

# tell: prose from standard input.
tell() {
    cat
    echo
}

# Shows a command as it is typed, its output and, unless it is 0, its exit code.
run() {
    local word typed='' code=0
    for word in "$@"; do
        [[ $word =~ ^[A-Za-z0-9_./:=,@-]+$ ]] || word="\"$word\""
        typed+=" $word"
    done
    printf '```\n$%s\n' "$typed"
    "$@" 2>&1 || code=$?
    [ $code -eq 0 ] || echo "(exit code $code)"
    printf '```\n\n'
}

# run_part PATTERN LINES COMMAND...: of the output only the first lines that match.
run_part() {
    local pattern=$1 lines=$2
    shift 2
    printf '```\n$ %s | grep "%s" | head -%s\n' "$*" "$pattern" "$lines"
    "$@" 2>&1 | grep "$pattern" | awk -v lines="$lines" 'NR <= lines'
    printf '```\n\n'
}
