/// \file
/// The protocol engine of the simulated device: libmodbus, which checks every request's length and CRC,
/// judges quantities, addresses and values, and builds every reply.
///
/// libmodbus works on a file descriptor, so it is given one end of a socket pair inside the process: a
/// request goes in at the other end and the reply comes out there, free to be delayed or damaged before it
/// goes to the line.
///
/// libmodbus knows one contiguous range of numbers per table and the device's map has gaps. For each request
/// it is shown the run of numbers around the request's start that may be read (or written), and nothing when
/// there is none; it refuses whatever goes beyond.
#ifndef DX7_DEVICE_ENGINE_H
#define DX7_DEVICE_ENGINE_H

#include <modbus/modbus.h>

#include <memory>

#include "common/file_descriptor.h"
#include "device/line/device_time.h"
#include "device/line/frame.h"
#include "device/station/model.h"

namespace dx7sim {

/// What became of a request.
struct Answer {
    /// The engine took it for a request; otherwise it was damaged and nothing was done.
    bool accepted = false;
    /// A frame of the protocol; empty for broadcasts and damaged requests.
    Bytes reply;
    /// Of the reply that refuses the request; 0 when it is none.
    int exception = 0;

    int exceptionCode() const { return reply.empty() ? 0 : exception; }
};

/// A context of libmodbus and the socket pair it works on, two descriptors. It keeps nothing between requests
/// and is used by one thread at a time.
class Engine {
public:
    /// Throws std::runtime_error when the system gives no socket pair or libmodbus no context.
    explicit Engine(Protocol protocol = Protocol::Rtu);

    Protocol protocol() const { return protocol_; }

    /// Carries out `request` (a whole frame of the protocol, of at least 4 bytes) as the station it is
    /// addressed to, or as any station for a broadcast. Function codes 1 to 7, 15 and 16 are the device's;
    /// others are answered with exception 1, reads and writes outside the map with 2, bad quantities and
    /// values with 3. Throws std::system_error when the request cannot be written into the socket pair.
    Answer answer(const Bytes& request, Model& model, Time now);

    /// The exception reply `code` (1 to 8) to `request`, which is not carried out.
    Bytes exceptionReply(const Bytes& request, int code);

private:
    struct ContextDeleter {
        void operator()(modbus_t* context) const { modbus_free(context); }
    };

    bool receive(const Bytes& request);
    Answer answered();
    Answer replyFromMap(const Bytes& request, Model& model, Time now);
    Answer replyWithStatus(const Bytes& request, const Model& model, Time now);
    /// The exception reply, nothing for a broadcast.
    Bytes refusal(const Bytes& request, int code);
    void putIn(const Bytes& request);
    Bytes takeOut();

    Protocol protocol_;
    dx7common::FileDescriptor outside_;
    dx7common::FileDescriptor inside_;
    std::unique_ptr<modbus_t, ContextDeleter> context_;
};

}  // namespace dx7sim

#endif
