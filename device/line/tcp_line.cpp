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
    TcpLine(const std::string& address, int port);

    std::vector<int> descriptors() const override;
    LineInput receive() override;
    void send(const Bytes& bytes) override;
    std::string name() const override { return "tcp " + m_address + ":" + std::to_string(m_port); }

private:
    void acceptClient(LineInput& input);

    std::string m_address;
    int m_port;
    FileDescriptor m_listener;
    FileDescriptor m_client;
};

TcpLine::TcpLine(const std::string& address, int port) : m_address(address), m_port(port) {
    const std::string what = address + ":" + std::to_string(port);
    sockaddr_in place{};
    place.sin_family = AF_INET;
    place.sin_port = htons(static_cast<std::uint16_t>(port));
    if (::inet_pton(AF_INET, address.c_str(), &place.sin_addr) != 1) {
        throw UsageError("\"" + address + "\" is no address to listen on: write it in numbers, as 127.0.0.1");
    }
    m_listener = FileDescriptor(::socket(AF_INET, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0));
    const int on = 1;
    ::setsockopt(m_listener.number(), SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
    socklen_t size = sizeof place;
    auto* const generic = reinterpret_cast<sockaddr*>(&place);
    enum : int { WAITING_CLIENTS = 4 };
    if (!m_listener.isOpen() || ::bind(m_listener.number(), generic, size) != 0 ||
        ::listen(m_listener.number(), WAITING_CLIENTS) != 0 ||
        ::getsockname(m_listener.number(), generic, &size) != 0) {
        throw UsageError("cannot listen on " + what + ": " + systemReason(errno));
    }
    m_port = ntohs(place.sin_port);
}

std::vector<int> TcpLine::descriptors() const {
    std::vector<int> waitedFor{m_listener.number()};
    if (m_client.isOpen()) {
        waitedFor.push_back(m_client.number());
    }
    return waitedFor;
}

LineInput TcpLine::receive() {
    LineInput input;
    if (m_client.isOpen() && readAvailable(m_client.number(), input.bytes) != ReadEnd::NothingMore) {
        m_client.close();
        input.clientGone = true;
    }
    acceptClient(input);
    return input;
}

void TcpLine::acceptClient(LineInput& input) {
    FileDescriptor client(::accept4(m_listener.number(), nullptr, nullptr, SOCK_NONBLOCK | SOCK_CLOEXEC));
    if (!client.isOpen()) {
        return;
    }
    const int on = 1;
    ::setsockopt(client.number(), IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
    ::setsockopt(client.number(), SOL_SOCKET, SO_KEEPALIVE, &on, sizeof on);
    input.clientGone = true;
    m_client.close();
    m_client = std::move(client);
}

void TcpLine::send(const Bytes& bytes) {
    if (m_client.isOpen()) {
        writeAvailable(m_client.number(), bytes);
    }
}

}  // namespace

std::unique_ptr<Line> openTcp(const std::string& address, int port) {
    return std::make_unique<TcpLine>(address, port);
}

}  // namespace dx7sim
