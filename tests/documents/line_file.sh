#!/usr/bin/env bash
# The samples docs/line.toml and docs/plant.toml: every key is accepted, those that are commented out, too, and the tags can be
# used.
source "$(dirname "${BASH_SOURCE[0]}")/common.sh"
cd "$work"

start_device serial --pty ./line
sed -E -e 's|"/dev/ttyUSB0"|"./line"|' -e 's/^# (gap|late) /\1 /' "$SOURCES/docs/line.toml" >line.toml
grep -q '^gap' line.toml || wrong "the sample has no gap"
grep -q '^late' line.toml || wrong "the sample has no late"
tags=$(grep -c '^\[\[tag\]\]' line.toml)
[ "$tags" -ge 5 ] || wrong "the sample has $tags tags"

values=$("$DX7" read -c line.toml) || wrong "reading all tags failed"
names=$(sed -E 's/ = .*//' <<<"$values")
same "the sample's tags and what is read" "$names" \
    "$(sed -nE '/^\[line\]/,/^$/d; /^name = "outputs"/d; s/^name = "(.*)"/\1/p' line.toml; printf 'outputs[0]\noutputs[1]\n')"
# The commands in its head.
"$DX7" plan -c line.toml >/dev/null || wrong "plan"
"$DX7" monitor -c line.toml --stats --seconds 0.3 >/dev/null || wrong "monitor"
"$DX7" read -c line.toml speed "ramp time" >/dev/null || wrong "read"
"$DX7" write -c line.toml "ramp time=500" --verify >/dev/null || wrong "write"
[ "$("$DX7" read -c line.toml "ramp time")" = "ramp time = 500.0 s" ] || wrong "ramp time"
[ "$("$DX7" read -c line.toml F:3.0.25)" = "F:3.0.25@1 = 5000" ] || wrong "its scale"
[ "$("$DX7" write -c line.toml outputs=1,0)" = "outputs = 1,0 acknowledged, reads back 1,0" ] || wrong "outputs as a whole"
[ "$("$DX7" read -c line.toml outputs)" = $'outputs[0] = 1\noutputs[1] = 0' ] || wrong "what outputs holds"
"$DX7" write -c line.toml control=enable >/dev/null || wrong "control"
[ "$("$DX7" read -c line.toml control status)" = $'control = enable\nstatus = ready+enabled+remote' ] ||
    [ "$("$DX7" read -c line.toml control status)" = $'control = enable\nstatus = ready+enabled+remote+bit15' ] ||
    wrong "names: $("$DX7" read -c line.toml control status)"
! "$DX7" write -c line.toml "rated current=1" 2>/dev/null || wrong "what is read-only is written"
! "$DX7" write -c line.toml "ramp time=700" 2>/dev/null || wrong "what is out of range is written"
for key in name type address station count format scale unit min max step readonly verify enum bits interval; do
    grep -q "^$key = " line.toml || wrong "the sample has no tag with $key"
done
# The sample of a plant, with a file that its devices include; the commands in its head.
start_device plant --tcp 0 --stations 1,2
port=$(sed -nE 's/^ready on tcp [^ ]*:([0-9]+),.*/\1/p' plant.log)
sed -e 's|"/dev/ttyUSB0"|"./line"|' -e "s|192.168.0.10:8888|127.0.0.1:$port|" "$SOURCES/docs/plant.toml" >plant.toml
cp "$SOURCES/docs/drive.toml" .
"$DX7" check -c plant.toml >checked || wrong "check of the plant: $(cat checked)"
grep -q '^plant.toml: 2 lines, 11 tags, 11 items, no fault$' checked || wrong "check of the plant says $(cat checked)"
"$DX7" check -c <(cat plant.toml) >piped || wrong "check of a pipe"
same "the plant through a pipe" "$(grep -v no.fault piped)" "$(grep -v no.fault checked)"
"$DX7" read -c plant.toml "conveyor 1/speed" >/dev/null || wrong "conveyor 1"
"$DX7" monitor -c plant.toml --line north --log north.csv --seconds 0.3 >/dev/null || wrong "monitor of a line"
grep -q '^[^,]*,north,conveyor 1/speed,AI:0@1,1,' north.csv || wrong "the log has $(cat north.csv)"
"$DX7" write -c plant.toml "pump/ramp time=12.5" >/dev/null || wrong "pump"
"$DX7" scan -c plant.toml --line south --stations 1-2 >/dev/null || wrong "scan of a line"
same "the plant's tags" "$("$DX7" read -c plant.toml --line south | sed -E 's/ = .*//')" \
    $'pump/speed\npump/status\npump/ramp time\npump/flow\ngate open'
finish "the sample files are in order"
