#include "host/exchange/damage.h"

#include "host/exchange/frame_stream.h"
#include "host/exchange/rtu_frame.h"

namespace dx7 {

bool headOf(const QByteArray& bytes, int start, const AwaitedReply& awaited) {
    const int function = byteAt(bytes, start + 1);
    return awaited.length > 0 && byteAt(bytes, start) == awaited.station && function >= 0 &&
           (function & ~EXCEPTION_BIT) == awaited.function;
}

bool resembles(const QByteArray& bytes, const AwaitedReply& awaited) {
    return headOf(bytes, 0, awaited) || (awaited.length > 0 && bytes.size() == awaited.length);
}

Damage damageIn(const QByteArray& bytes, const AwaitedReply& awaited) {
    if (!resembles(bytes, awaited)) {
        return Damage::Noise;
    }
    // What is too long is looked at as far as the reply goes.
    const bool whole = bytes.size() >= awaited.length || bytes.size() == announcedLength(bytes, 0);
    return whole ? Damage::WrongCrc : Damage::WrongLength;
}

QString damageText(Damage damage, int count, int awaitedLength) {
    switch (damage) {
        case Damage::WrongCrc:
            return QStringLiteral("wrong CRC");
        case Damage::WrongLength:
            return QStringLiteral("wrong length (%1 of %2 bytes)").arg(count).arg(awaitedLength);
        default:
            return QStringLiteral("%1 byte%2 of noise").arg(count).arg(QLatin1String(count == 1 ? "" : "s"));
    }
}

AwaitedReply awaitedReply(const QByteArray& request) {
    AwaitedReply awaited{byteAt(request, 0), byteAt(request, 1), 0};
    const int quantity = wordAt(request, 4);
    if (awaited.station <= 0 || !endsWithCrc(request, 0, request.size())) {
        return awaited;
    }
    if (readsBits(awaited.function)) {
        awaited.length = READ_OVERHEAD_BYTES + (quantity + 7) / 8;
    } else if (readsWords(awaited.function)) {
        awaited.length = READ_OVERHEAD_BYTES + 2 * quantity;
    } else if (awaited.function == READ_EXCEPTION_STATUS) {
        awaited.length = EXCEPTION_FRAME_BYTES;
    } else if (isWriteFunction(awaited.function) || awaited.function == DIAGNOSTICS) {
        awaited.length = WRITE_REPLY_BYTES;
    }
    return awaited;
}

}  // namespace dx7
