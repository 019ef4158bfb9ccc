#!/usr/bin/env bash
# Numbers are read and printed with a point under a locale that has a comma, by both programs, in options, items, values
# and files; characters stay those of the locale. Exit code 77 where no such locale can be built.
source "$(dirname "${BASH_SOURCE[0]}")/../documents/common.sh"
cd "$work"

localedef -i de_DE -f UTF-8 ./de_DE.UTF-8 2>localedef.log || {
    echo "no locale de_DE.UTF-8 could be built (package locales): $(cat localedef.log)" >&2
    exit 77
}
export LOCPATH=$work
# The shell itself does not look there.
export LC_ALL=de_DE.UTF-8 2>/dev/null
point=$(locale decimal_point)
[ "$point" = , ] || wrong "the locale has the decimal point '$point'"

cat >values.toml <<'VALUES'
[values]
"AI:0" = 271
VALUES
start_device serial --pty ./line --values values.toml --fault drop=0.0,late=0e-1
cat >line.toml <<'LINE'
[line]
serial = "./line"
gap = 2.5

[[tag]]
name = "ramp"
type = "F"
address = "3.0.20"
scale = 0.1
unit = "s"
LINE

# expect OUTPUT COMMAND...: what a command that ends well prints.
expect() {
    local expected=$1 seen code=0
    shift
    seen=$("$@" 2>&1) || code=$?
    [ "$code:$seen" = "0:$expected" ] || wrong "$*: exit code $code: $seen"
}

# refuse TEXT COMMAND...: a command that ends with exit code 2 and names TEXT.
refuse() {
    local expected=$1 seen code=0
    shift
    seen=$("$@" 2>&1) || code=$?
    [[ $code == 2 && $seen == *"$expected"* ]] || wrong "$*: exit code $code: $seen"
}

expect 'AI:0@1 = 27.1 °C' "$DX7" read --serial ./line --gap 5.5 AI:0/scale=0.1/unit=°C
expect 'ramp = 12.5 s written and verified' "$DX7" write -c line.toml --verify ramp=12.5
expect 'ramp = 12.5 s' "$DX7" read -c line.toml ramp
expect '{"event":"value","time":TIME,"line":"./line","name":"ramp","item":"F:3.0.20@1","station":1,"type":"F","address":"3.0.20","value":12.5,"text":"12.5","unit":"s","format":"scale=0.1/unit=s","quality":"good"}' \
    bash -c '"$DX7" read --json -c line.toml ramp | sed -E "s/(\"time\":)\"[^\"]*\"/\1TIME/"'
refuse 'it must be 0.0 to 6553.5 s' "$DX7" write -c line.toml ramp=6553.6
expect 'F:3.0.30@1 = 2.5 V written and verified' "$DX7" write --verify --serial ./line F:3.0.30/f32/unit=V=2.5
refuse 'takes 1 value, as many as its count, but 2 are given' "$DX7" write -c line.toml ramp=12,5
refuse 'scale "0,1" is not a number' "$DX7" read --serial ./line AI:0/scale=0,1
refuse '--gap: "5,5" is not a number' "$DX7" read --serial ./line --gap 5,5 AI:0
refuse '--seconds: "1,5" is not a number' "$DX7" monitor --serial ./line --seconds 1,5 AI:0

"$DX7" monitor -c line.toml --seconds 0.75 --stats ramp >monitor.txt || wrong "monitor --seconds 0.75"
grep -qE '^[0-9]+\.[0-9] s: [0-9]+ requests' monitor.txt || wrong "the summary of 0.75 s: $(cat monitor.txt)"
"$DX7" monitor -c line.toml --seconds 0.25 --stats --json ramp >monitor.json || wrong "monitor --seconds 0.25"
grep -qE '"seconds":[0-9]+\.[0-9]+,' monitor.json || wrong "the summary of 0.25 s: $(cat monitor.json)"
! grep -qE '[0-9],[0-9]' monitor.txt || wrong "a number with a comma: $(cat monitor.txt)"
"$DX7" plan -c line.toml --gap 0.5 ramp | grep -qE '^cycle: 1 request, 16\.13 ms' || wrong "plan: $("$DX7" plan -c line.toml --gap 0.5 ramp)"

for share in 0x1p-3 nan 2; do
    refuse "\"$share\" is not a valid share for the fault drop" "$DX7_DEVICE" --pty ./other --fault "drop=$share"
done
refuse '"5" is not a known fault' "$DX7_DEVICE" --pty ./other --fault drop=0,5
finish "numbers have a point under $LC_ALL"
