/// \file
/// The client of libmodbus, which shares no code with this project.
#ifndef DX7_TESTS_KIT_MODBUS_CLIENT_H
#define DX7_TESTS_KIT_MODBUS_CLIENT_H

#include <modbus/modbus.h>

#include <string>
#include <vector>

namespace kit {

/// How long a reply may take on a busy computer, and how long no reply is waited for where none is due.
constexpr int REPLY_TIMEOUT_MS = 3000;
constexpr int SILENCE_MS = 150;

/// A TCP connection to a port of this computer; -1 when there is none.
int connectTo(int port);

/// libmodbus as client.
class Client {
public:
    /// Of a pseudo-terminal or serial port.
    explicit Client(const std::string& path, int station = 1);
    /// Of a connected socket, which it closes at the end.
    enum class Protocol { Rtu, ModbusTcp };
    explicit Client(int socket, int station = 1, Protocol protocol = Protocol::Rtu);
    ~Client();
    Client(const Client&) = delete;
    Client& operator=(const Client&) = delete;

    operator modbus_t*() const { return context_; }
    /// REPLY_TIMEOUT_MS at first.
    void setTimeout(int milliseconds);

    /// The register, or minus the errno of the failure.
    int holding(int number) const;
    int input(int number) const;
    /// Sends a request without CRC as it is and returns the reply without CRC, empty when there is none.
    std::vector<unsigned> raw(const std::vector<unsigned>& request) const;
    /// What arrives without a request, without CRC.
    std::vector<unsigned> receive() const;

private:
    int timeout_ = 0;
    modbus_t* context_;
};

}  // namespace kit

#endif
