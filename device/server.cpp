#include "device/server.h"

#include <algorithm>
#include <iomanip>
#include <sstream>
#include <utility>

namespace dx7sim {

namespace {

// Silence that ends a damaged request. A line's own 3.5 characters would be too short for programs that
// share a processor, and for adapters that hand bytes over in batches.
constexpr Time SHORTEST_SILENCE = std::chrono::milliseconds(20);

}  // namespace

Server::Server(Device& device, Line& line, const LineTiming& timing, Trace trace)
    : device_(device),
      line_(line),
      timing_(timing),
      trace_(std::move(trace)),
      start_(std::chrono::steady_clock::now()),
      framing_(timing.charTime, std::max(SHORTEST_SILENCE, timing.turnaround), device.protocol()),
      pacing_(timing.charTime) {}

CommandResult Server::command(const std::string& line) {
    return runCommand(line, device_, now(), framing_.droppedBytes());
}

std::string Server::summary() const {
    return summaryText(device_.statistics(), framing_.droppedBytes());
}

Time Server::now() const {
    return std::chrono::steady_clock::now() - start_;
}

std::optional<Time> Server::deadline() const {
    const auto silence = framing_.deadline();
    const auto due = pacing_.nextDue(now());
    return silence && due ? std::min(*silence, *due) : silence ? silence : due;
}

void Server::advance(bool lineReady) {
    if (lineReady) {
        receive();
    }
    if (const auto frame = framing_.silence(now())) {
        carryOut(*frame, false);
    }
    sendDue();
}

void Server::receive() {
    const LineInput input = line_.receive();
    const Time arrived = now();
    if (input.newClient) {
        forgetClient();
    }
    if (!input.bytes.empty()) {
        if (device_.echoesEveryByte()) {
            trace("echo   ", input.bytes);
            pacing_.echo(input.bytes, arrived);
        }
        for (const ReceivedFrame& frame : framing_.take(input.bytes, arrived)) {
            carryOut(frame, input.clientGone);
        }
    }
    if (framing_.isLost()) {
        line_.dropClient();
    }
    if (input.clientGone || framing_.isLost()) {
        forgetClient();
    }
}

void Server::carryOut(const ReceivedFrame& frame, bool clientGone) {
    // What is due makes room first: a line that takes no time loses nothing. The next client must not get it.
    if (clientGone) {
        pacing_.clear();
    } else {
        sendDue();
    }
    if (pacing_.isFull()) {
        trace("lost   ", frame.bytes);
        device_.countOverrun();
        return;
    }
    trace("request", frame.bytes);
    for (const Outgoing& outgoing : device_.handle(frame.bytes, now())) {
        queue(outgoing, frame.complete);
    }
}

void Server::queue(const Outgoing& outgoing, Time requestComplete) {
    // The line's silence passes while the device works.
    const Time silence = timing_.turnaroundAfter(device_.delay());
    trace(outgoing.way == Way::Echo ? "echo   " : "reply  ", outgoing.bytes);
    switch (outgoing.way) {
        case Way::Echo:
            pacing_.echoWhole(outgoing.bytes, requestComplete);
            break;
        case Way::Copy:
            pacing_.copy(outgoing.bytes, outgoing.pause);
            break;
        case Way::InTurn:
            pacing_.queue(outgoing.bytes, requestComplete + silence, outgoing.pause);
            break;
    }
}

void Server::sendDue() {
    const Bytes due = pacing_.due(now());
    if (!due.empty()) {
        line_.send(due);
    }
}

void Server::forgetClient() {
    framing_.reset();
    pacing_.clear();
}

void Server::trace(const char* direction, const Bytes& bytes) const {
    if (!trace_) {
        return;
    }
    std::ostringstream text;
    text << std::fixed << std::setprecision(6) << std::chrono::duration<double>(now()).count() << ' '
         << direction << std::hex << std::uppercase << std::setfill('0');
    for (const std::uint8_t byte : bytes) {
        text << ' ' << std::setw(2) << static_cast<unsigned>(byte);
    }
    trace_(text.str());
}

}  // namespace dx7sim
