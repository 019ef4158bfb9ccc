// Other ends of lines, in this process.
#ifndef DX7_TESTS_HOST_LINE_ENDS_H
#define DX7_TESTS_HOST_LINE_ENDS_H

#include <QByteArray>
#include <atomic>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <string>

#include "host/line/serial_port.h"
#include "host/line/tcp_line.h"

// A descriptor that is closed with its owner.
class End {
public:
    explicit End(int number = -1) : number_(number) {}
    ~End() { close(); }
    End(const End&) = delete;
    End& operator=(const End&) = delete;

    int number() const { return number_; }
    void become(int number);
    void close() { become(-1); }
    // All bytes, as far as they are taken at once.
    void write(const QByteArray& bytes) const;
    // Up to so many bytes that are there.
    QByteArray read(int most = 65536) const;

private:
    int number_;
};

// A raw pseudo-terminal without a line on it.
struct PseudoTerminal {
    PseudoTerminal();
    dx7::LineSettings settings() const;

    End device;
    std::string path;
};

// A listener of this computer and the connection that it took in.
class TcpEnd {
public:
    TcpEnd();
    // A line that is open, with its other end in `end`.
    std::unique_ptr<dx7::TcpLine> connect();
    // The same for a line that connect() made.
    void reopen(dx7::Line& line);
    // The connection ends as that of a program that crashes: what is on its way is lost.
    void reset();

    End end;

private:
    End listener_;
};

// Keeps a helper thread until it is let go, for 20 s at most so that no test hangs.
class Gate {
public:
    void open();
    // Waits; false when it was never opened.
    bool pass();
    // So many have come to it.
    int visitors() const { return visitors_; }

private:
    std::mutex mutex_;
    std::condition_variable changed_;
    bool open_ = false;
    std::atomic<int> visitors_{0};
};

// A port on any descriptor, whose closing waits at a gate.
class FakePort : public dx7::OpenPort {
public:
    FakePort(int descriptor, Gate& gate) : end_(descriptor), gate_(gate) {}
    ~FakePort() override { gate_.pass(); }
    int descriptor() const override { return end_.number(); }

private:
    End end_;
    Gate& gate_;
};

#endif
