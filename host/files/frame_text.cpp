#include "host/files/frame_text.h"

#include <QStringList>

#include "host/exchange/rtu_frame.h"

namespace dx7 {

namespace {

constexpr int HEAD_BYTES = 3;

QString registerText(int number) {
    return QStringLiteral("0x%1")
        .arg(number, 4, 16, QLatin1Char('0'))
        .toUpper()
        .replace(QLatin1Char('X'), QLatin1Char('x'));
}

QString wordsText(const QByteArray& frame, int start) {
    QStringList words;
    for (int i = start; i + 1 < frame.size() - CRC_BYTES; i += 2) {
        words += QString::number(wordAt(frame, i));
    }
    return words.join(QLatin1Char(' '));
}

QString bitsText(const QByteArray& frame) {
    QString bits;
    for (int i = HEAD_BYTES; i < frame.size() - CRC_BYTES; ++i) {
        for (int bit = 0; bit < 8; ++bit) {
            bits += QLatin1Char((byteAt(frame, i) >> bit & 1) != 0 ? '1' : '0');
        }
        bits += QLatin1Char(' ');
    }
    return bits.trimmed();
}

QString coilText(const QByteArray& frame) {
    return QStringLiteral("%1 %2").arg(registerText(wordAt(frame, 2)),
                                       QLatin1String(wordAt(frame, 4) == COIL_ON ? "on" : "off"));
}

// Function code 8: its data is asked back by sub-function 0.
QString diagnosticText(const QByteArray& frame) {
    if (frame.size() < DIAGNOSTIC_FRAME_BYTES) {
        return QString();
    }
    const int subFunction = wordAt(frame, 2);
    const QString name = subFunction == 0 ? QStringLiteral("return query data")
                                          : QStringLiteral("sub-function %1,").arg(subFunction);
    return QStringLiteral("%1 %2").arg(name, registerText(wordAt(frame, 4)));
}

QString requestText(int function, const QByteArray& frame) {
    switch (function) {
        case 5:
            return coilText(frame);
        case 6:
            return QStringLiteral("%1 = %2").arg(registerText(wordAt(frame, 2))).arg(wordAt(frame, 4));
        case 7:
            return QString();
        case DIAGNOSTICS:
            return diagnosticText(frame);
        case 16:
            return QStringLiteral("%1 = %2").arg(registerText(wordAt(frame, 2)), wordsText(frame, 7));
        case 1:
        case 2:
        case 3:
        case 4:
        case 15:
            return QStringLiteral("%1, quantity %2")
                .arg(registerText(wordAt(frame, 2)))
                .arg(wordAt(frame, 4));
        default:
            // Without the CRC.
            return QString::fromLatin1(frame.mid(2, frame.size() - 4).toHex(' ').toUpper());
    }
}

QString replyText(int function, const QByteArray& frame) {
    switch (function) {
        case 1:
        case 2:
            return bitsText(frame);
        case 3:
        case 4:
            return wordsText(frame, HEAD_BYTES);
        case 5:
            return coilText(frame);
        case 7:
            return QStringLiteral("0x%1").arg(byteAt(frame, 2), 2, 16, QLatin1Char('0'));
        case 15:
        case 16:
            return QStringLiteral("%1, quantity %2")
                .arg(registerText(wordAt(frame, 2)))
                .arg(wordAt(frame, 4));
        default:
            return requestText(function, frame);
    }
}

// "refuses to read coils", but "refuses diagnostics".
QString refusalText(const QString& station, int function, int code) {
    const QString name = functionName(function);
    const bool verb = name.startsWith(QLatin1String("read")) || name.startsWith(QLatin1String("write"));
    return QStringLiteral("%1 refuses %2: exception %3 (%4)")
        .arg(station, verb ? QLatin1String("to ") + name : name)
        .arg(code)
        .arg(exceptionName(code));
}

}  // namespace

QString describeFrame(const RecordedFrame& frame, const AwaitedReply& awaited) {
    const QByteArray& bytes = frame.bytes;
    if (!endsWithCrc(bytes, 0, bytes.size())) {
        const Damage damage = frame.request ? Damage::WrongCrc : damageIn(bytes, awaited);
        return damageText(damage, bytes.size(), awaited.length);
    }
    const QString station = QStringLiteral("station %1").arg(byteAt(bytes, 0));
    const int function = byteAt(bytes, 1);
    if ((function & EXCEPTION_BIT) != 0) {
        return refusalText(station, function & ~EXCEPTION_BIT, byteAt(bytes, 2));
    }
    const QString text = frame.request ? requestText(function, bytes) : replyText(function, bytes);
    const QString head = station + QLatin1Char(' ') + functionName(function);
    return text.isEmpty() ? head : head + QLatin1String(": ") + text;
}

}  // namespace dx7
