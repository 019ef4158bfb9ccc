/// \file
/// A line over a TCP connection that carries RTU frames.
#ifndef DX7_HOST_TCP_LINE_H
#define DX7_HOST_TCP_LINE_H

#include <QTcpSocket>

#include "line.h"

namespace dx7 {

/// QTcpSocket makes the connection. Bytes go through the descriptor itself: without an event loop that is
/// exact to the microsecond and costs a fraction of the processor time.
class TcpLine : public Line {
public:
    TcpLine(const LineSettings& settings, Clock& clock);

    bool open(QString* why) override;
    void close() override;
    bool isOpen() const override;
    bool write(const QByteArray& bytes) override;
    bool read(QByteArray* bytes, qint64 deadlineUs) override;
    QString failure() const override { return failure_; }

private:
    bool lose();
    int descriptor() const;

    LineSettings settings_;
    Clock& clock_;
    QTcpSocket socket_;
    bool open_ = false;
    QString failure_;
};

}  // namespace dx7

#endif
