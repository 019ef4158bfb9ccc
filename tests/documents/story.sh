#!/usr/bin/env bash
# A story of docs/stories still goes as its document says. Times, numbers of requests and what was hit by chance are
# different every time; what is zero stays zero, and what is not stays so. Statistics add up, in the document as in
# what was printed, and replies take as long as the line needs.
source "$(dirname "${BASH_SOURCE[0]}")/common.sh"

# Items come and go by chance, so of each block they are a set: no value may be shown that was not there. A value that
# turns bad keeps its number.
values_as_sets() {
    awk '
        function flush(    i, j, kept) {
            for (i = 1; i <= count; ++i) {
                for (j = i; j > 1 && items[j - 1] > items[j]; --j) {
                    kept = items[j]; items[j] = items[j - 1]; items[j - 1] = kept
                }
            }
            for (i = 1; i <= count; ++i) if (items[i] != items[i - 1]) print items[i]
            count = 0
            delete items
        }
        /^TIME F:/ { if ($NF == "(bad)" && $3 != "-") sub(/ \(bad\)$/, ""); items[++count] = $0; next }
        /^```/ { flush() }
        { print }'
}

# A frame that was damaged by noise is of the wrong length now and then, and tried in vain, whatever the document shows.
by_chance() {
    awk '
        /^wrong CRC / { damaged = /N/ }
        damaged && /^(wrong length|retries|failed operations) / { gsub(/[0-9N]+/, "...") }
        { print }'
}

normalised() {
    sed -E -e 's/^[0-9:.]{12}/TIME/' -e 's/\+[0-9.]+ ms/+T ms/' -e 's/\([0-9.]+ ms\)/(T ms)/' \
        -e '/wrong CRC +\[/s/\[.*\]/[BYTES]/' \
        -e '/^(requests|good|timeouts|wrong CRC|wrong length|foreign frames|late replies|retries|failed operations) /s/[1-9][0-9]*/N/g' \
        -e '/^response /{s/ 99 % / P /;s/[0-9]*[1-9][0-9]*\.[0-9]+|0\.[0-9]*[1-9][0-9]*/T/g}' \
        -e 's/^[0-9.]+ s: [0-9]+ requests, [0-9]+ good and /T s: N requests, N good and /' \
        -e 's/ good and [1-9][0-9]* bad/ good and N bad/' \
        -e 's/^cycle: [0-9]+ finished.*/cycle: .../' -e 's/^line busy: .*/line busy: .../' "$1" |
        tr -s ' ' | values_as_sets | by_chance
}

# Where replies are late, a busy computer may hand one over in two halves, which are foreign frames then. What the
# document shows was seen without.
without_halves() {
    awk '
        /^foreign frames / { foreign = $0; next }
        foreign != "" && /^late replies / { if (/N/) gsub(/N/, "0", foreign); print foreign; foreign = "" }
        { print }'
}

# The shortest and the usual response times, one per line; the usual ones where the late reply to one request may answer
# the next.
response_times() {
    awk '/^late replies / { late = /[1-9]/ }
        /^response median ms / || (/^response min ms / && !late) { for (i = 4; i <= NF; ++i) print $i }' "$1"
}

story=$SOURCES/docs/stories/$1
PATH=$(dirname "$DX7"):$(dirname "$DX7_DEVICE"):$PATH "$story.sh" >"$work/printed" || wrong "$1.sh failed"
diff <(normalised "$story.md") <(normalised "$work/printed" | without_halves) || wrong "the story goes differently now (< the document)"
for text in "$story.md" "$work/printed"; do
    sums=$(awk -f "$SOURCES/tests/documents/statistics.awk" "$text")
    [ -z "$sums" ] || wrong "$sums"
done
# The line is paced, so that replies take the same time everywhere, but for what else this computer does.
paste <(response_times "$story.md") <(response_times "$work/printed") |
    awk '($1 + 0) * 1.5 < $2 + 0 || ($2 + 0) * 1.5 < $1 + 0 { print "told:", $1, "measured:", $2; wrong = 1 } END { exit wrong }' ||
    wrong "replies take another time than the document tells"
finish "the story of $1 goes as told"
