// What `dx7 listen` makes of any bytes in any pieces: each byte is told once, frames have their CRC, and no
// reply goes with a request that it cannot answer.
#include <cstdint>
#include <cstdlib>

#include "host/exchange/bus_watch.h"
#include "host/exchange/damage.h"
#include "host/exchange/rtu_frame.h"

namespace {

// The first byte of a piece says how many bytes follow, whether their CRC does, too, and how long the silence
// before the piece is.
constexpr unsigned LENGTH_MASK = 0x1F;
constexpr unsigned CRC_FLAG = 0x20;
constexpr unsigned SILENCE_SHIFT = 6;
constexpr qint64 SILENCES_US[] = {0, 1000, 30000, 1000000};

void expect(bool holds) {
    if (!holds) {
        std::abort();
    }
}

bool whole(const QByteArray& frame) {
    return dx7::endsWithCrc(frame, 0, frame.size());
}

void checkExchange(const dx7::BusEvent& event) {
    using dx7::byteAt;
    expect(byteAt(event.request, 0) == byteAt(event.reply, 0));
    expect(byteAt(event.request, 1) == (byteAt(event.reply, 1) & ~dx7::EXCEPTION_BIT));
    const int length = dx7::awaitedReply(event.request).length;
    const bool refused = (byteAt(event.reply, 1) & dx7::EXCEPTION_BIT) != 0;
    expect(refused || length == 0 || event.reply.size() == length);
    expect(event.requestUs <= event.replyUs);
}

struct Told {
    qint64 bytes = 0;
    qint64 requests = 0;
};

void take(dx7::BusParser& parser, dx7::BusWatch& watch, Told* told) {
    for (const dx7::BusEvent& event : parser.takeEvents()) {
        watch.take(event);
        told->bytes += event.request.size() + event.reply.size() + event.damaged.size();
        told->requests += !event.request.isEmpty() && event.kind != dx7::BusEvent::Broadcast ? 1 : 0;
        expect(event.request.isEmpty() || whole(event.request));
        expect(event.reply.isEmpty() || whole(event.reply));
        const bool exchange = event.kind == dx7::BusEvent::Exchange || event.kind == dx7::BusEvent::Doubtful;
        expect(exchange == (!event.request.isEmpty() && !event.reply.isEmpty()));
        if (exchange) {
            checkExchange(event);
        }
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    dx7::LineSettings settings;
    settings.carrier = dx7::Carrier::Serial;
    dx7::BusParser parser(settings);
    dx7::BusWatch watch(settings);
    // Behind a silence nothing is the middle of a frame.
    parser.feed("", 1, 0);
    qint64 nowUs = SILENCES_US[3];
    parser.advance(nowUs);
    qint64 said = 0;
    Told told;
    for (std::size_t at = 0; at < size;) {
        const unsigned head = data[at++];
        const std::size_t length = std::min<std::size_t>(head & LENGTH_MASK, size - at);
        QByteArray piece(reinterpret_cast<const char*>(data + at), static_cast<int>(length));
        at += length;
        if ((head & CRC_FLAG) != 0) {
            dx7::appendCrc(piece);
        }
        nowUs += SILENCES_US[head >> SILENCE_SHIFT];
        parser.feed(piece.constData(), piece.size(), nowUs);
        said += piece.size();
        take(parser, watch, &told);
    }
    parser.advance(nowUs + SILENCES_US[3]);
    parser.finish();
    take(parser, watch, &told);
    expect(told.bytes == said);
    expect(watch.all().requests == told.requests);
    watch.signs();
    return 0;
}
