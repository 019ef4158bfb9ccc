#include "host/poll/line_runner.h"

#include <algorithm>

namespace dx7 {

namespace {

// How often an attempt to open, or a line that takes no bytes, is looked at.
constexpr qint64 LOOK_US = 20000;
constexpr int RECEIVED_BYTES = 4096;

}  // namespace

LineRunner::LineRunner(PollEngine& engine, Line& line, Poller& poller)
    : engine_(engine), line_(line), poller_(poller) {
    received_.reserve(RECEIVED_BYTES);
    poller_.add(line_);
}

LineRunner::~LineRunner() {
    poller_.remove(line_);
}

void LineRunner::turn(qint64 untilUs) {
    prepare();
    poller_.wait(std::min(dueUs_.value_or(untilUs), untilUs));
    take();
}

void LineRunner::prepare() {
    dueUs_.reset();
    if (!ensureLine()) {
        const qint64 lookUs = poller_.nowUs() + LOOK_US;
        dueUs_ = opening_ ? lookUs : std::max(backoff_.nextUs(), poller_.nowUs());
        engine_.advanceWithoutLine(poller_.nowUs());
        dueUs_ = sooner(dueUs_, engine_.dueWithoutLineUs());
        return;
    }
    engine_.advance(poller_.nowUs());
    send();
    if (lost_) {
        dueUs_ = backoff_.nextUs();
        return;
    }
    watch();
    dueUs_ = engine_.nextDueUs(poller_.nowUs());
    if (line_.sending()) {
        dueUs_ = sooner(dueUs_, poller_.nowUs() + LOOK_US);
    }
}

void LineRunner::send() {
    Exchange& exchange = engine_.exchange();
    if (exchange.output().isEmpty()) {
        return;
    }
    const bool sent = line_.send(exchange.output());
    if (!sent && !line_.tookBytes()) {
        exchange.notSent();
    }
    exchange.outputTaken();
    if (!sent) {
        lineLost();
    }
}

// Bytes that cannot be there yet are not looked for.
void LineRunner::watch() {
    const int missing = engine_.exchange().missing();
    line_.expect(missing);
    const bool begun = engine_.exchange().partial();
    const qint64 characterUs = line_.characterUs();
    if (begun && characterUs > 0 && missing > 1) {
        // Bytes that are late are waited for: a time that is over would be looked at again and again.
        const qint64 untilUs = engine_.exchange().lastActivityUs() + missing * characterUs;
        if (untilUs > poller_.nowUs()) {
            poller_.ignoreUntil(line_, untilUs);
        }
    }
}

void LineRunner::take() {
    if (lost_) {
        return;
    }
    const qint64 nowUs = poller_.nowUs();
    bool open = true;
    if (line_.sending()) {
        open = line_.flush(nowUs);
    }
    if (open && (poller_.ready(line_) || (dueUs_ && nowUs >= *dueUs_))) {
        received_.resize(0);
        open = line_.receive(&received_);
        if (!received_.isEmpty()) {
            engine_.received(received_.constData(), received_.size(), nowUs);
        }
    }
    if (!open) {
        lineLost();
    }
}

bool LineRunner::ensureLine() {
    if (line_.isOpen()) {
        return true;
    }
    if (!lost_) {
        lineLost();
    }
    if (!opening_ && poller_.nowUs() < backoff_.nextUs()) {
        return false;
    }
    const Line::Opening opening = line_.reopen();
    opening_ = opening == Line::Opening::UnderWay;
    if (opening == Line::Opening::Failed) {
        backoff_.failed(poller_.nowUs());
    }
    if (opening != Line::Opening::Open) {
        return false;
    }
    lost_ = false;
    poller_.add(line_);
    engine_.lineBack(poller_.nowUs());
    return true;
}

void LineRunner::lineLost() {
    const qint64 good = engine_.statistics().all().good;
    if (good > proved_) {
        backoff_.proved();
        proved_ = good;
    }
    lost_ = true;
    backoff_.failed(poller_.nowUs());
    engine_.lineLost(poller_.nowUs());
}

}  // namespace dx7
