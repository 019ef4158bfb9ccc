#!/usr/bin/env bash
# Every item of 80 stations by itself on a command line, and 20000 tags by name: what is done before anything is sent
# grows with their number, not with its square. Eight runs with an eighth of them take the same processor time.
source "$(dirname "${BASH_SOURCE[0]}")/../documents/common.sh"
cd "$work"
# Only so that nothing runs for ever.
ulimit -t 100

# milliseconds COMMAND...: the processor time that it takes.
milliseconds() {
    local TIMEFORMAT='%U %S' times
    times=$({ time "$@" >output 2>errors; } 2>&1) || true
    awk '{ printf "%d\n", ($1 + $2) * 1000 }' <<<"$times"
}

# compare WHAT FEW MANY: the processor times of eight runs with few and one with many.
compare() {
    echo "$1: eight runs with an eighth $2 ms, one with all $3 ms"
    [ "$3" -le $((2 * $2 + 100)) ] || wrong "$1: $3 ms for all, $2 ms for eight runs with an eighth"
}

# items STATION: every item of a station.
items() {
    local type first last address group
    while read -r type first last; do
        for ((address = first; address <= last; address++)); do
            echo "$type:$address@$1"
        done
    done <<'TYPES'
CW_bit 0 15
SW_bit 0 15
DO 1 2
RO 1 1
SDO 1 8
DI 1 6
AI 0 3
FIN 0 0
DE 0 55
CW 0 0
SW 0 0
MOD 1 2
FAS 0 0
TYPES
    for group in F:{{0..9},{A..F}} D:{0,1}; do
        printf "$group.0.%02d@$1\n" {0..55}
    done
}
items STATION >one
for station in {1..80}; do
    sed "s/STATION/$station/" one
done >all
number=$(wc -l <all)
[ "$number" -eq 89840 ] || wrong "these are $number items"

mapfile -t arguments <all
"$DX7" plan "${arguments[@]}" >planned || wrong "plan of $number items: exit code $?"
tail -n 1 planned | grep -q '^cycle: 14807 requests' || wrong "plan: $(tail -n 1 planned)"

# All is done but the opening of the line.
read_items() { "$DX7" read --serial ./nowhere "$@"; }
few=0
for part in {1..8}; do
    few=$((few + $(milliseconds read_items "${arguments[@]:(part - 1) * number / 8:number / 8}")))
done
grep -q 'could not be opened' errors || wrong "read: $(cat errors)"
many=$(milliseconds read_items "${arguments[@]}")
grep -q 'could not be opened' errors || wrong "read: $(cat errors)"
compare "$number items" "$few" "$many"

# tags NUMBER FILE
tags() {
    local i
    echo 'line.serial = "./nowhere"'
    for ((i = 0; i < $1; i++)); do
        printf '[[tag]]\nname = "tag %d"\ntype = "F"\naddress = "%X.0.%02d"\nstation = %d\n' \
            $i $((i % 16)) $((i / 16 % 56)) $((1 + i / 896))
    done
}
tags 20000 >many.toml
tags 2500 >few.toml
mapfile -t names < <(sed -n 's/^name = "\(.*\)"$/\1/p' many.toml)
few=0
for _ in {1..8}; do
    few=$((few + $(milliseconds "$DX7" read -c few.toml "${names[@]:0:2500}")))
done
grep -q 'could not be opened' errors || wrong "read tags: $(cat errors)"
many=$(milliseconds "$DX7" read -c many.toml "${names[@]}")
grep -q 'could not be opened' errors || wrong "read tags: $(cat errors)"
compare "${#names[@]} tags" "$few" "$many"
finish "many items take the time that they should"
