#!/usr/bin/env bash
# CI's steps: what passed and what they found stands in the table, and the first that fails ends everything.
set -euo pipefail
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

wrong() {
    printf 'WRONG: %s\n' "$*" >&2
    cat "$work/output" >&2
    exit 1
}

# steps: runs the plan of standard input; `code` is its exit code, $work/output what it printed.
steps() {
    code=0
    {
        printf 'logs=%q\nlanes=2\nsource %q\n' "$work/logs" "$SOURCES/scripts/steps.sh"
        cat
    } >"$work/plan"
    bash "$work/plan" >"$work/output" 2>&1 || code=$?
}
says() { grep -qE "$1" "$work/output" || wrong "the output lacks: $1"; }

# The step in the middle waits for one that begins after it, so two must run at the same time.
mkfifo "$work/pipe"
steps <<END
alone first bash -c 'echo one; echo "1 thing" >>"\$DX7_FIGURES"'
beside reader cat "$work/pipe"
beside writer bash -c 'echo across >"$work/pipe"'
together
table
END
[ "$code" -eq 0 ] || wrong "a plan that passes ended with $code"
says '^one$'
says '^across$'
says '^first +[0-9]+  1 thing$'
says '^in all +[0-9]+$'

# What fails is shown with its output; what ran beside it is ended, what would follow is not begun.
steps <<END
alone good true
beside endless bash -c 'trap "touch $work/ended; exit 1" TERM; touch $work/begun; while :; do read -rt 0.1 <> <(:) || :; done'
beside bad bash -c 'until [ -e $work/begun ]; do :; done; echo the reason; exit 7'
together
alone never touch "$work/never"
END
[ "$code" -eq 1 ] || wrong "a plan that fails ended with $code"
says '^the reason$'
says '^good +[0-9]+ '
says '^bad +[0-9]+  FAILED with exit code 7'
[ ! -e "$work/never" ] || wrong "a step began after one had failed"
for ((i = 0; i < 300; ++i)); do
    [ ! -e "$work/ended" ] || break
    sleep 0.1
done
[ -e "$work/ended" ] || wrong "the step beside the one that failed goes on"
echo "steps run, report and end as they should"
