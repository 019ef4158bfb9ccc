#include "line_ends.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <pty.h>
#include <sys/socket.h>
#include <termios.h>
#include <unistd.h>

using namespace dx7;

void End::become(int number) {
    if (number_ >= 0) {
        ::close(number_);
    }
    number_ = number;
}

void End::write(const QByteArray& bytes) const {
    EXPECT_EQ(::write(number_, bytes.constData(), static_cast<size_t>(bytes.size())), bytes.size());
}

QByteArray End::read(int most) const {
    QByteArray bytes(most, 0);
    const ssize_t count = ::read(number_, bytes.data(), static_cast<size_t>(most));
    bytes.resize(count > 0 ? static_cast<int>(count) : 0);
    return bytes;
}

PseudoTerminal::PseudoTerminal() {
    char name[64] = "";
    int master = -1;
    int slave = -1;
    termios raw{};
    ::cfmakeraw(&raw);
    EXPECT_EQ(::openpty(&master, &slave, name, &raw, nullptr), 0);
    ::close(slave);
    ::fcntl(master, F_SETFL, O_NONBLOCK);
    device.become(master);
    path = name;
}

LineSettings PseudoTerminal::settings() const {
    LineSettings settings;
    settings.carrier = Carrier::Serial;
    settings.serialPort = QString::fromStdString(path);
    return settings;
}

TcpEnd::TcpEnd() : listener_(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
    sockaddr_in place{};
    place.sin_family = AF_INET;
    place.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    EXPECT_EQ(::bind(listener_.number(), reinterpret_cast<const sockaddr*>(&place), sizeof place), 0);
    EXPECT_EQ(::listen(listener_.number(), 8), 0);
}

std::unique_ptr<TcpLine> TcpEnd::connect() {
    sockaddr_in place{};
    socklen_t length = sizeof place;
    ::getsockname(listener_.number(), reinterpret_cast<sockaddr*>(&place), &length);
    LineSettings settings;
    settings.carrier = Carrier::Tcp;
    settings.tcpHost = QStringLiteral("127.0.0.1");
    settings.tcpPort = ntohs(place.sin_port);
    auto line = std::make_unique<TcpLine>(settings);
    reopen(*line);
    return line;
}

void TcpEnd::reopen(Line& line) {
    EXPECT_TRUE(line.open()) << line.failure().toStdString();
    end.become(::accept4(listener_.number(), nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK));
}

void TcpEnd::reset() {
    const linger none{1, 0};
    ::setsockopt(end.number(), SOL_SOCKET, SO_LINGER, &none, sizeof none);
    end.close();
}

void Gate::open() {
    const std::lock_guard<std::mutex> guard(mutex_);
    open_ = true;
    changed_.notify_all();
}

bool Gate::pass() {
    ++visitors_;
    std::unique_lock<std::mutex> lock(mutex_);
    return changed_.wait_for(lock, std::chrono::seconds(20), [this] { return open_; });
}
