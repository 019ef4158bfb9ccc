#include "comm_loop.h"

#include <algorithm>

#include "driver_session.h"
#include "reply_guard.h"
#include "rtu_frame.h"

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

// `own`: what came is a reply to this request, good or not.
LateReplies::Ending endingOf(Outcome outcome, bool own) {
    if (outcome == Outcome::Good || outcome == Outcome::Exception) {
        return LateReplies::Ending::Answered;
    }
    return own ? LateReplies::Ending::Damaged : LateReplies::Ending::Unanswered;
}

}  // namespace

CommLoop::CommLoop(const DriverFunctions& functions, Line& line, Clock& clock, const LineSettings& settings)
    : functions_(functions), line_(line), clock_(clock), settings_(settings), late_(lateWindowUs(settings)) {}

CommLoop::Step CommLoop::step() {
    if (!ensureLine()) {
        return Step::NoLine;
    }
    Transaction transaction;
    if (!fetch(&transaction.frame)) {
        return Step::Idle;
    }
    transaction.repeated = outstanding_;
    if (!transaction.repeated) {
        unsettled_ = out_ = heard_ = false;
        noiseBytes_ = otherFrames_ = 0;
        mismatch_.clear();
    }
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

void CommLoop::awaitSilence() {
    const qint64 silentUs = lastActivityUs_ + silentIntervalUs(settings_);
    if (line_.isOpen()) {
        pauseUntil(silentUs);
    }
}

// False when the stop request ended the pause.
bool CommLoop::pauseUntil(qint64 timeUs) {
    while (clock_.nowUs() < timeUs) {
        clock_.sleepUntilUs(std::min(timeUs, clock_.nowUs() + WAIT_SLICE_US));
        if (clock_.nowUs() < timeUs && stopped()) {
            return false;
        }
    }
    return true;
}

bool CommLoop::ensureLine() {
    if (line_.isOpen()) {
        return true;
    }
    if (!lost_) {
        lineLost();
    }
    if (!opening_ && clock_.nowUs() < backoff_.nextUs()) {
        return false;
    }
    const Line::Opening opening = line_.reopen();
    opening_ = opening == Line::Opening::UnderWay;
    if (opening == Line::Opening::Failed) {
        backoff_.failed(clock_.nowUs());
    }
    if (opening != Line::Opening::Open) {
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
    backoff_.failed(clock_.nowUs());
    if (lineObserver_) {
        lineObserver_(false);
    }
}

// After a burst of requests without a polling plan the driver says once that there is nothing; ask it twice.
bool CommLoop::fetch(FRAME_PRO* frame) {
    return functions_.getSendFrame(frame) == 1 || functions_.getSendFrame(frame) == 1;
}

// Leaves the line alone while a late reply may come that could be mistaken for the one to this request.
CommLoop::Step CommLoop::waitUntilClear(Transaction& transaction) {
    const int expectLen = transaction.frame.expectLen;
    while (expectLen > 0) {
        const qint64 nowUs = clock_.nowUs();
        const qint64 clearUs = late_.waitUntilUs(transaction.request, expectLen, nowUs);
        if (clearUs <= nowUs) {
            break;
        }
        QByteArray stale;
        if (!line_.read(&stale, std::min(clearUs, nowUs + WAIT_SLICE_US))) {
            return Step::NoLine;
        }
        if (!stale.isEmpty()) {
            drop(stale, transaction);
        }
        if (stopped()) {
            return Step::Stopped;
        }
    }
    return Step::Request;
}

// Waits for what is left of the silent interval and throws away what comes meanwhile.
CommLoop::Step CommLoop::waitForSilence(Transaction& transaction) {
    const qint64 gapUs = silentIntervalUs(settings_);
    for (int attempt = 0; attempt < SILENCE_ATTEMPTS; ++attempt) {
        if (!pauseUntil(lastActivityUs_ + gapUs)) {
            return Step::Stopped;
        }
        QByteArray stale;
        if (!line_.read(&stale, clock_.nowUs())) {
            return Step::NoLine;
        }
        if (stale.isEmpty()) {
            return Step::Request;
        }
        drop(stale, transaction);
        if (stopped()) {
            return Step::Stopped;
        }
    }
    return Step::Request;
}

void CommLoop::drop(const QByteArray& stale, Transaction& transaction) {
    lastActivityUs_ = clock_.nowUs();
    staleBytes_ += stale.size();
    for (const QByteArray& frame : late_.drain(stale, lastActivityUs_)) {
        transaction.lateStations += byteAt(frame, 0);
        tapReceived(frame, lastActivityUs_);
    }
}

CommLoop::Step CommLoop::exchange(Transaction& transaction) {
    Step step = waitUntilClear(transaction);
    if (step == Step::Request) {
        step = waitForSilence(transaction);
    }
    if (step == Step::NoLine) {
        lineLost();
    }
    if (step != Step::Request) {
        return step;
    }
    // Taken before the write: some lines hand a reply over before the write returns.
    transaction.sentUs = clock_.nowUs();
    const bool unsettledBefore = unsettled_;
    if (!send(transaction)) {
        lineLost();
        return Step::NoLine;
    }
    lastActivityUs_ = transaction.sentUs + lineTimeUs(settings_, transaction.request.size());
    if (tap_ != nullptr) {
        tap_->requestSent(transaction.request, clock_.nowUs() - transaction.sentUs);
    }
    step = transaction.frame.expectLen <= 0 ? turnAround(transaction) : awaitReply(transaction);
    if (transaction.outcome == Outcome::Exception && refusesForCertain(transaction.exceptionCode)) {
        unsettled_ = unsettledBefore;
    }
    transaction.endUs = clock_.nowUs();
    transaction.busyUs = transaction.endUs - transaction.sentUs;
    return step;
}

// A request of which a part went out may be carried out by a device that takes the part for the whole.
bool CommLoop::send(const Transaction& transaction) {
    const bool sent = line_.write(transaction.request);
    if (sent || line_.tookBytes()) {
        out_ = true;
        unsettled_ = unsettled_ || transaction.frame.opKind == TAG_WRITE;
    }
    return sent;
}

// A broadcast has no reply, but it has reached the stations only if the line is still there after the pause
// for them. A stop request ends the pause.
CommLoop::Step CommLoop::turnAround(Transaction& transaction) {
    const qint64 endUs = lastActivityUs_ + settings_.turnaroundMs * qint64(1000);
    do {
        QByteArray stale;
        if (!line_.read(&stale, std::min(endUs, clock_.nowUs() + WAIT_SLICE_US))) {
            lineLost();
            return Step::NoLine;
        }
        if (!stale.isEmpty()) {
            drop(stale, transaction);
        }
    } while (clock_.nowUs() < endUs && !stopped());
    transaction.outcome = Outcome::Good;
    return Step::Request;
}

CommLoop::Step CommLoop::awaitReply(Transaction& transaction) {
    const int expectLen = transaction.frame.expectLen;
    const qint64 deadlineUs =
        lastActivityUs_ + settings_.timeoutMs * qint64(1000) + lineTimeUs(settings_, expectLen);
    late_.begin(transaction.request, expectLen, deadlineUs, clock_.nowUs());
    ReplyGuard guard(transaction.request, expectLen, &late_);
    Verdict verdict = Verdict::Waiting;
    const Step step = collect(guard, deadlineUs, &verdict);
    if (step != Step::Request) {
        late_.end(LateReplies::Ending::Unanswered);
        return step;
    }
    noteAside(guard, transaction);
    if (verdict == Verdict::Exception) {
        transaction.outcome = Outcome::Exception;
        transaction.exceptionCode = guard.exceptionCode();
        tapReceived(guard.exceptionFrame(), lastActivityUs_);
    } else {
        transaction.outcome = outcomeOf(guard.fault());
        transaction.reply = guard.reply();
        tapReceived(transaction.reply, lastActivityUs_);
    }
    late_.end(endingOf(transaction.outcome, verdict == Verdict::Complete || guard.replyBegan()));
    return Step::Request;
}

void CommLoop::noteAside(const ReplyGuard& guard, Transaction& transaction) {
    transaction.foreignFrames = guard.foreign().size();
    for (const QByteArray& bytes : guard.foreign()) {
        if (endsWithCrc(bytes, 0, bytes.size())) {
            ++otherFrames_;
            heard_ = heard_ || byteAt(bytes, 0) == transaction.frame.station;
        } else {
            noiseBytes_ += bytes.size();
        }
    }
    if (!guard.mismatch().isEmpty()) {
        mismatch_ = guard.mismatch();
    }
    for (const QByteArray& frame : guard.late()) {
        transaction.lateStations += byteAt(frame, 0);
    }
}

// Feeds the guard until it has its verdict or the time is over.
CommLoop::Step CommLoop::collect(ReplyGuard& guard, qint64 deadlineUs, Verdict* verdict) {
    const auto tapAside = [&] {
        for (const QByteArray& frame : guard.takeAside()) {
            tapReceived(frame, lastActivityUs_);
        }
    };
    // What is there when the time is over still counts: this program may have been held up, too.
    bool over = false;
    while (*verdict == Verdict::Waiting && !over) {
        over = clock_.nowUs() >= deadlineUs;
        QByteArray bytes;
        if (!line_.read(&bytes, std::min(deadlineUs, clock_.nowUs() + WAIT_SLICE_US))) {
            lineLost();
            return Step::NoLine;
        }
        if (!bytes.isEmpty()) {
            lastActivityUs_ = clock_.nowUs();
            *verdict = guard.feed(bytes);
            tapAside();
        }
        if (*verdict == Verdict::Waiting && stopped()) {
            return Step::Stopped;
        }
    }
    if (*verdict == Verdict::Waiting) {
        guard.giveUp();
    }
    tapAside();
    return Step::Request;
}

void CommLoop::tapReceived(const QByteArray& frame, qint64 atUs) {
    if (tap_ != nullptr && !frame.isEmpty()) {
        tap_->frameReceived(frame, std::max<qint64>(clock_.nowUs() - atUs, 0));
    }
}

void CommLoop::judge(Transaction& transaction) {
    QByteArray reply = transaction.reply;
    const bool came = transaction.outcome != Outcome::Timeout && transaction.outcome != Outcome::Skipped;
    heard_ = heard_ || came || transaction.lateStations.contains(transaction.frame.station);
    transaction.heard = heard_;
    transaction.noiseBytes = noiseBytes_;
    transaction.otherFrames = otherFrames_;
    transaction.mismatch = mismatch_;
    transaction.driverResult = functions_.dealRcvFrame(reply, transaction.info);
    outstanding_ = transaction.driverResult == SEND_AGAIN;
    transaction.unsettled = unsettled_ && !transaction.good();
    unsettled_ = transaction.unsettled && outstanding_;
    out_ = out_ && outstanding_;
    if (transaction.outcome == Outcome::Good && transaction.frame.expectLen > 0) {
        backoff_.proved();
    }
    if (observer_) {
        observer_(transaction);
    }
}

}  // namespace dx7
