#!/usr/bin/env bash
# The complete host of docs/integration.md is compiled with the command that stands there, without a warning, runs
# against the simulated device, and begins with the lines the document shows.
source "$(dirname "${BASH_SOURCE[0]}")/common.sh"
cd "$work"

# block AFTER: the first code block behind the line that begins so.
block() {
    awk -v after="$1" '
        index($0, after) == 1 { found = 1; next }
        found && /^```/ { if (inside) exit; inside = 1; next }
        inside' "$SOURCES/docs/integration.md"
}

block 'It polls three blocks' >compile
block 'and runs against a device' >minimal_host.cpp
block 'Its first lines against' >shown
[ "$(head -c 19 minimal_host.cpp)" = '// minimal_host.cpp' ] || wrong "the program is not where it was"
[ "$(wc -l <shown)" -ge 5 ] || wrong "the document shows no output"

ln -s "$SOURCES/driver" driver
bash -c "$(cat compile) -Wall -Wextra -Werror" || wrong "it does not compile: $(cat compile)"
start_device device --pty ./line
./minimal_host "$DX7_DRIVER" ./line >printed || wrong "its exit code is $?"

# What AI counts depends on the moment: values are compared by their distance from the first one, and one that has
# gone on need only have grown.
normalised() {
    awk '
        /^AI [0-9]+ at station 1: [0-9]+$/ {
            if (base == "") base = $NF
            value = $NF + 0
            $NF = !($2 in last) ? "first + " value - base : value > last[$2] ? "grown" : "not grown"
            last[$2] = value
        }
        { print }' "$1"
}
diff <(normalised shown) <(normalised printed | head -n "$(wc -l <shown)") ||
    wrong "docs/integration.md shows other lines (<)"
finish "the host of docs/integration.md does what stands there"
