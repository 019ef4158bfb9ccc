#include "fragile_device.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <stdexcept>

#include "tests/kit/crc.h"

namespace {

using Frame = FragileDevice::Frame;

constexpr std::size_t REQUEST_BYTES = 8;
constexpr std::size_t STATUS_REQUEST_BYTES = 4;
constexpr int HELD_AT_FIRST = 7;
constexpr int EXCEPTION_BIT = 0x80;
// Parameters are read from 0xF000 on and written from 0xE000 on.
constexpr int READ_PAGE = 0x1000;

using kit::withCrc;

int word(const Frame& frame, std::size_t index) {
    return frame[index] * 256 + frame[index + 1];
}

// 0 while that cannot be told.
std::size_t wholeLength(const Frame& bytes) {
    if (bytes.size() >= STATUS_REQUEST_BYTES && bytes[1] == STATUS) {
        return STATUS_REQUEST_BYTES;
    }
    if (bytes.size() < REQUEST_BYTES) {
        return 0;
    }
    const bool run = bytes[1] == WRITE_RUN;
    return run ? std::size_t(9) + bytes[6] : REQUEST_BYTES;
}

// False when the connection has ended.
bool sendAll(int client, const void* bytes, std::size_t count) {
    const char* next = static_cast<const char*>(bytes);
    while (count > 0) {
        const ssize_t sent = ::send(client, next, count, MSG_NOSIGNAL);
        if (sent <= 0) {
            return false;
        }
        next += sent;
        count -= static_cast<std::size_t>(sent);
    }
    return true;
}

}  // namespace

bool says(const std::string& text, const std::string& part) {
    return text.find(part) != std::string::npos;
}

FragileDevice::FragileDevice(Script script) : script_(std::move(script)) {
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

FragileDevice::~FragileDevice() {
    ::close(stopWrite_);
    thread_.join();
    ::close(stopRead_);
    ::close(listener_);
}

std::string FragileDevice::address() const {
    sockaddr_in place{};
    socklen_t length = sizeof place;
    ::getsockname(listener_, reinterpret_cast<sockaddr*>(&place), &length);
    return "127.0.0.1:" + std::to_string(ntohs(place.sin_port));
}

int FragileDevice::requests(int function) const {
    const std::lock_guard<std::mutex> lock(mutex_);
    const auto found = requests_.find(function);
    return found == requests_.end() ? 0 : found->second;
}

int FragileDevice::value(int number) const {
    const std::lock_guard<std::mutex> lock(mutex_);
    const auto found = values_.find(number);
    return found == values_.end() ? HELD_AT_FIRST : found->second;
}

std::string FragileDevice::strangeBytes() const {
    const std::lock_guard<std::mutex> lock(mutex_);
    return strange_;
}

void FragileDevice::run() {
    for (;;) {
        pollfd both[] = {{listener_, POLLIN, 0}, {stopRead_, POLLIN, 0}};
        if (::poll(both, 2, -1) <= 0 || both[1].revents != 0) {
            return;
        }
        const int client = ::accept4(listener_, nullptr, nullptr, SOCK_CLOEXEC);
        if (client >= 0) {
            serve(client);
            ::close(client);
        }
    }
}

void FragileDevice::serve(int client) {
    Frame bytes;
    for (;;) {
        pollfd both[] = {{client, POLLIN, 0}, {stopRead_, POLLIN, 0}};
        std::uint8_t chunk[512];
        if (::poll(both, 2, -1) <= 0 || both[1].revents != 0) {
            break;
        }
        const ssize_t count = ::read(client, chunk, sizeof chunk);
        if (count <= 0) {
            break;
        }
        bytes.insert(bytes.end(), chunk, chunk + count);
        for (std::size_t length = wholeLength(bytes); length > 0 && bytes.size() >= length;
             length = wholeLength(bytes)) {
            const Frame request(bytes.begin(), bytes.begin() + static_cast<std::ptrdiff_t>(length));
            if (withCrc(Frame(request.begin(), request.end() - 2)) != request) {
                break;
            }
            bytes.erase(bytes.begin(), bytes.begin() + static_cast<std::ptrdiff_t>(length));
            if (!react(client, request)) {
                return;
            }
        }
    }
    const std::lock_guard<std::mutex> lock(mutex_);
    strange_.append(bytes.begin(), bytes.end());
}

// False when the connection is to end.
bool FragileDevice::react(int client, const Frame& request) {
    int number = 0;
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        number = ++requests_[request[1]];
    }
    const Reaction reaction = script_(request, number);
    Frame reply = carryOut(request, reaction.carryOut && reaction.exception == 0);
    if (reaction.exception != 0) {
        reply = withCrc({request[0], static_cast<std::uint8_t>(request[1] | EXCEPTION_BIT),
                         static_cast<std::uint8_t>(reaction.exception)});
    }
    if (reaction.altered) {
        reply.resize(reply.size() - 2);
        reply.back() ^= 1U;
        reply = withCrc(reply);
    }
    if (reaction.keptBytes > 0) {
        reply.resize(std::min(reply.size(), std::size_t(reaction.keptBytes)));
    }
    if (!reaction.noise.empty()) {
        while (sendAll(client, reaction.noise.data(), reaction.noise.size()) && reaction.endless) {
        }
    } else if (reaction.answer) {
        reply.insert(reply.begin(), reaction.before.begin(), reaction.before.end());
        sendAll(client, reply.data(), reply.size());
    }
    if (reaction.reset) {
        const linger none{1, 0};
        ::setsockopt(client, SOL_SOCKET, SO_LINGER, &none, sizeof none);
    }
    return !reaction.close;
}

// The reply; writes take effect when `change`.
Frame FragileDevice::carryOut(const Frame& request, bool change) {
    if (request[1] == STATUS) {
        return withCrc({request[0], STATUS, 1});
    }
    if (request[1] == DIAGNOSTICS) {
        return request;
    }
    const std::lock_guard<std::mutex> lock(mutex_);
    const int start = word(request, 2);
    if (request[1] == READ) {
        const int count = word(request, 4);
        Frame reply{request[0], request[1], static_cast<std::uint8_t>(2 * count)};
        for (int i = 0; i < count; ++i) {
            const auto held = values_.find(start + i);
            const int value = held == values_.end() ? HELD_AT_FIRST : held->second;
            reply.insert(reply.end(),
                         {static_cast<std::uint8_t>(value >> 8), static_cast<std::uint8_t>(value & 0xFF)});
        }
        return withCrc(reply);
    }
    const bool run = request[1] == WRITE_RUN;
    const int count = run ? word(request, 4) : 1;
    for (int i = 0; change && i < count; ++i) {
        values_[start + READ_PAGE + i] =
            run ? word(request, 7 + 2 * static_cast<std::size_t>(i)) : word(request, 4);
    }
    return withCrc(Frame(request.begin(), request.begin() + 6));
}
