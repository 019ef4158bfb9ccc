#!/usr/bin/env bash
# Every command in a document's console blocks runs and prints what stands there, but for times. With "renew" as second
# argument what they print is written into the document instead:
#   DX7=.../dx7 DX7_DEVICE=.../dx7-device DX7_DRIVER=.../libkorvalent_dx7.so SOURCES=. tests/documents/examples.sh tool.md renew
source "$(dirname "${BASH_SOURCE[0]}")/common.sh"

document=$SOURCES/docs/$1
PATH=$(dirname "$DX7"):$(dirname "$DX7_DEVICE"):$PATH
cd "$work"

cat >values.toml <<'END'
[values]
"AI:0" = 271
"AI:1" = 18
"AI:2" = 0
"AI:3" = 4000
"SW:0" = 0x0201
"FAS:0" = 1
END
start_device serial --pty ./line --values values.toml
start_device network --tcp 0 --stations 1,2 --values values.toml
# A line with a device on it and a panel that polls, and a place to listen from. Station 3 is not there.
"${PYTHON:-python3}" -B "$SOURCES/tests/documents/bus.py" station listener --poll 010412000004 --poll 0103F3250001 \
    --poll 030211200006 --poll 010300100002 >bus.log 2>&1 &
started+=($!)
await_word ready bus.log
start_device shared --serial ./station --values values.toml
port=$(sed -nE 's/^ready on tcp [^ ]*:([0-9]+),.*/\1/p' network.log)
# The samples, of lines that are here.
sed -e 's|/dev/ttyUSB0|./line|' -e "s|192.168.0.10:8888|127.0.0.1:$port|" "$SOURCES/docs/plant.toml" >plant.toml
cp "$SOURCES/docs/drive.toml" .

# run_example COMMAND: its output, with the sample's line in place of that of the document.
run_example() {
    local command=${1%%    # *} expected=0 code=0
    if [[ $1 == *'    # exit code '* ]]; then
        expected=${1##*exit code }
    fi
    command=${command//\/dev\/ttyUSB0/.\/line}
    command=${command//\/dev\/ttyUSB1/.\/listener}
    command=${command//192.168.0.10/127.0.0.1:$port}
    bash -c "$command" >output 2>&1 || code=$?
    # tshark has something to say to root, and ends lines with blanks.
    sed -i -e '/^Running as user "root"/d' -e 's/ *$//' -e 's|\./line\b|/dev/ttyUSB0|g' -e 's|\./listener|/dev/ttyUSB1|g' output
    [ "$code" -eq "$expected" ] || wrong "$1: exit code $code: $(cat output)"
    cat output
}

inside=no
while IFS= read -r line; do
    case $line in
        '```console') inside=yes ;;
        '```') inside=no ;;
    esac
    if [[ $inside == yes && $line == '$ '* ]]; then
        printf '%s\n' "$line"
        if [[ $line == '$ tshark '* ]] && ! command -v tshark >/dev/null; then
            echo "tshark is not installed; its example is left out" >&2
            continue
        fi
        run_example "${line#\$ }"
    elif [[ $inside == no || $line == '```console' ]]; then
        printf '%s\n' "$line"
    fi
done <"$document" >printed

normalised() {
    sed -E -e 's/^[0-9:.]{12}/TIME/' -e 's/^[0-9]{4}-[0-9:.T-]+Z,/TIME,/' -e 's/"time":"[^"]*"/"time":TIME/' -e 's/"since":"[^"]*"/"since":TIME/' -e 's/\+ *[0-9.]+ ms/+T ms/' \
        -e 's/\([0-9.]+ ms\)/(T ms)/' -e 's/^[0-9.]+ s: [0-9]+ requests?, [0-9]+ good/T s: N requests, N good/' \
        -e 's/^( *[0-9]+\/[0-9]+ +[0-9]+ 8N1 +)[0-9.]+ s/\1T s/' -e 's/(return query data ).*/\1COUNTER/' \
        -e 's/("(response_ms|seconds|min|median|p99|max|median_ms|max_ms|line_busy)":)[0-9.e-]+/\1N/g' \
        -e 's/^( +[0-9]+ +)[0-9.]+ /\1T /' \
        -e '/^ +[0-9]+ +FC /{s/ [0-9]+ +[0-9]+ +([0-9.]+|-) +([0-9.]+|-) +([0-9.]+|-) +([0-9.]+|-) / N N TIMES /}' \
        -e '/^(station [0-9]+|[0-9.]+ s): /{s/[0-9]+ (requests|answered|refused|without)/N \1/g;s/[0-9.]+ (ms|s)\b/T \1/g}' \
        -e 's/, [0-9]+ times, every [0-9.]+ ms/, N times, every T ms/' "$1" | tr -s ' '
}
if [ "${2:-}" = renew ]; then
    cp printed "$document"
else
    cp "$document" expected
    command -v tshark >/dev/null || sed -i '/^\$ tshark/,/^[$`]/{/^[$`]/!d}' expected
    diff <(normalised expected) <(normalised printed) || wrong "docs/$1 shows other output (<)"
fi
finish "the examples of docs/$1 do what stands there"
