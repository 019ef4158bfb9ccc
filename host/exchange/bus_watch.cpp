#include "host/exchange/bus_watch.h"

#include <algorithm>

#include "host/exchange/damage.h"
#include "host/exchange/rtu_frame.h"

namespace dx7 {

namespace {

// No master gives a station less time.
constexpr qint64 HURRIED_US = 10000;
// Less than any master waits for a reply.
constexpr qint64 GOOD_TIME_US = 40000;
// A second reply follows the first one within this time.
constexpr qint64 DOUBLED_US = 200000;
// Damage feigns a sign now and then: a true one comes so often, and once in so many requests at least.
constexpr int FEW = 3;
constexpr int SIGN_IN = 200;
// One damaged reply in so many is more than a line makes.
constexpr int DAMAGED_IN = 10;
constexpr int CODE_END = 2;
constexpr int ADDRESS_END = 4;
constexpr int QUANTITY_END = 6;

QString timesText(qint64 count) {
    return count == 1 ? QStringLiteral("once") : QStringLiteral("%1 times").arg(count);
}

bool isSign(qint64 count, qint64 of) {
    return count >= FEW && count * SIGN_IN >= of;
}

}  // namespace

QByteArray requestKey(const QByteArray& frame) {
    const int function = byteAt(frame, 1);
    if (function == WRITE_COIL || function == WRITE_REGISTER) {
        return frame.left(ADDRESS_END);
    }
    const bool registers = readsBits(function) || readsWords(function) || isWriteFunction(function) ||
                           function == READ_WRITE_REGISTERS;
    return frame.left(registers ? QUANTITY_END : CODE_END);
}

qint64 replyTimeUs(const BusEvent& exchange, const LineSettings& settings) {
    const qint64 lineUs = lineTimeUs(settings, exchange.reply.size());
    return std::max<qint64>(exchange.replyUs - exchange.requestUs - lineUs, 0);
}

void BusWatch::take(const BusEvent& event) {
    switch (event.kind) {
        case BusEvent::Damage:
            strayBytes_ += event.damaged.size();
            break;
        case BusEvent::Orphan:
            takeOrphan(event);
            break;
        default:
            takeRequest(event);
            break;
    }
    begun_ = true;
    if (!event.reply.isEmpty()) {
        reply_ = event.reply;
        replyUs_ = event.replyUs;
    }
}

void BusWatch::count(const BusEvent& event, HeardCounts* counts) const {
    ++counts->requests;
    counts->unanswered += event.kind == BusEvent::Unanswered ? 1 : 0;
    counts->doubtful += event.kind == BusEvent::Doubtful ? 1 : 0;
    counts->damaged += event.kind == BusEvent::DamagedReply ? 1 : 0;
    if (event.kind == BusEvent::Exchange) {
        ++counts->answered;
        counts->refused += (byteAt(event.reply, 1) & EXCEPTION_BIT) != 0 ? 1 : 0;
        counts->replyTimes.add(replyTimeUs(event, settings_));
    }
}

void BusWatch::takeRequest(const BusEvent& event) {
    const QByteArray key = requestKey(event.request);
    if (requests_.count(key) > 0 || static_cast<int>(requests_.size()) < MOST_REQUESTS) {
        HeardRequest& request = requests_[key];
        if (request.counts.requests == 0) {
            request.frame = event.request;
        } else {
            request.intervals.add(std::max<qint64>(event.requestUs - request.lastUs, 0));
        }
        request.lastUs = event.requestUs;
        count(event, &request.counts);
        if (event.kind == BusEvent::Exchange && (byteAt(event.reply, 1) & EXCEPTION_BIT) != 0) {
            request.exceptionCode = byteAt(event.reply, 2);
        }
    } else {
        ++unlisted_;
    }
    if (event.kind == BusEvent::Broadcast) {
        ++broadcasts_;
        return;
    }
    count(event, &stations_[byteAt(event.request, 0)].counts);
    count(event, &all_);
    watchHurry(event);
}

// A master waits for the reply before it asks something else.
void BusWatch::watchHurry(const BusEvent& event) {
    const qint64 beginUs = event.requestUs - lineTimeUs(settings_, event.request.size());
    const bool other = !unanswered_.isEmpty() && unanswered_ != event.request;
    const bool hurried = other && beginUs - unansweredUs_ < HURRIED_US;
    hurried_ += hurried || event.kind == BusEvent::Doubtful ? 1 : 0;
    unanswered_ = event.kind == BusEvent::Unanswered ? event.request : QByteArray();
    unansweredUs_ = event.requestUs;
}

void BusWatch::takeOrphan(const BusEvent& event) {
    HeardStation& station = stations_[byteAt(event.reply, 0)];
    station.orphans += begun_ ? 1 : 0;
    if (event.replyUs - replyUs_ < DOUBLED_US && reply_.left(CODE_END) == event.reply.left(CODE_END)) {
        ++station.doubled;
    } else if (unanswered_.left(CODE_END) == event.reply.left(CODE_END) &&
               awaitedReply(unanswered_).length == event.reply.size()) {
        const qint64 afterUs = event.replyUs - unansweredUs_ - lineTimeUs(settings_, event.reply.size());
        // The other request took its time on the line, too.
        crossed_ += afterUs < GOOD_TIME_US + lineTimeUs(settings_, FIXED_REQUEST_BYTES) ? 1 : 0;
    }
}

QStringList BusWatch::signs() const {
    QStringList signs;
    if (crossed_ > 0) {
        signs += QStringLiteral(
                     "two masters on this line? A request came while the one before was being answered, %1")
                     .arg(timesText(crossed_));
    } else if (isSign(hurried_, all_.requests)) {
        signs += QStringLiteral(
                     "two masters on this line? A request came before the one before could be answered, %1")
                     .arg(timesText(hurried_));
    }
    for (const auto& [number, station] : stations_) {
        const HeardCounts& counts = station.counts;
        if (isSign(station.doubled, counts.requests)) {
            signs +=
                QStringLiteral("two stations with the number %1? A second reply followed the first one, %2")
                    .arg(number)
                    .arg(timesText(station.doubled));
        } else if (counts.damaged >= FEW && counts.damaged * DAMAGED_IN > counts.requests) {
            signs += QStringLiteral(
                         "two stations with the number %1, or bad wiring? %2 of its %3 replies came damaged")
                         .arg(number)
                         .arg(counts.damaged)
                         .arg(counts.damaged + counts.answered);
        }
    }
    return signs;
}

}  // namespace dx7
