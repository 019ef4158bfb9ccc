#!/usr/bin/env bash
# A story of docs/stories still goes as its document says. Times, numbers of requests and what was hit by chance are
# different every time; what is zero stays zero, and what is not stays so. Statistics add up, in the document as in
# what was printed, and replies take as long as the line needs.
source "$(dirname "${BASH_SOURCE[0]}")/common.sh"

# Items come and go by chance, so of each block they are a set: no value may be shown that was not there. A value that
# is not proven, or not any more, keeps its number; what is never shown as good is told apart.
values_as_sets() {
    awk '
        function flush(    i, j, kept, plain) {
            for (i = 1; i <= count; ++i) shown[items[i]] = 1
            for (i = 1; i <= count; ++i) {
                plain = items[i]
                sub(/ \((bad|stale|doubtful)( since .*)?\)$/, "", plain)
                if (plain in shown) items[i] = plain
            }
            for (i = 1; i <= count; ++i) {
                for (j = i; j > 1 && items[j - 1] > items[j]; --j) {
                    kept = items[j]; items[j] = items[j - 1]; items[j - 1] = kept
                }
            }
            for (i = 1; i <= count; ++i) if (items[i] != items[i - 1]) print items[i]
            count = 0
            delete items
            delete shown
        }
        /^TIME F:/ { items[++count] = $0; next }
        /^```/ { flush() }
        { print }'
}

# Where noise damages frames it is chance which ones: a reply, or the answer to a status query, for which its station is
# left alone for a while. What the document shows of that need not come again; the damage and what is good must.
by_chance() {
    awk '
        function flush(    i, damaged) {
            for (i = 1; i <= count; ++i) if (rows[i] ~ /^wrong CRC .*N$/) damaged = 1
            for (i = 1; i <= count; ++i) {
                if (damaged && rows[i] ~ /^TIME station [12] /) continue
                if (damaged && rows[i] ~ /^wrong CRC /) sub(/CRC.*/, "CRC ... N", rows[i])
                if (damaged && rows[i] ~ /^(timeouts|wrong length|noise|surplus frames|late replies|retries|failed operations) /) {
                    gsub(/ [0-9N]+/, " ...", rows[i])
                }
                print rows[i]
            }
            count = 0
        }
        { rows[++count] = $0 }
        /^```/ { flush() }
        END { flush() }'
}

normalised() {
    sed -E -e 's/^[0-9:.]{12}/TIME/' -e 's/ since [0-9:.]{12}: / since TIME: /' -e 's/\+[0-9.]+ ms/+T ms/' -e 's/\([0-9.]+ ms\)/(T ms)/' \
        -e '/wrong CRC +\[/s/\[.*\]/[BYTES]/' -e '/^dx7: station /s/after [0-9.]+ s/after T s/' \
        -e '/^(requests|good|timeouts|noise|wrong [a-zA-Z]+|[a-z]+ (frames|replies)|echoed requests) /s/[1-9][0-9]*/N/g' \
        -e '/^(status queries|damaged answers|retries|failed operations) /s/[1-9][0-9]*/N/g' \
        -e '/^response /{s/ 99 % / P /;s/[0-9]*[1-9][0-9]*\.[0-9]+|0\.[0-9]*[1-9][0-9]*/T/g}' \
        -e 's/^[0-9.]+ s: [0-9]+ requests, [0-9]+ good and /T s: N requests, N good and /' \
        -e 's/ good and [1-9][0-9]* bad/ good and N bad/' \
        -e 's/^cycle: [0-9]+ finished.*/cycle: .../' -e 's/^line busy: .*/line busy: .../' "$1" |
        tr -s ' ' | values_as_sets | by_chance
}

# The shortest and the usual response times, one per line.
response_times() {
    awk '/^response (min|median) ms / { for (i = 4; i <= NF; ++i) print $i }' "$1"
}

story=$SOURCES/docs/stories/$1
PATH=$(dirname "$DX7"):$(dirname "$DX7_DEVICE"):$PATH "$story.sh" >"$work/printed" || wrong "$1.sh failed"
diff <(normalised "$story.md") <(normalised "$work/printed") || wrong "the story goes differently now (< the document)"
for text in "$story.md" "$work/printed"; do
    sums=$(awk -f "$SOURCES/tests/documents/statistics.awk" "$text")
    [ -z "$sums" ] || wrong "$sums"
done
# The line is paced, so that replies take the same time everywhere, but for what else this computer does.
paste <(response_times "$story.md") <(response_times "$work/printed") |
    awk '($1 + 0) * 1.5 < $2 + 0 || ($2 + 0) * 1.5 < $1 + 0 { print "told:", $1, "measured:", $2; wrong = 1 } END { exit wrong }' ||
    wrong "replies take another time than the document tells"
finish "the story of $1 goes as told"
