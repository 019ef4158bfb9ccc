#include "host/exchange/comm_loop.h"

#include "host/exchange/rtu_frame.h"

namespace dx7 {

CommLoop::CommLoop(DriverSession& session, const LineSettings& settings)
    : session_(session), exchange_(settings) {
    transaction_.request.reserve(LONGEST_FRAME_BYTES);
    transaction_.reply.reserve(LONGEST_FRAME_BYTES);
    reply_.reserve(LONGEST_FRAME_BYTES);
}

void CommLoop::received(const char* bytes, int count, qint64 nowUs) {
    exchange_.feed(bytes, count, nowUs);
    drain(nowUs);
}

void CommLoop::advance(qint64 nowUs) {
    exchange_.advance(nowUs);
    drain(nowUs);
}

void CommLoop::lineLost() {
    if (exchange_.requestSent()) {
        out_ = true;
        unsettled_ = unsettled_ || transaction_.frame.opKind == TAG_WRITE;
    }
    exchange_.reset();
    drain(0);
}

// Tells what the exchange has met. What is told may have more to say in its turn.
void CommLoop::drain(qint64 nowUs) {
    for (std::size_t i = 0; i < exchange_.notes().size(); ++i) {
        takeNote(exchange_.notes()[i]);
    }
    exchange_.clearNotes();
    if (const auto end = exchange_.takeEnd()) {
        judge(*end, nowUs);
    }
    for (std::size_t i = 0; i < exchange_.settlements().size(); ++i) {
        const Settlement settlement = exchange_.settlements()[i];
        if (observers_.settled) {
            observers_.settled(settlement.ticket, settlement.good);
        }
    }
    exchange_.clearSettlements();
}

void CommLoop::takeNote(const ExchangeNote& note) {
    switch (note.kind) {
        case ExchangeNote::Surplus:
        case ExchangeNote::Foreign:
        case ExchangeNote::Copy:
            ++otherFrames_;
            heard_ = heard_ || note.station == transaction_.frame.station;
            break;
        case ExchangeNote::QueryAnswer:
        case ExchangeNote::Late:
        case ExchangeNote::Damaged:
            heard_ = heard_ || note.station == transaction_.frame.station;
            break;
        case ExchangeNote::Noise:
            noiseBytes_ += note.value;
            break;
        default:
            break;
    }
    if (observers_.note) {
        observers_.note(note);
    }
}

void CommLoop::clearOperation() {
    unsettled_ = out_ = heard_ = false;
    noiseBytes_ = otherFrames_ = 0;
    mismatch_.clear();  // shared with the transaction
    damaged_.clear();
}

bool CommLoop::begin(qint64 nowUs, bool once) {
    FRAME_PRO& frame = transaction_.frame;
    if (!session_.nextRequest(&frame)) {
        return false;
    }
    once_ = once;
    transaction_.repeated = outstanding_;
    if (!outstanding_) {
        clearOperation();
    }
    transaction_.request.resize(0);
    transaction_.request.append(reinterpret_cast<const char*>(frame.sendBuf), frame.sendLen);
    transaction_.sentUs = nowUs;
    unsettledBefore_ = unsettled_;
    exchange_.begin(transaction_.request, frame.expectLen, !outstanding_, nowUs);
    outstanding_ = true;
    drain(nowUs);
    return true;
}

// What came in place of the reply, or nothing.
void CommLoop::takeDamage() {
    transaction_.outcome = damageOf(exchange_.reply(), transaction_.frame.expectLen);
    transaction_.reply.append(exchange_.reply());
    if (!exchange_.reply().isEmpty()) {
        damaged_ = exchange_.reply();
    }
}

void CommLoop::takeReply(const ExchangeEnd& end) {
    transaction_.exceptionCode = 0;
    switch (end.kind) {
        case ExchangeEnd::Reply:
            transaction_.outcome = Outcome::Good;
            transaction_.reply.append(exchange_.reply());
            break;
        case ExchangeEnd::Exception:
            transaction_.outcome = Outcome::Exception;
            transaction_.exceptionCode = byteAt(exchange_.reply(), 2);
            break;
        case ExchangeEnd::Damaged:
            takeDamage();
            break;
        case ExchangeEnd::Broadcast:
            transaction_.outcome = Outcome::Good;
            break;
        case ExchangeEnd::Refused:
            transaction_.outcome = Outcome::EchoOnly;
            break;
        default:
            takeDamage();
            if (!end.sent) {
                transaction_.outcome = Outcome::Skipped;
            }
            break;
    }
}

void CommLoop::judge(const ExchangeEnd& end, qint64 nowUs) {
    Transaction& transaction = transaction_;
    transaction.reply.resize(0);
    takeReply(end);
    if (!exchange_.mismatch().isEmpty()) {
        mismatch_ = exchange_.mismatch();
    }
    const bool came = transaction.answered() || !transaction.reply.isEmpty();
    heard_ = heard_ || (came && end.kind != ExchangeEnd::Broadcast);
    out_ = out_ || end.sent;
    unsettled_ = unsettled_ || (end.sent && transaction.frame.opKind == TAG_WRITE);
    if (transaction.outcome == Outcome::Exception && refusesForCertain(transaction.exceptionCode)) {
        unsettled_ = unsettledBefore_;
    }
    transaction.ticket = end.ticket;
    transaction.doubtful = false;
    transaction.heard = heard_;
    transaction.noiseBytes = noiseBytes_;
    transaction.otherFrames = otherFrames_;
    transaction.mismatch = mismatch_;
    transaction.sentUs = end.sent ? end.sentUs : transaction.sentUs;
    transaction.damaged = damaged_;
    transaction.endUs = nowUs;
    transaction.busyUs = end.sent ? nowUs - transaction.sentUs : 0;
    reply_.resize(0);
    reply_.append(transaction.reply);
    transaction.driverResult = session_.takeReply(reply_, transaction.info);
    const bool again = transaction.driverResult == DX7_REPLY_SEND_AGAIN;
    if (again && (transaction.outcome == Outcome::Exception || once_)) {
        // The station would refuse it again, or the next probe asks again.
        transaction.driverResult = session_.giveUp(transaction.info);
    }
    outstanding_ = transaction.driverResult == DX7_REPLY_SEND_AGAIN;
    transaction.unsettled = unsettled_ && !transaction.good();
    unsettled_ = transaction.unsettled && outstanding_;
    out_ = out_ && outstanding_;
    if (observers_.transaction) {
        observers_.transaction(transaction);
    }
}

}  // namespace dx7
