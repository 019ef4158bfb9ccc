#include <arpa/inet.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>

#include "common/file_descriptor.h"
#include "common/system_reason.h"
#include "device/line/descriptor_io.h"
#include "device/line/line.h"
#include "device/line/usage_error.h"

namespace dx7sim {

namespace {

using dx7common::FileDescriptor;
using dx7common::systemReason;

class TcpLine : public Line {
public:
    TcpLine(const std::string& address, int port, Protocol protocol);

    std::vector<int> descriptors() const override;
    LineInput receive() override;
    void send(const Bytes& bytes) override;
    void dropClient() override { client_.close(); }
    std::string name() const override { return kind_ + address_ + ":" + std::to_string(port_); }

private:
    void acceptClient(LineInput& input);

    std::string kind_;
    std::string address_;
    int port_;
    FileDescriptor listener_;
    FileDescriptor client_;
};

TcpLine::TcpLine(const std::string& address, int port, Protocol protocol)
    : kind_(protocol == Protocol::Rtu ? "tcp " : "modbus-tcp "), address_(address), port_(port) {
    const std::string what = address + ":" + std::to_string(port);
    sockaddr_in place{};
    place.sin_family = AF_INET;
    place.sin_port = htons(static_cast<std::uint16_t>(port));
    if (::inet_pton(AF_INET, address.c_str(), &place.sin_addr) != 1) {
        throw UsageError("\"" + address +
                         "\" is not an address to listen on: write it in numbers, as 127.0.0.1");
    }
    listener_ = FileDescriptor(::socket(AF_INET, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0));
    const int on = 1;
    ::setsockopt(listener_.number(), SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
    socklen_t size = sizeof place;
    auto* const generic = reinterpret_cast<sockaddr*>(&place);
    constexpr int WAITING_CLIENTS = 4;
    if (!listener_.isOpen() || ::bind(listener_.number(), generic, size) != 0 ||
        ::listen(listener_.number(), WAITING_CLIENTS) != 0 ||
        ::getsockname(listener_.number(), generic, &size) != 0) {
        throw UsageError("cannot listen on " + what + ": " + systemReason(errno));
    }
    port_ = ntohs(place.sin_port);
}

std::vector<int> TcpLine::descriptors() const {
    std::vector<int> waitedFor{listener_.number()};
    if (client_.isOpen()) {
        waitedFor.push_back(client_.number());
    }
    return waitedFor;
}

LineInput TcpLine::receive() {
    LineInput input;
    if (client_.isOpen() && readAvailable(client_.number(), input.bytes) != ReadEnd::NothingMore) {
        client_.close();
        input.clientGone = true;
    }
    acceptClient(input);
    return input;
}

void TcpLine::acceptClient(LineInput& input) {
    FileDescriptor client(::accept4(listener_.number(), nullptr, nullptr, SOCK_NONBLOCK | SOCK_CLOEXEC));
    if (!client.isOpen()) {
        return;
    }
    const int on = 1;
    ::setsockopt(client.number(), IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
    ::setsockopt(client.number(), SOL_SOCKET, SO_KEEPALIVE, &on, sizeof on);
    input.clientGone = true;
    client_.close();
    client_ = std::move(client);
}

void TcpLine::send(const Bytes& bytes) {
    if (client_.isOpen()) {
        sendAvailable(client_.number(), bytes);
    }
}

}  // namespace

std::unique_ptr<Line> openTcp(const std::string& address, int port, Protocol protocol) {
    return std::make_unique<TcpLine>(address, port, protocol);
}

}  // namespace dx7sim
