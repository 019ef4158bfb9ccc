#include <fcntl.h>
#include <termios.h>

#include <map>

#include "common/file_descriptor.h"
#include "common/port_lock.h"
#include "common/system_reason.h"
#include "device/line/descriptor_io.h"
#include "device/line/line.h"
#include "device/line/usage_error.h"

namespace dx7sim {

namespace {

using dx7common::FileDescriptor;
using dx7common::systemReason;

const std::map<int, speed_t> SPEEDS = {{1200, B1200},   {2400, B2400},     {4800, B4800},
                                       {9600, B9600},   {19200, B19200},   {38400, B38400},
                                       {57600, B57600}, {115200, B115200}, {230400, B230400}};

speed_t speedOf(int baud) {
    const auto found = SPEEDS.find(baud);
    if (found != SPEEDS.end()) {
        return found->second;
    }
    std::string known;
    for (const auto& entry : SPEEDS) {
        known += (known.empty() ? "" : ", ") + std::to_string(entry.first);
    }
    throw UsageError("a serial port cannot run at " + std::to_string(baud) + " baud: use one of " + known);
}

class SerialLine : public Line {
public:
    SerialLine(const std::string& path, const SerialSettings& settings);
    // Closing would wait up to 30 s for a reply that is still going out on a slow line.
    ~SerialLine() override { ::tcflush(port_.number(), TCOFLUSH); }

    std::vector<int> descriptors() const override { return {port_.number()}; }
    LineInput receive() override;
    void send(const Bytes& bytes) override { writeAvailable(port_.number(), bytes); }
    std::string name() const override { return path_; }

private:
    std::string path_;
    dx7common::PortLock lock_;
    FileDescriptor port_;
};

SerialLine::SerialLine(const std::string& path, const SerialSettings& settings) : path_(path) {
    const speed_t speed = speedOf(settings.baud);
    std::string why;
    if (!lock_.take(path, &why)) {
        throw UsageError("cannot open the serial port \"" + path + "\": " + why);
    }
    port_ = FileDescriptor(::open(path.c_str(), O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC));
    if (!port_.isOpen()) {
        throw UsageError("cannot open the serial port \"" + path + "\": " + systemReason(errno));
    }
    termios line{};
    if (::tcgetattr(port_.number(), &line) != 0) {
        throw UsageError("\"" + path + "\" is not a serial port: " + systemReason(errno));
    }
    if (!lock_.confirm(port_.number(), &why)) {
        throw UsageError("cannot open the serial port \"" + path + "\": " + why);
    }
    ::cfmakeraw(&line);
    ::cfsetspeed(&line, speed);
    line.c_cflag &= ~static_cast<tcflag_t>(CSTOPB | PARENB | PARODD | CRTSCTS);
    line.c_cflag |= CREAD | CLOCAL;
    // So that a read of 0 bytes means that the port is gone.
    line.c_cc[VMIN] = 1;
    line.c_cc[VTIME] = 0;
    line.c_cflag |= settings.stopBits == 2 ? CSTOPB : 0U;
    line.c_cflag |= settings.parity == 'N' ? 0U : PARENB;
    line.c_cflag |= settings.parity == 'O' ? PARODD : 0U;
    if (::tcsetattr(port_.number(), TCSANOW, &line) != 0) {
        throw UsageError("the serial port \"" + path + "\" refuses its settings: " + systemReason(errno));
    }
    ::tcflush(port_.number(), TCIOFLUSH);
}

LineInput SerialLine::receive() {
    LineInput input;
    if (readAvailable(port_.number(), input.bytes) != ReadEnd::NothingMore) {
        throw LineError("the serial port " + path_ + " is gone");
    }
    return input;
}

}  // namespace

std::unique_ptr<Line> openSerial(const std::string& path, const SerialSettings& settings) {
    return std::make_unique<SerialLine>(path, settings);
}

}  // namespace dx7sim
