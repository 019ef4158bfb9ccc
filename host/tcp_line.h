/// \file
/// A line over a TCP connection that carries RTU frames.
#ifndef DX7_HOST_TCP_LINE_H
#define DX7_HOST_TCP_LINE_H

#include <QTcpSocket>

#include "line.h"

namespace dx7 {

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

    LineSettings settings_;
    Clock& clock_;
    QTcpSocket socket_;
    QString failure_;
};

}  // namespace dx7

#endif
