#!/usr/bin/env bash
# Prints docs/stories/flaky.md: four things that are wrong with a line, each found from the statistics. Takes no
# arguments; dx7 and dx7-device must be in the PATH. Exit code: 0 it went as told, 1 it did not.
source "$(dirname "${BASH_SOURCE[0]}")/story.sh"

start_device --stations 1,2,9 --baud 19200 --fault silent=9,corrupt=0.25 --seed 7

tell <<'END'
# The line is flaky: find out why

"Sometimes values stand still." Three stations hang on one line, and nobody knows which of them, the cable or the master
is to blame. The driver repeats what fails, so the panel hides it most of the time; the statistics do not.

This page is what `docs/stories/flaky.sh` prints: every command was run, against `dx7-device` with faults to order.

## Look at the whole line for a few seconds

and record it, for what comes later:
END
run dx7 monitor --serial ./line --baud 19200 --timeout 200 --seconds 2.5 --stats --record before.pcap \
    F:3.0.20,3@1 F:3.0.20,3@2 F:3.0.20,3@9
tell <<'END'
Read it by columns first, then by rows:

| what stands there | what it means | where to look |
|---|---|---|
| one column has timeouts and nothing good | that station is off, cut off, or has another number | its plug and supply, its station number (`dx7 scan`) |
| *wrong CRC* in every living column | bytes are damaged on the way | termination, shield, a motor cable beside it, baud rate and parity |
| *wrong CRC* in one column only | damaged near that station | its branch line, its earth |
| *foreign frames* | somebody answers who was not asked | a second master, a gateway that bridges two lines |
| *late replies*, timeouts here and there | the device is slower than the master waits | `--timeout` |
| exceptions | the device refuses: the line is good | the address or value; `dx7 replay` names the request |

So there are two faults here. Station 9 is gone; `dx7` says so, leaves it out and probes it, and the others do not wait for
it. And the cable is bad: stations 1 and 2 both have wrong CRCs. The retries cover them up, until one day three in a row go
wrong and a *failed operation* stands a value still.

## What do damaged replies look like?
END
run_part 'wrong CRC' 3 dx7 replay before.pcap
tell <<'END'
A good reply begins with the station and `03 06`. Single bits are wrong, at different places: noise. Bytes that are wrong
in every reply in the same way would be a wrong parity or baud rate; replies that end early, a device that lets go of the
line too soon. Wireshark shows the same file (`tshark -r before.pcap -o mbrtu.tcp.port:502`).

## The cable is terminated, station 9 has its plug back
END
start_device --stations 1,2,9 --baud 19200
run dx7 monitor --serial ./line --baud 19200 --timeout 200 --seconds 1 --stats \
    F:3.0.20,3@1 F:3.0.20,3@2 F:3.0.20,3@9
tell <<'END'
Zeros from *timeouts* to *failed operations*: this line is good. That is what to compare with from now on.

## Next week: timeouts again, but no wrong CRC
END
start_device --stations 1 --baud 19200 --fault late=0.3 --late-by 300 --seed 3
run dx7 monitor --serial ./line --baud 19200 --timeout 200 --seconds 1.5 --stats F:3.0.20,3@1
tell <<'END'
Timeouts without damage, and *late replies*: the device is not silent, it is slow now and then. How slow? Wait longer and see:
END
run dx7 monitor --serial ./line --baud 19200 --timeout 800 --seconds 1.5 --stats F:3.0.20,3@1
tell <<'END'
No timeout is left, and *response max* says how long the device takes now and then. The timeout of the panel was too short;
twice the longest response is a good choice.

## And once more: foreign frames
END
start_device --stations 1 --baud 19200 --fault foreign=0.4 --seed 5
run dx7 monitor --serial ./line --baud 19200 --seconds 1 --stats --record foreign.pcap F:3.0.20,3@1
tell <<'END'
Somebody else talks. The values are right all the same: what does not answer the request is put aside. The recording names
who it is, by station and function code:
END
run_part '<-.*station [^1]' 2 dx7 replay foreign.pcap
cat <<'END'
Nobody asked that station. A second master is on this line, or a gateway bridges two of them.
END
