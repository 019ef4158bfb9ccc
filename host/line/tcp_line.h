/// \file
/// A line over a TCP connection that carries RTU frames.
#ifndef DX7_HOST_TCP_LINE_H
#define DX7_HOST_TCP_LINE_H

#include "host/line/descriptor_line.h"
#include "host/line/tcp_connect.h"

namespace dx7 {

/// A helper thread looks up the name and connects, which may take 3 s for each address of the host. close()
/// drops an attempt; a connection that it still makes is closed. Used from one thread, as every Line.
class TcpLine : public DescriptorLine {
public:
    explicit TcpLine(const LineSettings& settings) : DescriptorLine(Channel::Socket), settings_(settings) {}

    Opening reopen() override;
    void close() override;
    /// The socket's low-water mark. Its end and its loss wake all the same.
    void expect(int count) override;
    int descriptor() const override { return socket_.number(); }

protected:
    void awaitOpening(int ms) override;

private:
    void begin();
    bool finish();

    LineSettings settings_;
    /// Valid while an attempt is under way.
    std::future<Connected> attempt_;
    dx7common::FileDescriptor socket_;
    int expected_ = 1;
};

}  // namespace dx7

#endif
