/// \file
/// A port of this computer that takes connections.
#ifndef DX7_TESTS_KIT_TCP_LISTENER_H
#define DX7_TESTS_KIT_TCP_LISTENER_H

#include <string>

namespace kit {

class TcpListener {
public:
    TcpListener();
    ~TcpListener();
    TcpListener(const TcpListener&) = delete;
    TcpListener& operator=(const TcpListener&) = delete;

    /// Its descriptor.
    int number() const { return number_; }
    /// "127.0.0.1:PORT".
    std::string address() const { return "127.0.0.1:" + std::to_string(port_); }
    /// Ends a call that waits for a client.
    void stop() const;

private:
    int number_;
    int port_ = 0;
};

}  // namespace kit

#endif
