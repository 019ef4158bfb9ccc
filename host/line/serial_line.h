/// \file
/// A line over a serial port or a pseudo-terminal.
#ifndef DX7_HOST_SERIAL_LINE_H
#define DX7_HOST_SERIAL_LINE_H

#include "host/line/descriptor_line.h"
#include "host/line/port_task.h"

namespace dx7 {

/// One program has the port at a time, whatever name it is given. Helper threads open, set up and close it:
/// a port that hangs delays nothing else.
class SerialLine : public DescriptorLine {
public:
    /// `opener` may take long; it is called on a helper thread, also after the line's end.
    explicit SerialLine(const LineSettings& settings, PortOpener opener = openSerialPort);
    /// As close().
    ~SerialLine() override;

    Opening reopen() override;
    /// The port is free for other programs when the helper thread has closed it. Output that goes on goes out
    /// first.
    void close() override;
    int descriptor() const override { return port_ ? port_->descriptor() : -1; }
    qint64 characterUs() const override { return characterUs_; }

protected:
    void awaitOpening(int ms) override;

private:
    bool finish();

    LineSettings settings_;
    PortOpener opener_;
    qint64 characterUs_;
    std::unique_ptr<OpenPort> port_;
    /// The one under way, or the last closing. Null otherwise.
    std::shared_ptr<PortTask> task_;
};

}  // namespace dx7

#endif
