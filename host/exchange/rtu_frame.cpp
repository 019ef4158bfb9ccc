#include "host/exchange/rtu_frame.h"

#include <cstring>

#include "common/crc16.h"

namespace dx7 {

bool isWriteFunction(int function) {
    return function == WRITE_COIL || function == WRITE_REGISTER || function == WRITE_COILS ||
           function == WRITE_REGISTERS;
}

quint16 crc16(const QByteArray& bytes, int start, int length) {
    return dx7common::crc16(bytes.constData() + start, static_cast<std::size_t>(length));
}

void appendCrc(QByteArray& frame) {
    const quint16 crc = crc16(frame, 0, frame.size());
    frame.append(static_cast<char>(crc & 0xFF));
    frame.append(static_cast<char>(crc >> 8));
}

bool endsWithCrc(const QByteArray& bytes, int start, int length) {
    if (length < SHORTEST_FRAME_BYTES || start < 0 || start + length > bytes.size()) {
        return false;
    }
    const quint16 crc = crc16(bytes, start, length - 2);
    return byteAt(bytes, start + length - 2) == (crc & 0xFF) &&
           byteAt(bytes, start + length - 1) == (crc >> 8);
}

void copyBytes(QByteArray& to, const QByteArray& from) {
    to.resize(from.size());
    std::memcpy(to.data(), from.constData(), static_cast<std::size_t>(from.size()));
}

int wordAt(const QByteArray& bytes, int index) {
    const int low = byteAt(bytes, index + 1);
    return low < 0 ? -1 : byteAt(bytes, index) * 256 + low;
}

QString exceptionName(int code) {
    switch (code) {
        case 1:
            return QStringLiteral("illegal function");
        case 2:
            return QStringLiteral("illegal data address");
        case 3:
            return QStringLiteral("illegal data value");
        case 4:
            return QStringLiteral("server device failure");
        case EXCEPTION_ACKNOWLEDGE:
            return QStringLiteral("acknowledge");
        case 6:
            return QStringLiteral("server device busy");
        case 8:
            return QStringLiteral("memory parity error");
        case 10:
            return QStringLiteral("gateway path unavailable");
        case EXCEPTION_GATEWAY_TARGET:
            return QStringLiteral("gateway target device failed to respond");
        default:
            return QStringLiteral("exception code %1").arg(code);
    }
}

QString functionName(int code) {
    switch (code) {
        case 1:
            return QStringLiteral("read coils");
        case 2:
            return QStringLiteral("read discrete inputs");
        case 3:
            return QStringLiteral("read holding registers");
        case 4:
            return QStringLiteral("read input registers");
        case 5:
            return QStringLiteral("write single coil");
        case 6:
            return QStringLiteral("write single register");
        case READ_EXCEPTION_STATUS:
            return QStringLiteral("read exception status");
        case DIAGNOSTICS:
            return QStringLiteral("diagnostics");
        case 16:
            return QStringLiteral("write multiple registers");
        default:
            return QStringLiteral("function code %1").arg(code);
    }
}

QString hexText(const QByteArray& bytes) {
    return QString::fromLatin1(bytes.toHex(' ').toUpper());
}

}  // namespace dx7
