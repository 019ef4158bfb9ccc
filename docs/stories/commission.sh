#!/usr/bin/env bash
# Prints docs/stories/commission.md: a new device is found, tried, set up, and can be replaced. Takes no arguments; dx7
# and dx7-device must be in the PATH. Exit code: 0 it went as told, 1 it did not.
source "$(dirname "${BASH_SOURCE[0]}")/story.sh"

cat >factory.toml <<'END'
[values]
"FAS:0" = 1
"AI:0" = 271
"AI:1" = 18
END
cat >line.toml <<'END'
[line]
serial = "./line"
baud = 19200

[[tag]]
name = "speed"
type = "AI"
address = 0
station = 7
scale = 0.1
unit = "Hz"

[[tag]]
name = "current"
type = "AI"
address = 1
station = 7
scale = 0.1
unit = "A"

[[tag]]
name = "ramp up"
type = "F"
address = "3.0.20"
station = 7
scale = 0.1
unit = "s"

[[tag]]
name = "ramp down"
type = "F"
address = "3.0.22"
station = 7
scale = 0.1
unit = "s"

[[tag]]
name = "control"
type = "CW"
address = 0
station = 7
format = "hex"

[[tag]]
name = "running"
type = "SW_bit"
address = 1
station = 7
END
start_device --stations 7 --baud 19200 --values factory.toml

tell <<'END'
# Commission a new device

A drive was wired to the line this morning. Nobody wrote down its station number. At the end of this page it is set up,
its parameters are in a file, and whoever replaces it one day needs one command.

This page is what `docs/stories/commission.sh` prints: every command was run, against `dx7-device` in place of the drive.

## Who is there?
END
run dx7 scan --serial ./line --baud 19200 --stations 1-8
tell <<'END'
Station 7 it is. When nobody answers, the usual reasons are A and B swapped, another baud rate (`--baud`), another parity
(`--parity`), or a device without power, in this order. A station that refuses the question is listed too: it is there.

## Give things names

A file holds the line and the items worth looking at, so that nobody has to remember that F:3.0.20 is a ramp:
END
printf '```\n'
cat line.toml
tell <<'END'
```

## What will polling cost?

`plan` asks the driver without touching the line:
END
run dx7 plan -c line.toml
tell <<'END'
The two ramp times are two requests, because the parameter between them is not polled: a *gap of 1*. Requests cost more
than words, so reading the word in between as well is cheaper:
END
run dx7 plan --baud 19200 F:3.0.20@7 F:3.0.22@7
run dx7 plan --baud 19200 F:3.0.20,3@7
tell <<'END'
## Does it live?
END
run dx7 read -c line.toml
tell <<'END'
## Save it as it was delivered

Before anything is changed:
END
run dx7 params save delivered.toml -c line.toml --station 7 --groups 0-3
tell <<'END'
## Set it up

Every value is read back. Values are given in the unit of the tag; what cannot be is refused before anything is sent:
END
run dx7 write -c line.toml "ramp up=2.5" "ramp down=4"
run dx7 write -c line.toml "ramp up=9999"
tell <<'END'
## Does it obey?

Bit 0 of the control word starts it, and bit 1 of its status says that it runs. A device may clear a control word by itself, so
`dx7` says what it reads:
END
run dx7 write -c line.toml control=0x0001
run dx7 read -c line.toml control running
run dx7 write -c line.toml control=0
tell <<'END'
## What was changed today?

The comparison with the file of this morning is the record of the work:
END
run dx7 params diff delivered.toml -c line.toml
run dx7 params save commissioned.toml -c line.toml --station 7 --groups 0-3
tell <<'END'
## Is the line good?

A second is enough to see a wrong termination; let it run over lunch to be sure. Every column must have zeros from
*timeouts* to *foreign frames*. Keep the output: when the line is accused one day, it tells what was normal.
END
run dx7 monitor -c line.toml --seconds 1 --stats
start_device --stations 7 --baud 19200 --values factory.toml
tell <<'END'
## A year later: the drive is replaced

The new one comes with the settings of the factory. The file knows what is missing:
END
run dx7 params diff commissioned.toml -c line.toml
run dx7 params load commissioned.toml -c line.toml
run dx7 params diff commissioned.toml -c line.toml
cat <<'END'
`load` writes only what differs, one value at a time, and reads each back. Whatever interrupts it, running it again does
the rest.
END
