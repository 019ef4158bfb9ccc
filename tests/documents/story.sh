#!/usr/bin/env bash
# A story of docs/stories still goes as its document says. Times, numbers of requests and what was hit by chance are
# different every time; what is zero stays zero, and what is not stays so.
source "$(dirname "${BASH_SOURCE[0]}")/common.sh"

normalised() {
    sed -E -e 's/^[0-9:.]{12}/TIME/' -e 's/\+[0-9.]+ ms/+T ms/' -e 's/\([0-9.]+ ms\)/(T ms)/' \
        -e '/wrong CRC +\[/s/\[.*\]/[BYTES]/' \
        -e '/^(requests|good|timeouts|wrong CRC|foreign frames|late replies) /s/[1-9][0-9]*/N/g' \
        -e 's/^((wrong length|retries|failed operations|response [a-z0-9 %]*ms) ).*/\1.../' \
        -e 's/^[0-9.]+ s: [0-9]+ requests, [0-9]+ good and /T s: N requests, N good and /' \
        -e 's/ good and [1-9][0-9]* bad/ good and N bad/' \
        -e 's/^cycle: [0-9]+ finished.*/cycle: .../' -e 's/^line busy: .*/line busy: .../' "$1" |
        tr -s ' ' | grep -vE '^TIME F:'
}

story=$SOURCES/docs/stories/$1
PATH=$(dirname "$DX7"):$(dirname "$DX7_DEVICE"):$PATH "$story.sh" >"$work/printed" || wrong "$1.sh failed"
diff <(normalised "$story.md") <(normalised "$work/printed") || wrong "the story goes differently now (< the document)"
finish "the story of $1 goes as told"
