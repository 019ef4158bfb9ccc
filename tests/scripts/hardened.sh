#!/usr/bin/env bash
# What a package must have against attacks on memory at least: more than is asked for is as good, less is refused.
set -euo pipefail
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

# The function alone, with a tool that reports what the test says.
sed -n '/^hardened() {$/,/^}$/p' "$SOURCES/scripts/package" >"$work/hardened"
[ -s "$work/hardened" ] || { echo "scripts/package has no function hardened" >&2; exit 1; }
cat >"$work/hardening-check" <<'END'
#!/bin/sh
cat "$REPORT"
exit "$CODE"
END
chmod +x "$work/hardening-check"

# check GOOD CODE COUNT YES...: whether a report with these protections passes as hardened.
check() {
    local good=$1 code=$2 count=$3 found=yes
    shift 3
    : >"$work/report"
    if [ $# -gt 0 ]; then
        printf ' %s: yes\n' "$@" >"$work/report"
    fi
    (
        fail() { exit 1; }
        # shellcheck source=/dev/null
        . "$work/hardened"
        PATH=$work:$PATH REPORT=$work/report CODE=$code hardened any "$count" file
    ) >/dev/null 2>&1 || found=no
    if [ $found != "$good" ]; then
        echo "WRONG: $count of ($*), exit code $code: passes: $found" >&2
        exit 1
    fi
}

check yes 0 2 'Stack protected' 'Immediate binding'
check yes 0 2 'Stack protected' 'Fortify Source functions' 'Immediate binding'
check yes 0 3 'Stack protected' 'Fortify Source functions' 'Immediate binding'
check no 0 3 'Stack protected' 'Immediate binding'
check no 0 2 'Stack protected'
check no 0 2
check no 1 2 'Stack protected' 'Immediate binding'
