/// \file
/// A line over a TCP connection that carries RTU frames.
#ifndef DX7_HOST_TCP_LINE_H
#define DX7_HOST_TCP_LINE_H

#include "line.h"
#include "tcp_connect.h"

namespace dx7 {

/// Bytes go through the socket's descriptor itself: without an event loop that is exact to the microsecond
/// and costs a fraction of the processor time.
class TcpLine : public Line {
public:
    TcpLine(const LineSettings& settings, Clock& clock) : settings_(settings), clock_(clock) {}

    bool open(QString* why) override;
    Opening reopen() override;
    void close() override;
    bool isOpen() const override { return socket_.isOpen(); }
    bool write(const QByteArray& bytes) override;
    bool tookBytes() const override { return taken_ > 0; }
    bool read(QByteArray* bytes, qint64 deadlineUs) override;
    QString failure() const override { return failure_; }

private:
    void begin();
    bool finish();
    bool lose();

    LineSettings settings_;
    Clock& clock_;
    std::future<Connected> attempt_;  ///< Valid while an attempt is under way.
    Socket socket_;
    QString failure_;
    int taken_ = 0;  ///< Bytes of the last write().
};

}  // namespace dx7

#endif
