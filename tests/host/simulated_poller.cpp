#include "simulated_poller.h"

#include <algorithm>

using namespace dx7;

void SimulatedPoller::add(Line& line) {
    line_ = dynamic_cast<ScriptedLine*>(&line);
    ignoreUs_ = 0;
    lossSeen_ = false;
}

void SimulatedPoller::remove(Line& line) {
    if (line_ == &line) {
        line_ = nullptr;
    }
}

// When the line has something; -1 = not with what is on its way.
qint64 SimulatedPoller::readyUs() const {
    if (line_ == nullptr) {
        return -1;
    }
    if (!line_->isOpen()) {
        return lossSeen_ ? -1 : clock_.nowUs();
    }
    return ignoreUs_ > 0 ? ignoreUs_ : line_->worthUs();
}

void SimulatedPoller::wait(qint64 untilUs) {
    const qint64 endUs = woken_ ? clock_.nowUs() : std::max(untilUs, clock_.nowUs());
    woken_ = false;
    const qint64 comesUs = readyUs();
    ready_ = comesUs >= 0 && comesUs <= endUs;
    clock_.sleepUntilUs(ready_ ? comesUs : endUs);
    if (ready_) {
        ignoreUs_ = 0;
        lossSeen_ = !line_->isOpen();
    }
}
