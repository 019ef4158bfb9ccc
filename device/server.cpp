#include "device/server.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <iomanip>
#include <sstream>
#include <utility>

#include "device/commands.h"

namespace dx7sim {

namespace {

// Silence that ends a damaged request. A line's own 3.5 characters would be too short for programs that
// share a processor, and for adapters that hand bytes over in batches.
constexpr Time SHORTEST_SILENCE = std::chrono::milliseconds(20);

}  // namespace

Server::Server(Device& device, Line& line, const LineTiming& timing, int signals, Output& output,
               bool traceFrames)
    : device_(device),
      line_(line),
      timing_(timing),
      signals_(signals),
      output_(output),
      trace_(traceFrames),
      start_(std::chrono::steady_clock::now()),
      framing_(timing.charTime, std::max(SHORTEST_SILENCE, timing.turnaround)),
      pacing_(timing.charTime) {}

std::string Server::summary() const {
    return summaryText(device_.statistics(), framing_.droppedBytes());
}

Time Server::now() const {
    return std::chrono::steady_clock::now() - start_;
}

void Server::run() {
    while (!ending_) {
        std::vector<pollfd> waitedFor{{signals_, POLLIN, 0}, {commandsOpen_ ? STDIN_FILENO : -1, POLLIN, 0}};
        for (const int descriptor : line_.descriptors()) {
            waitedFor.push_back({descriptor, POLLIN, 0});
        }
        wait(waitedFor);
        if (waitedFor[0].revents != 0) {
            return;
        }
        const bool lineReady = std::any_of(waitedFor.begin() + 2, waitedFor.end(),
                                           [](const pollfd& one) { return one.revents != 0; });
        if (lineReady) {
            receive();
        }
        if (const auto frame = framing_.silence(now())) {
            carryOut(*frame, false);
        }
        sendDue();
        if (waitedFor[1].revents != 0) {
            readCommands();
        }
    }
}

void Server::wait(std::vector<pollfd>& waitedFor) const {
    const Time current = now();
    std::optional<Time> until = framing_.deadline();
    if (const auto due = pacing_.nextDue(current)) {
        until = until ? std::min(*until, *due) : *due;
    }
    timespec timeout{};
    if (until) {
        const Time left = std::max(Time(), *until - current);
        const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(left);
        timeout.tv_sec = static_cast<decltype(timeout.tv_sec)>(seconds.count());
        timeout.tv_nsec = static_cast<decltype(timeout.tv_nsec)>((left - seconds).count());
    }
    if (::ppoll(waitedFor.data(), waitedFor.size(), until ? &timeout : nullptr, nullptr) < 0) {
        std::for_each(waitedFor.begin(), waitedFor.end(), [](pollfd& one) { one.revents = 0; });
    }
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
    if (input.clientGone) {
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

void Server::readCommands() {
    char chunk[512];
    ssize_t count = 0;
    {
        // Another program that reads the same input may have been faster.
        const Interruptions interruptions;
        count = ::read(STDIN_FILENO, chunk, sizeof chunk);
    }
    if (count > 0) {
        typed_.append(chunk, static_cast<std::size_t>(count));
        runCommands();
    } else if (count == 0 || (errno != EINTR && errno != EAGAIN)) {
        // The end of the commands is not the end of the device: it runs on in the background.
        commandsOpen_ = false;
        if (!typed_.empty()) {
            typed_ += '\n';
            runCommands();
        }
    }
}

void Server::runCommands() {
    constexpr std::size_t LONGEST_LINE = 4096;
    for (std::size_t end = typed_.find('\n'); end != std::string::npos && !ending_; end = typed_.find('\n')) {
        const std::string line = typed_.substr(0, end);
        typed_.erase(0, end + 1);
        if (std::exchange(dropsTyped_, false)) {
            continue;
        }
        const CommandResult result = runCommand(line, device_, now(), framing_.droppedBytes());
        output_.print(result.answer);
        ending_ = result.quit;
    }
    if (typed_.size() > LONGEST_LINE && !ending_) {
        if (!dropsTyped_) {
            output_.print("error: a command of more than " + std::to_string(LONGEST_LINE) +
                          " characters was dropped\n");
        }
        typed_.clear();
        dropsTyped_ = true;
    }
}

void Server::trace(const char* direction, const Bytes& bytes) {
    if (!trace_) {
        return;
    }
    std::ostringstream text;
    text << std::fixed << std::setprecision(6) << std::chrono::duration<double>(now()).count() << ' '
         << direction << std::hex << std::uppercase << std::setfill('0');
    for (const std::uint8_t byte : bytes) {
        text << ' ' << std::setw(2) << static_cast<unsigned>(byte);
    }
    output_.trace(text.str());
}

}  // namespace dx7sim
