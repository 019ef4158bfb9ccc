/// \file
/// The device's end of a line: a pseudo-terminal, a TCP port or a serial port.
#ifndef DX7_DEVICE_LINE_H
#define DX7_DEVICE_LINE_H

#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "common/printable.h"
#include "device/line/frame.h"

namespace dx7sim {

/// The line cannot be used any more; the text says why. It is made printable.
class LineError : public std::runtime_error {
public:
    explicit LineError(const std::string& text) : std::runtime_error(dx7common::printable(text)) {}
};

/// What a line reports in one go.
struct LineInput {
    /// The bytes are from a client that was not there before.
    bool newClient = false;
    /// May be empty.
    Bytes bytes;
    /// After these bytes the client has left: what was meant for it is to be dropped.
    bool clientGone = false;
};

/// One end of a line. No call but the opening waits; all calls come from one thread. The line owns its
/// descriptors and closes them at its end.
class Line {
public:
    virtual ~Line() = default;

    /// The descriptors to wait for; receive() is due when one of them is readable. May change from call to
    /// call.
    virtual std::vector<int> descriptors() const = 0;

    /// Takes what is there, without waiting. Throws LineError when the line has failed for good.
    virtual LineInput receive() = 0;

    /// Sends without waiting. What the other end does not take is lost, as on a wire.
    virtual void send(const Bytes& bytes) = 0;

    /// Sends the client away, where there is one. A line without connections has none.
    virtual void dropClient() {}

    /// Where a client finds the line.
    virtual std::string name() const = 0;
};

/// How a serial port sends a character; it has 8 data bits.
struct SerialSettings {
    /// Bits in a second.
    int baud = 9600;
    /// 'N', 'E' or 'O'
    char parity = 'N';
    /// 1 or 2
    int stopBits = 1;

    /// With the start bit.
    int bitsPerChar() const { return 9 + (parity == 'N' ? 0 : 1) + stopBits; }
};

// Each throws UsageError when the line cannot be opened as asked.

/// A new pseudo-terminal; `link` becomes a symbolic link to the end for clients, and is removed in the end. A
/// link to a pseudo-terminal that is there already is replaced, anything else is left alone and refused.
/// Clients may come and go. With `strict` what a client sends with another baud rate or number of stop bits
/// does not arrive; its parity cannot be seen.
std::unique_ptr<Line> openPty(const std::string& link, const SerialSettings* strict = nullptr);

/// Frames on a TCP port of `address` (numeric), port 0 for any free one. One client at a time: a new one
/// takes over, so that a client that vanished without a word does not block the line.
/// In its name the line has the protocol that it is to carry.
std::unique_ptr<Line> openTcp(const std::string& address, int port, Protocol protocol = Protocol::Rtu);

/// A serial port. It is locked against other programs that lock ports as this one does, such as dx7.
std::unique_ptr<Line> openSerial(const std::string& path, const SerialSettings& settings);

}  // namespace dx7sim

#endif
