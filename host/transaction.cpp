#include "transaction.h"

#include "rtu_frame.h"

namespace dx7 {

namespace {

enum { BYTE_COUNT_AT = 2, READ_OVERHEAD_BYTES = 5 };

// A reply of the announced length is wrong by the length that it gives itself.
QString wrongLengthText(const QByteArray& reply, int expectLen) {
    if (reply.size() == expectLen) {
        return QStringLiteral("wrong length (its byte count says %1, %2 were asked for)")
            .arg(byteAt(reply, BYTE_COUNT_AT))
            .arg(expectLen - READ_OVERHEAD_BYTES);
    }
    return QStringLiteral("wrong length (%1 of %2 bytes)").arg(reply.size()).arg(expectLen);
}

QString noReplyText(qint64 noiseBytes) {
    return noiseBytes > 0 ? QStringLiteral("no valid reply: %1 byte%2 of noise")
                                .arg(noiseBytes)
                                .arg(QLatin1String(noiseBytes == 1 ? "" : "s"))
                          : QStringLiteral("no reply");
}

}  // namespace

bool refusesForCertain(int exceptionCode) {
    return exceptionCode != EXCEPTION_ACKNOWLEDGE && exceptionCode != EXCEPTION_GATEWAY_TARGET;
}

QString outcomeText(const Transaction& transaction) {
    switch (transaction.outcome) {
        case Outcome::Good:
            return QStringLiteral("good");
        case Outcome::WrongCrc:
            return QStringLiteral("wrong CRC");
        case Outcome::WrongLength:
            return wrongLengthText(transaction.reply, transaction.frame.expectLen);
        case Outcome::Exception:
            return QStringLiteral("exception %1 (%2)")
                .arg(transaction.exceptionCode)
                .arg(exceptionName(transaction.exceptionCode));
        case Outcome::CutShort:
            return transaction.info;
        default:
            return noReplyText(transaction.noiseBytes);
    }
}

}  // namespace dx7
