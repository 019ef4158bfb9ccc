#include "device/program/output.h"

#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>

#include "common/printable.h"
#include "device/program/interruptions.h"

namespace dx7sim {

namespace {

using dx7common::printable;
using std::chrono::milliseconds;

// A pipe that is ready takes as much.
constexpr std::size_t MOST_AT_ONCE = 4096;

// How long an output may take nothing when the device is to end, and how long it may take in all.
constexpr milliseconds PATIENCE(400);
constexpr milliseconds PATIENCE_IN_ALL(3000);

}  // namespace

void Output::print(const std::string& lines) {
    std::string text;
    for (std::size_t start = 0; start < lines.size();) {
        const std::size_t end = std::min(lines.find('\n', start), lines.size());
        text += printable(lines.substr(start, end - start)) + "\n";
        start = end + 1;
    }
    write(STDOUT_FILENO, text);
}

void Output::trace(const std::string& line) {
    write(STDERR_FILENO, printable(line) + "\n");
}

void Output::printError(const std::string& what) {
    trace("dx7-device: " + what);
}

void Output::write(int descriptor, const std::string& text) {
    auto lastTaken = Clock::now();
    for (std::size_t sent = 0; sent < text.size() && givenUp_.count(descriptor) == 0;) {
        if (!waitUntilWritable(descriptor, lastTaken)) {
            continue;
        }
        const Interruptions interruptions;
        const ssize_t count =
            ::write(descriptor, text.data() + sent, std::min<std::size_t>(text.size() - sent, MOST_AT_ONCE));
        if (count > 0) {
            sent += static_cast<std::size_t>(count);
            lastTaken = Clock::now();
        } else if (count < 0 && errno != EINTR && errno != EAGAIN) {
            // The reader has gone, or the disk is full: this text is lost, the next one may not be.
            return;
        }
    }
}

// Gives the descriptor up when the device is to end and it takes nothing.
bool Output::waitUntilWritable(int descriptor, Clock::time_point lastTaken) {
    int timeout = -1;
    if (ending_) {
        const auto until =
            std::min(std::max(lastTaken, endingSince_) + PATIENCE, endingSince_ + PATIENCE_IN_ALL);
        const auto left = std::chrono::duration_cast<milliseconds>(until - Clock::now());
        if (left <= milliseconds(0)) {
            givenUp_.insert(descriptor);
            return false;
        }
        timeout = static_cast<int>(left.count());
    }
    pollfd waitedFor[] = {{descriptor, POLLOUT, 0}, {ending_ ? -1 : signals_, POLLIN, 0}};
    if (::poll(waitedFor, 2, timeout) <= 0) {
        return false;
    }
    if (waitedFor[1].revents != 0) {
        ending_ = true;
        endingSince_ = Clock::now();
    }
    return waitedFor[0].revents != 0;
}

}  // namespace dx7sim
