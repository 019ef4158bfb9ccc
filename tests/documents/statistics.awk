# Checks the statistics that a document or a program shows: each block must add up, whatever its numbers are. Prints
# what does not, one line each; nothing when all is well.

function complain(what) { printf "%s, line %d: %s\n", FILENAME, FNR, what }
function check(condition, what) { if (!condition) complain(what) }

# The row's numbers into value[label, column]; what has no number (no answer) is left empty.
function keep(label, skipped,    i) {
    columns = NF - skipped
    for (i = 1; i <= columns; ++i) {
        value[label, i] = $(i + skipped) == "-" ? 0 : $(i + skipped)
    }
}

# How many requests of a column had no good reply.
function bad(column) {
    return value["timeouts", column] + value["crc", column] + value["length", column] + value["exceptions", column]
}

function check_column(i) {
    check(value["requests", i] == value["good", i] + bad(i), "column " i ": requests are not good and bad ones")
    # What was sent last may not have been sent again; what is given up while a reply is owed was not sent at last.
    check(bad(i) <= value["retries", i] + value["failed", i] + 1,
          "column " i ": bad replies are neither retries nor failed operations")
    check(value["min", i] <= value["median", i] && value["median", i] <= value["99", i] &&
          value["99", i] <= value["max", i], "column " i ": response times are not in their order")
    check((value["good", i] > 0) == (value["max", i] > 0), "column " i ": response times without replies, or the reverse")
}

function check_sum(label,    i, sum) {
    for (i = 1; i < columns; ++i) {
        sum += value[label, i]
    }
    # A foreign frame's station may be none of the line's: it counts for all alone.
    check(sum == (label == "foreign" ? 0 : value[label, columns]), label ": the stations do not add up to all")
}

function check_block(    i) {
    for (i = 1; i <= columns; ++i) {
        check_column(i)
    }
    split("requests good timeouts crc length exceptions foreign surplus copies late echoes queries answers retries failed", labels, " ")
    for (i in labels) {
        check_sum(labels[i])
    }
    check(value["requests", columns] == announced_requests, "the first line tells of other requests")
    check(value["good", columns] == announced_good && bad(columns) == announced_bad, "the first line tells of other replies")
    ++blocks
}

/^[0-9.]+ s: [0-9]+ requests, [0-9]+ good and [0-9]+ bad replies/ {
    delete value
    seconds = $1
    announced_requests = $3
    announced_good = $5
    announced_bad = $8
}
/^requests  / { keep("requests", 1) }
/^good  / { keep("good", 1) }
/^timeouts  / { keep("timeouts", 1) }
/^wrong CRC  / { keep("crc", 2) }
/^wrong length  / { keep("length", 2) }
/^foreign frames  / { keep("foreign", 2) }
/^surplus frames  / { keep("surplus", 2) }
/^doubled frames  / { keep("copies", 2) }
/^late replies  / { keep("late", 2) }
/^echoed requests  / { keep("echoes", 2) }
/^status queries  / { keep("queries", 2) }
/^damaged answers  / { keep("answers", 2) }
/^exception [0-9]+  / { for (i = 3; i <= NF; ++i) value["exceptions", i - 2] += $i }
/^retries  / { keep("retries", 1) }
/^failed operations  / { keep("failed", 2) }
/^response min ms  / { keep("min", 3) }
/^response median ms  / { keep("median", 3) }
/^response 99 % ms  / { keep("99", 4) }
/^response max ms  / { keep("max", 3) }
/^cycle: / {
    check_block()
    check($5 + 0 <= $8 + 0, "cycles whose median is longer than the longest")
    # Half of the cycles are as long as the median at least.
    check($2 * $5 / 2 <= 1000 * seconds, "more cycles than the time allows")
}
/^line busy: / { check($3 >= 0 && $3 <= 100, "a line that is busy for more than all of the time") }
END { if (!blocks) complain("no statistics") }
