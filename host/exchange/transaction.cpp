#include "host/exchange/transaction.h"

#include <QStringList>

#include "host/exchange/damage.h"
#include "host/exchange/frame_stream.h"
#include "host/exchange/rtu_frame.h"

namespace dx7 {

namespace {

constexpr int BYTE_COUNT_AT = 2;
constexpr int ECHO_VALUE = 4;

// A reply of the announced length is wrong by the length that it gives itself.
QString wrongLengthText(const QByteArray& reply, int expectLen) {
    if (reply.size() == expectLen) {
        return QStringLiteral("wrong length (its byte count says %1, %2 were asked for)")
            .arg(byteAt(reply, BYTE_COUNT_AT))
            .arg(expectLen - READ_OVERHEAD_BYTES);
    }
    return damageText(Damage::WrongLength, reply.size(), expectLen);
}

// Of an acknowledgement that does not repeat what its request says.
QString wrongEchoText(const QByteArray& request, const QByteArray& reply) {
    if (wordAt(reply, ECHO_START) != wordAt(request, ECHO_START)) {
        return QStringLiteral(
                   "no valid reply: the acknowledgement repeats another address (0x%1 instead of 0x%2)")
            .arg(wordAt(reply, ECHO_START), 4, 16, QLatin1Char('0'))
            .arg(wordAt(request, ECHO_START), 4, 16, QLatin1Char('0'));
    }
    const auto value = [coil = byteAt(request, 1) == WRITE_COIL](const QByteArray& frame) {
        const int word = wordAt(frame, ECHO_VALUE);
        if (coil && word != 0) {
            return word == COIL_ON ? QStringLiteral("1")
                                   : QStringLiteral("0x%1").arg(word, 4, 16, QLatin1Char('0'));
        }
        return QString::number(word);
    };
    return QStringLiteral("no valid reply: the acknowledgement repeats %1 instead of %2")
        .arg(value(reply), value(request));
}

QString countText(qint64 count, const char* what) {
    return QStringLiteral("%1 %2%3").arg(count).arg(QLatin1String(what),
                                                    QLatin1String(count == 1 ? "" : "s"));
}

QString noReplyText(const Transaction& transaction) {
    if (!transaction.mismatch.isEmpty()) {
        const bool echo = isWriteFunction(byteAt(transaction.request, 1)) &&
                          transaction.mismatch.size() == transaction.frame.expectLen;
        return echo ? wrongEchoText(transaction.request, transaction.mismatch)
                    : wrongLengthText(transaction.mismatch, transaction.frame.expectLen);
    }
    if (!transaction.damaged.isEmpty()) {
        return damageOf(transaction.damaged, transaction.frame.expectLen) == Outcome::WrongCrc
                   ? damageText(Damage::WrongCrc, 0, 0)
                   : wrongLengthText(transaction.damaged, transaction.frame.expectLen);
    }
    QStringList what;
    if (transaction.otherFrames > 0) {
        what += countText(transaction.otherFrames, "foreign frame");
    }
    if (transaction.noiseBytes > 0) {
        what += damageText(Damage::Noise, static_cast<int>(transaction.noiseBytes), 0);
    }
    return what.isEmpty() ? QStringLiteral("no reply")
                          : QStringLiteral("no valid reply: ") + what.join(QStringLiteral(" and "));
}

}  // namespace

bool refusesForCertain(int exceptionCode) {
    return exceptionCode != EXCEPTION_ACKNOWLEDGE && exceptionCode != EXCEPTION_GATEWAY_TARGET;
}

Outcome damageOf(const QByteArray& reply, int expectLen) {
    if (reply.isEmpty()) {
        return Outcome::Timeout;
    }
    const bool whole = reply.size() == announcedLength(reply, 0) || reply.size() == expectLen;
    return whole ? Outcome::WrongCrc : Outcome::WrongLength;
}

QString doubtText() {
    return QStringLiteral("the reply may be the answer to another request");
}

QString outcomeText(const Transaction& transaction) {
    if (transaction.doubtful && transaction.outcome != Outcome::CutShort) {
        return doubtText();
    }
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
        case Outcome::EchoOnly:
            return QStringLiteral(
                "not sent: the adapter sends back what is sent, and the station does not answer");
        case Outcome::Skipped:
            return transaction.heard || transaction.noiseBytes > 0 ? noReplyText(transaction)
                                                                   : QStringLiteral("no reply");
        default:
            return noReplyText(transaction);
    }
}

}  // namespace dx7
