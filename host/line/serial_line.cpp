#include "host/line/serial_line.h"

#include <utility>

namespace dx7 {

SerialLine::SerialLine(const LineSettings& settings, PortOpener opener)
    : DescriptorLine(Channel::Port),
      settings_(settings),
      opener_(std::move(opener)),
      characterUs_(lineTimeUs(settings, 1) + 1) {}

SerialLine::~SerialLine() {
    SerialLine::close();
}

Line::Opening SerialLine::reopen() {
    if (port_) {
        close();
    }
    if (!task_ || (task_->dropped() && task_->ended())) {
        task_ = PortTask::opening([opener = opener_, settings = settings_] { return opener(settings); });
    }
    if (task_->dropped() || !task_->ended()) {
        return Opening::UnderWay;
    }
    return finish() ? Opening::Open : Opening::Failed;
}

// Collects the result of the attempt.
bool SerialLine::finish() {
    OpenedPort opened = task_->take();
    task_.reset();
    port_ = std::move(opened.port);
    failure_ = opened.failure;
    return port_ != nullptr;
}

void SerialLine::close() {
    dropUnsent();
    std::unique_ptr<OpenPort> port = std::move(port_);
    if (task_ && !task_->dropped()) {
        port = task_->drop();
    }
    if (port) {
        task_ = PortTask::closing(std::move(port));
    }
}

void SerialLine::awaitOpening(int ms) {
    if (task_) {
        task_->waitForEnd(ms);
    }
}

}  // namespace dx7
