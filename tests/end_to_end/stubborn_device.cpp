#include "stubborn_device.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstdint>
#include <stdexcept>
#include <vector>

#include "tests/kit/crc.h"

namespace {

enum {
    REQUEST_BYTES = 8,
    STATUS_REQUEST_BYTES = 4,
    STATUS = 7,
    DIAGNOSTICS = 8,
    WRITE_REGISTERS = 16,
    KEPT_VALUE = 7,
    PARAMETER = 0x0FFF
};
using Frame = std::vector<std::uint8_t>;

using kit::withCrc;

bool touches(const Frame& request, int missing) {
    if (request[1] == STATUS || request[1] == DIAGNOSTICS) {
        return false;
    }
    const int first = (request[2] << 8 | request[3]) & PARAMETER;
    const int count = request[1] == 3 || request[1] == WRITE_REGISTERS ? request[5] : 1;
    const int place = missing & PARAMETER;
    return missing >= 0 && place >= first && place < first + count;
}

Frame answer(const Frame& request, int missing) {
    const std::uint8_t function = request[1];
    if (touches(request, missing)) {
        return withCrc({request[0], static_cast<std::uint8_t>(function | 0x80), 2});
    }
    if (function == STATUS) {
        return withCrc({request[0], function, 0});
    }
    if (function == 3) {
        const unsigned count = request[5];
        Frame reply{request[0], function, static_cast<std::uint8_t>(2 * count)};
        for (unsigned i = 0; i < count; ++i) {
            reply.insert(reply.end(), {0, KEPT_VALUE});
        }
        return withCrc(reply);
    }
    return withCrc(Frame(request.begin(), request.begin() + 6));
}

// 0 while that cannot be told.
std::size_t wholeLength(const Frame& request) {
    if (request.size() >= STATUS_REQUEST_BYTES && request[1] == STATUS) {
        return STATUS_REQUEST_BYTES;
    }
    if (request.size() < REQUEST_BYTES) {
        return 0;
    }
    const bool run = request[1] == WRITE_REGISTERS;
    return run ? std::size_t(9) + request[6] : std::size_t(REQUEST_BYTES);
}

// False when it is time to stop.
bool waitFor(int fd, int stop) {
    pollfd both[] = {{fd, POLLIN, 0}, {stop, POLLIN, 0}};
    return ::poll(both, 2, -1) > 0 && both[1].revents == 0;
}

void serve(int client, int stop, int missing) {
    Frame request;
    std::uint8_t chunk[256];
    while (waitFor(client, stop)) {
        const ssize_t count = ::read(client, chunk, sizeof chunk);
        if (count <= 0) {
            return;
        }
        request.insert(request.end(), chunk, chunk + count);
        const std::size_t length = wholeLength(request);
        if (length > 0 && request.size() >= length) {
            const Frame reply = answer(request, missing);
            if (::write(client, reply.data(), reply.size()) != static_cast<ssize_t>(reply.size())) {
                return;
            }
            request.clear();
        }
    }
}

}  // namespace

StubbornDevice::StubbornDevice(int missing) : missing_(missing) {
    int stop[2];
    listener_ = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in place{};
    place.sin_family = AF_INET;
    place.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    if (::bind(listener_, reinterpret_cast<sockaddr*>(&place), sizeof place) != 0 ||
        ::listen(listener_, 4) != 0 || ::pipe2(stop, O_CLOEXEC) != 0) {
        throw std::runtime_error("cannot listen");
    }
    stopRead_ = stop[0];
    stopWrite_ = stop[1];
    thread_ = std::thread([this] { run(); });
}

StubbornDevice::~StubbornDevice() {
    ::close(stopWrite_);
    thread_.join();
    ::close(stopRead_);
    ::close(listener_);
}

std::string StubbornDevice::address() const {
    sockaddr_in place{};
    socklen_t length = sizeof place;
    ::getsockname(listener_, reinterpret_cast<sockaddr*>(&place), &length);
    return "127.0.0.1:" + std::to_string(ntohs(place.sin_port));
}

void StubbornDevice::run() const {
    while (waitFor(listener_, stopRead_)) {
        const int client = ::accept4(listener_, nullptr, nullptr, SOCK_CLOEXEC);
        if (client >= 0) {
            serve(client, stopRead_, missing_);
            ::close(client);
        }
    }
}
