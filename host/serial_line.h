/// \file
/// A line over a serial port or a pseudo-terminal.
#ifndef DX7_HOST_SERIAL_LINE_H
#define DX7_HOST_SERIAL_LINE_H

#include <QSerialPort>

#include "common/port_lock.h"
#include "line.h"

namespace dx7 {

/// One program has the port at a time, whatever name it is given. QSerialPort opens the port and sets it up.
/// Bytes go through the descriptor itself: without an event loop that is exact to the microsecond and costs a
/// fraction of the processor time.
class SerialLine : public Line {
public:
    SerialLine(const LineSettings& settings, Clock& clock);

    bool open(QString* why) override;
    void close() override;
    bool isOpen() const override;
    bool write(const QByteArray& bytes) override;
    bool tookBytes() const override { return taken_ > 0; }
    bool read(QByteArray* bytes, qint64 deadlineUs) override;
    QString failure() const override { return failure_; }

private:
    bool openPort();
    bool configure();
    bool enableRs485();
    bool lose();

    LineSettings settings_;
    Clock& clock_;
    PortLock lock_;
    QSerialPort port_;
    QString failure_;
    int taken_ = 0;  ///< Bytes of the last write().
};

}  // namespace dx7

#endif
