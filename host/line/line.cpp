#include "host/line/line.h"

#include "host/error.h"
#include "host/line/serial_line.h"
#include "host/line/tcp_line.h"

namespace dx7 {

Line::Opening Line::reopen() {
    return open() ? Opening::Open : Opening::Failed;
}

bool Line::flush(qint64) {
    return isOpen();
}

void Line::expect(int) {}

std::unique_ptr<Line> makeLine(const LineSettings& settings) {
    switch (settings.carrier) {
        case Carrier::Serial:
            return std::make_unique<SerialLine>(settings);
        case Carrier::Tcp:
        case Carrier::ModbusTcp:
            return std::make_unique<TcpLine>(settings);
        default:
            throw UsageError(QStringLiteral(
                "no line is given, use --serial PORT, --tcp HOST[:PORT] or --modbus-tcp HOST[:PORT]"));
    }
}

}  // namespace dx7
