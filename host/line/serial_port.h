/// \file
/// A serial port that is open, set up and kept from other programs.
#ifndef DX7_HOST_SERIAL_PORT_H
#define DX7_HOST_SERIAL_PORT_H

#include <QString>
#include <functional>
#include <memory>

#include "host/line/line_settings.h"

namespace dx7 {

/// Owns a port. The destructor closes it and only then lets other programs have it; a port that does not
/// get rid of its output, or that is being unplugged, can keep it for long. Any thread may destroy it.
class OpenPort {
public:
    virtual ~OpenPort() = default;
    virtual int descriptor() const = 0;
};

/// How an attempt to open a port ended.
struct OpenedPort {
    /// Null when it failed.
    std::unique_ptr<OpenPort> port;
    /// Why it failed.
    QString failure;
    /// Another program had it.
    bool inUse = false;
};

using PortOpener = std::function<OpenedPort(const LineSettings&)>;

/// Opens and sets up the port of the settings, whatever name it has there. May take long. A port in use is
/// tried for 0.2 s: the program that has it may be about to end.
OpenedPort openSerialPort(const LineSettings& settings);

}  // namespace dx7

#endif
