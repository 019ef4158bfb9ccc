#!/usr/bin/env bash
# Prints docs/stories/flaky.md: four things that are wrong with a line, each found from the statistics. Takes no
# arguments; dx7 and dx7-device must be in the PATH. Exit code: 0 it went as told, 1 it did not.
source "$(dirname "${BASH_SOURCE[0]}")/story.sh"

start_device --stations 1,2,9 --baud 19200 --fault silent=9,corrupt=0.08 --seed 4

tell <<'END'
# The line is flaky: find out why

"Sometimes the values do not change." Three stations share one line. One of them, the cable or the
master is to blame; it is not known which. What fails is repeated, so the panel hides it most of the time; the statistics do not.

This page is what `docs/stories/flaky.sh` prints: every command was run, against `dx7-device` with faults to order.

## Look at the whole line for a few seconds

and record it, for what comes later:
END
run dx7 monitor --serial ./line --baud 19200 --timeout 200 --seconds 2.5 --stats --record before.pcap \
    F:3.0.20,3@1 F:3.0.20,3@2 F:3.0.20,3@9
tell <<'END'
Read it by columns first, then by rows:

| what is there | what it means | where to look |
|---|---|---|
| one column has timeouts and nothing good | that station is off, cut off, or has another number | its plug and supply, its station number (`dx7 scan`) |
| *wrong CRC*, *damaged answers* in every living column | bytes are damaged on the way | termination, shield, a motor cable beside it, baud rate and parity |
| *wrong CRC* in one column only | damaged near that station | its branch line, its earth |
| timeouts and *retries* among good replies | requests or replies are lost as a whole | plugs, the supply of the adapter or gateway |
| *late replies* | the device is slower than the master waits | `--timeout` |
| *noise* | bytes came that are like no reply | termination and the rest level of the line; a station with another baud rate |
| *foreign frames*, *surplus frames* | frames come that this master did not ask for | a second master, a gateway that bridges two lines |
| *doubled frames* | replies arrive twice | a repeater or gateway, two devices with one number |
| *echoed requests* | the adapter sends back what is sent | nothing: the echo is taken out |
| *status queries*, more than one a second | replies were damaged, missing or doubtful | the rows above |
| exceptions | the device refuses: the line is good | the address or value; `dx7 replay` names the request |

So there are two faults here. Station 9 is gone; `dx7` says so, leaves it out and probes it, and the others do not wait for
it. And the cable is bad: stations 1 and 2 both have wrong CRCs. After each of them a status query makes sure that nothing
more will come, then the request is repeated. A value that was read in between is *doubtful* and read again. Where the
answer to a query is damaged, too, `dx7` may ask the station nothing else for three seconds. Then its values do not change.

## What do damaged replies look like?
END
run_part 'wrong CRC' 3 dx7 replay before.pcap
tell <<'END'
A good reply begins with the station and `03 06`, the answer to a status query with the station and `07`, or `08` or `88`.
Single bits are wrong, at different places: noise. Bytes that are wrong in every reply in the same way would be a wrong
parity or baud rate; replies that end early, a device that lets go of the line too soon. Wireshark shows the same file
(`tshark -r before.pcap -o mbrtu.tcp.port:502`).

## The cable is terminated, station 9 has its plug back
END
start_device --stations 1,2,9 --baud 19200
run dx7 monitor --serial ./line --baud 19200 --timeout 200 --seconds 1 --stats \
    F:3.0.20,3@1 F:3.0.20,3@2 F:3.0.20,3@9
tell <<'END'
Zeros from *timeouts* to *failed operations*, but for a few status queries, which prove the replies: this line is good. That
is what to compare with from now on.

## Next week: values come slowly, but no wrong CRC
END
start_device --stations 1 --baud 19200 --fault late=0.3 --late-by 300 --seed 3
run dx7 monitor --serial ./line --baud 19200 --timeout 200 --seconds 1.5 --stats F:3.0.20,3@1
tell <<'END'
*Late replies*, and no timeout: nothing is lost. The device is slow now and then, and *response max* says how slow. `dx7`
takes a late reply for what it is, but a panel that waits for 200 ms and then sends again would not. So raise the timeout, as
`dx7` says; twice the longest response is a good choice:
END
run dx7 monitor --serial ./line --baud 19200 --timeout 800 --seconds 1.5 --stats F:3.0.20,3@1
tell <<'END'
No reply is late any more. The device is as slow as before; that is its own affair now.

## And once more: foreign frames
END
start_device --stations 1 --baud 19200 --fault foreign=0.25 --seed 5
run_part '^foreign frames' 1 dx7 monitor --serial ./line --baud 19200 --seconds 2 --stats --record foreign.pcap F:3.0.20,3@1
tell <<'END'
Something else talks. *Foreign frames* are counted for all alone, for their station may be none of this line. Each request has
its good reply, but a reply does not say who asked for it. So a value is *doubtful* when such a frame came before it was proven, and
is read again. The recording names the frames by station and function code:
END
run_part '<-.*station [^1]' 2 dx7 replay foreign.pcap
cat <<'END'
That station was not asked here. A second master is on this line, or a gateway bridges two of them. A line can have one master.
END
