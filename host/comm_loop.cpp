#include "comm_loop.h"

#include <algorithm>

#include "reply_guard.h"

namespace dx7 {

namespace {

// A stop request is noticed at least this often.
const qint64 WAIT_SLICE_US = 100000;
// A line that never falls silent is used all the same after this many looks.
const int SILENCE_ATTEMPTS = 50;

Outcome outcomeOf(ReplyFault fault) {
    switch (fault) {
        case ReplyFault::Nothing:
            return Outcome::Timeout;
        case ReplyFault::WrongCrc:
            return Outcome::WrongCrc;
        case ReplyFault::WrongLength:
            return Outcome::WrongLength;
        default:
            return Outcome::Good;
    }
}

}  // namespace

CommLoop::CommLoop(const DriverFunctions& functions, Line& line, Clock& clock, const LineSettings& settings)
    : functions_(functions), line_(line), clock_(clock), settings_(settings) {}

CommLoop::Step CommLoop::step() {
    if (!ensureLine()) {
        return Step::NoLine;
    }
    Transaction transaction;
    if (!fetch(&transaction.frame)) {
        return Step::Idle;
    }
    transaction.repeated = outstanding_;
    transaction.request =
        QByteArray(reinterpret_cast<const char*>(transaction.frame.sendBuf), transaction.frame.sendLen);
    if (transaction.repeated && skipRepetition_ && skipRepetition_(transaction.frame)) {
        transaction.outcome = Outcome::Skipped;
        transaction.sentUs = transaction.endUs = clock_.nowUs();
    } else {
        const Step step = exchange(transaction);
        if (step != Step::Request) {
            return step;
        }
    }
    judge(transaction);
    return Step::Request;
}

bool CommLoop::ensureLine() {
    if (line_.isOpen()) {
        return true;
    }
    if (!lost_) {
        lineLost();
    }
    if (clock_.nowUs() < backoff_.nextUs()) {
        return false;
    }
    QString why;
    if (!line_.open(&why)) {
        backoff_.failed(clock_.nowUs());
        return false;
    }
    lost_ = false;
    if (lineObserver_) {
        lineObserver_(true);
    }
    return true;
}

void CommLoop::lineLost() {
    lost_ = true;
    backoff_.lost(clock_.nowUs());
    if (lineObserver_) {
        lineObserver_(false);
    }
}

// After a burst of requests without a polling plan the driver says once that there is nothing; ask it twice.
bool CommLoop::fetch(FRAME_PRO* frame) {
    return functions_.getSendFrame(frame) == 1 || functions_.getSendFrame(frame) == 1;
}

// Waits for what is left of the silent interval and throws away what comes meanwhile. False when the line is
// lost.
bool CommLoop::waitForSilence() {
    const qint64 gapUs = silentIntervalUs(settings_);
    for (int attempt = 0; attempt < SILENCE_ATTEMPTS; ++attempt) {
        if (clock_.nowUs() < lastActivityUs_ + gapUs) {
            clock_.sleepUntilUs(lastActivityUs_ + gapUs);
        }
        QByteArray stale;
        if (!line_.read(&stale, clock_.nowUs())) {
            return false;
        }
        if (stale.isEmpty()) {
            return true;
        }
        staleBytes_ += stale.size();
        lastActivityUs_ = clock_.nowUs();
    }
    return true;
}

CommLoop::Step CommLoop::exchange(Transaction& transaction) {
    if (!waitForSilence()) {
        lineLost();
        return Step::NoLine;
    }
    // Taken before the write: some lines hand a reply over before the write returns.
    transaction.sentUs = clock_.nowUs();
    if (!line_.write(transaction.request)) {
        lineLost();
        return Step::NoLine;
    }
    lastActivityUs_ = transaction.sentUs + lineTimeUs(settings_, transaction.request.size());
    if (tap_ != nullptr) {
        tap_->requestSent(transaction.request);
    }
    Step step = Step::Request;
    if (transaction.frame.expectLen <= 0) {
        clock_.sleepUntilUs(lastActivityUs_ + settings_.turnaroundMs * qint64(1000));
        transaction.outcome = Outcome::Good;
    } else {
        step = awaitReply(transaction);
    }
    transaction.endUs = clock_.nowUs();
    transaction.busyUs = transaction.endUs - transaction.sentUs;
    return step;
}

CommLoop::Step CommLoop::awaitReply(Transaction& transaction) {
    ReplyGuard guard(transaction.request, transaction.frame.expectLen);
    const qint64 deadlineUs = lastActivityUs_ + settings_.timeoutMs * qint64(1000) +
                              lineTimeUs(settings_, transaction.frame.expectLen);
    Verdict verdict = Verdict::Waiting;
    int tapped = 0;
    const auto tapForeign = [&] {
        for (; tapped < guard.foreign().size(); ++tapped) {
            tapReceived(guard.foreign().at(tapped), lastActivityUs_);
        }
    };
    while (verdict == Verdict::Waiting && clock_.nowUs() < deadlineUs) {
        QByteArray bytes;
        if (!line_.read(&bytes, std::min(deadlineUs, clock_.nowUs() + WAIT_SLICE_US))) {
            lineLost();
            return Step::NoLine;
        }
        if (!bytes.isEmpty()) {
            lastActivityUs_ = clock_.nowUs();
            verdict = guard.feed(bytes);
            tapForeign();
        } else if (stopped()) {
            return Step::Stopped;
        }
    }
    if (verdict == Verdict::Waiting) {
        guard.giveUp();
    }
    tapForeign();
    transaction.foreignFrames = guard.foreign().size();
    if (verdict == Verdict::Exception) {
        transaction.outcome = Outcome::Exception;
        transaction.exceptionCode = guard.exceptionCode();
        tapReceived(guard.exceptionFrame(), lastActivityUs_);
    } else {
        transaction.outcome = outcomeOf(guard.fault());
        transaction.reply = guard.reply();
        tapReceived(transaction.reply, lastActivityUs_);
    }
    return Step::Request;
}

void CommLoop::tapReceived(const QByteArray& frame, qint64 atUs) {
    if (tap_ != nullptr && !frame.isEmpty()) {
        tap_->frameReceived(frame, std::max<qint64>(clock_.nowUs() - atUs, 0));
    }
}

void CommLoop::judge(Transaction& transaction) {
    QByteArray reply = transaction.reply;
    transaction.driverResult = functions_.dealRcvFrame(reply, transaction.info);
    outstanding_ = transaction.driverResult == SEND_AGAIN;
    if (observer_) {
        observer_(transaction);
    }
}

}  // namespace dx7
