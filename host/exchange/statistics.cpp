#include "host/exchange/statistics.h"

namespace dx7 {

qint64 Counters::exceptionCount() const {
    qint64 sum = 0;
    for (const qint64 count : exceptions) {
        sum += count;
    }
    return sum;
}

void Counters::count(const Transaction& transaction) {
    failed += transaction.driverResult == DX7_REPLY_GIVEN_UP ? 1 : 0;
    if (transaction.outcome == Outcome::Skipped || transaction.outcome == Outcome::EchoOnly) {
        return;
    }
    ++requests;
    retries += transaction.repeated ? 1 : 0;
    switch (transaction.outcome) {
        case Outcome::Good:
            ++good;
            break;
        case Outcome::WrongCrc:
            ++wrongCrc;
            break;
        case Outcome::WrongLength:
            ++wrongLength;
            break;
        case Outcome::Exception:
            ++exceptions[transaction.exceptionCode];
            break;
        default:
            ++timeouts;
            break;
    }
    if (transaction.answered() && transaction.frame.expectLen > 0) {
        response.add(transaction.endUs - transaction.sentUs);
    }
}

void Counters::count(const ExchangeNote& note) {
    switch (note.kind) {
        case ExchangeNote::Query:
            ++queries;
            break;
        case ExchangeNote::Late:
            ++late;
            break;
        case ExchangeNote::Surplus:
            ++surplus;
            break;
        case ExchangeNote::Copy:
            ++copies;
            break;
        case ExchangeNote::Foreign:
            ++foreign;
            break;
        case ExchangeNote::Echo:
            ++echoes;
            break;
        case ExchangeNote::Noise:
            ++noise;
            break;
        case ExchangeNote::Damaged:
            // In place of a reply it is the outcome of a transaction.
            damagedAnswers += note.ofQuery ? 1 : 0;
            break;
        default:
            break;
    }
}

// A foreign frame's station may be none of this line's: it counts for all alone.
void Statistics::count(const ExchangeNote& note) {
    all_.count(note);
    if (note.kind != ExchangeNote::Foreign && note.station.value_or(0) > 0) {
        stations_[*note.station].count(note);
    }
}

void Statistics::count(const Transaction& transaction) {
    busyUs_ += transaction.busyUs;
    all_.count(transaction);
    stations_[transaction.frame.station].count(transaction);
}

double Statistics::busyShare(qint64 nowUs) const {
    return nowUs > startUs_ ? static_cast<double>(busyUs_) / static_cast<double>(nowUs - startUs_) : 0;
}

}  // namespace dx7
