#include "tests/kit/modbus_client.h"

#include <arpa/inet.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <stdexcept>

#include "tests/kit/patience.h"

namespace kit {

int connectTo(int port) {
    const int fd = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in place{};
    place.sin_family = AF_INET;
    place.sin_port = htons(static_cast<std::uint16_t>(port));
    place.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    if (::connect(fd, reinterpret_cast<sockaddr*>(&place), sizeof place) != 0) {
        ::close(fd);
        return -1;
    }
    return fd;
}

Client::Client(const std::string& path, int station)
    : context_(modbus_new_rtu(path.c_str(), 9600, 'N', 8, 1)) {
    modbus_set_slave(context_, station);
    if (modbus_connect(context_) != 0) {
        throw std::runtime_error("cannot open " + path + ": " + modbus_strerror(errno));
    }
    setTimeout(REPLY_TIMEOUT_MS);
}

// Neither the device name nor the address is opened.
Client::Client(int socket, int station, Protocol protocol)
    : context_(protocol == Protocol::Rtu ? modbus_new_rtu("/dev/null", 9600, 'N', 8, 1)
                                         : modbus_new_tcp("127.0.0.1", MODBUS_TCP_DEFAULT_PORT)) {
    modbus_set_slave(context_, station);
    modbus_set_socket(context_, socket);
    setTimeout(REPLY_TIMEOUT_MS);
}

Client::~Client() {
    modbus_close(context_);
    modbus_free(context_);
}

void Client::setTimeout(int milliseconds) {
    timeout_ = milliseconds;
    modbus_set_response_timeout(context_, static_cast<std::uint32_t>(milliseconds / 1000),
                                static_cast<std::uint32_t>(milliseconds % 1000 * 1000));
}

int Client::holding(int number) const {
    std::uint16_t value = 0;
    return modbus_read_registers(context_, number, 1, &value) == 1 ? value : -errno;
}

int Client::input(int number) const {
    std::uint16_t value = 0;
    return modbus_read_input_registers(context_, number, 1, &value) == 1 ? value : -errno;
}

std::vector<unsigned> Client::raw(const std::vector<unsigned>& request) const {
    const std::vector<std::uint8_t> bytes(request.begin(), request.end());
    modbus_send_raw_request(context_, bytes.data(), static_cast<int>(bytes.size()));
    return receive();
}

std::vector<unsigned> Client::receive() const {
    std::uint8_t reply[MODBUS_MAX_ADU_LENGTH];
    const int fd = modbus_get_socket(context_);
    std::vector<unsigned> received;
    auto until = Clock::now() + std::chrono::milliseconds(timeout_);
    // A reply is over when nothing has come for a while; its length is what the test wants to know.
    while (readable(fd, until)) {
        const ssize_t count = ::read(fd, reply, sizeof reply);
        if (count <= 0) {
            break;
        }
        received.insert(received.end(), reply, reply + count);
        until = Clock::now() + std::chrono::milliseconds(60);
    }
    received.resize(received.size() < 2 ? 0 : received.size() - 2);
    return received;
}

}  // namespace kit
