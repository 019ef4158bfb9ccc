// An exchange on a virtual clock, and the frames of a small conversation.
#ifndef DX7_TESTS_TRUTH_EXCHANGE_RIG_H
#define DX7_TESTS_TRUTH_EXCHANGE_RIG_H

#include <QVector>
#include <map>

#include "host/exchange/exchange.h"
#include "host/exchange/rtu_frame.h"
#include "tests/kit/crc.h"
#include "tests/kit/hex.h"

namespace truth {

inline QByteArray frameOf(const QByteArray& hex) {
    return kit::withCrc(kit::hex(hex));
}

/// The request to read one register, and its reply.
inline QByteArray readOf(int station, int address) {
    QByteArray frame;
    for (const int byte : {station, 3, address >> 8, address & 0xFF, 0, 1}) {
        frame.append(static_cast<char>(byte));
    }
    return kit::withCrc(frame);
}

inline QByteArray valueOf(int station, int value) {
    QByteArray frame;
    for (const int byte : {station, 3, 2, value >> 8, value & 0xFF}) {
        frame.append(static_cast<char>(byte));
    }
    return kit::withCrc(frame);
}

/// The answer of a station to a query.
inline QByteArray answerTo(const QByteArray& query) {
    if (dx7::byteAt(query, 1) == dx7::DIAGNOSTICS) {
        return query;
    }
    QByteArray frame = query.left(2);
    frame.append('\x11');
    return kit::withCrc(frame);
}

/// The function code of a query.
inline int kindOf(const QByteArray& query) {
    return dx7::byteAt(query, 1);
}

inline dx7::LineSettings serialSettings(int baud = 9600) {
    dx7::LineSettings settings;
    settings.carrier = dx7::Carrier::Serial;
    settings.baud = baud;
    return settings;
}

inline dx7::LineSettings tcpSettings() {
    dx7::LineSettings settings;
    settings.carrier = dx7::Carrier::Tcp;
    return settings;
}

class ExchangeRig {
public:
    explicit ExchangeRig(const dx7::LineSettings& settings = tcpSettings()) : exchange(settings) {}

    /// Begins a request of `expectLen` bytes of reply as soon as that is possible.
    void begin(const QByteArray& request, int expectLen = 7, bool first = true) {
        clear();
        exchange.begin(request, expectLen, first, nowUs);
        take();
    }
    /// Sends a query, whether or not one is due by itself, as soon as that is possible.
    void prove() {
        clear();
        // What is held is proven at once; else a query may be due by itself.
        exchange.setFinishing(exchange.unproven());
        exchange.prove(nowUs);
        take();
        exchange.setFinishing(false);
    }
    void feed(const QByteArray& bytes) {
        exchange.feed(bytes.constData(), bytes.size(), nowUs);
        take();
    }
    /// Lets time pass.
    void pass(int ms) {
        const qint64 endUs = nowUs + qint64(ms) * 1000;
        for (dx7::DueUs dueUs = exchange.nextDueUs(); dueUs && *dueUs <= endUs;
             dueUs = exchange.nextDueUs()) {
            nowUs = std::max(nowUs, *dueUs);
            exchange.advance(nowUs);
            take();
            if (dueUs == exchange.nextDueUs()) {
                break;
            }
        }
        nowUs = endUs;
        exchange.advance(nowUs);
        take();
    }
    /// A request and its reply at once; the ticket of the reply.
    quint64 exchanged(int station, int address, int value) {
        begin(readOf(station, address));
        pass(1);
        feed(valueOf(station, value));
        return ends.isEmpty() ? 0 : lastTicket();
    }
    /// The ticket of the request that ended last; 0 where it has none.
    quint64 lastTicket() const { return ends.last().ticket.value_or(0); }
    /// A query that is answered at once.
    void answered() {
        prove();
        pass(1);
        feed(answerTo(sent.last()));
    }
    /// As many as it takes to settle what is held; one at least.
    void proven() {
        answered();
        for (int i = 0; i < 5 && exchange.unproven(); ++i) {
            answered();
        }
    }
    bool good(quint64 ticket) const { return settled.count(ticket) > 0 && settled.at(ticket); }
    bool doubtful(quint64 ticket) const { return settled.count(ticket) > 0 && !settled.at(ticket); }
    bool held(quint64 ticket) const { return ticket > 0 && settled.count(ticket) == 0; }
    int count(dx7::ExchangeNote::Kind kind) const {
        int found = 0;
        for (const dx7::ExchangeNote& note : notes) {
            found += note.kind == kind ? 1 : 0;
        }
        return found;
    }

    dx7::Exchange exchange;
    qint64 nowUs = 5000000;
    QVector<QByteArray> sent;
    QVector<dx7::ExchangeEnd> ends;
    std::map<quint64, bool> settled;
    QVector<dx7::ExchangeNote> notes;

private:
    void clear() {
        for (int i = 0; i < 100 && !(exchange.idle() && nowUs >= exchange.clearUs()); ++i) {
            const qint64 dueUs = exchange.idle() ? exchange.clearUs() : exchange.nextDueUs().value_or(nowUs);
            pass(static_cast<int>(std::max<qint64>(dueUs - nowUs, 0) / 1000) + 1);
        }
    }
    void take() {
        if (!exchange.output().isEmpty()) {
            sent += exchange.output();
            exchange.outputTaken();
        }
        if (const auto end = exchange.takeEnd()) {
            ends += *end;
        }
        for (const dx7::Settlement& settlement : exchange.settlements()) {
            settled[settlement.ticket] = settlement.good;
        }
        exchange.clearSettlements();
        for (const dx7::ExchangeNote& note : exchange.notes()) {
            notes += note;
        }
        exchange.clearNotes();
    }
};

/// Makes `station` one that has answered both kinds of query.
inline void introduce(ExchangeRig& rig, int station) {
    rig.exchanged(station, 1, 1);
    rig.proven();
    rig.exchanged(station, 1, 2);
    rig.proven();
}

}  // namespace truth

#endif
