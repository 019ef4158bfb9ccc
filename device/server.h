/// \file
/// A line and the stations on it, joined.
#ifndef DX7_DEVICE_SERVER_H
#define DX7_DEVICE_SERVER_H

#include <chrono>
#include <functional>
#include <optional>
#include <string>

#include "device/commands.h"
#include "device/line/framing.h"
#include "device/line/line.h"
#include "device/line/pacing.h"
#include "device/station/device.h"

namespace dx7sim {

/// Takes the requests from a line, has the stations answer them and sends the replies when they are due.
///
/// It has no thread and does not wait for the line: its program waits until one of the line's descriptors is
/// readable or deadline() has come, and then calls advance(). All calls come from one thread. `device` and
/// `line` are the caller's and outlive the server.
class Server {
public:
    /// Gets a line of text for each frame: the time in seconds, what the frame is, and its bytes in
    /// hexadecimal. Called from within advance(); it does not call the server.
    using Trace = std::function<void(const std::string& line)>;

    /// `timing` is all zero for a line whose bytes take no time of their own. Without `trace` nothing is
    /// traced.
    /// The line's frames are those of the device's protocol.
    Server(Device& device, Line& line, const LineTiming& timing, Trace trace = {});

    /// The device's time: since the server was made, by the steady clock.
    Time now() const;

    /// When advance() is due even if nothing arrives; none while nothing is under way.
    std::optional<Time> deadline() const;

    /// Does what is due, and takes from the line when `lineReady`: one of its descriptors is readable. Throws
    /// LineError when the line has failed for good, std::system_error when the engine has.
    void advance(bool lineReady);

    /// Carries out a line of the command channel; errors become the answer.
    CommandResult command(const std::string& line);

    /// What the device saw.
    std::string summary() const;

private:
    void receive();
    void carryOut(const ReceivedFrame& frame, bool clientGone);
    /// Queues what answers a request whose last byte was through at `requestComplete`.
    void queue(const Outgoing& outgoing, Time requestComplete);
    void sendDue();
    void forgetClient();
    void trace(const char* direction, const Bytes& bytes) const;

    Device& device_;
    Line& line_;
    LineTiming timing_;
    Trace trace_;
    std::chrono::steady_clock::time_point start_;
    Framing framing_;
    Pacing pacing_;
};

}  // namespace dx7sim

#endif
