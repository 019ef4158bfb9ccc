#include "host/poll/wire_access.h"

namespace dx7 {

namespace {

constexpr int STATION = 1;
constexpr int FUNCTION_BYTE = 1;
constexpr int REGISTER_BYTE = 2;
// A request that addresses a register has these bytes at least, with the CRC.
constexpr int SHORTEST_WITH_REGISTER = 8;

// The request that the driver has now, which it then gives up for want of a reply.
std::optional<WireAccess> takeRequest(DriverSession& session, const RegisterType& type) {
    FRAME_PRO frame;
    std::optional<WireAccess> access;
    while (session.nextRequest(&frame)) {
        if (!access && frame.regType == type.name && frame.sendLen > FUNCTION_BYTE) {
            access = WireAccess{frame.sendBuf[FUNCTION_BYTE], std::nullopt};
            if (frame.sendLen >= SHORTEST_WITH_REGISTER) {
                access->reg = frame.sendBuf[REGISTER_BYTE] << 8 | frame.sendBuf[REGISTER_BYTE + 1];
            }
        }
        QString info;
        session.giveUp(info);
    }
    return access;
}

}  // namespace

std::optional<WireAccess> readAccess(DriverSession& session, const RegisterType& type, int address,
                                     int count) {
    session.addRead(ItemRange{STATION, type.name, address, count}, type.bit);
    return takeRequest(session, type);
}

std::optional<WireAccess> writeAccess(DriverSession& session, const RegisterType& type, int address,
                                      int count) {
    if (!type.writable || type.beyondTable(address, count)) {
        return std::nullopt;
    }
    const int items = type.writtenSingly() ? 1 : count;
    session.addWrite(ItemRange{STATION, type.name, address, items}, QByteArray(items * 2, 0));
    return takeRequest(session, type);
}

QString tableName(int function) {
    switch (function) {
        case 1:
            return QStringLiteral("coils");
        case 2:
            return QStringLiteral("discrete inputs");
        case 3:
            return QStringLiteral("holding registers");
        case 4:
            return QStringLiteral("input registers");
        case 7:
            return QStringLiteral("exception status");
        default:
            return {};
    }
}

QString registerText(int reg) {
    return QStringLiteral("%1").arg(reg, 4, 16, QLatin1Char('0')).toUpper();
}

}  // namespace dx7
