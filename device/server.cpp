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

/// Silence that ends a damaged request. A line's own 3.5 characters would be too short for programs that
/// share a processor, and for adapters that hand bytes over in batches.
constexpr Time SHORTEST_SILENCE = std::chrono::milliseconds(20);

}  // namespace

Server::Server(Device& device, Line& line, const LineTiming& timing, int signals, Output& output,
               bool traceFrames)
    : m_device(device),
      m_line(line),
      m_timing(timing),
      m_signals(signals),
      m_output(output),
      m_trace(traceFrames),
      m_start(std::chrono::steady_clock::now()),
      m_framing(timing.charTime, std::max(SHORTEST_SILENCE, timing.turnaround)),
      m_pacing(timing.charTime) {}

std::string Server::summary() const {
    return summaryText(m_device.statistics(), m_framing.droppedBytes());
}

Time Server::now() const {
    return std::chrono::steady_clock::now() - m_start;
}

void Server::run() {
    while (!m_ending) {
        std::vector<pollfd> waitedFor{{m_signals, POLLIN, 0},
                                      {m_commandsOpen ? STDIN_FILENO : -1, POLLIN, 0}};
        for (const int descriptor : m_line.descriptors()) {
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
        if (const auto frame = m_framing.silence(now())) {
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
    std::optional<Time> until = m_framing.deadline();
    if (const auto due = m_pacing.nextDue(current)) {
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
    const LineInput input = m_line.receive();
    const Time arrived = now();
    if (input.newClient) {
        forgetClient();
    }
    if (!input.bytes.empty()) {
        if (m_device.echoesEveryByte()) {
            trace("echo   ", input.bytes);
            m_pacing.echo(input.bytes, arrived);
        }
        for (const ReceivedFrame& frame : m_framing.take(input.bytes, arrived)) {
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
        m_pacing.clear();
    } else {
        sendDue();
    }
    if (m_pacing.isFull()) {
        trace("lost   ", frame.bytes);
        m_device.countOverrun();
        return;
    }
    trace("request", frame.bytes);
    for (const Outgoing& outgoing : m_device.handle(frame.bytes, now())) {
        queue(outgoing, frame.complete);
    }
}

void Server::queue(const Outgoing& outgoing, Time requestComplete) {
    // The line's silence passes while the device works.
    const Time silence = m_timing.turnaroundAfter(m_device.delay());
    trace(outgoing.way == Way::Echo ? "echo   " : "reply  ", outgoing.bytes);
    switch (outgoing.way) {
        case Way::Echo:
            m_pacing.echoWhole(outgoing.bytes, requestComplete);
            break;
        case Way::Copy:
            m_pacing.copy(outgoing.bytes, outgoing.pause);
            break;
        case Way::InTurn:
            m_pacing.queue(outgoing.bytes, requestComplete + silence, outgoing.pause);
            break;
    }
}

void Server::sendDue() {
    const Bytes due = m_pacing.due(now());
    if (!due.empty()) {
        m_line.send(due);
    }
}

void Server::forgetClient() {
    m_framing.reset();
    m_pacing.clear();
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
        m_typed.append(chunk, static_cast<std::size_t>(count));
        runCommands();
    } else if (count == 0 || (errno != EINTR && errno != EAGAIN)) {
        // The end of the commands is not the end of the device: it runs on in the background.
        m_commandsOpen = false;
        if (!m_typed.empty()) {
            m_typed += '\n';
            runCommands();
        }
    }
}

void Server::runCommands() {
    enum : std::size_t { LONGEST_LINE = 4096 };
    for (std::size_t end = m_typed.find('\n'); end != std::string::npos && !m_ending;
         end = m_typed.find('\n')) {
        const std::string line = m_typed.substr(0, end);
        m_typed.erase(0, end + 1);
        if (std::exchange(m_dropsTyped, false)) {
            continue;
        }
        const CommandResult result = runCommand(line, m_device, now(), m_framing.droppedBytes());
        m_output.print(result.answer);
        m_ending = result.quit;
    }
    if (m_typed.size() > LONGEST_LINE && !m_ending) {
        if (!m_dropsTyped) {
            m_output.print("error: a command of more than " + std::to_string(LONGEST_LINE) +
                           " characters was dropped\n");
        }
        m_typed.clear();
        m_dropsTyped = true;
    }
}

void Server::trace(const char* direction, const Bytes& bytes) {
    if (!m_trace) {
        return;
    }
    std::ostringstream text;
    text << std::fixed << std::setprecision(6) << std::chrono::duration<double>(now()).count() << ' '
         << direction << std::hex << std::uppercase << std::setfill('0');
    for (const std::uint8_t byte : bytes) {
        text << ' ' << std::setw(2) << static_cast<unsigned>(byte);
    }
    m_output.trace(text.str());
}

}  // namespace dx7sim
