#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/tcp.h>
#include <sys/epoll.h>
#include <sys/socket.h>
#include <termios.h>
#include <time.h>
#include <unistd.h>

#include <QByteArray>
#include <stdexcept>
#include <vector>

#include "host/exchange/rtu_frame.h"
#include "line_client.h"

namespace dx7bench {

namespace {

const int PATIENCE_MS = 1000;

double now() {
    timespec time{};
    ::clock_gettime(CLOCK_MONOTONIC, &time);
    return static_cast<double>(time.tv_sec) + 1e-9 * static_cast<double>(time.tv_nsec);
}

void sleepUntil(double second) {
    const auto whole = static_cast<time_t>(second);
    const timespec time{whole, static_cast<long>(1e9 * (second - static_cast<double>(whole)))};
    ::clock_nanosleep(CLOCK_MONOTONIC, TIMER_ABSTIME, &time, nullptr);
}

int openedTerminal(const std::string& path) {
    const int descriptor = ::open(path.c_str(), O_RDWR | O_NOCTTY | O_NONBLOCK);
    termios settings{};
    if (descriptor < 0 || ::tcgetattr(descriptor, &settings) != 0) {
        throw std::runtime_error("the bare loop does not open the line");
    }
    ::cfmakeraw(&settings);
    settings.c_cc[VMIN] = 1;
    settings.c_cc[VTIME] = 0;
    ::tcsetattr(descriptor, TCSANOW, &settings);
    return descriptor;
}

QByteArray requestFor(int block) {
    QByteArray request;
    const int address = registerOf(block);
    for (const int byte : {1, 3, address >> 8, address & 0xFF, 0, BLOCK_REGISTERS}) {
        request.append(static_cast<char>(byte));
    }
    dx7::appendCrc(request);
    return request;
}

class BareClient : public LineClient {
public:
    explicit BareClient(const LineSetup& setup)
        : baud_(setup.baud),
          descriptor_(setup.tcpPort > 0 ? connectedSocket(setup.tcpPort) : openedTerminal(setup.path)),
          epoll_(::epoll_create1(EPOLL_CLOEXEC)) {
        epoll_event event{};
        event.events = EPOLLIN;
        ::epoll_ctl(epoll_, EPOLL_CTL_ADD, descriptor_, &event);
        for (int block = 0; block < LINE_BLOCKS; ++block) {
            requests_.push_back(requestFor(block));
        }
    }
    ~BareClient() override {
        ::close(epoll_);
        ::close(descriptor_);
    }

    void read(int count) override {
        for (int i = 0; i < count; ++i, next_ = (next_ + 1) % requests_.size()) {
            exchange(requests_[next_]);
        }
    }

private:
    void exchange(const QByteArray& request) {
        if (baud_ > 0) {
            sleepUntil(lastByte_ + silenceSeconds(baud_));
        }
        if (::write(descriptor_, request.constData(), static_cast<std::size_t>(request.size())) !=
            request.size()) {
            throw std::runtime_error("the bare loop cannot send");
        }
        reply_.resize(REPLY_BYTES);
        int have = 0;
        while (have < REPLY_BYTES) {
            have += receive(have);
        }
        lastByte_ = baud_ > 0 ? now() : 0;
        if (!dx7::endsWithCrc(reply_, 0, REPLY_BYTES)) {
            throw std::runtime_error("the bare loop got a bad reply");
        }
    }

    // What has come; from the first byte on it sleeps as long as the rest takes.
    int receive(int have) {
        epoll_event event{};
        if (have > 0 && baud_ > 0) {
            sleepUntil(now() + (REPLY_BYTES - have) * characterSeconds(baud_));
        } else if (::epoll_wait(epoll_, &event, 1, PATIENCE_MS) != 1) {
            throw std::runtime_error("the bare loop got no reply");
        }
        const ssize_t count =
            ::read(descriptor_, reply_.data() + have, static_cast<std::size_t>(REPLY_BYTES - have));
        if (count == 0) {
            throw std::runtime_error("the bare loop lost the line");
        }
        return count > 0 ? static_cast<int>(count) : 0;
    }

    int baud_;
    int descriptor_;
    int epoll_;
    std::vector<QByteArray> requests_;
    std::size_t next_ = 0;
    QByteArray reply_;
    double lastByte_ = 0;
};

}  // namespace

int connectedSocket(int port) {
    const int descriptor = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    address.sin_port = htons(static_cast<std::uint16_t>(port));
    const int on = 1;
    ::setsockopt(descriptor, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
    if (::connect(descriptor, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
        ::close(descriptor);
        throw std::runtime_error("the device does not take the connection");
    }
    return descriptor;
}

std::unique_ptr<LineClient> makeBareClient(const LineSetup& setup) {
    return std::make_unique<BareClient>(setup);
}

}  // namespace dx7bench
