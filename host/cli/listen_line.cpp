#include "host/cli/listen_line.h"

#include <algorithm>

#include "host/cli/listen_output.h"
#include "host/cli/output.h"
#include "host/cli/stop_signal.h"
#include "host/line/request_to_send.h"

namespace dx7::cli {

namespace {

// So often a signal is looked for.
constexpr qint64 LISTEN_TURN_US = 50000;
// The system keeps so many bytes of a port that nobody reads.
constexpr int KEPT_BYTES = 4095;
// Enough to read all that a port kept from the time before.
constexpr qint64 DROP_US = 50000;

}  // namespace

ListenLine::ListenLine(const LineSettings& settings, const CommonOptions& options)
    : settings_(settings), options_(options), parser_(settings), watch_(settings) {}

void ListenLine::open() {
    watchStopSignals();
    line_ = openLine(settings_, options_);
    poller_.add(*line_);
    line_->expect(1);
    if (!options_.recordPath.empty()) {
        recorder_ = std::make_unique<Recorder>(text(options_.recordPath), stopRequested);
        parser_.setTap(recorder_.get());
    }
    dropOld();
    startUs_ = readUs_ = poller_.nowUs();
}

// What came before the listening began has no time of its own.
void ListenLine::dropOld() {
    const qint64 endUs = poller_.nowUs() + DROP_US;
    while (settings_.carrier == Carrier::Serial && poller_.nowUs() < endUs && line_->receive(&bytes_)) {
        bytes_.resize(0);
        poller_.wait(endUs);
    }
}

bool ListenLine::run(std::optional<qint64> untilUs, const std::function<bool()>& goesOn) {
    while (!stopRequested() && (!untilUs || heardUs() < *untilUs) && goesOn()) {
        if (!turn(untilUs)) {
            return false;
        }
    }
    return true;
}

bool ListenLine::turn(std::optional<qint64> untilUs) {
    qint64 wakeUs = poller_.nowUs() + LISTEN_TURN_US;
    if (const DueUs dueUs = parser_.nextDueUs()) {
        wakeUs = std::min(wakeUs, *dueUs);
    }
    if (untilUs) {
        wakeUs = std::min(wakeUs, startUs_ + *untilUs);
    }
    poller_.wait(wakeUs);
    bytes_.resize(0);
    const bool open = line_->receive(&bytes_);
    const qint64 nowUs = poller_.nowUs();
    heard_ = heard_ || !bytes_.isEmpty();
    stalls_ +=
        settings_.carrier == Carrier::Serial && nowUs - readUs_ > lineTimeUs(settings_, KEPT_BYTES) ? 1 : 0;
    readUs_ = nowUs;
    parser_.feed(bytes_.constData(), bytes_.size(), nowUs);
    parser_.advance(nowUs);
    take();
    return open;
}

void ListenLine::take() {
    for (const BusEvent& event : parser_.takeEvents()) {
        watch_.take(event);
        if (options_.json) {
            print(heardJson(event, settings_));
        }
    }
}

void ListenLine::finish() {
    parser_.finish();
    take();
}

void ListenLine::closeRecording() {
    if (recorder_) {
        recorder_->close();
    }
}

QString ListenLine::rtsText() const {
    switch (rtsOf(line_->descriptor())) {
        case Rts::High:
            return QStringLiteral(
                "warning: RTS of this port is high and cannot be lowered: an adapter that switches its "
                "transmitter by RTS disturbs the line now");
        case Rts::Low:
            return QStringLiteral(
                "the system may have raised RTS for a moment when it opened the port; it is low now");
        default:
            return {};
    }
}

}  // namespace dx7::cli
