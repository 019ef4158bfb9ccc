#!/usr/bin/env bash
# Builds the driver for 32-bit ARM by the very commands of docs/porting.md, steps 1, 2, 3 and 5, with QtCore 5, in a
# copy of the sources. Usage: porting_guide.sh SOURCES SYSROOT WORK
set -euo pipefail
sources=$1 sysroot=$2 work=$3
guide=$sources/docs/porting.md

fail() {
    printf 'docs/porting.md: %s\n' "$*" >&2
    exit 1
}

# block STEP: the first code block of a step.
block() {
    awk -v step="## $1. " '
        /^## / { here = index($0, step) == 1 }
        here && /^```/ { if (inside) exit; inside = 1; next }
        here && inside' "$guide"
}

rm -rf "$work"
mkdir -p "$work"
find "$sources" -mindepth 1 -maxdepth 1 ! -name build ! -name '.git*' -exec cp -R {} "$work" \;
cd "$work"

# Step 1: the first block of the toolchain file is replaced with that of the guide, the SDK's folder with ours.
block 1 >board_settings
[ "$(grep -c '^set(DX7_' board_settings)" -eq 5 ] || fail "step 1 shows no five lines"
grep -q '"/opt/sdk/sysroot"' board_settings || fail "step 1 names no root folder"
sed -i "s|/opt/sdk/sysroot|$sysroot|" board_settings
{
    cat board_settings
    awk 'rest; /^set\(/ { begun = 1 } begun && /^$/ { rest = 1 }' cmake/toolchains/armhf.cmake
} >board.cmake
grep -q 'CMAKE_SYSTEM_PROCESSOR' board.cmake || fail "step 1: the toolchain file has no second block"

block 2 >build_it
grep -q 'DCMAKE_TOOLCHAIN_FILE' build_it || fail "step 2 builds nothing"
bash -eu build_it >build.log 2>&1 || { cat build.log >&2; fail "step 2 failed"; }
library=build/board/driver/libkorvalent_dx7.so
grep -qF "$library" "$guide" || fail "the library is not where the guide says"
[ -s "$library" ] || fail "step 2 leaves no library"

block 3 >look
[ "$(grep -c "$library" look)" -eq 3 ] || fail "step 3 does not look three times"
# Names that are missing or too many make diff fail, and the shell with it.
bash -euo pipefail look >seen || { cat seen >&2; fail "step 3: other names are exported (<) than written down"; }
grep -q 'Machine: *ARM' seen || fail "step 3 shows another machine: $(cat seen)"
grep -q 'Flags:.*hard-float ABI' seen || fail "step 3 shows another floating-point convention: $(cat seen)"
needed=$(sed -nE 's/.*\(NEEDED\).*\[(.*)\]/\1/p' seen)
grep -q '^libQt5Core' <<<"$needed" || fail "step 3: QtCore is not needed: $needed"
others=$(grep -vE '^(libQt5Core\.so|libstdc\+\+\.so|libgcc_s\.so|libm\.so|libc\.so|ld-linux)' <<<"$needed" || true)
[ -z "$others" ] || fail "step 3: more is needed than QtCore and the language's run time: $others"
[ "$(wc -l <seen)" -eq $((2 + $(wc -l <<<"$needed"))) ] || fail "step 3 prints more: $(cat seen)"

block 5 >install_it
bash -eu install_it >install.log 2>&1 || { cat install.log >&2; fail "step 5 failed"; }
installed=$(find build/panel -type f -o -type l)
[ "$installed" = build/panel/lib/libkorvalent_dx7.so ] || fail "step 5 installs: $installed"
[ "$(stat -c %s "$installed")" -lt "$(stat -c %s "$library")" ] || fail "step 5: the library is not stripped"
rm -rf "$work"
echo "the guide leads to a library"
